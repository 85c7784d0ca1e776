/* The second book finds what was done to a tree and not told, and what was told and not done. */
#include "ledger/second_book.h"

#include "ledger/tell.h"
#include "support/trees.h"
#include "tree/make_node.h"
#include "tree/operations.h"

#include <cstring>
#include <string>

using namespace support;

namespace {

std::string found;

void report(const char *difference)
{
    found += difference;
    found += "\n";
}

class SecondBook : public TreeTest {
  protected:
    void SetUp() override
    {
        TreeTest::SetUp();
        found.clear();
        migr_book_open();
        migr_observe_changes(migr_book_note);
        ASSERT_EQ(parse("config a b\nset s 1\nset t 2\nedit 1\nset u 3\nnext\nend\nconfig c\nend\n"), 0);
        ASSERT_EQ(check(), 0);
    }
    void TearDown() override
    {
        migr_observe_changes(nullptr);
        migr_book_close();
        TreeTest::TearDown();
    }

    config_node *block()
    {
        return migr_main.root.top_list;
    }

    int32_t check()
    {
        return migr_book_check(&migr_main.root, report);
    }
};

TEST_F(SecondBook, AgreesWithChangesThatAreTold)
{
    config_node *set = block()->set_list;
    set_node_name(set, "renamed");
    set_node_value(set, "revalued");
    mark_hidden(set);
    cfg_add_conf("new", "1", MIGR_SET, block());
    cfg_del_conf(block()->edit_list, block());
    push_front(&block()->next->set_list, copy_record(set));
    exchange_nodes(block(), block()->next);
    EXPECT_EQ(check(), 0) << found;
}

TEST_F(SecondBook, FindsANameAValueAndAMark)
{
    strcpy(block()->set_list->name, "x");
    block()->set_list->value[0] = '9';
    block()->set_list->deleted = 1;
    EXPECT_EQ(check(), 3);
    EXPECT_EQ(found,
              "x is told to be named s\nx has the value \"9\", told is \"1\"\nx has the flags 1 0, told are 0 0\n");
}

TEST_F(SecondBook, FindsANodeThatHasGone)
{
    block()->set_list = block()->set_list->next;
    EXPECT_EQ(check(), 1);
    EXPECT_EQ(found, "a,b has 2 nodes below it, told are 3\n");
}

TEST_F(SecondBook, FindsANodeThatHasCome)
{
    config_node strange = {};
    strange.kind = MIGR_SET;
    strcpy(strange.name, "strange");
    block()->next->set_list = &strange;
    EXPECT_EQ(check(), 1);
    EXPECT_EQ(found, "strange stands where it was never told to\n");
    block()->next->set_list = nullptr;
}

TEST_F(SecondBook, FindsANodeThatStandsElsewhere)
{
    config_node *moved = block()->set_list;
    block()->set_list = moved->next;
    moved->next = nullptr;
    block()->next->set_list = moved;
    EXPECT_EQ(check(), 2) << found;
}

TEST_F(SecondBook, FindsAChangeThatWasToldAndNotMade)
{
    ledger::tell_unlinking(&block()->set_list, block()->set_list);
    EXPECT_EQ(check(), 1);
    EXPECT_EQ(found, "s stands where it was never told to\n");
}

TEST_F(SecondBook, FindsAValueThatIsToldToHaveBeenAnother)
{
    ledger::tell_revalued(block()->set_list, "never", "1");
    EXPECT_EQ(check(), 1);
    EXPECT_EQ(found, "s had \"1\" before, which was told as \"never\"\n");
}

TEST_F(SecondBook, TakesACommaOfATopLevelNameForABlank)
{
    written(&migr_main.root);
    EXPECT_STREQ(block()->name, "a b");
    EXPECT_EQ(check(), 0) << found;
}

TEST_F(SecondBook, DoesNotKnowATreeThatWasNeverTold)
{
    config_node root = {};
    root.kind = MIGR_ROOT;
    EXPECT_EQ(migr_book_check(&root, nullptr), 1);
}

} // namespace
