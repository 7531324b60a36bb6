// compat_fixtures.h - cache set-up, result holders and exactly-sized buffers for the tests of
// the compatibility checks and the failed sets.
#ifndef ZORV_COMPAT_FIXTURES_H
#define ZORV_COMPAT_FIXTURES_H

#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zorv_test_support.h"

namespace cf {

using pairs_t = std::vector<std::pair<uint32_t, uint32_t>>; // (vni, dot1q)

// Binds `vni` to bridge domain `bd` in the member-VNI tree.
inline void add_memvni(uint32_t bd, uint32_t vni) {
    const member_vni_t v{bd, vni};
    auto *node = zorv_drel_create_gbl_memvni_node(nullptr, ZORV_TYPE1_GBL_MEMBER_VNI, 8, &v);
    ASSERT_NE(node, nullptr);
    ASSERT_EQ(tree_insert(zorv_drel_gbl_cfg_memvni_avl, node), 0);
}

// Caches a service instance from a type-9 value and returns its node.
inline if_cfg_avl_node_t *add_vsi(uint32_t if_index, uint32_t vsi, uint32_t admin, uint32_t mode,
                                  const pairs_t &pairs, const std::vector<uint32_t> &allowed = {},
                                  const std::string &prof = "") {
    auto value = zt::make_vsi_all(if_index, vsi, admin, mode, pairs, allowed, prof);
    const if_cfg_avl_key_t key{if_index, vsi};
    auto *node = zorv_drel_create_if_node(&key, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                                          static_cast<uint16_t>(value.size()), value.data());
    EXPECT_NE(node, nullptr);
    if (node != nullptr) {
        EXPECT_EQ(tree_insert(zorv_drel_if_cfg_avl, node), 0);
    }
    return node;
}

// Caches a global profile with a dot1q map.
inline gbl_cfg_avl_node_t *add_profile_map(const std::string &name,
                                           const std::vector<std::pair<uint32_t, uint32_t>> &map) {
    auto *m = static_cast<encap_map_t *>(std::calloc(1, sizeof(encap_map_t)));
    std::strncpy(m->encap_name, name.c_str(), 255);
    for (auto [dot1q, vni] : map)
        m->dot1q_vni[dot1q] = vni;
    auto *node =
        zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, sizeof(encap_map_t), m);
    std::free(m);
    EXPECT_NE(node, nullptr);
    if (node != nullptr) {
        EXPECT_EQ(tree_insert(zorv_drel_gbl_cfg_avl, node), 0);
    }
    return node;
}

// Caches a global profile without a map.
inline gbl_cfg_avl_node_t *add_profile(const std::string &name) {
    encap_name_t rec{};
    std::strncpy(rec.encap_name, name.c_str(), 255);
    auto *node = zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_PROFILE, 256, &rec);
    EXPECT_NE(node, nullptr);
    if (node != nullptr) {
        EXPECT_EQ(tree_insert(zorv_drel_gbl_cfg_avl, node), 0);
    }
    return node;
}

// Members of a VNI set in ascending order.
inline std::vector<uint32_t> members(const bitset_t *set) {
    std::vector<uint32_t> out;
    if (set == nullptr) return out;
    for (int32_t v = bitset_find(set, 0); v >= 0 && uint32_t(v) <= BITSET_MAX_BIT;
         v = uint32_t(v) < BITSET_MAX_BIT ? bitset_find(set, uint32_t(v) + 1) : -1)
        out.push_back(uint32_t(v));
    return out;
}

// A VNI set in its initial form, as the library creates them.
inline bitset_t *new_set() {
    void *p = std::calloc(1, BITSET_ROOT_BYTES);
    *static_cast<uint32_t *>(p) = 1024;
    return static_cast<bitset_t *>(p);
}

// The pass and fail holders of one check; the sets are the caller's to free.
struct holders {
    type1_compat_result_t pass{}, fail{};
    holders() = default;
    holders(const holders &) = delete;
    holders &operator=(const holders &) = delete;
    ~holders() { reset(); }
    void reset() {
        bitset_free(pass.vni_set);
        bitset_free(fail.vni_set);
        pass.vni_set = fail.vni_set = nullptr;
    }
    // Gives both holders fresh sets (for calls that do not create them).
    void make_sets() {
        reset();
        pass.vni_set = new_set();
        fail.vni_set = new_set();
    }
    std::vector<uint32_t> passed() const { return members(pass.vni_set); }
    std::vector<uint32_t> failed() const { return members(fail.vni_set); }
};

// Bytes held in a heap block of exactly their size, so that any read past them is a
// sanitizer error.
class exact_buf {
  public:
    explicit exact_buf(const void *data, size_t size)
        : p_(static_cast<uint8_t *>(std::malloc(size == 0 ? 1 : size))), size_(size) {
        if (size != 0) std::memcpy(p_, data, size);
    }
    explicit exact_buf(const std::vector<uint8_t> &v) : exact_buf(v.data(), v.size()) {}
    exact_buf(const exact_buf &) = delete;
    exact_buf &operator=(const exact_buf &) = delete;
    ~exact_buf() { std::free(p_); }
    uint8_t *data() { return p_; }
    size_t size() const { return size_; }
    template <typename T> T *as() { return reinterpret_cast<T *>(p_); }

  private:
    uint8_t *p_;
    size_t size_;
};

// A TLV array copied into a heap block of exactly its size (header plus TLVs), so that the
// last value ends at the block's end.
inline exact_buf exact_array(const zt::tlv_buf &b) {
    return exact_buf(b.get(), b.size());
}

// A type-9 value with `count` written into dyn_map_cnt, whatever pairs it really holds.
inline std::vector<uint8_t> vsi_with_count(uint32_t if_index, uint32_t vsi, uint32_t admin,
                                           const pairs_t &pairs, int32_t count,
                                           uint32_t mode = ZORV_MAP_MODE_STATIC) {
    auto v = zt::make_vsi_all(if_index, vsi, admin, mode, pairs);
    reinterpret_cast<vsi_all_t *>(v.data())->dyn_map_cnt = static_cast<uint32_t>(count);
    return v;
}

inline void set_bit(bmp4096_t &b, uint32_t n) {
    b.bits[n / 8] |= uint8_t(0x80u >> (n % 8));
}
inline bool test_bit(const bmp4096_t &b, uint32_t n) {
    return (b.bits[n / 8] & (0x80u >> (n % 8))) != 0;
}
inline bmp4096_t bmp_of(const std::vector<uint32_t> &bits) {
    bmp4096_t b{};
    b.len = 512;
    for (uint32_t n : bits)
        set_bit(b, n);
    return b;
}
inline uint32_t bmp_count(const bmp4096_t &b) {
    uint32_t n = 0;
    for (uint32_t i = 0; i < 4096; ++i)
        n += test_bit(b, i) ? 1 : 0;
    return n;
}

} // namespace cf

#endif
