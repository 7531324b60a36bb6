/* SPDX-License-Identifier: Apache-2.0 */
// Running every pair of a fleet, `jobs` at a time.
#pragma once

#include <string>
#include <vector>

#include "fleet.h"
#include "fleet_report.h"
#include "policy.h"

namespace drelsim {

struct FleetOptions {
    unsigned jobs = 1;    // pairs run at once
    Policy policy;        // what fails a pair (--fail-on)
    std::string html_dir; // where each pair's page goes; empty: no pages
};

struct FleetRun {
    FleetSummary summary;
    std::vector<std::string> junit_suites; // each pair's <testsuite> element, by pair
    std::string error;                     // why the run could not start, else empty
};

// Runs every pair of `f`, each in a process of its own that checks it as `drelsim check` does.
FleetRun run_fleet(const Fleet &f, const FleetOptions &o);

} // namespace drelsim
