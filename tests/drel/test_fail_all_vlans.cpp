// Failing every VNI of a local service instance.
#include <cstdio>
#include <malloc.h>

#include "zorv_test_cache.h"

namespace {

constexpr const char *kFn = "zorv_drel_lib_fail_all_vlans_vsi";
constexpr uint16_t kType = ZORV_TYPE1_INTF_VSI_ATTRIBUTES;

TEST(FailAllVlans, NullNodeReturnsZeroAndLogsNothing) {
    zt::holders h;
    h.make_sets();
    debug_history_clear(zt::kSvc);
    EXPECT_EQ(zorv_drel_lib_fail_all_vlans_vsi(nullptr, kType, 0, &h.pass, &h.fail), 0u);
    EXPECT_EQ(zt::events().size(), 0u);
}

TEST(FailAllVlans, EveryMappedVniFailsOnce) {
    zt::add_memvni(10, 5000);
    if_cfg_avl_node_t *node =
        zt::add_vsi(0x10, 3, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}, {5000, 11}, {7000, 4095}});
    ASSERT_NE(node, nullptr);
    zt::holders h;
    h.make_sets();
    EXPECT_EQ(zorv_drel_lib_fail_all_vlans_vsi(node, kType, 0, &h.pass, &h.fail), 0u);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{5000, 7000}));
    EXPECT_EQ(bitset_count(h.fail.vni_set), 2);
    EXPECT_TRUE(h.passed().empty());
    char line[160];
    std::snprintf(line, sizeof line, " - cfg_p:%p, lcl_type:9, if_index:0x10, vsi_id:3\n",
                  static_cast<const void *>(node));
    EXPECT_TRUE(zt::has_log(kFn, line)) << zt::dump_events();
}

TEST(FailAllVlans, NodeWithoutMappedVlansLeavesHoldersUnchanged) {
    if_cfg_avl_node_t *node = zt::add_vsi(0x10, 3, 1, ZORV_MAP_MODE_STATIC, {});
    ASSERT_NE(node, nullptr);
    zt::holders h;
    h.make_sets();
    ASSERT_EQ(bitset_set(h.pass.vni_set, 42), 0);
    ASSERT_EQ(bitset_set(h.fail.vni_set, 43), 0);
    EXPECT_EQ(zorv_drel_lib_fail_all_vlans_vsi(node, kType, 0, &h.pass, &h.fail), 0u);
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{42}));
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{43}));
}

TEST(FailAllVlans, VniFromPassingSetMovesToFailedSet) {
    if_cfg_avl_node_t *node = zt::add_vsi(0x10, 3, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}});
    ASSERT_NE(node, nullptr);
    zt::holders h;
    h.make_sets();
    ASSERT_EQ(bitset_set(h.pass.vni_set, 5000), 0);
    ASSERT_EQ(bitset_set(h.pass.vni_set, 5001), 0);
    EXPECT_EQ(zorv_drel_lib_fail_all_vlans_vsi(node, kType, 0, &h.pass, &h.fail), 0u);
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{5001}));
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{5000}));
}

TEST(FailAllVlans, VniWithoutBdIsStillFailed) {
    if_cfg_avl_node_t *node = zt::add_vsi(0x10, 3, 1, ZORV_MAP_MODE_STATIC, {{0xFFFFFF, 10}});
    ASSERT_NE(node, nullptr);
    zt::holders h;
    h.make_sets();
    EXPECT_EQ(zorv_drel_lib_fail_all_vlans_vsi(node, kType, 0, &h.pass, &h.fail), 0u);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{0xFFFFFF}));
    EXPECT_TRUE(zt::has_log("zorv_drel_lib_get_bd_for_vni",
                            ": Error: Failed to get bd for memvni:16777215\n"));
}

TEST(FailAllVlans, NullFailedSetOnlyRemovesFromPassingSet) {
    if_cfg_avl_node_t *node = zt::add_vsi(0x10, 3, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}});
    ASSERT_NE(node, nullptr);
    zt::holders h;
    h.make_sets();
    bitset_free(h.fail.vni_set);
    h.fail.vni_set = nullptr;
    ASSERT_EQ(bitset_set(h.pass.vni_set, 5000), 0);
    EXPECT_EQ(zorv_drel_lib_fail_all_vlans_vsi(node, kType, 0, &h.pass, &h.fail), 0u);
    EXPECT_TRUE(h.passed().empty());
    EXPECT_EQ(h.fail.vni_set, nullptr);
}

TEST(FailAllVlans, NullHoldersAreSkipped) {
    if_cfg_avl_node_t *node = zt::add_vsi(0x10, 3, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}});
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(zorv_drel_lib_fail_all_vlans_vsi(node, kType, 0, nullptr, nullptr), 0u);
}

TEST(FailAllVlans, EachCallStartsFromAnEmptyWorkingSet) {
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

TEST(FailAllVlans, RepeatedCallsKeepTheHeapFlat) {
    zt::pairs_t pairs;
    for (uint32_t v = 1; v < 4096; v += 3)
        pairs.push_back({v * 4001u % 0xFFFFFF + 1, v});
    if_cfg_avl_node_t *node = zt::add_vsi(0x10, 1, 1, ZORV_MAP_MODE_STATIC, pairs);
    ASSERT_NE(node, nullptr);
    auto run = [&] {
        zt::holders h;
        h.make_sets();
        (void)zorv_drel_lib_fail_all_vlans_vsi(node, kType, 0, &h.pass, &h.fail);
    };
    for (int i = 0; i < 20; ++i)
        run(); // warm up allocator caches and the log ring
    const size_t before = mallinfo2().uordblks;
    const uint64_t tracked = zt::stats().live_bytes;
    for (int i = 0; i < 500; ++i)
        run();
    const size_t after = mallinfo2().uordblks;
    EXPECT_LT(after, before + 64 * 1024) << "before " << before << " after " << after;
    EXPECT_EQ(zt::stats().live_bytes, tracked);
}

} // namespace
