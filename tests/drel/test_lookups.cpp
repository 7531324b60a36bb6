// SPDX-License-Identifier: Apache-2.0
// Lookups from VNI to bridge domain, from a service instance to its BDs and VNIs, and from an
// encapsulation profile name to its global dot1q map.
#include <cstring>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

#include "zorv_test_cache.h"

namespace {

constexpr const char *kBdForVni = "zorv_drel_lib_get_bd_for_vni";
constexpr const char *kBdBmp = "zorv_drel_lib_get_bd_bmp_for_vsi";
constexpr const char *kMap = "zorv_drel_lib_get_gbl_dot1qmap_for_encap";

// An interface node outside the tree, all zero.
std::unique_ptr<if_cfg_avl_node_t, zt::free_deleter> loose_node() {
    return std::unique_ptr<if_cfg_avl_node_t, zt::free_deleter>(
        static_cast<if_cfg_avl_node_t *>(std::calloc(1, sizeof(if_cfg_avl_node_t))));
}

// What the BD lookup of a service instance gives: its code, the BD bitmap and the VNI set.
struct bd_lookup {
    uint32_t rc = 0;
    bmp4096_t bmp{};
    std::vector<uint32_t> vnis;
};

// The BD lookup of a loose node whose dot1q table holds `vlan_vni`, into a bitmap whose bytes
// were all `fill` and a fresh VNI set.
bd_lookup bds_of(std::initializer_list<std::pair<uint32_t, uint32_t>> vlan_vni, uint8_t fill = 0) {
    auto node = loose_node();
    for (auto [vlan, vni] : vlan_vni)
        node->dot1q_vni[vlan] = vni;
    bd_lookup out;
    std::memset(&out.bmp, fill, sizeof out.bmp);
    bitset_t *set = zt::new_set();
    out.rc = zorv_drel_lib_get_bd_bmp_for_vsi(node.get(), &out.bmp, set);
    out.vnis = zt::members(set);
    bitset_free(set);
    return out;
}

TEST(BdForVni, BoundVniGivesItsBd) {
    zt::add_memvni(100, 5000);
    EXPECT_EQ(zorv_drel_lib_get_bd_for_vni(5000), 100u);
    EXPECT_TRUE(zt::has_log(kBdForVni, ": cfg_p: bd:100, vni:5000\n")) << zt::dump_events();
}

TEST(BdForVni, UnboundVniGivesZeroAndLogs) {
    zt::add_memvni(100, 5000);
    EXPECT_EQ(zorv_drel_lib_get_bd_for_vni(5001), 0u);
    EXPECT_TRUE(zt::has_log(kBdForVni, ": Error: Failed to get bd for memvni:5001\n"));
}

TEST(BdForVni, MissingTreeGivesZeroAndLogs) {
    tree_t *saved = zorv_drel_gbl_cfg_memvni_avl;
    zorv_drel_gbl_cfg_memvni_avl = nullptr;
    EXPECT_EQ(zorv_drel_lib_get_bd_for_vni(77), 0u);
    zorv_drel_gbl_cfg_memvni_avl = saved;
    EXPECT_TRUE(zt::has_log(kBdForVni, ": Error: Failed to get avl for memvni:77\n"));
}

TEST(BdBmpForVsi, NullArgumentsAreInvalid) {
    auto node = loose_node();
    bmp4096_t bmp{};
    EXPECT_EQ(zorv_drel_lib_get_bd_bmp_for_vsi(nullptr, &bmp, nullptr), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(zorv_drel_lib_get_bd_bmp_for_vsi(node.get(), nullptr, nullptr),
              ZORV_DREL_ERR_INVALID_ARG);
}

TEST(BdBmpForVsi, OnlyVlanZeroMappedGivesEmptyBitmap) {
    zt::add_memvni(9, 5000);
    const bd_lookup r = bds_of({{0, 5000}}, 0xAB); // VLAN 0 is never read
    EXPECT_EQ(r.rc, 0u);
    EXPECT_EQ(r.bmp.len, 512u);
    EXPECT_EQ(zt::bmp_count(r.bmp), 0u);
    EXPECT_TRUE(r.vnis.empty());
    EXPECT_EQ(zt::log_count(kBdForVni, ": cfg_p: bd:9, vni:5000\n"), 0u);
}

TEST(BdBmpForVsi, TwoVlansOnOneBdSetOneBit) {
    zt::add_memvnis({{30, 5000}, {30, 5001}});
    const bd_lookup r = bds_of({{10, 5000}, {11, 5001}});
    EXPECT_EQ(r.rc, 0u);
    EXPECT_EQ(zt::bmp_count(r.bmp), 1u);
    EXPECT_TRUE(zorv::bmp::test(r.bmp, 30));
    EXPECT_EQ(r.vnis, (std::vector<uint32_t>{5000, 5001}));
}

TEST(BdBmpForVsi, UnboundVniStillJoinsVniSet) {
    const bd_lookup r = bds_of({{4095, 7000}});
    EXPECT_EQ(r.rc, 0u);
    EXPECT_EQ(zt::bmp_count(r.bmp), 0u);
    EXPECT_EQ(r.vnis, (std::vector<uint32_t>{7000}));
    EXPECT_TRUE(zt::has_log(kBdForVni, ": Error: Failed to get bd for memvni:7000\n"));
}

TEST(BdBmpForVsi, VniAboveRangeLeftOutOfSetButLookedUp) {
    zt::add_memvni(7, 0x1000000);
    const bd_lookup r = bds_of({{5, 0x1000000}});
    EXPECT_EQ(r.rc, 0u);
    EXPECT_TRUE(r.vnis.empty());
    EXPECT_TRUE(zorv::bmp::test(r.bmp, 7));
    EXPECT_TRUE(zt::has_log(kBdForVni, ": cfg_p: bd:7, vni:16777216\n"));
}

TEST(BdBmpForVsi, NullVniSetOnlyFillsBitmap) {
    zt::add_memvni(12, 5000);
    auto node = loose_node();
    node->dot1q_vni[100] = 5000;
    bmp4096_t bmp{};
    EXPECT_EQ(zorv_drel_lib_get_bd_bmp_for_vsi(node.get(), &bmp, nullptr), 0u);
    EXPECT_TRUE(zorv::bmp::test(bmp, 12));
}

TEST(BdBmpForVsi, BdBeyondBitmapIsLoggedAndNeverWritten) {
    zt::add_memvnis({{5000, 6000}, {4096, 6001}, {4095, 6002}});
    auto node = loose_node();
    node->dot1q_vni[1] = 6000;
    node->dot1q_vni[2] = 6001;
    node->dot1q_vni[3] = 6002;
    // The bitmap ends exactly at its block's end: a write for BD 4096 or 5000 would be caught.
    bmp4096_t zero{};
    zt::exact_buf buf(&zero, sizeof zero);
    EXPECT_EQ(zorv_drel_lib_get_bd_bmp_for_vsi(node.get(), buf.as<bmp4096_t>(), nullptr), 0u);
    EXPECT_EQ(zt::bmp_count(*buf.as<bmp4096_t>()), 1u);
    EXPECT_TRUE(zorv::bmp::test(*buf.as<bmp4096_t>(), 4095));
    EXPECT_TRUE(
        zt::has_log(kBdBmp, ": Error: bd:5000 (vni:6000) out of bitmap range, not marked\n"));
    EXPECT_TRUE(
        zt::has_log(kBdBmp, ": Error: bd:4096 (vni:6001) out of bitmap range, not marked\n"));
}

TEST(GblDot1qMap, NullNameIsInvalid) {
    uint32_t *map = nullptr;
    EXPECT_EQ(zorv_drel_lib_get_gbl_dot1qmap_for_encap(nullptr, &map), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(map, nullptr);
}

TEST(GblDot1qMap, MissingTreeFails) {
    tree_t *saved = zorv_drel_gbl_cfg_avl;
    zorv_drel_gbl_cfg_avl = nullptr;
    uint32_t *map = nullptr;
    EXPECT_EQ(zorv_drel_lib_get_gbl_dot1qmap_for_encap("p1", &map), ZORV_DREL_ERR_FAILURE);
    zorv_drel_gbl_cfg_avl = saved;
    EXPECT_EQ(map, nullptr);
    EXPECT_TRUE(zt::has_log(kMap, ": Error: Failed to get avl for encap:p1\n"));
}

TEST(GblDot1qMap, ProfileWithMapGivesPointerIntoCache) {
    zt::add_profile("other");
    gbl_cfg_avl_node_t *node = zt::add_profile_map("p1", {{10, 5000}, {20, 6000}});
    ASSERT_NE(node, nullptr);
    uint32_t *map = nullptr;
    EXPECT_EQ(zorv_drel_lib_get_gbl_dot1qmap_for_encap("p1", &map), 0u);
    EXPECT_EQ(map, node->map.dot1q_vni);
    EXPECT_EQ(map[10], 5000u);
    EXPECT_EQ(map[20], 6000u);
    EXPECT_TRUE(zt::has_log(kMap, ": Found matching prof for p1\n"));
}

TEST(GblDot1qMap, ProfileWithoutMapFailsAndLeavesOutputUntouched) {
    zt::add_profile("p1");
    uint32_t sentinel = 0;
    uint32_t *map = &sentinel;
    EXPECT_EQ(zorv_drel_lib_get_gbl_dot1qmap_for_encap("p1", &map), ZORV_DREL_ERR_FAILURE);
    EXPECT_EQ(map, &sentinel);
    EXPECT_TRUE(zt::has_log(kMap, ": Found matching prof for p1\n"));
    EXPECT_TRUE(zt::has_log(kMap, ": Error: Failed to get map for encap:p1\n"));
}

TEST(GblDot1qMap, UnknownProfileFails) {
    zt::add_profile_map("p1", {{1, 2}});
    uint32_t *map = nullptr;
    EXPECT_EQ(zorv_drel_lib_get_gbl_dot1qmap_for_encap("p2", &map), ZORV_DREL_ERR_FAILURE);
    EXPECT_EQ(map, nullptr);
    EXPECT_TRUE(zt::has_log(kMap, ": Error: Failed to get profile for encap:p2\n"));
}

TEST(GblDot1qMap, OutputIsNeededOnlyWhereItIsWritten) {
    zt::add_profile("p1");
    zt::add_profile_map("p2", {{1, 2}});
    EXPECT_EQ(zorv_drel_lib_get_gbl_dot1qmap_for_encap("p0", nullptr), ZORV_DREL_ERR_FAILURE);
    EXPECT_TRUE(zt::has_log(kMap, ": Error: Failed to get profile for encap:p0\n"))
        << zt::dump_events();
    EXPECT_EQ(zorv_drel_lib_get_gbl_dot1qmap_for_encap("p1", nullptr), ZORV_DREL_ERR_FAILURE);
    EXPECT_TRUE(zt::has_log(kMap, ": Error: Failed to get map for encap:p1\n"));
    // Only a found map is written.
    EXPECT_EQ(zorv_drel_lib_get_gbl_dot1qmap_for_encap("p2", nullptr), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kMap, ": Found matching prof for p2\n"));
}

TEST(GblDot1qMap, LongNameMatchesOnFirst255Characters) {
    const std::string stored(255, 'a');
    gbl_cfg_avl_node_t *node = zt::add_profile_map(stored, {{3, 33}});
    ASSERT_NE(node, nullptr);
    uint32_t *map = nullptr;
    EXPECT_EQ(zorv_drel_lib_get_gbl_dot1qmap_for_encap((stored + "XYZ").c_str(), &map), 0u);
    EXPECT_EQ(map, node->map.dot1q_vni);
    // 254 equal characters are not enough.
    map = nullptr;
    EXPECT_EQ(zorv_drel_lib_get_gbl_dot1qmap_for_encap((std::string(254, 'a') + "b").c_str(), &map),
              ZORV_DREL_ERR_FAILURE);
}

TEST(Lookups, AllocateNoTrackedMemory) {
    zt::add_memvni(1, 2);
    const uint64_t before = zt::stats().allocs;
    (void)zorv_drel_lib_get_bd_for_vni(2);
    (void)zorv_drel_lib_get_bd_for_vni(3);
    EXPECT_EQ(zt::stats().allocs, before);
}

} // namespace
