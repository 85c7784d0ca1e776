/* Searches and copies in texts of a given length, at their edges. */
#include "platform/platform.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

constexpr ptrdiff_t NOWHERE = -1;

static ptrdiff_t first_in(const std::string &text, const std::string &needle)
{
    char *found = v_memcasestr(text.data(), text.size(), needle.data(), needle.size());
    return found ? found - text.data() : NOWHERE;
}

static ptrdiff_t last_in(const std::string &text, const std::string &needle)
{
    char *found = v_memrstr(text.data(), text.size(), needle.data(), needle.size());
    return found ? found - text.data() : NOWHERE;
}

TEST(Memcasestr, FindsTheFirstMatchInAnyCase)
{
    EXPECT_EQ(first_in("<p><FORM><form>", "<form"), 3);
    EXPECT_EQ(first_in("<p></h1>", "</H1>"), 3);
    EXPECT_EQ(first_in("form", "form"), 0);
    EXPECT_EQ(first_in("aab", "ab"), 1);
}

TEST(Memcasestr, OnlyLettersHaveCase)
{
    EXPECT_EQ(first_in("[{", "{["), NOWHERE);
    EXPECT_EQ(first_in("@", "`"), NOWHERE);
    EXPECT_EQ(first_in("\xc9", "\xe9"), NOWHERE);
}

TEST(Memcasestr, LooksNoFurtherThanTheLength)
{
    const char text[] = "abcdef";
    EXPECT_EQ(v_memcasestr(text, 5, "ef", 2), nullptr);
    EXPECT_EQ(v_memcasestr(text, 6, "ef", 2), text + 4);
    EXPECT_EQ(v_memcasestr(text, 2, "abc", 3), nullptr);
    EXPECT_EQ(v_memcasestr(text, 0, "a", 1), nullptr);
}

TEST(Memcasestr, GoesOverNuls)
{
    EXPECT_EQ(first_in(std::string("a\0b\0C", 5), std::string("\0c", 2)), 3);
}

TEST(Memrstr, FindsTheLastMatchInThisCase)
{
    EXPECT_EQ(last_in("<div a><div b><DIV c>", "<div "), 7);
    EXPECT_EQ(last_in("aaa", "aa"), 1);
    EXPECT_EQ(last_in("</h2>", "</h2>"), 0);
    EXPECT_EQ(last_in("</H2>", "</h2>"), NOWHERE);
}

TEST(Memrstr, LooksNoFurtherThanTheLength)
{
    const char text[] = "abab";
    EXPECT_EQ(v_memrstr(text, 4, "ab", 2), text + 2);
    EXPECT_EQ(v_memrstr(text, 3, "ab", 2), text);
    EXPECT_EQ(v_memrstr(text, 1, "ab", 2), nullptr);
    EXPECT_EQ(v_memrstr(text, 0, "a", 1), nullptr);
}

TEST(TextSearches, EmptyNeedleIsEverywhere)
{
    EXPECT_EQ(first_in("abc", ""), 0);
    EXPECT_EQ(last_in("abc", ""), 3);
}

TEST(TextSearches, FindNothingInNothing)
{
    EXPECT_EQ(v_memcasestr(nullptr, 3, "a", 1), nullptr);
    EXPECT_EQ(v_memcasestr("abc", 3, nullptr, 1), nullptr);
    EXPECT_EQ(v_memrstr(nullptr, 3, "a", 1), nullptr);
    EXPECT_EQ(v_memrstr("abc", 3, nullptr, 1), nullptr);
}

TEST(Strncpy, CopiesAtMostTheLength)
{
    char target[16] = "xxxxxxxxxxxxxxx";
    v_strncpy(target, sizeof target, "wafgrp-and-more", 6);
    EXPECT_STREQ(target, "wafgrp");
    v_strncpy(target, sizeof target, "rw", 6);
    EXPECT_STREQ(target, "rw");
    EXPECT_EQ(target[3], 'g');
}

TEST(Strncpy, ALengthThatIsTheRoomLeavesRoomForTheEnd)
{
    char target[8] = "xxxxxxx";
    v_strncpy(target, 4, "abcdefgh", 4);
    EXPECT_EQ(memcmp(target, "abc\0xxx", 8), 0);
}

TEST(Strncpy, NeverOutgrowsTheRoom)
{
    char target[8] = "xxxxxxx";
    v_strncpy(target, 4, "abcdefgh", 8);
    EXPECT_EQ(memcmp(target, "abc\0xxx", 8), 0);
    v_strncpy(target, 1, "abc", 3);
    EXPECT_STREQ(target, "");
    v_strncpy(target, 0, "abc", 3);
    EXPECT_EQ(memcmp(target, "\0bc\0xxx", 8), 0);
}

TEST(Strncpy, ReadsNoFurtherThanTheLength)
{
    const char unended[3] = {'a', 'b', 'c'};
    char       target[8];
    v_strncpy(target, sizeof target, unended, 3);
    EXPECT_STREQ(target, "abc");
}

TEST(Strncpy, CopiesWithinOneBuffer)
{
    char text[] = "is-default";
    v_strncpy(text, sizeof text, text + 3, 7);
    EXPECT_STREQ(text, "default");
}

TEST(Strncpy, NullSourceGivesEmptyText)
{
    char target[4] = "abc";
    v_strncpy(target, sizeof target, nullptr, 3);
    EXPECT_STREQ(target, "");
    v_strncpy(nullptr, 4, "abc", 3);
}
