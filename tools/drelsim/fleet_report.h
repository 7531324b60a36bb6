/* SPDX-License-Identifier: Apache-2.0 */
// The summary of many pairs, made from each pair's JSON report: a table, one JSON report, an
// index page and the exit status of them all. `drelsim fleet` makes it from the pairs it runs,
// `drelsim merge` from the reports of pairs run elsewhere.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace drelsim {

// What the summary takes from one pair's JSON report (or from a pair that could not be run).
struct PairDigest {
    std::string name;               // "leaf1a+leaf1b"
    std::string files[2];           // the configuration files of A and B
    std::string rule;               // what paired them, empty when not known (merge)
    int status = 0;                 // the pair's exit status: 0 pass, 1 fail, 2 refused, 3 broken
    std::string error;              // status 2 and 3: the complaint
    size_t failed_vnis[2] = {0, 0}; // distinct failed VNIs of A and B, over every round
    size_t charged[2] = {0, 0};     // distinct service instances A and B would suspend
    bool whole[2] = {false, false}; // a whole scope is charged on that side
    size_t warnings = 0;            // import warnings that name a file
    std::string report;             // the pair's JSON report as written; empty for status 2, 3
    std::string page;               // the pair's page beside the index, when there is one
};

// The digest of the JSON report `text` of one pair (`drelsim check --json`), named `source` in
// complaints; throws InputError when it is no such report.
PairDigest digest_report(const std::string &text, const std::string &source);

// A switch a fleet could not pair, or a file it could not read.
struct FleetNote {
    std::string file;
    std::string hostname;
    std::string why;
};

struct FleetSummary {
    std::string source;                // the directory, or "N reports"
    size_t files = 0;                  // configuration files read (or reports merged)
    unsigned jobs = 0;                 // pairs run at once; 0 for a merge
    std::vector<PairDigest> pairs;     // by name
    std::vector<FleetNote> unpaired;   // switches no rule pairs
    std::vector<FleetNote> unreadable; // files that are no configuration drelsim reads
};

// 3 when a pair could not be run, 2 when a file or pair was refused, 1 when a pair fails or a
// switch is unpaired, else 0.
int fleet_status(const FleetSummary &f);

// The summary table, the unpaired switches and unreadable files, and a result line.
void fleet_text(std::ostream &os, const FleetSummary &f);
// One JSON report of the fleet, each pair's own report inside it.
void fleet_json(std::ostream &os, const FleetSummary &f);
// The unpaired switches and unreadable files as a failing suite of a JUnit file (none when
// there are none).
void fleet_junit_notes(std::ostream &os, const FleetSummary &f, size_t id);
// The index page: the summary with a link to each pair's page.
void fleet_index_html(std::ostream &os, const FleetSummary &f);

// A switch as a pair's name shows it: its hostname, else its file's name.
std::string switch_label(const std::string &hostname, const std::string &file);

// A file name for a pair's page: its name with anything but letters, digits, '.', '-', '_' and
// '+' replaced by '_', then ".html".
std::string page_name(const std::string &pair);

} // namespace drelsim
