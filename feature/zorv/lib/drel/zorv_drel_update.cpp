// SPDX-License-Identifier: Apache-2.0
// zorv_drel_update.cpp - direct changes of the cache: an update message applied TLV by TLV, the
// removal of every node of one interface, and the bulk rebuild from a TLV array.
#include "zorv_drel_trees.h"

namespace {

using namespace zorv;

constexpr const char *kUpdate = "zorv_drel_type1_cfg_cache_update";
constexpr const char *kRebuild = "zorv_drel_type1_cfg_cache_rebuild";

// Drops every cached service instance of `if_index` (an update without a message).
uint32_t delete_interface(uint32_t if_index) noexcept {
    if (if_index == 0) {
        ZLOG_RAW("Error: No ifindex to delete\n");
        return 0;
    }
    const if_cfg_avl_key_t key{if_index, 0}; // service instance 0 matches every node
    while (auto *node = static_cast<if_cfg_avl_node_t *>(tree_find(zorv_drel_if_cfg_avl, &key))) {
        ZLOG_AS(kUpdate, "%s(%d): deleting ifdx:0x%x, vsi:%d\n", node->if_index,
                static_cast<int>(node->vsi_id));
        erase<if_tree>(node);
    }
    return 0;
}

// The cache update's side of one TLV whose node `found` looked up: a found node is deleted or
// updated with `update` (false when it refused), a missing one added. A node that cannot be
// made fails the whole update only where `must_make` says so (interfaces).
template <typename Tree, typename Update>
uint32_t update_one(uint32_t is_delete, const tlv &t, const lookup<Tree> &found, bool must_make,
                    Update &&update) noexcept {
    const int type = t.type, len = t.len;
    if (found.node != nullptr && is_delete != 0) {
        erase<Tree>(found.node);
        ZLOG_AS(kUpdate, "%s(%d): Entry deleted\n");
    } else if (found.node != nullptr && !update(found.node)) {
        ZLOG_AS(kUpdate, "%s(%d): Error: unable to update entry\n");
    } else if (found.node != nullptr) {
        ZLOG_AS(kUpdate, "%s(%d): success updated type %d len %d to cache\n", type, len);
    } else if (is_delete != 0) {
        ZLOG_AS(kUpdate, "%s(%d): Entry to delete not found\n");
    } else {
        ZLOG_AS(kUpdate, "%s(%d): Add type %d to cache\n", type);
        const added result = insert_new<Tree>(found.key, t);
        if (result == added::not_made && must_make) {
            ZLOG_AS(kUpdate, "%s(%d): Failed malloc\n");
            return ZORV_DREL_ERR_NO_MEMORY;
        }
        if (result == added::inserted)
            ZLOG_AS(kUpdate, "%s(%d): success add type %d len %d to cache\n", type, len);
        else
            ZLOG_AS(kUpdate, "%s(%d): Error: failed to  add type %d len %d to cache\n", type, len);
    }
    return 0;
}

// One member-VNI TLV of a global update message.
uint32_t update_member_vni(uint32_t is_delete, const tlv &t) noexcept {
    if (t.type != ZORV_TYPE1_GBL_MEMBER_VNI) {
        ZLOG_AS(kUpdate, "%s(%d): Error: Unknown key%d\n", static_cast<int>(t.type));
        return ZORV_DREL_ERR_INVALID_ARG;
    }
    const auto found = find<memvni_tree>(t);
    if (found.rc != 0) return key_failed(kUpdate, found.rc);
    return update_one(is_delete, t, found, false, [&t](memvni_tree::node *n) {
        (void)zorv_drel_gbl_cfg_memvni_avl_update(n, t.type, t.len,
                                                  static_cast<const member_vni_t *>(t.value));
        return true;
    });
}

// One TLV of an interface update message.
uint32_t update_interface(uint32_t is_delete, uint32_t if_index, const tlv &t) noexcept {
    const auto found = find<if_tree>(t, if_index);
    if (found.rc != 0) {
        ZLOG_AS(kUpdate, "%s(%d): Error: Could not create if key for type %d\n",
                static_cast<int>(t.type));
        return found.rc;
    }
    if (found.node != nullptr)
        ZLOG_AS(kUpdate, "%s(%d): Found avl node for type %d\n", static_cast<int>(t.type));
    return update_one(is_delete, t, found, true, [&t](if_tree::node *n) {
        return zorv_drel_if_cfg_avl_update(n, t.type, t.len, t.value) == 0;
    });
}

// The rebuild's side of one TLV in the tree `Tree`: an existing node is updated with `update`,
// a missing one is made with `make` (by default from the TLV) and inserted. The texts are the
// rebuild's, blanks and all.
template <typename Tree, typename Update, typename Make>
uint32_t rebuild_one(const tlv &t, uint32_t if_index, const char *found_text, Update &&update,
                     Make &&make) noexcept {
    const auto found = find<Tree>(t, if_index);
    if (found.rc != 0) return key_failed(kRebuild, found.rc);
    if (found.node != nullptr) {
        ZLOG_AS(kRebuild, found_text, static_cast<int>(t.type), static_cast<int>(t.len));
        update(found.node);
    } else if (make(found.key) == added::inserted) {
        ZLOG_AS(kRebuild, "%s(%d): success add type %d len %d to cache\n", static_cast<int>(t.type),
                static_cast<int>(t.len));
    } else {
        ZLOG_AS(kRebuild, "%s(%d): Error: failed to  add type %d len %d to cache\n",
                static_cast<int>(t.type), static_cast<int>(t.len));
    }
    return 0;
}
template <typename Tree, typename Update>
uint32_t rebuild_one(const tlv &t, uint32_t if_index, const char *found_text,
                     Update &&update) noexcept {
    return rebuild_one<Tree>(t, if_index, found_text, update,
                             [&t](const typename Tree::key &k) { return insert_new<Tree>(k, t); });
}

uint32_t rebuild_global(const tlv &t) noexcept {
    if (t.type == ZORV_TYPE1_GBL_MEMBER_VNI)
        return rebuild_one<memvni_tree>(
            t, 0, "%s(%d): Found cache entry for type %d len %d ", [&t](memvni_tree::node *n) {
                (void)zorv_drel_gbl_cfg_memvni_avl_update(
                    n, t.type, t.len, static_cast<const member_vni_t *>(t.value));
            });
    // A profile's key is its name; a map is copied whole, so only a value that holds its whole
    // record makes or refreshes a node.
    auto refresh = [&t](gbl_tree::node *n) {
        if (value_fits_logged(kRebuild, t.type, t.len, t.value))
            (void)zorv_drel_gbl_cfg_avl_update(n, t.type, t.len, t.value, 0);
    };
    auto make = [&t](const gbl_tree::key &k) {
        if (!value_fits_logged(kRebuild, t.type, t.len, t.value)) return added::not_made;
        // The wire carries only the name of a profile; the node is made from a local record
        // {name, id 0} so that nothing behind the value is read or written.
        encap_name_t local{};
        tlv g = t;
        if (t.type == ZORV_TYPE1_GBL_ENCAP_PROFILE) {
            copy_name(local.encap_name, static_cast<const char *>(t.value));
            g.value = &local;
        }
        return insert_new<gbl_tree>(k, g);
    };
    return rebuild_one<gbl_tree>(t, 0, "%s(%d): Found cache entry for  type %d len %d ", refresh,
                                 make);
}

uint32_t rebuild_interface(const tlv &t, uint32_t if_index) noexcept {
    return rebuild_one<if_tree>(
        t, if_index, "%s(%d): Found cache entry for  type %d len %d ", [&t](if_tree::node *n) {
            (void)zorv_drel_if_cfg_avl_update_encap(n, t.type, t.len, t.value, 0);
        });
}

} // namespace

uint32_t zorv_drel_type1_cfg_cache_update(uint32_t is_delete, uint32_t is_gbl, uint32_t if_index,
                                          const msg_t *msg) {
    ZLOG("%s(%d): update cache msg_ref:%p(delete=%s, gbl=%d, if_index=0x%x)\n",
         static_cast<const void *>(msg), is_delete != 0 ? "True" : "False",
         static_cast<int>(is_gbl), if_index);
    if (msg == nullptr) return is_delete != 0 ? delete_interface(if_index) : 0;

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
    ZLOG("%s(%d): Num TLVs %d\n", static_cast<int>(walk.count()));
    for (const tlv &t : walk) {
        const uint32_t rc = is_gbl != 0 ? update_member_vni(is_delete, t)
                                        : update_interface(is_delete, if_index, t);
        if (rc != 0) return rc;
    }
    return static_cast<uint32_t>(walk.fault_logged(__func__));
}

uint32_t zorv_drel_type1_cfg_cache_rebuild(const tlv_array_t *tlv_array, uint32_t is_gbl,
                                           uint32_t if_index) {
    ZLOG("%s(%d): rebuilding type-1 cache(%s)\n", is_gbl != 0 ? "gbl" : "if");
    if (tlv_array == nullptr) return ZORV_DREL_ERR_INVALID_ARG;
    tlv_walker walk(tlv_array);
    ZLOG("%s(%d): num_tlvs = %d\n", static_cast<int>(walk.count()));
    for (const tlv &t : walk) {
        ZLOG("%s(%d): type = %d, tlen=%d\n", static_cast<int>(t.type), static_cast<int>(t.len));
        const uint32_t rc = is_gbl != 0 ? rebuild_global(t) : rebuild_interface(t, if_index);
        if (rc != 0) return rc;
    }
    return static_cast<uint32_t>(walk.fault_logged(__func__));
}
