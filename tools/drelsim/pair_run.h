/* SPDX-License-Identifier: Apache-2.0 */
// One pair checked end to end, returned as a value: `drelsim check` calls it once, and a runner
// of many pairs can call it once per pair, concurrently (it keeps no state between calls; each
// call forks its own two peer processes).
#pragma once

#include <string>
#include <vector>

#include "compare.h"
#include "policy.h"
#include "report.h"
#include "sim.h"

namespace drelsim {

struct PairRun {
    Scenario scenario;
    ImportReport import;          // what was read, when the pair came from configuration files
    SimResult sim;                // what the two peers found
    std::vector<RoundView> views; // point into `scenario` and `sim`: keep the PairRun whole
    int status = 0;               // exit status: 0 pass, 1 flagged, 2 input refused, 3 broken
    std::string error;            // for status 2 and 3: the complaint, "drelsim: ..." lines
};

// Simulates `s` (moved in) and judges it under `p`.
PairRun run_pair(Scenario s, const SimOptions &so, const Policy &p);

// The scenario two configuration files make, what was read going to `imp`; throws InputError.
Scenario import_pair(const std::string &file_a, const std::string &file_b, ImportReport &imp);

// Imports the two configuration files and runs them as a pair; status 2 when a file is refused.
PairRun check_pair(const std::string &file_a, const std::string &file_b, const SimOptions &so,
                   const Policy &p);

// Runs two switches already read (imp.sw, A first) as a pair; status 2 when they are no pair.
PairRun check_imported(ImportReport imp, const SimOptions &so, const Policy &p);

} // namespace drelsim
