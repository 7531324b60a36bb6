// SPDX-License-Identifier: Apache-2.0
#include <string>

#include "scenario.h"

namespace drelsim {
namespace {

// The configuration of one switch of the default pair; the two differ only in the VNI that
// service instance 7 maps VLAN 20 to.
std::string switch_text(const char *name, const char *vsi7_vlan20_vni) {
    return std::string("  ") + name + R"(:
    peer_link_version: 40
    fabric_bds: [100]
    member_vnis: {10010: 10, 10020: 20, 10030: 30, 10040: 40, 10100: 100}
    encap_profiles:
      - {name: tenant-blue, vlan_to_vni: {10: 10010, 20: 10020}}
      - {name: tenant-green, vlan_to_vni: {30: 10030, 40: 10040}}
    interfaces:
      - ifindex: 0x4000a
        name: port-channel10
        peer_link: 10
        service_instances:
          - {id: 7, admin: up, mode: static, vlan_to_vni: {10: 10010, 20: )" +
           vsi7_vlan20_vni + R"(}, allowed_vlans: "10,20", profile: tenant-blue}
          - {id: 8, admin: up, mode: static, vlan_to_vni: {30: 10030}, allowed_vlans: "30", profile: tenant-green}
      - ifindex: 0x40014
        name: port-channel20
        peer_link: 20
        service_instances:
          - {id: 12, admin: up, mode: vdp, vlan_to_vni: {40: 10040}, allowed_vlans: "40", profile: tenant-green}
)";
}

} // namespace

const char *default_scenario_text() {
    static const std::string text = R"(name: default
description: >-
  Two leaf switches of one pair with two tenants, two peer-link port-channels and three service
  instances. One deliberate difference - on B, service instance 7 maps VLAN 20 to VNI 10021
  instead of 10020 - which the checks charge to that VNI and that service instance alone.
switches:
)" + switch_text("A", "10020") + switch_text("B", "10021");
    return text.c_str();
}

} // namespace drelsim
