/* SPDX-License-Identifier: Apache-2.0 */
// The simulated configuration of a switch pair, as read from a scenario.
#pragma once

#include <bitset>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace drelsim {

using VlanSet = std::bitset<4096>;

// dot1q -> VNI in ascending VLAN order, held as one sorted array: 8 bytes a pair, where a large
// scenario holds millions of pairs.
class VlanMap {
  public:
    using value_type = std::pair<uint32_t, uint32_t>;
    using const_iterator = std::vector<value_type>::const_iterator;

    // The VNI of `vlan`, inserted as 0 when absent (in constant time when `vlan` is above the
    // last one, as a reader filling in ascending order does).
    uint32_t &operator[](uint32_t vlan);
    const_iterator find(uint32_t vlan) const;
    size_t count(uint32_t vlan) const { return find(vlan) != end(); }
    const_iterator begin() const { return pairs_.begin(); }
    const_iterator end() const { return pairs_.end(); }
    size_t size() const { return pairs_.size(); }
    bool empty() const { return pairs_.empty(); }
    void reserve(size_t n) { pairs_.reserve(n); }
    bool operator==(const VlanMap &o) const { return pairs_ == o.pairs_; }
    bool operator!=(const VlanMap &o) const { return pairs_ != o.pairs_; }

  private:
    std::vector<value_type> pairs_; // ascending VLAN
};

enum : uint32_t { kModeStatic = 1, kModeDfs = 2, kModeVmt = 3, kModeVdp = 4, kModeLldp = 5 };

struct ServiceInstance {
    uint32_t id = 0;
    bool admin_up = true;
    uint32_t mode = kModeStatic;
    VlanMap vlan_to_vni;
    VlanSet allowed;
    std::string profile;
};

struct Interface {
    uint32_t ifindex = 0;
    uint32_t peer_link = 0;
    std::string name;
    std::vector<ServiceInstance> vsis; // ascending id
};

struct EncapProfile {
    std::string name;
    VlanMap vlan_to_vni; // empty: a profile without a dot1q map
};

struct SwitchConfig {
    uint32_t peer_link_version = 40;
    std::set<uint32_t> fabric_bds;
    std::map<uint32_t, uint32_t> member_vnis; // VNI -> BD
    std::vector<EncapProfile> profiles;
    std::vector<Interface> interfaces;
    // Positions in `interfaces` by ifindex and by peer-link id, filled by index_interfaces once
    // the list is complete (no step adds or removes an interface); without them a lookup scans.
    std::unordered_map<uint32_t, uint32_t> at_ifindex, at_link;
};

// Fills the lookups of `sw`'s interfaces.
void index_interfaces(SwitchConfig &sw);

enum class ActionKind {
    SetMemberVni,
    DeleteMemberVni,
    SetServiceInstance,
    SetAdmin,
    DeleteServiceInstance,
    ClearInterface,
    AddEncapProfile,
};

struct Action {
    ActionKind kind = ActionKind::SetMemberVni;
    uint32_t ifindex = 0;
    uint32_t vni = 0;
    uint32_t bd = 0;
    uint32_t vsi_id = 0;
    bool admin_up = true;
    ServiceInstance vsi;
    EncapProfile profile;
    int line = 0; // where the action is written, for messages
};

struct Step {
    std::string description;
    int side = 0; // 0 = A, 1 = B
    std::vector<Action> actions;
};

struct Scenario {
    std::string source; // file name, or "built-in default scenario"
    std::string name;
    std::string description;
    SwitchConfig sw[2];
    std::vector<Step> steps;
};

inline char side_name(int side) {
    return side == 0 ? 'A' : 'B';
}

const char *mode_name(uint32_t mode);        // "static", "dfs", ...; "mode N" style text for others
std::string vlan_ranges(const VlanSet &set); // "10-20,30"
// Adds the VLANs of a range list such as "10-20,30" (blanks ignored) to `out`; false when the
// text is no such list or names a VLAN outside 1..4095.
bool parse_vlan_ranges(const std::string &text, VlanSet &out);

Interface *find_interface(SwitchConfig &sw, uint32_t ifindex);
const Interface *find_interface(const SwitchConfig &sw, uint32_t ifindex);
const Interface *find_interface_by_link(const SwitchConfig &sw, uint32_t peer_link);
ServiceInstance *find_vsi(Interface &iface, uint32_t id);

// Applies one step action to the model; returns an explanation when the action does not fit the
// configuration as it stands (unknown interface, nothing to delete, ...), else nothing.
std::optional<std::string> apply_action(SwitchConfig &sw, const Action &action);

} // namespace drelsim
