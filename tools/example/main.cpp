// SPDX-License-Identifier: Apache-2.0
// zorv_example - loads the library, prints its memory types, type names and check codes, makes
// a few calls and dumps the debug history that those calls left.
#include <cstdio>
#include <cstring>

#include <platform/platform.h>
#include <zorv_drel.h>

namespace {

void print_memory_types() {
    std::printf("Memory types (tracked allocator, service %u):\n", ZORV_DREL_LIB_SERVICE_ID);
    for (const auto *row = zorv_drel_lib_mem_type_t; row->name[0] != '\0'; ++row)
        std::printf("  %2u  %s\n", row->value, row->name);
}

void print_type_codes() {
    std::printf("\nType-1 parameter types:\n");
    for (uint16_t type = 1; type <= 9; ++type) {
        const char *name = zorv_drel_type1_cfg_type_to_str(type);
        if (name[0] == '\0') continue;
        const uint32_t code = zorv_drel_get_type1_cfg_compat_chk_errcode(type);
        std::printf("  %u  %-27s check failure 0x%08X  %s\n", type, name, code,
                    error_to_string(code));
    }
}

void print_error_codes() {
    static constexpr uint32_t kCodes[] = {ZORV_DREL_ERR_FAILURE, ZORV_DREL_ERR_NO_MEMORY,
                                          ZORV_DREL_ERR_INVALID_ARG, ZORV_DREL_ERR_PARAM_MISSING,
                                          ZORV_DREL_ERR_DRELM_NO_RECORD};
    std::printf("\nError codes:\n");
    for (uint32_t code : kCodes)
        std::printf("  0x%08X  %s\n", code, error_to_string(code));
}

// Builds the wire value of a member-VNI node and of a service instance, then releases them.
void make_some_calls() {
    std::printf("\nCalls:\n");
    gbl_cfg_memvni_avl_node_t memvni{5000, 12};
    uint16_t type = 0, len = 0;
    void *value = nullptr;
    uint32_t rc = zorv_drel_lib_alloc_tlv(ZORV_TYPE1_GBL_MEMBER_VNI, &type, &len, &value, &memvni);
    if (rc == 0) {
        const auto *mv = static_cast<const member_vni_t *>(value);
        std::printf("  member VNI node {vni %u, bd %u} -> type %u, %u bytes {bd %u, vni %u}\n",
                    memvni.vni, memvni.bd, type, len, mv->bd, mv->vni);
        zorv_drel_lib_free_tlv(type, value);
    }

    auto *node = static_cast<if_cfg_avl_node_t *>(
        zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_if_cfg_avl_node_t, sizeof(if_cfg_avl_node_t)));
    if (node != nullptr) {
        node->if_index = 0x0A000001;
        node->vsi_id = 10;
        node->admin = 1;
        node->dfs = 1;
        node->dyn_map_cnt = 2;
        node->dot1q_vni[100] = 10100;
        node->dot1q_vni[200] = 10200;
        std::strcpy(node->prof_name, "example-profile");
        value = nullptr;
        rc = zorv_drel_lib_alloc_tlv(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, &type, &len, &value, node);
        std::printf("  service instance 10 -> status 0x%X, type %u, %u bytes\n", rc, type, len);
        if (rc == 0) zorv_drel_lib_free_tlv(type, value);
        tracked_free(ZORV_DREL_LIB_SERVICE_ID, node);
    }

    rc = zorv_drel_lib_free_tlv(3, nullptr);
    std::printf("  release of a value of unknown type 3 -> 0x%08X (%s)\n", rc, error_to_string(rc));
}

} // namespace

int main() {
    print_memory_types();
    print_type_codes();
    print_error_codes();
    make_some_calls();
    std::printf("\nDebug history of service %u:\n", ZORV_DREL_LIB_SERVICE_ID);
    std::fflush(stdout);
    debug_history_dump(ZORV_DREL_LIB_SERVICE_ID, stdout);
    return 0;
}
