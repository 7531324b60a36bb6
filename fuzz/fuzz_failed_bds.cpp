// SPDX-License-Identifier: Apache-2.0
// fuzz_failed_bds.cpp - the failed-BD operation of a service instance on type-9 values from the
// input: TLVs 0 and 1, 2 and 3, ... are local and remote value, each in a block of exactly its
// length. The operation's caller checks lengths first, so a value is handed over only when it
// holds its fixed part and its pairs; one that does not is handed over as null.
//   ctl[0] bit 0: no local values;  bit 1: no remote values
//   ctl[0] bit 2: the passing holder has no VNI set;  bit 3: the failing holder has none
//   ctl[0] bit 4: after the pairs, every VLAN of the service instance ctl[1] % 4 of the
//                 peer-link interface is failed as well
#include "fuzz_common.h"

namespace {

bool holds_record(const fuzz::tlv_item &t) {
    if (t.value == nullptr || t.len < ZORV_VSI_ALL_FIXED_LEN) return false;
    int32_t n;
    std::memcpy(&n, t.value + offsetof(vsi_all_t, dyn_map_cnt), 4);
    return n <= 0 || uint64_t{ZORV_VSI_ALL_FIXED_LEN} + 8 * uint64_t(n) <= t.len;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return fuzz::run_input(data, size, [](const fuzz::input &in) {
        const auto items = fuzz::tlv_items(in.rest, in.rest_size, 32);
        fuzz::result_holders res(!in.bit(2), !in.bit(3));
        const uint16_t type = ZORV_TYPE1_INTF_VSI_ATTRIBUTES;
        for (size_t i = 0; i < items.size(); i += 2) {
            const fuzz::tlv_item &l = items[i];
            const fuzz::tlv_item r =
                i + 1 < items.size() ? items[i + 1] : fuzz::tlv_item{9, 0, nullptr};
            const fuzz::exact lv(l.value, l.len), rv(r.value, r.len);
            const auto *lp = in.bit(0) || !holds_record(l)
                                 ? nullptr
                                 : reinterpret_cast<const vsi_all_t *>(lv.data());
            const auto *rp = in.bit(1) || !holds_record(r)
                                 ? nullptr
                                 : reinterpret_cast<const vsi_all_t *>(rv.data());
            const uint32_t rc = fuzz::code(
                zorv_drel_lib_check_failed_bds_vsi(type, lp, rp, in.ctl[2], &res.pass, &res.fail),
                "failed_bds_vsi");
            // Failure is reported exactly when the failed set is not empty (or missing).
            const bool failed = res.fail.vni_set == nullptr || bitset_count(res.fail.vni_set) != 0;
            if (lp != nullptr && (rc != 0) != failed) fuzz::die("failed_bds_vsi verdict", rc);
        }
        if (in.bit(4)) {
            if_cfg_avl_key_t key{fuzz::kIfIndex, 1u + in.ctl[1] % 4u};
            const auto *node =
                static_cast<const if_cfg_avl_node_t *>(tree_find(zorv_drel_if_cfg_avl, &key));
            fuzz::code(
                zorv_drel_lib_fail_all_vlans_vsi(node, type, in.ctl[2], &res.pass, &res.fail),
                "fail_all_vlans_vsi");
        }
    });
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max, unsigned seed) {
    return fuzz::mutate(data, size, max, seed, fuzz::layout{});
}
