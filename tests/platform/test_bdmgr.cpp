// SPDX-License-Identifier: Apache-2.0
// Bridge-domain manager: fabric bridge domains per context.
#include <gtest/gtest.h>

#include <cstring>

#include <platform/platform.h>

namespace {

bool has(const bmp4096_t &b, uint32_t bd) {
    return (b.bits[bd / 8] & (0x80u >> (bd % 8))) != 0;
}

bmp4096_t empty_bmp() {
    bmp4096_t b;
    std::memset(&b, 0, sizeof b);
    b.len = 512;
    return b;
}

TEST(Bdmgr, NoFabricBridgeDomainsAtFirst) {
    bmp4096_t b = empty_bmp();
    ASSERT_EQ(bdmgr_fabric_bd_allocation_get(1, &b), 0);
    EXPECT_EQ(bitmap_count_bits(b.bits, sizeof b.bits), 0u);
    EXPECT_EQ(b.len, 512u);
}

TEST(Bdmgr, SetsTheBitsOfTheContextsFabricBridgeDomains) {
    bdmgr_host_set_fabric_bd(1, 0, 1);
    bdmgr_host_set_fabric_bd(1, 9, 1);
    bdmgr_host_set_fabric_bd(1, 4095, 1);
    bdmgr_host_set_fabric_bd(2, 100, 1);
    bmp4096_t b = empty_bmp();
    ASSERT_EQ(bdmgr_fabric_bd_allocation_get(1, &b), 0);
    EXPECT_TRUE(has(b, 0));
    EXPECT_TRUE(has(b, 9));
    EXPECT_TRUE(has(b, 4095));
    EXPECT_EQ(b.bits[1], 0x40) << "bd 9: byte 1, mask 0x80 >> 1";
    EXPECT_EQ(bitmap_count_bits(b.bits, sizeof b.bits), 3u);
    bmp4096_t c = empty_bmp();
    ASSERT_EQ(bdmgr_fabric_bd_allocation_get(2, &c), 0);
    EXPECT_TRUE(has(c, 100));
    EXPECT_EQ(bitmap_count_bits(c.bits, sizeof c.bits), 1u);
}

TEST(Bdmgr, UnmarkingAndOutOfRange) {
    bdmgr_host_set_fabric_bd(1, 9, 1);
    bdmgr_host_set_fabric_bd(1, 9, 0);
    bdmgr_host_set_fabric_bd(1, 4096, 1); // no such bridge domain: ignored
    bmp4096_t b = empty_bmp();
    ASSERT_EQ(bdmgr_fabric_bd_allocation_get(1, &b), 0);
    EXPECT_EQ(bitmap_count_bits(b.bits, sizeof b.bits), 0u);
}

TEST(Bdmgr, OtherBitsAreLeftAlone) {
    bdmgr_host_set_fabric_bd(1, 3, 1);
    bmp4096_t b = empty_bmp();
    b.bits[100] = 0xFF;
    ASSERT_EQ(bdmgr_fabric_bd_allocation_get(1, &b), 0);
    EXPECT_TRUE(has(b, 3));
    EXPECT_EQ(b.bits[100], 0xFF);
}

TEST(Bdmgr, NullBitmapIsRefused) {
    EXPECT_NE(bdmgr_fabric_bd_allocation_get(1, nullptr), 0);
}

} // namespace
