// SPDX-License-Identifier: Apache-2.0
// fuzz_remote_tlvs.cpp - arbitrary bytes as the peer's TLV array, through the graceful check and
// the strict check, against the exported local array of either scope, an empty one or none.
//   ctl[0] bit 0: the peer runs protocol version 39 (else 40)
//   ctl[0] bits 1-2: local array: 0 the interface's export, 1 the global export, 2 null, 3 empty
//   ctl[1]: the flags word of the graceful check
#include "fuzz_common.h"

namespace {

tlv_array_t *g_local[2] = {nullptr, nullptr};
tlv_array_t g_empty{};

void setup() {
    static bool done = false;
    if (done) return;
    done = true;
    fuzz::setup_once();
    fuzz::code(zorv_drel_type1_cfg_get_params(0, fuzz::kIfIndex, &g_local[0]), "if export");
    fuzz::code(zorv_drel_type1_cfg_get_params(1, 0, &g_local[1]), "gbl export");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return fuzz::run_input(
        data, size,
        [](const fuzz::input &in) {
            const fuzz::array_copy rmt(in.rest, in.rest_size);
            drelm_host_set_pelk_oper_ver(in.bit(0) ? 39 : 40);

            const tlv_array_t *lcl = nullptr;
            switch ((in.ctl[0] >> 1) & 3) {
            case 0: lcl = g_local[0]; break;
            case 1: lcl = g_local[1]; break;
            case 2: lcl = nullptr; break;
            default: lcl = &g_empty; break;
            }
            type1_compat_result_t pass{}, fail{};
            fuzz::code(zorv_drel_type1_cfg_compat_check(in.ctl[2], lcl, rmt.get(), in.ctl[1], 0,
                                                        &pass, &fail),
                       "compat_check");
            bitset_free(pass.vni_set);
            bitset_free(fail.vni_set);
            fuzz::code(zorv_drel_type1_cfg_gbl_compat_check(in.ctl[2], lcl, rmt.get()),
                       "gbl_compat_check");
        },
        setup);
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max, unsigned seed) {
    return fuzz::mutate(data, size, max, seed, fuzz::layout{});
}
