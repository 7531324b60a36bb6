// zorv_drel_params.cpp - configuration messages into the cache (with extraction records for the
// peer manager), direct cache updates, bulk rebuild from a TLV array, and export of the cache as
// a TLV array or as printable rows.
#include <cstring>

#include <platform/platform.h>

#include "zorv_drel_internal.h"

namespace {

using zorv::tlv;
using zorv::tlv_walker;

constexpr uint32_t kUpdRecLen = sizeof(zorv_type1_upd_t); // is_delete, if_index, param_len
constexpr uint32_t kInfoTag = 160;

const char *action_text(uint32_t action) noexcept {
    return action != 0 ? "replace" : "delete";
}

// A value from an array is used only when its TLV length holds the whole record of its type.
// Types without a record are refused by the key builders before any value byte is read.
bool value_fits(const char *fn, uint16_t type, uint16_t len, const void *value) noexcept {
    if (zorv::value_fits(type, value, len)) return true;
    if (type == ZORV_TYPE1_INTF_VSI_ATTRIBUTES)
        ZLOG_AS(fn, "%s(%d): Error: malformed value of type:%d len:%d\n", static_cast<int>(type),
                static_cast<int>(len));
    else
        ZLOG_AS(fn, "%s(%d): Error: value of type:%d too short (len:%d, need:%d)\n",
                static_cast<int>(type), static_cast<int>(len),
                static_cast<int>(zorv::fixed_value_len(type)));
    return false;
}

// Removes an interface node with its encap list: the tree's own delete keeps the list.
void drop_if_node(if_cfg_avl_node_t *node) noexcept {
    zorv_drel_if_cfg_avl_free_encaplist(node);
    zorv_drel_if_cfg_delete_cache_node(node);
}

// The update record of a message, located and checked against the reported payload length.
struct upd_record {
    const zorv_type1_upd_t *rec = nullptr;
    uint32_t payload_len = 0;
};

enum class upd_state { ok, no_payload, refused };

// Finds the update record at `offset` (16 behind the header form's resp_present word, or 0)
// and checks that the record, its param_len bytes and the array header they start with all lie
// inside the payload. `fn` names the exported operation in the log lines.
upd_state locate_update(const char *fn, const msg_t *msg, bool with_header,
                        upd_record &out) noexcept {
    uint32_t len = 0;
    const auto *payload = static_cast<const uint8_t *>(msg_payload_get(msg, &len));
    out.payload_len = len;
    if (payload == nullptr) return upd_state::no_payload;
    uint32_t offset = 0;
    if (with_header) {
        if (len < ZORV_DREL_UPD_HDR_LEN) {
            ZLOG_AS(fn, "%s(%d): Error: payload len=%d too short for header\n",
                    static_cast<int>(len));
            return upd_state::refused;
        }
        uint32_t resp_present = 0;
        std::memcpy(&resp_present, payload + ZORV_DREL_UPD_RESP_PRESENT_OFF, sizeof resp_present);
        if (resp_present == 0) return upd_state::no_payload;
        offset = ZORV_DREL_UPD_HDR_LEN;
    }
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
    const auto *array = reinterpret_cast<const tlv_array_t *>(out.rec->param);
    if (!zorv::tlv_array_fits(array, param_len)) {
        ZLOG_AS(fn, "%s(%d): Error: tlv array does not fit in param len=%d\n",
                static_cast<int>(param_len));
        return upd_state::refused;
    }
    return upd_state::ok;
}

// Fills one type-9 value of an interface node into `value` (792 + 8 * dyn_map_cnt bytes,
// zero-filled): pairs from the VLAN table in ascending order until the count is reached.
uint32_t low16(uint32_t v) noexcept {
    return v & 0xFFFFu;
}

} // namespace

// ---- Parameter extraction --------------------------------------------------------------------

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
    if (msg == nullptr || tlv_array_out == nullptr || num_tlvs_out == nullptr ||
        reserved_out == nullptr || info_out == nullptr) {
        ZLOG("%s(%d): Error: Invalid arg\n");
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    upd_record upd;
    const upd_state state = locate_update(__func__, msg, opc != ZORV_DREL_OPC_TYPE1_UPD, upd);
    if (state == upd_state::refused) return ZORV_DREL_ERR_INVALID_ARG;
    if (state == upd_state::no_payload || upd.rec == nullptr) {
        ZLOG("%s(%d): Null payload\n");
        return 0;
    }
    const zorv_type1_upd_t *rec = upd.rec;
    const uint32_t param_len = rec->param_len;
    if (param_len == 0) {
        ZLOG("%s(%d): Invalid param len=%d\n", static_cast<int>(param_len));
        return 0;
    }
    const auto *param = reinterpret_cast<const tlv_array_t *>(rec->param);
    const uint32_t count = tlv_walker(param).count();
    if (count == 0) {
        ZLOG("%s(%d): Failed to find tlvs\n");
        return ZORV_DREL_ERR_INVALID_ARG;
    }

    auto *info = static_cast<drelm_app_cmd_extract_info_t *>(
        zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_drelm_app_cmd_extract_info_t,
                             count * static_cast<uint32_t>(sizeof(drelm_app_cmd_extract_info_t))));
    *info_out = info;
    if (info == nullptr) {
        ZLOG("%s(%d): Failed malloc\n");
        return 1;
    }
    auto *copy =
        static_cast<tlv_array_t *>(zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_tlv_array_t, param_len));
    if (copy == nullptr) {
        ZLOG("%s(%d): Failed malloc\n");
        tracked_free(ZORV_DREL_LIB_SERVICE_ID, info);
        *info_out = nullptr;
        return 1;
    }
    std::memcpy(copy, param, param_len);
    *num_tlvs_out = count;
    *reserved_out = 0;

    const uint32_t is_delete = rec->is_delete;
    const uint32_t if_index = rec->if_index;
    tlv_walker walk(copy);
    for (uint32_t i = 0; i < count; ++i) {
        tlv t{};
        const int rc = walk.next_logged(t, __func__);
        if (rc != 0) {
            tracked_free(ZORV_DREL_LIB_SERVICE_ID, copy);
            tracked_free(ZORV_DREL_LIB_SERVICE_ID, info);
            *info_out = nullptr;
            return static_cast<uint32_t>(rc);
        }
        const uint32_t is_default = zorv_drel_type1_cfg_param_is_default(t.type, t.len, t.value);
        ZLOG("%s(%d): updating type=%d, len=%d (is_default=%d)\n", static_cast<int>(t.type),
             static_cast<int>(t.len), static_cast<int>(is_default));
        uint32_t err = 0;
        if (if_index != 0) {
            err =
                zorv_drel_extract_if_params(is_delete, t.type, t.len, t.value, if_index, &info[i]);
        } else if (t.type == ZORV_TYPE1_GBL_MEMBER_VNI) {
            err = zorv_drel_extract_memvni_param(is_delete, t.type, t.len, t.value, &info[i]);
        } else {
            ZLOG("%s(%d): Unkown type:%d", static_cast<int>(t.type));
        }
        if (err != 0)
            ZLOG("%s(%d): Error: could not extract info for type:%d, is_delete:%d \n",
                 static_cast<int>(t.type), static_cast<int>(is_delete));
        info[i].is_gbl = if_index == 0 ? 1 : 0;
        info[i].if_idx = if_index;
        ZLOG("%s(%d): INFO_P (array idx:%d, is_gbl?%d, if_idx:0x%x, type:%d, idx:%d, ac?%s\n",
             static_cast<int>(i), static_cast<int>(info[i].is_gbl), info[i].if_idx,
             static_cast<int>(info[i].type), static_cast<int>(info[i].idx),
             action_text(info[i].action));
    }
    *tlv_array_out = copy;
    ZLOG("%s(%d): Success\n");
    return 0;
}

uint32_t zorv_drel_extract_if_params(uint32_t is_delete, uint16_t type, uint16_t len,
                                     const void *value, uint32_t if_index,
                                     drelm_app_cmd_extract_info_t *info) {
    ZLOG("%s(%d): extract interface params\n");
    if (info == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    uint32_t drel_id = 0;
    uint32_t rc = zorv_drel_lib_get_drel_id(if_index, &drel_id);
    if (rc != 0) {
        ZLOG("%s(%d): interface:0x%x is not pelk\n", if_index);
        return rc;
    }
    ZLOG("%s(%d): port 0x%x is DREL (ID %d)\n", if_index, static_cast<int>(drel_id));
    if (!value_fits(__func__, type, len, value)) return ZORV_DREL_ERR_INVALID_ARG;
    if_cfg_avl_key_t key{};
    rc = zorv_drel_set_if_key(&key, type, len, value, if_index);
    if (rc != 0) {
        ZLOG("%s(%d): Failed (rc=0x%x, %s) to set key\n", rc, error_to_string(rc));
        return rc;
    }
    auto *node = static_cast<if_cfg_avl_node_t *>(tree_find(zorv_drel_if_cfg_avl, &key));
    uint32_t action = is_delete != 0 ? 0 : 1;
    if (node != nullptr && is_delete == 0) {
        (void)zorv_drel_if_cfg_avl_update(node, type, len, value);
    } else if (node != nullptr && type == ZORV_TYPE1_INTF_VSI_ATTRIBUTES) {
        ZLOG("%s(%d): Action Delete: deleting if_index:0x%x vsi:%d cache node\n", node->if_index,
             static_cast<int>(node->vsi_id));
        drop_if_node(node);
    } else if (node != nullptr) {
        ZLOG("%s(%d): Unk type:%d ", static_cast<int>(type));
    } else if (is_delete != 0) {
        ZLOG("%s(%d): Trying to delete non-exist\n");
    } else {
        if_cfg_avl_node_t *created = zorv_drel_create_if_node(&key, type, len, value);
        if (created != nullptr && tree_insert(zorv_drel_if_cfg_avl, created) != 0) {
            zorv_drel_if_cfg_avl_free(created);
            created = nullptr;
        }
        if (created != nullptr)
            ZLOG("%s(%d): created avl node\n");
        else
            ZLOG("%s(%d): Error: Failed create node\n");
    }
    info->type = type;
    info->action = action;
    info->idx = zorv_drel_lib_get_uid(type, len, value);
    ZLOG("%s(%d): If param for ifindex:0x%x  action:%s\n", if_index, action_text(action));
    return 0;
}

uint32_t zorv_drel_extract_memvni_param(uint32_t is_delete, uint16_t type, uint16_t len,
                                        const void *value, drelm_app_cmd_extract_info_t *info) {
    if (value == nullptr || info == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    // Whatever the type, the two words are read: the whole record must be there.
    if (len < ZORV_MEMBER_VNI_LEN) {
        ZLOG("%s(%d): Error: value of type:%d too short (len:%d, need:%d)\n",
             static_cast<int>(type), static_cast<int>(len), static_cast<int>(ZORV_MEMBER_VNI_LEN));
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    const auto *mv = static_cast<const member_vni_t *>(value);
    ZLOG("%s(%d): bd:%d, mem vni:%d\n", static_cast<int>(mv->bd), static_cast<int>(mv->vni));
    gbl_cfg_memvni_avl_node_t key{};
    const uint32_t rc = zorv_drel_set_gbl_memvni_key(&key, type, len, mv);
    if (rc != 0) {
        ZLOG("%s(%d): Failed (rc=0x%x, %s) to set key\n", rc, error_to_string(rc));
        return rc;
    }
    auto *node =
        static_cast<gbl_cfg_memvni_avl_node_t *>(tree_find(zorv_drel_gbl_cfg_memvni_avl, &key));
    const uint32_t action = is_delete != 0 ? 0 : 1;
    if (node != nullptr && is_delete != 0) {
        ZLOG("%s(%d): Found avl node - deleting\n");
        zorv_drel_gbl_cfg_memvni_delete_cache_node(node);
    } else if (node != nullptr) {
        ZLOG("%s(%d): Found avl node - updating\n");
        (void)zorv_drel_gbl_cfg_memvni_avl_update(node, type, len, mv);
    } else if (is_delete != 0) {
        ZLOG("%s(%d): Error: try to delete non-existent node\n");
    } else {
        ZLOG("%s(%d): New avl node\n");
        gbl_cfg_memvni_avl_node_t *created =
            zorv_drel_create_gbl_memvni_node(nullptr, type, len, mv);
        if (created != nullptr && tree_insert(zorv_drel_gbl_cfg_memvni_avl, created) != 0) {
            zorv_drel_gbl_cfg_memvni_avl_free(created);
            created = nullptr;
        }
        if (created == nullptr) {
            ZLOG("%s(%d): Failed create\n");
            return ZORV_DREL_ERR_NO_MEMORY;
        }
        ZLOG("%s(%d): added avl node for member vni\n");
    }
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

// ---- Cache update --------------------------------------------------------------------------

uint32_t zorv_drel_type1_cfg_cache_update(uint32_t is_delete, uint32_t is_gbl, uint32_t if_index,
                                          const msg_t *msg) {
    ZLOG("%s(%d): update cache msg_ref:%p(delete=%s, gbl=%d, if_index=0x%x)\n",
         static_cast<const void *>(msg), is_delete != 0 ? "True" : "False",
         static_cast<int>(is_gbl), if_index);
    if (msg == nullptr) {
        if (is_delete == 0) return 0;
        if (if_index == 0) {
            ZLOG_RAW("Error: No ifindex to delete\n");
            return 0;
        }
        const if_cfg_avl_key_t key{if_index, 0}; // service instance 0 matches every node
        while (auto *node =
                   static_cast<if_cfg_avl_node_t *>(tree_find(zorv_drel_if_cfg_avl, &key))) {
            ZLOG("%s(%d): deleting ifdx:0x%x, vsi:%d\n", node->if_index,
                 static_cast<int>(node->vsi_id));
            drop_if_node(node);
        }
        return 0;
    }

    upd_record upd;
    const upd_state state = locate_update(__func__, msg, true, upd);
    if (state == upd_state::refused) return ZORV_DREL_ERR_INVALID_ARG;
    if (state == upd_state::no_payload || upd.rec == nullptr) {
        ZLOG("%s(%d): No Resp\n");
        return 0;
    }
    const auto *param = reinterpret_cast<const tlv_array_t *>(upd.rec->param);
    if (upd.rec->param_len == 0) {
        ZLOG("%s(%d): param_p:%p or No TLVs (paylen is %d)\n", static_cast<const void *>(param),
             static_cast<int>(upd.rec->param_len));
        return 0;
    }
    tlv_walker walk(param);
    const uint32_t count = walk.count();
    ZLOG("%s(%d): Num TLVs %d\n", static_cast<int>(count));
    for (uint32_t i = 0; i < count; ++i) {
        tlv t{};
        const int wrc = walk.next_logged(t, __func__);
        if (wrc != 0) return static_cast<uint32_t>(wrc);
        if (is_gbl != 0) {
            if (t.type != ZORV_TYPE1_GBL_MEMBER_VNI) {
                ZLOG("%s(%d): Error: Unknown key%d\n", static_cast<int>(t.type));
                return ZORV_DREL_ERR_INVALID_ARG;
            }
            if (!value_fits(__func__, t.type, t.len, t.value)) return ZORV_DREL_ERR_INVALID_ARG;
            const auto *mv = static_cast<const member_vni_t *>(t.value);
            gbl_cfg_memvni_avl_node_t key{};
            (void)zorv_drel_set_gbl_memvni_key(&key, t.type, t.len, mv);
            auto *node = static_cast<gbl_cfg_memvni_avl_node_t *>(
                tree_find(zorv_drel_gbl_cfg_memvni_avl, &key));
            if (node != nullptr && is_delete != 0) {
                zorv_drel_gbl_cfg_memvni_delete_cache_node(node);
                ZLOG("%s(%d): Entry deleted\n");
            } else if (node != nullptr) {
                (void)zorv_drel_gbl_cfg_memvni_avl_update(node, t.type, t.len, mv);
                ZLOG("%s(%d): success updated type %d len %d to cache\n", static_cast<int>(t.type),
                     static_cast<int>(t.len));
            } else if (is_delete != 0) {
                ZLOG("%s(%d): Entry to delete not found\n");
            } else {
                ZLOG("%s(%d): Add type %d to cache\n", static_cast<int>(t.type));
                gbl_cfg_memvni_avl_node_t *created =
                    zorv_drel_create_gbl_memvni_node(nullptr, t.type, t.len, mv);
                if (created != nullptr && tree_insert(zorv_drel_gbl_cfg_memvni_avl, created) != 0) {
                    zorv_drel_gbl_cfg_memvni_avl_free(created);
                    created = nullptr;
                }
                if (created != nullptr)
                    ZLOG("%s(%d): success add type %d len %d to cache\n", static_cast<int>(t.type),
                         static_cast<int>(t.len));
                else
                    ZLOG("%s(%d): Error: failed to  add type %d len %d to cache\n",
                         static_cast<int>(t.type), static_cast<int>(t.len));
            }
            continue;
        }

        if (!value_fits(__func__, t.type, t.len, t.value)) return ZORV_DREL_ERR_INVALID_ARG;
        if_cfg_avl_key_t key{};
        const uint32_t krc = zorv_drel_set_if_key(&key, t.type, t.len, t.value, if_index);
        if (krc != 0) {
            ZLOG("%s(%d): Error: Could not create if key for type %d\n", static_cast<int>(t.type));
            return krc;
        }
        auto *node = static_cast<if_cfg_avl_node_t *>(tree_find(zorv_drel_if_cfg_avl, &key));
        if (node != nullptr) {
            ZLOG("%s(%d): Found avl node for type %d\n", static_cast<int>(t.type));
            if (is_delete != 0) {
                drop_if_node(node);
                ZLOG("%s(%d): Entry deleted\n");
            } else if (zorv_drel_if_cfg_avl_update(node, t.type, t.len, t.value) != 0) {
                ZLOG("%s(%d): Error: unable to update entry\n");
            } else {
                ZLOG("%s(%d): success updated type %d len %d to cache\n", static_cast<int>(t.type),
                     static_cast<int>(t.len));
            }
        } else if (is_delete != 0) {
            ZLOG("%s(%d): Entry to delete not found\n");
        } else {
            ZLOG("%s(%d): Add type %d to cache\n", static_cast<int>(t.type));
            if_cfg_avl_node_t *created = zorv_drel_create_if_node(&key, t.type, t.len, t.value);
            if (created == nullptr) {
                ZLOG("%s(%d): Failed malloc\n");
                return ZORV_DREL_ERR_NO_MEMORY;
            }
            if (tree_insert(zorv_drel_if_cfg_avl, created) != 0) {
                zorv_drel_if_cfg_avl_free(created);
                ZLOG("%s(%d): Error: failed to  add type %d len %d to cache\n",
                     static_cast<int>(t.type), static_cast<int>(t.len));
                continue;
            }
            ZLOG("%s(%d): success add type %d len %d to cache\n", static_cast<int>(t.type),
                 static_cast<int>(t.len));
        }
    }
    return 0;
}

// ---- Local cache rebuild -------------------------------------------------------------------

uint32_t zorv_drel_type1_cfg_cache_rebuild(const tlv_array_t *tlv_array, uint32_t is_gbl,
                                           uint32_t if_index) {
    ZLOG("%s(%d): rebuilding type-1 cache(%s)\n", is_gbl != 0 ? "gbl" : "if");
    if (tlv_array == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    tlv_walker walk(tlv_array);
    const uint32_t count = walk.count();
    ZLOG("%s(%d): num_tlvs = %d\n", static_cast<int>(count));
    for (uint32_t i = 0; i < count; ++i) {
        tlv t{};
        const int wrc = walk.next_logged(t, __func__);
        if (wrc != 0) return static_cast<uint32_t>(wrc);
        const int type = t.type;
        const int tlen = t.len;
        ZLOG("%s(%d): type = %d, tlen=%d\n", type, tlen);
        if (!value_fits(__func__, t.type, t.len, t.value)) return ZORV_DREL_ERR_INVALID_ARG;

        bool inserted = false;
        bool created_any = false;
        if (is_gbl != 0 && t.type == ZORV_TYPE1_GBL_MEMBER_VNI) {
            const auto *mv = static_cast<const member_vni_t *>(t.value);
            gbl_cfg_memvni_avl_node_t key{};
            const uint32_t krc = zorv_drel_set_gbl_memvni_key(&key, t.type, t.len, mv);
            if (krc != 0) {
                ZLOG("%s(%d): Failed (rc=0x%x, %s) to set key\n", krc, error_to_string(krc));
                return krc;
            }
            auto *node = static_cast<gbl_cfg_memvni_avl_node_t *>(
                tree_find(zorv_drel_gbl_cfg_memvni_avl, &key));
            if (node != nullptr) {
                ZLOG("%s(%d): Found cache entry for type %d len %d ", type, tlen);
                (void)zorv_drel_gbl_cfg_memvni_avl_update(node, t.type, t.len, mv);
                continue;
            }
            created_any = true;
            if (auto *n = zorv_drel_create_gbl_memvni_node(nullptr, t.type, t.len, mv)) {
                inserted = tree_insert(zorv_drel_gbl_cfg_memvni_avl, n) == 0;
                if (!inserted) zorv_drel_gbl_cfg_memvni_avl_free(n);
            }
        } else if (is_gbl != 0) {
            // The wire carries only the name of a profile; the node is made from a local record
            // {name, id 0} so that nothing behind the value is read or written.
            encap_name_t local{};
            void *gval = const_cast<void *>(t.value);
            if (t.type == ZORV_TYPE1_GBL_ENCAP_PROFILE) {
                zorv::copy_name(local.encap_name, static_cast<const char *>(t.value));
                local.id = 0;
                gval = &local;
            }
            gbl_cfg_avl_key_t key{};
            const uint32_t krc = zorv_drel_set_gbl_key(&key, t.type, t.len, gval);
            if (krc != 0) {
                ZLOG("%s(%d): Failed (rc=0x%x, %s) to set key\n", krc, error_to_string(krc));
                return krc;
            }
            auto *node = static_cast<gbl_cfg_avl_node_t *>(tree_find(zorv_drel_gbl_cfg_avl, &key));
            if (node != nullptr) {
                ZLOG("%s(%d): Found cache entry for  type %d len %d ", type, tlen);
                (void)zorv_drel_gbl_cfg_avl_update(node, t.type, t.len, gval, 0);
                continue;
            }
            created_any = true;
            if (auto *n = zorv_drel_create_gbl_node(nullptr, t.type, t.len, gval)) {
                inserted = tree_insert(zorv_drel_gbl_cfg_avl, n) == 0;
                if (!inserted) zorv_drel_gbl_cfg_avl_free(n);
            }
        } else {
            if_cfg_avl_key_t key{};
            const uint32_t krc = zorv_drel_set_if_key(&key, t.type, t.len, t.value, if_index);
            if (krc != 0) {
                ZLOG("%s(%d): Failed (rc=0x%x, %s) to set key\n", krc, error_to_string(krc));
                return krc;
            }
            auto *node = static_cast<if_cfg_avl_node_t *>(tree_find(zorv_drel_if_cfg_avl, &key));
            if (node != nullptr) {
                ZLOG("%s(%d): Found cache entry for  type %d len %d ", type, tlen);
                (void)zorv_drel_if_cfg_avl_update_encap(node, t.type, t.len, t.value, 0);
                continue;
            }
            created_any = true;
            if (auto *n = zorv_drel_create_if_node(&key, t.type, t.len, t.value)) {
                inserted = tree_insert(zorv_drel_if_cfg_avl, n) == 0;
                if (!inserted) zorv_drel_if_cfg_avl_free(n);
            }
        }
        if (created_any && inserted)
            ZLOG("%s(%d): success add type %d len %d to cache\n", type, tlen);
        else if (created_any)
            ZLOG("%s(%d): Error: failed to  add type %d len %d to cache\n", type, tlen);
    }
    return 0;
}

// ---- Parameter export ----------------------------------------------------------------------

namespace {

// Adds the type-8 TLV of every member-VNI node in tree order, logging on behalf of `fn`;
// false on the first TLV that cannot be made or added.
bool add_member_vni_tlvs(const char *fn, uint32_t size, tlv_array_t *array) noexcept {
    for (auto *m :
         zorv::tree_nodes<const gbl_cfg_memvni_avl_node_t>(zorv_drel_gbl_cfg_memvni_avl)) {
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
    for (auto *m : zorv::tree_nodes<const gbl_cfg_memvni_avl_node_t>(zorv_drel_gbl_cfg_memvni_avl))
        sum += zorv_drel_gbl_cfg_memvni_avl_tlvs_size_get(m);
    return sum;
}

// A zero-filled export array for `sum` bytes of TLVs behind its header, or null.
tlv_array_t *new_export_array(const char *fn, uint32_t sum) noexcept {
    const uint32_t size = sum + 4;
    ZLOG_AS(fn, "%s(%d): TLV array size %d\n", static_cast<int>(size));
    return static_cast<tlv_array_t *>(zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_tlv_array_t, size));
}

// Hands a finished export array to the caller.
uint32_t hand_over(const char *fn, tlv_array_t *array, tlv_array_t **tlv_array_out) noexcept {
    ZLOG_AS(fn, "%s(%d): num_tlvs = %d\n", static_cast<int>(tlv_array_count(array, 1)));
    *tlv_array_out = array;
    return 0;
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
    if (zorv_drel_gbl_cfg_avl == nullptr) {
        ZLOG("%s(%d): Error: tree uninitialized\n");
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    uint32_t sum = 0;
    for (auto *n : zorv::tree_nodes<const gbl_cfg_avl_node_t>(zorv_drel_gbl_cfg_avl))
        sum += zorv_drel_gbl_cfg_avl_tlvs_size_get(n);
    if (zorv_drel_gbl_cfg_memvni_avl == nullptr) {
        ZLOG("%s(%d): Error: tree uninitialized\n");
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    sum += member_vni_tlvs_size();
    if (sum == 0) {
        ZLOG("%s(%d): Error: No configured entries found \n");
        return 0;
    }
    const uint32_t size = sum + 4;
    auto *array = new_export_array(__func__, sum);
    if (array == nullptr) return 1;
    for (auto *n : zorv::tree_nodes<const gbl_cfg_avl_node_t>(zorv_drel_gbl_cfg_avl)) {
        if (zorv_drel_gbl_cfg_avl_tlvs_add(n, size, array) != 0) {
            ZLOG("%s(%d): Error: Unable to add tlv\n");
            tracked_free(ZORV_DREL_LIB_SERVICE_ID, array);
            return ZORV_DREL_ERR_INVALID_ARG;
        }
    }
    if (!add_member_vni_tlvs(__func__, size, array)) {
        ZLOG("%s(%d): Error: Unable to add memvni tlv\n");
        tracked_free(ZORV_DREL_LIB_SERVICE_ID, array);
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    return hand_over(__func__, array, tlv_array_out);
}

uint32_t zorv_drel_gbl_cfg_memvni_avl_get_params(tlv_array_t **tlv_array_out) {
    if (tlv_array_out == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    *tlv_array_out = nullptr;
    if (zorv_drel_gbl_cfg_memvni_avl == nullptr) {
        ZLOG("%s(%d): Error: tree uninitialized\n");
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    const uint32_t sum = member_vni_tlvs_size();
    if (sum == 0) {
        ZLOG("%s(%d): Error: No configured entries found \n");
        return 0;
    }
    const uint32_t size = sum + 4;
    auto *array = new_export_array(__func__, sum);
    if (array == nullptr) return ZORV_DREL_ERR_NO_MEMORY;
    if (!add_member_vni_tlvs(__func__, size, array)) {
        ZLOG("%s(%d): Error: Unable to add tlv\n");
        tracked_free(ZORV_DREL_LIB_SERVICE_ID, array);
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    return hand_over(__func__, array, tlv_array_out);
}

uint32_t zorv_drel_if_cfg_avl_get_params(uint32_t if_index, tlv_array_t **tlv_array_out) {
    if (tlv_array_out == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    *tlv_array_out = nullptr;
    if (zorv_drel_if_cfg_avl == nullptr) {
        ZLOG("%s(%d): Error: tree uninitialized\n");
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    const zorv::tree_nodes<const if_cfg_avl_node_t> nodes(zorv_drel_if_cfg_avl);
    if (tree_first(zorv_drel_if_cfg_avl) == nullptr) {
        ZLOG("%s(%d): Error: No config entries found \n");
        return 0;
    }
    uint32_t sum = 0;
    for (auto *n : nodes) {
        if (n->if_index != if_index) continue;
        sum += low16(tlv_aligned_size(ZORV_VSI_ALL_FIXED_LEN));
        if (n->dyn_map_cnt != 0) sum += low16(tlv_aligned_size(8u * n->dyn_map_cnt));
    }
    if (sum == 0) {
        ZLOG("%s(%d): Error: No config entries found \n");
        return 0;
    }
    const uint32_t size = sum + 4;
    auto *array = new_export_array(__func__, sum);
    if (array == nullptr) return 1;
    array->len = 0;
    for (auto *n : nodes) {
        if (n->if_index != if_index) continue;
        const uint32_t vlen = zorv::vsi_all_len(n->dyn_map_cnt);
        auto *value = static_cast<vsi_all_t *>(
            vlen <= 0xFFFFu ? zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_vsi_all_t, vlen) : nullptr);
        if (value == nullptr) {
            ZLOG("%s(%d): Failed malloc for sz:%d\n", static_cast<int>(vlen));
            tracked_free(ZORV_DREL_LIB_SERVICE_ID, array);
            return ZORV_DREL_ERR_NO_MEMORY;
        }
        zorv::fill_vsi_all(__func__, *n, if_index, *value);
        const int rc = tlv_array_add(array, size, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                                     static_cast<uint16_t>(vlen), value, 1);
        tracked_free(ZORV_DREL_LIB_SERVICE_ID, value);
        if (rc != 0) {
            ZLOG("%s(%d): Error: Unable to add tlv\n");
            tracked_free(ZORV_DREL_LIB_SERVICE_ID, array);
            return ZORV_DREL_ERR_INVALID_ARG;
        }
        ZLOG("%s(%d): added tlv\n");
    }
    return hand_over(__func__, array, tlv_array_out);
}

uint32_t zorv_drel_type1_cfg_get_param_info(const tlv_array_t *tlv_array,
                                            drelm_app_info_t **info_out) {
    ZLOG("%s(%d): type-1 (tlv_array:%p) get param info\n", static_cast<const void *>(tlv_array));
    if (tlv_array == nullptr) return 0;
    if (info_out == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    tlv_walker walk(tlv_array);
    const uint32_t count = walk.count();
    if (count == 0) return ZORV_DREL_ERR_INVALID_ARG;
    ZLOG("%s(%d): Num Tlvs %d \n", static_cast<int>(count));
    const uint64_t bytes = 4u + uint64_t{sizeof(drelm_app_info_entry_t)} * count;
    auto *info = static_cast<drelm_app_info_t *>(
        bytes <= 0xFFFFFFFFu
            ? zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_drelm_app_info_t, static_cast<uint32_t>(bytes))
            : nullptr);
    *info_out = info;
    if (info == nullptr) return 1;
    info->count = count;
    for (uint32_t i = 0; i < count; ++i) {
        tlv t{};
        const int wrc = walk.next_logged(t, __func__);
        if (wrc != 0) return static_cast<uint32_t>(wrc);
        const char *name = nullptr;
        const char *text = nullptr;
        if (t.type == ZORV_TYPE1_GBL_MEMBER_VNI || t.type == ZORV_TYPE1_INTF_VSI_ATTRIBUTES) {
            // The renderers trust their input: only a value that holds its record reaches them.
            if (!value_fits(__func__, t.type, t.len, t.value)) return ZORV_DREL_ERR_INVALID_ARG;
            if (t.type == ZORV_TYPE1_GBL_MEMBER_VNI) {
                name = "Gbl BD member vni";
                text = zorv_drel_gbl_tlv_memvni_to_str(static_cast<const member_vni_t *>(t.value));
            } else {
                name = "Service instance vni";
                text = zorv_drel_if_tlv_vsi_all_to_str(static_cast<const vsi_all_t *>(t.value));
            }
        } else {
            ZLOG("%s(%d): Invalid param type:%d\n", static_cast<int>(t.type));
            return ZORV_DREL_ERR_INVALID_ARG;
        }
        drelm_app_info_entry_t &e = info->entries[i];
        e.info_tag = kInfoTag;
        e.param_type = t.type;
        e.reserved = 0;
        zorv::copy_name(e.feature_name, "ZORV");
        zorv::copy_name(e.param_name, name);
        zorv::copy_name(e.param_value, text);
    }
    return 0;
}
