// SPDX-License-Identifier: Apache-2.0
// zorv_drel_export.cpp - the cache as one TLV array for the peer (all global parameters, or the
// service instances of one interface) and a TLV array as printable rows.
#include "zorv_drel_trees.h"

namespace {

using namespace zorv;

constexpr uint32_t kInfoTag = 160;

uint32_t low16(uint32_t v) noexcept {
    return v & 0xFFFFu;
}

// Adds the type-8 TLV of every member-VNI node in tree order, logging on behalf of `fn`;
// false on the first TLV that cannot be made or added.
bool add_member_vni_tlvs(const char *fn, uint32_t size, tlv_array_t *array) noexcept {
    for (auto *m : tree_nodes<const gbl_cfg_memvni_avl_node_t>(zorv_drel_gbl_cfg_memvni_avl)) {
        ZLOG_AS(fn, "%s(%d): Adding memvni tlv - bd:%d, vni:%d\n", static_cast<int>(m->bd),
                static_cast<int>(m->vni));
        uint16_t vtype = 0, vlen = 0;
        void *value = nullptr;
        uint32_t rc = zorv_drel_lib_alloc_tlv(ZORV_TYPE1_GBL_MEMBER_VNI, &vtype, &vlen, &value, m);
        if (rc == 0)
            rc = zorv_drel_gbl_cfg_memvni_avl_tlvs_add(static_cast<const member_vni_t *>(value),
                                                       size, array);
        if (value != nullptr) (void)zorv_drel_lib_free_tlv(ZORV_TYPE1_GBL_MEMBER_VNI, value);
        if (rc != 0) return false;
    }
    return true;
}

uint32_t member_vni_tlvs_size() noexcept {
    uint32_t sum = 0;
    for (auto *m : tree_nodes<const gbl_cfg_memvni_avl_node_t>(zorv_drel_gbl_cfg_memvni_avl))
        sum += zorv_drel_gbl_cfg_memvni_avl_tlvs_size_get(m);
    return sum;
}

uint32_t global_tlvs_size() noexcept {
    uint32_t sum = 0;
    for (auto *n : tree_nodes<const gbl_cfg_avl_node_t>(zorv_drel_gbl_cfg_avl))
        sum += zorv_drel_gbl_cfg_avl_tlvs_size_get(n);
    return sum;
}

// Bytes that the type-9 TLVs of one interface take: one value of 792 bytes and, apart, the
// pairs of each node. One TLV is written per node, so this reserves a little more than used.
uint32_t interface_tlvs_size(uint32_t if_index) noexcept {
    uint32_t sum = 0;
    for (auto *n : interface_nodes(if_index)) {
        sum += low16(tlv_aligned_size(ZORV_VSI_ALL_FIXED_LEN));
        if (n->dyn_map_cnt != 0) sum += low16(tlv_aligned_size(8u * n->dyn_map_cnt));
    }
    return sum;
}

// A zero-filled export array for `sum` bytes of TLVs behind its header, or null.
tracked_ptr<tlv_array_t> new_export_array(const char *fn, uint32_t sum) noexcept {
    const uint32_t size = sum + 4;
    ZLOG_AS(fn, "%s(%d): TLV array size %d\n", static_cast<int>(size));
    return tracked_calloc<tlv_array_t>(ZORV_DREL_LIB_MEM_tlv_array_t, size);
}

// How an export of `sum` bytes of TLVs starts: nothing to export (logged with `empty_text`, no
// error), an array that could not be had, or the array to fill.
enum class opened { array, empty, no_memory };
opened open_export(const char *fn, uint32_t sum, const char *empty_text,
                   tracked_ptr<tlv_array_t> &array) noexcept {
    if (sum == 0) {
        ZLOG_AS(fn, empty_text);
        return opened::empty;
    }
    array = new_export_array(fn, sum);
    return array ? opened::array : opened::no_memory;
}

// Hands a finished export array to the caller.
uint32_t hand_over(const char *fn, tracked_ptr<tlv_array_t> array,
                   tlv_array_t **tlv_array_out) noexcept {
    ZLOG_AS(fn, "%s(%d): num_tlvs = %d\n", static_cast<int>(tlv_array_count(array.get(), 1)));
    *tlv_array_out = array.release();
    return 0;
}

// Adds the type-9 TLV of one interface node, built in a temporary value; logs on behalf of the
// interface export. 0, or the code the export returns.
uint32_t add_vsi_tlv(const if_cfg_avl_node_t &n, uint32_t if_index, uint32_t size,
                     tlv_array_t *array) noexcept {
    const char *fn = "zorv_drel_if_cfg_avl_get_params";
    const uint32_t vlen = vsi_all_len(n.dyn_map_cnt);
    auto value = vlen <= 0xFFFFu ? tracked_calloc<vsi_all_t>(ZORV_DREL_LIB_MEM_vsi_all_t, vlen)
                                 : tracked_ptr<vsi_all_t>();
    if (!value) {
        ZLOG_AS(fn, "%s(%d): Failed malloc for sz:%d\n", static_cast<int>(vlen));
        return ZORV_DREL_ERR_NO_MEMORY;
    }
    fill_vsi_all(fn, n, if_index, *value);
    if (tlv_array_add(array, size, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, static_cast<uint16_t>(vlen),
                      value.get(), 1) != 0) {
        ZLOG_AS(fn, "%s(%d): Error: Unable to add tlv\n");
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    ZLOG_AS(fn, "%s(%d): added tlv\n");
    return 0;
}

// The printable row of one TLV; false, logged on behalf of the row builder, for a TLV that
// has no row or does not hold its record.
bool fill_row(const tlv &t, drelm_app_info_entry_t &e) noexcept {
    const char *fn = "zorv_drel_type1_cfg_get_param_info";
    const char *name = rule_of(t.type).row_name;
    if (name == nullptr) {
        ZLOG_AS(fn, "%s(%d): Invalid param type:%d\n", static_cast<int>(t.type));
        return false;
    }
    // The renderers trust their input: only a value that holds what its text reads reaches
    // them. For an older peer that is the head and pairs of a type-9 value.
    const vsi_all_rules rules = t.type == ZORV_TYPE1_INTF_VSI_ATTRIBUTES
                                    ? type9_rules(peer_version(), false)
                                    : vsi_all_rules{};
    if (!value_fits_logged(fn, t.type, t.len, t.value, rules)) return false;
    const char *text =
        t.type == ZORV_TYPE1_GBL_MEMBER_VNI
            ? zorv_drel_gbl_tlv_memvni_to_str(static_cast<const member_vni_t *>(t.value))
            : zorv_drel_if_tlv_vsi_all_to_str(static_cast<const vsi_all_t *>(t.value));
    e.info_tag = kInfoTag;
    e.param_type = t.type;
    e.reserved = 0;
    copy_name(e.feature_name, "ZORV");
    copy_name(e.param_name, name);
    copy_name(e.param_value, text);
    return true;
}

} // namespace

uint32_t zorv_drel_type1_cfg_get_params(uint32_t is_gbl, uint32_t if_index,
                                        tlv_array_t **tlv_array_out) {
    ZLOG("%s(%d): type-1 cfg param get gbl=%d, ifi=0x%x\n", static_cast<int>(is_gbl), if_index);
    if (tlv_array_out == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    *tlv_array_out = nullptr;
    if (is_gbl != 0) return zorv_drel_gbl_cfg_avl_get_params(tlv_array_out);
    return zorv_drel_if_cfg_avl_get_params(if_index, tlv_array_out);
}

uint32_t zorv_drel_gbl_cfg_avl_get_params(tlv_array_t **tlv_array_out) {
    if (tlv_array_out == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    *tlv_array_out = nullptr;
    if (zorv_drel_gbl_cfg_avl == nullptr || zorv_drel_gbl_cfg_memvni_avl == nullptr) {
        ZLOG("%s(%d): Error: tree uninitialized\n");
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    const uint32_t sum = global_tlvs_size() + member_vni_tlvs_size();
    const uint32_t size = sum + 4;
    tracked_ptr<tlv_array_t> array;
    const opened state =
        open_export(__func__, sum, "%s(%d): Error: No configured entries found \n", array);
    if (state != opened::array) return state == opened::empty ? 0 : 1; // a bare 1 on no memory
    for (auto *n : tree_nodes<const gbl_cfg_avl_node_t>(zorv_drel_gbl_cfg_avl)) {
        if (zorv_drel_gbl_cfg_avl_tlvs_add(n, size, array.get()) != 0) {
            ZLOG("%s(%d): Error: Unable to add tlv\n");
            return ZORV_DREL_ERR_INVALID_ARG;
        }
    }
    if (!add_member_vni_tlvs(__func__, size, array.get())) {
        ZLOG("%s(%d): Error: Unable to add memvni tlv\n");
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    return hand_over(__func__, std::move(array), tlv_array_out);
}

uint32_t zorv_drel_gbl_cfg_memvni_avl_get_params(tlv_array_t **tlv_array_out) {
    if (tlv_array_out == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    *tlv_array_out = nullptr;
    if (zorv_drel_gbl_cfg_memvni_avl == nullptr) {
        ZLOG("%s(%d): Error: tree uninitialized\n");
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    const uint32_t sum = member_vni_tlvs_size();
    tracked_ptr<tlv_array_t> array;
    const opened state =
        open_export(__func__, sum, "%s(%d): Error: No configured entries found \n", array);
    // No memory is a code here, unlike the bare 1 of the two other exports.
    if (state != opened::array) return state == opened::empty ? 0 : ZORV_DREL_ERR_NO_MEMORY;
    if (!add_member_vni_tlvs(__func__, sum + 4, array.get())) {
        ZLOG("%s(%d): Error: Unable to add tlv\n");
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    return hand_over(__func__, std::move(array), tlv_array_out);
}

uint32_t zorv_drel_if_cfg_avl_get_params(uint32_t if_index, tlv_array_t **tlv_array_out) {
    if (tlv_array_out == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    *tlv_array_out = nullptr;
    if (zorv_drel_if_cfg_avl == nullptr) {
        ZLOG("%s(%d): Error: tree uninitialized\n");
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    const uint32_t sum =
        tree_first(zorv_drel_if_cfg_avl) != nullptr ? interface_tlvs_size(if_index) : 0;
    const uint32_t size = sum + 4;
    tracked_ptr<tlv_array_t> array;
    const opened state =
        open_export(__func__, sum, "%s(%d): Error: No config entries found \n", array);
    if (state != opened::array) return state == opened::empty ? 0 : 1; // a bare 1 on no memory
    array->len = 0;
    for (auto *n : interface_nodes(if_index)) {
        if (const uint32_t rc = add_vsi_tlv(*n, if_index, size, array.get()); rc != 0) return rc;
    }
    return hand_over(__func__, std::move(array), tlv_array_out);
}

// The rows are the caller's from the moment they exist, also when a later TLV ends the walk.
uint32_t zorv_drel_type1_cfg_get_param_info(const tlv_array_t *tlv_array,
                                            drelm_app_info_t **info_out) {
    ZLOG("%s(%d): type-1 (tlv_array:%p) get param info\n", static_cast<const void *>(tlv_array));
    if (tlv_array == nullptr) return 0;
    if (info_out == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    tlv_walker walk(tlv_array);
    const uint32_t count = walk.count();
    if (count == 0) return ZORV_DREL_ERR_INVALID_ARG;
    ZLOG("%s(%d): Num Tlvs %d \n", static_cast<int>(count));
    // One row per TLV: the count sizes them.
    const uint64_t bytes = 4u + uint64_t{sizeof(drelm_app_info_entry_t)} * count;
    auto *info = static_cast<drelm_app_info_t *>(
        bytes <= 0xFFFFFFFFu
            ? zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_drelm_app_info_t, static_cast<uint32_t>(bytes))
            : nullptr);
    *info_out = info;
    if (info == nullptr) return 1; // a bare 1, not a code: what the peer manager expects here
    info->count = count;
    uint32_t i = 0;
    for (const tlv &t : walk)
        if (!fill_row(t, info->entries[i++])) return ZORV_DREL_ERR_INVALID_ARG;
    return static_cast<uint32_t>(walk.fault_logged(__func__));
}
