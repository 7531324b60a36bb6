// SPDX-License-Identifier: Apache-2.0
#include "model.h"

#include <algorithm>
#include <sstream>

namespace drelsim {

const char *mode_name(uint32_t mode) {
    switch (mode) {
    case kModeStatic: return "static";
    case kModeDfs: return "dfs";
    case kModeVmt: return "vmt";
    case kModeVdp: return "vdp";
    case kModeLldp: return "lldp";
    default: return "unknown";
    }
}

std::string vlan_ranges(const VlanSet &set) {
    std::string out;
    for (uint32_t v = 0; v < 4096; ++v) {
        if (!set.test(v)) continue;
        uint32_t last = v;
        while (last + 1 < 4096 && set.test(last + 1))
            ++last;
        if (!out.empty()) out += ',';
        out += std::to_string(v);
        if (last != v) out += '-' + std::to_string(last);
        v = last;
    }
    return out;
}

bool parse_vlan_ranges(const std::string &text, VlanSet &out) {
    std::stringstream ss(text);
    std::string item;
    bool any = text.find_first_not_of(' ') == text.npos; // blank: no VLAN
    while (std::getline(ss, item, ',')) {
        item.erase(std::remove(item.begin(), item.end(), ' '), item.end());
        const size_t dash = item.find('-');
        const std::string lo = item.substr(0, dash),
                          hi = dash == item.npos ? lo : item.substr(dash + 1);
        auto digits = [](const std::string &s) {
            return !s.empty() && s.size() <= 5 && s.find_first_not_of("0123456789") == s.npos;
        };
        if (!digits(lo) || !digits(hi)) return false;
        const unsigned a = std::stoul(lo), b = std::stoul(hi);
        if (a < 1 || b > 4095 || a > b) return false;
        for (unsigned v = a; v <= b; ++v)
            out.set(v);
        any = true;
    }
    return any;
}

uint32_t &VlanMap::operator[](uint32_t vlan) {
    if (pairs_.empty() || pairs_.back().first < vlan) return pairs_.emplace_back(vlan, 0).second;
    auto it = std::lower_bound(pairs_.begin(), pairs_.end(), vlan,
                               [](const value_type &p, uint32_t v) { return p.first < v; });
    if (it == pairs_.end() || it->first != vlan) it = pairs_.insert(it, {vlan, 0});
    return it->second;
}

VlanMap::const_iterator VlanMap::find(uint32_t vlan) const {
    auto it = std::lower_bound(pairs_.begin(), pairs_.end(), vlan,
                               [](const value_type &p, uint32_t v) { return p.first < v; });
    return it != pairs_.end() && it->first == vlan ? it : pairs_.end();
}

void index_interfaces(SwitchConfig &sw) {
    sw.at_ifindex.clear(), sw.at_link.clear();
    for (uint32_t i = 0; i < sw.interfaces.size(); ++i) {
        sw.at_ifindex.emplace(sw.interfaces[i].ifindex, i);
        sw.at_link.emplace(sw.interfaces[i].peer_link, i);
    }
}

namespace {

// The interface whose `field` is `value`: through `at` when it indexes every interface, else by
// a scan.
template <typename Sw>
auto *lookup(Sw &sw, const std::unordered_map<uint32_t, uint32_t> &at, uint32_t Interface::*field,
             uint32_t value) {
    using Result = decltype(&sw.interfaces[0]);
    if (at.size() == sw.interfaces.size()) {
        auto it = at.find(value);
        return it == at.end() ? Result{nullptr} : &sw.interfaces[it->second];
    }
    for (auto &i : sw.interfaces)
        if (i.*field == value) return &i;
    return Result{nullptr};
}

} // namespace

Interface *find_interface(SwitchConfig &sw, uint32_t ifindex) {
    return lookup(sw, sw.at_ifindex, &Interface::ifindex, ifindex);
}

const Interface *find_interface(const SwitchConfig &sw, uint32_t ifindex) {
    return lookup(sw, sw.at_ifindex, &Interface::ifindex, ifindex);
}

const Interface *find_interface_by_link(const SwitchConfig &sw, uint32_t peer_link) {
    return lookup(sw, sw.at_link, &Interface::peer_link, peer_link);
}

ServiceInstance *find_vsi(Interface &iface, uint32_t id) {
    for (auto &v : iface.vsis)
        if (v.id == id) return &v;
    return nullptr;
}

namespace {

std::string hex(uint32_t v) {
    char buf[16];
    snprintf(buf, sizeof buf, "0x%x", v);
    return buf;
}

void put_vsi(Interface &iface, const ServiceInstance &vsi) {
    if (ServiceInstance *old = find_vsi(iface, vsi.id)) {
        *old = vsi;
        return;
    }
    iface.vsis.push_back(vsi);
    std::sort(iface.vsis.begin(), iface.vsis.end(), [](auto &a, auto &b) { return a.id < b.id; });
}

std::optional<std::string> apply_vsi_action(SwitchConfig &sw, const Action &a) {
    Interface *iface = find_interface(sw, a.ifindex);
    if (!iface)
        return "interface " + hex(a.ifindex) + " is not a peer-link interface of this switch";
    uint32_t id = a.kind == ActionKind::SetServiceInstance ? a.vsi.id : a.vsi_id;
    ServiceInstance *vsi = find_vsi(*iface, id);
    switch (a.kind) {
    case ActionKind::SetServiceInstance: put_vsi(*iface, a.vsi); return {};
    case ActionKind::SetAdmin:
        if (!vsi) break;
        vsi->admin_up = a.admin_up;
        return {};
    case ActionKind::DeleteServiceInstance:
        if (!vsi) break;
        iface->vsis.erase(iface->vsis.begin() + (vsi - iface->vsis.data()));
        return {};
    default: iface->vsis.clear(); return {};
    }
    return "service instance " + std::to_string(id) + " is not configured on interface " +
           hex(a.ifindex) + " at this step";
}

} // namespace

std::optional<std::string> apply_action(SwitchConfig &sw, const Action &a) {
    switch (a.kind) {
    case ActionKind::SetMemberVni: sw.member_vnis[a.vni] = a.bd; return {};
    case ActionKind::DeleteMemberVni:
        if (sw.member_vnis.erase(a.vni) == 0)
            return "VNI " + std::to_string(a.vni) + " is not a member VNI at this step";
        return {};
    case ActionKind::AddEncapProfile:
        for (auto &p : sw.profiles)
            if (p.name == a.profile.name)
                return "encap profile \"" + a.profile.name +
                       "\" exists already (profiles are only added)";
        sw.profiles.push_back(a.profile);
        return {};
    default: return apply_vsi_action(sw, a);
    }
}

} // namespace drelsim
