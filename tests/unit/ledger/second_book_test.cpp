/* The second book finds what was done to a tree and not told, and what was told and not done. */
#include "ledger/second_book.h"

#include "ledger/tell.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/make_node.h"
#include "tree/operations.h"

#include <algorithm>
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

    /* What somebody tells the book who need not be right. */
    void note(migr_change_kind kind, const config_node *node, uint64_t number, uint64_t parent = 0)
    {
        migr_change change = {};
        change.kind = kind;
        change.record = node;
        change.node = number;
        change.parent = parent;
        change.deleted = node->deleted;
        change.hidden = node->hidden;
        migr_book_note(&change);
    }
};

constexpr uint64_t never_told = 1 << 20;

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
    EXPECT_EQ(migr_book_check(&root, report), 1);
    EXPECT_EQ(found, "the root was never told of\n");
}

TEST_F(SecondBook, FindsALinkThatCannotBe)
{
    config_node *set = block()->set_list;
    uint64_t     number = migr_identity_of(set);
    note(MIGR_LINKED, set, number, never_told);
    note(MIGR_LINKED, set, number, 0);
    note(MIGR_LINKED, set, never_told, migr_identity_of(block()));
    EXPECT_EQ(found, "a link of s below a parent that was never told of\n"
                     "a link of s below a parent that was never told of\n"
                     "a link of s below a parent that was never told of\n");
    found.clear();
    note(MIGR_LINKED, set, number, migr_identity_of(block()));
    EXPECT_EQ(found, "s is linked below a parent where it stands already\n");
    EXPECT_EQ(check(), 4);
}

TEST_F(SecondBook, FindsAnUnlinkThatCannotBe)
{
    config_node *set = block()->set_list;
    note(MIGR_UNLINKED, set, migr_identity_of(set), migr_identity_of(block()->next));
    note(MIGR_UNLINKED, set, never_told, migr_identity_of(block()));
    EXPECT_EQ(found, "s is unlinked where it was never told to stand\n"
                     "s is unlinked where it was never told to stand\n");
    EXPECT_EQ(check(), 2);
}

TEST_F(SecondBook, FindsATextAndAMarkOfANodeThatWasNeverTold)
{
    note(MIGR_RENAMED, block()->set_list, never_told);
    note(MIGR_REVALUED, block()->set_list, never_told);
    note(MIGR_MARKED, block()->set_list, never_told);
    note(MIGR_RELEASED, block()->set_list, never_told); /* no more than what the pass forgets by itself */
    EXPECT_EQ(found, "a text of s, which was never told of\na text of s, which was never told of\n"
                     "a mark of s, which was never told of\n");
    EXPECT_EQ(check(), 3);
}

TEST_F(SecondBook, TellsNoValueFromAValue)
{
    config_node *with = block()->set_list;
    config_node *without = block()->next;
    char         text[] = "9";
    char        *value = with->value;
    with->value = nullptr;
    without->value = text;
    EXPECT_EQ(check(), 2);
    EXPECT_EQ(found, "c has the value \"9\", told is \"(null)\"\ns has the value \"(null)\", told is \"1\"\n");
    with->value = value;
    without->value = nullptr;
    found.clear();
    ledger::tell_revalued(with, nullptr, "1");
    ledger::tell_revalued(without, "9", nullptr);
    EXPECT_EQ(check(), 2);
    EXPECT_EQ(found, "s had \"1\" before, which was told as \"(null)\"\n"
                     "c had \"(null)\" before, which was told as \"9\"\n");
}

TEST_F(SecondBook, FindsEitherMark)
{
    block()->set_list->hidden = 1;
    EXPECT_EQ(check(), 1);
    EXPECT_EQ(found, "s has the flags 0 1, told are 0 0\n");
    ledger::tell_marked(block()->set_list);
    EXPECT_EQ(check(), 0);
}

TEST_F(SecondBook, ComparesTopLevelNamesToTheirEnds)
{
    for (const char *name : {"a", "a,", "a,bc", "a,c", "a.b", "a  b", ""}) {
        strcpy(block()->name, name);
        found.clear();
        EXPECT_EQ(check(), 1) << name;
        EXPECT_EQ(found, std::string(name) + " is told to be named a,b\n");
    }
    for (const char *name : {"a,b", "a b"}) {
        strcpy(block()->name, name);
        EXPECT_EQ(check(), 0) << name;
    }
}

/* The same entries below three blocks, and out of one after the other. */
TEST_F(SecondBook, ANodeMayStandBelowSeveral)
{
    config_node *first = block();
    cfg_add_conf("edit-2", nullptr, MIGR_EDIT, first->edit_list);
    cfg_add_conf("d", nullptr, MIGR_TOP, first);
    config_node *second = first->next;
    config_node *third = second->next;
    ASSERT_NE(third, nullptr);
    adopt_list(&second->edit_list, first->edit_list);
    adopt_list(&third->edit_list, first->edit_list);
    EXPECT_EQ(check(), 0) << found;
    for (config_node *left : {first, third, second}) {
        uint64_t    parent = migr_identity_of(left);
        std::string name = left->name;
        while (config_node *gone = left->edit_list) {
            note(MIGR_UNLINKED, gone, migr_identity_of(gone), parent);
            left->edit_list = gone->next;
        }
        EXPECT_EQ(check(), 0) << name << ": " << found;
    }
}

/* Two lists of one block that are the same list are counted once. */
TEST_F(SecondBook, AListThatABlockHasTwiceIsOne)
{
    block()->config_list = block()->set_list;
    EXPECT_EQ(check(), 0) << found;
    block()->config_list = nullptr;
}

TEST_F(SecondBook, ASetOutsideOfAllBlocksIsInNoFile)
{
    push_front(&migr_main.root.set_list, make_node(MIGR_SET, "outside", nullptr));
    EXPECT_EQ(check(), 0) << found;
    migr_main.root.set_list->name[0] = 'x';
    EXPECT_EQ(check(), 0) << found;
}

TEST_F(SecondBook, WhatHangsBelowASetIsInNoFile)
{
    push_front(&block()->set_list->set_list, make_node(MIGR_SET, "below", nullptr));
    EXPECT_EQ(check(), 0) << found;
    block()->set_list->set_list->name[0] = 'x';
    EXPECT_EQ(check(), 0) << found;
}

TEST_F(SecondBook, AnEntryWithinAnEntryIsInNoFile)
{
    config_node *entry = block()->edit_list;
    push_front(&entry->edit_list, make_node(MIGR_EDIT, "within", nullptr));
    EXPECT_EQ(check(), 0) << found;
    push_front(&entry->config_list, make_node(MIGR_CONFIG, "block", nullptr));
    EXPECT_EQ(check(), 0) << found;
    entry->config_list = nullptr;
    EXPECT_EQ(check(), 1);
    EXPECT_EQ(found, "1 has 1 nodes below it, told are 2\n");
}

TEST_F(SecondBook, AMadeNodeOfTheFirmwareIsASet)
{
    config_node *made = make_node(MIGR_SET, "own", "1");
    made->kind = 0;
    note(MIGR_MADE, made, migr_identity_of(made));
    push_front(&block()->edit_list->set_list, made);
    EXPECT_EQ(check(), 0) << found;
}

TEST_F(SecondBook, ACopyOntoANodeThatIsThereIsThatNode)
{
    config_node *set = block()->set_list;
    char        *before = set->value;
    char         text[] = "copied";
    strcpy(set->name, "other");
    set->value = text;
    set->deleted = set->hidden = 1;
    note(MIGR_COPIED, set, migr_identity_of(set));
    EXPECT_EQ(check(), 0) << found;
    set->value = before;
}

TEST_F(SecondBook, AReleasedNodeStandsNowhere)
{
    config_node *set = block()->set_list;
    uint64_t     number = migr_identity_of(set);
    note(MIGR_LINKED, set, number, migr_identity_of(block()->next));
    note(MIGR_RELEASED, set, number);
    block()->set_list = set->next;
    EXPECT_EQ(check(), 0) << found;
    note(MIGR_UNLINKED, set, number, migr_identity_of(block()));
    EXPECT_EQ(check(), 1);
    found.clear();
    note(MIGR_MARKED, set, number);
    EXPECT_EQ(found, "a mark of s, which was never told of\n");
    EXPECT_EQ(check(), 1);
}

TEST_F(SecondBook, DescribesTwentyDifferencesAndCountsAll)
{
    for (int i = 0; i < 25; i++)
        note(MIGR_MARKED, block(), never_told);
    EXPECT_EQ(std::count(found.begin(), found.end(), '\n'), 20);
    EXPECT_EQ(check(), 25);
    EXPECT_EQ(check(), 0);
}

/* The book of a run that is not told from its start: numbers begin where they begin. */
TEST_F(SecondBook, BeginsAnewWhenItIsOpened)
{
    note(MIGR_MARKED, block(), never_told);
    migr_book_open();
    EXPECT_EQ(check(), 1);
    uint64_t root = migr_identity_of(&migr_main.root);
    note(MIGR_OPENED, &migr_main.root, root);
    note(MIGR_LINKED, &migr_main.root, root - 1, root); /* ahead of the first number */
    found.clear();
    EXPECT_EQ(check(), 3); /* the link among them */
    EXPECT_EQ(found, "a,b stands where it was never told to\nc stands where it was never told to\n");
}

/* Whichever allocation fails: the book knows that it lacks something, and finds nothing wrong. */
TEST_F(SecondBook, WithoutMemoryItIsIncompleteAndSilent)
{
    config_node *root = &migr_main.root;
    config_node *shared = block()->next;
    std::string  sets;
    for (int i = 0; i < 40; i++)
        cfg_add_conf("more", "value", MIGR_SET, block());
    auto run = [&](size_t number) {
        migr_book_open();
        fail_allocation(number);
        note(MIGR_OPENED, root, migr_identity_of(root));
        for (config_node *top = root->top_list; top; top = top->next) {
            note(MIGR_MADE, top, migr_identity_of(top));
            note(MIGR_LINKED, top, migr_identity_of(top), migr_identity_of(root));
        }
        for (config_node *set = block()->set_list; set; set = set->next) {
            note(MIGR_MADE, set, migr_identity_of(set));
            note(MIGR_LINKED, set, migr_identity_of(set), migr_identity_of(block()));
            note(MIGR_LINKED, set, migr_identity_of(set), migr_identity_of(shared));
        }
        int32_t differences = check();
        if (allocations() < number || number == 0) {
            EXPECT_EQ(migr_book_is_incomplete(), 0) << number;
            EXPECT_EQ(differences, 2) << found; /* the entry, and what is not shared */
        } else {
            EXPECT_EQ(migr_book_is_incomplete(), 1) << number;
            EXPECT_EQ(differences, 0) << number;
        }
        size_t asked = allocations();
        fail_allocation(0);
        return asked;
    };
    size_t asked = run(0);
    ASSERT_GT(asked, 80u);
    for (size_t number = 1; number <= asked + 1; number++)
        run(number);
}

TEST_F(SecondBook, KnowsThatWhoTellsItLacksSomething)
{
    EXPECT_EQ(migr_book_is_incomplete(), 0);
    note(MIGR_INCOMPLETE, block(), 0);
    EXPECT_EQ(migr_book_is_incomplete(), 1);
    block()->set_list->deleted = 1;
    EXPECT_EQ(check(), 0);
    migr_book_open();
    EXPECT_EQ(migr_book_is_incomplete(), 0);
}

} // namespace
