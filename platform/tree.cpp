// SPDX-License-Identifier: Apache-2.0
// tree.cpp - ordered tree of caller-owned nodes over std::set.
//
// The caller's compare function orders the nodes. A search key may compare equal to a whole run
// of nodes (a wildcard key); nodes in the tree never compare equal to each other, since an insert
// of an equal node is refused. So a node's equal range holds just that node, and delete and next
// find the exact node by pointer identity inside it.
// tree_next of a pointer that is not in the tree gives the first node greater than it.
// A null tree gives null from the lookups and 0 from tree_count; insert and delete refuse it.
//
// A walk (tree_first, then tree_next of each node returned) steps in constant time: the tree
// remembers where the last tree_first or tree_next landed, and tree_next of exactly that node
// steps on from there without a search. Deleting that node forgets the place. Like every other
// operation here, this takes no lock: a tree serves one thread at a time.
#include <platform/tree.h>

#include <new>
#include <set>

namespace {

struct less_by_cmp {
    tree_cmp_fn cmp;
    bool operator()(const void *a, const void *b) const { return cmp(a, b) < 0; }
};

using node_set = std::set<void *, less_by_cmp>;

} // namespace

struct tree {
    explicit tree(tree_cmp_fn cmp) : nodes(less_by_cmp{cmp}) {}
    node_set nodes;
    // Where the last tree_first or tree_next landed, or nodes.end().
    mutable node_set::const_iterator last_step = nodes.end();

    node_set::const_iterator locate(const void *node) const {
        auto [it, end] = nodes.equal_range(const_cast<void *>(node));
        for (; it != end; ++it)
            if (*it == node) return it;
        return nodes.end();
    }
};

namespace {

// Remembers `it` (a node of `t`, or its end) as where the walk stands; returns its node.
void *step_to(const tree *t, node_set::const_iterator it) {
    t->last_step = it;
    return it == t->nodes.end() ? nullptr : *it;
}

} // namespace

tree_t *tree_create(tree_cmp_fn cmp, uint32_t) {
    if (cmp == nullptr) return nullptr;
    try {
        return new tree(cmp);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

int tree_insert(tree_t *t, void *node) {
    if (t == nullptr || node == nullptr) return static_cast<int>(TREE_ERR_NOT_FOUND);
    try {
        return t->nodes.insert(node).second ? 0 : static_cast<int>(TREE_ERR_EXISTS);
    } catch (const std::bad_alloc &) {
        return static_cast<int>(TREE_ERR_NO_MEMORY);
    }
}

void *tree_find(const tree_t *t, const void *key) {
    if (t == nullptr || key == nullptr) return nullptr;
    auto it = t->nodes.find(const_cast<void *>(key));
    return it == t->nodes.end() ? nullptr : *it;
}

int tree_delete(tree_t *t, void *node) {
    if (t == nullptr || node == nullptr) return static_cast<int>(TREE_ERR_NOT_FOUND);
    auto it = t->locate(node);
    if (it == t->nodes.end()) return static_cast<int>(TREE_ERR_NOT_FOUND);
    if (it == t->last_step) t->last_step = t->nodes.end();
    t->nodes.erase(it);
    return 0;
}

void *tree_first(const tree_t *t) {
    if (t == nullptr) return nullptr;
    return step_to(t, t->nodes.begin());
}

void *tree_next(const tree_t *t, const void *node) {
    if (t == nullptr || node == nullptr) return nullptr;
    const bool from_last = t->last_step != t->nodes.end() && *t->last_step == node;
    auto it = from_last ? t->last_step : t->locate(node);
    if (it != t->nodes.end())
        ++it;
    else
        it = t->nodes.upper_bound(const_cast<void *>(node));
    return step_to(t, it);
}

void tree_destroy(tree_t *t, tree_free_fn free_fn) {
    if (t == nullptr) return;
    if (free_fn != nullptr)
        for (void *node : t->nodes)
            free_fn(node);
    delete t;
}

uint32_t tree_count(const tree_t *t) {
    return t == nullptr ? 0 : static_cast<uint32_t>(t->nodes.size());
}
