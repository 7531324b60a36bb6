// SPDX-License-Identifier: Apache-2.0
// End-to-end tests of `drelsim plan`: a change safe in one order only, one unsafe in both orders,
// one inconsistent even when fully applied, refused files; and the view of what each step of a
// scenario would suspend.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "drelsim_run.h"

using nlohmann::json;
using ::testing::HasSubstr;

namespace {

constexpr const char *kLeaf1 = "avd-single-dc-l3ls-leaf1";

class Plan : public ScratchTest {
  protected:
    void SetUp() override {
        ScratchTest::SetUp();
        a_ = real(kLeaf1, "dc1-leaf1a.cfg"), b_ = real(kLeaf1, "dc1-leaf1b.cfg");
    }
    Outcome plan(const std::string &a, const std::string &b, const std::string &a2,
                 const std::string &b2, bool json = false) {
        std::vector<std::string> args{"plan", "--before", a, b, "--after", a2, b2};
        if (json) args.push_back("--json");
        return run(args);
    }
    // The state `key` of a plan's JSON report.
    static const json &state(const json &rep, const std::string &key) {
        for (auto &s : rep["states"])
            if (s["state"] == key) return s;
        throw std::runtime_error("no state " + key);
    }
    std::string a_, b_;
};

// B runs a mistyped VNI; the change corrects it and renames a VLAN on A (which the checks do
// not see). Pushed A first, the typo stays while only A has the change; B first, the pair is
// consistent at once.
TEST_F(Plan, ChangeSafeInOneOrderOnly) {
    const std::string b_typo =
        edited(b_, "b_typo.cfg", "   vxlan vlan 12 vni 10012", "   vxlan vlan 12 vni 10013");
    const std::string a2 = edited(a_, "a2.cfg", "   name VRF10_VLAN11", "   name TENANT_11");
    Outcome r = plan(a_, b_typo, a2, b_);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(r.out, HasSubstr("A first, B not yet (A " + a2 + ", B " + b_typo + "): FAIL\n"));
    EXPECT_THAT(r.out, HasSubstr("  A would suspend VNI 10012; VLAN 12; service instances "
                                 "Port-Channel5 5 (VLAN 12), Port-Channel8 8 (VLAN 12); "
                                 "interfaces Port-Channel5, Port-Channel8\n"));
    EXPECT_THAT(r.out, HasSubstr("B first, A not yet (A " + a_ + ", B " + b_ +
                                 "): PASS - nothing would be suspended\n"));
    EXPECT_THAT(r.out, HasSubstr("Recommended: B first, then A - nothing is suspended while the "
                                 "change is half applied (the other order would suspend 4 VLANs "
                                 "of 4 service instances).\n"));
    EXPECT_THAT(r.out, ::testing::Not(HasSubstr("Inconsistent even when fully applied")));
    const json rep = plan(a_, b_typo, a2, b_, true).report();
    EXPECT_EQ(rep["recommended"], "B first");
    EXPECT_EQ(rep["safe_order"], true);
    EXPECT_EQ(rep["consistent_after"], true);
    const json &half = state(rep, "a_first");
    EXPECT_EQ(half["verdict"], "fail");
    EXPECT_EQ(half["suspended"]["A"]["vnis"], json::array({10012}));
    EXPECT_EQ(half["suspended"]["B"]["vnis"], json::array({10013}));
    EXPECT_EQ(half["suspended"]["B"]["vlans"], "12");
    EXPECT_EQ(half["suspended"]["B"]["service_instances"].size(), 2u);
    EXPECT_EQ(state(rep, "b_first")["suspended"]["A"]["weight"], 0);
}

// A new VLAN with its VNI on both switches: while only one has it, their member-VNI lists differ
// in length, the checks refuse them, and the whole global scope goes down on both, whichever
// order.
TEST_F(Plan, ChangeUnsafeInBothOrders) {
    auto add_vlan = [&](const std::string &from, const std::string &name) {
        const std::string once =
            edited(from, name, "   vxlan vlan 3402 vni 13402",
                   "   vxlan vlan 3402 vni 13402\n   vxlan vlan 3403 vni 13403");
        return edited(once, name, "\nvlan 3402\n", "\nvlan 3402,3403\n");
    };
    const std::string a2 = add_vlan(a_, "a2.cfg"), b2 = add_vlan(b_, "b2.cfg");
    Outcome r = plan(a_, b_, a2, b2);
    EXPECT_EQ(r.status, 1) << r.err;
    EXPECT_THAT(r.out, HasSubstr("    whole scope: the checks refused the parameter lists of "
                                 "global (9 on A, 8 from B): the whole global configuration is "
                                 "inconsistent\n"));
    EXPECT_THAT(r.out, HasSubstr("    whole scope: the checks refused the parameter lists of "
                                 "global (8 on A, 9 from B): the whole global configuration is "
                                 "inconsistent\n"));
    EXPECT_THAT(r.out, HasSubstr("Recommended: either order - both suspend as much while the "
                                 "change is half applied (20 VLANs of 4 service instances, 2 "
                                 "whole scopes); push the two switches close together.\n"));
    const json rep = plan(a_, b_, a2, b2, true).report();
    EXPECT_EQ(rep["recommended"], "either");
    EXPECT_EQ(rep["safe_order"], false);
    EXPECT_EQ(rep["consistent_after"], true);
    EXPECT_EQ(state(rep, "a_first")["suspended"]["A"]["vlans"], "11-12,21-22,3401-3402");
    EXPECT_EQ(rep["exit_status"], 1);
}

// The change maps VLAN 21 to VNI 10121 on B only: consistent in neither finished state.
TEST_F(Plan, ChangeInconsistentWhenFullyApplied) {
    const std::string a2 = edited(a_, "a2.cfg", "   name VRF10_VLAN11", "   name TENANT_11");
    const std::string b2 =
        edited(b_, "b2.cfg", "   vxlan vlan 21 vni 10021", "   vxlan vlan 21 vni 10121");
    Outcome r = plan(a_, b_, a2, b2);
    EXPECT_EQ(r.status, 1) << r.err;
    EXPECT_THAT(r.out, HasSubstr("After the change (A " + a2 + ", B " + b2 + "): FAIL\n"));
    EXPECT_THAT(r.out, HasSubstr("Recommended: A first, then B - nothing is suspended while the "
                                 "change is half applied"));
    EXPECT_THAT(r.out, HasSubstr("Inconsistent even when fully applied: with both switches "
                                 "changed the pair still fails (see \"After the change\").\n"));
    const json rep = plan(a_, b_, a2, b2, true).report();
    EXPECT_EQ(rep["consistent_after"], false);
    EXPECT_EQ(state(rep, "after")["suspended"]["B"]["vnis"], json::array({10022, 10121}));
    EXPECT_EQ(rep["exit_status"], 1);
}

TEST_F(Plan, RefusedFileIsAConfigurationError) {
    const std::string junk = write("junk.cfg", "nothing to see\n");
    Outcome r = plan(a_, b_, junk, b_);
    EXPECT_EQ(r.status, 2);
    EXPECT_THAT(r.err, ::testing::StartsWith("drelsim: configuration error: " + junk +
                                             ":1: unknown format: expected one of "));
    EXPECT_TRUE(r.out.empty());
}

TEST_F(Plan, EveryStepShowsWhatItsStateWouldSuspend) {
    Outcome r = run({kDir + "/change_steps.yaml"});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.out, HasSubstr("\n  In this state the peer managers would suspend:\n"
                                 "    A would suspend VNIs 10010, 10020; VLANs 10,20; service "
                                 "instances port-channel10 7 (VLANs 10,20); interface "
                                 "port-channel10\n"));
    EXPECT_THAT(r.out, HasSubstr("    A would suspend no service instance\n      whole scope: a "
                                 "parameter of peer link 20 (port-channel20) exists on one side "
                                 "only: the whole interface is inconsistent\n"));
    const json rep = run({kDir + "/change_steps.yaml", "--json"}).report();
    EXPECT_TRUE(rep["rounds"][0]["suspended"]["A"]["vnis"].empty());
    EXPECT_EQ(rep["rounds"][1]["suspended"]["A"]["vnis"], json::array({10010, 10020}));
    EXPECT_EQ(rep["rounds"][1]["suspended"]["A"]["interfaces"], json::array({"port-channel10"}));
}

} // namespace
