// SPDX-License-Identifier: Apache-2.0
// test_alloc_sweep.cpp - failing allocations, one at a time. One script drives every entry
// point that allocates tracked memory. A first run counts its N tracked allocations; then, for
// each k < N, a process of its own fails the k-th and runs the script to its end. Every run
// must end normally, every call must return one of the library's codes, and at the end no
// transient block may be alive while the cache's blocks are exactly those that its nodes hold.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "zorv_test_cache.h"

namespace {

constexpr uint32_t kIf = zt::kIf;

// Memory types that only live during a call or until the caller frees what it was handed.
constexpr int32_t kTransient[] = {ZORV_DREL_LIB_MEM_tlv_array_t,
                                  ZORV_DREL_LIB_MEM_drelm_app_info_t,
                                  ZORV_DREL_LIB_MEM_drelm_app_cmd_extract_info_t,
                                  ZORV_DREL_LIB_MEM_member_vni_t,
                                  ZORV_DREL_LIB_MEM_encap_name_t,
                                  ZORV_DREL_LIB_MEM_encap_map_t,
                                  ZORV_DREL_LIB_MEM_vsi_admin_t,
                                  ZORV_DREL_LIB_MEM_vsi_encap_rng_t,
                                  ZORV_DREL_LIB_MEM_vsi_all_t};
// Memory types the script must allocate at least once: every kind of block the library makes.
constexpr int32_t kDriven[] = {ZORV_DREL_LIB_MEM_gbl_cfg_avl_node_t,
                               ZORV_DREL_LIB_MEM_if_cfg_avl_node_t,
                               ZORV_DREL_LIB_MEM_tlv_array_t,
                               ZORV_DREL_LIB_MEM_drelm_app_info_t,
                               ZORV_DREL_LIB_MEM_drelm_app_cmd_extract_info_t,
                               ZORV_DREL_LIB_MEM_member_vni_t,
                               ZORV_DREL_LIB_MEM_encap_profile_node,
                               ZORV_DREL_LIB_MEM_gbl_cfg_memvni_avl_node_t,
                               ZORV_DREL_LIB_MEM_encap_uid_node_t,
                               ZORV_DREL_LIB_MEM_vsi_all_t};

bool library_code(uint32_t rc) {
    switch (rc) {
    case ZORV_DREL_OK:
    case 1: // the documented bare code of a few allocation failures
    case ZORV_DREL_ERR_FAILURE:
    case ZORV_DREL_ERR_NO_MEMORY:
    case ZORV_DREL_ERR_INVALID_ARG:
    case ZORV_DREL_ERR_PARAM_MISSING:
    case ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI:
    case ZORV_DREL_ERR_COMPAT_INTF_VSI: return true;
    default: return false;
    }
}

// What a run found wrong; empty when nothing.
std::string g_fault;
void note(const std::string &what) {
    if (g_fault.empty()) g_fault = what;
}
uint32_t call(const char *what, uint32_t rc) {
    if (!library_code(rc)) {
        char buf[160];
        std::snprintf(buf, sizeof buf, "%s returned 0x%x, not a code of the library", what, rc);
        note(buf);
    }
    return rc;
}

void free_tracked(void *p) {
    if (p != nullptr && tracked_free(zt::kSvc, p) != 0)
        note("tracked_free of a handed-over block failed");
}

void extract(uint32_t is_delete, uint32_t if_index, const zt::tlv_buf &array, bool header) {
    auto m = zt::update_msg(is_delete, if_index, array, header);
    tlv_array_t *copy = nullptr;
    drelm_app_cmd_extract_info_t *info = nullptr;
    uint32_t n = 0, reserved = 0;
    call("extractor", zorv_drel_type1_cfg_param_extractor(m.get(), &copy, &n, &reserved, &info));
    free_tracked(copy);
    free_tracked(info);
}

void export_and_check(uint32_t is_gbl, uint32_t if_index) {
    tlv_array_t *lcl = nullptr;
    call("get_params", zorv_drel_type1_cfg_get_params(is_gbl, if_index, &lcl));
    if (lcl == nullptr) return;
    drelm_app_info_t *info = nullptr;
    call("get_param_info", zorv_drel_type1_cfg_get_param_info(lcl, &info));
    free_tracked(info);
    type1_compat_result_t pass{}, fail{};
    call("compat_check", zorv_drel_type1_cfg_compat_check(0, lcl, lcl, 0, 0, &pass, &fail));
    bitset_free(pass.vni_set);
    bitset_free(fail.vni_set);
    call("gbl_compat_check", zorv_drel_type1_cfg_gbl_compat_check(0, lcl, lcl));
    call("rmt_cfg_cache_rebuild",
         zorv_drel_type1_rmt_cfg_cache_rebuild(lcl, is_gbl, is_gbl ? 0 : if_index));
    free_tracked(lcl);
}

// The script: every entry point that allocates tracked memory, in an order where each finds
// something to work on.
void script() {
    drelm_host_set_interface(kIf, 1, zt::kDrelId);
    // Extraction: service instances on the interface, member VNIs globally, then a delete.
    {
        zt::tlv_buf a;
        auto v1 =
            zt::make_vsi_all(kIf, 1, 1, ZORV_MAP_MODE_DFS, {{5001, 10}, {5002, 11}}, {10, 11});
        auto v2 = zt::make_vsi_all(kIf, 2, 1, ZORV_MAP_MODE_STATIC, {{5003, 12}}, {12}, "prof-a");
        zt::add_bytes(a, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, v1);
        zt::add_bytes(a, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, v2);
        a.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 3, 1});
        extract(0, kIf, a, true);
        auto g = zt::memvnis({{100, 5001}, {101, 5002}});
        extract(0, 0, g, false);
        zt::tlv_buf d;
        d.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 3, 1});
        extract(1, kIf, d, true);
    }
    // Rebuild: profiles with and without a map (identifiers), member VNIs, interface values
    // with encap profiles and maps (encap list entries).
    {
        zt::tlv_buf g;
        zt::add_bytes(g, ZORV_TYPE1_GBL_ENCAP_PROFILE, zt::name_wire("prof-a"));
        auto map = zt::map_val("prof-b", {{20, 5004}, {21, 5005}});
        g.add(ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, map.get(), static_cast<uint16_t>(sizeof *map));
        g.add(ZORV_TYPE1_GBL_MEMBER_VNI, member_vni_t{102, 5004});
        call("cache_rebuild gbl", zorv_drel_type1_cfg_cache_rebuild(g.get(), 1, 0));
        zt::tlv_buf i;
        i.add(ZORV_TYPE1_INTF_VSI_ENCAP_PROF, zt::rng_val(kIf, 1, "prof-a", {10, 11}));
        auto m = std::make_unique<vsi_encap_dot1q_map_t>();
        *m = vsi_encap_dot1q_map_t{};
        m->if_index = kIf;
        m->vsi = 4;
        m->dot1q_vni[30] = 5006;
        i.add(ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP, m.get(), static_cast<uint16_t>(sizeof *m));
        auto v4 = zt::make_vsi_all(kIf, 4, 1, ZORV_MAP_MODE_VDP, {{5006, 30}}, {30});
        zt::add_bytes(i, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, v4);
        call("cache_rebuild if", zorv_drel_type1_cfg_cache_rebuild(i.get(), 0, kIf));
    }
    // Direct cache update: an add, then a delete of one service instance.
    {
        zt::tlv_buf a;
        zt::add_bytes(a, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                      zt::make_vsi_all(kIf, 5, 0, ZORV_MAP_MODE_LLDP, {{5007, 40}}));
        auto m = zt::update_msg(0, kIf, a);
        call("cache_update add", zorv_drel_type1_cfg_cache_update(0, 0, kIf, m.get()));
        auto g = zt::memvnis({{103, 5007}});
        auto mg = zt::update_msg(0, 0, g);
        call("cache_update gbl", zorv_drel_type1_cfg_cache_update(0, 1, 0, mg.get()));
    }
    // Exports of both scopes and of the member VNIs, rows, the checks and the re-check.
    export_and_check(1, 0);
    export_and_check(0, kIf);
    {
        tlv_array_t *mv = nullptr;
        call("memvni get_params", zorv_drel_gbl_cfg_memvni_avl_get_params(&mv));
        free_tracked(mv);
    }
    // A delete of a whole interface through the cache update.
    {
        zt::tlv_buf a;
        zt::add_bytes(a, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                      zt::make_vsi_all(kIf, 5, 0, ZORV_MAP_MODE_LLDP, {{5007, 40}}));
        auto m = zt::update_msg(1, kIf, a);
        call("cache_update delete", zorv_drel_type1_cfg_cache_update(1, 0, kIf, m.get()));
    }
    export_and_check(0, kIf);
}

uint64_t count_nodes(const tree_t *tree) {
    uint64_t n = 0;
    if (tree == nullptr) return 0;
    for (void *p = tree_first(tree); p != nullptr; p = tree_next(tree, p))
        ++n;
    return n;
}

// No transient block alive, and the cache's blocks are exactly those its nodes hold.
void check_blocks() {
    for (int32_t t : kTransient)
        if (zt::live_blocks(t) != 0)
            note("memory type " + std::to_string(t) + " left " +
                 std::to_string(zt::live_blocks(t)) + " blocks alive");
    uint64_t encap_entries = 0;
    for (auto *n : zt::if_nodes())
        for (const encap_profile_node *e = n->encap_list; e != nullptr; e = e->next)
            ++encap_entries;
    const struct {
        int32_t type;
        uint64_t held;
    } held[] = {
        {ZORV_DREL_LIB_MEM_gbl_cfg_avl_node_t, count_nodes(zorv_drel_gbl_cfg_avl)},
        {ZORV_DREL_LIB_MEM_if_cfg_avl_node_t, count_nodes(zorv_drel_if_cfg_avl)},
        {ZORV_DREL_LIB_MEM_gbl_cfg_memvni_avl_node_t, count_nodes(zorv_drel_gbl_cfg_memvni_avl)},
        {ZORV_DREL_LIB_MEM_encap_uid_node_t, count_nodes(zorv_drel_encap_uid_avl)},
        {ZORV_DREL_LIB_MEM_encap_profile_node, encap_entries}};
    for (const auto &h : held)
        if (zt::live_blocks(h.type) != h.held)
            note("memory type " + std::to_string(h.type) + ": " +
                 std::to_string(zt::live_blocks(h.type)) + " blocks alive, cached nodes hold " +
                 std::to_string(h.held));
    if (zt::stats().live_blocks != [&] {
            uint64_t s = 0;
            for (const auto &h : held)
                s += h.held;
            return s;
        }())
        note("blocks of other memory types are alive");
}

// Runs the script in a child process with the k-th tracked allocation failing (k < 0: none).
// The child reports through `out` the number of tracked allocations and of failed ones, and
// exits 0 when every check held, 1 with the fault on stderr otherwise.
struct child_result {
    int status = -1;
    uint64_t allocs = 0, failed = 0;
    std::vector<uint64_t> per_type;
};

child_result run_child(int64_t k) {
    int fds[2];
    if (pipe(fds) != 0) std::abort();
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        const tracked_mem_stats_t before = zt::stats();
        if (k >= 0) tracked_mem_fault_set(zt::kSvc, static_cast<uint64_t>(k), 1);
        script();
        tracked_mem_fault_set(zt::kSvc, 0, 0);
        check_blocks();
        const tracked_mem_stats_t after = zt::stats();
        uint64_t out[2 + ZORV_DREL_LIB_MEM_MAX] = {after.allocs - before.allocs,
                                                   after.failed_allocs - before.failed_allocs};
        for (int32_t t = 0; t < ZORV_DREL_LIB_MEM_MAX; ++t)
            out[2 + t] = zt::stats(t).allocs;
        if (write(fds[1], out, sizeof out) != static_cast<ssize_t>(sizeof out)) std::_Exit(3);
        close(fds[1]);
        if (!g_fault.empty()) {
            std::fprintf(stderr, "allocation %lld failed: %s\n", static_cast<long long>(k),
                         g_fault.c_str());
            std::exit(1);
        }
        std::exit(0); // at exit the library unloads, and the sanitizers look for leaks
    }
    close(fds[1]);
    child_result r;
    uint64_t in[2 + ZORV_DREL_LIB_MEM_MAX] = {};
    size_t got = 0;
    while (got < sizeof in) {
        const ssize_t n = read(fds[0], reinterpret_cast<char *>(in) + got, sizeof in - got);
        if (n <= 0) break;
        got += static_cast<size_t>(n);
    }
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    r.status = status;
    if (got == sizeof in) {
        r.allocs = in[0];
        r.failed = in[1];
        r.per_type.assign(in + 2, in + 2 + ZORV_DREL_LIB_MEM_MAX);
    }
    return r;
}

bool ended_normally(int status) {
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// The sweep is cut into shards so that CTest can run them side by side.
constexpr uint64_t kShards = 4;

class AllocSweep : public ::testing::TestWithParam<uint64_t> {};

} // namespace

TEST(AllocSweepScript, RunsCleanlyAndAllocatesEveryKindOfBlock) {
    const child_result r = run_child(-1);
    ASSERT_TRUE(ended_normally(r.status)) << "status " << r.status;
    EXPECT_EQ(r.failed, 0u);
    EXPECT_GE(r.allocs, 40u);
    ASSERT_EQ(r.per_type.size(), size_t{ZORV_DREL_LIB_MEM_MAX});
    for (int32_t t : kDriven)
        EXPECT_GT(r.per_type[static_cast<size_t>(t)], 0u)
            << "memory type " << t << " never allocated";
    std::printf("tracked allocations of the script: N = %llu\n",
                static_cast<unsigned long long>(r.allocs));
}

TEST_P(AllocSweep, EachAllocationFailsInItsOwnProcess) {
    const child_result base = run_child(-1);
    ASSERT_TRUE(ended_normally(base.status));
    const uint64_t n = base.allocs;
    ASSERT_GT(n, 0u);
    uint64_t runs = 0;
    for (uint64_t k = GetParam(); k < n; k += kShards) {
        const child_result r = run_child(static_cast<int64_t>(k));
        EXPECT_TRUE(ended_normally(r.status))
            << "allocation " << k << " of " << n << ": status " << r.status;
        EXPECT_EQ(r.failed, 1u) << "allocation " << k << " of " << n << " was not refused";
        ++runs;
    }
    EXPECT_GT(runs, 0u);
}

INSTANTIATE_TEST_SUITE_P(Shard, AllocSweep, ::testing::Range<uint64_t>(0, kShards));
