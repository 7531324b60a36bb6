// SPDX-License-Identifier: Apache-2.0
// The graceful per-VNI compatibility check: the driver over two TLV arrays and the per-pair
// check with its pass and fail holders.
#include <cstdio>

#include "zorv_test_cache.h"

namespace {

constexpr const char *kDrv = "zorv_drel_type1_cfg_compat_check";
constexpr const char *kTlv = "zorv_drel_type1_cfg_compat_check_tlv";
constexpr uint32_t kCode8 = ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI;
constexpr uint32_t kCode9 = ZORV_DREL_ERR_COMPAT_INTF_VSI;
using zt::kIf;

std::string result_line(uint32_t rc) {
    return ": RESULT: Type-1 compat check(0x" + zt::hex(rc) + ") " +
           (rc != 0 ? "Failed" : "Passed") + "\n";
}

uint32_t check_pair(uint16_t type, const void *l, uint16_t llen, const void *r, uint32_t rlen,
                    zt::holders &h) {
    return zorv_drel_type1_cfg_compat_check_tlv(type, llen, l, type, rlen, r, 0, &h.pass, &h.fail);
}

// The driver over two arrays, without flags, into `h`.
uint32_t check_arrays(const tlv_array_t *l, const tlv_array_t *r, zt::holders &h) {
    return zorv_drel_type1_cfg_compat_check(0, l, r, 0, 0, &h.pass, &h.fail);
}

// The driver's tests, each with the pass and fail holders of one check.
class CompatCheck : public ::testing::Test {
  protected:
    zt::holders h;
};

// The per-pair check's tests, each with holders that have their sets.
class CompatCheckTlv : public ::testing::Test {
  protected:
    void SetUp() override { h.make_sets(); }
    zt::holders h;
};

// ---- Driver --------------------------------------------------------------------------------

TEST_F(CompatCheck, LogsFlagsAndCreatesFreshEmptySets) {
    auto lcl = zt::memvnis({{10, 5000}});
    EXPECT_EQ(zorv_drel_type1_cfg_compat_check(7, lcl.get(), lcl.get(), 3, 0, &h.pass, &h.fail),
              0u);
    EXPECT_TRUE(
        zt::has_log(kDrv, ": type-1 compat check - app_param:7, pvlppelkflag:2, pvlglb:1 \n"))
        << zt::dump_events();
    ASSERT_NE(h.pass.vni_set, nullptr);
    ASSERT_NE(h.fail.vni_set, nullptr);
    EXPECT_EQ(*reinterpret_cast<const uint32_t *>(h.fail.vni_set), 1024u);
    EXPECT_EQ(bitset_count(h.fail.vni_set), 0);
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{5000}));
    EXPECT_TRUE(zt::has_log(kDrv, ": type-1 compat check size of array - num_lcl_tlv=1, "
                                  "num_rmt_tlv=1\n"));
    EXPECT_TRUE(zt::has_log(kDrv, ": type-1 compat check - i:0 lcl_type:Gbl Member Vni, len:8, "
                                  "rmt_type:Gbl Member Vni, len:8 \n"));
    EXPECT_TRUE(zt::has_log(kDrv, result_line(0)));
}

TEST_F(CompatCheck, FlagBitsAreLoggedAsZeroWhenClear) {
    auto lcl = zt::memvnis({});
    EXPECT_EQ(check_arrays(lcl.get(), lcl.get(), h), 0u);
    EXPECT_TRUE(
        zt::has_log(kDrv, ": type-1 compat check - app_param:0, pvlppelkflag:0, pvlglb:0 \n"));
}

TEST_F(CompatCheck, BothArraysNullIsInvalidAndCreatesNoSets) {
    EXPECT_EQ(check_arrays(nullptr, nullptr, h), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(h.pass.vni_set, nullptr);
    EXPECT_EQ(h.fail.vni_set, nullptr);
    EXPECT_TRUE(zt::has_log(
        kDrv, ": Error: type-1 compat check invalid args - both local and remote Null\n"));
}

TEST_F(CompatCheck, NullLocalJudgesOnlyTheFirstRemoteTlv) {
    auto rmt = zt::memvnis({{10, 5000}, {11, 5001}, {12, 5002}});
    EXPECT_EQ(check_arrays(nullptr, rmt.get(), h), kCode8);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{5000}));
    EXPECT_TRUE(h.passed().empty());
    EXPECT_TRUE(zt::has_log(kDrv, result_line(kCode8)));
    EXPECT_TRUE(
        zt::has_log(kTlv, ": Failed type-1 compat check for type:0 rmt_type:8(Local Null)\n"));
    EXPECT_EQ(zt::log_count(kTlv, ": lcl_type:0, rmt_type:8\n"), 1u);
}

TEST_F(CompatCheck, NullLocalWithEmptyRemoteFailsTheRead) {
    zt::tlv_buf rmt;
    EXPECT_EQ(check_arrays(nullptr, rmt.get(), h), ZORV_DREL_ERR_FAILURE);
    EXPECT_TRUE(zt::has_log(kDrv, zt::get_next_line(TLV_ERR_END))) << zt::dump_events();
}

TEST_F(CompatCheck, NullLocalWithRemoteType9IsParamMissing) {
    auto v = zt::make_vsi_all(kIf, 1, 1, 1, {});
    auto rmt = zt::vsis({v});
    EXPECT_EQ(check_arrays(nullptr, rmt.get(), h), ZORV_DREL_ERR_PARAM_MISSING);
}

TEST_F(CompatCheck, LocalOneRemoteNullChecksAgainstNullRemote) {
    auto lcl = zt::memvnis({{10, 5000}});
    EXPECT_EQ(check_arrays(lcl.get(), nullptr, h), kCode8);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{5000}));
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed memvni compat check(Rmt Null) - vni:5000 for "
                                  "lcl_bd:10 (rmt_bd:0)\n"));
    EXPECT_TRUE(zt::has_log(kDrv, ": type-1 compat check size of array - num_lcl_tlv=1, "
                                  "num_rmt_tlv=0\n"));
}

TEST_F(CompatCheck, LocalOneRemotePresentButEmptyFailsTheRemoteRead) {
    auto lcl = zt::memvnis({{10, 5000}});
    zt::tlv_buf rmt;
    EXPECT_EQ(check_arrays(lcl.get(), rmt.get(), h), ZORV_DREL_ERR_FAILURE);
    EXPECT_TRUE(zt::has_log(kDrv, zt::get_next_line(TLV_ERR_END)));
    EXPECT_TRUE(h.failed().empty());
}

TEST_F(CompatCheck, CountsTwoAndOneAreRefusedBeforeAnyTlvIsRead) {
    auto lcl = zt::memvnis({{10, 5000}, {11, 5001}});
    auto rmt = zt::memvnis({{10, 5000}});
    EXPECT_EQ(check_arrays(lcl.get(), rmt.get(), h), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kDrv, ": type-1 compat check invalid args - num_lcl_tlv=2, "
                                  "num_rmt_tlv=1\n"));
    EXPECT_EQ(zt::log_count(kTlv, ": lcl_type:8, rmt_type:8\n"), 0u);
    EXPECT_NE(h.fail.vni_set, nullptr); // created before the counts are judged
    // And the other way round.
    zt::holders h2;
    EXPECT_EQ(check_arrays(rmt.get(), lcl.get(), h2), ZORV_DREL_ERR_INVALID_ARG);
}

TEST_F(CompatCheck, EmptyLocalWithOneRemoteIsAcceptedAndNotLookedAt) {
    zt::tlv_buf lcl;
    auto rmt = zt::memvnis({{10, 5000}});
    EXPECT_EQ(check_arrays(lcl.get(), rmt.get(), h), 0u);
    EXPECT_TRUE(h.failed().empty());
    EXPECT_EQ(zt::log_count(kTlv, ": lcl_type:0, rmt_type:8\n"), 0u);
    EXPECT_TRUE(zt::has_log(kDrv, ": type-1 compat check size of array - num_lcl_tlv=0, "
                                  "num_rmt_tlv=1\n"));
}

TEST_F(CompatCheck, EmptyLocalWithTwoRemoteIsInvalid) {
    zt::tlv_buf lcl;
    auto rmt = zt::memvnis({{10, 5000}, {11, 5001}});
    EXPECT_EQ(check_arrays(lcl.get(), rmt.get(), h), ZORV_DREL_ERR_INVALID_ARG);
}

TEST_F(CompatCheck, TypeMismatchFails) {
    auto lcl = zt::memvnis({{10, 5000}});
    auto rmt = zt::vsis({zt::make_vsi_all(kIf, 1, 1, 1, {})});
    EXPECT_EQ(check_arrays(lcl.get(), rmt.get(), h), ZORV_DREL_ERR_FAILURE);
    EXPECT_TRUE(zt::has_log(kDrv, ": No match for lcl_type:8, rmt_type:9\n"));
}

TEST_F(CompatCheck, LastPairWinsWhileHoldersGatherFailures) {
    auto lcl = zt::memvnis({{10, 5000}, {11, 5001}, {12, 5002}});
    auto rmt = zt::memvnis({{10, 5999}, {99, 5001}, {12, 5002}});
    EXPECT_EQ(check_arrays(lcl.get(), rmt.get(), h), 0u);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{5000, 5001}));
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{5002}));
    EXPECT_EQ(zt::log_count(kDrv, result_line(kCode8)), 2u);
    EXPECT_EQ(zt::log_count(kDrv, result_line(0)), 1u);
}

TEST_F(CompatCheck, FailingLastPairIsTheResult) {
    auto lcl = zt::memvnis({{10, 5000}, {11, 5001}});
    auto rmt = zt::memvnis({{10, 5000}, {11, 6001}});
    EXPECT_EQ(check_arrays(lcl.get(), rmt.get(), h), kCode8);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{5001}));
}

TEST_F(CompatCheck, MalformedLocalArrayReturnsTheWalkCode) {
    auto lcl = zt::memvnis({{10, 5000}, {11, 5001}});
    lcl.get()->len -= 4; // the second value now runs past the array
    auto rmt = zt::memvnis({{10, 5000}, {11, 5001}});
    zt::exact_buf l = zt::exact_array(lcl);
    EXPECT_EQ(check_arrays(l.as<tlv_array_t>(), rmt.get(), h), TLV_ERR_MALFORMED);
    EXPECT_TRUE(zt::has_log(kDrv, zt::get_next_line(TLV_ERR_MALFORMED)));
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{5000})); // nothing is rolled back
}

TEST_F(CompatCheck, MalformedRemoteArrayFails) {
    auto lcl = zt::memvnis({{10, 5000}, {11, 5001}});
    auto rmt = zt::memvnis({{10, 5000}, {11, 5001}});
    rmt.get()->len -= 4;
    zt::exact_buf r = zt::exact_array(rmt);
    EXPECT_EQ(check_arrays(lcl.get(), r.as<tlv_array_t>(), h), ZORV_DREL_ERR_FAILURE);
    EXPECT_TRUE(zt::has_log(kDrv, zt::get_next_line(TLV_ERR_MALFORMED)));
}

TEST_F(CompatCheck, CallerVlanBitmapsAreNotTouched) {
    auto lcl = zt::memvnis({{10, 5000}});
    auto rmt = zt::memvnis({{10, 5001}});
    h.pass.vlan_bmp = zt::bmp_of({1, 2, 3});
    h.fail.vlan_bmp = zt::bmp_of({4000});
    EXPECT_EQ(check_arrays(lcl.get(), rmt.get(), h), kCode8);
    const bmp4096_t want_pass = zt::bmp_of({1, 2, 3}), want_fail = zt::bmp_of({4000});
    EXPECT_EQ(std::memcmp(&h.pass.vlan_bmp, &want_pass, sizeof(bmp4096_t)), 0);
    EXPECT_EQ(std::memcmp(&h.fail.vlan_bmp, &want_fail, sizeof(bmp4096_t)), 0);
}

TEST_F(CompatCheck, NoTrackedMemoryIsLeft) {
    zt::add_vsi(kIf, 1, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}});
    auto v = zt::make_vsi_all(kIf, 1, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}});
    auto arr = zt::vsis({v});
    const uint64_t blocks = zt::live_blocks();
    EXPECT_EQ(check_arrays(arr.get(), arr.get(), h), 0u);
    EXPECT_EQ(zt::live_blocks(), blocks);
}

// ---- Per-pair check: member VNIs -------------------------------------------------------------

TEST_F(CompatCheckTlv, SameVniSameBdPasses) {
    const member_vni_t l{10, 5000}, r{10, 5000};
    EXPECT_EQ(check_pair(ZORV_TYPE1_GBL_MEMBER_VNI, &l, 8, &r, 8, h), 0u);
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{5000}));
    EXPECT_TRUE(zt::has_log(kTlv, ":  Pass type-1 compat check type:8, len=8 lcl bd:10, vni:5000 "
                                  "rmt bd:10,vni:5000\n"))
        << zt::dump_events();
    EXPECT_TRUE(zt::has_log(kTlv, ": lcl_type:8, rmt_type:8\n"));
}

TEST_F(CompatCheckTlv, FabricLocalBdPassesWhateverTheRemoteBd) {
    bdmgr_host_set_fabric_bd(1, 10, 1);
    const member_vni_t l{10, 5000}, r{11, 5000};
    EXPECT_EQ(check_pair(ZORV_TYPE1_GBL_MEMBER_VNI, &l, 8, &r, 8, h), 0u);
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{5000}));
    EXPECT_TRUE(zt::has_log(kTlv, ": sw_bd: 10 is fabric Bd\n"));
}

TEST_F(CompatCheckTlv, FabricBdsAreThoseOfTheCurrentContext) {
    bdmgr_host_set_fabric_bd(1, 10, 1);
    sysmgr_host_set_context_id(2);
    const member_vni_t l{10, 5000}, r{11, 5000};
    EXPECT_EQ(check_pair(ZORV_TYPE1_GBL_MEMBER_VNI, &l, 8, &r, 8, h), kCode8);
    bdmgr_host_set_fabric_bd(2, 10, 1);
    EXPECT_EQ(check_pair(ZORV_TYPE1_GBL_MEMBER_VNI, &l, 8, &r, 8, h), 0u);
}

TEST_F(CompatCheckTlv, FabricRemoteBdAloneDoesNotPass) {
    bdmgr_host_set_fabric_bd(1, 11, 1);
    const member_vni_t l{10, 5000}, r{11, 5000};
    EXPECT_EQ(check_pair(ZORV_TYPE1_GBL_MEMBER_VNI, &l, 8, &r, 8, h), kCode8);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{5000}));
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed memvni compat check - vni:5000 for lcl_bd:10 "
                                  "(rmt_bd:11)\n"));
}

TEST_F(CompatCheckTlv, FabricBdDoesNotExcuseDifferentVnis) {
    bdmgr_host_set_fabric_bd(1, 10, 1);
    const member_vni_t l{10, 5000}, r{10, 5001};
    EXPECT_EQ(check_pair(ZORV_TYPE1_GBL_MEMBER_VNI, &l, 8, &r, 8, h), kCode8);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{5000}));
    EXPECT_EQ(zt::log_count(kTlv, ": sw_bd: 10 is fabric Bd\n"), 0u);
}

TEST_F(CompatCheckTlv, LocalBdBeyondBitmapIsNotFabric) {
    const member_vni_t l{70000, 5000}, r{70000, 5000}, r2{70001, 5000};
    EXPECT_EQ(check_pair(ZORV_TYPE1_GBL_MEMBER_VNI, &l, 8, &r, 8, h), 0u);
    EXPECT_EQ(check_pair(ZORV_TYPE1_GBL_MEMBER_VNI, &l, 8, &r2, 8, h), kCode8);
}

TEST_F(CompatCheckTlv, VniBeyondRangeIsNotAddedButStillFails) {
    const member_vni_t l{10, 0x1000000}, r{11, 0x1000000};
    EXPECT_EQ(check_pair(ZORV_TYPE1_GBL_MEMBER_VNI, &l, 8, &r, 8, h), kCode8);
    EXPECT_TRUE(h.failed().empty());
    EXPECT_TRUE(h.passed().empty());
}

TEST_F(CompatCheckTlv, LocalNullRemoteMemberVniChargesTheRemoteVni) {
    const member_vni_t r{11, 6000};
    EXPECT_EQ(zorv_drel_type1_cfg_compat_check_tlv(0, 0, nullptr, ZORV_TYPE1_GBL_MEMBER_VNI, 8, &r,
                                                   0, &h.pass, &h.fail),
              kCode8);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{6000}));
}

TEST_F(CompatCheckTlv, LocalNullRemoteVniBeyondRangeStillFails) {
    const member_vni_t r{11, 0x1000000};
    EXPECT_EQ(zorv_drel_type1_cfg_compat_check_tlv(0, 0, nullptr, ZORV_TYPE1_GBL_MEMBER_VNI, 8, &r,
                                                   0, &h.pass, &h.fail),
              kCode8);
    EXPECT_TRUE(h.failed().empty());
}

TEST_F(CompatCheckTlv, LocalAndRemoteNull) {
    EXPECT_EQ(zorv_drel_type1_cfg_compat_check_tlv(ZORV_TYPE1_GBL_MEMBER_VNI, 0, nullptr,
                                                   ZORV_TYPE1_GBL_MEMBER_VNI, 0, nullptr, 0,
                                                   &h.pass, &h.fail),
              ZORV_DREL_ERR_PARAM_MISSING);
    EXPECT_TRUE(zt::has_log(kTlv, ": Local and Remote NULL\n"));
    EXPECT_TRUE(
        zt::has_log(kTlv, ": Failed type-1 compat check for type:8 rmt_type:8(Local Null)\n"));
    EXPECT_EQ(zorv_drel_type1_cfg_compat_check_tlv(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, 0, nullptr,
                                                   ZORV_TYPE1_INTF_VSI_ATTRIBUTES, 0, nullptr, 0,
                                                   &h.pass, &h.fail),
              ZORV_DREL_ERR_PARAM_MISSING);
}

TEST_F(CompatCheckTlv, ShortRemoteMemberVniIsNotRead) {
    const member_vni_t l{10, 5000};
    const uint32_t bd_only = 10;
    zt::exact_buf r(&bd_only, 4);
    EXPECT_EQ(check_pair(ZORV_TYPE1_GBL_MEMBER_VNI, &l, 8, r.data(), 4, h), kCode8);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{5000}));
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:8 - rmt value too short, "
                                  "len:4, min:8\n"));
    // With no local value the short remote one charges nothing.
    zt::holders h2;
    h2.make_sets();
    EXPECT_EQ(zorv_drel_type1_cfg_compat_check_tlv(0, 0, nullptr, ZORV_TYPE1_GBL_MEMBER_VNI, 4,
                                                   r.data(), 0, &h2.pass, &h2.fail),
              kCode8);
    EXPECT_TRUE(h2.failed().empty());
}

TEST_F(CompatCheckTlv, ShortLocalMemberVniFailsAndChargesNothing) {
    const uint32_t bd_only = 10;
    zt::exact_buf l(&bd_only, 4);
    const member_vni_t r{10, 5000};
    EXPECT_EQ(check_pair(ZORV_TYPE1_GBL_MEMBER_VNI, l.data(), 4, &r, 8, h), kCode8);
    EXPECT_TRUE(h.failed().empty());
    EXPECT_TRUE(h.passed().empty());
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:8 - lcl value too short, "
                                  "len:4, min:8\n"));
}

// ---- Per-pair check: other types -------------------------------------------------------------

TEST_F(CompatCheckTlv, UnjudgedTypesPassAsUnknown) {
    const vsi_admin_t l{kIf, 1, 1}, r{kIf, 1, 0};
    EXPECT_EQ(check_pair(ZORV_TYPE1_INTF_VSI_ADMIN, &l, 12, &r, 12, h), 0u);
    EXPECT_TRUE(zt::has_log(kTlv, ": Unknown type:5\n"));
    const uint32_t junk = 1;
    EXPECT_EQ(check_pair(3, &junk, 4, &junk, 4, h), 0u); // no fixed size: nothing to check
    EXPECT_TRUE(zt::has_log(kTlv, ": Unknown type:3\n"));
    EXPECT_TRUE(h.failed().empty());
}

TEST_F(CompatCheckTlv, UnjudgedLocalValuesAreNotReadSoTheirLengthDoesNotMatter) {
    const vsi_admin_t full{kIf, 1, 1};
    zt::exact_buf short_admin(&full, 4);
    EXPECT_EQ(check_pair(ZORV_TYPE1_INTF_VSI_ADMIN, short_admin.data(), 4, &full, 12, h), 0u);
    EXPECT_TRUE(zt::has_log(kTlv, ": Unknown type:5\n"));
    std::vector<uint8_t> name(256, 'a');
    zt::exact_buf short_name(name.data(), 10);
    EXPECT_EQ(check_pair(ZORV_TYPE1_GBL_ENCAP_PROFILE, short_name.data(), 10, name.data(), 256, h),
              0u);
    EXPECT_TRUE(zt::has_log(kTlv, ": Unknown type:1\n"));
    EXPECT_EQ(zt::logs_containing("lcl value too short"), 0u) << zt::dump_events();
    EXPECT_TRUE(h.failed().empty());
}

TEST_F(CompatCheckTlv, UnjudgedKnownTypeWithShortRemoteValueFails) {
    const vsi_admin_t l{kIf, 1, 1};
    zt::exact_buf r(&l, 8);
    EXPECT_EQ(check_pair(ZORV_TYPE1_INTF_VSI_ADMIN, &l, 12, r.data(), 8, h),
              ZORV_DREL_ERR_COMPAT_INTF_VSI);
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:5 - rmt value too short, "
                                  "len:8, min:12\n"));
    std::vector<uint8_t> name(256, 'a');
    zt::exact_buf short_name(name.data(), 100);
    EXPECT_EQ(check_pair(ZORV_TYPE1_GBL_ENCAP_PROFILE, name.data(), 256, short_name.data(), 100, h),
              ZORV_DREL_ERR_COMPAT_GBL_ENCAP_PROFILE);
    std::vector<uint8_t> map(sizeof(encap_map_t), 0);
    zt::exact_buf short_map(map.data(), 16636);
    EXPECT_EQ(
        check_pair(ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, map.data(), 16640, short_map.data(), 16636, h),
        ZORV_DREL_ERR_COMPAT_GBL_ENCAP_DOT1Q_MAP);
    EXPECT_EQ(check_pair(ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, map.data(), 16640, map.data(), 16640, h),
              0u);
}

// ---- Per-pair check: service-instance attributes ---------------------------------------------

class VsiCheck : public ::testing::Test {
  protected:
    void SetUp() override {
        zt::add_memvni(100, 5000);
        zt::add_memvni(101, 6000);
        node_ = zt::add_vsi(kIf, 7, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}, {6000, 20}});
        ASSERT_NE(node_, nullptr);
        lcl_ = zt::make_vsi_all(kIf, 7, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}, {6000, 20}});
        h_.make_sets();
    }
    uint32_t check(const void *r, uint32_t rlen) {
        return check_pair(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, lcl_.data(),
                          static_cast<uint16_t>(lcl_.size()), r, rlen, h_);
    }
    // The check against a remote value held in a heap block of exactly its size.
    uint32_t check_exact(const std::vector<uint8_t> &r) {
        zt::exact_buf b(r);
        return check(b.data(), static_cast<uint32_t>(b.size()));
    }
    if_cfg_avl_node_t *node_ = nullptr;
    std::vector<uint8_t> lcl_;
    zt::holders h_;
};

TEST_F(VsiCheck, EqualAttributesPass) {
    EXPECT_EQ(check(lcl_.data(), lcl_.size()), 0u);
    EXPECT_EQ(h_.passed(), (std::vector<uint32_t>{5000, 6000}));
    EXPECT_TRUE(h_.failed().empty());
    EXPECT_TRUE(zt::has_log(kTlv, ": lcl parent intf idx:0x1000, vsi:7\n"));
    EXPECT_TRUE(zt::has_log(kTlv, ": lcl parent intf idx:0x1000, vsi:7, rmt parent intf "
                                  "idx:0x1000, vsi:7\n"));
    EXPECT_TRUE(zt::has_log(kTlv, ": Passed type-1 compat check for vsitype=9, len=808, "
                                  "intf:0x1000, vsi=7\n"))
        << zt::dump_events();
}

TEST_F(VsiCheck, MissingLocalNodeFails) {
    auto other = zt::make_vsi_all(kIf, 8, 1, ZORV_MAP_MODE_STATIC, {});
    EXPECT_EQ(check_pair(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, other.data(),
                         static_cast<uint16_t>(other.size()), other.data(), other.size(), h_),
              ZORV_DREL_ERR_FAILURE);
    EXPECT_TRUE(zt::has_log(kTlv, ": Error: Could not find cfg_p for lcl parent intf idx:0x1000, "
                                  "vsi:8\n"));
}

TEST_F(VsiCheck, NullRemoteFailsEveryVniOfTheServiceInstance) {
    EXPECT_EQ(check(nullptr, 0), kCode9);
    EXPECT_EQ(h_.failed(), (std::vector<uint32_t>{5000, 6000}));
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for vsi type=9, len=808, vsi=7 "
                                  "(Remote NULL)\n"));
}

TEST_F(VsiCheck, DifferentAdminFailsEveryVni) {
    auto r = zt::make_vsi_all(kIf, 7, 0, ZORV_MAP_MODE_STATIC, {{5000, 10}, {6000, 20}});
    ASSERT_EQ(bitset_set(h_.pass.vni_set, 5000), 0);
    EXPECT_EQ(check(r.data(), r.size()), kCode9);
    EXPECT_EQ(h_.failed(), (std::vector<uint32_t>{5000, 6000}));
    EXPECT_TRUE(h_.passed().empty());
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for vsi admin stat type=9, "
                                  "len=808, vsi=7, lcl_value=1, rmt_value=0\n"));
}

TEST_F(VsiCheck, DifferentParentInterfaceIsNotCompared) {
    auto r = zt::make_vsi_all(0x2000, 9, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}, {6000, 20}});
    EXPECT_EQ(check(r.data(), r.size()), 0u);
    EXPECT_TRUE(zt::has_log(kTlv, ": lcl parent intf idx:0x1000, vsi:7, rmt parent intf "
                                  "idx:0x2000, vsi:9\n"));
}

TEST_F(VsiCheck, OneDifferentPairChargesOneVniWithTheTypesCode) {
    auto r = zt::make_vsi_all(kIf, 7, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}, {6001, 20}});
    EXPECT_EQ(check(r.data(), r.size()), kCode9);
    EXPECT_EQ(h_.failed(), (std::vector<uint32_t>{6000}));
    EXPECT_EQ(h_.passed(), (std::vector<uint32_t>{5000}));
}

TEST_F(VsiCheck, InvalidRemotePairsAreLoggedAndIgnored) {
    auto r = zt::make_vsi_all(
        kIf, 7, 1, ZORV_MAP_MODE_STATIC,
        {{5000, 10}, {6000, 20}, {7000, 0}, {7001, 4096}, {0, 30}, {0x1000000, 40}});
    EXPECT_EQ(check(r.data(), r.size()), 0u);
    const char *fn = "zorv_drel_lib_check_failed_bds_vsi";
    EXPECT_TRUE(zt::has_log(fn, ": ASSERT: invalid rmt dot1q:0 or vni:7000\n"));
    EXPECT_TRUE(zt::has_log(fn, ": ASSERT: invalid rmt dot1q:4096 or vni:7001\n"));
    EXPECT_TRUE(zt::has_log(fn, ": ASSERT: invalid rmt dot1q:30 or vni:0\n"));
    EXPECT_TRUE(zt::has_log(fn, ": ASSERT: invalid rmt dot1q:40 or vni:16777216\n"));
}

TEST_F(VsiCheck, ShortRemoteValueFailsWholeServiceInstanceUnread) {
    zt::exact_buf r(lcl_.data(), 500);
    EXPECT_EQ(check(r.data(), 500), kCode9);
    EXPECT_EQ(h_.failed(), (std::vector<uint32_t>{5000, 6000}));
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:9 - rmt value too short, "
                                  "len:500, min:792\n"));
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for vsi type=9, len=808, vsi=7 "
                                  "(Remote malformed)\n"));
}

TEST_F(VsiCheck, RemoteCountPastItsLengthIsNeverRead) {
    // 792 bytes that claim one pair: the tail would lie 8 bytes past the block.
    EXPECT_EQ(check_exact(zt::vsi_with_count(kIf, 7, 1, {}, 1)), kCode9);
    EXPECT_EQ(h_.failed(), (std::vector<uint32_t>{5000, 6000}));
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:9 - rmt value len:792 "
                                  "does not hold dyn_map_cnt:1\n"));
}

TEST_F(VsiCheck, RemoteHugeCountIsNeverRead) {
    EXPECT_EQ(check_exact(zt::vsi_with_count(kIf, 7, 1, {{5000, 10}}, 0x7FFFFFFF)), kCode9);
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:9 - rmt value len:800 "
                                  "does not hold dyn_map_cnt:2147483647\n"));
}

TEST_F(VsiCheck, RemoteNegativeCountIsRefused) {
    EXPECT_EQ(check_exact(zt::vsi_with_count(kIf, 7, 1, {{5000, 10}}, -1)), kCode9);
    EXPECT_EQ(h_.failed(), (std::vector<uint32_t>{5000, 6000}));
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:9 - rmt value len:800 "
                                  "does not hold dyn_map_cnt:-1\n"));
}

TEST_F(VsiCheck, MalformedLocalValueFailsAndChargesNothing) {
    auto v = zt::vsi_with_count(kIf, 7, 1, {}, 3);
    zt::exact_buf l(v);
    EXPECT_EQ(check_pair(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, l.data(), static_cast<uint16_t>(l.size()),
                         lcl_.data(), lcl_.size(), h_),
              kCode9);
    EXPECT_TRUE(h_.failed().empty());
    EXPECT_TRUE(h_.passed().empty());
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:9 - lcl value len:792 "
                                  "does not hold dyn_map_cnt:3\n"));
}

TEST_F(VsiCheck, LocalCountOfZeroOrLessMeansNoPairs) {
    for (int32_t count : {-1, -5, INT32_MIN}) {
        auto v = zt::vsi_with_count(kIf, 7, 1, {}, count);
        zt::exact_buf l(v);
        auto r = zt::make_vsi_all(kIf, 7, 1, ZORV_MAP_MODE_STATIC, {});
        zt::holders h;
        h.make_sets();
        EXPECT_EQ(check_pair(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, l.data(),
                             static_cast<uint16_t>(l.size()), r.data(), r.size(), h),
                  0u)
            << count;
        EXPECT_TRUE(h.failed().empty()) << count;
    }
    EXPECT_EQ(zt::logs_containing("does not hold dyn_map_cnt"), 0u) << zt::dump_events();
    EXPECT_EQ(zt::log_count(kTlv, ": Passed type-1 compat check for vsitype=9, len=792, "
                                  "intf:0x1000, vsi=7\n"),
              3u);
}

TEST_F(VsiCheck, LocalCountOfZeroOrLessStillNeedsItsFixedPart) {
    auto v = zt::vsi_with_count(kIf, 7, 1, {}, -1);
    zt::exact_buf l(v.data(), 700);
    EXPECT_EQ(
        check_pair(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, l.data(), 700, lcl_.data(), lcl_.size(), h_),
        kCode9);
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:9 - lcl value too short, "
                                  "len:700, min:792\n"));
}

// A type-9 value as a peer up to version 39 sends it: head and pairs, nothing behind them.
std::vector<uint8_t> head_and_pairs(const std::vector<uint8_t> &full) {
    const auto count = reinterpret_cast<const vsi_all_t *>(full.data())->dyn_map_cnt;
    return {full.begin(), full.begin() + 20 + 8 * count};
}

TEST_F(VsiCheck, PeerUpToVersion39NeedsOnlyHeadAndPairs) {
    drelm_host_set_pelk_oper_ver(39);
    auto short_rmt = head_and_pairs(lcl_);
    zt::exact_buf r(short_rmt);
    ASSERT_EQ(r.size(), 36u);
    EXPECT_EQ(check(r.data(), uint32_t(r.size())), 0u) << zt::dump_events();
    EXPECT_EQ(h_.passed(), (std::vector<uint32_t>{5000, 6000}));
    EXPECT_TRUE(h_.failed().empty());
    // The local value may be as short too.
    zt::holders h;
    h.make_sets();
    zt::exact_buf l(short_rmt);
    EXPECT_EQ(check_pair(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, l.data(), 36, r.data(), 36, h), 0u);
    // Still whole pairs: a count past the value is refused.
    auto over = zt::vsi_with_count(kIf, 7, 1, {{5000, 10}}, 2);
    zt::exact_buf r2(over.data(), 28);
    EXPECT_EQ(check(r2.data(), 28), kCode9);
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:9 - rmt value len:28 "
                                  "does not hold dyn_map_cnt:2\n"));
    zt::exact_buf r3(over.data(), 16);
    EXPECT_EQ(check(r3.data(), 16), kCode9);
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:9 - rmt value too short, "
                                  "len:16, min:20\n"));
}

TEST_F(VsiCheck, PeerFromVersion40MustSendTheWholeValue) {
    drelm_host_set_pelk_oper_ver(40);
    auto short_rmt = head_and_pairs(lcl_);
    zt::exact_buf r(short_rmt);
    EXPECT_EQ(check(r.data(), uint32_t(r.size())), kCode9);
    EXPECT_EQ(h_.failed(), (std::vector<uint32_t>{5000, 6000}));
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:9 - rmt value too short, "
                                  "len:36, min:792\n"));
}

TEST_F(VsiCheck, MalformedRemoteValueAtTheEndOfTheArrayThroughTheDriver) {
    auto good = zt::vsis({lcl_});
    // The remote array's only value claims 4096 pairs and ends where the heap block ends.
    auto bad = zt::vsi_with_count(kIf, 7, 1, {{5000, 10}, {6000, 20}}, 4096);
    auto rmt = zt::vsis({bad});
    zt::exact_buf r = zt::exact_array(rmt);
    zt::holders h;
    EXPECT_EQ(check_arrays(good.get(), r.as<tlv_array_t>(), h), kCode9);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{5000, 6000}));
}

TEST_F(VsiCheck, FailuresOfSeveralServiceInstancesGatherInTheHolders) {
    zt::add_memvni(102, 7000);
    ASSERT_NE(zt::add_vsi(kIf, 8, 1, ZORV_MAP_MODE_STATIC, {{7000, 30}}), nullptr);
    auto l8 = zt::make_vsi_all(kIf, 8, 1, ZORV_MAP_MODE_STATIC, {{7000, 30}});
    auto r7 = zt::make_vsi_all(kIf, 7, 0, ZORV_MAP_MODE_STATIC, {{5000, 10}, {6000, 20}});
    auto lcl = zt::vsis({lcl_, l8}), rmt = zt::vsis({r7, l8});
    zt::holders h;
    // The first instance fails (admin); the second matches, but its per-VNI verdict looks at
    // the whole failed set, which still holds the first instance's VNIs.
    EXPECT_EQ(check_arrays(lcl.get(), rmt.get(), h), kCode9);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{5000, 6000}));
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{7000}));
}

} // namespace
