// SPDX-License-Identifier: Apache-2.0
// bench_cache.cpp - the benchmarks' cache set-ups (see bench_cache.h).
#include "bench_cache.h"

#include <cstring>
#include <vector>

namespace bench {

void fill_interface(uint32_t if_index, uint32_t drel_id, uint32_t vsis, uint32_t pairs,
                    const vni_rule &vni, const std::string &profile) {
    drelm_host_set_interface(if_index, 1, drel_id);
    for (uint32_t s = 1; s <= vsis; ++s) {
        zt::pairs_t map;
        for (uint32_t v = 1; v <= pairs; ++v)
            map.emplace_back(vni(s, v), v);
        auto value = zt::make_vsi_all(if_index, s, 1, ZORV_MAP_MODE_DFS, map, {1, 2, 3}, profile);
        if_cfg_avl_key_t key{};
        zorv_drel_set_if_key(&key, 9, value.size(), value.data(), if_index);
        auto *node =
            zorv_drel_create_if_node(&key, 9, static_cast<uint16_t>(value.size()), value.data());
        tree_insert(zorv_drel_if_cfg_avl, node);
        for (auto [id, dot1q] : map) {
            member_vni_t m{dot1q % 4000 + 1, id};
            gbl_cfg_memvni_avl_node_t k{};
            zorv_drel_set_gbl_memvni_key(&k, 8, 8, &m);
            if (tree_find(zorv_drel_gbl_cfg_memvni_avl, &k) == nullptr)
                tree_insert(zorv_drel_gbl_cfg_memvni_avl,
                            zorv_drel_create_gbl_memvni_node(nullptr, 8, 8, &m));
        }
    }
}

void clear_interface(uint32_t if_index) {
    if_cfg_avl_key_t key{if_index, 0};
    while (auto *n = static_cast<if_cfg_avl_node_t *>(tree_find(zorv_drel_if_cfg_avl, &key)))
        zorv_drel_if_cfg_delete_cache_node(n);
}

void fill_member_vnis(uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
        member_vni_t m{i % 4000 + 1, 10000 + i};
        tree_insert(zorv_drel_gbl_cfg_memvni_avl,
                    zorv_drel_create_gbl_memvni_node(nullptr, 8, 8, &m));
    }
}

void clear_member_vnis() {
    while (auto *m =
               static_cast<gbl_cfg_memvni_avl_node_t *>(tree_first(zorv_drel_gbl_cfg_memvni_avl)))
        zorv_drel_gbl_cfg_memvni_delete_cache_node(m);
}

void add_profile(const std::string &name, const zt::pairs_t &pairs) {
    if (pairs.empty()) {
        encap_name_t rec{};
        std::strncpy(rec.encap_name, name.c_str(), sizeof rec.encap_name - 1);
        tree_insert(zorv_drel_gbl_cfg_avl, zorv_drel_create_gbl_node(nullptr, 1, 260, &rec));
        return;
    }
    auto map = zt::map_val(name, pairs);
    tree_insert(zorv_drel_gbl_cfg_avl,
                zorv_drel_create_gbl_node(nullptr, 2, sizeof *map, map.get()));
}

void rebuild_profiles(uint32_t count, uint32_t vlans, const vni_rule &vni) {
    zt::tlv_buf array(count * (2 * 4 + 256 + sizeof(encap_map_t)) + 4);
    for (uint32_t p = 1; p <= count; ++p) {
        const std::string name = "bench-profile-" + std::to_string(p);
        zt::add_bytes(array, 1, zt::name_wire(name));
        zt::pairs_t pairs;
        for (uint32_t v = 1; v <= vlans; ++v)
            pairs.emplace_back(v, vni(p, v));
        array.add(2, *zt::map_val(name, pairs));
    }
    zorv_drel_type1_cfg_cache_rebuild(array.get(), 1, 0);
}

void clear_profiles() {
    while (auto *n = static_cast<gbl_cfg_avl_node_t *>(tree_first(zorv_drel_gbl_cfg_avl)))
        zorv_drel_gbl_cfg_delete_cache_node(n);
}

tlv_array_t *export_params(uint32_t is_gbl, uint32_t if_index) {
    tlv_array_t *a = nullptr;
    zorv_drel_type1_cfg_get_params(is_gbl, if_index, &a);
    return a;
}

} // namespace bench
