/* SPDX-License-Identifier: Apache-2.0 */
// Runs the two peer processes and gathers what they report.
#pragma once

#include <string>
#include <vector>

#include "model.h"
#include "results.h"

namespace drelsim {

struct SimOptions {
    int corrupt_side = -1; // peer whose first frame of each round is corrupted, -1 none
    int events_side = -1;  // peer whose debug history is wanted, -1 none
    uint32_t rounds = 1;
    uint64_t turn_bytes = 8u << 20; // a peer's turn on the peer link ends past this many bytes
};

// What a process used: CPU time (user and system) and its peak resident size.
struct ProcessUse {
    double cpu_ms = 0;
    long max_rss_kb = 0;
};

// This process so far.
ProcessUse self_use();

struct PeerOutcome {
    std::vector<RoundResult> rounds;
    std::string events;
    std::string fatal; // why the peer process could not finish, empty when it did
    ProcessUse use;    // the peer process over its whole life
};

struct SimResult {
    PeerOutcome peer[2];
    bool complete() const { return peer[0].fatal.empty() && peer[1].fatal.empty(); }
};

// Runs the two peers on `scenario`; each peer process changes its own copy of it as the steps
// go, the caller's stays as it is.
SimResult simulate(Scenario &scenario, const SimOptions &options);

} // namespace drelsim
