// SPDX-License-Identifier: Apache-2.0
// NVUE startup.yaml of Linux-bridge switches: a list of "- set:" trees with
// bridge.domain.<br>.vlan.<vids>.vni, interface.<bond>.bond.mlag.id and the bond's
// bridge.domain.<br> VLANs, mlag (system MAC, backup IP), nve.vxlan (anycast address).
#include "import.h"
#include "yaml_tree.h"

namespace drelsim {
namespace {

// The VLANs of one bridge domain and their VNIs ("auto": the VNI equals the VLAN).
void read_domain(SwitchImport &sw, const YNode &vlans) {
    for (size_t i = 0; i < vlans.size(); ++i) {
        const YNode &key = vlans.key(i);
        const VlanSet set = vlans_at(key.text, sw.file, key.line);
        const YNode &vni = vlans.value(i)["vni"];
        std::vector<uint32_t> vnis;
        for (size_t k = 0; k < vni.size(); ++k)
            if (vni.key(k).text != "auto")
                vnis = numbers_at(vni.key(k).text, 1, 0xFFFFFF, sw.file, vni.key(k).line,
                                  "VNIs 1..16777215");
        size_t next = 0;
        for (uint32_t v = 1; v < 4095; ++v) {
            if (!set.test(v)) continue;
            sw.vlans.emplace(v, key.line);
            if (!vni) continue;
            if (!vnis.empty() && next >= vnis.size())
                refuse(sw.file, key.line, "expected as many VNIs as VLANs in " + echo(key.text));
            sw.vnis[v] = vnis.empty() ? v : vnis[next++];
            sw.vni_lines[v] = key.line;
        }
    }
}

void read_bond(SwitchImport &sw, const std::string &name, const YNode &ifc) {
    const YNode &id = ifc["bond"]["mlag"]["id"];
    if (!id) return;
    MlagPort p;
    p.name = name;
    p.line = ifc.line;
    p.id = number_at(id.text, 1, 0xFFFF, sw.file, id.line, "an MLAG id 1..65535");
    p.admin_up = !ifc["link"]["state"]["down"];
    const YNode &domains = ifc["bridge"]["domain"];
    for (size_t i = 0; i < domains.size(); ++i) {
        const YNode &d = domains.value(i);
        if (d["access"]) p.allowed |= vlans_at(d["access"].text, sw.file, d["access"].line);
        const YNode &vlan = d["vlan"];
        for (size_t k = 0; k < vlan.size(); ++k)
            if (vlan.key(k).text == "all")
                p.every_vlan = true;
            else
                p.allowed |= vlans_at(vlan.key(k).text, sw.file, vlan.key(k).line);
        if (!d["access"] && !vlan) p.every_vlan = true;
    }
    sw.ports.push_back(p);
}

void read_set(SwitchImport &sw, const YNode &set) {
    const YNode &domains = set["bridge"]["domain"];
    for (size_t i = 0; i < domains.size(); ++i)
        read_domain(sw, domains.value(i)["vlan"]);
    const YNode &ifs = set["interface"];
    for (size_t i = 0; i < ifs.size(); ++i)
        read_bond(sw, ifs.key(i).text, ifs.value(i));
    if (set["system"]["hostname"]) sw.hostname = scalar_text(set["system"]["hostname"]);
    const YNode &mlag = set["mlag"];
    if (mlag["mac-address"]) sw.system_mac = sw.domain_id = scalar_text(mlag["mac-address"]);
    if (mlag["backup"].size()) sw.backup_ip = mlag["backup"].key(0).text;
    if (mlag["peer-ip"]) sw.peer_address = scalar_text(mlag["peer-ip"]);
    const YNode &vx = set["nve"]["vxlan"];
    if (vx["mlag"]["shared-address"]) sw.anycast_ip = scalar_text(vx["mlag"]["shared-address"]);
    if (vx["source"]["address"]) sw.local_address = scalar_text(vx["source"]["address"]);
    const YNode &vrfs = set["vrf"];
    for (size_t i = 0; i < vrfs.size(); ++i) {
        const YNode &l3 = vrfs.value(i)["evpn"]["vni"];
        for (size_t k = 0; k < l3.size(); ++k)
            sw.warn(l3.key(k).line, "VRF " + vrfs.key(i).text + " has layer-3 VNI " +
                                        l3.key(k).text +
                                        " with no VLAN: not a member VNI, not checked");
    }
}

} // namespace

SwitchImport import_nvue(const std::string &text, const std::string &file) {
    const YNode root = load_yaml(text, file);
    SwitchImport sw;
    sw.file = file;
    sw.format = "nvue";
    if (root.is_map() && root["set"]) return read_set(sw, root["set"]), finish_import(sw), sw;
    if (!root.is_sequence()) refuse(file, root.line, "expected a list of \"- set:\" entries");
    for (size_t i = 0; i < root.size(); ++i)
        if (root.items[i]["set"]) read_set(sw, root.items[i]["set"]);
    finish_import(sw);
    return sw;
}

} // namespace drelsim
