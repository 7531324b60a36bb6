// SPDX-License-Identifier: Apache-2.0
// Text rendering: member-VNI, encap-range, VLAN-list, VLAN-to-VNI and service-instance texts,
// the bitmap dump, digit counts, range lists and the interface utilities.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "zorv_test_cache.h"

namespace {

// The range list record: reserved, count, then pairs.
std::vector<uint32_t> mrange(const std::vector<std::pair<uint32_t, uint32_t>> &ranges) {
    std::vector<uint32_t> w{0, static_cast<uint32_t>(ranges.size())};
    for (auto [a, b] : ranges) {
        w.push_back(a);
        w.push_back(b);
    }
    return w;
}
const zorv_mrange_t *as_mrange(const std::vector<uint32_t> &w) {
    return reinterpret_cast<const zorv_mrange_t *>(w.data());
}

// The code and the text of one range printer.
struct printed {
    int32_t rc;
    std::string text;
    bool operator==(const printed &) const = default;
    friend void PrintTo(const printed &p, std::ostream *os) {
        *os << "rc " << p.rc << " text \"" << p.text << '"';
    }
};
using printer = int32_t (*)(char *, uint32_t, const zorv_mrange_t *);

// Prints the ranges `w` with `fn` into a heap block of exactly `size` bytes that holds `before`
// (so that a write past `size` is a sanitizer error).
printed print(printer fn, const std::vector<uint32_t> &w, uint32_t size,
              const std::string &before = "") {
    std::vector<char> init(size, '\0');
    std::copy(before.begin(), before.end(), init.begin());
    zt::exact_buf buf(init.data(), size);
    const int32_t rc = fn(buf.as<char>(), size, as_mrange(w));
    return {rc, std::string(buf.as<char>(), strnlen(buf.as<char>(), size))};
}

// ---- member VNI and encap range ----------------------------------------------------------------

TEST(MemvniToStr, BdAndVni) {
    const member_vni_t v{100, 5000};
    char *s = zorv_drel_gbl_tlv_memvni_to_str(&v);
    EXPECT_EQ(s, zorv_gbl_memvni_str_buf);
    EXPECT_STREQ(s, "BD:100 VNI:5000");
    const member_vni_t w{1, 0xFFFFFF};
    EXPECT_STREQ(zorv_drel_gbl_tlv_memvni_to_str(&w), "BD:1 VNI:16777215");
}

TEST(MemvniToStr, NullIsEmpty) {
    EXPECT_STREQ(zorv_drel_gbl_tlv_memvni_to_str(nullptr), "");
}

TEST(EncapRangeToStr, VsiAndName) {
    const vsi_encap_rng_t r = zt::rng_val(zt::kIf, 7, "gold", {1, 2});
    char *s = zorv_drel_if_tlv_encap_range_to_str(&r);
    EXPECT_EQ(s, zorv_if_encap_range_str_buf);
    EXPECT_STREQ(s, "7:gold");
}

TEST(EncapRangeToStr, UnterminatedNameIsCut) {
    vsi_encap_rng_t r = zt::rng_val(zt::kIf, 12, "");
    std::memset(r.encap_name, 'n', sizeof r.encap_name);
    // 3 characters of "12:" plus 252 of the name fill the 256-byte buffer.
    EXPECT_EQ(std::string(zorv_drel_if_tlv_encap_range_to_str(&r)), "12:" + std::string(252, 'n'));
}

// ---- VLAN list -------------------------------------------------------------------------------

TEST(Dot1qMapToStr, AllZeroIsEmpty) {
    const bmp4096_t b = zt::bmp_of({});
    char *s = zorv_drel_lib_dot1q_map_to_str(&b);
    EXPECT_EQ(s, zorv_vlan_bmp_str_buf);
    EXPECT_STREQ(s, "");
}

TEST(Dot1qMapToStr, FirstAndLastVlan) {
    const bmp4096_t b = zt::bmp_of({0, 4095});
    EXPECT_STREQ(zorv_drel_lib_dot1q_map_to_str(&b), "0,4095");
}

TEST(Dot1qMapToStr, AllSetIsOneRange) {
    bmp4096_t b{};
    std::memset(b.bits, 0xFF, sizeof b.bits);
    EXPECT_STREQ(zorv_drel_lib_dot1q_map_to_str(&b), "0-4095");
}

TEST(Dot1qMapToStr, RunsJoinedByBareComma) {
    const bmp4096_t b = zt::bmp_of({1, 2, 3, 10, 20, 21, 22});
    EXPECT_STREQ(zorv_drel_lib_dot1q_map_to_str(&b), "1-3,10,20-22");
}

TEST(Dot1qMapToStr, LengthWordIsNotRead) {
    bmp4096_t b = zt::bmp_of({7, 8});
    b.len = 0;
    EXPECT_STREQ(zorv_drel_lib_dot1q_map_to_str(&b), "7-8");
}

TEST(Dot1qMapToStr, EverySecondVlan) {
    std::vector<uint32_t> vlans;
    std::string expect;
    for (uint32_t v = 0; v < 4096; v += 2) {
        vlans.push_back(v);
        expect += (v == 0 ? "" : ",") + std::to_string(v);
    }
    const bmp4096_t b = zt::bmp_of(vlans);
    EXPECT_EQ(std::string(zorv_drel_lib_dot1q_map_to_str(&b)), expect);
    EXPECT_GT(expect.size(), 9000u);
}

TEST(Dot1qMapToStr, NullIsEmpty) {
    EXPECT_STREQ(zorv_drel_lib_dot1q_map_to_str(nullptr), "");
}

// ---- VLAN-to-VNI pairs -----------------------------------------------------------------------

TEST(EncapMapToStr, TypeTwoPairsAndLogs) {
    auto m = zt::map_val("prof", {{5, 9000}, {7, 9001}});
    char *s = zorv_drel_gbl_tlv_encap_map_to_str(m.get(), nullptr);
    EXPECT_EQ(s, zorv_gbl_encap_map_str_buf);
    EXPECT_STREQ(s, "prof:5,9000 7,9001 ");
    const char *fn = "zorv_drel_gbl_tlv_encap_map_to_str";
    EXPECT_TRUE(zt::has_log(fn, ": tmp_str:5,9000  gbl_encap_str:prof:, str:prof:, tlen:6, "
                                "len:7, max:255\n"))
        << zt::dump_events();
    EXPECT_TRUE(zt::has_log(fn, ": str:prof:5,9000 , tlen:6, len:7\n"));
    EXPECT_TRUE(zt::has_log(fn, ": tmp_str:7,9001  gbl_encap_str:prof:5,9000 , str:prof:5,9000 , "
                                "tlen:13, len:7, max:255\n"));
    EXPECT_TRUE(zt::has_log(fn, ": tlen:20, encap_map:prof:5,9000 7,9001 \n"));
}

TEST(EncapMapToStr, VlanZeroIsIncluded) {
    auto m = zt::map_val("p", {{0, 1}, {4095, 2}});
    EXPECT_STREQ(zorv_drel_gbl_tlv_encap_map_to_str(m.get(), nullptr), "p:0,1 4095,2 ");
}

TEST(EncapMapToStr, NameWithoutMapIsPrefixOnly) {
    auto m = zt::map_val("lonely");
    EXPECT_STREQ(zorv_drel_gbl_tlv_encap_map_to_str(m.get(), nullptr), "lonely:");
}

TEST(EncapMapToStr, EveryVlanMappedIsCutBelow254) {
    std::vector<std::pair<uint32_t, uint32_t>> pairs;
    for (uint32_t v = 0; v < 4096; ++v)
        pairs.emplace_back(v, 100000 + v);
    auto m = zt::map_val("full", pairs);
    // Independent model: the running length starts one past the prefix and pieces stop before
    // it would pass 254.
    std::string expect = "full:";
    uint32_t tlen = static_cast<uint32_t>(expect.size()) + 1;
    for (uint32_t v = 0; v < 4096; ++v) {
        const std::string piece = std::to_string(v) + "," + std::to_string(100000 + v) + " ";
        if (tlen + piece.size() > 254) break;
        expect += piece;
        tlen += static_cast<uint32_t>(piece.size());
    }
    const std::string got = zorv_drel_gbl_tlv_encap_map_to_str(m.get(), nullptr);
    EXPECT_EQ(got, expect);
    EXPECT_LE(got.size(), 253u);
    EXPECT_GT(got.size(), 240u);
    EXPECT_TRUE(zt::has_log("zorv_drel_gbl_tlv_encap_map_to_str",
                            ": tlen:" + std::to_string(tlen) + ", encap_map:" + expect + "\n"));
}

TEST(EncapMapToStr, LongNameLeavesNoRoomForPairs) {
    auto m = zt::map_val(std::string(255, 'x'), {{5, 9000}});
    // The prefix is formatted within 255 bytes: 254 characters, the colon is cut.
    EXPECT_EQ(std::string(zorv_drel_gbl_tlv_encap_map_to_str(m.get(), nullptr)),
              std::string(254, 'x'));
}

TEST(EncapMapToStr, TypeNinePairsInEntryOrder) {
    const auto v = zt::make_vsi_all(zt::kIf, 7, 1, 1, {{9001, 7}, {9000, 5}});
    EXPECT_STREQ(zorv_drel_gbl_tlv_encap_map_to_str(nullptr, zt::as_vsi(v)), "7,9001 5,9000 ");
    EXPECT_TRUE(
        zt::has_log("zorv_drel_gbl_tlv_encap_map_to_str", ": tlen:14, encap_map:7,9001 5,9000 \n"));
}

TEST(EncapMapToStr, TypeNineCutAt254) {
    std::vector<std::pair<uint32_t, uint32_t>> pairs;
    for (uint32_t v = 1; v <= 100; ++v)
        pairs.emplace_back(1000000 + v, v);
    const auto val = zt::make_vsi_all(zt::kIf, 7, 1, 1, pairs);
    std::string expect;
    for (auto [vni, dot1q] : pairs) {
        const std::string piece = std::to_string(dot1q) + "," + std::to_string(vni) + " ";
        if (expect.size() + piece.size() > 254) break;
        expect += piece;
    }
    EXPECT_EQ(std::string(zorv_drel_gbl_tlv_encap_map_to_str(nullptr, zt::as_vsi(val))), expect);
    EXPECT_LE(expect.size(), 254u);
    EXPECT_GT(expect.size(), 240u);
}

TEST(EncapMapToStr, NothingToRender) {
    const auto v = zt::make_vsi_all(zt::kIf, 7, 1, 1, {});
    EXPECT_STREQ(zorv_drel_gbl_tlv_encap_map_to_str(nullptr, zt::as_vsi(v)), "");
    EXPECT_STREQ(zorv_drel_gbl_tlv_encap_map_to_str(nullptr, nullptr), "");
    EXPECT_TRUE(zt::has_log("zorv_drel_gbl_tlv_encap_map_to_str", ": tlen:0, encap_map:\n"));
}

TEST(EncapMapToStr, NegativeCountRendersNothing) {
    auto v = zt::make_vsi_all(zt::kIf, 7, 1, 1, {});
    reinterpret_cast<vsi_all_t *>(v.data())->dyn_map_cnt = 0x80000000u;
    EXPECT_STREQ(zorv_drel_gbl_tlv_encap_map_to_str(nullptr, zt::as_vsi(v)), "");
}

// ---- service-instance summary ----------------------------------------------------------------

TEST(VsiAllToStr, LongFormUnderVersion40) {
    const auto v =
        zt::make_vsi_all(zt::kIf, 7, 1, ZORV_MAP_MODE_DFS, {{9000, 5}}, {1, 2, 3, 10}, "gold");
    char *s = zorv_drel_if_tlv_vsi_all_to_str(zt::as_vsi(v));
    EXPECT_EQ(s, zorv_if_vsi_all_str_buf);
    const std::string expect = "Vsi:7 Admin:Up Map:5,9000  VDP:FALSE VMT:FALSE DFS:TRUE "
                               "LLDP:FALSE AllwdDot1q: 1-3,10 ProfName: gold";
    EXPECT_EQ(std::string(s), expect);
    EXPECT_TRUE(zt::has_log("zorv_drel_if_tlv_vsi_all_to_str", ": " + expect + "\n"));
}

TEST(VsiAllToStr, EachModeShowsOneTrue) {
    struct row {
        uint32_t mode;
        const char *flags;
    };
    const row rows[] = {
        {ZORV_MAP_MODE_STATIC, "VDP:FALSE VMT:FALSE DFS:FALSE LLDP:FALSE"},
        {ZORV_MAP_MODE_DFS, "VDP:FALSE VMT:FALSE DFS:TRUE LLDP:FALSE"},
        {ZORV_MAP_MODE_VMT, "VDP:FALSE VMT:TRUE DFS:FALSE LLDP:FALSE"},
        {ZORV_MAP_MODE_VDP, "VDP:TRUE VMT:FALSE DFS:FALSE LLDP:FALSE"},
        {ZORV_MAP_MODE_LLDP, "VDP:FALSE VMT:FALSE DFS:FALSE LLDP:TRUE"},
    };
    for (const row &r : rows) {
        const auto v = zt::make_vsi_all(zt::kIf, 9, 0, r.mode, {}, {}, "p");
        EXPECT_EQ(std::string(zorv_drel_if_tlv_vsi_all_to_str(zt::as_vsi(v))),
                  std::string("Vsi:9 Admin:Down Map: ") + r.flags + " AllwdDot1q:  ProfName: p")
            << "mode " << r.mode;
    }
}

TEST(VsiAllToStr, ShortFormAtVersion39HasNoVmtOrLldp) {
    drelm_host_set_pelk_oper_ver(39);
    const auto vmt = zt::make_vsi_all(zt::kIf, 7, 0, ZORV_MAP_MODE_VMT, {{9000, 5}}, {1}, "gold");
    EXPECT_STREQ(zorv_drel_if_tlv_vsi_all_to_str(zt::as_vsi(vmt)),
                 "Vsi:7 Admin:Down Map:5,9000  VDP:FALSE DFS:FALSE");
    const auto vdp = zt::make_vsi_all(zt::kIf, 7, 2, ZORV_MAP_MODE_VDP, {});
    EXPECT_STREQ(zorv_drel_if_tlv_vsi_all_to_str(zt::as_vsi(vdp)),
                 "Vsi:7 Admin:Up Map: VDP:TRUE DFS:FALSE");
    const auto dfs = zt::make_vsi_all(zt::kIf, 7, 2, ZORV_MAP_MODE_DFS, {});
    EXPECT_STREQ(zorv_drel_if_tlv_vsi_all_to_str(zt::as_vsi(dfs)),
                 "Vsi:7 Admin:Up Map: VDP:FALSE DFS:TRUE");
    EXPECT_EQ(std::string(zorv_if_vsi_all_str_buf).find("VMT"), std::string::npos);
}

TEST(VsiAllToStr, TextIsCutToTheBuffer) {
    std::vector<uint32_t> every_second;
    for (uint32_t v = 0; v < 4096; v += 2)
        every_second.push_back(v);
    const auto v = zt::make_vsi_all(zt::kIf, 7, 1, 1, {}, every_second, "gold");
    const std::string s = zorv_drel_if_tlv_vsi_all_to_str(zt::as_vsi(v));
    EXPECT_EQ(s.size(), 255u);
    const std::string head = "Vsi:7 Admin:Up Map: VDP:FALSE VMT:FALSE DFS:FALSE LLDP:FALSE "
                             "AllwdDot1q: 0,2,4,";
    EXPECT_EQ(s.substr(0, head.size()), head);
    EXPECT_EQ(s.find("ProfName"), std::string::npos);
}

TEST(VsiAllToStr, NullIsEmpty) {
    EXPECT_STREQ(zorv_drel_if_tlv_vsi_all_to_str(nullptr), "");
    EXPECT_TRUE(zt::has_log("zorv_drel_if_tlv_vsi_all_to_str", ": \n"));
}

// ---- bitmap dump -----------------------------------------------------------------------------

TEST(PrintVlanBmp, CaptionBitsAndEnd) {
    const bmp4096_t b = zt::bmp_of({0, 3, 4095});
    debug_history_clear(zt::kSvc);
    const int rc = zorv_drel_lib_print_vlan_bmp(&b, "allowed");
    EXPECT_EQ(rc, 0);
    const auto ev = zt::events();
    ASSERT_EQ(ev.size(), 4098u);
    EXPECT_TRUE(zt::has_log("zorv_drel_lib_print_vlan_bmp", ": allowed\n"));
    EXPECT_EQ(ev[0].substr(0, std::strlen("zorv_drel_lib_print_vlan_bmp(")),
              "zorv_drel_lib_print_vlan_bmp(");
    for (uint32_t v = 0; v < 4096; ++v)
        ASSERT_EQ(ev[1 + v], (v == 0 || v == 3 || v == 4095) ? "1" : "0") << v;
    EXPECT_TRUE(zt::has_log("zorv_drel_lib_print_vlan_bmp", ": End allowed\n"));
}

// ---- digit counts and range lists ------------------------------------------------------------

TEST(IntStrlen, DigitCounts) {
    const std::pair<int32_t, int32_t> cases[] = {
        {-5, 1},       {INT32_MIN, 1}, {0, 1},         {9, 1},        {10, 2},
        {99, 2},       {100, 3},       {999, 3},       {1000, 4},     {9999999, 7},
        {10000000, 8}, {99999999, 8},  {100000000, 9}, {999999999, 9}};
    for (auto [value, digits] : cases)
        EXPECT_EQ(zorv_int_strlen(value), digits) << value;
}

TEST(IntStrlen, TenDigitValuesCountNine) {
    EXPECT_EQ(zorv_int_strlen(1000000000), 9);
    EXPECT_EQ(zorv_int_strlen(2147483647), 9);
}

TEST(MrangeStrlen, NullAndEmpty) {
    EXPECT_EQ(zorv_int_mrange_strlen(nullptr), 0u);
    const auto w = mrange({});
    EXPECT_EQ(zorv_int_mrange_strlen(as_mrange(w)), 0u);
}

TEST(MrangeStrlen, MatchesPrintedText) {
    const auto w = mrange({{1, 3}, {7, 7}, {100, 2000}});
    EXPECT_EQ(print(zorv_int_mrange_snprintf, w, 64), (printed{16, "1-3, 7, 100-2000"}));
    EXPECT_EQ(zorv_int_mrange_strlen(as_mrange(w)), 16u);
}

TEST(MrangeStrlen, TenDigitValueIsUndercounted) {
    const auto w = mrange({{1000000000, 1000000000}});
    EXPECT_EQ(zorv_int_mrange_strlen(as_mrange(w)), 9u);
}

TEST(MrangeSnprintf, ExampleAndTooSmall) {
    const auto w = mrange({{1, 3}, {7, 7}});
    EXPECT_EQ(print(zorv_int_mrange_snprintf, w, 64), (printed{6, "1-3, 7"}));
    EXPECT_EQ(print(zorv_int_mrange_snprintf, w, 6), (printed{-1, ""}));
}

TEST(MrangeSnprintf, SecondRangeDoesNotFitKeepsFirst) {
    // After "1-3" the counter is 4; 4 + 1 + 3 > 7.
    EXPECT_EQ(print(zorv_int_mrange_snprintf, mrange({{1, 3}, {7, 7}}), 7), (printed{-1, "1-3"}));
}

TEST(MrangeSnprintf, AppendsToWhatDstHolds) {
    EXPECT_EQ(print(zorv_int_mrange_snprintf, mrange({{5, 5}}), 64, "vlans "),
              (printed{1, "vlans 5"}));
}

TEST(MrangeSnprintf, NullOrEmptyListLeavesDst) {
    char buf[8] = "keep";
    EXPECT_EQ(zorv_int_mrange_snprintf(buf, sizeof buf, nullptr), 0);
    const auto w = mrange({});
    EXPECT_EQ(zorv_int_mrange_snprintf(buf, sizeof buf, as_mrange(w)), 0);
    EXPECT_EQ(zorv_int_bd_mrange_snprintf(buf, sizeof buf, as_mrange(w)), 0);
    EXPECT_STREQ(buf, "keep");
}

TEST(MrangeSnprintf, NeverWritesPastSizeBehindOldText) {
    // The counter alone would allow it; the old text leaves no room.
    EXPECT_EQ(print(zorv_int_mrange_snprintf, mrange({{1, 3}}), 8, "abcde"),
              (printed{-1, "abcde"}));
}

TEST(BdMrangeSnprintf, BareComma) {
    EXPECT_EQ(print(zorv_int_bd_mrange_snprintf, mrange({{1, 3}, {7, 7}, {9, 10}}), 64),
              (printed{10, "1-3,7,9-10"}));
}

TEST(BdMrangeSnprintf, TooSmall) {
    const auto w = mrange({{1, 3}, {7, 7}});
    EXPECT_EQ(print(zorv_int_bd_mrange_snprintf, w, 6), (printed{-1, ""}));
    EXPECT_EQ(print(zorv_int_bd_mrange_snprintf, w, 8), (printed{5, "1-3,7"}));
}

// ---- utilities -------------------------------------------------------------------------------

TEST(NativeVlan, AlwaysOne) {
    EXPECT_EQ(zorv_get_native_vlan_for_port(), 1u);
}

TEST(ValidIfIndex, QualifyingTypesInLayerTwo) {
    const uint32_t types[] = {22, 26, 29, 31};
    uint32_t ifx = 0x100;
    for (uint32_t t : types) {
        ifmgr_host_set_interface(ifx, t, 2);
        EXPECT_EQ(zorv_valid_if_index(ifx), 1u) << "type " << t;
        ifmgr_host_set_interface(ifx + 1, t, 3);
        EXPECT_EQ(zorv_valid_if_index(ifx + 1), 0u) << "type " << t << " layer 3";
        ifx += 2;
    }
}

TEST(ValidIfIndex, OtherTypesAndUnknownInterfaces) {
    ifmgr_host_set_interface(0x300, 23, 2);
    EXPECT_EQ(zorv_valid_if_index(0x300), 0u);
    ifmgr_host_set_interface(0x301, 0, 2);
    EXPECT_EQ(zorv_valid_if_index(0x301), 0u);
    EXPECT_EQ(zorv_valid_if_index(0x999), 0u);
}

} // namespace
