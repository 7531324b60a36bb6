// bench_paths.cpp - the library's hot paths at full switch scale: export, the graceful and the
// strict check, the remote re-check, extraction of an update, and the VNI set.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "zorv_test_support.h"

namespace {

constexpr uint32_t kIfIndex = 0x1000;

// Caches `vsis` service instances on one peer-link interface, each mapping `pairs` VLANs to VNIs
// whose bridge domains are cached too.
void fill_interface(uint32_t vsis, uint32_t pairs) {
    drelm_host_set_interface(kIfIndex, 1, 1);
    for (uint32_t s = 1; s <= vsis; ++s) {
        std::vector<std::pair<uint32_t, uint32_t>> map;
        for (uint32_t v = 1; v <= pairs; ++v) map.emplace_back(s * 10000 + v, v);
        auto value = zt::make_vsi_all(kIfIndex, s, 1, ZORV_MAP_MODE_DFS, map, {1, 2, 3}, "prof");
        if_cfg_avl_key_t key{};
        zorv_drel_set_if_key(&key, 9, value.size(), value.data(), kIfIndex);
        auto *node = zorv_drel_create_if_node(&key, 9, static_cast<uint16_t>(value.size()),
                                              value.data());
        tree_insert(zorv_drel_if_cfg_avl, node);
        for (auto [vni, dot1q] : map) {
            member_vni_t m{dot1q % 4000 + 1, vni};
            gbl_cfg_memvni_avl_node_t k{};
            zorv_drel_set_gbl_memvni_key(&k, 8, 8, &m);
            if (tree_find(zorv_drel_gbl_cfg_memvni_avl, &k) == nullptr)
                tree_insert(zorv_drel_gbl_cfg_memvni_avl,
                            zorv_drel_create_gbl_memvni_node(nullptr, 8, 8, &m));
        }
    }
}

void clear_cache() {
    if_cfg_avl_key_t key{kIfIndex, 0};
    while (auto *n = static_cast<if_cfg_avl_node_t *>(tree_find(zorv_drel_if_cfg_avl, &key)))
        zorv_drel_if_cfg_delete_cache_node(n);
    while (auto *m = static_cast<gbl_cfg_memvni_avl_node_t *>(tree_first(zorv_drel_gbl_cfg_memvni_avl)))
        zorv_drel_gbl_cfg_memvni_delete_cache_node(m);
}

tlv_array_t *export_interface() {
    tlv_array_t *a = nullptr;
    zorv_drel_type1_cfg_get_params(0, kIfIndex, &a);
    return a;
}

void BM_ExportInterface(benchmark::State &state) {
    fill_interface(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)));
    for (auto _ : state) {
        tlv_array_t *a = export_interface();
        benchmark::DoNotOptimize(a);
        tracked_free(zt::kSvc, a);
    }
    clear_cache();
}
BENCHMARK(BM_ExportInterface)->Args({1, 100})->Args({16, 256})->Args({64, 64})->Args({4, 4000});

void BM_CompatCheckInterface(benchmark::State &state) {
    fill_interface(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)));
    tlv_array_t *lcl = export_interface();
    for (auto _ : state) {
        type1_compat_result_t pass{}, fail{};
        uint32_t rc = zorv_drel_type1_cfg_compat_check(0, lcl, lcl, 0, 0, &pass, &fail);
        benchmark::DoNotOptimize(rc);
        bitset_free(pass.vni_set);
        bitset_free(fail.vni_set);
    }
    tracked_free(zt::kSvc, lcl);
    clear_cache();
}
BENCHMARK(BM_CompatCheckInterface)->Args({1, 100})->Args({16, 256})->Args({4, 4000});

void BM_StrictCheckInterface(benchmark::State &state) {
    fill_interface(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)));
    tlv_array_t *lcl = export_interface();
    for (auto _ : state)
        benchmark::DoNotOptimize(zorv_drel_type1_cfg_gbl_compat_check(0, lcl, lcl));
    tracked_free(zt::kSvc, lcl);
    clear_cache();
}
BENCHMARK(BM_StrictCheckInterface)->Args({1, 100})->Args({16, 256})->Args({4, 4000});

void BM_RemoteRecheckInterface(benchmark::State &state) {
    fill_interface(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)));
    tlv_array_t *rmt = export_interface();
    for (auto _ : state)
        benchmark::DoNotOptimize(zorv_drel_type1_rmt_cfg_cache_rebuild(rmt, 0, kIfIndex));
    tracked_free(zt::kSvc, rmt);
    clear_cache();
}
BENCHMARK(BM_RemoteRecheckInterface)->Args({1, 100})->Args({16, 256});

void BM_ExtractUpdate(benchmark::State &state) {
    drelm_host_set_interface(kIfIndex, 1, 1);
    std::vector<std::pair<uint32_t, uint32_t>> map;
    for (uint32_t v = 1; v <= static_cast<uint32_t>(state.range(0)); ++v) map.emplace_back(5000 + v, v);
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
    for (uint32_t v = 0; v < 0xFFFFFF; v += static_cast<uint32_t>(state.range(0))) bitset_set(set, v);
    for (auto _ : state) {
        int64_t n = 0;
        for (int32_t v = bitset_find(set, 0); v >= 0; v = bitset_find(set, static_cast<uint32_t>(v) + 1)) ++n;
        benchmark::DoNotOptimize(n);
    }
    bitset_free(set);
}
BENCHMARK(BM_VniSetFindSparse)->Arg(1 << 12)->Arg(1 << 16);

} // namespace

BENCHMARK_MAIN();
