// SPDX-License-Identifier: Apache-2.0
// The structured YAML that configuration generators write for EOS-style switches: vlans,
// vxlan_interface, port_channel_interfaces, mlag_configuration (older generators put a
// port-channel's mode and VLANs beside its name; both forms are read).
#include "import.h"
#include "yaml_tree.h"

namespace drelsim {
namespace {

uint32_t num(const YNode &n, uint64_t lo, uint64_t hi, const std::string &file,
             const std::string &what) {
    return number_at(n.text, lo, hi, file, n.line, what);
}

void read_vxlan(SwitchImport &sw, const YNode &vxlan_interface) {
    for (size_t i = 0; i < vxlan_interface.size(); ++i) {
        const YNode &vx = vxlan_interface.value(i)["vxlan"];
        sw.anycast_ip = scalar_text(vx["source_interface"]);
        const YNode &vlans = vx["vlans"];
        for (size_t k = 0; k < vlans.size(); ++k) {
            const YNode &v = vlans.items[k];
            if (!v["vni"]) continue;
            const uint32_t vlan = num(v["id"], 1, 4094, sw.file, "a VLAN 1..4094");
            sw.vnis[vlan] = num(v["vni"], 1, 0xFFFFFF, sw.file, "a VNI 1..16777215");
            sw.vni_lines[vlan] = v.line;
        }
        const YNode &vrfs = vx["vrfs"];
        for (size_t k = 0; k < vrfs.size(); ++k)
            sw.warn(vrfs.items[k].line, "VRF " + scalar_text(vrfs.items[k]["name"]) +
                                            " has layer-3 VNI " +
                                            scalar_text(vrfs.items[k]["vni"]) +
                                            " with no VLAN: not a member VNI, not checked");
    }
}

void read_port(SwitchImport &sw, const YNode &pc) {
    if (!pc["mlag"]) return;
    MlagPort p;
    p.name = scalar_text(pc["name"]);
    p.line = pc.line;
    p.id = num(pc["mlag"], 1, 0xFFFF, sw.file, "an MLAG id 1..65535");
    p.admin_up = scalar_text(pc["shutdown"]) != "true";
    const YNode &sp = pc["switchport"];
    const std::string mode = sp ? scalar_text(sp["mode"]) : scalar_text(pc["mode"]);
    const YNode &list = sp ? sp["trunk"]["allowed_vlan"] : pc["vlans"];
    const YNode &access = sp ? sp["access_vlan"] : pc["vlans"];
    if (mode == "trunk") {
        p.every_vlan = !list;
        if (list) p.allowed = vlans_at(list.text, sw.file, list.line);
    } else if (access) {
        p.allowed = vlans_at(access.text, sw.file, access.line);
    } else {
        p.allowed.set(1);
    }
    sw.ports.push_back(p);
}

} // namespace

SwitchImport import_eos_yaml(const std::string &text, const std::string &file) {
    const YNode root = load_yaml(text, file);
    if (!root.is_map()) refuse(file, root.line, "expected a mapping of configuration sections");
    SwitchImport sw;
    sw.file = file;
    sw.format = "eos-yaml";
    sw.hostname = scalar_text(root["hostname"]);
    sw.vlans.emplace(1, 0); // VLAN 1 exists without being configured
    const YNode &vlans = root["vlans"];
    for (size_t i = 0; i < vlans.size(); ++i)
        sw.vlans.emplace(num(vlans.items[i]["id"], 1, 4094, file, "a VLAN 1..4094"),
                         vlans.items[i].line);
    read_vxlan(sw, root["vxlan_interface"]);
    const YNode &pcs = root["port_channel_interfaces"];
    for (size_t i = 0; i < pcs.size(); ++i)
        read_port(sw, pcs.items[i]);
    const YNode &mlag = root["mlag_configuration"];
    sw.domain_id = scalar_text(mlag["domain_id"]);
    sw.peer_address = scalar_text(mlag["peer_address"]);
    sw.peer_link = scalar_text(mlag["peer_link"]);
    const std::string local = scalar_text(mlag["local_interface"]);
    const YNode &svis = root["vlan_interfaces"];
    for (size_t i = 0; i < svis.size(); ++i)
        if (scalar_text(svis.items[i]["name"]) == local) {
            const std::string a = scalar_text(svis.items[i]["ip_address"]);
            sw.local_address = a.substr(0, a.find('/'));
        }
    finish_import(sw);
    return sw;
}

} // namespace drelsim
