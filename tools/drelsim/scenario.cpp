// SPDX-License-Identifier: Apache-2.0
#include "scenario.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>
#include <yaml-cpp/yaml.h>

namespace drelsim {
namespace {

using Fields = std::initializer_list<const char *>;

// Reads one YAML document into the model; every complaint carries file, line and field path.
class Parser {
  public:
    explicit Parser(std::string source) : source_(std::move(source)) {}

    Scenario scenario(const YAML::Node &root);

  private:
    std::string source_;

    [[noreturn]] void fail(const YAML::Node &at, const std::string &path,
                           const std::string &what) const {
        std::ostringstream os;
        os << source_ << ':' << at.Mark().line + 1 << ": " << path << ": " << what;
        throw ScenarioError(os.str());
    }
    [[noreturn]] void expected(const YAML::Node &at, const std::string &path,
                               const std::string &what) const {
        std::string got = at.IsScalar()     ? " (got \"" + at.Scalar() + "\")"
                          : at.IsSequence() ? " (got a list)"
                          : at.IsMap()      ? " (got a mapping)"
                                            : "";
        fail(at, path, "expected " + what + got);
    }

    void require_map(const YAML::Node &n, const std::string &path, Fields allowed) const;
    YAML::Node required(const YAML::Node &map, const std::string &path, const char *key,
                        const std::string &what) const;
    uint32_t number(const YAML::Node &n, const std::string &path, uint64_t lo, uint64_t hi,
                    const std::string &what) const;
    std::string text(const YAML::Node &n, const std::string &path, size_t max_len) const;
    bool admin(const YAML::Node &n, const std::string &path) const;
    uint32_t mode(const YAML::Node &n, const std::string &path) const;
    VlanSet ranges(const YAML::Node &n, const std::string &path) const;
    struct Numbers {      // the numbers a key or a value of a number map may hold
        uint64_t hi;      // 1..hi
        const char *what; // what to expect, for the complaint
    };
    std::map<uint32_t, uint32_t> number_map(const YAML::Node &n, const std::string &path,
                                            const char *what, Numbers key, Numbers value,
                                            const char *twice) const;
    VlanMap vlan_map(const YAML::Node &n, const std::string &path) const;
    std::map<uint32_t, uint32_t> member_vnis(const YAML::Node &n, const std::string &path) const;
    std::set<uint32_t> fabric_bds(const YAML::Node &n, const std::string &path) const;
    EncapProfile profile(const YAML::Node &n, const std::string &path) const;
    ServiceInstance vsi(const YAML::Node &n, const std::string &path) const;
    Interface interface(const YAML::Node &n, const std::string &path) const;
    SwitchConfig switch_config(const YAML::Node &n, const std::string &path) const;
    Action action(const YAML::Node &n, const std::string &path) const;
    Step step(const YAML::Node &n, const std::string &path) const;
    void each(const YAML::Node &seq, const std::string &path,
              const std::function<void(const YAML::Node &, const std::string &)> &fn) const;
    void check_unique_interfaces(const YAML::Node &list, const std::string &path,
                                 const std::vector<Interface> &ifs) const;
    void replay_steps(Scenario &s, const YAML::Node &steps) const;
};

std::string join(Fields f) {
    std::string out;
    for (const char *s : f)
        out += (out.empty() ? "" : ", ") + std::string(s);
    return out;
}

void Parser::require_map(const YAML::Node &n, const std::string &path, Fields allowed) const {
    if (!n.IsMap()) expected(n, path, "a mapping with the fields " + join(allowed));
    for (auto it = n.begin(); it != n.end(); ++it) {
        std::string key = it->first.IsScalar() ? it->first.Scalar() : "?";
        if (std::find_if(allowed.begin(), allowed.end(), [&](const char *a) { return key == a; }) ==
            allowed.end())
            fail(it->first, path + "." + key,
                 "unknown field (expected one of " + join(allowed) + ")");
    }
}

YAML::Node Parser::required(const YAML::Node &map, const std::string &path, const char *key,
                            const std::string &what) const {
    YAML::Node n = map[key];
    if (!n || n.IsNull()) fail(map, path + "." + key, "missing field: expected " + what);
    return n;
}

uint32_t Parser::number(const YAML::Node &n, const std::string &path, uint64_t lo, uint64_t hi,
                        const std::string &what) const {
    if (!n.IsScalar()) expected(n, path, what);
    const std::string &s = n.Scalar();
    bool hex = s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
    if (s.empty() || !(hex || std::isdigit(static_cast<unsigned char>(s[0]))))
        expected(n, path, what);
    errno = 0;
    char *end = nullptr;
    unsigned long long v = std::strtoull(s.c_str(), &end, hex ? 16 : 10);
    if (errno != 0 || *end != '\0' || v < lo || v > hi) expected(n, path, what);
    return static_cast<uint32_t>(v);
}

std::string Parser::text(const YAML::Node &n, const std::string &path, size_t max_len) const {
    std::string what = "a text of at most " + std::to_string(max_len) + " characters";
    if (!n.IsScalar() || n.Scalar().size() > max_len) expected(n, path, what);
    return n.Scalar();
}

bool Parser::admin(const YAML::Node &n, const std::string &path) const {
    if (n.IsScalar() && n.Scalar() == "up") return true;
    if (n.IsScalar() && n.Scalar() == "down") return false;
    expected(n, path, "up or down");
}

uint32_t Parser::mode(const YAML::Node &n, const std::string &path) const {
    for (uint32_t m = kModeStatic; m <= kModeLldp; ++m)
        if (n.IsScalar() && n.Scalar() == mode_name(m)) return m;
    expected(n, path, "one of static, dfs, vmt, vdp, lldp");
}

VlanSet Parser::ranges(const YAML::Node &n, const std::string &path) const {
    const std::string what = "a VLAN range list such as \"10-20,30\" with VLANs 1..4095";
    if (!n.IsScalar()) expected(n, path, what);
    VlanSet set;
    std::stringstream ss(n.Scalar());
    std::string item;
    while (std::getline(ss, item, ',')) {
        item.erase(std::remove(item.begin(), item.end(), ' '), item.end());
        unsigned a = 0, b = 0;
        char dash = 0, extra = 0;
        int got = std::sscanf(item.c_str(), "%u%c%u%c", &a, &dash, &b, &extra);
        if (got == 1 && item.find_first_not_of("0123456789") == std::string::npos)
            b = a;
        else if (got != 3 || dash != '-' ||
                 item.find_first_not_of("0123456789-") != std::string::npos)
            expected(n, path, what);
        if (a < 1 || b > 4095 || a > b) expected(n, path, what);
        for (unsigned v = a; v <= b; ++v)
            set.set(v);
    }
    return set;
}

// A mapping of numbers to numbers (`what`), each key given once (else the complaint `twice`).
std::map<uint32_t, uint32_t> Parser::number_map(const YAML::Node &n, const std::string &path,
                                                const char *what, Numbers key, Numbers value,
                                                const char *twice) const {
    if (!n.IsMap()) expected(n, path, what);
    std::map<uint32_t, uint32_t> map;
    for (auto it = n.begin(); it != n.end(); ++it) {
        std::string at = path + "." + (it->first.IsScalar() ? it->first.Scalar() : "?");
        uint32_t k = number(it->first, at, 1, key.hi, key.what);
        uint32_t v = number(it->second, at, 1, value.hi, value.what);
        if (!map.emplace(k, v).second) fail(it->first, at, twice);
    }
    return map;
}

VlanMap Parser::vlan_map(const YAML::Node &n, const std::string &path) const {
    return number_map(n, path, "a mapping of VLAN to VNI such as {10: 5010, 20: 5020}",
                      {4095, "a VLAN 1..4095 as key"}, {0xFFFFFF, "a VNI 1..16777215"},
                      "VLAN given twice: expected each VLAN once");
}

std::map<uint32_t, uint32_t> Parser::member_vnis(const YAML::Node &n,
                                                 const std::string &path) const {
    return number_map(n, path, "a mapping of VNI to bridge domain such as {5010: 10}",
                      {0xFFFFFF, "a VNI 1..16777215 as key"}, {4095, "a bridge domain 1..4095"},
                      "VNI given twice: expected each VNI once");
}

std::set<uint32_t> Parser::fabric_bds(const YAML::Node &n, const std::string &path) const {
    if (!n.IsSequence()) expected(n, path, "a list of bridge domains such as [100, 101]");
    std::set<uint32_t> set;
    for (size_t i = 0; i < n.size(); ++i)
        set.insert(
            number(n[i], path + "[" + std::to_string(i) + "]", 1, 4095, "a bridge domain 1..4095"));
    return set;
}

void Parser::each(const YAML::Node &seq, const std::string &path,
                  const std::function<void(const YAML::Node &, const std::string &)> &fn) const {
    if (!seq.IsSequence()) expected(seq, path, "a list");
    for (size_t i = 0; i < seq.size(); ++i)
        fn(seq[i], path + "[" + std::to_string(i) + "]");
}

EncapProfile Parser::profile(const YAML::Node &n, const std::string &path) const {
    require_map(n, path, {"name", "vlan_to_vni"});
    EncapProfile p;
    p.name = text(required(n, path, "name", "the profile name"), path + ".name", 255);
    if (p.name.empty()) expected(n["name"], path + ".name", "a non-empty profile name");
    if (n["vlan_to_vni"]) p.vlan_to_vni = vlan_map(n["vlan_to_vni"], path + ".vlan_to_vni");
    return p;
}

ServiceInstance Parser::vsi(const YAML::Node &n, const std::string &path) const {
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

Interface Parser::interface(const YAML::Node &n, const std::string &path) const {
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

void Parser::check_unique_interfaces(const YAML::Node &list, const std::string &path,
                                     const std::vector<Interface> &ifs) const {
    for (size_t i = 0; i < ifs.size(); ++i)
        for (size_t j = 0; j < i; ++j) {
            std::string at = path + "[" + std::to_string(i) + "]";
            if (ifs[i].ifindex == ifs[j].ifindex)
                fail(list[i]["ifindex"], at + ".ifindex",
                     "expected an ifindex not used before on this switch");
            if (ifs[i].peer_link == ifs[j].peer_link)
                fail(list[i]["peer_link"], at + ".peer_link",
                     "expected a peer-link id not used before on this switch");
        }
}

SwitchConfig Parser::switch_config(const YAML::Node &n, const std::string &path) const {
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
    }
    return sw;
}

Action Parser::action(const YAML::Node &n, const std::string &path) const {
    static const Fields kinds = {
        "set_member_vni",          "delete_member_vni", "set_service_instance", "set_admin",
        "delete_service_instance", "clear_interface",   "add_encap_profile"};
    if (!n.IsMap() || n.size() != 1) expected(n, path, "a mapping with one action: " + join(kinds));
    require_map(n, path, kinds);
    const std::string kind = n.begin()->first.Scalar();
    const YAML::Node body = n.begin()->second;
    const std::string at = path + "." + kind;
    Action a;
    a.line = n.Mark().line + 1;
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
        YAML::Node copy = YAML::Clone(body);
        if (!copy.IsMap())
            expected(body, at, "a mapping with interface and the service-instance fields");
        a.ifindex = ifindex();
        copy.remove("interface");
        a.kind = ActionKind::SetServiceInstance;
        a.vsi = vsi(copy, at);
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

Step Parser::step(const YAML::Node &n, const std::string &path) const {
    require_map(n, path, {"description", "switch", "actions"});
    Step s;
    if (n["description"]) s.description = text(n["description"], path + ".description", 200);
    YAML::Node sw = required(n, path, "switch", "A or B");
    if (!sw.IsScalar() || (sw.Scalar() != "A" && sw.Scalar() != "B"))
        expected(sw, path + ".switch", "A or B");
    s.side = sw.Scalar() == "A" ? 0 : 1;
    YAML::Node actions = required(n, path, "actions", "a non-empty list of actions");
    each(actions, path + ".actions",
         [&](auto &node, auto &p) { s.actions.push_back(action(node, p)); });
    if (s.actions.empty()) expected(actions, path + ".actions", "a non-empty list of actions");
    return s;
}

// Steps must make sense in order: each one is tried on a copy of the configuration.
void Parser::replay_steps(Scenario &s, const YAML::Node &steps) const {
    SwitchConfig sw[2] = {s.sw[0], s.sw[1]};
    for (size_t i = 0; i < s.steps.size(); ++i) {
        const Step &st = s.steps[i];
        for (size_t k = 0; k < st.actions.size(); ++k) {
            if (auto err = apply_action(sw[st.side], st.actions[k])) {
                std::string p =
                    "steps[" + std::to_string(i) + "].actions[" + std::to_string(k) + "]";
                fail(steps[i]["actions"][k], p,
                     "expected an action that fits switch " + std::string(1, side_name(st.side)) +
                         " at this step, but " + *err);
            }
        }
    }
}

Scenario Parser::scenario(const YAML::Node &root) {
    require_map(root, "(top level)", {"name", "description", "switches", "steps"});
    Scenario s;
    s.source = source_;
    if (root["name"]) s.name = text(root["name"], "name", 80);
    if (root["description"]) s.description = text(root["description"], "description", 2000);
    YAML::Node sws =
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
    YAML::Node root;
    try {
        root = YAML::Load(text);
    } catch (const YAML::Exception &e) {
        throw ScenarioError(source + ":" + std::to_string(e.mark.line + 1) +
                            ": (YAML syntax): expected well-formed YAML, " + e.msg);
    }
    if (!root || root.IsNull())
        throw ScenarioError(
            source +
            ":1: (top level): expected a mapping with the field switches, got an empty document");
    return Parser(source).scenario(root);
}

Scenario load_scenario_file(const std::string &path) {
    std::ifstream in(path);
    if (!in)
        throw ScenarioError(path +
                            ":0: (file): expected a readable scenario file (cannot open it)");
    std::stringstream ss;
    ss << in.rdbuf();
    return load_scenario_text(ss.str(), path);
}

} // namespace drelsim
