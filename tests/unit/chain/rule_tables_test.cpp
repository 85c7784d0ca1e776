/* What no case can show of tables of rules: marks, copies, and blocks that are left half done when memory fails. */
#include "chain/rule_tables.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/operations.h"

using namespace support;

namespace {

class RuleTables : public TreeTest {
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

TEST_F(RuleTables, LimitsThatWentDownAreMarkedAndTheirCopiesAreNot)
{
    ASSERT_EQ(
        parse("config waf brute-force-login\nedit 1\nset block-period 60\nconfig list\nedit 1\nnext\nend\nnext\nend\n"),
        0);
    migr_brute_force_login();
    EXPECT_EQ(dump(*block()),
              "edit 1\n  config list\n    edit 1\n      set block-period=60\n  set block-period=60 deleted\n");
}

TEST_F(RuleTables, LimitsWithoutAValueStay)
{
    ASSERT_EQ(parse("config waf brute-force-login\nedit 1\nconfig list\nedit 1\nnext\nend\nnext\nend\n"), 0);
    cfg_add_conf("block-period", nullptr, MIGR_SET, block()->edit_list);
    cfg_add_conf("access-limit-share-ip", "", MIGR_SET, block()->edit_list);
    expect_unchanged(migr_brute_force_login);
}

TEST_F(RuleTables, WithoutMemoryALimitIsNotMarked)
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

TEST_F(RuleTables, WithoutMemoryInputRulesAreLeftHalfDone)
{
    ASSERT_EQ(parse("config waf input-rule\nedit 1\nconfig l\n" + times(3, "edit e\nnext\n") + "end\nnext\nend\n"), 0);
    with_failing_nodes(2, migr_input_rule);
    EXPECT_EQ(dump(*block()->edit_list->config_list), "edit e\n  set type-checked=enable\nedit e\nedit e\n");
    with_failing_values(1, migr_input_rule);
    EXPECT_EQ(dump(*block()->edit_list->config_list), "edit e\n  set type-checked=enable\nedit e\nedit e\n");
}

TEST_F(RuleTables, RobotBlocksTakeTheirMarksAlong)
{
    ASSERT_EQ(parse("config waf robot-control\nedit 1\nset block-period 60\nnext\nend\n"), 0);
    block()->hidden = 1;
    block()->edit_list->hidden = 1;
    migr_malicious_robot_process();
    EXPECT_EQ(all(), "top waf,robot-control hidden\n  edit 1 hidden\n"
                     "top waf,layer4-access-limit-rule hidden\n  edit 1 hidden\n"
                     "    set action=block-period\n    set block-period=60\n");
}

TEST_F(RuleTables, WithoutMemoryARobotPolicyLacksWhatFailed)
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

TEST_F(RuleTables, NoRobotControlNoAccessLimitRules)
{
    ASSERT_EQ(parse("config a\nedit 1\nset block-period 60\nnext\nend\n"), 0);
    mr_add_freenode_to_tree(block()->edit_list, nullptr);
    EXPECT_EQ(all(), "top a\n  edit 1\n    set block-period=60\n");
}

TEST_F(RuleTables, SetsWithoutAValueAreNoTrouble)
{
    ASSERT_EQ(parse("config xml-protection filter-rule\nedit 1\nconfig l\nedit 1\nnext\nend\nnext\nend\n"
                    "config waf robot-control\nedit 1\nnext\nend\n"
                    "config waf layer4-access-limit-rule\nend\n"),
              0);
    cfg_add_conf("priority", nullptr, MIGR_SET, block()->edit_list->config_list->edit_list);
    cfg_add_conf("block-period", nullptr, MIGR_SET, named(block(), "waf,robot-control")->edit_list);
    expect_unchanged(migr_xml_protection_rule_filter);
    migr_malicious_robot_process();
    EXPECT_EQ(dump(*named(block(), "waf,robot-control")), "edit 1\n  set block-period\n");
    EXPECT_EQ(dump(*named(block(), "waf,layer4-access-limit-rule")), "edit 1\n");
}

} // namespace
