// SPDX-License-Identifier: Apache-2.0
// Randomized model tests: a few thousand creates, updates and deletes per tree, each followed by
// a walk of the tree (tree_first/tree_next) compared with a plain std::map model; and a mixed
// sequence over all trees after which the tracked accounting must show exactly what the live
// nodes hold.
#include <gtest/gtest.h>

#include <array>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "zorv_test_cache.h"

namespace {

constexpr int kSteps = 3000;
constexpr uint32_t kVlans = 16; // values only ever touch VLANs 0..15

using rng_t = std::mt19937;

uint32_t pick(rng_t &r, uint32_t n) {
    return std::uniform_int_distribution<uint32_t>(0, n - 1)(r);
}

// ---- Identifier model ------------------------------------------------------------------------

struct uid_model {
    std::map<std::string, uint32_t> ids;
    std::set<uint32_t> used;
    uint32_t lowest_free() const {
        for (uint32_t i = 1; i <= 4096; ++i)
            if (!used.count(i)) return i;
        return 0;
    }
    uint32_t take(const std::string &name) {
        const uint32_t id = lowest_free();
        ids[name] = id;
        if (id != 0) used.insert(id);
        return id;
    }
    void release(const std::string &name) {
        auto it = ids.find(name);
        if (it == ids.end()) return;
        used.erase(it->second);
        ids.erase(it);
    }
};

void expect_uid_tree(const uid_model &m, int step) {
    std::map<std::string, uint32_t> seen;
    if (zorv_drel_encap_uid_avl != nullptr)
        for (auto *n : zt::walk<encap_uid_node_t>(zorv_drel_encap_uid_avl))
            seen[n->encap_name] = n->id;
    ASSERT_EQ(seen, m.ids) << "step " << step;
    // The model never holds more than a few dozen names, so the low identifiers tell all.
    for (uint32_t id = 1; id <= 64 && free_encap_bmp_p != nullptr; ++id)
        ASSERT_EQ(zorv::bmp::test(*free_encap_bmp_p, id - 1), m.used.count(id) == 0)
            << "step " << step << " id " << id;
}

// ---- Global tree model -----------------------------------------------------------------------

struct gbl_state {
    uint32_t map_exists = 0;
    uint32_t id = 0;
    std::array<uint32_t, kVlans> vni{};
    bool operator==(const gbl_state &) const = default;
};

std::vector<std::pair<uint32_t, uint32_t>> random_pairs(rng_t &r) {
    std::vector<std::pair<uint32_t, uint32_t>> p;
    const uint32_t n = pick(r, 6);
    for (uint32_t i = 0; i < n; ++i)
        p.emplace_back(pick(r, kVlans), 100 + pick(r, 4));
    return p;
}

std::array<uint32_t, kVlans> as_array(const std::vector<std::pair<uint32_t, uint32_t>> &p) {
    std::array<uint32_t, kVlans> a{};
    for (auto [v, vni] : p)
        a[v] = vni;
    return a;
}

void expect_gbl_tree(const std::map<std::string, gbl_state> &m, int step) {
    std::map<std::string, gbl_state> seen;
    for (auto *n : zt::walk<gbl_cfg_avl_node_t>(zorv_drel_gbl_cfg_avl)) {
        ASSERT_EQ(n->key, n->map.encap_name);
        gbl_state s;
        s.map_exists = n->map_exists;
        s.id = n->id;
        for (uint32_t v = 0; v < kVlans; ++v)
            s.vni[v] = n->map.dot1q_vni[v];
        seen.emplace(n->map.encap_name, s);
    }
    ASSERT_EQ(seen.size(), tree_count(zorv_drel_gbl_cfg_avl)) << "step " << step;
    ASSERT_TRUE(seen == m) << "step " << step;
    ASSERT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_gbl_cfg_avl_node_t), m.size()) << "step " << step;
}

// ---- Interface tree model --------------------------------------------------------------------

struct encap_state {
    std::string name;
    uint32_t all_allowed;
    std::array<uint8_t, 4> first_bits;
    bool operator==(const encap_state &) const = default;
};

struct if_state {
    uint32_t admin = 0, dyn_map_cnt = 0, vdp = 0, dfs = 0, vmt = 0, lldp = 0, bmp_len = 0;
    std::array<uint32_t, 32> vni{};
    std::array<uint8_t, 4> first_bits{};
    std::string prof;
    std::vector<encap_state> encaps;
    uint32_t encap_count = 0;
    bool operator==(const if_state &) const = default;
};

using if_key = std::pair<uint32_t, uint32_t>;

void expect_if_tree(const std::map<if_key, if_state> &m, int step) {
    std::map<if_key, if_state> seen;
    size_t entries = 0;
    for (auto *n : zt::walk<if_cfg_avl_node_t>(zorv_drel_if_cfg_avl)) {
        if_state s;
        s.admin = n->admin;
        s.dyn_map_cnt = n->dyn_map_cnt;
        s.vdp = n->vdp;
        s.dfs = n->dfs;
        s.vmt = n->vmt;
        s.lldp = n->lldp;
        s.bmp_len = n->dot1q_bmp.len;
        for (uint32_t v = 0; v < 32; ++v)
            s.vni[v] = n->dot1q_vni[v];
        std::copy_n(n->dot1q_bmp.bits, 4, s.first_bits.begin());
        s.prof = n->prof_name;
        for (const encap_profile_node *e = n->encap_list; e != nullptr; e = e->next, ++entries) {
            encap_state es{e->encap_name, e->all_allowed, {}};
            std::copy_n(e->dot1q_bmp.bits, 4, es.first_bits.begin());
            s.encaps.push_back(es);
        }
        s.encap_count = n->encap_count;
        seen.emplace(if_key{n->if_index, n->vsi_id}, s);
    }
    ASSERT_EQ(seen.size(), tree_count(zorv_drel_if_cfg_avl)) << "step " << step;
    ASSERT_TRUE(seen == m) << "step " << step;
    ASSERT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_if_cfg_avl_node_t), m.size()) << "step " << step;
    ASSERT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_profile_node), entries) << "step " << step;
}

if_cfg_avl_node_t *if_find(if_key k) {
    if_cfg_avl_key_t key{k.first, k.second};
    return static_cast<if_cfg_avl_node_t *>(tree_find(zorv_drel_if_cfg_avl, &key));
}

// Applies an interface value to the tree the way the cache-update path does: update the node
// found under the key, or create and insert one.
uint32_t if_apply(if_key k, uint16_t type, const void *value, uint16_t len) {
    if (if_cfg_avl_node_t *n = if_find(k)) return zorv_drel_if_cfg_avl_update(n, type, len, value);
    if_cfg_avl_key_t key{k.first, k.second};
    if_cfg_avl_node_t *n = zorv_drel_create_if_node(&key, type, len, value);
    if (n == nullptr) return ZORV_DREL_ERR_NO_MEMORY;
    EXPECT_EQ(tree_insert(zorv_drel_if_cfg_avl, n), 0);
    return 0;
}

} // namespace

TEST(CacheModel, GlobalTreeAndIdentifiers) {
    rng_t r(20240611);
    std::map<std::string, gbl_state> model;
    uid_model uids;
    std::vector<std::string> names;
    for (int i = 0; i < 30; ++i)
        names.push_back("enc-" + std::to_string(i * 37 % 101));
    for (int step = 0; step < kSteps; ++step) {
        const std::string &name = names[pick(r, names.size())];
        auto it = model.find(name);
        gbl_cfg_avl_key_t key{name.c_str()};
        auto *node = static_cast<gbl_cfg_avl_node_t *>(tree_find(zorv_drel_gbl_cfg_avl, &key));
        ASSERT_EQ(node != nullptr, it != model.end()) << "step " << step;
        switch (pick(r, 6)) {
        case 0: { // profile seen as type 1
            encap_name_t rec = zt::name_rec(name);
            if (node == nullptr) {
                node = zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_PROFILE, 260, &rec);
                ASSERT_NE(node, nullptr);
                ASSERT_EQ(tree_insert(zorv_drel_gbl_cfg_avl, node), 0);
                auto u = uids.ids.find(name);
                gbl_state s;
                s.id = u != uids.ids.end() ? u->second : uids.take(name);
                ASSERT_EQ(rec.id, s.id) << "step " << step;
                model[name] = s;
            } else {
                ASSERT_EQ(zorv_drel_gbl_cfg_avl_update(node, ZORV_TYPE1_GBL_ENCAP_PROFILE, 260,
                                                       &rec, pick(r, 2)),
                          0u);
            }
            break;
        }
        case 1:
        case 2: { // a map arrives
            auto pairs = random_pairs(r);
            auto m = zt::map_val(name, pairs);
            const auto a = as_array(pairs);
            if (node == nullptr) {
                node = zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, sizeof *m,
                                                 m.get());
                ASSERT_NE(node, nullptr);
                ASSERT_EQ(tree_insert(zorv_drel_gbl_cfg_avl, node), 0);
                gbl_state s;
                s.map_exists = 1;
                s.vni = a;
                model[name] = s;
            } else {
                ASSERT_EQ(zorv_drel_gbl_cfg_avl_update(node, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP,
                                                       sizeof *m, m.get(), 0),
                          0u);
                gbl_state &s = it->second;
                if (s.map_exists) {
                    for (uint32_t v = 1; v < kVlans; ++v)
                        if (s.vni[v] == 0) s.vni[v] = a[v];
                } else {
                    s.map_exists = 1;
                    s.vni = a;
                }
            }
            break;
        }
        case 3: { // a map is deleted, sometimes exactly the pairs that are there
            if (node == nullptr) break;
            std::vector<std::pair<uint32_t, uint32_t>> pairs;
            if (pick(r, 2) == 0)
                for (uint32_t v = 0; v < kVlans; ++v)
                    pairs.emplace_back(v, it->second.vni[v]);
            else
                pairs = random_pairs(r);
            auto m = zt::map_val(name, pairs);
            const auto a = as_array(pairs);
            ASSERT_EQ(zorv_drel_gbl_cfg_avl_update(node, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP, sizeof *m,
                                                   m.get(), 1),
                      0u);
            gbl_state &s = it->second;
            s.map_exists = 0;
            for (uint32_t v = 1; v < kVlans; ++v) {
                if (a[v] != 0 && a[v] == s.vni[v])
                    s.vni[v] = 0;
                else if (s.vni[v] != 0)
                    s.map_exists = 1;
            }
            break;
        }
        case 4: { // the profile goes, by node or by key, with or without its identifier
            if (node == nullptr) break;
            if (pick(r, 2) == 0)
                zorv_drel_gbl_cfg_delete_cache_node(node);
            else
                zorv_drel_gbl_cfg_delete_cache_key(&key);
            model.erase(it);
            if (pick(r, 2) == 0) {
                const uint32_t want = uids.ids.count(name) ? uids.ids[name] : 0;
                ASSERT_EQ(zorv_drel_free_encap_uid(name.c_str()), want) << "step " << step;
                uids.release(name);
            }
            break;
        }
        case 5: { // identifier lookups agree with the model
            encap_name_t rec = zt::name_rec(name);
            const uint32_t want = uids.ids.count(name) ? uids.ids[name] : 0;
            ASSERT_EQ(zorv_drel_get_encap_uid(&rec), want) << "step " << step;
            if (node != nullptr) {
                ASSERT_EQ(zorv_drel_get_gbl_cfg_node_id(name.c_str()), it->second.id);
            }
            break;
        }
        }
        expect_gbl_tree(model, step);
        expect_uid_tree(uids, step);
        ASSERT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_uid_node_t), uids.ids.size());
        if (HasFatalFailure()) return;
    }
}

TEST(CacheModel, MemberVniTree) {
    rng_t r(77);
    std::map<uint32_t, uint32_t> model;
    std::vector<uint32_t> vnis = {1, 2, 0xFFFFFF, 0xFFFFFE, 0x800000, 4096, 5000};
    for (int i = 0; i < 25; ++i)
        vnis.push_back(1 + pick(r, 0xFFFFFF));
    for (int step = 0; step < kSteps; ++step) {
        const uint32_t vni = vnis[pick(r, vnis.size())];
        const member_vni_t val = zt::memvni(1 + pick(r, 4000), vni);
        gbl_cfg_memvni_avl_node_t key{};
        ASSERT_EQ(zorv_drel_set_gbl_memvni_key(&key, ZORV_TYPE1_GBL_MEMBER_VNI, 8, &val), 0u);
        auto *node =
            static_cast<gbl_cfg_memvni_avl_node_t *>(tree_find(zorv_drel_gbl_cfg_memvni_avl, &key));
        ASSERT_EQ(node != nullptr, model.count(vni) == 1) << "step " << step;
        switch (pick(r, 4)) {
        case 0:
        case 1:
            if (node == nullptr) {
                node =
                    zorv_drel_create_gbl_memvni_node(nullptr, ZORV_TYPE1_GBL_MEMBER_VNI, 8, &val);
                ASSERT_NE(node, nullptr);
                ASSERT_EQ(tree_insert(zorv_drel_gbl_cfg_memvni_avl, node), 0);
            } else {
                ASSERT_EQ(
                    zorv_drel_gbl_cfg_memvni_avl_update(node, ZORV_TYPE1_GBL_MEMBER_VNI, 8, &val),
                    0u);
            }
            model[vni] = val.bd;
            break;
        case 2:
            zorv_drel_gbl_cfg_memvni_delete_cache_key(&key);
            model.erase(vni);
            break;
        case 3:
            zorv_drel_gbl_cfg_memvni_delete_cache_node(node);
            model.erase(vni);
            break;
        }
        std::map<uint32_t, uint32_t> seen;
        uint32_t prev = 0;
        bool first = true;
        for (auto *n : zt::walk<gbl_cfg_memvni_avl_node_t>(zorv_drel_gbl_cfg_memvni_avl)) {
            ASSERT_TRUE(first || n->vni > prev) << "step " << step;
            first = false;
            prev = n->vni;
            seen[n->vni] = n->bd;
        }
        ASSERT_EQ(seen, model) << "step " << step;
        ASSERT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_gbl_cfg_memvni_avl_node_t), model.size());
    }
}

TEST(CacheModel, InterfaceTreeAndEncapLists) {
    rng_t r(4242);
    std::map<if_key, if_state> model;
    const uint32_t ifs[] = {1, 2, 0x1000, 0x80000000u};
    const uint32_t vsis[] = {1, 2, 3, 7, 0xFFFFFFFFu};
    const char *profs[] = {"pa", "pb", "pc", "pd"};
    for (int step = 0; step < kSteps; ++step) {
        const if_key k{ifs[pick(r, 4)], vsis[pick(r, 5)]};
        auto it = model.find(k);
        const bool exists = it != model.end();
        ASSERT_EQ(if_find(k) != nullptr, exists) << "step " << step;
        switch (pick(r, 8)) {
        case 0: { // admin status
            const vsi_admin_t v = zt::admin_val(k.first, k.second, pick(r, 3));
            ASSERT_EQ(if_apply(k, 5, &v, sizeof v), 0u);
            model[k].admin = v.admin;
            break;
        }
        case 1:
        case 2: { // attributes
            std::vector<std::pair<uint32_t, uint32_t>> pairs;
            const uint32_t np = pick(r, 4);
            for (uint32_t i = 0; i < np; ++i) {
                // Mostly valid pairs, sometimes VLAN 0 or VNI 0 / too big.
                const uint32_t dot1q = pick(r, 32);
                const uint32_t vni = pick(r, 8) == 0 ? 0x1000000u + pick(r, 3) : pick(r, 5);
                pairs.emplace_back(vni, dot1q);
            }
            const uint32_t mode = 1 + pick(r, 5);
            std::vector<uint32_t> allowed;
            for (uint32_t v = 0; v < 32; ++v)
                if (pick(r, 3) == 0) allowed.push_back(v);
            const std::string prof = profs[pick(r, 4)];
            auto v = zt::make_vsi_all(k.first, k.second, pick(r, 2), mode, pairs, allowed, prof);
            ASSERT_EQ(if_apply(k, 9, v.data(), static_cast<uint16_t>(v.size())), 0u);
            if_state &s = model[k];
            s.admin = reinterpret_cast<const vsi_all_t *>(v.data())->admin;
            s.vdp = mode == 4;
            s.dfs = mode == 2;
            s.vmt = mode == 3;
            s.lldp = mode == 5;
            if (!pairs.empty()) {
                s.dyn_map_cnt = static_cast<uint32_t>(pairs.size());
                s.vni = {};
                for (auto [vni, dot1q] : pairs)
                    if (dot1q >= 1 && vni >= 1 && vni <= 0xFFFFFF) s.vni[dot1q] = vni;
            }
            s.bmp_len = 512;
            s.first_bits = {};
            for (uint32_t a : allowed)
                s.first_bits[a / 8] |= static_cast<uint8_t>(0x80u >> (a % 8));
            s.prof = prof;
            break;
        }
        case 3: { // encap profile of the service instance
            const bool all = pick(r, 3) == 0;
            std::vector<uint32_t> vl;
            for (uint32_t i = 0; i < 3; ++i)
                vl.push_back(pick(r, 32));
            const char *p = profs[pick(r, 4)];
            vsi_encap_rng_t v = zt::rng_val(k.first, k.second, p, vl, all);
            ASSERT_EQ(if_apply(k, 6, &v, sizeof v), 0u);
            if_state &s = model[k];
            std::array<uint8_t, 4> fb;
            std::copy_n(v.dot1q_bmp.bits, 4, fb.begin());
            bool found = false;
            for (auto &e : s.encaps)
                if (e.name == p) {
                    e.all_allowed = 0;
                    e.first_bits = fb;
                    found = true;
                    break;
                }
            if (!found) {
                s.encaps.push_back({p, all ? 1u : 0u, fb});
                ++s.encap_count;
            }
            break;
        }
        case 4: { // an encap profile is removed by value
            if (!exists) break;
            const char *p = profs[pick(r, 4)];
            vsi_encap_rng_t v = zt::rng_val(k.first, k.second, p);
            ASSERT_EQ(zorv_drel_if_cfg_avl_delete(if_find(k), ZORV_TYPE1_INTF_VSI_ENCAP_PROF,
                                                  sizeof v, &v),
                      0u);
            auto &es = it->second.encaps;
            for (auto e = es.begin(); e != es.end(); ++e)
                if (e->name == p) {
                    es.erase(e);
                    break;
                }
            break;
        }
        case 5: { // a value that does not fit its length changes nothing
            auto v = zt::make_vsi_all(k.first, k.second, 1, 2, {{5, 5}, {6, 6}});
            if (exists) {
                ASSERT_EQ(zorv_drel_if_cfg_avl_update(if_find(k), ZORV_TYPE1_INTF_VSI_ATTRIBUTES,
                                                      static_cast<uint16_t>(v.size() - 1),
                                                      v.data()),
                          ZORV_DREL_ERR_INVALID_ARG);
            } else {
                if_cfg_avl_key_t key{k.first, k.second};
                ASSERT_EQ(
                    zorv_drel_create_if_node(&key, ZORV_TYPE1_INTF_VSI_ATTRIBUTES, 792, v.data()),
                    nullptr);
            }
            break;
        }
        case 6: { // the node goes by its exact key
            if_cfg_avl_key_t key{k.first, k.second};
            zorv_drel_if_cfg_delete_cache_key(&key);
            model.erase(k);
            break;
        }
        case 7: { // every service instance of the interface goes, one by one
            if (pick(r, 4) != 0) break;
            if_cfg_avl_key_t any{k.first, 0};
            while (auto *n =
                       static_cast<if_cfg_avl_node_t *>(tree_find(zorv_drel_if_cfg_avl, &any)))
                zorv_drel_if_cfg_delete_cache_node(n);
            for (auto m = model.begin(); m != model.end();)
                m = m->first.first == k.first ? model.erase(m) : std::next(m);
            break;
        }
        }
        expect_if_tree(model, step);
        if (HasFatalFailure()) return;
    }
}

// After any sequence of creates and deletes the live counts of memory types 1, 2, 9, 12 and 13
// are exactly what the nodes in the trees hold.
TEST(CacheAccounting, LiveBlocksMatchLiveNodes) {
    rng_t r(99);
    auto check = [](int step) {
        const auto gbl = zt::walk<gbl_cfg_avl_node_t>(zorv_drel_gbl_cfg_avl).size();
        const auto mv = zt::walk<gbl_cfg_memvni_avl_node_t>(zorv_drel_gbl_cfg_memvni_avl).size();
        size_t ifn = 0, entries = 0;
        for (auto *n : zt::walk<if_cfg_avl_node_t>(zorv_drel_if_cfg_avl)) {
            ++ifn;
            entries += zt::encap_entries(n);
        }
        const size_t uid = zorv_drel_encap_uid_avl == nullptr
                               ? 0
                               : zt::walk<encap_uid_node_t>(zorv_drel_encap_uid_avl).size();
        EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_gbl_cfg_avl_node_t), gbl) << step;
        EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_if_cfg_avl_node_t), ifn) << step;
        EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_profile_node), entries) << step;
        EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_gbl_cfg_memvni_avl_node_t), mv) << step;
        EXPECT_EQ(zt::live_blocks(ZORV_DREL_LIB_MEM_encap_uid_node_t), uid) << step;
        EXPECT_EQ(zt::live_blocks(), gbl + ifn + entries + mv + uid) << step;
        EXPECT_EQ(zt::stats().bad_frees, 0u) << step;
    };
    const char *names[] = {"a", "b", "c", "d", "e", "f"};
    for (int step = 0; step < kSteps; ++step) {
        // Now and then an allocation fails somewhere inside the operation.
        const bool fault = pick(r, 10) == 0;
        if (fault) tracked_mem_fault_set(zt::kSvc, pick(r, 2), 1);
        const char *name = names[pick(r, 6)];
        const uint32_t ifx = 1 + pick(r, 3), vsi = 1 + pick(r, 3);
        if_cfg_avl_key_t ik{ifx, vsi};
        auto *ifnode = static_cast<if_cfg_avl_node_t *>(tree_find(zorv_drel_if_cfg_avl, &ik));
        gbl_cfg_avl_key_t gk{name};
        auto *gnode = static_cast<gbl_cfg_avl_node_t *>(tree_find(zorv_drel_gbl_cfg_avl, &gk));
        switch (pick(r, 12)) {
        case 0: { // global profile with identifier
            if (gnode != nullptr) break;
            encap_name_t rec = zt::name_rec(name, pick(r, 3) == 0 ? 1 + pick(r, 20) : 0);
            if (auto *n =
                    zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_PROFILE, 260, &rec)) {
                ASSERT_EQ(tree_insert(zorv_drel_gbl_cfg_avl, n), 0);
            }
            break;
        }
        case 1: { // global map
            if (gnode != nullptr) break;
            auto m = zt::map_val(name, {{1, 10}});
            if (auto *n = zorv_drel_create_gbl_node(nullptr, ZORV_TYPE1_GBL_ENCAP_DOT1Q_MAP,
                                                    sizeof *m, m.get())) {
                ASSERT_EQ(tree_insert(zorv_drel_gbl_cfg_avl, n), 0);
            }
            break;
        }
        case 2:
            zorv_drel_gbl_cfg_delete_cache_node(gnode);
            if (pick(r, 2) == 0) zorv_drel_free_encap_uid(name);
            break;
        case 3: { // member VNI
            member_vni_t v = zt::memvni(1, 1 + pick(r, 8));
            gbl_cfg_memvni_avl_node_t k{v.vni, 0};
            if (tree_find(zorv_drel_gbl_cfg_memvni_avl, &k) != nullptr) {
                zorv_drel_gbl_cfg_memvni_delete_cache_key(&k);
            } else if (auto *n = zorv_drel_create_gbl_memvni_node(
                           nullptr, ZORV_TYPE1_GBL_MEMBER_VNI, 8, &v)) {
                ASSERT_EQ(tree_insert(zorv_drel_gbl_cfg_memvni_avl, n), 0);
            }
            break;
        }
        case 4:
        case 5: { // interface node from type 6 or type 9
            vsi_encap_rng_t e = zt::rng_val(ifx, vsi, name, {1});
            auto a = zt::make_vsi_all(ifx, vsi, 1, 1, {{100, 1}});
            const bool six = pick(r, 2) == 0;
            const void *val = six ? static_cast<const void *>(&e) : a.data();
            const uint16_t len = six ? sizeof e : static_cast<uint16_t>(a.size());
            if (ifnode != nullptr) {
                (void)zorv_drel_if_cfg_avl_update(ifnode, six ? 6 : 9, len, val);
            } else if (auto *n = zorv_drel_create_if_node(&ik, six ? 6 : 9, len, val)) {
                ASSERT_EQ(tree_insert(zorv_drel_if_cfg_avl, n), 0);
            }
            break;
        }
        case 6:
            if (ifnode != nullptr)
                (void)zorv_drel_if_cfg_avl_append_encap(ifnode, pick(r, 2) ? name : nullptr,
                                                        nullptr, nullptr);
            break;
        case 7:
            if (ifnode != nullptr) (void)zorv_drel_if_cfg_avl_del_encap(ifnode, name);
            break;
        case 8: zorv_drel_if_cfg_delete_cache_node(ifnode); break;
        case 9: {
            if_cfg_avl_key_t any{ifx, 0};
            zorv_drel_if_cfg_delete_cache_key(&any);
            break;
        }
        case 10: zorv_drel_if_cfg_avl_free_encaplist(ifnode); break;
        case 11:
            if (pick(r, 2) == 0)
                (void)zorv_drel_set_encap_uid(name);
            else
                (void)zorv_drel_restore_encap_uid(name, 1 + pick(r, 4096));
            break;
        }
        tracked_mem_fault_set(zt::kSvc, 0, 0);
        check(step);
        if (HasFailure()) return;
    }
}
