// SPDX-License-Identifier: Apache-2.0
// The strict compatibility check of service-instance attributes as a whole.
#include <cstdio>

#include "zorv_test_cache.h"

namespace {

constexpr const char *kDrv = "zorv_drel_type1_cfg_gbl_compat_check";
constexpr const char *kTlv = "zorv_drel_type1_cfg_gbl_compat_check_tlv";
constexpr uint32_t kCode9 = ZORV_DREL_ERR_COMPAT_INTF_VSI;
constexpr uint32_t kIf = 0x2000;

std::vector<uint8_t> vsi(uint32_t mode, const zt::pairs_t &pairs = {},
                         const std::vector<uint32_t> &allowed = {},
                         const std::string &prof = "prof", uint32_t vsi_id = 7) {
    return zt::make_vsi_all(kIf, vsi_id, 1, mode, pairs, allowed, prof);
}

uint32_t check(const std::vector<uint8_t> &l, const void *r, uint32_t rlen) {
    return zorv_drel_type1_cfg_gbl_compat_check_tlv(ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                                                    static_cast<uint16_t>(l.size()), l.data(),
                                                    ZORV_TYPE1_INTF_VSI_ATTRIBUTES, rlen, r);
}
uint32_t check(const std::vector<uint8_t> &l, const std::vector<uint8_t> &r) {
    return check(l, r.data(), static_cast<uint32_t>(r.size()));
}

class GblCheck : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_NE(zt::add_vsi(kIf, 7, 1, ZORV_MAP_MODE_STATIC, {}), nullptr);
        ASSERT_NE(zt::add_vsi(kIf, 8, 1, ZORV_MAP_MODE_STATIC, {}), nullptr);
    }
};

// ---- Driver --------------------------------------------------------------------------------

TEST_F(GblCheck, BothNullPassesWithTheErrorText) {
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, nullptr, nullptr), 0u);
    EXPECT_TRUE(zt::has_log(kDrv, ": (GBL) type-1 compat check - nothing to be done\n"));
    EXPECT_TRUE(zt::has_log(
        kDrv, ": Error: type-1 compat check invalid args - both local and remote Null\n"));
}

TEST_F(GblCheck, NullRemoteWithLocalType9IsParamMissing) {
    auto lcl = zt::vsis({vsi(1)});
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, lcl.get(), nullptr),
              ZORV_DREL_ERR_PARAM_MISSING);
    EXPECT_TRUE(zt::has_log(kDrv, ": Remote  Null)\n"));
    EXPECT_TRUE(zt::has_log(kDrv, ": Local and Remote NULL\n"));
}

TEST_F(GblCheck, NullRemoteWithOtherLocalTypePasses) {
    auto lcl = zt::memvnis({{1, 2}});
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, lcl.get(), nullptr), 0u);
    EXPECT_EQ(zt::log_count(kDrv, ": Local and Remote NULL\n"), 0u);
}

TEST_F(GblCheck, NullRemoteWithEmptyLocalReturnsTheWalkCode) {
    zt::tlv_buf lcl;
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, lcl.get(), nullptr), TLV_ERR_END);
    EXPECT_TRUE(zt::has_log(kDrv, zt::get_next_line(TLV_ERR_END)));
}

TEST_F(GblCheck, NullLocalWithRemoteType9IsParamMissing) {
    auto rmt = zt::vsis({vsi(1)});
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, nullptr, rmt.get()),
              ZORV_DREL_ERR_PARAM_MISSING);
    EXPECT_TRUE(zt::has_log(kDrv, ": Local  Null)\n"));
    auto other = zt::memvnis({{1, 2}});
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, nullptr, other.get()), 0u);
}

TEST_F(GblCheck, EmptyLocalWithOneRemoteType9Passes) {
    zt::tlv_buf lcl;
    auto rmt = zt::vsis({vsi(1)});
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, lcl.get(), rmt.get()), 0u);
    EXPECT_TRUE(zt::has_log(kDrv, ": type-1 compat check size of array - num_lcl_tlv=0, "
                                  "num_rmt_tlv=1\n"));
    EXPECT_EQ(zt::log_count(kTlv, ": lcl_type:9, rmt_type:9\n"), 0u);
}

TEST_F(GblCheck, CountsTwoAndOneAreRefusedBeforeAnyTlvIsRead) {
    auto two = zt::vsis({vsi(1), vsi(1, {}, {}, "prof", 8)}), one = zt::vsis({vsi(1)});
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, two.get(), one.get()),
              ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kDrv, ": type-1 compat check invalid args - num_lcl_tlv=2, "
                                  "num_rmt_tlv=1\n"));
    EXPECT_EQ(zt::log_count(kTlv, ": lcl_type:9, rmt_type:9\n"), 0u);
}

TEST_F(GblCheck, LocalOneWithEmptyRemoteFailsTheRemoteRead) {
    auto one = zt::vsis({vsi(1)});
    zt::tlv_buf empty;
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, one.get(), empty.get()),
              ZORV_DREL_ERR_FAILURE);
    EXPECT_TRUE(zt::has_log(kDrv, zt::get_next_line(TLV_ERR_END)));
}

TEST_F(GblCheck, TypeMismatchFails) {
    auto lcl = zt::vsis({vsi(1)});
    auto rmt = zt::memvnis({{1, 2}});
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, lcl.get(), rmt.get()), ZORV_DREL_ERR_FAILURE);
    EXPECT_TRUE(zt::has_log(kDrv, ": No match for lcl_type:9, rmt_type:8\n"));
}

TEST_F(GblCheck, LastPairDecides) {
    auto lcl = zt::vsis({vsi(1), vsi(1, {}, {}, "prof", 8)});
    auto rmt = zt::vsis({vsi(2), vsi(1, {}, {}, "prof", 8)});
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, lcl.get(), rmt.get()), 0u);
    EXPECT_TRUE(zt::has_log(kDrv, ": RESULT: compat check(0x42d9003a) Failed\n"));
    EXPECT_TRUE(zt::has_log(kDrv, ": RESULT: compat check(0x0) Passed\n"));
    EXPECT_TRUE(zt::has_log(kDrv, ": Compat check - i:1 lcl_type:Intf Vsi Attributes, len:792, "
                                  "rmt_type:Intf Vsi Attributes, len:792 \n"))
        << zt::dump_events();
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, rmt.get(), lcl.get()), 0u);
    auto rmt2 = zt::vsis({vsi(1), vsi(2, {}, {}, "prof", 8)});
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, lcl.get(), rmt2.get()), kCode9);
}

TEST_F(GblCheck, MalformedArrays) {
    auto good = zt::vsis({vsi(1), vsi(1, {}, {}, "prof", 8)});
    auto cut = zt::vsis({vsi(1), vsi(1, {}, {}, "prof", 8)});
    cut.get()->len -= 4;
    zt::exact_buf c = zt::exact_array(cut);
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, c.as<tlv_array_t>(), good.get()),
              TLV_ERR_MALFORMED);
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, good.get(), c.as<tlv_array_t>()),
              ZORV_DREL_ERR_FAILURE);
    EXPECT_TRUE(zt::has_log(kDrv, zt::get_next_line(TLV_ERR_MALFORMED)));
}

// ---- Per-pair check ------------------------------------------------------------------------

TEST_F(GblCheck, EitherValueNullIsParamMissing) {
    auto v = vsi(1);
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check_tlv(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, 792,
                                                       v.data(), ZORV_TYPE1_INTF_VSI_ATTRIBUTES, 0,
                                                       nullptr),
              ZORV_DREL_ERR_PARAM_MISSING);
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check_tlv(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, 0, nullptr,
                                                       ZORV_TYPE1_INTF_VSI_ATTRIBUTES, 792,
                                                       v.data()),
              ZORV_DREL_ERR_PARAM_MISSING);
    EXPECT_EQ(zt::log_count(kTlv, ": Local || Remote  Null)\n"), 2u);
}

TEST_F(GblCheck, OtherTypesPassAsUnknown) {
    const member_vni_t l{1, 2}, r{3, 4};
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check_tlv(ZORV_TYPE1_GBL_MEMBER_VNI, 8, &l,
                                                       ZORV_TYPE1_GBL_MEMBER_VNI, 8, &r),
              0u);
    EXPECT_TRUE(zt::has_log(kTlv, ": Unknown type:8\n"));
    EXPECT_TRUE(zt::has_log(kTlv, ": lcl_type:8, rmt_type:8\n"));
}

TEST_F(GblCheck, OtherKnownTypeWithShortRemoteValueFails) {
    const member_vni_t l{1, 2};
    zt::exact_buf r(&l, 4);
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check_tlv(ZORV_TYPE1_GBL_MEMBER_VNI, 8, &l,
                                                       ZORV_TYPE1_GBL_MEMBER_VNI, 4, r.data()),
              ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI);
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:8 - rmt value too short, "
                                  "len:4, min:8\n"));
}

TEST_F(GblCheck, MissingLocalNodeFails) {
    auto l = vsi(1, {}, {}, "prof", 9);
    EXPECT_EQ(check(l, l), ZORV_DREL_ERR_FAILURE);
    EXPECT_TRUE(zt::has_log(kTlv, ": Error: Could not find cfg_p for lcl parent intf idx:0x2000, "
                                  "vsi:9\n"));
}

TEST_F(GblCheck, DifferentMapModesFail) {
    auto l = vsi(1);
    auto r = zt::make_vsi_all(0x3000, 99, 0, 2, {}, {}, "prof");
    EXPECT_EQ(check(l, r), kCode9);
    EXPECT_TRUE(zt::has_log(kTlv, ": VSI type for local and remote does not match\n"));
    EXPECT_TRUE(zt::has_log(kTlv, ": lcl parent intf idx:0x2000, vsi:7, rmt parent intf "
                                  "idx:0x3000, vsi:99\n"));
    EXPECT_TRUE(zt::has_log(kTlv, ": lcl parent intf idx:0x2000, vsi:7\n"));
}

TEST_F(GblCheck, AdminStatusIsNotCompared) {
    auto l = vsi(1);
    auto r = zt::make_vsi_all(kIf, 7, 0, 1, {}, {}, "prof");
    EXPECT_EQ(check(l, r), 0u);
    EXPECT_TRUE(zt::has_log(kTlv, ": STATIC configured on both local and remote\n"));
}

TEST_F(GblCheck, ProfileNameDifferenceFailsSilentlyFromVersion40) {
    auto l = vsi(1, {}, {}, "prof-a"), r = vsi(1, {}, {}, "prof-b");
    EXPECT_EQ(check(l, r), kCode9);
    EXPECT_EQ(zt::log_count(kTlv, ": STATIC configured on both local and remote\n"), 0u);
    drelm_host_set_pelk_oper_ver(39);
    EXPECT_EQ(check(l, r), 0u);
    EXPECT_TRUE(zt::has_log(kTlv, ": STATIC configured on both local and remote\n"));
}

TEST_F(GblCheck, ProfileNamesCompareOver256Characters) {
    // Names cut to 255 characters by the value builder: equal.
    auto l = vsi(1, {}, {}, std::string(300, 'x')), r = vsi(1, {}, {}, std::string(255, 'x'));
    EXPECT_EQ(check(l, r), 0u);
}

TEST_F(GblCheck, VdpComparesAllowedBitmapsFromVersion40) {
    auto l = vsi(4, {}, {1, 2, 3}), same = vsi(4, {}, {1, 2, 3}), other = vsi(4, {}, {1, 2});
    EXPECT_EQ(check(l, same), 0u);
    EXPECT_TRUE(zt::has_log(kTlv, ": VDP configured on both local and remote\n"));
    EXPECT_EQ(check(l, other), kCode9);
    EXPECT_TRUE(
        zt::has_log(kTlv, ": Same allowed dot1q bmp not configured on both local and remote\n"));
}

TEST_F(GblCheck, VdpBitmapLengthWordsAreNotCompared) {
    auto l = vsi(4, {}, {5}), r = vsi(4, {}, {5});
    ZORV_VSI_ALL_TAIL(reinterpret_cast<vsi_all_t *>(r.data()), 0)->dot1q_bmp.len = 7;
    EXPECT_EQ(check(l, r), 0u);
}

TEST_F(GblCheck, VdpUnderVersion39PassesWithoutComparing) {
    drelm_host_set_pelk_oper_ver(39);
    auto l = vsi(4, {}, {1, 2, 3}, "a"), r = vsi(4, {}, {4000}, "b");
    EXPECT_EQ(check(l, r), 0u);
    EXPECT_EQ(zt::log_count(kTlv, ": VDP configured on both local and remote\n"), 0u);
}

TEST_F(GblCheck, StaticIgnoresAllowedBitmaps) {
    auto l = vsi(1, {{5000, 10}}, {1}), r = vsi(1, {{6000, 20}, {1, 2}}, {2});
    EXPECT_EQ(check(l, r), 0u);
}

TEST_F(GblCheck, DynamicModesCompareMapsInAnyOrder) {
    for (uint32_t mode : {2u, 3u, 5u}) {
        auto l = vsi(mode, {{5000, 10}, {6000, 20}}), r = vsi(mode, {{6000, 20}, {5000, 10}});
        EXPECT_EQ(check(l, r), 0u) << mode;
    }
    EXPECT_EQ(zt::log_count(kTlv, ": DFS/VMT/LLDP configured on both local and remote\n"), 3u);
}

TEST_F(GblCheck, DynamicModesFailOnDifferentCounts) {
    auto l = vsi(5, {{5000, 10}}), r = vsi(5, {{5000, 10}, {6000, 20}});
    EXPECT_EQ(check(l, r), kCode9);
    EXPECT_TRUE(zt::has_log(kTlv, ": Local & Remote dot1q does not match\n"));
}

TEST_F(GblCheck, DynamicModesFailOnDifferentVni) {
    auto l = vsi(3, {{5000, 10}}), r = vsi(3, {{5001, 10}});
    EXPECT_EQ(check(l, r), kCode9);
    EXPECT_TRUE(zt::has_log(kTlv, ": Local & Remote dot1q does not match\n"));
}

TEST_F(GblCheck, OutOfRangeRemoteEntriesAreSkipped) {
    auto l = vsi(2, {{5000, 10}, {6000, 20}, {7000, 30}});
    auto r0 = vsi(2, {{5000, 10}, {6000, 20}, {9000, 0}});
    auto r4096 = vsi(2, {{5000, 10}, {6000, 20}, {9000, 4096}});
    auto rvni = vsi(2, {{5000, 10}, {6000, 20}, {0x1000000, 30}});
    EXPECT_EQ(check(l, r0), 0u);
    EXPECT_EQ(check(l, r4096), 0u);
    EXPECT_EQ(check(l, rvni), 0u);
}

TEST_F(GblCheck, LaterLocalEntryForTheSameDot1qWins) {
    auto l = vsi(2, {{5000, 10}, {5001, 10}}), r = vsi(2, {{5001, 10}, {7000, 30}});
    EXPECT_EQ(check(l, r), kCode9); // 30 finds 0 in the table
    auto r2 = vsi(2, {{5001, 10}, {5001, 10}});
    EXPECT_EQ(check(l, r2), 0u);
}

TEST_F(GblCheck, NoPairOfAnEarlierCheckIsLeftBehind) {
    // The lookup table by VLAN is reused: VLAN 10 of the first check is gone in the second.
    auto l = vsi(2, {{5000, 10}}), r = vsi(2, {{5000, 10}});
    EXPECT_EQ(check(l, r), 0u);
    auto l2 = vsi(2, {{6000, 20}}), r2 = vsi(2, {{5000, 10}});
    EXPECT_EQ(check(l2, r2), kCode9);
}

TEST_F(GblCheck, UnknownModePasses) {
    auto l = vsi(0, {{5000, 10}}), r = vsi(0, {{6000, 10}}, {}, "other");
    drelm_host_set_pelk_oper_ver(39);
    EXPECT_EQ(check(l, r), 0u);
}

TEST_F(GblCheck, ShortRemoteValueFailsUnread) {
    auto l = vsi(1);
    zt::exact_buf r(l.data(), 791);
    EXPECT_EQ(check(l, r.data(), 791), kCode9);
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:9 - rmt value too short, "
                                  "len:791, min:792\n"));
}

TEST_F(GblCheck, RemoteCountsThatDoNotFitAreRefused) {
    auto l = vsi(2, {{5000, 10}});
    for (int32_t count : {-1, 2, 0x7FFFFFFF, int32_t(0x80000000)}) {
        auto v = zt::vsi_with_count(kIf, 7, 1, {{5000, 10}}, count, 2);
        zt::exact_buf r(v);
        EXPECT_EQ(check(l, r.data(), uint32_t(r.size())), kCode9) << count;
        EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:9 - rmt value len:800 "
                                      "does not hold dyn_map_cnt:" +
                                          std::to_string(count) + "\n"))
            << count;
    }
}

TEST_F(GblCheck, MalformedLocalValueFails) {
    auto v = zt::vsi_with_count(kIf, 7, 1, {}, 1, 2);
    zt::exact_buf l(v);
    auto r = vsi(2);
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check_tlv(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, 792,
                                                       l.data(), ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                                                       792, r.data()),
              kCode9);
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:9 - lcl value len:792 "
                                  "does not hold dyn_map_cnt:1\n"));
}

TEST_F(GblCheck, UnjudgedLocalValuesAreNotRead) {
    const member_vni_t r{3, 4};
    const uint32_t bd_only = 1;
    zt::exact_buf l(&bd_only, 4);
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check_tlv(ZORV_TYPE1_GBL_MEMBER_VNI, 4, l.data(),
                                                       ZORV_TYPE1_GBL_MEMBER_VNI, 8, &r),
              0u);
    EXPECT_TRUE(zt::has_log(kTlv, ": Unknown type:8\n"));
    EXPECT_EQ(zt::logs_containing("lcl value too short"), 0u) << zt::dump_events();
}

TEST_F(GblCheck, LocalCountOfZeroOrLessMeansNoPairs) {
    auto with_count = [](uint32_t mode, int32_t count) {
        auto v = vsi(mode);
        reinterpret_cast<vsi_all_t *>(v.data())->dyn_map_cnt = static_cast<uint32_t>(count);
        return v;
    };
    EXPECT_EQ(check(with_count(ZORV_MAP_MODE_STATIC, -1), vsi(ZORV_MAP_MODE_STATIC)), 0u)
        << zt::dump_events();
    EXPECT_TRUE(zt::has_log(kTlv, ": STATIC configured on both local and remote\n"));
    // The counts themselves are still compared where the maps are.
    EXPECT_EQ(check(with_count(ZORV_MAP_MODE_DFS, -1), vsi(ZORV_MAP_MODE_DFS)), kCode9);
    EXPECT_TRUE(zt::has_log(kTlv, ": Local & Remote dot1q does not match\n"));
}

TEST_F(GblCheck, PeerUpToVersion39NeedsOnlyHeadAndPairs) {
    drelm_host_set_pelk_oper_ver(39);
    auto l = vsi(ZORV_MAP_MODE_DFS, {{5000, 10}, {6000, 20}});
    std::vector<uint8_t> head(l.begin(), l.begin() + 36);
    zt::exact_buf r(head);
    EXPECT_EQ(check(l, r.data(), 36), 0u) << zt::dump_events();
    EXPECT_TRUE(zt::has_log(kTlv, ": DFS/VMT/LLDP configured on both local and remote\n"));
    head[28] = 99; // the second pair's VNI differs
    zt::exact_buf r2(head);
    EXPECT_EQ(check(l, r2.data(), 36), kCode9);
    drelm_host_set_pelk_oper_ver(40);
    EXPECT_EQ(check(l, r.data(), 36), kCode9);
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:9 - rmt value too short, "
                                  "len:36, min:792\n"));
}

TEST_F(GblCheck, MalformedRemoteValueAtTheEndOfTheArrayThroughTheDriver) {
    auto lcl = zt::vsis({vsi(2, {{5000, 10}})});
    auto bad = zt::vsi_with_count(kIf, 7, 1, {{5000, 10}}, 100, 2);
    auto rmt = zt::vsis({bad});
    zt::exact_buf r = zt::exact_array(rmt);
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, lcl.get(), r.as<tlv_array_t>()), kCode9);
}

TEST_F(GblCheck, ChangesNoState) {
    auto l = vsi(2, {{5000, 10}}), r = vsi(2, {{5001, 10}});
    const auto before = zt::stats();
    EXPECT_EQ(check(l, r), kCode9);
    EXPECT_EQ(zt::stats().allocs, before.allocs);
}

} // namespace
