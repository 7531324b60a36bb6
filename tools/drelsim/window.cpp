// SPDX-License-Identifier: Apache-2.0
#include "window.h"

#include <map>

#include "report.h"

namespace drelsim {
namespace {

constexpr size_t kListed = 10; // items of a list the text names before "(and N more)"

template <typename List, typename Text>
std::string listed(const List &items, Text text, const char *sep = ", ") {
    std::string out;
    size_t n = 0;
    for (auto &item : items) {
        if (n == kListed) return out + " (and " + std::to_string(items.size() - n) + " more)";
        out += (n++ ? sep : "") + text(item);
    }
    return out;
}

} // namespace

size_t Suspension::weight() const {
    size_t w = 0;
    for (auto &c : instances)
        w += c.vlans.size();
    return w + (instances.empty() ? vnis.size() : 0) + whole_scopes.size();
}

StateSuspension suspension_of(const RoundView &rv) {
    StateSuspension s;
    s.pass = rv.pass;
    for (int side = 0; side < 2; ++side) {
        Suspension &out = s.side[side];
        std::map<std::pair<uint32_t, uint32_t>, ChargedInstance> by_instance;
        for (auto &sv : rv.scopes) {
            const PeerView &v = sv.peer[side];
            for (auto &f : v.failed)
                out.vnis.insert(f.vni);
            if (!v.whole_scope.empty()) out.whole_scopes.push_back(v.whole_scope);
            for (auto &c : v.charged) {
                auto [it, fresh] = by_instance.try_emplace({c.ifindex, c.vsi}, c);
                if (!fresh)
                    it->second.vlans.insert(it->second.vlans.end(), c.vlans.begin(), c.vlans.end());
            }
        }
        for (auto &[key, c] : by_instance) {
            VlanSet vlans;
            for (uint32_t v : c.vlans)
                if (v < 4096) vlans.set(v);
            c.vlans.clear();
            for (uint32_t v = 0; v < 4096; ++v)
                if (vlans.test(v)) c.vlans.push_back(v);
            out.vlans |= vlans;
            out.interfaces.insert(c.interface);
            out.instances.push_back(c);
        }
    }
    return s;
}

void suspension_text(std::ostream &os, const StateSuspension &s, const std::string &indent) {
    for (int side = 0; side < 2; ++side) {
        const Suspension &x = s.side[side];
        os << indent << side_name(side) << " would suspend ";
        if (x.empty()) {
            os << "nothing\n";
            continue;
        }
        std::vector<std::string> parts;
        if (!x.vnis.empty())
            parts.push_back((x.vnis.size() > 1 ? "VNIs " : "VNI ") +
                            listed(x.vnis, [](uint32_t v) { return std::to_string(v); }));
        if (x.vlans.any())
            parts.push_back((x.vlans.count() > 1 ? "VLANs " : "VLAN ") + vlan_ranges(x.vlans));
        if (!x.instances.empty())
            parts.push_back("service instances " +
                            listed(x.instances, [](const ChargedInstance &c) {
                                return c.interface + " " + std::to_string(c.vsi) + " (" +
                                       vlan_words(c.vlans) + ")";
                            }));
        if (!x.interfaces.empty())
            parts.push_back((x.interfaces.size() > 1 ? "interfaces " : "interface ") +
                            listed(x.interfaces, [](const std::string &i) { return i; }));
        std::string line;
        for (auto &p : parts)
            line += (line.empty() ? "" : "; ") + p;
        os << (line.empty() ? "no service instance" : line) << "\n";
        for (auto &w : x.whole_scopes)
            os << indent << "  whole scope: " << w << "\n";
    }
}

void suspension_json(Json &j, const StateSuspension &s) {
    j.obj();
    for (int side = 0; side < 2; ++side) {
        const Suspension &x = s.side[side];
        j.key(std::string(1, side_name(side))).obj().key("vnis").arr();
        for (uint32_t v : x.vnis)
            j.num(v);
        j.end().key("vlans").str(vlan_ranges(x.vlans)).key("service_instances").arr();
        for (auto &c : x.instances) {
            j.obj().key("interface").str(c.interface).key("ifindex").num(c.ifindex);
            j.key("service_instance").num(c.vsi).key("vlans").arr();
            for (uint32_t v : c.vlans)
                j.num(v);
            j.end().end();
        }
        j.end().key("interfaces").arr();
        for (auto &i : x.interfaces)
            j.str(i);
        j.end().key("whole_scopes").arr();
        for (auto &w : x.whole_scopes)
            j.str(w);
        j.end().key("weight").num(static_cast<int64_t>(x.weight())).end();
    }
    j.end();
}

} // namespace drelsim
