/* What is told of each change, as a host hears it. */
#include "driver/hooks.h"
#include "driver/migr.h"
#include "ledger/tell.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/config_text.h"
#include "tree/make_node.h"
#include "tree/node_store.h"
#include "tree/operations.h"

#include <cstring>
#include <vector>

using namespace support;

namespace {

/* A change as it was told, with its texts. */
struct Told {
    migr_change change;
    std::string name, before, after, file, mechanism, who;
};

std::vector<Told> told;

/* Who is at work before anybody has said so: this is read ahead of all tests. */
const migr_author author_at_start = ledger::author;

std::string text_of(const char *text)
{
    return text ? text : "(null)";
}

void note(const migr_change *change)
{
    told.push_back({*change, change->record ? change->record->name : "", text_of(change->before),
                    text_of(change->after), text_of(change->file), change->author->mechanism, change->author->name});
}

class Tell : public TreeTest {
  protected:
    void SetUp() override
    {
        TreeTest::SetUp();
        told.clear();
        migr_observe_changes(note);
    }
    void TearDown() override
    {
        migr_observe_changes(nullptr);
        TreeTest::TearDown();
    }

    config_node *root()
    {
        return &migr_main.root;
    }

    /* Parses, and forgets what was told of it. */
    void plant(const std::string &text)
    {
        ASSERT_EQ(parse(text), 0);
        told.clear();
    }

    const Told &only()
    {
        EXPECT_EQ(told.size(), 1u);
        static const Told nothing = {};
        return told.empty() ? nothing : told.front();
    }

    std::string kinds_and_names()
    {
        std::string all;
        for (const Told &one : told)
            all += std::to_string(one.change.kind) + " " + one.name + "\n";
        return all;
    }
};

TEST(Author, IsTheHostUntilTheLibraryWorks)
{
    EXPECT_EQ(author_at_start.release, 0);
    EXPECT_STREQ(author_at_start.mechanism, "host");
    EXPECT_STREQ(author_at_start.name, "");
    EXPECT_EQ(author_at_start.line, 0u);
}

TEST_F(Tell, AParsedNodeHasItsLinesAndItsParent)
{
    /* The version line is line 1. */
    ASSERT_EQ(parse("config a b\n    edit 1\n        set s \"x\ny\nz\"\n    next\nend\n"), 0);
    ASSERT_EQ(told.size(), 6u);
    EXPECT_EQ(told[0].change.kind, MIGR_OPENED);
    EXPECT_EQ(told[0].change.node, migr_identity_of(root()));
    EXPECT_NE(told[0].file, "(null)");
    EXPECT_EQ(told[1].change.kind, MIGR_PARSED);
    EXPECT_EQ(told[1].name, "a,b");
    EXPECT_EQ(told[1].change.parent, told[0].change.node);
    EXPECT_EQ(told[1].change.first_line, 2u);
    EXPECT_EQ(told[1].change.last_line, 2u);
    EXPECT_EQ(told[3].name, "s");
    EXPECT_EQ(told[3].change.parent, told[2].change.node);
    EXPECT_EQ(told[3].change.first_line, 4u);
    EXPECT_EQ(told[3].change.last_line, 6u);
    EXPECT_EQ(told[4].change.kind, MIGR_PARSED_END);
    EXPECT_EQ(told[4].change.node, told[2].change.node);
    EXPECT_EQ(told[4].change.last_line, 7u);
    EXPECT_EQ(told[5].change.last_line, 8u);
    EXPECT_EQ(told[5].mechanism, "read");
}

/* As a host reads into a block of its own. */
TEST_F(Tell, ABlockThatWasNotToldIsToldAheadOfWhatIsReadIntoIt)
{
    config_node root = {};
    root.kind = MIGR_ROOT;
    char        text[] = "config a\nend\n";
    text_reader lines = {text, strlen(text), 0, 0, 0, 0};
    ASSERT_EQ(parse_text(&lines, &root), 0);
    ASSERT_EQ(told.size(), 3u);
    EXPECT_EQ(told[0].change.kind, MIGR_MADE);
    EXPECT_EQ(told[1].change.kind, MIGR_PARSED);
    EXPECT_EQ(told[1].change.parent, told[0].change.node);
    EXPECT_EQ(told[1].change.first_line, 1u);
    EXPECT_EQ(told[2].change.kind, MIGR_PARSED_END);
    EXPECT_EQ(told[2].change.node, told[1].change.node);
}

TEST_F(Tell, PiecesOfALongLineHaveOneNumber)
{
    ASSERT_EQ(parse("config a\n" + std::string(2 * MIGR_LINE_SIZE, ' ') + "\nset s 1\nend\n"), 0);
    EXPECT_EQ(told[2].name, "s");
    EXPECT_EQ(told[2].change.first_line, 4u);
}

TEST_F(Tell, AMadeNodeIsToldWithItsTextsAndThenLinked)
{
    plant("config a\nset s 1\nend\n");
    cfg_add_conf("new", "value", MIGR_SET, root()->top_list);
    ASSERT_EQ(told.size(), 2u);
    EXPECT_EQ(told[0].change.kind, MIGR_MADE);
    EXPECT_EQ(told[0].name, "new");
    EXPECT_EQ(told[1].change.kind, MIGR_LINKED);
    EXPECT_EQ(told[1].change.node, told[0].change.node);
    EXPECT_EQ(told[1].change.parent, migr_identity_of(root()->top_list));
}

TEST_F(Tell, WhatIsPutBehindANodeHasThatNodesParent)
{
    plant("config a\nend\n");
    cfg_add_conf("b", nullptr, MIGR_TOP, root()->top_list);
    ASSERT_EQ(told.size(), 2u);
    EXPECT_EQ(told[1].change.kind, MIGR_LINKED);
    EXPECT_EQ(told[1].change.parent, migr_identity_of(root()));
}

TEST_F(Tell, ADeletedNodeIsUnlinkedAndWhatHungBelowItIsReleased)
{
    plant("config a\nedit 1\nset s 1\nnext\nend\n");
    uint64_t block = migr_identity_of(root()->top_list);
    cfg_del_conf(root()->top_list->edit_list, root()->top_list);
    EXPECT_EQ(kinds_and_names(), std::to_string(MIGR_UNLINKED) + " 1\n" + std::to_string(MIGR_RELEASED) + " s\n");
    EXPECT_EQ(told[0].change.parent, block);
}

TEST_F(Tell, WhatHangsBelowABlockIsReleasedAheadOfIt)
{
    plant("config a\nedit 1\nset t 1\nconfig n\nedit 2\nset s 1\nset u 1\nnext\nset v 1\nend\nnext\nend\n");
    config_node *edit = root()->top_list->edit_list;
    cfg_del_conf(edit, root()->top_list);
    std::string expected = std::to_string(MIGR_UNLINKED) + " 1\n";
    for (const char *name : {"s", "u", "2", "v", "n", "t"})
        expected += std::to_string(MIGR_RELEASED) + " " + name + "\n";
    EXPECT_EQ(kinds_and_names(), expected);
    EXPECT_NE(edit->config_list, nullptr); /* the heads stay, and lead nowhere */
    EXPECT_NE(edit->set_list, nullptr);
}

TEST_F(Tell, NumbersAreNeverUsedAgain)
{
    plant("config a\nset s 1\nset t 2\nend\n");
    config_node *block = root()->top_list;
    config_node *gone = block->set_list;
    uint64_t     number = migr_identity_of(gone);
    unlink_node(&block->set_list, gone);
    release_node(gone);
    EXPECT_EQ(migr_identity_of(gone), 0u);
    config_node *again = make_node(MIGR_SET, "u", nullptr);
    EXPECT_EQ(again, gone); /* the record is used again */
    EXPECT_GT(migr_identity_of(again), number);
}

TEST_F(Tell, TextsThatAreAlikeAreNoChange)
{
    plant("config a\nset s 1\nend\n");
    config_node *set = root()->top_list->set_list;
    set_node_name(set, "s");
    set_node_value(set, "1");
    clear_delete_mark(set);
    EXPECT_TRUE(told.empty());
    set_node_name(set, "t");
    set_node_value(set, "2");
    mark_deleted(set);
    mark_deleted(set);
    ASSERT_EQ(told.size(), 3u);
    EXPECT_EQ(told[0].before + " " + told[0].after, "s t");
    EXPECT_EQ(told[1].before + " " + told[1].after, "1 2");
    EXPECT_EQ(told[2].change.kind, MIGR_MARKED);
    EXPECT_EQ(told[2].change.deleted, 1);
    EXPECT_EQ(told[2].change.hidden, 0);
}

TEST_F(Tell, AChangeInPlaceIsToldWithBothTexts)
{
    plant("config a\nset s ABC\nend\n");
    config_node *set = root()->top_list->set_list;
    char        *before = begin_value_edit(set);
    set->value[0] = 'x';
    end_value_edit(set, before);
    EXPECT_EQ(only().change.kind, MIGR_REVALUED);
    EXPECT_EQ(only().before + " " + only().after, "ABC xBC");
}

TEST_F(Tell, ACopyNamesWhatItWasCopiedFrom)
{
    plant("config a\nedit 1\nset s 1\nnext\nend\n");
    config_node *edit = root()->top_list->edit_list;
    config_node *copy = copy_tree(edit);
    ASSERT_EQ(told.size(), 3u);
    EXPECT_EQ(told[0].change.kind, MIGR_COPIED);
    EXPECT_EQ(told[0].change.source, migr_identity_of(edit));
    EXPECT_EQ(told[1].change.kind, MIGR_COPIED);
    EXPECT_EQ(told[1].change.source, migr_identity_of(edit->set_list));
    EXPECT_EQ(told[2].change.kind, MIGR_LINKED);
    EXPECT_EQ(told[2].change.parent, migr_identity_of(copy));
}

TEST_F(Tell, AValueThatGoesOverIsTakenFromTheOther)
{
    plant("config a\nset s 1\nend\n");
    take_content(root()->top_list->set_list);
    ASSERT_EQ(told.size(), 2u);
    EXPECT_EQ(told[0].change.kind, MIGR_COPIED);
    EXPECT_EQ(told[1].change.kind, MIGR_REVALUED);
    EXPECT_EQ(told[1].before + " " + told[1].after, "1 (null)");
}

TEST_F(Tell, ASharedListStandsBelowBoth)
{
    plant("config a\nedit 1\nnext\nend\nconfig b\nend\n");
    config_node *first = root()->top_list;
    adopt_list(&first->next->edit_list, first->edit_list);
    EXPECT_EQ(only().change.kind, MIGR_LINKED);
    EXPECT_EQ(only().change.parent, migr_identity_of(first->next));
    told.clear();
    first->edit_list->next = nullptr;
    unlink_at(&first->edit_list, &first->edit_list); /* by the head of one, so the other keeps it */
    EXPECT_EQ(only().change.kind, MIGR_UNLINKED);
    EXPECT_EQ(only().change.parent, migr_identity_of(first));
}

/* N in a -> N -> b is put ahead of c: a goes on to N and c, and b has nobody ahead of it any more. */
TEST_F(Tell, ANodeThatIsLinkedElsewhereTakesItsListAlong)
{
    plant("config x\nset a 1\nset N 1\nset b 1\nend\nconfig y\nset c 1\nend\n");
    config_node *x = root()->top_list;
    config_node *y = x->next;
    push_front(&y->set_list, x->set_list->next);
    ASSERT_EQ(told.size(), 3u);
    EXPECT_EQ(told[0].change.kind, MIGR_UNLINKED);
    EXPECT_EQ(told[0].name, "b");
    EXPECT_EQ(told[1].change.kind, MIGR_LINKED);
    EXPECT_EQ(told[1].name, "c");
    EXPECT_EQ(told[1].change.parent, migr_identity_of(x));
    EXPECT_EQ(told[2].change.kind, MIGR_LINKED);
    EXPECT_EQ(told[2].name, "N");
    EXPECT_EQ(told[2].change.parent, migr_identity_of(y));
}

TEST_F(Tell, ExchangedNodesLeaveFirstAndComeThen)
{
    plant("config a\nend\nconfig b\nend\n");
    uint64_t a = migr_identity_of(root()->top_list);
    uint64_t b = migr_identity_of(root()->top_list->next);
    exchange_nodes(root()->top_list, root()->top_list->next);
    ASSERT_EQ(told.size(), 4u);
    EXPECT_EQ(told[0].change.kind, MIGR_UNLINKED);
    EXPECT_EQ(told[1].change.kind, MIGR_UNLINKED);
    EXPECT_EQ(told[2].change.kind, MIGR_LINKED);
    EXPECT_EQ(told[3].change.kind, MIGR_LINKED);
    EXPECT_EQ(migr_identity_of(root()->top_list), b);
    EXPECT_EQ(migr_identity_of(root()->top_list->next), a);
}

TEST_F(Tell, AHostsOwnRecordIsToldWhenItIsLinkedWithAllBelowIt)
{
    plant("config a\nend\n");
    auto *edit = static_cast<config_node *>(calloc(1, sizeof(config_node)));
    auto *set = static_cast<config_node *>(calloc(1, sizeof(config_node)));
    edit->kind = MIGR_EDIT;
    set->kind = MIGR_SET;
    strcpy(edit->name, "host");
    strcpy(set->name, "own");
    edit->set_list = set;
    add_to_tail(&root()->top_list->edit_list, edit);
    std::string made = std::to_string(MIGR_MADE);
    std::string linked = std::to_string(MIGR_LINKED);
    EXPECT_EQ(kinds_and_names(), made + " host\n" + made + " own\n" + linked + " own\n" + linked + " host\n");
    free_node(root());
    root()->top_list = nullptr;
}

/* Of a host's block only what is new is told as made. */
TEST_F(Tell, AHostsBlockMayHoldWhatStandsInTheTree)
{
    plant("config a\nset s 1\nend\n");
    config_node *set = root()->top_list->set_list;
    uint64_t     number = migr_identity_of(set);
    config_node  block = {};
    block.kind = MIGR_TOP;
    block.set_list = set;
    ledger::tell_linking(&root()->top_list->next, &block);
    ASSERT_EQ(told.size(), 3u) << kinds_and_names();
    EXPECT_EQ(told[0].change.kind, MIGR_MADE);
    EXPECT_EQ(told[1].change.kind, MIGR_LINKED);
    EXPECT_EQ(told[1].change.node, number);
    EXPECT_EQ(told[1].change.parent, migr_identity_of(&block));
    EXPECT_EQ(told[2].change.node, migr_identity_of(&block));
    EXPECT_EQ(migr_identity_of(set), number);
}

TEST_F(Tell, AHostsOwnListIsToldWhenABlockTakesIt)
{
    plant("config a\nend\n");
    config_node first = {}, second = {};
    first.kind = second.kind = MIGR_SET;
    first.next = &second;
    ledger::tell_adopting(&root()->top_list->set_list, &first);
    ASSERT_EQ(told.size(), 4u);
    EXPECT_EQ(told[0].change.kind, MIGR_MADE);
    EXPECT_EQ(told[1].change.kind, MIGR_MADE);
    EXPECT_EQ(told[3].change.kind, MIGR_LINKED);
    EXPECT_EQ(told[3].change.node, migr_identity_of(&second));
    EXPECT_EQ(told[3].change.parent, migr_identity_of(root()->top_list));
}

TEST_F(Tell, NothingIsToldOfANodeThatIsNotKnown)
{
    config_node node = {};
    node.kind = MIGR_SET;
    set_node_name(&node, "s");
    mark_deleted(&node);
    EXPECT_TRUE(told.empty());
}

TEST_F(Tell, WrittenLinesAreCountedBehindTheHeader)
{
    plant("config a\nedit 1\nset s \"x\ny\"\nnext\nset hidden 1\nend\nconfig b\nend\n");
    mark_deleted(root()->top_list->set_list);
    told.clear();
    ledger::written_text text = {"/the/file", 2};
    ledger::write_on(&text);
    written(root());
    ledger::write_on(nullptr);
    std::string lines;
    for (const Told &one : told)
        lines += one.name + " " + std::to_string(one.change.first_line) + "-" + std::to_string(one.change.last_line) +
                 (one.change.kind == MIGR_WRITTEN_END ? " end\n" : "\n");
    EXPECT_EQ(lines, "a 3-3\n1 4-4\ns 5-6\n1 0-7 end\na 0-8 end\nb 9-9\nb 0-10 end\n");
    EXPECT_EQ(told[0].file, "/the/file");
    told.clear();
    written(root());
    EXPECT_TRUE(told.empty()); /* on no text that is told of */
}

TEST_F(Tell, AChangeSaysWhoIsAtWork)
{
    plant("config a\nend\n");
    ledger::set_author(MIGR_RELEASE(5, 50), "stage", "_callback");
    mark_deleted(root()->top_list);
    EXPECT_EQ(only().change.author, &ledger::author);
    EXPECT_EQ(only().mechanism + " " + only().who, "stage _callback");
}

TEST_F(Tell, BehindAPassTheHostIsAtWork)
{
    plant("config a\nend\n");
    ledger::set_author(MIGR_RELEASE(5, 50), "delete", "a rule that goes with the pass");
    migr_release_nodes();
    make_node(MIGR_SET, "s", nullptr);
    EXPECT_EQ(only().mechanism + only().who, "host");
}

TEST_F(Tell, WithoutMemoryItSaysOnceThatItIsIncomplete)
{
    plant("config a\nend\n");
    std::string edits;
    for (int i = 0; i < 600; i++)
        edits += "edit e\nnext\n";
    auto run = [&](size_t number) {
        migr_release_nodes();
        told.clear();
        fail_allocation(number);
        parse("config b\n" + edits + "end\n");
        size_t asked = allocations();
        fail_allocation(0);
        return asked;
    };
    size_t asked = run(0);
    size_t incomplete = 0;
    for (size_t number = 1; number <= asked; number++) {
        run(number);
        size_t said = 0;
        for (const Told &one : told)
            said += one.change.kind == MIGR_INCOMPLETE;
        EXPECT_LE(said, 1u) << number;
        incomplete += said;
    }
    EXPECT_GT(incomplete, 0u);
}

TEST_F(Tell, BothWithoutAValueAreAlike)
{
    plant("config a\nset s 1\nend\n");
    config_node *block = root()->top_list;
    ledger::tell_revalued(block, nullptr, nullptr);
    EXPECT_TRUE(told.empty());
    ledger::tell_revalued(block, nullptr, "");
    ledger::tell_revalued(block, "", nullptr);
    EXPECT_EQ(told.size(), 2u);
}

TEST_F(Tell, APlaceThatIsThereAlreadyIsNotToldAgain)
{
    plant("config a\nset s 1\nend\nconfig b\nset t 1\nend\n");
    config_node *block = root()->top_list;
    ledger::tell_adopting(&block->set_list, block->set_list);
    ledger::tell_unlinking(&block->set_list, block->next->set_list); /* and one that it has not, is not taken away */
    EXPECT_TRUE(told.empty());
}

TEST_F(Tell, NothingIsToldOfTheUnknownWhateverIsDoneToIt)
{
    plant("config a\nset s 1\nend\n");
    config_node         *block = root()->top_list;
    config_node          node = {};
    ledger::written_text text = {"/out", 1};
    node.kind = MIGR_SET;
    strcpy(node.name, "two\nlines");
    ledger::tell_unlinking(&block->set_list, &node);
    ledger::tell_exchanging(&node, block);
    ledger::tell_exchanging(block, &node);
    ledger::tell_releasing(&node);
    ledger::tell_filled(&node);
    ledger::tell_marked(&node);
    ledger::tell_left_out(&node);
    ledger::tell_unwritten(&node);
    ledger::write_on(&text);
    ledger::tell_written(&node, true);
    EXPECT_EQ(text.lines, 3u); /* it is written all the same */
    ledger::tell_written_end(&node);
    EXPECT_EQ(text.lines, 4u);
    ledger::write_on(nullptr);
    ledger::tell_written(block, true);
    ledger::tell_written_end(block);
    EXPECT_FALSE(ledger::tells_writing());
    EXPECT_TRUE(told.empty()) << kinds_and_names();
    EXPECT_NE(migr_identity_of(block), 0u);
}

TEST_F(Tell, AValueThatIsNotWrittenHasNoLines)
{
    plant("config a\nset s \"x\ny\"\nend\n");
    config_node         *set = root()->top_list->set_list;
    ledger::written_text text = {"/out", 1};
    ledger::write_on(&text);
    EXPECT_TRUE(ledger::tells_writing());
    ledger::tell_written(set, false);
    EXPECT_EQ(text.lines, 2u);
    ledger::tell_written(set, true);
    EXPECT_EQ(text.lines, 4u);
    ledger::write_on(nullptr);
    EXPECT_EQ(told.size(), 2u);
}

/* Nobody listens: then nothing is told of writing, whatever text it is. */
TEST_F(Tell, WritingIsToldToWhoeverListens)
{
    ledger::written_text  text = {"/out", 1};
    migr_change_observer *before = ledger::observer;
    ledger::write_on(&text);
    ledger::observer = nullptr;
    EXPECT_FALSE(ledger::tells_writing());
    ledger::observer = before;
    EXPECT_TRUE(ledger::tells_writing());
    ledger::write_on(nullptr);
}

TEST_F(Tell, OfAListThatNoTextHasOnlyWhatWouldBeWrittenIsToldAndWhatWasLinkedAloudThere)
{
    plant("config a\nset s 1\nset t 1\nset u 1\nset v 1\nend\n");
    config_node *set = root()->top_list->set_list;
    mark_deleted(set->next);
    mark_hidden(set->next->next);
    told.clear();
    ledger::tell_unwritten(set);
    std::string left_out = std::to_string(MIGR_LEFT_OUT);
    EXPECT_EQ(kinds_and_names(), left_out + " s\n" + left_out + " v\n");
    config_node *alone = make_node(MIGR_SET, "alone", nullptr);
    alone->next = set;
    told.clear();
    ledger::tell_unwritten(alone);
    EXPECT_TRUE(told.empty());
    alone->next = nullptr;
}

TEST_F(Tell, ANodeThatIsCopiedOntoKeepsItsNumber)
{
    plant("config a\nset s 1\nset t 1\nend\n");
    config_node *set = root()->top_list->set_list;
    uint64_t     number = migr_identity_of(set);
    config_node  strange = {};
    ledger::tell_copied(set, &strange);
    EXPECT_EQ(only().change.node, number);
    EXPECT_EQ(only().change.source, 0u); /* nobody knows it */
    EXPECT_EQ(migr_identity_of(set), number);
}

TEST_F(Tell, AValueThatIsFilledNamesTheFile)
{
    plant("config a\nset s 1\nend\n");
    ledger::tell_read_file("/data/etc/key");
    ledger::tell_filled(root()->top_list->set_list);
    EXPECT_EQ(only().change.kind, MIGR_FILLED);
    EXPECT_EQ(only().file, "/data/etc/key");
}

TEST_F(Tell, AFileIsReadIntoARootThatWasKnownUnderANewNumber)
{
    plant("config a\nend\n");
    uint64_t before = migr_identity_of(root());
    ledger::tell_opened(root(), "/again");
    EXPECT_EQ(only().change.kind, MIGR_OPENED);
    EXPECT_EQ(only().file, "/again");
    EXPECT_GT(migr_identity_of(root()), before);
}

TEST_F(Tell, AKeptRootOutlivesThePassAndNothingElseDoes)
{
    config_node kept = {}, of_pass = {};
    kept.kind = of_pass.kind = MIGR_ROOT;
    ledger::tell_kept_root(&kept);
    EXPECT_EQ(only().change.kind, MIGR_OPENED);
    EXPECT_EQ(only().file, "(null)");
    ledger::tell_opened(&of_pass, "/in");
    ledger::tell_pass_ends();
    EXPECT_NE(migr_identity_of(&kept), 0u);
    EXPECT_EQ(migr_identity_of(&of_pass), 0u);
    ledger::nodes_outlive_pass(true);
    ledger::tell_opened(&of_pass, "/in");
    ledger::tell_pass_ends(); /* and so does what came while nodes did */
    EXPECT_NE(migr_identity_of(&of_pass), 0u);
    ledger::tell_run_ends();
    EXPECT_EQ(migr_identity_of(&kept), 0u);
    EXPECT_EQ(migr_identity_of(&of_pass), 0u);
}

TEST_F(Tell, TheHostIsNoReleases)
{
    ledger::set_author(7, "step", "name");
    ledger::tell_pass_ends();
    ledger::tell_file(MIGR_FOLDER_MADE, "/folder", nullptr);
    EXPECT_EQ(only().change.author->release, 0);
    EXPECT_EQ(only().mechanism + only().who, "host");
}

/* A host's block with more below it than a table holds at first, put below two parents: whichever allocation fails,
 * that is said once, and the next pass begins whole. */
TEST_F(Tell, WithoutMemoryEachWayToTellSaysThatItIsIncomplete)
{
    constexpr size_t         count = 40;
    std::vector<config_node> entries(count), nested(count);
    config_node              block = {};
    block.kind = MIGR_TOP;
    for (size_t i = 0; i < count; i++) {
        entries[i].kind = MIGR_EDIT;
        nested[i].kind = MIGR_SET;
        entries[i].set_list = &nested[i];
        entries[i].next = i + 1 < count ? &entries[i + 1] : nullptr;
    }
    block.edit_list = entries.data();
    auto forget_all = [] {
        ledger::tell_pass_ends();
        ledger::tell_run_ends();
    };
    auto run = [&](size_t number) {
        config_node top = {}, one = {}, other = {};
        top.kind = MIGR_ROOT;
        one.kind = other.kind = MIGR_TOP;
        forget_all();
        told.clear();
        fail_allocation(number);
        ledger::tell_opened(&top, "/in");
        ledger::tell_linking(&top.top_list, &block);
        top.top_list = &block;
        ledger::tell_linking(&block.next, &one);
        ledger::tell_linking(&block.next, &other);
        ledger::tell_adopting(&one.edit_list, block.edit_list);
        ledger::tell_adopting(&other.edit_list, block.edit_list);
        ledger::tell_linking(&entries[0].next, &entries[20]);
        ledger::tell_exchanging(&entries[0], &entries[1]);
        ledger::tell_unlinking(&block.edit_list, &entries[0]);
        config_node unknown = {}, read = {};
        ledger::tell_parsed(&read, &unknown, 1, 1);
        ledger::tell_copied(&unknown, &read);
        size_t asked = allocations();
        fail_allocation(0);
        return asked;
    };
    auto said = [] {
        size_t times = 0;
        for (const Told &one : told)
            times += one.change.kind == MIGR_INCOMPLETE;
        return times;
    };
    told.reserve(4096); /* it is no part of what is counted */
    size_t asked = run(0);
    EXPECT_EQ(said(), 0u);
    ASSERT_GT(asked, 10u);
    for (size_t number = 1; number <= asked; number++) {
        run(number);
        EXPECT_EQ(said(), 1u) << number;
    }
    run(0);
    EXPECT_EQ(said(), 0u);
    /* And when there is none from then on. */
    for (size_t number = 1; number <= asked; number++) {
        forget_all();
        told.clear();
        fail_allocation(number, true);
        config_node top = {}, one = {}, other = {};
        top.kind = MIGR_ROOT;
        ledger::tell_opened(&top, "/in");
        ledger::tell_linking(&top.top_list, &block);
        ledger::tell_adopting(&top.edit_list, block.edit_list);
        ledger::tell_parsed(&one, &other, 1, 1);
        ledger::tell_made(&one);
        ledger::tell_copied(&other, &top);
        size_t failed = allocations();
        fail_allocation(0);
        EXPECT_EQ(said(), failed >= number ? 1u : 0u) << number;
    }
    forget_all();
}

} // namespace
