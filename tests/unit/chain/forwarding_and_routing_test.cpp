/* What no case can show of the moves of forwarding and routing: marks, sets without a value, and memory that is not
 * to be had. */
#include "chain/forwarding_and_routing.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/operations.h"

using namespace support;

namespace {

class ForwardingAndRouting : public TreeTest {
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

TEST_F(ForwardingAndRouting, RoutingRulesThatMovedAreMarked)
{
    ASSERT_EQ(parse("config server-policy http-content-routing-policy\nedit 1\nset a 1\nset b 2\nnext\nend\n"), 0);
    block()->edit_list->set_list->hidden = 1;
    migr_mod_content_routing_policy();
    EXPECT_EQ(dump(*block()), "edit 1\n  config content-routing-list\n    edit 1\n      set b=2\n      set a=1\n"
                              "  set a=1 deleted hidden\n  set b=2 deleted\n");
}

TEST_F(ForwardingAndRouting, WithoutMemoryRoutingRulesStayWhereTheyAre)
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

TEST_F(ForwardingAndRouting, WithoutMemoryAServerHasNoPriority)
{
    ASSERT_EQ(parse("config server-policy pservers\nedit 1\nset type http-content-routing\nconfig pserver-list\n" +
                    times(3, "edit s\nnext\n") + "end\nnext\nend\n"),
              0);
    with_failing_nodes(2, [] { migr_mod_content_routing_policy(); });
    EXPECT_EQ(dump(*block()->edit_list->config_list), "edit s\n  set priority=0\nedit s\nedit s\n  set priority=2\n");
}

TEST_F(ForwardingAndRouting, SetsWithoutAValueAreNoTrouble)
{
    ASSERT_EQ(parse("config server-policy pservers\nedit 1\nnext\nend\n"), 0);
    cfg_add_conf("type", nullptr, MIGR_SET, block()->edit_list);
    expect_unchanged([] { EXPECT_EQ(migr_mod_content_routing_policy(), 0); });
}

TEST_F(ForwardingAndRouting, WithoutMemoryAProfileKeepsItsSetting)
{
    ASSERT_EQ(parse("config waf web-protection-profile inline-protection\n"
                    "edit p\nset x-forwarded-for enable\nnext\nend\n"),
              0);
    expect_unchanged([] {
        with_failing_values(
            1, [] { migr_x_forward(); }, true);
    });
}

TEST_F(ForwardingAndRouting, WithoutMemoryARuleIsMissing)
{
    ASSERT_EQ(parse("config waf signature\nend\n"), 0);
    expect_unchanged([] {
        with_failing_nodes(
            1, [] { add_new_x_forward("p"); }, true);
    });
    with_failing_nodes(2, [] { add_new_x_forward("p"); });
    EXPECT_EQ(dump(*block()->next), "");
    with_failing_nodes(2, [] { add_new_x_forward("p"); });
    EXPECT_EQ(dump(*block()->next), "edit p\n");
}

} // namespace
