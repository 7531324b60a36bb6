// SPDX-License-Identifier: Apache-2.0
#include "scenario_write.h"

#include <sstream>

namespace drelsim {
namespace {

// A double-quoted YAML scalar.
std::string quoted(const std::string &s) {
    std::string out = "\"";
    for (char c : s)
        out += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    return out + "\"";
}

template <typename Map> std::string map_text(const Map &m) {
    std::string out = "{";
    for (auto &[k, v] : m)
        out += (out.size() > 1 ? ", " : "") + std::to_string(k) + ": " + std::to_string(v);
    return out + "}";
}

void switch_yaml(std::ostream &os, const SwitchConfig &sw) {
    os << "    peer_link_version: " << sw.peer_link_version << "\n";
    os << "    fabric_bds: [";
    bool first = true;
    for (uint32_t bd : sw.fabric_bds)
        os << (first ? "" : ", ") << bd, first = false;
    os << "]\n    member_vnis: " << map_text(sw.member_vnis) << "\n    encap_profiles:\n";
    for (auto &p : sw.profiles)
        os << "      - {name: " << quoted(p.name) << ", vlan_to_vni: " << map_text(p.vlan_to_vni)
           << "}\n";
    os << "    interfaces:" << (sw.interfaces.empty() ? " []" : "") << "\n";
    for (auto &i : sw.interfaces) {
        os << "      - ifindex: 0x" << std::hex << i.ifindex << std::dec << "\n";
        os << "        name: " << quoted(i.name) << "\n        peer_link: " << i.peer_link
           << "\n        service_instances:\n";
        for (auto &v : i.vsis)
            os << "          - {id: " << v.id << ", admin: " << (v.admin_up ? "up" : "down")
               << ", mode: " << mode_name(v.mode) << ", profile: " << quoted(v.profile)
               << ",\n             allowed_vlans: " << quoted(vlan_ranges(v.allowed))
               << ",\n             vlan_to_vni: " << map_text(v.vlan_to_vni) << "}\n";
    }
}

} // namespace

std::string scenario_yaml(const Scenario &s, const std::vector<std::string> &comments) {
    std::ostringstream os;
    for (auto &c : comments)
        os << "# " << c << "\n";
    os << "name: " << quoted(s.name) << "\ndescription: " << quoted(s.description)
       << "\nswitches:\n";
    for (int side = 0; side < 2; ++side) {
        os << "  " << side_name(side) << ":\n";
        switch_yaml(os, s.sw[side]);
    }
    return os.str();
}

} // namespace drelsim
