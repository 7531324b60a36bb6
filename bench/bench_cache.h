/* SPDX-License-Identifier: Apache-2.0 */
// bench_cache.h - the benchmarks' cache set-ups: service instances on peer-link interfaces,
// member VNIs and encapsulation profiles, filled through the library's own cache calls and
// emptied again, and the export of one scope.
#ifndef ZORV_BENCH_CACHE_H
#define ZORV_BENCH_CACHE_H

#include <cstdint>
#include <functional>
#include <string>

#include "zorv_test_support.h"

namespace bench {

// The VNI that service instance `vsi` maps VLAN `dot1q` to.
using vni_rule = std::function<uint32_t(uint32_t vsi, uint32_t dot1q)>;

// Caches `vsis` service instances (ids 1..vsis) on interface `if_index`, a member of peer link
// `drel_id`; each maps VLANs 1..pairs to vni(vsi, dot1q), allows VLANs 1-3 and names profile
// `profile`. Every VNI not yet cached becomes a member VNI on bridge domain dot1q % 4000 + 1.
void fill_interface(uint32_t if_index, uint32_t drel_id, uint32_t vsis, uint32_t pairs,
                    const vni_rule &vni, const std::string &profile);
// Removes every service instance of interface `if_index` from the cache.
void clear_interface(uint32_t if_index);

// Caches `count` member VNIs 10000.. on bridge domains cycling through 1..4000.
void fill_member_vnis(uint32_t count);
void clear_member_vnis();

// Caches an encapsulation profile `name` and, when `pairs` is not empty, its dot1q map
// (VLAN, VNI).
void add_profile(const std::string &name, const zt::pairs_t &pairs = {});
// Caches profiles "bench-profile-1".."bench-profile-<count>" through the library's global
// rebuild, each with a dot1q map of VLANs 1..vlans to vni(profile, dot1q).
void rebuild_profiles(uint32_t count, uint32_t vlans, const vni_rule &vni);
// Removes every profile and dot1q map from the cache.
void clear_profiles();

// The export of the global scope (is_gbl 1) or of interface `if_index`; the caller frees it.
tlv_array_t *export_params(uint32_t is_gbl, uint32_t if_index);

} // namespace bench

#endif
