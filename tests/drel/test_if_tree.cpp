// SPDX-License-Identifier: Apache-2.0
// Interface tree: wildcard compare, keys with the peer-manager lookups, node creation and
// updates from types 5, 6 and 9 (with values checked against their length), the encap list,
// deletion and release, export size.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "zorv_test_cache.h"

namespace {

using zt::rng_val;

constexpr const char *kUpdate = "zorv_drel_if_cfg_avl_update";
constexpr const char *kEncap = "zorv_drel_if_cfg_avl_update_encap";
constexpr const char *kCreate = "zorv_drel_create_if_node";

struct node_ptr {
    if_cfg_avl_node_t *p;
    explicit node_ptr(if_cfg_avl_node_t *n) : p(n) {}
    ~node_ptr() { zorv_drel_if_cfg_avl_free(p); }
    if_cfg_avl_node_t *operator->() const { return p; }
    node_ptr(const node_ptr &) = delete;
    node_ptr &operator=(const node_ptr &) = delete;
};

// A fresh node of (if_index, vsi) made from a type-5 value.
if_cfg_avl_node_t *make_node(uint32_t if_index, uint32_t vsi, uint32_t admin = 1) {
    if_cfg_avl_key_t k{if_index, vsi};
    vsi_admin_t v = zt::admin_val(if_index, vsi, admin);
    return zorv_drel_create_if_node(&k, ZORV_TYPE1_INTF_VSI_ADMIN, sizeof v, &v);
}

if_cfg_avl_node_t *insert(if_cfg_avl_node_t *n) {
    EXPECT_NE(n, nullptr);
    EXPECT_EQ(tree_insert(zorv_drel_if_cfg_avl, n), 0);
    return n;
}

if_cfg_avl_node_t *find(uint32_t if_index, uint32_t vsi) {
    if_cfg_avl_key_t k{if_index, vsi};
    return static_cast<if_cfg_avl_node_t *>(tree_find(zorv_drel_if_cfg_avl, &k));
}

uint32_t update9(if_cfg_avl_node_t *n, const std::vector<uint8_t> &v) {
    return zorv_drel_if_cfg_avl_update(n, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                                       static_cast<uint16_t>(v.size()), v.data());
}

std::vector<uint8_t> snapshot(const if_cfg_avl_node_t *n) {
    const auto *b = reinterpret_cast<const uint8_t *>(n);
    return {b, b + sizeof *n};
}

} // namespace

// ---- Compare and keys ------------------------------------------------------------------------

TEST(IfCompare, WildcardAndOrder) {
    if_cfg_avl_key_t a{10, 0}, b{10, 7}, c{10, 3}, d{9, 0}, e{0xFFFFFFF0u, 1};
    EXPECT_EQ(zorv_drel_if_cfg_avl_cmp_func(&a, &b), 0);
    EXPECT_EQ(zorv_drel_if_cfg_avl_cmp_func(&b, &a), 0);
    EXPECT_EQ(zorv_drel_if_cfg_avl_cmp_func(&c, &b), -1);
    EXPECT_EQ(zorv_drel_if_cfg_avl_cmp_func(&b, &c), 1);
    EXPECT_EQ(zorv_drel_if_cfg_avl_cmp_func(&d, &a), -1);
    EXPECT_EQ(zorv_drel_if_cfg_avl_cmp_func(&a, &d), 1);
    EXPECT_EQ(zorv_drel_if_cfg_avl_cmp_func(&b, &b), 0);
    EXPECT_EQ(zorv_drel_if_cfg_avl_cmp_func(&a, &e), -1); // unsigned
}

TEST(IfKey, InterfaceTypesTakeTheVsiAndLogTheDrelId) {
    drelm_host_set_interface(0x1000, 1, 42);
    for (uint16_t t : {5, 6, 7, 9}) {
        vsi_encap_rng_t v = rng_val(0x1000, 77, "p"); // every value has vsi second
        if_cfg_avl_key_t k{1, 1};
        EXPECT_EQ(zorv_drel_set_if_key(&k, t, sizeof v, &v, 0x1000), 0u);
        EXPECT_EQ(k.if_index, 0x1000u);
        EXPECT_EQ(k.vsi_id, 77u);
    }
    EXPECT_EQ(zt::log_count("zorv_drel_set_if_key", ": if idx: 0x1000, drel_id:42 vsi id:77\n"), 4u)
        << zt::dump_events();
}

TEST(IfKey, UnknownInterfaceLogsDrelIdZero) {
    vsi_admin_t v = zt::admin_val(5, 3, 1);
    if_cfg_avl_key_t k{};
    EXPECT_EQ(zorv_drel_set_if_key(&k, ZORV_TYPE1_INTF_VSI_ADMIN, sizeof v, &v, 0xab), 0u);
    EXPECT_TRUE(zt::has_log("zorv_drel_set_if_key", ": if idx: 0xab, drel_id:0 vsi id:3\n"));
}

TEST(IfKey, OtherTypesRefusedWithWildcardKey) {
    vsi_admin_t v = zt::admin_val(5, 3, 1);
    for (uint16_t t : {0, 1, 2, 8, 10}) {
        if_cfg_avl_key_t k{1, 1};
        EXPECT_EQ(zorv_drel_set_if_key(&k, t, sizeof v, &v, 0x20), ZORV_DREL_ERR_INVALID_ARG);
        EXPECT_EQ(k.if_index, 0x20u);
        EXPECT_EQ(k.vsi_id, 0u);
    }
}

// ---- Peer-manager lookups --------------------------------------------------------------------

TEST(IfDrelId, UnknownInterfaceLeavesOutputUnchanged) {
    uint32_t out = 0xdead;
    EXPECT_EQ(zorv_drel_lib_get_drel_id(0x1234, &out), ZORV_DREL_ERR_DRELM_NO_RECORD);
    EXPECT_EQ(out, 0xdeadu);
    drelm_host_set_interface(0x1234, 0, 9); // known but not a peer-link member
    EXPECT_EQ(zorv_drel_lib_get_drel_id(0x1234, &out), ZORV_DREL_ERR_DRELM_NO_RECORD);
    EXPECT_EQ(out, 0xdeadu);
}

TEST(IfDrelId, MemberGivesItsDrelId) {
    drelm_host_set_interface(0x1234, 1, 9);
    uint32_t out = 0;
    EXPECT_EQ(zorv_drel_lib_get_drel_id(0x1234, &out), 0u);
    EXPECT_EQ(out, 9u);
    drelm_host_remove_interface(0x1234);
    EXPECT_EQ(zorv_drel_lib_get_drel_id(0x1234, &out), ZORV_DREL_ERR_DRELM_NO_RECORD);
}

TEST(IfDrelId, MemberWithoutOutputOnlyAnswers) {
    drelm_host_set_interface(0x1234, 1, 9);
    EXPECT_EQ(zorv_drel_lib_get_drel_id(0x1234, nullptr), 0u);
    EXPECT_EQ(zorv_drel_lib_get_drel_id(0x4321, nullptr), ZORV_DREL_ERR_DRELM_NO_RECORD);
}

TEST(IfDrelId, IfindexFromDrelIdAndTrunk) {
    drelm_host_set_local_drel_if_index(5, 0x777);
    EXPECT_EQ(zorv_drel_lib_get_ifindex_from_drel_id(5, 0), 0x777u);
    EXPECT_EQ(zorv_drel_lib_mct_exists(), 0u);
    drelm_host_set_mct(1);
    EXPECT_EQ(zorv_drel_lib_mct_exists(), 1u);
    drelm_host_set_mct(0);
    EXPECT_EQ(zorv_drel_lib_mct_exists(), 0u);
}

// ---- Create and update -----------------------------------------------------------------------

TEST(IfCreate, FromAdminValue) {
    if_cfg_avl_key_t k{0x10, 4};
    vsi_admin_t v = zt::admin_val(0x10, 4, 1);
    node_ptr n(zorv_drel_create_if_node(&k, ZORV_TYPE1_INTF_VSI_ADMIN, sizeof v, &v));
    ASSERT_NE(n.p, nullptr);
    EXPECT_EQ(n->if_index, 0x10u);
    EXPECT_EQ(n->vsi_id, 4u);
    EXPECT_EQ(n->admin, 1u);
    EXPECT_EQ(n->encap_list, nullptr);
    EXPECT_TRUE(zt::has_log(kUpdate, ": sizeof(vsi_all):792, tlen:12\n")) << zt::dump_events();
    EXPECT_TRUE(zt::has_log(kUpdate, ": Updated vsi:4 admin :1\n"));
}

TEST(IfCreate, AllocationFailureGivesNull) {
    zt::fault_guard f(0, 1);
    EXPECT_EQ(make_node(1, 1), nullptr);
    EXPECT_TRUE(zt::has_log(kCreate, ": Failed malloc\n"));
    EXPECT_EQ(zt::live_blocks(), 0u);
}

TEST(IfCreate, FailedEncapAppendFreesTheNode) {
    zt::fault_guard f(1, 1); // the node comes through, its encap entry does not
    if_cfg_avl_key_t k{1, 2};
    vsi_encap_rng_t v = rng_val(1, 2, "p", {5});
    EXPECT_EQ(zorv_drel_create_if_node(&k, ZORV_TYPE1_INTF_VSI_ENCAP_PROF, sizeof v, &v), nullptr);
    EXPECT_TRUE(zt::has_log(kCreate, ": Failed create encap node\n")) << zt::dump_events();
    EXPECT_EQ(zt::live_blocks(), 0u);
}

TEST(IfCreate, UnsupportedTypeGivesAnEmptyNode) {
    if_cfg_avl_key_t k{1, 2};
    vsi_encap_dot1q_map_t v{};
    node_ptr n(zorv_drel_create_if_node(&k, ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP, 16392, &v));
    ASSERT_NE(n.p, nullptr);
    EXPECT_TRUE(zt::has_log(kUpdate, ": Unsupported type:7\n"));
    EXPECT_EQ(n->admin, 0u);
}

TEST(IfUpdate, NullNodeOrValueSucceedsQuietly) {
    vsi_admin_t v = zt::admin_val(1, 1, 1);
    EXPECT_EQ(zorv_drel_if_cfg_avl_update(nullptr, ZORV_TYPE1_INTF_VSI_ADMIN, 12, &v), 0u);
    node_ptr n(make_node(1, 1, 0));
    EXPECT_EQ(zorv_drel_if_cfg_avl_update(n.p, ZORV_TYPE1_INTF_VSI_ADMIN, 12, nullptr), 0u);
    EXPECT_EQ(n->admin, 0u);
}

TEST(IfUpdate, UnsupportedTypesSucceed) {
    node_ptr n(make_node(1, 1));
    uint8_t junk[64] = {};
    for (uint16_t t : {1, 2, 7, 8, 12}) {
        EXPECT_EQ(zorv_drel_if_cfg_avl_update(n.p, t, sizeof junk, junk), 0u);
        EXPECT_TRUE(zt::has_log(kUpdate, ": Unsupported type:" + std::to_string(t) + "\n"));
    }
}

TEST(IfUpdate, Type9PairsSkipsInvalidAndKeepsTheCount) {
    node_ptr n(make_node(1, 1));
    auto v = zt::make_vsi_all(1, 1, 0, 1, {{9000, 5}, {0, 6}, {9001, 4096}});
    EXPECT_EQ(update9(n.p, v), 0u);
    EXPECT_EQ(n->dot1q_vni[5], 9000u);
    EXPECT_EQ(n->dot1q_vni[6], 0u);
    EXPECT_EQ(n->dyn_map_cnt, 3u);
    EXPECT_EQ(n->admin, 0u);
    EXPECT_TRUE(zt::has_log(kUpdate, ": Updating dot1q:5, vni:9000\n")) << zt::dump_events();
    EXPECT_TRUE(zt::has_log(kUpdate, ": ASSERT: invalid lcl dot1q:6 or vni:0\n"));
    EXPECT_TRUE(zt::has_log(kUpdate, ": ASSERT: invalid lcl dot1q:4096 or vni:9001\n"));
    EXPECT_TRUE(zt::has_log(kUpdate, ": sizeof(vsi_all):792, tlen:816\n"));
}

TEST(IfUpdate, Type9PairBoundsAreInclusive) {
    node_ptr n(make_node(1, 1));
    auto v = zt::make_vsi_all(1, 1, 1, 1, {{1, 1}, {0xFFFFFF, 4095}, {0x1000000, 7}, {5, 0}});
    EXPECT_EQ(update9(n.p, v), 0u);
    EXPECT_EQ(n->dot1q_vni[1], 1u);
    EXPECT_EQ(n->dot1q_vni[4095], 0xFFFFFFu);
    EXPECT_EQ(n->dot1q_vni[7], 0u);
    EXPECT_EQ(n->dot1q_vni[0], 0u);
    EXPECT_TRUE(zt::has_log(kUpdate, ": ASSERT: invalid lcl dot1q:7 or vni:16777216\n"));
    EXPECT_TRUE(zt::has_log(kUpdate, ": ASSERT: invalid lcl dot1q:0 or vni:5\n"));
}

TEST(IfUpdate, Type9WithoutPairsKeepsTheMap) {
    node_ptr n(make_node(1, 1));
    ASSERT_EQ(update9(n.p, zt::make_vsi_all(1, 1, 1, 1, {{9000, 5}, {9100, 10}})), 0u);
    ASSERT_EQ(update9(n.p, zt::make_vsi_all(1, 1, 0, 2, {}, {3}, "np")), 0u);
    EXPECT_EQ(n->dot1q_vni[5], 9000u);
    EXPECT_EQ(n->dot1q_vni[10], 9100u);
    EXPECT_EQ(n->dyn_map_cnt, 2u);
    EXPECT_EQ(n->admin, 0u);
    EXPECT_EQ(n->dfs, 1u);
    EXPECT_STREQ(n->prof_name, "np");
    EXPECT_TRUE(zorv::bmp::test(n->dot1q_bmp, 3));
}

TEST(IfUpdate, Type9NewPairsReplaceTheWholeMap) {
    node_ptr n(make_node(1, 1));
    ASSERT_EQ(update9(n.p, zt::make_vsi_all(1, 1, 1, 1, {{9000, 5}})), 0u);
    ASSERT_EQ(update9(n.p, zt::make_vsi_all(1, 1, 1, 1, {{9200, 6}})), 0u);
    EXPECT_EQ(n->dot1q_vni[5], 0u);
    EXPECT_EQ(n->dot1q_vni[6], 9200u);
    EXPECT_EQ(n->dyn_map_cnt, 1u);
}

TEST(IfUpdate, Type9MapModeFlags) {
    node_ptr n(make_node(1, 1));
    struct {
        uint32_t mode, vdp, dfs, vmt, lldp;
    } cases[] = {{4, 1, 0, 0, 0}, {2, 0, 1, 0, 0}, {3, 0, 0, 1, 0},
                 {5, 0, 0, 0, 1}, {1, 0, 0, 0, 0}, {9, 0, 0, 0, 0}};
    for (auto c : cases) {
        // Set every flag first so that the update has to clear the others.
        n->vdp = n->dfs = n->vmt = n->lldp = 1;
        ASSERT_EQ(update9(n.p, zt::make_vsi_all(1, 1, 1, c.mode, {})), 0u);
        EXPECT_EQ(n->vdp, c.vdp) << c.mode;
        EXPECT_EQ(n->dfs, c.dfs) << c.mode;
        EXPECT_EQ(n->vmt, c.vmt) << c.mode;
        EXPECT_EQ(n->lldp, c.lldp) << c.mode;
    }
}

TEST(IfUpdate, Type9BitmapAndProfileName) {
    node_ptr n(make_node(1, 1));
    std::string longname(300, 'z');
    auto v = zt::make_vsi_all(1, 1, 1, 1, {{9000, 5}}, {0, 7, 4095}, longname);
    EXPECT_EQ(update9(n.p, v), 0u);
    EXPECT_EQ(n->dot1q_bmp.len, 512u);
    EXPECT_TRUE(zorv::bmp::test(n->dot1q_bmp, 0));
    EXPECT_TRUE(zorv::bmp::test(n->dot1q_bmp, 7));
    EXPECT_TRUE(zorv::bmp::test(n->dot1q_bmp, 4095));
    EXPECT_FALSE(zorv::bmp::test(n->dot1q_bmp, 8));
    EXPECT_EQ(std::strlen(n->prof_name), 255u);
}

TEST(IfUpdate, Type9TooShortIsRefused) {
    node_ptr n(make_node(1, 1));
    auto v = zt::make_vsi_all(1, 1, 0, 4, {{9000, 5}}, {}, "p");
    auto before = snapshot(n.p);
    EXPECT_EQ(zorv_drel_if_cfg_avl_update(n.p, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, 791, v.data()),
              ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kUpdate, ": Error: Refused type:9 value of len:791\n"))
        << zt::dump_events();
    // One pair claimed, only the fixed part given.
    EXPECT_EQ(zorv_drel_if_cfg_avl_update(n.p, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, 792, v.data()),
              ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kUpdate, ": Error: Refused type:9 value of len:792\n"));
    EXPECT_EQ(snapshot(n.p), before);
}

TEST(IfUpdate, Type9CountPastTheEndIsRefused) {
    node_ptr n(make_node(1, 1));
    auto v = zt::make_vsi_all(1, 1, 0, 4, {{9000, 5}, {9001, 6}});
    reinterpret_cast<vsi_all_t *>(v.data())->dyn_map_cnt = 3; // one pair more than given
    auto before = snapshot(n.p);
    EXPECT_EQ(update9(n.p, v), ZORV_DREL_ERR_INVALID_ARG);
    reinterpret_cast<vsi_all_t *>(v.data())->dyn_map_cnt = 0x7FFFFFFF;
    EXPECT_EQ(update9(n.p, v), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(snapshot(n.p), before);
}

TEST(IfUpdate, Type9NegativeCountIsRefused) {
    node_ptr n(make_node(1, 1));
    auto v = zt::make_vsi_all(1, 1, 0, 4, {{9000, 5}});
    reinterpret_cast<vsi_all_t *>(v.data())->dyn_map_cnt = 0xFFFFFFFFu;
    auto before = snapshot(n.p);
    EXPECT_EQ(update9(n.p, v), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(snapshot(n.p), before);
}

TEST(IfUpdate, Type9LongerThanClaimedIsRead) {
    node_ptr n(make_node(1, 1));
    auto v = zt::make_vsi_all(1, 1, 0, 1, {{9000, 5}}, {9}, "p");
    v.resize(v.size() + 40, 0xEE); // trailing bytes behind the value are not looked at
    EXPECT_EQ(update9(n.p, v), 0u);
    EXPECT_EQ(n->dot1q_vni[5], 9000u);
    EXPECT_STREQ(n->prof_name, "p");
}

TEST(IfCreate, RefusedType9GivesNullWithoutLeak) {
    if_cfg_avl_key_t k{1, 1};
    auto v = zt::make_vsi_all(1, 1, 0, 4, {{9000, 5}});
    EXPECT_EQ(zorv_drel_create_if_node(&k, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, 100, v.data()), nullptr);
    EXPECT_TRUE(zt::has_log(kCreate, ": Failed create encap node\n"));
    EXPECT_EQ(zt::live_blocks(), 0u);
}

TEST(IfUpdate, ShortAdminAndEncapValuesAreRefused) {
    node_ptr n(make_node(1, 1, 0));
    vsi_admin_t a = zt::admin_val(1, 1, 1);
    EXPECT_EQ(zorv_drel_if_cfg_avl_update(n.p, ZORV_TYPE1_INTF_VSI_ADMIN, 11, &a),
              ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kUpdate, ": Error: Refused type:5 value of len:11\n"));
    EXPECT_EQ(n->admin, 0u);
    vsi_encap_rng_t r = rng_val(1, 1, "p", {1});
    EXPECT_EQ(zorv_drel_if_cfg_avl_update(n.p, ZORV_TYPE1_INTF_VSI_ENCAP_PROF, 779, &r),
              ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kEncap, ": Error: Refused type:6 value of len:779\n"));
    EXPECT_EQ(zorv_drel_if_cfg_avl_update_encap(n.p, ZORV_TYPE1_INTF_VSI_ENCAP_PROF, 0, &r, 1),
              ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(n->encap_list, nullptr);
    EXPECT_EQ(n->encap_count, 0u);
}

// ---- Encap list ------------------------------------------------------------------------------

TEST(IfEncap, Type6AppendsThenReplacesTheBitmap) {
    node_ptr n(make_node(1, 1));
    vsi_encap_rng_t all = rng_val(1, 1, "p", {}, true);
    ASSERT_EQ(zorv_drel_if_cfg_avl_update(n.p, ZORV_TYPE1_INTF_VSI_ENCAP_PROF, sizeof all, &all),
              0u);
    encap_profile_node *e = zt::entry_of(zorv_drel_if_cfg_avl_get_encap(n.p, "p"));
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->all_allowed, 1u);
    EXPECT_EQ(e->dot1q_bmp.len, 512u);
    EXPECT_EQ(n->encap_count, 1u);
    // Same profile again, still all bits set: the bitmap is replaced, all_allowed becomes 0.
    ASSERT_EQ(zorv_drel_if_cfg_avl_update(n.p, ZORV_TYPE1_INTF_VSI_ENCAP_PROF, sizeof all, &all),
              0u);
    EXPECT_EQ(e->all_allowed, 0u);
    EXPECT_EQ(n->encap_count, 1u);
    EXPECT_EQ(zt::encap_entries(n.p), 1u);
    vsi_encap_rng_t some = rng_val(1, 1, "p", {3, 4});
    ASSERT_EQ(zorv_drel_if_cfg_avl_update_encap(n.p, ZORV_TYPE1_INTF_VSI_ENCAP_PROF, sizeof some,
                                                &some, 0),
              0u);
    EXPECT_TRUE(zorv::bmp::test(e->dot1q_bmp, 3));
    EXPECT_FALSE(zorv::bmp::test(e->dot1q_bmp, 5));
    // A second profile is appended behind the first.
    vsi_encap_rng_t q = rng_val(1, 1, "q", {1});
    ASSERT_EQ(zorv_drel_if_cfg_avl_update(n.p, ZORV_TYPE1_INTF_VSI_ENCAP_PROF, sizeof q, &q), 0u);
    EXPECT_EQ(n->encap_count, 2u);
    ASSERT_NE(n->encap_list->next, nullptr);
    EXPECT_STREQ(n->encap_list->encap_name, "p");
    EXPECT_STREQ(n->encap_list->next->encap_name, "q");
    EXPECT_EQ(n->encap_list->next->all_allowed, 0u);
}

TEST(IfEncap, AppendFlagAlwaysAppends) {
    node_ptr n(make_node(1, 1));
    vsi_encap_rng_t v = rng_val(1, 1, "p", {2});
    ASSERT_EQ(
        zorv_drel_if_cfg_avl_update_encap(n.p, ZORV_TYPE1_INTF_VSI_ENCAP_PROF, sizeof v, &v, 1),
        0u);
    ASSERT_EQ(
        zorv_drel_if_cfg_avl_update_encap(n.p, ZORV_TYPE1_INTF_VSI_ENCAP_PROF, sizeof v, &v, 1),
        0u);
    EXPECT_EQ(zt::encap_entries(n.p), 2u);
    EXPECT_EQ(n->encap_count, 2u);
}

TEST(IfEncap, OtherTypesOfEncapUpdate) {
    node_ptr n(make_node(1, 1));
    vsi_encap_dot1q_map_t m{};
    EXPECT_EQ(zorv_drel_if_cfg_avl_update_encap(n.p, ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP, sizeof m,
                                                &m, 0),
              0u);
    EXPECT_TRUE(zt::has_log(kEncap, ": Not yet supported\n"));
    EXPECT_EQ(zorv_drel_if_cfg_avl_update_encap(n.p, ZORV_TYPE1_INTF_VSI_ADMIN, sizeof m, &m, 0),
              0u);
    EXPECT_TRUE(zt::has_log(kEncap, ": Unkn type:5\n"));
    EXPECT_EQ(n->encap_list, nullptr);
}

TEST(IfEncap, AppendWithoutBitmapAllowsEverything) {
    node_ptr n(make_node(1, 1));
    ASSERT_EQ(zorv_drel_if_cfg_avl_append_encap(n.p, "p", nullptr, nullptr), 0u);
    encap_profile_node *e = n->encap_list;
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->all_allowed, 1u);
    EXPECT_EQ(e->dot1q_bmp.len, 0u);
    for (uint8_t b : e->dot1q_bmp.bits)
        ASSERT_EQ(b, 0xFF);
    EXPECT_EQ(n->encap_count, 1u);
}

TEST(IfEncap, AppendWithBitmapAndMap) {
    node_ptr n(make_node(1, 1));
    bmp4096_t b{};
    zorv::bmp::set(b, 100);
    std::vector<uint32_t> map(4096, 0);
    map[100] = 5000;
    map[0] = 1;
    ASSERT_EQ(zorv_drel_if_cfg_avl_append_encap(n.p, nullptr, &b, map.data()), 0u);
    encap_profile_node *e = n->encap_list;
    EXPECT_EQ(e->encap_name[0], '\0');
    EXPECT_EQ(e->all_allowed, 0u);
    EXPECT_EQ(e->dot1q_bmp.len, 512u);
    EXPECT_TRUE(zorv::bmp::test(e->dot1q_bmp, 100));
    EXPECT_EQ(e->dot1q_vni[100], 5000u);
    EXPECT_EQ(e->dot1q_vni[0], 1u);
    std::memset(b.bits, 0xFF, sizeof b.bits);
    ASSERT_EQ(zorv_drel_if_cfg_avl_append_encap(n.p, "full", &b, nullptr), 0u);
    EXPECT_EQ(e->next->all_allowed, 1u);
    EXPECT_EQ(n->encap_count, 2u);
}

TEST(IfEncap, AppendFailures) {
    EXPECT_EQ(zorv_drel_if_cfg_avl_append_encap(nullptr, "p", nullptr, nullptr),
              ZORV_DREL_ERR_INVALID_ARG);
    node_ptr n(make_node(1, 1));
    zt::fault_guard f(0, 1);
    EXPECT_EQ(zorv_drel_if_cfg_avl_append_encap(n.p, "p", nullptr, nullptr), 1u);
    EXPECT_EQ(n->encap_list, nullptr);
    EXPECT_EQ(n->encap_count, 0u);
    // Through a type-6 update the bare 1 is passed on.
    vsi_encap_rng_t v = rng_val(1, 1, "p", {2});
    tracked_mem_fault_set(zt::kSvc, 0, 1);
    EXPECT_EQ(zorv_drel_if_cfg_avl_update(n.p, ZORV_TYPE1_INTF_VSI_ENCAP_PROF, sizeof v, &v), 1u);
}

TEST(IfEncap, LookupByNameAndMapEntry) {
    node_ptr n(make_node(1, 1));
    EXPECT_EQ(zorv_drel_if_cfg_avl_get_encap(n.p, "p"), nullptr);
    EXPECT_EQ(zorv_drel_if_cfg_avl_get_encap(n.p, nullptr), nullptr);
    EXPECT_EQ(zorv_drel_if_cfg_avl_get_encap(nullptr, "p"), nullptr);
    ASSERT_EQ(zorv_drel_if_cfg_avl_append_encap(n.p, "p", nullptr, nullptr), 0u);
    EXPECT_EQ(zorv_drel_if_cfg_avl_get_encap(n.p, nullptr), nullptr); // no map entry yet
    ASSERT_EQ(zorv_drel_if_cfg_avl_append_encap(n.p, nullptr, nullptr, nullptr), 0u);
    ASSERT_EQ(zorv_drel_if_cfg_avl_append_encap(n.p, "q", nullptr, nullptr), 0u);
    char *p = zorv_drel_if_cfg_avl_get_encap(n.p, "p");
    EXPECT_EQ(p, n->encap_list->encap_name);
    EXPECT_EQ(zorv_drel_if_cfg_avl_get_encap(n.p, "q"), n->encap_list->next->next->encap_name);
    EXPECT_EQ(zorv_drel_if_cfg_avl_get_encap(n.p, nullptr), n->encap_list->next->encap_name);
    EXPECT_EQ(zorv_drel_if_cfg_avl_get_encap(n.p, ""), n->encap_list->next->encap_name);
    EXPECT_EQ(zorv_drel_if_cfg_avl_get_encap(n.p, "r"), nullptr);
}

TEST(IfEncap, RemovalKeepsTheAppendCount) {
    node_ptr n(make_node(1, 1));
    for (const char *s : {"a", "b", "c"})
        ASSERT_EQ(zorv_drel_if_cfg_avl_append_encap(n.p, s, nullptr, nullptr), 0u);
    EXPECT_EQ(zorv_drel_if_cfg_avl_del_encap(n.p, "b"), 0u);
    EXPECT_TRUE(zt::has_log("zorv_drel_if_cfg_avl_del_encap", ": encap_name:b\n"));
    EXPECT_TRUE(zt::has_log("zorv_drel_if_cfg_avl_del_encap", ": ----Deleted encap_name:b\n"));
    EXPECT_EQ(zt::encap_entries(n.p), 2u);
    EXPECT_EQ(n->encap_count, 3u);
    EXPECT_STREQ(n->encap_list->next->encap_name, "c");
    EXPECT_EQ(zorv_drel_if_cfg_avl_del_encap(n.p, "zz"), 0u);
    EXPECT_TRUE(zt::has_log("zorv_drel_if_cfg_avl_del_encap", ": encap_name:zz\n"));
    EXPECT_FALSE(zt::has_log("zorv_drel_if_cfg_avl_del_encap", ": ----Deleted encap_name:zz\n"));
    EXPECT_EQ(zorv_drel_if_cfg_avl_del_encap(n.p, "a"), 0u); // the head
    EXPECT_EQ(zorv_drel_if_cfg_avl_del_encap(n.p, "c"), 0u); // the last
    EXPECT_EQ(n->encap_list, nullptr);
    EXPECT_EQ(n->encap_count, 3u);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_profile_node), 0u);
}

// The encap update and the delete by value compare the value's name field as it stands, over at
// most 256 bytes: a name that fills all 256 is not the 255-character entry that it was cut to.
TEST(IfEncap, UpdateAndDeleteByValueUseTheWholeNameField) {
    node_ptr n(make_node(1, 1));
    const std::string cut(255, 'w'), whole(256, 'w');
    vsi_encap_rng_t v = rng_val(1, 1, "", {3});
    std::memset(v.encap_name, 'w', sizeof v.encap_name); // no terminator at all
    ASSERT_EQ(zorv_drel_if_cfg_avl_update(n.p, ZORV_TYPE1_INTF_VSI_ENCAP_PROF, sizeof v, &v), 0u);
    ASSERT_EQ(zt::encap_entries(n.p), 1u);
    EXPECT_EQ(n->encap_list->encap_name, cut); // appended with 255 characters
    ASSERT_EQ(zorv_drel_if_cfg_avl_update(n.p, ZORV_TYPE1_INTF_VSI_ENCAP_PROF, sizeof v, &v), 0u);
    EXPECT_EQ(zt::encap_entries(n.p), 2u); // appended again
    EXPECT_EQ(n->encap_count, 2u);
    EXPECT_EQ(zorv_drel_if_cfg_avl_delete(n.p, ZORV_TYPE1_INTF_VSI_ENCAP_PROF, sizeof v, &v), 0u);
    EXPECT_EQ(zt::encap_entries(n.p), 2u); // nothing removed
    EXPECT_TRUE(zt::has_log("zorv_drel_if_cfg_avl_del_encap", ": encap_name:" + whole + "\n"))
        << zt::dump_events();
    EXPECT_EQ(zt::logs_containing("----Deleted"), 0u);
}

TEST(IfEncap, RemovalWithoutANameRemovesNothing) {
    node_ptr n(make_node(1, 1));
    ASSERT_EQ(zorv_drel_if_cfg_avl_append_encap(n.p, "a", nullptr, nullptr), 0u);
    EXPECT_EQ(zorv_drel_if_cfg_avl_del_encap(n.p, nullptr), 0u);
    EXPECT_TRUE(zt::has_log("zorv_drel_if_cfg_avl_del_encap", ": encap_name:\n"));
    EXPECT_EQ(zt::encap_entries(n.p), 1u);
}

TEST(IfEncap, FreeListResetsTheCount) {
    node_ptr n(make_node(1, 1));
    for (const char *s : {"a", "b"})
        ASSERT_EQ(zorv_drel_if_cfg_avl_append_encap(n.p, s, nullptr, nullptr), 0u);
    zorv_drel_if_cfg_avl_free_encaplist(n.p);
    EXPECT_EQ(n->encap_list, nullptr);
    EXPECT_EQ(n->encap_count, 0u);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_profile_node), 0u);
    zorv_drel_if_cfg_avl_free_encaplist(nullptr);
}

TEST(IfDelete, ByValue) {
    node_ptr n(make_node(1, 1));
    ASSERT_EQ(zorv_drel_if_cfg_avl_append_encap(n.p, "p", nullptr, nullptr), 0u);
    vsi_encap_rng_t v = rng_val(1, 1, "p");
    EXPECT_EQ(zorv_drel_if_cfg_avl_delete(nullptr, ZORV_TYPE1_INTF_VSI_ENCAP_PROF, sizeof v, &v),
              0xFFFFFFFFu);
    EXPECT_EQ(zorv_drel_if_cfg_avl_delete(n.p, ZORV_TYPE1_INTF_VSI_ENCAP_PROF, sizeof v, nullptr),
              0xFFFFFFFFu);
    EXPECT_EQ(zorv_drel_if_cfg_avl_delete(n.p, ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP, sizeof v, &v),
              0u);
    EXPECT_TRUE(zt::has_log("zorv_drel_if_cfg_avl_delete", ": type:7 not yet supported "));
    EXPECT_EQ(zorv_drel_if_cfg_avl_delete(n.p, ZORV_TYPE1_INTF_VSI_ADMIN, sizeof v, &v),
              0xFFFFFFFFu);
    EXPECT_TRUE(zt::has_log("zorv_drel_if_cfg_avl_delete", ": Unk type:5 "));
    EXPECT_NE(n->encap_list, nullptr);
    EXPECT_EQ(zorv_drel_if_cfg_avl_delete(n.p, ZORV_TYPE1_INTF_VSI_ENCAP_PROF, sizeof v, &v), 0u);
    EXPECT_EQ(n->encap_list, nullptr);
    EXPECT_EQ(n->encap_count, 1u);
}

TEST(IfDelete, CacheNodeReleasesItsEncapList) {
    if_cfg_avl_node_t *n = insert(make_node(1, 1));
    for (const char *s : {"a", "b", "c"})
        ASSERT_EQ(zorv_drel_if_cfg_avl_append_encap(n, s, nullptr, nullptr), 0u);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_profile_node), 3u);
    zorv_drel_if_cfg_delete_cache_node(n);
    EXPECT_EQ(find(1, 1), nullptr);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_profile_node), 0u);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_if_cfg_avl_node_t), 0u);
    zorv_drel_if_cfg_delete_cache_node(nullptr);
}

TEST(IfDelete, WildcardKeyRemovesAllServiceInstancesOneByOne) {
    for (uint32_t vsi : {3u, 1u, 2u})
        insert(make_node(10, vsi));
    insert(make_node(9, 1));
    insert(make_node(11, 1));
    zorv_drel_if_cfg_avl_append_encap(find(10, 2), "x", nullptr, nullptr);
    if_cfg_avl_key_t any{10, 0};
    int rounds = 0;
    while (tree_find(zorv_drel_if_cfg_avl, &any) != nullptr && rounds < 10) {
        zorv_drel_if_cfg_delete_cache_key(&any);
        ++rounds;
    }
    EXPECT_EQ(rounds, 3);
    EXPECT_NE(find(9, 1), nullptr);
    EXPECT_NE(find(11, 1), nullptr);
    EXPECT_EQ(tree_count(zorv_drel_if_cfg_avl), 2u);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_if_cfg_avl_node_t), 2u);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_profile_node), 0u);
    if_cfg_avl_key_t missing{12, 0};
    zorv_drel_if_cfg_delete_cache_key(&missing);
    EXPECT_EQ(zt::stats().bad_frees, 0u);
}

TEST(IfOrder, WalkIsByInterfaceThenServiceInstance) {
    std::vector<std::pair<uint32_t, uint32_t>> keys;
    for (uint32_t i : {5u, 1u, 0x80000000u, 3u})
        for (uint32_t v : {9u, 1u, 0xFFFFFFFFu, 4u})
            keys.emplace_back(i, v);
    std::mt19937 rng(3);
    std::shuffle(keys.begin(), keys.end(), rng);
    for (auto [i, v] : keys)
        insert(make_node(i, v));
    std::sort(keys.begin(), keys.end());
    std::vector<std::pair<uint32_t, uint32_t>> walked;
    for (auto *n : zt::walk<if_cfg_avl_node_t>(zorv_drel_if_cfg_avl))
        walked.emplace_back(n->if_index, n->vsi_id);
    EXPECT_EQ(walked, keys);
}

TEST(IfExport, EncapListSize) {
    EXPECT_EQ(zorv_drel_if_cfg_avl_encaplist_tlv_size(nullptr), 0u);
    node_ptr n(make_node(1, 1));
    EXPECT_EQ(zorv_drel_if_cfg_avl_encaplist_tlv_size(n.p), 0u);
    zorv_drel_if_cfg_avl_append_encap(n.p, "a", nullptr, nullptr);
    zorv_drel_if_cfg_avl_append_encap(n.p, nullptr, nullptr, nullptr);
    zorv_drel_if_cfg_avl_append_encap(n.p, "b", nullptr, nullptr);
    EXPECT_EQ(zorv_drel_if_cfg_avl_encaplist_tlv_size(n.p),
              2u * zt::aligned16(780) + zt::aligned16(16392));
    zt::tlv_buf buf;
    EXPECT_EQ(zorv_drel_if_cfg_avl_encaplist_add_tlvs(n.p, 1u << 20, buf.get()), 0u);
    EXPECT_EQ(buf.get()->len, 0u);
}

TEST(IfFree, NodeWithListAndNull) {
    if_cfg_avl_node_t *n = make_node(1, 1);
    zorv_drel_if_cfg_avl_append_encap(n, "a", nullptr, nullptr);
    zorv_drel_if_cfg_avl_append_encap(n, "b", nullptr, nullptr);
    zorv_drel_if_cfg_avl_free(n);
    zorv_drel_if_cfg_avl_free(nullptr);
    EXPECT_EQ(zt::live_blocks(), 0u);
    EXPECT_EQ(zt::stats().bad_frees, 0u);
}
