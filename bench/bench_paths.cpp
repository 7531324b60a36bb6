// SPDX-License-Identifier: Apache-2.0
// bench_paths.cpp - the library's hot paths at full switch scale: export, printable rows, the
// graceful and the strict check, the remote re-check, extraction of an update, and the VNI set.
// The global export and the printable rows each have a floor next to them: only the copying and
// the debug-history events that the path cannot do without, so that path / floor shows its
// overhead.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench_cache.h"

namespace {

constexpr uint32_t kIfIndex = 0x1000;

// Caches `vsis` service instances on one peer-link interface, each mapping `pairs` VLANs to VNIs
// whose bridge domains are cached too.
void fill_interface(uint32_t vsis, uint32_t pairs) {
    bench::fill_interface(
        kIfIndex, 1, vsis, pairs, [](uint32_t s, uint32_t v) { return s * 10000 + v; }, "prof");
}

void clear_cache() {
    bench::clear_interface(kIfIndex);
    bench::clear_member_vnis();
}

using bench::export_params;

// The interface cache of one benchmark run, filled from its two arguments (service instances,
// pairs each) and emptied at the end of the run.
struct InterfaceCache {
    explicit InterfaceCache(const benchmark::State &state) {
        fill_interface(static_cast<uint32_t>(state.range(0)),
                       static_cast<uint32_t>(state.range(1)));
    }
    ~InterfaceCache() { clear_cache(); }
    InterfaceCache(const InterfaceCache &) = delete;
    InterfaceCache &operator=(const InterfaceCache &) = delete;
    static tlv_array_t *exported() { return export_params(0, kIfIndex); }
};

// A filled cache of one benchmark run and its export, taken before the timed loop and freed
// before the cache is emptied.
template <typename Cache> struct Exported : Cache {
    template <typename Arg> explicit Exported(const Arg &arg) : Cache(arg) {}
    ~Exported() { tracked_free(zt::kSvc, array); }
    tlv_array_t *const array = Cache::exported();
};

void BM_ExportInterface(benchmark::State &state) {
    const InterfaceCache cache(state);
    for (auto _ : state) {
        tlv_array_t *a = export_params(0, kIfIndex);
        benchmark::DoNotOptimize(a);
        tracked_free(zt::kSvc, a);
    }
}
BENCHMARK(BM_ExportInterface)->Args({1, 100})->Args({16, 256})->Args({64, 64})->Args({4, 4000});

// One interface's export among `range(0)` peer-link interfaces of one service instance each: a
// walk of the interface's own nodes stays flat as the other interfaces grow in number.
void BM_ExportOneOfManyInterfaces(benchmark::State &state) {
    const auto interfaces = static_cast<uint32_t>(state.range(0));
    std::vector<std::pair<uint32_t, uint32_t>> map;
    for (uint32_t v = 1; v <= 16; ++v)
        map.emplace_back(5000 + v, v);
    for (uint32_t i = 0; i < interfaces; ++i) {
        auto value = zt::make_vsi_all(kIfIndex + i, 1, 1, ZORV_MAP_MODE_STATIC, map, {}, "prof");
        if_cfg_avl_key_t key{};
        zorv_drel_set_if_key(&key, 9, value.size(), value.data(), kIfIndex + i);
        tree_insert(
            zorv_drel_if_cfg_avl,
            zorv_drel_create_if_node(&key, 9, static_cast<uint16_t>(value.size()), value.data()));
    }
    const uint32_t middle = kIfIndex + interfaces / 2;
    for (auto _ : state) {
        tlv_array_t *a = export_params(0, middle);
        benchmark::DoNotOptimize(a);
        tracked_free(zt::kSvc, a);
    }
    for (uint32_t i = 0; i < interfaces; ++i) {
        if_cfg_avl_key_t key{kIfIndex + i, 0};
        zorv_drel_if_cfg_delete_cache_node(
            static_cast<if_cfg_avl_node_t *>(tree_find(zorv_drel_if_cfg_avl, &key)));
    }
}
BENCHMARK(BM_ExportOneOfManyInterfaces)->Arg(1024)->Arg(4096)->Arg(16384);

void BM_CompatCheckInterface(benchmark::State &state) {
    const Exported<InterfaceCache> lcl(state);
    for (auto _ : state) {
        type1_compat_result_t pass{}, fail{};
        uint32_t rc = zorv_drel_type1_cfg_compat_check(0, lcl.array, lcl.array, 0, 0, &pass, &fail);
        benchmark::DoNotOptimize(rc);
        bitset_free(pass.vni_set);
        bitset_free(fail.vni_set);
    }
}
BENCHMARK(BM_CompatCheckInterface)->Args({1, 100})->Args({16, 256})->Args({4, 4000});

void BM_StrictCheckInterface(benchmark::State &state) {
    const Exported<InterfaceCache> lcl(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(zorv_drel_type1_cfg_gbl_compat_check(0, lcl.array, lcl.array));
}
BENCHMARK(BM_StrictCheckInterface)->Args({1, 100})->Args({16, 256})->Args({4, 4000});

void BM_RemoteRecheckInterface(benchmark::State &state) {
    const Exported<InterfaceCache> rmt(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(zorv_drel_type1_rmt_cfg_cache_rebuild(rmt.array, 0, kIfIndex));
}
BENCHMARK(BM_RemoteRecheckInterface)->Args({1, 100})->Args({16, 256});

void BM_ExtractUpdate(benchmark::State &state) {
    drelm_host_set_interface(kIfIndex, 1, 1);
    std::vector<std::pair<uint32_t, uint32_t>> map;
    for (uint32_t v = 1; v <= static_cast<uint32_t>(state.range(0)); ++v)
        map.emplace_back(5000 + v, v);
    auto value = zt::make_vsi_all(kIfIndex, 7, 1, ZORV_MAP_MODE_DFS, map, {}, "prof");
    zt::tlv_buf array;
    array.add(9, value.data(), static_cast<uint16_t>(value.size()));
    auto payload = zt::make_update(0, kIfIndex, array, true);
    msg_t *msg = msg_create(ZORV_DREL_OPC_TYPE1_UPD_HDR, payload.data(),
                            static_cast<uint32_t>(payload.size()));
    for (auto _ : state) {
        tlv_array_t *copy = nullptr;
        drelm_app_cmd_extract_info_t *info = nullptr;
        uint32_t n = 0, reserved = 0;
        benchmark::DoNotOptimize(
            zorv_drel_type1_cfg_param_extractor(msg, &copy, &n, &reserved, &info));
        tracked_free(zt::kSvc, copy);
        tracked_free(zt::kSvc, info);
    }
    msg_destroy(msg);
    clear_cache();
}
BENCHMARK(BM_ExtractUpdate)->Arg(1)->Arg(256)->Arg(4000);

void BM_VniSetFindSparse(benchmark::State &state) {
    auto *set = static_cast<bitset_t *>(std::calloc(1, BITSET_ROOT_BYTES));
    uint32_t words[1] = {1024};
    std::memcpy(set, words, 4);
    for (uint32_t v = 0; v < 0xFFFFFF; v += static_cast<uint32_t>(state.range(0)))
        bitset_set(set, v);
    for (auto _ : state) {
        int64_t n = 0;
        for (int32_t v = bitset_find(set, 0); v >= 0;
             v = bitset_find(set, static_cast<uint32_t>(v) + 1))
            ++n;
        benchmark::DoNotOptimize(n);
    }
    bitset_free(set);
}
BENCHMARK(BM_VniSetFindSparse)->Arg(1 << 12)->Arg(1 << 16);

// ---- Global export and printable rows at 16,384 member VNIs ---------------------------------

constexpr uint32_t kMemberVnis = 16384;

// Caches `count` member VNIs (bridge domains cycling through 1..4000) and, when `profiles` is
// set, two global profiles, one of them with a dot1q map.
void fill_global(uint32_t count, bool profiles) {
    bench::fill_member_vnis(count);
    if (!profiles) return;
    bench::add_profile("bench-prof-a");
    bench::add_profile("bench-prof-b");
    zt::pairs_t pairs;
    for (uint32_t v = 1; v <= 100; ++v)
        pairs.emplace_back(v, 50000 + v);
    bench::add_profile("bench-prof-c", pairs);
}

void clear_global() {
    bench::clear_profiles();
    bench::clear_member_vnis();
}

// The global cache of one benchmark run: kMemberVnis member VNIs (and the profiles when
// `profiles` is set), emptied at the end of the run.
struct GlobalCache {
    explicit GlobalCache(bool profiles) { fill_global(kMemberVnis, profiles); }
    ~GlobalCache() { clear_global(); }
    GlobalCache(const GlobalCache &) = delete;
    GlobalCache &operator=(const GlobalCache &) = delete;
    static tlv_array_t *exported() { return export_params(1, 0); }
};

// The {bd, vni} of every member VNI in tree order, as the export logs them.
std::vector<member_vni_t> member_vnis() {
    std::vector<member_vni_t> out;
    for (auto *m =
             static_cast<gbl_cfg_memvni_avl_node_t *>(tree_first(zorv_drel_gbl_cfg_memvni_avl));
         m != nullptr;
         m = static_cast<gbl_cfg_memvni_avl_node_t *>(tree_next(zorv_drel_gbl_cfg_memvni_avl, m)))
        out.push_back(member_vni_t{m->bd, m->vni});
    return out;
}

void BM_ExportGlobal(benchmark::State &state) {
    const GlobalCache cache(true);
    for (auto _ : state) {
        tlv_array_t *a = export_params(1, 0);
        benchmark::DoNotOptimize(a);
        tracked_free(zt::kSvc, a);
    }
}
BENCHMARK(BM_ExportGlobal)->Unit(benchmark::kMillisecond);

// What the global export cannot do without: its debug-history events (same formats, same
// number) and the copy of its array's bytes.
void BM_ExportGlobalFloor(benchmark::State &state) {
    const Exported<GlobalCache> global(true); // the export also opens the debug history
    const tlv_array_t *ref = global.array;
    const uint32_t bytes = 4 + ref->len;
    const auto tlvs = static_cast<int>(tlv_array_count(ref, 1));
    const auto vnis = member_vnis();
    std::vector<uint8_t> out(bytes);
    for (auto _ : state) {
        debug_history_log(zt::kSvc, 0, 0, "%s(%d): type-1 cfg param get gbl=%d, ifi=0x%x\n",
                          "zorv_drel_type1_cfg_get_params", __LINE__, 1, 0u);
        debug_history_log(zt::kSvc, 0, 0, "%s(%d): TLV array size %d\n",
                          "zorv_drel_gbl_cfg_avl_get_params", __LINE__, static_cast<int>(bytes));
        for (const member_vni_t &m : vnis)
            debug_history_log(zt::kSvc, 0, 0, "%s(%d): Adding memvni tlv - bd:%d, vni:%d\n",
                              "zorv_drel_gbl_cfg_avl_get_params", __LINE__, static_cast<int>(m.bd),
                              static_cast<int>(m.vni));
        std::memcpy(out.data(), ref, bytes);
        debug_history_log(zt::kSvc, 0, 0, "%s(%d): num_tlvs = %d\n",
                          "zorv_drel_gbl_cfg_avl_get_params", __LINE__, tlvs);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_ExportGlobalFloor)->Unit(benchmark::kMillisecond);

void BM_ExportMemberVni(benchmark::State &state) {
    const GlobalCache cache(false);
    for (auto _ : state) {
        tlv_array_t *a = nullptr;
        benchmark::DoNotOptimize(zorv_drel_gbl_cfg_memvni_avl_get_params(&a));
        tracked_free(zt::kSvc, a);
    }
}
BENCHMARK(BM_ExportMemberVni)->Unit(benchmark::kMillisecond);

// Times the printable rows of `a`.
void time_rows(benchmark::State &state, const tlv_array_t *a) {
    for (auto _ : state) {
        drelm_app_info_t *info = nullptr;
        benchmark::DoNotOptimize(zorv_drel_type1_cfg_get_param_info(a, &info));
        tracked_free(zt::kSvc, info);
    }
}

// Printable rows of the global export. Rows are made for member VNIs and service instances
// only (a profile TLV ends the walk), so the exported array holds the member VNIs alone.
void BM_ParamInfoGlobal(benchmark::State &state) {
    const Exported<GlobalCache> exported(false);
    time_rows(state, exported.array);
}
BENCHMARK(BM_ParamInfoGlobal)->Unit(benchmark::kMillisecond);

// What the rows cannot do without: their two debug-history events and the copy of the rows'
// bytes.
void BM_ParamInfoGlobalFloor(benchmark::State &state) {
    const Exported<GlobalCache> global(false);
    const tlv_array_t *a = global.array;
    drelm_app_info_t *ref = nullptr;
    zorv_drel_type1_cfg_get_param_info(a, &ref);
    const size_t bytes = 4 + sizeof(drelm_app_info_entry_t) * ref->count;
    std::vector<uint8_t> out(bytes);
    for (auto _ : state) {
        debug_history_log(zt::kSvc, 0, 0, "%s(%d): type-1 (tlv_array:%p) get param info\n",
                          "zorv_drel_type1_cfg_get_param_info", __LINE__,
                          static_cast<const void *>(a));
        debug_history_log(zt::kSvc, 0, 0, "%s(%d): Num Tlvs %d \n",
                          "zorv_drel_type1_cfg_get_param_info", __LINE__,
                          static_cast<int>(ref->count));
        std::memcpy(out.data(), ref, bytes);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    tracked_free(zt::kSvc, ref);
}
BENCHMARK(BM_ParamInfoGlobalFloor)->Unit(benchmark::kMillisecond);

// Printable rows of an interface export (service instances).
void BM_ParamInfoInterface(benchmark::State &state) {
    const Exported<InterfaceCache> exported(state);
    time_rows(state, exported.array);
}
BENCHMARK(BM_ParamInfoInterface)->Args({16, 256})->Args({64, 64});

// The remote re-check of the global scope against the cached member VNIs.
void BM_RemoteRecheckGlobal(benchmark::State &state) {
    const Exported<GlobalCache> rmt(false);
    for (auto _ : state)
        benchmark::DoNotOptimize(zorv_drel_type1_rmt_cfg_cache_rebuild(rmt.array, 1, 0));
}
BENCHMARK(BM_RemoteRecheckGlobal)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
