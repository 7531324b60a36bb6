// SPDX-License-Identifier: Apache-2.0
// bench_history.cpp - what the debug history costs: one event of each argument shape, and a whole
// consistency round of one peer at three sizes, with the number of events it logs.
//
// A round is every call the peer manager makes for one peer against an identical peer: for the
// global scope and then for each peer-link interface, the export, the graceful check, the strict
// check and the remote re-check. Sizes:
//   S    64 member VNIs; 1 profile x 64 VLANs; 4 interfaces x 8 service instances x 4 pairs
//   L    4,000 member VNIs; 16 profiles x 1,024 VLANs; 48 interfaces x 16 x 32
//   MAX  16,384 member VNIs; 64 profiles x 4,094 VLANs; 48 interfaces x 64 x 64
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench_cache.h"

namespace {

// The tail of a run with repetitions: its slowest repetition.
double slowest(const std::vector<double> &v) {
    return v.empty() ? 0 : *std::max_element(v.begin(), v.end());
}

// ---- One event -----------------------------------------------------------------------------

constexpr uint32_t kEventSvc = 0xBE7C;
constexpr uint32_t kRingBytes = 0x80000; // the library's own ring size

void open_event_ring() {
    if (debug_history_open(kEventSvc, kRingBytes) != 0) std::abort();
}

void BM_EventNoArgs(benchmark::State &state) {
    open_event_ring();
    for (auto _ : state)
        debug_history_log(kEventSvc, 0, 0, "type-1 cfg cache rebuild: nothing to be done\n");
}
BENCHMARK(BM_EventNoArgs)->ComputeStatistics("max", slowest);

void BM_EventThreeInts(benchmark::State &state) {
    open_event_ring();
    int i = 0;
    for (auto _ : state) {
        debug_history_log(kEventSvc, 0, 0, "bd:%d, vni:%d, len:%d\n", i, i + 10000, 8);
        ++i;
    }
}
BENCHMARK(BM_EventThreeInts)->ComputeStatistics("max", slowest);

void BM_EventPointerString(benchmark::State &state) {
    open_event_ring();
    int x = 0;
    for (auto _ : state)
        debug_history_log(kEventSvc, 0, 0, "tlv_array:%p for %s\n", static_cast<void *>(&x),
                          "zorv_drel_type1_cfg_get_param_info");
}
BENCHMARK(BM_EventPointerString)->ComputeStatistics("max", slowest);

// The library's own shape: function name, line and two values.
void BM_EventLibraryShape(benchmark::State &state) {
    open_event_ring();
    int i = 0;
    for (auto _ : state) {
        debug_history_log(kEventSvc, 0, 0, "%s(%d): Adding memvni tlv - bd:%d, vni:%d\n",
                          "zorv_drel_gbl_cfg_avl_get_params", 20, i % 4000 + 1, 10000 + i);
        ++i;
    }
}
BENCHMARK(BM_EventLibraryShape)->ComputeStatistics("max", slowest);

// ---- A whole round -------------------------------------------------------------------------

struct round_size {
    uint32_t vnis, profiles, vlans, interfaces, vsis, pairs;
};
constexpr round_size kSizes[] = {
    {64, 1, 64, 4, 8, 4},          // S
    {4000, 16, 1024, 48, 16, 32},  // L
    {16384, 64, 4094, 48, 64, 64}, // MAX
};
constexpr uint32_t kFirstVni = 10000;
constexpr uint32_t kFirstIfIndex = 0x10001;

// The sequence number of the newest event of the library's history, from its dump.
uint64_t newest_seq() {
    char *buf = nullptr;
    size_t len = 0;
    FILE *f = open_memstream(&buf, &len);
    if (f == nullptr) std::abort();
    debug_history_dump(zt::kSvc, f);
    std::fclose(f);
    const std::string text(buf, len);
    std::free(buf);
    const size_t last = text.rfind('\n', text.size() >= 2 ? text.size() - 2 : 0);
    return std::strtoull(text.c_str() + (last == std::string::npos ? 0 : last + 1), nullptr, 10);
}

// The caches of one size and the peer's exports (identical to ours), taken once.
class Round {
  public:
    explicit Round(const round_size &z) : size_(z) {
        bench::fill_member_vnis(z.vnis);
        bench::rebuild_profiles(z.profiles, z.vlans, [&z](uint32_t p, uint32_t v) {
            return kFirstVni + ((p - 1) * z.vlans + v - 1) % z.vnis;
        });
        for (uint32_t m = 0; m < z.interfaces; ++m) {
            const std::string profile = "bench-profile-" + std::to_string(1 + m % z.profiles);
            bench::fill_interface(
                kFirstIfIndex + m, m + 1, z.vsis, z.pairs,
                [&z, m](uint32_t s, uint32_t v) {
                    return kFirstVni + ((m * z.vsis + s - 1) * z.pairs + v - 1) % z.vnis;
                },
                profile);
        }
        remote_.push_back(bench::export_params(1, 0));
        for (uint32_t m = 0; m < z.interfaces; ++m)
            remote_.push_back(bench::export_params(0, kFirstIfIndex + m));
    }
    ~Round() {
        for (tlv_array_t *a : remote_)
            tracked_free(zt::kSvc, a);
        for (uint32_t m = 0; m < size_.interfaces; ++m)
            bench::clear_interface(kFirstIfIndex + m);
        bench::clear_profiles();
        bench::clear_member_vnis();
    }
    Round(const Round &) = delete;
    Round &operator=(const Round &) = delete;

    void run() const {
        for (uint32_t scope = 0; scope <= size_.interfaces; ++scope) {
            tlv_array_t *lcl = call(kExport, scope, nullptr);
            for (path p : {kGraceful, kStrict, kRecheck})
                call(p, scope, lcl);
            tracked_free(zt::kSvc, lcl);
        }
    }
    // Events that `f` logs.
    template <typename F> static uint64_t events_of(F f) {
        const uint64_t before = newest_seq();
        f();
        return newest_seq() - before;
    }

    enum path { kExport, kGraceful, kStrict, kRecheck };
    // One call of path `p` for scope `scope` (0 global, m the m-th interface) against the peer's
    // export, `lcl` being our own; the export returns its array, which the caller frees.
    tlv_array_t *call(path p, uint32_t scope, const tlv_array_t *lcl) const {
        const uint32_t is_gbl = scope == 0 ? 1 : 0;
        const uint32_t if_index = scope == 0 ? 0 : kFirstIfIndex + scope - 1;
        const tlv_array_t *rmt = remote_[scope];
        switch (p) {
        case kExport: return bench::export_params(is_gbl, if_index);
        case kGraceful: {
            type1_compat_result_t pass{}, fail{};
            benchmark::DoNotOptimize(
                zorv_drel_type1_cfg_compat_check(0, lcl, rmt, is_gbl ? 1 : 2, 0, &pass, &fail));
            bitset_free(pass.vni_set);
            bitset_free(fail.vni_set);
            break;
        }
        case kStrict:
            benchmark::DoNotOptimize(zorv_drel_type1_cfg_gbl_compat_check(0, lcl, rmt));
            break;
        case kRecheck:
            benchmark::DoNotOptimize(zorv_drel_type1_rmt_cfg_cache_rebuild(rmt, is_gbl, if_index));
            break;
        }
        return nullptr;
    }

  private:
    round_size size_;
    std::vector<tlv_array_t *> remote_; // global first, then each interface
};

// The round of size `z` (an index into kSizes), kept from one benchmark run to the next: filling
// the caches at MAX takes far longer than a round.
const Round &round_of(int64_t z) {
    static std::unique_ptr<Round> kept;
    static int64_t kept_size = -1;
    if (kept_size != z) {
        kept.reset();
        kept = std::make_unique<Round>(kSizes[z]);
        kept_size = z;
    }
    return *kept;
}

// After the timed loop: the events of one iteration, and the time per event.
void count_events(benchmark::State &state, uint64_t events) {
    const auto n = static_cast<double>(events);
    state.counters["events"] = n;
    state.counters["per_event"] =
        benchmark::Counter(n * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// The round of one peer. Arg: 0 S, 1 L, 2 MAX.
void BM_Round(benchmark::State &state) {
    const Round &round = round_of(state.range(0));
    const uint64_t events = Round::events_of([&] { round.run(); });
    for (auto _ : state)
        round.run();
    count_events(state, events);
}
BENCHMARK(BM_Round)
    ->ArgName("size")
    ->Arg(0)
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMillisecond)
    ->ComputeStatistics("max", slowest);

// One call of the round at MAX. Args: path (0 export, 1 graceful, 2 strict, 3 re-check), scope
// (0 global, 1 the first interface).
void BM_RoundCall(benchmark::State &state) {
    const Round &round = round_of(2);
    const auto p = static_cast<Round::path>(state.range(0));
    const auto scope = static_cast<uint32_t>(state.range(1));
    tlv_array_t *lcl = round.call(Round::kExport, scope, nullptr);
    const auto once = [&] { tracked_free(zt::kSvc, round.call(p, scope, lcl)); };
    const uint64_t events = Round::events_of(once);
    for (auto _ : state)
        once();
    count_events(state, events);
    tracked_free(zt::kSvc, lcl);
}
BENCHMARK(BM_RoundCall)
    ->ArgNames({"path", "scope"})
    ->ArgsProduct({{0, 1, 2, 3}, {0, 1}})
    ->Unit(benchmark::kMicrosecond)
    ->ComputeStatistics("max", slowest);

} // namespace

BENCHMARK_MAIN();
