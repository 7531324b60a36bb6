// SPDX-License-Identifier: Apache-2.0
// debug_history.cpp - per-service ring of debug events, and error texts.
//
// One ring per service. Records are laid out contiguously in the ring buffer (header, payload,
// padded to 8); a record that does not fit before the end starts again at offset 0 and the oldest
// records it would cover are dropped. Offsets of the held records sit in a second, preallocated
// ring, so appending an event never allocates and the i-th event is found at once.
//
// An event is kept unformatted: its cached format (history_format.h) and its raw arguments, a
// sequence number and a tick count (history_clock.h). Its text is made when it is read, and is
// the text vsnprintf makes of the call, cut to the ring's limit on an event's length. A format
// the capture does not know is formatted when logged, and kept as text, as is every call that
// cannot be deferred.
//
// Decisions left open by the contract:
// - debug_history_open_instance opens the service's ring too when it is not open yet (instances
//   share the service's one ring; `instance` and `level` of a log are accepted and not kept).
//   Only debug_history_open counts as an open call and only it obeys debug_history_fail_open.
// - Opening an open ring again returns 0 and keeps the ring and its events as they are.
// - A size below kMinRing is refused; an event longer than the ring keeps only what fits.
// - A format with a %n conversion is refused (nonzero, nothing kept).
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
#include <string>
#include <unordered_map>

#include "history_clock.h"
#include "history_format.h"
#include "host_state.h"

namespace {

namespace hist = zorvplat::history;

constexpr uint32_t kMinRing = 64;
constexpr uint32_t kStackText = 512; // most text events format in one pass through this buffer

struct record_header {
    uint32_t len;    // text: bytes without the NUL; deferred: payload bytes
    uint32_t format; // 0 text; else the cached format's index + 1
    uint64_t seq;
    uint64_t ticks; // event clock (history_clock.h)
};
constexpr uint32_t kHeader = sizeof(record_header);
static_assert(kHeader == 24, "an event's text may take the ring less this header and a NUL");

constexpr uint32_t record_size(uint64_t payload) {
    return static_cast<uint32_t>((kHeader + payload + 7) & ~uint64_t{7});
}

struct ring {
    uint32_t cap = 0; // bytes, multiple of 8
    std::unique_ptr<uint64_t[]> buf;
    std::unique_ptr<uint32_t[]> offs; // record offsets, oldest at first
    uint32_t max_events = 0;
    uint32_t first = 0, count = 0;
    uint32_t write = 0; // where the next record goes
    uint64_t next_seq = 0;
    uint64_t last_ticks = 0;                         // of the newest record
    std::unique_ptr<char[]> scratch;                 // one rendered text, limit() + 1 bytes
    std::unordered_map<uint64_t, std::string> shown; // texts handed out, by sequence number
    uint64_t shown_at = 0;                           // next_seq when `shown` was filled

    char *bytes() { return reinterpret_cast<char *>(buf.get()); }
    record_header *at(uint32_t off) { return reinterpret_cast<record_header *>(bytes() + off); }
    uint32_t slot(uint32_t i) const {
        return first + i < max_events ? first + i : first + i - max_events;
    }
    uint32_t off_of(uint32_t i) const { return offs[slot(i)]; }
    uint32_t oldest() const { return offs[first]; }
    // The longest text an event keeps.
    uint32_t limit() const { return cap - kHeader - 1; }
    void drop_oldest() {
        first = first + 1 == max_events ? 0 : first + 1;
        --count;
    }
    void clear() {
        first = count = write = 0;
        shown.clear();
    }

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
        offs[slot(count)] = p;
        ++count;
        write = p + size;
        return p;
    }

    // Appends a record with `payload` bytes, logged at `ticks`, and returns where its payload
    // goes. Times never go back from one record to the next.
    char *append(uint32_t format, uint32_t len, uint64_t payload, uint64_t ticks) {
        const uint32_t off = reserve(record_size(payload));
        record_header *h = at(off);
        h->len = len;
        h->format = format;
        h->seq = next_seq++;
        last_ticks = ticks > last_ticks ? ticks : last_ticks;
        h->ticks = last_ticks;
        return bytes() + off + kHeader;
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
    uint32_t last_id = 0;      // the service that logged last...
    ring *last_ring = nullptr; // ...and its ring (rings are never closed)
    hist::anchor start{};      // taken before the first event
    hist::format_cache formats;
};

state &st() {
    return zorvplat::immortal<state>();
}

ring *ring_of(state &s, uint32_t service_id) {
    if (s.last_ring != nullptr && s.last_id == service_id) return s.last_ring;
    auto it = s.services.find(service_id);
    if (it == s.services.end() || !it->second.r) return nullptr;
    s.last_id = service_id;
    s.last_ring = it->second.r.get();
    return s.last_ring;
}

int open_ring(state &s, service &svc, uint32_t size) {
    if (svc.r) return 0;
    if (size < kMinRing) return -1;
    auto r = std::unique_ptr<ring>(new (std::nothrow) ring());
    if (!r) return -1;
    r->cap = size & ~7u;
    r->max_events = r->cap / kHeader + 1;
    r->buf.reset(new (std::nothrow) uint64_t[r->cap / 8]);
    r->offs.reset(new (std::nothrow) uint32_t[r->max_events]);
    if (!r->buf || !r->offs) return -1;
    if (s.start.ns == 0) s.start = hist::anchor::now();
    svc.r = std::move(r);
    return 0;
}

// Formats the call when it is logged, as text, cut to the ring's limit.
int append_text(ring &r, const char *format, va_list ap, uint64_t ticks) {
    char text[kStackText];
    va_list again;
    va_copy(again, ap);
    const int n = std::vsnprintf(text, sizeof text, format, ap);
    if (n < 0) {
        va_end(again);
        return -1;
    }
    const uint32_t len =
        static_cast<uint32_t>(n) < r.limit() ? static_cast<uint32_t>(n) : r.limit();
    char *dst = r.append(0, len, len + 1u, ticks);
    if (static_cast<uint32_t>(n) < sizeof text)
        std::memcpy(dst, text, len + 1);
    else
        std::vsnprintf(dst, len + 1, format, again); // too long for the stack buffer
    dst[len] = '\0';
    va_end(again);
    return 0;
}

// Appends the call unformatted when it can be deferred (0), or refuses it (-1); otherwise
// returns 1 with `text_format` set to the format to format it with, for the caller to start its
// arguments again: `ap` has been read.
int append_deferred(state &s, ring &r, const char *format, va_list ap, uint64_t ticks,
                    const char *&text_format) {
    const hist::format *f = s.formats.find(format);
    if (f == nullptr) {
        text_format = format;
        return hist::writes_count(format) ? -1 : 1;
    }
    text_format = f->text;
    if (f->how == hist::mode::refused) return -1;
    if (f->how == hist::mode::text) return 1;
    const uint32_t index = s.formats.index_of(*f) + 1;
    const bool stored = hist::store_args(*f, ap, r.limit(), [&](uint64_t bytes) {
        return record_size(bytes) > r.cap ? nullptr
                                          : reinterpret_cast<unsigned char *>(r.append(
                                                index, static_cast<uint32_t>(bytes), bytes, ticks));
    });
    return stored ? 0 : 1;
}

// The text of the record at `h` and its length; a deferred event is rendered into the ring's
// scratch buffer, valid until the next render. Null when there is no memory for it.
const char *text_of(state &s, ring &r, const record_header *h, uint32_t &len) {
    const char *payload = reinterpret_cast<const char *>(h + 1);
    if (h->format == 0) {
        len = h->len;
        return payload;
    }
    if (!r.scratch) r.scratch.reset(new (std::nothrow) char[r.limit() + 1]);
    if (!r.scratch) return nullptr;
    len =
        hist::render(s.formats.at(h->format - 1), reinterpret_cast<const unsigned char *>(payload),
                     r.scratch.get(), r.limit());
    return r.scratch.get();
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
        return open_ring(s, svc, size);
    } catch (const std::bad_alloc &) {
        return -1;
    }
}

int debug_history_open_instance(uint32_t service_id, uint32_t, uint32_t, uint32_t size, uint32_t,
                                uint32_t) {
    state &s = st();
    std::lock_guard lock(s.mu);
    try {
        return open_ring(s, s.services[service_id], size);
    } catch (const std::bad_alloc &) {
        return -1;
    }
}

int debug_history_log(uint32_t service_id, uint32_t, uint32_t, const char *format, ...) {
    if (format == nullptr) return -1;
    // Read first: the counter's latency then overlaps with taking the lock.
    const uint64_t ticks = hist::ticks();
    state &s = st();
    va_list ap;
    va_start(ap, format);
    int rc = -1;
    {
        std::lock_guard lock(s.mu);
        const char *text_format = nullptr;
        ring *r = ring_of(s, service_id);
        if (r != nullptr) rc = append_deferred(s, *r, format, ap, ticks, text_format);
        if (rc == 1) { // the arguments once more from the start, for vsnprintf
            va_end(ap);
            va_start(ap, format);
            rc = append_text(*r, text_format, ap, ticks);
        }
    }
    va_end(ap);
    return rc;
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
    const record_header *h = r->at(r->off_of(i));
    if (h->format == 0) return reinterpret_cast<const char *>(h + 1);
    try {
        if (r->shown_at != r->next_seq) {
            r->shown.clear();
            r->shown_at = r->next_seq;
        }
        auto [it, made] = r->shown.try_emplace(h->seq);
        if (made) {
            uint32_t len = 0;
            const char *text = text_of(s, *r, h, len);
            if (text == nullptr) {
                r->shown.erase(it);
                return nullptr;
            }
            it->second.assign(text, len);
        }
        return it->second.c_str();
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
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
    const hist::anchor now = hist::anchor::now();
    for (uint32_t i = 0; i < r->count; ++i) {
        const record_header *h = r->at(r->off_of(i));
        uint32_t len = 0;
        const char *text = text_of(s, *r, h, len);
        if (text == nullptr) return -1;
        if (len > 0 && text[len - 1] == '\n') --len; // the dump adds its own line end
        const uint64_t ns = hist::ns_at(h->ticks, s.start, now);
        const time_t sec = static_cast<time_t>(ns / 1000000000u);
        tm local{};
        localtime_r(&sec, &local);
        char when[32];
        std::strftime(when, sizeof when, "%Y-%m-%d %H:%M:%S", &local);
        std::fprintf(out, "%" PRIu64 " %s.%06u %.*s\n", h->seq, when,
                     static_cast<unsigned>(ns % 1000000000u / 1000u), static_cast<int>(len), text);
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
            svc.r->last_ticks = 0;
        }
        svc.open_calls = 0;
        svc.fail_opens = 0;
    }
    s.formats.clear(); // no event refers to a cached format any more
}

} // namespace zorvplat
