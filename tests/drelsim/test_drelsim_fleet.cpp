// SPDX-License-Identifier: Apache-2.0
// End-to-end tests of `drelsim fleet` and `drelsim merge`: pairing by MLAG domain and crossed
// peer addresses, by anycast address and by backup IPs where system MACs repeat; unpaired
// switches and unreadable files; one summary, JUnit file, JSON report and exit status; the
// same result however many pairs run at once; a merge of pair reports equal to the fleet's
// summary; the index page.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>

#include "drelsim_run.h"

using nlohmann::json;
using ::testing::HasSubstr;

namespace {

constexpr const char *kLeaf1 = "avd-single-dc-l3ls-leaf1";
constexpr const char *kEvpn = "avd-evpn-multicast-l3leaf1";

class Fleet : public ScratchTest {
  protected:
    std::string copy(const std::string &from, const std::string &name) {
        return write(name, slurp(from));
    }
    // Three pairs of three formats: two EOS-style pairs and one SONiC pair.
    void three_pairs() {
        copy(real(kLeaf1, "dc1-leaf1a.cfg"), "fleet/dc1/leaf1a.cfg");
        copy(real(kLeaf1, "dc1-leaf1b.cfg"), "fleet/dc1/leaf1b.cfg");
        copy(real(kEvpn, "EVPN-MULTICAST-L3LEAF1A.cfg"), "fleet/evpn/a.cfg");
        copy(real(kEvpn, "EVPN-MULTICAST-L3LEAF1B.cfg"), "fleet/evpn/b.cfg");
        copy(sample("leaf01.config_db.json"), "fleet/sonic/leaf01.json");
        copy(sample("leaf02.config_db.json"), "fleet/sonic/leaf02.json");
    }
    std::string fleet() const { return dir_ + "/fleet"; }
};

// The pairs of a fleet's JSON report: name -> (verdict, file of A, file of B).
std::map<std::string, std::vector<std::string>> pairs_of(const json &report) {
    std::map<std::string, std::vector<std::string>> out;
    for (auto &p : report["pairs"])
        out[p["pair"]] = {p["verdict"], p["files"]["A"], p["files"]["B"]};
    return out;
}

size_t count(const std::string &text, const std::string &part) {
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++n;
    return n;
}

TEST_F(Fleet, PairsByDomainAndCrossedPeerAddressesAcrossFormats) {
    three_pairs();
    Outcome r = run({"fleet", fleet(), "--json"});
    ASSERT_EQ(r.status, 0) << r.err;
    const json &rep = r.report();
    EXPECT_EQ(rep["schema"], 2);
    EXPECT_EQ(rep["fleet"]["files"], 6);
    const auto pairs = pairs_of(rep);
    ASSERT_EQ(pairs.size(), 3u) << r.out;
    EXPECT_EQ(pairs.at("dc1-leaf1a+dc1-leaf1b"),
              (std::vector<std::string>{"pass", fleet() + "/dc1/leaf1a.cfg",
                                        fleet() + "/dc1/leaf1b.cfg"}));
    EXPECT_EQ(pairs.at("EVPN-MULTICAST-L3LEAF1A+EVPN-MULTICAST-L3LEAF1B")[0], "pass");
    EXPECT_EQ(pairs.at("leaf01+leaf02")[1], fleet() + "/sonic/leaf01.json");
    for (auto &p : rep["pairs"]) {
        EXPECT_THAT(p["rule"].get<std::string>(), HasSubstr("with crossed peer addresses"));
        EXPECT_EQ(p["report"]["schema"], 2);
        EXPECT_EQ(p["report"]["import"]["switches"]["A"]["file"], p["files"]["A"]);
    }
    EXPECT_TRUE(rep["unpaired"].empty());
    EXPECT_EQ(rep["verdict"], "pass");
    EXPECT_EQ(rep["exit_status"], 0);
}

TEST_F(Fleet, SummaryTableNamesTheFailingPairAndItsCharges) {
    three_pairs();
    edited(real(kLeaf1, "dc1-leaf1b.cfg"), "fleet/dc1/leaf1b.cfg", "   vxlan vlan 12 vni 10012",
           "   vxlan vlan 12 vni 10013");
    Outcome r = run({"fleet", fleet(), "-j", "2"});
    EXPECT_EQ(r.status, 1) << r.err;
    EXPECT_THAT(r.out, HasSubstr("drelsim fleet: " + fleet() +
                                 ": 6 configuration files, 3 pairs (2 at a time)\n"));
    EXPECT_THAT(r.out, HasSubstr("  Verdict  Pair                                             "
                                 "Failed VNIs      Charged          Warnings\n"));
    // VNI 10012 failed on A, 10013 on B; Port-Channel5 and 8 would each suspend VLAN 12.
    EXPECT_THAT(r.out, HasSubstr("  FAIL     dc1-leaf1a+dc1-leaf1b                            "
                                 "1 / 1            2 / 2            4\n"));
    EXPECT_THAT(r.out, HasSubstr("  PASS     leaf01+leaf02                                    "
                                 "- / -            - / -            "));
    EXPECT_THAT(r.out, HasSubstr("\nResult: FAIL - 1 of 3 pairs fail.\n"));
}

TEST_F(Fleet, UnpairedSwitchesAndUnreadableFilesAreReported) {
    three_pairs();
    // A third switch of the dc1 domain whose peer is nowhere, and a file of no known format.
    edited(real(kLeaf1, "dc1-leaf1a.cfg"), "fleet/lone.cfg", "   peer-address 10.255.1.65",
           "   peer-address 10.255.1.69");
    write("fleet/notes.txt", "not a switch\n");
    Outcome r = run({"fleet", fleet(), "--json"});
    EXPECT_EQ(r.status, 2) << r.err;
    const json &rep = r.report();
    EXPECT_EQ(pairs_of(rep).size(), 2u) << r.out;
    ASSERT_EQ(rep["unreadable"].size(), 1u);
    EXPECT_EQ(rep["unreadable"][0]["file"], fleet() + "/notes.txt");
    EXPECT_THAT(rep["unreadable"][0]["why"].get<std::string>(), HasSubstr(fleet() + "/notes.txt"));
    // dc1-leaf1a and lone.cfg both claim the local address of domain DC1_L3_LEAF1: neither is
    // paired, and dc1-leaf1b is left without its partner.
    std::map<std::string, std::string> unpaired;
    for (auto &u : rep["unpaired"])
        unpaired[u["file"]] = u["why"];
    ASSERT_EQ(unpaired.size(), 3u) << rep["unpaired"].dump();
    EXPECT_EQ(unpaired[fleet() + "/lone.cfg"],
              "2 switches have MLAG domain DC1_L3_LEAF1 and local address 10.255.1.64");
    EXPECT_EQ(unpaired[fleet() + "/dc1/leaf1b.cfg"],
              "no switch of MLAG domain DC1_L3_LEAF1 has local address 10.255.1.64 and peer "
              "address 10.255.1.65");
    Outcome text = run({"fleet", fleet()});
    EXPECT_THAT(text.out, HasSubstr("unpaired: " + fleet() +
                                    "/lone.cfg (dc1-leaf1a): 2 switches "
                                    "have MLAG domain DC1_L3_LEAF1 and local address "
                                    "10.255.1.64\n"));
    EXPECT_THAT(text.out, HasSubstr("\nResult: FAIL - 0 of 2 pairs fail, 3 switches unpaired, 1 "
                                    "files unreadable.\n"));
    std::filesystem::remove(fleet() + "/notes.txt");
    EXPECT_EQ(run({"fleet", fleet()}).status, 1);
}

// Two ifupdown2 pairs with the same system MAC and link-local peer addresses: only their anycast
// addresses tell them apart, and without those their backup IPs.
class ClagFleet : public Fleet {
  protected:
    void two_pairs(bool anycast) {
        for (const char *n : {"leaf01", "leaf02"}) {
            std::string text = slurp(sample(std::string(n) + ".interfaces"));
            std::string other = text;
            replace_all(other, "10.10.10.1", "10.10.20.1");
            replace_all(other, "10.10.10.2", "10.10.20.2");
            replace_all(other, "10.0.1.12", "10.0.1.13");
            if (!anycast) {
                replace_all(text, "    clagd-vxlan-anycast-ip 10.0.1.12\n", "");
                replace_all(other, "    clagd-vxlan-anycast-ip 10.0.1.13\n", "");
            }
            write(std::string("fleet/rack1/") + n + ".interfaces", text);
            write(std::string("fleet/rack2/") + n + ".interfaces", other);
        }
    }
    static void replace_all(std::string &s, const std::string &from, const std::string &to) {
        for (size_t at = s.find(from); at != std::string::npos; at = s.find(from, at + to.size()))
            s.replace(at, from.size(), to);
    }
    void expect_racks(const json &rep, const std::string &rule1, const std::string &rule2) {
        ASSERT_EQ(rep["pairs"].size(), 2u) << rep.dump();
        for (auto &p : rep["pairs"]) {
            const std::string a = p["files"]["A"], b = p["files"]["B"];
            const bool rack1 = a.find("/rack1/") != std::string::npos;
            EXPECT_EQ(a, fleet() + (rack1 ? "/rack1" : "/rack2") + "/leaf01.interfaces");
            EXPECT_EQ(b, fleet() + (rack1 ? "/rack1" : "/rack2") + "/leaf02.interfaces");
            EXPECT_EQ(p["rule"], rack1 ? rule1 : rule2);
            EXPECT_EQ(p["verdict"], "pass");
        }
        EXPECT_TRUE(rep["unpaired"].empty());
    }
};

TEST_F(ClagFleet, PairsByAnycastAddressWhereMacsRepeat) {
    two_pairs(true);
    Outcome r = run({"fleet", fleet(), "--json"});
    ASSERT_EQ(r.status, 0) << r.err << r.out;
    expect_racks(r.report(), "VXLAN anycast address 10.0.1.12", "VXLAN anycast address 10.0.1.13");
}

TEST_F(ClagFleet, PairsByBackupIpsWithoutAnycast) {
    two_pairs(false);
    Outcome r = run({"fleet", fleet(), "--json"});
    ASSERT_EQ(r.status, 0) << r.err << r.out;
    expect_racks(r.report(), "backup IPs 10.10.10.2 and 10.10.10.1",
                 "backup IPs 10.10.20.2 and 10.10.20.1");
}

TEST_F(ClagFleet, ThreeSwitchesOfOneAnycastAddressPairNone) {
    two_pairs(true);
    write("fleet/rack3/leaf05.interfaces", slurp(sample("leaf01.interfaces")));
    Outcome r = run({"fleet", fleet(), "--json"});
    EXPECT_EQ(r.status, 1);
    const json &rep = r.report();
    EXPECT_EQ(rep["pairs"].size(), 1u);
    ASSERT_EQ(rep["unpaired"].size(), 3u);
    EXPECT_EQ(rep["unpaired"][0]["why"], "3 switches have the VXLAN anycast address 10.0.1.12");
}

TEST_F(Fleet, SameResultWhateverTheNumberOfJobs) {
    three_pairs();
    edited(real(kEvpn, "EVPN-MULTICAST-L3LEAF1B.cfg"), "fleet/evpn/b.cfg",
           "   vxlan vlan 2 vni 10002", "   vxlan vlan 2 vni 10992");
    auto digest = [](const json &rep) {
        std::vector<std::string> out;
        for (auto &p : rep["pairs"])
            out.push_back(p["pair"].get<std::string>() + " " + p["verdict"].get<std::string>() +
                          " " + p["failed_vnis"].dump() + " " + p["charged"].dump());
        return out;
    };
    Outcome one = run({"fleet", fleet(), "--json", "-j", "1"});
    Outcome four = run({"fleet", fleet(), "--json", "-j", "4"});
    EXPECT_EQ(one.status, 1);
    EXPECT_EQ(four.status, 1);
    EXPECT_EQ(digest(one.report()), digest(four.report()));
    EXPECT_EQ(one.report()["fleet"]["jobs"], 1);
    EXPECT_EQ(four.report()["fleet"]["jobs"], 4);
}

TEST_F(Fleet, JunitHasASuiteAPairAndValidates) {
    DRELSIM_NEED_TOOL(tool, "xmllint", "libxml2-utils");
    three_pairs();
    edited(real(kLeaf1, "dc1-leaf1b.cfg"), "fleet/dc1/leaf1b.cfg", "   vxlan vlan 12 vni 10012",
           "   vxlan vlan 12 vni 10013");
    edited(real(kLeaf1, "dc1-leaf1a.cfg"), "fleet/spine.cfg", "   domain-id DC1_L3_LEAF1",
           "   domain-id SPINES");
    const std::string xml = dir_ + "/fleet.xml";
    Outcome r = run({"fleet", fleet(), "--junit", xml});
    EXPECT_EQ(r.status, 1) << r.err;
    EXPECT_NE(junit_validation(tool, xml).find("validates"), std::string::npos);
    const std::string text = slurp(xml);
    EXPECT_EQ(count(text, "<testsuite "), 4u) << text;
    EXPECT_THAT(text, HasSubstr("<testsuite name=\"dc1-leaf1a+dc1-leaf1b\" "));
    EXPECT_THAT(text, HasSubstr("<testcase name=\"round 0: peer link 5 (Port-Channel5)\" "
                                "classname=\"drelsim.dc1-leaf1a+dc1-leaf1b\" time=\"0\">\n"
                                "      <failure message=\"FAIL"));
    EXPECT_THAT(text, HasSubstr("<testsuite name=\"switches not checked\" "));
    EXPECT_THAT(text, HasSubstr("<testcase name=\"unpaired: " + fleet() + "/spine.cfg\" "));
}

TEST_F(Fleet, MergedPairReportsGiveTheFleetsSummary) {
    three_pairs();
    edited(real(kLeaf1, "dc1-leaf1b.cfg"), "fleet/dc1/leaf1b.cfg", "   vxlan vlan 12 vni 10012",
           "   vxlan vlan 12 vni 10013");
    Outcome list = run({"fleet", fleet(), "--list"});
    ASSERT_EQ(list.status, 0) << list.err;
    // One job per pair, as a sharded run does it, then the merge.
    std::vector<std::string> merge{"merge"};
    std::istringstream lines(list.out);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string name, a, b;
        std::getline(fields, name, '\t'), std::getline(fields, a, '\t'), std::getline(fields, b);
        Outcome job = run({"check", a, b, "--json"});
        EXPECT_LE(job.status, 1) << job.err;
        merge.push_back(write("reports/" + name + ".json", job.out));
    }
    ASSERT_EQ(merge.size(), 4u) << list.out;
    Outcome merged = run(merge), fleet_run = run({"fleet", fleet()});
    EXPECT_EQ(merged.status, fleet_run.status);
    EXPECT_EQ(merged.status, 1);
    auto rows = [](const std::string &out) {
        return out.substr(out.find("\nSummary"), out.find("\nResult") - out.find("\nSummary"));
    };
    EXPECT_EQ(rows(merged.out), rows(fleet_run.out));
    EXPECT_THAT(merged.out, HasSubstr("drelsim fleet: 3 reports: 3 reports, 3 pairs\n"));
    merge.push_back("--json");
    const json rep = run(merge).report();
    EXPECT_EQ(rep["pairs"].size(), 3u);
    EXPECT_TRUE(rep["pairs"][0]["rule"].is_null());
    EXPECT_EQ(rep["exit_status"], 1);
}

TEST_F(Fleet, MergeRefusesWhatIsNoPairReport) {
    const std::string bad = write("bad.json", "{\"rounds\": 3}\n");
    Outcome r = run({"merge", bad});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "drelsim merge: " + bad +
                         ":1: expected the JSON report of one pair (drelsim check --json)\n");
    Outcome missing = run({"merge", dir_ + "/none.json"});
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.err, "drelsim merge: " + dir_ +
                               "/none.json: cannot read the file: No such file or directory\n");
}

TEST_F(Fleet, MissingDirectoryIsAUsageError) {
    Outcome r = run({"fleet", dir_ + "/nowhere"});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "drelsim fleet: " + dir_ +
                         "/nowhere: cannot read the directory: No such file or directory\n");
}

TEST_F(Fleet, IndexPageLinksEveryPairsPage) {
    three_pairs();
    const std::string html = dir_ + "/pages";
    Outcome r = run({"fleet", fleet(), "--html", html});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string index = slurp(html + "/index.html");
    for (const char *page : {"dc1-leaf1a+dc1-leaf1b.html", "leaf01+leaf02.html",
                             "EVPN-MULTICAST-L3LEAF1A+EVPN-MULTICAST-L3LEAF1B.html"}) {
        EXPECT_THAT(index, HasSubstr(std::string("<a href=\"") + page + "\">"));
        EXPECT_THAT(slurp(html + "/" + page), HasSubstr("<canvas data-side=\"A\""));
    }
    EXPECT_THAT(index, HasSubstr("Result: <b id=\"fleet-result\">PASS</b>"));
}

} // namespace
