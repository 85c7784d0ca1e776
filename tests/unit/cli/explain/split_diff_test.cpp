/* A split as a diff for each of its two files, from blocks that are made up. */
#include "explain/split_diff.h"

#include <gtest/gtest.h>

using namespace command;

namespace {

constexpr char file[] = "one", other[] = "two";

TopLevelBlock block(const char *text, const char *to, bool is_shown = true)
{
    return {0, text, is_shown, to};
}

constexpr char lamp[] = "config lab lamp\n    set bulb red\nend\n";
constexpr char desk[] = "config lab desk\n    set height 70\n    set tint blue\nend\n";

std::string diff_of(const std::vector<TopLevelBlock> &before, const std::vector<TopLevelBlock> &after,
                    const LineFilter &filter = {})
{
    return split_diff(before, after, file, filter, 2);
}

/* Of these fates alone. */
LineFilter only(bool LineFilter::*fate)
{
    LineFilter filter;
    filter.dropped = filter.rewritten = filter.added = filter.moved = false;
    filter.*fate = true;
    return filter;
}

} // namespace

TEST(SplitDiff, ShowsWhatGoesToTheOtherFile)
{
    std::vector<TopLevelBlock> before = {block(lamp, file), block(desk, other)}, after = {block(lamp, "")};
    EXPECT_EQ(diff_of(before, after), "@@ -3,7 +3,3 @@ lab desk\n"
                                      " config lab lamp\n"
                                      "     set bulb red\n"
                                      " end\n"
                                      "-config lab desk\n"
                                      "-    set height 70\n"
                                      "-    set tint blue\n"
                                      "-end\n");
    EXPECT_EQ(diff_of(before, after, only(&LineFilter::moved)), diff_of(before, after));
    EXPECT_EQ(diff_of(before, after, only(&LineFilter::dropped)), "");
}

TEST(SplitDiff, ShowsWhatIsLost)
{
    std::vector<TopLevelBlock> before = {block(lamp, "")};
    std::string                lost = "@@ -3,3 +2,0 @@ lab lamp\n-config lab lamp\n-    set bulb red\n-end\n";
    EXPECT_EQ(diff_of(before, {}), lost);
    EXPECT_EQ(diff_of(before, {}, only(&LineFilter::dropped)), lost);
    EXPECT_EQ(diff_of(before, {}, only(&LineFilter::moved)), "");
}

TEST(SplitDiff, ShowsWhatIsWrittenOtherwise)
{
    std::vector<TopLevelBlock> before = {block("config a \nend\n", file), block(lamp, file)},
                               after = {block("config a\nend\n", ""), block(lamp, "")};
    std::string rewritten =
        "@@ -3,5 +3,5 @@ a \n-config a \n-end\n+config a\n+end\n config lab lamp\n     set bulb red\n"
        " end\n";
    EXPECT_EQ(diff_of(before, after), rewritten);
    EXPECT_EQ(diff_of(before, after, only(&LineFilter::rewritten)), rewritten);
    EXPECT_EQ(diff_of(before, after, only(&LineFilter::moved)), "");
}

/* It was written by no pass ahead of the split, which takes it along. */
TEST(SplitDiff, ShowsABlockThatWasMarkedAsNew)
{
    std::vector<TopLevelBlock> before = {block("config a\nend\n", file, false)}, after = {block("config a\nend\n", "")};
    EXPECT_EQ(diff_of(before, after), "@@ -2,0 +3,2 @@ a\n+config a\n+end\n");
}

TEST(SplitDiff, ShowsAllOfTheFileThatIsNew)
{
    std::vector<TopLevelBlock> after = {block("config a\nend\n", ""), block("config\nend\n", "")};
    EXPECT_EQ(diff_of({}, after), "@@ -2,0 +3,4 @@ a\n+config a\n+end\n+config\n+end\n");
    EXPECT_EQ(diff_of({}, after, only(&LineFilter::moved)), diff_of({}, after));
    EXPECT_EQ(diff_of({}, after, only(&LineFilter::added)), "");
}

TEST(SplitDiff, ShowsNothingWhereAllStays)
{
    EXPECT_EQ(diff_of({block(lamp, file)}, {block(lamp, "")}), "");
}

TEST(SplitDiff, ShowsTheLinesOfAPathAlone)
{
    std::string text = "config a\n    set x \"1\nset y 2\"\n    set z 3\nend\n";
    LineFilter  filter;
    filter.path = "a / z";
    EXPECT_EQ(diff_of({block(text.c_str(), other)}, {}, filter),
              "@@ -3,5 +2,0 @@ a\n-config a\n-    set x \"1\n-set y 2\"\n-    set z 3\n-end\n");
    filter.path = "a / y";
    EXPECT_EQ(diff_of({block(text.c_str(), other)}, {}, filter), "") << "no item, but a value's second line";
    filter.path = "a";
    filter.moved = false;
    EXPECT_EQ(diff_of({block(text.c_str(), other)}, {}, filter), "");
}
