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
