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

PairRun check_pair(const std::string &file_a, const std::string &file_b, const SimOptions &so,
                   const Policy &p) {
    ImportReport imp;
    Scenario s;
    try {
        s = import_pair(file_a, file_b, imp);
    } catch (const InputError &e) {
        PairRun r;
        r.status = 2;
        r.error = std::string("drelsim: configuration error: ") + e.what() + "\n";
        return r;
    }
    PairRun r = run_pair(std::move(s), so, p);
    r.import = std::move(imp);
    return r;
}

} // namespace drelsim
