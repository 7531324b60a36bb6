// SPDX-License-Identifier: Apache-2.0
// Encapsulation identifier allocator: lowest-first identifiers, restore, release, exhaustion,
// lazy tree and free bitmap, out-of-range and allocation failures, the parameter index.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>

#include "zorv_test_cache.h"
#include "zorv_test_new_probe.h"

#if defined(__SANITIZE_ADDRESS__)
#define CT_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define CT_ASAN 1
#endif
#endif

#ifndef CT_ASAN
// Lets a test make the free bitmap's plain malloc fail (the bitmap is the only 516-byte
// block the library takes from the heap).
namespace {
std::atomic<bool> fail_bitmap_malloc{false};
}
extern "C" void *__libc_malloc(size_t size);
extern "C" void *malloc(size_t size) {
    if (size == sizeof(bmp4096_t) && fail_bitmap_malloc.load()) return nullptr;
    return __libc_malloc(size);
}
#endif

namespace {

using zt::kSrc;

uint32_t set(const std::string &s) {
    return zorv_drel_set_encap_uid(s.c_str());
}

uint32_t get(const std::string &s) {
    encap_name_t r = zt::name_rec(s);
    return zorv_drel_get_encap_uid(&r);
}

bool id_free(uint32_t id) {
    return free_encap_bmp_p != nullptr && zorv::bmp::test(*free_encap_bmp_p, id - 1);
}

size_t uid_nodes() {
    return zorv_drel_encap_uid_avl == nullptr ? 0 : tree_count(zorv_drel_encap_uid_avl);
}

} // namespace

TEST(EncapUid, NothingExistsBeforeFirstNeed) {
    EXPECT_EQ(zorv_drel_encap_uid_avl, nullptr);
    EXPECT_EQ(free_encap_bmp_p, nullptr);
    const uint32_t before = debug_history_count(zt::kSvc);
    EXPECT_EQ(get("x"), 0u);
    EXPECT_EQ(debug_history_count(zt::kSvc), before); // logs nothing
    EXPECT_EQ(zorv_drel_encap_uid_avl, nullptr);
}

TEST(EncapUid, LowestFirstAndReuse) {
    EXPECT_EQ(set("a"), 1u);
    ASSERT_NE(free_encap_bmp_p, nullptr);
    EXPECT_EQ(free_encap_bmp_p->len, 512u);
    EXPECT_EQ(set("b"), 2u);
    EXPECT_EQ(set("c"), 3u);
    EXPECT_FALSE(id_free(2));
    EXPECT_TRUE(id_free(4));
    EXPECT_EQ(free_encap_bmp_p->bits[0], 0x1F); // identifiers 1..3 used: top three bits clear
    EXPECT_EQ(zorv_drel_free_encap_uid("b"), 2u);
    EXPECT_TRUE(id_free(2));
    EXPECT_EQ(get("b"), 0u);
    EXPECT_EQ(set("d"), 2u);
    EXPECT_EQ(get("a"), 1u);
    EXPECT_EQ(get("d"), 2u);
    // Every new name logs the lookup miss on the way.
    EXPECT_TRUE(zt::has_log(kSrc, " Error: Failed to find profile:d\n")) << zt::dump_events();
}

TEST(EncapUid, NamesAreOrderedInTheTree) {
    for (const char *s : {"m", "b", "z", "a"})
        set(s);
    std::string order;
    for (auto *n : zt::walk<encap_uid_node_t>(zorv_drel_encap_uid_avl))
        order += n->encap_name;
    EXPECT_EQ(order, "abmz");
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_uid_node_t), 4u);
    EXPECT_EQ(zt::stats(ZORV_DREL_LIB_MEM_encap_uid_node_t).live_bytes, 4u * 260u);
}

TEST(EncapUid, RestoreMarksOnlyItsIdentifier) {
    EXPECT_EQ(zorv_drel_restore_encap_uid("r", 10), 0u);
    EXPECT_TRUE(zt::has_log(kSrc, "  restored node:r, id:10, bit:9\n")) << zt::dump_events();
    EXPECT_TRUE(zt::has_log(kSrc, " Error: Failed to find profile:r\n"));
    EXPECT_FALSE(id_free(10));
    EXPECT_EQ(get("r"), 10u);
    EXPECT_EQ(set("n"), 1u);
    for (uint32_t i = 2; i <= 9; ++i)
        EXPECT_EQ(set("n" + std::to_string(i)), i);
    EXPECT_EQ(set("eleven"), 11u);
}

TEST(EncapUid, RestoreDoesNotCheckWhetherTheIdWasFree) {
    EXPECT_EQ(set("a"), 1u);
    EXPECT_EQ(zorv_drel_restore_encap_uid("b", 1), 0u);
    EXPECT_EQ(get("a"), 1u);
    EXPECT_EQ(get("b"), 1u);
    EXPECT_EQ(set("c"), 2u);
}

TEST(EncapUid, SetTwiceKeepsTheFirst) {
    EXPECT_EQ(set("a"), 1u);
    EXPECT_EQ(set("a"), 0u);
    EXPECT_TRUE(zt::has_log(kSrc, " Error: node:a, id:1 exists already\n")) << zt::dump_events();
    EXPECT_EQ(get("a"), 1u);
    EXPECT_TRUE(id_free(2));
    EXPECT_EQ(uid_nodes(), 1u);
}

TEST(EncapUid, RestoreOfAnExistingNameChangesNothing) {
    EXPECT_EQ(set("a"), 1u);
    EXPECT_EQ(zorv_drel_restore_encap_uid("a", 5), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kSrc, " Error: node:a, id:1 exists already\n"));
    EXPECT_EQ(get("a"), 1u);
    EXPECT_TRUE(id_free(5));
    EXPECT_EQ(uid_nodes(), 1u);
}

TEST(EncapUid, RestoreOutOfRangeIsRefusedAndChangesNothing) {
    EXPECT_EQ(zorv_drel_restore_encap_uid("x", 0), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kSrc, " Error: invalid id:0 for profile:x\n")) << zt::dump_events();
    EXPECT_EQ(zorv_drel_restore_encap_uid("x", 4097), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kSrc, " Error: invalid id:4097 for profile:x\n"));
    EXPECT_EQ(zorv_drel_restore_encap_uid("x", 0xFFFFFFFFu), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(zorv_drel_encap_uid_avl, nullptr);
    EXPECT_EQ(free_encap_bmp_p, nullptr);
    // With the allocator in use, nothing changes either.
    EXPECT_EQ(set("a"), 1u);
    bmp4096_t before = *free_encap_bmp_p;
    EXPECT_EQ(zorv_drel_restore_encap_uid("x", 4097), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(std::memcmp(&before, free_encap_bmp_p, sizeof before), 0);
    EXPECT_EQ(uid_nodes(), 1u);
    // The bounds themselves are accepted.
    EXPECT_EQ(zorv_drel_restore_encap_uid("lo", 1), 0u);
    EXPECT_EQ(zorv_drel_restore_encap_uid("hi", 4096), 0u);
    EXPECT_FALSE(id_free(4096));
    EXPECT_EQ(free_encap_bmp_p->bits[511], 0xFE);
}

TEST(EncapUid, ExhaustionAfter4096) {
    for (uint32_t i = 1; i <= 4096; ++i)
        ASSERT_EQ(set("n" + std::to_string(i)), i);
    EXPECT_EQ(set("late"), 0u);
    // The name stays without an identifier until it is freed.
    encap_uid_node_t *late = zorv_drel_encap_uid_avl_find("late");
    ASSERT_NE(late, nullptr);
    EXPECT_EQ(late->id, 0u);
    EXPECT_EQ(set("late"), 0u);
    EXPECT_TRUE(zt::has_log(kSrc, " Error: node:late, id:0 exists already\n"));
    // Freeing it gives back no identifier.
    EXPECT_EQ(zorv_drel_free_encap_uid("late"), 0u);
    EXPECT_EQ(set("late2"), 0u);
    EXPECT_EQ(zorv_drel_free_encap_uid("n4096"), 4096u);
    EXPECT_EQ(set("last"), 4096u);
}

TEST(EncapUid, MissesLogTwiceInGetAndFree) {
    EXPECT_EQ(set("a"), 1u);
    debug_history_clear(zt::kSvc);
    EXPECT_EQ(get("zz"), 0u);
    EXPECT_EQ(zt::log_count(kSrc, " Error: Failed to find profile:zz\n"), 2u) << zt::dump_events();
    debug_history_clear(zt::kSvc);
    EXPECT_EQ(zorv_drel_free_encap_uid("zz"), 0u);
    EXPECT_EQ(zt::log_count(kSrc, " Error: Failed to find profile:zz\n"), 2u);
    debug_history_clear(zt::kSvc);
    EXPECT_EQ(zorv_drel_encap_uid_avl_find("zz"), nullptr);
    EXPECT_EQ(zt::log_count(kSrc, " Error: Failed to find profile:zz\n"), 1u);
}

TEST(EncapUid, NullNameIsLookedUpAsTheEmptyName) {
    EXPECT_EQ(set("a"), 1u);
    debug_history_clear(zt::kSvc);
    EXPECT_EQ(zorv_drel_encap_uid_avl_find(nullptr), nullptr);
    EXPECT_EQ(zt::log_count(kSrc, " Error: Failed to find profile:\n"), 1u) << zt::dump_events();
}

TEST(EncapUid, FreeBeforeAnyTreeMisses) {
    EXPECT_EQ(zorv_drel_free_encap_uid("zz"), 0u);
    EXPECT_EQ(zt::log_count(kSrc, " Error: Failed to find profile:zz\n"), 2u);
}

TEST(EncapUid, CompareNullsGiveMinusOne) {
    EXPECT_EQ(zorv_drel_encap_uid_avl_cmp(nullptr, "x"), -1);
    EXPECT_EQ(zorv_drel_encap_uid_avl_cmp("x", nullptr), -1);
    EXPECT_EQ(zorv_drel_encap_uid_avl_cmp(nullptr, nullptr), -1);
    EXPECT_EQ(zorv_drel_encap_uid_avl_cmp("a", "b"), -1);
    EXPECT_EQ(zorv_drel_encap_uid_avl_cmp("b", "a"), 1);
    EXPECT_EQ(zorv_drel_encap_uid_avl_cmp("a", "a"), 0);
}

TEST(EncapUid, InsertFindDeleteDirectly) {
    ASSERT_EQ(set("q"), 1u); // the tree exists from here on
    encap_uid_node_t *n = zorv_drel_encap_uid_avl_insert("p");
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(n->id, 0u);
    EXPECT_STREQ(n->encap_name, "p");
    EXPECT_EQ(zorv_drel_encap_uid_avl_find("p"), n);
    // The tree refuses a second node of the name; the node is the caller's all the same.
    encap_uid_node_t *again = zorv_drel_encap_uid_avl_insert("p");
    ASSERT_NE(again, nullptr);
    EXPECT_NE(again, n);
    EXPECT_STREQ(again->encap_name, "p");
    EXPECT_EQ(zorv_drel_encap_uid_avl_find("p"), n);
    EXPECT_EQ(uid_nodes(), 2u);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_uid_node_t), 3u);
    zorv_drel_encap_uid_avl_free(again);
    zorv_drel_encap_uid_avl_delete(n);
    zorv_drel_encap_uid_avl_delete(nullptr);
    EXPECT_EQ(zorv_drel_encap_uid_avl_find("p"), nullptr);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_uid_node_t), 1u);
}

// Only set and restore create the tree; an insert without one hands its node back.
TEST(EncapUid, InsertDoesNotCreateTheTree) {
    encap_uid_node_t *n = zorv_drel_encap_uid_avl_insert("p");
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(zorv_drel_encap_uid_avl, nullptr);
    EXPECT_STREQ(n->encap_name, "p");
    EXPECT_EQ(n->id, 0u);
    zorv_drel_encap_uid_avl_free(n);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_uid_node_t), 0u);
}

// Fails each allocation that a set and a restore of a new name make with operator new, the
// tree's own among them, one at a time: no node is ever left outside the tree.
TEST(EncapUid, NodeTheTreeRefusesIsNotLeftBehind) {
    ASSERT_EQ(set("a"), 1u); // the tree and the free bitmap exist
    for (const bool restore : {false, true}) {
        auto call = [restore] {
            return restore ? zorv_drel_restore_encap_uid("b", 9) : zorv_drel_set_encap_uid("b");
        };
        zt::probe::start();
        EXPECT_EQ(call(), restore ? 0u : 2u);
        zt::probe::stop();
        const int64_t made = zt::probe::allocations.load();
        ASSERT_GT(made, 0);
        (void)zorv_drel_free_encap_uid("b");
        for (int64_t k = 0; k < made; ++k) {
            zt::probe::fail(k, 1);
            const uint32_t rc = call();
            zt::probe::fail(-1, 0);
            EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_uid_node_t), uid_nodes()) << k;
            if (zorv_drel_encap_uid_avl_find("b") == nullptr)
                EXPECT_EQ(rc, restore ? ZORV_DREL_ERR_NO_MEMORY : 0u) << k;
            else
                (void)zorv_drel_free_encap_uid("b");
        }
    }
    EXPECT_EQ(uid_nodes(), 1u);
}

TEST(EncapUid, DeleteDoesNotFreeTheIdentifier) {
    EXPECT_EQ(set("a"), 1u);
    zorv_drel_encap_uid_avl_delete(zorv_drel_encap_uid_avl_find("a"));
    EXPECT_FALSE(id_free(1));
    EXPECT_EQ(set("b"), 2u);
}

TEST(EncapUid, LongNamesAreCutTo255) {
    std::string longname(300, 'k');
    EXPECT_EQ(set(longname), 1u);
    auto nodes = zt::walk<encap_uid_node_t>(zorv_drel_encap_uid_avl);
    ASSERT_EQ(nodes.size(), 1u);
    EXPECT_EQ(std::strlen(nodes[0]->encap_name), 255u);
    EXPECT_EQ(get(longname.substr(0, 255)), 1u);
}

TEST(EncapUid, InsertAllocationFailure) {
    EXPECT_EQ(set("a"), 1u);
    zt::fault_guard f(0, 2);
    EXPECT_EQ(set("b"), 0u);
    EXPECT_EQ(zorv_drel_restore_encap_uid("c", 7), ZORV_DREL_ERR_NO_MEMORY);
    tracked_mem_fault_set(zt::kSvc, 0, 0);
    EXPECT_EQ(uid_nodes(), 1u);
    EXPECT_TRUE(id_free(2));
    EXPECT_TRUE(id_free(7));
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_uid_node_t), 1u);
    EXPECT_EQ(set("b"), 2u);
}

TEST(EncapUid, BitmapMallocFailure) {
#ifdef CT_ASAN
    GTEST_SKIP() << "the heap cannot be made to fail under the address sanitizer";
#else
    fail_bitmap_malloc = true;
    const uint32_t s = set("a");
    const uint32_t r = zorv_drel_restore_encap_uid("b", 3);
    fail_bitmap_malloc = false;
    EXPECT_EQ(s, 0u);
    EXPECT_EQ(r, ZORV_DREL_ERR_NO_MEMORY);
    EXPECT_EQ(free_encap_bmp_p, nullptr);
    EXPECT_EQ(uid_nodes(), 0u);
    EXPECT_EQ(zt::live_blocks(), 0u);
    // Once the heap serves again the allocator works from identifier 1.
    EXPECT_EQ(set("a"), 1u);
    EXPECT_EQ(zorv_drel_restore_encap_uid("b", 3), 0u);
#endif
}

TEST(EncapUid, ParameterIndex) {
    EXPECT_EQ(zorv_drel_lib_get_uid(ZORV_TYPE1_INTF_VSI_ADMIN, 12, nullptr), 5u);
    EXPECT_TRUE(zt::has_log("zorv_drel_lib_get_uid", ": Unsupported type:5\n"));
    EXPECT_TRUE(zt::has_log("zorv_drel_lib_get_uid", ": type:5, id=5\n"));
    member_vni_t m = zt::memvni(100, 5000);
    EXPECT_EQ(zorv_drel_lib_get_uid(ZORV_TYPE1_GBL_MEMBER_VNI, 8, &m), 5000u);
    EXPECT_TRUE(zt::has_log("zorv_drel_lib_get_uid", ": type:8, id=5000\n"));
    auto v = zt::make_vsi_all(1, 77, 1, 1, {});
    EXPECT_EQ(zorv_drel_lib_get_uid(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, static_cast<uint32_t>(v.size()),
                                    v.data()),
              77u);
    EXPECT_TRUE(zt::has_log("zorv_drel_lib_get_uid", ": :9\n")) << zt::dump_events();
    EXPECT_TRUE(zt::has_log("zorv_drel_lib_get_uid", ": type:9, id=77\n"));
}

TEST(EncapUid, ParameterIndexOfAMissingValueIsZero) {
    EXPECT_EQ(zorv_drel_lib_get_uid(ZORV_TYPE1_GBL_MEMBER_VNI, 8, nullptr), 0u);
    EXPECT_TRUE(zt::has_log("zorv_drel_lib_get_uid", ": type:8, id=0\n"));
    EXPECT_EQ(zorv_drel_lib_get_uid(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, 0, nullptr), 0u);
    EXPECT_TRUE(zt::has_log("zorv_drel_lib_get_uid", ": :9\n"));
    EXPECT_TRUE(zt::has_log("zorv_drel_lib_get_uid", ": type:9, id=0\n")) << zt::dump_events();
}
