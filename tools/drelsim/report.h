/* SPDX-License-Identifier: Apache-2.0 */
// The consistency report: text for people, JSON for programs, JUnit XML for CI.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "compare.h"
#include "import.h"
#include "model.h"
#include "policy.h"
#include "sim.h"

namespace drelsim {

constexpr int kJsonSchema = 2; // version of the JSON report's layout

// What `drelsim check` read, for the report.
struct ImportReport {
    SwitchImport sw[2];
    std::vector<ImportWarning> warnings;
};

struct ReportOptions {
    bool diff = false;                    // only rows that differ
    bool full = false;                    // every scope and row, however many
    bool timing = false;                  // per-round timings (text)
    int events_side = -1;                 // append this peer's debug history
    Policy policy;                        // what fails the run
    const ImportReport *import = nullptr; // the configurations, when the pair was imported
    double load_cpu_ms = 0;               // CPU time drelsim took to read its input
};

// A round has "scale" when it holds more parameter rows than this: the default text then shows
// the summary and only the scopes and rows that differ.
constexpr size_t kScaleRows = 60;

// "warning" text of an import warning: "file:line: text" ("pair: text" for the pair).
std::string warning_text(const ImportWarning &w);

void text_report(std::ostream &os, const Scenario &s, const SimResult &sim,
                 const std::vector<RoundView> &views, const ReportOptions &o);
// Written as it goes (a stream), so a large report is never held whole.
void json_report(std::ostream &os, const Scenario &s, const SimResult &sim,
                 const std::vector<RoundView> &views, const ReportOptions &o);
// One test case per scope and round; a flagged scope fails with its summary line and reasons.
void junit_report(std::ostream &os, const Scenario &s, const std::vector<RoundView> &views);

// The summary line of a scope: verdict, failed VNIs, charged instances, tolerated differences.
std::string summary_line(const ScopeView &sv);

} // namespace drelsim
