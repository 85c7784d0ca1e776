/* Where the lines of a result came from, and how they are shown. */
#include "report/result_lines.h"

#include "unit/cli/report/made_up_account.h"

#include <gtest/gtest.h>

using namespace command;

namespace {

/* Of a result with a secret of two lines, a set of two, and lines that nobody answers for. */
constexpr char text[] = "#header\n"
                        "config lab desk\n"
                        "    set passwd \"a\n"
                        "        b\"\n"
                        "    set note \"c\n"
                        "d\"\n"
                        "end\n";

AccountEntry entry_at(uint32_t first, uint32_t last, const char *out_file = "")
{
    AccountEntry entry;
    entry.path = {"lab desk"};
    entry.out = {first, last, 0};
    entry.out_file = out_file;
    return entry;
}

Account account_of_text()
{
    Account account;
    account.files.resize(2);
    account.files[0].file = "one";
    account.files[1].file = "two";
    account.files[0].out.lines = 7;
    account.files[1].out.lines = 5;
    account.files[0].entries = {entry_at(0, 0), entry_at(2, 2), entry_at(5, 6), entry_at(4, 5, "two")};
    account.files[1].entries = {entry_at(3, 4, "one"), entry_at(1, 1)};
    return account;
}

using Lines = std::vector<std::string>;

} // namespace

TEST(ResultLines, KnowTheirEntriesInWhateverFileTheyStood)
{
    Account                 account = account_of_text();
    std::vector<LineSource> one = sources_of(account, account.files[0]), two = sources_of(account, account.files[1]);
    ASSERT_EQ(one.size(), 8u);
    const AccountEntry *expected[] = {nullptr,
                                      nullptr,
                                      &account.files[0].entries[1],
                                      &account.files[1].entries[0],
                                      &account.files[1].entries[0],
                                      &account.files[0].entries[2],
                                      &account.files[0].entries[2],
                                      nullptr};
    for (size_t line = 0; line < one.size(); line++)
        EXPECT_EQ(one[line].entry, expected[line]) << line;
    EXPECT_EQ(one[2].file, &account.files[0]);
    EXPECT_EQ(one[3].file, &account.files[1]);
    EXPECT_EQ(one[1].file, nullptr);
    ASSERT_EQ(two.size(), 6u);
    EXPECT_EQ(two[1].entry, &account.files[1].entries[1]);
    EXPECT_EQ(two[3].entry, nullptr);
    EXPECT_EQ(two[4].entry, &account.files[0].entries[3]);
    EXPECT_EQ(two[5].entry, &account.files[0].entries[3]);
}

TEST(ResultLines, HideSecretsWithAllTheirLines)
{
    Account                 account = account_of_text();
    std::vector<LineSource> sources = sources_of(account, account.files[0]);
    EXPECT_EQ(shown_lines(sources, text, true), (Lines{"#header", "config lab desk", "    set passwd \"a",
                                                       "        b\"", "    set note \"c", "d\"", "end"}));
    EXPECT_EQ(shown_lines(sources, text, false), (Lines{"#header", "config lab desk", "    set passwd (hidden)",
                                                        "(hidden)", "    set note \"c", "d\"", "end"}));
}

TEST(ResultLines, KeepTheIndentOfWhatIsHidden)
{
    Account account;
    account.files.resize(1);
    account.files[0].file = "one";
    account.files[0].out.lines = 1;
    account.files[0].entries = {entry_at(1, 1)};
    EXPECT_EQ(shown_lines(sources_of(account, account.files[0]), "\t set psk a", false), Lines{"\t set psk (hidden)"});
}
