// SPDX-License-Identifier: Apache-2.0
// ifupdown2 /etc/network/interfaces of Linux-bridge switches: VXLAN devices (one per VNI with
// vxlan-id and bridge-access, or one with bridge-vlan-vni-map), bonds with clag-id and their
// bridge-vids or bridge-access, the bridge's bridge-vids, and the clagd settings.
#include <sstream>

#include "import.h"

namespace drelsim {
namespace {

struct Stanza {
    std::string name;
    int line = 0;
    std::vector<std::pair<std::vector<std::string>, int>> options; // words, line
    const std::vector<std::string> *get(const std::string &key) const {
        for (auto &o : options)
            if (o.first[0] == key) return &o.first;
        return nullptr;
    }
    int line_of(const std::string &key) const {
        for (auto &o : options)
            if (o.first[0] == key) return o.second;
        return line;
    }
};

// "10 20 30-40" (the words after the key) as VLANs.
VlanSet vids(const std::vector<std::string> &w, const std::string &file, int line) {
    VlanSet set;
    for (size_t i = 1; i < w.size(); ++i)
        set |= vlans_at(w[i], file, line);
    return set;
}

std::vector<Stanza> stanzas(const std::string &text, const std::string &file) {
    std::vector<Stanza> out;
    std::istringstream in(text);
    int n = 0;
    for (std::string line; std::getline(in, line);) {
        ++n;
        auto w = words(line);
        if (w.empty() || w[0][0] == '#') continue;
        if (w[0] == "iface") {
            if (w.size() < 2) refuse(file, n, "expected \"iface NAME\"");
            out.push_back({w[1], n, {}});
        } else if (w[0] == "auto" || w[0] == "allow-hotplug" || w[0] == "source" ||
                   w[0] == "source-directory") {
            continue;
        } else if (out.empty()) {
            refuse(file, n, "an option outside any \"iface\" stanza (got " + echo(w[0]) + ")");
        } else {
            out.back().options.push_back({w, n});
        }
    }
    return out;
}

void read_vxlan(SwitchImport &sw, const Stanza &s) {
    if (auto *id = s.get("vxlan-id")) {
        const int l = s.line_of("vxlan-id");
        if (id->size() != 2) refuse(sw.file, l, "expected \"vxlan-id VNI\"");
        const uint32_t vni = number_at((*id)[1], 1, 0xFFFFFF, sw.file, l, "a VNI 1..16777215");
        auto *acc = s.get("bridge-access");
        if (!acc || acc->size() != 2)
            return sw.warn(l, s.name + " (VNI " + (*id)[1] +
                                  ") has no bridge-access VLAN: a VNI with no VLAN, not checked");
        const uint32_t vlan =
            number_at((*acc)[1], 1, 4094, sw.file, s.line_of("bridge-access"), "a VLAN 1..4094");
        sw.vnis[vlan] = vni;
        sw.vni_lines[vlan] = l;
    }
    if (auto *map = s.get("bridge-vlan-vni-map")) {
        const int l = s.line_of("bridge-vlan-vni-map");
        for (size_t i = 1; i < map->size(); ++i) {
            const std::string &item = (*map)[i]; // "10=10010" or "30-40=1030-1040"
            const size_t eq = item.find('=');
            if (eq == item.npos) refuse(sw.file, l, "expected VLAN=VNI (got " + echo(item) + ")");
            auto vlans = numbers_at(item.substr(0, eq), 1, 4094, sw.file, l, "VLANs 1..4094");
            auto vnis =
                numbers_at(item.substr(eq + 1), 1, 0xFFFFFF, sw.file, l, "VNIs 1..16777215");
            if (vlans.size() != vnis.size())
                refuse(sw.file, l, "expected as many VNIs as VLANs (got " + echo(item) + ")");
            for (size_t k = 0; k < vlans.size(); ++k)
                sw.vnis[vlans[k]] = vnis[k], sw.vni_lines[vlans[k]] = l;
        }
    }
}

void read_clag(SwitchImport &sw, const Stanza &s) {
    auto value = [&](const char *key) {
        auto *w = s.get(key);
        return w && w->size() > 1 ? (*w)[1] : std::string();
    };
    if (!value("clagd-sys-mac").empty()) sw.system_mac = sw.domain_id = value("clagd-sys-mac");
    if (!value("clagd-backup-ip").empty()) sw.backup_ip = value("clagd-backup-ip");
    if (!value("clagd-peer-ip").empty()) sw.peer_address = value("clagd-peer-ip");
    if (!value("clagd-vxlan-anycast-ip").empty()) sw.anycast_ip = value("clagd-vxlan-anycast-ip");
    if (s.get("clagd-peer-ip")) {
        sw.peer_link = s.name.substr(0, s.name.find('.'));
        sw.local_address = value("address").substr(0, value("address").find('/'));
    }
}

} // namespace

SwitchImport import_ifupdown2(const std::string &text, const std::string &file) {
    SwitchImport sw;
    sw.file = file;
    sw.format = "ifupdown2";
    const auto all = stanzas(text, file);
    VlanSet bridge_vids;
    for (const Stanza &s : all)
        if (s.get("bridge-ports") && s.get("bridge-vids"))
            bridge_vids |= vids(*s.get("bridge-vids"), file, s.line_of("bridge-vids"));
    for (uint32_t v = 1; v < 4095; ++v)
        if (bridge_vids.test(v)) sw.vlans.emplace(v, 0);
    for (const Stanza &s : all) {
        read_vxlan(sw, s);
        read_clag(sw, s);
        for (auto &[words, line] : s.options)
            if (words.size() == 2 && (words[0] == "address" || words[0] == "vxlan-local-tunnelip"))
                sw.addresses.push_back(words[1].substr(0, words[1].find('/')));
        const auto *id = s.get("clag-id");
        if (!id) continue;
        MlagPort p;
        p.name = s.name;
        p.line = s.line;
        p.id = number_at(id->size() == 2 ? (*id)[1] : "", 1, 0xFFFF, file, s.line_of("clag-id"),
                         "a clag id 1..65535");
        auto *down = s.get("link-down");
        p.admin_up = !(down && down->size() == 2 && (*down)[1] == "yes");
        if (auto *acc = s.get("bridge-access"))
            p.allowed = vids(*acc, file, s.line_of("bridge-access"));
        else if (auto *v = s.get("bridge-vids"))
            p.allowed = vids(*v, file, s.line_of("bridge-vids"));
        else
            p.every_vlan = true; // a bond without VLANs of its own takes the bridge's
        sw.ports.push_back(p);
    }
    finish_import(sw);
    return sw;
}

} // namespace drelsim
