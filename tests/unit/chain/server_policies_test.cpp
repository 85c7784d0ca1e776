/* What no case can show of server policies: the machine's limits, marks, and values that are not there. */
#include "chain/server_policies.h"
#include "driver/migr.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/operations.h"

#include <cstring>

using namespace support;

namespace {

class ServerPolicies : public TreeTest {
  protected:
    void TearDown() override
    {
        qb01a = 0;
        release_further_rows();
        TreeTest::TearDown();
    }

    config_node *block()
    {
        return migr_main.root.top_list;
    }

    /* The first edit of the only block. */
    config_node *edit(const std::string &content)
    {
        EXPECT_EQ(parse("config block\nedit 1\n" + content + "next\nend\n"), 0);
        return block()->edit_list;
    }
};

TEST_F(ServerPolicies, TheSmallModelLimitsSessionsTo8000AheadOfTheMachinesLimit)
{
    ASSERT_EQ(parse("config server-policy policy\n"
                    "edit a\nset persistent-server-sessions 8000\nnext\n"
                    "edit b\nset persistent-server-sessions 8001\nnext\n"
                    "edit c\nset persistent-server-sessions 99999\nnext\n"
                    "edit d\nset persistent-server-sessions-2 9000\nnext\n"
                    "edit e\nset persistent-server-sessions 08000\nnext\n"
                    "end\n"),
              0);
    qb01a = 1;
    migr_policy();
    EXPECT_EQ(dump(*block()), "edit a\n  set persistent-server-sessions=8000\n"
                              "edit b\n  set persistent-server-sessions=8000\n"
                              "edit c\n  set persistent-server-sessions=8000\n"
                              "edit d\n  set persistent-server-sessions-2=9000\n"
                              "edit e\n  set persistent-server-sessions=08000\n");
}

TEST_F(ServerPolicies, WithoutTheFlagOnlyTheMachinesLimitCounts)
{
    config_node *policy = edit("set persistent-server-sessions 9000\n");
    migr_check_one_policy(policy, 0);
    EXPECT_STREQ(policy->set_list->value, "9000");
    migr_check_one_policy(policy, 1);
    EXPECT_STREQ(policy->set_list->value, "8000");
}

TEST_F(ServerPolicies, ReplacedSetsAreMarkedAndNotTakenOut)
{
    config_node *policy = edit("set service HTTP\nset ssl-client enable\nset ssl-client disable\n");
    migr_check_one_policy(policy, 0);
    EXPECT_EQ(dump(*policy), "set service=HTTP deleted\nset https-service=HTTP\nset ssl-client=disable deleted\n");
}

TEST_F(ServerPolicies, SetsWithoutAValueAreNoTrouble)
{
    config_node *policy = edit("");
    for (const char *name :
         {"port", "pserver", "persistent-server-sessions", "vserver", "interface", "ssl-client", "service",
          "deployment-mode", "pservers", "http-conversion", "http-conversion-policy", "x"})
        cfg_add_conf(name, nullptr, MIGR_SET, policy);
    migr_check_one_policy(policy, 1);
    migr_check_one_policy_session(policy);
    migr_one_peservers_check(policy);
    migr_one_wafwebprotectionprofile_inlineprotection_check(policy);
    EXPECT_EQ(dump(*policy),
              "set x\nset http-conversion-policy\nset http-conversion\nset pservers\nset deployment-mode\n"
              "set service\nset ssl-client deleted\nset interface\nset vserver\n"
              "set persistent-server-sessions\nset pserver\nset port\n");
}

TEST_F(ServerPolicies, AServiceWithoutAValueGivesAnEmptyHttpsService)
{
    config_node *policy = edit("set ssl-client enable\n");
    cfg_add_conf("service", nullptr, MIGR_SET, policy);
    migr_check_one_policy(policy, 0);
    EXPECT_EQ(dump(*policy), "set service deleted\nset https-service=\n");
}

TEST_F(ServerPolicies, BlocksWithNullValuesAreNoTrouble)
{
    ASSERT_EQ(
        parse("config system settings\nset opmode offline\nend\n"
              "config server-policy vserver\nedit v\nset interface port1\nnext\nedit w\nnext\nend\n"
              "config server-policy policy\nedit p\nset a 1\nset vserver v\nset b 1\nnext\nedit q\nset b 1\nnext\nend\n"
              "config server-policy pservers\nedit f\nconfig list\nedit 1\nnext\nend\nnext\nend\n"),
        0);
    config_node *vservers = block()->next;
    config_node *policies = vservers->next;
    cfg_add_conf("interface", nullptr, MIGR_SET, vservers->edit_list->next);
    config_node *bare = make_config_node("vserver", nullptr, MIGR_SET);
    policies->edit_list->next->set_list->next = bare;
    bare->next = make_config_node("c", nullptr, MIGR_SET);
    config_node *farm = policies->next->edit_list;
    cfg_add_conf("type", nullptr, MIGR_SET, farm);
    cfg_add_conf("pserver", nullptr, MIGR_SET, farm->config_list->edit_list);
    migr_policy_offline();
    EXPECT_EQ(dump(*policies), "edit p\n  set a=1\n  set b=1\n  set data-capture-port=port1\n"
                               "edit q\n  set b=1\n  set c\n  set data-capture-port=port1\n");
    migr_policy_process();
    migr_check_server_farms();
    EXPECT_EQ(dump(*policies->next), "edit f\n  config list\n    edit 1\n      set pserver\n  set type\n");
}

/* So many policies, each with a mode and a farm of its own, and the farms. */
std::string policies_and_farms(int count)
{
    std::string policies, farms;
    for (int i = 0; i < count; i++) {
        std::string number = std::to_string(i);
        policies += "edit p" + number + "\nset deployment-mode m" + number + "\nset pservers f" + number + "\nnext\n";
        farms += "edit f" + number + "\nnext\n";
    }
    return "config server-policy policy\n" + policies + "end\nconfig server-policy pservers\n" + farms + "end\n";
}

TEST_F(ServerPolicies, PoliciesBeyondTheTableAreConvertedLikeTheFirst)
{
    ASSERT_EQ(parse(policies_and_farms(200)), 0);
    migr_policy_process();
    EXPECT_EQ(policy_change_count, 200);
    EXPECT_STREQ(_pinfo[0].first, "m0");
    EXPECT_STREQ(_pinfo[0].second, "f0");
    EXPECT_STREQ(_pinfo[63].first, "m63");
    EXPECT_STREQ(_pinfo[63].second, "f63");
    std::string farms;
    for (int i = 199; i >= 0; i--)
        farms += "edit f" + std::to_string(i) + "\n  set type=m" + std::to_string(i) + "\n";
    EXPECT_EQ(dump(*block()->next), farms);
}

TEST_F(ServerPolicies, VserversBeyondTheTableGiveTheirPortsLikeTheFirst)
{
    std::string vservers, policies, converted;
    for (int i = 0; i < 100; i++) {
        std::string number = std::to_string(i);
        vservers += "edit v" + number + "\nset interface port" + number + "\nnext\n";
        policies += "edit p" + number + "\nset a 1\nset vserver v" + number + "\nset b 1\nnext\n";
        converted += "edit p" + number + "\n  set a=1\n  set b=1\n  set data-capture-port=port" + number + "\n";
    }
    ASSERT_EQ(parse("config system settings\nset opmode offline\nend\nconfig server-policy vserver\n" + vservers +
                    "edit v70\nset interface later\nnext\nend\nconfig server-policy policy\n" + policies + "end\n"),
              0);
    migr_policy_offline();
    EXPECT_EQ(policy_change_count, 101);
    EXPECT_EQ(dump(*block()->next->next), converted);
}

TEST_F(ServerPolicies, RowsBeyondTheTableGoWithThePass)
{
    ASSERT_EQ(parse(policies_and_farms(70)), 0);
    migr_policy_process();
    EXPECT_EQ(policy_change_count, 70);
    release_further_rows();
    EXPECT_EQ(policy_change_count, 64);
    ASSERT_EQ(parse(policies_and_farms(3)), 0);
    migr_policy_process();
    release_further_rows();
    EXPECT_EQ(policy_change_count, 3);
}

TEST_F(ServerPolicies, FarmsOfOneNameAreTakenOneByOne)
{
    ASSERT_EQ(parse("config server-policy policy\n"
                    "edit p\nset deployment-mode m1\nset pservers f\nnext\n"
                    "edit q\nset deployment-mode m2\nset pservers f\nnext\n"
                    "edit r\nset deployment-mode m3\nset pservers f\nnext\nend\n"
                    "config server-policy pservers\nedit f\nset a 1\nnext\nedit g\nnext\nedit f\nset a 2\nnext\nend\n"),
              0);
    migr_policy_process();
    EXPECT_EQ(dump(*block()->next), "edit f\n  set type=m2\n  set a=2\nedit f\n  set type=m1\n  set a=1\n");
}

TEST_F(ServerPolicies, TheTableIsClearedAheadOfEachFilling)
{
    ASSERT_EQ(parse("config server-policy policy\nedit p\nset deployment-mode m\nset pservers f\nnext\nend\n"
                    "config server-policy vserver\nedit v\nnext\nend\n"),
              0);
    migr_policy_process();
    EXPECT_EQ(policy_change_count, 1);
    migr_get_vsport_list();
    EXPECT_EQ(policy_change_count, 0);
    EXPECT_STREQ(_pinfo[0].first, "");
    EXPECT_STREQ(_pinfo[0].second, "");
}

TEST_F(ServerPolicies, LongModesAndFarmNamesAreCutAt63Characters)
{
    std::string long_text(70, 'x');
    ASSERT_EQ(parse("config server-policy policy\n"
                    "edit p\nset deployment-mode " +
                    long_text +
                    "\nset pservers f\nnext\n"
                    "edit q\nset deployment-mode m\nset pservers " +
                    long_text +
                    "\nnext\nend\n"
                    "config server-policy pservers\nedit f\nnext\nedit " +
                    long_text + "\nnext\nend\n"),
              0);
    migr_policy_process();
    EXPECT_EQ(dump(*block()->next), "edit f\n  set type=" + std::string(63, 'x') + "\n");
}

class ServerFarms : public ServerPolicies {
  protected:
    void SetUp() override
    {
        ServerPolicies::SetUp();
        migr_pfarms_cnt = 0;
        migr_pfarms_type[0] = '\0';
        migr_pfarms_name[0] = '\0';
    }
};

TEST_F(ServerFarms, ScanGathersServers)
{
    std::string long_text(70, 'y');
    ASSERT_EQ(parse("config server-policy pservers\n"
                    "edit f1\nset types t1\nset type t2\nconfig list\n"
                    "edit 1\nset port 80\nset pserver a\nnext\n"
                    "edit 2\nset pservers b\nset port-number 81\nset a-port 3\nnext\n"
                    "end\nconfig other\nedit 1\nset pserver c\nnext\nend\nnext\n"
                    "edit f2\nset comment c\nconfig list\nedit 1\nset pserver " +
                    long_text +
                    "\nnext\nend\nnext\n"
                    "edit f3\nset type t3\nconfig list\nend\nnext\n"
                    "edit f4\nset type t4\nnext\n"
                    "edit f5\nset comment c\nconfig list\nedit 1\nnext\nend\nnext\n"
                    "end\n"
                    "config server-policy pservers\nedit f6\nconfig list\nedit 1\nnext\nend\nnext\nend\n"),
              0);
    std::string before = dump(migr_main.root);
    migr_check_server_farms();
    EXPECT_EQ(dump(migr_main.root), before);
    ASSERT_EQ(migr_pfarms_cnt, 4);
    const char *expected[4][4] = {
        {"f1", "t1", "a", "80"}, {"f1", "t1", "b", "81"}, {"f2", "t1", nullptr, ""}, {"f5", "t1", "", ""}};
    for (int i = 0; i < 4; i++) {
        EXPECT_STREQ(migr_pfarms_array[i].farm, expected[i][0]);
        EXPECT_STREQ(migr_pfarms_array[i].type, expected[i][1]);
        EXPECT_EQ(std::string(migr_pfarms_array[i].server), expected[i][2] ? expected[i][2] : std::string(63, 'y'));
        EXPECT_STREQ(migr_pfarms_array[i].port, expected[i][3]);
    }
    EXPECT_STREQ(migr_pfarms_name, "f5");
    EXPECT_STREQ(migr_pfarms_type, "t1");
}

TEST_F(ServerFarms, TheCountRunsOnBeyondTheTable)
{
    std::string farm =
        "edit f\nset type t\nconfig list\n" + times(600, "edit 1\nset pserver a\nnext\n") + "end\nnext\n";
    ASSERT_EQ(parse("config server-policy pservers\n" + farm + "end\n"), 0);
    migr_check_server_farms();
    EXPECT_EQ(migr_pfarms_cnt, 600);
    EXPECT_STREQ(migr_pfarms_array[599].server, "a");
    migr_check_server_farms();
    EXPECT_EQ(migr_pfarms_cnt, 1200);
    EXPECT_STREQ(migr_pfarms_array[599].server, "");
    EXPECT_STREQ(migr_pfarms_array[600].server, "a");
    EXPECT_STREQ(migr_pfarms_array[1023].server, "a");
    migr_check_server_farms();
    EXPECT_EQ(migr_pfarms_cnt, 1800);
    EXPECT_STREQ(migr_pfarms_array[1023].server, "");
    release_further_rows();
    EXPECT_EQ(migr_pfarms_cnt, 1800) << "the count is no index, it only runs on";
}

using PoliciesWithoutMemory = ServerPolicies;

TEST_F(PoliciesWithoutMemory, APredefinedProfileLacksTheSetThatFailed)
{
    const std::string text = "config waf web-protection-profile inline-protection\n"
                             "edit \"Inline High Level Security\"\nset a 1\nset b 2\nset c 3\nset d 4\nnext\nend\n";
    const char       *action = "set cookie-poison-action=alert\n";
    const char       *cookie = "set cookie-poison=enable\n";
    const char       *session = "set http-session-management=enable\n";
    for (int failing = 1; failing <= 3; failing++) {
        ASSERT_EQ(parse(text), 0);
        EXPECT_EQ(with_failing_nodes(failing, migr_predefine_change), 3);
        EXPECT_EQ(dump(*block()->edit_list), std::string(failing == 3 ? "" : session) + "set a=1\nset b=2\n" +
                                                 (failing == 2 ? "" : cookie) + (failing == 1 ? "" : action) +
                                                 "set d=4\n");
    }
}

TEST_F(PoliciesWithoutMemory, ASetWhoseValueFailsStandsWithoutOne)
{
    config_node *check = edit("set a 1\n");
    with_failing_values(1, [&] { migr_check_one_health_check(check); });
    EXPECT_EQ(dump(*check), "set a=1\nset type\n");
}

TEST_F(PoliciesWithoutMemory, AFarmWithoutATypeIsLost)
{
    const std::string text = "config server-policy policy\n"
                             "edit p\nset deployment-mode m\nset pservers f\nnext\n"
                             "edit q\nset deployment-mode n\nset pservers g\nnext\nend\n"
                             "config server-policy pservers\nedit f\nnext\nedit g\nnext\nend\n";
    ASSERT_EQ(parse(text), 0);
    with_failing_nodes(1, migr_policy_process);
    EXPECT_EQ(dump(*block()->next), "edit g\n  set type=n\n");
    ASSERT_EQ(parse(text), 0);
    with_failing_values(2, migr_policy_process);
    EXPECT_EQ(dump(*block()->next), "edit g\n  set type\nedit f\n  set type=m\n");
}

TEST_F(PoliciesWithoutMemory, APolicyStaysAsItIs)
{
    config_node *policy = edit("set service HTTP\nset ssl-client enable\nset persistent-server-sessions 99999\n");
    with_failing_values(1, [&] { migr_check_one_policy(policy, 1); });
    EXPECT_EQ(dump(*policy), "set service=HTTP\nset ssl-client=enable\nset persistent-server-sessions=8000\n");
    config_node *bare = edit("set a 1\n");
    with_failing_nodes(1, [&] { migr_check_one_policy_session(bare); });
    EXPECT_EQ(dump(*bare), "set a=1\n");
}

/* Farms that cannot be looked up stay, and so do policies whose ports cannot be. */
TEST_F(PoliciesWithoutMemory, WithoutAnIndexNothingChanges)
{
    ASSERT_EQ(parse(policies_and_farms(3)), 0);
    std::string before = dump(migr_main.root);
    EXPECT_EQ(with_failing_growth(1, migr_policy_process), 1);
    EXPECT_EQ(dump(migr_main.root), before);
    ASSERT_EQ(parse("config system settings\nset opmode offline\nend\n"
                    "config server-policy vserver\nedit v\nset interface port1\nnext\nend\n"
                    "config server-policy policy\nedit p\nset a 1\nset vserver v\nset b 1\nnext\nend\n"),
              0);
    before = dump(migr_main.root);
    EXPECT_EQ(with_failing_growth(1, migr_policy_offline), 1);
    EXPECT_EQ(dump(migr_main.root), before);
}

TEST_F(PoliciesWithoutMemory, ARowThatCannotBeKeptIsLeftOut)
{
    ASSERT_EQ(parse(policies_and_farms(70)), 0);
    release_further_rows();
    with_failing_growth(1, migr_policy_process);
    EXPECT_EQ(policy_change_count, 69);
    EXPECT_EQ(length_of(block()->next->edit_list), 69u);
    EXPECT_STREQ(block()->next->edit_list->name, "f69");
    release_further_rows();
    migr_pfarms_cnt = 1024;
    with_failing_growth(1, [&] { migr_pservers_farm_check(block()->edit_list); });
    EXPECT_EQ(migr_pfarms_cnt, 1024);
}

} // namespace
