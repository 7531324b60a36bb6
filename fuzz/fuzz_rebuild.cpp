// SPDX-License-Identifier: Apache-2.0
// fuzz_rebuild.cpp - arbitrary bytes as a TLV array rebuilt into the cache in both scopes, then
// exported again; the cache goes back to the standard one after each input.
//   ctl[0] bit 0: the interface scope names the second interface (else the peer-link one)
//   ctl[0] bit 1: the global scope is rebuilt first
//   ctl[0] bit 2: the rebuild starts from an empty cache
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return fuzz::run_input(data, size, [](const fuzz::input &in) {
        const fuzz::array_copy arr(in.rest, in.rest_size);
        const uint32_t if_index = in.if_index(0);
        if (in.bit(2)) fuzz::empty_cache();
        fuzz::each_scope(in.bit(1), if_index, [&](uint32_t is_gbl, uint32_t scope_if) {
            fuzz::code(zorv_drel_type1_cfg_cache_rebuild(arr.get(), is_gbl, scope_if),
                       "cache_rebuild");
        });
        for (uint32_t is_gbl = 0; is_gbl < 2; ++is_gbl) {
            tlv_array_t *out = nullptr;
            fuzz::code(zorv_drel_type1_cfg_get_params(is_gbl, if_index, &out), "get_params");
            tracked_free(ZORV_DREL_LIB_SERVICE_ID, out);
        }
        fuzz::restore_cache();
    });
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max, unsigned seed) {
    return fuzz::mutate(data, size, max, seed, fuzz::layout{});
}
