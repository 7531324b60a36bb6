// SPDX-License-Identifier: Apache-2.0
// drelsim: a peer pair of switches on one machine, each process running libzorvdrel as its peer
// manager would, and one consistency report of what the checks find.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <new>

#include "compare.h"
#include "generate.h"
#include "import.h"
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
    std::string events, corrupt, junit, baseline, fail_on = "charged", output;
    int step = -1;
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

// The two configurations as a scenario, with the import's warnings.
Scenario imported_pair(const RunArgs &a, std::vector<ImportWarning> &warnings) {
    const SwitchImport sw_a = import_switch(a.configs[0]);
    const SwitchImport sw_b = import_switch(a.configs[1]);
    return pair_scenario(sw_a, sw_b, warnings);
}

std::string warning_text(const ImportWarning &w) {
    return (w.file.empty() ? "pair" : w.file + (w.line ? ":" + std::to_string(w.line) : "")) +
           ": " + w.text;
}

int run_import(const RunArgs &a) {
    std::vector<ImportWarning> warnings;
    Scenario s;
    try {
        s = imported_pair(a, warnings);
    } catch (const InputError &e) {
        std::cerr << "drelsim: configuration error: " << e.what() << "\n";
        return kExitUsage;
    }
    std::vector<std::string> comments{"Imported by drelsim import " + a.configs[0] + " " +
                                      a.configs[1] + " (rules: docs/import.md)"};
    for (auto &w : warnings)
        comments.push_back("warning: " + warning_text(w));
    return write_out(a.output, scenario_yaml(s, comments), "import") ? 0 : kExitUsage;
}

int run_scenario(const RunArgs &a, bool import) {
    Scenario s;
    std::vector<ImportWarning> warnings;
    try {
        if (import)
            s = imported_pair(a, warnings);
        else
            s = a.file.empty()
                    ? load_scenario_text(default_scenario_text(), "built-in default scenario")
                    : load_scenario_file(a.file);
    } catch (const InputError &e) {
        std::cerr << "drelsim: " << (import ? "configuration" : "scenario") << " error: "
                  << e.what() << "\n";
        return kExitUsage;
    }
    if (a.step > static_cast<int>(s.steps.size())) {
        std::cerr << "drelsim: --step " << a.step << ": the scenario has only " << s.steps.size()
                  << " step(s) (expected 0.." << s.steps.size() << ")\n";
        return kExitUsage;
    }
    SimOptions so;
    so.corrupt_side = side_of(a.corrupt);
    so.events_side = side_of(a.events);
    so.rounds = 1 + static_cast<uint32_t>(a.step >= 0 ? a.step : static_cast<int>(s.steps.size()));
    SimResult sim = simulate(s, so);
    for (int side = 0; side < 2; ++side)
        if (!sim.peer[side].fatal.empty())
            std::cerr << "drelsim: peer " << side_name(side) << ": " << sim.peer[side].fatal
                      << "\n";
    if (!sim.complete()) return kExitBroken;
    const auto views = build_views(s, sim);
    ReportOptions ro{a.diff, a.timing, so.events_side};
    for (auto &w : warnings)
        std::cerr << "drelsim: warning: " << warning_text(w) << "\n";
    std::cout << (a.json ? json_report(s, sim, views, ro) : text_report(s, sim, views, ro));
    return verdict_status(views);
}

// The options of a run, shared by the scenario run and `check`.
void report_options(CLI::App &app, RunArgs &a) {
    app.add_flag("--json", a.json, "print the report as JSON (schema in tools/drelsim/README.md)");
    app.add_flag("--diff", a.diff, "show only the parameter rows that differ");
    app.add_option("--events", a.events, "print the debug history of peer A or B after the report")
        ->check(CLI::IsMember({"A", "B"}));
    app.add_option("--step", a.step, "stop after step N (0: only the initial check)")
        ->check(CLI::NonNegativeNumber);
    app.add_flag("--timing", a.timing, "show how long each phase of each round took");
    app.add_option("--corrupt-frame", a.corrupt,
                   "testing: corrupt the first frame peer A or B sends each round")
        ->check(CLI::IsMember({"A", "B"}))
        ->group("");
}

} // namespace

int main(int argc, char **argv) try {
    CLI::App app{
        "drelsim - run two peer switches on this machine, let libzorvdrel check their type-1\n"
        "configuration against each other, and print one consistency report.\n"
        "Exit status: 0 all checks of the last round pass, 1 a check fails, 2 usage or\n"
        "scenario error, 3 the simulation could not run (library not loadable, peer died)."};
    app.require_subcommand(0, 1);
    RunArgs a;
    app.add_option("scenario", a.file,
                   "scenario file (YAML); without one the built-in default scenario runs");
    report_options(app, a);

    CLI::App *check = app.add_subcommand(
        "check", "import the two switches' configuration files and check them as a pair");
    check->add_option("A", a.configs, "the configuration files of switch A and switch B")
        ->expected(2)
        ->required();
    report_options(*check, a);

    CLI::App *imp = app.add_subcommand(
        "import", "write the scenario that two switches' configuration files make");
    imp->add_option("A", a.configs, "the configuration files of switch A and switch B")
        ->expected(2)
        ->required();
    imp->add_option("-o,--output", a.output, "write to this file instead of standard output");

    GenOptions g;
    std::string out;
    CLI::App *gen = app.add_subcommand(
        "generate", "write a valid scenario of the given size (identical peers)");
    gen->add_option("--vnis", g.vnis, "member VNIs")->capture_default_str();
    gen->add_option("--interfaces", g.interfaces, "peer-link interfaces")->capture_default_str();
    gen->add_option("--vsis", g.vsis, "service instances per interface")->capture_default_str();
    gen->add_option("--pairs", g.pairs, "dot1q-to-VNI pairs per service instance")
        ->capture_default_str();
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
    if (imp->parsed()) return run_import(a);
    return run_scenario(a, check->parsed());
} catch (const std::bad_alloc &) {
    std::cerr << "drelsim: out of memory: the input is too large for the memory this process "
                 "may use\n";
    return kExitBroken;
}
