// SPDX-License-Identifier: Apache-2.0
// zorv_drel_if_cache.cpp - the interface tree: one node per service instance of a peer-link
// interface, with its VLAN-to-VNI table, attributes and list of encap profiles.
#include <cstring>

#include "zorv_drel_trees.h"

// ---- Interface tree --------------------------------------------------------------------------

uint32_t zorv_drel_lib_get_drel_id(uint32_t if_index, uint32_t *drel_id) {
    drelm_sdb_key_t key{};
    (void)drelm_sdb_generate_if_key(if_index, &key);
    const auto *rec = static_cast<const drelm_sdb_if_info_t *>(drelm_sdb_info_get(&key));
    if (rec == nullptr || rec->is_drel == 0) return ZORV_DREL_ERR_DRELM_NO_RECORD;
    if (drel_id != nullptr) *drel_id = rec->drel_id;
    return ZORV_DREL_OK;
}

uint32_t zorv_drel_lib_get_ifindex_from_drel_id(uint32_t drel_id, uint32_t arg) {
    return drelm_api_get_local_drel_if_index(drel_id, arg, 1);
}

uint32_t zorv_drel_lib_mct_exists(void) {
    drelm_sdb_key_t key{};
    (void)drelm_sdb_generate_mct_key(1, &key);
    return drelm_sdb_info_get(&key) != nullptr ? 1 : 0;
}

uint32_t zorv_drel_set_if_key(if_cfg_avl_key_t *key, uint16_t type, uint32_t /*len*/,
                              const void *value, uint32_t if_index) {
    if (key == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    *key = {if_index, 0};
    switch (type) {
    case ZORV_TYPE1_INTF_VSI_ADMIN:
    case ZORV_TYPE1_INTF_VSI_ENCAP_PROF:
    case ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP:
    case ZORV_TYPE1_INTF_VSI_ATTRIBUTES: break;
    default: return ZORV_DREL_ERR_INVALID_ARG;
    }
    if (value == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    // Every interface value carries the service-instance id in its second word.
    key->vsi_id = static_cast<const vsi_admin_t *>(value)->vsi;
    uint32_t drel_id = 0;
    (void)zorv_drel_lib_get_drel_id(if_index, &drel_id);
    ZLOG("%s(%d): if idx: 0x%0x, drel_id:%d vsi id:%u\n", if_index, drel_id, key->vsi_id);
    return ZORV_DREL_OK;
}

// A value that is too short for its type, or a type-9 value whose pair count does not fit in
// its length, is refused (ZORV_DREL_ERR_INVALID_ARG, logged, node unchanged): nothing of it is
// read, so a half-applied update cannot happen.
if_cfg_avl_node_t *zorv_drel_create_if_node(const if_cfg_avl_key_t *key, uint16_t type,
                                            uint16_t len, const void *value) {
    if (key == nullptr) return nullptr;
    auto node = zorv::tracked_calloc<if_cfg_avl_node_t>(ZORV_DREL_LIB_MEM_if_cfg_avl_node_t);
    if (!node) {
        ZLOG("%s(%d): Failed malloc\n");
        return nullptr;
    }
    node->if_index = key->if_index;
    node->vsi_id = key->vsi_id;
    if (zorv_drel_if_cfg_avl_update(node.get(), type, len, value) != 0) {
        ZLOG("%s(%d): Failed create encap node\n");
        // The list of a fresh node holds at most the one entry the update appended.
        zorv_drel_if_cfg_avl_free(node.release());
        return nullptr;
    }
    return node.release();
}

// Releases the node's encap list with the node: once the node is gone nothing could reach it.
void zorv_drel_if_cfg_delete_cache_node(if_cfg_avl_node_t *node) {
    zorv::erase<zorv::if_tree>(node);
}

void zorv_drel_if_cfg_delete_cache_key(const if_cfg_avl_key_t *key) {
    zorv::erase_key<zorv::if_tree>(key);
}

namespace {

// Logs and refuses a value that cannot be read within its length.
uint32_t refuse_value(const char *fn, uint16_t type, uint32_t len) noexcept {
    ZLOG_AS(fn, "%s(%d): Error: Refused type:%d value of len:%u\n", type, len);
    return ZORV_DREL_ERR_INVALID_ARG;
}

bool all_bits_set(const uint8_t (&bits)[512]) noexcept {
    for (uint8_t b : bits)
        if (b != 0xFF) return false;
    return true;
}

// Takes the attributes of a checked type-9 value into an interface node.
void apply_vsi_all(const char *fn, if_cfg_avl_node_t &node, const zorv::vsi_all_view &v) noexcept {
    const uint32_t mode = v.head->map_mode;
    node.admin = v.head->admin;
    node.vdp = mode == ZORV_MAP_MODE_VDP ? 1 : 0;
    node.dfs = mode == ZORV_MAP_MODE_DFS ? 1 : 0;
    node.vmt = mode == ZORV_MAP_MODE_VMT ? 1 : 0;
    node.lldp = mode == ZORV_MAP_MODE_LLDP ? 1 : 0;
    // A value without pairs never clears a map.
    if (!v.pairs.empty()) {
        node.dyn_map_cnt = v.head->dyn_map_cnt;
        std::memset(node.dot1q_vni, 0, sizeof node.dot1q_vni);
        for (const vsi_dyn_map_t &p : v.pairs) {
            if (!zorv::valid_pair(p.dot1q, p.vni)) {
                ZLOG_AS(fn, "%s(%d): ASSERT: invalid lcl dot1q:%d or vni:%d\n", p.dot1q, p.vni);
                continue;
            }
            ZLOG_AS(fn, "%s(%d): Updating dot1q:%d, vni:%d\n", p.dot1q, p.vni);
            node.dot1q_vni[p.dot1q] = p.vni;
        }
    }
    node.dot1q_bmp.len = 512;
    std::memcpy(node.dot1q_bmp.bits, v.tail->dot1q_bmp.bits, sizeof node.dot1q_bmp.bits);
    zorv::copy_name(node.prof_name, v.tail->prof_name);
}

} // namespace

// Refuses (ZORV_DREL_ERR_INVALID_ARG, logged, node unchanged) a type-5 or type-6 value shorter
// than its fixed length and a type-9 value that is shorter than 792 bytes, has a negative pair
// count or claims more pairs than its length holds. Unsupported types still succeed.
uint32_t zorv_drel_if_cfg_avl_update(if_cfg_avl_node_t *node, uint16_t type, uint16_t len,
                                     const void *value) {
    if (node == nullptr || value == nullptr) return ZORV_DREL_OK;
    ZLOG("%s(%d): sizeof(vsi_all):%d, tlen:%d\n", ZORV_VSI_ALL_FIXED_LEN, len);
    switch (type) {
    case ZORV_TYPE1_INTF_VSI_ENCAP_PROF:
        return zorv_drel_if_cfg_avl_update_encap(node, type, len, value, 0);
    case ZORV_TYPE1_INTF_VSI_ADMIN:
        if (!zorv::check_value(type, value, len).ok()) return refuse_value(__func__, type, len);
        node->admin = static_cast<const vsi_admin_t *>(value)->admin;
        ZLOG("%s(%d): Updated vsi:%d admin :%d\n", node->vsi_id, node->admin);
        return ZORV_DREL_OK;
    case ZORV_TYPE1_INTF_VSI_ATTRIBUTES: {
        zorv::vsi_all_view v;
        if (!zorv::check_value(type, value, len, {}, &v).ok())
            return refuse_value(__func__, type, len);
        apply_vsi_all(__func__, *node, v);
        return ZORV_DREL_OK;
    }
    default: ZLOG("%s(%d): Unsupported type:%d\n", type); return ZORV_DREL_OK;
    }
}

// A type-6 value shorter than its fixed length is refused (ZORV_DREL_ERR_INVALID_ARG, logged).
uint32_t zorv_drel_if_cfg_avl_update_encap(if_cfg_avl_node_t *node, uint16_t type, uint32_t len,
                                           const void *value, uint32_t append) {
    switch (type) {
    case ZORV_TYPE1_INTF_VSI_ENCAP_PROF: {
        if (node == nullptr || value == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
        if (!zorv::check_value(type, value, len).ok()) return refuse_value(__func__, type, len);
        const auto *rng = static_cast<const vsi_encap_rng_t *>(value);
        // The name field as it stands: compared over at most its 256 bytes, appended cut to 255.
        const char *name = rng->encap_name;
        if (append == 0) {
            char *found = zorv_drel_if_cfg_avl_get_encap(node, name);
            if (found != nullptr) {
                auto *e = reinterpret_cast<encap_profile_node *>(
                    found - offsetof(encap_profile_node, encap_name));
                e->dot1q_bmp.len = 512;
                std::memcpy(e->dot1q_bmp.bits, rng->dot1q_bmp.bits, sizeof e->dot1q_bmp.bits);
                // A replaced bitmap is never taken as "all allowed", whatever its bits say.
                e->all_allowed = 0;
                return ZORV_DREL_OK;
            }
        }
        return zorv_drel_if_cfg_avl_append_encap(node, name, &rng->dot1q_bmp, nullptr);
    }
    case ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP: ZLOG("%s(%d): Not yet supported\n"); return 0;
    default: ZLOG("%s(%d): Unkn type:%d\n", type); return 0;
    }
}

uint32_t zorv_drel_if_cfg_avl_append_encap(if_cfg_avl_node_t *node, const char *name,
                                           const bmp4096_t *bitmap, const uint32_t *map) {
    if (node == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    auto *e = static_cast<encap_profile_node *>(
        zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_encap_profile_node, sizeof(encap_profile_node)));
    if (e == nullptr) return 1; // a bare 1 on no memory, as its callers expect
    encap_profile_node **tail = &node->encap_list;
    while (*tail != nullptr)
        tail = &(*tail)->next;
    *tail = e;
    if (name != nullptr) zorv::copy_name(e->encap_name, name);
    if (bitmap != nullptr) {
        e->dot1q_bmp.len = 512;
        std::memcpy(e->dot1q_bmp.bits, bitmap->bits, sizeof e->dot1q_bmp.bits);
        e->all_allowed = all_bits_set(e->dot1q_bmp.bits) ? 1 : 0;
    } else {
        std::memset(e->dot1q_bmp.bits, 0xFF, sizeof e->dot1q_bmp.bits);
        e->all_allowed = 1;
    }
    if (map != nullptr) std::memcpy(e->dot1q_vni, map, sizeof e->dot1q_vni);
    ++node->encap_count;
    return ZORV_DREL_OK;
}

char *zorv_drel_if_cfg_avl_get_encap(const if_cfg_avl_node_t *node, const char *name) {
    if (node == nullptr) return nullptr;
    const bool want_map = name == nullptr || name[0] == '\0';
    for (encap_profile_node *e = node->encap_list; e != nullptr; e = e->next) {
        if (want_map ? e->encap_name[0] == '\0'
                     : std::strncmp(e->encap_name, name, ZORV_NAME_LEN) == 0)
            return e->encap_name;
    }
    return nullptr;
}

uint32_t zorv_drel_if_cfg_avl_del_encap(if_cfg_avl_node_t *node, const char *name) {
    // A name read from a value may fill all 256 bytes of its field without a terminator.
    const zorv::name_text shown(name);
    ZLOG("%s(%d): encap_name:%s\n", shown.text);
    if (node == nullptr || name == nullptr) return ZORV_DREL_OK;
    for (encap_profile_node **link = &node->encap_list; *link != nullptr; link = &(*link)->next) {
        encap_profile_node *e = *link;
        if (std::strncmp(e->encap_name, name, ZORV_NAME_LEN) != 0) continue;
        *link = e->next;
        tracked_free(ZORV_DREL_LIB_SERVICE_ID, e);
        // encap_count counts appends, not live entries: it is left as it is.
        ZLOG("%s(%d): ----Deleted encap_name:%s\n", shown.text);
        break;
    }
    return ZORV_DREL_OK;
}

uint32_t zorv_drel_if_cfg_avl_delete(if_cfg_avl_node_t *node, uint16_t type, uint32_t /*len*/,
                                     const void *value) {
    // All bits set, not a library code, for what cannot be deleted: its callers test for it.
    if (node == nullptr || value == nullptr) return 0xFFFFFFFFu;
    switch (type) {
    case ZORV_TYPE1_INTF_VSI_ENCAP_PROF:
        // The value's name as it stands, compared over at most 256 bytes.
        (void)zorv_drel_if_cfg_avl_del_encap(
            node, static_cast<const vsi_encap_rng_t *>(value)->encap_name);
        return ZORV_DREL_OK;
    case ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP:
        ZLOG("%s(%d): type:%d not yet supported ", type);
        return ZORV_DREL_OK;
    default: ZLOG("%s(%d): Unk type:%d ", type); return 0xFFFFFFFFu;
    }
}

uint32_t zorv_drel_if_cfg_avl_encaplist_tlv_size(const if_cfg_avl_node_t *node) {
    if (node == nullptr) return 0;
    uint32_t size = 0;
    for (const encap_profile_node *e = node->encap_list; e != nullptr; e = e->next)
        size += static_cast<uint16_t>(tlv_aligned_size(
            e->encap_name[0] != '\0' ? ZORV_VSI_ENCAP_RNG_LEN : ZORV_VSI_ENCAP_DOT1Q_MAP_LEN));
    return size;
}
