/* SPDX-License-Identifier: Apache-2.0 */
// zorv_drel_types.h - everything the library knows about a type-1 type, in one table, and the
// one check of a value of a type against its length. Every reader of a value asks check_value
// first and logs its own line when the answer is no.
#ifndef ZORV_DREL_TYPES_H
#define ZORV_DREL_TYPES_H

#include <array>
#include <cstdint>
#include <span>

#include "zorv_drel.h"

namespace zorv {

// Which cache tree holds a type's nodes, and so which key builder makes its key.
enum class type_scope : uint8_t { none, global, member_vni, interface };

// The rules of one type-1 type.
struct type_rule {
    const char *name;     // what zorv_drel_type1_cfg_type_to_str returns; "" when undefined
    uint32_t fixed_len;   // bytes of its record (type 9: without the pairs); 0 = no record
    bool varies;          // pairs follow the fixed part (type 9)
    uint32_t compat_code; // code of a failed compatibility check of the type
    type_scope scope;     // tree its nodes live in
    uint32_t key_len;     // leading bytes of a value that its key builder reads
    const char *row_name; // name of its printable row; null when it has none
};

// Indexed by type code; codes 0, 3 and 4 are not defined.
inline constexpr std::array<type_rule, 10> kTypeRules = {{
    {"", 0, false, ZORV_DREL_ERR_FAILURE, type_scope::none, 0, nullptr},
    {"Gbl Encap Profile", ZORV_ENCAP_NAME_WIRE_LEN, false, ZORV_DREL_ERR_COMPAT_GBL_ENCAP_PROFILE,
     type_scope::global, ZORV_NAME_LEN, nullptr},
    {"Gbl Encap Dot1q Map", ZORV_ENCAP_MAP_LEN, false, ZORV_DREL_ERR_COMPAT_GBL_ENCAP_DOT1Q_MAP,
     type_scope::global, ZORV_NAME_LEN, nullptr},
    {"", 0, false, ZORV_DREL_ERR_FAILURE, type_scope::none, 0, nullptr},
    {"", 0, false, ZORV_DREL_ERR_FAILURE, type_scope::none, 0, nullptr},
    {"Intf Vsi Id, Admin Status", ZORV_VSI_ADMIN_LEN, false, ZORV_DREL_ERR_COMPAT_INTF_VSI,
     type_scope::interface, 8, nullptr},
    {"Intf Vsi Encap Prof", ZORV_VSI_ENCAP_RNG_LEN, false, ZORV_DREL_ERR_COMPAT_INTF_VSI_ENCAP_PROF,
     type_scope::interface, 8, nullptr},
    {"Intf Vsi Encap Dot1q Map", ZORV_VSI_ENCAP_DOT1Q_MAP_LEN, false,
     ZORV_DREL_ERR_COMPAT_INTF_VSI_ENCAP_DOT1Q_MAP, type_scope::interface, 8, nullptr},
    {"Gbl Member Vni", ZORV_MEMBER_VNI_LEN, false, ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI,
     type_scope::member_vni, ZORV_MEMBER_VNI_LEN, "Gbl BD member vni"},
    {"Intf Vsi Attributes", ZORV_VSI_ALL_FIXED_LEN, true, ZORV_DREL_ERR_COMPAT_INTF_VSI,
     type_scope::interface, 8, "Service instance vni"},
}};

// The rules of `type`; an undefined code has no record, no tree and no name.
constexpr const type_rule &rule_of(uint16_t type) noexcept {
    return type < kTypeRules.size() ? kTypeRules[type] : kTypeRules[0];
}

// A type-9 value, checked against its length.
struct vsi_all_view {
    const vsi_all_t *head = nullptr;      // if_index, vsi, admin, map_mode, dyn_map_cnt
    std::span<const vsi_dyn_map_t> pairs; // dyn_map_cnt pairs (none for a count taken as none)
    const vsi_all_tail_t *tail = nullptr; // dot1q_bmp, prof_name; null when not required
};

// What a reader of a type-9 value requires of it.
struct vsi_all_rules {
    bool tail = true;               // the allowed-VLAN bitmap and profile name lie behind the pairs
    bool nonpositive_empty = false; // a count of 0 or less means no pairs, else negative is refused
};

// Peers up to version 39 send no allowed-VLAN bitmap or profile name behind the pairs, so a
// value from them needs only its head and pairs. A local count of 0 or less means no pairs; a
// count below 0 from elsewhere is refused, as it may come from anyone.
constexpr vsi_all_rules type9_rules(uint32_t ver, bool local) noexcept {
    return {.tail = ver > 39, .nonpositive_empty = local};
}

// Why a value cannot be read as its type.
enum class value_fault { none, null_value, too_short, negative_count, count_past_end };

// The answer of check_value: the fault, and the bytes the type's fixed part needs.
struct value_check {
    value_fault fault = value_fault::none;
    uint32_t need = 0;
    bool ok() const noexcept { return fault == value_fault::none; }
};

// Checks `len` bytes at `value` against the record of `type`. A type without a record has
// nothing to hold. For type 9 the count is taken before anything behind offset 20 is touched,
// and the value is parsed into `view` (when given) under `rules`: a count whose pairs (and
// tail, when the rules ask for it) do not fit in `len` is refused; a count the rules take as no
// pairs puts the tail right behind the head.
inline value_check check_value(uint16_t type, const void *value, uint32_t len,
                               const vsi_all_rules &rules = {},
                               vsi_all_view *view = nullptr) noexcept {
    const type_rule &rule = rule_of(type);
    if (rule.fixed_len == 0) return {};
    const uint32_t need = rule.varies && !rules.tail ? uint32_t(sizeof(vsi_all_t)) : rule.fixed_len;
    if (value == nullptr) return {value_fault::null_value, need};
    if (len < need) return {value_fault::too_short, need};
    if (!rule.varies) return {value_fault::none, need};
    const auto *head = static_cast<const vsi_all_t *>(value);
    auto count = static_cast<int32_t>(head->dyn_map_cnt);
    if (count < 0 && !rules.nonpositive_empty) return {value_fault::negative_count, need};
    if (count < 0) count = 0;
    if (uint64_t{need} + 8u * uint64_t(count) > len) return {value_fault::count_past_end, need};
    if (view != nullptr) {
        view->head = head;
        view->pairs = {head->dyn_map, static_cast<size_t>(count)};
        view->tail = rules.tail ? ZORV_VSI_ALL_TAIL(const_cast<vsi_all_t *>(head), count) : nullptr;
    }
    return {value_fault::none, need};
}

// Length that a type-9 value claims through its count: 792 + 8 * dyn_map_cnt (count >= 0).
inline uint32_t vsi_all_len(uint32_t dyn_map_cnt) noexcept {
    return ZORV_VSI_ALL_FIXED_LEN + 8u * dyn_map_cnt;
}

// Valid dyn_map pair: VLAN 1..4095 and VNI 1..0xFFFFFF.
constexpr bool valid_pair(uint32_t dot1q, uint32_t vni) noexcept {
    return dot1q >= 1 && dot1q <= 4095 && vni >= 1 && vni <= ZORV_VNI_MAX;
}

// The VNI of each VLAN of one service instance's valid pairs (0: none), for lookups by VLAN.
// The table is the thread's own and is emptied again, where it was filled, when the object goes:
// zeroing all 16 KiB of it for every service instance cost the checks more than their own work.
// One object at a time per thread.
class vni_by_dot1q {
  public:
    vni_by_dot1q() noexcept : t_(table_of_thread()) {}
    ~vni_by_dot1q() {
        for (uint32_t i = 0; i < t_.filled; ++i)
            t_.vni[t_.dot1q[i]] = 0;
        t_.filled = 0;
    }
    vni_by_dot1q(const vni_by_dot1q &) = delete;
    vni_by_dot1q &operator=(const vni_by_dot1q &) = delete;
    // Maps VLAN `dot1q` to `vni`, a valid pair.
    void set(uint32_t dot1q, uint32_t vni) noexcept {
        if (t_.vni[dot1q] == 0) t_.dot1q[t_.filled++] = static_cast<uint16_t>(dot1q);
        t_.vni[dot1q] = vni;
    }
    uint32_t operator[](uint32_t dot1q) const noexcept { return t_.vni[dot1q]; }

  private:
    struct table {
        uint32_t vni[ZORV_DOT1Q_COUNT];   // by VLAN
        uint16_t dot1q[ZORV_DOT1Q_COUNT]; // the VLANs set, each once
        uint32_t filled;                  // entries of dot1q[] in use
    };
    // Out of line: the compiler then keeps the table's address instead of looking the
    // thread's storage up again at every access.
    [[gnu::noinline]] static table &table_of_thread() noexcept;
    table &t_;
};

// Map mode of an interface node's four flags, first match wins: VDP, DFS, VMT, LLDP, static.
inline uint32_t map_mode_of(const if_cfg_avl_node_t &n) noexcept {
    if (n.vdp) return ZORV_MAP_MODE_VDP;
    if (n.dfs) return ZORV_MAP_MODE_DFS;
    if (n.vmt) return ZORV_MAP_MODE_VMT;
    if (n.lldp) return ZORV_MAP_MODE_LLDP;
    return ZORV_MAP_MODE_STATIC;
}

} // namespace zorv

#endif
