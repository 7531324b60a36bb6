/* SPDX-License-Identifier: Apache-2.0 */
/* tree.h - ordered tree of caller-owned nodes with O(log n) operations. */
#ifndef PLATFORM_TREE_H
#define PLATFORM_TREE_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

#define TREE_ERR_EXISTS 0x0E020001u
#define TREE_ERR_NO_MEMORY 0x0E020002u
#define TREE_ERR_NOT_FOUND 0x0E020003u

/* Contract with libzorvdrel:
 * - Nodes are the caller's memory. The tree stores pointers and never copies or frees a node,
 *   except that destroy calls free_fn (when non-null) once for every node still in it.
 * - cmp(a, b) gives <0, 0, >0; `a` is a key or a node, `b` a node. A key may compare equal to a
 *   whole run of nodes (the interface tree's wildcard key): find returns any one of them.
 * - first/next visit the nodes in ascending cmp order: the library exports its parameters in
 *   tree order and the peer compares them pair by pair, so the order is part of the wire format.
 *   next(tree, node) is only called with a node that is in the tree.
 * - insert: 0, TREE_ERR_EXISTS when an equal node is present (nothing changes; the library then
 *   frees its own node), or TREE_ERR_NO_MEMORY. delete removes exactly the given node (pointer
 *   identity) or returns TREE_ERR_NOT_FOUND.
 * - A null tree (create failed at load) is ignored by destroy; find, first and next give null,
 *   count 0, and insert and delete a nonzero code (the library then releases its own node).
 * - create is called from the library's load-time constructor, destroy from its unload-time
 *   destructor; insert, find, delete and next should be O(log n). */
typedef struct tree tree_t;
typedef int (*tree_cmp_fn)(const void *a, const void *b);
typedef void (*tree_free_fn)(void *node);
tree_t *tree_create(tree_cmp_fn cmp, uint32_t flags); /* flags: 0; null on no memory */
int tree_insert(tree_t *tree, void *node);
void *tree_find(const tree_t *tree, const void *key);
int tree_delete(tree_t *tree, void *node);
void *tree_first(const tree_t *tree);
void *tree_next(const tree_t *tree, const void *node);
void tree_destroy(tree_t *tree, tree_free_fn free_fn);
uint32_t tree_count(const tree_t *tree);

#ifdef __cplusplus
}
#endif

#endif
