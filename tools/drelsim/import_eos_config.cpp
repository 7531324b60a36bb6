// SPDX-License-Identifier: Apache-2.0
// EOS-style running-config text: "vlan" sections, "interface Port-ChannelN" with "mlag N",
// "interface Vxlan1" with "vxlan vlan X vni Y", "mlag configuration", closed by "end".
#include <sstream>

#include "import.h"

namespace drelsim {
namespace {

struct Reader {
    SwitchImport &sw;
    std::string section;   // the top-level line the current section opened
    size_t sub_indent = 0; // indent of the section's own commands
    MlagPort port;         // the port-channel being read
    bool in_port = false, port_is_mlag = false, trunk = false, access_set = false;
    VlanSet trunk_allowed, access;           // as written
    bool trunk_list = false;                 // a "switchport trunk allowed vlan" list was given
    std::map<std::string, std::string> addr; // interface -> its IP address
    std::string vtep_source, mlag_local;     // interfaces named by vxlan and mlag sections

    void end_port() {
        if (in_port && port_is_mlag) {
            port.every_vlan = trunk && !trunk_list;
            port.allowed = trunk ? trunk_allowed : access_set ? access : VlanSet().set(1);
            sw.ports.push_back(port);
        }
        in_port = false;
    }

    void open(const std::string &line, int n) {
        end_port();
        section = line;
        sub_indent = 0;
        auto w = words(line);
        if (w.size() == 2 && w[0] == "hostname") sw.hostname = w[1];
        if (w.size() == 2 && w[0] == "vlan" &&
            w[1].find_first_not_of("0123456789,-") == w[1].npos) {
            VlanSet set = vlans_at(w[1], sw.file, n);
            for (uint32_t v = 1; v < 4096; ++v)
                if (set.test(v)) sw.vlans.emplace(v, n);
        }
        if (w.size() == 2 && w[0] == "interface" && w[1].rfind("Port-Channel", 0) == 0 &&
            w[1].find('.') == w[1].npos) {
            in_port = true, port_is_mlag = false, trunk = false, access_set = false;
            trunk_list = false, trunk_allowed.reset(), access.reset();
            port = MlagPort{};
            port.name = w[1];
            port.line = n;
        }
    }

    void trunk_vlans(const std::vector<std::string> &w, int n) {
        // switchport trunk allowed vlan [add|remove|except] LIST | all | none
        const std::string op = w.size() > 5 ? w[4] : "";
        const std::string list = w.back();
        VlanSet set = list == "all"    ? VlanSet().set().reset(0)
                      : list == "none" ? VlanSet()
                                       : vlans_at(list, sw.file, n);
        if (list == "all" && op.empty()) return void(trunk_list = false);
        trunk_list = true;
        if (op == "add")
            trunk_allowed |= set;
        else if (op == "remove")
            trunk_allowed &= ~set;
        else if (op == "except")
            trunk_allowed = ~set, trunk_allowed.reset(0);
        else
            trunk_allowed = set;
    }

    void port_command(const std::vector<std::string> &w, int n) {
        if (w.size() == 2 && w[0] == "mlag")
            port.id = number_at(w[1], 1, 0xFFFF, sw.file, n, "an MLAG id 1..65535"),
            port_is_mlag = true;
        else if (w.size() == 1 && w[0] == "shutdown")
            port.admin_up = false;
        else if (w.size() == 2 && w[0] == "no" && w[1] == "shutdown")
            port.admin_up = true;
        else if (w.size() >= 3 && w[0] == "switchport" && w[1] == "mode")
            trunk = w[2] == "trunk";
        else if (w.size() == 4 && w[0] == "switchport" && w[1] == "access" && w[2] == "vlan")
            access = vlans_at(w[3], sw.file, n), access_set = true;
        else if (w.size() >= 5 && w[0] == "switchport" && w[1] == "trunk" && w[2] == "allowed" &&
                 w[3] == "vlan")
            trunk_vlans(w, n);
    }

    void vxlan_command(const std::vector<std::string> &w, int n) {
        if (w.size() == 5 && w[0] == "vxlan" && w[1] == "vlan" && w[3] == "vni") {
            auto vlans = numbers_at(w[2], 1, 4094, sw.file, n, "VLANs 1..4094");
            auto vnis = numbers_at(w[4], 1, 0xFFFFFF, sw.file, n, "VNIs 1..16777215");
            if (vlans.size() != vnis.size())
                refuse(sw.file, n,
                       "expected as many VNIs as VLANs (got " + std::to_string(vlans.size()) +
                           " VLANs and " + std::to_string(vnis.size()) + " VNIs)");
            for (size_t i = 0; i < vlans.size(); ++i) {
                sw.vnis[vlans[i]] = vnis[i];
                sw.vni_lines[vlans[i]] = n;
            }
        } else if (w.size() == 5 && w[0] == "vxlan" && w[1] == "vrf" && w[3] == "vni") {
            sw.warn(n, "VRF " + w[2] + " has layer-3 VNI " + w[4] +
                           " with no VLAN: not a member VNI, not checked");
        } else if (w.size() == 3 && w[0] == "vxlan" && w[1] == "source-interface") {
            vtep_source = w[2];
        }
    }

    void mlag_command(const std::vector<std::string> &w) {
        if (w.size() != 2) return;
        if (w[0] == "domain-id") sw.domain_id = w[1];
        if (w[0] == "peer-address") sw.peer_address = w[1];
        if (w[0] == "local-interface") mlag_local = w[1];
        if (w[0] == "peer-link") sw.peer_link = w[1];
    }

    void command(const std::string &line, int n) {
        const size_t indent = line.find_first_not_of(' ');
        if (sub_indent == 0) sub_indent = indent;
        if (indent != sub_indent) return; // a nested block's commands are not ours
        const auto w = words(line);
        const auto head = words(section);
        if (in_port)
            port_command(w, n);
        else if (head.size() == 2 && head[0] == "interface" && head[1].rfind("Vxlan", 0) == 0)
            vxlan_command(w, n);
        else if (section == "mlag configuration")
            mlag_command(w);
        if (head.size() == 2 && head[0] == "interface" && w.size() == 3 && w[0] == "ip" &&
            w[1] == "address")
            addr[head[1]] = w[2].substr(0, w[2].find('/'));
    }
};

} // namespace

SwitchImport import_eos_config(const std::string &text, const std::string &file) {
    SwitchImport sw;
    sw.file = file;
    sw.format = "eos-config";
    sw.vlans.emplace(1, 0); // VLAN 1 exists without being configured
    Reader r{sw, {}, 0, {}, false, false, false, false, {}, {}, false, {}, {}, {}};
    std::istringstream in(text);
    int n = 0;
    bool ended = false;
    for (std::string line; std::getline(in, line);) {
        ++n;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.find_first_not_of(' ') == line.npos) continue;
        if (line == "end") {
            ended = true;
            break;
        }
        if (line[0] == '!') {
            r.open("", n);
            continue;
        }
        if (line[0] != ' ')
            r.open(line, n);
        else
            r.command(line, n);
    }
    r.end_port();
    if (!ended)
        refuse(file, n,
               "the configuration stops without its closing \"end\" line: expected a "
               "complete running-config (is it truncated?)");
    sw.local_address = r.addr[r.mlag_local];
    sw.anycast_ip = r.addr[r.vtep_source];
    finish_import(sw);
    return sw;
}

} // namespace drelsim
