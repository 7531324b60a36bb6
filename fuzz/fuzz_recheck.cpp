// fuzz_recheck.cpp - arbitrary bytes as the peer's TLV array, re-checked against the standard
// cache in both scopes.
//   ctl[0] bit 0: the interface scope names the second interface (else the peer-link one)
//   ctl[0] bit 1: the global scope is re-checked first
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::setup_once();
    const fuzz::leak_guard guard;
    const fuzz::input in = fuzz::split(data, size);
    const fuzz::array_copy rmt(in.rest, in.rest_size);
    const uint32_t if_index = in.bit(0) ? fuzz::kIfIndex2 : fuzz::kIfIndex;
    for (uint32_t k = 0; k < 2; ++k) {
        const uint32_t is_gbl = in.bit(1) ? 1 - k : k;
        fuzz::code(zorv_drel_type1_rmt_cfg_cache_rebuild(rmt.get(), is_gbl, is_gbl ? 0 : if_index),
                   "rmt_cfg_cache_rebuild");
    }
    guard.check();
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max, unsigned seed) {
    return fuzz::mutate(data, size, max, seed, fuzz::layout{});
}
