/* SPDX-License-Identifier: Apache-2.0 */
// The consistency report: text for people, JSON for programs.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "compare.h"
#include "model.h"
#include "sim.h"

namespace drelsim {

struct ReportOptions {
    bool diff = false;    // only rows that differ
    bool timing = false;  // per-round timings (text)
    int events_side = -1; // append this peer's debug history
};

// 0 when every scope of the last round passes, else 1.
int verdict_status(const std::vector<RoundView> &views);

std::string text_report(const Scenario &s, const SimResult &sim,
                        const std::vector<RoundView> &views, const ReportOptions &o);
std::string json_report(const Scenario &s, const SimResult &sim,
                        const std::vector<RoundView> &views, const ReportOptions &o);

} // namespace drelsim
