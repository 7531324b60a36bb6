// SPDX-License-Identifier: Apache-2.0
// End to end: the cache is filled through configuration messages and a global rebuild, exported,
// and the export is checked against itself and against copies altered in exactly one place.
#include <memory>

#include "zorv_test_cache.h"

namespace {

using zt::kIf;
constexpr uint32_t kCode8 = ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI;
constexpr uint32_t kCode9 = ZORV_DREL_ERR_COMPAT_INTF_VSI;

using array_ptr = std::unique_ptr<tlv_array_t, zt::tracked_deleter>;

// Applies one configuration message of the header form and releases what it hands back.
void configure(uint32_t if_index, const zt::tlv_buf &tlvs) {
    const auto payload = zt::make_update(0, if_index, tlvs, true);
    zt::msg_ptr m(
        msg_create(ZORV_DREL_OPC_TYPE1_UPD_HDR, payload.data(), uint32_t(payload.size())));
    ASSERT_NE(m, nullptr);
    tlv_array_t *copy = nullptr;
    drelm_app_cmd_extract_info_t *info = nullptr;
    uint32_t num = 0, reserved = 0;
    ASSERT_EQ(zorv_drel_type1_cfg_param_extractor(m.get(), &copy, &num, &reserved, &info), 0u)
        << zt::dump_events();
    EXPECT_EQ(num, tlv_array_count(tlvs.get(), 1));
    tracked_free(zt::kSvc, copy);
    tracked_free(zt::kSvc, info);
}

array_ptr export_params(uint32_t is_gbl, uint32_t if_index) {
    tlv_array_t *a = nullptr;
    EXPECT_EQ(zorv_drel_type1_cfg_get_params(is_gbl, if_index, &a), 0u);
    EXPECT_NE(a, nullptr);
    return array_ptr(a);
}

// A private, writable copy of an exported array.
struct array_copy {
    std::vector<uint64_t> words;
    explicit array_copy(const tlv_array_t *a) : words((4 + a->len + 7) / 8, 0) {
        std::memcpy(words.data(), a, 4 + a->len);
    }
    tlv_array_t *get() { return reinterpret_cast<tlv_array_t *>(words.data()); }
    // The value of the i-th TLV.
    void *value(uint32_t i, uint16_t *type = nullptr, uint16_t *len = nullptr) {
        uint32_t cursor = 0;
        uint16_t t = 0, l = 0;
        void *v = nullptr;
        for (uint32_t k = 0; k <= i; ++k)
            if (tlv_array_next(get(), &cursor, &t, &l, &v, 1) != 0) return nullptr;
        if (type != nullptr) *type = t;
        if (len != nullptr) *len = l;
        return v;
    }
    // The type-9 value of a service instance.
    vsi_all_t *vsi(uint32_t vsi_id) {
        for (uint32_t i = 0;; ++i) {
            uint16_t t = 0;
            auto *v = static_cast<vsi_all_t *>(value(i, &t));
            if (v == nullptr) return nullptr;
            if (t == ZORV_TYPE1_INTF_VSI_ATTRIBUTES && v->vsi == vsi_id) return v;
        }
    }
};

// The verdict of the strict per-pair check on each pair of two arrays.
std::vector<uint32_t> strict_verdicts(tlv_array_t *lcl, tlv_array_t *rmt) {
    std::vector<uint32_t> out;
    uint32_t lc = 0, rc = 0;
    uint16_t lt, ll, rt, rl;
    void *lv, *rv;
    while (tlv_array_next(lcl, &lc, &lt, &ll, &lv, 1) == 0 &&
           tlv_array_next(rmt, &rc, &rt, &rl, &rv, 1) == 0)
        out.push_back(zorv_drel_type1_cfg_gbl_compat_check_tlv(lt, ll, lv, rt, rl, rv));
    return out;
}

class CompatE2E : public ::testing::Test {
  protected:
    void SetUp() override {
        drelm_host_set_interface(kIf, 1, 3);
        blocks_ = zt::live_blocks(ZORV_DREL_LIB_MEM_tlv_array_t);

        // Globals: a profile with its map through a rebuild, member VNIs through a message.
        auto map = std::make_unique<encap_map_t>();
        std::memset(map.get(), 0, sizeof *map);
        std::strcpy(map->encap_name, "gold");
        map->dot1q_vni[10] = 5000;
        zt::tlv_buf gbl;
        gbl.add(ZORV_TYPE1_GBL_ENCAP_PROFILE, map->encap_name, 256);
        gbl.add(ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, map.get(), uint16_t(sizeof *map));
        ASSERT_EQ(zorv_drel_type1_cfg_cache_rebuild(gbl.get(), 1, 0), 0u) << zt::dump_events();

        zt::tlv_buf memvni;
        for (auto [bd, vni] : std::vector<std::pair<uint32_t, uint32_t>>{
                 {100, 5000}, {100, 5001}, {101, 6000}, {102, 7000}, {103, 7001}})
            memvni.add(ZORV_TYPE1_GBL_MEMBER_VNI, member_vni_t{bd, vni});
        configure(0, memvni);

        // Three service instances on one interface.
        zt::tlv_buf ifc;
        for (const auto &v :
             {zt::make_vsi_all(kIf, 1, 1, ZORV_MAP_MODE_STATIC, {{5000, 10}, {5001, 11}}, {10, 11},
                               "gold"),
              zt::make_vsi_all(kIf, 2, 1, ZORV_MAP_MODE_DFS, {{6000, 20}, {7000, 21}}, {20, 21},
                               "gold"),
              zt::make_vsi_all(kIf, 3, 1, ZORV_MAP_MODE_VDP, {{7001, 30}}, {30}, "gold")})
            ifc.add(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, v.data(), uint16_t(v.size()));
        configure(kIf, ifc);

        if_ = export_params(0, kIf);
        gbl_ = export_params(1, 0);
        ASSERT_EQ(tlv_array_count(if_.get(), 1), 3u);
        ASSERT_EQ(tlv_array_count(gbl_.get(), 1), 7u); // types 1 and 2, five member VNIs
    }
    void TearDown() override {
        if_.reset();
        gbl_.reset();
        EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_tlv_array_t), blocks_);
        EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_vsi_all_t), 0u);
        EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_member_vni_t), 0u);
    }
    uint32_t graceful(tlv_array_t *lcl, tlv_array_t *rmt, zt::holders &h) {
        h.reset();
        return zorv_drel_type1_cfg_compat_check(0, lcl, rmt, 0, 0, &h.pass, &h.fail);
    }
    uint64_t blocks_ = 0;
    array_ptr if_, gbl_;
};

TEST_F(CompatE2E, ExportAgainstItselfPassesEverywhere) {
    zt::holders h;
    EXPECT_EQ(graceful(if_.get(), if_.get(), h), 0u);
    EXPECT_TRUE(h.failed().empty());
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{5000, 5001, 6000, 7000, 7001}));

    EXPECT_EQ(graceful(gbl_.get(), gbl_.get(), h), 0u);
    EXPECT_TRUE(h.failed().empty());
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{5000, 5001, 6000, 7000, 7001}));

    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, if_.get(), if_.get()), 0u);
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, gbl_.get(), gbl_.get()), 0u);
    EXPECT_EQ(strict_verdicts(if_.get(), if_.get()), (std::vector<uint32_t>{0, 0, 0}));
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(if_.get(), 0, kIf), 0u);
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(gbl_.get(), 1, 0), 0u);
}

TEST_F(CompatE2E, OneVniAlteredIsChargedAlone) {
    array_copy rmt(if_.get());
    vsi_all_t *v2 = rmt.vsi(2);
    ASSERT_NE(v2, nullptr);
    ASSERT_EQ(v2->dyn_map[1].dot1q, 21u);
    v2->dyn_map[1].vni = 7999; // VLAN 21: 7000 locally
    zt::holders h;
    // The last instance matches, but the verdict looks at the whole failed set.
    EXPECT_EQ(graceful(if_.get(), rmt.get(), h), kCode9);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{7000}));
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{5000, 5001, 6000, 7001}));
    // The strict check fails only that instance (DFS compares maps); the last pair decides.
    EXPECT_EQ(strict_verdicts(if_.get(), rmt.get()), (std::vector<uint32_t>{0, kCode9, 0}));
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, if_.get(), rmt.get()), 0u);
    EXPECT_EQ(zorv_drel_type1_rmt_cfg_cache_rebuild(rmt.get(), 0, kIf), 0u);
}

TEST_F(CompatE2E, OneAdminStatusAlteredChargesThatInstancesVnis) {
    array_copy rmt(if_.get());
    vsi_all_t *v2 = rmt.vsi(2);
    ASSERT_NE(v2, nullptr);
    v2->admin = 0;
    zt::holders h;
    EXPECT_EQ(graceful(if_.get(), rmt.get(), h), kCode9);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{6000, 7000}));
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{5000, 5001, 7001}));
    EXPECT_TRUE(zt::has_log("zorv_drel_type1_cfg_compat_check_tlv",
                            ": Failed type-1 compat check for vsi admin stat type=9, len=808, "
                            "vsi=2, lcl_value=1, rmt_value=0\n"));
    // The strict check does not compare admin status.
    EXPECT_EQ(strict_verdicts(if_.get(), rmt.get()), (std::vector<uint32_t>{0, 0, 0}));
}

TEST_F(CompatE2E, OneMappingModeAlteredFailsOnlyThatPairOfTheStrictCheck) {
    array_copy rmt(if_.get());
    rmt.vsi(1)->map_mode = ZORV_MAP_MODE_LLDP;
    zt::holders h;
    EXPECT_EQ(graceful(if_.get(), rmt.get(), h), 0u); // the graceful check ignores modes
    EXPECT_TRUE(h.failed().empty());
    EXPECT_EQ(strict_verdicts(if_.get(), rmt.get()), (std::vector<uint32_t>{kCode9, 0, 0}));
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, if_.get(), rmt.get()), 0u);

    array_copy last(if_.get());
    last.vsi(3)->map_mode = ZORV_MAP_MODE_STATIC;
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, if_.get(), last.get()), kCode9);
    EXPECT_TRUE(zt::has_log("zorv_drel_type1_cfg_gbl_compat_check_tlv",
                            ": VSI type for local and remote does not match\n"));
}

TEST_F(CompatE2E, OneProfileNameAlteredFailsOnlyThatPairFromVersion40) {
    array_copy rmt(if_.get());
    vsi_all_t *v3 = rmt.vsi(3);
    std::strcpy(ZORV_VSI_ALL_TAIL(v3, v3->dyn_map_cnt)->prof_name, "silver");
    zt::holders h;
    EXPECT_EQ(graceful(if_.get(), rmt.get(), h), 0u);
    EXPECT_TRUE(h.failed().empty());
    EXPECT_EQ(strict_verdicts(if_.get(), rmt.get()), (std::vector<uint32_t>{0, 0, kCode9}));
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, if_.get(), rmt.get()), kCode9);
    drelm_host_set_pelk_oper_ver(39);
    EXPECT_EQ(zorv_drel_type1_cfg_gbl_compat_check(0, if_.get(), rmt.get()), 0u);
}

TEST_F(CompatE2E, OneMemberVniBdAlteredIsChargedAlone) {
    array_copy rmt(gbl_.get());
    member_vni_t *target = nullptr;
    for (uint32_t i = 0;; ++i) {
        uint16_t t = 0;
        void *v = rmt.value(i, &t);
        ASSERT_NE(v, nullptr);
        if (t == ZORV_TYPE1_GBL_MEMBER_VNI && static_cast<member_vni_t *>(v)->vni == 6000) {
            target = static_cast<member_vni_t *>(v);
            break;
        }
    }
    target->bd = 999;
    zt::holders h;
    EXPECT_EQ(graceful(gbl_.get(), rmt.get(), h), 0u); // the last member VNI passes
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{6000}));
    EXPECT_EQ(h.passed(), (std::vector<uint32_t>{5000, 5001, 7000, 7001}));
    // Altered in the last member VNI, the difference is also the result.
    array_copy last(gbl_.get());
    uint16_t t = 0;
    auto *final_vni = static_cast<member_vni_t *>(last.value(6, &t));
    ASSERT_EQ(t, ZORV_TYPE1_GBL_MEMBER_VNI);
    ASSERT_EQ(final_vni->vni, 7001u);
    final_vni->bd = 998;
    EXPECT_EQ(graceful(gbl_.get(), last.get(), h), kCode8);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{7001}));
    // With the local BD marked fabric the difference is excused.
    bdmgr_host_set_fabric_bd(1, 101, 1);
    EXPECT_EQ(graceful(gbl_.get(), rmt.get(), h), 0u);
    EXPECT_TRUE(h.failed().empty());
}

TEST_F(CompatE2E, ExportAgainstAnEmptyPeerFailsEveryVni) {
    zt::holders h;
    // One local instance against a peer that sent nothing for the interface.
    array_copy one(if_.get());
    one.get()->len = tlv_aligned_size(792 + 16);
    ASSERT_EQ(tlv_array_count(one.get(), 1), 1u);
    EXPECT_EQ(graceful(one.get(), nullptr, h), kCode9);
    EXPECT_EQ(h.failed(), (std::vector<uint32_t>{5000, 5001}));
}

} // namespace
