// SPDX-License-Identifier: Apache-2.0
// Messages: opcode, copied 8-aligned payload, payload length, opcode names.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include <platform/platform.h>

#include "zorv_test_new_probe.h"

namespace {

TEST(Msg, CopiesThePayload) {
    std::vector<uint8_t> src = {1, 2, 3, 4, 5};
    msg_t *m = msg_create(0x1A00B, src.data(), 5);
    ASSERT_NE(m, nullptr);
    src[0] = 99; // the message keeps its own copy
    uint32_t len = 0;
    auto *p = static_cast<uint8_t *>(msg_payload_get(m, &len));
    ASSERT_NE(p, nullptr);
    EXPECT_NE(p, src.data());
    EXPECT_EQ(len, 5u);
    EXPECT_EQ(std::vector<uint8_t>(p, p + len), (std::vector<uint8_t>{1, 2, 3, 4, 5}));
    EXPECT_EQ(msg_opcode_get(m), 0x1A00Bu);
    msg_destroy(m);
}

TEST(Msg, PayloadIsEightAligned) {
    std::vector<uint8_t> src(302, 0x5A);
    for (uint32_t len : {1u, 7u, 8u, 9u, 301u}) {
        // An odd source address must not matter.
        msg_t *m = msg_create(1, src.data() + 1, len);
        ASSERT_NE(m, nullptr);
        void *p = msg_payload_get(m, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 8, 0u) << len;
        msg_destroy(m);
    }
}

TEST(Msg, EmptyPayloadIsNull) {
    const uint8_t byte = 1;
    msg_t *m = msg_create(0x1A014, &byte, 0);
    ASSERT_NE(m, nullptr);
    uint32_t len = 77;
    EXPECT_EQ(msg_payload_get(m, &len), nullptr);
    EXPECT_EQ(len, 0u);
    msg_destroy(m);
    m = msg_create(0x1A014, nullptr, 0);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(msg_payload_get(m, &len), nullptr);
    msg_destroy(m);
}

TEST(Msg, NullPayloadWithALengthIsRefused) {
    EXPECT_EQ(msg_create(1, nullptr, 4), nullptr);
}

TEST(Msg, NullMessage) {
    uint32_t len = 5;
    EXPECT_EQ(msg_payload_get(nullptr, &len), nullptr);
    EXPECT_EQ(len, 0u);
    EXPECT_EQ(msg_opcode_get(nullptr), 0u);
    msg_destroy(nullptr);
}

TEST(Msg, OpcodeNamesAreNeverNull) {
    const struct {
        uint32_t opcode;
        const char *name;
    } known[] = {{0x1DFF, "CLI_CONFIG"},
                 {0x1E02, "CLI_TLV_CONFIG"},
                 {0x1A00B, "ZORV_TYPE1_UPD"},
                 {0x1A014, "ZORV_TYPE1_UPD_HDR"}};
    for (size_t i = 0; i < std::size(known); ++i) {
        const std::string name = msg_opcode_name_get(known[i].opcode);
        EXPECT_FALSE(name.empty());
        for (size_t j = 0; j < i; ++j)
            EXPECT_NE(name, msg_opcode_name_get(known[j].opcode));
        EXPECT_EQ(name, known[i].name);
    }
    for (uint32_t unknown : {0u, 0xFFFFFFFFu})
        EXPECT_STREQ(msg_opcode_name_get(unknown), "UNKNOWN") << unknown;
}

TEST(Msg, NoMemoryGivesNull) {
    const uint8_t byte = 1;
    zt::probe::start();
    zt::probe::fail(0, 2);
    EXPECT_EQ(msg_create(1, &byte, 1), nullptr);
    EXPECT_EQ(msg_create_request(0x1DFF, 1), nullptr);
    msg_t *m = msg_create(1, &byte, 1);
    EXPECT_NE(m, nullptr);
    msg_destroy(m);
    zt::probe::stop();
    EXPECT_EQ(zt::probe::live_blocks.load(), 0);
}

TEST(Msg, RequestMessageHasNoPayload) {
    msg_t *m = msg_create_request(0x1E02, 1);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(msg_opcode_get(m), 0x1E02u);
    EXPECT_EQ(msg_payload_get(m, nullptr), nullptr);
    msg_destroy(m);
}

} // namespace
