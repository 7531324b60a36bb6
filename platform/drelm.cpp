// SPDX-License-Identifier: Apache-2.0
// drelm.cpp - the peer manager's database of interfaces and the trunk, and its queries.
//
// Keys name a table and a record: interfaces in one table, the trunk in another. There is one
// trunk; while it exists any trunk id finds its record. Records stay where they are until they
// are removed, so a pointer from drelm_sdb_info_get stays valid until then (or a reset).
#include <platform/drelm.h>

#include <map>

#include "host_state.h"

namespace {

constexpr uint32_t kTableInterface = 1;
constexpr uint32_t kTableTrunk = 2;
constexpr uint32_t kDefaultPelkOperVer = 40;

struct trunk_record {
    uint32_t present;
    uint32_t id;
};

struct state {
    std::map<uint32_t, drelm_sdb_if_info_t> interfaces;
    std::map<uint32_t, uint32_t> local_if_index; // peer-link id -> interface
    bool trunk_present = false;
    trunk_record trunk{1, 1};
    uint32_t pelk_oper_ver = kDefaultPelkOperVer;
};

state &st() {
    return zorvplat::immortal<state>();
}

} // namespace

int drelm_sdb_generate_if_key(uint32_t if_index, drelm_sdb_key_t *key) {
    if (key == nullptr) return -1;
    *key = drelm_sdb_key_t{kTableInterface, if_index};
    return 0;
}

int drelm_sdb_generate_mct_key(uint32_t mct_id, drelm_sdb_key_t *key) {
    if (key == nullptr) return -1;
    *key = drelm_sdb_key_t{kTableTrunk, mct_id};
    return 0;
}

const void *drelm_sdb_info_get(const drelm_sdb_key_t *key) {
    if (key == nullptr) return nullptr;
    state &s = st();
    if (key->table == kTableTrunk) return s.trunk_present ? &s.trunk : nullptr;
    if (key->table != kTableInterface) return nullptr;
    auto it = s.interfaces.find(key->id);
    return it == s.interfaces.end() ? nullptr : &it->second;
}

uint32_t drelm_api_get_local_drel_if_index(uint32_t drel_id, uint32_t, uint32_t) {
    const state &s = st();
    auto it = s.local_if_index.find(drel_id);
    return it == s.local_if_index.end() ? 0 : it->second;
}

int drelm_api_get_pelk_oper_ver(uint32_t *ver, uint32_t) {
    if (ver == nullptr) return -1;
    *ver = st().pelk_oper_ver;
    return 0;
}

void drelm_host_set_interface(uint32_t if_index, uint32_t is_drel, uint32_t drel_id) {
    st().interfaces[if_index] = drelm_sdb_if_info_t{is_drel, drel_id};
}

void drelm_host_remove_interface(uint32_t if_index) {
    st().interfaces.erase(if_index);
}

void drelm_host_set_mct(int present) {
    st().trunk_present = present != 0;
}

void drelm_host_set_pelk_oper_ver(uint32_t ver) {
    st().pelk_oper_ver = ver;
}

void drelm_host_set_local_drel_if_index(uint32_t drel_id, uint32_t if_index) {
    st().local_if_index[drel_id] = if_index;
}

namespace zorvplat {

void drelm_reset() noexcept {
    state &s = st();
    s.interfaces.clear();
    s.local_if_index.clear();
    s.trunk_present = false;
    s.pelk_oper_ver = kDefaultPelkOperVer;
}

} // namespace zorvplat
