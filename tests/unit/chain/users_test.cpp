#include "chain/users.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/operations.h"

using namespace support;

namespace {

class Users : public TreeTest {
  protected:
    config_node *block()
    {
        return migr_main.root.top_list;
    }
};

TEST_F(Users, BindingOfAGroup)
{
    EXPECT_EQ(find_binded_usr_group("a"), -1);
    ASSERT_EQ(parse("config waf http-authen http-authen-rule\n"
                    "edit r0\nnext\n"
                    "edit r1\nconfig rule\nedit 1\nset authen-type basic\nset user-group a\nnext\n"
                    "edit 2\nset authen-type digest\nset user-group b\nnext\n"
                    "edit 3\nset authen-type ntlm\nset user-group c\nnext\nend\nnext\n"
                    "end\n"),
              0);
    EXPECT_EQ(find_binded_usr_group("a"), 0);
    EXPECT_EQ(find_binded_usr_group("b"), 1);
    EXPECT_EQ(find_binded_usr_group("c"), 2);
    EXPECT_EQ(find_binded_usr_group("d"), -1);
    EXPECT_EQ(find_binded_usr_group("\"a\""), -1);
}

TEST_F(Users, SetsWithoutAValueBindNobody)
{
    ASSERT_EQ(parse("config waf http-authen http-authen-rule\n"
                    "edit r\nconfig rule\nedit 1\nset user-group a\nnext\nend\nnext\nend\n"),
              0);
    config_node *entry = block()->edit_list->config_list->edit_list;
    cfg_add_conf("user-group", nullptr, MIGR_SET, entry);
    cfg_add_conf("authen-type", nullptr, MIGR_SET, entry);
    EXPECT_EQ(find_binded_usr_group("a"), 0);
    EXPECT_EQ(find_binded_usr_group(""), -1);
}

TEST_F(Users, TheOldTypeStaysMarkedAndHandsItsValueOver)
{
    ASSERT_EQ(parse("config g\nedit 1\nconfig members\nedit 1\nset name n\nset type ldap\nnext\nend\nnext\nend\n"), 0);
    config_node *group = block()->edit_list;
    cfg_auth_type2top(group);
    EXPECT_EQ(dump(*group), "config members\n  edit 1\n    set type=ldap\n    set name=n\n    set type deleted\n");
}

TEST_F(Users, TheCopyOfATypeTakesItsMarksAlong)
{
    ASSERT_EQ(parse("config g\nedit 1\nconfig members\nedit 1\nset name n\nset type ldap\nnext\nend\nnext\nend\n"), 0);
    config_node *group = block()->edit_list;
    group->config_list->edit_list->set_list->next->hidden = 1;
    cfg_auth_type2top(group);
    EXPECT_EQ(dump(*group),
              "config members\n  edit 1\n    set type=ldap hidden\n    set name=n\n    set type deleted hidden\n");
}

TEST_F(Users, AGroupWithoutMembersOrNoneIsNoTrouble)
{
    ASSERT_EQ(parse("config g\nedit 1\nset a 1\nnext\nend\n"), 0);
    cfg_auth_type2top(nullptr);
    cfg_auth_type2top(block()->edit_list);
    EXPECT_EQ(dump(*block()), "edit 1\n  set a=1\n");
}

TEST_F(Users, WithoutMemoryTheMembersThatAreLeftStay)
{
    ASSERT_EQ(parse("config g\nedit 1\nconfig members\n" + times(3, "edit m\nset name n\nset type t\nnext\n") +
                    "end\nnext\nend\n"),
              0);
    config_node *group = block()->edit_list;
    with_failing_nodes(2, [&] { cfg_auth_type2top(group); });
    EXPECT_EQ(dump(*group->config_list), "edit m\n  set type=t\n  set name=n\n  set type deleted\n"
                                         "edit m\n  set name=n\n  set type=t\n"
                                         "edit m\n  set name=n\n  set type=t\n");
}

TEST_F(Users, WithoutMemoryAGroupGoesOnWithoutAuthType)
{
    const std::string text =
        "config user user-group\n"
        "edit a\nconfig members\nedit 1\nset name n\nset type t\nnext\nend\nnext\nend\n"
        "config waf http-authen http-authen-rule\n"
        "edit r\nconfig rule\nedit 1\nset authen-type digest\nset user-group a\nnext\nend\nnext\nend\n";
    const std::string members =
        "config members\n    edit 1\n      set type=t\n      set name=n\n      set type deleted\n";
    ASSERT_EQ(parse(text), 0);
    with_failing_nodes(1, migr_user_process);
    EXPECT_EQ(dump(*block()), "edit a\n  " + members);
    ASSERT_EQ(parse(text), 0);
    with_failing_values(1, migr_user_process);
    EXPECT_EQ(dump(*block()), "edit a\n  " + members);
}

} // namespace
