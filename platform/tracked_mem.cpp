// SPDX-License-Identifier: Apache-2.0
// tracked_mem.cpp - allocator with per-service, per-memory-type accounting, bad-free detection
// and fault injection.
//
// Every live block is recorded in one table keyed by address, so a free can be judged without
// touching the memory behind the pointer (a foreign pointer may not be readable at all).
// Bad frees carry no memory type: they are counted only in the all-types figures (mem_type -1).
#include <platform/tracked_mem.h>

#include <cstdlib>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <unordered_map>
#include <vector>

#include "host_state.h"

namespace {

constexpr size_t kAlign = 16;

struct service {
    bool registered = false;
    std::string name;
    std::vector<std::string> type_names;
    tracked_mem_stats_t total{};                   // all types; its peak is the service's own
    std::map<uint32_t, tracked_mem_stats_t> types; // per memory type
    uint64_t fault_skip = 0, fault_count = 0;
};

// A live block: its owner and size, and the owner's counters that its free updates (entries of
// std::map, so they stay where they are while the block lives).
struct block {
    uint32_t service_id;
    uint32_t size;
    service *svc;
    tracked_mem_stats_t *type_stats;
};

struct state {
    std::mutex mu;
    std::map<uint32_t, service> services;
    std::unordered_map<const void *, block> blocks;
    // The table entry of the last block freed, kept for the next block made: a block that is
    // made and freed over and over costs the table no allocation of its own.
    std::unordered_map<const void *, block>::node_type spare;
};

state &st() {
    return zorvplat::immortal<state>();
}

void add_live(tracked_mem_stats_t &s, uint32_t size) {
    ++s.allocs;
    ++s.live_blocks;
    s.live_bytes += size;
    if (s.live_bytes > s.peak_bytes) s.peak_bytes = s.live_bytes;
}

void remove_live(tracked_mem_stats_t &s, uint32_t size) {
    ++s.frees;
    --s.live_blocks;
    s.live_bytes -= size;
}

// True when an injected fault claims this allocation.
bool fault_due(service &svc) {
    if (svc.fault_count == 0) return false;
    if (svc.fault_skip > 0) return false; // counted down on success
    --svc.fault_count;
    return true;
}

} // namespace

int tracked_mem_init(const char *lib_name, uint32_t service_id, const char *const *type_names,
                     uint32_t type_count) {
    state &s = st();
    std::lock_guard lock(s.mu);
    try {
        service &svc = s.services[service_id];
        svc.registered = true;
        svc.name = lib_name != nullptr ? lib_name : "";
        svc.type_names.clear();
        for (uint32_t i = 0; type_names != nullptr && i < type_count; ++i)
            svc.type_names.emplace_back(type_names[i] != nullptr ? type_names[i] : "");
    } catch (const std::bad_alloc &) {
        return -1;
    }
    return 0;
}

int tracked_mem_uninit(uint32_t service_id) {
    state &s = st();
    std::lock_guard lock(s.mu);
    auto it = s.services.find(service_id);
    if (it == s.services.end() || !it->second.registered) return -1;
    it->second.registered = false; // counters stay readable
    return 0;
}

void *tracked_alloc(uint32_t service_id, uint32_t mem_type, uint32_t size) {
    state &s = st();
    std::lock_guard lock(s.mu);
    service *svc;
    tracked_mem_stats_t *type_stats;
    try {
        svc = &s.services[service_id];
        type_stats = &svc->types[mem_type];
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
    if (fault_due(*svc)) {
        ++svc->total.failed_allocs;
        ++type_stats->failed_allocs;
        return nullptr;
    }
    // Size 0 still takes a block of its own so that every result is unique.
    const size_t bytes =
        size == 0 ? kAlign : (static_cast<size_t>(size) + kAlign - 1) & ~(kAlign - 1);
    void *p = std::aligned_alloc(kAlign, bytes);
    if (p != nullptr) {
        try {
            const block b{service_id, size, svc, type_stats};
            if (s.spare) {
                s.spare.key() = p;
                s.spare.mapped() = b;
                s.blocks.insert(std::move(s.spare)); // p is new: the entry goes in
            } else {
                s.blocks.emplace(p, b);
            }
        } catch (const std::bad_alloc &) {
            std::free(p);
            p = nullptr;
        }
    }
    if (p == nullptr) {
        ++svc->total.failed_allocs;
        ++type_stats->failed_allocs;
        return nullptr;
    }
    if (svc->fault_count != 0 && svc->fault_skip > 0) --svc->fault_skip;
    add_live(svc->total, size);
    add_live(*type_stats, size);
    return p;
}

int tracked_free(uint32_t service_id, void *p) {
    if (p == nullptr) return 0;
    state &s = st();
    std::lock_guard lock(s.mu);
    auto it = s.blocks.find(p);
    if (it == s.blocks.end() || it->second.service_id != service_id) {
        try {
            ++s.services[service_id].total.bad_frees;
        } catch (const std::bad_alloc &) {
        }
        return static_cast<int>(TRACKED_ERR_BAD_BLOCK);
    }
    const block b = it->second;
    s.spare = s.blocks.extract(it);
    remove_live(b.svc->total, b.size);
    remove_live(*b.type_stats, b.size);
    std::free(p);
    return 0;
}

int tracked_mem_stats_get(uint32_t service_id, int32_t mem_type, tracked_mem_stats_t *out) {
    if (out == nullptr || mem_type < -1) return -1;
    *out = tracked_mem_stats_t{};
    state &s = st();
    std::lock_guard lock(s.mu);
    auto it = s.services.find(service_id);
    if (it == s.services.end()) return 0; // never used: all zero
    if (mem_type == -1) {
        *out = it->second.total;
        return 0;
    }
    auto t = it->second.types.find(static_cast<uint32_t>(mem_type));
    if (t != it->second.types.end()) *out = t->second;
    return 0;
}

void tracked_mem_fault_set(uint32_t service_id, uint64_t skip, uint64_t count) {
    state &s = st();
    std::lock_guard lock(s.mu);
    try {
        service &svc = s.services[service_id];
        svc.fault_skip = count == 0 ? 0 : skip;
        svc.fault_count = count;
    } catch (const std::bad_alloc &) {
    }
}

namespace zorvplat {

void tracked_mem_reset() noexcept {
    state &s = st();
    std::lock_guard lock(s.mu);
    auto restart = [](tracked_mem_stats_t &c) {
        c = tracked_mem_stats_t{c.live_blocks, c.live_bytes, c.live_bytes, 0, 0, 0, 0};
    };
    for (auto &[id, svc] : s.services) {
        restart(svc.total);
        for (auto &[type, c] : svc.types)
            restart(c);
        svc.fault_skip = svc.fault_count = 0;
    }
}

} // namespace zorvplat
