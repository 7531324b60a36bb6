// SPDX-License-Identifier: Apache-2.0
// The pair's page: what the text report says, with a picture of each scope's VLAN space.
#include "html.h"

#include <array>

namespace drelsim {
namespace {

using VniByVlan = std::array<uint32_t, 4096>;

// VLAN -> VNI of a scope on one switch: its interface's service instances, or for the global
// scope the encap profiles' maps and every service instance (the first mapping of a VLAN wins).
VniByVlan scope_map(const ScopeView &sv, const SwitchConfig &sw) {
    VniByVlan m{};
    auto add = [&](const VlanMap &map) {
        for (auto &[vlan, vni] : map)
            if (vlan < m.size() && m[vlan] == 0) m[vlan] = vni;
    };
    auto add_interface = [&](const Interface &i) {
        for (auto &v : i.vsis)
            add(v.vlan_to_vni);
    };
    if (sv.peer_link == 0) {
        for (auto &p : sw.profiles)
            add(p.vlan_to_vni);
        for (auto &i : sw.interfaces)
            add_interface(i);
    } else if (const Interface *i = find_interface_by_link(sw, sv.peer_link)) {
        add_interface(*i);
    }
    return m;
}

// The VLANs a side would suspend in a scope: those of its charged service instances and of its
// failed VNIs.
VlanSet charged_vlans(const PeerView &v) {
    VlanSet set;
    for (auto &c : v.charged)
        for (uint32_t vlan : c.vlans)
            if (vlan < 4096) set.set(vlan);
    for (auto &f : v.failed)
        for (uint32_t vlan : f.vlans)
            if (vlan < 4096) set.set(vlan);
    return set;
}

std::string scope_id(const RoundView &rv, const ScopeView &sv) {
    return "r" + std::to_string(rv.round) + "-s" + std::to_string(sv.peer_link);
}

void picture(std::ostream &os, const ScopeView &sv, const SidesConfig &config) {
    os << "<div class=\"vlanmap\" data-scope=\"" << html_escape(sv.name)
       << "\"><script type=\"application/json\">{";
    for (int side = 0; side < 2; ++side) {
        os << (side ? ",\"" : "\"") << side_name(side) << "\":[";
        bool first = true;
        for (const VlanRun &r : vlan_picture(sv, config, side))
            os << (first ? "" : ",") << "[" << r.vlan << "," << r.count << "," << r.vni << ","
               << r.state << "]",
                first = false;
        os << "]";
    }
    os << "}</script>\n";
    for (int side = 0; side < 2; ++side) {
        const char s = side_name(side);
        os << "<div class=\"legend\"><b>" << s << "</b>";
        for (const char *state : {"pass", "charged", "tolerated", "absent"})
            os << "<span><i style=\"background:var(--" << state << ")\"></i>" << state
               << " <b class=\"n\" data-side=\"" << s << "\" data-state=\"" << state
               << "\">?</b></span>";
        os << "</div>\n<canvas data-side=\"" << s << "\" aria-label=\"VLANs 1-4094 of switch " << s
           << "\"></canvas>\n<div class=\"charged-list\" data-side=\"" << s << "\"></div>\n";
    }
    os << "</div>\n";
}

void side_block(std::ostream &os, const PeerView &v, int side) {
    const char me = side_name(side), other = side_name(1 - side);
    os << "<div class=\"side\" data-side=\"" << me << "\"><h4>" << me << " checks " << other
       << "'s parameters</h4>\n<div class=\"codes\">";
    if (!v.r || v.status != "checked")
        os << html_escape(v.status == "skipped" ? "nothing to check"
                          : v.why.empty()       ? v.status
                                                : v.why);
    else
        os << html_escape(check_text("graceful", v.r->graceful) + ", " +
                          check_text("strict", v.r->strict) + ", " +
                          check_text("re-check", v.r->recheck));
    os << "</div>\n";
    if (v.r && v.status == "checked" && !v.why.empty())
        os << "<div>why: " << html_escape(v.why) << "</div>\n";
    if (!v.whole_scope.empty())
        os << "<div><b>whole scope:</b> " << html_escape(v.whole_scope) << "</div>\n";
    if (!v.failed.empty()) {
        os << "<div>failed VNIs:</div><ul class=\"failed\">";
        for (auto &f : v.failed)
            os << "<li data-vni=\"" << f.vni << "\">" << f.vni << " ("
               << html_escape((f.vlans.empty() ? "" : vlan_words(f.vlans) + ", ") +
                              (f.bd ? "BD " + std::to_string(f.bd) : "no BD"))
               << ")</li>";
        os << "</ul>\n";
    }
    if (!v.charged.empty()) {
        os << "<div>would suspend:</div><ul class=\"suspend\">";
        for (auto &c : v.charged)
            os << "<li>" << html_escape(c.interface) << " service instance " << c.vsi << " ("
               << html_escape(vlan_words(c.vlans)) << ")</li>";
        os << "</ul>\n";
    }
    if (v.r)
        for (auto &n : v.r->notes)
            os << "<div class=\"codes\">note: " << html_escape(n) << "</div>\n";
    os << "</div>\n";
}

void rows_table(std::ostream &os, const ScopeView &sv) {
    size_t differing = 0;
    for (auto &l : sv.lines)
        differing += l.differs;
    os << "<div class=\"rowcount\"><span class=\"shown\">" << sv.lines.size() << "</span> of "
       << sv.lines.size() << " rows shown, " << differing << " differ</div>\n";
    os << "<table class=\"rows\"><thead><tr><th></th><th>Parameter</th><th>Type</th>"
          "<th>Local value (A)</th><th>Peer value (B)</th></tr></thead><tbody>\n";
    for (auto &l : sv.lines) {
        const char *cls = !l.differs ? "" : l.tolerated ? "differs tolerated" : "differs charged";
        os << "<tr class=\"" << cls << "\" data-differs=\"" << l.differs << "\" data-key=\""
           << html_escape(l.key) << "\"><td class=\"mark\">"
           << (!l.differs    ? ""
               : l.tolerated ? "~"
                             : "*")
           << "</td><td>" << html_escape(l.param) << "</td><td>" << l.type
           << "</td><td class=\"val\">" << html_escape(l.local.value_or("-"))
           << "</td><td class=\"val\">" << html_escape(l.peer.value_or("-")) << "</td></tr>\n";
        if (l.differs)
            os << "<tr class=\"reason\" data-differs=\"1\"><td></td><td colspan=\"4\">reason: "
               << html_escape(l.reason) << (l.accepted ? " (accepted by the baseline)" : "")
               << "</td></tr>\n";
    }
    os << "</tbody></table>\n";
}

void scope_section(std::ostream &os, const RoundView &rv, const ScopeView &sv,
                   const SidesConfig &config) {
    os << "<section class=\"scope "
       << (!sv.pass       ? "fail"
           : sv.tolerated ? "tolerated"
                          : "pass")
       << "\" id=\"" << scope_id(rv, sv) << "\" data-scope=\"" << html_escape(sv.name) << "\">\n"
       << "<h3><span class=\"badge " << (sv.pass ? "" : "fail") << "\">"
       << (sv.pass ? "PASS" : "FAIL") << "</span> " << html_escape(sv.title) << "</h3>\n";
    picture(os, sv, config);
    os << "<div class=\"sides\">";
    for (int side = 0; side < 2; ++side)
        side_block(os, sv.peer[side], side);
    os << "</div>\n";
    rows_table(os, sv);
    os << "</section>\n";
}

void summary_table(std::ostream &os, const RoundView &rv, const std::vector<bool> &shown) {
    os << "<table class=\"summary\" data-round=\"" << rv.round
       << "\"><thead><tr><th>Verdict</th><th>Scope</th><th>Failed VNIs (A / B)</th>"
          "<th>Charged (A / B)</th><th>Tolerated</th></tr></thead><tbody>\n";
    for (size_t i = 0; i < rv.scopes.size(); ++i) {
        const ScopeView &sv = rv.scopes[i];
        os << "<tr class=\"" << (sv.pass ? "pass" : "fail") << "\" data-scope=\""
           << html_escape(sv.name) << "\"><td class=\"verdict\">" << (sv.pass ? "PASS" : "FAIL")
           << "</td><td>";
        if (shown[i])
            os << "<a href=\"#" << scope_id(rv, sv) << "\">" << html_escape(sv.name) << "</a>";
        else
            os << html_escape(sv.name);
        os << "</td><td class=\"num failed\">"
           << html_escape(vni_cell(sv.peer[0]) + " / " + vni_cell(sv.peer[1]))
           << "</td><td class=\"num charged\">"
           << html_escape(charged_cell(sv.peer[0]) + " / " + charged_cell(sv.peer[1]))
           << "</td><td class=\"num tolerated\">" << sv.tolerated << "</td></tr>\n";
    }
    os << "</tbody></table>\n";
    for (auto &h : rv.hazards)
        os << "<p class=\"hazard\">hazard: " << html_escape(h) << "</p>\n";
}

void import_block(std::ostream &os, const ImportReport &imp) {
    os << "<ul class=\"switches\">";
    for (int side = 0; side < 2; ++side) {
        const SwitchImport &sw = imp.sw[side];
        os << "<li><b>" << side_name(side) << "</b>: " << html_escape(sw.file) << " ("
           << html_escape(sw.format) << (sw.hostname.empty() ? "" : ", " + html_escape(sw.hostname))
           << ")</li>";
    }
    os << "</ul>\n";
    if (imp.warnings.empty()) return;
    os << "<details><summary>" << imp.warnings.size()
       << " import warnings</summary><ul class=\"warnings\">";
    for (auto &w : imp.warnings)
        os << "<li>" << html_escape(warning_text(w)) << "</li>";
    os << "</ul></details>\n";
}

} // namespace

std::vector<VlanRun> vlan_picture(const ScopeView &sv, const SidesConfig &config, int side) {
    const VniByVlan mine = scope_map(sv, *config[side]), theirs = scope_map(sv, *config[1 - side]);
    const VlanSet charged = charged_vlans(sv.peer[side]);
    std::vector<VlanRun> runs;
    for (uint32_t v = 1; v < 4095; ++v) {
        if (mine[v] == 0) continue;
        const int state = charged.test(v) ? 2 : theirs[v] != mine[v] ? 3 : 1;
        if (!runs.empty()) {
            VlanRun &r = runs.back();
            if (r.state == state && r.vlan + r.count == v && r.vni + r.count == mine[v]) {
                ++r.count;
                continue;
            }
        }
        runs.push_back({v, 1, mine[v], state});
    }
    return runs;
}

void html_report(std::ostream &os, const Scenario &s, const SimResult &sim,
                 const std::vector<RoundView> &views, const ReportOptions &o) {
    const std::string name = s.name.empty() ? "(unnamed)" : s.name;
    html_begin(os, "drelsim: " + name);
    os << "<h1>" << html_escape(name) << "</h1>\n<p class=\"lede\">" << html_escape(s.source)
       << (s.description.empty() ? "" : " - " + html_escape(s.description)) << "</p>\n";
    if (o.import) import_block(os, *o.import);
    const int status = policy_status(views, o.policy);
    os << "<p>Result: <span class=\"badge " << (status ? "fail" : "") << "\" id=\"result\">"
       << (status ? "FAIL" : "PASS") << "</span> &nbsp; <span class=\"lede\">Colours: "
       << "<b style=\"color:var(--pass)\">pass</b> (the same VNI on both switches), "
       << "<b style=\"color:var(--charged)\">charged</b> (would be suspended), "
       << "<b style=\"color:#9a6700\">tolerated</b> (differs, the checks let it through), "
       << "grey: maps no VNI.</span></p>\n";
    const std::vector<SidesConfig> configs = round_configs(s, views.size());
    os << "<div class=\"filter\"><label><input type=\"checkbox\" id=\"only-diff\"> Show only the "
          "parameter rows that differ</label></div>\n";
    for (size_t i = 0; i < views.size(); ++i) {
        const RoundView &rv = views[i];
        os << "<section class=\"round\" data-round=\"" << rv.round << "\">\n<h2>"
           << html_escape(round_title(rv)) << "</h2>\n";
        for (int side = 0; side < 2; ++side)
            for (auto &n : sim.peer[side].rounds[i].feed_notes)
                os << "<p class=\"lede\">note (" << side_name(side) << "): " << html_escape(n)
                   << "</p>\n";
        const bool scale = !o.full && row_count(rv) > kScaleRows;
        std::vector<bool> shown;
        for (auto &sv : rv.scopes)
            shown.push_back(!scale || !sv.pass || sv.tolerated);
        summary_table(os, rv, shown);
        for (size_t k = 0; k < rv.scopes.size(); ++k)
            if (shown[k]) scope_section(os, rv, rv.scopes[k], configs[i]);
        os << "</section>\n";
    }
    html_end(os);
}

} // namespace drelsim
