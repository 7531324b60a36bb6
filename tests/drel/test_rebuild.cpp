// SPDX-License-Identifier: Apache-2.0
// Local cache rebuild: global arrays of types 8, 1 and 2, interface arrays, refreshes of known
// entries, key and walk failures, short values and failed node creation.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zorv_test_cache.h"

namespace {

using zt::kIf;

constexpr const char *kFn = "zorv_drel_type1_cfg_cache_rebuild";

class RebuildTest : public ::testing::Test {
  protected:
    zt::live_baseline base;
    static uint32_t rebuild(const zt::tlv_buf &b, uint32_t is_gbl, uint32_t if_index = 0) {
        // An exact-size copy: any read behind the last value would leave the block.
        zt::exact_buf exact = zt::exact_array(b);
        return zorv_drel_type1_cfg_cache_rebuild(exact.as<tlv_array_t>(), is_gbl, if_index);
    }
};

TEST_F(RebuildTest, NullArray) {
    EXPECT_EQ(zorv_drel_type1_cfg_cache_rebuild(nullptr, 1, 0), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kFn, ": rebuilding type-1 cache(gbl)\n"));
}

TEST_F(RebuildTest, EmptyArrayChangesNothing) {
    zt::tlv_buf b;
    EXPECT_EQ(rebuild(b, 0, kIf), 0u);
    EXPECT_TRUE(zt::has_log(kFn, ": rebuilding type-1 cache(if)\n"));
    EXPECT_TRUE(zt::has_log(kFn, ": num_tlvs = 0\n"));
    EXPECT_TRUE(zt::if_nodes().empty());
    EXPECT_TRUE(zt::gbl_nodes().empty());
    EXPECT_TRUE(zt::memvni_nodes().empty());
}

TEST_F(RebuildTest, GlobalTypesEightOneAndTwo) {
    auto b = zt::memvnis({{100, 5000}});
    zt::add_bytes(b, ZORV_TYPE1_GBL_ENCAP_PROFILE, zt::name_wire("gold"));
    auto map = zt::map_val("silver", {{5, 9000}, {6, 9001}});
    b.add(ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, map.get(), sizeof *map);
    EXPECT_EQ(rebuild(b, 1), 0u) << zt::dump_events();

    ASSERT_NE(zt::memvni_node(5000), nullptr);
    EXPECT_EQ(zt::memvni_node(5000)->bd, 100u);
    auto *gold = zt::gbl_node("gold");
    ASSERT_NE(gold, nullptr);
    EXPECT_EQ(gold->map_exists, 0u);
    EXPECT_EQ(gold->id, 1u); // a new profile name gets the lowest free identifier
    EXPECT_EQ(zorv_drel_get_gbl_cfg_node_id("gold"), 1u);
    auto *silver = zt::gbl_node("silver");
    ASSERT_NE(silver, nullptr);
    EXPECT_EQ(silver->map_exists, 1u);
    EXPECT_EQ(silver->id, 0u);
    EXPECT_EQ(silver->map.dot1q_vni[5], 9000u);
    EXPECT_EQ(silver->map.dot1q_vni[6], 9001u);

    EXPECT_TRUE(zt::has_log(kFn, ": num_tlvs = 3\n"));
    EXPECT_TRUE(zt::has_log(kFn, ": type = 8, tlen=8\n"));
    EXPECT_TRUE(zt::has_log(kFn, ": type = 1, tlen=256\n"));
    EXPECT_TRUE(zt::has_log(kFn, ": type = 2, tlen=16640\n"));
    EXPECT_TRUE(zt::has_log(kFn, ": success add type 8 len 8 to cache\n"));
    EXPECT_TRUE(zt::has_log(kFn, ": success add type 1 len 256 to cache\n"));
    EXPECT_TRUE(zt::has_log(kFn, ": success add type 2 len 16640 to cache\n"));
    base.expect_same();
}

TEST_F(RebuildTest, TypeOneValueIsOnlyTheName) {
    // 256 name bytes without a terminator, at the very end of an exact-size array: the node is
    // made from a local record, so nothing behind the value is read or written.
    std::vector<uint8_t> name(256, 'a');
    zt::tlv_buf b;
    zt::add_bytes(b, ZORV_TYPE1_GBL_ENCAP_PROFILE, name);
    zt::exact_buf exact = zt::exact_array(b);
    const std::vector<uint8_t> before = exact.bytes();
    EXPECT_EQ(zorv_drel_type1_cfg_cache_rebuild(exact.as<tlv_array_t>(), 1, 0), 0u);
    EXPECT_EQ(exact.bytes(), before); // the identifier is not written back into the array
    auto *n = zt::gbl_node(std::string(255, 'a'));
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(n->id, 1u);
}

TEST_F(RebuildTest, TypeOneThenTypeTwoOfOneProfile) {
    zt::tlv_buf b;
    zt::add_bytes(b, ZORV_TYPE1_GBL_ENCAP_PROFILE, zt::name_wire("gold"));
    auto map = zt::map_val("gold", {{5, 9000}});
    b.add(ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, map.get(), sizeof *map);
    zt::add_bytes(b, ZORV_TYPE1_GBL_ENCAP_PROFILE, zt::name_wire("gold"));
    EXPECT_EQ(rebuild(b, 1), 0u);
    ASSERT_EQ(zt::gbl_nodes().size(), 1u);
    auto *gold = zt::gbl_node("gold");
    EXPECT_EQ(gold->id, 1u);
    EXPECT_EQ(gold->map_exists, 1u);
    EXPECT_EQ(gold->map.dot1q_vni[5], 9000u);
    EXPECT_TRUE(zt::has_log(kFn, ": Found cache entry for  type 2 len 16640 "));
    EXPECT_TRUE(zt::has_log(kFn, ": Found cache entry for  type 1 len 256 "));
    EXPECT_TRUE(zt::has_log("zorv_drel_gbl_cfg_avl_update", ": Nothing to update\n"));
}

TEST_F(RebuildTest, MemberVniRefreshed) {
    auto b = zt::memvnis({{100, 5000}, {200, 5000}});
    EXPECT_EQ(rebuild(b, 1), 0u);
    ASSERT_EQ(zt::memvni_nodes().size(), 1u);
    EXPECT_EQ(zt::memvni_node(5000)->bd, 200u);
    EXPECT_TRUE(zt::has_log(kFn, ": Found cache entry for type 8 len 8 "));
}

TEST_F(RebuildTest, InterfaceSameTypeFiveTwice) {
    zt::tlv_buf b;
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 7, 1});
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 7, 0});
    EXPECT_EQ(rebuild(b, 0, kIf), 0u);
    ASSERT_EQ(zt::if_nodes().size(), 1u);
    // the refresh goes through the encap update, which leaves a type 5 alone
    EXPECT_EQ(zt::if_node(kIf, 7)->admin, 1u);
    EXPECT_EQ(zt::log_count(kFn, ": Found cache entry for  type 5 len 12 "), 1u);
    EXPECT_EQ(zt::log_count(kFn, ": success add type 5 len 12 to cache\n"), 1u);
    EXPECT_TRUE(zt::has_log("zorv_drel_if_cfg_avl_update_encap", ": Unkn type:5\n"));
}

TEST_F(RebuildTest, InterfaceEncapProfileRefreshed) {
    zt::tlv_buf b;
    zt::add_bytes(b, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                  zt::make_vsi_all(kIf, 7, 1, 1, {{9000, 5}}, {5}, "gold"));
    b.add(ZORV_TYPE1_INTF_VSI_ENCAP_PROF, zt::rng_val(kIf, 7, "gold", {5}));
    b.add(ZORV_TYPE1_INTF_VSI_ENCAP_PROF, zt::rng_val(kIf, 7, "gold", {6}));
    EXPECT_EQ(rebuild(b, 0, kIf), 0u);
    auto *n = zt::if_node(kIf, 7);
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(n->dot1q_vni[5], 9000u);
    ASSERT_NE(n->encap_list, nullptr);
    EXPECT_EQ(n->encap_list->next, nullptr);
    EXPECT_STREQ(n->encap_list->encap_name, "gold");
    EXPECT_TRUE(zorv::bmp::test(n->encap_list->dot1q_bmp, 6));
    EXPECT_FALSE(zorv::bmp::test(n->encap_list->dot1q_bmp, 5));
}

TEST_F(RebuildTest, GlobalTypeFiveFailsTheKeyAfterEarlierCached) {
    auto b = zt::memvnis({{100, 5000}});
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 7, 1});
    b.add(ZORV_TYPE1_GBL_MEMBER_VNI, member_vni_t{101, 5001});
    EXPECT_EQ(rebuild(b, 1), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kFn, zt::rc_text(ZORV_DREL_ERR_INVALID_ARG, "to set key")))
        << zt::dump_events();
    EXPECT_NE(zt::memvni_node(5000), nullptr);
    EXPECT_EQ(zt::memvni_node(5001), nullptr);
}

TEST_F(RebuildTest, InterfaceUnknownTypeFailsTheKey) {
    zt::tlv_buf b;
    const uint32_t v[3] = {kIf, 7, 1};
    b.add(ZORV_TYPE1_GBL_MEMBER_VNI, v, 8);
    EXPECT_EQ(rebuild(b, 0, kIf), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kFn, zt::rc_text(ZORV_DREL_ERR_INVALID_ARG, "to set key")));
    EXPECT_TRUE(zt::if_nodes().empty());
}

TEST_F(RebuildTest, WalkFailsOnCutShortLastTlv) {
    auto b = zt::memvnis({{100, 5000}});
    zt::append_cut_tlv(b, 8, 8);
    EXPECT_EQ(rebuild(b, 1), TLV_ERR_MALFORMED);
    EXPECT_TRUE(zt::has_log(kFn, zt::rc_text(TLV_ERR_MALFORMED, "to retrieve tlv")));
    EXPECT_NE(zt::memvni_node(5000), nullptr);
    base.expect_same();
}

TEST_F(RebuildTest, ValuesShorterThanTheirKeyFailTheKey) {
    {
        auto b = zt::memvnis({{100, 5000}});
        zt::add_bytes(b, ZORV_TYPE1_GBL_ENCAP_PROFILE, std::vector<uint8_t>(100, 'g'));
        EXPECT_EQ(rebuild(b, 1), ZORV_DREL_ERR_INVALID_ARG);
        EXPECT_NE(zt::memvni_node(5000), nullptr);
        EXPECT_TRUE(zt::gbl_nodes().empty());
    }
    {
        zt::tlv_buf b;
        const uint32_t bd = 1;
        b.add(ZORV_TYPE1_GBL_MEMBER_VNI, &bd, 4);
        EXPECT_EQ(rebuild(b, 1), ZORV_DREL_ERR_INVALID_ARG);
    }
    {
        zt::tlv_buf b;
        b.add(ZORV_TYPE1_INTF_VSI_ENCAP_PROF, &kIf, 4);
        EXPECT_EQ(rebuild(b, 0, kIf), ZORV_DREL_ERR_INVALID_ARG);
        EXPECT_TRUE(zt::if_nodes().empty());
    }
    EXPECT_EQ(zt::log_count(kFn, zt::rc_text(ZORV_DREL_ERR_INVALID_ARG, "to set key")), 3u)
        << zt::dump_events();
    EXPECT_EQ(zt::logs_containing("too short"), 0u);
}

// A value that holds its key but not its record makes no node and refreshes none; the walk goes
// on with the next TLV.
TEST_F(RebuildTest, ValuesShorterThanTheirRecordFailOnlyThemselves) {
    {
        zt::tlv_buf b;
        auto map = zt::map_val("gold", {{5, 9000}});
        b.add(ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, map.get(), sizeof *map - 4);
        b.add(ZORV_TYPE1_GBL_MEMBER_VNI, member_vni_t{101, 5001});
        EXPECT_EQ(rebuild(b, 1), 0u);
        EXPECT_TRUE(
            zt::has_log(kFn, ": Error: value of type:2 too short (len:16636, need:16640)\n"))
            << zt::dump_events();
        EXPECT_TRUE(zt::has_log(kFn, ": Error: failed to  add type 2 len 16636 to cache\n"));
        EXPECT_TRUE(zt::gbl_nodes().empty());
        EXPECT_NE(zt::memvni_node(5001), nullptr);
    }
    {
        gbl_cfg_avl_node_t *cached = zt::add_profile_map("gold", {{5, 9000}});
        ASSERT_NE(cached, nullptr);
        zt::tlv_buf b;
        auto map = zt::map_val("gold", {{6, 9001}});
        b.add(ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, map.get(), sizeof *map - 8);
        EXPECT_EQ(rebuild(b, 1), 0u);
        EXPECT_TRUE(
            zt::has_log(kFn, ": Error: value of type:2 too short (len:16632, need:16640)\n"));
        EXPECT_EQ(cached->map.dot1q_vni[6], 0u); // not refreshed
    }
    {
        zt::tlv_buf b;
        b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 7, 1});
        auto v = zt::make_vsi_all(kIf, 8, 1, 1, {});
        v.resize(791);
        zt::add_bytes(b, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, v);
        std::vector<uint8_t> rng(100, 0);
        std::memcpy(rng.data(), &kIf, 4);
        rng[4] = 9;
        zt::add_bytes(b, ZORV_TYPE1_INTF_VSI_ENCAP_PROF, rng);
        b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 10, 1});
        EXPECT_EQ(rebuild(b, 0, kIf), 0u);
        EXPECT_TRUE(zt::has_log("zorv_drel_if_cfg_avl_update",
                                ": Error: Refused type:9 value of len:791\n"));
        EXPECT_TRUE(zt::has_log("zorv_drel_if_cfg_avl_update_encap",
                                ": Error: Refused type:6 value of len:100\n"));
        EXPECT_TRUE(zt::has_log(kFn, ": Error: failed to  add type 9 len 791 to cache\n"));
        EXPECT_TRUE(zt::has_log(kFn, ": Error: failed to  add type 6 len 100 to cache\n"));
        EXPECT_NE(zt::if_node(kIf, 7), nullptr);
        EXPECT_EQ(zt::if_node(kIf, 8), nullptr);
        EXPECT_EQ(zt::if_node(kIf, 9), nullptr);
        EXPECT_NE(zt::if_node(kIf, 10), nullptr);
    }
    base.expect_same();
}

TEST_F(RebuildTest, KeyOnlyTypeFiveOfACachedInstanceChangesNothing) {
    zt::tlv_buf cached;
    zt::add_bytes(cached, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                  zt::make_vsi_all(kIf, 7, 1, 1, {{9000, 5}}, {5}, "gold"));
    ASSERT_EQ(rebuild(cached, 0, kIf), 0u);
    const if_cfg_avl_node_t *n = zt::if_node(kIf, 7);
    ASSERT_NE(n, nullptr);
    const std::vector<uint8_t> before(reinterpret_cast<const uint8_t *>(n),
                                      reinterpret_cast<const uint8_t *>(n) + sizeof *n);
    zt::tlv_buf b;
    const uint32_t key[2] = {kIf, 7};
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, key, sizeof key);
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 9, 1});
    EXPECT_EQ(rebuild(b, 0, kIf), 0u);
    EXPECT_TRUE(zt::has_log(kFn, ": Found cache entry for  type 5 len 8 ")) << zt::dump_events();
    EXPECT_TRUE(zt::has_log("zorv_drel_if_cfg_avl_update_encap", ": Unkn type:5\n"));
    EXPECT_EQ(std::memcmp(before.data(), n, sizeof *n), 0);
    EXPECT_NE(zt::if_node(kIf, 9), nullptr);
}

TEST_F(RebuildTest, InterfaceTypeInTheGlobalRebuildFailsTheKeyWhateverItsLength) {
    for (uint16_t len : {4, 8, 12}) {
        zt::tlv_buf b;
        const vsi_admin_t a{kIf, 7, 1};
        b.add(ZORV_TYPE1_INTF_VSI_ADMIN, &a, len);
        EXPECT_EQ(rebuild(b, 1), ZORV_DREL_ERR_INVALID_ARG) << len;
    }
    EXPECT_EQ(zt::log_count(kFn, zt::rc_text(ZORV_DREL_ERR_INVALID_ARG, "to set key")), 3u)
        << zt::dump_events();
    EXPECT_EQ(zt::logs_containing("too short"), 0u);
}

TEST_F(RebuildTest, CreationFailureIsLoggedAndWalkGoesOn) {
    auto b = zt::memvnis({{100, 5000}});
    zt::add_bytes(b, ZORV_TYPE1_GBL_ENCAP_PROFILE, zt::name_wire("gold"));
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 7, 1});
    b.add(ZORV_TYPE1_GBL_MEMBER_VNI, member_vni_t{101, 5001});
    // global array: the first two creations fail, then the type 5 stops the walk
    tracked_mem_fault_set(zt::kSvc, 0, 2);
    const uint32_t rc = rebuild(b, 1);
    tracked_mem_fault_set(zt::kSvc, 0, 0);
    EXPECT_EQ(rc, ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kFn, ": Error: failed to  add type 8 len 8 to cache\n"));
    EXPECT_TRUE(zt::has_log(kFn, ": Error: failed to  add type 1 len 256 to cache\n"));
    EXPECT_TRUE(zt::memvni_nodes().empty());
    EXPECT_TRUE(zt::gbl_nodes().empty());

    zt::tlv_buf i;
    i.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 7, 1});
    i.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 8, 1});
    tracked_mem_fault_set(zt::kSvc, 0, 1);
    const uint32_t irc = rebuild(i, 0, kIf);
    tracked_mem_fault_set(zt::kSvc, 0, 0);
    EXPECT_EQ(irc, 0u);
    EXPECT_TRUE(zt::has_log(kFn, ": Error: failed to  add type 5 len 12 to cache\n"));
    EXPECT_EQ(zt::if_node(kIf, 7), nullptr);
    EXPECT_NE(zt::if_node(kIf, 8), nullptr);
    base.expect_same();
}

} // namespace
