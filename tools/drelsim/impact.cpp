// SPDX-License-Identifier: Apache-2.0
// What the peer manager would suspend on each switch: the service instances and interfaces that
// carry a failed VNI, or the whole scope when the checks name no VNI; and the hazards of a pair
// that make the checks judge the wrong things.
#include <map>
#include <optional>
#include <set>

#include <zorv_drel.h>

#include "compare.h"

namespace drelsim {
namespace {

std::vector<uint32_t> vlans_of(const VlanMap &m, const std::set<uint32_t> *vnis) {
    std::vector<uint32_t> out;
    for (auto &[vlan, vni] : m)
        if (!vnis || vnis->count(vni)) out.push_back(vlan);
    return out;
}

std::string iface_label(const Interface &i) {
    return i.name.empty() ? hex32(i.ifindex) : i.name;
}

// The instances of `interfaces` that map a VNI of `vnis` (all of them when `vnis` is null).
std::vector<ChargedInstance> instances(const std::vector<const Interface *> &interfaces,
                                       const std::set<uint32_t> *vnis) {
    std::vector<ChargedInstance> out;
    for (const Interface *i : interfaces)
        for (auto &v : i->vsis) {
            auto vlans = vlans_of(v.vlan_to_vni, vnis);
            if (vnis && vlans.empty()) continue;
            out.push_back({iface_label(*i), i->ifindex, v.id, vlans});
        }
    return out;
}

// Why the whole scope is charged, in words; empty when the checks name VNIs.
std::string whole_scope_words(const PeerView &v, int side, const std::string &scope, bool global) {
    const std::string me(1, side_name(side)), other(1, side_name(1 - side));
    const std::string whole = global ? ": the whole global configuration is inconsistent"
                                     : ": the whole interface is inconsistent";
    if (v.status == "missing") return other + " sent no parameters for " + scope + whole;
    if (v.status == "refused")
        return other + "'s parameters for " + scope + " were refused" + whole;
    if (v.status == "no-interface") return me + " has no interface for " + scope + whole;
    if (v.pass || !v.r || !v.failed.empty()) return "";
    for (const CheckResult *c : {&v.r->graceful, &v.r->strict, &v.r->recheck})
        if (c->run && c->code == ZORV_DREL_ERR_INVALID_ARG)
            return "the checks refused the parameter lists of " + scope + " (" +
                   std::to_string(v.r->local_tlvs) + " on " + me + ", " +
                   std::to_string(v.r->peer_tlvs) + " from " + other + ")" + whole;
    for (const CheckResult *c : {&v.r->graceful, &v.r->strict, &v.r->recheck})
        if (c->run && c->code == ZORV_DREL_ERR_PARAM_MISSING)
            return "a parameter of " + scope + " exists on one side only" + whole;
    return "the checks fail " + scope + " without naming a VNI (" + v.why + ")" + whole;
}

std::string row_key(const Row &r) {
    if (r.type == ZORV_TYPE1_GBL_MEMBER_VNI) return "VNI " + std::to_string(r.vni);
    if (r.type == ZORV_TYPE1_INTF_VSI_ATTRIBUTES)
        return "service instance " + std::to_string(r.vsi);
    return "profile " + r.profile;
}

// The first entry that both switches have but at different positions, said in words.
std::optional<std::string> shifted(const ScopeResult &r) {
    std::map<std::string, size_t> peer_at;
    for (size_t j = 0; j < r.peer_rows.size(); ++j)
        peer_at.emplace(row_key(r.peer_rows[j]), j);
    for (size_t i = 0; i < r.local_rows.size(); ++i) {
        const std::string k = row_key(r.local_rows[i]);
        auto it = peer_at.find(k);
        if (it == peer_at.end() || it->second == i) continue;
        return "entries out of position from " + k + " on (entry " + std::to_string(i + 1) +
               " on A, " + std::to_string(it->second + 1) +
               " on B): the checks pair the i-th entries, so later entries meet the wrong partner";
    }
    return std::nullopt;
}

} // namespace

void fill_impact(ScopeView &sv, const SidesConfig &sw) {
    for (int side = 0; side < 2; ++side) {
        PeerView &v = sv.peer[side];
        const SwitchConfig &me = *sw[side];
        std::vector<const Interface *> ifs;
        if (sv.peer_link == 0)
            for (auto &i : me.interfaces)
                ifs.push_back(&i);
        else if (const Interface *i = find_interface_by_link(me, sv.peer_link))
            ifs.push_back(i);
        std::set<uint32_t> vnis;
        if (v.r)
            for (auto &f : v.r->failed) {
                vnis.insert(f.vni);
                FailedVniView fv{f.vni, f.bd, {}};
                std::set<uint32_t> vlans;
                for (const Interface *i : ifs)
                    for (auto &si : i->vsis)
                        for (auto &[vlan, vni] : si.vlan_to_vni)
                            if (vni == f.vni) vlans.insert(vlan);
                if (sv.peer_link == 0)
                    for (auto &p : me.profiles)
                        for (auto &[vlan, vni] : p.vlan_to_vni)
                            if (vni == f.vni) vlans.insert(vlan);
                fv.vlans.assign(vlans.begin(), vlans.end());
                v.failed.push_back(fv);
            }
        v.whole_scope = whole_scope_words(v, side, sv.name, sv.peer_link == 0);
        if (!v.whole_scope.empty())
            v.charged = instances(ifs, nullptr);
        else if (!vnis.empty())
            v.charged = instances(ifs, &vnis);
    }
}

std::vector<std::string> round_hazards(const RoundView &rv, const SidesConfig &sw) {
    std::vector<std::string> out;
    if (sw[0]->peer_link_version != sw[1]->peer_link_version)
        out.push_back("peer-link versions differ (A " + std::to_string(sw[0]->peer_link_version) +
                      ", B " + std::to_string(sw[1]->peer_link_version) +
                      "): profile names and allowed VLANs are compared only at 40 and later, so "
                      "the two switches judge different things");
    for (auto &sv : rv.scopes) {
        const ScopeResult *r = sv.peer[0].r;
        if (!r || !r->refused.empty()) continue;
        if (r->local_tlvs != r->peer_tlvs && r->local_tlvs > 0 && r->peer_tlvs > 0) {
            out.push_back(sv.name + ": parameter lists of different lengths (A " +
                          std::to_string(r->local_tlvs) + ", B " + std::to_string(r->peer_tlvs) +
                          "): the checks pair entries by position and refuse the lists");
            continue;
        }
        if (auto at = shifted(*r)) out.push_back(sv.name + ": " + *at);
    }
    return out;
}

} // namespace drelsim
