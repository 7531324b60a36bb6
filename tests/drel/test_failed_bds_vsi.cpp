// The per-VNI comparison of two service instances' dot1q-to-VNI pair lists.
#include <cstdio>

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

TEST(FailedBdsVsi, EqualListsPassEveryVni) {
    zt::holders h;
    h.make_sets();
    auto l = vsi({{5000, 10}, {6000, 20}}), r = vsi({{6000, 20}, {5000, 10}});
    EXPECT_EQ(zorv_drel_lib_check_failed_bds_vsi(kType, zt::as_vsi(l), zt::as_vsi(r), 0, &h.pass,
                                                 &h.fail),
              0u);
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{5000, 6000}));
    EXPECT_TRUE(h.failed().empty());
    EXPECT_TRUE(zt::has_log(kFn, ": Init as failed vlan:10, lcl vni:5000\n"));
    EXPECT_TRUE(zt::has_log(kFn, ": Init as failed vlan:20, lcl vni:6000\n"));
    EXPECT_TRUE(zt::has_log(kFn, ": Passed vlan:10lcl vni:5000, rmt vni:5000\n"));
    EXPECT_TRUE(zt::has_log(kFn, ": Passed vlan:20lcl vni:6000, rmt vni:6000\n"));
    EXPECT_TRUE(zt::has_log(kFn, cnt(0, 2))) << zt::dump_events();
    char line[128];
    std::snprintf(line, sizeof line, ": check for vlans lcl_type:9, lcl_val:%p, rmt_val:%p\n",
                  static_cast<const void *>(zt::as_vsi(l)),
                  static_cast<const void *>(zt::as_vsi(r)));
    EXPECT_TRUE(zt::has_log(kFn, line));
}

TEST(FailedBdsVsi, NullRemoteFailsEveryValidLocalVni) {
    zt::holders h;
    h.make_sets();
    auto l = vsi({{5000, 10}, {6000, 20}, {0, 30}});
    EXPECT_EQ(
        zorv_drel_lib_check_failed_bds_vsi(kType, zt::as_vsi(l), nullptr, 0, &h.pass, &h.fail),
        ZORV_DREL_ERR_COMPAT_INTF_VSI);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{5000, 6000}));
    EXPECT_TRUE(h.passed().empty());
    EXPECT_TRUE(zt::has_log(kFn, cnt(2, 0)));
}

TEST(FailedBdsVsi, NullLocalIsTheTypesCodeAndMarksNothing) {
    zt::holders h;
    h.make_sets();
    auto r = vsi({{5000, 10}});
    EXPECT_EQ(zorv_drel_lib_check_failed_bds_vsi(ZORV_TYPE1_GBL_MEMBER_VNI, nullptr, zt::as_vsi(r),
                                                 0, &h.pass, &h.fail),
              ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI);
    EXPECT_TRUE(h.failed().empty());
    EXPECT_TRUE(h.passed().empty());
}

TEST(FailedBdsVsi, RemotePairOnUnmappedLocalVlanChangesNothing) {
    zt::holders h;
    h.make_sets();
    auto l = vsi({{5000, 10}}), r = vsi({{5000, 10}, {7000, 30}});
    EXPECT_EQ(zorv_drel_lib_check_failed_bds_vsi(kType, zt::as_vsi(l), zt::as_vsi(r), 0, &h.pass,
                                                 &h.fail),
              0u);
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{5000}));
    EXPECT_TRUE(h.failed().empty());
}

TEST(FailedBdsVsi, DifferentRemoteVniLeavesLocalVniFailed) {
    zt::holders h;
    h.make_sets();
    auto l = vsi({{5000, 10}}), r = vsi({{5001, 10}});
    EXPECT_EQ(zorv_drel_lib_check_failed_bds_vsi(kType, zt::as_vsi(l), zt::as_vsi(r), 0, &h.pass,
                                                 &h.fail),
              ZORV_DREL_ERR_COMPAT_INTF_VSI);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{5000}));
    EXPECT_TRUE(h.passed().empty());
}

TEST(FailedBdsVsi, SameVniOnTwoVlansOneMatchingEndsPassing) {
    zt::holders h;
    h.make_sets();
    auto l = vsi({{5000, 10}, {5000, 11}}), r = vsi({{5000, 10}, {9999, 11}});
    EXPECT_EQ(zorv_drel_lib_check_failed_bds_vsi(kType, zt::as_vsi(l), zt::as_vsi(r), 0, &h.pass,
                                                 &h.fail),
              0u);
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{5000}));
    EXPECT_TRUE(h.failed().empty());
}

TEST(FailedBdsVsi, InvalidPairsAreLoggedAndIgnored) {
    zt::holders h;
    h.make_sets();
    auto l = vsi({{5000, 0}, {5001, 4096}, {0, 12}, {0x1000000, 13}, {6000, 14}});
    auto r = vsi({{5000, 0}, {5001, 4096}, {0, 12}, {0x1000000, 13}, {6000, 14}});
    EXPECT_EQ(zorv_drel_lib_check_failed_bds_vsi(kType, zt::as_vsi(l), zt::as_vsi(r), 0, &h.pass,
                                                 &h.fail),
              0u);
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{6000}));
    EXPECT_TRUE(h.failed().empty());
    for (const char *side : {"lcl", "rmt"}) {
        const std::string p = std::string(": ASSERT: invalid ") + side;
        EXPECT_TRUE(zt::has_log(kFn, p + " dot1q:0 or vni:5000\n")) << side;
        EXPECT_TRUE(zt::has_log(kFn, p + " dot1q:4096 or vni:5001\n")) << side;
        EXPECT_TRUE(zt::has_log(kFn, p + " dot1q:12 or vni:0\n")) << side;
        EXPECT_TRUE(zt::has_log(kFn, p + " dot1q:13 or vni:16777216\n")) << side;
    }
}

TEST(FailedBdsVsi, EarlierFailureInTheSetFailsThisCallToo) {
    zt::holders h;
    h.make_sets();
    ASSERT_EQ(bitset_set(h.fail.vni_set, 4242), 0);
    auto l = vsi({{5000, 10}}), r = vsi({{5000, 10}});
    EXPECT_EQ(zorv_drel_lib_check_failed_bds_vsi(kType, zt::as_vsi(l), zt::as_vsi(r), 0, &h.pass,
                                                 &h.fail),
              ZORV_DREL_ERR_COMPAT_INTF_VSI);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{4242}));
    EXPECT_TRUE(zt::has_log(kFn, cnt(1, 1)));
}

TEST(FailedBdsVsi, PassingVniLeavesTheFailedSetEvenIfAnEarlierPairFailedIt) {
    zt::holders h;
    h.make_sets();
    ASSERT_EQ(bitset_set(h.fail.vni_set, 5000), 0);
    auto l = vsi({{5000, 10}}), r = vsi({{5000, 10}});
    EXPECT_EQ(zorv_drel_lib_check_failed_bds_vsi(kType, zt::as_vsi(l), zt::as_vsi(r), 0, &h.pass,
                                                 &h.fail),
              0u);
    EXPECT_TRUE(h.failed().empty());
}

TEST(FailedBdsVsi, MissingFailedSetCountsMinusOneAndFails) {
    zt::holders h;
    h.make_sets();
    bitset_free(h.fail.vni_set);
    h.fail.vni_set = nullptr;
    auto l = vsi({{5000, 10}}), r = vsi({{5000, 10}});
    EXPECT_EQ(zorv_drel_lib_check_failed_bds_vsi(kType, zt::as_vsi(l), zt::as_vsi(r), 0, &h.pass,
                                                 &h.fail),
              ZORV_DREL_ERR_COMPAT_INTF_VSI);
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{5000}));
    EXPECT_TRUE(zt::has_log(kFn, cnt(-1, 1)));
}

TEST(FailedBdsVsi, MissingPassingSetOnlyShowsInTheLog) {
    zt::holders h;
    h.make_sets();
    bitset_free(h.pass.vni_set);
    h.pass.vni_set = nullptr;
    auto l = vsi({{5000, 10}}), r = vsi({{5000, 10}});
    EXPECT_EQ(zorv_drel_lib_check_failed_bds_vsi(kType, zt::as_vsi(l), zt::as_vsi(r), 0, &h.pass,
                                                 &h.fail),
              0u);
    EXPECT_TRUE(zt::has_log(kFn, cnt(0, -1)));
}

TEST(FailedBdsVsi, NullHoldersAreTreatedAsMissingSets) {
    auto l = vsi({{5000, 10}});
    EXPECT_EQ(
        zorv_drel_lib_check_failed_bds_vsi(kType, zt::as_vsi(l), nullptr, 0, nullptr, nullptr),
        ZORV_DREL_ERR_COMPAT_INTF_VSI);
    EXPECT_TRUE(zt::has_log(kFn, cnt(-1, -1)));
}

TEST(FailedBdsVsi, NonPositiveCountsReadNoPairs) {
    zt::holders h;
    h.make_sets();
    // The counts say 0 and -1: the pairs present are not read.
    auto l = zt::vsi_with_count(10, 1, 1, {{5000, 10}}, 0);
    auto r = zt::vsi_with_count(10, 1, 1, {{5000, 10}}, -1);
    EXPECT_EQ(zorv_drel_lib_check_failed_bds_vsi(kType, zt::as_vsi(l), zt::as_vsi(r), 0, &h.pass,
                                                 &h.fail),
              0u);
    EXPECT_TRUE(h.passed().empty());
    EXPECT_TRUE(h.failed().empty());
}

TEST(FailedBdsVsi, AllocatesNoTrackedMemory) {
    zt::holders h;
    h.make_sets();
    auto l = vsi({{5000, 10}});
    const uint64_t before = zt::stats().allocs;
    (void)zorv_drel_lib_check_failed_bds_vsi(kType, zt::as_vsi(l), zt::as_vsi(l), 0, &h.pass,
                                             &h.fail);
    EXPECT_EQ(zt::stats().allocs, before);
}

} // namespace
