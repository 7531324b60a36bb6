// SPDX-License-Identifier: Apache-2.0
// Small parsing helpers the configuration readers share; every refusal names file and line.
#include <sstream>

#include "import.h"

namespace drelsim {

void refuse(const std::string &file, int line, const std::string &what) {
    throw ImportError(file + ":" + std::to_string(line) + ": " + what);
}

std::vector<std::string> words(const std::string &line) {
    std::istringstream in(line);
    std::vector<std::string> out;
    for (std::string w; in >> w;)
        out.push_back(w);
    return out;
}

uint32_t number_at(const std::string &word, uint64_t lo, uint64_t hi, const std::string &file,
                   int line, const std::string &what) {
    uint64_t v = 0;
    bool ok = !word.empty() && word.size() <= 10;
    for (char c : word)
        ok = ok && c >= '0' && c <= '9' && ((v = v * 10 + static_cast<uint64_t>(c - '0')), true);
    if (!ok || v < lo || v > hi)
        refuse(file, line, "expected " + what + " (got " + echo(word) + ")");
    return static_cast<uint32_t>(v);
}

VlanSet vlans_at(const std::string &word, const std::string &file, int line) {
    VlanSet set;
    if (!parse_vlan_ranges(word, set))
        refuse(file, line,
               "expected a VLAN list such as \"10-20,30\" with VLANs 1..4095 (got " + echo(word) +
                   ")");
    return set;
}

std::vector<uint32_t> numbers_at(const std::string &word, uint32_t lo, uint32_t hi,
                                 const std::string &file, int line, const std::string &what) {
    std::vector<uint32_t> out;
    std::stringstream ss(word);
    const std::string expect = "a list of " + what + " such as \"10-12,20\" of at most 4094";
    for (std::string item; std::getline(ss, item, ',');) {
        const size_t dash = item.find('-');
        const uint32_t a = number_at(item.substr(0, dash), lo, hi, file, line, what);
        const uint32_t b =
            dash == item.npos ? a : number_at(item.substr(dash + 1), lo, hi, file, line, what);
        if (b < a || out.size() + (b - a) >= 4094)
            refuse(file, line, "expected " + expect + " (got " + echo(word) + ")");
        for (uint64_t v = a; v <= b; ++v)
            out.push_back(static_cast<uint32_t>(v));
    }
    if (out.empty()) refuse(file, line, "expected " + expect + " (got " + echo(word) + ")");
    return out;
}

} // namespace drelsim
