/* SPDX-License-Identifier: Apache-2.0 */
// zorv_drel_compat.h - what the graceful check, the strict check and the re-check share: the
// reading of a value under the peer's protocol version, the lookup of a service instance's
// cached node, the count rule of the two drivers and their walk of two arrays in step.
#ifndef ZORV_DREL_COMPAT_H
#define ZORV_DREL_COMPAT_H

#include "zorv_drel_trees.h"

namespace zorv {

const char *passed_or_failed(uint32_t rc) noexcept;

// Checks that `value` (non-null, `len` bytes) can be read as a value of `type`; a type-9 value
// is parsed into `view` under `rules`. Logs the fault on behalf of `fn` and returns false when
// it cannot.
bool value_readable(const char *fn, uint16_t type, const char *side, const void *value,
                    uint32_t len, vsi_all_view &view, const vsi_all_rules &rules = {}) noexcept;

// The local interface node of a type-9 value, or null with the code that explains why.
const if_cfg_avl_node_t *find_if_node(const char *fn, uint16_t lcl_len, const vsi_all_t &l,
                                      uint32_t &rc) noexcept;

// Logs the array sizes on behalf of `fn` and applies the rule both drivers share: the counts
// may differ only as 1 against 0.
bool counts_match(const char *fn, uint32_t num_lcl, uint32_t num_rmt) noexcept;

// The next TLV of a walk; a failure is logged on behalf of `fn` and its code returned.
int next_tlv(const char *fn, tlv_walker &walk, tlv &out) noexcept;

// The texts a driver logs for each pair and each result.
struct pair_texts {
    const char *pair;   // "%s(%d): ... i:%d lcl_type:%s, len:%d, rmt_type:%s, len:%d \n"
    const char *result; // "%s(%d): RESULT: ...(0x%x) %s\n"
};

// Pairs the i-th local TLV with the i-th remote one for i below `num_lcl` (the exact count is
// the drivers' rule) and hands each pair to `check`; without a remote walk the remote side is
// empty. The result is the last pair's; a read failure or two types that differ end the walk.
template <typename Check>
uint32_t check_pairs(const char *fn, tlv_walker &lcl, tlv_walker *rmt, uint32_t num_lcl,
                     const pair_texts &texts, Check &&check) {
    uint32_t res = ZORV_DREL_OK;
    for (uint32_t i = 0; i < num_lcl; ++i) {
        tlv l{}, r{};
        if (const int rc = next_tlv(fn, lcl, l); rc != 0) return static_cast<uint32_t>(rc);
        if (rmt != nullptr) {
            // A remote array that ends early fails the check, not with the walk's own code.
            if (next_tlv(fn, *rmt, r) != 0) return ZORV_DREL_ERR_FAILURE;
            ZLOG_AS(fn, texts.pair, i, zorv_drel_type1_cfg_type_to_str(l.type), l.len,
                    zorv_drel_type1_cfg_type_to_str(r.type), r.len);
            if (l.type != r.type) {
                ZLOG_AS(fn, "%s(%d): No match for lcl_type:%d, rmt_type:%d\n", l.type, r.type);
                return ZORV_DREL_ERR_FAILURE;
            }
        }
        res = check(l, r);
        ZLOG_AS(fn, texts.result, res, passed_or_failed(res));
    }
    return res;
}

} // namespace zorv

#endif
