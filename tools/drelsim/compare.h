/* SPDX-License-Identifier: Apache-2.0 */
// Puts the two peers' findings side by side and explains every difference.
#pragma once

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
};

struct PeerView {
    const ScopeResult *r = nullptr;
    std::string status; // checked, skipped, refused, no-interface, missing
    bool pass = true;
    std::string why; // plain words for a failing code, when there is one
};

struct ScopeView {
    uint32_t peer_link = 0; // 0: global
    std::string title;
    PeerView peer[2];
    bool pass = true;
    std::vector<ParamLine> lines; // as seen from switch A
};

struct RoundView {
    uint32_t round = 0;
    const Step *step = nullptr;
    std::vector<ScopeView> scopes;
    bool pass = true;
};

std::vector<RoundView> build_views(const Scenario &s, const SimResult &sim);
std::string code_name(uint32_t code);
std::string hex32(uint32_t v);

} // namespace drelsim
