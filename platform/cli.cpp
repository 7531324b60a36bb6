// SPDX-License-Identifier: Apache-2.0
// cli.cpp - configuration requests: request handles and answers.
// A handle is valid when it was written by cli_request_handle_get_ext; answering anything else
// (null included) fails and is not counted.
#include <platform/cli.h>

#include <atomic>
#include <cstring>

#include "host_state.h"
#include "msg_internal.h"

namespace {

std::atomic<uint32_t> ok_count{0};

} // namespace

uint32_t cli_request_handle_get(const msg_t *m) {
    return m != nullptr && m->is_request != 0 ? sizeof(zorvplat::request_handle) : 0;
}

uint32_t cli_request_handle_get_ext(const msg_t *m, void *buf) {
    if (m == nullptr || buf == nullptr || m->is_request == 0 || m->has_handle == 0) return 0;
    const zorvplat::request_handle h{zorvplat::kHandleMagic, m->handle_id};
    std::memcpy(buf, &h, sizeof h);
    return sizeof h;
}

int cli_response_send_ok(const void *handle) {
    if (handle == nullptr) return -1;
    zorvplat::request_handle h;
    std::memcpy(&h, handle, sizeof h);
    if (h.magic != zorvplat::kHandleMagic) return -1;
    ok_count.fetch_add(1);
    return 0;
}

uint32_t cli_host_ok_count(void) {
    return ok_count.load();
}

namespace zorvplat {

void cli_reset() noexcept {
    ok_count.store(0);
}

} // namespace zorvplat
