// SPDX-License-Identifier: Apache-2.0
// End-to-end tests of the peer-pair simulator: each runs the built drelsim on a scenario and
// checks its exit status and its JSON (or text) report.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "drelsim_run.h"

using nlohmann::json;

namespace {

std::string scenario(const std::string &name) {
    return kDir + "/" + name;
}

Outcome run_json(const std::string &file, std::vector<std::string> extra = {}) {
    std::vector<std::string> args;
    if (!file.empty()) args.push_back(scenario(file));
    args.push_back("--json");
    args.insert(args.end(), extra.begin(), extra.end());
    return run(args);
}

const json &scope(const json &round, const std::string &which) {
    for (auto &s : round["scopes"])
        if ((which == "global" && s["scope"] == "global") ||
            (s["peer_link"].is_number() && std::to_string(s["peer_link"].get<int>()) == which))
            return s;
    static const json none;
    ADD_FAILURE() << "no scope " << which;
    return none;
}

const json &last_round(const json &report) {
    return report["rounds"].back();
}

std::vector<unsigned> failed_vnis(const json &peer) {
    std::vector<unsigned> v;
    for (auto &f : peer["failed_vnis"])
        v.push_back(f["vni"].get<unsigned>());
    return v;
}

unsigned bd_of(const json &peer, unsigned vni) {
    for (auto &f : peer["failed_vnis"])
        if (f["vni"] == vni) return f["bd"].get<unsigned>();
    ADD_FAILURE() << "VNI " << vni << " is not failed";
    return 0;
}

const json &line(const json &scope, const std::string &key) {
    for (auto &l : scope["parameters"])
        if (l["key"] == key) return l;
    static const json none;
    ADD_FAILURE() << "no parameter " << key;
    return none;
}

std::vector<const json *> differing(const json &scope) {
    std::vector<const json *> v;
    for (auto &l : scope["parameters"])
        if (l["differs"].get<bool>()) v.push_back(&l);
    return v;
}

std::string check_name(const json &peer, const char *check) {
    return peer["checks"][check]["name"];
}

class Drelsim : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!*kExe) GTEST_SKIP() << "drelsim is not built (ZORV_BUILD_TOOLS off)";
    }

    // Runs drelsim with --json on a scenario file (empty: the built-in one), then `extra`,
    // keeping the outcome in `result`; fails unless it exits with `status` (for ASSERT_TRUE).
    ::testing::AssertionResult runs(const std::string &file, int status,
                                    std::vector<std::string> extra = {}) {
        result = run_json(file, std::move(extra));
        if (result.status == status) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure()
               << "exit status " << result.status << " (expected " << status << ")\n"
               << result.err;
    }

    Outcome result; // of the last runs()
};

void expect_all_pass(const json &round) {
    EXPECT_EQ(round["verdict"], "pass");
    for (auto &s : round["scopes"]) {
        EXPECT_EQ(s["verdict"], "pass") << s["title"];
        for (const char *side : {"A", "B"}) {
            EXPECT_EQ(s["peers"][side]["verdict"], "pass");
            EXPECT_TRUE(s["peers"][side]["failed_vnis"].empty());
        }
    }
}

// The scope `which` of a round, which must have failed.
const json &failing_scope(const json &round, const std::string &which) {
    const json &s = scope(round, which);
    EXPECT_EQ(s["verdict"], "fail") << which;
    return s;
}

// The peer failed exactly the VNI `vni`, which it places in bridge domain `bd`.
void expect_failed_vni(const json &peer, unsigned vni, unsigned bd) {
    EXPECT_EQ(failed_vnis(peer), std::vector<unsigned>{vni});
    EXPECT_EQ(bd_of(peer, vni), bd);
}

// A parameter row that differs but is tolerated, for a reason that names each of `parts`.
void expect_tolerated(const json &row, std::initializer_list<const char *> parts) {
    EXPECT_TRUE(row["differs"].get<bool>());
    EXPECT_TRUE(row["tolerated"].get<bool>());
    for (const char *part : parts)
        EXPECT_NE(row["reason"].get<std::string>().find(part), std::string::npos) << part;
}

} // namespace

TEST_F(Drelsim, IdenticalPeersPassEveryScope) {
    ASSERT_TRUE(runs("identical.yaml", 0));
    json j = result.report();
    EXPECT_EQ(j["verdict"], "pass");
    EXPECT_EQ(j["exit_status"], 0);
    ASSERT_EQ(j["rounds"].size(), 1u);
    const json &round = j["rounds"][0];
    ASSERT_EQ(round["scopes"].size(), 3u);
    expect_all_pass(round);
    for (auto &s : round["scopes"]) {
        EXPECT_TRUE(differing(s).empty());
        EXPECT_EQ(check_name(s["peers"]["A"], "graceful"), "ZORV_DREL_OK");
        EXPECT_EQ(check_name(s["peers"]["B"], "strict"), "ZORV_DREL_OK");
        EXPECT_TRUE(s["peers"]["A"]["checks"]["recheck"]["run"].get<bool>());
    }
    const json &g = scope(round, "global");
    EXPECT_EQ(g["peers"]["A"]["passed_vni_count"], 5); // the five member VNIs
    EXPECT_EQ(line(g, "vni 10010")["local"], "BD:10 VNI:10010");
    EXPECT_EQ(line(g, "vni 10010")["peer"], "BD:10 VNI:10010");
    EXPECT_EQ(line(scope(round, "10"), "service instance 7")["parameter"], "Service instance vni");
}

TEST_F(Drelsim, VniInAnotherBridgeDomainFailsTheGlobalScope) {
    ASSERT_TRUE(runs("vni_other_bd.yaml", 1));
    const json &round = last_round(result.report());
    const json &g = failing_scope(round, "global");
    // The check returns the code of the last pair (VNI 10100, which passes); the failure is in
    // the failed set.
    EXPECT_EQ(check_name(g["peers"]["A"], "graceful"), "ZORV_DREL_OK");
    EXPECT_EQ(g["peers"]["A"]["verdict"], "fail");
    expect_failed_vni(g["peers"]["A"], 10020, 20);
    EXPECT_EQ(bd_of(g["peers"]["B"], 10020), 21u);
    const json &l = line(g, "vni 10020");
    EXPECT_TRUE(l["differs"].get<bool>());
    EXPECT_FALSE(l["tolerated"].get<bool>());
    EXPECT_EQ(l["reason"], "VNI 10020 is in bridge domain 20 here and 21 on the peer");
    EXPECT_EQ(differing(g).size(), 1u);
    EXPECT_EQ(scope(round, "10")["verdict"], "pass");
    EXPECT_EQ(scope(round, "20")["verdict"], "pass");
}

TEST_F(Drelsim, FabricBridgeDomainDifferencePasses) {
    ASSERT_TRUE(runs("fabric_bd_diff.yaml", 0));
    const json &round = last_round(result.report());
    expect_all_pass(round);
    expect_tolerated(line(scope(round, "global"), "vni 10100"),
                     {"VNI 10100 is in bridge domain 100 here and 101 on the peer", "fabric"});
}

TEST_F(Drelsim, MissingServiceInstanceIsChargedToItsVnis) {
    ASSERT_TRUE(runs("vsi_missing.yaml", 1));
    const json &round = last_round(result.report());
    const json &s = failing_scope(round, "20");
    EXPECT_EQ(check_name(s["peers"]["A"], "graceful"), "ZORV_DREL_ERR_COMPAT_INTF_VSI");
    expect_failed_vni(s["peers"]["A"], 10040, 40);
    EXPECT_EQ(s["peers"]["A"]["charged_service_instances"], json::array({12}));
    EXPECT_EQ(check_name(s["peers"]["B"], "graceful"), "ZORV_DREL_ERR_PARAM_MISSING");
    EXPECT_EQ(s["peers"]["B"]["tlvs"]["local"], 0);
    const json &l = line(s, "service instance 12");
    EXPECT_TRUE(l["peer"].is_null());
    EXPECT_EQ(l["reason"], "service instance 12 is missing on the peer");
    EXPECT_EQ(scope(round, "10")["verdict"], "pass");
}

TEST_F(Drelsim, AdminStatusDifferenceFailsAllVnisOfTheInstance) {
    ASSERT_TRUE(runs("admin_differs.yaml", 1));
    const json &s = failing_scope(last_round(result.report()), "10");
    for (const char *side : {"A", "B"}) {
        EXPECT_EQ(check_name(s["peers"][side], "graceful"), "ZORV_DREL_ERR_COMPAT_INTF_VSI")
            << side;
        EXPECT_EQ(failed_vnis(s["peers"][side]), (std::vector<unsigned>{10010, 10020})) << side;
        EXPECT_EQ(s["peers"][side]["charged_service_instances"], json::array({7})) << side;
    }
    EXPECT_EQ(bd_of(s["peers"]["A"], 10010), 10u);
    EXPECT_EQ(line(s, "service instance 7")["reason"],
              "service instance 7 is admin down on the peer");
    EXPECT_FALSE(line(s, "service instance 8")["differs"].get<bool>());
}

TEST_F(Drelsim, MappingModeDifferenceFailsTheStrictCheck) {
    ASSERT_TRUE(runs("map_mode_differs.yaml", 1));
    const json &s = failing_scope(last_round(result.report()), "10");
    EXPECT_EQ(check_name(s["peers"]["A"], "strict"), "ZORV_DREL_ERR_COMPAT_INTF_VSI");
    EXPECT_EQ(check_name(s["peers"]["B"], "strict"), "ZORV_DREL_ERR_COMPAT_INTF_VSI");
    EXPECT_EQ(check_name(s["peers"]["A"], "graceful"), "ZORV_DREL_OK");
    EXPECT_EQ(line(s, "service instance 8")["reason"],
              "service instance 8 uses mapping mode static here and DFS on the peer");
}

TEST_F(Drelsim, ProfileNameDifferenceFailsAtVersion40) {
    ASSERT_TRUE(runs("profile_name_v40.yaml", 1));
    const json &s = failing_scope(last_round(result.report()), "10");
    EXPECT_EQ(check_name(s["peers"]["A"], "strict"), "ZORV_DREL_ERR_COMPAT_INTF_VSI");
    const json &l = line(s, "service instance 8");
    EXPECT_FALSE(l["tolerated"].get<bool>());
    EXPECT_EQ(l["reason"], "service instance 8 uses encap profile \"tenant-green\" here and "
                           "\"tenant-green-v2\" on the peer");
}

TEST_F(Drelsim, ProfileNameDifferencePassesAtVersion39) {
    ASSERT_TRUE(runs("profile_name_v39.yaml", 0));
    const json &round = last_round(result.report());
    expect_all_pass(round);
    expect_tolerated(line(scope(round, "10"), "service instance 8"),
                     {"not compared at peer-link version 39"});
}

TEST_F(Drelsim, DeletionStepMakesThePairConsistentAgain) {
    // Round 0 fails, so the run fails: the exit status covers every round.
    ASSERT_TRUE(runs("delete_step.yaml", 1));
    json j = result.report();
    EXPECT_EQ(j["verdict"], "fail");
    EXPECT_TRUE(j["rounds"][0]["flagged"].get<bool>());
    EXPECT_FALSE(j["rounds"][1]["flagged"].get<bool>());
    ASSERT_EQ(j["rounds"].size(), 2u);
    const json &before = failing_scope(j["rounds"][0], "10");
    EXPECT_EQ(line(before, "service instance 9")["reason"],
              "service instance 9 exists only on the peer");
    EXPECT_EQ(j["rounds"][1]["step"]["switch"], "B");
    expect_all_pass(j["rounds"][1]);
}

TEST_F(Drelsim, StepOptionStopsAfterThatStep) {
    ASSERT_TRUE(runs("delete_step.yaml", 1, {"--step", "0"}));
    json j = result.report();
    ASSERT_EQ(j["rounds"].size(), 1u);
    EXPECT_EQ(j["verdict"], "fail");
}

TEST_F(Drelsim, StepBeyondTheScenarioIsAUsageError) {
    Outcome r = run({scenario("delete_step.yaml"), "--step", "2"});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("--step 2"), std::string::npos) << r.err;
    EXPECT_TRUE(r.out.empty());
}

TEST_F(Drelsim, EveryKindOfStepActionReachesTheLibrary) {
    ASSERT_TRUE(runs("change_steps.yaml", 1)); // the last step leaves a member VNI on A only
    json j = result.report();
    ASSERT_EQ(j["rounds"].size(), 12u);
    const char *expected[] = {"pass", "fail", "pass", "fail", "pass", "fail",
                              "pass", "fail", "pass", "fail", "pass", "fail"};
    for (size_t i = 0; i < 12; ++i) {
        EXPECT_EQ(j["rounds"][i]["verdict"], expected[i]) << "round " << i;
        EXPECT_TRUE(j["rounds"][i]["notes"]["A"].empty()) << j["rounds"][i]["notes"]["A"];
        EXPECT_TRUE(j["rounds"][i]["notes"]["B"].empty()) << j["rounds"][i]["notes"]["B"];
    }
    const json &remap = scope(j["rounds"][3], "10");
    EXPECT_EQ(line(remap, "service instance 7")["reason"],
              "VLAN 20 maps to VNI 10040 here and 10020 on the peer");
    expect_failed_vni(remap["peers"]["A"], 10040, 40);
    EXPECT_EQ(failed_vnis(remap["peers"]["B"]), std::vector<unsigned>{10020});
    const json &cleared = scope(j["rounds"][6], "20");
    EXPECT_EQ(cleared["peers"]["A"]["status"], "skipped");
    EXPECT_EQ(line(scope(j["rounds"][7], "global"), "vni 10050")["reason"],
              "VNI 10050 is a member VNI (bridge domain 50) here but not on the peer");
    EXPECT_TRUE(line(scope(j["rounds"][10], "global"), "profile tenant-red")["local"].is_string());
    EXPECT_EQ(check_name(scope(j["rounds"][11], "global")["peers"]["A"], "graceful"),
              "ZORV_DREL_ERR_INVALID_ARG");
}

TEST_F(Drelsim, DefaultScenarioChargesTheOneDifference) {
    ASSERT_TRUE(runs("", 1));
    json j = result.report();
    EXPECT_EQ(j["scenario"]["source"], "built-in default scenario");
    const json &round = last_round(j);
    EXPECT_EQ(scope(round, "global")["verdict"], "pass");
    EXPECT_EQ(scope(round, "20")["verdict"], "pass");
    const json &s = failing_scope(round, "10");
    expect_failed_vni(s["peers"]["A"], 10020, 20);
    expect_failed_vni(s["peers"]["B"], 10021, 0); // not a member VNI on B
    EXPECT_EQ(s["peers"]["A"]["charged_service_instances"], json::array({7}));
    auto diffs = differing(s);
    ASSERT_EQ(diffs.size(), 1u);
    EXPECT_EQ((*diffs[0])["reason"], "VLAN 20 maps to VNI 10020 here and 10021 on the peer");
}

TEST_F(Drelsim, TextReportShowsTheTableAndTheReason) {
    Outcome r = run({});
    ASSERT_EQ(r.status, 1) << r.err;
    EXPECT_NE(r.out.find("Local value (A)"), std::string::npos);
    EXPECT_NE(r.out.find("Peer value (B)"), std::string::npos);
    EXPECT_NE(r.out.find("reason: VLAN 20 maps to VNI 10020 here and 10021 on the peer"),
              std::string::npos);
    EXPECT_NE(r.out.find("failed VNIs: 10020 (VLAN 20, BD 20)"), std::string::npos);
    EXPECT_NE(r.out.find("failed VNIs: 10021 (VLAN 20, no BD)"), std::string::npos);
    EXPECT_NE(r.out.find("service instances charged: 7"), std::string::npos);
    EXPECT_NE(r.out.find("would suspend: port-channel10 service instance 7 (VLAN 20)"),
              std::string::npos);
    // The summary comes first, one line per scope.
    const size_t summary = r.out.find("Summary (failed VNIs and charged service instances");
    EXPECT_LT(summary, r.out.find("FAIL  peer link 10:"));
    EXPECT_NE(r.out.find("  FAIL     peer link 10 (port-channel10)   10020 / 10021            "
                         "1 / 1            0\n"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("ZORV_DREL_ERR_COMPAT_INTF_VSI"), std::string::npos);
    EXPECT_NE(r.out.find("Result: FAIL"), std::string::npos);
}

TEST_F(Drelsim, DiffShowsOnlyDifferingRows) {
    ASSERT_TRUE(runs("", 1, {"--diff"}));
    size_t rows = 0;
    for (auto &s : last_round(result.report())["scopes"])
        for (auto &l : s["parameters"]) {
            EXPECT_TRUE(l["differs"].get<bool>());
            ++rows;
        }
    EXPECT_EQ(rows, 1u);
    Outcome text = run({"--diff"});
    EXPECT_NE(text.out.find("No parameter differs."), std::string::npos);
    EXPECT_EQ(text.out.find("BD:10 VNI:10010"), std::string::npos);
}

TEST_F(Drelsim, EventsShowThePeersDebugHistory) {
    ASSERT_TRUE(runs("identical.yaml", 0, {"--events", "B"}));
    json j = result.report();
    EXPECT_EQ(j["events"]["peer"], "B");
    ASSERT_FALSE(j["events"]["lines"].empty());
    bool compat = false;
    for (auto &l : j["events"]["lines"])
        compat = compat || l.get<std::string>().find("zorv_drel_type1_cfg_compat_check(") !=
                               std::string::npos;
    EXPECT_TRUE(compat);
    Outcome text = run({scenario("identical.yaml"), "--events", "A"});
    EXPECT_NE(text.out.find("Debug history of peer A:"), std::string::npos);
}

TEST_F(Drelsim, CorruptedFrameIsRefusedAndNeverChecked) {
    ASSERT_TRUE(runs("identical.yaml", 1, {"--corrupt-frame", "A"}));
    const json &g = failing_scope(last_round(result.report()), "global");
    const json &b = g["peers"]["B"];
    EXPECT_EQ(b["status"], "refused");
    EXPECT_NE(b["frame_error"].get<std::string>().find("frame carries"), std::string::npos);
    for (const char *check : {"graceful", "strict", "recheck"})
        EXPECT_FALSE(b["checks"][check]["run"].get<bool>());
    EXPECT_EQ(g["peers"]["A"]["status"], "checked"); // B's frame to A was intact
    EXPECT_EQ(g["peers"]["A"]["verdict"], "pass");
    EXPECT_EQ(scope(last_round(result.report()), "10")["verdict"], "pass");
}

TEST_F(Drelsim, HelpListsTheOptions) {
    Outcome r = run({"--help"});
    EXPECT_EQ(r.status, 0);
    for (const char *opt : {"--json", "--diff", "--events", "--step", "generate", "fleet DIR",
                            "merge", "plan --before A B --after A2 B2", "--html FILE"})
        EXPECT_NE(r.out.find(opt), std::string::npos) << opt;
    EXPECT_EQ(r.out.find("--corrupt-frame"), std::string::npos);
    EXPECT_EQ(r.out.find("--turn-bytes"), std::string::npos);
}

TEST_F(Drelsim, UsageErrorsExitWithTwo) {
    EXPECT_EQ(run({"--no-such-option"}).status, 2);
    EXPECT_EQ(run({"--events", "C"}).status, 2);
    EXPECT_EQ(run({"--step", "-1"}).status, 2);
    EXPECT_EQ(run({scenario("no_such_file.yaml")}).status, 2);
    EXPECT_EQ(run({"generate", "--pairs", "5000"}).status, 2);
}

TEST_F(Drelsim, GeneratedScenarioRunsAndPasses) {
    char path[] = "/tmp/drelsim_gen_XXXXXX";
    close(mkstemp(path));
    Outcome g = run({"generate", "--vnis", "100", "--interfaces", "3", "--vsis", "4", "--pairs",
                     "5", "-o", path});
    ASSERT_EQ(g.status, 0) << g.err;
    Outcome r = run({path, "--json"});
    unlink(path);
    ASSERT_EQ(r.status, 0) << r.err;
    const json &round = last_round(r.report());
    EXPECT_EQ(round["scopes"].size(), 4u);
    expect_all_pass(round);
    EXPECT_EQ(scope(round, "global")["peers"]["A"]["passed_vni_count"], 100);
    EXPECT_EQ(scope(round, "3")["peers"]["B"]["tlvs"]["local"], 4);
    Outcome out =
        run({"generate", "--vnis", "2", "--interfaces", "1", "--vsis", "1", "--pairs", "1"});
    EXPECT_EQ(out.status, 0);
    EXPECT_NE(out.out.find("switches:"), std::string::npos);
}

// A scenario file with a mistake, and the line, field and expectation its complaint names.
struct ErrorCase {
    std::string file;
    int line;
    std::string field;
    std::string expected;
};

// The cases of tests/drelsim/scenario_errors.json, one per file of the scenarios' errors/.
std::vector<ErrorCase> error_cases() {
    std::ifstream in(std::string(ZORV_SOURCE_DIR) + "/tests/drelsim/scenario_errors.json");
    std::vector<ErrorCase> cases;
    for (const json &c : json::parse(in))
        cases.push_back(ErrorCase{c.at("file").get<std::string>(), c.at("line").get<int>(),
                                  c.at("field").get<std::string>(),
                                  c.at("expected").get<std::string>()});
    return cases;
}

void PrintTo(const ErrorCase &c, std::ostream *os) {
    *os << c.file;
}

std::string case_name(const ::testing::TestParamInfo<ErrorCase> &info) {
    std::string n, file = info.param.file;
    bool up = true;
    for (char ch : file.substr(0, file.find('.'))) {
        if (ch == '_') {
            up = true;
            continue;
        }
        n += up ? static_cast<char>(std::toupper(static_cast<unsigned char>(ch))) : ch;
        up = false;
    }
    return n;
}

class ScenarioErrors : public ::testing::TestWithParam<ErrorCase> {
  protected:
    void SetUp() override {
        if (!*kExe) GTEST_SKIP() << "drelsim is not built";
    }
};

TEST_P(ScenarioErrors, NameFileLineFieldAndExpectation) {
    const ErrorCase &c = GetParam();
    const std::string path = scenario(std::string("errors/") + c.file);
    Outcome r = run({path, "--json"});
    EXPECT_EQ(r.status, 2);
    EXPECT_TRUE(r.out.empty()) << r.out;
    const std::string head =
        "drelsim: scenario error: " + path + ":" + std::to_string(c.line) + ": " + c.field + ": ";
    EXPECT_EQ(r.err.rfind(head, 0), 0u) << r.err;
    EXPECT_NE(r.err.find(c.expected), std::string::npos) << r.err;
}

INSTANTIATE_TEST_SUITE_P(Drelsim, ScenarioErrors, ::testing::ValuesIn(error_cases()), case_name);

namespace {

using Scale = ScratchTest;

// The parameter rows of every scope of a report, without its timing.
json rows_of(const json &report) {
    json out = json::array();
    for (auto &round : report["rounds"])
        for (auto &s : round["scopes"])
            out.push_back({s["title"], s["verdict"], s["parameters"], s["peers"]["A"]["status"],
                           s["peers"]["B"]["status"], s["peers"]["A"]["failed_vnis"],
                           s["peers"]["B"]["failed_vnis"]});
    return out;
}

} // namespace

TEST_F(Scale, RangesMapLikeTheirEntries) {
    const std::vector<std::string> size{"--vnis", "50", "--interfaces", "3",
                                        "--vsis", "2",  "--pairs",      "20"};
    std::vector<std::string> ranged{"generate", "-o", dir_ + "/ranged.yaml"},
        single{"generate", "--no-ranges", "-o", dir_ + "/single.yaml"};
    ranged.insert(ranged.end(), size.begin(), size.end());
    single.insert(single.end(), size.begin(), size.end());
    ASSERT_EQ(run(ranged).status, 0);
    ASSERT_EQ(run(single).status, 0);
    const std::string text = slurp(dir_ + "/ranged.yaml");
    EXPECT_NE(text.find("member_vnis: {\n      10000-10049: 1-50}"), std::string::npos) << text;
    EXPECT_NE(text.find("vlan_to_vni: {1-20: 10000-10019}"), std::string::npos);
    EXPECT_NE(text.find("vlan_to_vni: {1-10: 10040-10049, 11-20: 10000-10009}"), std::string::npos);
    EXPECT_NE(slurp(dir_ + "/single.yaml").find("vlan_to_vni: {1: 10000, 2: 10001, "),
              std::string::npos);
    Outcome a = run({dir_ + "/ranged.yaml", "--json"}), b = run({dir_ + "/single.yaml", "--json"});
    ASSERT_EQ(a.status, 0) << a.err;
    ASSERT_EQ(b.status, 0) << b.err;
    EXPECT_EQ(rows_of(a.report()), rows_of(b.report()));
}

// A's peer links 1, 2, 3 and 5, B's 1, 3, 4 and 5, and VLAN 20 of link 3 on another VNI on B:
// exchanged a frame a turn, the scopes and their verdicts are those of one turn each.
TEST_F(Scale, TurnsOnThePeerLinkCheckEveryScopeAsOneTurnDoes) {
    auto iface = [](unsigned link, unsigned vni20) {
        return "      - {ifindex: " + std::to_string(0x40000 + link) +
               ", peer_link: " + std::to_string(link) +
               ", service_instances: [{id: " + std::to_string(link) +
               ", vlan_to_vni: {10-11: 5010-5011, 20: " + std::to_string(vni20) + "}}]}\n";
    };
    std::string text = "switches:\n  A:\n    member_vnis: {5010-5011: 10-11, 5020: 20}\n"
                       "    interfaces:\n";
    for (unsigned link : {1, 2, 3, 5})
        text += iface(link, 5020);
    text += "  B:\n    member_vnis: {5010-5011: 10-11, 5020: 20}\n    interfaces:\n";
    for (unsigned link : {1, 3, 4, 5})
        text += iface(link, link == 3 ? 5021 : 5020);
    const std::string file = write("links.yaml", text);
    Outcome one = run({file, "--json"}), many = run({file, "--json", "--turn-bytes", "1"});
    EXPECT_EQ(one.status, 1) << one.err;
    EXPECT_EQ(many.status, 1) << many.err;
    EXPECT_EQ(rows_of(one.report()), rows_of(many.report()));
    const json &round = last_round(many.report());
    ASSERT_EQ(round["scopes"].size(), 6u);
    // Link 2: A checks its own against nothing, B has no interface; link 4 the other way.
    EXPECT_EQ(scope(round, "2")["peers"]["A"]["status"], "checked");
    EXPECT_EQ(scope(round, "2")["peers"]["B"]["status"], "no-interface");
    EXPECT_EQ(scope(round, "4")["peers"]["A"]["status"], "no-interface");
    EXPECT_EQ(scope(round, "4")["peers"]["B"]["status"], "checked");
    EXPECT_EQ(failed_vnis(scope(round, "3")["peers"]["B"]), std::vector<unsigned>{5021});
    EXPECT_EQ(scope(round, "5")["verdict"], "pass");
    // One frame a turn: five frames and an end from each side, however the turns fall.
    EXPECT_EQ(many.report()["rounds"][0]["timing"]["A"]["frames_sent"], 5);
    EXPECT_EQ(many.report()["rounds"][0]["timing"]["B"]["frames_sent"], 5);
}
