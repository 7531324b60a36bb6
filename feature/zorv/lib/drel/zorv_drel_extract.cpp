// SPDX-License-Identifier: Apache-2.0
// zorv_drel_extract.cpp - configuration messages into the cache, with one extraction record per
// TLV for the peer manager, and the checked location of a message's update record.
#include <cstring>

#include "zorv_drel_trees.h"

namespace {

using zorv::tlv;
using zorv::tlv_walker;

constexpr uint32_t kUpdRecLen = sizeof(zorv_type1_upd_t); // is_delete, if_index, param_len

const char *action_text(uint32_t action) noexcept {
    return action != 0 ? "replace" : "delete";
}

// Where the update record of a message starts: 16 bytes in for the header form, whose
// resp_present word says whether a record follows at all.
zorv::upd_state record_offset(const char *fn, const uint8_t *payload, uint32_t len,
                              bool with_header, uint32_t &offset) noexcept {
    offset = 0;
    if (!with_header) return zorv::upd_state::ok;
    if (len < ZORV_DREL_UPD_HDR_LEN) {
        ZLOG_AS(fn, "%s(%d): Error: payload len=%d too short for header\n", static_cast<int>(len));
        return zorv::upd_state::refused;
    }
    uint32_t resp_present = 0;
    std::memcpy(&resp_present, payload + ZORV_DREL_UPD_RESP_PRESENT_OFF, sizeof resp_present);
    if (resp_present == 0) return zorv::upd_state::no_payload;
    offset = ZORV_DREL_UPD_HDR_LEN;
    return zorv::upd_state::ok;
}

// The extraction record of one TLV: applied to the cache of an interface or of member VNIs.
void extract_one(const tlv &t, uint32_t is_delete, uint32_t if_index,
                 drelm_app_cmd_extract_info_t &info) noexcept {
    const char *fn = "zorv_drel_param_extractor_from_zorv_type1_upd";
    const uint32_t is_default = zorv_drel_type1_cfg_param_is_default(t.type, t.len, t.value);
    ZLOG_AS(fn, "%s(%d): updating type=%d, len=%d (is_default=%d)\n", static_cast<int>(t.type),
            static_cast<int>(t.len), static_cast<int>(is_default));
    uint32_t err = 0;
    if (if_index != 0)
        err = zorv_drel_extract_if_params(is_delete, t.type, t.len, t.value, if_index, &info);
    else if (t.type == ZORV_TYPE1_GBL_MEMBER_VNI)
        err = zorv_drel_extract_memvni_param(is_delete, t.type, t.len, t.value, &info);
    else
        ZLOG_AS(fn, "%s(%d): Unkown type:%d", static_cast<int>(t.type)); // text kept, spelling too
    if (err != 0)
        ZLOG_AS(fn, "%s(%d): Error: could not extract info for type:%d, is_delete:%d \n",
                static_cast<int>(t.type), static_cast<int>(is_delete));
    info.is_gbl = if_index == 0 ? 1 : 0;
    info.if_idx = if_index;
}

// Applies one TLV to the cached interface node it names: updates it, or deletes it for type 9.
void apply_to_if_node(const char *fn, if_cfg_avl_node_t *node, uint32_t is_delete, const tlv &t) {
    if (is_delete == 0) {
        (void)zorv_drel_if_cfg_avl_update(node, t.type, t.len, t.value);
    } else if (t.type == ZORV_TYPE1_INTF_VSI_ATTRIBUTES) {
        ZLOG_AS(fn, "%s(%d): Action Delete: deleting if_index:0x%x vsi:%d cache node\n",
                node->if_index, static_cast<int>(node->vsi_id));
        zorv::erase<zorv::if_tree>(node);
    } else {
        ZLOG_AS(fn, "%s(%d): Unk type:%d ", static_cast<int>(t.type));
    }
}

// What an extraction hands its caller: one record per TLV and a copy of the TLV array.
struct extraction {
    zorv::tracked_ptr<drelm_app_cmd_extract_info_t> info; // count records, zero-filled
    zorv::tracked_ptr<tlv_array_t> copy;                  // the param_len bytes of the array
};

// Takes both blocks; the caller sees the records in `info_out` as soon as they exist, and null
// again when they are dropped. False, logged, when either cannot be had.
bool make_copies(const tlv_array_t *param, uint32_t param_len, uint32_t count, extraction &out,
                 drelm_app_cmd_extract_info_t **info_out) noexcept {
    const char *fn = "zorv_drel_param_extractor_from_zorv_type1_upd";
    out.info = zorv::tracked_calloc<drelm_app_cmd_extract_info_t>(
        ZORV_DREL_LIB_MEM_drelm_app_cmd_extract_info_t,
        count * static_cast<uint32_t>(sizeof(drelm_app_cmd_extract_info_t)));
    *info_out = out.info.get();
    if (out.info)
        out.copy = zorv::tracked_calloc<tlv_array_t>(ZORV_DREL_LIB_MEM_tlv_array_t, param_len);
    if (!out.copy) {
        ZLOG_AS(fn, "%s(%d): Failed malloc\n");
        out.info.reset();
        *info_out = nullptr;
        return false;
    }
    std::memcpy(out.copy.get(), param, param_len);
    return true;
}

} // namespace

namespace zorv {

upd_state locate_update(const char *fn, const msg_t *msg, bool with_header,
                        upd_record &out) noexcept {
    uint32_t len = 0;
    const auto *payload = static_cast<const uint8_t *>(msg_payload_get(msg, &len));
    out.payload_len = len;
    if (payload == nullptr) return upd_state::no_payload;
    uint32_t offset = 0;
    const upd_state state = record_offset(fn, payload, len, with_header, offset);
    if (state != upd_state::ok) return state;
    if (len < offset + kUpdRecLen) {
        ZLOG_AS(fn, "%s(%d): Error: payload len=%d too short for update record\n",
                static_cast<int>(len));
        return upd_state::refused;
    }
    out.rec = reinterpret_cast<const zorv_type1_upd_t *>(payload + offset);
    const uint32_t param_len = out.rec->param_len;
    if (param_len == 0) return upd_state::ok; // each caller reports an empty record its own way
    const uint32_t avail = len - offset - kUpdRecLen;
    if (param_len > avail) {
        ZLOG_AS(fn, "%s(%d): Error: param len=%d runs past payload len=%d\n",
                static_cast<int>(param_len), static_cast<int>(len));
        return upd_state::refused;
    }
    if (!tlv_array_fits(reinterpret_cast<const tlv_array_t *>(out.rec->param), param_len)) {
        ZLOG_AS(fn, "%s(%d): Error: tlv array does not fit in param len=%d\n",
                static_cast<int>(param_len));
        return upd_state::refused;
    }
    return upd_state::ok;
}

} // namespace zorv

using namespace zorv;

uint32_t zorv_drel_type1_cfg_param_extractor(const msg_t *msg, tlv_array_t **tlv_array_out,
                                             uint32_t *num_tlvs_out, uint32_t *reserved_out,
                                             drelm_app_cmd_extract_info_t **info_out) {
    // A missing message has no opcode; it ends with the unknown ones.
    const uint32_t opc = msg != nullptr ? msg_opcode_get(msg) : 0;
    ZLOG("%s(%d): type-1 (%s) param extractor\n", msg_opcode_name_get(opc));
    switch (opc) {
    case ZORV_DREL_OPC_CLI_CONFIG:
    case ZORV_DREL_OPC_CLI_TLV_CONFIG: {
        const uint32_t size = cli_request_handle_get(msg);
        alignas(16) unsigned char handle[1024];
        const bool got =
            size != 0 && size <= sizeof handle && cli_request_handle_get_ext(msg, handle) != 0;
        // The text for a handle that cannot be had is this library's own.
        if (!got)
            ZLOG("%s(%d): Error: could not get the CLI (TLV) request handle\n");
        else
            ZLOG_RAW("Error %s: CLI param extractor not supported\n", __func__);
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    case ZORV_DREL_OPC_TYPE1_UPD:
    case ZORV_DREL_OPC_TYPE1_UPD_HDR:
        return zorv_drel_param_extractor_from_zorv_type1_upd(msg, tlv_array_out, num_tlvs_out,
                                                             reserved_out, info_out);
    default: return ZORV_DREL_ERR_INVALID_ARG;
    }
}

uint32_t zorv_drel_param_extractor_from_zorv_type1_upd(const msg_t *msg,
                                                       tlv_array_t **tlv_array_out,
                                                       uint32_t *num_tlvs_out,
                                                       uint32_t *reserved_out,
                                                       drelm_app_cmd_extract_info_t **info_out) {
    const uint32_t opc = msg != nullptr ? msg_opcode_get(msg) : 0;
    ZLOG("%s(%d): Entry opc:%s\n", msg_opcode_name_get(opc));
    upd_record upd;
    const upd_state state = msg != nullptr
                                ? locate_update(__func__, msg, opc != ZORV_DREL_OPC_TYPE1_UPD, upd)
                                : upd_state::no_payload;
    if (state == upd_state::refused) return ZORV_DREL_ERR_INVALID_ARG;
    if (state == upd_state::no_payload || upd.rec == nullptr) {
        ZLOG("%s(%d): Null payload\n");
        return 0;
    }
    const uint32_t param_len = upd.rec->param_len;
    if (param_len == 0) {
        ZLOG("%s(%d): Invalid param len=%d\n", static_cast<int>(param_len));
        return 0;
    }
    const auto *param = reinterpret_cast<const tlv_array_t *>(upd.rec->param);
    const uint32_t count = tlv_array_count(param, 1);
    if (count == 0) {
        ZLOG("%s(%d): Failed to find tlvs\n");
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    // The outputs are needed from here on, where they are first written.
    if (tlv_array_out == nullptr || num_tlvs_out == nullptr || reserved_out == nullptr ||
        info_out == nullptr) {
        ZLOG("%s(%d): Error: Invalid arg\n");
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    extraction out;
    // A bare 1, not a code: what the peer manager expects of a failed allocation here.
    if (!make_copies(param, param_len, count, out, info_out)) return 1;
    *num_tlvs_out = count;
    *reserved_out = 0;

    tlv_walker walk(out.copy.get());
    uint32_t i = 0;
    for (const tlv &t : walk) {
        drelm_app_cmd_extract_info_t &rec = out.info.get()[i];
        extract_one(t, upd.rec->is_delete, upd.rec->if_index, rec);
        ZLOG("%s(%d): INFO_P (array idx:%d, is_gbl?%d, if_idx:0x%x, type:%d, idx:%d, ac?%s\n",
             static_cast<int>(i++), static_cast<int>(rec.is_gbl), rec.if_idx,
             static_cast<int>(rec.type), static_cast<int>(rec.idx), action_text(rec.action));
    }
    if (const int rc = walk.fault_logged(__func__); rc != 0) {
        *info_out = nullptr;
        return static_cast<uint32_t>(rc);
    }
    *info_out = out.info.release();
    *tlv_array_out = out.copy.release();
    ZLOG("%s(%d): Success\n");
    return 0;
}

uint32_t zorv_drel_extract_if_params(uint32_t is_delete, uint16_t type, uint16_t len,
                                     const void *value, uint32_t if_index,
                                     drelm_app_cmd_extract_info_t *info) {
    ZLOG("%s(%d): extract interface params\n");
    uint32_t drel_id = 0;
    if (const uint32_t rc = zorv_drel_lib_get_drel_id(if_index, &drel_id); rc != 0) {
        ZLOG("%s(%d): interface:0x%x is not pelk\n", if_index);
        return rc;
    }
    ZLOG("%s(%d): port 0x%x is DREL (ID %d)\n", if_index, static_cast<int>(drel_id));
    const tlv t{type, len, value};
    const auto found = find<if_tree>(t, if_index);
    if (found.rc != 0) return key_failed(__func__, found.rc);
    const uint32_t action = is_delete != 0 ? 0 : 1;
    if (found.node != nullptr)
        apply_to_if_node(__func__, found.node, is_delete, t);
    else if (is_delete != 0)
        ZLOG("%s(%d): Trying to delete non-exist\n");
    else if (insert_new<if_tree>(found.key, t) == added::inserted)
        ZLOG("%s(%d): created avl node\n");
    else
        ZLOG("%s(%d): Error: Failed create node\n");
    if (info == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    info->type = type;
    info->action = action;
    info->idx = zorv_drel_lib_get_uid(type, len, value);
    ZLOG("%s(%d): If param for ifindex:0x%x  action:%s\n", if_index, action_text(action));
    return 0;
}

uint32_t zorv_drel_extract_memvni_param(uint32_t is_delete, uint16_t type, uint16_t len,
                                        const void *value, drelm_app_cmd_extract_info_t *info) {
    if (value == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    // Whatever the type, both words are logged before the key is built: a value without them
    // has no key either.
    if (len < ZORV_MEMBER_VNI_LEN) return key_failed(__func__, ZORV_DREL_ERR_INVALID_ARG);
    const auto *mv = static_cast<const member_vni_t *>(value);
    ZLOG("%s(%d): bd:%d, mem vni:%d\n", static_cast<int>(mv->bd), static_cast<int>(mv->vni));
    const tlv t{type, len, value};
    const auto found = find<memvni_tree>(t);
    if (found.rc != 0) return key_failed(__func__, found.rc);
    const uint32_t action = is_delete != 0 ? 0 : 1;
    if (found.node != nullptr && is_delete != 0) {
        ZLOG("%s(%d): Found avl node - deleting\n");
        erase<memvni_tree>(found.node);
    } else if (found.node != nullptr) {
        ZLOG("%s(%d): Found avl node - updating\n");
        (void)zorv_drel_gbl_cfg_memvni_avl_update(found.node, type, len, mv);
    } else if (is_delete != 0) {
        ZLOG("%s(%d): Error: try to delete non-existent node\n");
    } else {
        ZLOG("%s(%d): New avl node\n");
        if (insert_new<memvni_tree>(found.key, t) != added::inserted) {
            ZLOG("%s(%d): Failed create\n");
            return ZORV_DREL_ERR_NO_MEMORY;
        }
        ZLOG("%s(%d): added avl node for member vni\n");
    }
    if (info == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    info->type = type;
    info->action = action;
    info->idx = zorv_drel_lib_get_uid(type, len, value);
    ZLOG("%s(%d): Adding memvni bd:%d, vni:%d, action:%s\n", static_cast<int>(mv->bd),
         static_cast<int>(mv->vni), action_text(action));
    return 0;
}

uint32_t zorv_drel_param_extractor_from_cli(void * /*cookie*/, const void *request_handle) {
    ZLOG("%s(%d): CLI extractor\n");
    (void)cli_response_send_ok(request_handle);
    return 0;
}

uint32_t zorv_drel_extract_encap_map_param(void) {
    ZLOG_RAW("Error %s:  Not supported\n", __func__);
    return ZORV_DREL_ERR_INVALID_ARG;
}

uint32_t zorv_drel_extract_encap_profile_param(void) {
    ZLOG_RAW("Error %s:  Not supported\n", __func__);
    return ZORV_DREL_ERR_INVALID_ARG;
}
