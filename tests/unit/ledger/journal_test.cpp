/* What the journal keeps of a run, asked by node. */
#include "driver/migr.h"
#include "ledger/journal.h"
#include "ledger/tell.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/make_node.h"
#include "tree/operations.h"

#include <cstring>

using namespace support;

namespace {

class Journal : public TreeTest {
  protected:
    void SetUp() override
    {
        TreeTest::SetUp();
        migr_journal_open();
        migr_observe_changes(migr_journal_note);
    }
    void TearDown() override
    {
        migr_observe_changes(nullptr);
        migr_journal_close();
        TreeTest::TearDown();
    }

    /* Writes the tree of migr_main for a file that has one header line. */
    void write_for(const char *file)
    {
        ledger::written_text text = {file, 1};
        ledger::write_on(&text);
        written(&migr_main.root);
        ledger::write_on(nullptr);
    }

    const migr_journal_node *node_of(const config_node *node)
    {
        return migr_journal_node_at(migr_identity_of(node));
    }
};

std::string lines_of(const migr_lines &lines)
{
    return std::to_string(lines.first) + "-" + std::to_string(lines.last) + " " + std::to_string(lines.end);
}

TEST_F(Journal, ANodeHasItsLinesInBothTexts)
{
    ASSERT_EQ(parse("config a\nset old 1\nedit 1\nset s \"x\ny\"\nnext\nend\n"), 0);
    config_node *block = migr_main.root.top_list;
    cfg_del_conf(block->set_list, block);
    write_for("/out");
    const migr_journal_node *entry = node_of(block->edit_list);
    const migr_journal_node *set = node_of(block->edit_list->set_list);
    EXPECT_EQ(lines_of(entry->in), "4-4 7");
    EXPECT_EQ(lines_of(entry->out), "3-3 6");
    EXPECT_EQ(lines_of(set->in), "5-6 0");
    EXPECT_EQ(lines_of(set->out), "4-5 0");
    EXPECT_EQ(set->changes, 0u);
    ASSERT_EQ(migr_journal_texts(), 2u);
    EXPECT_EQ(migr_journal_text_at(set->in.text)->root, migr_identity_of(&migr_main.root));
    EXPECT_STREQ(migr_journal_text_at(set->out.text)->file, "/out");
}

TEST_F(Journal, ChangesOfANodeStandInTheirOrderWithTheirAuthors)
{
    ASSERT_EQ(parse("config a\nset s 1\nend\n"), 0);
    config_node *set = migr_main.root.top_list->set_list;
    ledger::set_author(MIGR_RELEASE(5, 50), "modify", "<a><s>,<t>");
    set_node_name(set, "t");
    ledger::set_author(MIGR_RELEASE(5, 51), "stage", "_callback");
    set_node_value(set, "2");
    mark_deleted(set);
    const migr_journal_node   *node = node_of(set);
    const migr_journal_change *renamed = migr_journal_change_at(node->changes);
    ASSERT_NE(renamed, nullptr);
    EXPECT_EQ(renamed->kind, MIGR_RENAMED);
    EXPECT_STREQ(renamed->before, "s");
    EXPECT_STREQ(renamed->after, "t");
    EXPECT_STREQ(renamed->author->name, "<a><s>,<t>");
    const migr_journal_change *revalued = migr_journal_change_at(renamed->next);
    ASSERT_NE(revalued, nullptr);
    EXPECT_STREQ(revalued->after, "2");
    EXPECT_EQ(revalued->author->release, MIGR_RELEASE(5, 51));
    const migr_journal_change *marked = migr_journal_change_at(revalued->next);
    ASSERT_NE(marked, nullptr);
    EXPECT_EQ(marked->author, revalued->author);
    EXPECT_EQ(marked->deleted, 1);
    EXPECT_EQ(marked->next, 0u);
    EXPECT_EQ(node->deleted, 1);
}

TEST_F(Journal, ANewNodeHasItsTextsAndItsSource)
{
    ASSERT_EQ(parse("config a\nset s 1\nend\n"), 0);
    config_node *block = migr_main.root.top_list;
    config_node *copy = copy_record(block->set_list);
    push_front(&block->set_list, copy);
    cfg_add_conf("new", "value", MIGR_SET, block);
    const migr_journal_node *copied = node_of(copy);
    EXPECT_EQ(copied->source, migr_identity_of(block->set_list->next->next));
    EXPECT_EQ(copied->parent, migr_identity_of(block));
    EXPECT_EQ(copied->in.text, 0u);
    const migr_journal_change *made = migr_journal_change_at(node_of(block->set_list)->changes);
    EXPECT_EQ(made->kind, MIGR_MADE);
    EXPECT_STREQ(made->before, "new");
    EXPECT_STREQ(made->after, "value");
}

TEST_F(Journal, FilesBesideTheConfigurationAreKeptToo)
{
    ledger::tell_file(MIGR_FILE_MOVED, "/new", "/old");
    const migr_journal_change *moved = migr_journal_change_at(1);
    ASSERT_NE(moved, nullptr);
    EXPECT_EQ(moved->node, 0u);
    EXPECT_STREQ(moved->file, "/new");
    EXPECT_STREQ(moved->before, "/old");
}

TEST_F(Journal, NothingIsGivenForNumbersThatWereNotTold)
{
    EXPECT_EQ(migr_journal_node_at(0), nullptr);
    EXPECT_EQ(migr_journal_last(), 0u);
    ASSERT_EQ(parse("config a\nend\n"), 0);
    EXPECT_EQ(migr_journal_node_at(migr_journal_first() - 1), nullptr);
    EXPECT_EQ(migr_journal_node_at(migr_journal_last() + 1), nullptr);
    EXPECT_EQ(migr_journal_change_at(0), nullptr);
    EXPECT_EQ(migr_journal_change_at(1), nullptr);
    EXPECT_EQ(migr_journal_text_at(0), nullptr);
    EXPECT_EQ(migr_journal_text_at(2), nullptr);
}

/* Whichever allocation fails, what is kept can be read, and the journal knows that it lacks something. */
TEST_F(Journal, WithoutMemoryItIsIncompleteAndReadable)
{
    ASSERT_EQ(parse("config a\nset s 1\nend\n"), 0);
    config_node *block = migr_main.root.top_list;
    auto         run = [&](size_t number) {
        migr_journal_open();
        fail_allocation(number);
        ledger::set_author(1, "step", "name");
        for (int i = 0; i < 40; i++)
            migr_main.root.top_list->set_list->hidden ^= 1, ledger::tell_marked(block->set_list);
        size_t asked = allocations();
        fail_allocation(0);
        return asked;
    };
    size_t asked = run(0);
    ASSERT_GT(asked, 3u);
    EXPECT_EQ(migr_journal_is_incomplete(), 0);
    EXPECT_EQ(migr_journal_changes(), 40u);
    for (size_t number = 1; number <= asked; number++) {
        run(number);
        EXPECT_EQ(migr_journal_is_incomplete(), 1) << number;
        for (size_t i = 1; i <= migr_journal_changes(); i++)
            EXPECT_STREQ(migr_journal_change_at(i)->author->name, "name");
    }
}

} // namespace
