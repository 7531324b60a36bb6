// SPDX-License-Identifier: Apache-2.0
// The per-VNI comparison of two service instances' dot1q-to-VNI pair lists.
#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

#include "zorv_test_cache.h"

namespace {

constexpr const char *kFn = "zorv_drel_lib_check_failed_bds_vsi";
constexpr uint16_t kType = ZORV_TYPE1_INTF_VSI_ATTRIBUTES;

std::vector<uint8_t> vsi(const zt::pairs_t &pairs) {
    return zt::make_vsi_all(10, 1, 1, ZORV_MAP_MODE_STATIC, pairs);
}

std::string cnt(int failed, int pass) {
    return ": failed cnt:" + std::to_string(failed) + ", pass cnt:" + std::to_string(pass) + "\n";
}

// The code of one comparison and the VNIs its holders then hold.
struct verdict {
    uint32_t rc;
    std::vector<uint32_t> passed, failed;
    bool operator==(const verdict &) const = default;
    friend void PrintTo(const verdict &v, std::ostream *os) {
        *os << "rc 0x" << zt::hex(v.rc) << " passed " << ::testing::PrintToString(v.passed)
            << " failed " << ::testing::PrintToString(v.failed);
    }
};

// Each comparison starts with holders that have their sets.
class FailedBdsVsi : public ::testing::Test {
  protected:
    void SetUp() override { h.make_sets(); }
    // The comparison of local `l` with remote `r` (either may be null) into the holders.
    uint32_t check(const std::vector<uint8_t> *l, const std::vector<uint8_t> *r,
                   uint16_t type = kType) {
        return zorv_drel_lib_check_failed_bds_vsi(type, l != nullptr ? zt::as_vsi(*l) : nullptr,
                                                  r != nullptr ? zt::as_vsi(*r) : nullptr, 0,
                                                  &h.pass, &h.fail);
    }
    // The same for two values, with the sets read back.
    verdict judge(const std::vector<uint8_t> &l, const std::vector<uint8_t> &r) {
        const uint32_t rc = check(&l, &r);
        return {rc, h.passed(), h.failed()};
    }
    zt::holders h;
};

TEST_F(FailedBdsVsi, EqualListsPassEveryVni) {
    auto l = vsi({{5000, 10}, {6000, 20}}), r = vsi({{6000, 20}, {5000, 10}});
    EXPECT_EQ(judge(l, r), (verdict{0, {5000, 6000}, {}}));
    zt::expect_logs(kFn, {": Init as failed vlan:10, lcl vni:5000\n",
                          ": Init as failed vlan:20, lcl vni:6000\n",
                          ": Passed vlan:10lcl vni:5000, rmt vni:5000\n",
                          ": Passed vlan:20lcl vni:6000, rmt vni:6000\n", cnt(0, 2)});
    char line[128];
    std::snprintf(line, sizeof line, ": check for vlans lcl_type:9, lcl_val:%p, rmt_val:%p\n",
                  static_cast<const void *>(zt::as_vsi(l)),
                  static_cast<const void *>(zt::as_vsi(r)));
    EXPECT_TRUE(zt::has_log(kFn, line));
}

TEST_F(FailedBdsVsi, NullRemoteFailsEveryValidLocalVni) {
    const auto l = vsi({{5000, 10}, {6000, 20}, {0, 30}});
    EXPECT_EQ(check(&l, nullptr), ZORV_DREL_ERR_COMPAT_INTF_VSI);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{5000, 6000}));
    EXPECT_TRUE(h.passed().empty());
    EXPECT_TRUE(zt::has_log(kFn, cnt(2, 0)));
}

TEST_F(FailedBdsVsi, NullLocalIsTheTypesCodeAndMarksNothing) {
    const auto r = vsi({{5000, 10}});
    EXPECT_EQ(check(nullptr, &r, ZORV_TYPE1_GBL_MEMBER_VNI), ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI);
    EXPECT_TRUE(h.failed().empty());
    EXPECT_TRUE(h.passed().empty());
}

TEST_F(FailedBdsVsi, RemotePairOnUnmappedLocalVlanChangesNothing) {
    EXPECT_EQ(judge(vsi({{5000, 10}}), vsi({{5000, 10}, {7000, 30}})), (verdict{0, {5000}, {}}));
}

TEST_F(FailedBdsVsi, NoPairOfAnEarlierComparisonIsLeftBehind) {
    // The lookup table by VLAN is reused: VLAN 10 of the first comparison is gone in the second.
    EXPECT_EQ(judge(vsi({{5000, 10}, {5000, 10}}), vsi({{5000, 10}})), (verdict{0, {5000}, {}}));
    h.make_sets();
    EXPECT_EQ(judge(vsi({{6000, 20}}), vsi({{5000, 10}, {6000, 20}})), (verdict{0, {6000}, {}}));
    EXPECT_EQ(zt::log_count(kFn, ": Passed vlan:10lcl vni:5000, rmt vni:5000\n"), 1u);
}

TEST_F(FailedBdsVsi, DifferentRemoteVniLeavesLocalVniFailed) {
    EXPECT_EQ(judge(vsi({{5000, 10}}), vsi({{5001, 10}})),
              (verdict{ZORV_DREL_ERR_COMPAT_INTF_VSI, {}, {5000}}));
}

TEST_F(FailedBdsVsi, SameVniOnTwoVlansOneMatchingEndsPassing) {
    EXPECT_EQ(judge(vsi({{5000, 10}, {5000, 11}}), vsi({{5000, 10}, {9999, 11}})),
              (verdict{0, {5000}, {}}));
}

TEST_F(FailedBdsVsi, InvalidPairsAreLoggedAndIgnored) {
    const auto l = vsi({{5000, 0}, {5001, 4096}, {0, 12}, {0x1000000, 13}, {6000, 14}}), r = l;
    EXPECT_EQ(judge(l, r), (verdict{0, {6000}, {}}));
    for (const char *side : {"lcl", "rmt"}) {
        const std::string p = std::string(": ASSERT: invalid ") + side;
        zt::expect_logs(kFn, {p + " dot1q:0 or vni:5000\n", p + " dot1q:4096 or vni:5001\n",
                              p + " dot1q:12 or vni:0\n", p + " dot1q:13 or vni:16777216\n"});
    }
}

TEST_F(FailedBdsVsi, EarlierFailureInTheSetFailsThisCallToo) {
    ASSERT_EQ(bitset_set(h.fail.vni_set, 4242), 0);
    const auto l = vsi({{5000, 10}}), r = l;
    EXPECT_EQ(check(&l, &r), ZORV_DREL_ERR_COMPAT_INTF_VSI);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{4242}));
    EXPECT_TRUE(zt::has_log(kFn, cnt(1, 1)));
}

TEST_F(FailedBdsVsi, PassingVniLeavesTheFailedSetEvenIfAnEarlierPairFailedIt) {
    ASSERT_EQ(bitset_set(h.fail.vni_set, 5000), 0);
    const auto l = vsi({{5000, 10}}), r = l;
    EXPECT_EQ(check(&l, &r), 0u);
    EXPECT_TRUE(h.failed().empty());
}

TEST_F(FailedBdsVsi, MissingFailedSetCountsMinusOneAndFails) {
    bitset_free(h.fail.vni_set);
    h.fail.vni_set = nullptr;
    const auto l = vsi({{5000, 10}}), r = l;
    EXPECT_EQ(check(&l, &r), ZORV_DREL_ERR_COMPAT_INTF_VSI);
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{5000}));
    EXPECT_TRUE(zt::has_log(kFn, cnt(-1, 1)));
}

TEST_F(FailedBdsVsi, MissingPassingSetOnlyShowsInTheLog) {
    bitset_free(h.pass.vni_set);
    h.pass.vni_set = nullptr;
    const auto l = vsi({{5000, 10}}), r = l;
    EXPECT_EQ(check(&l, &r), 0u);
    EXPECT_TRUE(zt::has_log(kFn, cnt(0, -1)));
}

TEST_F(FailedBdsVsi, NullHoldersAreTreatedAsMissingSets) {
    auto l = vsi({{5000, 10}});
    EXPECT_EQ(
        zorv_drel_lib_check_failed_bds_vsi(kType, zt::as_vsi(l), nullptr, 0, nullptr, nullptr),
        ZORV_DREL_ERR_COMPAT_INTF_VSI);
    EXPECT_TRUE(zt::has_log(kFn, cnt(-1, -1)));
}

TEST_F(FailedBdsVsi, NonPositiveCountsReadNoPairs) {
    // The counts say 0 and -1: the pairs present are not read.
    EXPECT_EQ(judge(zt::vsi_with_count(10, 1, 1, {{5000, 10}}, 0),
                    zt::vsi_with_count(10, 1, 1, {{5000, 10}}, -1)),
              (verdict{0, {}, {}}));
}

TEST_F(FailedBdsVsi, AllocatesNoTrackedMemory) {
    const auto l = vsi({{5000, 10}});
    const uint64_t before = zt::stats().allocs;
    (void)check(&l, &l);
    EXPECT_EQ(zt::stats().allocs, before);
}

} // namespace
