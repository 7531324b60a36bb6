// zorv_drel_cache.cpp - the configuration cache: global profiles, member VNIs, service
// instances with their encap lists, and the encap identifier allocator.
#include <cstdlib>
#include <cstring>

#include "zorv_drel_internal.h"

// ---- Tree handles ----------------------------------------------------------------------------

tree_t *zorv_drel_gbl_cfg_avl = nullptr;
tree_t *zorv_drel_gbl_cfg_memvni_avl = nullptr;
tree_t *zorv_drel_if_cfg_avl = nullptr;
tree_t *zorv_drel_encap_uid_avl = nullptr;
bmp4096_t *free_encap_bmp_p = nullptr;

namespace {

template <typename T> int sign_of(T a, T b) noexcept {
    return a < b ? -1 : (a > b ? 1 : 0);
}

} // namespace

// ---- Compare operations ----------------------------------------------------------------------

int zorv_drel_gbl_cfg_avl_cmp_func(const void *a, const void *b) {
    const char *na = a != nullptr ? static_cast<const gbl_cfg_avl_key_t *>(a)->key : nullptr;
    const char *nb = b != nullptr ? static_cast<const gbl_cfg_avl_key_t *>(b)->key : nullptr;
    if (na == nullptr || nb == nullptr) {
        // A null name compares equal to everything: callers rely on this tolerance.
        ZLOG("%s(%d): ASSERT:Invalid arg\n");
        return 0;
    }
    const int r = std::strncmp(na, nb, ZORV_NAME_LEN);
    return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

int zorv_drel_gbl_cfg_memvni_avl_cmp_func(const void *a, const void *b) {
    return sign_of(static_cast<const gbl_cfg_memvni_avl_node_t *>(a)->vni,
                   static_cast<const gbl_cfg_memvni_avl_node_t *>(b)->vni);
}

int zorv_drel_if_cfg_avl_cmp_func(const void *a, const void *b) {
    const auto *ka = static_cast<const if_cfg_avl_key_t *>(a);
    const auto *kb = static_cast<const if_cfg_avl_key_t *>(b);
    if (ka->if_index != kb->if_index) return sign_of(ka->if_index, kb->if_index);
    // A service-instance id of 0 is a wildcard over the whole interface.
    if (ka->vsi_id == 0 || kb->vsi_id == 0) return 0;
    return sign_of(ka->vsi_id, kb->vsi_id);
}

int zorv_drel_encap_uid_avl_cmp(const void *a, const void *b) {
    if (a == nullptr || b == nullptr) return -1;
    const int r = std::strcmp(static_cast<const char *>(a), static_cast<const char *>(b));
    return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

// ---- Free operations -------------------------------------------------------------------------

void zorv_drel_gbl_cfg_avl_free(void *node) {
    tracked_free(ZORV_DREL_LIB_SERVICE_ID, node);
}

void zorv_drel_gbl_cfg_memvni_avl_free(void *node) {
    tracked_free(ZORV_DREL_LIB_SERVICE_ID, node);
}

void zorv_drel_if_cfg_avl_free_encaplist(if_cfg_avl_node_t *node) {
    if (node == nullptr) return;
    encap_profile_node *e = node->encap_list;
    while (e != nullptr) {
        encap_profile_node *next = e->next;
        tracked_free(ZORV_DREL_LIB_SERVICE_ID, e);
        e = next;
    }
    node->encap_list = nullptr;
    node->encap_count = 0;
}

void zorv_drel_if_cfg_avl_free(void *node) {
    auto *n = static_cast<if_cfg_avl_node_t *>(node);
    if (n == nullptr) return;
    if (n->encap_list != nullptr) zorv_drel_if_cfg_avl_free_encaplist(n);
    tracked_free(ZORV_DREL_LIB_SERVICE_ID, n);
}

void zorv_drel_encap_uid_avl_free(void *node) {
    tracked_free(ZORV_DREL_LIB_SERVICE_ID, node);
}

// ---- Global configuration tree ---------------------------------------------------------------

uint32_t zorv_drel_set_gbl_key(gbl_cfg_avl_key_t *key, uint16_t type, uint32_t /*len*/,
                               const void *value) {
    if (key == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    key->key = nullptr;
    if (type != ZORV_TYPE1_GBL_ENCAP_PROFILE && type != ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP)
        return ZORV_DREL_ERR_INVALID_ARG;
    // Both value records begin with the profile name.
    key->key = static_cast<const char *>(value);
    return ZORV_DREL_OK;
}

gbl_cfg_avl_node_t *zorv_drel_create_gbl_node(const void * /*unused*/, uint16_t type,
                                              uint32_t /*len*/, void *value) {
    auto node = zorv::tracked_calloc<gbl_cfg_avl_node_t>(ZORV_DREL_LIB_MEM_gbl_cfg_avl_node_t);
    if (!node) {
        ZLOG("%s(%d): Failed malloc\n");
        return nullptr;
    }
    node->key = node->map.encap_name;
    switch (type) {
    case ZORV_TYPE1_GBL_ENCAP_PROFILE: {
        if (value == nullptr) return nullptr;
        auto *rec = static_cast<encap_name_t *>(value);
        zorv::copy_name(node->map.encap_name, rec->encap_name);
        node->map_exists = 0;
        const char *name = node->map.encap_name;
        uint32_t id = rec->id;
        if (id != 0) {
            ZLOG("%s(%d): restoring id:%d for encap:%s\n", id, name);
            (void)zorv_drel_restore_encap_uid(name, id);
        } else {
            // Looked up under the bounded copy of the name, never the caller's raw field.
            encap_name_t probe{};
            zorv::copy_name(probe.encap_name, name);
            id = zorv_drel_get_encap_uid(&probe);
            if (id != 0)
                ZLOG("%s(%d): Warn: Id:%d already exists for encap:%s\n", id, name);
            else
                id = zorv_drel_set_encap_uid(name);
            rec->id = id;
            ZLOG("%s(%d): set id:%d for encap:%s\n", id, name);
        }
        node->id = id;
        break;
    }
    case ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP:
        if (value == nullptr) return nullptr;
        node->map_exists = 1;
        std::memcpy(&node->map, value, sizeof node->map);
        // Keeps the key a bounded text whatever the value held.
        node->map.encap_name[ZORV_NAME_LEN - 1] = '\0';
        break;
    default: ZLOG("%s(%d): Error: Unknown type:%d\n", type); return nullptr;
    }
    return node.release();
}

uint32_t zorv_drel_gbl_cfg_avl_update(gbl_cfg_avl_node_t *node, uint16_t type, uint32_t /*len*/,
                                      const void *value, uint32_t is_delete) {
    if (node == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    ZLOG("%s(%d): type:%d, del?%d, prof:%s, map_exists?%d\n", type, is_delete, node->map.encap_name,
         node->map_exists);
    if (type == ZORV_TYPE1_GBL_ENCAP_PROFILE) {
        ZLOG("%s(%d): Nothing to update\n");
        return ZORV_DREL_OK;
    }
    if (type != ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP) {
        ZLOG("%s(%d): Error: Unknown type:%d\n", type);
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    if (value == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    const auto *map = static_cast<const encap_map_t *>(value);
    uint32_t *vni = node->map.dot1q_vni;
    if (is_delete != 0) {
        node->map_exists = 0;
        for (uint32_t v = 1; v < ZORV_DOT1Q_COUNT; ++v) {
            if (map->dot1q_vni[v] != 0 && map->dot1q_vni[v] == vni[v]) {
                ZLOG("%s(%d): clearing vni for dot1q:%d from:%d to 0\n", v, vni[v]);
                vni[v] = 0;
            } else if (vni[v] != 0) {
                node->map_exists = 1;
            }
        }
    } else if (node->map_exists != 0) {
        // Only gaps are filled: a mapped VLAN keeps its VNI.
        for (uint32_t v = 1; v < ZORV_DOT1Q_COUNT; ++v) {
            if (vni[v] == 0 && map->dot1q_vni[v] != vni[v]) {
                ZLOG("%s(%d): updating vni for dot1q:%d from:%d to:%d\n", v, vni[v],
                     map->dot1q_vni[v]);
                vni[v] = map->dot1q_vni[v];
            }
        }
    } else {
        node->map_exists = 1;
        std::memcpy(vni, map->dot1q_vni, sizeof node->map.dot1q_vni);
    }
    ZLOG("%s(%d): del?%d, map_exists:%d\n", is_delete, node->map_exists);
    return ZORV_DREL_OK;
}

void zorv_drel_gbl_cfg_delete_cache_node(gbl_cfg_avl_node_t *node) {
    if (node == nullptr) return;
    (void)tree_delete(zorv_drel_gbl_cfg_avl, node);
    tracked_free(ZORV_DREL_LIB_SERVICE_ID, node);
}

void zorv_drel_gbl_cfg_delete_cache_key(const gbl_cfg_avl_key_t *key) {
    if (key == nullptr) return;
    zorv_drel_gbl_cfg_delete_cache_node(
        static_cast<gbl_cfg_avl_node_t *>(tree_find(zorv_drel_gbl_cfg_avl, key)));
}

uint32_t zorv_drel_gbl_cfg_avl_tlvs_size_get(const gbl_cfg_avl_node_t *node) {
    if (node == nullptr) return 0;
    uint32_t size = static_cast<uint16_t>(tlv_aligned_size(ZORV_ENCAP_NAME_WIRE_LEN));
    if (node->map_exists != 0) size += static_cast<uint16_t>(tlv_aligned_size(ZORV_ENCAP_MAP_LEN));
    return size;
}

uint32_t zorv_drel_gbl_cfg_avl_tlvs_add(const gbl_cfg_avl_node_t *node, uint32_t array_size,
                                        tlv_array_t *array) {
    if (node == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    int rc = tlv_array_add(array, array_size, ZORV_TYPE1_GBL_ENCAP_PROFILE,
                           ZORV_ENCAP_NAME_WIRE_LEN, &node->map, 1);
    if (rc == 0 && node->map_exists != 0)
        rc = tlv_array_add(array, array_size, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, ZORV_ENCAP_MAP_LEN,
                           &node->map, 1);
    return static_cast<uint32_t>(rc);
}

uint32_t zorv_drel_get_gbl_cfg_node_id(const char *name) {
    const gbl_cfg_avl_key_t key{name};
    const auto *node =
        static_cast<const gbl_cfg_avl_node_t *>(tree_find(zorv_drel_gbl_cfg_avl, &key));
    if (node == nullptr) {
        ZLOG("%s(%d) Error: could not find encap:%s\n", name != nullptr ? name : "(null)");
        return 0;
    }
    return node->id;
}

// ---- Member-VNI tree -------------------------------------------------------------------------

uint32_t zorv_drel_set_gbl_memvni_key(gbl_cfg_memvni_avl_node_t *key, uint16_t type,
                                      uint32_t /*len*/, const member_vni_t *value) {
    if (type != ZORV_TYPE1_GBL_MEMBER_VNI || key == nullptr || value == nullptr)
        return ZORV_DREL_ERR_INVALID_ARG;
    key->vni = value->vni;
    return ZORV_DREL_OK;
}

gbl_cfg_memvni_avl_node_t *zorv_drel_create_gbl_memvni_node(const void * /*unused*/, uint16_t type,
                                                            uint32_t /*len*/,
                                                            const member_vni_t *value) {
    if (type != ZORV_TYPE1_GBL_MEMBER_VNI) {
        ZLOG("%s(%d): Error: Unknown type:%d\n", type);
        return nullptr;
    }
    if (value == nullptr) return nullptr;
    auto *node = static_cast<gbl_cfg_memvni_avl_node_t *>(zorv_drel_lib_calloc(
        ZORV_DREL_LIB_MEM_gbl_cfg_memvni_avl_node_t, sizeof(gbl_cfg_memvni_avl_node_t)));
    if (node == nullptr) {
        ZLOG("%s(%d): Failed malloc\n");
        return nullptr;
    }
    node->vni = value->vni;
    node->bd = value->bd;
    return node;
}

uint32_t zorv_drel_gbl_cfg_memvni_avl_update(gbl_cfg_memvni_avl_node_t *node, uint16_t type,
                                             uint32_t /*len*/, const member_vni_t *value) {
    if (type != ZORV_TYPE1_GBL_MEMBER_VNI) {
        ZLOG("%s(%d): Error: Unknown type:%d\n", type);
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    if (node == nullptr || value == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    node->vni = value->vni;
    node->bd = value->bd;
    return ZORV_DREL_OK;
}

void zorv_drel_gbl_cfg_memvni_delete_cache_node(gbl_cfg_memvni_avl_node_t *node) {
    if (node == nullptr) return;
    (void)tree_delete(zorv_drel_gbl_cfg_memvni_avl, node);
    tracked_free(ZORV_DREL_LIB_SERVICE_ID, node);
}

void zorv_drel_gbl_cfg_memvni_delete_cache_key(const gbl_cfg_memvni_avl_node_t *key) {
    if (key == nullptr) return;
    zorv_drel_gbl_cfg_memvni_delete_cache_node(
        static_cast<gbl_cfg_memvni_avl_node_t *>(tree_find(zorv_drel_gbl_cfg_memvni_avl, key)));
}

uint32_t zorv_drel_gbl_cfg_memvni_avl_tlvs_size_get(const gbl_cfg_memvni_avl_node_t * /*node*/) {
    return static_cast<uint16_t>(tlv_aligned_size(ZORV_MEMBER_VNI_LEN));
}

uint32_t zorv_drel_gbl_cfg_memvni_avl_tlvs_add(const member_vni_t *value, uint32_t array_size,
                                               tlv_array_t *array) {
    return static_cast<uint32_t>(
        tlv_array_add(array, array_size, ZORV_TYPE1_GBL_MEMBER_VNI, ZORV_MEMBER_VNI_LEN, value, 1));
}

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
    auto *node = static_cast<if_cfg_avl_node_t *>(
        zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_if_cfg_avl_node_t, sizeof(if_cfg_avl_node_t)));
    if (node == nullptr) {
        ZLOG("%s(%d): Failed malloc\n");
        return nullptr;
    }
    node->if_index = key->if_index;
    node->vsi_id = key->vsi_id;
    if (zorv_drel_if_cfg_avl_update(node, type, len, value) != 0) {
        ZLOG("%s(%d): Failed create encap node\n");
        // The list of a fresh node holds at most the one entry the update appended.
        zorv_drel_if_cfg_avl_free(node);
        return nullptr;
    }
    return node;
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
        if (!zorv::value_fits(type, value, len)) return refuse_value(__func__, type, len);
        node->admin = static_cast<const vsi_admin_t *>(value)->admin;
        ZLOG("%s(%d): Updated vsi:%d admin :%d\n", node->vsi_id, node->admin);
        return ZORV_DREL_OK;
    case ZORV_TYPE1_INTF_VSI_ATTRIBUTES: {
        zorv::vsi_all_view v;
        if (zorv::parse_vsi_all(value, len, v) != zorv::vsi_all_fault::none)
            return refuse_value(__func__, type, len);
        const uint32_t mode = v.head->map_mode;
        node->admin = v.head->admin;
        node->vdp = mode == ZORV_MAP_MODE_VDP ? 1 : 0;
        node->dfs = mode == ZORV_MAP_MODE_DFS ? 1 : 0;
        node->vmt = mode == ZORV_MAP_MODE_VMT ? 1 : 0;
        node->lldp = mode == ZORV_MAP_MODE_LLDP ? 1 : 0;
        // A value without pairs never clears a map.
        if (!v.pairs.empty()) {
            node->dyn_map_cnt = v.head->dyn_map_cnt;
            std::memset(node->dot1q_vni, 0, sizeof node->dot1q_vni);
            for (const vsi_dyn_map_t &p : v.pairs) {
                if (!zorv::valid_pair(p.dot1q, p.vni)) {
                    ZLOG("%s(%d): ASSERT: invalid lcl dot1q:%d or vni:%d\n", p.dot1q, p.vni);
                    continue;
                }
                ZLOG("%s(%d): Updating dot1q:%d, vni:%d\n", p.dot1q, p.vni);
                node->dot1q_vni[p.dot1q] = p.vni;
            }
        }
        node->dot1q_bmp.len = 512;
        std::memcpy(node->dot1q_bmp.bits, v.tail->dot1q_bmp.bits, sizeof node->dot1q_bmp.bits);
        zorv::copy_name(node->prof_name, v.tail->prof_name);
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
        if (!zorv::value_fits(type, value, len)) return refuse_value(__func__, type, len);
        const auto *rng = static_cast<const vsi_encap_rng_t *>(value);
        char name[ZORV_NAME_LEN];
        zorv::copy_name(name, rng->encap_name);
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
    if (e == nullptr) return 1;
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
    const char *shown = name != nullptr ? name : "";
    ZLOG("%s(%d): encap_name:%s\n", shown);
    if (node == nullptr || name == nullptr) return ZORV_DREL_OK;
    for (encap_profile_node **link = &node->encap_list; *link != nullptr; link = &(*link)->next) {
        encap_profile_node *e = *link;
        if (std::strncmp(e->encap_name, name, ZORV_NAME_LEN) != 0) continue;
        *link = e->next;
        tracked_free(ZORV_DREL_LIB_SERVICE_ID, e);
        // encap_count counts appends, not live entries: it is left as it is.
        ZLOG("%s(%d): ----Deleted encap_name:%s\n", shown);
        break;
    }
    return ZORV_DREL_OK;
}

uint32_t zorv_drel_if_cfg_avl_delete(if_cfg_avl_node_t *node, uint16_t type, uint32_t /*len*/,
                                     const void *value) {
    if (node == nullptr || value == nullptr) return 0xFFFFFFFFu;
    switch (type) {
    case ZORV_TYPE1_INTF_VSI_ENCAP_PROF: {
        char name[ZORV_NAME_LEN];
        zorv::copy_name(name, static_cast<const vsi_encap_rng_t *>(value)->encap_name);
        (void)zorv_drel_if_cfg_avl_del_encap(node, name);
        return ZORV_DREL_OK;
    }
    case ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP:
        ZLOG("%s(%d): type:%d not yet supported ", type);
        return ZORV_DREL_OK;
    default: ZLOG("%s(%d): Unk type:%d ", type); return 0xFFFFFFFFu;
    }
}

// Releases the node's encap list with the node: once the node is gone nothing could reach it.
void zorv_drel_if_cfg_delete_cache_node(if_cfg_avl_node_t *node) {
    if (node == nullptr) return;
    (void)tree_delete(zorv_drel_if_cfg_avl, node);
    zorv_drel_if_cfg_avl_free(node);
}

void zorv_drel_if_cfg_delete_cache_key(const if_cfg_avl_key_t *key) {
    if (key == nullptr) return;
    zorv_drel_if_cfg_delete_cache_node(
        static_cast<if_cfg_avl_node_t *>(tree_find(zorv_drel_if_cfg_avl, key)));
}

uint32_t zorv_drel_if_cfg_avl_encaplist_tlv_size(const if_cfg_avl_node_t *node) {
    if (node == nullptr) return 0;
    uint32_t size = 0;
    for (const encap_profile_node *e = node->encap_list; e != nullptr; e = e->next)
        size += static_cast<uint16_t>(tlv_aligned_size(
            e->encap_name[0] != '\0' ? ZORV_VSI_ENCAP_RNG_LEN : ZORV_VSI_ENCAP_DOT1Q_MAP_LEN));
    return size;
}

// ---- Encapsulation identifier allocator ------------------------------------------------------

namespace {

constexpr uint32_t kMaxEncapId = ZORV_DOT1Q_COUNT;

bool ensure_uid_tree() noexcept {
    if (zorv_drel_encap_uid_avl == nullptr)
        zorv_drel_encap_uid_avl = tree_create(zorv_drel_encap_uid_avl_cmp, 0);
    return zorv_drel_encap_uid_avl != nullptr;
}

// The free-identifier bitmap lives on the plain heap, all identifiers free when created.
bool ensure_free_bmp() noexcept {
    if (free_encap_bmp_p == nullptr) {
        auto *b = static_cast<bmp4096_t *>(std::malloc(sizeof(bmp4096_t)));
        if (b == nullptr) return false;
        b->len = 512;
        std::memset(b->bits, 0xFF, sizeof b->bits);
        free_encap_bmp_p = b;
    }
    return true;
}

// Looks a name up through a zero-filled key that holds at most 256 of its characters, so the
// key (and every log line printing it) is a bounded text. Logs a miss.
encap_uid_node_t *uid_lookup(const char *name, encap_uid_node_t &key) noexcept {
    key = {};
    if (name != nullptr) std::memcpy(key.encap_name, name, strnlen(name, ZORV_NAME_LEN));
    auto *node = static_cast<encap_uid_node_t *>(tree_find(zorv_drel_encap_uid_avl, &key));
    if (node == nullptr)
        ZLOG_AS(zorv::kCompatcheckSource, "%s(%d) Error: Failed to find profile:%s\n",
                key.encap_name);
    return node;
}

} // namespace

encap_uid_node_t *zorv_drel_encap_uid_avl_find(const char *name) {
    encap_uid_node_t key;
    return uid_lookup(name, key);
}

// Returns null, inserting nothing, when the node cannot be allocated or inserted.
encap_uid_node_t *zorv_drel_encap_uid_avl_insert(const char *name) {
    if (!ensure_uid_tree()) return nullptr;
    auto node = zorv::tracked_calloc<encap_uid_node_t>(ZORV_DREL_LIB_MEM_encap_uid_node_t);
    if (!node) return nullptr;
    zorv::copy_name(node->encap_name, name);
    node->id = 0;
    if (tree_insert(zorv_drel_encap_uid_avl, node.get()) != 0) return nullptr;
    return node.release();
}

void zorv_drel_encap_uid_avl_delete(encap_uid_node_t *node) {
    if (node == nullptr) return;
    (void)tree_delete(zorv_drel_encap_uid_avl, node);
    tracked_free(ZORV_DREL_LIB_SERVICE_ID, node);
}

uint32_t zorv_drel_set_encap_uid(const char *name) {
    if (name == nullptr || !ensure_uid_tree()) return 0;
    encap_uid_node_t key;
    if (const encap_uid_node_t *n = uid_lookup(name, key); n != nullptr) {
        ZLOG_SRC("%s(%d) Error: node:%s, id:%d exists already\n", n->encap_name, n->id);
        return 0;
    }
    // The bitmap comes first so that a failed malloc leaves no node behind.
    if (!ensure_free_bmp()) return 0;
    encap_uid_node_t *node = zorv_drel_encap_uid_avl_insert(name);
    if (node == nullptr) return 0;
    const uint8_t *bits = free_encap_bmp_p->bits;
    for (uint32_t byte = 0; byte < sizeof free_encap_bmp_p->bits; ++byte) {
        if (bits[byte] == 0) continue;
        uint32_t b = byte * 8;
        while (!zorv::bmp_test(*free_encap_bmp_p, b))
            ++b;
        zorv::bmp_clear(*free_encap_bmp_p, b);
        node->id = b + 1;
        return node->id;
    }
    // Exhausted: the node stays without an identifier until its name is freed.
    return 0;
}

// An identifier outside 1..kMaxEncapId is refused before anything changes: it would index the
// free bitmap out of range.
uint32_t zorv_drel_restore_encap_uid(const char *name, uint32_t id) {
    if (name == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    if (id == 0 || id > kMaxEncapId) {
        ZLOG_SRC("%s(%d) Error: invalid id:%u for profile:%s\n", id, name);
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    if (!ensure_uid_tree()) return ZORV_DREL_ERR_NO_MEMORY;
    encap_uid_node_t key;
    if (const encap_uid_node_t *n = uid_lookup(name, key); n != nullptr) {
        ZLOG_SRC("%s(%d) Error: node:%s, id:%d exists already\n", n->encap_name, n->id);
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    if (!ensure_free_bmp()) return ZORV_DREL_ERR_NO_MEMORY;
    encap_uid_node_t *node = zorv_drel_encap_uid_avl_insert(name);
    if (node == nullptr) return ZORV_DREL_ERR_NO_MEMORY;
    // Whether the identifier was free is not examined: it is marked used either way.
    zorv::bmp_clear(*free_encap_bmp_p, id - 1);
    node->id = id;
    ZLOG_SRC("%s(%d)  restored node:%s, id:%d, bit:%d\n", node->encap_name, id, id - 1);
    return ZORV_DREL_OK;
}

uint32_t zorv_drel_get_encap_uid(const encap_name_t *record) {
    if (zorv_drel_encap_uid_avl == nullptr || record == nullptr) return 0;
    encap_uid_node_t key;
    const encap_uid_node_t *n = uid_lookup(record->encap_name, key);
    if (n == nullptr) {
        ZLOG_SRC("%s(%d) Error: Failed to find profile:%s\n", key.encap_name);
        return 0;
    }
    return n->id;
}

uint32_t zorv_drel_free_encap_uid(const char *name) {
    encap_uid_node_t key;
    encap_uid_node_t *n = uid_lookup(name, key);
    if (n == nullptr) {
        ZLOG_SRC("%s(%d) Error: Failed to find profile:%s\n", key.encap_name);
        return 0;
    }
    const uint32_t id = n->id;
    n->id = 0;
    zorv_drel_encap_uid_avl_delete(n);
    // An identifier of 0 (never assigned) has no bit to give back.
    if (free_encap_bmp_p != nullptr && id >= 1 && id <= kMaxEncapId)
        zorv::bmp_set(*free_encap_bmp_p, id - 1);
    return id;
}

uint32_t zorv_drel_lib_get_uid(uint16_t type, uint32_t /*len*/, const void *value) {
    uint32_t idx = type;
    switch (type) {
    case ZORV_TYPE1_GBL_MEMBER_VNI:
        idx = value != nullptr ? static_cast<const member_vni_t *>(value)->vni : 0;
        break;
    case ZORV_TYPE1_INTF_VSI_ATTRIBUTES:
        ZLOG("%s(%d): :%d\n", type);
        idx = value != nullptr ? static_cast<const vsi_all_t *>(value)->vsi : 0;
        break;
    default: ZLOG("%s(%d): Unsupported type:%d\n", type); break;
    }
    ZLOG("%s(%d): type:%d, id=%d\n", type, idx);
    return idx;
}
