// SPDX-License-Identifier: Apache-2.0
// Failing every VNI of a local service instance.
#include <cstdio>
#include <initializer_list>
#include <vector>

#include "zorv_test_cache.h"

namespace {

constexpr const char *kFn = "zorv_drel_lib_fail_all_vlans_vsi";
constexpr uint16_t kType = ZORV_TYPE1_INTF_VSI_ATTRIBUTES;

// Each test starts with holders that have their sets.
class FailAllVlans : public ::testing::Test {
  protected:
    void SetUp() override { h.make_sets(); }
    uint32_t fail_all(const if_cfg_avl_node_t *n) {
        return zorv_drel_lib_fail_all_vlans_vsi(n, kType, 0, &h.pass, &h.fail);
    }
    // Caches service instance 3 of interface 0x10 with `pairs` and fails all its VLANs.
    void fail_all_of(const zt::pairs_t &pairs) {
        node = zt::add_vsi(0x10, 3, 1, ZORV_MAP_MODE_STATIC, pairs);
        ASSERT_NE(node, nullptr);
        EXPECT_EQ(fail_all(node), 0u);
    }
    // Puts VNIs into the passing and the failed set beforehand.
    void preset(std::initializer_list<uint32_t> passed, std::initializer_list<uint32_t> failed) {
        for (uint32_t v : passed)
            ASSERT_EQ(bitset_set(h.pass.vni_set, v), 0);
        for (uint32_t v : failed)
            ASSERT_EQ(bitset_set(h.fail.vni_set, v), 0);
    }
    void expect_sets(const std::vector<uint32_t> &passed, const std::vector<uint32_t> &failed) {
        EXPECT_EQ(h.passed(), passed);
        EXPECT_EQ(h.failed(), failed);
    }
    zt::holders h;
    if_cfg_avl_node_t *node = nullptr;
};

TEST_F(FailAllVlans, NullNodeReturnsZeroAndLogsNothing) {
    debug_history_clear(zt::kSvc);
    EXPECT_EQ(fail_all(nullptr), 0u);
    EXPECT_EQ(zt::events().size(), 0u);
}

TEST_F(FailAllVlans, EveryMappedVniFailsOnce) {
    zt::add_memvni(10, 5000);
    fail_all_of({{5000, 10}, {5000, 11}, {7000, 4095}});
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{5000, 7000}));
    EXPECT_EQ(bitset_count(h.fail.vni_set), 2);
    EXPECT_TRUE(h.passed().empty());
    char line[160];
    std::snprintf(line, sizeof line, " - cfg_p:%p, lcl_type:9, if_index:0x10, vsi_id:3\n",
                  static_cast<const void *>(node));
    EXPECT_TRUE(zt::has_log(kFn, line)) << zt::dump_events();
}

TEST_F(FailAllVlans, NodeWithoutMappedVlansLeavesHoldersUnchanged) {
    preset({42}, {43});
    fail_all_of({});
    expect_sets({42}, {43});
}

TEST_F(FailAllVlans, VniFromPassingSetMovesToFailedSet) {
    preset({5000, 5001}, {});
    fail_all_of({{5000, 10}});
    expect_sets({5001}, {5000});
}

TEST_F(FailAllVlans, VniWithoutBdIsStillFailed) {
    fail_all_of({{0xFFFFFF, 10}});
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{0xFFFFFF}));
    EXPECT_TRUE(zt::has_log("zorv_drel_lib_get_bd_for_vni",
                            ": Error: Failed to get bd for memvni:16777215\n"));
}

TEST_F(FailAllVlans, NullFailedSetOnlyRemovesFromPassingSet) {
    bitset_free(h.fail.vni_set);
    h.fail.vni_set = nullptr;
    preset({5000}, {});
    fail_all_of({{5000, 10}});
    EXPECT_TRUE(h.passed().empty());
    EXPECT_EQ(h.fail.vni_set, nullptr);
}

TEST_F(FailAllVlans, NullHoldersAreSkipped) {
    node = zt::add_vsi(0x10, 3, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}});
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(zorv_drel_lib_fail_all_vlans_vsi(node, kType, 0, nullptr, nullptr), 0u);
}

TEST_F(FailAllVlans, EachCallStartsFromAnEmptyWorkingSet) {
    if_cfg_avl_node_t *a = zt::add_vsi(0x10, 1, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}});
    if_cfg_avl_node_t *b = zt::add_vsi(0x10, 2, 1, ZORV_MAP_MODE_STATIC, {{6000, 20}});
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    zt::holders first, second;
    first.make_sets();
    second.make_sets();
    EXPECT_EQ(zorv_drel_lib_fail_all_vlans_vsi(a, kType, 0, &first.pass, &first.fail), 0u);
    EXPECT_EQ(zorv_drel_lib_fail_all_vlans_vsi(b, kType, 0, &second.pass, &second.fail), 0u);
    // The second service instance is charged with its own VNI only.
    EXPECT_EQ(second.failed(), (std::vector<uint32_t>{6000}));
}

TEST_F(FailAllVlans, RepeatedCallsKeepTheHeapFlat) {
    zt::pairs_t pairs;
    for (uint32_t v = 1; v < 4096; v += 3)
        pairs.push_back({v * 4001u % 0xFFFFFF + 1, v});
    node = zt::add_vsi(0x10, 1, 1, ZORV_MAP_MODE_STATIC, pairs);
    ASSERT_NE(node, nullptr);
    const auto g = zt::measure_repeated(20, 500, [&] {
        zt::holders fresh;
        fresh.make_sets();
        (void)zorv_drel_lib_fail_all_vlans_vsi(node, kType, 0, &fresh.pass, &fresh.fail);
    });
    EXPECT_LT(g.heap_after, g.heap_before + 64 * 1024)
        << "before " << g.heap_before << " after " << g.heap_after;
    EXPECT_EQ(g.after.live_bytes, g.before.live_bytes);
}

} // namespace
