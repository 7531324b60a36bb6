// SPDX-License-Identifier: Apache-2.0
// fuzz_update_msg.cpp - arbitrary bytes as a configuration message through extraction.
// Input: ctl, a 16-byte message header, the 12-byte update record head, its TLV array.
//   ctl[0] bits 0-1: opcode: 0 update with header, 1 bare update (the header bytes are left
//                    out of the payload), 2 a configuration request, 3 the opcode in ctl[1..3]
//   ctl[0] bit 2: no payload at all
// The cache goes back to the standard one after each input.
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return fuzz::run_input(data, size, [](const fuzz::input &in) {
        uint32_t opcode = ZORV_DREL_OPC_TYPE1_UPD_HDR;
        fuzz::payload payload{in.rest, in.rest_size};
        switch (in.ctl[0] & 3) {
        case 0: break;
        case 1:
            opcode = ZORV_DREL_OPC_TYPE1_UPD;
            payload.drop_header();
            break;
        case 2: opcode = in.bit(8) ? ZORV_DREL_OPC_CLI_TLV_CONFIG : ZORV_DREL_OPC_CLI_CONFIG; break;
        default:
            opcode = uint32_t{in.ctl[1]} | uint32_t{in.ctl[2]} << 8 | uint32_t{in.ctl[3]} << 16;
        }
        if (in.bit(2)) payload.len = 0;
        msg_t *msg = payload.message(opcode);

        tlv_array_t *copy = nullptr;
        drelm_app_cmd_extract_info_t *info = nullptr;
        uint32_t n = 0, reserved = 0;
        fuzz::code(zorv_drel_type1_cfg_param_extractor(msg, &copy, &n, &reserved, &info),
                   "extractor");
        tracked_free(ZORV_DREL_LIB_SERVICE_ID, copy);
        tracked_free(ZORV_DREL_LIB_SERVICE_ID, info);
        msg_destroy(msg);
        fuzz::restore_cache();
    });
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max, unsigned seed) {
    return fuzz::mutate(data, size, max, seed, fuzz::kUpdateLayout);
}
