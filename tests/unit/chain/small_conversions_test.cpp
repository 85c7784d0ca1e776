#include "chain/small_conversions.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/operations.h"

using namespace support;

namespace {

class SmallConversions : public TreeTest {
  protected:
    config_node *block()
    {
        return migr_main.root.top_list;
    }
    std::string all()
    {
        return dump(migr_main.root);
    }

    void expect_unchanged(void (*migration)())
    {
        std::string before = all();
        migration();
        EXPECT_EQ(all(), before);
    }
};

TEST_F(SmallConversions, LimitsThatWentDownAreMarkedAndTheirCopiesAreNot)
{
    ASSERT_EQ(
        parse("config waf brute-force-login\nedit 1\nset block-period 60\nconfig list\nedit 1\nnext\nend\nnext\nend\n"),
        0);
    migr_brute_force_login();
    EXPECT_EQ(dump(*block()),
              "edit 1\n  config list\n    edit 1\n      set block-period=60\n  set block-period=60 deleted\n");
}

TEST_F(SmallConversions, LimitsWithoutAValueStay)
{
    ASSERT_EQ(parse("config waf brute-force-login\nedit 1\nconfig list\nedit 1\nnext\nend\nnext\nend\n"), 0);
    cfg_add_conf("block-period", nullptr, MIGR_SET, block()->edit_list);
    cfg_add_conf("access-limit-share-ip", "", MIGR_SET, block()->edit_list);
    expect_unchanged(migr_brute_force_login);
}

TEST_F(SmallConversions, WithoutMemoryALimitIsNotMarked)
{
    ASSERT_EQ(
        parse(
            "config waf brute-force-login\nedit 1\nset block-period 60\nconfig list\nedit 1\nnext\nedit 2\nnext\nend\n"
            "next\nend\n"),
        0);
    with_failing_nodes(2, migr_brute_force_login);
    EXPECT_EQ(dump(*block()),
              "edit 1\n  config list\n    edit 1\n      set block-period=60\n    edit 2\n  set block-period=60\n");
}

TEST_F(SmallConversions, SetsWithoutAValueAreNoTrouble)
{
    ASSERT_EQ(parse("config xml-protection filter-rule\nedit 1\nconfig l\nedit 1\nnext\nend\nnext\nend\n"
                    "config waf robot-control\nedit 1\nnext\nend\n"
                    "config waf layer4-access-limit-rule\nend\n"
                    "config system snmp community\nedit 1\nnext\nend\n"
                    "config log attack-log\nend\n"
                    "config system global\nend\n"
                    "config server-policy policy\nedit 1\nnext\nend\n"
                    "config server-policy pservers\nedit 1\nnext\nend\n"
                    "config system ha\nend\n"),
              0);
    cfg_add_conf("priority", nullptr, MIGR_SET, block()->edit_list->config_list->edit_list);
    cfg_add_conf("block-period", nullptr, MIGR_SET, named(block(), "waf,robot-control")->edit_list);
    cfg_add_conf("events", nullptr, MIGR_SET, named(block(), "system,snmp,community")->edit_list);
    cfg_add_conf("packet-log", nullptr, MIGR_SET, named(block(), "log,attack-log"));
    cfg_add_conf("status", nullptr, MIGR_SET, named(block(), "server-policy,policy")->edit_list);
    cfg_add_conf("circulate-url-decode", nullptr, MIGR_SET, named(block(), "server-policy,policy")->edit_list);
    cfg_add_conf("type", nullptr, MIGR_SET, named(block(), "server-policy,pservers")->edit_list);
    cfg_add_conf("device", nullptr, MIGR_SET, named(block(), "system,ha"));
    cfg_add_conf("mode", nullptr, MIGR_SET, named(block(), "system,ha"));
    for (void (*migration)() : {migr_xml_protection_rule_filter, migr_system_hasyncd})
        expect_unchanged(migration);
    for (int32_t (*migration)() :
         {migr_snmp_events, migr_mod_packet_log, migr_advanced, migr_mod_content_routing_policy}) {
        std::string before = all();
        EXPECT_EQ(migration(), 0);
        EXPECT_EQ(all(), before);
    }
    migr_malicious_robot_process();
    EXPECT_EQ(dump(*named(block(), "waf,robot-control")), "edit 1\n  set block-period\n");
    EXPECT_EQ(dump(*named(block(), "waf,layer4-access-limit-rule")), "edit 1\n");
}

TEST_F(SmallConversions, ASharedAddressSettingWithoutAValueIsCopiedWithoutOne)
{
    ASSERT_EQ(parse("config system global\nend\n"), 0);
    cfg_add_conf("share-ip", nullptr, MIGR_SET, block());
    EXPECT_EQ(migr_advanced(), 0);
    EXPECT_EQ(all(), "top system,global\n  set share-ip\ntop system,advanced\n  set share-ip\n");
}

TEST_F(SmallConversions, WithoutMemoryInputRulesAreLeftHalfDone)
{
    ASSERT_EQ(parse("config waf input-rule\nedit 1\nconfig l\n" + times(3, "edit e\nnext\n") + "end\nnext\nend\n"), 0);
    with_failing_nodes(2, migr_input_rule);
    EXPECT_EQ(dump(*block()->edit_list->config_list), "edit e\n  set type-checked=enable\nedit e\nedit e\n");
    with_failing_values(1, migr_input_rule);
    EXPECT_EQ(dump(*block()->edit_list->config_list), "edit e\n  set type-checked=enable\nedit e\nedit e\n");
}

TEST_F(SmallConversions, RobotBlocksTakeTheirMarksAlong)
{
    ASSERT_EQ(parse("config waf robot-control\nedit 1\nset block-period 60\nnext\nend\n"), 0);
    block()->hidden = 1;
    block()->edit_list->hidden = 1;
    migr_malicious_robot_process();
    EXPECT_EQ(all(), "top waf,robot-control hidden\n  edit 1 hidden\n"
                     "top waf,layer4-access-limit-rule hidden\n  edit 1 hidden\n"
                     "    set action=block-period\n    set block-period=60\n");
}

TEST_F(SmallConversions, WithoutMemoryARobotPolicyLacksWhatFailed)
{
    const std::string text = "config waf robot-control\nedit 1\nset a 1\nset block-period 60\nnext\nend\n";
    const std::string robots = "top waf,robot-control\n  edit 1\n    set a=1\n";
    const std::string rules = "top waf,layer4-access-limit-rule\n";
    const std::string expected[] = {robots + rules + "  edit 1\n    set block-period=60\n", robots, robots + rules};
    for (int failing = 1; failing <= 3; failing++) {
        ASSERT_EQ(parse(text), 0);
        with_failing_nodes(failing, migr_malicious_robot_process);
        EXPECT_EQ(all(), expected[failing - 1]) << failing;
    }
}

TEST_F(SmallConversions, NoRobotControlNoAccessLimitRules)
{
    ASSERT_EQ(parse("config a\nedit 1\nset block-period 60\nnext\nend\n"), 0);
    mr_add_freenode_to_tree(block()->edit_list, nullptr);
    EXPECT_EQ(all(), "top a\n  edit 1\n    set block-period=60\n");
}

TEST_F(SmallConversions, EventsAreCutAt1023Characters)
{
    std::string events = "waf-sql-attack " + std::string(1000, 'e');
    ASSERT_EQ(parse("config system snmp community\nedit 1\nset events " + events + "\nnext\nend\n"), 0);
    EXPECT_EQ(migr_snmp_events(), 0);
    EXPECT_EQ(std::string(block()->edit_list->set_list->value), events + " waf-sig");
}

TEST_F(SmallConversions, LoggedAttacksAreLookedAtUpTo511Characters)
{
    std::string kept(495, 'k');
    ASSERT_EQ(parse("config log attack-log\nset packet-log " + kept + " xss-attack sql-injection more\nend\n"), 0);
    EXPECT_EQ(migr_mod_packet_log(), 0);
    EXPECT_EQ(std::string(block()->set_list->value), kept + " sql- signature-detection");

    std::string longer(505, 'k');
    ASSERT_EQ(parse("config log attack-log\nset packet-log " + longer + " xss-attack\nend\n"), 0);
    EXPECT_EQ(migr_mod_packet_log(), 0);
    EXPECT_EQ(std::string(block()->set_list->value), longer + " xss-attack");

    ASSERT_EQ(parse("config log attack-log\nset packet-log " + times(250, "a ") + "xss-attack bbb\nend\n"), 0);
    EXPECT_EQ(migr_mod_packet_log(), 0);
    EXPECT_EQ(std::string(block()->set_list->value), times(250, "a ") + "signature-detection");
}

TEST_F(SmallConversions, WithoutMemoryAValueStays)
{
    ASSERT_EQ(
        parse("config system snmp community\nedit 1\nset events waf-sql-attack\nnext\nend\n"
              "config log attack-log\nset packet-log xss-attack\nend\n"
              "config waf web-protection-profile inline-protection\nedit p\nset x-forwarded-for enable\nnext\nend\n"
              "config system ha\nset mode master\nend\n"),
        0);
    std::string before = all();
    with_failing_values(
        1,
        [] {
            migr_snmp_events();
            migr_mod_packet_log();
            migr_x_forward();
            migr_system_hasyncd();
        },
        true);
    EXPECT_EQ(all(), before);
}

TEST_F(SmallConversions, WithoutMemoryForTheirBlockSettingsAreNotCopied)
{
    ASSERT_EQ(parse("config waf signature\nend\nconfig system global\nset share-ip enable\nend\n"), 0);
    std::string before = all();
    with_failing_nodes(
        1,
        [] {
            add_new_x_forward("p");
            migr_advanced();
        },
        true);
    EXPECT_EQ(all(), before);
    with_failing_nodes(2, [] { add_new_x_forward("p"); });
    EXPECT_EQ(dump(*block()->next), "");
    with_failing_nodes(2, [] { add_new_x_forward("p"); });
    EXPECT_EQ(dump(*block()->next), "edit p\n");
}

TEST_F(SmallConversions, RoutingRulesThatMovedAreMarked)
{
    ASSERT_EQ(parse("config server-policy http-content-routing-policy\nedit 1\nset a 1\nset b 2\nnext\nend\n"), 0);
    block()->edit_list->set_list->hidden = 1;
    migr_mod_content_routing_policy();
    EXPECT_EQ(dump(*block()), "edit 1\n  config content-routing-list\n    edit 1\n      set b=2\n      set a=1\n"
                              "  set a=1 deleted hidden\n  set b=2 deleted\n");
}

TEST_F(SmallConversions, WithoutMemoryRoutingRulesStayWhereTheyAre)
{
    const std::string text = "config server-policy http-content-routing-policy\nedit 1\nset a 1\nset b 2\nnext\nend\n";
    const std::string stay = "  set a=1\n  set b=2\n";
    const std::string expected[] = {"edit 1\n" + stay, "edit 1\n" + stay,
                                    "edit 1\n  config content-routing-list\n    edit 1\n      set b=2\n"
                                    "  set a=1\n  set b=2 deleted\n"};
    for (int failing = 1; failing <= 3; failing++) {
        ASSERT_EQ(parse(text), 0);
        with_failing_nodes(failing, [] { migr_mod_content_routing_policy(); });
        EXPECT_EQ(dump(*block()), expected[failing - 1]) << failing;
    }
}

TEST_F(SmallConversions, WithoutMemoryAServerHasNoPriority)
{
    ASSERT_EQ(parse("config server-policy pservers\nedit 1\nset type http-content-routing\nconfig pserver-list\n" +
                    times(3, "edit s\nnext\n") + "end\nnext\nend\n"),
              0);
    with_failing_nodes(2, [] { migr_mod_content_routing_policy(); });
    EXPECT_EQ(dump(*block()->edit_list->config_list), "edit s\n  set priority=0\nedit s\nedit s\n  set priority=2\n");
}

} // namespace
