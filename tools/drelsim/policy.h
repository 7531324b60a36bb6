/* SPDX-License-Identifier: Apache-2.0 */
// What makes a run fail for CI: charged differences (or any difference with --fail-on
// tolerated), minus those an accepted earlier report (--baseline) already holds, over every
// round (or only the round --step names).
#pragma once

#include <set>
#include <string>
#include <vector>

#include "compare.h"

namespace drelsim {

struct Policy {
    bool fail_on_tolerated = false; // a tolerated difference fails too
    bool has_baseline = false;      // `accepted` holds a baseline report's differences
    std::set<std::string> accepted; // finding ids of the baseline report
    int judged_round = -1;          // only this round counts; -1 every round
};

// The differences of a JSON report written by drelsim (schema 1 or 2), as finding ids; throws
// InputError naming the file and line.
std::set<std::string> load_baseline(const std::string &path);

// Marks accepted rows and scopes, and the flagged scopes and rounds of `views`.
void apply_policy(std::vector<RoundView> &views, const Policy &p);

// 0 when no judged round is flagged, else 1.
int policy_status(const std::vector<RoundView> &views, const Policy &p);

} // namespace drelsim
