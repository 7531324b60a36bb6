/* SPDX-License-Identifier: Apache-2.0 */
// msg_internal.h - the layout of a message, shared by the message and request services.
#ifndef PLATFORM_MSG_INTERNAL_H
#define PLATFORM_MSG_INTERNAL_H

#include <platform/msg.h>

#include <cstdint>

// One allocation: this header, then the payload at an 8-aligned offset.
struct msg {
    uint32_t opcode;
    uint32_t len;        // payload bytes
    uint32_t is_request; // a configuration request
    uint32_t has_handle; // the request carries a handle
    uint64_t handle_id;  // identifies the request in its handle
    unsigned char *payload() { return reinterpret_cast<unsigned char *>(this + 1); }
};
static_assert(sizeof(msg) % 8 == 0);

namespace zorvplat {

// A request handle as cli_request_handle_get_ext writes it.
struct request_handle {
    uint64_t magic;
    uint64_t id;
};
inline constexpr uint64_t kHandleMagic = 0x5a4f5256524551ull;

} // namespace zorvplat

#endif
