// SPDX-License-Identifier: Apache-2.0
// Memory stays flat however many checks run: the library's tracked memory and the process heap
// are the same after 100,000 interface checks as before them.
#include <malloc.h>

#include "zorv_test_cache.h"

namespace {

using zt::kIf;

class Soak : public ::testing::Test {
  protected:
    void SetUp() override {
        drelm_host_set_interface(kIf, 1, 3);
        zt::pairs_t many;
        for (uint32_t v = 1; v <= 30; ++v) {
            many.push_back({100000 + v, v});
            zt::add_memvni(v, 100000 + v);
        }
        ASSERT_NE(zt::add_vsi(kIf, 1, 1, ZORV_MAP_MODE_STATIC, many), nullptr);
        ASSERT_NE(zt::add_vsi(kIf, 2, 1, ZORV_MAP_MODE_DFS, {{5000, 300}, {5001, 301}}), nullptr);
        ASSERT_NE(zt::add_vsi(kIf, 3, 1, ZORV_MAP_MODE_STATIC, {{6000, 400}}), nullptr);
        tlv_array_t *a = nullptr;
        ASSERT_EQ(zorv_drel_type1_cfg_get_params(0, kIf, &a), 0u);
        lcl_.reset(a);
        // The peer differs in one VNI of the first instance and in the admin status of the
        // second: both the per-VNI path and the whole-instance path run on every check.
        rmt_.resize((4 + a->len + 7) / 8);
        std::memcpy(rmt_.data(), a, 4 + a->len);
        uint32_t cursor = 0;
        uint16_t t = 0, l = 0;
        void *v = nullptr;
        ASSERT_EQ(tlv_array_next(rmt(), &cursor, &t, &l, &v, 1), 0);
        static_cast<vsi_all_t *>(v)->dyn_map[0].vni = 99;
        ASSERT_EQ(tlv_array_next(rmt(), &cursor, &t, &l, &v, 1), 0);
        static_cast<vsi_all_t *>(v)->admin = 0;
    }
    tlv_array_t *rmt() { return reinterpret_cast<tlv_array_t *>(rmt_.data()); }

    uint32_t check_once() {
        type1_compat_result_t pass{}, fail{};
        const uint32_t rc =
            zorv_drel_type1_cfg_compat_check(0, lcl_.get(), rmt(), 0, 0, &pass, &fail);
        failed_ = bitset_count(fail.vni_set);
        bitset_free(pass.vni_set);
        bitset_free(fail.vni_set);
        return rc;
    }

    std::unique_ptr<tlv_array_t, zt::tracked_deleter> lcl_;
    std::vector<uint64_t> rmt_;
    int32_t failed_ = 0;
};

TEST_F(Soak, HundredThousandInterfaceChecksKeepMemoryFlat) {
    ASSERT_EQ(check_once(), ZORV_DREL_ERR_COMPAT_INTF_VSI);
    ASSERT_EQ(failed_, 3); // VNI 100001, and 5000 and 5001 of the second instance
    for (int i = 0; i < 1000; ++i)
        (void)check_once(); // fills the log ring, warms the heap

    const tracked_mem_stats_t t0 = zt::stats();
    const size_t h0 = mallinfo2().uordblks;
    for (int i = 0; i < 100000; ++i)
        ASSERT_EQ(check_once(), ZORV_DREL_ERR_COMPAT_INTF_VSI);
    const tracked_mem_stats_t t1 = zt::stats();
    const size_t h1 = mallinfo2().uordblks;

    EXPECT_EQ(failed_, 3);
    EXPECT_EQ(t1.live_blocks, t0.live_blocks);
    EXPECT_EQ(t1.live_bytes, t0.live_bytes);
    EXPECT_EQ(t1.peak_bytes, t0.peak_bytes);
    EXPECT_LT(h1, h0 + 256 * 1024) << "heap in use grew from " << h0 << " to " << h1;
}

TEST_F(Soak, RepeatedReChecksAndStrictChecksKeepMemoryFlat) {
    const auto g = zt::measure_repeated(500, 20000, [&] {
        (void)zorv_drel_type1_rmt_cfg_cache_rebuild(rmt(), 0, kIf);
        (void)zorv_drel_type1_cfg_gbl_compat_check(0, lcl_.get(), rmt());
    });
    EXPECT_EQ(g.after.live_blocks, g.before.live_blocks);
    EXPECT_EQ(g.after.live_bytes, g.before.live_bytes);
    EXPECT_LT(g.heap_after, g.heap_before + 256 * 1024);
}

} // namespace
