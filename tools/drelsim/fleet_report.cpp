// SPDX-License-Identifier: Apache-2.0
#include "fleet_report.h"

#include <filesystem>
#include <set>
#include <sstream>

#include "html.h"
#include "input.h"
#include "json.h"
#include "report.h"
#include "yaml_tree.h"

namespace drelsim {
namespace {

const char *kSides[2] = {"A", "B"};

std::string pad(const std::string &s, size_t w) {
    return s.size() >= w ? s : s + std::string(w - s.size(), ' ');
}

std::string verdict_word(const PairDigest &d) {
    return d.status == 0 ? "PASS" : d.status == 1 ? "FAIL" : "ERROR";
}

std::string count_cell(size_t n, bool whole) {
    if (whole) return n ? "whole " + std::to_string(n) : "whole";
    return n ? std::to_string(n) : "-";
}

std::string pair_cell(const size_t (&n)[2], const bool (&whole)[2]) {
    return count_cell(n[0], whole[0]) + " / " + count_cell(n[1], whole[1]);
}

std::string vni_cell(const PairDigest &d) {
    const bool no[2] = {false, false};
    return pair_cell(d.failed_vnis, no);
}

// Adds what one side's checks charged in one scope.
void digest_peer(const YNode &peer, std::set<uint64_t> &vnis,
                 std::set<std::pair<uint64_t, uint64_t>> &charged, bool &whole) {
    for (const YNode &f : peer["failed_vnis"].items)
        vnis.insert(std::stoull("0" + scalar_text(f["vni"])));
    for (const YNode &c : peer["charged"].items)
        charged.emplace(std::stoull("0" + scalar_text(c["ifindex"])),
                        std::stoull("0" + scalar_text(c["service_instance"])));
    whole = whole || peer["whole_scope"].is_scalar();
}

} // namespace

std::string page_name(const std::string &pair) {
    std::string out;
    for (unsigned char c : pair)
        out += std::isalnum(c) || c == '.' || c == '-' || c == '_' || c == '+' ? char(c) : '_';
    return out + ".html";
}

std::string switch_label(const std::string &hostname, const std::string &file) {
    return hostname.empty() ? std::filesystem::path(file).filename().string() : hostname;
}

PairDigest digest_report(const std::string &text, const std::string &source) {
    const YNode root = load_yaml(text, source);
    const YNode &rounds = root["rounds"];
    if (!root.is_map() || !root["schema"] || !rounds.is_sequence() ||
        !root["exit_status"].is_scalar())
        throw InputError(source + ":" + std::to_string(root.line) +
                         ": expected the JSON report of one pair (drelsim check --json)");
    PairDigest d;
    d.report = text;
    d.status = std::stoi("0" + scalar_text(root["exit_status"]));
    const YNode &sw = root["import"]["switches"];
    std::string label[2];
    for (int side = 0; side < 2; ++side) {
        d.files[side] = scalar_text(sw[kSides[side]]["file"]);
        label[side] = switch_label(scalar_text(sw[kSides[side]]["hostname"]), d.files[side]);
    }
    d.name = sw ? label[0] + "+" + label[1] : scalar_text(root["scenario"]["name"]);
    for (const YNode &w : root["import"]["warnings"].items)
        d.warnings += w["file"].is_scalar();
    std::set<uint64_t> vnis[2];
    std::set<std::pair<uint64_t, uint64_t>> charged[2];
    for (const YNode &round : rounds.items)
        for (const YNode &scope : round["scopes"].items)
            for (int side = 0; side < 2; ++side)
                digest_peer(scope["peers"][kSides[side]], vnis[side], charged[side], d.whole[side]);
    for (int side = 0; side < 2; ++side)
        d.failed_vnis[side] = vnis[side].size(), d.charged[side] = charged[side].size();
    return d;
}

int fleet_status(const FleetSummary &f) {
    int status = f.unpaired.empty() ? 0 : 1;
    if (!f.unreadable.empty()) status = 2;
    for (auto &p : f.pairs)
        status = std::max(status, p.status);
    return status;
}

void fleet_text(std::ostream &os, const FleetSummary &f) {
    os << "drelsim fleet: " << f.source << ": " << f.files
       << (f.jobs ? " configuration files, " : " reports, ") << f.pairs.size() << " pairs";
    if (f.jobs) os << " (" << f.jobs << " at a time)";
    os << "\n\nSummary (failed VNIs and charged service instances as A / B):\n";
    size_t w = 24;
    for (auto &p : f.pairs)
        w = std::max(w, p.name.size());
    os << "  Verdict  " << pad("Pair", w) << "  " << pad("Failed VNIs", 15) << "  "
       << pad("Charged", 15) << "  Warnings\n";
    os << "  -------  " << std::string(w, '-') << "  " << std::string(15, '-') << "  "
       << std::string(15, '-') << "  --------\n";
    size_t failing = 0;
    for (auto &p : f.pairs) {
        failing += p.status != 0;
        os << "  " << pad(verdict_word(p), 7) << "  " << pad(p.name, w) << "  ";
        if (p.status >= 2) {
            std::string why = p.error;
            while (!why.empty() && why.back() == '\n')
                why.pop_back();
            os << "(exit " << p.status << ") " << why.substr(0, why.find('\n')) << "\n";
            continue;
        }
        os << pad(vni_cell(p), 15) << "  " << pad(pair_cell(p.charged, p.whole), 15) << "  "
           << p.warnings << "\n";
    }
    for (auto &u : f.unpaired)
        os << "unpaired: " << u.file << (u.hostname.empty() ? "" : " (" + u.hostname + ")") << ": "
           << u.why << "\n";
    for (auto &u : f.unreadable)
        os << "unreadable: " << u.why << "\n";
    const int status = fleet_status(f);
    os << "\nResult: " << (status == 0 ? "PASS" : "FAIL") << " - " << failing << " of "
       << f.pairs.size() << " pairs fail";
    if (!f.unpaired.empty()) os << ", " << f.unpaired.size() << " switches unpaired";
    if (!f.unreadable.empty()) os << ", " << f.unreadable.size() << " files unreadable";
    os << ".\n";
}

void fleet_json(std::ostream &os, const FleetSummary &f) {
    Json j(os);
    j.obj().key("schema").num(kJsonSchema);
    j.key("fleet").obj().key("source").str(f.source).key("files").num(
        static_cast<int64_t>(f.files));
    j.key("jobs").num(f.jobs).end();
    j.key("pairs").arr();
    for (auto &p : f.pairs) {
        j.obj().key("pair").str(p.name);
        j.key("files").obj().key("A").str(p.files[0]).key("B").str(p.files[1]).end();
        j.key("rule");
        p.rule.empty() ? j.null() : j.str(p.rule);
        j.key("verdict").str(p.status == 0 ? "pass" : p.status == 1 ? "fail" : "error");
        j.key("exit_status").num(p.status).key("error");
        p.error.empty() ? j.null() : j.str(p.error);
        for (auto [key, n] : {std::pair{"failed_vnis", p.failed_vnis}, {"charged", p.charged}})
            j.key(key)
                .obj()
                .key("A")
                .num(static_cast<int64_t>(n[0]))
                .key("B")
                .num(static_cast<int64_t>(n[1]))
                .end();
        j.key("whole_scope").obj().key("A").boolean(p.whole[0]).key("B").boolean(p.whole[1]).end();
        j.key("warnings").num(static_cast<int64_t>(p.warnings)).key("page");
        p.page.empty() ? j.null() : j.str(p.page);
        j.key("report");
        p.report.empty() ? j.null() : j.raw(p.report);
        j.end();
    }
    j.end();
    for (auto [key, notes] : {std::pair{"unpaired", &f.unpaired}, {"unreadable", &f.unreadable}}) {
        j.key(key).arr();
        for (auto &u : *notes)
            j.obj()
                .key("file")
                .str(u.file)
                .key("hostname")
                .str(u.hostname)
                .key("why")
                .str(u.why)
                .end();
        j.end();
    }
    const int status = fleet_status(f);
    j.key("verdict").str(status == 0 ? "pass" : "fail").key("exit_status").num(status);
    j.end();
    os << "\n";
}

void fleet_junit_notes(std::ostream &os, const FleetSummary &f, size_t id) {
    std::vector<JunitCase> cases;
    for (auto &u : f.unpaired)
        cases.push_back({"unpaired: " + u.file, "no MLAG partner found", "unpaired", u.why});
    for (auto &u : f.unreadable)
        cases.push_back(
            {"unreadable: " + u.file, "not a configuration drelsim reads", "unreadable", u.why});
    if (!cases.empty()) junit_suite(os, "switches not checked", id, cases);
}

void fleet_index_html(std::ostream &os, const FleetSummary &f) {
    html_begin(os, "drelsim fleet: " + f.source);
    os << "<h1>Fleet " << html_escape(f.source) << "</h1>\n<p class=\"lede\">" << f.pairs.size()
       << " pairs from " << f.files << (f.jobs ? " configuration files" : " reports")
       << ". Result: <b id=\"fleet-result\">" << (fleet_status(f) == 0 ? "PASS" : "FAIL")
       << "</b></p>\n";
    os << "<table class=\"summary\" id=\"fleet\"><thead><tr><th>Verdict</th><th>Pair</th>"
          "<th>Failed VNIs (A / B)</th><th>Charged (A / B)</th><th>Warnings</th></tr></thead>"
          "<tbody>\n";
    for (auto &p : f.pairs) {
        const std::string v = verdict_word(p);
        os << "<tr class=\"" << (p.status == 0 ? "pass" : "fail") << "\" data-pair=\""
           << html_escape(p.name) << "\"><td class=\"verdict\">" << v << "</td><td>";
        if (!p.page.empty())
            os << "<a href=\"" << html_escape(p.page) << "\">" << html_escape(p.name) << "</a>";
        else
            os << html_escape(p.name);
        os << "</td>";
        if (p.status >= 2) {
            os << "<td colspan=\"3\">" << html_escape(p.error) << "</td></tr>\n";
            continue;
        }
        os << "<td class=\"num\" data-a=\"" << p.failed_vnis[0] << "\" data-b=\""
           << p.failed_vnis[1] << "\">" << vni_cell(p) << "</td><td class=\"num\" data-a=\""
           << p.charged[0] << "\" data-b=\"" << p.charged[1] << "\">"
           << pair_cell(p.charged, p.whole) << "</td><td class=\"num\">" << p.warnings
           << "</td></tr>\n";
    }
    os << "</tbody></table>\n";
    if (!f.unpaired.empty() || !f.unreadable.empty()) {
        os << "<h2>Not checked</h2>\n<ul class=\"notes\">\n";
        for (auto &u : f.unpaired)
            os << "<li>unpaired: " << html_escape(u.file) << ": " << html_escape(u.why)
               << "</li>\n";
        for (auto &u : f.unreadable)
            os << "<li>unreadable: " << html_escape(u.why) << "</li>\n";
        os << "</ul>\n";
    }
    html_end(os);
}

} // namespace drelsim
