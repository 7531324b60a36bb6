// cache_test_util.h - small helpers shared by the configuration-cache tests: value builders and
// tree walks.
#ifndef CACHE_TEST_UTIL_H
#define CACHE_TEST_UTIL_H

#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "zorv_test_support.h"

namespace ct {

// The source name some allocator log lines carry in place of a function name.
inline constexpr const char *kSrc = "feature/zorv/lib/drel/zorv_drel_compatcheck";

// Every node of a tree in tree order.
template <typename T> std::vector<T *> walk(const tree_t *tree) {
    std::vector<T *> out;
    for (void *n = tree_first(tree); n != nullptr; n = tree_next(tree, n))
        out.push_back(static_cast<T *>(n));
    return out;
}

inline encap_name_t name_rec(const std::string &name, uint32_t id = 0) {
    encap_name_t r{};
    std::strncpy(r.encap_name, name.c_str(), sizeof r.encap_name - 1);
    r.id = id;
    return r;
}

using zt::map_val;

inline member_vni_t memvni(uint32_t bd, uint32_t vni) {
    return member_vni_t{bd, vni};
}

inline vsi_admin_t admin_val(uint32_t if_index, uint32_t vsi, uint32_t admin) {
    return vsi_admin_t{if_index, vsi, admin};
}

inline void bmp_on(bmp4096_t &b, uint32_t v) {
    b.bits[v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
}
inline bool bmp_has(const bmp4096_t &b, uint32_t v) {
    return (b.bits[v / 8] & (0x80u >> (v % 8))) != 0;
}

inline vsi_encap_rng_t rng_val(uint32_t if_index, uint32_t vsi, const std::string &name,
                               const std::vector<uint32_t> &vlans = {}, bool all = false) {
    vsi_encap_rng_t r{};
    r.if_index = if_index;
    r.vsi = vsi;
    std::strncpy(r.encap_name, name.c_str(), sizeof r.encap_name - 1);
    r.dot1q_bmp.len = 512;
    if (all) std::memset(r.dot1q_bmp.bits, 0xFF, sizeof r.dot1q_bmp.bits);
    for (uint32_t v : vlans)
        bmp_on(r.dot1q_bmp, v);
    return r;
}

// The entry that owns a pointer returned by zorv_drel_if_cfg_avl_get_encap.
inline encap_profile_node *entry_of(char *name_field) {
    return name_field == nullptr ? nullptr
                                 : reinterpret_cast<encap_profile_node *>(
                                       name_field - offsetof(encap_profile_node, encap_name));
}

inline size_t encap_entries(const if_cfg_avl_node_t *n) {
    size_t c = 0;
    for (const encap_profile_node *e = n->encap_list; e != nullptr; e = e->next)
        ++c;
    return c;
}

inline uint16_t aligned16(uint32_t len) {
    return static_cast<uint16_t>(tlv_aligned_size(len));
}

// The TLVs of an array, walked with the platform's checked walk.
struct tlv_item {
    uint16_t type;
    uint16_t len;
    const uint8_t *value;
};
inline std::vector<tlv_item> tlvs(const tlv_array_t *a) {
    std::vector<tlv_item> out;
    uint32_t cursor = 0;
    uint16_t type = 0, len = 0;
    void *value = nullptr;
    while (tlv_array_next(a, &cursor, &type, &len, &value, 1) == 0)
        out.push_back({type, len, static_cast<const uint8_t *>(value)});
    return out;
}

// Switches fault injection off again when a test ends, whatever happened.
struct fault_guard {
    fault_guard(uint64_t skip, uint64_t count) { tracked_mem_fault_set(zt::kSvc, skip, count); }
    ~fault_guard() { tracked_mem_fault_set(zt::kSvc, 0, 0); }
};

} // namespace ct

#endif
