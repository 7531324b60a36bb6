// SPDX-License-Identifier: Apache-2.0
// fuzz_pair_check.cpp - the per-pair checks with explicit lengths: TLVs 0 and 1, 2 and 3, ...
// of the input are local and remote value, each in a block of exactly its length, through the
// graceful per-pair check (one pair of result holders for all pairs, as the driver does) and
// the strict per-pair check.
//   ctl[0] bit 0: the peer runs protocol version 39 (else 40)
//   ctl[0] bit 1: every local value is null;  bit 2: every remote value is null
//   ctl[0] bit 3: the holders have no VNI sets
//   ctl[1]: remote lengths handed over are shorter by ctl[1] % 8 (the block is cut too)
#include "fuzz_common.h"

#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return fuzz::run_input(data, size, [](const fuzz::input &in) {
        drelm_host_set_pelk_oper_ver(in.bit(0) ? 39 : 40);
        const auto items = fuzz::tlv_items(in.rest, in.rest_size, 32);

        fuzz::result_holders res(!in.bit(3), !in.bit(3));
        for (size_t i = 0; i < items.size(); i += 2) {
            const fuzz::tlv_item &l = items[i];
            fuzz::tlv_item r =
                i + 1 < items.size() ? items[i + 1] : fuzz::tlv_item{l.type, 0, nullptr};
            const uint16_t cut = static_cast<uint16_t>(std::min<uint16_t>(in.ctl[1] % 8, r.len));
            r.len = static_cast<uint16_t>(r.len - cut);
            const fuzz::exact lv(l.value, l.len), rv(r.value, r.len);
            const void *lp = in.bit(1) ? nullptr : lv.data();
            const void *rp = in.bit(2) || r.value == nullptr ? nullptr : rv.data();
            fuzz::code(zorv_drel_type1_cfg_compat_check_tlv(l.type, l.len, lp, r.type, r.len, rp,
                                                            in.ctl[2], &res.pass, &res.fail),
                       "compat_check_tlv");
            fuzz::code(
                zorv_drel_type1_cfg_gbl_compat_check_tlv(l.type, l.len, lp, r.type, r.len, rp),
                "gbl_compat_check_tlv");
        }
    });
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max, unsigned seed) {
    return fuzz::mutate(data, size, max, seed, fuzz::layout{});
}
