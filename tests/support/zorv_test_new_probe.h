/* SPDX-License-Identifier: Apache-2.0 */
// zorv_test_new_probe.h - replaces the global operator new/delete of a test program so that a
// test can count what the platform allocates with new and make an allocation fail. Include in
// exactly one source file of a test program, and only in the tests that need it.
#ifndef ZORV_TEST_NEW_PROBE_H
#define ZORV_TEST_NEW_PROBE_H

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace zt::probe {

// Allocations made while `counting` is on are counted until they are freed.
inline std::atomic<bool> counting{false};
inline std::atomic<int64_t> live_blocks{0};
inline std::atomic<int64_t> live_bytes{0};
inline std::atomic<int64_t> allocations{0};
// Number of successful allocations before the next one fails; -1: none fails.
inline std::atomic<int64_t> fail_after{-1};
// How many allocations fail once failing starts.
inline std::atomic<int64_t> fail_count{0};

struct header {
    uint64_t size;
    uint64_t counted;
};
static_assert(sizeof(header) == 16);

// Kept out of line: the optimiser must not pair a replaced new with the free inside.
[[gnu::noinline]] inline void *allocate(std::size_t size) noexcept {
    if (fail_count.load() > 0) {
        if (fail_after.load() == 0) {
            --fail_count;
            return nullptr;
        }
        if (fail_after.load() > 0) --fail_after;
    }
    auto *h = static_cast<header *>(std::malloc(sizeof(header) + size));
    if (h == nullptr) return nullptr;
    h->size = size;
    h->counted = counting.load() ? 1 : 0;
    if (h->counted != 0) {
        ++live_blocks;
        live_bytes += static_cast<int64_t>(size);
        ++allocations;
    }
    return h + 1;
}

[[gnu::noinline]] inline void release(void *p) noexcept {
    if (p == nullptr) return;
    header *h = static_cast<header *>(p) - 1;
    if (h->counted != 0) {
        --live_blocks;
        live_bytes -= static_cast<int64_t>(h->size);
    }
    std::free(h);
}

// Starts counting from zero; failing off.
inline void start() {
    live_blocks = 0;
    live_bytes = 0;
    allocations = 0;
    fail_after = -1;
    fail_count = 0;
    counting = true;
}
inline void stop() {
    counting = false;
}
// After `after` more successful allocations, fail the next `count` ones.
inline void fail(int64_t after, int64_t count) {
    fail_after = after;
    fail_count = count;
}

} // namespace zt::probe

void *operator new(std::size_t size) {
    void *p = zt::probe::allocate(size);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}
void *operator new[](std::size_t size) {
    void *p = zt::probe::allocate(size);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}
void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
    return zt::probe::allocate(size);
}
void *operator new[](std::size_t size, const std::nothrow_t &) noexcept {
    return zt::probe::allocate(size);
}
void operator delete(void *p) noexcept {
    zt::probe::release(p);
}
void operator delete[](void *p) noexcept {
    zt::probe::release(p);
}
void operator delete(void *p, std::size_t) noexcept {
    zt::probe::release(p);
}
void operator delete[](void *p, std::size_t) noexcept {
    zt::probe::release(p);
}
void operator delete(void *p, const std::nothrow_t &) noexcept {
    zt::probe::release(p);
}
void operator delete[](void *p, const std::nothrow_t &) noexcept {
    zt::probe::release(p);
}

#endif
