// SPDX-License-Identifier: Apache-2.0
// Global configuration tree: compare rule with its null tolerance, keys, node creation with
// identifier settling, map updates and deletions, export, delete by node and by key.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "zorv_test_cache.h"

namespace {

using zt::map_val;
using zt::name_rec;

gbl_cfg_avl_node_t *create1(const std::string &name, uint32_t id = 0) {
    encap_name_t r = name_rec(name, id);
    return zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_PROFILE, 260, &r);
}

gbl_cfg_avl_node_t *create2(const std::string &name,
                            const std::vector<std::pair<uint32_t, uint32_t>> &pairs) {
    auto m = map_val(name, pairs);
    return zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, sizeof *m, m.get());
}

// Creates a type-1 node for `name` from a record without an id, expects the node and the
// record to get `id`, and frees the node.
void expect_created_with_id(const std::string &name, uint32_t id) {
    encap_name_t r = name_rec(name);
    gbl_cfg_avl_node_t *n =
        zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_PROFILE, 260, &r);
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(n->id, id);
    EXPECT_EQ(r.id, id);
    zorv_drel_gbl_cfg_avl_free(n);
}

gbl_cfg_avl_node_t *insert(gbl_cfg_avl_node_t *n) {
    EXPECT_NE(n, nullptr);
    EXPECT_EQ(tree_insert(zorv_drel_gbl_cfg_avl, n), 0);
    return n;
}

gbl_cfg_avl_node_t *find(const char *name) {
    gbl_cfg_avl_key_t k{name};
    return static_cast<gbl_cfg_avl_node_t *>(tree_find(zorv_drel_gbl_cfg_avl, &k));
}

constexpr const char *kCmp = "zorv_drel_gbl_cfg_avl_cmp_func";
constexpr const char *kCreate = "zorv_drel_create_gbl_node";
constexpr const char *kUpdate = "zorv_drel_gbl_cfg_avl_update";

} // namespace

TEST(GblCompare, NamesOrderBySign) {
    gbl_cfg_avl_key_t a{"alpha"}, b{"beta"}, a2{"alpha"};
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_cmp_func(&a, &b), -1);
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_cmp_func(&b, &a), 1);
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_cmp_func(&a, &a2), 0);
    EXPECT_EQ(zt::log_count(kCmp, ": ASSERT:Invalid arg\n"), 0u);
}

TEST(GblCompare, OnlyTheFirst256CharactersCount) {
    std::string x(300, 'x'), y(300, 'x');
    y[280] = 'y';
    gbl_cfg_avl_key_t a{x.c_str()}, b{y.c_str()};
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_cmp_func(&a, &b), 0);
    y[255] = 'y';
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_cmp_func(&a, &b), -1);
}

TEST(GblCompare, NullNameComparesEqualToAnything) {
    gbl_cfg_avl_key_t n{nullptr}, a{"a"};
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_cmp_func(&n, &a), 0);
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_cmp_func(&a, &n), 0);
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_cmp_func(&n, &n), 0);
    EXPECT_EQ(zt::log_count(kCmp, ": ASSERT:Invalid arg\n"), 3u) << zt::dump_events();
}

TEST(GblCompare, NullKeyComparesEqualToAnything) {
    gbl_cfg_avl_key_t a{"a"};
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_cmp_func(nullptr, &a), 0);
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_cmp_func(&a, nullptr), 0);
    EXPECT_EQ(zt::log_count(kCmp, ": ASSERT:Invalid arg\n"), 2u) << zt::dump_events();
}

TEST(GblKey, Types1And2PointAtTheName) {
    encap_name_t r = name_rec("p1");
    gbl_cfg_avl_key_t k{"junk"};
    EXPECT_EQ(zorv_drel_set_gbl_key(&k, ZORV_TYPE1_GBL_ENCAP_PROFILE, 0, &r), 0u);
    EXPECT_EQ(k.key, r.encap_name);
    auto m = map_val("p2");
    k.key = "junk";
    EXPECT_EQ(zorv_drel_set_gbl_key(&k, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, 0, m.get()), 0u);
    EXPECT_EQ(k.key, m->encap_name);
}

TEST(GblKey, OtherTypesRefusedWithNullName) {
    encap_name_t r = name_rec("p1");
    for (uint16_t t : {0, 3, 5, 8, 9}) {
        gbl_cfg_avl_key_t k{"junk"};
        EXPECT_EQ(zorv_drel_set_gbl_key(&k, t, 0, &r), ZORV_DREL_ERR_INVALID_ARG);
        EXPECT_EQ(k.key, nullptr);
    }
    EXPECT_EQ(zorv_drel_set_gbl_key(nullptr, ZORV_TYPE1_GBL_ENCAP_PROFILE, 0, &r),
              ZORV_DREL_ERR_INVALID_ARG);
}

TEST(GblCreate, NewProfileGetsLowestFreeIdWrittenBack) {
    encap_name_t r = name_rec("p1");
    gbl_cfg_avl_node_t *n =
        zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_PROFILE, 260, &r);
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(n->key, n->map.encap_name);
    EXPECT_STREQ(n->map.encap_name, "p1");
    EXPECT_EQ(n->map_exists, 0u);
    EXPECT_EQ(n->id, 1u);
    EXPECT_EQ(r.id, 1u);
    EXPECT_TRUE(zt::has_log(kCreate, ": set id:1 for encap:p1\n")) << zt::dump_events();
    insert(n);
    encap_name_t r2 = name_rec("p2");
    gbl_cfg_avl_node_t *n2 =
        insert(zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_PROFILE, 260, &r2));
    EXPECT_EQ(n2->id, 2u);
    EXPECT_EQ(r2.id, 2u);
    EXPECT_EQ(zorv_drel_get_gbl_cfg_node_id("p1"), 1u);
    EXPECT_EQ(zorv_drel_get_gbl_cfg_node_id("p2"), 2u);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_gbl_cfg_avl_node_t), 2u);
}

TEST(GblCreate, RecordWithIdRestoresItWithoutConsumingANewOne) {
    gbl_cfg_avl_node_t *n = insert(create1("p7", 7));
    EXPECT_EQ(n->id, 7u);
    EXPECT_TRUE(zt::has_log(kCreate, ": restoring id:7 for encap:p7\n")) << zt::dump_events();
    EXPECT_TRUE(zt::has_log(zt::kSrc, "  restored node:p7, id:7, bit:6\n"));
    EXPECT_FALSE(zt::has_log(kCreate, ": set id:7 for encap:p7\n"));
    encap_name_t probe = name_rec("p7");
    EXPECT_EQ(zorv_drel_get_encap_uid(&probe), 7u);
    // The lowest identifier is still free.
    EXPECT_EQ(insert(create1("other"))->id, 1u);
}

TEST(GblCreate, RestoreOfAKnownNameStillGivesTheNodeTheRecordsId) {
    ASSERT_EQ(zorv_drel_set_encap_uid("p"), 1u);
    gbl_cfg_avl_node_t *n = create1("p", 9);
    ASSERT_NE(n, nullptr);
    // The restore fails (the name exists) and its result is not examined.
    EXPECT_TRUE(zt::has_log(zt::kSrc, " Error: node:p, id:1 exists already\n"));
    EXPECT_EQ(n->id, 9u);
    zorv_drel_gbl_cfg_avl_free(n);
}

TEST(GblCreate, KnownNameWarnsAndReusesItsId) {
    ASSERT_EQ(zorv_drel_set_encap_uid("a"), 1u);
    ASSERT_EQ(zorv_drel_set_encap_uid("p"), 2u);
    expect_created_with_id("p", 2);
    zt::expect_logs(kCreate,
                    {": Warn: Id:2 already exists for encap:p\n", ": set id:2 for encap:p\n"});
}

TEST(GblCreate, ExhaustedIdentifiersGiveIdZero) {
    for (int i = 0; i < 4096; ++i)
        ASSERT_EQ(zorv_drel_set_encap_uid(("n" + std::to_string(i)).c_str()),
                  static_cast<uint32_t>(i + 1));
    expect_created_with_id("late", 0);
    EXPECT_TRUE(zt::has_log(kCreate, ": set id:0 for encap:late\n"));
}

TEST(GblCreate, LongNameIsCutTo255) {
    encap_name_t r{};
    std::memset(r.encap_name, 'q', sizeof r.encap_name); // no terminator at all
    gbl_cfg_avl_node_t *n =
        zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_PROFILE, 260, &r);
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(std::strlen(n->map.encap_name), 255u);
    zorv_drel_gbl_cfg_avl_free(n);
}

TEST(GblCreate, Type2HasMapAndNoId) {
    gbl_cfg_avl_node_t *n = create2("m", {{0, 11}, {5, 8000}, {4095, 7}});
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(n->map_exists, 1u);
    EXPECT_EQ(n->id, 0u);
    EXPECT_EQ(n->key, n->map.encap_name);
    EXPECT_STREQ(n->map.encap_name, "m");
    EXPECT_EQ(n->map.dot1q_vni[0], 11u);
    EXPECT_EQ(n->map.dot1q_vni[5], 8000u);
    EXPECT_EQ(n->map.dot1q_vni[4095], 7u);
    EXPECT_EQ(zorv_drel_encap_uid_avl, nullptr); // no identifier asked for
    zorv_drel_gbl_cfg_avl_free(n);
}

TEST(GblCreate, Type2KeepsAllTheNameBytes) {
    auto m = map_val("", {{5, 8000}});
    std::memset(m->encap_name, 'm', sizeof m->encap_name); // no terminator at all
    gbl_cfg_avl_node_t *n =
        zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, sizeof *m, m.get());
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(n->map.encap_name[ZORV_NAME_LEN - 1], 'm');
    EXPECT_EQ(std::memcmp(&n->map, m.get(), sizeof *m), 0);
    insert(n);
    // Every compare stops after 256 bytes: the whole name finds the node, 255 of them do not.
    EXPECT_EQ(find(std::string(256, 'm').c_str()), n);
    EXPECT_EQ(find(std::string(255, 'm').c_str()), nullptr);
    EXPECT_EQ(
        zorv_drel_gbl_cfg_avl_update(n, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, sizeof *m, m.get(), 0), 0u);
    EXPECT_TRUE(
        zt::has_log(kUpdate, ": type:2, del?0, prof:" + std::string(256, 'm') + ", map_exists?1\n"))
        << zt::dump_events();
}

// The identifier is asked for with the caller's record as it stands: a name of 256 characters is
// not the 255-character name the allocator holds.
TEST(GblCreate, ProfileIdIsAskedWithTheCallersRecord) {
    const std::string cut(255, 'q'), whole(256, 'q');
    ASSERT_EQ(zorv_drel_set_encap_uid(cut.c_str()), 1u);
    encap_name_t r{};
    std::memset(r.encap_name, 'q', sizeof r.encap_name);
    gbl_cfg_avl_node_t *n =
        zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_PROFILE, 260, &r);
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(zt::log_count(zt::kSrc, " Error: Failed to find profile:" + whole + "\n"), 2u)
        << zt::dump_events();
    EXPECT_TRUE(zt::has_log(zt::kSrc, " Error: node:" + cut + ", id:1 exists already\n"));
    EXPECT_FALSE(zt::has_log(kCreate, ": Warn: Id:1 already exists for encap:" + cut + "\n"));
    EXPECT_TRUE(zt::has_log(kCreate, ": set id:0 for encap:" + cut + "\n"));
    EXPECT_EQ(n->id, 0u);
    EXPECT_EQ(r.id, 0u);
    zorv_drel_gbl_cfg_avl_free(n);
}

TEST(GblCreate, UnknownTypeFreesTheNode) {
    encap_name_t r = name_rec("p");
    for (uint16_t t : {0, 3, 5, 8, 9}) {
        EXPECT_EQ(zorv_drel_create_gbl_node(nullptr, t, 260, &r), nullptr);
        EXPECT_TRUE(zt::has_log(kCreate, ": Error: Unknown type:" + std::to_string(t) + "\n"));
    }
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_gbl_cfg_avl_node_t), 0u);
    EXPECT_EQ(zt::stats(ZORV_DREL_LIB_MEM_gbl_cfg_avl_node_t).allocs, 5u);
}

TEST(GblCreate, AllocationFailureGivesNull) {
    zt::fault_guard f(0, 1);
    encap_name_t r = name_rec("p");
    EXPECT_EQ(zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_PROFILE, 260, &r), nullptr);
    EXPECT_TRUE(zt::has_log(kCreate, ": Failed malloc\n"));
    EXPECT_EQ(r.id, 0u); // nothing settled
    EXPECT_EQ(zorv_drel_encap_uid_avl, nullptr);
    EXPECT_EQ(zt::live_blocks(), 0u);
}

TEST(GblCreate, IdentifierAllocationFailureGivesIdZero) {
    // The node comes through; the identifier node of the allocator does not.
    zt::fault_guard f(1, 1);
    encap_name_t r = name_rec("p");
    gbl_cfg_avl_node_t *n =
        zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_PROFILE, 260, &r);
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(n->id, 0u);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_uid_node_t), 0u);
    zorv_drel_gbl_cfg_avl_free(n);
}

TEST(GblUpdate, Type1HasNothingToUpdate) {
    gbl_cfg_avl_node_t *n = insert(create1("p"));
    encap_name_t r = name_rec("p");
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_update(n, ZORV_TYPE1_GBL_ENCAP_PROFILE, 260, &r, 1), 0u);
    EXPECT_TRUE(zt::has_log(kUpdate, ": type:1, del?1, prof:p, map_exists?0\n"))
        << zt::dump_events();
    EXPECT_TRUE(zt::has_log(kUpdate, ": Nothing to update\n"));
    EXPECT_EQ(find("p"), n);
}

TEST(GblUpdate, UnknownTypeRefused) {
    gbl_cfg_avl_node_t *n = insert(create2("p", {{5, 1}}));
    auto m = map_val("p", {{6, 2}});
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_update(n, ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP, 0, m.get(), 0),
              ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kUpdate, ": type:7, del?0, prof:p, map_exists?1\n"));
    EXPECT_TRUE(zt::has_log(kUpdate, ": Error: Unknown type:7\n"));
    EXPECT_EQ(n->map.dot1q_vni[6], 0u);
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_update(nullptr, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, 0, m.get(), 0),
              ZORV_DREL_ERR_INVALID_ARG);
}

TEST(GblUpdate, MappedProfileOnlyFillsGaps) {
    gbl_cfg_avl_node_t *n = insert(create2("p", {{5, 8000}}));
    auto m = map_val("p", {{0, 33}, {5, 9000}, {6, 9001}, {4095, 9002}});
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_update(n, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, 0, m.get(), 0), 0u);
    EXPECT_EQ(n->map.dot1q_vni[5], 8000u);
    EXPECT_EQ(n->map.dot1q_vni[6], 9001u);
    EXPECT_EQ(n->map.dot1q_vni[4095], 9002u);
    EXPECT_EQ(n->map.dot1q_vni[0], 0u); // VLAN 0 is never examined
    EXPECT_TRUE(zt::has_log(kUpdate, ": updating vni for dot1q:6 from:0 to:9001\n"));
    EXPECT_TRUE(zt::has_log(kUpdate, ": updating vni for dot1q:4095 from:0 to:9002\n"));
    for (const auto &e : zt::events())
        EXPECT_EQ(e.find("dot1q:5 "), std::string::npos) << e;
    EXPECT_TRUE(zt::has_log(kUpdate, ": del?0, map_exists:1\n"));
}

TEST(GblUpdate, UnmappedProfileTakesTheWholeMapIncludingVlan0) {
    gbl_cfg_avl_node_t *n = insert(create1("p"));
    auto m = map_val("p", {{0, 33}, {9, 99}});
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_update(n, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, 0, m.get(), 0), 0u);
    EXPECT_EQ(n->map_exists, 1u);
    EXPECT_EQ(n->map.dot1q_vni[0], 33u);
    EXPECT_EQ(n->map.dot1q_vni[9], 99u);
    EXPECT_EQ(n->id, 1u);
    // An all-zero map still sets the flag.
    gbl_cfg_avl_node_t *z = insert(create1("z"));
    auto empty = map_val("z");
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_update(z, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, 0, empty.get(), 0),
              0u);
    EXPECT_EQ(z->map_exists, 1u);
}

TEST(GblUpdate, DeletingADifferentPairLeavesTheVlanMapped) {
    gbl_cfg_avl_node_t *n = insert(create2("p", {{5, 8000}}));
    auto m = map_val("p", {{5, 9000}});
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_update(n, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, 0, m.get(), 1), 0u);
    EXPECT_EQ(n->map.dot1q_vni[5], 8000u);
    EXPECT_EQ(n->map_exists, 1u);
    EXPECT_EQ(zt::log_count(kUpdate, ": clearing vni for dot1q:5 from:8000 to 0\n"), 0u);
    EXPECT_TRUE(zt::has_log(kUpdate, ": del?1, map_exists:1\n"));
}

TEST(GblUpdate, DeletingSomePairsKeepsTheMap) {
    gbl_cfg_avl_node_t *n = insert(create2("p", {{5, 8000}, {6, 8001}}));
    auto m = map_val("p", {{5, 8000}});
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_update(n, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, 0, m.get(), 1), 0u);
    EXPECT_EQ(n->map.dot1q_vni[5], 0u);
    EXPECT_EQ(n->map.dot1q_vni[6], 8001u);
    EXPECT_EQ(n->map_exists, 1u);
    EXPECT_TRUE(zt::has_log(kUpdate, ": clearing vni for dot1q:5 from:8000 to 0\n"));
}

TEST(GblUpdate, DeletingAllPairsClearsTheFlagButKeepsTheNode) {
    gbl_cfg_avl_node_t *n = insert(create2("p", {{0, 1}, {5, 8000}, {4095, 8001}}));
    auto m = map_val("p", {{0, 1}, {5, 8000}, {4095, 8001}});
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_update(n, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, 0, m.get(), 1), 0u);
    EXPECT_EQ(n->map_exists, 0u);
    EXPECT_EQ(n->map.dot1q_vni[5], 0u);
    EXPECT_EQ(n->map.dot1q_vni[4095], 0u);
    EXPECT_EQ(n->map.dot1q_vni[0], 1u); // VLAN 0 is not examined by a deletion
    EXPECT_TRUE(zt::has_log(kUpdate, ": type:2, del?1, prof:p, map_exists?1\n"));
    EXPECT_TRUE(zt::has_log(kUpdate, ": del?1, map_exists:0\n"));
    EXPECT_EQ(find("p"), n);
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_tlvs_size_get(n), zt::aligned16(256));
}

TEST(GblDelete, ByNodeAndByKeyKeepTheIdentifier) {
    gbl_cfg_avl_node_t *a = insert(create1("a"));
    insert(create1("b"));
    zorv_drel_gbl_cfg_delete_cache_node(a);
    EXPECT_EQ(find("a"), nullptr);
    gbl_cfg_avl_key_t k{"b"};
    zorv_drel_gbl_cfg_delete_cache_key(&k);
    EXPECT_EQ(find("b"), nullptr);
    EXPECT_EQ(tree_count(zorv_drel_gbl_cfg_avl), 0u);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_gbl_cfg_avl_node_t), 0u);
    encap_name_t probe = name_rec("a");
    EXPECT_EQ(zorv_drel_get_encap_uid(&probe), 1u);
    zorv_drel_gbl_cfg_delete_cache_node(nullptr);
    gbl_cfg_avl_key_t missing{"zz"};
    zorv_drel_gbl_cfg_delete_cache_key(&missing);
    EXPECT_EQ(zt::stats(ZORV_DREL_LIB_MEM_gbl_cfg_avl_node_t).bad_frees, 0u);
}

TEST(GblExport, ProfileWithMapGivesTwoTlvs) {
    gbl_cfg_avl_node_t *n = insert(create2("m", {{5, 8000}}));
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_tlvs_size_get(n), zt::aligned16(256) + zt::aligned16(16640));
    zt::tlv_buf buf;
    ASSERT_EQ(zorv_drel_gbl_cfg_avl_tlvs_add(n, 1u << 20, buf.get()), 0u);
    auto t = zt::tlvs(buf.get());
    ASSERT_EQ(t.size(), 2u);
    EXPECT_EQ(t[0].type, ZORV_TYPE1_GBL_ENCAP_PROFILE);
    EXPECT_EQ(t[0].value.size(), 256u);
    EXPECT_STREQ(reinterpret_cast<const char *>(t[0].value.data()), "m");
    EXPECT_EQ(t[1].type, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP);
    EXPECT_EQ(t[1].value.size(), 16640u);
    EXPECT_EQ(std::memcmp(t[1].value.data(), &n->map, 16640), 0);
}

TEST(GblExport, ProfileWithoutMapGivesOneTlv) {
    gbl_cfg_avl_node_t *n = insert(create1("p"));
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_tlvs_size_get(n), zt::aligned16(256));
    zt::tlv_buf buf;
    ASSERT_EQ(zorv_drel_gbl_cfg_avl_tlvs_add(n, 1u << 20, buf.get()), 0u);
    EXPECT_EQ(tlv_array_count(buf.get(), 1), 1u);
    EXPECT_EQ(buf.get()->len, zt::aligned16(256));
}

TEST(GblExport, NoSpaceIsPassedOn) {
    gbl_cfg_avl_node_t *n = insert(create2("m", {{5, 8000}}));
    zt::tlv_buf buf;
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_tlvs_add(n, 100, buf.get()), TLV_ERR_NO_SPACE);
    EXPECT_EQ(buf.get()->len, 0u);
    // Room for the name but not the map: the last result is the map's.
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_tlvs_add(n, 4 + zt::aligned16(256), buf.get()),
              TLV_ERR_NO_SPACE);
    EXPECT_EQ(tlv_array_count(buf.get(), 1), 1u);
}

TEST(GblNodeId, FoundAndMissing) {
    insert(create1("p"));
    insert(create2("m", {}));
    EXPECT_EQ(zorv_drel_get_gbl_cfg_node_id("p"), 1u);
    EXPECT_EQ(zorv_drel_get_gbl_cfg_node_id("m"), 0u);
    EXPECT_EQ(zorv_drel_get_gbl_cfg_node_id("zz"), 0u);
    EXPECT_TRUE(zt::has_log("zorv_drel_get_gbl_cfg_node_id", " Error: could not find encap:zz\n"))
        << zt::dump_events();
    EXPECT_FALSE(zt::has_log("zorv_drel_get_gbl_cfg_node_id", " Error: could not find encap:m\n"));
}

TEST(GblOrder, WalkIsSortedByName) {
    std::vector<std::string> names;
    for (int i = 0; i < 60; ++i)
        names.push_back("prof" + std::to_string(i * 7919 % 1000));
    std::mt19937 rng(7);
    std::shuffle(names.begin(), names.end(), rng);
    for (const auto &s : names)
        insert(create2(s, {}));
    std::sort(names.begin(), names.end());
    std::vector<std::string> walked;
    for (auto *n : zt::walk<gbl_cfg_avl_node_t>(zorv_drel_gbl_cfg_avl))
        walked.emplace_back(n->map.encap_name);
    EXPECT_EQ(walked, names);
}

TEST(GblFree, ReleasesTheNode) {
    gbl_cfg_avl_node_t *n = create2("m", {});
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_gbl_cfg_avl_node_t), 1u);
    zorv_drel_gbl_cfg_avl_free(n);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_gbl_cfg_avl_node_t), 0u);
}
