/* Regular expressions as tests ask for them. */
#include "support/patterns.h"

#include <gtest/gtest.h>

using support::Groups;

TEST(Patterns, MatchAllOrAPart)
{
    EXPECT_TRUE(support::matches("6.21", R"(\d\.\d+)"));
    EXPECT_FALSE(support::matches("to 6.21", R"(\d\.\d+)"));
    EXPECT_TRUE(support::has_match("to 6.21", R"(\d\.\d+)"));
    EXPECT_FALSE(support::has_match("to 6-21", R"(\d\.\d+)"));
}

TEST(Patterns, GiveTheirGroups)
{
    EXPECT_EQ(support::groups_of("a1", "([a-z])(-)?([0-9])"), (Groups{"a1", "a", "", "1"}));
    EXPECT_EQ(support::groups_of("a1 ", "([a-z])(-)?([0-9])"), Groups());
    EXPECT_EQ(support::all_groups("a1, b2", "([a-z])([0-9])"), (std::vector<Groups>{{"a1", "a", "1"}, {"b2", "b", "2"}}));
    EXPECT_EQ(support::all_groups("-", "[a-z]"), std::vector<Groups>());
}

TEST(Patterns, AreReplacedEachTime)
{
    EXPECT_EQ(support::replaced("a1, b2", "([a-z])([0-9])", "$2$1"), "1a, 2b");
    EXPECT_EQ(support::replaced("-", "[a-z]", "x"), "-");
}
