/* The filters of word lists alone, without a tree. */
#include "chain/word_filters.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/* What a filter makes of a list, in a buffer of `size` bytes. */
std::string filtered(word_filter *filter, const char *list, int32_t size = 1024)
{
    std::string words = list;
    std::string output(1024, '\0');
    EXPECT_EQ(filter(output.data(), words.data(), size), 0);
    return output.c_str();
}

TEST(WordFilters, KeepTheFirstWordOrTestIt)
{
    EXPECT_EQ(filtered(del_xml_prop_and_robot, "xml-a waf-b xml waf-robot-attack-2 xmlx c"), "xml-a waf-b c");
    EXPECT_EQ(filtered(del_bad_robot_prop, "bad-robot bad-robots a my-bad-robot"), "bad-robot a my-bad-robot");
    EXPECT_EQ(filtered(del_allow_robot_prop, "allow-robot allow-robots a  b"), " a b");
    EXPECT_EQ(filtered(del_allow_robot_prop, "allow-robot"), "");
    EXPECT_EQ(filtered(del_allow_robot_prop, "a allow-robot b"), "a b");
    EXPECT_EQ(filtered(del_xml_prop_and_robot, ""), "");
    EXPECT_EQ(filtered(del_xml_prop_and_robot, "   "), "");
}

TEST(WordFilters, StopAtTheWordThatDoesNotFit)
{
    EXPECT_EQ(filtered(del_bad_robot_prop, "abcd e", 4), "");
    EXPECT_EQ(filtered(del_bad_robot_prop, "abcd e", 5), "abcd");
    EXPECT_EQ(filtered(del_bad_robot_prop, "abcd e", 6), "abcd");
    EXPECT_EQ(filtered(del_bad_robot_prop, "abcd e", 7), "abcd e");
    EXPECT_EQ(filtered(del_bad_robot_prop, "ab cdefgh i", 6), "ab");
    EXPECT_EQ(filtered(del_bad_robot_prop, "ab bad-robot-cdef i", 6), "ab i");
    EXPECT_EQ(filtered(del_allow_robot_prop, "allow-robot a", 5), "");
    EXPECT_EQ(filtered(del_allow_robot_prop, "allow-robot a", 12), " a");
}

TEST(WordFilters, RefuseANull)
{
    char text[8] = "a";
    for (word_filter *filter : {del_xml_prop_and_robot, del_bad_robot_prop, del_allow_robot_prop}) {
        EXPECT_EQ(filter(nullptr, text, sizeof text), -1);
        EXPECT_EQ(filter(text, nullptr, sizeof text), -1);
    }
    EXPECT_STREQ(text, "a");
}

} // namespace
