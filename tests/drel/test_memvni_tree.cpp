// SPDX-License-Identifier: Apache-2.0
// Member-VNI tree: unsigned VNI order, the {bd, vni} to {vni, bd} swap, keys, update, delete,
// export.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "zorv_test_cache.h"

namespace {

constexpr const char *kCreate = "zorv_drel_create_gbl_memvni_node";
constexpr const char *kUpdate = "zorv_drel_gbl_cfg_memvni_avl_update";

gbl_cfg_memvni_avl_node_t *add(uint32_t bd, uint32_t vni) {
    member_vni_t v = zt::memvni(bd, vni);
    gbl_cfg_memvni_avl_node_t *n =
        zorv_drel_create_gbl_memvni_node(nullptr, ZORV_TYPE1_GBL_MEMBER_VNI, 8, &v);
    EXPECT_NE(n, nullptr);
    EXPECT_EQ(tree_insert(zorv_drel_gbl_cfg_memvni_avl, n), 0);
    return n;
}

gbl_cfg_memvni_avl_node_t *find(uint32_t vni) {
    gbl_cfg_memvni_avl_node_t k{vni, 0};
    return static_cast<gbl_cfg_memvni_avl_node_t *>(tree_find(zorv_drel_gbl_cfg_memvni_avl, &k));
}

} // namespace

TEST(MemvniCompare, UnsignedVniOrder) {
    gbl_cfg_memvni_avl_node_t a{1, 9}, b{0x00FFFFFF, 1}, c{0x80000000u, 0}, a2{1, 77};
    EXPECT_EQ(zorv_drel_gbl_cfg_memvni_avl_cmp_func(&a, &b), -1);
    EXPECT_EQ(zorv_drel_gbl_cfg_memvni_avl_cmp_func(&b, &a), 1);
    EXPECT_EQ(zorv_drel_gbl_cfg_memvni_avl_cmp_func(&b, &c), -1);
    EXPECT_EQ(zorv_drel_gbl_cfg_memvni_avl_cmp_func(&a, &a2), 0); // bd does not count
}

TEST(MemvniCreate, SwapsWireOrderAndIsFoundUnderTheVni) {
    member_vni_t v = zt::memvni(100, 5000);
    gbl_cfg_memvni_avl_node_t *n =
        zorv_drel_create_gbl_memvni_node(nullptr, ZORV_TYPE1_GBL_MEMBER_VNI, 8, &v);
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(n->vni, 5000u);
    EXPECT_EQ(n->bd, 100u);
    ASSERT_EQ(tree_insert(zorv_drel_gbl_cfg_memvni_avl, n), 0);
    EXPECT_EQ(find(5000), n);
    EXPECT_EQ(find(100), nullptr);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_gbl_cfg_memvni_avl_node_t), 1u);
    EXPECT_EQ(zt::stats(ZORV_DREL_LIB_MEM_gbl_cfg_memvni_avl_node_t).live_bytes, 8u);
}

TEST(MemvniCreate, UnknownTypeGivesNull) {
    member_vni_t v = zt::memvni(1, 2);
    EXPECT_EQ(zorv_drel_create_gbl_memvni_node(nullptr, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, 8, &v),
              nullptr);
    EXPECT_TRUE(zt::has_log(kCreate, ": Error: Unknown type:9\n")) << zt::dump_events();
    EXPECT_EQ(zt::stats(ZORV_DREL_LIB_MEM_gbl_cfg_memvni_avl_node_t).allocs, 0u);
}

TEST(MemvniCreate, AllocationFailureGivesNull) {
    zt::fault_guard f(0, 1);
    member_vni_t v = zt::memvni(1, 2);
    EXPECT_EQ(zorv_drel_create_gbl_memvni_node(nullptr, ZORV_TYPE1_GBL_MEMBER_VNI, 8, &v), nullptr);
    EXPECT_TRUE(zt::has_log(kCreate, ": Failed malloc\n"));
    EXPECT_EQ(zt::live_blocks(), 0u);
}

TEST(MemvniKey, Type8SetsTheVniOthersRefused) {
    member_vni_t v = zt::memvni(100, 5000);
    gbl_cfg_memvni_avl_node_t k{7, 7};
    EXPECT_EQ(zorv_drel_set_gbl_memvni_key(&k, ZORV_TYPE1_GBL_MEMBER_VNI, 8, &v), 0u);
    EXPECT_EQ(k.vni, 5000u);
    gbl_cfg_memvni_avl_node_t k2{7, 7};
    for (uint16_t t : {1, 2, 5, 9}) {
        EXPECT_EQ(zorv_drel_set_gbl_memvni_key(&k2, t, 8, &v), ZORV_DREL_ERR_INVALID_ARG);
        EXPECT_EQ(k2.vni, 7u);
        EXPECT_EQ(k2.bd, 7u);
    }
}

TEST(MemvniUpdate, RebindsTheVni) {
    gbl_cfg_memvni_avl_node_t *n = add(100, 5000);
    member_vni_t v = zt::memvni(200, 5000);
    EXPECT_EQ(zorv_drel_gbl_cfg_memvni_avl_update(n, ZORV_TYPE1_GBL_MEMBER_VNI, 8, &v), 0u);
    EXPECT_EQ(find(5000)->bd, 200u);
}

TEST(MemvniUpdate, UnknownTypeRefused) {
    gbl_cfg_memvni_avl_node_t *n = add(100, 5000);
    member_vni_t v = zt::memvni(200, 5000);
    EXPECT_EQ(zorv_drel_gbl_cfg_memvni_avl_update(n, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, 8, &v),
              ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kUpdate, ": Error: Unknown type:2\n"));
    EXPECT_EQ(n->bd, 100u);
}

TEST(MemvniDelete, ByNodeByKeyAndNull) {
    gbl_cfg_memvni_avl_node_t *a = add(1, 10);
    add(2, 20);
    zorv_drel_gbl_cfg_memvni_delete_cache_node(nullptr);
    EXPECT_EQ(tree_count(zorv_drel_gbl_cfg_memvni_avl), 2u);
    zorv_drel_gbl_cfg_memvni_delete_cache_node(a);
    EXPECT_EQ(find(10), nullptr);
    gbl_cfg_memvni_avl_node_t k{20, 0};
    zorv_drel_gbl_cfg_memvni_delete_cache_key(&k);
    EXPECT_EQ(find(20), nullptr);
    gbl_cfg_memvni_avl_node_t missing{30, 0};
    zorv_drel_gbl_cfg_memvni_delete_cache_key(&missing);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_gbl_cfg_memvni_avl_node_t), 0u);
    EXPECT_EQ(zt::stats().bad_frees, 0u);
}

TEST(MemvniOrder, WalkIsUnsignedAscending) {
    std::vector<uint32_t> vnis = {0x00FFFFFF, 1, 5000, 0x800000, 77, 2, 0x00FFFFFE};
    for (uint32_t v : vnis)
        add(v % 4096, v);
    std::sort(vnis.begin(), vnis.end());
    std::vector<uint32_t> walked;
    for (auto *n : zt::walk<gbl_cfg_memvni_avl_node_t>(zorv_drel_gbl_cfg_memvni_avl))
        walked.push_back(n->vni);
    EXPECT_EQ(walked, vnis);
    EXPECT_EQ(walked.front(), 1u);
}

TEST(MemvniExport, SizeAndOneWireTlv) {
    EXPECT_EQ(zorv_drel_gbl_cfg_memvni_avl_tlvs_size_get(nullptr), zt::aligned16(8));
    member_vni_t v = zt::memvni(100, 5000);
    zt::tlv_buf buf;
    ASSERT_EQ(zorv_drel_gbl_cfg_memvni_avl_tlvs_add(&v, 1u << 20, buf.get()), 0u);
    auto t = zt::tlvs(buf.get());
    ASSERT_EQ(t.size(), 1u);
    EXPECT_EQ(t[0].type, ZORV_TYPE1_GBL_MEMBER_VNI);
    EXPECT_EQ(t[0].value.size(), 8u);
    EXPECT_EQ(std::memcmp(t[0].value.data(), &v, 8), 0);
    EXPECT_EQ(zorv_drel_gbl_cfg_memvni_avl_tlvs_add(&v, 8, buf.get()), TLV_ERR_NO_SPACE);
}

TEST(MemvniFree, ReleasesTheNode) {
    member_vni_t v = zt::memvni(1, 2);
    gbl_cfg_memvni_avl_node_t *n =
        zorv_drel_create_gbl_memvni_node(nullptr, ZORV_TYPE1_GBL_MEMBER_VNI, 8, &v);
    zorv_drel_gbl_cfg_memvni_avl_free(n);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_gbl_cfg_memvni_avl_node_t), 0u);
}
