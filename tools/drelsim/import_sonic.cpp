// SPDX-License-Identifier: Apache-2.0
// SONiC config_db.json: VLAN, VLAN_MEMBER, VXLAN_TUNNEL_MAP, PORTCHANNEL, MCLAG_DOMAIN,
// MCLAG_INTERFACE. Port-channels have no MLAG id: the number in the name stands for it, so the
// two switches' port-channels pair by name.
#include "import.h"
#include "yaml_tree.h"

namespace drelsim {
namespace {

// "Vlan10" -> 10, refused otherwise.
uint32_t vlan_of(const std::string &name, const std::string &file, int line) {
    if (name.rfind("Vlan", 0) != 0)
        refuse(file, line, "expected a VLAN name such as Vlan10 (got " + echo(name) + ")");
    return number_at(name.substr(4), 1, 4094, file, line, "a VLAN name Vlan1..Vlan4094");
}

void read_vlans(SwitchImport &sw, const YNode &root) {
    const YNode &vlans = root["VLAN"];
    for (size_t i = 0; i < vlans.size(); ++i)
        sw.vlans.emplace(vlan_of(vlans.key(i).text, sw.file, vlans.key(i).line), vlans.key(i).line);
    const YNode &map = root["VXLAN_TUNNEL_MAP"];
    for (size_t i = 0; i < map.size(); ++i) {
        const YNode &m = map.value(i);
        const uint32_t vlan = vlan_of(scalar_text(m["vlan"]), sw.file, m.line);
        sw.vnis[vlan] =
            number_at(scalar_text(m["vni"]), 1, 0xFFFFFF, sw.file, m.line, "a VNI 1..16777215");
        sw.vni_lines[vlan] = m.line;
    }
    const YNode &vrfs = root["VRF"];
    for (size_t i = 0; i < vrfs.size(); ++i)
        if (vrfs.value(i)["vni"])
            sw.warn(vrfs.key(i).line, "VRF " + vrfs.key(i).text + " has layer-3 VNI " +
                                          scalar_text(vrfs.value(i)["vni"]) +
                                          " with no VLAN: not a member VNI, not checked");
}

void read_ports(SwitchImport &sw, const YNode &root) {
    const YNode &mclag = root["MCLAG_INTERFACE"], &pcs = root["PORTCHANNEL"];
    const YNode &members = root["VLAN_MEMBER"];
    for (size_t i = 0; i < mclag.size(); ++i) {
        const std::string &key = mclag.key(i).text; // "domain|PortChannel0001"
        MlagPort p;
        p.name = key.substr(key.find('|') + 1);
        p.line = mclag.key(i).line;
        if (p.name.rfind("PortChannel", 0) != 0)
            refuse(sw.file, p.line,
                   "expected a port-channel such as PortChannel0001 (got " + echo(p.name) + ")");
        p.id = number_at(p.name.substr(11), 1, 0xFFFF, sw.file, p.line,
                         "a port-channel number 1..65535 in the name");
        const YNode &pc = pcs[p.name];
        if (!pc) sw.warn(p.line, p.name + " is an MCLAG interface but not in PORTCHANNEL");
        p.admin_up = scalar_text(pc["admin_status"]) != "down";
        for (size_t k = 0; k < members.size(); ++k) {
            const std::string &m = members.key(k).text; // "Vlan10|PortChannel0001"
            if (m.substr(m.find('|') + 1) == p.name)
                p.allowed.set(vlan_of(m.substr(0, m.find('|')), sw.file, members.key(k).line));
        }
        sw.ports.push_back(p);
    }
}

} // namespace

SwitchImport import_sonic(const std::string &text, const std::string &file) {
    const YNode root = load_yaml(text, file);
    if (!root.is_map()) refuse(file, root.line, "expected a JSON object of configuration tables");
    SwitchImport sw;
    sw.file = file;
    sw.format = "sonic";
    const YNode &meta = root["DEVICE_METADATA"]["localhost"];
    sw.hostname = scalar_text(meta["hostname"]);
    sw.system_mac = scalar_text(meta["mac"]);
    read_vlans(sw, root);
    read_ports(sw, root);
    const YNode &domains = root["MCLAG_DOMAIN"];
    if (domains.size() > 1)
        refuse(file, domains.key(1).line, "a second MCLAG domain: expected one per switch");
    if (domains.size() == 1) {
        sw.domain_id = domains.key(0).text;
        sw.local_address = scalar_text(domains.value(0)["source_ip"]);
        sw.peer_address = scalar_text(domains.value(0)["peer_ip"]);
        sw.peer_link = scalar_text(domains.value(0)["peer_link"]);
    }
    const YNode &vteps = root["VXLAN_TUNNEL"];
    if (vteps.size()) sw.anycast_ip = scalar_text(vteps.value(0)["src_ip"]);
    finish_import(sw);
    return sw;
}

} // namespace drelsim
