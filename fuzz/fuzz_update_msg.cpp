// fuzz_update_msg.cpp - arbitrary bytes as the payload of a configuration message, through
// extraction and the direct cache update. The cache is emptied now and then to stay bounded.
#include <cstdint>
#include <cstring>

#include "fuzz_common.h"

namespace {

void drop_interface_nodes() {
    if_cfg_avl_key_t key{fuzz::kIfIndex, 0};
    while (auto *n = static_cast<if_cfg_avl_node_t *>(tree_find(zorv_drel_if_cfg_avl, &key)))
        zorv_drel_if_cfg_delete_cache_node(n);
    while (auto *m = static_cast<gbl_cfg_memvni_avl_node_t *>(tree_first(zorv_drel_gbl_cfg_memvni_avl)))
        zorv_drel_gbl_cfg_memvni_delete_cache_node(m);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static unsigned runs = 0;
    if (runs++ == 0) drelm_host_set_interface(fuzz::kIfIndex, 1, 3);
    if (size < 1) return 0;
    const uint32_t opcode = (data[0] & 1) ? ZORV_DREL_OPC_TYPE1_UPD_HDR : ZORV_DREL_OPC_TYPE1_UPD;
    msg_t *msg = msg_create(opcode, data + 1, static_cast<uint32_t>(size - 1));

    tlv_array_t *copy = nullptr;
    drelm_app_cmd_extract_info_t *info = nullptr;
    uint32_t n = 0, reserved = 0;
    zorv_drel_type1_cfg_param_extractor(msg, &copy, &n, &reserved, &info);
    tracked_free(ZORV_DREL_LIB_SERVICE_ID, copy);
    tracked_free(ZORV_DREL_LIB_SERVICE_ID, info);

    const uint32_t flags = data[0] >> 1;
    zorv_drel_type1_cfg_cache_update(flags & 1, (flags >> 1) & 1, fuzz::kIfIndex, msg);
    msg_destroy(msg);
    if (runs % 64 == 0) drop_interface_nodes();
    return 0;
}
