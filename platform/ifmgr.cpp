// SPDX-License-Identifier: Apache-2.0
// ifmgr.cpp - interface manager: interface types and layer modes.
// An unknown interface has type 0; a layer-mode query that names one fails (-1) and writes
// nothing, as does a query with a null list.
#include <platform/ifmgr.h>

#include <map>

#include "host_state.h"

namespace {

struct interface_info {
    uint32_t type;
    uint32_t layer_mode;
};

struct state {
    std::map<uint32_t, interface_info> interfaces;
};

state &st() {
    return zorvplat::immortal<state>();
}

} // namespace

uint32_t ifindex_type_get(uint32_t if_index) {
    const auto &m = st().interfaces;
    auto it = m.find(if_index);
    return it == m.end() ? 0 : it->second.type;
}

int ifmgr_layer_mode_list_get(uint32_t count, const uint32_t *if_indexes, uint32_t *modes) {
    if (count != 0 && (if_indexes == nullptr || modes == nullptr)) return -1;
    const auto &m = st().interfaces;
    for (uint32_t i = 0; i < count; ++i)
        if (m.find(if_indexes[i]) == m.end()) return -1;
    for (uint32_t i = 0; i < count; ++i)
        modes[i] = m.find(if_indexes[i])->second.layer_mode;
    return 0;
}

void ifmgr_host_set_interface(uint32_t if_index, uint32_t type, uint32_t layer_mode) {
    st().interfaces[if_index] = interface_info{type, layer_mode};
}

namespace zorvplat {

void ifmgr_reset() noexcept {
    st().interfaces.clear();
}

} // namespace zorvplat
