// SPDX-License-Identifier: Apache-2.0
#include "compare.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <tuple>

#include <zorv_drel.h>

namespace drelsim {
namespace {

using SortKey = std::tuple<int, uint32_t, std::string>;

SortKey sort_key(const Row &r) {
    if (r.type == ZORV_TYPE1_GBL_MEMBER_VNI) return {1, r.vni, ""};
    if (r.type == ZORV_TYPE1_INTF_VSI_ATTRIBUTES) return {2, r.vsi, ""};
    return {0, 0, r.profile};
}

std::string key_text(const Row &r) {
    if (r.type == ZORV_TYPE1_GBL_MEMBER_VNI) return "vni " + std::to_string(r.vni);
    if (r.type == ZORV_TYPE1_INTF_VSI_ATTRIBUTES)
        return "service instance " + std::to_string(r.vsi);
    return "profile " + r.profile;
}

std::string quoted(const std::string &s) {
    return "\"" + s + "\"";
}

std::string join(const std::vector<std::string> &parts, const char *sep) {
    std::string out;
    for (auto &p : parts)
        out += (out.empty() ? "" : sep) + p;
    return out;
}

std::string mode_label(uint32_t m) {
    std::string n = mode_name(m);
    return m == kModeStatic ? n : (std::transform(n.begin(), n.end(), n.begin(), ::toupper), n);
}

// "VLAN 10 maps to VNI 5010 here and 5011 on the peer", and the one-sided forms.
std::vector<std::string> map_differences(const VlanMap &l, const VlanMap &p) {
    std::vector<std::string> out;
    std::set<uint32_t> vlans;
    for (auto &[v, n] : l)
        vlans.insert(v);
    for (auto &[v, n] : p)
        vlans.insert(v);
    for (uint32_t v : vlans) {
        auto a = l.find(v), b = p.find(v);
        std::string vl = "VLAN " + std::to_string(v);
        if (a != l.end() && b != p.end() && a->second != b->second)
            out.push_back(vl + " maps to VNI " + std::to_string(a->second) + " here and " +
                          std::to_string(b->second) + " on the peer");
        else if (b == p.end())
            out.push_back(vl + " maps to VNI " + std::to_string(a->second) +
                          " here and is not mapped on the peer");
        else if (a == l.end())
            out.push_back(vl + " is not mapped here and maps to VNI " + std::to_string(b->second) +
                          " on the peer");
    }
    if (out.size() > 2) {
        size_t more = out.size() - 2;
        out.resize(2);
        out.back() += " (and " + std::to_string(more) + " more VLANs)";
    }
    return out;
}

struct Context {
    const Scenario &s;
    bool profile_judged() const {
        return s.sw[0].peer_link_version > 39 || s.sw[1].peer_link_version > 39;
    }
};

void explain_member(const Context &c, const Row &l, const Row &p, ParamLine &line) {
    if (l.bd == p.bd) return;
    line.differs = true;
    line.reason = "VNI " + std::to_string(l.vni) + " is in bridge domain " + std::to_string(l.bd) +
                  " here and " + std::to_string(p.bd) + " on the peer";
    bool fabric_a = c.s.sw[0].fabric_bds.count(l.bd), fabric_b = c.s.sw[1].fabric_bds.count(p.bd);
    line.tolerated = fabric_a && fabric_b;
    if (line.tolerated)
        line.reason += "; both are fabric BDs, so the bridge domains are not compared";
    else if (fabric_a || fabric_b)
        line.reason += "; only " +
                       std::string(fabric_a ? "BD " + std::to_string(l.bd) + " here"
                                            : "BD " + std::to_string(p.bd) + " on the peer") +
                       " is a fabric BD";
}

void explain_vsi(const Context &c, const Row &l, const Row &p, ParamLine &line) {
    const std::string si = "service instance " + std::to_string(l.vsi);
    std::vector<std::string> hard, soft;
    if (l.admin_up != p.admin_up)
        hard.push_back(si + (p.admin_up ? " is admin down here and up on the peer"
                                        : " is admin down on the peer"));
    if (l.mode != p.mode)
        hard.push_back(si + " uses mapping mode " + mode_label(l.mode) + " here and " +
                       mode_label(p.mode) + " on the peer");
    for (auto &d : map_differences(l.pairs, p.pairs))
        hard.push_back(d);
    if (l.allowed != p.allowed) {
        std::string d = si + " allows VLANs " + (l.allowed.empty() ? "(none)" : l.allowed) +
                        " here and " + (p.allowed.empty() ? "(none)" : p.allowed) + " on the peer";
        bool judged = l.mode == kModeVdp && p.mode == kModeVdp && c.profile_judged();
        (judged ? hard : soft)
            .push_back(
                judged ? d : d + " (compared only in VDP mode at peer-link version 40 and later)");
    }
    if (l.profile != p.profile) {
        std::string d = si + " uses encap profile " + quoted(l.profile) + " here and " +
                        quoted(p.profile) + " on the peer";
        (c.profile_judged() ? hard : soft)
            .push_back(
                c.profile_judged() ? d : d + " (not compared at peer-link version 39 and earlier)");
    }
    line.differs = !hard.empty() || !soft.empty();
    line.tolerated = hard.empty() && !soft.empty();
    hard.insert(hard.end(), soft.begin(), soft.end());
    line.reason = join(hard, "; ");
}

void explain_profile(const Row &l, const Row &p, ParamLine &line) {
    const std::string prof = "encap profile " + quoted(l.profile);
    if (l.has_map != p.has_map) {
        line.differs = true;
        line.reason = prof + (l.has_map ? " has a dot1q map here and none on the peer"
                                        : " has no dot1q map here and one on the peer");
        return;
    }
    auto diffs = map_differences(l.pairs, p.pairs);
    if (diffs.empty()) return;
    line.differs = line.tolerated = true;
    line.reason = "in " + prof + ", " + join(diffs, "; ") +
                  " (profile maps are exchanged but not judged by the checks)";
}

void explain_one_sided(const Row &r, bool here, ParamLine &line) {
    line.differs = true;
    const std::string where = here ? " here but not on the peer" : " on the peer but not here";
    if (r.type == ZORV_TYPE1_GBL_MEMBER_VNI)
        line.reason = "VNI " + std::to_string(r.vni) + " is a member VNI (bridge domain " +
                      std::to_string(r.bd) + ")" + where;
    else if (r.type == ZORV_TYPE1_INTF_VSI_ATTRIBUTES)
        line.reason = "service instance " + std::to_string(r.vsi) +
                      (here ? " is missing on the peer" : " exists only on the peer");
    else
        line.reason = "encap profile " + quoted(r.profile) + " is configured" + where;
}

ParamLine make_line(const Context &c, const Row *l, const Row *p) {
    const Row &any = l ? *l : *p;
    ParamLine line;
    line.type = any.type;
    line.param = any.param;
    line.key = key_text(any);
    if (l) line.local = l->value;
    if (p) line.peer = p->value;
    if (!l || !p)
        explain_one_sided(any, l != nullptr, line);
    else if (any.type == ZORV_TYPE1_GBL_MEMBER_VNI)
        explain_member(c, *l, *p, line);
    else if (any.type == ZORV_TYPE1_INTF_VSI_ATTRIBUTES)
        explain_vsi(c, *l, *p, line);
    else
        explain_profile(*l, *p, line);
    return line;
}

std::vector<ParamLine> param_lines(const Context &c, const ScopeResult &a) {
    std::map<SortKey, std::pair<const Row *, const Row *>> rows;
    std::vector<ParamLine> out;
    if (!a.refused.empty()) { // nothing trustworthy came from the peer
        for (auto &r : a.local_rows) {
            ParamLine line;
            line.type = r.type, line.param = r.param, line.key = key_text(r), line.local = r.value;
            out.push_back(line);
        }
        return out;
    }
    for (auto &r : a.local_rows)
        rows[sort_key(r)].first = &r;
    for (auto &r : a.peer_rows)
        rows[sort_key(r)].second = &r;
    for (auto &[k, lp] : rows)
        out.push_back(make_line(c, lp.first, lp.second));
    return out;
}

std::string why_code(const ScopeResult &r, uint32_t code) {
    switch (code) {
    case ZORV_DREL_ERR_INVALID_ARG:
        if (r.local_tlvs != r.peer_tlvs)
            return "the checks pair parameters by position and refuse lists of different lengths "
                   "(" +
                   std::to_string(r.local_tlvs) + " here, " + std::to_string(r.peer_tlvs) +
                   " on the peer)";
        return "the check refused its arguments";
    case ZORV_DREL_ERR_PARAM_MISSING: return "a parameter exists on one side only";
    case ZORV_DREL_ERR_FAILURE:
        return "paired parameters differ in type, or a local entry is missing";
    case ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI: return "member VNI bindings differ";
    case ZORV_DREL_ERR_COMPAT_INTF_VSI: return "service instance attributes differ";
    default: return "";
    }
}

// When both peers pass the scope, the checks let every difference in it through.
void tolerate_all(std::vector<ParamLine> &lines) {
    for (auto &l : lines)
        if (l.differs && !l.tolerated) {
            l.tolerated = true;
            l.reason += " (the checks of this scope do not charge it)";
        }
}

PeerView peer_view(const ScopeResult *r) {
    PeerView v;
    v.r = r;
    if (!r) return v.status = "missing", v.pass = false, v;
    if (!r->refused.empty())
        return v.status = "refused", v.pass = false, v.why = "the peer's frame was refused", v;
    if (!r->local_scope)
        return v.status = "no-interface", v.pass = false,
               v.why = "the peer link has no interface here", v;
    if (!r->graceful.run) return v.status = "skipped", v;
    v.status = "checked";
    for (const CheckResult *c : {&r->graceful, &r->strict, &r->recheck})
        if (c->run && c->code != 0) {
            v.pass = false;
            if (v.why.empty()) v.why = why_code(*r, c->code);
        }
    if (!r->failed.empty()) {
        v.pass = false;
        if (v.why.empty())
            v.why =
                "VNIs were charged although the last parameter passed (a check returns the code "
                "of the last parameter; the failed set gathers all of them)";
    }
    return v;
}

// The scopes of a peer's round by peer-link id.
std::map<uint32_t, const ScopeResult *> scopes_by_link(const RoundResult &r) {
    std::map<uint32_t, const ScopeResult *> by;
    for (auto &s : r.scopes)
        by.emplace(s.peer_link, &s);
    return by;
}

const ScopeResult *find_scope(const std::map<uint32_t, const ScopeResult *> &by, uint32_t link) {
    auto it = by.find(link);
    return it == by.end() ? nullptr : it->second;
}

std::string scope_title(const Scenario &s, uint32_t link) {
    if (link == 0) return "global";
    std::string t = "peer link " + std::to_string(link) + ":";
    for (int side = 0; side < 2; ++side) {
        const Interface *i = find_interface_by_link(s.sw[side], link);
        t +=
            std::string(side ? "," : "") + " " + side_name(side) + " " +
            (i ? (i->name.empty() ? "" : i->name + " ") + "(" + hex32(i->ifindex) + ")" : "(none)");
    }
    return t;
}

std::string scope_name(const Scenario &s, uint32_t link) {
    if (link == 0) return "global";
    const Interface *i = find_interface_by_link(s.sw[0], link);
    if (!i || i->name.empty()) i = find_interface_by_link(s.sw[1], link);
    return "peer link " + std::to_string(link) +
           (i && !i->name.empty() ? " (" + i->name + ")" : "");
}

} // namespace

std::string hex32(uint32_t v) {
    char b[16];
    snprintf(b, sizeof b, "0x%x", v);
    return b;
}

std::string code_name(uint32_t code) {
    switch (code) {
    case ZORV_DREL_OK: return "ZORV_DREL_OK";
    case ZORV_DREL_ERR_FAILURE: return "ZORV_DREL_ERR_FAILURE";
    case ZORV_DREL_ERR_NO_MEMORY: return "ZORV_DREL_ERR_NO_MEMORY";
    case ZORV_DREL_ERR_INVALID_ARG: return "ZORV_DREL_ERR_INVALID_ARG";
    case ZORV_DREL_ERR_PARAM_MISSING: return "ZORV_DREL_ERR_PARAM_MISSING";
    case ZORV_DREL_ERR_COMPAT_GBL_ENCAP_PROFILE: return "ZORV_DREL_ERR_COMPAT_GBL_ENCAP_PROFILE";
    case ZORV_DREL_ERR_COMPAT_GBL_ENCAP_DOT1Q_MAP:
        return "ZORV_DREL_ERR_COMPAT_GBL_ENCAP_DOT1Q_MAP";
    case ZORV_DREL_ERR_COMPAT_INTF_VSI: return "ZORV_DREL_ERR_COMPAT_INTF_VSI";
    case ZORV_DREL_ERR_COMPAT_INTF_VSI_ENCAP_PROF:
        return "ZORV_DREL_ERR_COMPAT_INTF_VSI_ENCAP_PROF";
    case ZORV_DREL_ERR_COMPAT_INTF_VSI_ENCAP_DOT1Q_MAP:
        return "ZORV_DREL_ERR_COMPAT_INTF_VSI_ENCAP_DOT1Q_MAP";
    case ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI: return "ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI";
    case ZORV_DREL_ERR_DRELM_NO_RECORD: return "ZORV_DREL_ERR_DRELM_NO_RECORD";
    default: return hex32(code);
    }
}

std::vector<SidesConfig> round_configs(const Scenario &s, size_t rounds) {
    std::vector<SidesConfig> out;
    SidesConfig sw = {std::shared_ptr<const SwitchConfig>(&s.sw[0], [](auto *) {}),
                      std::shared_ptr<const SwitchConfig>(&s.sw[1], [](auto *) {})};
    for (size_t i = 0; i < rounds; ++i) {
        if (i > 0 && i <= s.steps.size()) {
            const Step &step = s.steps[i - 1];
            auto changed = std::make_shared<SwitchConfig>(*sw[step.side]);
            for (const Action &act : step.actions)
                apply_action(*changed, act);
            sw[step.side] = changed;
        }
        out.push_back(sw);
    }
    return out;
}

std::vector<RoundView> build_views(const Scenario &s, const SimResult &sim) {
    std::vector<RoundView> views;
    const Context c{s};
    const size_t rounds = std::min(sim.peer[0].rounds.size(), sim.peer[1].rounds.size());
    const std::vector<SidesConfig> configs = round_configs(s, rounds);
    for (size_t i = 0; i < rounds; ++i) {
        const RoundResult &a = sim.peer[0].rounds[i], &b = sim.peer[1].rounds[i];
        const SidesConfig &sw = configs[i];
        RoundView rv;
        rv.round = a.round;
        rv.step = a.round > 0 ? &s.steps[a.round - 1] : nullptr;
        const auto by_a = scopes_by_link(a), by_b = scopes_by_link(b);
        std::set<uint32_t> links;
        for (auto *by : {&by_a, &by_b})
            for (auto &[link, sc] : *by)
                links.insert(link);
        for (uint32_t link : links) {
            ScopeView sv;
            sv.peer_link = link;
            sv.title = scope_title(s, link);
            sv.name = scope_name(s, link);
            sv.peer[0] = peer_view(find_scope(by_a, link));
            sv.peer[1] = peer_view(find_scope(by_b, link));
            sv.pass = sv.peer[0].pass && sv.peer[1].pass;
            if (sv.peer[0].r) sv.lines = param_lines(c, *sv.peer[0].r);
            if (sv.pass) tolerate_all(sv.lines);
            for (auto &l : sv.lines)
                sv.tolerated += l.differs && l.tolerated;
            rv.pass = rv.pass && sv.pass;
            rv.scopes.push_back(std::move(sv));
        }
        for (auto &sv : rv.scopes)
            fill_impact(sv, sw);
        rv.hazards = round_hazards(rv, sw);
        views.push_back(std::move(rv));
    }
    return views;
}

} // namespace drelsim
