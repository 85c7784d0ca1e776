/* Which changes are let through, and which paths are like a pattern. */
#include "explain/change_filter.h"

#include "driver/run_context.h"

#include <gtest/gtest.h>

using namespace command;

TEST(CauseFilter, LetsThroughWhatFitsAllThatIsAsked)
{
    Author    author = {MIGR_RELEASE(5, 50), "stage", "_some"};
    CauseText text;
    text.kind = "protection";

    auto takes = [&](const std::string &kind, const std::string &release, const std::string &by) {
        CauseFilter filter = {kind, release, by};
        EXPECT_EQ(filter.takes_all(), kind.empty() && release.empty() && by.empty());
        return filter.takes(author, text);
    };
    EXPECT_TRUE(takes("", "", ""));
    EXPECT_TRUE(takes("protection", "5.50", "_some"));
    EXPECT_TRUE(takes("protection", "", ""));
    EXPECT_TRUE(takes("", "5.50", ""));
    EXPECT_TRUE(takes("", "", "_some"));
    EXPECT_FALSE(takes("network", "5.50", "_some"));
    EXPECT_FALSE(takes("protection", "5.51", "_some"));
    EXPECT_FALSE(takes("protection", "5.50", "_other"));
}

TEST(PathLike, GoesByShellPatterns)
{
    EXPECT_TRUE(is_path_like("waf signature / shop / x", "waf*"));
    EXPECT_TRUE(is_path_like("waf signature / shop / x", "* / shop / ?"));
    EXPECT_TRUE(is_path_like(".hidden", "*"));
    EXPECT_FALSE(is_path_like("waf signature / shop / x", "waf"));
    EXPECT_FALSE(is_path_like("waf", "waf *"));
}
