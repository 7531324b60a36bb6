// SPDX-License-Identifier: Apache-2.0
// End-to-end tests of what drelsim gives CI (JUnit validated against the common schema,
// --fail-on tolerated, --baseline, the exit status over every round), of the impact it reports
// (global failures, whole scopes, hazards, the summary at scale) and of its strict loader.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "drelsim_run.h"

using nlohmann::json;
namespace fs = std::filesystem;

namespace {

std::string scenario(const std::string &name) {
    return kDir + "/" + name;
}

using Ci = ScratchTest;

TEST_F(Ci, JunitValidatesAgainstTheCommonSchema) {
    DRELSIM_NEED_TOOL(tool, "xmllint", "libxml2-utils");
    const std::string xml = dir_ + "/report.xml";
    Outcome r = run({scenario("change_steps.yaml"), "--junit", xml});
    ASSERT_EQ(r.status, 1) << r.err;
    EXPECT_NE(junit_validation(tool, xml).find("validates"), std::string::npos);
}

TEST_F(Ci, JunitHasOneCaseAScopeAndRoundFailingWithItsSummaryLine) {
    const std::string xml = dir_ + "/report.xml";
    Outcome r = run({"--junit", xml});
    ASSERT_EQ(r.status, 1) << r.err;
    const std::string text = slurp(xml);
    size_t cases = 0;
    for (size_t at = text.find("<testcase "); at != std::string::npos;
         at = text.find("<testcase ", at + 1))
        ++cases;
    EXPECT_EQ(cases, 3u);
    EXPECT_NE(text.find("<testcase name=\"round 0: peer link 10 (port-channel10)\" "
                        "classname=\"drelsim.default\" time=\"0\">\n      <failure message=\"FAIL"
                        "     peer link 10 (port-channel10)   10020 / 10021            1 / 1"
                        "            0\" type=\"charged\">A: service instance attributes differ"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("* service instance 7: VLAN 20 maps to VNI 10020 here and 10021 on the "
                        "peer"),
              std::string::npos);
    EXPECT_NE(text.find("<testcase name=\"round 0: global\" classname=\"drelsim.default\" "
                        "time=\"0\"/>"),
              std::string::npos);
}

TEST_F(Ci, FailOnToleratedFailsOnAToleratedDifference) {
    EXPECT_EQ(run({scenario("profile_name_v39.yaml")}).status, 0);
    Outcome r = run({scenario("profile_name_v39.yaml"), "--fail-on", "tolerated", "--json"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.report()["policy"]["fail_on"], "tolerated");
    EXPECT_EQ(r.report()["verdict"], "fail");
    EXPECT_EQ(run({scenario("identical.yaml"), "--fail-on", "tolerated"}).status, 0);
    EXPECT_EQ(run({scenario("identical.yaml"), "--fail-on", "everything"}).status, 2);
}

TEST_F(Ci, BaselineAcceptsItsOwnDifferencesOnly) {
    Outcome base = run({"--json"});
    ASSERT_EQ(base.status, 1);
    const std::string accepted = write("base.json", base.out);
    Outcome same = run({"--json", "--baseline", accepted});
    EXPECT_EQ(same.status, 0) << same.err;
    EXPECT_TRUE(same.report()["policy"]["baseline"].get<bool>());
    for (auto &s : same.report()["rounds"][0]["scopes"])
        if (s["peer_link"] == 10) {
            EXPECT_TRUE(s["accepted"].get<bool>());
            EXPECT_FALSE(s["flagged"].get<bool>());
        }
    // Another difference is not in the baseline.
    Outcome other = run({scenario("admin_differs.yaml"), "--baseline", accepted});
    EXPECT_EQ(other.status, 1);
    Outcome clean = run({scenario("identical.yaml"), "--json"});
    const std::string empty = write("clean.json", clean.out);
    EXPECT_EQ(run({"--baseline", empty}).status, 1);
}

TEST_F(Ci, BaselineThatIsNoReportIsRefused) {
    const std::string bad = write("bad.json", "{\"rounds\": 3}\n");
    Outcome r = run({"--baseline", bad});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "drelsim: baseline error: " + bad +
                         ":1: expected a JSON report of drelsim (with schema and rounds)\n");
    Outcome dup = run({"--baseline", write("dup.json", "{\"schema\": 2, \"schema\": 2}\n")});
    EXPECT_EQ(dup.status, 2);
    EXPECT_NE(dup.err.find(":1: schema: given twice (first on line 1)"), std::string::npos)
        << dup.err;
}

TEST_F(Ci, ExitStatusCoversEveryRoundUnlessStepIsGiven) {
    // delete_step: round 0 fails, round 1 (after the deletion) passes.
    Outcome all = run({scenario("delete_step.yaml")});
    EXPECT_EQ(all.status, 1);
    EXPECT_NE(all.out.find("Result: FAIL - 0 of 3 scopes fail after step 1; earlier rounds that "
                           "fail: 0."),
              std::string::npos)
        << all.out;
    EXPECT_EQ(run({scenario("delete_step.yaml"), "--step", "1"}).status, 0);
    EXPECT_EQ(run({scenario("delete_step.yaml"), "--step", "0"}).status, 1);
}

TEST_F(Ci, GlobalFailureChargesEveryInstanceMappingTheVni) {
    Outcome r = run({scenario("vni_other_bd.yaml"), "--json"});
    ASSERT_EQ(r.status, 1);
    for (auto &s : r.report()["rounds"][0]["scopes"]) {
        if (s["scope"] != "global") continue;
        const json &a = s["peers"]["A"];
        ASSERT_EQ(a["charged"].size(), 1u);
        EXPECT_EQ(a["charged"][0]["interface"], "port-channel10");
        EXPECT_EQ(a["charged"][0]["service_instance"], 7);
        EXPECT_EQ(a["charged"][0]["vlans"], json::array({20}));
        EXPECT_EQ(a["failed_vnis"][0]["vlans"], json::array({20}));
        EXPECT_TRUE(a["whole_scope"].is_null());
    }
}

TEST_F(Ci, MissingParametersChargeTheWholeScopeInWords) {
    Outcome r = run({scenario("vsi_missing.yaml"), "--json"});
    ASSERT_EQ(r.status, 1);
    for (auto &s : r.report()["rounds"][0]["scopes"]) {
        if (s["peer_link"] != 20) continue;
        EXPECT_EQ(s["peers"]["B"]["whole_scope"],
                  "a parameter of peer link 20 (port-channel20) exists on one side only: the "
                  "whole interface is inconsistent");
    }
    Outcome text = run({scenario("vsi_missing.yaml")});
    EXPECT_NE(text.out.find("    whole scope: a parameter of peer link 20 (port-channel20) exists "
                            "on one side only: the whole interface is inconsistent\n"),
              std::string::npos);
}

TEST_F(Ci, PairHazardsAreNamedInTheSummary) {
    const std::string f = write("hazards.yaml", R"(name: hazards
switches:
  A:
    peer_link_version: 40
    member_vnis: {10010: 10, 10020: 20, 10030: 30}
  B:
    peer_link_version: 39
    member_vnis: {10020: 20, 10030: 30, 10040: 40}
)");
    Outcome r = run({f});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("  hazard: peer-link versions differ (A 40, B 39): profile names and "
                         "allowed VLANs are compared only at 40 and later"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("  hazard: global: entries out of position from VNI 10020 on (entry 2 on "
                         "A, 1 on B): the checks pair the i-th entries"),
              std::string::npos)
        << r.out;
    EXPECT_LT(r.out.find("hazard:"), r.out.find("FAIL  global"));
}

TEST_F(Ci, AtScaleTheTextShowsTheSummaryAndOnlyWhatDiffers) {
    const std::string big = dir_ + "/big.yaml";
    ASSERT_EQ(
        run({"generate", "--vnis", "50", "--interfaces", "20", "--vsis", "2", "-o", big}).status,
        0);
    Outcome r = run({big});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("  PASS     peer link 17 (port-channel17)"), std::string::npos);
    EXPECT_EQ(r.out.find("PASS  peer link 17:"), std::string::npos);
    Outcome full = run({big, "--full"});
    EXPECT_NE(full.out.find("PASS  peer link 17: A port-channel17 (0x10011)"), std::string::npos);
}

// ---- The strict loader ----

TEST_F(Ci, LongValuesAreCutInComplaints) {
    const std::string f =
        write("long.yaml", "name: " + std::string(5000, 'n') + "\nswitches: {A: {}, B: {}}\n");
    Outcome r = run({f});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "drelsim: scenario error: " + f +
                         ":1: name: expected a text of at most 80 characters (got \"" +
                         std::string(80, 'n') + "...\" (5000 characters))\n");
    // A long key is cut where it stands in the field path.
    const std::string key(1000, 'k'); // YAML keys are at most 1024 characters
    const std::string g = write("key.yaml", "switches:\n  A: {" + key + ": 1}\n  B: {}\n");
    Outcome k = run({g});
    EXPECT_EQ(k.status, 2);
    EXPECT_EQ(k.err.rfind("drelsim: scenario error: " + g + ":2: switches.A." +
                              std::string(160 - 11, 'k') + "...: unknown field (expected one of",
                          0),
              0u)
        << k.err.substr(0, 400);
    EXPECT_LT(k.err.size(), 600u);
}

TEST_F(Ci, UnreadableFilesGiveTheSystemsReason) {
    Outcome missing = run({dir_ + "/none.yaml"});
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.err, "drelsim: scenario error: " + dir_ +
                               "/none.yaml: cannot read the file: No such file or directory\n");
    Outcome directory = run({"check", dir_, dir_});
    EXPECT_EQ(directory.status, 2);
    EXPECT_EQ(directory.err,
              "drelsim: configuration error: " + dir_ + ": cannot read the file: Is a directory\n");
}

TEST_F(Ci, OutOfMemoryIsExitThreeWithAMessage) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the address sanitizer reserves more address space than the limit allows";
#else
    const std::string big = dir_ + "/big.yaml";
    ASSERT_EQ(run({"generate", "--vnis", "300000", "--interfaces", "1", "--vsis", "1",
                   "--no-ranges", "-o", big})
                  .status,
              0);
    Outcome r = run({big}, 120u << 20);
    EXPECT_EQ(r.status, 3);
    EXPECT_EQ(r.err, "drelsim: out of memory: the input is too large for the memory this process "
                     "may use\n");
#endif
}

TEST_F(Ci, PeerOutOfMemoryIsExitThreeNamingThePeer) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the address sanitizer reserves more address space than the limit allows";
#else
    // Written as ranges the scenario is small to read, but the member VNIs fill each peer.
    const std::string big = dir_ + "/big.yaml";
    ASSERT_EQ(
        run({"generate", "--vnis", "300000", "--interfaces", "1", "--vsis", "1", "-o", big}).status,
        0);
    Outcome r = run({big}, 120u << 20);
    EXPECT_EQ(r.status, 3);
    EXPECT_THAT(r.err, ::testing::HasSubstr(": out of memory in the peer process\n"));
    EXPECT_THAT(r.err, ::testing::StartsWith("drelsim: peer "));
#endif
}

TEST_F(Ci, GenerateRefusesWhatTheLoaderWouldRefuse) {
    Outcome none = run({"generate", "--interfaces", "0"});
    EXPECT_EQ(none.status, 2);
    EXPECT_EQ(none.err, "drelsim generate: --interfaces: expected 1..65535\n");
    EXPECT_EQ(run({"generate", "--vsis", "0"}).err,
              "drelsim generate: --vsis: expected 1..65535\n");
    Outcome huge = run({"generate", "--interfaces", "65535", "--vsis", "65535"});
    EXPECT_EQ(huge.status, 2);
    EXPECT_EQ(huge.err, "drelsim generate: --interfaces x --vsis = 4294836225 service instances: "
                        "expected at most 1048576\n");
    Outcome pairs = run({"generate", "--interfaces", "1024", "--vsis", "1024", "--pairs", "4095"});
    EXPECT_EQ(pairs.status, 2);
    EXPECT_EQ(pairs.err, "drelsim generate: --interfaces x --vsis x --pairs = 4293918720 "
                         "dot1q-to-VNI pairs: expected at most 16777216 (the largest scenario "
                         "drelsim holds in memory)\n");
}

TEST_F(Ci, HelpDocumentsCommandsExitCodesAndSchema) {
    Outcome r = run({"--help"});
    EXPECT_EQ(r.status, 0);
    for (const char *s : {"check", "import", "generate", "--junit", "--fail-on", "--baseline",
                          "--full", "Exit status: 0", "JSON report: schema 2", "out of memory"})
        EXPECT_NE(r.out.find(s), std::string::npos) << s;
    EXPECT_LT(r.out.find("drelsim check A.cfg B.cfg"), r.out.find("drelsim [scenario.yaml]"));
}

} // namespace
