// SPDX-License-Identifier: Apache-2.0
// debug_history.cpp - per-service ring of formatted debug events, and error texts.
//
// One ring per service. Records are laid out contiguously in the ring buffer (header, text, NUL,
// padded to 8); a record that does not fit before the end starts again at offset 0 and the oldest
// records it would cover are dropped. Offsets of the held records sit in a second, preallocated
// ring, so appending an event never allocates and the i-th event is found at once.
//
// Decisions left open by the contract:
// - debug_history_open_instance opens the service's ring too when it is not open yet (instances
//   share the service's one ring; `instance` and `level` of a log are accepted and not kept).
//   Only debug_history_open counts as an open call and only it obeys debug_history_fail_open.
// - Opening an open ring again returns 0 and keeps the ring and its events as they are.
// - A size below kMinRing is refused; an event longer than the ring keeps only what fits.
// - The text returned by debug_history_event stays valid until the service's next log, clear or
//   reset.
#include <platform/bitset.h>
#include <platform/debug_history.h>
#include <platform/tlv_array.h>
#include <platform/tracked_mem.h>
#include <platform/tree.h>

#include <cinttypes>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <new>

#include "host_state.h"

namespace {

constexpr uint32_t kMinRing = 64;
constexpr uint32_t kStackText = 512; // most events format in one pass through this buffer

struct record_header {
    uint32_t len; // text bytes, without the NUL
    uint32_t reserved;
    uint64_t seq;
    uint64_t time_ns; // CLOCK_REALTIME
};
constexpr uint32_t kHeader = sizeof(record_header);
constexpr uint32_t kMinRecord = kHeader + 8; // header plus the smallest padded text

constexpr uint32_t record_size(uint32_t text_len) {
    return (kHeader + text_len + 1 + 7) & ~7u;
}

struct ring {
    uint32_t cap = 0; // bytes, multiple of 8
    std::unique_ptr<uint64_t[]> buf;
    std::unique_ptr<uint32_t[]> offs; // record offsets, oldest at first
    uint32_t max_events = 0;
    uint32_t first = 0, count = 0;
    uint32_t write = 0; // where the next record goes
    uint64_t next_seq = 0;

    char *bytes() { return reinterpret_cast<char *>(buf.get()); }
    record_header *at(uint32_t off) { return reinterpret_cast<record_header *>(bytes() + off); }
    uint32_t off_of(uint32_t i) const { return offs[(first + i) % max_events]; }
    uint32_t oldest() const { return offs[first]; }
    void drop_oldest() {
        first = (first + 1) % max_events;
        --count;
    }
    void clear() { first = count = write = 0; }

    // Makes room for a record of `size` bytes (size <= cap) and returns its offset.
    uint32_t reserve(uint32_t size) {
        if (count == 0) write = 0;
        uint32_t p = write;
        if (uint64_t{p} + size > cap) {
            // Records after the write position are the oldest; wrapping gives that space up.
            while (count > 0 && oldest() >= write)
                drop_oldest();
            p = 0;
        }
        while (count > 0 && oldest() >= p && oldest() < uint64_t{p} + size)
            drop_oldest();
        if (count == max_events) drop_oldest();
        offs[(first + count) % max_events] = p;
        ++count;
        write = p + size;
        return p;
    }
};

struct service {
    std::unique_ptr<ring> r;
    uint32_t open_calls = 0;
    uint32_t fail_opens = 0;
};

struct state {
    std::mutex mu;
    std::map<uint32_t, service> services;
};

state &st() {
    return zorvplat::immortal<state>();
}

ring *ring_of(state &s, uint32_t service_id) {
    auto it = s.services.find(service_id);
    return it == s.services.end() ? nullptr : it->second.r.get();
}

int open_ring(service &svc, uint32_t size) {
    if (svc.r) return 0;
    if (size < kMinRing) return -1;
    auto r = std::unique_ptr<ring>(new (std::nothrow) ring());
    if (!r) return -1;
    r->cap = size & ~7u;
    r->max_events = r->cap / kMinRecord + 1;
    r->buf.reset(new (std::nothrow) uint64_t[r->cap / 8]);
    r->offs.reset(new (std::nothrow) uint32_t[r->max_events]);
    if (!r->buf || !r->offs) return -1;
    svc.r = std::move(r);
    return 0;
}

uint64_t now_ns() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000u + static_cast<uint64_t>(ts.tv_nsec);
}

} // namespace

int debug_history_open(uint32_t service_id, uint32_t size) {
    state &s = st();
    std::lock_guard lock(s.mu);
    try {
        service &svc = s.services[service_id];
        ++svc.open_calls;
        if (svc.fail_opens > 0) {
            --svc.fail_opens;
            return -1;
        }
        return open_ring(svc, size);
    } catch (const std::bad_alloc &) {
        return -1;
    }
}

int debug_history_open_instance(uint32_t service_id, uint32_t, uint32_t, uint32_t size, uint32_t,
                                uint32_t) {
    state &s = st();
    std::lock_guard lock(s.mu);
    try {
        return open_ring(s.services[service_id], size);
    } catch (const std::bad_alloc &) {
        return -1;
    }
}

int debug_history_log(uint32_t service_id, uint32_t, uint32_t, const char *format, ...) {
    if (format == nullptr) return -1;
    state &s = st();
    std::lock_guard lock(s.mu);
    ring *r = ring_of(s, service_id);
    if (r == nullptr) return -1;

    char text[kStackText];
    va_list ap;
    va_start(ap, format);
    va_list again;
    va_copy(again, ap);
    const int n = std::vsnprintf(text, sizeof text, format, ap);
    va_end(ap);
    if (n < 0) {
        va_end(again);
        return -1;
    }
    uint32_t len = static_cast<uint32_t>(n);
    const uint32_t max_len = r->cap - kHeader - 1;
    if (len > max_len) len = max_len;

    const uint32_t off = r->reserve(record_size(len));
    record_header *h = r->at(off);
    *h = record_header{len, 0, r->next_seq++, now_ns()};
    char *dst = r->bytes() + off + kHeader;
    if (static_cast<uint32_t>(n) < sizeof text)
        std::memcpy(dst, text, len + 1);
    else
        std::vsnprintf(dst, len + 1, format, again); // too long for the stack buffer
    dst[len] = '\0';
    va_end(again);
    return 0;
}

void debug_history_fail_open(uint32_t service_id, uint32_t times) {
    state &s = st();
    std::lock_guard lock(s.mu);
    try {
        s.services[service_id].fail_opens = times;
    } catch (const std::bad_alloc &) {
    }
}

uint32_t debug_history_open_calls(uint32_t service_id) {
    state &s = st();
    std::lock_guard lock(s.mu);
    auto it = s.services.find(service_id);
    return it == s.services.end() ? 0 : it->second.open_calls;
}

uint32_t debug_history_count(uint32_t service_id) {
    state &s = st();
    std::lock_guard lock(s.mu);
    ring *r = ring_of(s, service_id);
    return r == nullptr ? 0 : r->count;
}

const char *debug_history_event(uint32_t service_id, uint32_t i) {
    state &s = st();
    std::lock_guard lock(s.mu);
    ring *r = ring_of(s, service_id);
    if (r == nullptr || i >= r->count) return nullptr;
    return r->bytes() + r->off_of(i) + kHeader;
}

void debug_history_clear(uint32_t service_id) {
    state &s = st();
    std::lock_guard lock(s.mu);
    if (ring *r = ring_of(s, service_id)) r->clear();
}

int debug_history_dump(uint32_t service_id, FILE *out) {
    if (out == nullptr) return -1;
    state &s = st();
    std::lock_guard lock(s.mu);
    ring *r = ring_of(s, service_id);
    if (r == nullptr) return -1;
    for (uint32_t i = 0; i < r->count; ++i) {
        const record_header *h = r->at(r->off_of(i));
        const char *text = reinterpret_cast<const char *>(h + 1);
        uint32_t len = h->len;
        if (len > 0 && text[len - 1] == '\n') --len; // the dump adds its own line end
        const time_t sec = static_cast<time_t>(h->time_ns / 1000000000u);
        tm local{};
        localtime_r(&sec, &local);
        char when[32];
        std::strftime(when, sizeof when, "%Y-%m-%d %H:%M:%S", &local);
        std::fprintf(out, "%" PRIu64 " %s.%06u %.*s\n", h->seq, when,
                     static_cast<unsigned>(h->time_ns % 1000000000u / 1000u), static_cast<int>(len),
                     text);
    }
    return std::fflush(out) == 0 ? 0 : -1;
}

const char *error_to_string(uint32_t code) {
    switch (code) {
    case 0: return "success";
    case TRACKED_ERR_BAD_BLOCK: return "tracked memory: block not live under the service";
    case TREE_ERR_EXISTS: return "tree: an equal node exists";
    case TREE_ERR_NO_MEMORY: return "tree: no memory";
    case TREE_ERR_NOT_FOUND: return "tree: node not found";
    case TLV_ERR_NO_SPACE: return "TLV array: no space";
    case TLV_ERR_END: return "TLV array: end of array";
    case TLV_ERR_MALFORMED: return "TLV array: malformed TLV";
    case BITSET_ERR_RANGE: return "bitset: bit out of range";
    case BITSET_ERR_NO_MEMORY: return "bitset: no memory";
    case 0x42D90001u: return "failure";
    case 0x42D90002u: return "no memory";
    case 0x42D90003u: return "invalid argument";
    case 0x42D9002Bu: return "parameter missing";
    case 0x42D90038u: return "type-1 compatibility check failed for type 1";
    case 0x42D90039u: return "type-1 compatibility check failed for type 2";
    case 0x42D9003Au: return "type-1 compatibility check failed for type 5 or type 9";
    case 0x42D9003Bu: return "type-1 compatibility check failed for type 6";
    case 0x42D9003Cu: return "type-1 compatibility check failed for type 7";
    case 0x42D9003Du: return "type-1 compatibility check failed for type 8";
    case 0x41B70016u: return "peer manager: no record";
    default: break;
    }
    thread_local char unknown[32];
    std::snprintf(unknown, sizeof unknown, "unknown error 0x%08x", code);
    return unknown;
}

namespace zorvplat {

// Rings stay open: a library opens its ring once per process and never again.
void debug_history_reset() noexcept {
    state &s = st();
    std::lock_guard lock(s.mu);
    for (auto &[id, svc] : s.services) {
        if (svc.r) {
            svc.r->clear();
            svc.r->next_seq = 0;
        }
        svc.open_calls = 0;
        svc.fail_opens = 0;
    }
}

} // namespace zorvplat
