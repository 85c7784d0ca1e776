#include "explain/unified_diff.h"
#include "unit/cli/applied_diff.h"

#include "support/places.h"

#include <gtest/gtest.h>

#include <random>

namespace {

std::string random_text(std::mt19937 &random)
{
    std::string text;
    for (size_t left = random() % 40; left > 0; left--)
        text += std::string(1, static_cast<char>('a' + random() % 4)) + "\n";
    return text;
}

} // namespace

TEST(UnifiedDiff, IsEmptyForTheSameText)
{
    EXPECT_EQ("", command::unified_diff("", ""));
    EXPECT_EQ("", command::unified_diff("config a\nend\n", "config a\nend\n"));
}

TEST(UnifiedDiff, NamesTheConfigAroundAHunk)
{
    std::string head = "config lab desk\n    set a 1\n    set b 1\n    set c 1\n    set d 1\n";
    EXPECT_EQ("@@ -3,4 +3,4 @@ config lab desk\n     set b 1\n     set c 1\n     set d 1\n-    set e 1\n+    set e 2\n",
              command::unified_diff(head + "    set e 1\n", head + "    set e 2\n"));
    EXPECT_EQ("@@ -1,2 +1 @@\n config a\n-end\n", command::unified_diff("config a\nend\n", "config a\n"));
}

TEST(UnifiedDiff, SaysWhereTheLastNewlineIsMissing)
{
    EXPECT_EQ("@@ -1 +1 @@\n-a\n\\ No newline at end of file\n+a\n", command::unified_diff("a", "a\n"));
}

TEST(UnifiedDiff, TakesOneTextToTheOther)
{
    std::mt19937 random(1);
    for (int left = support::is_sanitized() ? 200 : 2000; left > 0; left--) {
        std::string before = random_text(random);
        std::string after = random_text(random);
        ASSERT_EQ(after, support::applied(before, command::unified_diff(before, after))) << before << "--\n" << after;
    }
}

TEST(UnifiedDiff, KeepsUpWithLongTexts)
{
    std::string before, after;
    for (int line = 0; line < 20000; line++) {
        before += "set name" + std::to_string(line) + " 1\n";
        after += "set name" + std::to_string(line) + (line % 100 == 0 ? " 2\n" : " 1\n");
    }
    EXPECT_EQ(after, support::applied(before, command::unified_diff(before, after)));
}
