// SPDX-License-Identifier: Apache-2.0
// sysmgr.cpp - system manager: the number of the virtual device context (1 until set).
#include <platform/sysmgr.h>

#include <atomic>

#include "host_state.h"

namespace {

constexpr uint32_t kDefaultContext = 1;
std::atomic<uint32_t> context_id{kDefaultContext};

} // namespace

uint32_t system_context_id_get(void) {
    return context_id.load();
}

void sysmgr_host_set_context_id(uint32_t id) {
    context_id.store(id);
}

namespace zorvplat {

void sysmgr_reset() noexcept {
    context_id.store(kDefaultContext);
}

} // namespace zorvplat
