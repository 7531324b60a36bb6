// fuzz_update_msg.cpp - arbitrary bytes as a configuration message through extraction.
// Input: ctl, a 16-byte message header, the 12-byte update record head, its TLV array.
//   ctl[0] bits 0-1: opcode: 0 update with header, 1 bare update (the header bytes are left
//                    out of the payload), 2 a configuration request, 3 the opcode in ctl[1..3]
//   ctl[0] bit 2: no payload at all
// The cache goes back to the standard one after each input.
#include "fuzz_common.h"

namespace {
constexpr size_t kHdr = ZORV_DREL_UPD_HDR_LEN;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::setup_once();
    const fuzz::leak_guard guard;
    const fuzz::input in = fuzz::split(data, size);
    uint32_t opcode = ZORV_DREL_OPC_TYPE1_UPD_HDR;
    const uint8_t *payload = in.rest;
    size_t len = in.rest_size;
    switch (in.ctl[0] & 3) {
    case 0: break;
    case 1:
        opcode = ZORV_DREL_OPC_TYPE1_UPD;
        payload = len > kHdr ? payload + kHdr : nullptr;
        len = len > kHdr ? len - kHdr : 0;
        break;
    case 2: opcode = in.bit(8) ? ZORV_DREL_OPC_CLI_TLV_CONFIG : ZORV_DREL_OPC_CLI_CONFIG; break;
    default: opcode = uint32_t{in.ctl[1]} | uint32_t{in.ctl[2]} << 8 | uint32_t{in.ctl[3]} << 16;
    }
    if (in.bit(2)) len = 0;
    msg_t *msg = msg_create(opcode, len ? payload : nullptr, static_cast<uint32_t>(len));

    tlv_array_t *copy = nullptr;
    drelm_app_cmd_extract_info_t *info = nullptr;
    uint32_t n = 0, reserved = 0;
    fuzz::code(zorv_drel_type1_cfg_param_extractor(msg, &copy, &n, &reserved, &info), "extractor");
    tracked_free(ZORV_DREL_LIB_SERVICE_ID, copy);
    tracked_free(ZORV_DREL_LIB_SERVICE_ID, info);
    msg_destroy(msg);
    fuzz::empty_cache();
    fuzz::fill_cache();
    guard.check();
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max, unsigned seed) {
    // param_len sits 8 bytes into the update record, after the 16-byte header.
    return fuzz::mutate(
        data, size, max, seed,
        fuzz::layout{fuzz::kCtl + kHdr + 12, static_cast<long>(fuzz::kCtl + kHdr + 8)});
}
