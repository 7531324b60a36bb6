// SPDX-License-Identifier: Apache-2.0
// zorv_drel_compatcheck.cpp - the graceful per-VNI compatibility check of local against remote
// TLV arrays, with its result holders, and the helpers the three checks share.
//
// Remote arrays and values come from the other switch. Every value that a check reads is checked
// against the length its TLV gives first: a remote value of a known type shorter than that
// type's record, or a type-9 value whose dyn_map_cnt is negative (remote) or claims more pairs
// than the value holds, fails its pair with the type's compatibility code and is never read.
// What a type-9 value must hold depends on the peer's protocol version.
#include "zorv_drel_compat.h"

namespace zorv {

const char *passed_or_failed(uint32_t rc) noexcept {
    return rc != 0 ? "Failed" : "Passed";
}

// Checks that `value` (non-null, `len` bytes) can be read as a value of `type`; a type-9 value
// is parsed into `view` under `rules`. Logs the fault on behalf of `fn` and returns false when
// it cannot.
bool value_readable(const char *fn, uint16_t type, const char *side, const void *value,
                    uint32_t len, vsi_all_view &view, const vsi_all_rules &rules) noexcept {
    const value_check c = check_value(type, value, len, rules, &view);
    switch (c.fault) {
    case value_fault::none:
    case value_fault::null_value: return true;
    case value_fault::too_short:
        ZLOG_AS(fn,
                "%s(%d): Failed type-1 compat check for type:%d - %s value too short, len:%u, "
                "min:%u\n",
                type, side, len, c.need);
        return false;
    case value_fault::negative_count:
    case value_fault::count_past_end: break;
    }
    ZLOG_AS(fn,
            "%s(%d): Failed type-1 compat check for type:%d - %s value len:%u does not hold "
            "dyn_map_cnt:%d\n",
            type, side, len,
            static_cast<int32_t>(static_cast<const vsi_all_t *>(value)->dyn_map_cnt));
    return false;
}

// The peer protocol version, which decides what a type-9 value carries.
uint32_t peer_version() noexcept {
    uint32_t ver = 0;
    (void)drelm_api_get_pelk_oper_ver(&ver, 1);
    return ver;
}

// The local interface node of a type-9 value, or null with the code that explains why.
const if_cfg_avl_node_t *find_if_node(const char *fn, uint16_t lcl_len, const vsi_all_t &l,
                                      uint32_t &rc) noexcept {
    const auto found = find<if_tree>({ZORV_TYPE1_INTF_VSI_ATTRIBUTES, lcl_len, &l}, l.if_index);
    rc = found.rc;
    if (rc != ZORV_DREL_OK) {
        (void)key_failed(fn, rc);
        return nullptr;
    }
    const if_cfg_avl_node_t *node = found.node;
    if (node == nullptr) {
        ZLOG_AS(fn, "%s(%d): Error: Could not find cfg_p for lcl parent intf idx:0x%x, vsi:%d\n",
                l.if_index, l.vsi);
        rc = ZORV_DREL_ERR_FAILURE;
    }
    return node;
}

// Logs the array sizes on behalf of `fn` and applies the rule both drivers share: the counts
// may differ only as 1 against 0.
bool counts_match(const char *fn, uint32_t num_lcl, uint32_t num_rmt) noexcept {
    ZLOG_AS(fn, "%s(%d): type-1 compat check size of array - num_lcl_tlv=%d, num_rmt_tlv=%d\n",
            num_lcl, num_rmt);
    if (num_lcl != num_rmt && (num_lcl > 1 || num_rmt > 1)) {
        ZLOG_AS(fn, "%s(%d): type-1 compat check invalid args - num_lcl_tlv=%d, num_rmt_tlv=%d\n",
                num_lcl, num_rmt);
        return false;
    }
    return true;
}

// The next TLV of a walk; a failure is logged on behalf of `fn` and its code returned.
int next_tlv(const char *fn, tlv_walker &walk, tlv &out) noexcept {
    const int rc = walk.next(out);
    if (rc != 0)
        ZLOG_AS(fn, "%s(%d): failed (rc=0x%x, %s) get_next_tlv\n", rc, error_to_string(rc));
    return rc;
}

} // namespace zorv

namespace {

using namespace zorv;

constexpr const char *kCompatCheckTlv = "zorv_drel_type1_cfg_compat_check_tlv";

void add_vni(type1_compat_result_t *res, uint32_t vni) noexcept {
    if (res != nullptr && res->vni_set != nullptr && vni <= ZORV_VNI_MAX)
        (void)bitset_set(res->vni_set, vni);
}

uint32_t check_member_vni(const bmp4096_t &fabric, uint16_t lcl_len, const member_vni_t &l,
                          const member_vni_t *r, bool rmt_readable, type1_compat_result_t *pass_res,
                          type1_compat_result_t *fail_res) {
    const char *fn = kCompatCheckTlv;
    if (r != nullptr && rmt_readable && r->vni == l.vni) {
        // A fabric BD passes whatever BD the peer names.
        if (bmp::test(fabric, l.bd)) {
            ZLOG_AS(fn, "%s(%d): sw_bd: %d is fabric Bd\n", l.bd);
            add_vni(pass_res, l.vni);
            return ZORV_DREL_OK;
        }
        if (l.bd == r->bd) {
            add_vni(pass_res, l.vni);
            ZLOG_AS(fn,
                    "%s(%d):  Pass type-1 compat check type:%d, len=%d lcl bd:%d, vni:%d rmt "
                    "bd:%d,vni:%d\n",
                    ZORV_TYPE1_GBL_MEMBER_VNI, lcl_len, l.bd, l.vni, r->bd, r->vni);
            return ZORV_DREL_OK;
        }
    }
    if (rmt_readable)
        ZLOG_AS(fn, "%s(%d): Failed memvni compat check%s - vni:%d for lcl_bd:%d (rmt_bd:%d)\n",
                r != nullptr ? "" : "(Rmt Null)", l.vni, l.bd, r != nullptr ? r->bd : 0u);
    add_vni(fail_res, l.vni);
    return zorv_drel_get_type1_cfg_compat_chk_errcode(ZORV_TYPE1_GBL_MEMBER_VNI);
}

// `r` is the remote value when it is present and readable, else null.
uint32_t check_vsi_attributes(uint16_t lcl_len, const vsi_all_view &lv, bool rmt_present,
                              const vsi_all_t *r, uint32_t aux_ctx, type1_compat_result_t *pass_res,
                              type1_compat_result_t *fail_res) {
    const char *fn = kCompatCheckTlv;
    const vsi_all_t &l = *lv.head;
    const uint32_t fail_rc =
        zorv_drel_get_type1_cfg_compat_chk_errcode(ZORV_TYPE1_INTF_VSI_ATTRIBUTES);
    ZLOG_AS(fn, "%s(%d): lcl parent intf idx:0x%x, vsi:%d\n", l.if_index, l.vsi);
    uint32_t rc = ZORV_DREL_OK;
    const if_cfg_avl_node_t *node = find_if_node(fn, lcl_len, l, rc);
    if (node == nullptr) return rc;

    if (r == nullptr) {
        // A remote value that cannot be read fails the whole service instance, as a missing one.
        (void)zorv_drel_lib_fail_all_vlans_vsi(node, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, aux_ctx,
                                               pass_res, fail_res);
        if (rmt_present)
            ZLOG_AS(fn,
                    "%s(%d): Failed type-1 compat check for vsi type=%d, len=%d, vsi=%d (Remote "
                    "malformed)\n",
                    ZORV_TYPE1_INTF_VSI_ATTRIBUTES, lcl_len, l.vsi);
        else
            ZLOG_AS(fn,
                    "%s(%d): Failed type-1 compat check for vsi type=%d, len=%d, vsi=%d (Remote "
                    "NULL)\n",
                    ZORV_TYPE1_INTF_VSI_ATTRIBUTES, lcl_len, l.vsi);
        return fail_rc;
    }
    ZLOG_AS(fn, "%s(%d): lcl parent intf idx:0x%x, vsi:%d, rmt parent intf idx:0x%x, vsi:%d\n",
            l.if_index, l.vsi, r->if_index, r->vsi);
    if (l.admin == r->admin) {
        if (zorv_drel_lib_check_failed_bds_vsi(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, &l, r, aux_ctx,
                                               pass_res, fail_res) != ZORV_DREL_OK)
            return fail_rc;
        ZLOG_AS(fn,
                "%s(%d): Passed type-1 compat check for vsitype=%d, len=%d, intf:0x%x, vsi=%d\n",
                ZORV_TYPE1_INTF_VSI_ATTRIBUTES, lcl_len, l.if_index, l.vsi);
        return ZORV_DREL_OK;
    }
    ZLOG_AS(fn,
            "%s(%d): Failed type-1 compat check for vsi admin stat type=%d, len=%d, vsi=%d, "
            "lcl_value=%d, rmt_value=%d\n",
            ZORV_TYPE1_INTF_VSI_ATTRIBUTES, lcl_len, l.vsi, l.admin, r->admin);
    (void)zorv_drel_lib_fail_all_vlans_vsi(node, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, aux_ctx, pass_res,
                                           fail_res);
    return fail_rc;
}

} // namespace

using namespace zorv;

uint32_t zorv_drel_type1_cfg_compat_check_tlv(uint16_t lcl_type, uint16_t lcl_len,
                                              const void *lcl_val, uint16_t rmt_type,
                                              uint32_t rmt_len, const void *rmt_val,
                                              uint32_t aux_ctx, type1_compat_result_t *pass_res,
                                              type1_compat_result_t *fail_res) {
    bmp4096_t fabric;
    bmp::reset(fabric);
    (void)bdmgr_fabric_bd_allocation_get(static_cast<uint16_t>(system_context_id_get()), &fabric);
    ZLOG("%s(%d): lcl_type:%d, rmt_type:%d\n", lcl_type, rmt_type);

    vsi_all_view lv, rv;
    if (lcl_val == nullptr) {
        ZLOG("%s(%d): Failed type-1 compat check for type:%d rmt_type:%d(Local Null)\n", lcl_type,
             rmt_type);
        if (rmt_type != ZORV_TYPE1_GBL_MEMBER_VNI) return ZORV_DREL_ERR_PARAM_MISSING;
        if (rmt_val != nullptr) {
            if (value_readable(__func__, rmt_type, "rmt", rmt_val, rmt_len, rv))
                add_vni(fail_res, static_cast<const member_vni_t *>(rmt_val)->vni);
            return zorv_drel_get_type1_cfg_compat_chk_errcode(ZORV_TYPE1_GBL_MEMBER_VNI);
        }
        ZLOG("%s(%d): Local and Remote NULL\n");
        return ZORV_DREL_ERR_PARAM_MISSING;
    }
    const uint32_t ver = lcl_type == ZORV_TYPE1_INTF_VSI_ATTRIBUTES ? peer_version() : 0;
    // Only the types judged here are read on the local side; one that cannot be read is
    // charged to nobody.
    const bool judged =
        lcl_type == ZORV_TYPE1_GBL_MEMBER_VNI || lcl_type == ZORV_TYPE1_INTF_VSI_ATTRIBUTES;
    if (judged &&
        !value_readable(__func__, lcl_type, "lcl", lcl_val, lcl_len, lv, type9_rules(ver, true)))
        return zorv_drel_get_type1_cfg_compat_chk_errcode(lcl_type);
    // The remote value is judged as a value of the local type.
    const bool rmt_readable =
        rmt_val == nullptr ||
        value_readable(__func__, lcl_type, "rmt", rmt_val, rmt_len, rv, type9_rules(ver, false));

    switch (lcl_type) {
    case ZORV_TYPE1_GBL_MEMBER_VNI:
        return check_member_vni(fabric, lcl_len, *static_cast<const member_vni_t *>(lcl_val),
                                static_cast<const member_vni_t *>(rmt_val), rmt_readable, pass_res,
                                fail_res);
    case ZORV_TYPE1_INTF_VSI_ATTRIBUTES:
        return check_vsi_attributes(lcl_len, lv, rmt_val != nullptr, rv.head, aux_ctx, pass_res,
                                    fail_res);
    default:
        // Not judged here, but a malformed remote value of a known type still fails.
        if (!rmt_readable) return zorv_drel_get_type1_cfg_compat_chk_errcode(lcl_type);
        ZLOG("%s(%d): Unknown type:%d\n", lcl_type);
        return ZORV_DREL_OK;
    }
}

uint32_t zorv_drel_type1_cfg_compat_check(uint32_t app_param, const tlv_array_t *lcl_tlvs,
                                          const tlv_array_t *rmt_tlvs, uint32_t flags,
                                          uint32_t /*reserved*/, type1_compat_result_t *pass_res,
                                          type1_compat_result_t *fail_res) {
    ZLOG("%s(%d): type-1 compat check - app_param:%d, pvlppelkflag:%d, pvlglb:%d \n", app_param,
         flags & 2u, flags & 1u);
    if (lcl_tlvs == nullptr && rmt_tlvs == nullptr) {
        ZLOG("%s(%d): Error: type-1 compat check invalid args - both local and remote Null\n");
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    if (pass_res != nullptr) pass_res->vni_set = vni_set_create();
    if (fail_res != nullptr) fail_res->vni_set = vni_set_create();

    tlv_walker lcl(lcl_tlvs), rmt(rmt_tlvs);
    // Without a local array only the first remote TLV is judged.
    if (lcl_tlvs == nullptr) {
        tlv r{};
        if (next_tlv(__func__, rmt, r) != 0) return ZORV_DREL_ERR_FAILURE;
        const uint32_t res = zorv_drel_type1_cfg_compat_check_tlv(0, 0, nullptr, r.type, r.len,
                                                                  r.value, 0, pass_res, fail_res);
        ZLOG("%s(%d): RESULT: Type-1 compat check(0x%x) %s\n", res, passed_or_failed(res));
        return res;
    }
    const uint32_t num_lcl = lcl.count();
    if (!counts_match(__func__, num_lcl, rmt_tlvs != nullptr ? rmt.count() : 0))
        return ZORV_DREL_ERR_INVALID_ARG;
    // The result is the last pair's; the holders gather the failures of every pair.
    static constexpr pair_texts kTexts{
        "%s(%d): type-1 compat check - i:%d lcl_type:%s, len:%d, rmt_type:%s, len:%d \n",
        "%s(%d): RESULT: Type-1 compat check(0x%x) %s\n"};
    return check_pairs(__func__, lcl, rmt_tlvs != nullptr ? &rmt : nullptr, num_lcl, kTexts,
                       [&](const tlv &l, const tlv &r) {
                           return zorv_drel_type1_cfg_compat_check_tlv(l.type, l.len, l.value,
                                                                       r.type, r.len, r.value, 0,
                                                                       pass_res, fail_res);
                       });
}
