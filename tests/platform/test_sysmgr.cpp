// SPDX-License-Identifier: Apache-2.0
// System manager: the virtual device context number.
#include <gtest/gtest.h>

#include <platform/platform.h>

namespace {

TEST(Sysmgr, ContextIsOneUntilSet) {
    EXPECT_EQ(system_context_id_get(), 1u);
    sysmgr_host_set_context_id(0x12345);
    EXPECT_EQ(system_context_id_get(), 0x12345u);
    sysmgr_host_set_context_id(0);
    EXPECT_EQ(system_context_id_get(), 0u);
}

} // namespace
