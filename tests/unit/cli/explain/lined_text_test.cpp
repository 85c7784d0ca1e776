/* A text by line: what begins there, in which blocks, and whose lines they are. */
#include "explain/lined_text.h"

#include "language/lines.h"
#include "support/trees.h"

#include <gtest/gtest.h>

using namespace command;

namespace {

using Path = std::vector<std::string>;

constexpr char text[] = "#config-version=x\n"       /* 1 */
                        "config  waf   signature\n" /* 2 */
                        "    edit \"a b\"\n"        /* 3 */
                        "        set x y\n"         /* 4 */
                        "        config in\n"       /* 5 */
                        "            set v \"1\n"   /* 6 */
                        "set no item\n"             /* 7 */
                        "\"\n"                      /* 8 */
                        "        end\n"             /* 9 */
                        "    next\n"                /* 10 */
                        "    set w \"z\"\n"         /* 11 */
                        "end\n"                     /* 12 */
                        "end\n"                     /* 13 */
                        "odd\n"                     /* 14 */
                        "\n"                        /* 15 */
                        "Config b\n"                /* 16 */
                        "Edit 1\n"                  /* 17 */
                        "Next";                     /* 18 */

std::string joined(const Path &path)
{
    std::string all;
    for (const std::string &name : path)
        all += (all.empty() ? "" : "/") + name;
    return all;
}

} // namespace

TEST(LinedText, KnowsWhatBeginsInALine)
{
    LinedText   lines(text);
    const char *paths[] = {"",
                           "",
                           "waf signature",
                           "waf signature/a b",
                           "waf signature/a b/x",
                           "waf signature/a b/in",
                           "waf signature/a b/in/v",
                           "",
                           "",
                           "",
                           "",
                           "waf signature/w",
                           "",
                           "",
                           "",
                           "",
                           "b",
                           "b/1",
                           "",
                           ""};
    ASSERT_EQ(lines.count(), 18u);
    for (uint32_t line = 0; line < std::size(paths); line++)
        EXPECT_EQ(joined(lines.path(line)), paths[line]) << line;
}

TEST(LinedText, GivesLines)
{
    LinedText lines(text);
    EXPECT_EQ(lines.lines({1, 1, 0}), "#config-version=x\n");
    EXPECT_EQ(lines.lines({3, 4, 0}), "    edit \"a b\"\n        set x y\n");
    EXPECT_EQ(lines.lines({17, 18, 0}), "Edit 1\nNext");
    EXPECT_EQ(lines.lines({18, 18, 0}), "Next");
    EXPECT_EQ(lines.lines({1, 18, 0}), text);
    for (const Span &none : {Span{0, 1, 0}, Span{18, 19, 0}, Span{4, 3, 0}, Span{}})
        EXPECT_EQ(lines.lines(none), "");
    EXPECT_EQ(LinedText("").count(), 0u);
    EXPECT_EQ(LinedText("").lines({1, 1, 0}), "");
}

TEST(LinedText, GivesEachLineToOneAlone)
{
    LinedText lines(text);
    EXPECT_EQ(lines.take({3, 5, 0}), 3u);
    EXPECT_EQ(lines.take({5, 6, 0}), 1u);
    EXPECT_EQ(lines.take({3, 6, 0}), 0u);
    EXPECT_EQ(lines.take({18, 30, 0}), 1u);
    EXPECT_EQ(lines.take({0, 3, 0}), 0u);
    EXPECT_EQ(lines.take({7, 6, 0}), 0u);
}

TEST(LinedText, CountsWhatNobodyTook)
{
    LinedText  lines(text);
    LineCounts counts;
    lines.count_others(counts);
    EXPECT_EQ(counts.lines, 18u);
    EXPECT_EQ(counts.layout, 1u + 2 + 2 + 1 + 1); /* a comment, ends of a config and of an entry, one empty, the last */
    EXPECT_EQ(counts.unread, 18u - 7);
    lines.take({1, 17, 0});
    counts = {};
    lines.count_others(counts);
    EXPECT_EQ(counts.layout, 1u);
    EXPECT_EQ(counts.unread, 0u);
}

TEST(LinedText, ShortensThePathsOfWhatLiesDeep)
{
    std::string deep;
    for (size_t depth = 0; depth < most_names + 10; depth++)
        deep += "config " + std::to_string(depth) + "\n";
    LinedText lines(deep);
    EXPECT_EQ(lines.path(most_names).size(), most_names);
    EXPECT_EQ(lines.path(most_names + 1).size(), most_names + 1);
    Path path = lines.path(most_names + 10);
    ASSERT_EQ(path.size(), most_names + 1);
    EXPECT_EQ(path.front(), "0");
    EXPECT_EQ(path[1], "10");
    EXPECT_EQ(path.back(), std::to_string(most_names + 9));
}

/* It is read in parts, of which the first one may hold nothing. */
TEST(LinedText, FindsWhatAnOverlongLineBegins)
{
    std::string blanks(longest_line, ' ');
    std::string long_text = "config a\n" + blanks + "set x y\nset z w\n";
    LinedText   lines(long_text);
    ASSERT_EQ(lines.count(), 3u);
    EXPECT_EQ(joined(lines.path(2)), "a/x");
    EXPECT_EQ(joined(lines.path(3)), "a/z");
    std::string of_sets = "set " + std::string(longest_line, 'n') + "edit b\n";
    EXPECT_EQ(LinedText(of_sets).path(1).size(), 1u);
}
