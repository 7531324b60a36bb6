// SPDX-License-Identifier: Apache-2.0
// VNI bitset: the 1028-byte root made by its owner, set/clear/find/count over 0..0xFFFFFF,
// sparse growth behind a root that never moves, failed growth, free; bitmap_count_bits.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <set>
#include <vector>

#include <platform/platform.h>

#include "zorv_test_new_probe.h"

namespace {

// The initial form an owner builds: u32 1024, then 1024 zero bytes.
bitset_t *make_root() {
    void *p = std::malloc(BITSET_ROOT_BYTES);
    std::memset(p, 0, BITSET_ROOT_BYTES);
    const uint32_t n = 1024;
    std::memcpy(p, &n, 4);
    return static_cast<bitset_t *>(p);
}

uint32_t root_word(const bitset_t *s) {
    uint32_t n;
    std::memcpy(&n, s, 4);
    return n;
}

std::vector<uint32_t> members(const bitset_t *s) {
    std::vector<uint32_t> out;
    for (int32_t v = bitset_find(s, 0); v >= 0;
         v = static_cast<uint32_t>(v) >= BITSET_MAX_BIT ? -1 : bitset_find(s, v + 1))
        out.push_back(static_cast<uint32_t>(v));
    return out;
}

class Bitset : public ::testing::Test {
  protected:
    void SetUp() override { set = make_root(); }
    void TearDown() override { bitset_free(set); }
    bitset_t *set = nullptr;
};

TEST_F(Bitset, NewRootIsEmpty) {
    EXPECT_EQ(bitset_count(set), 0);
    EXPECT_EQ(bitset_find(set, 0), -1);
    EXPECT_EQ(bitset_find(set, BITSET_MAX_BIT), -1);
}

TEST_F(Bitset, SetFindCountClear) {
    EXPECT_EQ(bitset_set(set, 42), 0);
    EXPECT_EQ(bitset_set(set, 42), 0) << "setting twice is harmless";
    EXPECT_EQ(bitset_set(set, 7), 0);
    EXPECT_EQ(bitset_count(set), 2);
    EXPECT_EQ(bitset_find(set, 0), 7);
    EXPECT_EQ(bitset_find(set, 7), 7);
    EXPECT_EQ(bitset_find(set, 8), 42);
    EXPECT_EQ(bitset_find(set, 43), -1);
    EXPECT_EQ(bitset_clear(set, 7), 0);
    EXPECT_EQ(bitset_clear(set, 7), 0) << "clearing a non-member is harmless";
    EXPECT_EQ(bitset_clear(set, 1000000), 0);
    EXPECT_EQ(bitset_count(set), 1);
    EXPECT_EQ(bitset_find(set, 0), 42);
}

TEST_F(Bitset, RangeEnds) {
    EXPECT_EQ(bitset_set(set, 0), 0);
    EXPECT_EQ(bitset_set(set, BITSET_MAX_BIT), 0);
    EXPECT_EQ(bitset_find(set, 1), static_cast<int32_t>(BITSET_MAX_BIT));
    EXPECT_EQ(bitset_find(set, BITSET_MAX_BIT), static_cast<int32_t>(BITSET_MAX_BIT));
    EXPECT_EQ(members(set), (std::vector<uint32_t>{0, BITSET_MAX_BIT}));
    EXPECT_EQ(bitset_set(set, BITSET_MAX_BIT + 1), static_cast<int>(BITSET_ERR_RANGE));
    EXPECT_EQ(bitset_set(set, 0xFFFFFFFFu), static_cast<int>(BITSET_ERR_RANGE));
    EXPECT_EQ(bitset_clear(set, BITSET_MAX_BIT + 1), static_cast<int>(BITSET_ERR_RANGE));
    EXPECT_EQ(bitset_find(set, BITSET_MAX_BIT + 1), -1);
    EXPECT_EQ(bitset_count(set), 2);
}

TEST_F(Bitset, FindCrossesEmptyStretches) {
    const uint32_t points[] = {5, 63, 64, 4095, 4096, 131071, 131072, 0x7FFFFF, 0xFFFFF0};
    for (uint32_t p : points)
        ASSERT_EQ(bitset_set(set, p), 0);
    EXPECT_EQ(members(set), std::vector<uint32_t>(std::begin(points), std::end(points)));
    EXPECT_EQ(bitset_find(set, 6), 63);
    EXPECT_EQ(bitset_find(set, 4097), 131071);
    EXPECT_EQ(bitset_find(set, 131073), 0x7FFFFF);
    EXPECT_EQ(bitset_find(set, 0x800000), 0xFFFFF0);
    EXPECT_EQ(bitset_find(set, 0xFFFFF1), -1);
}

TEST_F(Bitset, AgreesWithAReference) {
    std::set<uint32_t> ref;
    std::mt19937 rng(5);
    for (int i = 0; i < 20000; ++i) {
        // Clustered and scattered members both.
        const uint32_t v = (i % 3 == 0) ? rng() % 5000 : rng() & BITSET_MAX_BIT;
        if (rng() % 4 == 0) {
            ASSERT_EQ(bitset_clear(set, v), 0);
            ref.erase(v);
        } else {
            ASSERT_EQ(bitset_set(set, v), 0);
            ref.insert(v);
        }
    }
    EXPECT_EQ(bitset_count(set), static_cast<int32_t>(ref.size()));
    EXPECT_EQ(members(set), std::vector<uint32_t>(ref.begin(), ref.end()));
    for (int i = 0; i < 1000; ++i) {
        const uint32_t from = rng() & BITSET_MAX_BIT;
        auto it = ref.lower_bound(from);
        EXPECT_EQ(bitset_find(set, from), it == ref.end() ? -1 : static_cast<int32_t>(*it));
    }
}

TEST_F(Bitset, RootNeverMovesAndKeepsItsSizeWord) {
    bitset_t *before = set;
    for (uint32_t v = 0; v <= BITSET_MAX_BIT; v += 4099)
        ASSERT_EQ(bitset_set(set, v), 0);
    EXPECT_EQ(set, before);
    EXPECT_EQ(root_word(set), 1024u);
    for (uint32_t v = 0; v <= BITSET_MAX_BIT; v += 4099)
        ASSERT_EQ(bitset_clear(set, v), 0);
    EXPECT_EQ(bitset_count(set), 0);
    EXPECT_EQ(root_word(set), 1024u);
}

TEST_F(Bitset, GrowthFollowsTheOccupiedPartsNotTheRange) {
    zt::probe::start();
    ASSERT_EQ(bitset_set(set, 0xABCDEF), 0);
    const int64_t one = zt::probe::live_bytes.load();
    EXPECT_GT(one, 0);
    EXPECT_LT(one, 2048) << "one member costs little";
    // A dense run of 4096 members in one place costs no more than one member.
    for (uint32_t v = 0xABC000; v < 0xABD000; ++v)
        ASSERT_EQ(bitset_set(set, v), 0);
    EXPECT_EQ(zt::probe::live_bytes.load(), one);
    // Members at both ends of the range add only their own stretches.
    ASSERT_EQ(bitset_set(set, 0), 0);
    ASSERT_EQ(bitset_set(set, BITSET_MAX_BIT), 0);
    EXPECT_LE(zt::probe::live_bytes.load(), 3 * one);
    EXPECT_EQ(bitset_count(set), 4096 + 2);
    // Clearing everything gives the growth back.
    for (uint32_t v : members(set))
        ASSERT_EQ(bitset_clear(set, v), 0);
    EXPECT_EQ(zt::probe::live_bytes.load(), 0);
    EXPECT_EQ(zt::probe::live_blocks.load(), 0);
    zt::probe::stop();
}

TEST_F(Bitset, SpreadMembersCostPerStretch) {
    zt::probe::start();
    for (uint32_t i = 0; i < 64; ++i)
        ASSERT_EQ(bitset_set(set, i << 18), 0);
    const int64_t spread = zt::probe::live_bytes.load();
    EXPECT_LT(spread, 64 * 2048);
    EXPECT_EQ(bitset_count(set), 64);
    zt::probe::stop();
}

TEST_F(Bitset, FailedGrowthLeavesTheSetUnchanged) {
    ASSERT_EQ(bitset_set(set, 10), 0);
    zt::probe::start();
    for (int64_t after = 0; after < 2; ++after) {
        zt::probe::fail(after, 1); // the first or the second allocation of the growth fails
        EXPECT_EQ(bitset_set(set, 0x900000), static_cast<int>(BITSET_ERR_NO_MEMORY)) << after;
        EXPECT_EQ(zt::probe::live_blocks.load(), 0) << "a half-built stretch is given back";
        EXPECT_EQ(bitset_count(set), 1);
        EXPECT_EQ(bitset_find(set, 11), -1);
    }
    zt::probe::fail(0, 1);
    EXPECT_EQ(bitset_set(set, 20), 0);
    EXPECT_EQ(zt::probe::fail_count.load(), 1) << "no growth needed next to a member";
    zt::probe::fail(-1, 0);
    const std::vector<uint32_t> all = members(set);
    zt::probe::fail(0, 1000000);
    int failures = 0;
    for (uint32_t v : all)
        failures += bitset_clear(set, v) != 0; // clear never allocates
    zt::probe::fail(-1, 0);
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(bitset_count(set), 0);
    EXPECT_EQ(bitset_set(set, 0x900000), 0);
    EXPECT_EQ(members(set), std::vector<uint32_t>{0x900000});
    zt::probe::stop();
}

// Growth in the first, tenth and last slot only, between stretches of empty slots.
TEST(BitsetFree, ReleasesSparseGrowth) {
    zt::probe::start();
    bitset_t *s = make_root();
    ASSERT_EQ(bitset_set(s, 0), 0);
    ASSERT_EQ(bitset_set(s, 9u << 17), 0);
    ASSERT_EQ(bitset_set(s, BITSET_MAX_BIT), 0);
    EXPECT_EQ(zt::probe::live_blocks.load(), 6); // three groups, three leaves
    bitset_free(s);
    EXPECT_EQ(zt::probe::live_blocks.load(), 0);
    zt::probe::stop();
}

TEST(BitsetFree, ReleasesGrowthAndRoot) {
    zt::probe::start();
    bitset_t *s = make_root();
    for (uint32_t v = 0; v <= BITSET_MAX_BIT; v += 100003)
        ASSERT_EQ(bitset_set(s, v), 0);
    EXPECT_GT(zt::probe::live_blocks.load(), 0);
    bitset_free(s); // the root goes with free(): the sanitizer checks it
    EXPECT_EQ(zt::probe::live_blocks.load(), 0);
    zt::probe::stop();
    bitset_free(nullptr);
    bitset_free(make_root()); // a set that never grew
}

TEST(BitsetNull, IsHandled) {
    EXPECT_EQ(bitset_count(nullptr), -1);
    EXPECT_EQ(bitset_find(nullptr, 0), -1);
    EXPECT_NE(bitset_set(nullptr, 1), 0);
    EXPECT_NE(bitset_clear(nullptr, 1), 0);
}

TEST(BitmapCountBits, CountsEveryByte) {
    uint8_t b[37] = {};
    EXPECT_EQ(bitmap_count_bits(b, sizeof b), 0u);
    b[0] = 0x80;
    b[8] = 0xFF;
    b[36] = 0x01;
    b[17] = 0x55;
    EXPECT_EQ(bitmap_count_bits(b, sizeof b), 1u + 8u + 1u + 4u);
    EXPECT_EQ(bitmap_count_bits(b, 36), 13u) << "only the first nbytes";
    EXPECT_EQ(bitmap_count_bits(b + 1, 7), 0u);
    EXPECT_EQ(bitmap_count_bits(b, 0), 0u);
    EXPECT_EQ(bitmap_count_bits(nullptr, 10), 0u);
    bmp4096_t all;
    std::memset(all.bits, 0xFF, sizeof all.bits);
    EXPECT_EQ(bitmap_count_bits(all.bits, sizeof all.bits), 4096u);
}

} // namespace
