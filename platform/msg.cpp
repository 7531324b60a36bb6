// SPDX-License-Identifier: Apache-2.0
// msg.cpp - messages: an opcode and a copied payload in 8-aligned storage.
// msg_create with a null payload and a nonzero length is refused (null).
#include <platform/msg.h>

#include <atomic>
#include <cstring>
#include <new>

#include "msg_internal.h"

namespace {

std::atomic<uint64_t> next_handle_id{1};

msg_t *make(uint32_t opcode, uint32_t len) {
    void *raw = ::operator new(sizeof(msg) + len, std::nothrow);
    if (raw == nullptr) return nullptr;
    return new (raw) msg{opcode, len, 0, 0, 0};
}

} // namespace

uint32_t msg_opcode_get(const msg_t *m) {
    return m == nullptr ? 0 : m->opcode;
}

const char *msg_opcode_name_get(uint32_t opcode) {
    switch (opcode) {
    case 0x1DFFu: return "CLI_CONFIG";
    case 0x1E02u: return "CLI_TLV_CONFIG";
    case 0x1A00Bu: return "ZORV_TYPE1_UPD";
    case 0x1A014u: return "ZORV_TYPE1_UPD_HDR";
    default: return "UNKNOWN";
    }
}

void *msg_payload_get(const msg_t *m, uint32_t *len) {
    const uint32_t n = m == nullptr ? 0 : m->len;
    if (len != nullptr) *len = n;
    return n == 0 ? nullptr : const_cast<msg_t *>(m)->payload();
}

msg_t *msg_create(uint32_t opcode, const void *payload, uint32_t len) {
    if (payload == nullptr && len != 0) return nullptr;
    msg_t *m = make(opcode, len);
    if (m != nullptr && len != 0) std::memcpy(m->payload(), payload, len);
    return m;
}

void msg_destroy(msg_t *m) {
    if (m == nullptr) return;
    m->~msg();
    ::operator delete(static_cast<void *>(m));
}

msg_t *msg_create_request(uint32_t opcode, int with_handle) {
    msg_t *m = make(opcode, 0);
    if (m == nullptr) return nullptr;
    m->is_request = 1;
    m->has_handle = with_handle != 0 ? 1 : 0;
    m->handle_id = next_handle_id.fetch_add(1);
    return m;
}
