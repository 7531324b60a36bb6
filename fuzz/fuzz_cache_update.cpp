// fuzz_cache_update.cpp - arbitrary bytes as the message of a direct cache update.
// Input: ctl, a 16-byte message header, the 12-byte update record head, its TLV array.
//   ctl[0] bit 0: delete (else add or replace)
//   ctl[0] bit 1: global scope
//   ctl[0] bit 2: the second interface (else the peer-link one)
//   ctl[0] bit 3: no message at all
//   ctl[0] bit 4: a bare update (the header bytes are left out of the payload)
// The cache goes back to the standard one after each input.
#include "fuzz_common.h"

namespace {
constexpr size_t kHdr = ZORV_DREL_UPD_HDR_LEN;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::setup_once();
    const fuzz::leak_guard guard;
    const fuzz::input in = fuzz::split(data, size);
    const uint8_t *payload = in.rest;
    size_t len = in.rest_size;
    uint32_t opcode = ZORV_DREL_OPC_TYPE1_UPD_HDR;
    if (in.bit(4)) {
        opcode = ZORV_DREL_OPC_TYPE1_UPD;
        payload = len > kHdr ? payload + kHdr : nullptr;
        len = len > kHdr ? len - kHdr : 0;
    }
    msg_t *msg = in.bit(3)
                     ? nullptr
                     : msg_create(opcode, len ? payload : nullptr, static_cast<uint32_t>(len));
    fuzz::code(zorv_drel_type1_cfg_cache_update(in.bit(0), in.bit(1),
                                                in.bit(2) ? fuzz::kIfIndex2 : fuzz::kIfIndex, msg),
               "cache_update");
    if (msg != nullptr) msg_destroy(msg);
    fuzz::empty_cache();
    fuzz::fill_cache();
    guard.check();
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max, unsigned seed) {
    return fuzz::mutate(
        data, size, max, seed,
        fuzz::layout{fuzz::kCtl + kHdr + 12, static_cast<long>(fuzz::kCtl + kHdr + 8)});
}
