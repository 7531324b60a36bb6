// SPDX-License-Identifier: Apache-2.0
// Configuration requests: handle size, handle copy, answers counted.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include <platform/platform.h>

namespace {

TEST(Cli, RequestWithHandle) {
    msg_t *m = msg_create_request(0x1E02, 1);
    ASSERT_NE(m, nullptr);
    const uint32_t size = cli_request_handle_get(m);
    ASSERT_GT(size, 0u);
    std::vector<uint8_t> buf(size, 0);
    EXPECT_NE(cli_request_handle_get_ext(m, buf.data()), 0u);
    EXPECT_EQ(cli_host_ok_count(), 0u);
    EXPECT_EQ(cli_response_send_ok(buf.data()), 0);
    EXPECT_EQ(cli_host_ok_count(), 1u);
    EXPECT_EQ(cli_response_send_ok(buf.data()), 0);
    EXPECT_EQ(cli_host_ok_count(), 2u);
    msg_destroy(m);
}

TEST(Cli, RequestWithoutHandle) {
    msg_t *m = msg_create_request(0x1DFF, 0);
    ASSERT_NE(m, nullptr);
    const uint32_t size = cli_request_handle_get(m);
    EXPECT_GT(size, 0u) << "still a request";
    std::vector<uint8_t> buf(size, 0xCC);
    EXPECT_EQ(cli_request_handle_get_ext(m, buf.data()), 0u);
    EXPECT_EQ(buf, std::vector<uint8_t>(size, 0xCC)) << "nothing written";
    msg_destroy(m);
}

TEST(Cli, OrdinaryMessageIsNotARequest) {
    const uint32_t word = 0;
    msg_t *m = msg_create(0x1DFF, &word, 4);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(cli_request_handle_get(m), 0u);
    uint8_t buf[64] = {};
    EXPECT_EQ(cli_request_handle_get_ext(m, buf), 0u);
    msg_destroy(m);
    EXPECT_EQ(cli_request_handle_get(nullptr), 0u);
    EXPECT_EQ(cli_request_handle_get_ext(nullptr, buf), 0u);
}

TEST(Cli, AnswerNeedsAValidHandle) {
    uint8_t zeros[64] = {};
    EXPECT_NE(cli_response_send_ok(nullptr), 0);
    EXPECT_NE(cli_response_send_ok(zeros), 0);
    EXPECT_EQ(cli_host_ok_count(), 0u);
    msg_t *m = msg_create_request(0x1E02, 1);
    EXPECT_EQ(cli_request_handle_get_ext(m, nullptr), 0u);
    msg_destroy(m);
}

} // namespace
