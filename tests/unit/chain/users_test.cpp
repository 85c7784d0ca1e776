/* How groups of users are bound, in every order of their sets, and what happens without values or memory. Whole
 * groups are in the cases. */
#include "chain/users.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/operations.h"

#include <iterator>
#include <random>

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

/* What the rules say, read set by set for one group alone. */
int32_t binding_of(const char *group)
{
    int32_t type = 0;
    for (const config_node *rule = migr_main.root.top_list->edit_list; rule; rule = rule->next) {
        if (!rule->config_list)
            continue;
        for (const config_node *entry = rule->config_list->edit_list; entry; entry = entry->next) {
            bool bound = false;
            for (const config_node *set = entry->set_list; set; set = set->next) {
                std::string name = set->name, value = set->value;
                if (name.starts_with("authen-type"))
                    type = value.starts_with("digest") ? 1 : value.starts_with("ntlm") ? 2 : type;
                else if (name.starts_with("user-group") && value == group)
                    bound = true;
                else if (name.starts_with("user-group"))
                    type = 0;
            }
            if (bound)
                return type;
        }
    }
    return -1;
}

TEST_F(Users, EveryOrderOfSetsIsReadAsOneGroupAloneWouldReadIt)
{
    static constexpr const char *sets[] = {"set authen-type digest\n",
                                           "set authen-type-2 ntlmv2\n",
                                           "set authen-type basic\n",
                                           "set user-group a\n",
                                           "set user-group b\n",
                                           "set user-groups c\n",
                                           "set other a\n"};
    std::mt19937                 random(20);
    int                          bound = 0;
    for (int round = 0; round < 300; round++) {
        std::string rules;
        for (unsigned rule = 0; rule <= random() % 3; rule++) {
            rules += "edit r\nconfig rule\n";
            for (unsigned entry = 0; entry <= random() % 3; entry++) {
                rules += "edit e\n";
                for (unsigned set = 0; set < random() % 6; set++)
                    rules += sets[random() % std::size(sets)];
                rules += "next\n";
            }
            rules += "end\nnext\n";
        }
        ASSERT_EQ(parse("config waf http-authen http-authen-rule\n" + rules + "end\n"), 0);
        for (const char *group : {"a", "b", "c", "d"}) {
            EXPECT_EQ(find_binded_usr_group(group), binding_of(group)) << group << "\n" << rules;
            bound += find_binded_usr_group(group) > 0;
        }
    }
    EXPECT_GT(bound, 100);
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

TEST_F(Users, WithoutMemoryToLookGroupsUpTheyStay)
{
    ASSERT_EQ(parse("config user user-group\nedit a\nnext\nedit b\nnext\nend\n"
                    "config waf http-authen http-authen-rule\n"
                    "edit r\nconfig rule\nedit 1\nset authen-type digest\nset user-group a\nnext\nend\nnext\nend\n"),
              0);
    for (int failing : {1, 2}) {
        with_failing_growth(failing, migr_user_process);
        EXPECT_EQ(dump(*block()), "edit a\nedit b\n") << failing;
        with_failing_growth(failing, [] { EXPECT_EQ(find_binded_usr_group("a"), -1); });
    }
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
