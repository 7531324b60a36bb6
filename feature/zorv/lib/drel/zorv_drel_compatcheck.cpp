// zorv_drel_compatcheck.cpp - type-1 compatibility checks of local against remote TLV arrays:
// the graceful per-VNI check with its result holders, the strict whole-attribute check, and the
// re-check of a peer's TLVs against the local cache.
//
// Remote arrays and values come from the other switch. Every value that a check reads is checked
// against the length its TLV gives first: a remote value of a known type shorter than that
// type's record, or a type-9 value whose dyn_map_cnt is negative (remote) or claims more pairs
// than the value holds, fails its pair with the type's compatibility code and is never read.
// What a type-9 value must hold depends on the peer's protocol version.
#include <array>
#include <cstring>

#include "zorv_drel_internal.h"

namespace zorv {
namespace {

constexpr const char *kCompatCheckTlv = "zorv_drel_type1_cfg_compat_check_tlv";
constexpr const char *kGblCompatCheckTlv = "zorv_drel_type1_cfg_gbl_compat_check_tlv";
constexpr const char *kRmtRebuild = "zorv_drel_type1_rmt_cfg_cache_rebuild";

const char *passed_or_failed(uint32_t rc) noexcept {
    return rc != 0 ? "Failed" : "Passed";
}

// Checks that `value` (non-null, `len` bytes) can be read as a value of `type`; a type-9 value
// is parsed into `view` under `rules`. Logs the fault on behalf of `fn` and returns false when
// it cannot.
bool value_readable(const char *fn, uint16_t type, const char *side, const void *value,
                    uint32_t len, vsi_all_view &view, const vsi_all_rules &rules = {}) noexcept {
    uint32_t need = fixed_value_len(type);
    if (type == ZORV_TYPE1_INTF_VSI_ATTRIBUTES) {
        need = vsi_all_head_len(rules);
        switch (parse_vsi_all(value, len, view, rules)) {
        case vsi_all_fault::none:
        case vsi_all_fault::null_value: return true;
        case vsi_all_fault::too_short: break;
        case vsi_all_fault::negative_count:
        case vsi_all_fault::count_past_end:
            ZLOG_AS(fn,
                    "%s(%d): Failed type-1 compat check for type:%d - %s value len:%u does not "
                    "hold dyn_map_cnt:%d\n",
                    type, side, len,
                    static_cast<int32_t>(static_cast<const vsi_all_t *>(value)->dyn_map_cnt));
            return false;
        }
    } else if (need == 0 || len >= need) {
        return true;
    }
    ZLOG_AS(fn,
            "%s(%d): Failed type-1 compat check for type:%d - %s value too short, len:%u, "
            "min:%u\n",
            type, side, len, need);
    return false;
}

// The peer protocol version, which decides what a type-9 value carries.
uint32_t peer_version() noexcept {
    uint32_t ver = 0;
    (void)drelm_api_get_pelk_oper_ver(&ver, 1);
    return ver;
}

// Peers up to version 39 send no allowed-VLAN bitmap or profile name behind the pairs, so a
// value from them needs only its head and pairs. A local count of 0 or less means no pairs; a
// remote one below 0 is refused, as it may come from anyone.
vsi_all_rules type9_rules(uint32_t ver, bool local) noexcept {
    return {.tail = ver > 39, .nonpositive_empty = local};
}

void add_vni(type1_compat_result_t *res, uint32_t vni) noexcept {
    if (res != nullptr && res->vni_set != nullptr && vni <= ZORV_VNI_MAX)
        (void)bitset_set(res->vni_set, vni);
}

// The local interface node of a type-9 value, or null with the code that explains why.
const if_cfg_avl_node_t *find_if_node(const char *fn, uint16_t lcl_len, const vsi_all_t &l,
                                      uint32_t &rc) noexcept {
    if_cfg_avl_key_t key{};
    rc = zorv_drel_set_if_key(&key, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, lcl_len, &l, l.if_index);
    if (rc != ZORV_DREL_OK) {
        ZLOG_AS(fn, "%s(%d): Failed (rc=0x%x, %s) to set key\n", rc, error_to_string(rc));
        return nullptr;
    }
    const auto *node =
        static_cast<const if_cfg_avl_node_t *>(tree_find(zorv_drel_if_cfg_avl, &key));
    if (node == nullptr) {
        ZLOG_AS(fn, "%s(%d): Error: Could not find cfg_p for lcl parent intf idx:0x%x, vsi:%d\n",
                l.if_index, l.vsi);
        rc = ZORV_DREL_ERR_FAILURE;
    }
    return node;
}

uint32_t check_member_vni(const bmp4096_t &fabric, uint16_t lcl_len, const member_vni_t &l,
                          const member_vni_t *r, bool rmt_readable, type1_compat_result_t *pass_res,
                          type1_compat_result_t *fail_res) {
    const char *fn = kCompatCheckTlv;
    if (r != nullptr && rmt_readable && r->vni == l.vni) {
        // A fabric BD passes whatever BD the peer names.
        if (bmp_test(fabric, l.bd)) {
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
        std::array<uint32_t, ZORV_DOT1Q_COUNT> table{};
        for (const auto &p : lv.pairs)
            if (valid_pair(p.dot1q, p.vni)) table[p.dot1q] = p.vni;
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

// Pass and fail holders of one per-pair call of the re-check: valid and empty when made,
// discarded with what they gathered when it returns.
struct scratch_holders {
    type1_compat_result_t pass{}, fail{};
    scratch_holders() noexcept {
        pass.vni_set = vni_set_create();
        fail.vni_set = vni_set_create();
    }
    scratch_holders(const scratch_holders &) = delete;
    scratch_holders &operator=(const scratch_holders &) = delete;
    ~scratch_holders() {
        bitset_free(pass.vni_set);
        bitset_free(fail.vni_set);
    }
};

// Bytes of a value that the re-check's key builder for this scope and type reads: the member
// VNI behind the BD, the profile name, or the service-instance id behind the parent ifindex.
// 0 for a type whose key builder refuses it without reading.
constexpr uint32_t key_value_len(uint32_t is_gbl, uint16_t type) noexcept {
    if (is_gbl != 0) {
        switch (type) {
        case ZORV_TYPE1_GBL_MEMBER_VNI: return ZORV_MEMBER_VNI_LEN;
        case ZORV_TYPE1_GBL_ENCAP_PROFILE:
        case ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP: return ZORV_NAME_LEN;
        default: return 0;
        }
    }
    switch (type) {
    case ZORV_TYPE1_INTF_VSI_ADMIN:
    case ZORV_TYPE1_INTF_VSI_ENCAP_PROF:
    case ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP:
    case ZORV_TYPE1_INTF_VSI_ATTRIBUTES: return 2 * sizeof(uint32_t);
    default: return 0;
    }
}

// The cached node that the re-check pairs with a remote TLV; `rc` is the key builder's code.
const void *find_local_node(const tlv &r, uint32_t is_gbl, uint32_t if_index,
                            uint32_t &rc) noexcept {
    if (is_gbl != 0 && r.type == ZORV_TYPE1_GBL_MEMBER_VNI) {
        gbl_cfg_memvni_avl_node_t key{};
        rc = zorv_drel_set_gbl_memvni_key(&key, r.type, r.len,
                                          static_cast<const member_vni_t *>(r.value));
        return rc == ZORV_DREL_OK ? tree_find(zorv_drel_gbl_cfg_memvni_avl, &key) : nullptr;
    }
    if (is_gbl != 0) {
        gbl_cfg_avl_key_t key{};
        rc = zorv_drel_set_gbl_key(&key, r.type, r.len, r.value);
        return rc == ZORV_DREL_OK ? tree_find(zorv_drel_gbl_cfg_avl, &key) : nullptr;
    }
    if_cfg_avl_key_t key{};
    rc = zorv_drel_set_if_key(&key, r.type, r.len, r.value, if_index);
    return rc == ZORV_DREL_OK ? tree_find(zorv_drel_if_cfg_avl, &key) : nullptr;
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

} // namespace
} // namespace zorv

using namespace zorv;

// ---- Graceful per-VNI check ----------------------------------------------------------------

uint32_t zorv_drel_type1_cfg_compat_check_tlv(uint16_t lcl_type, uint16_t lcl_len,
                                              const void *lcl_val, uint16_t rmt_type,
                                              uint32_t rmt_len, const void *rmt_val,
                                              uint32_t aux_ctx, type1_compat_result_t *pass_res,
                                              type1_compat_result_t *fail_res) {
    bmp4096_t fabric;
    bmp_reset(fabric);
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
    const uint32_t num_lcl = lcl_tlvs != nullptr ? lcl.count() : 0;
    const uint32_t num_rmt = rmt_tlvs != nullptr ? rmt.count() : 0;
    tlv l{}, r{};

    // Without a local array only the first remote TLV is judged.
    if (lcl_tlvs == nullptr) {
        const int rc = next_tlv(__func__, rmt, r);
        if (rc != 0) return ZORV_DREL_ERR_FAILURE;
        const uint32_t res = zorv_drel_type1_cfg_compat_check_tlv(0, 0, nullptr, r.type, r.len,
                                                                  r.value, 0, pass_res, fail_res);
        ZLOG("%s(%d): RESULT: Type-1 compat check(0x%x) %s\n", res, passed_or_failed(res));
        return res;
    }

    if (!counts_match(__func__, num_lcl, num_rmt)) return ZORV_DREL_ERR_INVALID_ARG;
    if (num_lcl == 0) return ZORV_DREL_OK;

    // The result is the last pair's; the holders gather the failures of every pair.
    uint32_t res = ZORV_DREL_OK;
    for (uint32_t i = 0; i < num_lcl; ++i) {
        int rc = next_tlv(__func__, lcl, l);
        if (rc != 0) return static_cast<uint32_t>(rc);
        r = {};
        if (rmt_tlvs != nullptr) {
            rc = next_tlv(__func__, rmt, r);
            if (rc != 0) return ZORV_DREL_ERR_FAILURE;
            ZLOG("%s(%d): type-1 compat check - i:%d lcl_type:%s, len:%d, rmt_type:%s, len:%d \n",
                 i, zorv_drel_type1_cfg_type_to_str(l.type), l.len,
                 zorv_drel_type1_cfg_type_to_str(r.type), r.len);
            if (l.type != r.type) {
                ZLOG("%s(%d): No match for lcl_type:%d, rmt_type:%d\n", l.type, r.type);
                return ZORV_DREL_ERR_FAILURE;
            }
        }
        res = zorv_drel_type1_cfg_compat_check_tlv(l.type, l.len, l.value, r.type, r.len, r.value,
                                                   0, pass_res, fail_res);
        ZLOG("%s(%d): RESULT: Type-1 compat check(0x%x) %s\n", res, passed_or_failed(res));
    }
    return res;
}

// ---- Strict whole-attribute check ----------------------------------------------------------

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
    ZLOG("%s(%d): (GBL) type-1 compat check - nothing to be done\n");
    if (lcl_tlvs == nullptr && rmt_tlvs == nullptr) {
        ZLOG("%s(%d): Error: type-1 compat check invalid args - both local and remote Null\n");
        return ZORV_DREL_OK;
    }
    tlv_walker lcl(lcl_tlvs), rmt(rmt_tlvs);
    const uint32_t num_lcl = lcl_tlvs != nullptr ? lcl.count() : 0;
    const uint32_t num_rmt = rmt_tlvs != nullptr ? rmt.count() : 0;
    tlv l{}, r{};

    // One side missing: only a type-9 parameter on the other side counts as missing.
    if (rmt_tlvs == nullptr || lcl_tlvs == nullptr) {
        tlv_walker &present = rmt_tlvs == nullptr ? lcl : rmt;
        if (rmt_tlvs == nullptr)
            ZLOG("%s(%d): Remote  Null)\n");
        else
            ZLOG("%s(%d): Local  Null)\n");
        const int rc = next_tlv(__func__, present, l);
        if (rc != 0) return static_cast<uint32_t>(rc);
        if (l.type != ZORV_TYPE1_INTF_VSI_ATTRIBUTES) return ZORV_DREL_OK;
        ZLOG("%s(%d): Local and Remote NULL\n");
        return ZORV_DREL_ERR_PARAM_MISSING;
    }

    if (!counts_match(__func__, num_lcl, num_rmt)) return ZORV_DREL_ERR_INVALID_ARG;
    if (num_lcl == 0) return ZORV_DREL_OK;

    uint32_t res = ZORV_DREL_OK;
    for (uint32_t i = 0; i < num_lcl; ++i) {
        int rc = next_tlv(__func__, lcl, l);
        if (rc != 0) return static_cast<uint32_t>(rc);
        rc = next_tlv(__func__, rmt, r);
        if (rc != 0) return ZORV_DREL_ERR_FAILURE;
        ZLOG("%s(%d): Compat check - i:%d lcl_type:%s, len:%d, rmt_type:%s, len:%d \n", i,
             zorv_drel_type1_cfg_type_to_str(l.type), l.len,
             zorv_drel_type1_cfg_type_to_str(r.type), r.len);
        if (l.type != r.type) {
            ZLOG("%s(%d): No match for lcl_type:%d, rmt_type:%d\n", l.type, r.type);
            return ZORV_DREL_ERR_FAILURE;
        }
        res = zorv_drel_type1_cfg_gbl_compat_check_tlv(l.type, l.len, l.value, r.type, r.len,
                                                       r.value);
        ZLOG("%s(%d): RESULT: compat check(0x%x) %s\n", res, passed_or_failed(res));
    }
    return res;
}

// ---- Re-check of a peer's TLVs against the cache -------------------------------------------

uint32_t zorv_drel_type1_rmt_cfg_cache_rebuild(const tlv_array_t *rmt_tlvs, uint32_t is_gbl,
                                               uint32_t if_index) {
    ZLOG("%s(%d): rebuilding type-1 cache(%s)\n", is_gbl != 0 ? "gbl" : "if");
    if (rmt_tlvs == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    tlv_walker rmt(rmt_tlvs);
    const uint32_t num = rmt.count();
    ZLOG("%s(%d): num_tlvs = %d\n", num);
    if (num == 0) return ZORV_DREL_OK;

    for (uint32_t i = 0; i < num; ++i) {
        tlv r{};
        uint32_t rc = static_cast<uint32_t>(rmt.next_logged(r, __func__));
        if (rc != 0) return rc;
        ZLOG("%s(%d): type = %d, tlen=%d\n", r.type, r.len);
        // A key that would be built from bytes past the value is not built.
        if (r.len < key_value_len(is_gbl, r.type)) {
            ZLOG_AS(kRmtRebuild,
                    "%s(%d): Failed type-1 compat check for type:%d - %s value too short, "
                    "len:%u, min:%u\n",
                    r.type, "rmt", r.len, key_value_len(is_gbl, r.type));
            continue;
        }
        const void *node = find_local_node(r, is_gbl, if_index, rc);
        if (rc != ZORV_DREL_OK) {
            ZLOG("%s(%d): Failed (rc=0x%x, %s) to set key\n", rc, error_to_string(rc));
            return rc;
        }
        if (node == nullptr) {
            ZLOG("%s(%d): lcl value is Null for type:%d\n", r.type);
            return ZORV_DREL_OK;
        }

        uint16_t lcl_type = 0, lcl_len = 0;
        void *lcl_val = nullptr;
        rc = zorv_drel_lib_alloc_tlv(r.type, &lcl_type, &lcl_len, &lcl_val, node);
        if (rc != ZORV_DREL_OK) {
            // Only member VNIs and service-instance attributes have a local TLV to judge.
            ZLOG("%s(%d): Failed (rc=0x%x, %s) to make lcl tlv for type:%d\n", rc,
                 error_to_string(rc), r.type);
            continue;
        }
        scratch_holders scratch;
        (void)zorv_drel_type1_cfg_compat_check_tlv(lcl_type, lcl_len, lcl_val, r.type, r.len,
                                                   r.value, 0, &scratch.pass, &scratch.fail);
        (void)zorv_drel_lib_free_tlv(lcl_type, lcl_val);
    }
    return ZORV_DREL_OK;
}
