/* SPDX-License-Identifier: Apache-2.0 */
// Puts the two peers' findings side by side and explains every difference.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "model.h"
#include "results.h"
#include "sim.h"

namespace drelsim {

struct ParamLine {
    uint16_t type = 0;
    std::string param;
    std::string key; // "vni 5000", "service instance 7", "profile tenant-red"
    std::optional<std::string> local, peer;
    bool differs = false;
    bool tolerated = false; // differs, but the checks do not judge this difference
    std::string reason;
    bool accepted = false; // the difference is in the baseline report
};

// A VNI the graceful check failed, with the VLANs that map it on this switch.
struct FailedVniView {
    uint32_t vni = 0;
    uint32_t bd = 0;             // 0: not a member VNI here
    std::vector<uint32_t> vlans; // of this switch's service instances and profiles
};

// A service instance the peer manager would suspend, and the VLANs of it that go.
struct ChargedInstance {
    std::string interface; // its interface's name, or its ifindex as hex
    uint32_t ifindex = 0;
    uint32_t vsi = 0;
    std::vector<uint32_t> vlans; // the VLANs mapping a failed VNI; all of them for a whole scope
};

struct PeerView {
    const ScopeResult *r = nullptr;
    std::string status; // checked, skipped, refused, no-interface, missing
    bool pass = true;
    std::string why;                      // plain words for a failing code, when there is one
    std::vector<FailedVniView> failed;    // the failed set, with VLANs
    std::vector<ChargedInstance> charged; // what this switch would suspend
    std::string whole_scope; // when the whole scope is charged: why, in words; else empty
};

struct ScopeView {
    uint32_t peer_link = 0; // 0: global
    std::string title;
    std::string name; // "global" or "peer link 10 (port-channel10)", for the summary
    PeerView peer[2];
    bool pass = true;
    size_t tolerated = 0;         // differing rows the checks let through
    std::vector<ParamLine> lines; // as seen from switch A
    bool flagged = false;         // counts against the exit status under the run's policy
    bool accepted = false;        // fails, but only with differences the baseline report accepts
};

// The two switches' configuration as a round stands (after its step).
using SidesConfig = std::array<std::shared_ptr<const SwitchConfig>, 2>;

struct RoundView {
    uint32_t round = 0;
    const Step *step = nullptr;
    std::vector<ScopeView> scopes;
    std::vector<std::string> hazards; // pair-level: version mismatch, entries out of position
    bool pass = true;
    bool flagged = false; // a scope of it is flagged
};

std::vector<RoundView> build_views(const Scenario &s, const SimResult &sim);
// The two switches' configuration after each of the first `rounds` rounds: the scenario's own
// until a step changes a side, then a copy of that side (they point into `s`: keep it in place).
std::vector<SidesConfig> round_configs(const Scenario &s, size_t rounds);
// Fills the failed VNIs' VLANs, the charged instances and the whole-scope words of each peer of
// `sv`, from the two switches' configuration `sw` as it stands in that round.
void fill_impact(ScopeView &sv, const SidesConfig &sw);
// The pair-level hazards of a round.
std::vector<std::string> round_hazards(const RoundView &rv, const SidesConfig &sw);
std::string code_name(uint32_t code);
std::string hex32(uint32_t v);

} // namespace drelsim
