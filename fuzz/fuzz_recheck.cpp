// SPDX-License-Identifier: Apache-2.0
// fuzz_recheck.cpp - arbitrary bytes as the peer's TLV array, re-checked against the standard
// cache in both scopes.
//   ctl[0] bit 0: the interface scope names the second interface (else the peer-link one)
//   ctl[0] bit 1: the global scope is re-checked first
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return fuzz::run_input(data, size, [](const fuzz::input &in) {
        const fuzz::array_copy rmt(in.rest, in.rest_size);
        fuzz::each_scope(in.bit(1), in.if_index(0), [&](uint32_t is_gbl, uint32_t scope_if) {
            fuzz::code(zorv_drel_type1_rmt_cfg_cache_rebuild(rmt.get(), is_gbl, scope_if),
                       "rmt_cfg_cache_rebuild");
        });
    });
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max, unsigned seed) {
    return fuzz::mutate(data, size, max, seed, fuzz::layout{});
}
