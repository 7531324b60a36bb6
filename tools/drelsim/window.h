/* SPDX-License-Identifier: Apache-2.0 */
// What the peer manager of each switch would suspend in one state of the pair, over all scopes:
// the VNIs, VLANs, service instances and interfaces, and the scopes charged whole. A change
// reaches the two switches one at a time; this is the cost of the window between the pushes
// (`drelsim plan`), and of each step of a scenario.
#pragma once

#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "compare.h"
#include "json.h"

namespace drelsim {

struct Suspension {
    std::set<uint32_t> vnis;                // failed VNIs
    VlanSet vlans;                          // VLANs of the service instances suspended
    std::vector<ChargedInstance> instances; // each once, with the VLANs of all its charges
    std::set<std::string> interfaces;       // interfaces with an instance suspended
    std::vector<std::string> whole_scopes;  // scopes charged whole, in words

    // The size of the window: suspended (service instance, VLAN) pairs, plus one for each
    // failed VNI no instance carries.
    size_t weight() const;
    bool empty() const { return vnis.empty() && instances.empty() && whole_scopes.empty(); }
};

struct StateSuspension {
    Suspension side[2];
    bool pass = true; // every scope of the state passes
    size_t weight() const { return side[0].weight() + side[1].weight(); }
    bool empty() const { return side[0].empty() && side[1].empty(); }
};

// What a round of the report would suspend.
StateSuspension suspension_of(const RoundView &rv);

// "A would suspend VNIs 10030 (1); VLANs 30; service instances Port-Channel5 5 (VLAN 30);
// interfaces Port-Channel5" lines, one per switch, each after `indent`; "nothing" when none.
void suspension_text(std::ostream &os, const StateSuspension &s, const std::string &indent);
// {"A": {"vnis": [...], "vlans": "30", "service_instances": [...], "interfaces": [...],
// "whole_scopes": [...], "weight": 1}, "B": {...}}
void suspension_json(Json &j, const StateSuspension &s);

} // namespace drelsim
