// SPDX-License-Identifier: Apache-2.0
// bitset.cpp - sparse set over VNIs 0..0xFFFFFF behind a fixed 1028-byte root.
//
// The root is the owner's malloc'd block: a u32 (1024) and then 1024 bytes read as 128 pointer
// slots, each covering 2^17 VNIs. A slot points to a group of 32 leaf pointers; a leaf holds
// 4096 bits. Null pointers stand for empty stretches, so an all-zero root is the empty set, memory
// grows with the occupied parts only, and find steps over an empty group or leaf at once.
// Groups and leaves carry member counts; an emptied leaf or group is released by clear.
// The slots lie at offset 4 and are unaligned for pointers, hence memcpy.
// bitset_set and bitset_clear of a null set return BITSET_ERR_RANGE.
#include <platform/bitset.h>

#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr uint32_t kSlots = 128;
constexpr uint32_t kLeavesPerGroup = 32;
constexpr uint32_t kWordsPerLeaf = 64;
constexpr uint32_t kSlotShift = 17; // 2^24 / 128
constexpr uint32_t kLeafShift = 12; // 4096 bits a leaf

struct leaf {
    uint32_t members = 0;
    uint64_t words[kWordsPerLeaf] = {};
};

struct group {
    uint32_t members = 0;
    leaf *leaves[kLeavesPerGroup] = {};
};

static_assert(4 + kSlots * sizeof(group *) == BITSET_ROOT_BYTES);

unsigned char *slots(const bitset_t *set) {
    return reinterpret_cast<unsigned char *>(const_cast<bitset_t *>(set)) + 4;
}

group *slot_get(const bitset_t *set, uint32_t i) {
    group *g;
    std::memcpy(&g, slots(set) + i * sizeof g, sizeof g);
    return g;
}

void slot_put(bitset_t *set, uint32_t i, group *g) {
    std::memcpy(slots(set) + i * sizeof g, &g, sizeof g);
}

struct position {
    uint32_t slot, leaf, word;
    uint64_t mask;
    explicit position(uint32_t bit)
        : slot(bit >> kSlotShift), leaf((bit >> kLeafShift) & (kLeavesPerGroup - 1)),
          word((bit >> 6) & (kWordsPerLeaf - 1)), mask(uint64_t{1} << (bit & 63)) {}
};

// The first set bit of leaf `l` at word `w` or later, bits of word `w` outside `keep` ignored; -1
// when there is none. The first word is masked once, so the scan of the rest stays a plain loop.
int32_t leaf_find(const leaf &l, uint32_t w, uint64_t keep) {
    uint64_t word = l.words[w] & keep;
    while (word == 0) {
        if (++w == kWordsPerLeaf) return -1;
        word = l.words[w];
    }
    return static_cast<int32_t>((w << 6) | static_cast<uint32_t>(std::countr_zero(word)));
}

} // namespace

int bitset_set(bitset_t *set, uint32_t bit) {
    if (set == nullptr || bit > BITSET_MAX_BIT) return static_cast<int>(BITSET_ERR_RANGE);
    const position at(bit);
    group *g = slot_get(set, at.slot);
    const bool new_group = g == nullptr;
    if (new_group) {
        g = new (std::nothrow) group();
        if (g == nullptr) return static_cast<int>(BITSET_ERR_NO_MEMORY);
    }
    leaf *l = g->leaves[at.leaf];
    if (l == nullptr) {
        l = new (std::nothrow) leaf();
        if (l == nullptr) {
            if (new_group) delete g;
            return static_cast<int>(BITSET_ERR_NO_MEMORY);
        }
        g->leaves[at.leaf] = l;
    }
    if (new_group) slot_put(set, at.slot, g);
    if ((l->words[at.word] & at.mask) == 0) {
        l->words[at.word] |= at.mask;
        ++l->members;
        ++g->members;
    }
    return 0;
}

int bitset_clear(bitset_t *set, uint32_t bit) {
    if (set == nullptr || bit > BITSET_MAX_BIT) return static_cast<int>(BITSET_ERR_RANGE);
    const position at(bit);
    group *g = slot_get(set, at.slot);
    if (g == nullptr) return 0;
    leaf *l = g->leaves[at.leaf];
    if (l == nullptr || (l->words[at.word] & at.mask) == 0) return 0;
    l->words[at.word] &= ~at.mask;
    if (--l->members == 0) {
        delete l;
        g->leaves[at.leaf] = nullptr;
    }
    if (--g->members == 0) {
        delete g;
        slot_put(set, at.slot, nullptr);
    }
    return 0;
}

int32_t bitset_find(const bitset_t *set, uint32_t from) {
    if (set == nullptr || from > BITSET_MAX_BIT) return -1;
    const position start(from);
    for (uint32_t s = start.slot; s < kSlots; ++s) {
        const group *g = slot_get(set, s);
        if (g == nullptr) continue;
        const bool first_slot = s == start.slot;
        for (uint32_t li = first_slot ? start.leaf : 0; li < kLeavesPerGroup; ++li) {
            const leaf *l = g->leaves[li];
            if (l == nullptr) continue;
            const bool first_leaf = first_slot && li == start.leaf;
            const int32_t bit = first_leaf ? leaf_find(*l, start.word, ~(start.mask - 1)) // >= from
                                           : leaf_find(*l, 0, ~uint64_t{0});
            if (bit >= 0) return static_cast<int32_t>((s << kSlotShift) | (li << kLeafShift)) | bit;
        }
    }
    return -1;
}

int32_t bitset_count(const bitset_t *set) {
    if (set == nullptr) return -1;
    int32_t n = 0;
    for (uint32_t s = 0; s < kSlots; ++s)
        if (const group *g = slot_get(set, s)) n += static_cast<int32_t>(g->members);
    return n;
}

void bitset_free(bitset_t *set) {
    if (set == nullptr) return;
    // Most sets are small, so most slots are empty: test eight at a time.
    constexpr uint32_t kRun = 8;
    static_assert(kSlots % kRun == 0 && sizeof(group *) == sizeof(uint64_t));
    for (uint32_t s = 0; s < kSlots; s += kRun) {
        uint64_t run[kRun];
        std::memcpy(run, slots(set) + s * sizeof(group *), sizeof run);
        uint64_t any = 0;
        for (uint64_t p : run)
            any |= p;
        if (any == 0) continue;
        for (uint32_t i = s; i < s + kRun; ++i) {
            group *g = slot_get(set, i);
            if (g == nullptr) continue;
            for (leaf *l : g->leaves)
                delete l;
            delete g;
        }
    }
    std::free(set);
}

uint32_t bitmap_count_bits(const void *bytes, uint32_t nbytes) {
    if (bytes == nullptr) return 0;
    const auto *p = static_cast<const unsigned char *>(bytes);
    uint32_t n = 0;
    uint32_t i = 0;
    for (; i + 8 <= nbytes; i += 8) {
        uint64_t w;
        std::memcpy(&w, p + i, 8);
        n += static_cast<uint32_t>(std::popcount(w));
    }
    for (; i < nbytes; ++i)
        n += static_cast<uint32_t>(std::popcount(static_cast<unsigned>(p[i])));
    return n;
}
