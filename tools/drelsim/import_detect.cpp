// SPDX-License-Identifier: Apache-2.0
// Which format a configuration file is in, judged from its content alone.
#include <initializer_list>
#include <sstream>

#include "import.h"

namespace drelsim {
namespace {

// Whether a line of `text` starts with one of `starts`.
bool has_line(const std::string &text, std::initializer_list<const char *> starts) {
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        for (const char *s : starts)
            if (line.rfind(s, 0) == 0) return true;
    return false;
}

std::string first_word(const std::string &text) {
    const size_t a = text.find_first_not_of(" \t\r\n");
    return a == text.npos ? "" : text.substr(a, 1);
}

} // namespace

SwitchImport import_switch(const std::string &path) {
    const std::string text = read_input(path);
    check_text(text, path);
    if (first_word(text) == "{") return import_sonic(text, path);
    check_complete(text, path);
    if (has_line(text, {"- set:", "- header:", "set:"})) return import_nvue(text, path);
    if (has_line(text, {"vxlan_interface:", "port_channel_interfaces:", "mlag_configuration:"}))
        return import_eos_yaml(text, path);
    if (has_line(text, {"iface "})) return import_ifupdown2(text, path);
    if (has_line(text, {"interface "}) && has_line(text, {"!", "end"}))
        return import_eos_config(text, path);
    throw ImportError(
        path + ":1: unknown format: expected one of an EOS-style running-config (\"interface\" "
               "sections and \"!\" lines), its structured YAML (vxlan_interface, "
               "port_channel_interfaces, mlag_configuration), an ifupdown2 interfaces file "
               "(\"iface\" stanzas), an NVUE startup.yaml (\"- set:\"), a SONiC config_db.json "
               "(a JSON object with VXLAN_TUNNEL_MAP, VLAN_MEMBER, PORTCHANNEL, MCLAG_DOMAIN)");
}

} // namespace drelsim
