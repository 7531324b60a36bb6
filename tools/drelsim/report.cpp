// SPDX-License-Identifier: Apache-2.0
#include "report.h"

#include <ctime>
#include <sstream>

#include "json.h"
#include "window.h"

namespace drelsim {
namespace {

constexpr size_t kParamW = 21, kTypeW = 4, kValueW = 38;

std::vector<std::string> wrap(const std::string &text, size_t width) {
    std::vector<std::string> lines{""};
    std::istringstream in(text);
    std::string word;
    while (in >> word) {
        while (word.size() > width) {
            if (!lines.back().empty()) lines.emplace_back();
            lines.back() = word.substr(0, width);
            word.erase(0, width);
            lines.emplace_back();
        }
        if (!lines.back().empty() && lines.back().size() + 1 + word.size() > width)
            lines.emplace_back();
        lines.back() += (lines.back().empty() ? "" : " ") + word;
    }
    if (lines.size() > 1 && lines.back().empty()) lines.pop_back();
    return lines;
}

std::string pad(const std::string &s, size_t w) {
    return s.size() >= w ? s : s + std::string(w - s.size(), ' ');
}

const char *verdict(bool pass) {
    return pass ? "PASS" : "FAIL";
}

constexpr size_t kListMax = 10; // items of a list the default text shows

void impact_lines(std::ostream &os, const PeerView &v, const ReportOptions &o) {
    if (!v.failed.empty()) {
        os << "    failed VNIs:";
        for (size_t i = 0; i < v.failed.size(); ++i) {
            if (i == kListMax && !o.full) {
                os << " (and " << v.failed.size() - i << " more)";
                break;
            }
            auto &f = v.failed[i];
            os << (i ? ", " : " ") << f.vni << " ("
               << (f.vlans.empty() ? "" : vlan_words(f.vlans) + ", ")
               << (f.bd ? "BD " + std::to_string(f.bd) : "no BD") << ")";
        }
        os << "\n";
    }
    if (v.r && !v.r->charged.empty()) {
        os << "    service instances charged:";
        for (size_t i = 0; i < v.r->charged.size(); ++i)
            os << (i ? ", " : " ") << v.r->charged[i];
        os << "\n";
    }
    if (!v.whole_scope.empty()) os << "    whole scope: " << v.whole_scope << "\n";
    for (size_t i = 0; i < v.charged.size(); ++i) {
        if (i == kListMax && !o.full) {
            os << "    would suspend: (and " << v.charged.size() - i
               << " more service instances; --full lists them)\n";
            break;
        }
        auto &c = v.charged[i];
        os << "    would suspend: " << c.interface << " service instance " << c.vsi << " ("
           << vlan_words(c.vlans) << ")\n";
    }
}

void peer_lines(std::ostream &os, int side, const PeerView &v, const ReportOptions &o) {
    const char me = side_name(side), other = side_name(1 - side);
    os << "  " << me << " checks " << other << "'s parameters: ";
    if (!v.r || v.status != "checked") {
        os << (v.status == "skipped" ? "nothing to check"
               : v.why.empty()       ? v.status
                                     : v.why)
           << "\n";
    } else {
        os << check_text("graceful", v.r->graceful) << ", " << check_text("strict", v.r->strict)
           << ", " << check_text("re-check", v.r->recheck) << "\n";
        if (!v.why.empty()) os << "    why: " << v.why << "\n";
    }
    impact_lines(os, v, o);
    if (!v.r) return;
    for (auto &n : v.r->notes)
        os << "    note: " << n << "\n";
}

// Whether a row is shown: --full every row; --diff or a round at scale the differing ones.
bool shown_row(const ParamLine &l, const ReportOptions &o, bool scale) {
    return o.full || l.differs || !(o.diff || scale);
}

void table(std::ostream &os, const ScopeView &sv, const ReportOptions &o, bool scale) {
    std::vector<const ParamLine *> shown;
    for (auto &l : sv.lines)
        if (shown_row(l, o, scale)) shown.push_back(&l);
    if (shown.empty()) {
        os << "\n  " << (o.diff && !o.full ? "No parameter differs." : "No parameters.") << "\n";
        return;
    }
    os << "\n     " << pad("Parameter", kParamW) << "  " << pad("Type", kTypeW) << "  "
       << pad("Local value (A)", kValueW) << "  Peer value (B)\n";
    os << "     " << std::string(kParamW, '-') << "  " << std::string(kTypeW, '-') << "  "
       << std::string(kValueW, '-') << "  " << std::string(kValueW, '-') << "\n";
    for (const ParamLine *l : shown) {
        auto left = wrap(l->local.value_or("-"), kValueW),
             right = wrap(l->peer.value_or("-"), kValueW);
        const char *mark = !l->differs ? "   " : l->tolerated ? " ~ " : " * ";
        for (size_t i = 0; i < std::max(left.size(), right.size()); ++i) {
            os << "  " << (i ? "   " : mark) << pad(i ? "" : l->param, kParamW) << "  "
               << pad(i ? "" : std::to_string(l->type), kTypeW) << "  "
               << pad(i < left.size() ? left[i] : "", kValueW) << "  "
               << (i < right.size() ? right[i] : "");
            os << "\n";
        }
        if (l->differs)
            os << "        reason: " << l->reason
               << (l->accepted ? " (accepted by the baseline)" : "") << "\n";
    }
}

void scope_text(std::ostream &os, const ScopeView &sv, const ReportOptions &o, bool scale) {
    os << "\n" << verdict(sv.pass) << "  " << sv.title << "\n";
    for (int side = 0; side < 2; ++side)
        peer_lines(os, side, sv.peer[side], o);
    table(os, sv, o, scale);
    size_t hidden = 0;
    for (auto &l : sv.lines)
        hidden += !shown_row(l, o, scale);
    if (hidden && scale && !o.diff)
        os << "  (" << hidden << " matching rows not shown; --full shows them)\n";
}

void timing_text(std::ostream &os, const SimResult &sim, size_t round) {
    for (int side = 0; side < 2; ++side) {
        const Timing &t = sim.peer[side].rounds[round].timing;
        char b[256];
        snprintf(b, sizeof b,
                 "  timing %c: configure %.3f ms, export %.3f ms, exchange %.3f ms (%u frames, "
                 "%llu bytes sent), check %.3f ms; CPU %.3f ms, of which the library %.3f ms\n",
                 side_name(side), t.configure_ms, t.export_ms, t.exchange_ms, t.frames_sent,
                 static_cast<unsigned long long>(t.bytes_sent), t.check_ms, t.cpu_ms, t.library_ms);
        os << b;
    }
}

// The library's share and drelsim's own, over every round and both peers, as CPU time.
struct Cost {
    double library_ms[2] = {0, 0};
    uint64_t cache_bytes[2] = {0, 0}; // at the end of the initial round
    double own_ms = 0; // drelsim's own work: this process, the peers outside the library
    ProcessUse self;
};

Cost run_cost(const SimResult &sim) {
    Cost c;
    c.self = self_use();
    c.own_ms = c.self.cpu_ms;
    for (int side = 0; side < 2; ++side) {
        const PeerOutcome &p = sim.peer[side];
        for (const RoundResult &r : p.rounds)
            c.library_ms[side] += r.timing.library_ms;
        if (!p.rounds.empty()) c.cache_bytes[side] = p.rounds.front().timing.cache_bytes;
        c.own_ms += p.use.cpu_ms - c.library_ms[side];
    }
    return c;
}

double mb(double bytes) {
    return bytes / 1e6;
}

// "Performance" lines of --timing: what the library took, what drelsim took, peak memory.
void performance_text(std::ostream &os, const SimResult &sim, const ReportOptions &o) {
    const Cost c = run_cost(sim);
    char b[512];
    snprintf(b, sizeof b,
             "\nPerformance (CPU time; memory as peak resident size):\n"
             "  library: %.3f s (A %.3f, B %.3f); it caches %.1f MB in A, %.1f MB in B\n"
             "  drelsim: %.3f s (reading the input %.3f, peers outside the library %.3f, the "
             "rest of this process %.3f)\n"
             "  peak memory: drelsim %.1f MB, peer A %.1f MB, peer B %.1f MB\n",
             (c.library_ms[0] + c.library_ms[1]) / 1e3, c.library_ms[0] / 1e3,
             c.library_ms[1] / 1e3, mb(static_cast<double>(c.cache_bytes[0])),
             mb(static_cast<double>(c.cache_bytes[1])), c.own_ms / 1e3, o.load_cpu_ms / 1e3,
             (c.own_ms - c.self.cpu_ms) / 1e3, (c.self.cpu_ms - o.load_cpu_ms) / 1e3,
             mb(c.self.max_rss_kb * 1e3), mb(sim.peer[0].use.max_rss_kb * 1e3),
             mb(sim.peer[1].use.max_rss_kb * 1e3));
    os << b;
}

void json_performance(Json &j, const SimResult &sim, const ReportOptions &o) {
    const Cost c = run_cost(sim);
    j.key("performance").obj();
    j.key("library_ms").obj().key("A").real(c.library_ms[0]).key("B").real(c.library_ms[1]).end();
    j.key("cache_bytes").obj();
    j.key("A").num(static_cast<int64_t>(c.cache_bytes[0]));
    j.key("B").num(static_cast<int64_t>(c.cache_bytes[1])).end();
    j.key("drelsim_ms").real(c.own_ms).key("load_ms").real(o.load_cpu_ms);
    j.key("max_rss_kb").obj().key("drelsim").num(c.self.max_rss_kb);
    j.key("A").num(sim.peer[0].use.max_rss_kb).key("B").num(sim.peer[1].use.max_rss_kb).end();
    j.end();
}

void json_check(Json &j, const char *name, const CheckResult &c) {
    j.key(name).obj().key("run").boolean(c.run);
    if (c.run) j.key("code").num(c.code).key("name").str(code_name(c.code));
    j.end();
}

void json_peer(Json &j, const PeerView &v) {
    j.obj().key("status").str(v.status).key("verdict").str(v.pass ? "pass" : "fail");
    j.key("why").str(v.why);
    if (v.r) {
        j.key("frame_error");
        v.r->refused.empty() ? j.null() : j.str(v.r->refused);
        j.key("ifindex").num(v.r->ifindex).key("tlvs").obj().key("local").num(v.r->local_tlvs);
        j.key("peer").num(v.r->peer_tlvs).end();
        j.key("checks").obj();
        json_check(j, "graceful", v.r->graceful);
        json_check(j, "strict", v.r->strict);
        json_check(j, "recheck", v.r->recheck);
        j.end().key("failed_vnis").arr();
        for (auto &f : v.failed) {
            j.obj().key("vni").num(f.vni).key("bd").num(f.bd).key("vlans").arr();
            for (uint32_t vlan : f.vlans)
                j.num(vlan);
            j.end().end();
        }
        j.end()
            .key("passed_vni_count")
            .num(v.r->passed_count)
            .key("charged_service_instances")
            .arr();
        for (uint32_t id : v.r->charged)
            j.num(id);
        j.end().key("notes").arr();
        for (auto &n : v.r->notes)
            j.str(n);
        j.end();
    }
    j.key("whole_scope");
    v.whole_scope.empty() ? j.null() : j.str(v.whole_scope);
    j.key("charged").arr();
    for (auto &c : v.charged) {
        j.obj().key("interface").str(c.interface).key("ifindex").num(c.ifindex);
        j.key("service_instance").num(c.vsi).key("vlans").arr();
        for (uint32_t vlan : c.vlans)
            j.num(vlan);
        j.end().end();
    }
    j.end().end();
}

void json_lines(Json &j, const ScopeView &sv, const ReportOptions &o) {
    j.key("parameters").arr();
    for (auto &l : sv.lines) {
        if (o.diff && !l.differs) continue;
        j.obj().key("parameter").str(l.param).key("type").num(l.type).key("key").str(l.key);
        j.key("local"), l.local ? j.str(*l.local) : j.null();
        j.key("peer"), l.peer ? j.str(*l.peer) : j.null();
        j.key("differs").boolean(l.differs).key("tolerated").boolean(l.tolerated);
        j.key("reason"), l.differs ? j.str(l.reason) : j.null();
        j.key("accepted").boolean(l.accepted);
        j.end();
    }
    j.end();
}

void json_scope(Json &j, const ScopeView &sv, const ReportOptions &o) {
    j.obj().key("scope").str(sv.peer_link ? "interface" : "global").key("peer_link");
    sv.peer_link ? j.num(sv.peer_link) : j.null();
    j.key("title").str(sv.title).key("verdict").str(sv.pass ? "pass" : "fail");
    j.key("summary").str(summary_line(sv)).key("tolerated").num(static_cast<int64_t>(sv.tolerated));
    j.key("flagged").boolean(sv.flagged).key("accepted").boolean(sv.accepted);
    j.key("peers").obj().key("A");
    json_peer(j, sv.peer[0]);
    j.key("B");
    json_peer(j, sv.peer[1]);
    j.end();
    json_lines(j, sv, o);
    j.end();
}

void json_timing(Json &j, const Timing &t) {
    j.obj().key("configure_ms").real(t.configure_ms).key("export_ms").real(t.export_ms);
    j.key("exchange_ms").real(t.exchange_ms).key("check_ms").real(t.check_ms);
    j.key("cpu_ms").real(t.cpu_ms).key("library_ms").real(t.library_ms);
    j.key("frames_sent")
        .num(t.frames_sent)
        .key("bytes_sent")
        .num(static_cast<int64_t>(t.bytes_sent))
        .end();
}

void json_round(Json &j, const RoundView &rv, const SimResult &sim, size_t i,
                const ReportOptions &o) {
    j.obj().key("round").num(rv.round).key("step");
    if (rv.step) {
        j.obj().key("index").num(rv.round).key("switch").str(
            std::string(1, side_name(rv.step->side)));
        j.key("description").str(rv.step->description).end();
    } else {
        j.null();
    }
    j.key("verdict").str(rv.pass ? "pass" : "fail").key("flagged").boolean(rv.flagged);
    j.key("hazards").arr();
    for (auto &h : rv.hazards)
        j.str(h);
    j.end().key("suspended");
    suspension_json(j, suspension_of(rv));
    j.key("notes").obj();
    for (int side = 0; side < 2; ++side) {
        j.key(std::string(1, side_name(side))).arr();
        for (auto &n : sim.peer[side].rounds[i].feed_notes)
            j.str(n);
        j.end();
    }
    j.end().key("scopes").arr();
    for (auto &sv : rv.scopes)
        json_scope(j, sv, o);
    j.end().key("timing").obj().key("A");
    json_timing(j, sim.peer[0].rounds[i].timing);
    j.key("B");
    json_timing(j, sim.peer[1].rounds[i].timing);
    j.end().end();
}

constexpr size_t kScopeW = 30, kVniW = 23, kChargedW = 15;

void summary_table(std::ostream &os, const RoundView &rv) {
    os << "\nSummary (failed VNIs and charged service instances as A / B):\n";
    os << "  Verdict  " << pad("Scope", kScopeW) << "  " << pad("Failed VNIs", kVniW) << "  "
       << pad("Charged", kChargedW) << "  Tolerated\n";
    os << "  -------  " << std::string(kScopeW, '-') << "  " << std::string(kVniW, '-') << "  "
       << std::string(kChargedW, '-') << "  ---------\n";
    for (auto &sv : rv.scopes)
        os << "  " << summary_line(sv) << "\n";
    for (auto &h : rv.hazards)
        os << "  hazard: " << h << "\n";
}

void import_text(std::ostream &os, const ImportReport &imp) {
    for (int side = 0; side < 2; ++side) {
        const SwitchImport &sw = imp.sw[side];
        os << "Switch " << side_name(side) << ": " << sw.file << " (" << sw.format
           << (sw.hostname.empty() ? "" : ", " + sw.hostname)
           << (sw.domain_id.empty() ? "" : ", MLAG domain " + sw.domain_id)
           << "): " << sw.vnis.size() << " VLANs with a VNI, " << sw.ports.size()
           << " MLAG ports\n";
    }
    for (auto &w : imp.warnings)
        os << "warning: " << warning_text(w) << "\n";
}

void json_import(Json &j, const ImportReport *imp) {
    j.key("import");
    if (!imp) return void(j.null());
    j.obj().key("switches").obj();
    for (int side = 0; side < 2; ++side) {
        const SwitchImport &sw = imp->sw[side];
        j.key(std::string(1, side_name(side))).obj();
        j.key("file").str(sw.file).key("format").str(sw.format).key("hostname").str(sw.hostname);
        j.key("domain_id").str(sw.domain_id).key("local_address").str(sw.local_address);
        j.key("peer_address").str(sw.peer_address).key("anycast_ip").str(sw.anycast_ip);
        j.key("backup_ip").str(sw.backup_ip).key("system_mac").str(sw.system_mac);
        j.key("peer_link").str(sw.peer_link).end();
    }
    j.end().key("warnings").arr();
    for (auto &w : imp->warnings) {
        j.obj().key("file");
        w.file.empty() ? j.null() : j.str(w.file);
        j.key("line").num(w.line).key("text").str(w.text).end();
    }
    j.end().end();
}

std::string xml(const std::string &s) {
    std::string out;
    for (unsigned char c : s) {
        if (c == '<')
            out += "&lt;";
        else if (c == '>')
            out += "&gt;";
        else if (c == '&')
            out += "&amp;";
        else if (c == '"')
            out += "&quot;";
        else if (c < 0x20 && c != '\n' && c != '\t')
            out += ' ';
        else
            out += static_cast<char>(c);
    }
    return out;
}

// The reasons of a flagged scope: why each check failed, what is charged, what differs.
std::string reasons(const ScopeView &sv, const RoundView &rv) {
    std::ostringstream os;
    for (int side = 0; side < 2; ++side) {
        const PeerView &v = sv.peer[side];
        if (!v.why.empty()) os << side_name(side) << ": " << v.why << "\n";
        if (!v.whole_scope.empty()) os << side_name(side) << ": " << v.whole_scope << "\n";
        for (auto &c : v.charged)
            os << side_name(side) << " would suspend " << c.interface << " service instance "
               << c.vsi << " (" << vlan_words(c.vlans) << ")\n";
    }
    for (auto &l : sv.lines)
        if (l.differs && !l.accepted)
            os << (l.tolerated ? "~ " : "* ") << l.key << ": " << l.reason << "\n";
    for (auto &h : rv.hazards)
        os << "hazard: " << h << "\n";
    return os.str();
}

} // namespace

std::string check_text(const char *label, const CheckResult &c) {
    return std::string(label) + " " + (c.run ? code_name(c.code) : "not run");
}

std::string vlan_words(const std::vector<uint32_t> &vlans) {
    if (vlans.empty()) return "no VLAN";
    std::string out = vlans.size() > 1 ? "VLANs " : "VLAN ";
    VlanSet set;
    for (uint32_t v : vlans)
        set.set(v);
    return out + vlan_ranges(set);
}

std::string round_title(const RoundView &rv) {
    if (!rv.step) return "Round 0: initial configuration";
    return "Round " + std::to_string(rv.round) + ": step " + std::to_string(rv.round) +
           " on switch " + side_name(rv.step->side) +
           (rv.step->description.empty() ? "" : " - " + rv.step->description);
}

// "10020, 10021 (+3)" for a summary column.
std::string vni_cell(const PeerView &v) {
    if (v.failed.empty()) return "-";
    std::string out;
    for (size_t i = 0; i < v.failed.size() && i < 2; ++i)
        out += (i ? "," : "") + std::to_string(v.failed[i].vni);
    return v.failed.size() > 2 ? out + "(+" + std::to_string(v.failed.size() - 2) + ")" : out;
}

std::string charged_cell(const PeerView &v) {
    if (!v.whole_scope.empty())
        return v.charged.empty() ? "whole" : "whole " + std::to_string(v.charged.size());
    return v.charged.empty() ? "-" : std::to_string(v.charged.size());
}

size_t row_count(const RoundView &rv) {
    size_t n = 0;
    for (auto &sv : rv.scopes)
        n += sv.lines.size();
    return n;
}

std::string warning_text(const ImportWarning &w) {
    return (w.file.empty() ? "pair" : w.file + (w.line ? ":" + std::to_string(w.line) : "")) +
           ": " + w.text;
}

std::string summary_line(const ScopeView &sv) {
    return pad(verdict(sv.pass), 7) + "  " + pad(sv.name, kScopeW) + "  " +
           pad(vni_cell(sv.peer[0]) + " / " + vni_cell(sv.peer[1]), kVniW) + "  " +
           pad(charged_cell(sv.peer[0]) + " / " + charged_cell(sv.peer[1]), kChargedW) + "  " +
           std::to_string(sv.tolerated) + (sv.accepted ? " (accepted by the baseline)" : "");
}

void text_report(std::ostream &os, const Scenario &s, const SimResult &sim,
                 const std::vector<RoundView> &views, const ReportOptions &o) {
    os << "drelsim: scenario \"" << (s.name.empty() ? "(unnamed)" : s.name) << "\" from "
       << s.source << "\n";
    if (!s.description.empty())
        for (auto &l : wrap(s.description, 96))
            os << "  " << l << "\n";
    if (o.import) import_text(os, *o.import);
    os << "Legend: * differs and the checks charge it, ~ differs but the checks tolerate it.\n";
    for (size_t i = 0; i < views.size(); ++i) {
        const RoundView &rv = views[i];
        std::string title = round_title(rv);
        os << "\n" << title << "\n" << std::string(title.size(), '=') << "\n";
        for (int side = 0; side < 2; ++side)
            for (auto &n : sim.peer[side].rounds[i].feed_notes)
                os << "  note (" << side_name(side) << "): " << n << "\n";
        summary_table(os, rv);
        if (rv.step) {
            // A step changes one switch: until the other follows, this is what goes down.
            os << "\n  In this state the peer managers would suspend:\n";
            suspension_text(os, suspension_of(rv), "    ");
        }
        const bool scale = !o.full && row_count(rv) > kScaleRows;
        for (auto &sv : rv.scopes)
            if (!scale || !sv.pass || sv.tolerated) scope_text(os, sv, o, scale);
        if (o.timing) os << "\n", timing_text(os, sim, i);
    }
    size_t failed = 0;
    std::string earlier;
    for (size_t i = 0; i + 1 < views.size(); ++i)
        if (views[i].flagged && o.policy.judged_round < 0)
            earlier += (earlier.empty() ? "" : ", ") + std::to_string(views[i].round);
    if (!views.empty())
        for (auto &sv : views.back().scopes)
            failed += sv.flagged;
    os << "\nResult: " << (failed || !earlier.empty() ? "FAIL" : "PASS") << " - " << failed
       << " of " << (views.empty() ? 0 : views.back().scopes.size()) << " scopes fail after "
       << (views.empty() || !views.back().step ? "the initial check"
                                               : "step " + std::to_string(views.back().round))
       << (earlier.empty() ? "" : "; earlier rounds that fail: " + earlier) << ".\n";
    if (o.events_side >= 0) {
        os << "\nDebug history of peer " << side_name(o.events_side) << ":\n"
           << sim.peer[o.events_side].events;
    }
    if (o.timing) performance_text(os, sim, o);
}

void json_report(std::ostream &os, const Scenario &s, const SimResult &sim,
                 const std::vector<RoundView> &views, const ReportOptions &o) {
    Json j(os);
    j.obj().key("schema").num(kJsonSchema);
    j.key("scenario").obj().key("name").str(s.name).key("source").str(s.source);
    j.key("description")
        .str(s.description)
        .key("steps")
        .num(static_cast<int64_t>(s.steps.size()))
        .end();
    json_import(j, o.import);
    j.key("policy").obj().key("fail_on").str(o.policy.fail_on_tolerated ? "tolerated" : "charged");
    j.key("baseline").boolean(o.policy.has_baseline).key("judged_round");
    o.policy.judged_round < 0 ? j.null() : j.num(o.policy.judged_round);
    j.end().key("rounds").arr();
    for (size_t i = 0; i < views.size(); ++i)
        json_round(j, views[i], sim, i, o), os.flush();
    j.end();
    const int status = policy_status(views, o.policy);
    j.key("verdict").str(status == 0 ? "pass" : "fail").key("exit_status").num(status);
    if (o.events_side >= 0) {
        j.key("events")
            .obj()
            .key("peer")
            .str(std::string(1, side_name(o.events_side)))
            .key("lines")
            .arr();
        std::istringstream in(sim.peer[o.events_side].events);
        for (std::string line; std::getline(in, line);)
            j.str(line);
        j.end().end();
    }
    json_performance(j, sim, o);
    j.end();
    os << "\n";
}

namespace {

std::string junit_stamp() {
    char stamp[32];
    const std::time_t now = std::time(nullptr);
    std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%S", std::gmtime(&now));
    return stamp;
}

size_t flagged_scopes(const RoundView &rv) {
    size_t f = 0;
    for (auto &sv : rv.scopes)
        f += sv.flagged;
    return f;
}

void junit_suite_head(std::ostream &os, const std::string &name, size_t id, size_t tests,
                      size_t failures) {
    os << "  <testsuite name=\"" << xml(name) << "\" id=\"" << id
       << "\" package=\"drelsim\" hostname=\"localhost\" timestamp=\"" << junit_stamp() << "\" "
       << "tests=\"" << tests << "\" failures=\"" << failures
       << "\" errors=\"0\" time=\"0\">\n    <properties/>\n";
}

void junit_suite_tail(std::ostream &os) {
    os << "    <system-out/>\n    <system-err/>\n  </testsuite>\n";
}

// One test case per scope of `rv`, in class `classname`.
void junit_cases(std::ostream &os, const RoundView &rv, const std::string &classname) {
    for (auto &sv : rv.scopes) {
        os << "    <testcase name=\"" << xml("round " + std::to_string(rv.round) + ": " + sv.name)
           << "\" classname=\"" << xml(classname) << "\" time=\"0\"";
        if (!sv.flagged) {
            os << "/>\n";
            continue;
        }
        os << ">\n      <failure message=\"" << xml(summary_line(sv)) << "\" type=\""
           << (sv.pass ? "tolerated" : "charged") << "\">" << xml(reasons(sv, rv))
           << "</failure>\n    </testcase>\n";
    }
}

} // namespace

void junit_report(std::ostream &os, const Scenario &s, const std::vector<RoundView> &views) {
    const std::string suite = s.name.empty() ? "drelsim" : s.name;
    os << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
    for (size_t i = 0; i < views.size(); ++i) {
        const RoundView &rv = views[i];
        junit_suite_head(os, suite + ": " + round_title(rv), i, rv.scopes.size(),
                         flagged_scopes(rv));
        junit_cases(os, rv, "drelsim." + suite);
        junit_suite_tail(os);
    }
    os << "</testsuites>\n";
}

void junit_pair_suite(std::ostream &os, const std::string &pair, size_t id,
                      const std::vector<RoundView> &views) {
    size_t tests = 0, failures = 0;
    for (auto &rv : views)
        tests += rv.scopes.size(), failures += flagged_scopes(rv);
    junit_suite_head(os, pair, id, tests, failures);
    for (auto &rv : views)
        junit_cases(os, rv, "drelsim." + pair);
    junit_suite_tail(os);
}

void junit_suite(std::ostream &os, const std::string &name, size_t id,
                 const std::vector<JunitCase> &cases) {
    size_t failures = 0;
    for (auto &c : cases)
        failures += !c.failure.empty();
    junit_suite_head(os, name, id, cases.size(), failures);
    for (auto &c : cases) {
        os << "    <testcase name=\"" << xml(c.name) << "\" classname=\"" << xml("drelsim." + name)
           << "\" time=\"0\"";
        if (c.failure.empty()) {
            os << "/>\n";
            continue;
        }
        os << ">\n      <failure message=\"" << xml(c.failure) << "\" type=\"" << xml(c.type)
           << "\">" << xml(c.text) << "</failure>\n    </testcase>\n";
    }
    junit_suite_tail(os);
}

} // namespace drelsim
