// SPDX-License-Identifier: Apache-2.0
#include "pair_run.h"

namespace drelsim {

PairRun run_pair(Scenario s, const SimOptions &so, const Policy &p) {
    PairRun r;
    r.scenario = std::move(s);
    r.sim = simulate(r.scenario, so);
    for (int side = 0; side < 2; ++side)
        if (!r.sim.peer[side].fatal.empty())
            r.error += std::string("drelsim: peer ") + side_name(side) + ": " +
                       r.sim.peer[side].fatal + "\n";
    if (!r.sim.complete()) return r.status = 3, r;
    r.views = build_views(r.scenario, r.sim);
    apply_policy(r.views, p);
    r.status = policy_status(r.views, p);
    return r;
}

Scenario import_pair(const std::string &file_a, const std::string &file_b, ImportReport &imp) {
    imp.sw[0] = import_switch(file_a);
    imp.sw[1] = import_switch(file_b);
    return pair_scenario(imp.sw[0], imp.sw[1], imp.warnings);
}

namespace {

PairRun refused(const InputError &e) {
    PairRun r;
    r.status = 2;
    r.error = std::string("drelsim: configuration error: ") + e.what() + "\n";
    return r;
}

} // namespace

PairRun check_pair(const std::string &file_a, const std::string &file_b, const SimOptions &so,
                   const Policy &p) {
    ImportReport imp;
    try {
        imp.sw[0] = import_switch(file_a);
        imp.sw[1] = import_switch(file_b);
    } catch (const InputError &e) {
        return refused(e);
    }
    return check_imported(std::move(imp), so, p);
}

PairRun check_imported(ImportReport imp, const SimOptions &so, const Policy &p) {
    Scenario s;
    try {
        s = pair_scenario(imp.sw[0], imp.sw[1], imp.warnings);
    } catch (const InputError &e) {
        return refused(e);
    }
    PairRun r = run_pair(std::move(s), so, p);
    r.import = std::move(imp);
    return r;
}

} // namespace drelsim
