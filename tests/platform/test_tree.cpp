// SPDX-License-Identifier: Apache-2.0
// Ordered tree: order, duplicates, delete by identity, wildcard keys, destroy, cost per operation.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include <platform/platform.h>

#include "zorv_test_new_probe.h"

namespace {

long compares = 0;

int cmp_int(const void *a, const void *b) {
    ++compares;
    const int x = *static_cast<const int *>(a), y = *static_cast<const int *>(b);
    return x < y ? -1 : x > y ? 1 : 0;
}

// An interface-like key: vsi 0 in either operand matches every vsi of the interface.
struct if_node {
    uint32_t ifx;
    uint32_t vsi;
};
int cmp_if(const void *a, const void *b) {
    const auto *x = static_cast<const if_node *>(a);
    const auto *y = static_cast<const if_node *>(b);
    if (x->ifx != y->ifx) return x->ifx < y->ifx ? -1 : 1;
    if (x->vsi == 0 || y->vsi == 0 || x->vsi == y->vsi) return 0;
    return x->vsi < y->vsi ? -1 : 1;
}

// A tree of cmp_int holding the ints of `v`, which must outlive it.
template <size_t N> tree_t *tree_of(int (&v)[N]) {
    tree_t *t = tree_create(cmp_int, 0);
    for (int &x : v)
        tree_insert(t, &x);
    return t;
}

std::vector<int> walk(const tree_t *t) {
    std::vector<int> out;
    for (void *n = tree_first(t); n != nullptr; n = tree_next(t, n))
        out.push_back(*static_cast<int *>(n));
    return out;
}

TEST(Tree, WalksInOrder) {
    tree_t *t = tree_create(cmp_int, 0);
    ASSERT_NE(t, nullptr);
    int v[] = {5, 1, 9, 3, 7};
    for (int &x : v)
        ASSERT_EQ(tree_insert(t, &x), 0);
    EXPECT_EQ(walk(t), (std::vector<int>{1, 3, 5, 7, 9}));
    EXPECT_EQ(tree_count(t), 5u);
    tree_destroy(t, nullptr);
}

TEST(Tree, EmptyTree) {
    tree_t *t = tree_create(cmp_int, 0);
    int k = 1;
    EXPECT_EQ(tree_first(t), nullptr);
    EXPECT_EQ(tree_find(t, &k), nullptr);
    EXPECT_EQ(tree_count(t), 0u);
    EXPECT_EQ(tree_delete(t, &k), static_cast<int>(TREE_ERR_NOT_FOUND));
    tree_destroy(t, nullptr);
}

TEST(Tree, DuplicateIsRefusedAndNothingChanges) {
    tree_t *t = tree_create(cmp_int, 0);
    int a = 4, b = 4;
    ASSERT_EQ(tree_insert(t, &a), 0);
    EXPECT_EQ(tree_insert(t, &b), static_cast<int>(TREE_ERR_EXISTS));
    EXPECT_EQ(tree_insert(t, &a), static_cast<int>(TREE_ERR_EXISTS));
    EXPECT_EQ(tree_count(t), 1u);
    EXPECT_EQ(tree_find(t, &b), &a);
    tree_destroy(t, nullptr);
}

TEST(Tree, FindReturnsTheStoredNode) {
    int v[] = {10, 20, 30};
    tree_t *t = tree_of(v);
    int key = 20, missing = 25;
    EXPECT_EQ(tree_find(t, &key), &v[1]);
    EXPECT_EQ(tree_find(t, &missing), nullptr);
    tree_destroy(t, nullptr);
}

TEST(Tree, DeleteRemovesExactlyTheGivenNode) {
    tree_t *t = tree_create(cmp_int, 0);
    int a = 1, b = 2, c = 3, lookalike = 2;
    tree_insert(t, &a);
    tree_insert(t, &b);
    tree_insert(t, &c);
    EXPECT_EQ(tree_delete(t, &lookalike), static_cast<int>(TREE_ERR_NOT_FOUND))
        << "an equal key is not the node";
    EXPECT_EQ(tree_count(t), 3u);
    EXPECT_EQ(tree_delete(t, &b), 0);
    EXPECT_EQ(tree_delete(t, &b), static_cast<int>(TREE_ERR_NOT_FOUND));
    EXPECT_EQ(walk(t), (std::vector<int>{1, 3}));
    EXPECT_EQ(tree_insert(t, &lookalike), 0);
    EXPECT_EQ(walk(t), (std::vector<int>{1, 2, 3}));
    tree_destroy(t, nullptr);
}

TEST(Tree, NextOfAPointerNotInTheTreeGivesTheFirstGreaterNode) {
    int v[] = {10, 20, 30};
    tree_t *t = tree_of(v);
    int k15 = 15, k20 = 20, k30 = 30;
    EXPECT_EQ(tree_next(t, &k15), &v[1]);
    EXPECT_EQ(tree_next(t, &k20), &v[2]);
    EXPECT_EQ(tree_next(t, &k30), nullptr);
    EXPECT_EQ(tree_next(t, &v[2]), nullptr);
    EXPECT_EQ(tree_next(t, nullptr), nullptr);
    tree_destroy(t, nullptr);
}

TEST(Tree, AWalkStepsWithoutComparing) {
    tree_t *t = tree_create(cmp_int, 0);
    std::vector<int> v(1000);
    for (int i = 0; i < 1000; ++i) {
        v[i] = i;
        tree_insert(t, &v[i]);
    }
    compares = 0;
    int steps = 0;
    for (void *n = tree_first(t); n != nullptr; n = tree_next(t, n))
        ++steps;
    EXPECT_EQ(steps, 1000);
    EXPECT_EQ(compares, 0) << "each step goes on from the node the last one returned";
    tree_destroy(t, nullptr);
}

TEST(Tree, AWalkFollowsChangesAndInterleavedWalks) {
    tree_t *t = tree_create(cmp_int, 0);
    int v[] = {10, 20, 30, 40, 50};
    for (int &x : v)
        tree_insert(t, &x);
    int ahead = 35;
    EXPECT_EQ(tree_first(t), &v[0]);
    EXPECT_EQ(tree_next(t, &v[0]), &v[1]);
    ASSERT_EQ(tree_insert(t, &ahead), 0);
    EXPECT_EQ(tree_next(t, &v[1]), &v[2]);
    EXPECT_EQ(tree_next(t, &v[2]), &ahead) << "a node inserted ahead of the walk is met";
    ASSERT_EQ(tree_delete(t, &ahead), 0) << "the node the walk stands on leaves the tree";
    EXPECT_EQ(tree_next(t, &ahead), &v[3]) << "a node no longer in the tree: the first greater";
    // Two walks taking turns: each steps from a node that is not the one last returned.
    EXPECT_EQ(tree_next(t, &v[0]), &v[1]);
    EXPECT_EQ(tree_next(t, &v[3]), &v[4]);
    EXPECT_EQ(tree_next(t, &v[1]), &v[2]);
    EXPECT_EQ(tree_next(t, &v[4]), nullptr);
    tree_destroy(t, nullptr);
}

TEST(Tree, WildcardKeyFindsAnyNodeOfItsRun) {
    tree_t *t = tree_create(cmp_if, 0);
    if_node n[] = {{1, 1}, {1, 2}, {1, 3}, {2, 1}, {2, 5}, {3, 4}};
    for (auto &x : n)
        ASSERT_EQ(tree_insert(t, &x), 0);
    if_node wild1{1, 0}, wild2{2, 0}, wild9{9, 0}, exact{2, 5};
    auto *f = static_cast<if_node *>(tree_find(t, &wild1));
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->ifx, 1u);
    f = static_cast<if_node *>(tree_find(t, &wild2));
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->ifx, 2u);
    EXPECT_EQ(tree_find(t, &wild9), nullptr);
    EXPECT_EQ(tree_find(t, &exact), &n[4]);

    // Delete and next find the node itself, wherever it lies in its run.
    EXPECT_EQ(tree_delete(t, &wild1), static_cast<int>(TREE_ERR_NOT_FOUND));
    EXPECT_EQ(tree_next(t, &n[0]), &n[1]);
    EXPECT_EQ(tree_next(t, &n[1]), &n[2]);
    EXPECT_EQ(tree_next(t, &n[2]), &n[3]);
    EXPECT_EQ(tree_delete(t, &n[1]), 0);
    EXPECT_EQ(tree_next(t, &n[0]), &n[2]);
    EXPECT_EQ(tree_next(t, &wild1), &n[3]) << "a wildcard key is followed by the next run";
    // Removing a whole run one by one through the wildcard key.
    for (void *p; (p = tree_find(t, &wild1)) != nullptr;)
        ASSERT_EQ(tree_delete(t, p), 0);
    EXPECT_EQ(tree_count(t), 3u);
    EXPECT_EQ(tree_first(t), &n[3]);
    tree_destroy(t, nullptr);
}

std::vector<void *> freed;
void record_free(void *p) {
    freed.push_back(p);
}

TEST(Tree, DestroyCallsFreeOncePerNode) {
    freed.clear();
    tree_t *t = tree_create(cmp_int, 0);
    std::vector<std::unique_ptr<int>> owned;
    for (int i = 0; i < 50; ++i) {
        owned.push_back(std::make_unique<int>(i * 3 % 50));
        ASSERT_EQ(tree_insert(t, owned.back().get()), 0);
    }
    int removed = *owned[7];
    ASSERT_EQ(tree_delete(t, owned[7].get()), 0);
    tree_destroy(t, record_free);
    EXPECT_EQ(freed.size(), 49u);
    std::vector<void *> sorted = freed;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(std::adjacent_find(sorted.begin(), sorted.end()), sorted.end()) << "freed twice";
    EXPECT_EQ(std::find(freed.begin(), freed.end(), owned[7].get()), freed.end())
        << "node " << removed << " was no longer in the tree";
}

int owned_frees = 0;
void free_int(void *p) {
    ++owned_frees;
    delete static_cast<int *>(p);
}

TEST(Tree, DestroyCanReleaseTheNodes) {
    owned_frees = 0;
    tree_t *t = tree_create(cmp_int, 0);
    for (int i = 0; i < 100; ++i)
        tree_insert(t, new int(i));
    tree_destroy(t, free_int); // the sanitizer reports any node left behind
    EXPECT_EQ(owned_frees, 100);
}

TEST(Tree, NullTreeIsTolerated) {
    int k = 1;
    tree_destroy(nullptr, free_int);
    EXPECT_EQ(tree_find(nullptr, &k), nullptr);
    EXPECT_EQ(tree_first(nullptr), nullptr);
    EXPECT_EQ(tree_next(nullptr, &k), nullptr);
    EXPECT_EQ(tree_count(nullptr), 0u);
    EXPECT_NE(tree_insert(nullptr, &k), 0);
    EXPECT_NE(tree_delete(nullptr, &k), 0);
}

TEST(Tree, CreateNeedsACompareFunction) {
    EXPECT_EQ(tree_create(nullptr, 0), nullptr);
}

TEST(Tree, NoMemory) {
    zt::probe::start();
    zt::probe::fail(0, 1);
    EXPECT_EQ(tree_create(cmp_int, 0), nullptr);
    tree_t *t = tree_create(cmp_int, 0);
    ASSERT_NE(t, nullptr);
    int a = 1, b = 2;
    ASSERT_EQ(tree_insert(t, &a), 0);
    zt::probe::fail(0, 1);
    EXPECT_EQ(tree_insert(t, &b), static_cast<int>(TREE_ERR_NO_MEMORY));
    EXPECT_EQ(tree_count(t), 1u);
    EXPECT_EQ(tree_find(t, &b), nullptr);
    EXPECT_EQ(tree_insert(t, &b), 0);
    tree_destroy(t, nullptr);
    zt::probe::stop();
    EXPECT_EQ(zt::probe::live_blocks.load(), 0);
}

TEST(Tree, OperationsTakeLogarithmicallyManyComparisons) {
    constexpr int kN = 1 << 16;
    std::vector<int> v(kN);
    for (int i = 0; i < kN; ++i)
        v[i] = i;
    std::shuffle(v.begin(), v.end(), std::mt19937(7));
    tree_t *t = tree_create(cmp_int, 0);
    for (int &x : v)
        ASSERT_EQ(tree_insert(t, &x), 0);
    const long bound = 3 * static_cast<long>(std::log2(kN)) + 8; // red-black depth <= 2 log n
    long worst_find = 0, worst_next = 0, worst_delete = 0;
    std::mt19937 rng(11);
    for (int i = 0; i < 2000; ++i) {
        int &node = v[rng() % kN];
        compares = 0;
        EXPECT_EQ(tree_find(t, &node), &node);
        worst_find = std::max(worst_find, compares);
        compares = 0;
        tree_next(t, &node);
        worst_next = std::max(worst_next, compares);
        compares = 0;
        if (tree_delete(t, &node) == 0) {
            worst_delete = std::max(worst_delete, compares);
            tree_insert(t, &node);
        }
    }
    EXPECT_LE(worst_find, bound);
    EXPECT_LE(worst_next, 2 * bound);
    EXPECT_LE(worst_delete, 2 * bound);
    EXPECT_EQ(tree_count(t), static_cast<uint32_t>(kN));
    tree_destroy(t, nullptr);
}

TEST(Tree, AgreesWithAReferenceUnderRandomChurn) {
    tree_t *t = tree_create(cmp_int, 0);
    std::vector<std::unique_ptr<int>> pool;
    std::map<int, int *> ref;
    std::mt19937 rng(3);
    for (int i = 0; i < 20000; ++i) {
        const int k = static_cast<int>(rng() % 500);
        auto it = ref.find(k);
        if (rng() % 2 == 0) {
            pool.push_back(std::make_unique<int>(k));
            const int rc = tree_insert(t, pool.back().get());
            if (it == ref.end()) {
                ASSERT_EQ(rc, 0);
                ref[k] = pool.back().get();
            } else {
                ASSERT_EQ(rc, static_cast<int>(TREE_ERR_EXISTS));
            }
        } else if (it != ref.end()) {
            ASSERT_EQ(tree_delete(t, it->second), 0);
            ref.erase(it);
        }
    }
    std::vector<int> want;
    for (auto &[k, p] : ref)
        want.push_back(k);
    EXPECT_EQ(walk(t), want);
    EXPECT_EQ(tree_count(t), ref.size());
    tree_destroy(t, nullptr);
}

} // namespace
