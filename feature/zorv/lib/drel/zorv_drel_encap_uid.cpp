// SPDX-License-Identifier: Apache-2.0
// zorv_drel_encap_uid.cpp - the encapsulation identifier allocator: a tree of profile names
// with their identifiers 1..4096 and the bitmap of identifiers still free.
#include <cstdlib>
#include <cstring>

#include "zorv_drel_internal.h"

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
        zorv::bmp::fill(*b, 0xFF);
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

// A new node of `name` with id 0, offered to the tree; `inserted` tells whether the tree took
// it. Null only when the node cannot be allocated.
encap_uid_node_t *uid_insert(const char *name, bool &inserted) noexcept {
    inserted = false;
    auto *node = static_cast<encap_uid_node_t *>(
        zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_encap_uid_node_t, sizeof(encap_uid_node_t)));
    if (node == nullptr) return nullptr;
    zorv::copy_name(node->encap_name, name);
    node->id = 0;
    inserted = tree_insert(zorv_drel_encap_uid_avl, node) == 0;
    return node;
}

// A node of `name` in the tree for set and restore, or null. A node the tree refuses is
// released here: nothing else could reach it.
encap_uid_node_t *uid_insert_kept(const char *name) noexcept {
    bool inserted = false;
    encap_uid_node_t *node = uid_insert(name, inserted);
    if (node != nullptr && !inserted) {
        zorv_drel_encap_uid_avl_free(node);
        return nullptr;
    }
    return node;
}

} // namespace

encap_uid_node_t *zorv_drel_encap_uid_avl_find(const char *name) {
    encap_uid_node_t key;
    return uid_lookup(name, key);
}

// The tree is not created here. A node that the tree refuses (or that has no tree to go into)
// is handed back all the same, and is then the caller's to free; null only when the node cannot
// be allocated.
encap_uid_node_t *zorv_drel_encap_uid_avl_insert(const char *name) {
    bool inserted = false;
    return uid_insert(name, inserted);
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
    encap_uid_node_t *node = uid_insert_kept(name);
    if (node == nullptr) return 0;
    const uint32_t b = zorv::bmp::next_set(*free_encap_bmp_p, 0);
    // Exhausted: the node stays without an identifier until its name is freed.
    if (b >= zorv::bmp::kBits) return 0;
    zorv::bmp::clear(*free_encap_bmp_p, b);
    node->id = b + 1;
    return node->id;
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
    encap_uid_node_t *node = uid_insert_kept(name);
    if (node == nullptr) return ZORV_DREL_ERR_NO_MEMORY;
    // Whether the identifier was free is not examined: it is marked used either way.
    zorv::bmp::clear(*free_encap_bmp_p, id - 1);
    node->id = id;
    ZLOG_SRC("%s(%d)  restored node:%s, id:%d, bit:%d\n", node->encap_name, id, id - 1);
    return ZORV_DREL_OK;
}

uint32_t zorv_drel_get_encap_uid(const encap_name_t *record) {
    if (zorv_drel_encap_uid_avl == nullptr || record == nullptr) return 0;
    encap_uid_node_t key;
    const encap_uid_node_t *n = uid_lookup(record->encap_name, key);
    if (n == nullptr) {
        // The miss is logged twice, by the lookup and here: the peer manager counts both.
        ZLOG_SRC("%s(%d) Error: Failed to find profile:%s\n", key.encap_name);
        return 0;
    }
    return n->id;
}

uint32_t zorv_drel_free_encap_uid(const char *name) {
    encap_uid_node_t key;
    encap_uid_node_t *n = uid_lookup(name, key);
    if (n == nullptr) {
        // Logged twice, as in zorv_drel_get_encap_uid.
        ZLOG_SRC("%s(%d) Error: Failed to find profile:%s\n", key.encap_name);
        return 0;
    }
    const uint32_t id = n->id;
    n->id = 0;
    zorv_drel_encap_uid_avl_delete(n);
    // An identifier of 0 (never assigned) has no bit to give back.
    if (free_encap_bmp_p != nullptr && id >= 1 && id <= kMaxEncapId)
        zorv::bmp::set(*free_encap_bmp_p, id - 1);
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
