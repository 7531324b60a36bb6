// SPDX-License-Identifier: Apache-2.0
// Runs a fleet's pairs, a few at a time, each in a worker process of its own that checks the
// pair as `drelsim check` does and leaves its JSON report, its JUnit suite and its page behind.
#include "fleet_run.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include "html.h"
#include "input.h"
#include "pair_run.h"
#include "report.h"

namespace drelsim {
namespace {

namespace fs = std::filesystem;

// Where a worker leaves what it made, by the pair's position in the fleet.
struct Outputs {
    std::string json, junit, error;
};

Outputs outputs_of(const std::string &scratch, size_t i) {
    const std::string base = scratch + "/" + std::to_string(i);
    return {base + ".json", base + ".xml", base + ".err"};
}

// The worker: checks one pair and writes its reports; its exit status is the pair's.
[[noreturn]] void work(const Fleet &f, size_t i, const FleetOptions &o, const Outputs &out) {
    int status = 3;
    try {
        const FleetPair &p = f.pairs[i];
        ImportReport imp;
        imp.sw[0] = f.switches[p.a].sw;
        imp.sw[1] = f.switches[p.b].sw;
        const PairRun r = check_imported(std::move(imp), SimOptions{}, o.policy);
        status = r.status;
        if (r.status >= 2) {
            std::ofstream(out.error) << r.error;
            _exit(status);
        }
        ReportOptions ro;
        ro.policy = o.policy;
        ro.import = &r.import;
        std::ofstream json(out.json);
        json_report(json, r.scenario, r.sim, r.views, ro);
        std::ofstream junit(out.junit);
        junit_pair_suite(junit, p.name, i, r.views);
        if (!o.html_dir.empty()) {
            std::ofstream page(o.html_dir + "/" + page_name(p.name));
            html_report(page, r.scenario, r.sim, r.views, ro);
            if (!page) status = 3, std::ofstream(out.error) << "cannot write its page\n";
        }
        if (!json || !junit) status = 3, std::ofstream(out.error) << "cannot write its report\n";
    } catch (const std::bad_alloc &) {
        std::ofstream(out.error) << "drelsim: out of memory\n";
        status = 3;
    }
    _exit(status);
}

std::string slurp(const std::string &path) {
    std::ifstream in(path);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

// What a finished worker left: the digest of its report, or its complaint.
PairDigest collect(const Fleet &f, size_t i, int wait_status, const Outputs &out,
                   const FleetOptions &o, std::string &junit) {
    const FleetPair &p = f.pairs[i];
    PairDigest d;
    junit = slurp(out.junit);
    d.status = WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : 3;
    if (d.status <= 1) {
        try {
            d = digest_report(slurp(out.json), out.json);
        } catch (const InputError &e) {
            d.status = 3, d.error = std::string("the pair's report is unreadable: ") + e.what();
        }
    } else {
        d.error = WIFSIGNALED(wait_status) ? "the run of the pair was killed by signal " +
                                                 std::to_string(WTERMSIG(wait_status))
                                           : slurp(out.error);
    }
    d.name = p.name, d.rule = p.rule;
    d.files[0] = f.switches[p.a].file, d.files[1] = f.switches[p.b].file;
    if (!o.html_dir.empty() && d.status <= 1) d.page = page_name(p.name);
    for (const std::string &file : {out.json, out.junit, out.error})
        std::remove(file.c_str());
    return d;
}

} // namespace

FleetRun run_fleet(const Fleet &f, const FleetOptions &o) {
    FleetRun run;
    run.summary.source = f.dir;
    run.summary.files = f.switches.size();
    run.summary.jobs = std::max(1u, o.jobs);
    for (auto &s : f.switches)
        if (!s.error.empty()) run.summary.unreadable.push_back({s.file, s.sw.hostname, s.error});
    for (auto &u : f.unpaired)
        run.summary.unpaired.push_back(
            {f.switches[u.sw].file, f.switches[u.sw].sw.hostname, u.why});
    const char *tmp = std::getenv("TMPDIR");
    std::string pattern = (tmp && *tmp ? std::string(tmp) : "/tmp") + "/drelsim-fleet-XXXXXX";
    std::vector<char> buf(pattern.begin(), pattern.end());
    buf.push_back('\0');
    if (!mkdtemp(buf.data())) {
        run.error = "cannot make a scratch directory " + pattern + ": " + std::strerror(errno);
        return run;
    }
    const std::string scratch = buf.data();
    run.summary.pairs.resize(f.pairs.size());
    run.junit_suites.resize(f.pairs.size());
    std::map<pid_t, size_t> running;
    size_t next = 0;
    std::fflush(nullptr);
    while (next < f.pairs.size() || !running.empty()) {
        while (next < f.pairs.size() && running.size() < run.summary.jobs) {
            const pid_t pid = fork();
            if (pid == 0) work(f, next, o, outputs_of(scratch, next));
            if (pid < 0) {
                run.summary.pairs[next].status = 3;
                run.summary.pairs[next].error =
                    std::string("cannot start its run: ") + std::strerror(errno);
                run.summary.pairs[next].name = f.pairs[next].name;
                ++next;
                continue;
            }
            running.emplace(pid, next++);
        }
        if (running.empty()) continue;
        int status = 0;
        const pid_t done = waitpid(-1, &status, 0);
        if (done < 0 && errno == EINTR) continue;
        auto it = running.find(done);
        if (it == running.end()) continue;
        run.summary.pairs[it->second] =
            collect(f, it->second, status, outputs_of(scratch, it->second), o,
                    run.junit_suites[it->second]);
        running.erase(it);
    }
    std::error_code ec;
    fs::remove_all(scratch, ec);
    return run;
}

} // namespace drelsim
