// SPDX-License-Identifier: Apache-2.0
#include "report.h"

#include <sstream>

#include "json.h"

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

std::string check_text(const char *label, const CheckResult &c) {
    return std::string(label) + " " + (c.run ? code_name(c.code) : "not run");
}

void peer_lines(std::ostream &os, int side, const PeerView &v) {
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
    if (!v.r) return;
    if (!v.r->failed.empty()) {
        os << "    failed VNIs:";
        for (auto &f : v.r->failed)
            os << " " << f.vni << (f.bd ? " (BD " + std::to_string(f.bd) + ")" : " (no BD)");
        os << "\n";
    }
    if (!v.r->charged.empty()) {
        os << "    service instances charged:";
        for (size_t i = 0; i < v.r->charged.size(); ++i)
            os << (i ? ", " : " ") << v.r->charged[i];
        os << "\n";
    }
    for (auto &n : v.r->notes)
        os << "    note: " << n << "\n";
}

void table(std::ostream &os, const ScopeView &sv, const ReportOptions &o) {
    std::vector<const ParamLine *> shown;
    for (auto &l : sv.lines)
        if (!o.diff || l.differs) shown.push_back(&l);
    if (shown.empty()) {
        os << "\n  " << (o.diff ? "No parameter differs." : "No parameters.") << "\n";
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
        if (l->differs) os << "        reason: " << l->reason << "\n";
    }
}

void scope_text(std::ostream &os, const ScopeView &sv, const ReportOptions &o) {
    os << "\n" << verdict(sv.pass) << "  " << sv.title << "\n";
    for (int side = 0; side < 2; ++side)
        peer_lines(os, side, sv.peer[side]);
    table(os, sv, o);
}

std::string round_title(const RoundView &rv) {
    if (!rv.step) return "Round 0: initial configuration";
    return "Round " + std::to_string(rv.round) + ": step " + std::to_string(rv.round) +
           " on switch " + side_name(rv.step->side) +
           (rv.step->description.empty() ? "" : " - " + rv.step->description);
}

void timing_text(std::ostream &os, const SimResult &sim, size_t round) {
    for (int side = 0; side < 2; ++side) {
        const Timing &t = sim.peer[side].rounds[round].timing;
        char b[256];
        snprintf(b, sizeof b,
                 "  timing %c: configure %.3f ms, export %.3f ms, exchange %.3f ms (%u frames, "
                 "%llu bytes sent), check %.3f ms\n",
                 side_name(side), t.configure_ms, t.export_ms, t.exchange_ms, t.frames_sent,
                 static_cast<unsigned long long>(t.bytes_sent), t.check_ms);
        os << b;
    }
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
        for (auto &f : v.r->failed)
            j.obj().key("vni").num(f.vni).key("bd").num(f.bd).end();
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
    j.end();
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
        j.end();
    }
    j.end();
}

void json_scope(Json &j, const ScopeView &sv, const ReportOptions &o) {
    j.obj().key("scope").str(sv.peer_link ? "interface" : "global").key("peer_link");
    sv.peer_link ? j.num(sv.peer_link) : j.null();
    j.key("title").str(sv.title).key("verdict").str(sv.pass ? "pass" : "fail");
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
    j.key("verdict").str(rv.pass ? "pass" : "fail").key("notes").obj();
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

} // namespace

int verdict_status(const std::vector<RoundView> &views) {
    return !views.empty() && views.back().pass ? 0 : 1;
}

std::string text_report(const Scenario &s, const SimResult &sim,
                        const std::vector<RoundView> &views, const ReportOptions &o) {
    std::ostringstream os;
    os << "drelsim: scenario \"" << (s.name.empty() ? "(unnamed)" : s.name) << "\" from "
       << s.source << "\n";
    if (!s.description.empty())
        for (auto &l : wrap(s.description, 96))
            os << "  " << l << "\n";
    os << "Legend: * differs and the checks charge it, ~ differs but the checks tolerate it.\n";
    for (size_t i = 0; i < views.size(); ++i) {
        const RoundView &rv = views[i];
        std::string title = round_title(rv);
        os << "\n" << title << "\n" << std::string(title.size(), '=') << "\n";
        for (int side = 0; side < 2; ++side)
            for (auto &n : sim.peer[side].rounds[i].feed_notes)
                os << "  note (" << side_name(side) << "): " << n << "\n";
        for (auto &sv : rv.scopes)
            scope_text(os, sv, o);
        if (o.timing) os << "\n", timing_text(os, sim, i);
    }
    size_t failed = 0;
    if (!views.empty())
        for (auto &sv : views.back().scopes)
            failed += !sv.pass;
    os << "\nResult: " << (failed ? "FAIL" : "PASS") << " - " << failed << " of "
       << (views.empty() ? 0 : views.back().scopes.size()) << " scopes fail after "
       << (views.empty() || !views.back().step ? "the initial check"
                                               : "step " + std::to_string(views.back().round))
       << ".\n";
    if (o.events_side >= 0) {
        os << "\nDebug history of peer " << side_name(o.events_side) << ":\n"
           << sim.peer[o.events_side].events;
    }
    return os.str();
}

std::string json_report(const Scenario &s, const SimResult &sim,
                        const std::vector<RoundView> &views, const ReportOptions &o) {
    Json j;
    j.obj().key("schema").num(1);
    j.key("scenario").obj().key("name").str(s.name).key("source").str(s.source);
    j.key("description")
        .str(s.description)
        .key("steps")
        .num(static_cast<int64_t>(s.steps.size()))
        .end();
    j.key("rounds").arr();
    for (size_t i = 0; i < views.size(); ++i)
        json_round(j, views[i], sim, i, o);
    j.end();
    const int status = verdict_status(views);
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
    j.end();
    return j.out + "\n";
}

} // namespace drelsim
