// SPDX-License-Identifier: Apache-2.0
// Aligned TLV array: layout and padding, no-space refusal, count and walk, cut-short and
// malformed arrays, reads confined to the array.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include <platform/platform.h>

namespace {

// An 8-aligned buffer of `size` bytes, every byte `fill`, with an empty array in front.
struct buffer {
    explicit buffer(uint32_t size, uint8_t fill = 0xEE) : words((size + 7) / 8), size(size) {
        std::memset(words.data(), fill, words.size() * 8);
        array()->len = 0;
    }
    tlv_array_t *array() { return reinterpret_cast<tlv_array_t *>(words.data()); }
    const uint8_t *bytes() const { return reinterpret_cast<const uint8_t *>(words.data()); }
    std::vector<uint64_t> words;
    uint32_t size;
};

// An array in a heap block of exactly 4 + len bytes, so a read past the end is caught by the
// sanitizer.
struct exact {
    explicit exact(const std::vector<uint8_t> &tlvs) : block(new uint8_t[4 + tlvs.size()]) {
        const uint32_t len = static_cast<uint32_t>(tlvs.size());
        std::memcpy(block.get(), &len, 4);
        if (!tlvs.empty()) std::memcpy(block.get() + 4, tlvs.data(), tlvs.size());
    }
    const tlv_array_t *get() const { return reinterpret_cast<const tlv_array_t *>(block.get()); }
    std::unique_ptr<uint8_t[]> block;
};

std::vector<uint8_t> header(uint16_t type, uint16_t len) {
    std::vector<uint8_t> h(4);
    std::memcpy(h.data(), &type, 2);
    std::memcpy(h.data() + 2, &len, 2);
    return h;
}

std::vector<uint8_t> operator+(std::vector<uint8_t> a, const std::vector<uint8_t> &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TEST(TlvArray, AlignedSize) {
    EXPECT_EQ(tlv_aligned_size(0), 4u);
    EXPECT_EQ(tlv_aligned_size(1), 8u);
    EXPECT_EQ(tlv_aligned_size(3), 8u);
    EXPECT_EQ(tlv_aligned_size(4), 8u);
    EXPECT_EQ(tlv_aligned_size(5), 12u);
    EXPECT_EQ(tlv_aligned_size(792), 796u);
    EXPECT_EQ(tlv_aligned_size(0xFFFFFFFFu), 0xFFFFFFFCu) << "saturates";
}

TEST(TlvArray, AddWritesTheExactAlignedLayout) {
    buffer b(64);
    const uint8_t v1[3] = {0xA1, 0xA2, 0xA3};
    const uint8_t v2[4] = {1, 2, 3, 4};
    ASSERT_EQ(tlv_array_add(b.array(), b.size, 7, 3, v1, 1), 0);
    EXPECT_EQ(b.array()->len, 8u);
    ASSERT_EQ(tlv_array_add(b.array(), b.size, 0x1234, 4, v2, 1), 0);
    EXPECT_EQ(b.array()->len, 16u);
    ASSERT_EQ(tlv_array_add(b.array(), b.size, 9, 0, nullptr, 1), 0);
    EXPECT_EQ(b.array()->len, 20u);
    const std::vector<uint8_t> want = header(7, 3) + std::vector<uint8_t>{0xA1, 0xA2, 0xA3, 0} +
                                      header(0x1234, 4) + std::vector<uint8_t>{1, 2, 3, 4} +
                                      header(9, 0);
    EXPECT_EQ(std::vector<uint8_t>(b.bytes() + 4, b.bytes() + 24), want);
    EXPECT_EQ(b.bytes()[24], 0xEE) << "nothing written past the TLVs";
}

TEST(TlvArray, UnalignedModeDoesNotPad) {
    buffer b(64);
    const uint8_t v[3] = {1, 2, 3};
    ASSERT_EQ(tlv_array_add(b.array(), b.size, 1, 3, v, 0), 0);
    ASSERT_EQ(tlv_array_add(b.array(), b.size, 2, 1, v, 0), 0);
    EXPECT_EQ(b.array()->len, 12u);
    EXPECT_EQ(tlv_array_count(b.array(), 0), 2u);
    uint32_t cur = 0;
    uint16_t type, len;
    void *val;
    ASSERT_EQ(tlv_array_next(b.array(), &cur, &type, &len, &val, 0), 0);
    EXPECT_EQ(cur, 7u);
    ASSERT_EQ(tlv_array_next(b.array(), &cur, &type, &len, &val, 0), 0);
    EXPECT_EQ(type, 2);
    EXPECT_EQ(*static_cast<uint8_t *>(val), 1);
    EXPECT_EQ(tlv_array_next(b.array(), &cur, &type, &len, &val, 0), static_cast<int>(TLV_ERR_END));
}

TEST(TlvArray, NullValueAddsZeros) {
    buffer b(32);
    ASSERT_EQ(tlv_array_add(b.array(), b.size, 5, 6, nullptr, 1), 0);
    for (uint32_t i = 8; i < 4 + 12; ++i)
        EXPECT_EQ(b.bytes()[i], 0) << i;
}

TEST(TlvArray, NoSpaceWritesNothing) {
    buffer b(20);
    const uint8_t v[16] = {};
    ASSERT_EQ(tlv_array_add(b.array(), b.size, 1, 4, v, 1), 0); // 12 of 20 bytes used
    const std::vector<uint8_t> before(b.bytes(), b.bytes() + b.size);
    EXPECT_EQ(tlv_array_add(b.array(), b.size, 2, 5, v, 1), static_cast<int>(TLV_ERR_NO_SPACE))
        << "12 bytes with padding do not fit in 8";
    EXPECT_EQ(std::vector<uint8_t>(b.bytes(), b.bytes() + b.size), before);
    EXPECT_EQ(tlv_array_add(b.array(), b.size, 2, 4, v, 1), 0) << "exactly 8 fit";
    EXPECT_EQ(b.array()->len, 16u);
    EXPECT_EQ(tlv_array_add(b.array(), b.size, 3, 0, v, 1), static_cast<int>(TLV_ERR_NO_SPACE));
}

TEST(TlvArray, NoSpaceForTinyOrNullBuffers) {
    buffer b(4);
    EXPECT_EQ(tlv_array_add(b.array(), 4, 1, 0, nullptr, 1), static_cast<int>(TLV_ERR_NO_SPACE));
    EXPECT_EQ(tlv_array_add(b.array(), 0, 1, 0, nullptr, 1), static_cast<int>(TLV_ERR_NO_SPACE));
    EXPECT_EQ(tlv_array_add(nullptr, 100, 1, 0, nullptr, 1), static_cast<int>(TLV_ERR_NO_SPACE));
    EXPECT_EQ(b.array()->len, 0u);
}

TEST(TlvArray, CountAndWalk) {
    buffer b(4096);
    std::vector<std::vector<uint8_t>> values;
    for (uint16_t i = 0; i < 20; ++i) {
        values.emplace_back(i, static_cast<uint8_t>(i + 1));
        ASSERT_EQ(tlv_array_add(b.array(), b.size, i, i, values.back().data(), 1), 0);
    }
    EXPECT_EQ(tlv_array_count(b.array(), 1), 20u);
    uint32_t cur = 0;
    for (uint16_t i = 0; i < 20; ++i) {
        uint16_t type = 0xFFFF, len = 0xFFFF;
        void *val = nullptr;
        ASSERT_EQ(tlv_array_next(b.array(), &cur, &type, &len, &val, 1), 0) << i;
        EXPECT_EQ(type, i);
        EXPECT_EQ(len, i);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(val) % 4, 0u) << "values start aligned";
        EXPECT_EQ(
            std::vector<uint8_t>(static_cast<uint8_t *>(val), static_cast<uint8_t *>(val) + i),
            values[i]);
    }
    EXPECT_EQ(cur, b.array()->len);
    EXPECT_EQ(tlv_array_next(b.array(), &cur, nullptr, nullptr, nullptr, 1),
              static_cast<int>(TLV_ERR_END));
    EXPECT_EQ(tlv_array_next(b.array(), &cur, nullptr, nullptr, nullptr, 1),
              static_cast<int>(TLV_ERR_END))
        << "stays at the end";
}

TEST(TlvArray, EmptyArray) {
    exact e({});
    EXPECT_EQ(tlv_array_count(e.get(), 1), 0u);
    uint32_t cur = 0;
    EXPECT_EQ(tlv_array_next(e.get(), &cur, nullptr, nullptr, nullptr, 1),
              static_cast<int>(TLV_ERR_END));
}

TEST(TlvArray, OutputsAreOptionalAndUntouchedOnFailure) {
    exact e(header(3, 8) + std::vector<uint8_t>{1, 2}); // value cut short
    uint32_t cur = 0;
    uint16_t type = 77, len = 77;
    void *val = &cur;
    EXPECT_EQ(tlv_array_next(e.get(), &cur, &type, &len, &val, 1),
              static_cast<int>(TLV_ERR_MALFORMED));
    EXPECT_EQ(cur, 0u);
    EXPECT_EQ(type, 77);
    EXPECT_EQ(len, 77);
    EXPECT_EQ(val, &cur);
}

TEST(TlvArray, CutShortValueIsCountedButFailsTheWalk) {
    exact e(header(1, 4) + std::vector<uint8_t>{1, 2, 3, 4} + header(2, 100) +
            std::vector<uint8_t>{9, 9});
    EXPECT_EQ(tlv_array_count(e.get(), 1), 2u);
    uint32_t cur = 0;
    uint16_t type, len;
    void *val;
    ASSERT_EQ(tlv_array_next(e.get(), &cur, &type, &len, &val, 1), 0);
    EXPECT_EQ(tlv_array_next(e.get(), &cur, &type, &len, &val, 1),
              static_cast<int>(TLV_ERR_MALFORMED));
}

TEST(TlvArray, CutShortHeaderIsNotCountedAndFailsTheWalk) {
    exact e(header(1, 0) + std::vector<uint8_t>{0x02, 0x00, 0x04}); // 3 bytes of a header
    EXPECT_EQ(tlv_array_count(e.get(), 1), 1u);
    uint32_t cur = 0;
    ASSERT_EQ(tlv_array_next(e.get(), &cur, nullptr, nullptr, nullptr, 1), 0);
    EXPECT_EQ(tlv_array_next(e.get(), &cur, nullptr, nullptr, nullptr, 1),
              static_cast<int>(TLV_ERR_MALFORMED));
}

TEST(TlvArray, HugeLengthsNeverLeadOutsideTheArray) {
    exact e(header(1, 0xFFFF));
    EXPECT_EQ(tlv_array_count(e.get(), 1), 1u);
    EXPECT_EQ(tlv_array_count(e.get(), 0), 1u);
    uint32_t cur = 0;
    EXPECT_EQ(tlv_array_next(e.get(), &cur, nullptr, nullptr, nullptr, 1),
              static_cast<int>(TLV_ERR_MALFORMED));
    cur = 2; // a cursor pointing into a header
    EXPECT_EQ(tlv_array_next(e.get(), &cur, nullptr, nullptr, nullptr, 1),
              static_cast<int>(TLV_ERR_MALFORMED));
    cur = 0xFFFFFFF0u;
    EXPECT_EQ(tlv_array_next(e.get(), &cur, nullptr, nullptr, nullptr, 1),
              static_cast<int>(TLV_ERR_END));
}

TEST(TlvArray, UnpaddedLastValueStillWalks) {
    // A sender that leaves out the last padding: the value lies inside len, the padding not.
    exact e(header(1, 1) + std::vector<uint8_t>{0x42});
    EXPECT_EQ(tlv_array_count(e.get(), 1), 1u);
    uint32_t cur = 0;
    void *val = nullptr;
    ASSERT_EQ(tlv_array_next(e.get(), &cur, nullptr, nullptr, &val, 1), 0);
    EXPECT_EQ(*static_cast<uint8_t *>(val), 0x42);
    EXPECT_EQ(tlv_array_next(e.get(), &cur, nullptr, nullptr, nullptr, 1),
              static_cast<int>(TLV_ERR_END));
}

TEST(TlvArray, NullArrayAndCursor) {
    EXPECT_EQ(tlv_array_count(nullptr, 1), 0u);
    uint32_t cur = 0;
    EXPECT_EQ(tlv_array_next(nullptr, &cur, nullptr, nullptr, nullptr, 1),
              static_cast<int>(TLV_ERR_MALFORMED));
    exact e(header(1, 0));
    EXPECT_EQ(tlv_array_next(e.get(), nullptr, nullptr, nullptr, nullptr, 1),
              static_cast<int>(TLV_ERR_MALFORMED));
}

TEST(TlvArray, AddAfterAWalkAppends) {
    buffer b(64);
    const uint32_t x = 0xDEADBEEF;
    ASSERT_EQ(tlv_array_add(b.array(), b.size, 8, 4, &x, 1), 0);
    uint32_t cur = 0;
    ASSERT_EQ(tlv_array_next(b.array(), &cur, nullptr, nullptr, nullptr, 1), 0);
    ASSERT_EQ(tlv_array_add(b.array(), b.size, 9, 4, &x, 1), 0);
    uint16_t type = 0;
    void *val = nullptr;
    ASSERT_EQ(tlv_array_next(b.array(), &cur, &type, nullptr, &val, 1), 0);
    EXPECT_EQ(type, 9);
    uint32_t got;
    std::memcpy(&got, val, 4);
    EXPECT_EQ(got, x);
}

} // namespace
