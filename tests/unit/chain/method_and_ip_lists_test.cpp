/* What no case can show of lists of methods and addresses: marks that stay, and memory that is not to be had. */
#include "chain/method_and_ip_lists.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/operations.h"

using namespace support;

namespace {

class Lists : public TreeTest {
  protected:
    void SetUp() override
    {
        TreeTest::SetUp();
        migr_ip_list_id = 0;
    }

    config_node *block()
    {
        return migr_main.root.top_list;
    }
    std::string all()
    {
        return dump(migr_main.root);
    }
};

constexpr char profile_text[] = "config first\nend\nconfig waf http-protocol-parameter-restriction\nend\n"
                                "config waf web-protection-profile inline-protection\n"
                                "edit p\nset allow-request get\nset allow-method-exceptions x\nnext\nend\n";

constexpr char list_text[] =
    "config first\nend\nconfig server-policy service predefined\nend\n"
    "config waf black-ipaddress-list\nedit a\nset ip 1.1.1.1\nnext\nedit b\nset ip 2.2.2.2\nnext\nend\n";

TEST_F(Lists, OldSetsAreMarkedAndNotTakenOut)
{
    ASSERT_EQ(parse(profile_text), 0);
    migr_method_process();
    EXPECT_EQ(all(), "top first\ntop waf,allow-method-policy\n"
                     "  edit p\n    set allow-method-exception=x\n    set allow-method=get\n"
                     "top waf,http-protocol-parameter-restriction\n"
                     "top waf,web-protection-profile,inline-protection\n"
                     "  edit p\n    set allow-method-policy=p\n"
                     "    set allow-request=get deleted\n    set allow-method-exceptions=x deleted\n");
}

TEST_F(Lists, ASetThatIsMarkedAlreadyTakesItsMarkAlong)
{
    ASSERT_EQ(parse(profile_text), 0);
    config_node *profile = block()->next->next->edit_list;
    profile->set_list->hidden = 1;
    set_metd_policy(block(), profile, profile->set_list, 0);
    EXPECT_EQ(dump(*block()->next), "edit p\n  set allow-method=get hidden\n");
}

TEST_F(Lists, SetsWithoutAValueStay)
{
    ASSERT_EQ(parse("config first\nend\nconfig waf http-protocol-parameter-restriction\nend\n"
                    "config waf web-protection-profile\nedit p\nnext\nend\n"),
              0);
    config_node *profile = block()->next->next->edit_list;
    cfg_add_conf("allow-request", nullptr, MIGR_SET, profile);
    cfg_add_conf("allow-method-exceptions", nullptr, MIGR_SET, profile);
    std::string before = all();
    migr_method_process();
    EXPECT_EQ(all(), before);
    EXPECT_EQ(trans_exception_2_method_policy(block(), block()->next->next), 0);
}

TEST_F(Lists, WithoutMemoryAMethodStaysUnmarked)
{
    const std::string table = "top waf,allow-method-policy\n";
    const std::string rest = "top waf,http-protocol-parameter-restriction\n"
                             "top waf,web-protection-profile,inline-protection\n  edit p\n";
    const std::string old_sets = "    set allow-request=get\n    set allow-method-exceptions=x\n";
    struct {
        int         failing;
        std::string expected;
    } cases[] = {
        {1, "top first\n" + rest + old_sets},                        /* the table */
        {2, "top first\n" + table + rest + old_sets},                /* the entry */
        {3, "top first\n" + table + "  edit p\n" + rest + old_sets}, /* the reference */
        {4, "top first\n" + table + "  edit p\n" + rest + "    set allow-method-policy=p\n" + old_sets}, /* the copy */
    };
    for (const auto &one : cases) {
        ASSERT_EQ(parse(profile_text), 0);
        with_failing_nodes(one.failing, migr_method_process, true);
        EXPECT_EQ(all(), one.expected) << one.failing;
    }
}

TEST_F(Lists, WithoutMemoryForOneSetTheNextOneGoesOn)
{
    ASSERT_EQ(parse(profile_text), 0);
    with_failing_values(2, migr_method_process); /* the copy of the first set */
    EXPECT_EQ(dump(*block()->next), "edit p\n  set allow-method-exception=x\n");
    EXPECT_EQ(
        dump(*block()->next->next->next),
        "edit p\n  set allow-method-policy=p\n  set allow-request=get\n  set allow-method-exceptions=x deleted\n");
}

TEST_F(Lists, OldListsAreMarked)
{
    ASSERT_EQ(parse(list_text), 0);
    migr_ip_list();
    EXPECT_EQ(migr_ip_list_id, 3);
    EXPECT_EQ(dump(*block()->next), "edit compatible\n  config member\n    edit 0\n"
                                    "    edit 1\n      set type=black-ip\n      set ip=1.1.1.1\n"
                                    "    edit 2\n      set type=black-ip\n      set ip=2.2.2.2\n");
    EXPECT_EQ(block()->next->next->next->deleted, 1);
}

TEST_F(Lists, AMemberWithoutAnAddressTextIsKept)
{
    ASSERT_EQ(parse("config first\nend\nconfig member\nend\nconfig list\nedit a\nnext\nend\n"), 0);
    config_node *member = block()->next;
    cfg_add_conf("ip", nullptr, MIGR_SET, member->next->edit_list);
    set_ip_list(member, member->next, 0);
    EXPECT_EQ(dump(*member), "edit 0\nedit 1\n  set ip\n");
}

TEST_F(Lists, ATableThatIsThereTakesMoreMembers)
{
    ASSERT_EQ(parse("config first\nend\n"
                    "config waf ip-list\nedit mine\nconfig members\nedit 7\nnext\nedit 8\nnext\nend\nnext\nend\n"
                    "config list\nedit a\nset ip 1.1.1.1\nnext\nend\n"),
              0);
    config_node *list = block()->next->next;
    handle_ip_list(block(), list, 0);
    EXPECT_EQ(dump(*block()->next),
              "edit mine\n  config members\n    edit 7\n    edit 8\n    edit 0\n      set ip=1.1.1.1\n");
    EXPECT_EQ(list->deleted, 1);
}

TEST_F(Lists, ATableWithoutAPlaceForMembersLeavesTheOldList)
{
    for (const char *table : {"config waf ip-list\nend\n", "config waf ip-list\nedit mine\nnext\nend\n"}) {
        ASSERT_EQ(
            parse(std::string("config first\nend\n") + table + "config list\nedit a\nset ip 1.1.1.1\nnext\nend\n"), 0);
        std::string before = all();
        handle_ip_list(block(), block()->next->next, 0);
        EXPECT_EQ(all(), before);
    }
}

TEST_F(Lists, WithoutMemoryForTheTableTheOldListStays)
{
    for (int failing = 1; failing <= 3; failing++) {
        ASSERT_EQ(parse(list_text), 0);
        std::string before = all();
        with_failing_nodes(failing, migr_ip_list);
        EXPECT_EQ(all(), before) << failing;
        EXPECT_EQ(migr_ip_list_id, 0);
    }
}

TEST_F(Lists, WithoutMemoryForAMemberTheListEndsThereAndIsMarked)
{
    const std::string empty = "edit 0\n";
    const std::string first = "edit 1\n  set type=black-ip\n  set ip=1.1.1.1\n";
    struct {
        int         failing;
        std::string expected;
        int         numbers;
    } cases[] = {
        {4, "", 0},                                   /* the empty entry */
        {5, empty, 1},                                /* the first member */
        {6, empty + "edit 1\n", 2},                   /* its address */
        {7, empty + "edit 1\n  set ip=1.1.1.1\n", 2}, /* its type */
        {8, empty + first, 2},                        /* the second member */
    };
    for (const auto &one : cases) {
        migr_ip_list_id = 0;
        ASSERT_EQ(parse(list_text), 0);
        with_failing_nodes(one.failing, migr_ip_list);
        EXPECT_EQ(dump(*block()->next->edit_list->config_list), one.expected) << one.failing;
        EXPECT_EQ(migr_ip_list_id, one.numbers) << one.failing;
        EXPECT_EQ(named(block(), "waf,black-ipaddress-list")->deleted, 1);
    }
}

} // namespace
