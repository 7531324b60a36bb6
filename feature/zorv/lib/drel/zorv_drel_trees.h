/* SPDX-License-Identifier: Apache-2.0 */
// zorv_drel_trees.h - the three configuration trees behind one interface. Each tree names its
// node and key, builds a key from a TLV, makes a node from one and releases a node; finding,
// adding a new node and erasing are written once here, so a caller decides and logs only.
#ifndef ZORV_DREL_TREES_H
#define ZORV_DREL_TREES_H

#include "zorv_drel_internal.h"

namespace zorv {

// Global profiles and their dot1q maps, keyed by name.
struct gbl_tree {
    using node = gbl_cfg_avl_node_t;
    using key = gbl_cfg_avl_key_t;
    static constexpr type_scope scope = type_scope::global;
    static tree_t *handle() noexcept { return zorv_drel_gbl_cfg_avl; }
    static uint32_t make_key(key &k, const tlv &t, uint32_t /*if_index*/) noexcept {
        return zorv_drel_set_gbl_key(&k, t.type, t.len, t.value);
    }
    static node *create(const key & /*k*/, const tlv &t) noexcept {
        return zorv_drel_create_gbl_node(nullptr, t.type, t.len, const_cast<void *>(t.value));
    }
    static void release(node *n) noexcept { zorv_drel_gbl_cfg_avl_free(n); }
};

// Member VNIs and their bridge domains, keyed by VNI.
struct memvni_tree {
    using node = gbl_cfg_memvni_avl_node_t;
    using key = gbl_cfg_memvni_avl_node_t;
    static constexpr type_scope scope = type_scope::member_vni;
    static tree_t *handle() noexcept { return zorv_drel_gbl_cfg_memvni_avl; }
    static uint32_t make_key(key &k, const tlv &t, uint32_t /*if_index*/) noexcept {
        return zorv_drel_set_gbl_memvni_key(&k, t.type, t.len,
                                            static_cast<const member_vni_t *>(t.value));
    }
    static node *create(const key & /*k*/, const tlv &t) noexcept {
        return zorv_drel_create_gbl_memvni_node(nullptr, t.type, t.len,
                                                static_cast<const member_vni_t *>(t.value));
    }
    static void release(node *n) noexcept { zorv_drel_gbl_cfg_memvni_avl_free(n); }
};

// Service instances of the peer-link interfaces, keyed by parent ifindex and instance id.
struct if_tree {
    using node = if_cfg_avl_node_t;
    using key = if_cfg_avl_key_t;
    static constexpr type_scope scope = type_scope::interface;
    static tree_t *handle() noexcept { return zorv_drel_if_cfg_avl; }
    static uint32_t make_key(key &k, const tlv &t, uint32_t if_index) noexcept {
        return zorv_drel_set_if_key(&k, t.type, t.len, t.value, if_index);
    }
    static node *create(const key &k, const tlv &t) noexcept {
        return zorv_drel_create_if_node(&k, t.type, t.len, t.value);
    }
    // The node goes with its encap list.
    static void release(node *n) noexcept { zorv_drel_if_cfg_avl_free(n); }
};

// The first service instance of interface `if_index` in the interface tree (the one with the
// lowest id), or null when the interface has none. It takes a few searches of the tree, however
// many nodes other interfaces hold.
const if_cfg_avl_node_t *first_interface_node(uint32_t if_index) noexcept;

// The service instances of one interface in id order:
// for (auto *n : zorv::interface_nodes(if_index)). A walk costs the interface's own nodes.
// The current node must stay in the tree until the loop has moved past it.
class interface_nodes {
  public:
    explicit interface_nodes(uint32_t if_index) noexcept : if_index_(if_index) {}
    class iterator {
      public:
        explicit iterator(const if_cfg_avl_node_t *node) noexcept : node_(node) {}
        const if_cfg_avl_node_t *operator*() const noexcept { return node_; }
        iterator &operator++() noexcept {
            const auto *next =
                static_cast<const if_cfg_avl_node_t *>(tree_next(zorv_drel_if_cfg_avl, node_));
            node_ = next != nullptr && next->if_index == node_->if_index ? next : nullptr;
            return *this;
        }
        bool operator!=(const iterator &o) const noexcept { return node_ != o.node_; }

      private:
        const if_cfg_avl_node_t *node_;
    };
    iterator begin() const noexcept { return iterator(first_interface_node(if_index_)); }
    iterator end() const noexcept { return iterator(nullptr); }

  private:
    uint32_t if_index_;
};

// What a lookup by TLV found: the key builder's code, the key, and the node or null.
template <typename Tree> struct lookup {
    uint32_t rc = ZORV_DREL_OK;
    typename Tree::key key{};
    typename Tree::node *node = nullptr;
};

// Builds the key of `t` (interface keys under `if_index`) and looks it up; no lookup is made
// when the key cannot be built. A value shorter than the bytes its key builder reads fails as
// the builder does for a key it cannot form, before anything of it is read.
template <typename Tree> lookup<Tree> find(const tlv &t, uint32_t if_index = 0) noexcept {
    lookup<Tree> found;
    const type_rule &rule = rule_of(t.type);
    if (rule.scope == Tree::scope && t.len < rule.key_len) {
        found.rc = ZORV_DREL_ERR_INVALID_ARG;
        return found;
    }
    found.rc = Tree::make_key(found.key, t, if_index);
    if (found.rc == ZORV_DREL_OK)
        found.node = static_cast<typename Tree::node *>(tree_find(Tree::handle(), &found.key));
    return found;
}

// Logs, on behalf of `fn`, a key that could not be built, and returns its code.
inline uint32_t key_failed(const char *fn, uint32_t rc) noexcept {
    ZLOG_AS(fn, "%s(%d): Failed (rc=0x%x, %s) to set key\n", rc, error_to_string(rc));
    return rc;
}

// What adding a new node did.
enum class added { inserted, not_made, refused };

// Makes a node of `t` under `key` and inserts it; a node the tree refuses is released.
template <typename Tree> added insert_new(const typename Tree::key &key, const tlv &t) noexcept {
    typename Tree::node *n = Tree::create(key, t);
    if (n == nullptr) return added::not_made;
    if (tree_insert(Tree::handle(), n) != 0) {
        Tree::release(n);
        return added::refused;
    }
    return added::inserted;
}

// Takes a node out of its tree and releases it; a null node is nothing to do.
template <typename Tree> void erase(typename Tree::node *n) noexcept {
    if (n == nullptr) return;
    (void)tree_delete(Tree::handle(), n);
    Tree::release(n);
}

// Erases the node that `key` finds, if there is one.
template <typename Tree> void erase_key(const typename Tree::key *key) noexcept {
    if (key != nullptr)
        erase<Tree>(static_cast<typename Tree::node *>(tree_find(Tree::handle(), key)));
}

} // namespace zorv

#endif
