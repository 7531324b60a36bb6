// SPDX-License-Identifier: Apache-2.0
// drelsim on generated pairs of identical switches, from 196,608 to 4,194,304 VLAN pairs a
// switch and from 1,024 to 16,384 peer-link interfaces, against the library's own work in the
// same run. Each run reports (drelsim --timing) the CPU time inside the library's entry points
// in both peers, drelsim's own CPU time (reading, encoding, the exchange, the report: this
// process and the peers outside the library), the library's cache and the peak resident size
// of each process. Counters:
//   library_s, drelsim_s     CPU seconds; own_per_library = drelsim_s / library_s
//   read_s                   of drelsim_s, reading the scenario
//   cache_MB                 the library's cache in one peer
//   peak_MB, peak_per_cache  the largest process, and it over cache_MB
//   own_ns_pair, lib_ns_pair CPU nanoseconds a VLAN pair (both switches), for linear growth
// Arguments: interfaces, service instances each, pairs each, ranges (1: the generator's range
// entries, 0: one entry a pair, 100 MB of YAML at 4 M pairs).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <regex>

#include "run_drelsim.h"

namespace {

namespace fs = std::filesystem;

double number(const std::string &text, const std::string &pattern) {
    std::smatch m;
    return std::regex_search(text, m, std::regex(pattern)) ? std::stod(m[1]) : -1;
}

void BM_Scale(benchmark::State &state) {
    const auto interfaces = std::to_string(state.range(0)), vsis = std::to_string(state.range(1)),
               pairs = std::to_string(state.range(2));
    const std::string file =
        fs::temp_directory_path() / ("drelsim_scale_" + std::to_string(getpid()) + ".yaml");
    std::vector<std::string> gen{"generate", "--vnis", "4000", "--interfaces",
                                 interfaces, "--vsis", vsis,   "--pairs",
                                 pairs,      "-o",     file};
    if (state.range(3) == 0) gen.push_back("--no-ranges");
    if (bench::run_drelsim(DRELSIM_EXE, gen).status != 0) {
        state.SkipWithError("drelsim generate failed");
        return;
    }
    std::string out;
    for (auto _ : state) {
        const bench::Ran r = bench::run_drelsim(DRELSIM_EXE, {file, "--timing"});
        if (r.status != 0) {
            state.SkipWithError(("drelsim exited with " + std::to_string(r.status)).c_str());
            break;
        }
        out = r.out;
    }
    fs::remove(file);
    const double vlan_pairs = static_cast<double>(state.range(0) * state.range(1) * state.range(2));
    const double lib = number(out, "library: ([0-9.]+) s"),
                 own = number(out, "drelsim: ([0-9.]+) s");
    const double cache = number(out, "it caches ([0-9.]+) MB in A");
    const double peak =
        std::max({number(out, "peak memory: drelsim ([0-9.]+) MB"),
                  number(out, "peer A ([0-9.]+) MB"), number(out, "peer B ([0-9.]+) MB")});
    state.counters["vlan_pairs"] = vlan_pairs;
    state.counters["library_s"] = lib;
    state.counters["drelsim_s"] = own;
    state.counters["own_per_library"] = own / lib;
    state.counters["read_s"] = number(out, "reading the input ([0-9.]+)");
    state.counters["cache_MB"] = cache;
    state.counters["peak_MB"] = peak;
    state.counters["peak_per_cache"] = peak / cache;
    state.counters["own_ns_pair"] = own * 1e9 / (2 * vlan_pairs);
    state.counters["lib_ns_pair"] = lib * 1e9 / (2 * vlan_pairs);
}
BENCHMARK(BM_Scale)
    ->ArgNames({"interfaces", "vsis", "pairs", "ranges"})
    ->Args({48, 16, 256, 1})
    ->Args({64, 16, 1024, 1})
    ->Args({256, 16, 1024, 1})
    ->Args({48, 16, 256, 0})
    ->Args({64, 16, 1024, 0})
    ->Args({256, 16, 1024, 0})
    ->Args({1024, 4, 16, 1})
    ->Args({4096, 4, 16, 1})
    ->Args({16384, 4, 16, 1})
    ->Iterations(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime();

} // namespace

BENCHMARK_MAIN();
