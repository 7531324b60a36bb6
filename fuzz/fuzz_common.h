// fuzz_common.h - a small cache that the fuzzers check peer input against.
#ifndef ZORV_FUZZ_COMMON_H
#define ZORV_FUZZ_COMMON_H

#include <cstring>
#include <vector>

#include <platform/platform.h>
#include <zorv_drel.h>

namespace fuzz {

constexpr uint32_t kIfIndex = 0x2000;

// Caches two service instances on one peer-link interface and a few member VNIs.
inline void fill_cache() {
    drelm_host_set_interface(kIfIndex, 1, 3);
    for (uint32_t vsi = 1; vsi <= 2; ++vsi) {
        std::vector<uint8_t> v(ZORV_VSI_ALL_FIXED_LEN + 8 * 3, 0);
        auto *h = reinterpret_cast<vsi_all_t *>(v.data());
        *h = vsi_all_t{kIfIndex, vsi, 1, ZORV_MAP_MODE_DFS, 3};
        for (uint32_t i = 0; i < 3; ++i) h->dyn_map[i] = vsi_dyn_map_t{5000 + 10 * vsi + i, 10 + i};
        ZORV_VSI_ALL_TAIL(h, 3)->dot1q_bmp.len = 512;
        if_cfg_avl_key_t key{};
        zorv_drel_set_if_key(&key, 9, static_cast<uint32_t>(v.size()), v.data(), kIfIndex);
        tree_insert(zorv_drel_if_cfg_avl,
                    zorv_drel_create_if_node(&key, 9, static_cast<uint16_t>(v.size()), v.data()));
    }
    for (uint32_t i = 0; i < 4; ++i) {
        member_vni_t m{100 + i, 5010 + i};
        tree_insert(zorv_drel_gbl_cfg_memvni_avl, zorv_drel_create_gbl_memvni_node(nullptr, 8, 8, &m));
    }
}

} // namespace fuzz

#endif
