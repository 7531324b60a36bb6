// SPDX-License-Identifier: Apache-2.0
// Parameter extraction: opcodes, the two forms of the update record, the records handed back,
// the interface and member-VNI cases, malformed messages and allocation failures.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zorv_test_cache.h"

namespace {

using zt::extraction;
using zt::kIf;
using zt::kIf2;

constexpr const char *kUpd = "zorv_drel_param_extractor_from_zorv_type1_upd";
constexpr const char *kEntry = "zorv_drel_type1_cfg_param_extractor";
constexpr const char *kIfFn = "zorv_drel_extract_if_params";
constexpr const char *kMvFn = "zorv_drel_extract_memvni_param";

class ExtractTest : public ::testing::Test {
  protected:
    void SetUp() override { drelm_host_set_interface(kIf, 1, zt::kDrelId); }
    zt::live_baseline base;
};

void expect_record(const drelm_app_cmd_extract_info_t &r, uint32_t type, uint32_t action,
                   uint32_t idx, uint32_t is_gbl, uint32_t if_idx) {
    EXPECT_EQ(r.type, type);
    EXPECT_EQ(r.action, action);
    EXPECT_EQ(r.idx, idx);
    EXPECT_EQ(r.is_gbl, is_gbl);
    EXPECT_EQ(r.if_idx, if_idx);
}

// Extracts `m` into `x` and expects `rc` with neither the TLV array nor the records handed back.
void expect_nothing_handed_back(const msg_t *m, uint32_t rc, extraction &x) {
    zt::extract(m, x);
    EXPECT_EQ(x.rc, rc);
    EXPECT_TRUE(x.array_untouched());
    EXPECT_TRUE(x.info_untouched());
}
void expect_nothing_handed_back(const msg_t *m, uint32_t rc) {
    extraction x;
    expect_nothing_handed_back(m, rc, x);
}

// ---- opcodes ---------------------------------------------------------------------------------

TEST_F(ExtractTest, ConfigRequestsAreRefused) {
    for (uint32_t opc : {ZORV_DREL_OPC_CLI_CONFIG, ZORV_DREL_OPC_CLI_TLV_CONFIG}) {
        zt::msg_ptr m(msg_create_request(opc, 1));
        expect_nothing_handed_back(m.get(), ZORV_DREL_ERR_INVALID_ARG);
    }
    EXPECT_EQ(zt::raw_count("Error zorv_drel_type1_cfg_param_extractor: CLI param extractor not "
                            "supported\n"),
              2u);
    EXPECT_TRUE(zt::has_log(kEntry, ": type-1 (CLI_CONFIG) param extractor\n"));
    EXPECT_TRUE(zt::has_log(kEntry, ": type-1 (CLI_TLV_CONFIG) param extractor\n"));
    EXPECT_EQ(cli_host_ok_count(), 0u); // the request is not answered here
}

TEST_F(ExtractTest, ConfigRequestWithoutHandle) {
    zt::msg_ptr m(msg_create_request(ZORV_DREL_OPC_CLI_TLV_CONFIG, 0));
    extraction x;
    zt::extract(m.get(), x);
    EXPECT_EQ(x.rc, ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kEntry, ": Error: could not get the CLI (TLV) request handle\n"));
    EXPECT_EQ(zt::raw_count("Error zorv_drel_type1_cfg_param_extractor: CLI param extractor not "
                            "supported\n"),
              0u);
}

TEST_F(ExtractTest, UnknownOpcodeLogsOnlyTheEntryLine) {
    auto b = zt::memvnis({{100, 5000}});
    zt::msg_ptr m = zt::make_msg(0x1234, zt::make_update(0, 0, b, false));
    debug_history_clear(zt::kSvc);
    extraction x;
    zt::extract(m.get(), x);
    EXPECT_EQ(x.rc, ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(zt::events().size(), 1u) << zt::dump_events();
    EXPECT_TRUE(zt::has_log(kEntry, ": type-1 (UNKNOWN) param extractor\n"));
    EXPECT_TRUE(zt::memvni_nodes().empty());
}

TEST_F(ExtractTest, NullMessageIsANullPayload) {
    extraction x;
    // The entry has no opcode to go by: it ends with the unknown ones.
    zt::extract(nullptr, x);
    EXPECT_EQ(x.rc, ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(zorv_drel_param_extractor_from_zorv_type1_upd(nullptr, &x.array, &x.num, &x.reserved,
                                                            &x.info),
              0u);
    EXPECT_TRUE(zt::has_log(kUpd, ": Null payload\n")) << zt::dump_events();
    EXPECT_FALSE(zt::has_log(kUpd, ": Error: Invalid arg\n"));
    EXPECT_TRUE(x.array_untouched());
    EXPECT_TRUE(x.info_untouched());
    EXPECT_EQ(x.num, 0xA5A5A5A5u);
    EXPECT_EQ(x.reserved, 0xA5A5A5A5u);
}

// Without a record, without a TLV array or without TLVs nothing is written, so no output is
// needed.
TEST_F(ExtractTest, MessageWithoutRecordsNeedsNoOutputs) {
    auto upd = [](const msg_t *m) {
        return zorv_drel_param_extractor_from_zorv_type1_upd(m, nullptr, nullptr, nullptr, nullptr);
    };
    auto payload = zt::make_update(0, 0, zt::memvnis({{100, 5000}}), true);
    std::memset(payload.data() + ZORV_DREL_UPD_RESP_PRESENT_OFF, 0, 4);
    EXPECT_EQ(upd(zt::make_msg(ZORV_DREL_OPC_TYPE1_UPD_HDR, payload).get()), 0u);
    EXPECT_TRUE(zt::has_log(kUpd, ": Null payload\n"));
    EXPECT_EQ(upd(zt::make_msg(ZORV_DREL_OPC_TYPE1_UPD, std::vector<uint8_t>(12, 0)).get()), 0u);
    EXPECT_TRUE(zt::has_log(kUpd, ": Invalid param len=0\n"));
    EXPECT_EQ(upd(zt::update_msg(0, 0, zt::tlv_buf(), true).get()), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kUpd, ": Failed to find tlvs\n"));
    EXPECT_FALSE(zt::has_log(kUpd, ": Error: Invalid arg\n")) << zt::dump_events();
    EXPECT_TRUE(zt::memvni_nodes().empty());
    base.expect_same();
}

// The outputs guard the writes of the records, the array and the counts: a missing one is
// refused before anything is allocated or applied.
TEST_F(ExtractTest, MissingOutputIsRefusedBeforeTheRecordsAreWritten) {
    zt::msg_ptr m = zt::update_msg(0, 0, zt::memvnis({{100, 5000}}), true);
    for (int missing = 0; missing < 4; ++missing) {
        extraction x;
        const uint32_t rc = zorv_drel_param_extractor_from_zorv_type1_upd(
            m.get(), missing == 0 ? nullptr : &x.array, missing == 1 ? nullptr : &x.num,
            missing == 2 ? nullptr : &x.reserved, missing == 3 ? nullptr : &x.info);
        EXPECT_EQ(rc, ZORV_DREL_ERR_INVALID_ARG) << missing;
        EXPECT_TRUE(x.array_untouched());
        EXPECT_TRUE(x.info_untouched());
        EXPECT_EQ(x.num, 0xA5A5A5A5u);
    }
    EXPECT_EQ(zt::log_count(kUpd, ": Error: Invalid arg\n"), 4u);
    EXPECT_TRUE(zt::memvni_nodes().empty());
    base.expect_same();
}

// ---- the two forms and what is handed back -----------------------------------------------------

TEST_F(ExtractTest, BareFormMemberVniAdd) {
    auto b = zt::memvnis({{100, 5000}});
    zt::msg_ptr m = zt::update_msg(0, 0, b, false);
    {
        extraction x;
        zt::extract(m.get(), x);
        ASSERT_EQ(x.rc, 0u) << zt::dump_events();
        EXPECT_EQ(x.num, 1u);
        EXPECT_EQ(x.reserved, 0u);
        ASSERT_NE(x.array, nullptr);
        ASSERT_NE(x.info, nullptr);
        // The copy holds exactly param_len bytes, byte for byte.
        EXPECT_EQ(zt::stats(ZORV_DREL_LIB_MEM_tlv_array_t).live_bytes, b.size());
        EXPECT_EQ(std::memcmp(x.array, b.get(), b.size()), 0);
        EXPECT_EQ(zt::stats(ZORV_DREL_LIB_MEM_drelm_app_cmd_extract_info_t).live_bytes, 20u);
        expect_record(x.info[0], 8, 1, 5000, 1, 0);
        auto *n = zt::memvni_node(5000);
        ASSERT_NE(n, nullptr);
        EXPECT_EQ(n->bd, 100u);
        EXPECT_TRUE(zt::has_log(kEntry, ": type-1 (ZORV_TYPE1_UPD) param extractor\n"));
        zt::expect_logs(kUpd, {": Entry opc:ZORV_TYPE1_UPD\n",
                               ": updating type=8, len=8 (is_default=0)\n",
                               ": INFO_P (array idx:0, is_gbl?1, if_idx:0x0, type:8, idx:5000, "
                               "ac?replace\n",
                               ": Success\n"});
        zt::expect_logs(kMvFn, {": bd:100, mem vni:5000\n", ": New avl node\n",
                                ": added avl node for member vni\n",
                                ": Adding memvni bd:100, vni:5000, action:replace\n"});
    }
    base.expect_same();
}

TEST_F(ExtractTest, HeaderFormInterfaceAdd) {
    const auto v = zt::make_vsi_all(kIf, 7, 1, ZORV_MAP_MODE_VDP, {{9000, 5}}, {5}, "gold");
    zt::tlv_buf b;
    zt::add_bytes(b, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, v);
    zt::msg_ptr m = zt::update_msg(0, kIf, b, true);
    {
        extraction x;
        zt::extract(m.get(), x);
        ASSERT_EQ(x.rc, 0u) << zt::dump_events();
        EXPECT_EQ(x.num, 1u);
        expect_record(x.info[0], 9, 1, 7, 0, kIf);
        auto *n = zt::if_node(kIf, 7);
        ASSERT_NE(n, nullptr);
        EXPECT_EQ(n->dot1q_vni[5], 9000u);
        EXPECT_EQ(n->vdp, 1u);
        EXPECT_STREQ(n->prof_name, "gold");
        EXPECT_TRUE(zt::has_log(kUpd, ": Entry opc:ZORV_TYPE1_UPD_HDR\n"));
        EXPECT_TRUE(zt::has_log(kIfFn, ": extract interface params\n"));
        EXPECT_TRUE(zt::has_log(kIfFn, ": port 0x1000 is DREL (ID 3)\n"));
        EXPECT_TRUE(zt::has_log(kIfFn, ": created avl node\n"));
        EXPECT_TRUE(zt::has_log(kIfFn, ": If param for ifindex:0x1000  action:replace\n"));
        EXPECT_TRUE(zt::has_log(kUpd, ": INFO_P (array idx:0, is_gbl?0, if_idx:0x1000, type:9, "
                                      "idx:7, ac?replace\n"));
    }
    base.expect_same();
}

TEST_F(ExtractTest, RespPresentZeroWritesNothing) {
    auto b = zt::memvnis({{100, 5000}});
    auto payload = zt::make_update(0, 0, b, true);
    std::memset(payload.data() + ZORV_DREL_UPD_RESP_PRESENT_OFF, 0, 4);
    zt::msg_ptr m = zt::make_msg(ZORV_DREL_OPC_TYPE1_UPD_HDR, payload);
    extraction x;
    expect_nothing_handed_back(m.get(), 0u, x);
    EXPECT_EQ(x.num, 0xA5A5A5A5u);
    EXPECT_EQ(x.reserved, 0xA5A5A5A5u);
    EXPECT_TRUE(zt::has_log(kUpd, ": Null payload\n"));
    EXPECT_TRUE(zt::memvni_nodes().empty());
    base.expect_same();
}

TEST_F(ExtractTest, MissingPayloadWritesNothing) {
    for (uint32_t opc : {ZORV_DREL_OPC_TYPE1_UPD, ZORV_DREL_OPC_TYPE1_UPD_HDR}) {
        zt::msg_ptr m = zt::make_msg(opc, {});
        expect_nothing_handed_back(m.get(), 0u);
    }
    EXPECT_EQ(zt::log_count(kUpd, ": Null payload\n"), 2u);
}

TEST_F(ExtractTest, ZeroParamLenWritesNothing) {
    std::vector<uint8_t> payload(12, 0); // is_delete, if_index, param_len 0
    zt::msg_ptr m = zt::make_msg(ZORV_DREL_OPC_TYPE1_UPD, payload);
    expect_nothing_handed_back(m.get(), 0u);
    EXPECT_TRUE(zt::has_log(kUpd, ": Invalid param len=0\n"));
}

TEST_F(ExtractTest, EmptyArrayHasNoTlvs) {
    zt::tlv_buf b; // header only
    zt::msg_ptr m = zt::update_msg(0, 0, b, true);
    extraction x;
    zt::extract(m.get(), x);
    EXPECT_EQ(x.rc, ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kUpd, ": Failed to find tlvs\n"));
    EXPECT_TRUE(x.info_untouched());
    base.expect_same();
}

// ---- malformed lengths -------------------------------------------------------------------------

TEST_F(ExtractTest, ParamLenPastPayloadIsRefused) {
    auto b = zt::memvnis({{100, 5000}});
    for (bool hdr : {false, true}) {
        auto payload = zt::make_update(0, 0, b, hdr);
        const uint32_t off = hdr ? 16 : 0;
        const uint32_t too_long = b.size() + 1;
        std::memcpy(payload.data() + off + 8, &too_long, 4);
        zt::msg_ptr m =
            zt::make_msg(hdr ? ZORV_DREL_OPC_TYPE1_UPD_HDR : ZORV_DREL_OPC_TYPE1_UPD, payload);
        expect_nothing_handed_back(m.get(), ZORV_DREL_ERR_INVALID_ARG);
        const std::string line = ": Error: param len=" + std::to_string(too_long) +
                                 " runs past payload len=" + std::to_string(payload.size()) + "\n";
        EXPECT_TRUE(zt::has_log(kUpd, line)) << zt::dump_events();
    }
    EXPECT_TRUE(zt::memvni_nodes().empty());
    base.expect_same();
}

TEST_F(ExtractTest, HugeParamLenIsRefused) {
    auto b = zt::memvnis({{100, 5000}});
    auto payload = zt::make_update(0, 0, b, false);
    const uint32_t huge = 0xFFFFFFF8u;
    std::memcpy(payload.data() + 8, &huge, 4);
    zt::msg_ptr m = zt::make_msg(ZORV_DREL_OPC_TYPE1_UPD, payload);
    extraction x;
    zt::extract(m.get(), x);
    EXPECT_EQ(x.rc, ZORV_DREL_ERR_INVALID_ARG);
    base.expect_same();
}

TEST_F(ExtractTest, ShortPayloadsAreRefused) {
    // bare form shorter than its 12-byte record
    zt::msg_ptr bare = zt::make_msg(ZORV_DREL_OPC_TYPE1_UPD, std::vector<uint8_t>(11, 0));
    // header form shorter than its header
    zt::msg_ptr tiny = zt::make_msg(ZORV_DREL_OPC_TYPE1_UPD_HDR, std::vector<uint8_t>(8, 0));
    // header form with its header but not the whole record behind it
    std::vector<uint8_t> p27(27, 0);
    p27[ZORV_DREL_UPD_RESP_PRESENT_OFF] = 1;
    zt::msg_ptr hdr = zt::make_msg(ZORV_DREL_OPC_TYPE1_UPD_HDR, p27);
    for (const msg_t *m : {bare.get(), tiny.get(), hdr.get()})
        expect_nothing_handed_back(m, ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kUpd, ": Error: payload len=11 too short for update record\n"));
    EXPECT_TRUE(zt::has_log(kUpd, ": Error: payload len=8 too short for header\n"));
    EXPECT_TRUE(zt::has_log(kUpd, ": Error: payload len=27 too short for update record\n"));
    base.expect_same();
}

TEST_F(ExtractTest, ArrayHeaderPastParamLenIsRefused) {
    auto b = zt::memvnis({{100, 5000}});
    auto payload = zt::make_update(0, 0, b, true);
    // The array claims 4 bytes more than param_len holds.
    const uint32_t claimed = b.get()->len + 4;
    std::memcpy(payload.data() + 16 + 12, &claimed, 4);
    zt::msg_ptr m = zt::make_msg(ZORV_DREL_OPC_TYPE1_UPD_HDR, payload);
    extraction x;
    zt::extract(m.get(), x);
    EXPECT_EQ(x.rc, ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kUpd, ": Error: tlv array does not fit in param len=16\n"))
        << zt::dump_events();
    EXPECT_TRUE(x.info_untouched());
    EXPECT_TRUE(zt::memvni_nodes().empty());
    base.expect_same();
}

TEST_F(ExtractTest, ParamLenSmallerThanArrayHeaderIsRefused) {
    std::vector<uint8_t> payload(16, 0);
    const uint32_t words[3] = {0, 0, 3};
    std::memcpy(payload.data(), words, 12);
    zt::msg_ptr m = zt::make_msg(ZORV_DREL_OPC_TYPE1_UPD, payload);
    extraction x;
    zt::extract(m.get(), x);
    EXPECT_EQ(x.rc, ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kUpd, ": Error: tlv array does not fit in param len=3\n"));
}

TEST_F(ExtractTest, WalkFailsOnCutShortLastTlvAfterEarlierApplied) {
    auto b = zt::memvnis({{100, 5000}});
    zt::append_cut_tlv(b, 8, 8);
    zt::msg_ptr m = zt::update_msg(0, 0, b, true);
    {
        extraction x;
        zt::extract(m.get(), x);
        EXPECT_EQ(x.rc, TLV_ERR_MALFORMED);
        EXPECT_EQ(x.info, nullptr); // withdrawn
        EXPECT_TRUE(x.array_untouched());
        EXPECT_EQ(x.num, 2u);
        EXPECT_TRUE(zt::has_log(kUpd, zt::rc_text(TLV_ERR_MALFORMED, "to retrieve tlv")))
            << zt::dump_events();
    }
    // The first TLV's cache change stays.
    ASSERT_NE(zt::memvni_node(5000), nullptr);
    base.expect_same();
}

// A value that holds its key is keyed; it is refused only where its record would be copied: a
// new node is not made and a cached one is not updated, and the TLV still gets its record.
TEST_F(ExtractTest, ValueShorterThanItsRecordIsRefusedOnlyWhereItIsCopied) {
    zt::tlv_buf b;
    const uint32_t short_admin7[2] = {kIf, 7};
    const uint32_t short_admin8[2] = {kIf, 8};
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, short_admin7, sizeof short_admin7);
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 8, 1});
    auto bad9 = zt::make_vsi_all(kIf, 9, 1, 1, {{9000, 5}});
    reinterpret_cast<vsi_all_t *>(bad9.data())->dyn_map_cnt = 2; // claims one pair too many
    zt::add_bytes(b, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, bad9);
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, short_admin8, sizeof short_admin8);
    zt::msg_ptr m = zt::update_msg(0, kIf, b, true);
    {
        extraction x;
        zt::extract(m.get(), x);
        ASSERT_EQ(x.rc, 0u);
        ASSERT_EQ(x.num, 4u);
        expect_record(x.info[0], 5, 1, 5, 0, kIf);
        expect_record(x.info[1], 5, 1, 5, 0, kIf);
        expect_record(x.info[2], 9, 1, 9, 0, kIf);
        expect_record(x.info[3], 5, 1, 5, 0, kIf);
        const char *upd = "zorv_drel_if_cfg_avl_update";
        EXPECT_EQ(zt::log_count(upd, ": Error: Refused type:5 value of len:8\n"), 2u)
            << zt::dump_events();
        EXPECT_TRUE(zt::has_log(upd, ": Error: Refused type:9 value of len:800\n"));
        EXPECT_EQ(zt::log_count(kIfFn, ": Error: Failed create node\n"), 2u);
        EXPECT_EQ(zt::logs_containing("could not extract info"), 0u);
    }
    ASSERT_EQ(zt::if_nodes().size(), 1u);
    ASSERT_NE(zt::if_node(kIf, 8), nullptr);
    EXPECT_EQ(zt::if_node(kIf, 8)->admin, 1u); // not updated from the short value
    base.expect_same();
}

TEST_F(ExtractTest, MemberVniShorterThanItsKeyFailsTheKey) {
    zt::tlv_buf b;
    const uint32_t bd_only = 100;
    b.add(ZORV_TYPE1_GBL_MEMBER_VNI, &bd_only, 4);
    b.add(ZORV_TYPE1_GBL_MEMBER_VNI, member_vni_t{200, 6000});
    zt::msg_ptr m = zt::update_msg(0, 0, b, false);
    extraction x;
    zt::extract(m.get(), x);
    ASSERT_EQ(x.rc, 0u);
    expect_record(x.info[0], 0, 0, 0, 1, 0);
    expect_record(x.info[1], 8, 1, 6000, 1, 0);
    EXPECT_EQ(zt::log_count(kMvFn, zt::rc_text(ZORV_DREL_ERR_INVALID_ARG, "to set key")), 1u)
        << zt::dump_events();
    EXPECT_TRUE(zt::has_log(kUpd, ": Error: could not extract info for type:8, is_delete:0 \n"));
    EXPECT_EQ(zt::memvni_nodes().size(), 1u);
}

// ---- allocation failures -----------------------------------------------------------------------

// Extracts one member-VNI TLV with the tracked allocation after the first `skip` failing: the
// extraction returns 1, hands nothing back and changes no cache.
void expect_allocation_failure_returns_one(uint64_t skip, const zt::live_baseline &base) {
    zt::msg_ptr m = zt::update_msg(0, 0, zt::memvnis({{100, 5000}}), true);
    extraction x;
    {
        zt::fault_guard fail(skip, 1);
        zt::extract(m.get(), x);
    }
    EXPECT_EQ(x.rc, 1u);
    EXPECT_EQ(x.info, nullptr);
    EXPECT_TRUE(x.array_untouched());
    EXPECT_TRUE(zt::has_log(kUpd, ": Failed malloc\n"));
    EXPECT_TRUE(zt::memvni_nodes().empty());
    base.expect_same();
}

TEST_F(ExtractTest, RecordArrayAllocationFailureReturnsOne) {
    expect_allocation_failure_returns_one(0, base);
}

TEST_F(ExtractTest, ArrayCopyAllocationFailureReturnsOne) {
    expect_allocation_failure_returns_one(1, base);
}

// ---- member-VNI cases --------------------------------------------------------------------------

class ExtractMemvniTest : public ExtractTest {
  protected:
    // Extracts one type-8 TLV and returns its record.
    drelm_app_cmd_extract_info_t one(uint32_t is_delete, member_vni_t v, uint32_t *rc = nullptr) {
        zt::tlv_buf b;
        b.add(ZORV_TYPE1_GBL_MEMBER_VNI, v);
        zt::msg_ptr m = zt::update_msg(is_delete, 0, b, true);
        extraction x;
        zt::extract(m.get(), x);
        if (rc != nullptr) *rc = x.rc;
        EXPECT_EQ(x.rc, 0u);
        return x.info != nullptr && !x.info_untouched() ? x.info[0]
                                                        : drelm_app_cmd_extract_info_t{};
    }
};

TEST_F(ExtractMemvniTest, FoundAndDeleteRemovesNode) {
    one(0, {100, 5000});
    const auto r = one(1, {100, 5000});
    expect_record(r, 8, 0, 5000, 1, 0);
    EXPECT_EQ(zt::memvni_node(5000), nullptr);
    EXPECT_TRUE(zt::has_log(kMvFn, ": Found avl node - deleting\n"));
    EXPECT_TRUE(zt::has_log(kMvFn, ": Adding memvni bd:100, vni:5000, action:delete\n"));
    base.expect_same();
}

TEST_F(ExtractMemvniTest, FoundAndAddRebinds) {
    one(0, {100, 5000});
    const auto r = one(0, {200, 5000});
    expect_record(r, 8, 1, 5000, 1, 0);
    ASSERT_NE(zt::memvni_node(5000), nullptr);
    EXPECT_EQ(zt::memvni_node(5000)->bd, 200u);
    EXPECT_EQ(zt::memvni_nodes().size(), 1u);
    EXPECT_TRUE(zt::has_log(kMvFn, ": Found avl node - updating\n"));
}

TEST_F(ExtractMemvniTest, MissingAndDeleteOnlyLogs) {
    const auto r = one(1, {100, 5000});
    expect_record(r, 8, 0, 5000, 1, 0);
    EXPECT_TRUE(zt::memvni_nodes().empty());
    EXPECT_TRUE(zt::has_log(kMvFn, ": Error: try to delete non-existent node\n"));
}

TEST_F(ExtractMemvniTest, MissingAndAddCreates) {
    const auto r = one(0, {100, 5000});
    expect_record(r, 8, 1, 5000, 1, 0);
    EXPECT_EQ(zt::memvni_nodes().size(), 1u);
}

TEST_F(ExtractMemvniTest, CreationFailureLeavesRecordZero) {
    auto b = zt::memvnis({{100, 5000}, {101, 5001}});
    zt::msg_ptr m = zt::update_msg(0, 0, b, true);
    {
        extraction x;
        tracked_mem_fault_set(zt::kSvc, 2, 1); // records and copy succeed, the first node fails
        zt::extract(m.get(), x);
        tracked_mem_fault_set(zt::kSvc, 0, 0);
        ASSERT_EQ(x.rc, 0u);
        expect_record(x.info[0], 0, 0, 0, 1, 0);
        expect_record(x.info[1], 8, 1, 5001, 1, 0);
        EXPECT_TRUE(zt::has_log(kMvFn, ": Failed create\n"));
        EXPECT_TRUE(
            zt::has_log(kUpd, ": Error: could not extract info for type:8, is_delete:0 \n"));
    }
    EXPECT_EQ(zt::memvni_node(5000), nullptr);
    EXPECT_NE(zt::memvni_node(5001), nullptr);
    base.expect_same();
}

TEST_F(ExtractMemvniTest, GlobalTypesOneAndTwoAreSkipped) {
    zt::tlv_buf b;
    zt::add_bytes(b, ZORV_TYPE1_GBL_ENCAP_PROFILE, zt::name_wire("gold"));
    auto map = zt::map_val("gold", {{5, 9000}});
    b.add(ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, map.get(), sizeof *map);
    zt::msg_ptr m = zt::update_msg(0, 0, b, true);
    {
        extraction x;
        zt::extract(m.get(), x);
        ASSERT_EQ(x.rc, 0u);
        ASSERT_EQ(x.num, 2u);
        expect_record(x.info[0], 0, 0, 0, 1, 0);
        expect_record(x.info[1], 0, 0, 0, 1, 0);
        EXPECT_TRUE(zt::has_log(kUpd, ": Unkown type:1"));
        EXPECT_TRUE(zt::has_log(kUpd, ": Unkown type:2"));
        EXPECT_FALSE(
            zt::has_log(kUpd, ": Error: could not extract info for type:1, is_delete:0 \n"));
        EXPECT_TRUE(zt::has_log(kUpd, ": INFO_P (array idx:1, is_gbl?1, if_idx:0x0, type:0, "
                                      "idx:0, ac?delete\n"));
    }
    EXPECT_TRUE(zt::gbl_nodes().empty());
    base.expect_same();
}

TEST_F(ExtractMemvniTest, NodeThatCannotBeMadeNeedsNoRecord) {
    const member_vni_t v{100, 5000};
    {
        zt::fault_guard f(0, 1);
        EXPECT_EQ(zorv_drel_extract_memvni_param(0, ZORV_TYPE1_GBL_MEMBER_VNI, 8, &v, nullptr),
                  ZORV_DREL_ERR_NO_MEMORY);
    }
    EXPECT_TRUE(zt::has_log(kMvFn, ": Failed create\n")) << zt::dump_events();
    EXPECT_TRUE(zt::memvni_nodes().empty());
}

// The record is written last: without one the cache change is made and the call refused.
TEST_F(ExtractMemvniTest, MissingRecordIsRefusedWhereItWouldBeWritten) {
    const member_vni_t v{100, 5000};
    EXPECT_EQ(zorv_drel_extract_memvni_param(0, ZORV_TYPE1_GBL_MEMBER_VNI, 8, &v, nullptr),
              ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kMvFn, ": added avl node for member vni\n"));
    EXPECT_FALSE(zt::has_log(kMvFn, ": Adding memvni bd:100, vni:5000, action:replace\n"));
    EXPECT_NE(zt::memvni_node(5000), nullptr);
}

TEST_F(ExtractMemvniTest, NullValueIsRefused) {
    drelm_app_cmd_extract_info_t r{};
    EXPECT_EQ(zorv_drel_extract_memvni_param(0, ZORV_TYPE1_GBL_MEMBER_VNI, 8, nullptr, &r),
              ZORV_DREL_ERR_INVALID_ARG);
    expect_record(r, 0, 0, 0, 0, 0);
}

// ---- interface cases ---------------------------------------------------------------------------

class ExtractIfTest : public ExtractTest {
  protected:
    drelm_app_cmd_extract_info_t one(uint32_t is_delete, uint16_t type, const void *v, uint16_t len,
                                     uint32_t if_index = kIf) {
        zt::tlv_buf b;
        b.add(type, v, len);
        zt::msg_ptr m = zt::update_msg(is_delete, if_index, b, true);
        extraction x;
        zt::extract(m.get(), x);
        EXPECT_EQ(x.rc, 0u);
        return x.info != nullptr && !x.info_untouched() ? x.info[0]
                                                        : drelm_app_cmd_extract_info_t{};
    }
    drelm_app_cmd_extract_info_t nine(uint32_t is_delete, uint32_t vsi, uint32_t if_index = kIf) {
        const auto v = zt::make_vsi_all(if_index, vsi, 1, 1, {{9000, 5}}, {5}, "gold");
        return one(is_delete, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, v.data(),
                   static_cast<uint16_t>(v.size()), if_index);
    }
    // Extracts a type-9 value of service instance 7 directly, without a record.
    static uint32_t nine_without_record(uint32_t if_index) {
        const auto v = zt::make_vsi_all(if_index, 7, 1, 1, {});
        return zorv_drel_extract_if_params(0, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                                           static_cast<uint16_t>(v.size()), v.data(), if_index,
                                           nullptr);
    }
};

TEST_F(ExtractIfTest, FoundAndAddUpdates) {
    nine(0, 7);
    const vsi_admin_t a{kIf, 7, 0};
    const auto r = one(0, 5, &a, sizeof a);
    expect_record(r, 5, 1, 5, 0, kIf); // the index of a type 5 is its type
    ASSERT_NE(zt::if_node(kIf, 7), nullptr);
    EXPECT_EQ(zt::if_node(kIf, 7)->admin, 0u);
    EXPECT_EQ(zt::if_nodes().size(), 1u);
}

TEST_F(ExtractIfTest, FoundAndDeleteTypeNineRemovesNode) {
    nine(0, 7);
    const vsi_encap_rng_t rng = zt::rng_val(kIf, 7, "gold", {5});
    one(0, 6, &rng, sizeof rng); // gives the node an encap entry
    const auto r = nine(1, 7);
    expect_record(r, 9, 0, 7, 0, kIf);
    EXPECT_TRUE(zt::if_nodes().empty());
    EXPECT_TRUE(zt::has_log(kIfFn, ": Action Delete: deleting if_index:0x1000 vsi:7 cache node\n"));
    EXPECT_TRUE(zt::has_log(kIfFn, ": If param for ifindex:0x1000  action:delete\n"));
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_profile_node),
              0u); // the encap entry went with the node
    base.expect_same();
}

TEST_F(ExtractIfTest, FoundAndDeleteOtherTypesKeepNode) {
    nine(0, 7);
    const vsi_encap_rng_t rng = zt::rng_val(kIf, 7, "gold", {5});
    const auto r6 = one(1, ZORV_TYPE1_INTF_VSI_ENCAP_PROF, &rng, sizeof rng);
    expect_record(r6, 6, 0, 6, 0, kIf);
    const vsi_admin_t a{kIf, 7, 1};
    const auto r5 = one(1, ZORV_TYPE1_INTF_VSI_ADMIN, &a, sizeof a);
    expect_record(r5, 5, 0, 5, 0, kIf);
    EXPECT_NE(zt::if_node(kIf, 7), nullptr);
    EXPECT_TRUE(zt::has_log(kIfFn, ": Unk type:6 "));
    EXPECT_TRUE(zt::has_log(kIfFn, ": Unk type:5 "));
}

TEST_F(ExtractIfTest, MissingAndDeleteOnlyLogs) {
    const auto r = nine(1, 7);
    expect_record(r, 9, 0, 7, 0, kIf);
    EXPECT_TRUE(zt::if_nodes().empty());
    EXPECT_TRUE(zt::has_log(kIfFn, ": Trying to delete non-exist\n"));
}

TEST_F(ExtractIfTest, MissingAndAddCreates) {
    const auto r = nine(0, 7);
    expect_record(r, 9, 1, 7, 0, kIf);
    EXPECT_NE(zt::if_node(kIf, 7), nullptr);
}

TEST_F(ExtractIfTest, CreationFailureIsNotAnError) {
    zt::tlv_buf b;
    const vsi_admin_t a{kIf, 7, 1};
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, a);
    zt::msg_ptr m = zt::update_msg(0, kIf, b, true);
    {
        extraction x;
        tracked_mem_fault_set(zt::kSvc, 2, 1);
        zt::extract(m.get(), x);
        tracked_mem_fault_set(zt::kSvc, 0, 0);
        ASSERT_EQ(x.rc, 0u);
        expect_record(x.info[0], 5, 1, 5, 0, kIf);
        EXPECT_TRUE(zt::has_log(kIfFn, ": Error: Failed create node\n"));
        EXPECT_FALSE(
            zt::has_log(kUpd, ": Error: could not extract info for type:5, is_delete:0 \n"));
    }
    EXPECT_TRUE(zt::if_nodes().empty());
    base.expect_same();
}

TEST_F(ExtractIfTest, NotAPeerLinkMember) {
    // a cached node of the interface (made without asking the peer manager) stays
    zt::tlv_buf cached;
    zt::add_bytes(cached, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, zt::make_vsi_all(kIf2, 7, 1, 1, {}));
    ASSERT_EQ(zorv_drel_type1_cfg_cache_rebuild(cached.get(), 0, kIf2), 0u);
    const auto r = nine(1, 7, kIf2);
    expect_record(r, 0, 0, 0, 0, kIf2);
    EXPECT_TRUE(zt::has_log(kIfFn, ": interface:0x2000 is not pelk\n"));
    EXPECT_TRUE(zt::has_log(kUpd, ": Error: could not extract info for type:9, is_delete:1 \n"));
    // a record whose is_drel is 0 is not a member either
    drelm_host_set_interface(kIf2, 0, 4);
    const auto r2 = nine(0, 7, kIf2);
    expect_record(r2, 0, 0, 0, 0, kIf2);
    ASSERT_EQ(zt::if_nodes().size(), 1u);
    EXPECT_NE(zt::if_node(kIf2, 7), nullptr);
}

TEST_F(ExtractIfTest, EightByteTypeNineDeleteRemovesTheNode) {
    nine(0, 7);
    const uint32_t key[2] = {kIf, 7};
    const auto r = one(1, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, key, sizeof key);
    expect_record(r, 9, 0, 7, 0, kIf);
    EXPECT_TRUE(zt::if_nodes().empty());
    EXPECT_TRUE(zt::has_log(kIfFn, ": Action Delete: deleting if_index:0x1000 vsi:7 cache node\n"))
        << zt::dump_events();
    base.expect_same();
}

TEST_F(ExtractIfTest, KeyOnlyTypeSevenMakesTheEmptyNode) {
    const uint32_t key[2] = {kIf, 7};
    const auto r = one(0, ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP, key, sizeof key);
    expect_record(r, 7, 1, 7, 0, kIf);
    EXPECT_TRUE(zt::has_log(kIfFn, ": created avl node\n")) << zt::dump_events();
    EXPECT_TRUE(zt::has_log("zorv_drel_if_cfg_avl_update", ": Unsupported type:7\n"));
    const if_cfg_avl_node_t *n = zt::if_node(kIf, 7);
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(n->admin, 0u);
    EXPECT_EQ(n->dyn_map_cnt, 0u);
    EXPECT_EQ(n->encap_list, nullptr);
}

TEST_F(ExtractIfTest, ValueShorterThanItsKeyFailsTheKey) {
    const uint32_t if_only = kIf;
    const auto r = one(0, ZORV_TYPE1_INTF_VSI_ADMIN, &if_only, sizeof if_only);
    expect_record(r, 0, 0, 0, 0, kIf);
    EXPECT_TRUE(zt::has_log(kIfFn, zt::rc_text(ZORV_DREL_ERR_INVALID_ARG, "to set key")))
        << zt::dump_events();
    EXPECT_TRUE(zt::has_log(kUpd, ": Error: could not extract info for type:5, is_delete:0 \n"));
    EXPECT_TRUE(zt::if_nodes().empty());
}

// A non-member and a key that cannot be built write no record, so they need none.
TEST_F(ExtractIfTest, CodesThatWriteNoRecordNeedNone) {
    EXPECT_EQ(nine_without_record(kIf2), ZORV_DREL_ERR_DRELM_NO_RECORD);
    EXPECT_TRUE(zt::has_log(kIfFn, ": interface:0x2000 is not pelk\n"));
    const uint32_t w[3] = {kIf, 7, 1};
    EXPECT_EQ(zorv_drel_extract_if_params(0, 3, sizeof w, w, kIf, nullptr),
              ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kIfFn, zt::rc_text(ZORV_DREL_ERR_INVALID_ARG, "to set key")))
        << zt::dump_events();
    EXPECT_TRUE(zt::if_nodes().empty());
}

// The record is written last: without one the cache change is made and the call refused.
TEST_F(ExtractIfTest, MissingRecordIsRefusedWhereItWouldBeWritten) {
    EXPECT_EQ(nine_without_record(kIf), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_log(kIfFn, ": created avl node\n"));
    EXPECT_FALSE(zt::has_log(kIfFn, ": If param for ifindex:0x1000  action:replace\n"));
    EXPECT_NE(zt::if_node(kIf, 7), nullptr);
}

TEST_F(ExtractIfTest, UnsupportedTypeFailsTheKey) {
    const uint32_t v[3] = {kIf, 7, 1};
    const auto r = one(0, 3, v, sizeof v);
    expect_record(r, 0, 0, 0, 0, kIf);
    EXPECT_TRUE(zt::has_log(kIfFn, zt::rc_text(ZORV_DREL_ERR_INVALID_ARG, "to set key")))
        << zt::dump_events();
    EXPECT_TRUE(zt::if_nodes().empty());
}

TEST_F(ExtractIfTest, SeveralTlvsInOrder) {
    zt::tlv_buf b;
    const auto v7 = zt::make_vsi_all(kIf, 7, 1, 1, {});
    const auto v9 = zt::make_vsi_all(kIf, 9, 1, 1, {{9000, 5}, {9001, 6}});
    zt::add_bytes(b, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, v7);
    zt::add_bytes(b, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, v9);
    b.add(ZORV_TYPE1_INTF_VSI_ADMIN, vsi_admin_t{kIf, 9, 0});
    zt::msg_ptr m = zt::update_msg(0, kIf, b, false);
    extraction x;
    zt::extract(m.get(), x);
    ASSERT_EQ(x.rc, 0u);
    ASSERT_EQ(x.num, 3u);
    EXPECT_EQ(zt::stats(ZORV_DREL_LIB_MEM_drelm_app_cmd_extract_info_t).live_bytes, 60u);
    expect_record(x.info[0], 9, 1, 7, 0, kIf);
    expect_record(x.info[1], 9, 1, 9, 0, kIf);
    expect_record(x.info[2], 5, 1, 5, 0, kIf);
    EXPECT_EQ(zt::if_nodes().size(), 2u);
    EXPECT_EQ(zt::if_node(kIf, 9)->admin, 0u);
    EXPECT_EQ(zt::if_node(kIf, 9)->dot1q_vni[6], 9001u);
}

// ---- the configuration-request helpers and placeholders ---------------------------------------

TEST(ExtractCli, AnswersTheRequest) {
    zt::msg_ptr m(msg_create_request(ZORV_DREL_OPC_CLI_CONFIG, 1));
    alignas(16) unsigned char handle[256] = {};
    ASSERT_NE(cli_request_handle_get_ext(m.get(), handle), 0u);
    EXPECT_EQ(zorv_drel_param_extractor_from_cli(nullptr, handle), 0u);
    EXPECT_EQ(cli_host_ok_count(), 1u);
    EXPECT_TRUE(zt::has_log("zorv_drel_param_extractor_from_cli", ": CLI extractor\n"));
}

TEST(ExtractPlaceholders, NotSupported) {
    EXPECT_EQ(zorv_drel_extract_encap_map_param(), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_EQ(zorv_drel_extract_encap_profile_param(), ZORV_DREL_ERR_INVALID_ARG);
    EXPECT_TRUE(zt::has_raw("Error zorv_drel_extract_encap_map_param:  Not supported\n"));
    EXPECT_TRUE(zt::has_raw("Error zorv_drel_extract_encap_profile_param:  Not supported\n"));
}

} // namespace
