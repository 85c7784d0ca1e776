/* What is taken down of a library at work, which is played here by the test itself. */
#include "explain/journal.h"

#include "ledger/tell.h"
#include "support/trees.h"
#include "tree/changes.h"
#include "tree/config_text.h"
#include "tree/make_node.h"
#include "tree/operations.h"

using namespace command;

namespace {

class JournalTest : public support::TreeTest {};

void work_as(const char *author)
{
    ledger::set_author(MIGR_RELEASE(6, 0), "stage", author);
}

/* "made one, linked two" of the node that was taken down last but so many. */
std::string events_of(const Journal &journal, const JournalNode &node)
{
    static constexpr const char *words[] = {"made",     "copied", "linked", "unlinked", "renamed",
                                            "revalued", "filled", "marked", "unmarked", "left out"};
    std::string                  text;
    for (uint32_t at = node.last_event; at != nowhere; at = journal.events[at].previous) {
        const Event &event = journal.events[at];
        text = std::string(words[static_cast<size_t>(event.kind)]) + " " + journal.authors[event.author].name +
               (event.file == nowhere ? "" : " from " + journal.files[event.file]) + (text.empty() ? "" : ", ") + text;
    }
    return text;
}

const JournalNode &last_of(const Journal &journal, size_t ahead = 0)
{
    return journal.nodes[journal.nodes.size() - 1 - ahead];
}

} // namespace

TEST_F(JournalTest, HasWhatIsDoneToFiles)
{
    Journal     journal = take_down([] {
        work_as("one");
        ledger::tell_file(MIGR_FILE_REMOVED, "data/old/", nullptr);
        ledger::tell_file(MIGR_FILE_MOVED, "/data/to", "data/from");
        work_as("two");
        ledger::tell_file(MIGR_FILE_COPIED, "/data/copy", "/data/original/");
        ledger::tell_file(MIGR_FILE_REWRITTEN, "/data/text", nullptr);
        ledger::tell_file(MIGR_FOLDER_MADE, "/data/new", nullptr);
    });
    std::string text;
    for (const FileEffect &effect : journal.effects)
        text += effect.what + " " + effect.path + " < " + effect.before + " by " + journal.authors[effect.author].name +
                "\n";
    EXPECT_EQ(text, "removed /data/old <  by one\n"
                    "moved /data/to < /data/from by one\n"
                    "copied /data/copy < /data/original by two\n"
                    "rewritten /data/text <  by two\n"
                    "made /data/new <  by two\n");
    EXPECT_EQ(journal.authors[0].release, MIGR_RELEASE(6, 0));
    EXPECT_EQ(journal.authors[0].mechanism, "stage");
    EXPECT_FALSE(journal.is_incomplete);
}

TEST_F(JournalTest, HasTheLinesThatNodesWereReadFrom)
{
    Journal journal =
        take_down([] { support::parse("config a\n    edit 1\n        set x \"1\n2\"\n    next\nend\n"); });
    ASSERT_GE(journal.nodes.size(), 4u);
    EXPECT_EQ(last_of(journal, 2).in, (Span{2, 2, 7}));
    EXPECT_EQ(last_of(journal, 1).in, (Span{3, 3, 6}));
    EXPECT_EQ(last_of(journal).in, (Span{4, 5, 0}));
    EXPECT_EQ(&journal.nodes[last_of(journal).parent], &last_of(journal, 1));
    ASSERT_EQ(journal.texts.size(), 1u);
    EXPECT_EQ(last_of(journal).read, 0u);
    EXPECT_EQ(last_of(journal).written, nowhere);
    EXPECT_TRUE(journal.texts[0].is_configuration);
    EXPECT_FALSE(journal.texts[0].is_written);
    EXPECT_EQ(journal.texts[0].continues, nowhere);
    EXPECT_EQ(journal.authors[journal.texts[0].author].mechanism, "read");
}

TEST_F(JournalTest, HasWhatHappensToEachNodeAndByWhom)
{
    Journal            journal = take_down([] {
        support::parse("config a\nend\n");
        config_node *block = migr_main.root.top_list;
        work_as("one");
        config_node *set = make_node(MIGR_SET, "x", "1");
        add_to_tail(&block->set_list, set);
        work_as("two");
        set_node_value(set, "2");
        set_node_name(set, "y");
        mark_deleted(set);
        work_as("one");
        clear_delete_mark(set);
        mark_hidden(set);
        ledger::tell_read_file("/data/first");
        ledger::tell_filled(set);
        ledger::tell_filled(set);
        ledger::tell_read_file("/data/second");
        ledger::tell_filled(set);
        config_node *copy = copy_record(set);
        push_front(&block->set_list, copy);
        unlink_node(&block->set_list, copy);
    });
    const JournalNode &set = last_of(journal, 1), &copy = last_of(journal);
    EXPECT_EQ(events_of(journal, set),
              "made one, linked one, revalued two, renamed two, marked two, unmarked one, marked one, filled one from "
              "/data/first, filled one from /data/first, filled one from /data/second");
    EXPECT_EQ(&journal.nodes[copy.source], &set);
    EXPECT_EQ(&journal.nodes[copy.parent], &last_of(journal, 2));
    EXPECT_EQ(journal.files, (std::vector<std::string>{"/data/first", "/data/second"}));
    EXPECT_EQ(set.source, 0u);
    EXPECT_EQ(set.read, nowhere);
    EXPECT_EQ(events_of(journal, last_of(journal, 2)), "");
    std::string of_copy = events_of(journal, copy);
    EXPECT_EQ(of_copy.substr(0, of_copy.find(',')), "copied one") << of_copy;
    EXPECT_NE(of_copy.find("linked one, unlinked one"), of_copy.npos) << of_copy;
}

TEST_F(JournalTest, NumbersNodesAnewInEachRun)
{
    auto    run = [] { support::parse("config a\nend\n"); };
    Journal first = take_down(run);
    TearDown();
    SetUp();
    Journal second = take_down(run);
    for (const Journal *journal : {&first, &second}) {
        ASSERT_EQ(journal->nodes.size(), 3u) << "none, the root, and the block";
        EXPECT_EQ(journal->nodes[2].parent, 1u);
        EXPECT_EQ(journal->texts.size(), 1u);
    }
}
