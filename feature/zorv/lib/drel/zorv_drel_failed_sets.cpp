// SPDX-License-Identifier: Apache-2.0
// zorv_drel_failed_sets.cpp - lookups from VNI to bridge domain and from a service instance or
// encapsulation profile to its dot1q map, and the sets of VLANs, BDs and VNIs that fail a check.
#include <cstdlib>
#include <cstring>

#include "zorv_drel_trees.h"

namespace zorv {
namespace {

// The working VNI set of "fail all VLANs": one per process, reset by every call, released at
// unload. A set only grows behind its root, so a fresh root is the cheapest full reset.
bitset_t *g_fail_all_working_set = nullptr;

bitset_t *fail_all_working_set_reset() noexcept {
    if (g_fail_all_working_set != nullptr) bitset_free(g_fail_all_working_set);
    g_fail_all_working_set = vni_set_create();
    return g_fail_all_working_set;
}

// Marks BD `bd` failed: set in `failed`, cleared in `pass`. A BD that does not fit a bitmap is
// logged on behalf of `fn` and left out of both.
void mark_failed_bd(const char *fn, uint32_t bd, uint32_t vni, bmp4096_t &pass,
                    bmp4096_t &failed) noexcept {
    if (bd >= ZORV_DOT1Q_COUNT)
        ZLOG_AS(fn, "%s(%d): Error: bd:%u (vni:%u) out of bitmap range, not marked\n", bd, vni);
    bmp::set(failed, bd);
    bmp::clear(pass, bd);
}

void init_outputs(bmp4096_t &pass, bmp4096_t &failed) noexcept {
    bmp::fill(pass, 0xFF);
    bmp::reset(failed);
}

// The result is decided by the failed bitmap alone: a BD that could not be marked in it was
// logged, and leaves the verdict as the bitmap shows it.
uint32_t finish_failed_vlans(const char *fn, uint16_t type, const bmp4096_t *pelk_bmp,
                             const bmp4096_t &pass, const bmp4096_t &failed) noexcept {
    const uint32_t failed_cnt = bmp::count(&failed);
    ZLOG_AS(fn, "%s(%d): pelk vlan cnt:%d, failed cnt:%d, pass cnt:%d\n", bmp::count(pelk_bmp),
            failed_cnt, bmp::count(&pass));
    if (failed_cnt == 0) return ZORV_DREL_OK;
    return zorv_drel_get_type1_cfg_compat_chk_errcode(type);
}

void set_add(type1_compat_result_t *res, uint32_t vni) noexcept {
    if (res != nullptr && res->vni_set != nullptr && vni <= ZORV_VNI_MAX)
        (void)bitset_set(res->vni_set, vni);
}

void set_remove(type1_compat_result_t *res, uint32_t vni) noexcept {
    if (res != nullptr && res->vni_set != nullptr && vni <= ZORV_VNI_MAX)
        (void)bitset_clear(res->vni_set, vni);
}

// Calls f(dot1q, vni) for each valid pair of a type-9 value in order (a count of 0 or less, or
// no value, means none); an invalid pair is logged on behalf of `fn`, naming its `side`.
template <typename F>
void for_each_valid_pair(const char *fn, const vsi_all_t *v, const char *side, F &&f) {
    const int32_t count = v != nullptr ? static_cast<int32_t>(v->dyn_map_cnt) : 0;
    for (int32_t i = 0; i < count; ++i) {
        const uint32_t vni = v->dyn_map[i].vni, dot1q = v->dyn_map[i].dot1q;
        if (valid_pair(dot1q, vni))
            f(dot1q, vni);
        else
            ZLOG_AS(fn, "%s(%d): ASSERT: invalid %s dot1q:%d or vni:%d\n", side, dot1q, vni);
    }
}

int32_t set_count(const type1_compat_result_t *res) noexcept {
    return bitset_count(res != nullptr ? res->vni_set : nullptr);
}

} // namespace

void release_working_sets() noexcept {
    if (g_fail_all_working_set != nullptr) bitset_free(g_fail_all_working_set);
    g_fail_all_working_set = nullptr;
}

} // namespace zorv

using namespace zorv;

// ---- Lookups -------------------------------------------------------------------------------

uint32_t zorv_drel_lib_get_bd_for_vni(uint32_t vni) {
    if (zorv_drel_gbl_cfg_memvni_avl == nullptr) {
        ZLOG("%s(%d): Error: Failed to get avl for memvni:%d\n", vni);
        return 0;
    }
    const member_vni_t value{0, vni};
    const auto found = find<memvni_tree>({ZORV_TYPE1_GBL_MEMBER_VNI, ZORV_MEMBER_VNI_LEN, &value});
    if (found.rc != ZORV_DREL_OK) {
        (void)key_failed(__func__, found.rc);
        return 0;
    }
    const gbl_cfg_memvni_avl_node_t *node = found.node;
    if (node != nullptr) {
        ZLOG("%s(%d): cfg_p: bd:%d, vni:%d\n", node->bd, node->vni);
        return node->bd;
    }
    ZLOG("%s(%d): Error: Failed to get bd for memvni:%d\n", vni);
    return 0;
}

uint32_t zorv_drel_lib_get_bd_bmp_for_vsi(const if_cfg_avl_node_t *if_node, bmp4096_t *bd_bmp,
                                          bitset_t *vni_set) {
    if (if_node == nullptr || bd_bmp == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    bmp::reset(*bd_bmp);
    for (uint32_t v = 1; v < ZORV_DOT1Q_COUNT; ++v) {
        const uint32_t vni = if_node->dot1q_vni[v];
        if (vni == 0) continue;
        if (vni_set != nullptr && vni <= ZORV_VNI_MAX) (void)bitset_set(vni_set, vni);
        const uint32_t bd = zorv_drel_lib_get_bd_for_vni(vni);
        if (bd == 0) continue;
        if (bd >= ZORV_DOT1Q_COUNT)
            ZLOG("%s(%d): Error: bd:%u (vni:%u) out of bitmap range, not marked\n", bd, vni);
        bmp::set(*bd_bmp, bd);
    }
    return ZORV_DREL_OK;
}

uint32_t zorv_drel_lib_get_gbl_dot1qmap_for_encap(const char *encap_name, uint32_t **map_out) {
    if (encap_name == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    if (zorv_drel_gbl_cfg_avl == nullptr) {
        ZLOG("%s(%d): Error: Failed to get avl for encap:%s\n", encap_name);
        return ZORV_DREL_ERR_FAILURE;
    }
    for (auto *node : zorv::tree_nodes<gbl_cfg_avl_node_t>(zorv_drel_gbl_cfg_avl)) {
        if (std::strncmp(node->map.encap_name, encap_name, ZORV_NAME_LEN - 1) != 0) continue;
        ZLOG("%s(%d): Found matching prof for %s\n", encap_name);
        if (node->map_exists == 0) {
            ZLOG("%s(%d): Error: Failed to get map for encap:%s\n", encap_name);
            return ZORV_DREL_ERR_FAILURE;
        }
        if (map_out == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
        *map_out = node->map.dot1q_vni;
        return ZORV_DREL_OK;
    }
    ZLOG("%s(%d): Error: Failed to get profile for encap:%s\n", encap_name);
    return ZORV_DREL_ERR_FAILURE;
}

// ---- Failed VLANs by VNI and by bitmap -----------------------------------------------------

uint32_t zorv_drel_lib_check_failed_vlans_vni(uint16_t type, const uint32_t *lcl_map,
                                              const uint32_t *rmt_map, const bmp4096_t *pelk_bmp,
                                              bmp4096_t *pass_bmp, bmp4096_t *failed_bmp) {
    if (pass_bmp == nullptr || failed_bmp == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    init_outputs(*pass_bmp, *failed_bmp);
    ZLOG("%s(%d): check for vlans lcl_type:%d, lcl_val:%p, rmt_val:%p\n", type,
         static_cast<const void *>(lcl_map), static_cast<const void *>(rmt_map));
    if (lcl_map == nullptr) return zorv_drel_get_type1_cfg_compat_chk_errcode(type);

    for (uint32_t v = 0; v < ZORV_DOT1Q_COUNT; ++v) {
        const uint32_t l = lcl_map[v];
        const uint32_t r = rmt_map != nullptr ? rmt_map[v] : 0u;
        if (rmt_map != nullptr && l == r) continue;
        if (l == 0) continue;
        // BD 0 (no BD for the VNI) is marked failed on purpose.
        const uint32_t b = zorv_drel_lib_get_bd_for_vni(l);
        mark_failed_bd(__func__, b, l, *pass_bmp, *failed_bmp);
        ZLOG("%s(%d): Failed vlan:%d, sw_bd_id:%d, lcl vni:%d, rmt vni:%d\n", v, b, l, r);
    }
    return finish_failed_vlans(__func__, type, pelk_bmp, *pass_bmp, *failed_bmp);
}

uint32_t zorv_drel_lib_check_failed_vlans_bmp(uint16_t type, const uint32_t *dot1q_map,
                                              const bmp4096_t *lcl_bmp, const bmp4096_t *rmt_bmp,
                                              const bmp4096_t *pelk_bmp, bmp4096_t *pass_bmp,
                                              bmp4096_t *failed_bmp) {
    if (pass_bmp == nullptr || failed_bmp == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    init_outputs(*pass_bmp, *failed_bmp);
    ZLOG("%s(%d): check for vlans for lcl type:%d, dot1map:%p, lcl_bmp:%p, rmt_bmp:%p \n", type,
         static_cast<const void *>(dot1q_map), static_cast<const void *>(lcl_bmp),
         static_cast<const void *>(rmt_bmp));
    if (lcl_bmp == nullptr) return zorv_drel_get_type1_cfg_compat_chk_errcode(type);

    const char *fn = __func__; // the walk below logs on behalf of this operation
    auto judge_vlan = [&](uint32_t v) {
        const bool l = bmp::test(*lcl_bmp, v);
        const bool fails = rmt_bmp != nullptr ? l != bmp::test(*rmt_bmp, v) : l;
        // A failing VLAN without a VNI or without a BD leaves no trace.
        const uint32_t e = fails && dot1q_map != nullptr ? dot1q_map[v] : 0u;
        const uint32_t b = e != 0 ? zorv_drel_lib_get_bd_for_vni(e) : 0u;
        if (b == 0) return;
        mark_failed_bd(fn, b, e, *pass_bmp, *failed_bmp);
        ZLOG_AS(fn, "%s(%d): Failed bd:%d (vni:%d)\n", b, e);
    };
    if (pelk_bmp != nullptr) bmp::for_each_set(*pelk_bmp, judge_vlan);
    return finish_failed_vlans(__func__, type, pelk_bmp, *pass_bmp, *failed_bmp);
}

// ---- Failed BDs of a service instance ------------------------------------------------------

zorv::vni_by_dot1q::table &zorv::vni_by_dot1q::table_of_thread() noexcept {
    static thread_local table t{};
    return t;
}

uint32_t zorv_drel_lib_check_failed_bds_vsi(uint16_t type, const vsi_all_t *lcl_val,
                                            const vsi_all_t *rmt_val, uint32_t /*aux_ctx*/,
                                            type1_compat_result_t *pass_res,
                                            type1_compat_result_t *fail_res) {
    ZLOG("%s(%d): check for vlans lcl_type:%d, lcl_val:%p, rmt_val:%p\n", type,
         static_cast<const void *>(lcl_val), static_cast<const void *>(rmt_val));
    if (lcl_val == nullptr) return zorv_drel_get_type1_cfg_compat_chk_errcode(type);

    // The local VNI by VLAN, so every lookup is direct.
    vni_by_dot1q local;
    const char *fn = __func__; // the pair walks below log on behalf of this operation
    for_each_valid_pair(fn, lcl_val, "lcl", [&](uint32_t dot1q, uint32_t vni) {
        local.set(dot1q, vni);
        set_add(fail_res, vni);
        set_remove(pass_res, vni);
        ZLOG_AS(fn, "%s(%d): Init as failed vlan:%d, lcl vni:%d\n", dot1q, local[dot1q]);
    });
    for_each_valid_pair(fn, rmt_val, "rmt", [&](uint32_t dot1q, uint32_t vni) {
        if (vni != local[dot1q]) return;
        set_add(pass_res, vni);
        set_remove(fail_res, vni);
        ZLOG_AS(fn, "%s(%d): Passed vlan:%dlcl vni:%d, rmt vni:%d\n", dot1q, local[dot1q], vni);
    });

    const int32_t failed_cnt = set_count(fail_res);
    ZLOG("%s(%d): failed cnt:%d, pass cnt:%d\n", failed_cnt, set_count(pass_res));
    return failed_cnt == 0 ? ZORV_DREL_OK : zorv_drel_get_type1_cfg_compat_chk_errcode(type);
}

// ---- Failing all VLANs of a service instance -----------------------------------------------

uint32_t zorv_drel_lib_fail_all_vlans_vsi(const if_cfg_avl_node_t *if_node, uint16_t type,
                                          uint32_t /*aux_ctx*/, type1_compat_result_t *pass_res,
                                          type1_compat_result_t *fail_res) {
    if (if_node == nullptr) return ZORV_DREL_OK;
    ZLOG("%s(%d) - cfg_p:%p, lcl_type:%d, if_index:0x%x, vsi_id:%d\n",
         static_cast<const void *>(if_node), type, if_node->if_index, if_node->vsi_id);

    bitset_t *working = fail_all_working_set_reset();
    bmp4096_t bds;
    bmp::reset(bds);
    (void)zorv_drel_lib_get_bd_bmp_for_vsi(if_node, &bds, working);

    for_each_vni(working, [&](uint32_t vni) {
        set_add(fail_res, vni);
        set_remove(pass_res, vni);
    });
    return ZORV_DREL_OK;
}
