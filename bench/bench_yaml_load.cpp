// SPDX-License-Identifier: Apache-2.0
// drelsim's strict YAML reader on generated scenarios: the time to read one into its tree, by
// size, including the duplicate-key check of every mapping (member_vnis holds one key per VNI).
#include <benchmark/benchmark.h>

#include "generate.h"
#include "yaml_tree.h"

namespace {

void BM_LoadGeneratedScenario(benchmark::State &state) {
    drelsim::GenOptions o;
    o.vnis = static_cast<uint32_t>(state.range(0));
    o.interfaces = 48;
    o.vsis = 16;
    o.pairs = 64;
    o.ranges = false; // one key per entry: what the reader is measured on
    const std::string text = drelsim::generate_scenario(o);
    for (auto _ : state)
        benchmark::DoNotOptimize(drelsim::load_yaml(text, "generated"));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
    state.counters["bytes"] = static_cast<double>(text.size());
}
BENCHMARK(BM_LoadGeneratedScenario)
    ->Arg(5000)
    ->Arg(20000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
