/* SPDX-License-Identifier: Apache-2.0 */
// A rollout plan: a change of both switches of a pair (their configuration files before and
// after) simulated in both orders, with what each switch would suspend while the change is
// half applied, the order with the smaller window, and whether the change is consistent once
// both switches have it.
#pragma once

#include <ostream>
#include <string>

#include "policy.h"

namespace drelsim {

struct PlanFiles {
    std::string before[2]; // the configuration files of A and B as they are
    std::string after[2];  // and as they will be
};

// Runs the plan and writes it (text, or JSON when `json`); returns the exit status: 0 when an
// order suspends nothing half applied and the change is consistent fully applied, 1 otherwise,
// 2 when a file is refused, 3 when a simulation could not run (the complaint on `err`).
int run_plan(const PlanFiles &files, const Policy &policy, bool json, std::ostream &os,
             std::ostream &err);

} // namespace drelsim
