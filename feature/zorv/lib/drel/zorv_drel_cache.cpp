// SPDX-License-Identifier: Apache-2.0
// zorv_drel_cache.cpp - the configuration cache: the tree handles, compare and free operations
// of every tree, the global profile tree and the member-VNI tree. The interface tree and the
// identifier allocator have files of their own.
#include <cstdlib>
#include <cstring>

#include "zorv_drel_trees.h"

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

namespace {

// A search key that compares equal to the service instances of one interface whose ids lie in
// lo..hi, and orders like a key of that interface otherwise. The compare operation knows it by
// its address, so no other key or node can be taken for it.
struct if_id_range {
    uint32_t if_index, lo, hi;
};
thread_local const if_id_range *if_range_key = nullptr;

int range_cmp(const if_id_range &r, const if_cfg_avl_key_t &k) noexcept {
    if (r.if_index != k.if_index) return sign_of(r.if_index, k.if_index);
    if (k.vsi_id == 0) return 0;
    return k.vsi_id < r.lo ? 1 : (k.vsi_id > r.hi ? -1 : 0);
}

// A node of interface `if_index` with an id in lo..hi, or null.
const if_cfg_avl_node_t *find_in_range(uint32_t if_index, uint32_t lo, uint32_t hi) noexcept {
    const if_id_range r{if_index, lo, hi};
    if_range_key = &r;
    const void *found = tree_find(zorv_drel_if_cfg_avl, &r);
    if_range_key = nullptr;
    return static_cast<const if_cfg_avl_node_t *>(found);
}

} // namespace

// The tree's find returns any node of a run that compares equal; halving the ids below the one
// found reaches the lowest in at most 32 more searches (one when the first find hit it).
const if_cfg_avl_node_t *zorv::first_interface_node(uint32_t if_index) noexcept {
    const if_cfg_avl_key_t any{if_index, 0};
    const auto *first =
        static_cast<const if_cfg_avl_node_t *>(tree_find(zorv_drel_if_cfg_avl, &any));
    if (first == nullptr || first->vsi_id <= 1) return first;
    uint32_t lo = 1, hi = first->vsi_id - 1;
    if (find_in_range(if_index, lo, hi) == nullptr) return first;
    while (lo <= hi) {
        const uint32_t mid = lo + (hi - lo) / 2;
        if (const auto *n = find_in_range(if_index, lo, mid); n != nullptr) {
            first = n;
            if (n->vsi_id == lo) break;
            hi = n->vsi_id - 1;
        } else {
            lo = mid + 1;
        }
    }
    return first;
}

int zorv_drel_if_cfg_avl_cmp_func(const void *a, const void *b) {
    if (if_range_key != nullptr && (a == if_range_key || b == if_range_key)) {
        const auto *other = static_cast<const if_cfg_avl_key_t *>(a == if_range_key ? b : a);
        const int r = range_cmp(*if_range_key, *other);
        return a == if_range_key ? r : -r;
    }
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
            // Asked with the caller's record as it stands: the lookup reads at most 256 bytes.
            id = zorv_drel_get_encap_uid(rec);
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
        // All 256 name bytes are kept: every compare of the key stops after 256 of them.
        std::memcpy(&node->map, value, sizeof node->map);
        break;
    default: ZLOG("%s(%d): Error: Unknown type:%d\n", type); return nullptr;
    }
    return node.release();
}

uint32_t zorv_drel_gbl_cfg_avl_update(gbl_cfg_avl_node_t *node, uint16_t type, uint32_t /*len*/,
                                      const void *value, uint32_t is_delete) {
    if (node == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    ZLOG("%s(%d): type:%d, del?%d, prof:%s, map_exists?%d\n", type, is_delete,
         zorv::name_text(node->map.encap_name).text, node->map_exists);
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
    zorv::erase<zorv::gbl_tree>(node);
}

void zorv_drel_gbl_cfg_delete_cache_key(const gbl_cfg_avl_key_t *key) {
    zorv::erase_key<zorv::gbl_tree>(key);
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
    auto node = zorv::tracked_calloc<gbl_cfg_memvni_avl_node_t>(
        ZORV_DREL_LIB_MEM_gbl_cfg_memvni_avl_node_t);
    if (!node) {
        ZLOG("%s(%d): Failed malloc\n");
        return nullptr;
    }
    node->vni = value->vni;
    node->bd = value->bd;
    return node.release();
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
    zorv::erase<zorv::memvni_tree>(node);
}

void zorv_drel_gbl_cfg_memvni_delete_cache_key(const gbl_cfg_memvni_avl_node_t *key) {
    zorv::erase_key<zorv::memvni_tree>(key);
}

uint32_t zorv_drel_gbl_cfg_memvni_avl_tlvs_size_get(const gbl_cfg_memvni_avl_node_t * /*node*/) {
    return static_cast<uint16_t>(tlv_aligned_size(ZORV_MEMBER_VNI_LEN));
}

uint32_t zorv_drel_gbl_cfg_memvni_avl_tlvs_add(const member_vni_t *value, uint32_t array_size,
                                               tlv_array_t *array) {
    return static_cast<uint32_t>(
        tlv_array_add(array, array_size, ZORV_TYPE1_GBL_MEMBER_VNI, ZORV_MEMBER_VNI_LEN, value, 1));
}
