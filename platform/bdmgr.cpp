// SPDX-License-Identifier: Apache-2.0
// bdmgr.cpp - bridge-domain manager: which bridge domains of a context are fabric ones.
// Bridge domains above 4095 cannot be marked. The allocation query only sets bits; it leaves the
// caller's other bits and size word alone.
#include <platform/bdmgr.h>

#include <bitset>
#include <map>

#include "host_state.h"

namespace {

constexpr uint32_t kBds = 4096;

using fabric_map = std::map<uint16_t, std::bitset<kBds>>;

struct state {
    fabric_map fabric;
};

state &st() {
    return zorvplat::immortal<state>();
}

} // namespace

int bdmgr_fabric_bd_allocation_get(uint16_t context, bmp4096_t *bds) {
    if (bds == nullptr) return -1;
    const fabric_map &f = st().fabric;
    auto it = f.find(context);
    if (it == f.end()) return 0;
    for (uint32_t bd = 0; bd < kBds; ++bd)
        if (it->second.test(bd)) bds->bits[bd / 8] |= static_cast<uint8_t>(0x80u >> (bd % 8));
    return 0;
}

void bdmgr_host_set_fabric_bd(uint16_t context, uint32_t bd, int fabric) {
    if (bd >= kBds) return;
    st().fabric[context].set(bd, fabric != 0);
}

namespace zorvplat {

void bdmgr_reset() noexcept {
    st().fabric.clear();
}

} // namespace zorvplat
