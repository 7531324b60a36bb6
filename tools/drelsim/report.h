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
// The same cases as one <testsuite> element named `pair` (a fleet's file has one per pair).
void junit_pair_suite(std::ostream &os, const std::string &pair, size_t id,
                      const std::vector<RoundView> &views);

// A test case of a suite that is not a pair's (a fleet's unpaired switches).
struct JunitCase {
    std::string name;
    std::string failure; // the failure message; empty: the case passes
    std::string type;    // the failure's type
    std::string text;    // the failure's text
};
void junit_suite(std::ostream &os, const std::string &name, size_t id,
                 const std::vector<JunitCase> &cases);

// The summary line of a scope: verdict, failed VNIs, charged instances, tolerated differences.
std::string summary_line(const ScopeView &sv);

// Parts of the report that every form of it shows alike.
std::string round_title(const RoundView &rv); // "Round 1: step 1 on switch B - ..."
std::string check_text(const char *label, const CheckResult &c); // "graceful ZORV_DREL_OK"
std::string vlan_words(const std::vector<uint32_t> &vlans);      // "VLANs 10-12,20"
std::string vni_cell(const PeerView &v);     // a side's failed VNIs in a summary: "10020,10021(+3)"
std::string charged_cell(const PeerView &v); // a side's charged instances: "2", "whole 3", "-"
size_t row_count(const RoundView &rv);       // parameter rows of every scope

} // namespace drelsim
