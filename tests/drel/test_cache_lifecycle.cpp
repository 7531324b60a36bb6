// SPDX-License-Identifier: Apache-2.0
// Unloading a populated cache: a private copy of the library is loaded, every tree is filled
// through the library's own operations (global profiles with identifiers, member VNIs,
// service instances with encap lists, the identifier tree and its bitmap), and after the
// unload not one tracked block of the library is left.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "zorv_test_support.h"

namespace fs = std::filesystem;

namespace {

// A copy of the library under a fresh path, so that loading it cannot find an instance that is
// already in the process; removed again at the end.
class private_copy {
  public:
    private_copy() {
        dir_ = fs::temp_directory_path() / ("zorv_cache_lc_" + std::to_string(getpid()));
        fs::create_directories(dir_);
        path_ = dir_ / "libzorvdrel.so";
        fs::copy_file(ZORV_DREL_SO_PATH, path_, fs::copy_options::overwrite_existing);
    }
    ~private_copy() {
        if (handle_ != nullptr) dlclose(handle_);
        std::error_code ec;
        fs::remove_all(dir_, ec);
    }
    void *load() {
        handle_ = dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
        return handle_;
    }
    bool unload() {
        const int rc = dlclose(handle_);
        handle_ = nullptr;
        return rc == 0 && dlopen(path_.c_str(), RTLD_NOW | RTLD_NOLOAD) == nullptr;
    }
    template <typename T> T sym(const char *name) {
        void *p = dlsym(handle_, name);
        EXPECT_NE(p, nullptr) << name << ": " << dlerror();
        return reinterpret_cast<T>(p);
    }

  private:
    fs::path dir_, path_;
    void *handle_ = nullptr;
};

struct ops {
    gbl_cfg_avl_node_t *(*create_gbl)(const void *, uint16_t, uint32_t, void *);
    gbl_cfg_memvni_avl_node_t *(*create_memvni)(const void *, uint16_t, uint32_t,
                                                const member_vni_t *);
    if_cfg_avl_node_t *(*create_if)(const if_cfg_avl_key_t *, uint16_t, uint16_t, const void *);
    uint32_t (*update_if)(if_cfg_avl_node_t *, uint16_t, uint16_t, const void *);
    uint32_t (*append)(if_cfg_avl_node_t *, const char *, const bmp4096_t *, const uint32_t *);
    void (*delete_if)(if_cfg_avl_node_t *);
    uint32_t (*set_uid)(const char *);
    uint32_t (*restore_uid)(const char *, uint32_t);
    tree_t **gbl, **memvni, **ifc, **uid;
    bmp4096_t **bmp;
};

ops bind(private_copy &lib) {
    ops o{};
    o.create_gbl = lib.sym<decltype(o.create_gbl)>("zorv_drel_create_gbl_node");
    o.create_memvni = lib.sym<decltype(o.create_memvni)>("zorv_drel_create_gbl_memvni_node");
    o.create_if = lib.sym<decltype(o.create_if)>("zorv_drel_create_if_node");
    o.update_if = lib.sym<decltype(o.update_if)>("zorv_drel_if_cfg_avl_update");
    o.append = lib.sym<decltype(o.append)>("zorv_drel_if_cfg_avl_append_encap");
    o.delete_if = lib.sym<decltype(o.delete_if)>("zorv_drel_if_cfg_delete_cache_node");
    o.set_uid = lib.sym<decltype(o.set_uid)>("zorv_drel_set_encap_uid");
    o.restore_uid = lib.sym<decltype(o.restore_uid)>("zorv_drel_restore_encap_uid");
    o.gbl = lib.sym<tree_t **>("zorv_drel_gbl_cfg_avl");
    o.memvni = lib.sym<tree_t **>("zorv_drel_gbl_cfg_memvni_avl");
    o.ifc = lib.sym<tree_t **>("zorv_drel_if_cfg_avl");
    o.uid = lib.sym<tree_t **>("zorv_drel_encap_uid_avl");
    o.bmp = lib.sym<bmp4096_t **>("free_encap_bmp_p");
    return o;
}

// Fills every tree of the loaded copy; returns the number of tracked blocks it made.
uint64_t populate(const ops &o) {
    uint64_t made = 0;
    for (int i = 0; i < 5; ++i) { // profiles: new identifiers, one restored
        encap_name_t rec{};
        std::snprintf(rec.encap_name, sizeof rec.encap_name, "prof-%d", i);
        rec.id = i == 4 ? 100 : 0;
        gbl_cfg_avl_node_t *n = o.create_gbl(nullptr, 1, sizeof rec, &rec);
        EXPECT_NE(n, nullptr);
        EXPECT_EQ(tree_insert(*o.gbl, n), 0);
        made += 2; // the node and its identifier node
    }
    {
        auto map = std::make_unique<encap_map_t>();
        std::memset(map.get(), 0, sizeof *map);
        std::strcpy(map->encap_name, "map-only");
        map->dot1q_vni[5] = 5000;
        gbl_cfg_avl_node_t *n = o.create_gbl(nullptr, 2, sizeof *map, map.get());
        EXPECT_NE(n, nullptr);
        EXPECT_EQ(tree_insert(*o.gbl, n), 0);
        made += 1;
    }
    for (uint32_t vni = 1; vni <= 6; ++vni, ++made) {
        member_vni_t v{vni + 100, vni * 1000};
        gbl_cfg_memvni_avl_node_t *n = o.create_memvni(nullptr, 8, 8, &v);
        EXPECT_NE(n, nullptr);
        EXPECT_EQ(tree_insert(*o.memvni, n), 0);
    }
    for (uint32_t vsi = 1; vsi <= 4; ++vsi) {
        if_cfg_avl_key_t k{0x3000, vsi};
        auto attrs = zt::make_vsi_all(0x3000, vsi, 1, 2, {{9000 + vsi, vsi}}, {1, 2}, "prof-1");
        if_cfg_avl_node_t *n =
            o.create_if(&k, 9, static_cast<uint16_t>(attrs.size()), attrs.data());
        EXPECT_NE(n, nullptr);
        EXPECT_EQ(tree_insert(*o.ifc, n), 0);
        ++made;
        for (uint32_t e = 0; e < vsi; ++e) { // encap lists of 1 to 4 entries
            vsi_encap_rng_t rng{};
            rng.if_index = 0x3000;
            rng.vsi = vsi;
            std::snprintf(rng.encap_name, sizeof rng.encap_name, "prof-%u", e);
            rng.dot1q_bmp.len = 512;
            rng.dot1q_bmp.bits[0] = 0x40;
            EXPECT_EQ(o.update_if(n, 6, sizeof rng, &rng), 0u);
            ++made;
        }
        EXPECT_EQ(o.append(n, nullptr, nullptr, nullptr), 0u); // a map-only entry
        ++made;
    }
    // More identifiers without profile nodes.
    EXPECT_EQ(o.set_uid("spare-a"), 5u);
    EXPECT_EQ(o.restore_uid("spare-b", 4096), 0u);
    made += 2;
    return made;
}

} // namespace

TEST(CacheLifecycle, UnloadReleasesAPopulatedCache) {
    ASSERT_EQ(dlopen(ZORV_DREL_SO_PATH, RTLD_NOW | RTLD_NOLOAD), nullptr)
        << "the library is linked into this program: its symbols would stand in for the copy's";
    const auto before = zt::stats();
    private_copy lib;
    ASSERT_NE(lib.load(), nullptr) << dlerror();
    const ops o = bind(lib);
    ASSERT_FALSE(testing::Test::HasFailure());
    ASSERT_EQ(*o.uid, nullptr);
    ASSERT_EQ(*o.bmp, nullptr);

    const uint64_t made = populate(o);
    ASSERT_FALSE(testing::Test::HasFailure());
    ASSERT_NE(*o.uid, nullptr);
    ASSERT_NE(*o.bmp, nullptr);
    EXPECT_EQ(tree_count(*o.gbl), 6u);
    EXPECT_EQ(tree_count(*o.memvni), 6u);
    EXPECT_EQ(tree_count(*o.ifc), 4u);
    EXPECT_EQ(tree_count(*o.uid), 7u);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_profile_node), 14u);
    zt::unload_and_expect_all_returned(before, made, [&] { return lib.unload(); });
}

TEST(CacheLifecycle, DeletedNodesLeaveNothingForTheUnload) {
    ASSERT_EQ(dlopen(ZORV_DREL_SO_PATH, RTLD_NOW | RTLD_NOLOAD), nullptr);
    const auto before = zt::stats();
    private_copy lib;
    ASSERT_NE(lib.load(), nullptr) << dlerror();
    const ops o = bind(lib);
    ASSERT_FALSE(testing::Test::HasFailure());
    populate(o);
    // Service instances with encap lists deleted before the unload take their lists along.
    if_cfg_avl_key_t any{0x3000, 0};
    while (auto *n = static_cast<if_cfg_avl_node_t *>(tree_find(*o.ifc, &any)))
        o.delete_if(n);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_profile_node), 0u);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_if_cfg_avl_node_t), 0u);
    ASSERT_TRUE(lib.unload());
    EXPECT_EQ(zt::stats().live_blocks, before.live_blocks);
    EXPECT_EQ(zt::stats().bad_frees, before.bad_frees);
}

TEST(CacheLifecycle, LoadUnloadRoundsWithIdentifiers) {
    ASSERT_EQ(dlopen(ZORV_DREL_SO_PATH, RTLD_NOW | RTLD_NOLOAD), nullptr);
    const auto before = zt::stats();
    for (int round = 0; round < 3; ++round) {
        private_copy lib;
        ASSERT_NE(lib.load(), nullptr) << dlerror();
        const ops o = bind(lib);
        ASSERT_FALSE(testing::Test::HasFailure());
        // Each load starts with a fresh allocator.
        EXPECT_EQ(o.set_uid("x"), 1u) << "round " << round;
        EXPECT_EQ(o.set_uid("y"), 2u) << "round " << round;
        ASSERT_TRUE(lib.unload());
        EXPECT_EQ(zt::stats().live_blocks, before.live_blocks) << "round " << round;
    }
}
