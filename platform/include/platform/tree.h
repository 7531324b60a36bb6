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
