/* From made-up journals to accounts: what became of each line, and who is told to have done it. */
#include "explain/account.h"

#include "driver/run_context.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace command;

namespace {

enum : uint32_t { reader, writer, one, two, three, split };

/* Writes a journal as the library's changes would. */
class Made {
  public:
    Made()
    {
        journal.nodes.resize(1);
        for (const char *name : {"reader", "writer", "one", "two", "three", "split"})
            journal.authors.push_back({MIGR_RELEASE(6, 0), "made", name, 0});
    }

    uint32_t reads(const std::string &file, uint32_t continues = nowhere)
    {
        return add({file, true, continues, false, reader, events()});
    }
    uint32_t writes(const std::string &file, uint32_t author = writer)
    {
        return add({file, true, nowhere, true, author, events()});
    }
    uint32_t reads_for(const std::string &path)
    {
        return add({path, false, nowhere, false, reader, events()});
    }

    uint32_t node(uint32_t parent = 0)
    {
        journal.nodes.emplace_back();
        journal.nodes.back().parent = parent;
        return static_cast<uint32_t>(journal.nodes.size() - 1);
    }
    uint32_t line(uint32_t text, uint32_t number, uint32_t parent = 0)
    {
        uint32_t fresh = node(parent);
        journal.nodes[fresh].read = text;
        journal.nodes[fresh].in = {number, number, 0};
        return fresh;
    }
    uint32_t block(uint32_t text, uint32_t number, uint32_t end)
    {
        uint32_t fresh = line(text, number);
        journal.nodes[fresh].in.end = end;
        return fresh;
    }
    uint32_t copy(uint32_t source, uint32_t author)
    {
        uint32_t fresh = node();
        journal.nodes[fresh].source = source;
        happens(fresh, EventKind::copied, author);
        return fresh;
    }
    void writes_to(uint32_t text, uint32_t node, uint32_t number, uint32_t end = 0)
    {
        JournalNode &written = journal.nodes[node];
        if (written.written != nowhere)
            return journal.further.push_back({node, text, {number, number, end}});
        written.written = text;
        written.out = {number, number, end};
    }
    void happens(uint32_t node, EventKind kind, uint32_t author, uint32_t file = nowhere)
    {
        journal.events.push_back({journal.nodes[node].last_event, author, kind, file});
        journal.nodes[node].last_event = events() - 1;
    }

    Journal journal;

  private:
    uint32_t events() const
    {
        return static_cast<uint32_t>(journal.events.size());
    }
    uint32_t add(JournalText text)
    {
        journal.texts.push_back(std::move(text));
        return static_cast<uint32_t>(journal.texts.size() - 1);
    }
};

constexpr char file[] = "sys_global.conf.gz";

std::string numbers(const Span &span)
{
    return span.first == 0 ? "-" : std::to_string(span.first);
}

std::string shown(const Account &account)
{
    std::ostringstream text;
    for (const AccountFile &one : account.files)
        for (const AccountEntry &entry : one.entries) {
            text << numbers(entry.in) << ' ' << numbers(entry.out) << ' ' << word(entry.fate);
            for (uint32_t cause : entry.causes)
                text << ' ' << account.authors[cause].name;
            text << (entry.out_file.empty() ? "" : " in " + entry.out_file)
                 << (entry.copied_from.first == 0 ? "" : " from line " + numbers(entry.copied_from))
                 << (entry.from_file.empty() ? "" : " from " + entry.from_file) << '\n';
        }
    return text.str();
}

std::string counts(const LineCounts &all)
{
    std::ostringstream text;
    text << all.lines << " lines: " << all.kept << " kept, " << all.moved << " moved, " << all.rewritten
         << " rewritten, " << all.dropped << " dropped, " << all.added << " added, " << all.layout << " layout, "
         << all.unread << " unread";
    return text.str();
}

Account account_in(Made made, const std::string &before, const std::string &after, Detail detail = Detail::lines)
{
    return account_of(std::move(made.journal), {{file, MIGR_RELEASE(5, 50), MIGR_RELEASE(6, 21), before, after}},
                      detail);
}

/* A block with two sets; the block itself, and the end of it, stay. */
constexpr char two_sets[] = "config a\n    set x 1\n    set y 2\nend\n";

struct TwoSets : Made {
    uint32_t read = reads(file), top = block(read, 1, 4), x = line(read, 2, top), y = line(read, 3, top);
    uint32_t written = nowhere;

    /* The block around all. */
    void write(uint32_t end)
    {
        written = writes(file);
        writes_to(written, top, 1, end);
    }
};

std::string entries_in(const TwoSets &made, const std::string &after)
{
    return shown(account_in(made, two_sets, after));
}

} // namespace

TEST(Accounts, OfLinesThatStayed)
{
    TwoSets made;
    made.write(4);
    made.writes_to(made.written, made.x, 2);
    made.writes_to(made.written, made.y, 3);
    made.happens(made.x, EventKind::revalued, one); /* to what it was */
    Account account = account_in(made, two_sets, two_sets);
    EXPECT_EQ(shown(account), "1 1 kept\n2 2 kept\n3 3 kept\n");
    EXPECT_EQ(counts(account.files[0].in),
              "4 lines: 3 kept, 0 moved, 0 rewritten, 0 dropped, 0 added, 1 layout, 0 unread");
    EXPECT_EQ(counts(account.files[0].out), counts(account.files[0].in));
    EXPECT_EQ(account.files[0].unexplained, 0u);
    EXPECT_EQ(account.files[0].before, MIGR_RELEASE(5, 50));
    EXPECT_EQ(account.files[0].after, MIGR_RELEASE(6, 21));
    EXPECT_EQ(account.files[0].entries[1].path, (std::vector<std::string>{"a", "x"}));
    EXPECT_EQ(account.files[0].entries[1].before, "");
}

TEST(Accounts, TellOfEachLineInTheOrderOfTheOldFileAndThenOfTheNewOne)
{
    TwoSets  made;
    uint32_t fresh = made.node(made.top);
    made.happens(fresh, EventKind::made, one);
    made.happens(fresh, EventKind::linked, two);
    made.happens(made.x, EventKind::unlinked, three);
    made.happens(made.y, EventKind::renamed, two);
    made.happens(made.y, EventKind::revalued, one);
    made.happens(made.y, EventKind::renamed, two);
    made.write(4);
    made.writes_to(made.written, fresh, 2);
    made.writes_to(made.written, made.y, 3);
    Account account = account_in(made, two_sets, "config a\n    set f 9\n    set z 3\nend\n");
    EXPECT_EQ(shown(account), "1 1 kept\n2 - dropped three\n3 3 rewritten two one\n- 2 added one two\n");
    EXPECT_EQ(account.files[0].entries[1].before, "set x 1\n");
    EXPECT_EQ(account.files[0].entries[2].after, "set z 3\n");
    EXPECT_EQ(account.files[0].entries[3].path, (std::vector<std::string>{"a", "f"}));
    EXPECT_EQ(counts(account.files[0].in),
              "4 lines: 1 kept, 0 moved, 1 rewritten, 1 dropped, 0 added, 1 layout, 0 unread");
    EXPECT_EQ(counts(account.files[0].out),
              "4 lines: 1 kept, 0 moved, 1 rewritten, 0 dropped, 1 added, 1 layout, 0 unread");
}

TEST(Accounts, HaveNoMoreEntriesThanAreAskedFor)
{
    TwoSets made;
    made.happens(made.x, EventKind::unlinked, one);
    made.happens(made.x, EventKind::linked, one);
    made.write(4);
    made.writes_to(made.written, made.x, 2);
    const char after[] = "config a\n    set x 1\nend\n";
    made.happens(made.y, EventKind::marked, two);
    made.journal.nodes[made.top].out.end = 3;
    EXPECT_EQ(shown(account_in(made, two_sets, after)), "1 1 kept\n2 2 moved one\n3 - dropped two\n");
    EXPECT_EQ(shown(account_in(made, two_sets, after, Detail::changes)), "2 2 moved one\n3 - dropped two\n");
    Account losses = account_in(made, two_sets, after, Detail::losses);
    EXPECT_EQ(shown(losses), "3 - dropped two\n");
    EXPECT_EQ(counts(losses.files[0].in),
              "4 lines: 1 kept, 1 moved, 0 rewritten, 1 dropped, 0 added, 1 layout, 0 unread");
}

/* Only the moves are why it stands elsewhere; who gave it the value that it had by then did not. */
TEST(Accounts, NameForAMoveWhoMoved)
{
    TwoSets made;
    made.happens(made.x, EventKind::revalued, one);
    made.happens(made.x, EventKind::unlinked, two);
    made.happens(made.x, EventKind::linked, three);
    made.happens(made.y, EventKind::linked, two); /* below another block, too */
    made.write(4);
    made.writes_to(made.written, made.y, 2);
    made.writes_to(made.written, made.x, 3);
    EXPECT_EQ(entries_in(made, "config a\n    set y 2\n    set x 1\nend\n"),
              "1 1 kept\n2 3 moved two three\n3 2 kept\n");
}

TEST(Accounts, NameTheWriterForBlanksAndTheReaderForWhatNobodyChanged)
{
    const char after[] = "config a\n    set x  1\n    set y 3\nend\n";
    auto       entries = [&](TwoSets made) {
        made.write(4);
        made.writes_to(made.written, made.x, 2);
        made.writes_to(made.written, made.y, 3);
        return entries_in(made, after);
    };
    TwoSets made;
    EXPECT_EQ(entries(made), "1 1 kept\n2 2 rewritten writer\n3 3 rewritten reader\n");
    made.happens(made.x, EventKind::linked, one);
    made.happens(made.y, EventKind::unlinked, two);
    EXPECT_EQ(entries(made), "1 1 kept\n2 2 rewritten one writer\n3 3 rewritten reader two\n");
    made.happens(made.y, EventKind::filled, three, 0);
    made.journal.files = {"/data/key"};
    EXPECT_EQ(entries(made), "1 1 kept\n2 2 rewritten one writer\n3 3 rewritten two three from /data/key\n");
}

TEST(Accounts, TakeTheOriginalForTheLineAndTheCopyForNew)
{
    TwoSets  made;
    uint32_t copy = made.copy(made.x, one);
    made.happens(made.x, EventKind::renamed, two); /* when it had been copied */
    made.happens(copy, EventKind::linked, one);
    made.write(4);
    made.writes_to(made.written, copy, 2);
    made.writes_to(made.written, made.x, 3);
    made.happens(made.y, EventKind::unlinked, three);
    EXPECT_EQ(entries_in(made, "config a\n    set x 1\n    set z 1\nend\n"),
              "1 1 kept\n2 3 rewritten two\n3 - dropped three\n- 2 added one from line 2\n");
}

TEST(Accounts, TakeTheCopyForTheLineWhereTheOriginalIsGone)
{
    TwoSets made;
    made.happens(made.x, EventKind::renamed, three); /* ahead of it */
    uint32_t copy = made.copy(made.x, one);
    made.happens(made.x, EventKind::unlinked, two);
    made.write(4);
    made.writes_to(made.written, copy, 2);
    made.writes_to(made.written, made.y, 3);
    EXPECT_EQ(entries_in(made, "config a\n    set z 1\n    set y 2\nend\n"),
              "1 1 kept\n2 2 rewritten three one\n3 3 kept\n");
    EXPECT_EQ(entries_in(made, two_sets), "1 1 kept\n2 2 moved one\n3 3 kept\n");
}

TEST(Accounts, TakeWhatIsWrittenTwiceForKeptAndAdded)
{
    TwoSets made;
    made.happens(made.y, EventKind::linked, two);
    made.happens(made.x, EventKind::unlinked, one);
    made.write(4);
    made.writes_to(made.written, made.y, 2);
    made.writes_to(made.written, made.y, 3);
    EXPECT_EQ(entries_in(made, "config a\n    set y 2\n    set y 2\nend\n"),
              "1 1 kept\n2 - dropped one\n3 2 kept\n- 3 added two from line 3\n");
}

TEST(Accounts, SayWhatKeepsALineOut)
{
    TwoSets made;
    made.happens(made.x, EventKind::unlinked, one);
    made.happens(made.x, EventKind::linked, two); /* it came back */
    made.happens(made.x, EventKind::marked, one);
    made.happens(made.x, EventKind::unmarked, two); /* and was seen again */
    made.happens(made.y, EventKind::left_out, two);
    made.happens(made.y, EventKind::renamed, one);
    made.happens(made.top, EventKind::unlinked, three);
    EXPECT_EQ(entries_in(made, ""), "1 - dropped three\n2 - dropped one three\n3 - dropped two one\n");
}

TEST(Accounts, FollowALineFromPassToPass)
{
    Made     made;
    uint32_t read = made.reads(file), top = made.block(read, 1, 3), x = made.line(read, 2, top);
    made.happens(x, EventKind::renamed, one);
    uint32_t written = made.writes(file, split);
    made.writes_to(written, top, 5, 7);
    made.writes_to(written, x, 6);
    uint32_t again = made.reads(file, written);
    uint32_t second_top = made.block(again, 5, 7), second = made.line(again, 6, second_top);
    made.happens(second, EventKind::revalued, two);
    uint32_t last = made.writes(file);
    made.writes_to(last, second_top, 1, 3);
    made.writes_to(last, second, 2);
    Account account = account_in(made, "config a\n    set x 1\nend\n", "config a\n    set y 2\nend\n");
    EXPECT_EQ(shown(account), "1 1 kept\n2 2 rewritten one two\n");

    made.happens(second, EventKind::unlinked, three);
    made.journal.nodes[second].written = nowhere;
    account = account_in(made, "config a\n    set x 1\nend\n", "config a\nend\n");
    EXPECT_EQ(shown(account), "1 1 kept\n2 - dropped one two three\n") << "in the second pass";
}

/* As a file from before the split is whose first pass fails: what was read then came to nothing. */
TEST(Accounts, TakeTheLastReadingOfAFileThatWasReadAnew)
{
    TwoSets  made;
    uint32_t fresh = made.node(made.top);
    made.happens(fresh, EventKind::made, one);
    made.happens(made.x, EventKind::unlinked, one);
    uint32_t again = made.reads(file), top = made.block(again, 1, 4);
    uint32_t x = made.line(again, 2, top), y = made.line(again, 3, top);
    made.happens(y, EventKind::unlinked, two);
    uint32_t written = made.writes(file);
    made.writes_to(written, top, 1, 3);
    made.writes_to(written, x, 2);
    Account account = account_in(made, two_sets, "config a\n    set x 1\nend\n");
    EXPECT_EQ(shown(account), "1 1 kept\n2 2 kept\n3 - dropped two\n");
    EXPECT_EQ(counts(account.files[0].in),
              "4 lines: 2 kept, 0 moved, 0 rewritten, 1 dropped, 0 added, 1 layout, 0 unread");
    EXPECT_EQ(account.files[0].unexplained, 0u);
}

TEST(Accounts, NameTheSplitForWhatWentToAnotherFile)
{
    const char domain[] = "sys_domain.root.conf.gz", text[] = "config a\nend\n";
    Made       made;
    uint32_t   read = made.reads(file), top = made.block(read, 1, 2);
    uint32_t   written = made.writes(domain, split);
    made.writes_to(written, top, 4, 5);
    uint32_t again = made.reads(domain, written), second = made.block(again, 4, 5);
    uint32_t last = made.writes(domain);
    made.writes_to(last, second, 1, 2);
    Account account =
        account_of(std::move(made.journal), {{file, 1, 2, text, ""}, {domain, -1, 2, "", text}}, Detail::lines);
    EXPECT_EQ(shown(account), "1 1 moved split in sys_domain.root.conf.gz\n");
    EXPECT_EQ(account.files[0].in.moved, 1u);
    EXPECT_EQ(account.files[0].out.moved, 0u);
    EXPECT_EQ(account.files[1].out.moved, 1u);
    EXPECT_EQ(account.files[1].before, -1);
}

/* The second pass reads the text, but not that line of it. */
TEST(Accounts, NameTheReaderThatDoesNotFindALineAgain)
{
    Made     made;
    uint32_t read = made.reads(file), top = made.block(read, 1, 2);
    uint32_t written = made.writes(file, split);
    made.writes_to(written, top, 1, 2);
    made.reads(file, written);
    made.writes(file);
    EXPECT_EQ(shown(account_in(made, "config a\nend\n", "")), "1 - dropped reader\n");
}

/* And finds one that nobody had written. */
TEST(Accounts, NameTheReaderThatFindsALineOfItsOwn)
{
    Made     made;
    uint32_t written = made.writes(file, split);
    uint32_t again = made.reads(file, written), found = made.block(again, 1, 2);
    uint32_t last = made.writes(file);
    made.writes_to(last, found, 1, 2);
    EXPECT_EQ(shown(account_in(made, "", "config a\nend\n")), "- 1 added reader\n");
}

TEST(Accounts, NameForAnAdditionWhoMadeItAndWhoLinkedItsBlock)
{
    Made     made;
    uint32_t image = made.reads_for("/etc/system.conf"), table = made.block(image, 70, 80),
             set = made.line(image, 71, table);
    uint32_t block = made.copy(table, two), inside = made.copy(set, one);
    made.journal.nodes[inside].parent = block;
    made.happens(block, EventKind::linked, three);
    made.happens(block, EventKind::marked, split); /* it is seen all the same */
    uint32_t last = made.writes(file);
    made.writes_to(last, block, 1, 3);
    made.writes_to(last, inside, 2);
    EXPECT_EQ(shown(account_in(made, "", "config a\n    set x 1\nend\n")), "- 1 added two three\n- 2 added one\n");
    made.journal.nodes[set].parent = block;
    EXPECT_EQ(shown(account_in(made, "", "config a\n    set x 1\nend\n")),
              "- 1 added two three\n- 2 added one three\n");
}

TEST(Accounts, CountWhatHasNoCause)
{
    TwoSets  made;
    uint32_t fresh = made.node(made.top);
    made.write(4);
    made.writes_to(made.written, made.x, 2);
    made.writes_to(made.written, fresh, 3);
    Account account = account_in(made, two_sets, "config a\n    set x 1\n    set \"f\n\"\nend\n");
    EXPECT_EQ(shown(account), "1 1 kept\n2 2 kept\n3 - dropped\n- 3 added\n");
    EXPECT_EQ(account.files[0].unexplained, 2u);
}

TEST(Accounts, CarryAlongWhatIsNotAboutLines)
{
    Made made;
    made.journal.effects = {{"removed", "/data/x", "", one}};
    made.journal.is_incomplete = true;
    Account account = account_in(made, "", "");
    ASSERT_EQ(account.effects.size(), 1u);
    EXPECT_EQ(account.effects[0].path, "/data/x");
    EXPECT_EQ(account.authors[account.effects[0].author].name, "one");
    EXPECT_TRUE(account.is_incomplete);
}

TEST(Accounts, NameTheirOwnAuthorsWhenTheyAreJoined)
{
    auto with = [](const char *author) {
        Account      account;
        AccountEntry entry;
        entry.fate = LineFate::dropped;
        entry.causes = {0, 1};
        entry.in = {1, 3, 0};
        account.authors = {{1, "made", author, 0}, {2, "made", author, 0}};
        account.files = {{author, 1, 2, {}, {}, 0, {entry}, losses_of({entry})}};
        account.effects = {{"removed", "/data/x", "", 1}};
        return account;
    };
    Account account = with("first");
    append(account, with("second"));
    ASSERT_EQ(account.files.size(), 2u);
    for (const AccountFile &one : account.files) {
        for (uint32_t cause : one.entries[0].causes)
            EXPECT_EQ(account.authors[cause].name, one.file);
        for (uint32_t cause : one.losses[0].causes)
            EXPECT_EQ(account.authors[cause].name, one.file);
        EXPECT_EQ(one.losses[0].lines, 3u);
    }
    EXPECT_EQ(account.authors[account.effects[1].author].name, "second");
    EXPECT_EQ(account.authors[account.effects[1].author].release, 2);
    EXPECT_FALSE(account.is_incomplete);
    for (bool first : {true, false}) {
        Account incomplete = with("incomplete"), whole = with("whole");
        incomplete.is_incomplete = true;
        Account joined = first ? incomplete : whole;
        append(joined, first ? whole : incomplete);
        EXPECT_TRUE(joined.is_incomplete);
    }
}

TEST(Accounts, PutLossesTogetherByCauseFateAndHand)
{
    auto entry_of = [](LineFate fate, Hand hand, std::vector<uint32_t> causes, const Span &in) {
        AccountEntry entry;
        entry.fate = fate;
        entry.hand = hand;
        entry.causes = std::move(causes);
        entry.in = in;
        return entry;
    };
    std::vector<Loss> losses = losses_of({entry_of(LineFate::dropped, Hand::person, {1}, {1, 1, 0}),
                                          entry_of(LineFate::dropped, Hand::person, {1}, {2, 4, 0}),
                                          entry_of(LineFate::rewritten, Hand::person, {1}, {5, 6, 0}),
                                          entry_of(LineFate::dropped, Hand::firmware, {1}, {7, 7, 0}),
                                          entry_of(LineFate::dropped, Hand::person, {0, 1}, {8, 8, 0}),
                                          entry_of(LineFate::moved, Hand::person, {1}, {9, 9, 0}),
                                          entry_of(LineFate::kept, Hand::person, {}, {10, 10, 0}),
                                          entry_of(LineFate::added, Hand::person, {1}, {11, 11, 0})});
    std::string       text;
    for (const Loss &loss : losses)
        text += std::to_string(loss.lines) + " " + word(loss.fate) + " " + std::to_string(loss.causes.size()) +
                (loss.hand == Hand::person ? " by hand\n" : "\n");
    EXPECT_EQ(text, "1 dropped 2 by hand\n2 rewritten 1 by hand\n1 dropped 1\n4 dropped 1 by hand\n");
}
