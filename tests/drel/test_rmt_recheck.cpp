// SPDX-License-Identifier: Apache-2.0
// The re-check of a peer's TLV array against the local cache, entry by entry.
#include <cstdio>

#include "zorv_test_cache.h"

namespace {

constexpr const char *kFn = "zorv_drel_type1_rmt_cfg_cache_rebuild";
constexpr const char *kTlv = "zorv_drel_type1_cfg_compat_check_tlv";
using zt::kIf;

TEST(RmtRecheck, NullArrayIsInvalid) {
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(nullptr, 1, 0), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kFn, ": rebuilding type-1 cache(gbl)\n"));
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(nullptr, 0, kIf), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kFn, ": rebuilding type-1 cache(if)\n"));
}

TEST(RmtRecheck, EmptyArrayLogsZeroAndSucceeds) {
    zt::tlv_buf empty;
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(empty.get(), 1, 0), 0u);
    EXPECT_TRUE(zt::has_log(kFn, ": num_tlvs = 0\n"));
}

TEST(RmtRecheck, GlobalWalkStopsAtTheFirstParameterMissingLocally) {
    zt::add_memvni(10, 5000);
    auto rmt = zt::memvnis({{10, 5000}});
    auto name = zt::name_wire("missing");
    rmt.add(ZORV_TYPE1_GBL_ENCAP_PROFILE, name.data(), 256);
    std::vector<uint8_t> map(sizeof(encap_map_t), 0);
    std::memcpy(map.data(), name.data(), 256);
    rmt.add(ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, map.data(), static_cast<uint16_t>(map.size()));
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(rmt.get(), 1, 0), 0u);
    EXPECT_TRUE(zt::has_log(kFn, ": num_tlvs = 3\n"));
    EXPECT_TRUE(zt::has_log(kFn, ": type = 8, tlen=8\n"));
    EXPECT_TRUE(zt::has_log(kTlv, ":  Pass type-1 compat check type:8, len=8 lcl bd:10, vni:5000 "
                                  "rmt bd:10,vni:5000\n"))
        << zt::dump_events();
    EXPECT_TRUE(zt::has_log(kFn, ": type = 1, tlen=256\n"));
    EXPECT_TRUE(zt::has_log(kFn, ": lcl value is Null for type:1\n"));
    EXPECT_EQ(zt::log_count(kFn, ": type = 2, tlen=16640\n"), 0u);
}

TEST(RmtRecheck, MissingMemberVniEndsTheWalk) {
    auto rmt = zt::memvnis({{10, 5000}, {11, 5001}});
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(rmt.get(), 1, 0), 0u);
    EXPECT_TRUE(zt::has_log(kFn, ": lcl value is Null for type:8\n"));
    EXPECT_EQ(zt::log_count(kFn, ": type = 8, tlen=8\n"), 1u);
}

TEST(RmtRecheck, GlobalProfilesHaveNoLocalTlvToJudgeAndTheWalkGoesOn) {
    zt::add_profile_map("p1", {{10, 5000}});
    zt::add_memvni(10, 5000);
    zt::tlv_buf rmt;
    auto name = zt::name_wire("p1");
    rmt.add(ZORV_TYPE1_GBL_ENCAP_PROFILE, name.data(), 256);
    rmt.add(ZORV_TYPE1_GBL_MEMBER_VNI, member_vni_t{11, 5000});
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(rmt.get(), 1, 0), 0u);
    EXPECT_TRUE(zt::has_log(kFn, ": Failed (rc=" + zt::rc_text(ZORV_DREL_ERR_INVALID_ARG) +
                                     ") to make lcl tlv for type:1\n"))
        << zt::dump_events();
    // The member VNI behind it is still judged (and fails on its BD, which changes nothing).
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed memvni compat check - vni:5000 for lcl_bd:10 "
                                  "(rmt_bd:11)\n"));
}

TEST(RmtRecheck, InterfaceKeysUseTheCallersInterface) {
    zt::add_memvni(10, 5000);
    ASSERT_NE(zt::add_vsi(kIf, 7, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}}), nullptr);
    auto rmt = zt::vsis({zt::make_vsi_all(0x9999, 7, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}})});
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(rmt.get(), 0, kIf), 0u);
    zt::expect_logs(kTlv,
                    {": lcl parent intf idx:0x1000, vsi:7, rmt parent intf idx:0x9999, vsi:7\n",
                     ": Passed type-1 compat check for vsitype=9, len=800, intf:0x1000, "
                     "vsi=7\n"});
}

TEST(RmtRecheck, VerdictsDoNotChangeTheResult) {
    ASSERT_NE(zt::add_vsi(kIf, 7, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}}), nullptr);
    auto rmt = zt::vsis({zt::make_vsi_all(kIf, 7, 0, ZORV_MAP_MODE_STATIC, {{5000, 10}})});
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(rmt.get(), 0, kIf), 0u);
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for vsi admin stat type=9, "
                                  "len=800, vsi=7, lcl_value=1, rmt_value=0\n"));
}

TEST(RmtRecheck, KeyBuilderFailureIsReturned) {
    ASSERT_NE(zt::add_vsi(kIf, 7, 1, ZORV_MAP_MODE_STATIC, {}), nullptr);
    auto rmt = zt::memvnis({{10, 5000}});
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(rmt.get(), 0, kIf), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kFn, ": Failed (rc=" + zt::rc_text(ZORV_DREL_ERR_INVALID_ARG) +
                                     ") to set key\n"));
    auto gbl = zt::vsis({zt::make_vsi_all(kIf, 7, 1, 1, {})});
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(gbl.get(), 1, 0), ZORV_DREL_ERR_INVALID_ARG);
}

TEST(RmtRecheck, MalformedArrayReturnsTheWalkCode) {
    zt::add_memvni(10, 5000);
    auto rmt = zt::memvnis({{10, 5000}, {10, 5000}});
    rmt.get()->len -= 4;
    zt::exact_buf r = zt::exact_array(rmt);
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(r.as<tlv_array_t>(), 1, 0), TLV_ERR_MALFORMED);
    EXPECT_TRUE(
        zt::has_log(kFn, ": Failed (rc=" + zt::rc_text(TLV_ERR_MALFORMED) + ") to retrieve tlv\n"));
}

TEST(RmtRecheck, AValueTooShortForItsKeyIsAKeyFailureThatEndsTheWalk) {
    zt::add_memvni(10, 5000);
    const member_vni_t good{10, 5000};
    auto name = zt::name_wire("p");
    struct short_value {
        uint32_t is_gbl;
        uint16_t type;
        const void *value;
        uint16_t len;
    };
    const uint32_t words[2] = {kIf, 7};
    const short_value cases[] = {
        {1, ZORV_TYPE1_GBL_MEMBER_VNI, &good, 4},            // the VNI lies behind the 4 bytes
        {1, ZORV_TYPE1_GBL_ENCAP_PROFILE, name.data(), 100}, // the name field is 256 bytes
        {0, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, words, 4},       // the id lies behind the 4 bytes
    };
    for (const short_value &c : cases) {
        debug_history_clear(zt::kSvc);
        zt::tlv_buf rmt;
        rmt.add(c.type, c.value, c.len);
        rmt.add(ZORV_TYPE1_GBL_MEMBER_VNI, good); // never reached
        zt::exact_buf r = zt::exact_array(rmt);
        EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(r.as<tlv_array_t>(), c.is_gbl, kIf),
                  ZORV_DREL_ERR_INVALID_ARG)
            << c.type;
        EXPECT_EQ(zt::log_count(kFn, zt::rc_text(ZORV_DREL_ERR_INVALID_ARG, "to set key")), 1u)
            << zt::dump_events();
        EXPECT_EQ(zt::log_count(kFn, ": type = 8, tlen=8\n"), 0u);
        EXPECT_EQ(zt::logs_containing("Pass type-1 compat check"), 0u);
    }
}

TEST(RmtRecheck, AValueShorterThanItsRecordIsKeyedFromItsName) {
    zt::tlv_buf rmt;
    std::vector<uint8_t> map(sizeof(encap_map_t), 0);
    std::memcpy(map.data(), "absent", 6);
    rmt.add(ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, map.data(), 16636); // ends at the block's end
    zt::add_memvni(10, 5000);
    rmt.add(ZORV_TYPE1_GBL_MEMBER_VNI, member_vni_t{10, 5000});
    zt::exact_buf r = zt::exact_array(rmt);
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(r.as<tlv_array_t>(), 1, 0), 0u);
    // The profile is not cached: the walk ends there, before the member VNI.
    EXPECT_TRUE(zt::has_log(kFn, ": lcl value is Null for type:2\n")) << zt::dump_events();
    EXPECT_EQ(zt::logs_containing("value too short"), 0u);
    EXPECT_EQ(zt::log_count(kFn, ": type = 8, tlen=8\n"), 0u);
}

TEST(RmtRecheck, ShortInterfaceValueIsKeyedAndFailsItsPair) {
    ASSERT_NE(zt::add_vsi(kIf, 7, 1, ZORV_MAP_MODE_STATIC, {}), nullptr);
    zt::tlv_buf rmt;
    const uint32_t words[2] = {kIf, 7};
    rmt.add(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, words, 8);
    rmt.add(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, words, 4); // the id lies behind the 4 bytes
    zt::exact_buf r = zt::exact_array(rmt);
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(r.as<tlv_array_t>(), 0, kIf),
              ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(zt::log_count(kTlv, ": lcl_type:9, rmt_type:9\n"), 1u);
    EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:9 - rmt value too short, "
                                  "len:8, min:792\n"))
        << zt::dump_events();
    // The second value is too short for its key: the walk ends with the key failure.
    EXPECT_EQ(zt::log_count(kFn, zt::rc_text(ZORV_DREL_ERR_INVALID_ARG, "to set key")), 1u);
}

TEST(RmtRecheck, AMissingNodeEndsTheWalkBeforeALaterFailure) {
    ASSERT_NE(zt::add_vsi(kIf, 7, 1, ZORV_MAP_MODE_STATIC, {}), nullptr);
    zt::tlv_buf rmt;
    const uint32_t absent[5] = {kIf, 99, 1, ZORV_MAP_MODE_STATIC, 0};
    rmt.add(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, absent, sizeof absent); // short, and not cached
    const uint32_t junk = 0;
    rmt.add(3, &junk, 4); // no key can be made for this one
    zt::exact_buf r = zt::exact_array(rmt);
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(r.as<tlv_array_t>(), 0, kIf), 0u);
    EXPECT_TRUE(zt::has_log(kFn, ": lcl value is Null for type:9\n")) << zt::dump_events();
    EXPECT_EQ(zt::logs_containing("to set key"), 0u);
}

TEST(RmtRecheck, EachPairIsJudgedWithFreshHolders) {
    zt::add_memvni(100, 5000);
    zt::add_memvni(102, 7000);
    ASSERT_NE(zt::add_vsi(kIf, 7, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}}), nullptr);
    ASSERT_NE(zt::add_vsi(kIf, 8, 1, ZORV_MAP_MODE_STATIC, {{7000, 30}}), nullptr);
    // The first instance's admin status differs.
    auto rmt = zt::vsis({zt::make_vsi_all(kIf, 7, 0, ZORV_MAP_MODE_STATIC, {{5000, 10}}),
                         zt::make_vsi_all(kIf, 8, 1, ZORV_MAP_MODE_STATIC, {{7000, 30}})});
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(rmt.get(), 0, kIf), 0u);
    // The first pair's failure does not show in the second pair's verdict.
    EXPECT_TRUE(zt::has_log("zorv_drel_lib_check_failed_bds_vsi", ": failed cnt:0, pass cnt:1\n"))
        << zt::dump_events();
    EXPECT_TRUE(zt::has_log(kTlv, ": Passed type-1 compat check for vsitype=9, len=800, "
                                  "intf:0x1000, vsi=8\n"));
}

TEST(RmtRecheck, MalformedCountsFailThePairUnread) {
    ASSERT_NE(zt::add_vsi(kIf, 7, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}}), nullptr);
    for (int32_t count : {-5, 1, 4096, 0x7FFFFFFF}) {
        auto rmt = zt::vsis({zt::vsi_with_count(kIf, 7, 1, {}, count)});
        zt::exact_buf r = zt::exact_array(rmt);
        EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(r.as<tlv_array_t>(), 0, kIf), 0u);
        EXPECT_TRUE(zt::has_log(kTlv, ": Failed type-1 compat check for type:9 - rmt value "
                                      "len:792 does not hold dyn_map_cnt:" +
                                          std::to_string(count) + "\n"))
            << count;
    }
}

TEST(RmtRecheck, ReleasesEverythingItTakes) {
    zt::add_memvni(10, 5000);
    ASSERT_NE(zt::add_vsi(kIf, 7, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}}), nullptr);
    auto rmt = zt::vsis({zt::make_vsi_all(kIf, 7, 0, ZORV_MAP_MODE_STATIC, {{5000, 10}})});
    auto gbl = zt::memvnis({{11, 5000}});
    const auto g = zt::measure_repeated(20, 1000, [&] {
        (void)zorv_drel_type1_rmt_cfg_cache_rebuild(rmt.get(), 0, kIf);
        (void)zorv_drel_type1_rmt_cfg_cache_rebuild(gbl.get(), 1, 0);
    });
    EXPECT_EQ(g.after.live_blocks, g.before.live_blocks);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_vsi_all_t), 0u);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_member_vni_t), 0u);
    EXPECT_LT(g.heap_after, g.heap_before + 64 * 1024);
}

} // namespace

namespace {

TEST(RmtRecheck, LocalValueAllocationFailureSkipsThePair) {
    zt::add_memvni(10, 5000);
    ASSERT_NE(zt::add_vsi(kIf, 7, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}}), nullptr);
    ASSERT_NE(zt::add_vsi(kIf, 8, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}}), nullptr);
    auto rmt = zt::vsis({zt::make_vsi_all(kIf, 7, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}}),
                         zt::make_vsi_all(kIf, 8, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}})});
    const uint64_t blocks = zt::live_blocks();
    tracked_mem_fault_set(zt::kSvc, 0, 1); // the first local value cannot be made
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(rmt.get(), 0, kIf), 0u);
    tracked_mem_fault_set(zt::kSvc, 0, 0);
    EXPECT_TRUE(zt::has_log(kFn, ": Failed (rc=" + zt::rc_text(ZORV_DREL_ERR_NO_MEMORY) +
                                     ") to make lcl tlv for type:9\n"))
        << zt::dump_events();
    // The second instance is still judged.
    EXPECT_EQ(zt::log_count(kTlv, ": Passed type-1 compat check for vsitype=9, len=800, "
                                  "intf:0x1000, vsi=8\n"),
              1u);
    EXPECT_EQ(zt::log_count(kTlv, ": Passed type-1 compat check for vsitype=9, len=800, "
                                  "intf:0x1000, vsi=7\n"),
              0u);
    EXPECT_EQ(zt::live_blocks(), blocks);
}

TEST(RmtRecheck, MemberVniAllocationFailureSkipsThePair) {
    zt::add_memvni(10, 5000);
    auto rmt = zt::memvnis({{10, 5000}});
    tracked_mem_fault_set(zt::kSvc, 0, 1);
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(rmt.get(), 1, 0), 0u);
    tracked_mem_fault_set(zt::kSvc, 0, 0);
    EXPECT_TRUE(zt::has_log(kFn, ": Failed (rc=" + zt::rc_text(ZORV_DREL_ERR_NO_MEMORY) +
                                     ") to make lcl tlv for type:8\n"));
    EXPECT_EQ(zt::log_count(kTlv, ": lcl_type:8, rmt_type:8\n"), 0u);
}

} // namespace
