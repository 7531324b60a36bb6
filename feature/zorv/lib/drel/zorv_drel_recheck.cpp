// SPDX-License-Identifier: Apache-2.0
// zorv_drel_recheck.cpp - the re-check of a peer's TLV array against the local cache: each
// remote TLV is paired with the cached entry of the same key and judged by the graceful check.
#include "zorv_drel_compat.h"

namespace {

using namespace zorv;

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

// The cached node that the re-check pairs with a remote TLV; `rc` is the key builder's code.
// Member VNIs and profiles are the global scope's, anything else of an interface.
const void *find_local_node(const tlv &r, uint32_t is_gbl, uint32_t if_index,
                            uint32_t &rc) noexcept {
    if (is_gbl != 0 && r.type == ZORV_TYPE1_GBL_MEMBER_VNI) {
        const auto found = find<memvni_tree>(r);
        rc = found.rc;
        return found.node;
    }
    if (is_gbl != 0) {
        const auto found = find<gbl_tree>(r);
        rc = found.rc;
        return found.node;
    }
    const auto found = find<if_tree>(r, if_index);
    rc = found.rc;
    return found.node;
}

// Judges one remote TLV against the local TLV made from its cached node; the verdict is the
// walk's effect and is not returned.
void judge(const tlv &r, const void *node) noexcept {
    const char *fn = "zorv_drel_type1_rmt_cfg_cache_rebuild";
    uint16_t lcl_type = 0, lcl_len = 0;
    void *lcl_val = nullptr;
    const uint32_t rc = zorv_drel_lib_alloc_tlv(r.type, &lcl_type, &lcl_len, &lcl_val, node);
    if (rc != ZORV_DREL_OK) {
        // Only member VNIs and service-instance attributes have a local TLV to judge.
        ZLOG_AS(fn, "%s(%d): Failed (rc=0x%x, %s) to make lcl tlv for type:%d\n", rc,
                error_to_string(rc), r.type);
        return;
    }
    if (r.type == ZORV_TYPE1_GBL_MEMBER_VNI) {
        // A member VNI's check only adds its VNI to a set and reads neither: holders without
        // sets take the verdict as well, and spare two sets per VNI.
        type1_compat_result_t pass{}, fail{};
        (void)zorv_drel_type1_cfg_compat_check_tlv(lcl_type, lcl_len, lcl_val, r.type, r.len,
                                                   r.value, 0, &pass, &fail);
    } else {
        scratch_holders scratch;
        (void)zorv_drel_type1_cfg_compat_check_tlv(lcl_type, lcl_len, lcl_val, r.type, r.len,
                                                   r.value, 0, &scratch.pass, &scratch.fail);
    }
    (void)zorv_drel_lib_free_tlv(lcl_type, lcl_val);
}

} // namespace

uint32_t zorv_drel_type1_rmt_cfg_cache_rebuild(const tlv_array_t *rmt_tlvs, uint32_t is_gbl,
                                               uint32_t if_index) {
    ZLOG("%s(%d): rebuilding type-1 cache(%s)\n", is_gbl != 0 ? "gbl" : "if");
    if (rmt_tlvs == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    tlv_walker walk(rmt_tlvs);
    ZLOG("%s(%d): num_tlvs = %d\n", walk.count());
    for (const tlv &r : walk) {
        ZLOG("%s(%d): type = %d, tlen=%d\n", r.type, r.len);
        // A value too short for its key fails the key builder, which ends the walk.
        uint32_t rc = ZORV_DREL_OK;
        const void *node = find_local_node(r, is_gbl, if_index, rc);
        if (rc != ZORV_DREL_OK) return key_failed(__func__, rc);
        if (node == nullptr) {
            ZLOG("%s(%d): lcl value is Null for type:%d\n", r.type);
            return ZORV_DREL_OK;
        }
        judge(r, node);
    }
    return static_cast<uint32_t>(walk.fault_logged(__func__));
}
