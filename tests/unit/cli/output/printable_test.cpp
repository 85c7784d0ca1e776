/* Texts of unknown origin on their way to a terminal. */
#include "output/printable.h"
#include "output/release_text.h"
#include "output/size_text.h"
#include "output/table.h"

#include "unit/cli/command_support.h"

#include <gtest/gtest.h>

using command::printable;
using command::shell_word;

TEST(Printable, LeavesPlainTextAlone)
{
    EXPECT_EQ(printable("sys_global.conf.gz"), "sys_global.conf.gz");
    EXPECT_EQ(printable("zwölf € 𝄞"), "zwölf € 𝄞");
    EXPECT_EQ(printable(""), "");
}

TEST(Printable, WritesControlsOut)
{
    EXPECT_EQ(printable("a\nb\tc\rd"), "a\\nb\\tc\\x0dd");
    EXPECT_EQ(printable("\x1b]0;title\x07"), "\\x1b]0;title\\x07");
    EXPECT_EQ(printable(std::string_view("\0\x7f", 2)), "\\x00\\x7f");
    EXPECT_EQ(printable("\x1f !"), "\\x1f !");
    EXPECT_EQ(printable("\xc2\x9b"
                        "31m"),
              "\\xc2\\x9b31m"); /* the one-character form of ESC [ */
    EXPECT_EQ(printable("\xe2\x80\xae"
                        "fdp"),
              "\\xe2\\x80\\xae"
              "fdp"); /* right-to-left override */
}

/* Marks that turn the writing direction or part lines, and what stands next to them. */
TEST(Printable, WritesMarksOutAndNotTheirNeighbours)
{
    for (const char *mark : {"\xc2\x80", "\xc2\x9f", "\xd8\x9c", "\xe2\x80\x8e", "\xe2\x80\x8f", "\xe2\x80\xa8",
                             "\xe2\x80\xae", "\xe2\x81\xa6", "\xe2\x81\xa9"})
        EXPECT_NE(printable(mark), mark);
    for (const char *other : {"\xdf\xbf", "\xef\xbf\xbd", "\xed\x9f\xbf", "\xee\x80\x80", "\xc2\xa0", "\xd8\x9b",
                              "\xd8\x9d", "\xe2\x80\x8d", "\xe2\x80\x90", "\xe2\x80\xa7", "\xe2\x80\xaf",
                              "\xe2\x81\xa5", "\xe2\x81\xaa", "\xe0\xa0\x80", "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"})
        EXPECT_EQ(printable(other), other);
}

TEST(Printable, WritesBytesThatAreNoTextOut)
{
    EXPECT_EQ(printable("\xbf\xbf"), "\\xbf\\xbf");
    EXPECT_EQ(printable("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
    EXPECT_EQ(printable("\xff\xfe"), "\\xff\\xfe");
    EXPECT_EQ(printable("\xc0\x80"), "\\xc0\\x80");          /* an overlong NUL */
    EXPECT_EQ(printable("\xed\xa0\x80"), "\\xed\\xa0\\x80"); /* half of a pair */
    EXPECT_EQ(printable("\xe2\x82"), "\\xe2\\x82");          /* cut short */
    EXPECT_EQ(printable("\xf5\x80\x80\x80"), "\\xf5\\x80\\x80\\x80");
    EXPECT_EQ(printable("\xe0\x80\x9b"), "\\xe0\\x80\\x9b");
    EXPECT_EQ(printable("\xe0\x82\xa9"), "\\xe0\\x82\\xa9"); /* longer than it must be */
    EXPECT_EQ(printable("\xf0\x82\x82\xac"), "\\xf0\\x82\\x82\\xac");
    EXPECT_EQ(printable("\xf0\x8f\xbf\xbf"), "\\xf0\\x8f\\xbf\\xbf");
    EXPECT_EQ(printable("\xe0\x9f\xbf"), "\\xe0\\x9f\\xbf");
    EXPECT_EQ(printable("\xf9\x80\x80\x80"), "\\xf9\\x80\\x80\\x80");
    EXPECT_EQ(printable("\xc3x\xe2xy"), "\\xc3x\\xe2xy");
    EXPECT_EQ(printable("\xed\xbf\xbf"), "\\xed\\xbf\\xbf");          /* the other half */
    EXPECT_EQ(printable("\x81\x81\x81\x81"), "\\x81\\x81\\x81\\x81"); /* nothing begins so */
    EXPECT_EQ(printable(std::string_view("\xc3\xa9").substr(0, 1)), "\\xc3")
        << "what stands behind the text is none of it";
}

static std::string read_by(const char *shell, const std::string &word)
{
    std::string line = "printf %s " + word;
    return support::run_process([&] { return execl(shell, shell, "-c", line.c_str(), static_cast<char *>(nullptr)); })
        .out;
}

TEST(ShellWord, CanBePasted)
{
    for (std::string name : {"plain/path.gz", "with blank", "it's", "a\\b", "\"a\\'b\"", "$(reboot)", "`x`", "",
                             "zwölf", "~", "*", "a;b&c|d>e", "#a", "!x"}) {
        EXPECT_EQ(read_by("/bin/sh", shell_word(name)), name) << shell_word(name);
        EXPECT_EQ(read_by("/bin/bash", shell_word(name)), name) << shell_word(name);
    }
    EXPECT_EQ(shell_word("plain/path.gz"), "plain/path.gz");
    for (const char *plain : {"AZ", "az", "09", "_-./,:@%+="})
        EXPECT_EQ(shell_word(plain), plain);
    for (const char *quoted : {"[", "{", "a[bc]", "{a,b}"})
        EXPECT_EQ(shell_word(quoted), "'" + std::string(quoted) + "'");
    EXPECT_EQ(shell_word("with blank"), "'with blank'");
    EXPECT_EQ(shell_word(""), "''");
}

TEST(ShellWord, WritesOutWhatATerminalActsOn)
{
    for (std::string name : {"tab\tnewline\nescape\x1b", "\xff\xfe", "'$(x)'\n", "\\\x1b'"}) {
        EXPECT_EQ(read_by("/bin/bash", shell_word(name)), name) << shell_word(name);
        EXPECT_TRUE(support::is_clean(shell_word(name)));
    }
}

TEST(ShellWord, IsNoOption)
{
    EXPECT_EQ(shell_word("-rf"), "./-rf");
    EXPECT_EQ(read_by("/bin/sh", shell_word("-a b'c")), "./-a b'c");
    EXPECT_EQ(read_by("/bin/bash", shell_word("-\n")), "./-\n");
}

TEST(Table, AlignsByCharacters)
{
    support::Outcome shown = support::run_process([] {
        command::show_table({{"NAME", "N"}, {"zwölf", "1"}, {"zwálf", "7"}, {"a\x1b", "22"}}, {1});
        return 0;
    });
    EXPECT_EQ(shown.out, "NAME    N\nzwölf   1\nzwálf   7\na\\x1b  22\n");
}

TEST(SizeText, GrowsWithTheNumber)
{
    EXPECT_EQ(command::size_text(0), "0 B");
    EXPECT_EQ(command::size_text(999), "999 B");
    EXPECT_EQ(command::size_text(1000), "1.0 kB");
    EXPECT_EQ(command::size_text(999'999), "1.0 MB");
    EXPECT_EQ(command::size_text(12'345'678), "12 MB");
    EXPECT_EQ(command::size_text(10'400), "10 kB");
    EXPECT_EQ(command::size_text(9'950), "10 kB");
    EXPECT_EQ(command::size_text(999'500), "1.0 MB");
    EXPECT_EQ(command::size_text(9'940'000'000), "9.9 GB");
    EXPECT_EQ(command::size_text(999'000'000'000'000), "999 TB");
    EXPECT_EQ(command::size_text(2'000'000'000'000'000), "2000 TB");
}

TEST(ReleaseText, GoesBothWays)
{
    EXPECT_EQ(command::release_text(0), "0.00");
    EXPECT_EQ(command::release_text(-1), "-");
    EXPECT_EQ(command::release_text(command::release_code("6.05")), "6.05");
    EXPECT_EQ(command::release_code("0.10"), 10);
    for (const char *none : {"", "6", ".", "6.", ".05", "6.x", "6.65536", "32768.0", "-1.0"})
        EXPECT_EQ(command::release_code(none), -1) << none;
}
