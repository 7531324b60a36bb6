// SPDX-License-Identifier: Apache-2.0
// Interface manager: interface types and layer modes.
#include <gtest/gtest.h>

#include <platform/platform.h>

namespace {

TEST(Ifmgr, UnknownInterfaceHasTypeZero) {
    EXPECT_EQ(ifindex_type_get(0x1234), 0u);
}

TEST(Ifmgr, TypesAndLayerModes) {
    ifmgr_host_set_interface(0x100, 22, 2);
    ifmgr_host_set_interface(0x200, 31, 1);
    EXPECT_EQ(ifindex_type_get(0x100), 22u);
    EXPECT_EQ(ifindex_type_get(0x200), 31u);
    const uint32_t ifs[] = {0x200, 0x100};
    uint32_t modes[2] = {};
    ASSERT_EQ(ifmgr_layer_mode_list_get(2, ifs, modes), 0);
    EXPECT_EQ(modes[0], 1u);
    EXPECT_EQ(modes[1], 2u);
    ifmgr_host_set_interface(0x100, 26, 1);
    EXPECT_EQ(ifindex_type_get(0x100), 26u);
    ASSERT_EQ(ifmgr_layer_mode_list_get(1, ifs + 1, modes), 0);
    EXPECT_EQ(modes[0], 1u);
}

TEST(Ifmgr, QueryNamingAnUnknownInterfaceFailsAndWritesNothing) {
    ifmgr_host_set_interface(0x100, 22, 2);
    const uint32_t ifs[] = {0x100, 0x999};
    uint32_t modes[2] = {77, 77};
    EXPECT_NE(ifmgr_layer_mode_list_get(2, ifs, modes), 0);
    EXPECT_EQ(modes[0], 77u);
    EXPECT_EQ(modes[1], 77u);
}

TEST(Ifmgr, EmptyAndNullQueries) {
    EXPECT_EQ(ifmgr_layer_mode_list_get(0, nullptr, nullptr), 0);
    uint32_t mode = 0;
    const uint32_t ifx = 1;
    EXPECT_NE(ifmgr_layer_mode_list_get(1, nullptr, &mode), 0);
    EXPECT_NE(ifmgr_layer_mode_list_get(1, &ifx, nullptr), 0);
}

} // namespace
