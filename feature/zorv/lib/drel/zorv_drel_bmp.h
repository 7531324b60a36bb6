/* SPDX-License-Identifier: Apache-2.0 */
// zorv_drel_bmp.h - the 4096-bit bitmap (bmp4096_t) as the library and its tests use it: one
// bit of VLAN or BD n lives in byte n / 8 under mask 0x80 >> (n % 8). Nothing here writes past
// the 512 bit bytes, whatever n it is given.
#ifndef ZORV_DREL_BMP_H
#define ZORV_DREL_BMP_H

#include <cstdint>
#include <cstring>

#include <platform/bitset.h>
#include <platform/bmp4096.h>

namespace zorv::bmp {

inline constexpr uint32_t kBits = 4096;

constexpr uint8_t mask(uint32_t n) noexcept {
    return static_cast<uint8_t>(0x80u >> (n & 7u));
}
inline bool test(const bmp4096_t &b, uint32_t n) noexcept {
    return n < kBits && (b.bits[n >> 3] & mask(n)) != 0;
}
// Setting or clearing a bit at or above 4096 does nothing.
inline void set(bmp4096_t &b, uint32_t n) noexcept {
    if (n < kBits) b.bits[n >> 3] |= mask(n);
}
inline void clear(bmp4096_t &b, uint32_t n) noexcept {
    if (n < kBits) b.bits[n >> 3] &= static_cast<uint8_t>(~mask(n));
}
// Every bit byte to `byte`; the size word is left as it is.
inline void fill(bmp4096_t &b, uint8_t byte) noexcept {
    std::memset(b.bits, byte, sizeof b.bits);
}
// The size word to 512 and every bit clear.
inline void reset(bmp4096_t &b) noexcept {
    b.len = 512;
    fill(b, 0);
}
// Members of the 512 bit bytes; a missing bitmap has none.
inline uint32_t count(const bmp4096_t *b) noexcept {
    return b == nullptr ? 0u : bitmap_count_bits(b->bits, sizeof b->bits);
}
// The first set bit at or after `from`, or kBits when there is none.
inline uint32_t next_set(const bmp4096_t &b, uint32_t from) noexcept {
    for (uint32_t n = from; n < kBits;) {
        // Whole 32-bit words at a time: bit 0 is the most significant bit of the first word.
        const uint32_t w = n / 32;
        const uint8_t *p = b.bits + 4 * w;
        uint32_t word = uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
        word &= 0xFFFFFFFFu >> (n % 32);
        if (word != 0) return 32 * w + static_cast<uint32_t>(__builtin_clz(word));
        n = 32 * (w + 1);
    }
    return kBits;
}
// Calls f(n) for every set bit n, in ascending order.
template <typename F> void for_each_set(const bmp4096_t &b, F &&f) {
    for (uint32_t n = next_set(b, 0); n < kBits; n = next_set(b, n + 1))
        f(n);
}

} // namespace zorv::bmp

namespace zorv {

// Calls f(vni) for every member of a VNI set, in ascending order; a null set has none.
template <typename F> void for_each_vni(const bitset_t *set, F &&f) {
    if (set == nullptr) return;
    for (int32_t v = bitset_find(set, 0); v >= 0 && uint32_t(v) <= BITSET_MAX_BIT;
         v = uint32_t(v) < BITSET_MAX_BIT ? bitset_find(set, uint32_t(v) + 1) : -1)
        f(uint32_t(v));
}

} // namespace zorv

#endif
