// SPDX-License-Identifier: Apache-2.0
// Interface export among many interfaces: the TLVs and log lines are those of the interface's own
// service instances in id order, whichever node of an interface's run the tree's find hands back
// (its contract allows any), and the walk costs the interface's own nodes, not the whole tree.
// This executable puts its own tree_find and tree_next in front of the platform's, to choose the
// node find returns and to count the steps.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zorv_test_cache.h"

namespace {

enum class FindPick { platform, last_of_run };

FindPick g_pick = FindPick::platform;
size_t g_finds = 0, g_nexts = 0;

using find_fn = void *(*)(const tree_t *, const void *);
using next_fn = void *(*)(const tree_t *, const void *);

find_fn real_find() {
    static auto f = reinterpret_cast<find_fn>(dlsym(RTLD_NEXT, "tree_find"));
    return f;
}
next_fn real_next() {
    static auto f = reinterpret_cast<next_fn>(dlsym(RTLD_NEXT, "tree_next"));
    return f;
}

} // namespace

// Counts, and for the interface tree may hand back the last node of the run that compares equal
// to the key instead of the platform's choice.
extern "C" void *tree_find(const tree_t *tree, const void *key) {
    ++g_finds;
    void *n = real_find()(tree, key);
    if (g_pick == FindPick::last_of_run && tree == zorv_drel_if_cfg_avl && n != nullptr)
        for (void *m = real_next()(tree, n);
             m != nullptr && zorv_drel_if_cfg_avl_cmp_func(key, m) == 0; m = real_next()(tree, m))
            n = m;
    return n;
}

extern "C" void *tree_next(const tree_t *tree, const void *node) {
    ++g_nexts;
    return real_next()(tree, node);
}

namespace {

constexpr const char *kIfg = "zorv_drel_if_cfg_avl_get_params";

struct Export {
    uint32_t rc = 0;
    std::vector<uint8_t> bytes;      // the array, header included
    std::vector<std::string> events; // the debug history the export added
    size_t finds = 0, nexts = 0;
};

Export export_interface(uint32_t if_index) {
    const size_t before = zt::events().size();
    g_finds = g_nexts = 0;
    tlv_array_t *a = nullptr;
    Export e;
    e.rc = zorv_drel_if_cfg_avl_get_params(if_index, &a);
    e.finds = g_finds, e.nexts = g_nexts;
    if (a != nullptr) {
        const auto *p = reinterpret_cast<const uint8_t *>(a);
        e.bytes.assign(p, p + 4 + a->len);
        tracked_free(zt::kSvc, a);
    }
    const auto all = zt::events();
    e.events.assign(all.begin() + static_cast<std::ptrdiff_t>(before), all.end());
    return e;
}

// Interface kIf with service instances 3, 7, 9, 12 and 40 between two neighbours of `others`
// instances each.
void fill(uint32_t others) {
    for (uint32_t v = 1; v <= others; ++v) {
        zt::add_vsi(zt::kIf - 1, v, 1, ZORV_MAP_MODE_STATIC, {{6000 + v, 10}});
        zt::add_vsi(zt::kIf + 1, v, 1, ZORV_MAP_MODE_STATIC, {{7000 + v, 20}});
    }
    for (uint32_t v : {12u, 3u, 40u, 9u, 7u})
        zt::add_vsi(zt::kIf, v, v % 2, ZORV_MAP_MODE_DFS, {{5000 + v, v}, {5100 + v, v + 100}});
}

TEST(InterfaceExportRuns, SameResultAndLogsWhicheverNodeFindReturns) {
    fill(50);
    const Export platform = export_interface(zt::kIf);
    g_pick = FindPick::last_of_run;
    const Export last = export_interface(zt::kIf);
    g_pick = FindPick::platform;
    ASSERT_EQ(platform.rc, 0u);
    ASSERT_EQ(last.rc, 0u);
    EXPECT_EQ(last.bytes, platform.bytes);
    // The log lines carry the source line of the logging call, the same in both runs.
    EXPECT_EQ(last.events, platform.events);
    const auto t = zt::tlvs(reinterpret_cast<const tlv_array_t *>(last.bytes.data()));
    ASSERT_EQ(t.size(), 5u);
    const uint32_t ids[] = {3, 7, 9, 12, 40};
    for (size_t i = 0; i < t.size(); ++i)
        EXPECT_EQ(reinterpret_cast<const vsi_all_t *>(t[i].value.data())->vsi, ids[i]);
    EXPECT_EQ(zt::log_count(kIfg, ": added tlv\n"), 10u);
    EXPECT_EQ(zt::log_count(kIfg, ": setting dyn map(2): "), 10u);
}

TEST(InterfaceExportRuns, CostsTheInterfacesOwnNodes) {
    fill(2000);
    for (FindPick pick : {FindPick::platform, FindPick::last_of_run}) {
        g_pick = pick;
        const Export e = export_interface(zt::kIf);
        // Two walks (sizing, then writing) of five nodes, each ending on the next interface's
        // first node; the searches for the first node halve the ids below the one found.
        EXPECT_LE(e.nexts, 2u * (5 + 1));
        EXPECT_LE(e.finds, 2u * (1 + 1 + 32));
        EXPECT_EQ(zt::tlvs(reinterpret_cast<const tlv_array_t *>(e.bytes.data())).size(), 5u);
    }
    g_pick = FindPick::platform;
}

TEST(InterfaceExportRuns, InterfaceWithoutNodesAmongOthersIsEmpty) {
    fill(20);
    g_pick = FindPick::last_of_run;
    const Export e = export_interface(zt::kIf2);
    g_pick = FindPick::platform;
    EXPECT_EQ(e.rc, 0u);
    EXPECT_TRUE(e.bytes.empty());
    EXPECT_TRUE(zt::has_log(kIfg, ": Error: No config entries found \n"));
    EXPECT_EQ(e.nexts, 0u);
}

TEST(InterfaceExportRuns, LowestIdFoundFromTheHighest) {
    // Ids far apart: the halving reaches id 1 from the highest id of the run.
    for (uint32_t v : {1u, 2u, 1000u, 4000000000u})
        zt::add_vsi(zt::kIf, v, 1, ZORV_MAP_MODE_STATIC, {{5000 + (v % 1000), 10}});
    g_pick = FindPick::last_of_run;
    const Export e = export_interface(zt::kIf);
    g_pick = FindPick::platform;
    const auto t = zt::tlvs(reinterpret_cast<const tlv_array_t *>(e.bytes.data()));
    ASSERT_EQ(t.size(), 4u);
    EXPECT_EQ(reinterpret_cast<const vsi_all_t *>(t[0].value.data())->vsi, 1u);
    EXPECT_EQ(reinterpret_cast<const vsi_all_t *>(t[3].value.data())->vsi, 4000000000u);
}

} // namespace
