// SPDX-License-Identifier: Apache-2.0
// fuzz_cache_update.cpp - arbitrary bytes as the message of a direct cache update.
// Input: ctl, a 16-byte message header, the 12-byte update record head, its TLV array.
//   ctl[0] bit 0: delete (else add or replace)
//   ctl[0] bit 1: global scope
//   ctl[0] bit 2: the second interface (else the peer-link one)
//   ctl[0] bit 3: no message at all
//   ctl[0] bit 4: a bare update (the header bytes are left out of the payload)
// The cache goes back to the standard one after each input.
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return fuzz::run_input(data, size, [](const fuzz::input &in) {
        fuzz::payload payload{in.rest, in.rest_size};
        uint32_t opcode = ZORV_DREL_OPC_TYPE1_UPD_HDR;
        if (in.bit(4)) {
            opcode = ZORV_DREL_OPC_TYPE1_UPD;
            payload.drop_header();
        }
        msg_t *msg = in.bit(3) ? nullptr : payload.message(opcode);
        fuzz::code(zorv_drel_type1_cfg_cache_update(in.bit(0), in.bit(1), in.if_index(2), msg),
                   "cache_update");
        if (msg != nullptr) msg_destroy(msg);
        fuzz::restore_cache();
    });
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max, unsigned seed) {
    return fuzz::mutate(data, size, max, seed, fuzz::kUpdateLayout);
}
