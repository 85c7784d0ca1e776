/* What the journal keeps of a run, asked by node. */
#include "driver/migr.h"
#include "ledger/journal.h"
#include "ledger/tell.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/make_node.h"
#include "tree/operations.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

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

    /* What somebody tells the journal on his own. */
    void note(migr_change_kind kind, const config_node *node, uint64_t number, uint64_t parent = 0)
    {
        migr_change change = {};
        change.kind = kind;
        change.author = &ledger::author;
        change.record = node;
        change.node = number;
        change.parent = parent;
        change.first_line = change.last_line = 7;
        change.deleted = node->deleted;
        change.hidden = node->hidden;
        change.file = kind == MIGR_WRITTEN || kind == MIGR_WRITTEN_END ? "/out" : nullptr;
        migr_journal_note(&change);
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
    EXPECT_EQ(migr_journal_first(), migr_identity_of(&migr_main.root));
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

TEST_F(Journal, EachTextThatIsWrittenHasANumber)
{
    ASSERT_EQ(parse("config a\nend\n"), 0);
    config_node *block = migr_main.root.top_list;
    write_for("/one");
    EXPECT_EQ(node_of(block)->out.text, 2u);
    write_for("/other");
    EXPECT_EQ(node_of(block)->out.text, 3u);
    write_for("/one"); /* once more, which is the same text */
    EXPECT_EQ(node_of(block)->out.text, 2u);
    EXPECT_EQ(migr_journal_texts(), 3u);
    ASSERT_EQ(parse("config b\nend\n"), 0);
    write_for("/one"); /* but not when another was read meanwhile */
    EXPECT_EQ(migr_journal_texts(), 5u);
}

TEST_F(Journal, ATextMayBeWrittenOfWhatWasNotRead)
{
    ASSERT_EQ(parse("config a\nend\n"), 0);
    migr_journal_open();
    write_for("/out");
    EXPECT_EQ(migr_journal_texts(), 1u);
    EXPECT_STREQ(migr_journal_text_at(1)->file, "/out");
    EXPECT_EQ(migr_journal_text_at(1)->root, 0u);
}

TEST_F(Journal, ANodeIsInTheTextOfItsRoot)
{
    ASSERT_EQ(parse("config a\nset s 1\nend\n"), 0);
    uint64_t    first_root = migr_identity_of(&migr_main.root);
    config_node other = {}, late = {}, lost = {};
    other.kind = MIGR_ROOT;
    late.kind = lost.kind = MIGR_TOP;
    ledger::tell_opened(&other, "/other");
    uint64_t last = migr_journal_last();
    note(MIGR_PARSED, &late, last + 1, first_root);
    EXPECT_EQ(migr_journal_node_at(last + 1)->in.text, 1u);
    EXPECT_EQ(migr_journal_node_at(last + 1)->parent, first_root);
    note(MIGR_PARSED, &late, last + 2, last);
    EXPECT_EQ(migr_journal_node_at(last + 2)->in.text, 2u);
    note(MIGR_PARSED, &lost, last + 3, first_root - 1); /* below what was told of before there was a journal */
    EXPECT_EQ(migr_journal_node_at(last + 3)->in.text, 0u);
    EXPECT_EQ(migr_journal_texts(), 2u);
}

/* What outlives a pass is read from no text. */
TEST_F(Journal, AKeptRootHasNoText)
{
    config_node root = {};
    root.kind = MIGR_ROOT;
    ledger::tell_kept_root(&root);
    EXPECT_EQ(migr_journal_texts(), 0u);
    EXPECT_EQ(node_of(&root)->kind, uint32_t{MIGR_ROOT});
}

TEST_F(Journal, NumbersAheadOfTheFirstArePassedOver)
{
    make_node(MIGR_SET, "told of before", nullptr);
    migr_journal_open();
    ASSERT_EQ(parse("config a\nend\n"), 0);
    config_node node = {};
    node.kind = MIGR_SET;
    uint64_t last = migr_journal_last();
    uint64_t ahead = migr_journal_first() - 1;
    for (migr_change_kind kind :
         {MIGR_OPENED, MIGR_PARSED, MIGR_PARSED_END, MIGR_WRITTEN, MIGR_WRITTEN_END, MIGR_MARKED})
        note(kind, &node, ahead, migr_journal_first());
    EXPECT_EQ(migr_journal_changes(), 0u);
    EXPECT_EQ(migr_journal_last(), last);
    EXPECT_EQ(migr_journal_node_at(ahead), nullptr);
    EXPECT_EQ(migr_journal_is_incomplete(), 0);
}

TEST_F(Journal, BetweenTwoNumbersThereMayBeNone)
{
    ASSERT_EQ(parse("config a\nend\n"), 0);
    config_node node = {};
    uint64_t    last = migr_journal_last();
    EXPECT_EQ(last, migr_identity_of(migr_main.root.top_list));
    note(MIGR_MADE, &node, last + 3);
    EXPECT_EQ(migr_journal_last(), last + 3);
    EXPECT_EQ(migr_journal_node_at(last + 1), nullptr);
    EXPECT_EQ(migr_journal_node_at(last + 2), nullptr);
    ASSERT_NE(migr_journal_node_at(last + 3), nullptr);
    EXPECT_EQ(migr_journal_node_at(last + 3)->kind, uint32_t{MIGR_SET}); /* the firmware's own sets have no kind */
    EXPECT_EQ(migr_journal_node_at(last + 4), nullptr);
    EXPECT_EQ(migr_journal_change_at(2), nullptr);
}

TEST_F(Journal, AuthorsAreToldFromEachOther)
{
    ASSERT_EQ(parse("config a\nset s 1\nend\n"), 0);
    config_node *set = migr_main.root.top_list->set_list;
    auto         author_of_change = [&] {
        ledger::tell_marked(set);
        return migr_journal_change_at(migr_journal_changes())->author;
    };
    ledger::set_author(1, "step", "name");
    const migr_author *first = author_of_change();
    EXPECT_EQ(author_of_change(), first);
    ledger::set_author(1, "rule", "name");
    EXPECT_STREQ(author_of_change()->mechanism, "rule");
    ledger::set_author(1, "rule", "other");
    EXPECT_STREQ(author_of_change()->name, "other");
    ledger::set_author_name("other", 9);
    EXPECT_EQ(author_of_change()->line, 9u);
    ledger::set_author(2, "rule", "other");
    ledger::set_author_name("other", 9);
    EXPECT_EQ(author_of_change()->release, 2);
    EXPECT_EQ(first->release, 1);
    EXPECT_STREQ(first->mechanism, "step");
}

TEST_F(Journal, AMarkAndACopyOntoANodeThatIsThereLeaveItsSourceAndKind)
{
    ASSERT_EQ(parse("config a\nset s 1\nset t 2\nend\n"), 0);
    config_node *set = migr_main.root.top_list->set_list;
    ledger::tell_copied(set, set->next);
    mark_hidden(set);
    EXPECT_EQ(node_of(set)->source, 0u);
    EXPECT_EQ(node_of(set)->hidden, 1);
    EXPECT_EQ(node_of(set)->deleted, 0);
    set->kind = MIGR_EDIT;
    mark_deleted(set);
    EXPECT_EQ(node_of(set)->kind, uint32_t{MIGR_SET});
    set->kind = MIGR_SET;
    EXPECT_EQ(migr_journal_change_at(1)->source, migr_identity_of(set->next));
    config_node *made = make_node(MIGR_SET, "made", nullptr);
    ledger::tell_marked(made);
    EXPECT_EQ(node_of(made)->source, 0u);
}

TEST_F(Journal, TextsOfAnySizeStayAsTheyWere)
{
    ASSERT_EQ(parse("config a\nset s 1\nend\n"), 0);
    config_node             *set = migr_main.root.top_list->set_list;
    std::vector<std::string> values;
    for (size_t size : {1u, 40000u, 25534u, 2u, 65535u, 65536u, 3000000u, 5u, 40000u, 40000u, 40000u})
        values.push_back(std::string(size, static_cast<char>('a' + values.size())));
    for (const std::string &value : values)
        set_node_value(set, value.c_str());
    size_t number = node_of(set)->changes;
    for (const std::string &value : values) {
        const migr_journal_change *change = migr_journal_change_at(number);
        ASSERT_NE(change, nullptr);
        EXPECT_EQ(change->after, value);
        number = change->next;
    }
    EXPECT_EQ(number, 0u);
}

TEST_F(Journal, KnowsThatWhoTellsItLacksSomething)
{
    config_node node = {};
    EXPECT_EQ(migr_journal_is_incomplete(), 0);
    note(MIGR_INCOMPLETE, &node, 0);
    EXPECT_EQ(migr_journal_is_incomplete(), 1);
    migr_journal_open();
    EXPECT_EQ(migr_journal_is_incomplete(), 0);
}

/* As above, for what is read and written, and for an author whose name fills pieces of its own. */
TEST_F(Journal, WithoutMemoryANodeIsInNoTextThatThereIsNot)
{
    ASSERT_EQ(parse("config a\nset s 1\nend\n"), 0);
    config_node *block = migr_main.root.top_list;
    std::string  name(70000, 'n');
    auto         run = [&](size_t number, bool lasting) {
        migr_journal_open();
        fail_allocation(number, lasting);
        ledger::set_author(1, "step", name.c_str());
        ledger::tell_marked(block);
        ledger::tell_opened(&migr_main.root, "/in");
        ledger::written_text text = {"/out", 1};
        ledger::write_on(&text);
        ledger::tell_written(block, false);
        ledger::tell_written_end(block);
        ledger::write_on(nullptr);
        size_t asked = allocations();
        fail_allocation(0);
        return asked;
    };
    size_t asked = run(0, false);
    EXPECT_EQ(migr_journal_is_incomplete(), 0);
    EXPECT_EQ(migr_journal_texts(), 2u);
    ASSERT_NE(node_of(block), nullptr);
    EXPECT_EQ(node_of(block)->out.text, 2u);
    EXPECT_EQ(migr_journal_first(), std::min(migr_identity_of(block), migr_identity_of(&migr_main.root)));
    for (size_t number = 1; number <= 2 * asked; number++) {
        run((number + 1) / 2, number % 2 == 0); /* one fails, or all from there on */
        EXPECT_EQ(migr_journal_is_incomplete(), 1) << number;
        const migr_journal_node *node = node_of(block);
        const migr_journal_text *text = node ? migr_journal_text_at(node->out.text) : nullptr;
        EXPECT_TRUE(!node || node->out.text == 0 || text) << number;
        if (text && text->file) {
            EXPECT_STREQ(text->file, "/out") << number;
        }
        for (size_t i = 1; i <= migr_journal_changes(); i++)
            EXPECT_EQ(migr_journal_change_at(i)->author->name, name) << number;
    }
    ledger::set_author(0, "host");
}

TEST_F(Journal, WithoutMemoryForATextNothingIsInIt)
{
    ASSERT_EQ(parse("config a\nend\n"), 0);
    auto run = [&](size_t number) {
        migr_journal_open();
        fail_allocation(number);
        ledger::written_text text = {"/out", 1};
        ledger::write_on(&text);
        ledger::tell_written(migr_main.root.top_list, false);
        ledger::write_on(nullptr);
        ledger::tell_marked(migr_main.root.top_list);
        size_t asked = allocations();
        fail_allocation(0);
        return asked;
    };
    size_t asked = run(0);
    ASSERT_NE(node_of(migr_main.root.top_list), nullptr);
    EXPECT_EQ(node_of(migr_main.root.top_list)->out.text, 1u);
    for (size_t number = 1; number <= asked; number++) {
        run(number);
        EXPECT_EQ(migr_journal_is_incomplete(), 1) << number;
        const migr_journal_node *node = node_of(migr_main.root.top_list);
        EXPECT_TRUE(!node || node->out.text <= migr_journal_texts()) << number;
        EXPECT_TRUE(migr_journal_texts() == 0 || migr_journal_text_at(1)->file) << number;
    }
}

} // namespace
