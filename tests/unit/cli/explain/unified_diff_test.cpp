/* Diffs of lines, some of which do not count; random ones are applied again. */
#include "explain/unified_diff.h"
#include "unit/cli/applied_diff.h"

#include "support/places.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using command::UnifiedDiff;

struct Line {
    char        mark;
    std::string text;
};

std::string diff_of(const std::vector<Line> &lines, uint64_t lines_ahead = 0)
{
    UnifiedDiff diff(lines_ahead);
    for (const Line &line : lines)
        diff.push(line.mark, line.text, line.mark != ' ');
    return diff.text();
}

std::vector<Line> random_lines(std::mt19937 &random)
{
    std::vector<Line> lines;
    for (size_t left = random() % 60; left > 0; left--)
        lines.push_back({"       -+"[random() % 9], std::string(1, static_cast<char>('a' + random() % 4))});
    return lines;
}

/* The old text, or the new one. */
std::string side(const std::vector<Line> &lines, char other)
{
    std::string text;
    for (const Line &line : lines)
        text += line.mark == other ? "" : line.text + "\n";
    return text;
}

} // namespace

TEST(UnifiedDiff, IsEmptyWhereNothingCounts)
{
    EXPECT_EQ("", diff_of({}));
    EXPECT_EQ("", diff_of({{' ', "config a"}, {' ', "end"}}));
    UnifiedDiff diff(0);
    diff.push('-', "config a", false);
    EXPECT_EQ("", diff.text());
}

TEST(UnifiedDiff, ShowsThreeLinesAroundAChange)
{
    EXPECT_EQ("@@ -2,7 +2,7 @@\n b\n c\n d\n-e\n+E\n f\n g\n h\n", diff_of({{' ', "a"},
                                                                            {' ', "b"},
                                                                            {' ', "c"},
                                                                            {' ', "d"},
                                                                            {'-', "e"},
                                                                            {'+', "E"},
                                                                            {' ', "f"},
                                                                            {' ', "g"},
                                                                            {' ', "h"},
                                                                            {' ', "i"}}));
}

TEST(UnifiedDiff, TellsWhereLinesThatAreNoneWouldStand)
{
    EXPECT_EQ("@@ -0,0 +1 @@\n+a\n", diff_of({{'+', "a"}}));
    EXPECT_EQ("@@ -1 +0,0 @@\n-a\n", diff_of({{'-', "a"}}));
    EXPECT_EQ("@@ -2,0 +3,2 @@\n+a\n+b\n", diff_of({{'+', "a"}, {'+', "b"}}, 2));
}

TEST(UnifiedDiff, PutsTheHeadingOnOneLine)
{
    UnifiedDiff diff(0);
    EXPECT_FALSE(diff.is_in_hunk());
    diff.name_hunk("lab \"two\nlines\"");
    diff.push('-', "a", true);
    EXPECT_TRUE(diff.is_in_hunk());
    EXPECT_EQ("@@ -1 +0,0 @@ lab \"two lines\"\n-a\n", diff.text());
}

TEST(UnifiedDiff, ShowsWhatDoesNotCountNearWhatDoes)
{
    UnifiedDiff diff(0);
    diff.push('-', "a", false);
    diff.push(' ', "b", false);
    diff.push('+', "c", true);
    diff.push('-', "d", false);
    for (const char *line : {"1", "2", "3", "4", "5", "6", "7"})
        diff.push(' ', line, false);
    diff.push('-', "e", false);
    EXPECT_EQ("@@ -1,5 +1,4 @@\n-a\n b\n+c\n-d\n 1\n 2\n", diff.text());
}

TEST(UnifiedDiff, CountsLinesThatWereNotTold)
{
    UnifiedDiff diff(2);
    diff.push('-', "a", true);
    for (const char *line : {"1", "2", "3"})
        diff.push(' ', line, false);
    diff.skip(100);
    for (const char *line : {"1", "2", "3"})
        diff.push(' ', line, false);
    diff.push('+', "b", true);
    EXPECT_EQ("@@ -3,4 +3,3 @@\n-a\n 1\n 2\n 3\n@@ -107,3 +106,4 @@\n 1\n 2\n 3\n+b\n", diff.text());
}

TEST(UnifiedDiff, TakesOneTextToTheOther)
{
    std::mt19937 random(1);
    for (int left = support::is_sanitized() ? 200 : 2000; left > 0; left--) {
        std::vector<Line> lines = random_lines(random);
        ASSERT_EQ(side(lines, '-'), support::applied(side(lines, '+'), diff_of(lines)));
    }
}
