// SPDX-License-Identifier: Apache-2.0
// zorv_drel_gbl_compatcheck.cpp - the strict compatibility check: the attributes of each
// service instance compared as a whole, one verdict per parameter and no failed sets.
#include <cstring>

#include "zorv_drel_compat.h"

namespace {

using namespace zorv;

constexpr const char *kGblCompatCheckTlv = "zorv_drel_type1_cfg_gbl_compat_check_tlv";

// The strict comparison of two readable type-9 values.
uint32_t gbl_check_vsi_attributes(uint16_t lcl_len, const vsi_all_view &lv, const vsi_all_view &rv,
                                  uint32_t ver) {
    const char *fn = kGblCompatCheckTlv;
    const vsi_all_t &l = *lv.head, &r = *rv.head;
    const uint32_t fail_rc =
        zorv_drel_get_type1_cfg_compat_chk_errcode(ZORV_TYPE1_INTF_VSI_ATTRIBUTES);
    ZLOG_AS(fn, "%s(%d): lcl parent intf idx:0x%x, vsi:%d\n", l.if_index, l.vsi);
    uint32_t rc = ZORV_DREL_OK;
    if (find_if_node(fn, lcl_len, l, rc) == nullptr) return rc;
    ZLOG_AS(fn, "%s(%d): lcl parent intf idx:0x%x, vsi:%d, rmt parent intf idx:0x%x, vsi:%d\n",
            l.if_index, l.vsi, r.if_index, r.vsi);

    if (l.map_mode != r.map_mode) {
        ZLOG_AS(fn, "%s(%d): VSI type for local and remote does not match\n");
        return fail_rc;
    }
    // Peers before version 40 send no allowed-VLAN bitmap or profile name worth comparing.
    if (ver > 39) {
        if (std::strncmp(lv.tail->prof_name, rv.tail->prof_name, ZORV_NAME_LEN) != 0)
            return fail_rc;
        if (l.map_mode == ZORV_MAP_MODE_VDP) {
            ZLOG_AS(fn, "%s(%d): VDP configured on both local and remote\n");
            if (std::memcmp(lv.tail->dot1q_bmp.bits, rv.tail->dot1q_bmp.bits,
                            sizeof lv.tail->dot1q_bmp.bits) == 0)
                return ZORV_DREL_OK;
            ZLOG_AS(fn, "%s(%d): Same allowed dot1q bmp not configured on both local and remote\n");
            return fail_rc;
        }
    }
    switch (l.map_mode) {
    case ZORV_MAP_MODE_STATIC:
        ZLOG_AS(fn, "%s(%d): STATIC configured on both local and remote\n");
        return ZORV_DREL_OK;
    case ZORV_MAP_MODE_DFS:
    case ZORV_MAP_MODE_VMT:
    case ZORV_MAP_MODE_LLDP: {
        ZLOG_AS(fn, "%s(%d): DFS/VMT/LLDP configured on both local and remote\n");
        if (l.dyn_map_cnt != r.dyn_map_cnt) {
            ZLOG_AS(fn, "%s(%d): Local & Remote dot1q does not match\n");
            return fail_rc;
        }
        vni_by_dot1q table;
        for (const auto &p : lv.pairs)
            if (valid_pair(p.dot1q, p.vni)) table.set(p.dot1q, p.vni);
        for (const auto &p : rv.pairs) {
            if (!valid_pair(p.dot1q, p.vni) || table[p.dot1q] == p.vni) continue;
            ZLOG_AS(fn, "%s(%d): Local & Remote dot1q does not match\n");
            return fail_rc;
        }
        return ZORV_DREL_OK;
    }
    default: return ZORV_DREL_OK;
    }
}

} // namespace

using namespace zorv;

uint32_t zorv_drel_type1_cfg_gbl_compat_check_tlv(uint16_t lcl_type, uint16_t lcl_len,
                                                  const void *lcl_val, uint16_t rmt_type,
                                                  uint32_t rmt_len, const void *rmt_val) {
    ZLOG("%s(%d): lcl_type:%d, rmt_type:%d\n", lcl_type, rmt_type);
    if (lcl_val == nullptr || rmt_val == nullptr) {
        ZLOG("%s(%d): Local || Remote  Null)\n");
        return ZORV_DREL_ERR_PARAM_MISSING;
    }
    vsi_all_view lv, rv;
    if (lcl_type != ZORV_TYPE1_INTF_VSI_ATTRIBUTES) {
        // Nothing of the local value is read; a remote one of a known type must still fit.
        if (!value_readable(__func__, lcl_type, "rmt", rmt_val, rmt_len, rv))
            return zorv_drel_get_type1_cfg_compat_chk_errcode(lcl_type);
        ZLOG("%s(%d): Unknown type:%d\n", lcl_type);
        return ZORV_DREL_OK;
    }
    const uint32_t ver = peer_version();
    if (!value_readable(__func__, lcl_type, "lcl", lcl_val, lcl_len, lv, type9_rules(ver, true)) ||
        !value_readable(__func__, lcl_type, "rmt", rmt_val, rmt_len, rv, type9_rules(ver, false)))
        return zorv_drel_get_type1_cfg_compat_chk_errcode(lcl_type);
    return gbl_check_vsi_attributes(lcl_len, lv, rv, ver);
}

uint32_t zorv_drel_type1_cfg_gbl_compat_check(uint32_t /*app_param*/, const tlv_array_t *lcl_tlvs,
                                              const tlv_array_t *rmt_tlvs) {
    // The text says nothing is done, yet the check goes on: readers of the log know it so.
    ZLOG("%s(%d): (GBL) type-1 compat check - nothing to be done\n");
    if (lcl_tlvs == nullptr && rmt_tlvs == nullptr) {
        ZLOG("%s(%d): Error: type-1 compat check invalid args - both local and remote Null\n");
        return ZORV_DREL_OK;
    }
    tlv_walker lcl(lcl_tlvs), rmt(rmt_tlvs);
    // One side missing: only a type-9 parameter on the other side counts as missing.
    if (rmt_tlvs == nullptr || lcl_tlvs == nullptr) {
        if (rmt_tlvs == nullptr)
            ZLOG("%s(%d): Remote  Null)\n");
        else
            ZLOG("%s(%d): Local  Null)\n");
        tlv first{};
        const int rc = next_tlv(__func__, rmt_tlvs == nullptr ? lcl : rmt, first);
        if (rc != 0) return static_cast<uint32_t>(rc);
        if (first.type != ZORV_TYPE1_INTF_VSI_ATTRIBUTES) return ZORV_DREL_OK;
        ZLOG("%s(%d): Local and Remote NULL\n");
        return ZORV_DREL_ERR_PARAM_MISSING;
    }
    const uint32_t num_lcl = lcl.count();
    if (!counts_match(__func__, num_lcl, rmt.count())) return ZORV_DREL_ERR_INVALID_ARG;
    static constexpr pair_texts kTexts{
        "%s(%d): Compat check - i:%d lcl_type:%s, len:%d, rmt_type:%s, len:%d \n",
        "%s(%d): RESULT: compat check(0x%x) %s\n"};
    return check_pairs(__func__, lcl, &rmt, num_lcl, kTexts, [](const tlv &l, const tlv &r) {
        return zorv_drel_type1_cfg_gbl_compat_check_tlv(l.type, l.len, l.value, r.type, r.len,
                                                        r.value);
    });
}
