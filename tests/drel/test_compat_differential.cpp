// SPDX-License-Identifier: Apache-2.0
// test_compat_differential.cpp - the graceful check against a small independent model of its
// outcome. The model is written from the rules alone (pair the i-th local with the i-th remote
// TLV; type 8 passes on equal VNIs and then a fabric or equal BD; type 9 fails the whole
// service instance on a different admin status, else marks each local VNI failed and moves it
// to the passing side when the remote maps the same VLAN to the same VNI; the holders gather
// all pairs; the code is the last pair's). Thousands of generated pairs of configurations per
// run, from a fixed seed (ZORV_DIFF_SEED overrides it); every difference in the result code or
// in the failed and passed VNI sets is a failure.
#include <algorithm>
#include <cstdlib>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <sstream>

#include "zorv_test_cache.h"

namespace {

constexpr uint32_t kIf = zt::kIf;
constexpr uint32_t kRuns = 2500;
const std::set<uint32_t> kFabricBds = {7, 9};

using rng_t = std::mt19937_64;
uint32_t pick(rng_t &r, uint32_t n) {
    return static_cast<uint32_t>(r() % n);
}
bool chance(rng_t &r, uint32_t one_in) {
    return pick(r, one_in) == 0;
}

uint64_t seed_of_run() {
    if (const char *s = std::getenv("ZORV_DIFF_SEED")) return std::strtoull(s, nullptr, 0);
    return 20261122;
}

// ---- configurations ---------------------------------------------------------------------------

struct vsi_cfg {
    uint32_t vsi = 0, admin = 1;
    std::vector<std::pair<uint32_t, uint32_t>> pairs; // (vni, dot1q) in wire order
};

// A local service instance: unique VLANs, valid pairs.
vsi_cfg random_local_vsi(rng_t &r, uint32_t vsi) {
    vsi_cfg v;
    v.vsi = vsi;
    v.admin = chance(r, 6) ? 0 : 1;
    std::set<uint32_t> vlans;
    for (uint32_t i = 0, n = pick(r, 7); i < n; ++i)
        vlans.insert(1 + pick(r, 24));
    for (uint32_t vlan : vlans)
        v.pairs.emplace_back(5000 + pick(r, 12), vlan);
    return v;
}

// The peer's version of a service instance: mostly the same, with differences of every kind.
vsi_cfg peer_vsi(rng_t &r, const vsi_cfg &l) {
    vsi_cfg v = l;
    if (chance(r, 8)) v.admin = 1 - v.admin;
    if (chance(r, 10)) v.vsi = 1 + pick(r, 6); // the check does not compare it
    for (auto &p : v.pairs) {
        if (chance(r, 6)) p.first = 5000 + pick(r, 12);
        if (chance(r, 10)) p.second = 1 + pick(r, 24);
    }
    if (!v.pairs.empty() && chance(r, 5))
        v.pairs.erase(v.pairs.begin() + pick(r, uint32_t(v.pairs.size())));
    if (chance(r, 5)) v.pairs.emplace_back(5000 + pick(r, 12), 1 + pick(r, 24));
    if (chance(r, 12)) {
        // Invalid pairs are ignored by the check.
        const std::pair<uint32_t, uint32_t> bad[] = {
            {5001, 0}, {5001, 4096}, {0, 3}, {0x1000000, 4}};
        v.pairs.push_back(bad[pick(r, 4)]);
    }
    if (chance(r, 6)) std::shuffle(v.pairs.begin(), v.pairs.end(), r);
    return v;
}

// ---- the model --------------------------------------------------------------------------------

struct outcome {
    uint32_t rc = 0;
    std::set<uint32_t> passed, failed;
    bool operator==(const outcome &) const = default;
};

std::string show(const outcome &o) {
    std::ostringstream s;
    s << "rc 0x" << std::hex << o.rc << std::dec << " failed {";
    for (uint32_t v : o.failed)
        s << ' ' << v;
    s << " } passed {";
    for (uint32_t v : o.passed)
        s << ' ' << v;
    s << " }";
    return s.str();
}

bool valid_pair(uint32_t vni, uint32_t dot1q) {
    return dot1q >= 1 && dot1q <= 4095 && vni >= 1 && vni <= 0xFFFFFF;
}

// One type-9 pair: l is the local service instance (as cached), r the peer's or none.
uint32_t model_vsi_pair(const vsi_cfg &l, const vsi_cfg *r, outcome &o) {
    auto fail_all = [&] {
        for (const auto &[vni, dot1q] : l.pairs) {
            o.failed.insert(vni);
            o.passed.erase(vni);
        }
        return ZORV_DREL_ERR_COMPAT_INTF_VSI;
    };
    if (r == nullptr || r->admin != l.admin) return fail_all();
    std::map<uint32_t, uint32_t> local; // dot1q -> vni
    for (const auto &[vni, dot1q] : l.pairs) {
        local[dot1q] = vni;
        o.failed.insert(vni);
        o.passed.erase(vni);
    }
    for (const auto &[vni, dot1q] : r->pairs) {
        if (!valid_pair(vni, dot1q)) continue;
        auto it = local.find(dot1q);
        if (it != local.end() && it->second == vni) {
            o.passed.insert(vni);
            o.failed.erase(vni);
        }
    }
    return o.failed.empty() ? ZORV_DREL_OK : ZORV_DREL_ERR_COMPAT_INTF_VSI;
}

uint32_t model_memvni_pair(const member_vni_t &l, const member_vni_t *r, outcome &o) {
    if (r != nullptr && r->vni == l.vni && (kFabricBds.count(l.bd) != 0 || l.bd == r->bd)) {
        o.passed.insert(l.vni);
        return ZORV_DREL_OK;
    }
    o.failed.insert(l.vni);
    return ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI;
}

// The remote side as it reaches the check: no array, an empty one, or the TLVs.
enum class rmt_form { null, empty, tlvs };

// The driver's rules over counts, null arrays and the pairing, for either type.
template <typename L, typename R, typename PairFn, typename NullLocalFn>
outcome model_check(const std::vector<L> &lcl, const std::vector<R> &rmt, rmt_form form,
                    PairFn pair, NullLocalFn null_local) {
    outcome o;
    const size_t nr = form == rmt_form::tlvs ? rmt.size() : 0;
    if (lcl.empty()) { // the export of an empty scope is no array at all
        if (form == rmt_form::null)
            o.rc = ZORV_DREL_ERR_INVALID_ARG;
        else if (nr == 0)
            o.rc = ZORV_DREL_ERR_FAILURE;
        else
            o.rc = null_local(rmt[0], o);
        return o;
    }
    if (lcl.size() != nr && (lcl.size() > 1 || nr > 1)) {
        o.rc = ZORV_DREL_ERR_INVALID_ARG;
        return o;
    }
    for (size_t i = 0; i < lcl.size(); ++i) {
        if (form == rmt_form::empty) {
            o.rc = ZORV_DREL_ERR_FAILURE; // the remote read fails
            return o;
        }
        o.rc = pair(lcl[i], form == rmt_form::tlvs ? &rmt[i] : nullptr, o);
    }
    return o;
}

// ---- the library ------------------------------------------------------------------------------

void empty_cache() {
    for (auto *n : zt::if_nodes())
        zorv_drel_if_cfg_delete_cache_node(n);
    for (auto *n : zt::memvni_nodes())
        zorv_drel_gbl_cfg_memvni_delete_cache_node(n);
}

outcome run_library(const tlv_array_t *lcl, const zt::tlv_buf &rmt, rmt_form form) {
    type1_compat_result_t pass{}, fail{};
    outcome o;
    const zt::tlv_buf none;
    const tlv_array_t *r = form == rmt_form::null    ? nullptr
                           : form == rmt_form::empty ? none.get()
                                                     : rmt.get();
    o.rc = zorv_drel_type1_cfg_compat_check(0, lcl, r, 0, 0, &pass, &fail);
    for (uint32_t v : zt::members(pass.vni_set))
        o.passed.insert(v);
    for (uint32_t v : zt::members(fail.vni_set))
        o.failed.insert(v);
    bitset_free(pass.vni_set);
    bitset_free(fail.vni_set);
    return o;
}

rmt_form random_form(rng_t &r, size_t n) {
    if (n == 0) return chance(r, 2) ? rmt_form::null : rmt_form::empty;
    if (chance(r, 40)) return rmt_form::null;
    if (chance(r, 40)) return rmt_form::empty;
    return rmt_form::tlvs;
}

class CompatDifferential : public ::testing::Test {
  protected:
    void SetUp() override {
        drelm_host_set_interface(kIf, 1, zt::kDrelId);
        const auto ctx = static_cast<uint16_t>(system_context_id_get());
        for (uint32_t bd : kFabricBds)
            bdmgr_host_set_fabric_bd(ctx, bd, 1);
    }
    uint32_t differences_ = 0;
    void compare(uint64_t seed, uint32_t run, const outcome &lib, const outcome &model,
                 const std::string &what) {
        if (lib == model || ++differences_ > 5) return;
        ADD_FAILURE() << "seed " << seed << " run " << run << "\n"
                      << what << "\nlibrary: " << show(lib) << "\nmodel:   " << show(model);
    }
    // One generated run: the library's check of the local export `lcl` against `rmt` in `form`,
    // compared with the model's outcome; then the export is freed and the cache emptied.
    void judge(uint64_t seed, uint32_t run, tlv_array_t *lcl, const zt::tlv_buf &rmt, rmt_form form,
               const outcome &model, const std::string &what) {
        const outcome lib = run_library(lcl, rmt, form);
        compare(seed, run, lib, model, what);
        (model.rc == 0 ? passing_ : failing_)++;
        tracked_free(zt::kSvc, lcl);
        empty_cache();
    }
    // After the runs: the generator reached both verdicts often, and no run differed.
    void expect_both_verdicts_and_no_difference() const {
        EXPECT_GT(passing_, kRuns / 10);
        EXPECT_GT(failing_, kRuns / 10);
        EXPECT_EQ(differences_, 0u);
    }
    uint32_t passing_ = 0, failing_ = 0;
};

} // namespace

TEST_F(CompatDifferential, ServiceInstancesOfAnInterface) {
    const uint64_t seed = seed_of_run();
    rng_t r(seed);
    for (uint32_t run = 0; run < kRuns; ++run) {
        // Local service instances, cached through a rebuild and exported as the peer gets them.
        std::map<uint32_t, vsi_cfg> local;
        for (uint32_t i = 0, n = pick(r, 5); i < n; ++i) {
            const uint32_t vsi = 1 + pick(r, 6);
            local[vsi] = random_local_vsi(r, vsi);
        }
        zt::tlv_buf build;
        for (const auto &[vsi, v] : local)
            zt::add_bytes(build, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                          zt::make_vsi_all(kIf, vsi, v.admin, ZORV_MAP_MODE_STATIC, v.pairs));
        ASSERT_EQ(zorv_drel_type1_cfg_cache_rebuild(build.get(), 0, kIf), 0u);
        tlv_array_t *lcl = nullptr;
        ASSERT_EQ(zorv_drel_type1_cfg_get_params(0, kIf, &lcl), 0u);

        // The peer's: its versions of the local ones, now and then one missing or one more.
        std::vector<vsi_cfg> lcl_list, rmt_list;
        for (const auto &[vsi, v] : local) {
            lcl_list.push_back(v);
            if (!chance(r, 25)) rmt_list.push_back(peer_vsi(r, v));
        }
        if (chance(r, 25)) rmt_list.push_back(random_local_vsi(r, 1 + pick(r, 6)));
        if (chance(r, 10)) std::shuffle(rmt_list.begin(), rmt_list.end(), r);
        const rmt_form form = random_form(r, rmt_list.size());
        zt::tlv_buf rmt;
        std::ostringstream what;
        what << "local:";
        for (const auto &v : lcl_list) {
            what << " [vsi " << v.vsi << " admin " << v.admin;
            for (auto [vni, dot1q] : v.pairs)
                what << ' ' << dot1q << "->" << vni;
            what << ']';
        }
        what << "\nremote ("
             << (form == rmt_form::null    ? "null"
                 : form == rmt_form::empty ? "empty"
                                           : "tlvs")
             << "):";
        for (const auto &v : rmt_list) {
            zt::add_bytes(rmt, ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                          zt::make_vsi_all(kIf, v.vsi, v.admin, ZORV_MAP_MODE_STATIC, v.pairs));
            what << " [vsi " << v.vsi << " admin " << v.admin;
            for (auto [vni, dot1q] : v.pairs)
                what << ' ' << dot1q << "->" << vni;
            what << ']';
        }

        judge(seed, run, lcl, rmt, form,
              model_check(lcl_list, rmt_list, form, model_vsi_pair,
                          [](const vsi_cfg &, outcome &) { return ZORV_DREL_ERR_PARAM_MISSING; }),
              what.str());
    }
    expect_both_verdicts_and_no_difference();
}

TEST_F(CompatDifferential, MemberVnisOfTheGlobalScope) {
    const uint64_t seed = seed_of_run() ^ 0x5bd1e995u;
    rng_t r(seed);
    for (uint32_t run = 0; run < kRuns; ++run) {
        std::map<uint32_t, uint32_t> local; // vni -> bd
        for (uint32_t i = 0, n = pick(r, 5); i < n; ++i)
            local[5000 + pick(r, 12)] = 1 + pick(r, 10);
        zt::tlv_buf build;
        for (const auto &[vni, bd] : local)
            build.add(ZORV_TYPE1_GBL_MEMBER_VNI, member_vni_t{bd, vni});
        ASSERT_EQ(zorv_drel_type1_cfg_cache_rebuild(build.get(), 1, 0), 0u);
        tlv_array_t *lcl = nullptr;
        ASSERT_EQ(zorv_drel_type1_cfg_get_params(1, 0, &lcl), 0u);

        std::vector<member_vni_t> lcl_list, rmt_list;
        for (const auto &[vni, bd] : local) {
            lcl_list.push_back(member_vni_t{bd, vni});
            if (chance(r, 25)) continue;
            member_vni_t m{bd, vni};
            if (chance(r, 5)) m.bd = 1 + pick(r, 10);
            if (chance(r, 8)) m.vni = 5000 + pick(r, 12);
            if (chance(r, 40)) m.vni = 0x1000000 + pick(r, 3);
            rmt_list.push_back(m);
        }
        if (chance(r, 25)) rmt_list.push_back(member_vni_t{1 + pick(r, 10), 5000 + pick(r, 12)});
        if (chance(r, 10)) std::shuffle(rmt_list.begin(), rmt_list.end(), r);
        const rmt_form form = random_form(r, rmt_list.size());
        zt::tlv_buf rmt;
        std::ostringstream what;
        what << "local:";
        for (const auto &m : lcl_list)
            what << " bd " << m.bd << " vni " << m.vni << ';';
        what << "\nremote (" << int(form) << "):";
        for (const auto &m : rmt_list) {
            rmt.add(ZORV_TYPE1_GBL_MEMBER_VNI, m);
            what << " bd " << m.bd << " vni " << m.vni << ';';
        }

        judge(seed, run, lcl, rmt, form,
              model_check(lcl_list, rmt_list, form, model_memvni_pair,
                          [](const member_vni_t &m, outcome &o) {
                              if (m.vni <= 0xFFFFFF) o.failed.insert(m.vni);
                              return ZORV_DREL_ERR_COMPAT_GBL_MEMBER_VNI;
                          }),
              what.str());
    }
    expect_both_verdicts_and_no_difference();
}
