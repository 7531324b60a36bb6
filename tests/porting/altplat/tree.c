/* SPDX-License-Identifier: Apache-2.0 */
/* tree.c - the ordered tree as a sorted array of node pointers: binary search for find, insert
 * and the run of nodes equal to a key; the array grows by doubling. Nodes are the caller's and
 * are never copied or freed, except by destroy's free function. */
#include <stdlib.h>

#include "altplat_internal.h"

struct tree {
    tree_cmp_fn cmp; /* the caller's order */
    void **nodes;    /* ascending by cmp */
    uint32_t count;  /* nodes held */
    uint32_t space;  /* entries allocated */
};

tree_t *tree_create(tree_cmp_fn cmp, uint32_t flags) {
    (void)flags;
    altplat_g_calls.tree_creates++;
    tree_t *t = calloc(1, sizeof *t);
    if (t != NULL) t->cmp = cmp;
    return t;
}

/* The first index whose node is not below `key`. */
static uint32_t lower_bound(const tree_t *t, const void *key) {
    uint32_t lo = 0, hi = t->count;
    while (lo < hi) {
        const uint32_t mid = lo + (hi - lo) / 2;
        if (t->cmp(key, t->nodes[mid]) > 0)
            lo = mid + 1;
        else
            hi = mid;
    }
    return lo;
}

/* The index of exactly `node` (by address), or count when it is not in the tree. */
static uint32_t index_of(const tree_t *t, const void *node) {
    for (uint32_t i = lower_bound(t, node); i < t->count && t->cmp(node, t->nodes[i]) == 0; ++i)
        if (t->nodes[i] == node) return i;
    return t->count;
}

int tree_insert(tree_t *t, void *node) {
    if (t == NULL) return 0;
    const uint32_t at = lower_bound(t, node);
    if (at < t->count && t->cmp(node, t->nodes[at]) == 0) return (int)TREE_ERR_EXISTS;
    if (t->count == t->space) {
        const uint32_t space = t->space != 0 ? 2 * t->space : 16;
        void **grown = realloc(t->nodes, space * sizeof *grown);
        if (grown == NULL) return (int)TREE_ERR_NO_MEMORY;
        t->nodes = grown;
        t->space = space;
    }
    for (uint32_t i = t->count; i > at; --i)
        t->nodes[i] = t->nodes[i - 1];
    t->nodes[at] = node;
    t->count++;
    return 0;
}

void *tree_find(const tree_t *t, const void *key) {
    if (t == NULL) return NULL;
    const uint32_t at = lower_bound(t, key);
    return at < t->count && t->cmp(key, t->nodes[at]) == 0 ? t->nodes[at] : NULL;
}

int tree_delete(tree_t *t, void *node) {
    if (t == NULL) return 0;
    const uint32_t at = index_of(t, node);
    if (at == t->count) return (int)TREE_ERR_NOT_FOUND;
    for (uint32_t i = at; i + 1 < t->count; ++i)
        t->nodes[i] = t->nodes[i + 1];
    t->count--;
    return 0;
}

void *tree_first(const tree_t *t) {
    return t != NULL && t->count > 0 ? t->nodes[0] : NULL;
}

void *tree_next(const tree_t *t, const void *node) {
    if (t == NULL) return NULL;
    const uint32_t at = index_of(t, node);
    return at + 1 < t->count ? t->nodes[at + 1] : NULL;
}

void tree_destroy(tree_t *t, tree_free_fn free_fn) {
    if (t == NULL) return;
    if (free_fn != NULL)
        for (uint32_t i = 0; i < t->count; ++i)
            free_fn(t->nodes[i]);
    free(t->nodes);
    free(t);
}

uint32_t tree_count(const tree_t *t) {
    return t != NULL ? t->count : 0;
}
