// SPDX-License-Identifier: Apache-2.0
// Tracked allocator: alignment, accounting per service and memory type, bad frees, fault
// injection, registration.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <set>
#include <vector>

#include <platform/platform.h>

namespace {

constexpr uint32_t kSvc = 901;
constexpr uint32_t kOther = 902;

tracked_mem_stats_t stats(uint32_t svc, int32_t type) {
    tracked_mem_stats_t s{};
    EXPECT_EQ(tracked_mem_stats_get(svc, type, &s), 0);
    return s;
}

TEST(TrackedMem, BlocksAreAlignedAndDistinctForEverySize) {
    std::vector<void *> blocks;
    std::set<void *> seen;
    for (uint32_t size : {0u, 0u, 1u, 3u, 15u, 16u, 17u, 100u, 4096u}) {
        void *p = tracked_alloc(kSvc, 1, size);
        ASSERT_NE(p, nullptr) << size;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 16, 0u) << size;
        EXPECT_TRUE(seen.insert(p).second) << "block handed out twice";
        if (size != 0) static_cast<unsigned char *>(p)[size - 1] = 0xAB; // usable to the end
        blocks.push_back(p);
    }
    for (void *p : blocks)
        EXPECT_EQ(tracked_free(kSvc, p), 0);
    EXPECT_EQ(stats(kSvc, -1).live_blocks, 0u);
}

TEST(TrackedMem, SizeZeroIsALiveBlockOfNoBytes) {
    void *p = tracked_alloc(kSvc, 2, 0);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(stats(kSvc, 2).live_blocks, 1u);
    EXPECT_EQ(stats(kSvc, 2).live_bytes, 0u);
    EXPECT_EQ(tracked_free(kSvc, p), 0);
    EXPECT_EQ(stats(kSvc, 2).live_blocks, 0u);
}

TEST(TrackedMem, CountsPerMemoryTypeAndInTotal) {
    void *a = tracked_alloc(kSvc, 1, 100);
    void *b = tracked_alloc(kSvc, 1, 50);
    void *c = tracked_alloc(kSvc, 3, 7);
    ASSERT_TRUE(a && b && c);
    tracked_mem_stats_t t1 = stats(kSvc, 1);
    EXPECT_EQ(t1.live_blocks, 2u);
    EXPECT_EQ(t1.live_bytes, 150u);
    EXPECT_EQ(t1.allocs, 2u);
    EXPECT_EQ(t1.frees, 0u);
    tracked_mem_stats_t t3 = stats(kSvc, 3);
    EXPECT_EQ(t3.live_blocks, 1u);
    EXPECT_EQ(t3.live_bytes, 7u);
    EXPECT_EQ(stats(kSvc, 2).allocs, 0u);
    tracked_mem_stats_t all = stats(kSvc, -1);
    EXPECT_EQ(all.live_blocks, 3u);
    EXPECT_EQ(all.live_bytes, 157u);
    EXPECT_EQ(all.allocs, 3u);

    EXPECT_EQ(tracked_free(kSvc, a), 0);
    t1 = stats(kSvc, 1);
    EXPECT_EQ(t1.live_blocks, 1u);
    EXPECT_EQ(t1.live_bytes, 50u);
    EXPECT_EQ(t1.frees, 1u);
    EXPECT_EQ(t1.peak_bytes, 150u);
    EXPECT_EQ(stats(kSvc, -1).frees, 1u);
    EXPECT_EQ(stats(kOther, -1).allocs, 0u) << "another service is untouched";
    tracked_free(kSvc, b);
    tracked_free(kSvc, c);
}

TEST(TrackedMem, PeakIsTheHighestLiveByteCount) {
    void *a = tracked_alloc(kSvc, 1, 100);
    void *b = tracked_alloc(kSvc, 2, 50);
    tracked_free(kSvc, a);
    void *c = tracked_alloc(kSvc, 1, 10);
    EXPECT_EQ(stats(kSvc, -1).peak_bytes, 150u);
    EXPECT_EQ(stats(kSvc, 1).peak_bytes, 100u);
    EXPECT_EQ(stats(kSvc, 2).peak_bytes, 50u);
    tracked_free(kSvc, b);
    tracked_free(kSvc, c);
    EXPECT_EQ(stats(kSvc, -1).peak_bytes, 150u);
    EXPECT_EQ(stats(kSvc, -1).live_bytes, 0u);
}

TEST(TrackedMem, FreeOfNullIsZeroAndCountsNothing) {
    EXPECT_EQ(tracked_free(kSvc, nullptr), 0);
    tracked_mem_stats_t s = stats(kSvc, -1);
    EXPECT_EQ(s.frees, 0u);
    EXPECT_EQ(s.bad_frees, 0u);
}

TEST(TrackedMem, DoubleFreeIsRefusedAndCounted) {
    void *p = tracked_alloc(kSvc, 1, 32);
    void *q = tracked_alloc(kSvc, 1, 32);
    ASSERT_EQ(tracked_free(kSvc, p), 0);
    EXPECT_EQ(tracked_free(kSvc, p), static_cast<int>(TRACKED_ERR_BAD_BLOCK));
    tracked_mem_stats_t s = stats(kSvc, -1);
    EXPECT_EQ(s.bad_frees, 1u);
    EXPECT_EQ(s.frees, 1u);
    EXPECT_EQ(s.live_blocks, 1u);
    EXPECT_EQ(tracked_free(kSvc, q), 0);
}

TEST(TrackedMem, ForeignPointerIsRefusedAndNotFreed) {
    int on_stack = 0;
    EXPECT_EQ(tracked_free(kSvc, &on_stack), static_cast<int>(TRACKED_ERR_BAD_BLOCK));
    void *heap = std::malloc(64);
    EXPECT_EQ(tracked_free(kSvc, heap), static_cast<int>(TRACKED_ERR_BAD_BLOCK));
    std::free(heap); // still ours: a second free here would be caught by the sanitizer
    void *p = tracked_alloc(kSvc, 1, 64);
    EXPECT_EQ(tracked_free(kSvc, static_cast<char *>(p) + 16),
              static_cast<int>(TRACKED_ERR_BAD_BLOCK));
    EXPECT_EQ(stats(kSvc, -1).bad_frees, 3u);
    EXPECT_EQ(stats(kSvc, -1).live_blocks, 1u);
    EXPECT_EQ(tracked_free(kSvc, p), 0);
}

TEST(TrackedMem, FreeUnderAnotherServiceIsRefused) {
    void *p = tracked_alloc(kSvc, 1, 24);
    EXPECT_EQ(tracked_free(kOther, p), static_cast<int>(TRACKED_ERR_BAD_BLOCK));
    EXPECT_EQ(stats(kOther, -1).bad_frees, 1u);
    EXPECT_EQ(stats(kSvc, -1).bad_frees, 0u);
    EXPECT_EQ(stats(kSvc, 1).live_blocks, 1u);
    EXPECT_EQ(tracked_free(kSvc, p), 0);
}

TEST(TrackedMem, FaultInjectionSkipsThenFails) {
    tracked_mem_fault_set(kSvc, 2, 3);
    std::vector<void *> ok;
    for (int i = 0; i < 2; ++i) {
        void *p = tracked_alloc(kSvc, 1, 8);
        ASSERT_NE(p, nullptr) << i;
        ok.push_back(p);
    }
    EXPECT_NE(tracked_alloc(kOther, 1, 8), nullptr) << "injection belongs to one service";
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(tracked_alloc(kSvc, 4, 8), nullptr) << i;
    void *after = tracked_alloc(kSvc, 1, 8);
    EXPECT_NE(after, nullptr);
    ok.push_back(after);
    tracked_mem_stats_t s = stats(kSvc, -1);
    EXPECT_EQ(s.failed_allocs, 3u);
    EXPECT_EQ(s.allocs, 3u);
    EXPECT_EQ(stats(kSvc, 4).failed_allocs, 3u);
    EXPECT_EQ(stats(kSvc, 4).live_blocks, 0u);
    for (void *p : ok)
        tracked_free(kSvc, p);
}

TEST(TrackedMem, FaultInjectionWithoutSkipFailsAtOnceAndCountZeroSwitchesOff) {
    tracked_mem_fault_set(kSvc, 0, 100);
    EXPECT_EQ(tracked_alloc(kSvc, 1, 8), nullptr);
    tracked_mem_fault_set(kSvc, 0, 0);
    void *p = tracked_alloc(kSvc, 1, 8);
    EXPECT_NE(p, nullptr);
    EXPECT_EQ(stats(kSvc, -1).failed_allocs, 1u);
    tracked_free(kSvc, p);
}

TEST(TrackedMem, UninitKeepsCountersAndBlocksUsable) {
    const char *names[] = {"NONE", "ONE"};
    ASSERT_EQ(tracked_mem_init("test lib", kSvc, names, 2), 0);
    void *p = tracked_alloc(kSvc, 1, 40);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(tracked_mem_uninit(kSvc), 0);
    EXPECT_NE(tracked_mem_uninit(kSvc), 0) << "no longer registered";
    EXPECT_EQ(stats(kSvc, 1).live_bytes, 40u);
    EXPECT_EQ(tracked_free(kSvc, p), 0);
    tracked_mem_stats_t s = stats(kSvc, 1);
    EXPECT_EQ(s.live_blocks, 0u);
    EXPECT_EQ(s.allocs, 1u);
    EXPECT_EQ(s.frees, 1u);
}

TEST(TrackedMem, ReinitAfterUninitWorks) {
    const char *names[] = {"A"};
    EXPECT_EQ(tracked_mem_init("x", kSvc, names, 1), 0);
    EXPECT_EQ(tracked_mem_init("x again", kSvc, names, 1), 0);
    EXPECT_EQ(tracked_mem_uninit(kSvc), 0);
    EXPECT_EQ(tracked_mem_init("x", kSvc, nullptr, 0), 0);
    EXPECT_EQ(tracked_mem_uninit(kSvc), 0);
}

TEST(TrackedMem, UnregisteredServiceCanAllocateAndIsCounted) {
    EXPECT_NE(tracked_mem_uninit(kOther), 0);
    void *p = tracked_alloc(kOther, 9, 12);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(stats(kOther, 9).live_blocks, 1u);
    EXPECT_EQ(tracked_free(kOther, p), 0);
}

TEST(TrackedMem, StatsArgumentsAreChecked) {
    tracked_mem_stats_t s{};
    EXPECT_NE(tracked_mem_stats_get(kSvc, -1, nullptr), 0);
    EXPECT_NE(tracked_mem_stats_get(kSvc, -2, &s), 0);
    s.allocs = 77;
    EXPECT_EQ(tracked_mem_stats_get(4242, 3, &s), 0);
    EXPECT_EQ(s.allocs, 0u) << "an unknown service reads as all zero";
}

TEST(TrackedMem, ManyBlocksAreTrackedIndependently) {
    std::vector<void *> v;
    for (uint32_t i = 0; i < 10000; ++i)
        v.push_back(tracked_alloc(kSvc, i % 5, i % 64));
    for (size_t i = 0; i < v.size(); i += 2)
        EXPECT_EQ(tracked_free(kSvc, v[i]), 0);
    EXPECT_EQ(stats(kSvc, -1).live_blocks, 5000u);
    for (size_t i = 1; i < v.size(); i += 2)
        EXPECT_EQ(tracked_free(kSvc, v[i]), 0);
    EXPECT_EQ(stats(kSvc, -1).live_blocks, 0u);
    EXPECT_EQ(stats(kSvc, -1).live_bytes, 0u);
}

} // namespace
