/* SPDX-License-Identifier: Apache-2.0 */
// Switch configurations read from their own formats, and a pair of them turned into a scenario.
// The rules are written once in docs/import.md; each format's reader states which it follows.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "input.h"
#include "model.h"

namespace drelsim {

// Something of the configuration that the scenario cannot carry, or carries changed.
struct ImportWarning {
    std::string file; // the configuration file, empty for the pair as a whole
    int line = 0;     // where it is written, 0 when nowhere
    std::string text;
};

// A port-channel or bond that belongs to the MLAG pair (it has an MLAG or clag id).
struct MlagPort {
    std::string name;     // as the file names it: "Port-Channel5", "bond1"
    uint32_t id = 0;      // MLAG/clag id (SONiC: the number in the name); pairs it with the peer's
    int line = 0;         // where the port is configured
    bool admin_up = true; // not shut down
    bool every_vlan = false; // a trunk without an allowed list: it carries every VLAN defined
    VlanSet allowed;         // the VLANs it carries (trunk list, or the access VLAN)
};

// One switch's configuration as far as the pair checks need it. Besides the VLAN side it keeps
// what pairs switches into MLAG domains (domain id, addresses, anycast/backup IP, system MAC).
struct SwitchImport {
    std::string file;     // the file it was read from
    std::string format;   // one of the format names of import_formats()
    std::string hostname; // empty when the file does not say
    std::string domain_id, local_address, peer_address, anycast_ip, backup_ip, system_mac;
    std::string peer_link;              // the inter-switch link's name, when given
    std::vector<std::string> addresses; // its own addresses (loopback, tunnel source), for
                                        // pairing by the partner's backup IP
    std::map<uint32_t, int> vlans;      // VLANs the switch defines -> line
    std::map<uint32_t, uint32_t> vnis;  // VLAN -> VNI (layer-2 VNIs)
    std::map<uint32_t, int> vni_lines;  // VLAN -> line of its VNI mapping
    std::vector<MlagPort> ports;        // ascending id
    std::vector<ImportWarning> warnings;

    void warn(int line, const std::string &text) { warnings.push_back({file, line, text}); }
};

// A configuration that cannot be imported: the message starts with "file:line: ".
using ImportError = InputError;

// The formats `drelsim check` reads, by name: "eos-config", "eos-yaml", "ifupdown2", "nvue",
// "sonic".
const std::vector<std::string> &import_formats();

// Reads `path`, recognises its format and imports it; throws ImportError.
SwitchImport import_switch(const std::string &path);

// The readers of each format: `text` is the file's content, checked by check_text. Each throws
// ImportError naming `file` and the line.
SwitchImport import_eos_config(const std::string &text, const std::string &file);
SwitchImport import_eos_yaml(const std::string &text, const std::string &file);
SwitchImport import_ifupdown2(const std::string &text, const std::string &file);
SwitchImport import_nvue(const std::string &text, const std::string &file);
SwitchImport import_sonic(const std::string &text, const std::string &file);

// The checks every reader ends with (VLANs without a VNI, references to VLANs not defined, ...),
// adding their warnings; sorts the ports and refuses an MLAG id given twice.
void finish_import(SwitchImport &sw);

// The two switches as a scenario (A = `a`), with the warnings of both and of the pair in
// `warnings`. Refuses two MLAG domains and the same switch twice with ImportError.
Scenario pair_scenario(const SwitchImport &a, const SwitchImport &b,
                       std::vector<ImportWarning> &warnings);

// "10-20,30" for the VLANs of `set` (the model's range text), "(none)" when empty.
std::string vlan_list(const VlanSet &set);

} // namespace drelsim

namespace drelsim {

// Helpers of the readers. Each complaint is "file:line: what".
[[noreturn]] void refuse(const std::string &file, int line, const std::string &what);
// The blank-separated words of `line`.
std::vector<std::string> words(const std::string &line);
// `word` as a number lo..hi; else refused as "expected <what> (got "word")".
uint32_t number_at(const std::string &word, uint64_t lo, uint64_t hi, const std::string &file,
                   int line, const std::string &what);
// A VLAN range list such as "10-20,30"; else refused.
VlanSet vlans_at(const std::string &word, const std::string &file, int line);
// A list of numbers lo..hi with ranges ("10010-10012,10020"), in the order written; at most 4094
// entries; else refused.
std::vector<uint32_t> numbers_at(const std::string &word, uint32_t lo, uint32_t hi,
                                 const std::string &file, int line, const std::string &what);

} // namespace drelsim
