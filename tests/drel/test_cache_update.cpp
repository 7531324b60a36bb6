// SPDX-License-Identifier: Apache-2.0
// Direct cache update: removal of an interface without a message, the global and interface
// cases, the first hard error that stops the batch, malformed messages and allocation failures.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zorv_test_cache.h"

namespace {

using zt::kIf;
using zt::kIf2;

constexpr const char *kFn = "zorv_drel_type1_cfg_cache_update";

class CacheUpdateTest : public ::testing::Test {
  protected:
    zt::live_baseline base;

    static uint32_t apply(uint32_t is_delete, uint32_t is_gbl, uint32_t if_index,
                          const zt::tlv_buf &b) {
        // The record's own is_delete and if_index are ignored: give them other values.
        zt::msg_ptr m = zt::update_msg(is_delete == 0 ? 1 : 0, if_index + 1, b, true);
        return zorv_drel_type1_cfg_cache_update(is_delete, is_gbl, if_index, m.get());
    }
    static uint32_t apply_msg(uint32_t is_delete, uint32_t is_gbl, uint32_t if_index,
                              const std::vector<uint8_t> &payload) {
        zt::msg_ptr m = zt::make_msg(ZORV_DREL_OPC_TYPE1_UPD_HDR, payload);
        return zorv_drel_type1_cfg_cache_update(is_delete, is_gbl, if_index, m.get());
    }
    static void add_vsi(uint32_t if_index, uint32_t vsi) {
        zt::tlv_buf b;
        zt::add_bytes(b, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                      zt::make_vsi_all(if_index, vsi, 1, 1, {{9000 + vsi, 5}}));
        ASSERT_EQ(apply(0, 0, if_index, b), 0u);
    }
};

// ---- no message --------------------------------------------------------------------------------

TEST_F(CacheUpdateTest, NoMessageDeleteRemovesEveryNodeOfTheInterface) {
    add_vsi(kIf, 3);
    add_vsi(kIf, 7);
    add_vsi(kIf, 9);
    add_vsi(kIf2, 7);
    {
        // an encap entry on one of them goes too
        zt::tlv_buf b;
        const vsi_encap_rng_t rng = zt::rng_val(kIf, 7, "gold", {5});
        b.add(ZORV_TYPE1_INTF_VSI_ENCAP_PROF, rng);
        ASSERT_EQ(apply(0, 0, kIf, b), 0u);
    }
    ASSERT_EQ(zt::if_nodes().size(), 4u);
    EXPECT_EQ(zorv_drel_type1_cfg_cache_update(1, 0, kIf, nullptr), 0u);
    ASSERT_EQ(zt::if_nodes().size(), 1u);
    EXPECT_NE(zt::if_node(kIf2, 7), nullptr);
    EXPECT_TRUE(zt::has_log(kFn, ": update cache msg_ref:(nil)(delete=True, gbl=0, "
                                 "if_index=0x1000)\n"))
        << zt::dump_events();
    for (int vsi : {3, 7, 9})
        EXPECT_TRUE(zt::has_log(kFn, ": deleting ifdx:0x1000, vsi:" + std::to_string(vsi) + "\n"));
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_profile_node), 0u);
    base.expect_same();
}

TEST_F(CacheUpdateTest, NoMessageNoDeleteChangesNothing) {
    add_vsi(kIf, 7);
    EXPECT_EQ(zorv_drel_type1_cfg_cache_update(0, 0, kIf, nullptr), 0u);
    EXPECT_EQ(zt::if_nodes().size(), 1u);
    EXPECT_TRUE(zt::has_log(kFn, ": update cache msg_ref:(nil)(delete=False, gbl=0, "
                                 "if_index=0x1000)\n"));
    EXPECT_FALSE(zt::has_raw("Error: No ifindex to delete\n"));
}

TEST_F(CacheUpdateTest, NoMessageNoInterface) {
    add_vsi(kIf, 7);
    EXPECT_EQ(zorv_drel_type1_cfg_cache_update(1, 1, 0, nullptr), 0u);
    EXPECT_TRUE(zt::has_raw("Error: No ifindex to delete\n"));
    EXPECT_EQ(zt::if_nodes().size(), 1u);
}

// ---- message checks ----------------------------------------------------------------------------

TEST_F(CacheUpdateTest, NoRespWhenPayloadAbsentOrRespPresentZero) {
    EXPECT_EQ(apply_msg(0, 1, 0, {}), 0u);
    auto b = zt::memvnis({{100, 5000}});
    auto payload = zt::make_update(0, 0, b, true);
    std::memset(payload.data() + ZORV_DREL_UPD_RESP_PRESENT_OFF, 0, 4);
    EXPECT_EQ(apply_msg(0, 1, 0, payload), 0u);
    EXPECT_EQ(zt::log_count(kFn, ": No Resp\n"), 2u);
    EXPECT_TRUE(zt::memvni_nodes().empty());
}

TEST_F(CacheUpdateTest, ZeroParamLen) {
    std::vector<uint8_t> payload(28, 0);
    payload[ZORV_DREL_UPD_RESP_PRESENT_OFF] = 1;
    EXPECT_EQ(apply_msg(0, 1, 0, payload), 0u);
    EXPECT_TRUE(zt::has_log_prefix(kFn, ": param_p:0x")) << zt::dump_events();
    bool found = false;
    for (const auto &e : zt::events())
        found = found || (e.find(" or No TLVs (paylen is 0)\n") != std::string::npos);
    EXPECT_TRUE(found);
}

TEST_F(CacheUpdateTest, EmptyArray) {
    zt::tlv_buf b;
    EXPECT_EQ(apply(0, 1, 0, b), 0u);
    EXPECT_TRUE(zt::has_log(kFn, ": Num TLVs 0\n"));
}

TEST_F(CacheUpdateTest, MalformedLengthsAreRefused) {
    auto b = zt::memvnis({{100, 5000}});
    // param_len past the payload
    auto p1 = zt::make_update(0, 0, b, true);
    const uint32_t too_long = b.size() + 4;
    std::memcpy(p1.data() + 16 + 8, &too_long, 4);
    EXPECT_EQ(apply_msg(0, 1, 0, p1), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kFn, ": Error: param len=20 runs past payload len=44\n"))
        << zt::dump_events();
    // array header claims more than param_len
    auto p2 = zt::make_update(0, 0, b, true);
    const uint32_t claimed = b.get()->len + 1;
    std::memcpy(p2.data() + 28, &claimed, 4);
    EXPECT_EQ(apply_msg(0, 1, 0, p2), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kFn, ": Error: tlv array does not fit in param len=16\n"));
    // shorter than the header, and than header plus record
    EXPECT_EQ(apply_msg(0, 1, 0, std::vector<uint8_t>(15, 0)), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kFn, ": Error: payload len=15 too short for header\n"));
    std::vector<uint8_t> p3(20, 0);
    p3[ZORV_DREL_UPD_RESP_PRESENT_OFF] = 1;
    EXPECT_EQ(apply_msg(0, 1, 0, p3), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kFn, ": Error: payload len=20 too short for update record\n"));
    EXPECT_TRUE(zt::memvni_nodes().empty());
    base.expect_same();
}

TEST_F(CacheUpdateTest, WalkFailsOnCutShortLastTlvAfterEarlierApplied) {
    auto b = zt::memvnis({{100, 5000}});
    zt::append_cut_tlv(b, 8, 8);
    EXPECT_EQ(apply(0, 1, 0, b), TLV_ERR_MALFORMED);
    EXPECT_TRUE(zt::has_log(kFn, zt::rc_text(TLV_ERR_MALFORMED, "to retrieve tlv")));
    EXPECT_TRUE(zt::has_log(kFn, ": Num TLVs 2\n"));
    EXPECT_NE(zt::memvni_node(5000), nullptr);
    base.expect_same();
}

// ---- global scope ------------------------------------------------------------------------------

TEST_F(CacheUpdateTest, GlobalAddUpdateDelete) {
    auto add = zt::memvnis({{100, 5000}});
    EXPECT_EQ(apply(0, 1, 0, add), 0u);
    ASSERT_NE(zt::memvni_node(5000), nullptr);
    EXPECT_TRUE(zt::has_log(kFn, ": Add type 8 to cache\n"));
    EXPECT_TRUE(zt::has_log(kFn, ": success add type 8 len 8 to cache\n"));

    auto upd = zt::memvnis({{200, 5000}});
    EXPECT_EQ(apply(0, 1, 0, upd), 0u);
    EXPECT_EQ(zt::memvni_node(5000)->bd, 200u);
    EXPECT_TRUE(zt::has_log(kFn, ": success updated type 8 len 8 to cache\n"));

    EXPECT_EQ(apply(1, 1, 0, upd), 0u);
    EXPECT_EQ(zt::memvni_node(5000), nullptr);
    EXPECT_TRUE(zt::has_log(kFn, ": Entry deleted\n"));

    EXPECT_EQ(apply(1, 1, 0, upd), 0u);
    EXPECT_TRUE(zt::has_log(kFn, ": Entry to delete not found\n"));
    base.expect_same();
}

TEST_F(CacheUpdateTest, GlobalCreationFailureGoesOn) {
    auto b = zt::memvnis({{100, 5000}, {101, 5001}});
    zt::msg_ptr m = zt::update_msg(0, 0, b, true);
    tracked_mem_fault_set(zt::kSvc, 0, 1);
    const uint32_t rc = zorv_drel_type1_cfg_cache_update(0, 1, 0, m.get());
    tracked_mem_fault_set(zt::kSvc, 0, 0);
    EXPECT_EQ(rc, 0u);
    EXPECT_TRUE(zt::has_log(kFn, ": Error: failed to  add type 8 len 8 to cache\n"));
    EXPECT_EQ(zt::memvni_node(5000), nullptr);
    EXPECT_NE(zt::memvni_node(5001), nullptr);
}

TEST_F(CacheUpdateTest, GlobalSecondTlvOfTypeTwoStops) {
    auto b = zt::memvnis({{100, 5000}});
    auto map = zt::map_val("gold", {{5, 9000}});
    b.add(ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, map.get(), sizeof *map);
    b.add(ZORV_TYPE1_GBL_MEMBER_VNI, member_vni_t{101, 5001});
    EXPECT_EQ(apply(0, 1, 0, b), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kFn, ": Error: Unknown key2\n"));
    EXPECT_NE(zt::memvni_node(5000), nullptr);
    EXPECT_EQ(zt::memvni_node(5001), nullptr);
    EXPECT_TRUE(zt::gbl_nodes().empty());
}

TEST_F(CacheUpdateTest, GlobalValueShorterThanItsKeyFailsTheKey) {
    auto b = zt::memvnis({{100, 5000}});
    const uint32_t bd_only = 7;
    b.add(ZORV_TYPE1_GBL_MEMBER_VNI, &bd_only, 4);
    b.add(ZORV_TYPE1_GBL_MEMBER_VNI, member_vni_t{101, 5001});
    EXPECT_EQ(apply(0, 1, 0, b), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kFn, zt::rc_text(ZORV_DREL_ERR_INVALID_ARG, "to set key")))
        << zt::dump_events();
    EXPECT_EQ(zt::memvni_nodes().size(), 1u);
    EXPECT_EQ(zt::memvni_node(5001), nullptr);
}

// ---- interface scope ---------------------------------------------------------------------------

TEST_F(CacheUpdateTest, InterfaceAddAndUpdate) {
    add_vsi(kIf, 7);
    ASSERT_NE(zt::if_node(kIf, 7), nullptr);
    EXPECT_TRUE(zt::has_log(kFn, ": Add type 9 to cache\n"));
    EXPECT_TRUE(zt::has_log(kFn, ": success add type 9 len 800 to cache\n"));
    zt::tlv_buf b;
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 7, 0});
    EXPECT_EQ(apply(0, 0, kIf, b), 0u);
    EXPECT_EQ(zt::if_node(kIf, 7)->admin, 0u);
    EXPECT_TRUE(zt::has_log(kFn, ": Found avl node for type 5\n"));
    EXPECT_TRUE(zt::has_log(kFn, ": success updated type 5 len 12 to cache\n"));
}

TEST_F(CacheUpdateTest, InterfaceDeleteOfTypeFiveRemovesNode) {
    add_vsi(kIf, 7);
    zt::tlv_buf b;
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 7, 1});
    EXPECT_EQ(apply(1, 0, kIf, b), 0u);
    EXPECT_TRUE(zt::if_nodes().empty());
    EXPECT_TRUE(zt::has_log(kFn, ": Found avl node for type 5\n"));
    EXPECT_TRUE(zt::has_log(kFn, ": Entry deleted\n"));
    base.expect_same();
}

TEST_F(CacheUpdateTest, InterfaceDeleteMissing) {
    zt::tlv_buf b;
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 7, 1});
    EXPECT_EQ(apply(1, 0, kIf, b), 0u);
    EXPECT_TRUE(zt::has_log(kFn, ": Entry to delete not found\n"));
}

TEST_F(CacheUpdateTest, InterfaceUpdateFailureGoesOn) {
    add_vsi(kIf, 7);
    zt::tlv_buf b;
    b.add(ZORV_TYPE1_INTF_VSI_ENCAP_PROF,
          zt::rng_val(kIf, 7, "gold", {5})); // appending the entry fails: a bare 1
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 7, 0});
    zt::msg_ptr m = zt::update_msg(0, kIf, b, true);
    tracked_mem_fault_set(zt::kSvc, 0, 1);
    const uint32_t rc = zorv_drel_type1_cfg_cache_update(0, 0, kIf, m.get());
    tracked_mem_fault_set(zt::kSvc, 0, 0);
    EXPECT_EQ(rc, 0u);
    EXPECT_TRUE(zt::has_log(kFn, ": Error: unable to update entry\n"));
    EXPECT_EQ(zt::if_node(kIf, 7)->admin, 0u);
    EXPECT_EQ(zt::if_node(kIf, 7)->encap_list, nullptr);
}

TEST_F(CacheUpdateTest, InterfaceCreationFailureStops) {
    zt::tlv_buf b;
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 7, 1});
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 8, 1});
    zt::msg_ptr m = zt::update_msg(0, kIf, b, true);
    tracked_mem_fault_set(zt::kSvc, 0, 1);
    const uint32_t rc = zorv_drel_type1_cfg_cache_update(0, 0, kIf, m.get());
    tracked_mem_fault_set(zt::kSvc, 0, 0);
    EXPECT_EQ(rc, ZORV_DREL_ERR_NO_MEMORY);
    EXPECT_TRUE(zt::has_log(kFn, ": Failed malloc\n"));
    EXPECT_TRUE(zt::if_nodes().empty());
    base.expect_same();
}

TEST_F(CacheUpdateTest, InterfaceKeyFailureStops) {
    zt::tlv_buf b;
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 7, 1});
    const uint32_t v[3] = {kIf, 8, 1};
    b.add(3, v, sizeof v);
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 9, 1});
    EXPECT_EQ(apply(0, 0, kIf, b), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kFn, ": Error: Could not create if key for type 3\n"));
    EXPECT_NE(zt::if_node(kIf, 7), nullptr);
    EXPECT_EQ(zt::if_node(kIf, 9), nullptr);
}

// A malformed value of a new service instance cannot make its node: the update ends as on any
// failed creation.
TEST_F(CacheUpdateTest, InterfaceMalformedNewValueFailsItsCreation) {
    zt::tlv_buf b;
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 7, 1});
    auto bad9 = zt::make_vsi_all(kIf, 8, 1, 1, {});
    reinterpret_cast<vsi_all_t *>(bad9.data())->dyn_map_cnt = 0xFFFFFFFFu; // negative
    zt::add_bytes(b, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, bad9);
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 9, 1});
    EXPECT_EQ(apply(0, 0, kIf, b), ZORV_DREL_ERR_NO_MEMORY);
    EXPECT_TRUE(
        zt::has_log("zorv_drel_if_cfg_avl_update", ": Error: Refused type:9 value of len:792\n"))
        << zt::dump_events();
    EXPECT_TRUE(zt::has_log(kFn, ": Failed malloc\n"));
    EXPECT_NE(zt::if_node(kIf, 7), nullptr);
    EXPECT_EQ(zt::if_nodes().size(), 1u);
    base.expect_same();
}

TEST_F(CacheUpdateTest, InterfaceEightByteDeletesRemoveTheNodes) {
    add_vsi(kIf, 7);
    add_vsi(kIf, 8);
    zt::tlv_buf b;
    const uint32_t key5[2] = {kIf, 7}, key9[2] = {kIf, 8};
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, key5, sizeof key5);
    b.add(ZORV_TYPE1_INTF_VSI_ATTRIBUTES, key9, sizeof key9);
    EXPECT_EQ(apply(1, 0, kIf, b), 0u);
    EXPECT_TRUE(zt::if_nodes().empty());
    EXPECT_EQ(zt::log_count(kFn, ": Entry deleted\n"), 2u) << zt::dump_events();
    base.expect_same();
}

TEST_F(CacheUpdateTest, InterfaceKeyOnlyTypeSevenMakesTheEmptyNode) {
    zt::tlv_buf b;
    const uint32_t key[2] = {kIf, 7};
    b.add(ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP, key, sizeof key);
    EXPECT_EQ(apply(0, 0, kIf, b), 0u);
    EXPECT_TRUE(zt::has_log(kFn, ": success add type 7 len 8 to cache\n")) << zt::dump_events();
    ASSERT_NE(zt::if_node(kIf, 7), nullptr);
    EXPECT_EQ(zt::if_node(kIf, 7)->dyn_map_cnt, 0u);
}

TEST_F(CacheUpdateTest, InterfaceShortValueFailsItsUpdateAndTheUpdateGoesOn) {
    add_vsi(kIf, 7); // admin 1
    zt::tlv_buf b;
    const uint32_t key[2] = {kIf, 7};
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, key, sizeof key);
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 9, 0});
    EXPECT_EQ(apply(0, 0, kIf, b), 0u);
    EXPECT_TRUE(
        zt::has_log("zorv_drel_if_cfg_avl_update", ": Error: Refused type:5 value of len:8\n"))
        << zt::dump_events();
    EXPECT_TRUE(zt::has_log(kFn, ": Error: unable to update entry\n"));
    EXPECT_EQ(zt::if_node(kIf, 7)->admin, 1u);
    ASSERT_NE(zt::if_node(kIf, 9), nullptr);
}

TEST_F(CacheUpdateTest, InterfaceValueShorterThanItsKeyFailsTheKey) {
    zt::tlv_buf b;
    const uint32_t if_only = kIf;
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, &if_only, sizeof if_only);
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 9, 0});
    EXPECT_EQ(apply(0, 0, kIf, b), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kFn, ": Error: Could not create if key for type 5\n"))
        << zt::dump_events();
    EXPECT_TRUE(zt::if_nodes().empty());
}

TEST_F(CacheUpdateTest, InterfaceNeedsNoPeerLink) {
    // unlike extraction, the direct update does not ask whether the interface is a member
    add_vsi(kIf2, 4);
    EXPECT_NE(zt::if_node(kIf2, 4), nullptr);
}

} // namespace
