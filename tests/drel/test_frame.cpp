// SPDX-License-Identifier: Apache-2.0
// Library frame: memory-type table, zero-filled allocation, type names and check codes, uid
// type, the always-0 entry points, opening of the debug history and the debug file.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "zorv_test_support.h"

namespace fs = std::filesystem;

namespace {

constexpr const char *kMemNames[16] = {"ZORV_DREL_LIB_MEM_NONE",
                                       "ZORV_DREL_LIB_MEM_gbl_cfg_avl_node_t",
                                       "ZORV_DREL_LIB_MEM_if_cfg_avl_node_t",
                                       "ZORV_DREL_LIB_MEM_tlv_array_t",
                                       "ZORV_DREL_LIB_MEM_drelm_app_info_t",
                                       "ZORV_DREL_LIB_MEM_drelm_app_cmd_extract_info_t",
                                       "ZORV_DREL_LIB_MEM_member_vni_t",
                                       "ZORV_DREL_LIB_MEM_encap_name_t",
                                       "ZORV_DREL_LIB_MEM_encap_map_t",
                                       "ZORV_DREL_LIB_MEM_encap_profile_node",
                                       "ZORV_DREL_LIB_MEM_vsi_admin_t",
                                       "ZORV_DREL_LIB_MEM_vsi_encap_rng_t",
                                       "ZORV_DREL_LIB_MEM_gbl_cfg_memvni_avl_node_t",
                                       "ZORV_DREL_LIB_MEM_encap_uid_node_t",
                                       "ZORV_DREL_LIB_MEM_vsi_all_t",
                                       "ZORV_DREL_LIB_MEM_MAX"};

// Logs one event through the library (an unsupported type is refused with a log line).
void log_one_event() {
    uint16_t t = 0, l = 0;
    void *v = nullptr;
    uint32_t node = 0;
    ASSERT_EQ(zorv_drel_lib_alloc_tlv(3, &t, &l, &v, &node), ZORV_DREL_ERR_INVALID_ARG);
}

std::string read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

std::string header_for(uint32_t ctx) {
    return "ZORV DREL Type-1 cfg debug file KOX:" + std::to_string(ctx) +
           " \n--------------------------------\n";
}

// A context number of this process, so parallel runs never share a debug file.
uint32_t own_context() {
    return 20000u + static_cast<uint32_t>(getpid()) % 40000u;
}

std::string debug_path(uint32_t ctx) {
    return "/qirra/tmp/zorv_drel_lib_dbg.log." + std::to_string(ctx);
}

void ensure_debug_dir() {
    std::error_code ec;
    fs::create_directories("/qirra/tmp", ec);
    ASSERT_TRUE(fs::is_directory("/qirra/tmp")) << ec.message();
}

// Each debug-file test starts without a file of its own context and removes it when done.
class DebugPrint : public ::testing::Test {
  protected:
    void SetUp() override {
        ensure_debug_dir();
        fs::remove_all(path);
        unsetenv("ZORV_DREL_DEBUG_FILE"); // the described default, whatever the caller's shell says
    }
    void TearDown() override { fs::remove(path); }
    const uint32_t ctx = own_context();
    const std::string path = debug_path(ctx);
};

} // namespace

// ---- Memory-type table ---------------------------------------------------------------------

TEST(MemTypeTable, RowsInOrderWithTerminator) {
    for (uint32_t i = 0; i < 16; ++i) {
        EXPECT_EQ(zorv_drel_lib_mem_type_t[i].value, i);
        EXPECT_STREQ(zorv_drel_lib_mem_type_t[i].name, kMemNames[i]);
    }
    EXPECT_EQ(zorv_drel_lib_mem_type_t[16].value, 0u);
    ASSERT_NE(zorv_drel_lib_mem_type_t[16].name, nullptr);
    EXPECT_STREQ(zorv_drel_lib_mem_type_t[16].name, "");
    EXPECT_EQ(sizeof zorv_drel_lib_mem_type_t, 17 * sizeof(zorv_drel_lib_mem_type_row_t));
}

TEST(MemTypeTable, EnumeratorsMatchRows) {
    EXPECT_EQ(ZORV_DREL_LIB_MEM_NONE, 0);
    EXPECT_EQ(ZORV_DREL_LIB_MEM_member_vni_t, 6);
    EXPECT_EQ(ZORV_DREL_LIB_MEM_vsi_all_t, 14);
    EXPECT_EQ(ZORV_DREL_LIB_MEM_MAX, 15);
}

TEST(MemTypeFind, EveryValue) {
    for (uint32_t i = 0; i < 16; ++i)
        EXPECT_STREQ(__zorv_drel_lib_mem_type_t_find(i), kMemNames[i]);
}

TEST(MemTypeFind, EdgeValues) {
    EXPECT_STREQ(__zorv_drel_lib_mem_type_t_find(0), "ZORV_DREL_LIB_MEM_NONE");
    EXPECT_STREQ(__zorv_drel_lib_mem_type_t_find(15), "ZORV_DREL_LIB_MEM_MAX");
    EXPECT_EQ(__zorv_drel_lib_mem_type_t_find(16), nullptr);
    EXPECT_EQ(__zorv_drel_lib_mem_type_t_find(0xFFFFFFFFu), nullptr);
    // Returns the table's own strings.
    EXPECT_EQ(__zorv_drel_lib_mem_type_t_find(7), zorv_drel_lib_mem_type_t[7].name);
}

TEST(MemTypeStr2Enum, EveryName) {
    for (uint32_t i = 0; i < 16; ++i)
        EXPECT_EQ(__zorv_drel_lib_mem_type_t_str2enum(kMemNames[i]), i);
}

TEST(MemTypeStr2Enum, MaxAndCaseInsensitive) {
    const std::pair<const char *, uint32_t> cases[] = {{"ZORV_DREL_LIB_MEM_MAX", 15},
                                                       {"zorv_drel_lib_mem_max", 15},
                                                       {"ZORV_DREL_LIB_MEM_VSI_ALL_T", 14},
                                                       {"zOrV_dReL_lIb_MeM_vsi_ALL_t", 14}};
    for (auto [name, value] : cases)
        EXPECT_EQ(__zorv_drel_lib_mem_type_t_str2enum(name), value) << name;
}

TEST(MemTypeStr2Enum, UnknownGivesZero) {
    for (const char *name :
         {"ZORV_DREL_LIB_MEM_vsi_all", "ZORV_DREL_LIB_MEM_vsi_all_t ", "", "nothing"})
        EXPECT_EQ(__zorv_drel_lib_mem_type_t_str2enum(name), 0u) << '"' << name << '"';
}

// ---- Zero-filled tracked allocation --------------------------------------------------------

TEST(Calloc, ZeroFilledAndAccounted) {
    const auto before = zt::stats(ZORV_DREL_LIB_MEM_encap_map_t);
    // Leave dirty memory behind so that a reused block would show through.
    void *dirty = tracked_alloc(zt::kSvc, ZORV_DREL_LIB_MEM_encap_map_t, sizeof(encap_map_t));
    ASSERT_NE(dirty, nullptr);
    std::memset(dirty, 0xAB, sizeof(encap_map_t));
    ASSERT_EQ(tracked_free(zt::kSvc, dirty), 0);

    auto *p = static_cast<uint8_t *>(
        zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_encap_map_t, sizeof(encap_map_t)));
    ASSERT_NE(p, nullptr);
    for (size_t i = 0; i < sizeof(encap_map_t); ++i)
        ASSERT_EQ(p[i], 0) << "byte " << i;
    const auto during = zt::stats(ZORV_DREL_LIB_MEM_encap_map_t);
    EXPECT_EQ(during.live_blocks, before.live_blocks + 1);
    EXPECT_EQ(during.live_bytes, before.live_bytes + sizeof(encap_map_t));
    EXPECT_EQ(tracked_free(zt::kSvc, p), 0);
    EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_map_t), before.live_blocks);
}

TEST(Calloc, EveryMemoryTypeIsCountedUnderItsType) {
    for (uint32_t t = 1; t <= 14; ++t) {
        void *p = zorv_drel_lib_calloc(t, 32);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(zt::live_blocks(static_cast<int32_t>(t)), 1u) << "type " << t;
        EXPECT_EQ(tracked_free(zt::kSvc, p), 0);
        EXPECT_EQ(zt::live_blocks(static_cast<int32_t>(t)), 0u);
    }
}

TEST(Calloc, SizeZeroAsksForZeroBytes) {
    const auto before = zt::stats(ZORV_DREL_LIB_MEM_tlv_array_t);
    void *p = zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_tlv_array_t, 0);
    ASSERT_NE(p, nullptr); // the allocator's unique block for size 0
    const auto after = zt::stats(ZORV_DREL_LIB_MEM_tlv_array_t);
    EXPECT_EQ(after.allocs, before.allocs + 1);
    EXPECT_EQ(after.live_blocks, before.live_blocks + 1);
    EXPECT_EQ(after.live_bytes, before.live_bytes);
    EXPECT_EQ(tracked_free(zt::kSvc, p), 0);
}

TEST(Calloc, InjectedFaultGivesNull) {
    const auto before = zt::stats();
    tracked_mem_fault_set(zt::kSvc, 0, 1);
    EXPECT_EQ(zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_vsi_admin_t, 12), nullptr);
    const auto after = zt::stats();
    EXPECT_EQ(after.failed_allocs, before.failed_allocs + 1);
    EXPECT_EQ(after.live_blocks, before.live_blocks);
    // Only the one allocation fails.
    void *p = zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_vsi_admin_t, 12);
    EXPECT_NE(p, nullptr);
    EXPECT_EQ(tracked_free(zt::kSvc, p), 0);
}

TEST(Calloc, FaultAfterSkip) {
    tracked_mem_fault_set(zt::kSvc, 1, 1);
    void *a = zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_vsi_admin_t, 12);
    void *b = zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_vsi_admin_t, 12);
    EXPECT_NE(a, nullptr);
    EXPECT_EQ(b, nullptr);
    EXPECT_EQ(tracked_free(zt::kSvc, a), 0);
}

// ---- Type names, check codes, uid type -----------------------------------------------------

TEST(TypeToStr, KnownTypes) {
    EXPECT_STREQ(zorv_drel_type1_cfg_type_to_str(ZORV_TYPE1_GBL_ENCAP_PROFILE),
                 "Gbl Encap Profile");
    EXPECT_STREQ(zorv_drel_type1_cfg_type_to_str(ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP),
                 "Gbl Encap Dot1q Map");
    EXPECT_STREQ(zorv_drel_type1_cfg_type_to_str(ZORV_TYPE1_INTF_VSI_ADMIN),
                 "Intf Vsi Id, Admin Status");
    EXPECT_STREQ(zorv_drel_type1_cfg_type_to_str(ZORV_TYPE1_INTF_VSI_ENCAP_PROF),
                 "Intf Vsi Encap Prof");
    EXPECT_STREQ(zorv_drel_type1_cfg_type_to_str(ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP),
                 "Intf Vsi Encap Dot1q Map");
    EXPECT_STREQ(zorv_drel_type1_cfg_type_to_str(ZORV_TYPE1_GBL_MEMBER_VNI), "Gbl Member Vni");
    EXPECT_STREQ(zorv_drel_type1_cfg_type_to_str(ZORV_TYPE1_INTF_VSI_ATTRIBUTES),
                 "Intf Vsi Attributes");
}

TEST(TypeToStr, UnknownTypesGiveEmptyNotNull) {
    for (uint16_t t : {0, 3, 4, 10, 11, 255, 256, 0xFFFF}) {
        const char *s = zorv_drel_type1_cfg_type_to_str(t);
        ASSERT_NE(s, nullptr) << t;
        EXPECT_STREQ(s, "") << t;
    }
}

TEST(CompatErrcode, KnownTypes) {
    EXPECT_EQ(zorv_drel_get_type1_cfg_compat_chk_errcode(ZORV_TYPE1_GBL_ENCAP_PROFILE),
              0x42D90038u);
    EXPECT_EQ(zorv_drel_get_type1_cfg_compat_chk_errcode(ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP),
              0x42D90039u);
    EXPECT_EQ(zorv_drel_get_type1_cfg_compat_chk_errcode(ZORV_TYPE1_INTF_VSI_ADMIN), 0x42D9003Au);
    EXPECT_EQ(zorv_drel_get_type1_cfg_compat_chk_errcode(ZORV_TYPE1_INTF_VSI_ENCAP_PROF),
              0x42D9003Bu);
    EXPECT_EQ(zorv_drel_get_type1_cfg_compat_chk_errcode(ZORV_TYPE1_INTF_VSI_ENCAP_DOT1Q_MAP),
              0x42D9003Cu);
    EXPECT_EQ(zorv_drel_get_type1_cfg_compat_chk_errcode(ZORV_TYPE1_GBL_MEMBER_VNI), 0x42D9003Du);
    EXPECT_EQ(zorv_drel_get_type1_cfg_compat_chk_errcode(ZORV_TYPE1_INTF_VSI_ATTRIBUTES),
              0x42D9003Au);
}

TEST(CompatErrcode, FiveAndNineShareOneCode) {
    EXPECT_EQ(zorv_drel_get_type1_cfg_compat_chk_errcode(ZORV_TYPE1_INTF_VSI_ADMIN),
              zorv_drel_get_type1_cfg_compat_chk_errcode(ZORV_TYPE1_INTF_VSI_ATTRIBUTES));
}

TEST(CompatErrcode, UnknownTypesGiveFailure) {
    for (uint16_t t : {0, 3, 4, 10, 0x100, 0xFFFF})
        EXPECT_EQ(zorv_drel_get_type1_cfg_compat_chk_errcode(t), 0x42D90001u) << t;
}

TEST(UidType, TopByte) {
    EXPECT_EQ(zorv_drel_lib_get_type_from_uid(0x0A123456u), 10u);
    EXPECT_EQ(zorv_drel_lib_get_type_from_uid(0x0A000000u), 10u);
    EXPECT_EQ(zorv_drel_lib_get_type_from_uid(0x00FFFFFFu), 0u);
    EXPECT_EQ(zorv_drel_lib_get_type_from_uid(0xFF000000u), 255u);
    EXPECT_EQ(zorv_drel_lib_get_type_from_uid(0xFFFFFFFFu), 255u);
    // Never a negative number, even when read as signed.
    EXPECT_GT(static_cast<int32_t>(zorv_drel_lib_get_type_from_uid(0xFF000001u)), 0);
}

// ---- Entry points that always answer 0 -------------------------------------------------------

TEST(AlwaysZero, DoNothingAndAnswerZero) {
    const auto before = zt::stats();
    uint32_t scratch[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    if_cfg_avl_node_t *node = static_cast<if_cfg_avl_node_t *>(
        zorv_drel_lib_calloc(ZORV_DREL_LIB_MEM_if_cfg_avl_node_t, sizeof(if_cfg_avl_node_t)));
    ASSERT_NE(node, nullptr);
    zt::tlv_buf arr(64);

    for (uint16_t t : {0, 1, 2, 5, 6, 7, 8, 9, 0xFFFF}) {
        EXPECT_EQ(zorv_drel_type1_cfg_param_is_default(t, 8, scratch), 0u);
        EXPECT_EQ(zorv_drel_type1_cfg_param_is_default(t, 0, nullptr), 0u);
    }
    EXPECT_EQ(zorv_drel_if_cfg_avl_encaplist_add_tlvs(node, 64, arr.get()), 0u);
    EXPECT_EQ(zorv_drel_if_cfg_avl_encaplist_add_tlvs(nullptr, 0, nullptr), 0u);
    EXPECT_EQ(arr.get()->len, 0u); // nothing added
    auto rebuild = zt::memvnis({{10, 5000}});
    EXPECT_EQ(zorv_drel_type1_rem_cfg_cache_rebuild(rebuild.get(), 1, 0), 0u);
    EXPECT_EQ(zorv_drel_type1_rem_cfg_cache_rebuild(nullptr, 0, 0x1234), 0u);
    EXPECT_EQ(tree_count(zorv_drel_gbl_cfg_memvni_avl), 0u);
    EXPECT_EQ(zorv_drel_lib_any_vsi_using_encap("prof"), 0u);
    EXPECT_EQ(zorv_drel_lib_any_vsi_using_encap(nullptr), 0u);

    EXPECT_EQ(scratch[0], 1u);
    EXPECT_EQ(scratch[7], 8u);
    EXPECT_TRUE(zt::events().empty()) << zt::dump_events();
    EXPECT_EQ(zt::stats().allocs, before.allocs + 1); // only the node above
    EXPECT_EQ(tracked_free(zt::kSvc, node), 0);
}

// ---- Opening the debug history -------------------------------------------------------------

TEST(LogbufInit, NothingOpenedBeforeTheFirstEvent) {
    EXPECT_EQ(debug_history_open_calls(zt::kSvc), 0u);
    log_one_event();
    EXPECT_EQ(debug_history_open_calls(zt::kSvc), 1u);
    EXPECT_TRUE(zt::has_log("zorv_drel_lib_alloc_tlv", ": Unsupported type:3\n"))
        << zt::dump_events();
}

TEST(LogbufInit, RetriedOnEveryEventUntilOneOpenSucceeds) {
    ASSERT_EQ(debug_history_open_calls(zt::kSvc), 0u);
    debug_history_fail_open(zt::kSvc, 3);
    for (uint32_t i = 1; i <= 3; ++i) {
        log_one_event();
        EXPECT_EQ(debug_history_open_calls(zt::kSvc), i);
        EXPECT_EQ(debug_history_count(zt::kSvc), 0u); // no ring, nothing kept
    }
    log_one_event(); // the fourth open succeeds and the event is kept
    EXPECT_EQ(debug_history_open_calls(zt::kSvc), 4u);
    EXPECT_EQ(zt::log_count("zorv_drel_lib_alloc_tlv", ": Unsupported type:3\n"), 1u);
    for (int i = 0; i < 5; ++i)
        log_one_event();
    EXPECT_EQ(debug_history_open_calls(zt::kSvc), 4u); // never again in this process
    EXPECT_EQ(zt::log_count("zorv_drel_lib_alloc_tlv", ": Unsupported type:3\n"), 6u);
}

TEST(LogbufInit, ExportedFlagFollowsTheFirstSuccessfulOpen) {
    // The flag is process-wide state that the peer manager can read by name.
    ASSERT_EQ(zorv_drel_lib_logbuf_init_done, 0u);
    debug_history_fail_open(zt::kSvc, 1);
    log_one_event();
    EXPECT_EQ(zorv_drel_lib_logbuf_init_done, 0u);
    log_one_event();
    EXPECT_EQ(zorv_drel_lib_logbuf_init_done, 1u);
}

TEST(LogbufInit, ExplicitCallOpens) {
    ASSERT_EQ(debug_history_open_calls(zt::kSvc), 0u);
    zorv_drel_lib_logbuf_init();
    EXPECT_EQ(debug_history_open_calls(zt::kSvc), 1u);
    log_one_event(); // already open: no further open
    EXPECT_EQ(debug_history_open_calls(zt::kSvc), 1u);
    EXPECT_EQ(debug_history_count(zt::kSvc), 1u);
}

TEST(LogbufInit, FailedExplicitCallLeavesLoggingUnopened) {
    ASSERT_EQ(debug_history_open_calls(zt::kSvc), 0u);
    debug_history_fail_open(zt::kSvc, 1);
    zorv_drel_lib_logbuf_init();
    EXPECT_EQ(debug_history_open_calls(zt::kSvc), 1u);
    log_one_event(); // retried by the event
    EXPECT_EQ(debug_history_open_calls(zt::kSvc), 2u);
    EXPECT_EQ(debug_history_count(zt::kSvc), 1u);
}

// ---- Debug file ----------------------------------------------------------------------------

TEST_F(DebugPrint, WritesHeaderOnceThenTexts) {
    sysmgr_host_set_context_id(ctx);

    EXPECT_EQ(zorv_drel_lib_debug_print(7, "first %d %s\n", 42, "x"), 0);
    EXPECT_EQ(read_file(path), header_for(ctx) + "first 42 x\n");
    EXPECT_EQ(zorv_drel_lib_debug_print(0, "second\n"), 0);
    EXPECT_EQ(read_file(path), header_for(ctx) + "first 42 x\nsecond\n");
}

TEST_F(DebugPrint, NullFormatWritesOnlyTheHeader) {
    sysmgr_host_set_context_id(ctx);
    EXPECT_EQ(zorv_drel_lib_debug_print(0, nullptr), 0);
    EXPECT_EQ(read_file(path), header_for(ctx));
}

TEST_F(DebugPrint, ExportedHandleIsTheOpenFile) {
    ASSERT_TRUE(fs::create_directory(path)); // the first open fails
    sysmgr_host_set_context_id(ctx);
    EXPECT_EQ(zorv_drel_lib_debug_print(0, "lost\n"), 0);
    EXPECT_EQ(zorv_drel_lib_debug_file, nullptr);
    ASSERT_TRUE(fs::remove(path));

    EXPECT_EQ(zorv_drel_lib_debug_print(0, "kept\n"), 0);
    ASSERT_NE(zorv_drel_lib_debug_file, nullptr);
    // Writing through the exported handle lands in the same file.
    std::fputs("through the handle\n", zorv_drel_lib_debug_file);
    std::fflush(zorv_drel_lib_debug_file);
    EXPECT_EQ(read_file(path), header_for(ctx) + "kept\nthrough the handle\n");
}

TEST_F(DebugPrint, AppendsToExistingFileWithHeaderOncePerProcess) {
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out << "earlier process\n";
    }
    sysmgr_host_set_context_id(ctx);
    EXPECT_EQ(zorv_drel_lib_debug_print(0, "a\n"), 0);
    EXPECT_EQ(zorv_drel_lib_debug_print(0, "b\n"), 0);
    EXPECT_EQ(read_file(path), "earlier process\n" + header_for(ctx) + "a\nb\n");
}

TEST_F(DebugPrint, ContextNumberIsItsLow16Bits) {
    sysmgr_host_set_context_id(0x70000u | ctx);
    EXPECT_EQ(zorv_drel_lib_debug_print(0, "masked\n"), 0);
    EXPECT_EQ(read_file(path), header_for(ctx) + "masked\n");
}

TEST_F(DebugPrint, FileKeptAcrossContextChanges) {
    const std::string other = debug_path(ctx + 1);
    fs::remove(other);
    sysmgr_host_set_context_id(ctx);
    EXPECT_EQ(zorv_drel_lib_debug_print(0, "one\n"), 0);
    sysmgr_host_set_context_id(ctx + 1); // the open file stays in use
    EXPECT_EQ(zorv_drel_lib_debug_print(0, "two\n"), 0);
    EXPECT_EQ(read_file(path), header_for(ctx) + "one\ntwo\n");
    EXPECT_FALSE(fs::exists(other));
}

TEST_F(DebugPrint, EnvironmentNamesAnotherBase) {
    const fs::path dir = fs::temp_directory_path() / ("zorv_drel_dbg_" + std::to_string(getpid()));
    fs::remove_all(dir);
    ASSERT_TRUE(fs::create_directory(dir));
    ASSERT_EQ(setenv("ZORV_DREL_DEBUG_FILE", (dir / "switch.log").c_str(), 1), 0);
    sysmgr_host_set_context_id(ctx);

    EXPECT_EQ(zorv_drel_lib_debug_print(0, "elsewhere %d\n", 5), 0);
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(dir))
        names.push_back(entry.path().filename().string());
    EXPECT_EQ(names, std::vector<std::string>{"switch.log." + std::to_string(ctx)});
    EXPECT_EQ(read_file((dir / ("switch.log." + std::to_string(ctx))).string()),
              header_for(ctx) + "elsewhere 5\n");
    EXPECT_FALSE(fs::exists(path)); // the default file is not made
    fs::remove_all(dir);
}

TEST_F(DebugPrint, EmptyEnvironmentKeepsTheDefault) {
    ASSERT_EQ(setenv("ZORV_DREL_DEBUG_FILE", "", 1), 0);
    sysmgr_host_set_context_id(ctx);
    EXPECT_EQ(zorv_drel_lib_debug_print(0, "default\n"), 0);
    EXPECT_EQ(read_file(path), header_for(ctx) + "default\n");
}

TEST_F(DebugPrint, BaseTooLongForAPathIsNotOpened) {
    const std::string base = "/tmp/" + std::string(4100, 'z'); // no room for ".<context>"
    ASSERT_EQ(setenv("ZORV_DREL_DEBUG_FILE", base.c_str(), 1), 0);
    sysmgr_host_set_context_id(ctx);
    EXPECT_EQ(zorv_drel_lib_debug_print(0, "lost\n"), 0);
    EXPECT_EQ(zorv_drel_lib_debug_file, nullptr);
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(DebugPrint, OpenFailureIsSilentAndRetried) {
    ASSERT_TRUE(fs::create_directory(path)); // a directory cannot be opened for appending
    sysmgr_host_set_context_id(ctx);

    EXPECT_EQ(zorv_drel_lib_debug_print(0, "lost %d\n", 1), 0);
    EXPECT_EQ(zorv_drel_lib_debug_print(0, "lost %d\n", 2), 0);
    EXPECT_TRUE(zt::events().empty()) << zt::dump_events(); // silent

    ASSERT_TRUE(fs::remove(path));
    EXPECT_EQ(zorv_drel_lib_debug_print(0, "kept\n"), 0);
    EXPECT_EQ(read_file(path), header_for(ctx) + "kept\n");
}
