// SPDX-License-Identifier: Apache-2.0
// fuzz_rows.cpp - arbitrary bytes as a TLV array turned into printable rows.
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return fuzz::run_input(data, size, [](const fuzz::input &in) {
        const fuzz::array_copy arr(in.rest, in.rest_size);
        drelm_app_info_t *info = nullptr;
        const uint32_t rc =
            fuzz::code(zorv_drel_type1_cfg_get_param_info(arr.get(), &info), "rows");
        if (info != nullptr) {
            // Every row handed over is readable and its texts end within their fields.
            for (uint32_t i = 0; i < info->count; ++i) {
                const drelm_app_info_entry_t &e = info->entries[i];
                if (std::memchr(e.param_value, 0, sizeof e.param_value) == nullptr ||
                    std::memchr(e.param_name, 0, sizeof e.param_name) == nullptr)
                    fuzz::die("row text without its end", i);
            }
            tracked_free(ZORV_DREL_LIB_SERVICE_ID, info);
        } else if (rc == ZORV_DREL_OK && arr.get() != nullptr &&
                   tlv_array_count(arr.get(), 1) != 0) {
            fuzz::die("rows of a non-empty array succeeded without rows");
        }
    });
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max, unsigned seed) {
    return fuzz::mutate(data, size, max, seed, fuzz::layout{});
}
