// SPDX-License-Identifier: Apache-2.0
// platform_host_reset: every service back to its state at process start, live blocks excepted.
#include <gtest/gtest.h>

#include <cstring>

#include <platform/platform.h>

namespace {

constexpr uint32_t kSvc = 931;

TEST(HostReset, ReturnsEveryServiceToItsStartingState) {
    // Change everything.
    void *live = tracked_alloc(kSvc, 2, 100);
    void *gone = tracked_alloc(kSvc, 2, 50);
    ASSERT_TRUE(live && gone);
    tracked_free(kSvc, gone);
    tracked_free(kSvc, gone); // a bad free
    tracked_mem_fault_set(kSvc, 0, 5);
    EXPECT_EQ(tracked_alloc(kSvc, 2, 1), nullptr);
    ASSERT_EQ(debug_history_open(kSvc, 4096), 0);
    debug_history_log(kSvc, 0, 0, "before");
    debug_history_fail_open(kSvc, 3);
    drelm_host_set_interface(0x100, 1, 4);
    drelm_host_set_mct(1);
    drelm_host_set_pelk_oper_ver(38);
    drelm_host_set_local_drel_if_index(4, 0x100);
    msg_t *req = msg_create_request(0x1E02, 1);
    uint8_t handle[64];
    ASSERT_NE(cli_request_handle_get_ext(req, handle), 0u);
    ASSERT_EQ(cli_response_send_ok(handle), 0);
    bdmgr_host_set_fabric_bd(1, 10, 1);
    ifmgr_host_set_interface(0x100, 22, 2);
    sysmgr_host_set_context_id(9);

    platform_host_reset();

    tracked_mem_stats_t s{};
    ASSERT_EQ(tracked_mem_stats_get(kSvc, -1, &s), 0);
    EXPECT_EQ(s.live_blocks, 1u) << "live blocks stay counted";
    EXPECT_EQ(s.live_bytes, 100u);
    EXPECT_EQ(s.peak_bytes, 100u);
    EXPECT_EQ(s.allocs, 0u);
    EXPECT_EQ(s.frees, 0u);
    EXPECT_EQ(s.failed_allocs, 0u);
    EXPECT_EQ(s.bad_frees, 0u);
    ASSERT_EQ(tracked_mem_stats_get(kSvc, 2, &s), 0);
    EXPECT_EQ(s.live_blocks, 1u);
    EXPECT_EQ(s.allocs, 0u);
    void *again = tracked_alloc(kSvc, 2, 1);
    EXPECT_NE(again, nullptr) << "no injected fault left";
    tracked_free(kSvc, again);
    EXPECT_EQ(tracked_free(kSvc, live), 0) << "the live block is still freeable";

    EXPECT_EQ(debug_history_count(kSvc), 0u);
    EXPECT_EQ(debug_history_open_calls(kSvc), 0u);
    EXPECT_EQ(debug_history_log(kSvc, 0, 0, "after"), 0) << "the ring stays open";
    EXPECT_EQ(debug_history_open(kSvc, 4096), 0) << "no pending open failure";

    drelm_sdb_key_t key{};
    drelm_sdb_generate_if_key(0x100, &key);
    EXPECT_EQ(drelm_sdb_info_get(&key), nullptr);
    drelm_sdb_generate_mct_key(1, &key);
    EXPECT_EQ(drelm_sdb_info_get(&key), nullptr);
    uint32_t ver = 0;
    drelm_api_get_pelk_oper_ver(&ver, 1);
    EXPECT_EQ(ver, 40u);
    EXPECT_EQ(drelm_api_get_local_drel_if_index(4, 0, 1), 0u);

    EXPECT_EQ(cli_host_ok_count(), 0u);
    bmp4096_t b;
    std::memset(&b, 0, sizeof b);
    bdmgr_fabric_bd_allocation_get(1, &b);
    EXPECT_EQ(bitmap_count_bits(b.bits, sizeof b.bits), 0u);
    EXPECT_EQ(ifindex_type_get(0x100), 0u);
    EXPECT_EQ(system_context_id_get(), 1u);
    msg_destroy(req);
}

TEST(HostReset, SequenceNumbersStartAgain) {
    ASSERT_EQ(debug_history_open(kSvc, 4096), 0);
    debug_history_log(kSvc, 0, 0, "a");
    debug_history_log(kSvc, 0, 0, "b");
    platform_host_reset();
    debug_history_log(kSvc, 0, 0, "c");
    FILE *f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(debug_history_dump(kSvc, f), 0);
    std::rewind(f);
    char line[256] = {};
    ASSERT_NE(std::fgets(line, sizeof line, f), nullptr);
    EXPECT_EQ(line[0], '0');
    EXPECT_EQ(line[1], ' ');
    EXPECT_EQ(std::fgets(line, sizeof line, f), nullptr) << "one event only";
    std::fclose(f);
}

TEST(HostReset, TheLibrarysCountersStartFromZero) {
    platform_host_reset();
    void *p = tracked_alloc(1293, 1, 8);
    ASSERT_NE(p, nullptr);
    tracked_mem_stats_t s{};
    tracked_mem_stats_get(1293, 1, &s);
    EXPECT_EQ(s.allocs, 1u);
    EXPECT_EQ(tracked_free(1293, p), 0);
}

} // namespace
