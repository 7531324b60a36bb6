/* SPDX-License-Identifier: Apache-2.0 */
// zorv_test_cache.h - helpers for tests of the configuration cache: tree walks and lookups,
// caching values directly, the entries of an interface node, and the pass and fail holders of
// the compatibility checks.
#ifndef ZORV_TEST_CACHE_H
#define ZORV_TEST_CACHE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "zorv_test_support.h"

namespace zt {

// ---- Tree walks and lookups --------------------------------------------------------------

// Every node of a tree in tree order.
template <typename T> std::vector<T *> walk(const tree_t *tree) {
    std::vector<T *> out;
    for (void *n = tree_first(tree); n != nullptr; n = tree_next(tree, n))
        out.push_back(static_cast<T *>(n));
    return out;
}

inline std::vector<if_cfg_avl_node_t *> if_nodes() {
    return walk<if_cfg_avl_node_t>(zorv_drel_if_cfg_avl);
}
inline std::vector<gbl_cfg_memvni_avl_node_t *> memvni_nodes() {
    return walk<gbl_cfg_memvni_avl_node_t>(zorv_drel_gbl_cfg_memvni_avl);
}
inline std::vector<gbl_cfg_avl_node_t *> gbl_nodes() {
    return walk<gbl_cfg_avl_node_t>(zorv_drel_gbl_cfg_avl);
}
inline if_cfg_avl_node_t *if_node(uint32_t if_index, uint32_t vsi) {
    for (auto *n : if_nodes())
        if (n->if_index == if_index && n->vsi_id == vsi) return n;
    return nullptr;
}
inline gbl_cfg_memvni_avl_node_t *memvni_node(uint32_t vni) {
    for (auto *n : memvni_nodes())
        if (n->vni == vni) return n;
    return nullptr;
}
inline gbl_cfg_avl_node_t *gbl_node(const std::string &name) {
    for (auto *n : gbl_nodes())
        if (name == n->map.encap_name) return n;
    return nullptr;
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

// ---- Caching values directly -------------------------------------------------------------

// Binds `vni` to bridge domain `bd` in the member-VNI tree.
inline void add_memvni(uint32_t bd, uint32_t vni) {
    const member_vni_t v{bd, vni};
    auto *node = zorv_drel_create_gbl_memvni_node(nullptr, ZORV_TYPE1_GBL_MEMBER_VNI, sizeof v, &v);
    ASSERT_NE(node, nullptr);
    ASSERT_EQ(tree_insert(zorv_drel_gbl_cfg_memvni_avl, node), 0);
}

// Binds each (bd, vni) in the member-VNI tree, in order.
inline void add_memvnis(const std::vector<std::pair<uint32_t, uint32_t>> &bd_vni) {
    for (auto [bd, vni] : bd_vni)
        add_memvni(bd, vni);
}

// Caches a service instance from a type-9 value and returns its node.
inline if_cfg_avl_node_t *add_vsi(uint32_t if_index, uint32_t vsi, uint32_t admin, uint32_t mode,
                                  const pairs_t &pairs, const std::vector<uint32_t> &allowed = {},
                                  const std::string &prof = "") {
    auto value = make_vsi_all(if_index, vsi, admin, mode, pairs, allowed, prof);
    const if_cfg_avl_key_t key{if_index, vsi};
    auto *node = zorv_drel_create_if_node(&key, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                                          static_cast<uint16_t>(value.size()), value.data());
    EXPECT_NE(node, nullptr);
    if (node != nullptr) {
        EXPECT_EQ(tree_insert(zorv_drel_if_cfg_avl, node), 0);
    }
    return node;
}

// Caches a global profile, with a dot1q map (VLAN, VNI) or without one, and returns its node.
inline gbl_cfg_avl_node_t *add_profile_map(const std::string &name,
                                           const std::vector<std::pair<uint32_t, uint32_t>> &map) {
    auto m = map_val(name, map);
    auto *node = zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP,
                                           sizeof(encap_map_t), m.get());
    EXPECT_NE(node, nullptr);
    if (node != nullptr) {
        EXPECT_EQ(tree_insert(zorv_drel_gbl_cfg_avl, node), 0);
    }
    return node;
}
inline gbl_cfg_avl_node_t *add_profile(const std::string &name) {
    encap_name_t rec = name_rec(name);
    auto *node = zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_PROFILE,
                                           ZORV_ENCAP_NAME_WIRE_LEN, &rec);
    EXPECT_NE(node, nullptr);
    if (node != nullptr) {
        EXPECT_EQ(tree_insert(zorv_drel_gbl_cfg_avl, node), 0);
    }
    return node;
}

// ---- Compatibility-check results ---------------------------------------------------------

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

} // namespace zt

#endif
