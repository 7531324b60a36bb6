// SPDX-License-Identifier: Apache-2.0
// Loading the library registers it and creates its trees; unloading releases every tracked
// block it still holds and unregisters. Like the peer manager, this program does not link the
// library: it loads and unloads it with dlopen/dlclose and watches it through the platform.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstring>
#include <string>

#include "zorv_test_support.h"

namespace {

class loaded_library {
  public:
    loaded_library() {
        // Any instance already in the process would hide the load and the unload.
        EXPECT_EQ(dlopen(ZORV_DREL_SO_PATH, RTLD_NOW | RTLD_NOLOAD), nullptr)
            << "the library is already loaded: the test program must not link it";
    }
    ~loaded_library() {
        if (handle_ != nullptr) dlclose(handle_);
    }
    void *load() {
        handle_ = dlopen(ZORV_DREL_SO_PATH, RTLD_NOW | RTLD_LOCAL);
        return handle_;
    }
    // True when the library is gone from the process after dlclose.
    bool unload() {
        const int rc = dlclose(handle_);
        handle_ = nullptr;
        return rc == 0 && dlopen(ZORV_DREL_SO_PATH, RTLD_NOW | RTLD_NOLOAD) == nullptr;
    }
    template <typename T> T sym(const char *name) {
        void *p = dlsym(handle_, name);
        EXPECT_NE(p, nullptr) << name << ": " << dlerror();
        return reinterpret_cast<T>(p);
    }

  private:
    void *handle_ = nullptr;
};

using calloc_fn = void *(*)(uint32_t, uint32_t);
using print_bmp_fn = int (*)(const bmp4096_t *, const char *);
using set_uid_fn = uint32_t (*)(const char *);

} // namespace

TEST(Lifecycle, LoadCreatesTheThreeTreesOnly) {
    loaded_library lib;
    ASSERT_NE(lib.load(), nullptr) << dlerror();
    auto **gbl = lib.sym<tree_t **>("zorv_drel_gbl_cfg_avl");
    auto **memvni = lib.sym<tree_t **>("zorv_drel_gbl_cfg_memvni_avl");
    auto **ifc = lib.sym<tree_t **>("zorv_drel_if_cfg_avl");
    auto **uid = lib.sym<tree_t **>("zorv_drel_encap_uid_avl");
    auto **bmp = lib.sym<bmp4096_t **>("free_encap_bmp_p");
    ASSERT_TRUE(gbl && memvni && ifc && uid && bmp);
    EXPECT_NE(*gbl, nullptr);
    EXPECT_NE(*memvni, nullptr);
    EXPECT_NE(*ifc, nullptr);
    EXPECT_NE(*gbl, *memvni);
    EXPECT_NE(*memvni, *ifc);
    EXPECT_EQ(tree_count(*gbl), 0u);
    // The identifier tree and its bitmap come on first need, not at load.
    EXPECT_EQ(*uid, nullptr);
    EXPECT_EQ(*bmp, nullptr);
    EXPECT_TRUE(lib.unload());
}

TEST(Lifecycle, LoadRegistersAndUnloadUnregisters) {
    ASSERT_NE(tracked_mem_uninit(zt::kSvc), 0); // nobody has registered the service yet
    {
        loaded_library lib;
        ASSERT_NE(lib.load(), nullptr) << dlerror();
        EXPECT_EQ(tracked_mem_uninit(zt::kSvc), 0); // registered at load
        ASSERT_EQ(tracked_mem_init("test", zt::kSvc, nullptr, 0), 0);
        EXPECT_TRUE(lib.unload());
    }
    EXPECT_NE(tracked_mem_uninit(zt::kSvc), 0); // unregistered at unload
}

TEST(Lifecycle, UnloadReleasesEveryTrackedBlock) {
    const auto before = zt::stats();
    loaded_library lib;
    ASSERT_NE(lib.load(), nullptr) << dlerror();
    auto lib_calloc = lib.sym<calloc_fn>("zorv_drel_lib_calloc");
    auto set_uid = lib.sym<set_uid_fn>("zorv_drel_set_encap_uid");
    tree_t *gbl = *lib.sym<tree_t **>("zorv_drel_gbl_cfg_avl");
    tree_t *memvni = *lib.sym<tree_t **>("zorv_drel_gbl_cfg_memvni_avl");
    tree_t *ifc = *lib.sym<tree_t **>("zorv_drel_if_cfg_avl");
    auto **uid = lib.sym<tree_t **>("zorv_drel_encap_uid_avl");
    auto **bmp = lib.sym<bmp4096_t **>("free_encap_bmp_p");
    ASSERT_TRUE(lib_calloc && set_uid && gbl && memvni && ifc && uid && bmp);

    uint64_t made = 0;
    for (uint32_t vni = 100; vni < 105; ++vni, ++made) {
        auto *n = static_cast<gbl_cfg_memvni_avl_node_t *>(
            lib_calloc(ZORV_DREL_LIB_MEM_gbl_cfg_memvni_avl_node_t, 8));
        ASSERT_NE(n, nullptr);
        *n = {vni, vni + 1000};
        ASSERT_EQ(tree_insert(memvni, n), 0);
    }
    for (uint32_t vsi = 1; vsi <= 3; ++vsi, ++made) {
        auto *n = static_cast<if_cfg_avl_node_t *>(
            lib_calloc(ZORV_DREL_LIB_MEM_if_cfg_avl_node_t, sizeof(if_cfg_avl_node_t)));
        ASSERT_NE(n, nullptr);
        n->if_index = 0x2000;
        n->vsi_id = vsi;
        ASSERT_EQ(tree_insert(ifc, n), 0);
        if (vsi == 2) { // an encap list hangs off the node and goes with it
            auto *e = static_cast<encap_profile_node *>(
                lib_calloc(ZORV_DREL_LIB_MEM_encap_profile_node, sizeof(encap_profile_node)));
            ASSERT_NE(e, nullptr);
            n->encap_list = e;
            n->encap_count = 1;
            ++made;
        }
    }
    for (const char *name : {"prof-a", "prof-b"}) {
        auto *n = static_cast<gbl_cfg_avl_node_t *>(
            lib_calloc(ZORV_DREL_LIB_MEM_gbl_cfg_avl_node_t, sizeof(gbl_cfg_avl_node_t)));
        ASSERT_NE(n, nullptr);
        std::strcpy(n->map.encap_name, name);
        n->key = n->map.encap_name;
        ASSERT_EQ(tree_insert(gbl, n), 0);
        ++made;
    }
    // Identifiers bring the identifier tree and its bitmap into being.
    EXPECT_EQ(set_uid("prof-a"), 1u);
    EXPECT_EQ(set_uid("prof-b"), 2u);
    made += 2;
    ASSERT_NE(*uid, nullptr);
    ASSERT_NE(*bmp, nullptr);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_uid_node_t), 2u);
    zt::unload_and_expect_all_returned(before, made, [&] { return lib.unload(); });
}

TEST(Lifecycle, LoadUnloadRepeatedly) {
    const auto before = zt::stats();
    for (int round = 0; round < 3; ++round) {
        loaded_library lib;
        ASSERT_NE(lib.load(), nullptr) << dlerror();
        auto lib_calloc = lib.sym<calloc_fn>("zorv_drel_lib_calloc");
        tree_t *memvni = *lib.sym<tree_t **>("zorv_drel_gbl_cfg_memvni_avl");
        auto *n = static_cast<gbl_cfg_memvni_avl_node_t *>(
            lib_calloc(ZORV_DREL_LIB_MEM_gbl_cfg_memvni_avl_node_t, 8));
        ASSERT_NE(n, nullptr);
        n->vni = 7;
        ASSERT_EQ(tree_insert(memvni, n), 0);
        ASSERT_TRUE(lib.unload());
        EXPECT_EQ(zt::stats().live_blocks, before.live_blocks) << "round " << round;
    }
}

TEST(Lifecycle, HistoryOfAnUnloadedLibraryReadsBack) {
    // Its events name formats and function names in the library's own memory, gone after the
    // unload: they were copied when logged.
    loaded_library lib;
    ASSERT_NE(lib.load(), nullptr) << dlerror();
    auto print_bmp = lib.sym<print_bmp_fn>("zorv_drel_lib_print_vlan_bmp");
    ASSERT_NE(print_bmp, nullptr);
    print_bmp(nullptr, "tag");
    ASSERT_TRUE(lib.unload());
    EXPECT_EQ(zt::logs_containing("zorv_drel_lib_print_vlan_bmp("), 2u);
    EXPECT_EQ(zt::log_count("zorv_drel_lib_print_vlan_bmp", ": tag\n"), 1u);
    EXPECT_EQ(zt::log_count("zorv_drel_lib_print_vlan_bmp", ": End tag\n"), 1u);
}
