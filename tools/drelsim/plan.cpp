// SPDX-License-Identifier: Apache-2.0
#include "plan.h"

#include "json.h"
#include "pair_run.h"
#include "report.h"
#include "window.h"

namespace drelsim {
namespace {

// One state of the pair on the way: which file each switch runs, and what the checks make of it.
struct State {
    const char *key;   // "before", "a_first", "b_first", "after"
    const char *title; // as the plan names it
    std::string files[2];
    PairRun run;
    StateSuspension window;

    bool safe() const { return run.status == 0 && window.empty(); }
};

// "1 VLAN of 1 service instance" for the size of a window.
std::string window_words(const StateSuspension &s) {
    size_t vlans = 0, instances = 0, whole = 0;
    for (auto &side : s.side) {
        instances += side.instances.size(), whole += side.whole_scopes.size();
        for (auto &c : side.instances)
            vlans += c.vlans.size();
    }
    std::string out = std::to_string(vlans) + (vlans == 1 ? " VLAN" : " VLANs") + " of " +
                      std::to_string(instances) +
                      (instances == 1 ? " service instance" : " service instances");
    if (whole)
        out += ", " + std::to_string(whole) + (whole == 1 ? " whole scope" : " whole scopes");
    return out;
}

void state_text(std::ostream &os, const State &st) {
    os << st.title << " (A " << st.files[0] << ", B " << st.files[1]
       << "): " << (st.run.status == 0 ? "PASS" : "FAIL");
    if (st.safe()) {
        os << " - nothing would be suspended\n";
        return;
    }
    os << "\n";
    for (auto &sv : st.run.views.back().scopes)
        if (sv.flagged) os << "  " << summary_line(sv) << "\n";
    suspension_text(os, st.window, "  ");
}

void state_json(Json &j, const State &st) {
    j.obj().key("state").str(st.key).key("files").obj();
    j.key("A").str(st.files[0]).key("B").str(st.files[1]).end();
    j.key("verdict")
        .str(st.run.status == 0 ? "pass" : "fail")
        .key("exit_status")
        .num(st.run.status);
    j.key("failing_scopes").arr();
    for (auto &sv : st.run.views.back().scopes)
        if (sv.flagged) j.str(summary_line(sv));
    j.end().key("suspended");
    suspension_json(j, st.window);
    j.end();
}

} // namespace

int run_plan(const PlanFiles &files, const Policy &policy, bool json, std::ostream &os,
             std::ostream &err) {
    State st[4] = {{"before", "Before the change", {files.before[0], files.before[1]}, {}, {}},
                   {"a_first", "A first, B not yet", {files.after[0], files.before[1]}, {}, {}},
                   {"b_first", "B first, A not yet", {files.before[0], files.after[1]}, {}, {}},
                   {"after", "After the change", {files.after[0], files.after[1]}, {}, {}}};
    for (State &s : st) {
        s.run = check_pair(s.files[0], s.files[1], SimOptions{}, policy);
        if (s.run.status >= 2) return err << s.run.error, s.run.status;
        s.window = suspension_of(s.run.views.back());
    }
    const State &a_first = st[1], &b_first = st[2], &after = st[3];
    const bool both_safe = a_first.safe() && b_first.safe();
    // Safe before unsafe, then the smaller window; A first when they are alike.
    const bool b_wins = !both_safe && (b_first.safe() != a_first.safe()
                                           ? b_first.safe()
                                           : b_first.window.weight() < a_first.window.weight());
    const State &best = b_wins ? b_first : a_first, &other = b_wins ? a_first : b_first;
    const bool alike = both_safe || (!a_first.safe() && !b_first.safe() &&
                                     a_first.window.weight() == b_first.window.weight());
    const char *order = alike ? "either" : b_wins ? "B first" : "A first";
    const bool consistent_after = after.run.status == 0;
    const int status = best.safe() && consistent_after ? 0 : 1;
    if (json) {
        Json j(os);
        j.obj().key("schema").num(kJsonSchema).key("plan").obj();
        for (auto [key, f] : {std::pair{"before", files.before}, {"after", files.after}})
            j.key(key).obj().key("A").str(f[0]).key("B").str(f[1]).end();
        j.end().key("states").arr();
        for (const State &s : st)
            state_json(j, s);
        j.end().key("recommended").str(order).key("safe_order").boolean(best.safe());
        j.key("consistent_after").boolean(consistent_after).key("exit_status").num(status).end();
        os << "\n";
        return status;
    }
    os << "drelsim plan: A " << files.before[0] << " -> " << files.after[0] << ", B "
       << files.before[1] << " -> " << files.after[1] << "\n\n";
    for (const State *s : {&st[0], &st[3], &st[1], &st[2]})
        state_text(os, *s), os << "\n";
    if (both_safe)
        os << "Recommended: either order - nothing is suspended while the change is half "
              "applied.\n";
    else if (alike)
        os << "Recommended: either order - both suspend as much while the change is half "
              "applied ("
           << window_words(best.window) << "); push the two switches close together.\n";
    else if (best.safe())
        os << "Recommended: " << order << ", then " << (b_wins ? "A" : "B")
           << " - nothing is suspended while the change is half applied (the other order "
              "would suspend "
           << window_words(other.window) << ").\n";
    else
        os << "Recommended: " << order << ", then " << (b_wins ? "A" : "B")
           << " - the smaller window, but both orders suspend something while the change is "
              "half applied ("
           << window_words(best.window) << " against " << window_words(other.window) << ").\n";
    if (!consistent_after)
        os << "Inconsistent even when fully applied: with both switches changed the pair "
              "still fails (see \"After the change\").\n";
    return status;
}

} // namespace drelsim
