// SPDX-License-Identifier: Apache-2.0
#include "scenario.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <sstream>
#include <unordered_map>

#include "input.h"
#include "yaml_tree.h"

namespace drelsim {
namespace {

using Fields = std::initializer_list<const char *>;

// Reads one YAML document into the model; every complaint carries file, line and field path.
class Parser {
  public:
    explicit Parser(std::string source) : source_(std::move(source)) {}

    Scenario scenario(const YNode &root);

  private:
    std::string source_;

    [[noreturn]] void fail(const YNode &at, const std::string &path,
                           const std::string &what) const {
        std::ostringstream os;
        os << source_ << ':' << at.line << ": " << field_text(path) << ": " << what;
        throw ScenarioError(os.str());
    }
    [[noreturn]] void expected(const YNode &at, const std::string &path,
                               const std::string &what) const {
        std::string got = at.is_scalar()     ? " (got " + echo(at.text) + ")"
                          : at.is_sequence() ? " (got a list)"
                          : at.is_map()      ? " (got a mapping)"
                                             : "";
        fail(at, path, "expected " + what + got);
    }

    void require_map(const YNode &n, const std::string &path, Fields allowed) const;
    const YNode &required(const YNode &map, const std::string &path, const char *key,
                          const std::string &what) const;
    uint32_t number(const YNode &n, const std::string &path, uint64_t lo, uint64_t hi,
                    const std::string &what) const;
    std::string text(const YNode &n, const std::string &path, size_t max_len) const;
    bool admin(const YNode &n, const std::string &path) const;
    uint32_t mode(const YNode &n, const std::string &path) const;
    VlanSet ranges(const YNode &n, const std::string &path) const;
    struct Numbers {      // the numbers a key or a value of a number map may hold
        uint64_t hi;      // 1..hi
        const char *what; // what to expect, for the complaint
        const char *many; // the same in the plural, for a range
    };
    using Pairs = std::vector<std::pair<uint32_t, uint32_t>>;
    Pairs number_map(const YNode &n, const std::string &path, const char *what, Numbers key,
                     Numbers value, const char *twice) const;
    std::pair<uint32_t, uint32_t> range(const YNode &n, const std::string &path, Numbers nums,
                                        const std::string &what) const;
    VlanMap vlan_map(const YNode &n, const std::string &path) const;
    std::map<uint32_t, uint32_t> member_vnis(const YNode &n, const std::string &path) const;
    std::set<uint32_t> fabric_bds(const YNode &n, const std::string &path) const;
    EncapProfile profile(const YNode &n, const std::string &path) const;
    // `in_step`: the fields of a set_service_instance action, which also names the interface.
    ServiceInstance vsi(const YNode &n, const std::string &path, bool in_step = false) const;
    Interface interface(const YNode &n, const std::string &path) const;
    SwitchConfig switch_config(const YNode &n, const std::string &path) const;
    Action action(const YNode &n, const std::string &path) const;
    Step step(const YNode &n, const std::string &path) const;
    void each(const YNode &seq, const std::string &path,
              const std::function<void(const YNode &, const std::string &)> &fn) const;
    void check_unique_interfaces(const YNode &list, const std::string &path,
                                 const std::vector<Interface> &ifs) const;
    void replay_steps(Scenario &s, const YNode &steps) const;
};

std::string join(Fields f) {
    std::string out;
    for (const char *s : f)
        out += (out.empty() ? "" : ", ") + std::string(s);
    return out;
}

void Parser::require_map(const YNode &n, const std::string &path, Fields allowed) const {
    if (!n.is_map()) expected(n, path, "a mapping with the fields " + join(allowed));
    for (size_t i = 0; i < n.size(); ++i) {
        const std::string &key = n.key(i).text;
        if (std::find_if(allowed.begin(), allowed.end(), [&](const char *a) { return key == a; }) ==
            allowed.end())
            fail(n.key(i), path + "." + key,
                 "unknown field (expected one of " + join(allowed) + ")");
    }
}

const YNode &Parser::required(const YNode &map, const std::string &path, const char *key,
                              const std::string &what) const {
    const YNode &n = map[key];
    if (!n || n.is_null()) fail(map, path + "." + key, "missing field: expected " + what);
    return n;
}

uint32_t Parser::number(const YNode &n, const std::string &path, uint64_t lo, uint64_t hi,
                        const std::string &what) const {
    if (!n.is_scalar()) expected(n, path, what);
    const std::string &s = n.text;
    bool hex = s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
    if (s.empty() || !(hex || std::isdigit(static_cast<unsigned char>(s[0]))))
        expected(n, path, what);
    errno = 0;
    char *end = nullptr;
    unsigned long long v = std::strtoull(s.c_str(), &end, hex ? 16 : 10);
    if (errno != 0 || *end != '\0' || v < lo || v > hi) expected(n, path, what);
    return static_cast<uint32_t>(v);
}

std::string Parser::text(const YNode &n, const std::string &path, size_t max_len) const {
    std::string what = "a text of at most " + std::to_string(max_len) + " characters";
    if (!n.is_scalar() || n.text.size() > max_len) expected(n, path, what);
    return n.text;
}

bool Parser::admin(const YNode &n, const std::string &path) const {
    if (n.is_scalar() && n.text == "up") return true;
    if (n.is_scalar() && n.text == "down") return false;
    expected(n, path, "up or down");
}

uint32_t Parser::mode(const YNode &n, const std::string &path) const {
    for (uint32_t m = kModeStatic; m <= kModeLldp; ++m)
        if (n.is_scalar() && n.text == mode_name(m)) return m;
    expected(n, path, "one of static, dfs, vmt, vdp, lldp");
}

VlanSet Parser::ranges(const YNode &n, const std::string &path) const {
    const std::string what = "a VLAN range list such as \"10-20,30\" with VLANs 1..4095";
    VlanSet set;
    if (!n.is_scalar() || !parse_vlan_ranges(n.text, set)) expected(n, path, what);
    return set;
}

// "lo-hi" of numbers 1..nums.hi, lo <= hi; else the complaint `what`.
std::pair<uint32_t, uint32_t> Parser::range(const YNode &n, const std::string &path, Numbers nums,
                                            const std::string &what) const {
    const size_t dash = n.text.find('-');
    YNode lo = n, hi = n;
    lo.text = n.text.substr(0, dash), hi.text = n.text.substr(dash + 1);
    const uint32_t a = number(lo, path, 1, nums.hi, what), b = number(hi, path, 1, nums.hi, what);
    if (a > b) expected(n, path, what);
    return {a, b};
}

// A mapping of numbers to numbers (`what`), in ascending key order. A key may be a range such as
// 10-20 whose value is a range of as many numbers (10010-10020): the i-th key maps to the i-th
// value. Each key is given once (else the complaint `twice`).
Parser::Pairs Parser::number_map(const YNode &n, const std::string &path, const char *what,
                                 Numbers key, Numbers value, const char *twice) const {
    if (!n.is_map()) expected(n, path, what);
    Pairs out;
    out.reserve(n.size());
    std::vector<bool> seen(key.hi + 1);
    for (size_t i = 0; i < n.size(); ++i) {
        const YNode &k = n.key(i), &v = n.value(i);
        std::string at = path + "." + k.text;
        if (!k.is_scalar() || k.text.find('-') == std::string::npos || k.text[0] == '-') {
            const uint32_t kn = number(k, at, 1, key.hi, key.what);
            const uint32_t vn = number(v, at, 1, value.hi, value.what);
            if (seen[kn]) fail(k, at, twice);
            seen[kn] = true;
            out.emplace_back(kn, vn);
            continue;
        }
        const auto [klo, khi] =
            range(k, at, key, std::string("a range lo-hi of ") + key.many + " as key");
        const uint32_t count = khi - klo + 1;
        const std::string vwhat = "a range lo-hi of " + std::to_string(count) + " " + value.many +
                                  ", as many as the key holds";
        if (!v.is_scalar() || v.text.find('-') == std::string::npos) expected(v, at, vwhat);
        const auto [vlo, vhi] = range(v, at, value, vwhat);
        if (vhi - vlo + 1 != count) expected(v, at, vwhat);
        for (uint32_t x = 0; x < count; ++x) {
            if (seen[klo + x]) fail(k, at, twice);
            seen[klo + x] = true;
            out.emplace_back(klo + x, vlo + x);
        }
    }
    if (!std::is_sorted(out.begin(), out.end())) std::sort(out.begin(), out.end());
    return out;
}

VlanMap Parser::vlan_map(const YNode &n, const std::string &path) const {
    VlanMap map;
    const Pairs pairs = number_map(n, path, "a mapping of VLAN to VNI such as {10: 5010, 20: 5020}",
                                   {4095, "a VLAN 1..4095 as key", "VLANs 1..4095"},
                                   {0xFFFFFF, "a VNI 1..16777215", "VNIs 1..16777215"},
                                   "VLAN given twice: expected each VLAN once");
    map.reserve(pairs.size());
    for (auto &[vlan, vni] : pairs)
        map[vlan] = vni;
    return map;
}

std::map<uint32_t, uint32_t> Parser::member_vnis(const YNode &n, const std::string &path) const {
    const Pairs pairs = number_map(n, path, "a mapping of VNI to bridge domain such as {5010: 10}",
                                   {0xFFFFFF, "a VNI 1..16777215 as key", "VNIs 1..16777215"},
                                   {4095, "a bridge domain 1..4095", "bridge domains 1..4095"},
                                   "VNI given twice: expected each VNI once");
    std::map<uint32_t, uint32_t> map;
    for (auto &[vni, bd] : pairs)
        map.emplace_hint(map.end(), vni, bd);
    return map;
}

std::set<uint32_t> Parser::fabric_bds(const YNode &n, const std::string &path) const {
    if (!n.is_sequence()) expected(n, path, "a list of bridge domains such as [100, 101]");
    std::set<uint32_t> set;
    for (size_t i = 0; i < n.size(); ++i)
        set.insert(number(n.items[i], path + "[" + std::to_string(i) + "]", 1, 4095,
                          "a bridge domain 1..4095"));
    return set;
}

void Parser::each(const YNode &seq, const std::string &path,
                  const std::function<void(const YNode &, const std::string &)> &fn) const {
    if (!seq.is_sequence()) expected(seq, path, "a list");
    for (size_t i = 0; i < seq.size(); ++i)
        fn(seq.items[i], path + "[" + std::to_string(i) + "]");
}

EncapProfile Parser::profile(const YNode &n, const std::string &path) const {
    require_map(n, path, {"name", "vlan_to_vni"});
    EncapProfile p;
    p.name = text(required(n, path, "name", "the profile name"), path + ".name", 255);
    if (p.name.empty()) expected(n["name"], path + ".name", "a non-empty profile name");
    if (n["vlan_to_vni"]) p.vlan_to_vni = vlan_map(n["vlan_to_vni"], path + ".vlan_to_vni");
    return p;
}

ServiceInstance Parser::vsi(const YNode &n, const std::string &path, bool in_step) const {
    if (in_step)
        require_map(
            n, path,
            {"interface", "id", "admin", "mode", "vlan_to_vni", "allowed_vlans", "profile"});
    else
        require_map(n, path, {"id", "admin", "mode", "vlan_to_vni", "allowed_vlans", "profile"});
    ServiceInstance v;
    v.id = number(required(n, path, "id", "the service-instance id 1..4294967295"), path + ".id", 1,
                  0xFFFFFFFFu, "a service-instance id 1..4294967295");
    if (n["admin"]) v.admin_up = admin(n["admin"], path + ".admin");
    if (n["mode"]) v.mode = mode(n["mode"], path + ".mode");
    if (n["vlan_to_vni"]) v.vlan_to_vni = vlan_map(n["vlan_to_vni"], path + ".vlan_to_vni");
    if (n["allowed_vlans"])
        v.allowed = ranges(n["allowed_vlans"], path + ".allowed_vlans");
    else
        for (auto &[vlan, vni] : v.vlan_to_vni)
            v.allowed.set(vlan);
    if (n["profile"]) v.profile = text(n["profile"], path + ".profile", 255);
    return v;
}

Interface Parser::interface(const YNode &n, const std::string &path) const {
    require_map(n, path, {"ifindex", "peer_link", "name", "service_instances"});
    Interface i;
    const std::string what_if = "an interface index 1..4294967295 (decimal or 0x hex)";
    i.ifindex =
        number(required(n, path, "ifindex", what_if), path + ".ifindex", 1, 0xFFFFFFFFu, what_if);
    const std::string what_pl = "a peer-link id 1..4294967295";
    i.peer_link = number(required(n, path, "peer_link", what_pl), path + ".peer_link", 1,
                         0xFFFFFFFFu, what_pl);
    if (n["name"]) i.name = text(n["name"], path + ".name", 63);
    if (!n["service_instances"]) return i;
    std::set<uint32_t> ids;
    each(n["service_instances"], path + ".service_instances", [&](auto &node, auto &p) {
        i.vsis.push_back(vsi(node, p));
        if (!ids.insert(i.vsis.back().id).second)
            fail(node["id"], p + ".id",
                 "expected a service-instance id not used before on this interface");
    });
    std::sort(i.vsis.begin(), i.vsis.end(), [](auto &a, auto &b) { return a.id < b.id; });
    return i;
}

void Parser::check_unique_interfaces(const YNode &list, const std::string &path,
                                     const std::vector<Interface> &ifs) const {
    // The first earlier interface that shares either number is the one complained of (its
    // ifindex before its peer-link id), as a comparison with every earlier one would find.
    std::unordered_map<uint32_t, size_t> first_if, first_link;
    for (size_t i = 0; i < ifs.size(); ++i) {
        auto by_if = first_if.emplace(ifs[i].ifindex, i).first;
        auto by_link = first_link.emplace(ifs[i].peer_link, i).first;
        const size_t j_if = by_if->second, j_link = by_link->second;
        if (j_if == i && j_link == i) continue;
        std::string at = path + "[" + std::to_string(i) + "]";
        if (j_if <= j_link || j_link == i)
            fail(list.items[i]["ifindex"], at + ".ifindex",
                 "expected an ifindex not used before on this switch");
        fail(list.items[i]["peer_link"], at + ".peer_link",
             "expected a peer-link id not used before on this switch");
    }
}

SwitchConfig Parser::switch_config(const YNode &n, const std::string &path) const {
    require_map(n, path,
                {"peer_link_version", "fabric_bds", "member_vnis", "encap_profiles", "interfaces"});
    SwitchConfig sw;
    if (n["peer_link_version"])
        sw.peer_link_version = number(n["peer_link_version"], path + ".peer_link_version", 0,
                                      0xFFFFFFFFu, "a peer-link operational version such as 40");
    if (n["fabric_bds"]) sw.fabric_bds = fabric_bds(n["fabric_bds"], path + ".fabric_bds");
    if (n["member_vnis"]) sw.member_vnis = member_vnis(n["member_vnis"], path + ".member_vnis");
    if (n["encap_profiles"])
        each(n["encap_profiles"], path + ".encap_profiles", [&](auto &node, auto &p) {
            sw.profiles.push_back(profile(node, p));
            for (size_t k = 0; k + 1 < sw.profiles.size(); ++k)
                if (sw.profiles[k].name == sw.profiles.back().name)
                    fail(node["name"], p + ".name",
                         "expected a profile name not used before on this switch");
        });
    if (n["interfaces"]) {
        each(n["interfaces"], path + ".interfaces",
             [&](auto &node, auto &p) { sw.interfaces.push_back(interface(node, p)); });
        check_unique_interfaces(n["interfaces"], path + ".interfaces", sw.interfaces);
        index_interfaces(sw);
    }
    return sw;
}

Action Parser::action(const YNode &n, const std::string &path) const {
    static const Fields kinds = {
        "set_member_vni",          "delete_member_vni", "set_service_instance", "set_admin",
        "delete_service_instance", "clear_interface",   "add_encap_profile"};
    if (!n.is_map() || n.size() != 1)
        expected(n, path, "a mapping with one action: " + join(kinds));
    require_map(n, path, kinds);
    const std::string kind = n.key(0).text;
    const YNode &body = n.value(0);
    const std::string at = path + "." + kind;
    Action a;
    a.line = n.line;
    const std::string what_if = "the ifindex of a peer-link interface of this switch";
    auto ifindex = [&] {
        return number(required(body, at, "interface", what_if), at + ".interface", 1, 0xFFFFFFFFu,
                      what_if);
    };
    auto vsi_id = [&] {
        return number(required(body, at, "id", "a service-instance id"), at + ".id", 1, 0xFFFFFFFFu,
                      "a service-instance id 1..4294967295");
    };
    auto vni = [&] {
        return number(required(body, at, "vni", "a VNI"), at + ".vni", 1, 0xFFFFFF,
                      "a VNI 1..16777215");
    };
    if (kind == "set_member_vni") {
        require_map(body, at, {"vni", "bd"});
        a.kind = ActionKind::SetMemberVni;
        a.vni = vni();
        a.bd = number(required(body, at, "bd", "a bridge domain"), at + ".bd", 1, 4095,
                      "a bridge domain 1..4095");
    } else if (kind == "delete_member_vni") {
        require_map(body, at, {"vni"});
        a.kind = ActionKind::DeleteMemberVni;
        a.vni = vni();
    } else if (kind == "set_service_instance") {
        if (!body.is_map())
            expected(body, at, "a mapping with interface and the service-instance fields");
        a.ifindex = ifindex();
        a.kind = ActionKind::SetServiceInstance;
        a.vsi = vsi(body, at, true);
    } else if (kind == "set_admin") {
        require_map(body, at, {"interface", "id", "admin"});
        a.kind = ActionKind::SetAdmin;
        a.ifindex = ifindex();
        a.vsi_id = vsi_id();
        a.admin_up = admin(required(body, at, "admin", "up or down"), at + ".admin");
    } else if (kind == "delete_service_instance") {
        require_map(body, at, {"interface", "id"});
        a.kind = ActionKind::DeleteServiceInstance;
        a.ifindex = ifindex();
        a.vsi_id = vsi_id();
    } else if (kind == "clear_interface") {
        require_map(body, at, {"interface"});
        a.kind = ActionKind::ClearInterface;
        a.ifindex = ifindex();
    } else {
        a.kind = ActionKind::AddEncapProfile;
        a.profile = profile(body, at);
    }
    return a;
}

Step Parser::step(const YNode &n, const std::string &path) const {
    require_map(n, path, {"description", "switch", "actions"});
    Step s;
    if (n["description"]) s.description = text(n["description"], path + ".description", 200);
    const YNode &sw = required(n, path, "switch", "A or B");
    if (!sw.is_scalar() || (sw.text != "A" && sw.text != "B"))
        expected(sw, path + ".switch", "A or B");
    s.side = sw.text == "A" ? 0 : 1;
    const YNode &actions = required(n, path, "actions", "a non-empty list of actions");
    each(actions, path + ".actions",
         [&](auto &node, auto &p) { s.actions.push_back(action(node, p)); });
    if (s.actions.empty()) expected(actions, path + ".actions", "a non-empty list of actions");
    return s;
}

// Steps must make sense in order: each one is tried on a copy of the configuration.
void Parser::replay_steps(Scenario &s, const YNode &steps) const {
    SwitchConfig sw[2] = {s.sw[0], s.sw[1]};
    for (size_t i = 0; i < s.steps.size(); ++i) {
        const Step &st = s.steps[i];
        for (size_t k = 0; k < st.actions.size(); ++k) {
            if (auto err = apply_action(sw[st.side], st.actions[k])) {
                std::string p =
                    "steps[" + std::to_string(i) + "].actions[" + std::to_string(k) + "]";
                fail(steps.items[i]["actions"].items[k], p,
                     "expected an action that fits switch " + std::string(1, side_name(st.side)) +
                         " at this step, but " + *err);
            }
        }
    }
}

Scenario Parser::scenario(const YNode &root) {
    require_map(root, "(top level)", {"name", "description", "switches", "steps"});
    Scenario s;
    s.source = source_;
    if (root["name"]) s.name = text(root["name"], "name", 80);
    if (root["description"]) s.description = text(root["description"], "description", 2000);
    const YNode &sws =
        required(root, "(top level)", "switches", "a mapping with the switches A and B");
    require_map(sws, "switches", {"A", "B"});
    for (int side = 0; side < 2; ++side) {
        std::string key(1, side_name(side));
        s.sw[side] = switch_config(
            required(sws, "switches", key.c_str(), "the configuration of switch " + key),
            "switches." + key);
    }
    if (root["steps"]) {
        each(root["steps"], "steps",
             [&](auto &node, auto &p) { s.steps.push_back(step(node, p)); });
        replay_steps(s, root["steps"]);
    }
    return s;
}

} // namespace

Scenario load_scenario_text(const std::string &text, const std::string &source) {
    check_text(text, source);
    const YNode root = load_yaml(text, source);
    if (root.is_null())
        throw ScenarioError(
            source +
            ":1: (top level): expected a mapping with the field switches, got an empty document");
    return Parser(source).scenario(root);
}

Scenario load_scenario_file(const std::string &path) {
    const std::string text = read_input(path);
    check_text(text, path);
    check_complete(text, path);
    return load_scenario_text(text, path);
}

} // namespace drelsim
