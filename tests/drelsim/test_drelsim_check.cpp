// SPDX-License-Identifier: Apache-2.0
// End-to-end tests of `drelsim check` and `drelsim import`: real and sample configuration pairs,
// edited copies with exactly the edit charged, refused pairs, hostile files of every format, and
// the CI options (JUnit, --fail-on, --baseline, exit status over every round).
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <regex>
#include <set>

#include "drelsim_run.h"

using nlohmann::json;
namespace fs = std::filesystem;

namespace {

class Check : public ScratchTest {
  protected:
    // `drelsim check --json` of the single-DC leaf pair, B edited from `from` to `to` (kept in
    // b_).
    Outcome leaf1_with_b(const std::string &from, const std::string &to);

    std::string b_;
};

// Every VNI a switch's checks failed, over all scopes of the last round.
std::set<unsigned> failed_on(const json &report, const char *side) {
    std::set<unsigned> vnis;
    for (auto &s : report["rounds"].back()["scopes"])
        for (auto &f : s["peers"][side]["failed_vnis"])
            vnis.insert(f["vni"].get<unsigned>());
    return vnis;
}

// The scopes of the last round that fail, by name ("global", "peer link 8 (Port-Channel8)").
std::set<std::string> failing(const json &report) {
    std::set<std::string> out;
    for (auto &s : report["rounds"].back()["scopes"])
        if (s["verdict"] == "fail") out.insert(s["summary"].get<std::string>().substr(9, 30));
    for (auto &n : std::set<std::string>(out)) {
        out.erase(n);
        out.insert(n.substr(0, n.find_last_not_of(' ') + 1));
    }
    return out;
}

// The interfaces a switch would suspend, over all scopes of the last round.
std::set<std::string> suspended_on(const json &report, const char *side) {
    std::set<std::string> out;
    for (auto &s : report["rounds"].back()["scopes"])
        for (auto &c : s["peers"][side]["charged"])
            out.insert(c["interface"].get<std::string>());
    return out;
}

Outcome check(const std::string &a, const std::string &b, std::vector<std::string> extra = {}) {
    std::vector<std::string> args{"check", a, b, "--json"};
    args.insert(args.end(), extra.begin(), extra.end());
    return run(args);
}

// The warnings an import may give, each explained in docs/import.md.
const std::vector<std::regex> &explained() {
    static const std::vector<std::regex> kinds{
        std::regex("VRF \\S+ has layer-3 VNI \\d+ with no VLAN: not a member VNI, not checked"),
        std::regex("\\S+ carries VLANs [0-9,-]+ that have no VNI: they are allowed but map no VNI"),
        std::regex("\\S+ allows VLANs [0-9,-]+ that are not defined on this switch: not imported"),
        std::regex("peer-link version: no configuration states it; 40 assumed on both switches"),
        std::regex("fabric bridge domains: no configuration states them; none assumed"),
    };
    return kinds;
}

Outcome Check::leaf1_with_b(const std::string &from, const std::string &to) {
    const std::string pair = "avd-single-dc-l3ls-leaf1";
    b_ = edited(real(pair, "dc1-leaf1b.cfg"), "b.cfg", from, to);
    return check(real(pair, "dc1-leaf1a.cfg"), b_);
}

// A test name from any text: letters and digits kept, anything else '_'.
std::string test_name(std::string n) {
    for (char &c : n)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return n;
}

struct RealPair {
    std::string pair, a, b;
};

void PrintTo(const RealPair &p, std::ostream *os) {
    *os << p.pair << "/" << p.a;
}

class RealPairs : public Check, public ::testing::WithParamInterface<RealPair> {};

TEST_P(RealPairs, PassWithOnlyExplainedWarnings) {
    const RealPair &p = GetParam();
    Outcome r = check(real(p.pair, p.a), real(p.pair, p.b));
    ASSERT_EQ(r.status, 0) << r.err << r.out.substr(0, 2000);
    const json &j = r.report();
    EXPECT_EQ(j["schema"], 2);
    EXPECT_EQ(j["verdict"], "pass");
    EXPECT_FALSE(j["import"]["switches"]["A"]["domain_id"].get<std::string>().empty());
    for (auto &w : j["import"]["warnings"]) {
        const std::string text = w["text"];
        bool known = false;
        for (auto &k : explained())
            known = known || std::regex_match(text, k);
        EXPECT_TRUE(known) << "unexplained warning: " << text;
    }
    EXPECT_GE(j["rounds"][0]["scopes"].size(), 2u); // global and at least one MLAG port
}

INSTANTIATE_TEST_SUITE_P(
    Drelsim, RealPairs,
    ::testing::Values(RealPair{"avd-single-dc-l3ls-leaf1", "dc1-leaf1a.cfg", "dc1-leaf1b.cfg"},
                      RealPair{"avd-svc3-unit", "DC1-SVC3A.cfg", "DC1-SVC3B.cfg"},
                      RealPair{"avd-svc3-unit", "DC1-SVC3A.yml", "DC1-SVC3B.yml"},
                      RealPair{"avd-svc3-ebgp", "DC1-SVC3A.cfg", "DC1-SVC3B.cfg"},
                      RealPair{"avd-evpn-multicast-l3leaf1", "EVPN-MULTICAST-L3LEAF1A.cfg",
                               "EVPN-MULTICAST-L3LEAF1B.cfg"}),
    [](const ::testing::TestParamInfo<RealPair> &i) {
        return test_name(i.param.pair +
                         (i.param.a.find(".yml") != std::string::npos ? "Yaml" : ""));
    });

TEST_F(Check, MistypedVniIsChargedAloneOnEveryInterfaceCarryingIt) {
    Outcome r = leaf1_with_b("vxlan vlan 12 vni 10012", "vxlan vlan 12 vni 10013");
    ASSERT_EQ(r.status, 1) << r.err;
    EXPECT_EQ(failed_on(r.report(), "A"), std::set<unsigned>{10012});
    EXPECT_EQ(failed_on(r.report(), "B"), std::set<unsigned>{10013});
    EXPECT_EQ(failing(r.report()), (std::set<std::string>{"global", "peer link 5 (Port-Channel5)",
                                                          "peer link 8 (Port-Channel8)"}));
    EXPECT_EQ(suspended_on(r.report(), "A"),
              (std::set<std::string>{"Port-Channel5", "Port-Channel8"}));
    for (auto &s : r.report()["rounds"][0]["scopes"])
        for (auto &c : s["peers"]["A"]["charged"])
            EXPECT_EQ(c["vlans"], json::array({12})) << s["title"];
}

TEST_F(Check, ShutDownPortChannelChargesItsWholeInstance) {
    Outcome r = leaf1_with_b("   description L2_dc1-leaf1c_Port-Channel1\n   no shutdown",
                             "   description L2_dc1-leaf1c_Port-Channel1\n   shutdown");
    ASSERT_EQ(r.status, 1) << r.err;
    EXPECT_EQ(failing(r.report()), std::set<std::string>{"peer link 8 (Port-Channel8)"});
    EXPECT_EQ(failed_on(r.report(), "A"),
              (std::set<unsigned>{10011, 10012, 10021, 10022, 13401, 13402}));
    EXPECT_EQ(suspended_on(r.report(), "B"), std::set<std::string>{"Port-Channel8"});
}

TEST_F(Check, VlanRemovedFromATrunkIsChargedOnThatTrunkOnly) {
    Outcome r = leaf1_with_b("switchport trunk allowed vlan 11-12,21-22\n",
                             "switchport trunk allowed vlan 11-12,21\n");
    ASSERT_EQ(r.status, 1) << r.err;
    EXPECT_EQ(failing(r.report()), std::set<std::string>{"peer link 5 (Port-Channel5)"});
    EXPECT_EQ(failed_on(r.report(), "A"), std::set<unsigned>{10022});
    EXPECT_TRUE(failed_on(r.report(), "B").empty());
}

TEST_F(Check, MistypedVniInStructuredYamlIsChargedAlone) {
    const std::string pair = "avd-svc3-unit";
    const std::string b =
        edited(real(pair, "DC1-SVC3B.yml"), "b.yml", "vni: 10131\n", "vni: 10132\n");
    Outcome r = check(real(pair, "DC1-SVC3A.yml"), b);
    ASSERT_EQ(r.status, 1) << r.err;
    EXPECT_EQ(failed_on(r.report(), "A"), std::set<unsigned>{10131});
    EXPECT_EQ(failed_on(r.report(), "B"), std::set<unsigned>{10132});
}

struct SampleFormat {
    std::string suffix, format, from, to; // the edit on B: 20 -> 10020 becomes 10021
    size_t suspended;                     // interfaces of A that carry VLAN 20
};

void PrintTo(const SampleFormat &f, std::ostream *os) {
    *os << f.format;
}

class Samples : public Check, public ::testing::WithParamInterface<SampleFormat> {};

TEST_P(Samples, ConsistentPairPasses) {
    const SampleFormat &f = GetParam();
    Outcome r = check(sample("leaf01." + f.suffix), sample("leaf02." + f.suffix));
    ASSERT_EQ(r.status, 0) << r.err << r.out.substr(0, 3000);
    EXPECT_EQ(r.report()["import"]["switches"]["A"]["format"], f.format);
    EXPECT_EQ(r.report()["import"]["switches"]["B"]["format"], f.format);
    EXPECT_GE(r.report()["rounds"][0]["scopes"].size(), 3u);
}

TEST_P(Samples, EditedVniIsChargedAlone) {
    const SampleFormat &f = GetParam();
    const std::string b = edited(sample("leaf02." + f.suffix), "b." + f.suffix, f.from, f.to);
    Outcome r = check(sample("leaf01." + f.suffix), b);
    ASSERT_EQ(r.status, 1) << r.err;
    EXPECT_EQ(failed_on(r.report(), "A"), std::set<unsigned>{10020});
    EXPECT_EQ(failed_on(r.report(), "B"), std::set<unsigned>{10021});
    EXPECT_EQ(suspended_on(r.report(), "A").size(), f.suspended);
}

INSTANTIATE_TEST_SUITE_P(
    Drelsim, Samples,
    ::testing::Values(
        // bond2 and bond3 (which takes every VLAN of the bridge) carry VLAN 20
        SampleFormat{"interfaces", "ifupdown2", "20=10020", "20=10021", 2},
        SampleFormat{"startup.yaml", "nvue", "'10020': {}", "'10021': {}", 1},
        SampleFormat{"config_db.json", "sonic", "\"vlan\": \"Vlan20\", \"vni\": \"10020\"",
                     "\"vlan\": \"Vlan20\", \"vni\": \"10021\"", 1}),
    [](const ::testing::TestParamInfo<SampleFormat> &i) { return test_name(i.param.format); });

TEST_F(Check, TwoMlagDomainsAreRefused) {
    Outcome r = leaf1_with_b("domain-id DC1_L3_LEAF1", "domain-id DC1_L3_LEAF2");
    const std::string &b = b_;
    EXPECT_EQ(r.status, 2);
    EXPECT_TRUE(r.out.empty());
    EXPECT_EQ(r.err, "drelsim: configuration error: " + b +
                         ": MLAG domain \"DC1_L3_LEAF2\" differs from \"DC1_L3_LEAF1\" of "
                         "dc1-leaf1a (" +
                         real("avd-single-dc-l3ls-leaf1", "dc1-leaf1a.cfg") +
                         "): expected the two switches of one MLAG domain\n");
}

TEST_F(Check, TheSameSwitchTwiceIsRefused) {
    const std::string a = real("avd-svc3-ebgp", "DC1-SVC3A.cfg");
    Outcome r = check(a, a);
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("drelsim: configuration error: " + a + ": the same switch as DC1-SVC3A"),
              std::string::npos)
        << r.err;
    const std::string copy = write("copy.cfg", slurp(a));
    Outcome same_host = check(a, copy);
    EXPECT_EQ(same_host.status, 2);
    EXPECT_NE(same_host.err.find("(same hostname)"), std::string::npos) << same_host.err;
}

TEST_F(Check, UnknownFormatNamesWhatWasLookedFor) {
    const std::string f = write("notes.txt", "just some notes\nabout a switch\n");
    Outcome r = check(f, sample("leaf02.interfaces"));
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("drelsim: configuration error: " + f +
                         ":1: unknown format: expected one "
                         "of an EOS-style running-config"),
              std::string::npos)
        << r.err;
    EXPECT_NE(r.err.find("SONiC config_db.json"), std::string::npos);
}

TEST_F(Check, UnpairedMlagPortIsWarnedAndItsScopeCharged) {
    Outcome r = leaf1_with_b("   mlag 8\n", "");
    const std::string &b = b_;
    ASSERT_EQ(r.status, 1) << r.err;
    bool warned = false;
    for (auto &w : r.report()["import"]["warnings"])
        warned = warned || w["text"].get<std::string>().find(
                               "Port-Channel8 (MLAG id 8) has no partner with that id on " + b) !=
                               std::string::npos;
    EXPECT_TRUE(warned);
    EXPECT_EQ(failing(r.report()), std::set<std::string>{"peer link 8 (Port-Channel8)"});
    for (auto &s : r.report()["rounds"][0]["scopes"])
        if (s["peer_link"] == 8) {
            EXPECT_EQ(s["peers"]["B"]["whole_scope"],
                      "B has no interface for peer link 8 (Port-Channel8): the whole interface is "
                      "inconsistent");
            EXPECT_EQ(s["peers"]["A"]["charged"].size(), 1u);
        }
}

TEST_F(Check, ImportWritesAScenarioThatRunsTheSame) {
    const std::string out = dir_ + "/pair.yaml";
    Outcome imp =
        run({"import", sample("leaf01.interfaces"), sample("leaf02.interfaces"), "-o", out});
    ASSERT_EQ(imp.status, 0) << imp.err;
    const std::string text = slurp(out);
    EXPECT_EQ(text.rfind("# Imported by drelsim import ", 0), 0u);
    EXPECT_NE(text.find("# warning: pair: peer-link version"), std::string::npos);
    Outcome r = run({out, "--json"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.report()["rounds"][0]["scopes"].size(), 4u);
}

// ---- Hostile files: each is refused with exit 2, file and line, never a crash. ----

struct Hostile {
    std::string format, kind;
};

void PrintTo(const Hostile &h, std::ostream *os) {
    *os << h.format << " " << h.kind;
}

class HostileFiles : public Check, public ::testing::WithParamInterface<Hostile> {
  protected:
    // A file of `kind` in the format `format`, and the line its complaint must name.
    std::pair<std::string, int> make(const Hostile &h) {
        const std::map<std::string, std::string> base{
            {"eos", slurp(real("avd-single-dc-l3ls-leaf1", "dc1-leaf1b.cfg"))},
            {"eos-yaml", slurp(real("avd-svc3-unit", "DC1-SVC3B.yml"))},
            {"ifupdown2", slurp(sample("leaf02.interfaces"))},
            {"nvue", slurp(sample("leaf02.startup.yaml"))},
            {"sonic", slurp(sample("leaf02.config_db.json"))},
            {"scenario", slurp(kDir + "/identical.yaml")}};
        std::string text = base.at(h.format);
        const int lines = static_cast<int>(std::count(text.begin(), text.end(), '\n'));
        if (h.kind == "truncated") {
            const size_t cut = text.find('\n', text.size() / 2) - 3;
            return {write("t", text.substr(0, cut)), 0};
        }
        if (h.kind == "binary") {
            std::string bin = text.substr(0, text.find('\n') + 1);
            for (int i = 0; i < 4096; ++i)
                bin += static_cast<char>((i * 7919) & 0xff);
            return {write("b", bin), 2};
        }
        if (h.kind == "long-line") {
            const std::string line = (h.format == "sonic" ? "" : "#") + std::string(10 << 20, 'x');
            const size_t second = text.find('\n') + 1;
            return {write("l", text.substr(0, second) + line + "\n" + text.substr(second)), 2};
        }
        // 100,000 VLANs, in the format's own way of listing VLANs.
        std::string many;
        if (h.format == "eos") {
            for (int v = 1; v <= 100000; ++v)
                many += "vlan " + std::to_string(v) + "\n!\n";
            return {write("v", many + text), 2 * 4095 + 1};
        }
        if (h.format == "eos-yaml") {
            many = "vlans:\n";
            for (int v = 1; v <= 100000; ++v)
                many += "- id: " + std::to_string(v) + "\n";
            return {write("v", "hostname: x\n" + many + "mlag_configuration: {}\n"), 2 + 4095};
        }
        if (h.format == "ifupdown2") {
            many = "auto br\niface br\n    bridge-ports bond1\n    bridge-vids";
            for (int v = 1; v <= 100000; ++v)
                many += " " + std::to_string(v);
            return {write("v", many + "\n"), 4};
        }
        if (h.format == "nvue") {
            many = "- set:\n    bridge:\n      domain:\n        br_default:\n          vlan:\n";
            for (int v = 1; v <= 100000; ++v)
                many += "            '" + std::to_string(v) + "': {}\n";
            return {write("v", many), 5 + 4096};
        }
        if (h.format == "sonic") {
            many = "{\n\"VLAN\": {\n";
            for (int v = 1; v <= 100000; ++v)
                many += "\"Vlan" + std::to_string(v) + "\": {}" + (v < 100000 ? ",\n" : "\n");
            return {write("v", many + "}}\n"), 2 + 4095};
        }
        many = "switches:\n  A:\n    interfaces:\n      - ifindex: 1\n        peer_link: 1\n"
               "        service_instances:\n          - id: 1\n            vlan_to_vni:\n";
        for (int v = 1; v <= 100000; ++v)
            many += "              " + std::to_string(v) + ": 5000\n";
        (void)lines;
        return {write("v", many + "  B: {}\n"), 8 + 4096};
    }
};

TEST_P(HostileFiles, ExitTwoWithFileAndLine) {
    const Hostile &h = GetParam();
    auto [path, line] = make(h);
    const bool scenario = h.format == "scenario";
    Outcome r = scenario ? run({path}) : check(path, sample("leaf01.interfaces"));
    EXPECT_EQ(r.status, 2) << r.err.substr(0, 500);
    const std::string head = std::string("drelsim: ") + (scenario ? "scenario" : "configuration") +
                             " error: " + path + ":";
    ASSERT_EQ(r.err.rfind(head, 0), 0u) << r.err.substr(0, 500);
    const int got = std::atoi(r.err.c_str() + head.size());
    if (line) {
        EXPECT_EQ(got, line) << r.err.substr(0, 500);
    }
    EXPECT_GT(got, 0) << r.err.substr(0, 500);
    EXPECT_LT(r.err.size(), 1000u) << "the complaint must not echo the file";
}

std::vector<Hostile> hostile_cases() {
    std::vector<Hostile> out;
    for (const char *f : {"eos", "eos-yaml", "ifupdown2", "nvue", "sonic", "scenario"})
        for (const char *k : {"truncated", "binary", "long-line", "vlans"})
            out.push_back({f, k});
    return out;
}

INSTANTIATE_TEST_SUITE_P(Drelsim, HostileFiles, ::testing::ValuesIn(hostile_cases()),
                         [](const ::testing::TestParamInfo<Hostile> &i) {
                             return test_name(i.param.format + "_" + i.param.kind);
                         });

} // namespace
