// SPDX-License-Identifier: Apache-2.0
// drelsim: a peer pair of switches on one machine, each process running libzorvdrel as its peer
// manager would, and one consistency report of what the checks find.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <new>
#include <thread>

#include "compare.h"
#include "fleet.h"
#include "fleet_report.h"
#include "fleet_run.h"
#include "generate.h"
#include "html.h"
#include "import.h"
#include "input.h"
#include "pair_run.h"
#include "plan.h"
#include "policy.h"
#include "report.h"
#include "scenario.h"
#include "scenario_write.h"
#include "sim.h"

namespace {

using namespace drelsim;

constexpr int kExitUsage = 2;
constexpr int kExitBroken = 3;

struct RunArgs {
    std::string file;
    std::vector<std::string> configs; // check/import: the two switches' configuration files
    bool json = false, diff = false, full = false, timing = false;
    std::string events, corrupt, junit, baseline, fail_on = "charged", output, html;
    int step = -1;
    uint64_t turn_bytes = 8u << 20;
};

// drelsim fleet and drelsim merge.
struct FleetArgs {
    std::string dir;                  // fleet: the directory of configuration files
    std::vector<std::string> reports; // merge: the pairs' JSON reports
    unsigned jobs = 0;                // 0: the number of cores
    bool json = false, list = false;
    std::string junit, html, fail_on = "charged";
};

int side_of(const std::string &s) {
    return s.empty() ? -1 : s == "A" ? 0 : 1;
}

// Writes `text` to `path` ("-" or empty: standard output); false with a message when it cannot.
bool write_out(const std::string &path, const std::string &text, const char *who) {
    if (path.empty() || path == "-") return std::cout << text, true;
    std::ofstream f(path);
    if (f << text) return true;
    std::cerr << "drelsim " << who << ": cannot write " << path << "\n";
    return false;
}

int run_generate(const GenOptions &g, const std::string &out) {
    if (std::string problem = generate_problem(g); !problem.empty()) {
        std::cerr << "drelsim generate: " << problem << "\n";
        return kExitUsage;
    }
    return write_out(out, generate_scenario(g), "generate") ? 0 : kExitUsage;
}

int run_import(const RunArgs &a) {
    ImportReport imp;
    Scenario s;
    try {
        s = import_pair(a.configs[0], a.configs[1], imp);
    } catch (const InputError &e) {
        std::cerr << "drelsim: configuration error: " << e.what() << "\n";
        return kExitUsage;
    }
    std::vector<std::string> comments{"Imported by drelsim import " + a.configs[0] + " " +
                                      a.configs[1] + " (rules: docs/import.md)"};
    for (auto &w : imp.warnings)
        comments.push_back("warning: " + warning_text(w));
    return write_out(a.output, scenario_yaml(s, comments), "import") ? 0 : kExitUsage;
}

// The run's policy: --fail-on, --baseline and --step; throws InputError for a bad baseline.
Policy run_policy(const RunArgs &a) {
    Policy p;
    p.fail_on_tolerated = a.fail_on == "tolerated";
    p.judged_round = a.step;
    if (!a.baseline.empty()) p.accepted = load_baseline(a.baseline), p.has_baseline = true;
    return p;
}

// Writes the reports of a finished run; its exit status.
int report(const RunArgs &a, const PairRun &r, ReportOptions &ro, bool import) {
    if (r.status >= 2) return std::cerr << r.error, r.status;
    ro.diff = a.diff, ro.full = a.full, ro.timing = a.timing, ro.events_side = side_of(a.events);
    ro.import = import ? &r.import : nullptr;
    if (!a.junit.empty()) {
        std::ofstream f(a.junit);
        junit_report(f, r.scenario, r.views);
        if (!f) {
            std::cerr << "drelsim: cannot write " << a.junit << "\n";
            return kExitUsage;
        }
    }
    if (!a.html.empty()) {
        std::ofstream f(a.html);
        html_report(f, r.scenario, r.sim, r.views, ro);
        if (!f) {
            std::cerr << "drelsim: cannot write " << a.html << "\n";
            return kExitUsage;
        }
    }
    a.json ? json_report(std::cout, r.scenario, r.sim, r.views, ro)
           : text_report(std::cout, r.scenario, r.sim, r.views, ro);
    return r.status;
}

// Makes the directory of the pages; false with a message when it cannot.
bool page_dir(const std::string &dir, const char *who) {
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (!ec) return true;
    std::cerr << "drelsim " << who << ": cannot make " << dir << ": " << ec.message() << "\n";
    return false;
}

// Writes the summary of a fleet or merge: JUnit (when a file is named), the index page, and the
// table or JSON on standard output; the exit status of them all.
int fleet_outputs(const FleetArgs &a, const FleetSummary &f, const std::vector<std::string> &suites,
                  const char *who) {
    if (!a.junit.empty()) {
        std::ofstream out(a.junit);
        out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
        for (auto &suite : suites)
            out << suite;
        fleet_junit_notes(out, f, suites.size());
        out << "</testsuites>\n";
        if (!out) return std::cerr << "drelsim " << who << ": cannot write " << a.junit << "\n", 2;
    }
    if (!a.html.empty()) {
        std::ofstream out(a.html + "/index.html");
        fleet_index_html(out, f);
        if (!out)
            return std::cerr << "drelsim " << who << ": cannot write " << a.html << "/index.html\n",
                   2;
    }
    a.json ? fleet_json(std::cout, f) : fleet_text(std::cout, f);
    return fleet_status(f);
}

int run_fleet_command(const FleetArgs &a) {
    Fleet fleet;
    try {
        fleet = read_fleet(a.dir);
    } catch (const InputError &e) {
        std::cerr << "drelsim fleet: " << e.what() << "\n";
        return kExitUsage;
    }
    if (a.list) {
        for (auto &p : fleet.pairs)
            std::cout << p.name << "\t" << fleet.switches[p.a].file << "\t"
                      << fleet.switches[p.b].file << "\n";
        for (auto &u : fleet.unpaired)
            std::cerr << "unpaired: " << fleet.switches[u.sw].file << ": " << u.why << "\n";
        for (auto &s : fleet.switches)
            if (!s.error.empty()) std::cerr << "unreadable: " << s.error << "\n";
        return 0;
    }
    FleetOptions o;
    o.jobs = a.jobs ? a.jobs : std::max(1u, std::thread::hardware_concurrency());
    o.policy.fail_on_tolerated = a.fail_on == "tolerated";
    o.html_dir = a.html;
    if (!a.html.empty() && !page_dir(a.html, "fleet")) return kExitUsage;
    const FleetRun run = run_fleet(fleet, o);
    if (!run.error.empty()) return std::cerr << "drelsim fleet: " << run.error << "\n", kExitBroken;
    return fleet_outputs(a, run.summary, run.junit_suites, "fleet");
}

int run_merge(const FleetArgs &a) {
    FleetSummary f;
    f.source = std::to_string(a.reports.size()) + " reports";
    f.files = a.reports.size();
    try {
        for (auto &file : a.reports)
            f.pairs.push_back(digest_report(read_input(file), file));
    } catch (const InputError &e) {
        std::cerr << "drelsim merge: " << e.what() << "\n";
        return kExitUsage;
    }
    std::sort(f.pairs.begin(), f.pairs.end(),
              [](const PairDigest &x, const PairDigest &y) { return x.name < y.name; });
    if (!a.html.empty()) {
        if (!page_dir(a.html, "merge")) return kExitUsage;
        for (auto &p : f.pairs)
            if (std::filesystem::exists(a.html + "/" + page_name(p.name)))
                p.page = page_name(p.name);
    }
    return fleet_outputs(a, f, {}, "merge");
}

int run_scenario(const RunArgs &a, bool import) {
    ReportOptions ro;
    try {
        ro.policy = run_policy(a);
    } catch (const InputError &e) {
        std::cerr << "drelsim: baseline error: " << e.what() << "\n";
        return kExitUsage;
    }
    SimOptions so;
    so.corrupt_side = side_of(a.corrupt);
    so.events_side = side_of(a.events);
    so.turn_bytes = a.turn_bytes;
    if (import) {
        if (a.step > 0) {
            std::cerr << "drelsim: --step " << a.step
                      << ": an imported pair has no steps (expected 0)\n";
            return kExitUsage;
        }
        return report(a, check_pair(a.configs[0], a.configs[1], so, ro.policy), ro, true);
    }
    Scenario s;
    try {
        s = a.file.empty()
                ? load_scenario_text(default_scenario_text(), "built-in default scenario")
                : load_scenario_file(a.file);
    } catch (const InputError &e) {
        std::cerr << "drelsim: scenario error: " << e.what() << "\n";
        return kExitUsage;
    }
    if (a.step > static_cast<int>(s.steps.size())) {
        std::cerr << "drelsim: --step " << a.step << ": the scenario has only " << s.steps.size()
                  << " step(s) (expected 0.." << s.steps.size() << ")\n";
        return kExitUsage;
    }
    so.rounds = 1 + static_cast<uint32_t>(a.step >= 0 ? a.step : static_cast<int>(s.steps.size()));
    ro.load_cpu_ms = self_use().cpu_ms;
    return report(a, run_pair(std::move(s), so, ro.policy), ro, false);
}

// The options of a run, shared by the scenario run and `check`.
void report_options(CLI::App &app, RunArgs &a) {
    app.add_flag("--json", a.json, "print the report as JSON (schema in tools/drelsim/README.md)");
    app.add_flag("--diff", a.diff, "show only the parameter rows that differ");
    app.add_flag("--full", a.full,
                 "show every scope, row and charged instance (a large pair otherwise shows the "
                 "summary and only what differs)");
    app.add_option("--junit", a.junit,
                   "also write a JUnit XML file: one test case per scope and round")
        ->type_name("FILE");
    app.add_option("--fail-on", a.fail_on,
                   "what fails the run: charged (default) or tolerated (any difference)")
        ->check(CLI::IsMember({"charged", "tolerated"}));
    app.add_option("--baseline", a.baseline,
                   "an accepted earlier JSON report: fail only on differences not in it")
        ->type_name("REPORT.json");
    app.add_option("--events", a.events, "print the debug history of peer A or B after the report")
        ->check(CLI::IsMember({"A", "B"}));
    app.add_option("--step", a.step,
                   "stop after step N (0: only the initial check) and judge that round only")
        ->check(CLI::NonNegativeNumber);
    app.add_flag("--timing", a.timing,
                 "show how long each phase of each round took, the CPU time inside the library "
                 "and drelsim's own, and the peak memory of each process");
    app.add_option("--html", a.html,
                   "also write the report as one self-contained web page: the summary, a picture "
                   "of each scope's VLANs, the impact and the rows")
        ->type_name("FILE");
    app.add_option("--corrupt-frame", a.corrupt,
                   "testing: corrupt the first frame peer A or B sends each round")
        ->check(CLI::IsMember({"A", "B"}))
        ->group("");
    app.add_option("--turn-bytes", a.turn_bytes,
                   "testing: end a peer's turn on the peer link past this many bytes")
        ->check(CLI::PositiveNumber)
        ->group("");
}

// A subcommand that takes the configuration files of switch A and switch B.
CLI::App *two_files(CLI::App &app, const char *name, const char *what, RunArgs &a) {
    CLI::App *sub = app.add_subcommand(name, what);
    sub->add_option("configs", a.configs, "the configuration files of switch A and switch B")
        ->type_name("FILE")
        ->expected(2)
        ->required();
    return sub;
}

} // namespace

int main(int argc, char **argv) try {
    CLI::App app{
        "drelsim - run two peer switches on this machine, let libzorvdrel check their type-1\n"
        "configuration against each other, and print one consistency report.\n"
        "  drelsim check A.cfg B.cfg      check two switches' configuration files as a pair\n"
        "  drelsim import A.cfg B.cfg -o pair.yaml   write the scenario they make instead\n"
        "  drelsim [scenario.yaml]        run a scenario (the built-in one without a file)\n"
        "  drelsim fleet DIR              pair every configuration under DIR, check each pair\n"
        "  drelsim merge R1.json R2.json  the fleet's summary from pairs checked one by one\n"
        "  drelsim plan --before A B --after A2 B2   a change in both orders: what each\n"
        "                                 half-applied state suspends, which order to take\n"
        "  drelsim generate --vnis N ...  write a scenario of a chosen size\n"
        "Any run: --html FILE writes the report as a page (fleet: --html DIR, a page a pair).\n"
        "Configuration formats (recognised by content): EOS-style running-config, its\n"
        "structured YAML, ifupdown2 interfaces, NVUE startup.yaml, SONiC config_db.json.\n"
        "Exit status: 0 no scope of any round fails (with --step N: of round N), 1 a scope\n"
        "fails (with --fail-on tolerated: any difference; with --baseline: one not in the\n"
        "baseline), 2 usage, scenario, configuration or baseline error, 3 the simulation\n"
        "could not run (library not loadable, peer died, out of memory). fleet and merge:\n"
        "the worst of their pairs, 1 also for an unpaired switch, 2 for an unreadable file.\n"
        "plan: 0 when an order suspends nothing and the change ends consistent, else 1.\n"
        "JSON report: schema 2 (tools/drelsim/README.md); schema 1 lacked import, policy,\n"
        "hazards, summary, flagged, accepted, whole_scope, charged and the VLANs of failed\n"
        "VNIs, and its exit status judged the last round only."};
    app.require_subcommand(0, 1);
    RunArgs a;
    app.add_option("scenario", a.file,
                   "scenario file (YAML); without one the built-in default scenario runs")
        ->type_name("FILE");
    report_options(app, a);

    CLI::App *check = two_files(
        app, "check", "import the two switches' configuration files and check them as a pair", a);
    report_options(*check, a);
    CLI::App *imp = two_files(app, "import",
                              "write the scenario that two switches' configuration files make", a);
    imp->add_option("-o,--output", a.output, "write to this file instead of standard output");

    FleetArgs fa;
    CLI::App *fleet = app.add_subcommand(
        "fleet", "pair every switch configuration under a directory and check every pair");
    fleet->add_option("dir", fa.dir, "the directory (read recursively; hidden files skipped)")
        ->type_name("DIR")
        ->required();
    fleet->add_option("-j,--jobs", fa.jobs, "pairs checked at once (default: the number of cores)")
        ->check(CLI::PositiveNumber);
    fleet->add_flag("--json", fa.json, "print the fleet's JSON report, each pair's report in it");
    fleet->add_option("--junit", fa.junit, "also write a JUnit XML file: one test suite per pair")
        ->type_name("FILE");
    fleet->add_option("--html", fa.html, "also write a page per pair and index.html linking them")
        ->type_name("DIR");
    fleet
        ->add_option("--fail-on", fa.fail_on,
                     "what fails a pair: charged (default) or tolerated (any difference)")
        ->check(CLI::IsMember({"charged", "tolerated"}));
    fleet->add_flag("--list", fa.list,
                    "only list the pairs, one a line: name, file of A, file of B (tab-separated)");
    CLI::App *merge = app.add_subcommand(
        "merge", "merge the JSON reports of pairs checked one by one into the fleet's summary");
    merge->add_option("reports", fa.reports, "JSON reports of drelsim check --json")
        ->type_name("REPORT.json")
        ->required();
    merge->add_flag("--json", fa.json, "print the fleet's JSON report, each pair's report in it");
    merge
        ->add_option("--html", fa.html,
                     "also write index.html there, linking the pages found there (PAIR.html)")
        ->type_name("DIR");

    PlanFiles pf;
    std::vector<std::string> before, after;
    bool plan_json = false;
    std::string plan_fail_on = "charged";
    CLI::App *plan = app.add_subcommand(
        "plan", "simulate a change of both switches in both orders: what each half-applied state "
                "would suspend, the order to take, and whether the change is consistent at all");
    plan->add_option("--before", before, "the configuration files of A and B as they are")
        ->type_name("A B")
        ->expected(2)
        ->required();
    plan->add_option("--after", after, "the configuration files of A and B after the change")
        ->type_name("A2 B2")
        ->expected(2)
        ->required();
    plan->add_flag("--json", plan_json, "print the plan as JSON");
    plan->add_option("--fail-on", plan_fail_on,
                     "what fails a state: charged (default) or tolerated (any difference)")
        ->check(CLI::IsMember({"charged", "tolerated"}));

    GenOptions g;
    std::string out;
    CLI::App *gen = app.add_subcommand(
        "generate", "write a valid scenario of the given size (identical peers)");
    gen->add_option("--vnis", g.vnis, "member VNIs")->capture_default_str();
    gen->add_option("--interfaces", g.interfaces, "peer-link interfaces")->capture_default_str();
    gen->add_option("--vsis", g.vsis, "service instances per interface")->capture_default_str();
    gen->add_option("--pairs", g.pairs, "dot1q-to-VNI pairs per service instance")
        ->capture_default_str();
    gen->add_flag("!--no-ranges", g.ranges,
                  "write each pair as an entry of its own (default: consecutive VLANs mapping to "
                  "consecutive VNIs as one range entry such as 1-100: 10000-10099)");
    gen->add_option("-o,--output", out, "write to this file instead of standard output");

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &e) {
        return app.exit(e);
    } catch (const CLI::ParseError &e) {
        app.exit(e);
        return kExitUsage;
    }
    if (gen->parsed()) return run_generate(g, out);
    if (fleet->parsed()) return run_fleet_command(fa);
    if (plan->parsed()) {
        pf.before[0] = before[0], pf.before[1] = before[1];
        pf.after[0] = after[0], pf.after[1] = after[1];
        Policy p;
        p.fail_on_tolerated = plan_fail_on == "tolerated";
        return run_plan(pf, p, plan_json, std::cout, std::cerr);
    }
    if (merge->parsed()) return run_merge(fa);
    if (imp->parsed()) return run_import(a);
    return run_scenario(a, check->parsed());
} catch (const std::bad_alloc &) {
    std::cerr << "drelsim: out of memory: the input is too large for the memory this process "
                 "may use\n";
    return kExitBroken;
}
