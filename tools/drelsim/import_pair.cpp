// SPDX-License-Identifier: Apache-2.0
// The rules every format shares (docs/import.md): a switch's VLANs, VNIs and MLAG ports become
// one side of a scenario, and two sides become a pair.
#include <algorithm>
#include <set>

#include "import.h"

namespace drelsim {
namespace {

constexpr const char *kProfile = "vlan-vni-map";
constexpr uint32_t kIfindexBase = 0x40000; // port N: ifindex 0x40000 + N

VlanSet defined(const SwitchImport &sw) {
    VlanSet set;
    for (auto &[vlan, line] : sw.vlans)
        set.set(vlan);
    return set;
}

// A port's VLANs: the defined ones for "every VLAN"; VLANs not defined are dropped, and VLANs
// without a VNI kept, each with a warning.
void settle_port(SwitchImport &sw, MlagPort &p, const VlanSet &def) {
    VlanSet all;
    all.set().reset(0).reset(4095);
    if (p.every_vlan || (p.allowed & all) == all) {
        p.allowed = def;
    } else if (const VlanSet undefined = p.allowed & ~def; undefined.any()) {
        sw.warn(p.line, p.name + " allows VLANs " + vlan_list(undefined) +
                            " that are not defined on this switch: not imported");
        p.allowed &= def;
    }
    VlanSet unmapped = p.allowed;
    for (auto &[vlan, vni] : sw.vnis)
        unmapped.reset(vlan);
    if (unmapped.any())
        sw.warn(p.line, p.name + " carries VLANs " + vlan_list(unmapped) +
                            " that have no VNI: they are allowed but map no VNI");
}

SwitchConfig side_config(const SwitchImport &sw) {
    SwitchConfig c;
    EncapProfile prof{kProfile, {}};
    for (auto &[vlan, vni] : sw.vnis) {
        prof.vlan_to_vni[vlan] = vni;
        c.member_vnis.emplace(vni, vlan);
    }
    c.profiles.push_back(prof);
    for (const MlagPort &p : sw.ports) {
        Interface i;
        i.ifindex = kIfindexBase + p.id;
        i.peer_link = p.id;
        i.name = p.name;
        ServiceInstance si;
        si.id = p.id;
        si.admin_up = p.admin_up;
        si.allowed = p.allowed;
        si.profile = kProfile;
        for (auto &[vlan, vni] : sw.vnis)
            if (p.allowed.test(vlan)) si.vlan_to_vni[vlan] = vni;
        i.vsis.push_back(si);
        c.interfaces.push_back(i);
    }
    index_interfaces(c);
    return c;
}

std::string who(const SwitchImport &sw) {
    return sw.hostname.empty() ? sw.file : sw.hostname + " (" + sw.file + ")";
}

void refuse_other_pairs(const SwitchImport &a, const SwitchImport &b) {
    if (!a.domain_id.empty() && !b.domain_id.empty() && a.domain_id != b.domain_id)
        throw ImportError(b.file + ": MLAG domain " + echo(b.domain_id) + " differs from " +
                          echo(a.domain_id) + " of " + who(a) +
                          ": expected the two switches of one MLAG domain");
    const bool same_host = !a.hostname.empty() && a.hostname == b.hostname;
    const bool same_address = !a.local_address.empty() && a.local_address == b.local_address;
    if (a.file == b.file || same_host || same_address)
        throw ImportError(b.file + ": the same switch as " + who(a) + " (" +
                          (a.file == b.file ? "same file"
                           : same_host      ? "same hostname"
                                            : "same MLAG local address " + a.local_address) +
                          "): expected the two different switches of one pair");
}

void pair_warnings(const SwitchImport &a, const SwitchImport &b, std::vector<ImportWarning> &w) {
    for (const SwitchImport *sw : {&a, &b})
        if (sw->domain_id.empty())
            w.push_back({sw->file, 0, "no MLAG domain id: the pair is taken as given"});
    if (!a.peer_address.empty() && a.peer_address != "linklocal" && !b.local_address.empty() &&
        a.peer_address != b.local_address)
        w.push_back({a.file, 0,
                     "MLAG peer address " + a.peer_address + " is not " + b.file +
                         "'s local address " + b.local_address});
    std::set<uint32_t> ids[2];
    for (int s = 0; s < 2; ++s)
        for (auto &p : (s ? b : a).ports)
            ids[s].insert(p.id);
    for (int s = 0; s < 2; ++s)
        for (auto &p : (s ? b : a).ports)
            if (!ids[1 - s].count(p.id))
                w.push_back({(s ? b : a).file, p.line,
                             p.name + " (MLAG id " + std::to_string(p.id) +
                                 ") has no partner with that id on " + (s ? a : b).file +
                                 ": its peer sends nothing for it"});
    w.push_back(
        {"", 0, "peer-link version: no configuration states it; 40 assumed on both switches"});
    w.push_back({"", 0, "fabric bridge domains: no configuration states them; none assumed"});
}

} // namespace

std::string vlan_list(const VlanSet &set) {
    return set.any() ? vlan_ranges(set) : "(none)";
}

const std::vector<std::string> &import_formats() {
    static const std::vector<std::string> names{"eos-config", "eos-yaml", "ifupdown2", "nvue",
                                                "sonic"};
    return names;
}

void finish_import(SwitchImport &sw) {
    for (auto &[vlan, vni] : sw.vnis)
        if (!sw.vlans.count(vlan))
            sw.warn(sw.vni_lines[vlan], "VLAN " + std::to_string(vlan) + " maps to VNI " +
                                            std::to_string(vni) +
                                            " but is not defined on this switch: imported anyway");
    std::map<uint32_t, uint32_t> vlan_of; // VNI -> first VLAN
    for (auto it = sw.vnis.begin(); it != sw.vnis.end();) {
        auto [first, fresh] = vlan_of.emplace(it->second, it->first);
        if (fresh) {
            ++it;
            continue;
        }
        sw.warn(sw.vni_lines[it->first],
                "VNI " + std::to_string(it->second) + " is mapped from VLAN " +
                    std::to_string(first->second) + " and VLAN " + std::to_string(it->first) +
                    ": only VLAN " + std::to_string(first->second) + " is imported");
        it = sw.vnis.erase(it);
    }
    std::sort(sw.ports.begin(), sw.ports.end(), [](auto &x, auto &y) { return x.id < y.id; });
    for (size_t i = 1; i < sw.ports.size(); ++i)
        if (sw.ports[i].id == sw.ports[i - 1].id)
            throw ImportError(sw.file + ":" + std::to_string(sw.ports[i].line) + ": " +
                              sw.ports[i].name + ": MLAG id " + std::to_string(sw.ports[i].id) +
                              " is already used by " + sw.ports[i - 1].name +
                              ": expected each MLAG id once");
    const VlanSet def = defined(sw);
    for (MlagPort &p : sw.ports)
        settle_port(sw, p, def);
}

Scenario pair_scenario(const SwitchImport &a, const SwitchImport &b,
                       std::vector<ImportWarning> &warnings) {
    refuse_other_pairs(a, b);
    warnings = a.warnings;
    warnings.insert(warnings.end(), b.warnings.begin(), b.warnings.end());
    pair_warnings(a, b, warnings);
    Scenario s;
    s.source = a.file + " + " + b.file;
    s.name =
        (a.hostname.empty() ? "A" : a.hostname) + " + " + (b.hostname.empty() ? "B" : b.hostname);
    s.description = "Imported from " + a.file + " (" + a.format + ") and " + b.file + " (" +
                    b.format + ")" + (a.domain_id.empty() ? "" : ", MLAG domain " + a.domain_id) +
                    ".";
    s.sw[0] = side_config(a);
    s.sw[1] = side_config(b);
    return s;
}

} // namespace drelsim
