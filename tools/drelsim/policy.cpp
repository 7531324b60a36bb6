// SPDX-License-Identifier: Apache-2.0
#include "policy.h"

#include "input.h"
#include "yaml_tree.h"

namespace drelsim {
namespace {

// One difference, the same whichever round it shows in.
std::string finding(const std::string &scope, const std::string &key, const std::string &local,
                    const std::string &peer) {
    return scope + '\x1f' + key + '\x1f' + local + '\x1f' + peer;
}

std::string scope_key(uint32_t peer_link) {
    return peer_link ? "peer link " + std::to_string(peer_link) : "global";
}

// A failing scope in which no row differs is known by its two reasons.
std::string scope_finding(const std::string &scope, const std::string &why_a,
                          const std::string &why_b) {
    return finding(scope, "(scope)", why_a, why_b);
}

bool charged_row(const ParamLine &l) {
    return l.differs && !l.tolerated;
}

} // namespace

std::set<std::string> load_baseline(const std::string &path) {
    const std::string text = read_input(path);
    const YNode root = load_yaml(text, path);
    const YNode &rounds = root["rounds"];
    if (!root["schema"] || !rounds.is_sequence())
        throw InputError(path + ":" + std::to_string(root.line) +
                         ": expected a JSON report of drelsim (with schema and rounds)");
    std::set<std::string> ids;
    auto text_of = [](const YNode &n) { return n.is_scalar() ? n.text : std::string("-"); };
    for (const YNode &round : rounds.items)
        for (const YNode &sc : round["scopes"].items) {
            const YNode &pl = sc["peer_link"];
            const std::string scope = pl.is_scalar() ? "peer link " + pl.text : "global";
            bool any = false;
            for (const YNode &row : sc["parameters"].items) {
                if (row["differs"].text != "true") continue;
                any = any || row["tolerated"].text != "true";
                ids.insert(
                    finding(scope, row["key"].text, text_of(row["local"]), text_of(row["peer"])));
            }
            if (!any && sc["verdict"].text == "fail")
                ids.insert(scope_finding(scope, sc["peers"]["A"]["why"].text,
                                         sc["peers"]["B"]["why"].text));
        }
    return ids;
}

void apply_policy(std::vector<RoundView> &views, const Policy &p) {
    for (RoundView &rv : views) {
        rv.flagged = false;
        for (ScopeView &sv : rv.scopes) {
            const std::string scope = scope_key(sv.peer_link);
            bool charged_new = false, tolerated_new = false, any_charged = false;
            for (ParamLine &l : sv.lines) {
                if (!l.differs) continue;
                l.accepted =
                    p.has_baseline && p.accepted.count(finding(scope, l.key, l.local.value_or("-"),
                                                               l.peer.value_or("-")));
                any_charged = any_charged || charged_row(l);
                (charged_row(l) ? charged_new : tolerated_new) |= !l.accepted;
            }
            if (!sv.pass && !any_charged)
                charged_new =
                    !(p.has_baseline &&
                      p.accepted.count(scope_finding(scope, sv.peer[0].why, sv.peer[1].why)));
            sv.flagged = (!sv.pass && charged_new) || (p.fail_on_tolerated && tolerated_new);
            sv.accepted = !sv.pass && !charged_new;
            rv.flagged = rv.flagged || sv.flagged;
        }
    }
}

int policy_status(const std::vector<RoundView> &views, const Policy &p) {
    for (const RoundView &rv : views)
        if (rv.flagged && (p.judged_round < 0 || rv.round == static_cast<uint32_t>(p.judged_round)))
            return 1;
    return 0;
}

} // namespace drelsim
