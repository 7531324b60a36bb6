/* SPDX-License-Identifier: Apache-2.0 */
// The report as one self-contained web page (--html): the summary, a picture of each scope's
// VLAN space with what each side maps and what would be suspended, the impact lists and the
// parameter rows, filterable to the differences. Style, script and data are inline: the page
// loads nothing.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "compare.h"
#include "report.h"

namespace drelsim {

// `s` with <, >, &, " and ' as character references.
std::string html_escape(const std::string &s);

// The page's head (title, inline style) and the opening of its body; html_end closes the page
// after the inline script that draws the pictures and filters the rows.
void html_begin(std::ostream &os, const std::string &title);
void html_end(std::ostream &os);

// The pair's page.
void html_report(std::ostream &os, const Scenario &s, const SimResult &sim,
                 const std::vector<RoundView> &views, const ReportOptions &o);

// The picture of one scope's VLAN space for one side: runs of VLANs that map consecutive VNIs
// in one state, as [first VLAN, count, first VNI, state] with state 1 pass, 2 charged,
// 3 tolerated (a difference the checks let through); VLANs in no run map nothing (absent).
struct VlanRun {
    uint32_t vlan = 0, count = 0, vni = 0;
    int state = 0;
};
std::vector<VlanRun> vlan_picture(const ScopeView &sv, const SidesConfig &config, int side);

} // namespace drelsim
