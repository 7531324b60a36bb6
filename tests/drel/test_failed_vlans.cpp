// SPDX-License-Identifier: Apache-2.0
// Failed and passing bridge-domain sets from two dot1q-to-VNI tables or two VLAN bitmaps.
#include <cstdio>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "zorv_test_cache.h"

namespace {

constexpr const char *kVni = "zorv_drel_lib_check_failed_vlans_vni";
constexpr const char *kBmp = "zorv_drel_lib_check_failed_vlans_bmp";
constexpr uint16_t kType = ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP; // code 0x42D90039

std::string ptr(const void *p) {
    char b[32];
    std::snprintf(b, sizeof b, "%p", p);
    return b;
}

std::string count_line(uint32_t pelk, uint32_t failed, uint32_t pass) {
    return ": pelk vlan cnt:" + std::to_string(pelk) + ", failed cnt:" + std::to_string(failed) +
           ", pass cnt:" + std::to_string(pass) + "\n";
}

// A dot1q-to-VNI table of 4096 VLANs holding the given (VLAN, VNI) entries.
std::vector<uint32_t> table(std::initializer_list<std::pair<uint32_t, uint32_t>> vlan_vni = {}) {
    std::vector<uint32_t> t(4096, 0);
    for (auto [vlan, vni] : vlan_vni)
        t[vlan] = vni;
    return t;
}

struct outputs {
    bmp4096_t pass{}, failed{};
    outputs() {
        pass.len = 0x1234;
        std::memset(failed.bits, 0x5A, sizeof failed.bits);
    }
    // The check over two dot1q-to-VNI tables, into these outputs.
    uint32_t vni(const uint32_t *lcl, const uint32_t *rmt, const bmp4096_t *pelk = nullptr,
                 uint16_t type = kType) {
        return zorv_drel_lib_check_failed_vlans_vni(type, lcl, rmt, pelk, &pass, &failed);
    }
    // The check over two VLAN bitmaps, into these outputs.
    uint32_t bmp(const uint32_t *map, const bmp4096_t *lcl, const bmp4096_t *rmt,
                 const bmp4096_t *pelk, uint16_t type = kType) {
        return zorv_drel_lib_check_failed_vlans_bmp(type, map, lcl, rmt, pelk, &pass, &failed);
    }
};

TEST(FailedVlansVni, EqualMapsPassEverything) {
    zt::add_memvni(10, 5000);
    const auto lcl = table({{5, 5000}, {6, 5001}}), rmt = lcl;
    const bmp4096_t pelk = zt::bmp_of({5, 6, 7});
    outputs o;
    EXPECT_EQ(o.vni(lcl.data(), rmt.data(), &pelk), 0u);
    EXPECT_EQ(o.failed.len, 512u);
    EXPECT_EQ(zt::bmp_count(o.failed), 0u);
    EXPECT_EQ(zt::bmp_count(o.pass), 4096u);
    EXPECT_EQ(o.pass.len, 0x1234u); // left as the caller set it
    EXPECT_TRUE(zt::has_log(kVni, count_line(3, 0, 4096))) << zt::dump_events();
    EXPECT_TRUE(zt::has_log(kVni, ": check for vlans lcl_type:2, lcl_val:" + ptr(lcl.data()) +
                                      ", rmt_val:" + ptr(rmt.data()) + "\n"));
}

TEST(FailedVlansVni, MissingRemoteFailsEveryLocallyMappedVlan) {
    zt::add_memvnis({{10, 5000}, {11, 5001}});
    outputs o;
    EXPECT_EQ(o.vni(table({{5, 5000}, {4095, 5001}}).data(), nullptr),
              ZORV_DREL_ERR_COMPAT_GBL_ENCAP_DOT1Q_MAP);
    EXPECT_EQ(zt::bmp_count(o.failed), 2u);
    EXPECT_TRUE(zorv::bmp::test(o.failed, 10));
    EXPECT_TRUE(zorv::bmp::test(o.failed, 11));
    EXPECT_FALSE(zorv::bmp::test(o.pass, 10));
    EXPECT_FALSE(zorv::bmp::test(o.pass, 11));
    EXPECT_EQ(zt::bmp_count(o.pass), 4094u);
    EXPECT_TRUE(zt::has_log(kVni, ": Failed vlan:5, sw_bd_id:10, lcl vni:5000, rmt vni:0\n"));
    EXPECT_TRUE(zt::has_log(kVni, ": Failed vlan:4095, sw_bd_id:11, lcl vni:5001, rmt vni:0\n"));
    EXPECT_TRUE(zt::has_log(kVni, count_line(0, 2, 4094)));
}

TEST(FailedVlansVni, LocalVniWithoutBdFailsBdZero) {
    outputs o;
    EXPECT_EQ(o.vni(table({{7, 9999}}).data(), table({{7, 8888}}).data(), nullptr,
                    ZORV_TYPE1_INTF_VSI_ATTRIBUTES),
              ZORV_DREL_ERR_COMPAT_INTF_VSI);
    EXPECT_TRUE(zorv::bmp::test(o.failed, 0));
    EXPECT_FALSE(zorv::bmp::test(o.pass, 0));
    EXPECT_TRUE(zt::has_log(kVni, ": Failed vlan:7, sw_bd_id:0, lcl vni:9999, rmt vni:8888\n"));
}

TEST(FailedVlansVni, VlanMappedOnlyRemotelyNeverFails) {
    zt::add_memvni(10, 5000);
    outputs o;
    EXPECT_EQ(o.vni(table().data(), table({{5, 5000}}).data()), 0u);
    EXPECT_EQ(zt::bmp_count(o.failed), 0u);
}

TEST(FailedVlansVni, NullLocalFailsWithInitialisedOutputs) {
    outputs o;
    EXPECT_EQ(o.vni(nullptr, nullptr, nullptr, ZORV_TYPE1_GBL_MEMBER_VNI),
              ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI);
    EXPECT_EQ(o.failed.len, 512u);
    EXPECT_EQ(zt::bmp_count(o.failed), 0u);
    EXPECT_EQ(zt::bmp_count(o.pass), 4096u);
    EXPECT_EQ(zt::log_count(kVni, count_line(0, 0, 4096)), 0u); // returns before counting
}

TEST(FailedVlansVni, SeveralVlansOnOneBdCountOnce) {
    zt::add_memvnis({{20, 5000}, {20, 5001}});
    outputs o;
    EXPECT_EQ(o.vni(table({{1, 5000}, {2, 5001}}).data(), table({{1, 1}, {2, 2}}).data()),
              ZORV_DREL_ERR_COMPAT_GBL_ENCAP_DOT1Q_MAP);
    EXPECT_TRUE(zt::has_log(kVni, count_line(0, 1, 4095)));
}

TEST(FailedVlansVni, BdBeyondBitmapIsLoggedNotMarkedAndLeavesTheResultToTheCount) {
    zt::add_memvni(4096, 5000);
    const auto lcl = table({{1, 5000}});
    bmp4096_t zero{};
    zt::exact_buf pass(&zero, sizeof zero), failed(&zero, sizeof zero);
    EXPECT_EQ(zorv_drel_lib_check_failed_vlans_vni(kType, lcl.data(), nullptr, nullptr,
                                                   pass.as<bmp4096_t>(), failed.as<bmp4096_t>()),
              0u); // the failed count is 0
    EXPECT_EQ(zt::bmp_count(*failed.as<bmp4096_t>()), 0u);
    EXPECT_EQ(zt::bmp_count(*pass.as<bmp4096_t>()), 4096u);
    EXPECT_TRUE(zt::has_log(kVni, ": Error: bd:4096 (vni:5000) out of bitmap range, not marked\n"));
    EXPECT_TRUE(zt::has_log(kVni, ": Failed vlan:1, sw_bd_id:4096, lcl vni:5000, rmt vni:0\n"));
    EXPECT_TRUE(zt::has_log(kVni, count_line(0, 0, 4096)));
}

TEST(FailedVlansVni, BdBeyondBitmapBesideAMarkedBdStillFails) {
    zt::add_memvnis({{4096, 5000}, {12, 6000}});
    outputs o;
    EXPECT_EQ(o.vni(table({{1, 5000}, {2, 6000}}).data(), nullptr),
              ZORV_DREL_ERR_COMPAT_GBL_ENCAP_DOT1Q_MAP);
    EXPECT_TRUE(zt::has_log(kVni, count_line(0, 1, 4095)));
}

TEST(FailedVlansBmp, EqualOrClearBitsPassAndOutsidePelkIsNotExamined) {
    zt::add_memvnis({{10, 5000}, {11, 5001}});
    const auto map = table({{1, 5000}, {2, 5000}, {3, 5001}});
    const bmp4096_t lcl = zt::bmp_of({1, 3}), rmt = zt::bmp_of({1}), pelk = zt::bmp_of({1, 2});
    outputs o;
    // VLAN 3 differs but lies outside the pelk VLANs.
    EXPECT_EQ(o.bmp(map.data(), &lcl, &rmt, &pelk), 0u);
    EXPECT_EQ(zt::bmp_count(o.failed), 0u);
    EXPECT_TRUE(zt::has_log(kBmp, count_line(2, 0, 4096)));
    EXPECT_TRUE(zt::has_log(kBmp, ": check for vlans for lcl type:2, dot1map:" + ptr(map.data()) +
                                      ", lcl_bmp:" + ptr(&lcl) + ", rmt_bmp:" + ptr(&rmt) + " \n"));
}

TEST(FailedVlansBmp, DifferingBitFailsItsBd) {
    zt::add_memvni(10, 5000);
    const auto map = table({{0, 5000}, {4095, 5000}});
    const bmp4096_t lcl = zt::bmp_of({0}), rmt = zt::bmp_of({4095}), pelk = zt::bmp_of({0, 4095});
    outputs o;
    EXPECT_EQ(o.bmp(map.data(), &lcl, &rmt, &pelk), ZORV_DREL_ERR_COMPAT_GBL_ENCAP_DOT1Q_MAP);
    EXPECT_TRUE(zorv::bmp::test(o.failed, 10));
    EXPECT_FALSE(zorv::bmp::test(o.pass, 10));
    EXPECT_EQ(zt::log_count(kBmp, ": Failed bd:10 (vni:5000)\n"), 2u);
    EXPECT_TRUE(zt::has_log(kBmp, count_line(2, 1, 4095))); // one BD, counted once
}

TEST(FailedVlansBmp, WithoutMapDifferencesMarkNothing) {
    const bmp4096_t lcl = zt::bmp_of({5}), rmt = zt::bmp_of({}), pelk = zt::bmp_of({5});
    outputs o;
    EXPECT_EQ(o.bmp(nullptr, &lcl, &rmt, &pelk), 0u);
    EXPECT_EQ(zt::bmp_count(o.failed), 0u);
    EXPECT_TRUE(zt::has_log(kBmp, count_line(1, 0, 4096)));
}

TEST(FailedVlansBmp, FailingVlanWithoutVniOrBdLeavesNoTrace) {
    const auto map = table({{6, 7777}}); // no BD
    const bmp4096_t lcl = zt::bmp_of({5, 6}), pelk = zt::bmp_of({5, 6});
    outputs o;
    EXPECT_EQ(o.bmp(map.data(), &lcl, nullptr, &pelk), 0u);
    EXPECT_EQ(zt::bmp_count(o.failed), 0u);
    EXPECT_FALSE(zorv::bmp::test(o.failed, 0));
}

TEST(FailedVlansBmp, NoRemoteFailsLocallySetBits) {
    zt::add_memvnis({{10, 5000}, {11, 5001}});
    const auto map = table({{5, 5000}, {6, 5001}});
    const bmp4096_t lcl = zt::bmp_of({5}), pelk = zt::bmp_of({5, 6});
    outputs o;
    EXPECT_EQ(o.bmp(map.data(), &lcl, nullptr, &pelk), ZORV_DREL_ERR_COMPAT_GBL_ENCAP_DOT1Q_MAP);
    EXPECT_TRUE(zorv::bmp::test(o.failed, 10));
    EXPECT_FALSE(zorv::bmp::test(o.failed, 11));
}

TEST(FailedVlansBmp, NullLocalFailsWithInitialisedOutputs) {
    outputs o;
    const bmp4096_t pelk = zt::bmp_of({1});
    EXPECT_EQ(o.bmp(nullptr, nullptr, nullptr, &pelk, ZORV_TYPE1_INTF_VSI_ENCAP_PROF),
              ZORV_DREL_ERR_COMPAT_INTF_VSI_ENCAP_PROF);
    EXPECT_EQ(zt::bmp_count(o.failed), 0u);
    EXPECT_EQ(zt::bmp_count(o.pass), 4096u);
    EXPECT_EQ(o.pass.len, 0x1234u);
}

TEST(FailedVlansBmp, WithoutPelkVlansNothingIsExamined) {
    zt::add_memvni(10, 5000);
    const auto map = table({{5, 5000}});
    const bmp4096_t lcl = zt::bmp_of({5});
    outputs o;
    EXPECT_EQ(o.bmp(map.data(), &lcl, nullptr, nullptr), 0u);
    EXPECT_EQ(zt::bmp_count(o.failed), 0u);
    EXPECT_EQ(zt::bmp_count(o.pass), 4096u);
    EXPECT_TRUE(zt::has_log(kBmp, count_line(0, 0, 4096))) << zt::dump_events();
}

TEST(FailedVlansBmp, WordScanFindsEveryPelkVlan) {
    // One BD per VLAN checks that the scan visits every set bit, in every word position.
    std::vector<uint32_t> map(4096, 0);
    std::vector<uint32_t> vlans;
    for (uint32_t v = 0; v < 4096; v += 97) {
        vlans.push_back(v);
        map[v] = 100000 + v;
        zt::add_memvni(v + 1 < 4096 ? v + 1 : 1, 100000 + v);
    }
    const bmp4096_t lcl = zt::bmp_of(vlans), pelk = zt::bmp_of(vlans);
    outputs o;
    EXPECT_NE(o.bmp(map.data(), &lcl, nullptr, &pelk), 0u);
    EXPECT_EQ(zt::bmp_count(o.failed), vlans.size());
}

TEST(FailedVlansBmp, BdBeyondBitmapIsLoggedNotMarkedAndLeavesTheResultToTheCount) {
    zt::add_memvni(70000, 5000);
    const auto map = table({{9, 5000}});
    const bmp4096_t lcl = zt::bmp_of({9}), pelk = zt::bmp_of({9});
    bmp4096_t zero{};
    zt::exact_buf pass(&zero, sizeof zero), failed(&zero, sizeof zero);
    EXPECT_EQ(zorv_drel_lib_check_failed_vlans_bmp(kType, map.data(), &lcl, nullptr, &pelk,
                                                   pass.as<bmp4096_t>(), failed.as<bmp4096_t>()),
              0u); // the failed count is 0
    EXPECT_EQ(zt::bmp_count(*failed.as<bmp4096_t>()), 0u);
    EXPECT_TRUE(
        zt::has_log(kBmp, ": Error: bd:70000 (vni:5000) out of bitmap range, not marked\n"));
    EXPECT_TRUE(zt::has_log(kBmp, count_line(1, 0, 4096)));
}

} // namespace
