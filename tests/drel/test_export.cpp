// SPDX-License-Identifier: Apache-2.0
// Parameter export: the global, member-VNI and interface TLV arrays (exact sizes, order, values,
// empty caches, missing trees, allocation failures) and the printable rows.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zorv_test_cache.h"

namespace {

using zt::kIf;

constexpr const char *kGet = "zorv_drel_type1_cfg_get_params";
constexpr const char *kGbl = "zorv_drel_gbl_cfg_avl_get_params";
constexpr const char *kMv = "zorv_drel_gbl_cfg_memvni_avl_get_params";
constexpr const char *kIfg = "zorv_drel_if_cfg_avl_get_params";
constexpr const char *kInfo = "zorv_drel_type1_cfg_get_param_info";

tlv_array_t *const kJunk = reinterpret_cast<tlv_array_t *>(uintptr_t{0x77});

struct array_holder {
    tlv_array_t *p = nullptr;
    ~array_holder() {
        if (p != nullptr && p != kJunk) tracked_free(zt::kSvc, p);
    }
};
struct info_holder {
    drelm_app_info_t *p = nullptr;
    ~info_holder() {
        if (p != nullptr) tracked_free(zt::kSvc, p);
    }
};

class ExportTest : public ::testing::Test {
  protected:
    zt::live_baseline base;

    static void fill_global() {
        auto b = zt::memvnis({{200, 6000}, {100, 5000}});
        auto map = zt::map_val("silver", {{5, 9000}, {4095, 9001}});
        b.add(ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, map.get(), sizeof *map);
        zt::add_bytes(b, ZORV_TYPE1_GBL_ENCAP_PROFILE, zt::name_wire("gold"));
        ASSERT_EQ(zorv_drel_type1_cfg_cache_rebuild(b.get(), 1, 0), 0u);
    }
    static void fill_interface() {
        zt::tlv_buf b;
        zt::add_bytes(b, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                      zt::make_vsi_all(kIf, 7, 1, ZORV_MAP_MODE_LLDP,
                                       {{9000, 5}, {9002, 20}, {9001, 6}}, {5, 6, 20}, "gold"));
        zt::add_bytes(b, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                      zt::make_vsi_all(kIf, 3, 0, ZORV_MAP_MODE_STATIC, {}, {}, ""));
        ASSERT_EQ(zorv_drel_type1_cfg_cache_rebuild(b.get(), 0, kIf), 0u);
        zt::tlv_buf o;
        zt::add_bytes(o, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                      zt::make_vsi_all(zt::kIf2, 7, 1, 1, {{7000, 7}}));
        ASSERT_EQ(zorv_drel_type1_cfg_cache_rebuild(o.get(), 0, zt::kIf2), 0u);
    }
};

// ---- global export -----------------------------------------------------------------------------

TEST_F(ExportTest, EmptyGlobalCacheIsSuccessWithNullArray) {
    array_holder a;
    a.p = kJunk;
    EXPECT_EQ(zorv_drel_type1_cfg_get_params(1, 0, &a.p), 0u);
    EXPECT_EQ(a.p, nullptr);
    EXPECT_TRUE(zt::has_log(kGet, ": type-1 cfg param get gbl=1, ifi=0x0\n"));
    EXPECT_TRUE(zt::has_log(kGbl, ": Error: No configured entries found \n"));
    base.expect_same();
}

TEST_F(ExportTest, GlobalArrayExactSizeOrderAndValues) {
    fill_global();
    {
        array_holder a;
        ASSERT_EQ(zorv_drel_type1_cfg_get_params(1, 0, &a.p), 0u);
        ASSERT_NE(a.p, nullptr);
        // 4 + gold {260} + silver {260 + 16644} + two member VNIs {12 each}
        const uint32_t size = 4 + 260 + 260 + 16644 + 24;
        EXPECT_EQ(zt::stats(ZORV_DREL_LIB_MEM_tlv_array_t).live_bytes, size);
        EXPECT_EQ(a.p->len + 4, size);
        EXPECT_TRUE(zt::has_log(kGbl, ": TLV array size " + std::to_string(size) + "\n"));
        auto map = zt::map_val("silver", {{5, 9000}, {4095, 9001}});
        zt::expect_global_tlvs(zt::tlvs(a.p), {"gold", "silver"}, map.get(),
                               {{100, 5000}, {200, 6000}});
        EXPECT_TRUE(zt::has_log(kGbl, ": Adding memvni tlv - bd:100, vni:5000\n"));
        EXPECT_TRUE(zt::has_log(kGbl, ": Adding memvni tlv - bd:200, vni:6000\n"));
        EXPECT_TRUE(zt::has_log(kGbl, ": num_tlvs = 5\n"));
    }
    base.expect_same();
}

TEST_F(ExportTest, ProfileWithoutMapGivesOneTlv) {
    zt::tlv_buf b;
    zt::add_bytes(b, ZORV_TYPE1_GBL_ENCAP_PROFILE, zt::name_wire("gold"));
    ASSERT_EQ(zorv_drel_type1_cfg_cache_rebuild(b.get(), 1, 0), 0u);
    array_holder a;
    ASSERT_EQ(zorv_drel_gbl_cfg_avl_get_params(&a.p), 0u);
    EXPECT_EQ(zt::stats(ZORV_DREL_LIB_MEM_tlv_array_t).live_bytes, 264u);
    const auto t = zt::tlvs(a.p);
    ASSERT_EQ(t.size(), 1u);
    EXPECT_EQ(t[0].type, ZORV_TYPE1_GBL_ENCAP_PROFILE);
    EXPECT_EQ(t[0].value.size(), 256u);
}

TEST_F(ExportTest, GlobalArrayAllocationFailureReturnsOne) {
    fill_global();
    array_holder a;
    tracked_mem_fault_set(zt::kSvc, 0, 1);
    const uint32_t rc = zorv_drel_type1_cfg_get_params(1, 0, &a.p);
    tracked_mem_fault_set(zt::kSvc, 0, 0);
    EXPECT_EQ(rc, 1u);
    EXPECT_EQ(a.p, nullptr);
    base.expect_same();
}

TEST_F(ExportTest, GlobalMemberVniValueFailure) {
    fill_global();
    array_holder a;
    tracked_mem_fault_set(zt::kSvc, 1, 1); // the array, then the first member-VNI value
    const uint32_t rc = zorv_drel_gbl_cfg_avl_get_params(&a.p);
    tracked_mem_fault_set(zt::kSvc, 0, 0);
    EXPECT_EQ(rc, ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(a.p, nullptr);
    EXPECT_TRUE(zt::has_log(kGbl, ": Error: Unable to add memvni tlv\n"));
    base.expect_same();
}

TEST_F(ExportTest, GlobalTreesUninitialized) {
    tree_t *const saved = zorv_drel_gbl_cfg_avl;
    zorv_drel_gbl_cfg_avl = nullptr;
    array_holder a;
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_get_params(&a.p), ZORV_DREL_ERR_INVALID_ARG);
    zorv_drel_gbl_cfg_avl = saved;
    EXPECT_EQ(zt::log_count(kGbl, ": Error: tree uninitialized\n"), 1u);

    tree_t *const saved_mv = zorv_drel_gbl_cfg_memvni_avl;
    zorv_drel_gbl_cfg_memvni_avl = nullptr;
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_get_params(&a.p), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(zorv_drel_gbl_cfg_memvni_avl_get_params(&a.p), ZORV_DREL_ERR_INVALID_ARG);
    zorv_drel_gbl_cfg_memvni_avl = saved_mv;
    EXPECT_EQ(zt::log_count(kGbl, ": Error: tree uninitialized\n"), 2u);
    EXPECT_TRUE(zt::has_log(kMv, ": Error: tree uninitialized\n"));
    EXPECT_EQ(a.p, nullptr);
}

// ---- member-VNI export
// ---------------------------------------------------------------------------

TEST_F(ExportTest, MemberVniExportAlone) {
    fill_global();
    {
        array_holder a;
        ASSERT_EQ(zorv_drel_gbl_cfg_memvni_avl_get_params(&a.p), 0u);
        EXPECT_EQ(zt::stats(ZORV_DREL_LIB_MEM_tlv_array_t).live_bytes, 28u);
        const auto t = zt::tlvs(a.p);
        ASSERT_EQ(t.size(), 2u);
        EXPECT_EQ(zt::read_as<member_vni_t>(t[0].value).vni, 5000u);
        EXPECT_EQ(zt::read_as<member_vni_t>(t[1].value).vni, 6000u);
        EXPECT_TRUE(zt::has_log(kMv, ": TLV array size 28\n"));
        EXPECT_TRUE(zt::has_log(kMv, ": num_tlvs = 2\n"));
    }
    base.expect_same();
}

TEST_F(ExportTest, MemberVniExportEmpty) {
    array_holder a;
    a.p = kJunk;
    EXPECT_EQ(zorv_drel_gbl_cfg_memvni_avl_get_params(&a.p), 0u);
    EXPECT_EQ(a.p, nullptr);
    EXPECT_TRUE(zt::has_log(kMv, ": Error: No configured entries found \n"));
}

TEST_F(ExportTest, MemberVniExportFailures) {
    fill_global();
    array_holder a;
    tracked_mem_fault_set(zt::kSvc, 0, 1);
    EXPECT_EQ(zorv_drel_gbl_cfg_memvni_avl_get_params(&a.p), ZORV_DREL_ERR_NO_MEMORY);
    tracked_mem_fault_set(zt::kSvc, 1, 1);
    EXPECT_EQ(zorv_drel_gbl_cfg_memvni_avl_get_params(&a.p), ZORV_DREL_ERR_INVALID_ARG);
    tracked_mem_fault_set(zt::kSvc, 0, 0);
    EXPECT_TRUE(zt::has_log(kMv, ": Error: Unable to add tlv\n"));
    EXPECT_EQ(a.p, nullptr);
    base.expect_same();
}

// ---- interface export
// ----------------------------------------------------------------------------

TEST_F(ExportTest, InterfaceWithoutNodes) {
    array_holder a;
    a.p = kJunk;
    EXPECT_EQ(zorv_drel_type1_cfg_get_params(0, kIf, &a.p), 0u);
    EXPECT_EQ(a.p, nullptr);
    EXPECT_TRUE(zt::has_log(kGet, ": type-1 cfg param get gbl=0, ifi=0x1000\n"));
    EXPECT_TRUE(zt::has_log(kIfg, ": Error: No config entries found \n"));
    // nodes of another interface only
    zt::tlv_buf o;
    zt::add_bytes(o, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, zt::make_vsi_all(zt::kIf2, 7, 1, 1, {}));
    ASSERT_EQ(zorv_drel_type1_cfg_cache_rebuild(o.get(), 0, zt::kIf2), 0u);
    EXPECT_EQ(zorv_drel_type1_cfg_get_params(0, kIf, &a.p), 0u);
    EXPECT_EQ(a.p, nullptr);
    EXPECT_EQ(zt::log_count(kIfg, ": Error: No config entries found \n"), 2u);
    base.expect_same();
}

TEST_F(ExportTest, InterfaceArrayValuesAndOverReservation) {
    fill_interface();
    {
        array_holder a;
        ASSERT_EQ(zorv_drel_type1_cfg_get_params(0, kIf, &a.p), 0u);
        ASSERT_NE(a.p, nullptr);
        // vsi 3: aligned(792); vsi 7: aligned(792) + aligned(24): one TLV per node is written,
        // so 4 bytes stay unused
        const uint32_t size = 4 + 796 + 796 + 28;
        EXPECT_EQ(zt::stats(ZORV_DREL_LIB_MEM_tlv_array_t).live_bytes, size);
        EXPECT_EQ(a.p->len, 796u + 820u);
        EXPECT_TRUE(zt::has_log(kIfg, ": TLV array size " + std::to_string(size) + "\n"));
        const auto t = zt::tlvs(a.p);
        ASSERT_EQ(t.size(), 2u);
        // service-instance order: 3, then 7
        EXPECT_EQ(t[0].type, ZORV_TYPE1_INTF_VSI_ATTRIBUTES);
        ASSERT_EQ(t[0].value.size(), 792u);
        const auto *v3 = reinterpret_cast<const vsi_all_t *>(t[0].value.data());
        EXPECT_EQ(v3->vsi, 3u);
        EXPECT_EQ(v3->dyn_map_cnt, 0u);
        EXPECT_EQ(v3->map_mode, ZORV_MAP_MODE_STATIC);
        EXPECT_EQ(zt::read_as<uint32_t>(t[0].value, 20), 512u);

        ASSERT_EQ(t[1].value.size(), 816u);
        const auto *v7 = reinterpret_cast<const vsi_all_t *>(t[1].value.data());
        EXPECT_EQ(v7->if_index, kIf);
        EXPECT_EQ(v7->vsi, 7u);
        EXPECT_EQ(v7->admin, 1u);
        EXPECT_EQ(v7->map_mode, ZORV_MAP_MODE_LLDP);
        EXPECT_EQ(v7->dyn_map_cnt, 3u);
        const vsi_dyn_map_t expect[3] = {{9000, 5}, {9001, 6}, {9002, 20}};
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(v7->dyn_map[i].vni, expect[i].vni) << i;
            EXPECT_EQ(v7->dyn_map[i].dot1q, expect[i].dot1q) << i;
        }
        const vsi_all_tail_t *tail = ZORV_VSI_ALL_TAIL(v7, 3);
        EXPECT_EQ(tail->dot1q_bmp.len, 512u);
        EXPECT_TRUE(zorv::bmp::test(tail->dot1q_bmp, 20));
        EXPECT_FALSE(zorv::bmp::test(tail->dot1q_bmp, 7));
        EXPECT_STREQ(tail->prof_name, "gold");

        EXPECT_TRUE(zt::has_log(kIfg, ": setting dyn map(3): "));
        EXPECT_TRUE(zt::has_log(kIfg, ": setting dyn map(0): "));
        EXPECT_TRUE(zt::has_raw("0)5,9000 "));
        EXPECT_TRUE(zt::has_raw("1)6,9001 "));
        EXPECT_TRUE(zt::has_raw("2)20,9002 "));
        EXPECT_TRUE(zt::has_raw("\n"));
        EXPECT_EQ(zt::log_count(kIfg, ": added tlv\n"), 2u);
        EXPECT_TRUE(zt::has_log(kIfg, ": num_tlvs = 2\n"));
    }
    base.expect_same();
}

TEST_F(ExportTest, InterfaceModesFromFlags) {
    const uint32_t modes[] = {ZORV_MAP_MODE_STATIC, ZORV_MAP_MODE_DFS, ZORV_MAP_MODE_VMT,
                              ZORV_MAP_MODE_VDP, ZORV_MAP_MODE_LLDP};
    zt::tlv_buf b;
    for (uint32_t m : modes)
        zt::add_bytes(b, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, zt::make_vsi_all(kIf, 10 + m, 1, m, {}));
    ASSERT_EQ(zorv_drel_type1_cfg_cache_rebuild(b.get(), 0, kIf), 0u);
    array_holder a;
    ASSERT_EQ(zorv_drel_if_cfg_avl_get_params(kIf, &a.p), 0u);
    const auto t = zt::tlvs(a.p);
    ASSERT_EQ(t.size(), 5u);
    for (size_t i = 0; i < 5; ++i)
        EXPECT_EQ(reinterpret_cast<const vsi_all_t *>(t[i].value.data())->map_mode, modes[i]);
}

TEST_F(ExportTest, InterfaceAllocationFailures) {
    fill_interface();
    array_holder a;
    tracked_mem_fault_set(zt::kSvc, 0, 1);
    EXPECT_EQ(zorv_drel_if_cfg_avl_get_params(kIf, &a.p), 1u);
    tracked_mem_fault_set(zt::kSvc, 1, 1);
    EXPECT_EQ(zorv_drel_if_cfg_avl_get_params(kIf, &a.p), ZORV_DREL_ERR_NO_MEMORY);
    tracked_mem_fault_set(zt::kSvc, 0, 0);
    EXPECT_TRUE(zt::has_log(kIfg, ": Failed malloc for sz:792\n"));
    EXPECT_EQ(a.p, nullptr);
    base.expect_same();
}

TEST_F(ExportTest, InterfaceTreeUninitialized) {
    tree_t *const saved = zorv_drel_if_cfg_avl;
    zorv_drel_if_cfg_avl = nullptr;
    array_holder a;
    const uint32_t rc = zorv_drel_type1_cfg_get_params(0, kIf, &a.p);
    zorv_drel_if_cfg_avl = saved;
    EXPECT_EQ(rc, ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kIfg, ": Error: tree uninitialized\n"));
}

TEST_F(ExportTest, NullOutputIsRefused) {
    EXPECT_EQ(zorv_drel_type1_cfg_get_params(1, 0, nullptr), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(zorv_drel_gbl_cfg_avl_get_params(nullptr), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(zorv_drel_gbl_cfg_memvni_avl_get_params(nullptr), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(zorv_drel_if_cfg_avl_get_params(kIf, nullptr), ZORV_DREL_ERR_INVALID_ARG);
}

// ---- printable rows
// ------------------------------------------------------------------------------

void expect_entry(const drelm_app_info_entry_t &e, uint32_t type, const char *name,
                  const std::string &value) {
    EXPECT_EQ(e.info_tag, 160u);
    EXPECT_EQ(e.param_type, type);
    EXPECT_EQ(e.reserved, 0u);
    EXPECT_STREQ(e.feature_name, "ZORV");
    EXPECT_STREQ(e.param_name, name);
    EXPECT_EQ(std::string(e.param_value), value);
}

TEST_F(ExportTest, ParamInfoRows) {
    auto b = zt::memvnis({{100, 5000}});
    zt::add_bytes(b, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                  zt::make_vsi_all(kIf, 7, 1, ZORV_MAP_MODE_VDP, {{9000, 5}}, {5}, "gold"));
    {
        zt::exact_buf exact = zt::exact_array(b);
        info_holder i;
        ASSERT_EQ(zorv_drel_type1_cfg_get_param_info(exact.as<tlv_array_t>(), &i.p), 0u);
        ASSERT_NE(i.p, nullptr);
        EXPECT_EQ(zt::stats(ZORV_DREL_LIB_MEM_drelm_app_info_t).live_bytes, 4u + 2u * 780u);
        EXPECT_EQ(i.p->count, 2u);
        expect_entry(i.p->entries[0], 8, "Gbl BD member vni", "BD:100 VNI:5000");
        expect_entry(i.p->entries[1], 9, "Service instance vni",
                     "Vsi:7 Admin:Up Map:5,9000  VDP:TRUE VMT:FALSE DFS:FALSE LLDP:FALSE "
                     "AllwdDot1q: 5 ProfName: gold");
        EXPECT_TRUE(zt::has_log_prefix(kInfo, ": type-1 (tlv_array:0x"));
        EXPECT_TRUE(zt::has_log(kInfo, ": Num Tlvs 2 \n"));
    }
    base.expect_same();
}

TEST_F(ExportTest, ParamInfoStopsAtOtherTypes) {
    auto b = zt::memvnis({{100, 5000}});
    zt::add_bytes(b, ZORV_TYPE1_GBL_ENCAP_PROFILE, zt::name_wire("gold"));
    info_holder i;
    EXPECT_EQ(zorv_drel_type1_cfg_get_param_info(b.get(), &i.p), ZORV_DREL_ERR_INVALID_ARG);
    ASSERT_NE(i.p, nullptr); // handed over all the same
    EXPECT_EQ(i.p->count, 2u);
    expect_entry(i.p->entries[0], 8, "Gbl BD member vni", "BD:100 VNI:5000");
    EXPECT_EQ(i.p->entries[1].info_tag, 0u);
    EXPECT_TRUE(zt::has_log(kInfo, ": Invalid param type:1\n"));
}

TEST_F(ExportTest, ParamInfoNullAndEmpty) {
    drelm_app_info_t *const junk = reinterpret_cast<drelm_app_info_t *>(uintptr_t{0x77});
    drelm_app_info_t *p = junk;
    EXPECT_EQ(zorv_drel_type1_cfg_get_param_info(nullptr, &p), 0u);
    EXPECT_EQ(p, junk);
    zt::tlv_buf b;
    EXPECT_EQ(zorv_drel_type1_cfg_get_param_info(b.get(), &p), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(p, junk);
    base.expect_same();
}

TEST_F(ExportTest, ParamInfoAllocationFailureReturnsOne) {
    auto b = zt::memvnis({{100, 5000}});
    drelm_app_info_t *p = reinterpret_cast<drelm_app_info_t *>(uintptr_t{0x77});
    tracked_mem_fault_set(zt::kSvc, 0, 1);
    const uint32_t rc = zorv_drel_type1_cfg_get_param_info(b.get(), &p);
    tracked_mem_fault_set(zt::kSvc, 0, 0);
    EXPECT_EQ(rc, 1u);
    EXPECT_EQ(p, nullptr);
    base.expect_same();
}

TEST_F(ExportTest, ParamInfoRefusesUncheckedValues) {
    {
        zt::tlv_buf b;
        const uint32_t bd = 100;
        b.add(ZORV_TYPE1_GBL_MEMBER_VNI, &bd, 4);
        info_holder i;
        EXPECT_EQ(zorv_drel_type1_cfg_get_param_info(b.get(), &i.p), ZORV_DREL_ERR_INVALID_ARG);
        EXPECT_TRUE(zt::has_log(kInfo, ": Error: value of type:8 too short (len:4, need:8)\n"));
        ASSERT_NE(i.p, nullptr);
        EXPECT_EQ(i.p->entries[0].info_tag, 0u);
    }
    {
        zt::tlv_buf b;
        auto v = zt::make_vsi_all(kIf, 7, 1, 1, {{9000, 5}});
        reinterpret_cast<vsi_all_t *>(v.data())->dyn_map_cnt = 100;
        zt::add_bytes(b, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, v);
        zt::exact_buf exact = zt::exact_array(b);
        info_holder i;
        EXPECT_EQ(zorv_drel_type1_cfg_get_param_info(exact.as<tlv_array_t>(), &i.p),
                  ZORV_DREL_ERR_INVALID_ARG);
        EXPECT_TRUE(zt::has_log(kInfo, ": Error: malformed value of type:9 len:800\n"));
    }
    base.expect_same();
}

// An older peer sends nothing behind the pairs; its short summary reads only the head and the
// pairs, so a value that ends after them has its row. A newer peer's value needs the rest.
TEST_F(ExportTest, ParamInfoOfAnOlderPeerNeedsOnlyTheHeadAndPairs) {
    auto v = zt::make_vsi_all(kIf, 7, 1, 1, {{9000, 5}});
    v.resize(sizeof(vsi_all_t) + 8);
    zt::tlv_buf b;
    zt::add_bytes(b, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, v);
    zt::exact_buf exact = zt::exact_array(b);
    drelm_host_set_pelk_oper_ver(39);
    {
        info_holder i;
        EXPECT_EQ(zorv_drel_type1_cfg_get_param_info(exact.as<tlv_array_t>(), &i.p), 0u)
            << zt::dump_events();
        ASSERT_NE(i.p, nullptr);
        expect_entry(i.p->entries[0], 9, "Service instance vni",
                     "Vsi:7 Admin:Up Map:5,9000  VDP:FALSE DFS:FALSE");
    }
    drelm_host_set_pelk_oper_ver(40);
    {
        info_holder i;
        EXPECT_EQ(zorv_drel_type1_cfg_get_param_info(exact.as<tlv_array_t>(), &i.p),
                  ZORV_DREL_ERR_INVALID_ARG);
        EXPECT_TRUE(zt::has_log(kInfo, ": Error: malformed value of type:9 len:28\n"));
    }
    base.expect_same();
}

TEST_F(ExportTest, ParamInfoWalkFailure) {
    auto b = zt::memvnis({{100, 5000}});
    zt::append_cut_tlv(b, 9, 792);
    info_holder i;
    EXPECT_EQ(zorv_drel_type1_cfg_get_param_info(b.get(), &i.p), TLV_ERR_MALFORMED);
    ASSERT_NE(i.p, nullptr);
    EXPECT_EQ(i.p->count, 2u);
    expect_entry(i.p->entries[0], 8, "Gbl BD member vni", "BD:100 VNI:5000");
    EXPECT_TRUE(zt::has_log(kInfo, zt::rc_text(TLV_ERR_MALFORMED, "to retrieve tlv")));
}

} // namespace
