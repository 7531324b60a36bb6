// SPDX-License-Identifier: Apache-2.0
// Round trips: configuration messages (and a rebuild for the global profiles) in, the exported
// TLV array and the printable rows out, compared field by field with what went in.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "zorv_test_cache.h"

namespace {

using zt::extraction;
using zt::kIf;
using zt::kIf2;

struct vsi_in {
    uint32_t vsi;
    uint32_t admin;
    uint32_t mode;
    std::vector<std::pair<uint32_t, uint32_t>> pairs; // (vni, dot1q), ascending dot1q
    std::vector<uint32_t> allowed;
    std::string prof;
};

void send(uint32_t is_delete, uint32_t if_index, const zt::tlv_buf &b, bool with_header) {
    zt::msg_ptr m = zt::update_msg(is_delete, if_index, b, with_header);
    extraction x;
    zt::extract(m.get(), x);
    ASSERT_EQ(x.rc, 0u) << zt::dump_events();
    ASSERT_FALSE(x.array_untouched());
    ASSERT_FALSE(x.info_untouched());
}

TEST(RoundTrip, InterfaceScope) {
    drelm_host_set_interface(kIf, 1, 5);
    drelm_host_set_interface(kIf2, 1, 5);
    const zt::live_baseline base;
    const std::vector<vsi_in> in = {
        {4, 1, ZORV_MAP_MODE_DFS, {{9000, 5}, {9001, 6}, {12000, 4000}}, {5, 6, 4000}, "gold"},
        {9, 0, ZORV_MAP_MODE_VMT, {}, {1, 2, 3}, std::string(300, 'p')},
        {2, 1, ZORV_MAP_MODE_STATIC, {{16777215, 1}}, {}, ""},
    };
    {
        zt::tlv_buf b;
        for (const vsi_in &v : in)
            zt::add_bytes(
                b, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                zt::make_vsi_all(kIf, v.vsi, v.admin, v.mode, v.pairs, v.allowed, v.prof));
        send(0, kIf, b, true);
        zt::tlv_buf other;
        zt::add_bytes(other, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                      zt::make_vsi_all(kIf2, 4, 1, 1, {{7000, 7}}));
        send(0, kIf2, other, false);
        // a later admin change of service instance 9 through the bare form
        zt::tlv_buf admin;
        admin.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 9, 1});
        send(0, kIf, admin, false);
    }
    {
        tlv_array_t *out = nullptr;
        ASSERT_EQ(zorv_drel_type1_cfg_get_params(0, kIf, &out), 0u);
        ASSERT_NE(out, nullptr);
        const auto t = zt::tlvs(out);
        ASSERT_EQ(t.size(), 3u);
        // service-instance order: 2, 4, 9
        const std::map<uint32_t, const vsi_in *> by_vsi = {
            {in[0].vsi, &in[0]}, {in[1].vsi, &in[1]}, {in[2].vsi, &in[2]}};
        auto it = by_vsi.begin();
        for (size_t i = 0; i < t.size(); ++i, ++it) {
            const vsi_in &want = *it->second;
            SCOPED_TRACE("vsi " + std::to_string(want.vsi));
            EXPECT_EQ(t[i].type, ZORV_TYPE1_INTF_VSI_ATTRIBUTES);
            ASSERT_EQ(t[i].value.size(), 792u + 8u * want.pairs.size());
            const auto *v = reinterpret_cast<const vsi_all_t *>(t[i].value.data());
            EXPECT_EQ(v->if_index, kIf);
            EXPECT_EQ(v->vsi, want.vsi);
            EXPECT_EQ(v->admin, want.vsi == 9 ? 1u : want.admin);
            EXPECT_EQ(v->map_mode, want.mode);
            ASSERT_EQ(v->dyn_map_cnt, want.pairs.size());
            for (size_t p = 0; p < want.pairs.size(); ++p) {
                EXPECT_EQ(v->dyn_map[p].vni, want.pairs[p].first);
                EXPECT_EQ(v->dyn_map[p].dot1q, want.pairs[p].second);
            }
            const vsi_all_tail_t *tail = ZORV_VSI_ALL_TAIL(v, want.pairs.size());
            EXPECT_EQ(tail->dot1q_bmp.len, 512u);
            bmp4096_t allowed{};
            for (uint32_t a : want.allowed)
                zorv::bmp::set(allowed, a);
            EXPECT_EQ(std::memcmp(tail->dot1q_bmp.bits, allowed.bits, 512), 0);
            EXPECT_EQ(std::string(tail->prof_name), want.prof.substr(0, 255));
        }

        drelm_app_info_t *info = nullptr;
        ASSERT_EQ(zorv_drel_type1_cfg_get_param_info(out, &info), 0u);
        ASSERT_NE(info, nullptr);
        ASSERT_EQ(info->count, 3u);
        EXPECT_STREQ(info->entries[0].param_value,
                     "Vsi:2 Admin:Up Map:1,16777215  VDP:FALSE VMT:FALSE DFS:FALSE LLDP:FALSE "
                     "AllwdDot1q:  ProfName: ");
        EXPECT_STREQ(info->entries[1].param_value,
                     "Vsi:4 Admin:Up Map:5,9000 6,9001 4000,12000  VDP:FALSE VMT:FALSE DFS:TRUE "
                     "LLDP:FALSE AllwdDot1q: 5-6,4000 ProfName: gold");
        const std::string head = "Vsi:9 Admin:Up Map: VDP:FALSE VMT:TRUE DFS:FALSE LLDP:FALSE "
                                 "AllwdDot1q: 1-3 ProfName: ";
        EXPECT_EQ(std::string(info->entries[2].param_value),
                  (head + std::string(255, 'p')).substr(0, 255));
        for (uint32_t i = 0; i < 3; ++i) {
            EXPECT_EQ(info->entries[i].info_tag, 160u);
            EXPECT_EQ(info->entries[i].param_type, 9u);
            EXPECT_STREQ(info->entries[i].param_name, "Service instance vni");
            EXPECT_STREQ(info->entries[i].feature_name, "ZORV");
        }
        tracked_free(zt::kSvc, info);
        tracked_free(zt::kSvc, out);
    }
    base.expect_same();

    // deleting every attribute TLV through messages empties the export again
    zt::tlv_buf del;
    for (const vsi_in &v : in)
        zt::add_bytes(del, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, zt::make_vsi_all(kIf, v.vsi, 0, 1, {}));
    send(1, kIf, del, true);
    tlv_array_t *out = reinterpret_cast<tlv_array_t *>(uintptr_t{1});
    EXPECT_EQ(zorv_drel_type1_cfg_get_params(0, kIf, &out), 0u);
    EXPECT_EQ(out, nullptr);
    base.expect_same();
}

TEST(RoundTrip, GlobalScope) {
    const zt::live_baseline base;
    // member VNIs through configuration messages
    {
        auto b = zt::memvnis({{300, 7000}, {100, 5000}, {200, 6000}});
        send(0, 0, b, true);
        auto del = zt::memvnis({{300, 7000}});
        send(1, 0, del, false);
        auto rebind = zt::memvnis({{250, 6000}});
        send(0, 0, rebind, true);
    }
    // profiles and maps through the rebuild
    auto silver = zt::map_val("silver", {{1, 10001}, {4095, 14095}});
    {
        zt::tlv_buf b;
        zt::add_bytes(b, ZORV_TYPE1_GBL_ENCAP_PROFILE, zt::name_wire("silver"));
        zt::add_bytes(b, ZORV_TYPE1_GBL_ENCAP_PROFILE, zt::name_wire("gold"));
        b.add(ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, silver.get(), sizeof *silver);
        ASSERT_EQ(zorv_drel_type1_cfg_cache_rebuild(b.get(), 1, 0), 0u);
    }
    {
        tlv_array_t *out = nullptr;
        ASSERT_EQ(zorv_drel_type1_cfg_get_params(1, 0, &out), 0u);
        ASSERT_NE(out, nullptr);
        EXPECT_EQ(zt::stats(ZORV_DREL_LIB_MEM_tlv_array_t).live_bytes,
                  4u + 260u + 260u + 16644u + 2u * 12u);
        // the map went in as `silver` holds it: name and every VLAN
        zt::expect_global_tlvs(zt::tlvs(out), {"gold", "silver"}, silver.get(),
                               {{100, 5000}, {250, 6000}});
        // identifiers were handed out in rebuild order
        EXPECT_EQ(zorv_drel_get_gbl_cfg_node_id("silver"), 1u);
        EXPECT_EQ(zorv_drel_get_gbl_cfg_node_id("gold"), 2u);

        // only the member VNIs are printable rows
        tlv_array_t *mv = nullptr;
        ASSERT_EQ(zorv_drel_gbl_cfg_memvni_avl_get_params(&mv), 0u);
        drelm_app_info_t *info = nullptr;
        ASSERT_EQ(zorv_drel_type1_cfg_get_param_info(mv, &info), 0u);
        ASSERT_EQ(info->count, 2u);
        EXPECT_STREQ(info->entries[0].param_value, "BD:100 VNI:5000");
        EXPECT_STREQ(info->entries[1].param_value, "BD:250 VNI:6000");
        EXPECT_STREQ(info->entries[1].param_name, "Gbl BD member vni");
        tracked_free(zt::kSvc, info);
        tracked_free(zt::kSvc, mv);
        tracked_free(zt::kSvc, out);
    }
    base.expect_same();
}

TEST(RoundTrip, ExportFeedsTheRebuildOfAnotherScope) {
    // An exported interface array rebuilds the same nodes on another (empty) interface.
    drelm_host_set_interface(kIf, 1, 5);
    zt::tlv_buf b;
    zt::add_bytes(b, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                  zt::make_vsi_all(kIf, 4, 1, ZORV_MAP_MODE_VDP, {{9000, 5}}, {5}, "gold"));
    send(0, kIf, b, true);
    tlv_array_t *out = nullptr;
    ASSERT_EQ(zorv_drel_type1_cfg_get_params(0, kIf, &out), 0u);
    ASSERT_EQ(zorv_drel_type1_cfg_cache_rebuild(out, 0, kIf2), 0u);
    tracked_free(zt::kSvc, out);
    auto *n = zt::if_node(kIf2, 4);
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(n->dot1q_vni[5], 9000u);
    EXPECT_EQ(n->vdp, 1u);
    EXPECT_EQ(n->admin, 1u);
    EXPECT_STREQ(n->prof_name, "gold");
    EXPECT_TRUE(zorv::bmp::test(n->dot1q_bmp, 5));
}

} // namespace
