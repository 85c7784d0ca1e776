/* Which bridges are listed, and which servers and policies are marked with them. How a delete rule finds its nodes
 * is tested beside it. */
#include "update_texts.h"

class Bridges : public RulesTest {
  protected:
    void SetUp() override
    {
        RulesTest::SetUp();
        notp_bridge_main = {};
    }

    void TearDown() override
    {
        free_notp_bridges();
        RulesTest::TearDown();
    }

    static std::string found_in(const char *text)
    {
        plant(text);
        find_notp_bridge_node(&migr_main.root, 0);
        return tree();
    }
};

TEST_F(Bridges, GoWithTheServersOnThem)
{
    EXPECT_EQ("top system,bridge hidden\n  edit \"b1\"\n  edit b2\n"
              "top server-policy,vserver\n"
              "  edit one hidden\n    set interface=\"b1\"\n"
              "  edit two\n    set interface=b1\n"
              "  edit three hidden\n    set vip=1\n    set interface=b2\n"
              "  edit four\n    set iface=b2\n"
              "top server-policy,policy\n",
              found_in("config system bridge\nedit \"b1\"\nnext\nedit b2\nnext\nend\n"
                       "config server-policy vserver\n"
                       "edit one\nset interface \"b1\"\nnext\n"
                       "edit two\nset interface b1\nnext\n"
                       "edit three\nset vip 1\nset interface b2\nnext\n"
                       "edit four\nset iface b2\nnext\nend\n"
                       "config server-policy policy\nend\n"));
    EXPECT_EQ(0, notp_bridge_main.transparent);
}

TEST_F(Bridges, LeaveTheOutputWithTheServersOnThem)
{
    found_in("config system bridge\nedit \"b1\"\nnext\nend\n"
             "config server-policy vserver\n"
             "edit one\nset interface \"b1\"\nnext\n"
             "edit two\nset interface port1\nnext\nend\n"
             "config server-policy policy\nedit p\nset vserver one\nnext\nend\n");
    EXPECT_EQ("config server-policy vserver\n    edit two\n        set interface port1\n    next\nend\n"
              "config server-policy policy\n    edit p\n        set vserver one\n    next\nend\n",
              support::written(&migr_main.root));
}

TEST_F(Bridges, AreListedFromTheLastOn)
{
    found_in("config system bridge\nedit a\nnext\nedit b\nnext\nend\n");
    ASSERT_NE(nullptr, notp_bridge_main.bridges);
    EXPECT_STREQ("b", notp_bridge_main.bridges->node->name);
    EXPECT_STREQ("a", notp_bridge_main.bridges->next->node->name);
    EXPECT_EQ(nullptr, notp_bridge_main.bridges->next->next);
    free_notp_bridges();
    EXPECT_EQ(nullptr, notp_bridge_main.bridges);
    EXPECT_STREQ("a", migr_main.root.top_list->edit_list->name);
}

TEST_F(Bridges, TransparentModeHidesThePolicies)
{
    EXPECT_EQ("top system,settings\n  set x=1\n  set opmode=transparent\n"
              "top server-policy,policy hidden\n  edit 1\n"
              "top server-policy,policy-x\n",
              found_in("config system settings\nset x 1\nset opmode transparent\nend\n"
                       "config server-policy policy\nedit 1\nnext\nend\n"
                       "config server-policy policy-x\nend\n"));
    EXPECT_EQ(1, notp_bridge_main.transparent);
}

TEST_F(Bridges, OtherModesDoNot)
{
    EXPECT_EQ("top system,settings\n  set opmode=\"transparent\"\ntop server-policy,policy\n",
              found_in("config system settings\nset opmode \"transparent\"\nend\nconfig server-policy policy\nend\n"));
}

TEST_F(Bridges, TheOrderOfTheFileDecides)
{
    EXPECT_EQ("top server-policy,vserver\n  edit one\n    set interface=b1\n"
              "top server-policy,policy\n"
              "top system,bridge hidden\n  edit b1\n"
              "top system,settings\n  set opmode=transparent\n",
              found_in("config server-policy vserver\nedit one\nset interface b1\nnext\nend\n"
                       "config server-policy policy\nend\n"
                       "config system bridge\nedit b1\nnext\nend\n"
                       "config system settings\nset opmode transparent\nend\n"));
}

TEST_F(Bridges, AListThatWasThereCounts)
{
    found_in("config system bridge\nedit b1\nnext\nend\n");
    config_node *bridge = notp_bridge_main.bridges->node;
    config_node *bridges = migr_main.root.top_list;
    plant("config server-policy vserver\nedit one\nset interface b1\nnext\nend\n");
    find_notp_bridge_node(&migr_main.root, 0);
    EXPECT_EQ(bridges->edit_list, bridge);
    EXPECT_EQ(1, migr_main.root.top_list->edit_list->hidden);
}
