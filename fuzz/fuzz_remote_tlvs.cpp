// fuzz_remote_tlvs.cpp - arbitrary bytes as the peer's TLV array, through every check that
// reads one: graceful, strict, the re-check in both scopes, and the printable rows.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "fuzz_common.h"

namespace {

tlv_array_t *g_local_if = nullptr;
tlv_array_t *g_local_gbl = nullptr;

void setup_once() {
    if (g_local_if != nullptr) return;
    fuzz::fill_cache();
    zorv_drel_type1_cfg_get_params(0, fuzz::kIfIndex, &g_local_if);
    zorv_drel_type1_cfg_get_params(1, 0, &g_local_gbl);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    setup_once();
    // The receiver checks the array header against what it received, as the peer link does.
    if (size < 4) return 0;
    auto *rmt = static_cast<tlv_array_t *>(std::malloc(size));
    std::memcpy(rmt, data, size);
    if (uint64_t{rmt->len} + 4 > size) rmt->len = static_cast<uint32_t>(size - 4);

    for (const tlv_array_t *lcl : {g_local_if, g_local_gbl}) {
        type1_compat_result_t pass{}, fail{};
        zorv_drel_type1_cfg_compat_check(0, lcl, rmt, 0, 0, &pass, &fail);
        bitset_free(pass.vni_set);
        bitset_free(fail.vni_set);
        zorv_drel_type1_cfg_gbl_compat_check(0, lcl, rmt);
    }
    type1_compat_result_t pass{}, fail{};
    zorv_drel_type1_cfg_compat_check(0, nullptr, rmt, 0, 0, &pass, &fail);
    bitset_free(pass.vni_set);
    bitset_free(fail.vni_set);
    zorv_drel_type1_rmt_cfg_cache_rebuild(rmt, 0, fuzz::kIfIndex);
    zorv_drel_type1_rmt_cfg_cache_rebuild(rmt, 1, 0);
    drelm_app_info_t *info = nullptr;
    zorv_drel_type1_cfg_get_param_info(rmt, &info);
    tracked_free(ZORV_DREL_LIB_SERVICE_ID, info);
    std::free(rmt);
    return 0;
}
