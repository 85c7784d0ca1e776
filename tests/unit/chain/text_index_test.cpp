/* An index finds what a walk through the texts would find, whatever they begin with. What migrations look up there is
 * shown in their cases. */
#include "chain/text_index.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

/* Alike up to the eighth byte, in the eighth, behind it; beginnings of one another; bytes that are negative as char. */
const std::vector<std::string> texts = {
    "policy-12", "policy-1",  "policy-",   "policy",   "policy-123456", "policy-123457", "",
    "a",         "\x7f",      "\x80",      "\xff\xfe", "seven77",       "eight888",      "eight889",
    "nine9999",  "nine99990", "policy-12", "a",        "eight888\x80",  "eight888\x01",  "policy-1"};

struct TextIndex : testing::Test {
    text_index<const std::string> index = {};

    TextIndex()
    {
        for (const std::string &text : texts)
            EXPECT_EQ(add_text(&index, text.c_str(), &text), 0);
        sort_texts(&index);
    }
    ~TextIndex() override
    {
        free_index(&index);
    }
};

} // namespace

TEST_F(TextIndex, IsInTheOrderOfItsTexts)
{
    for (size_t at = 1; at < index.texts.count; at++)
        EXPECT_LE(strcmp(index.texts.records[at - 1].text, index.texts.records[at].text), 0) << at;
}

TEST_F(TextIndex, FindsOfEqualTextsTheFirst)
{
    for (const std::string &text : texts) {
        auto *found = find_text(&index, text.c_str());
        ASSERT_NE(found, nullptr) << text;
        EXPECT_EQ(found->value, &*std::find(texts.begin(), texts.end(), text)) << text;
    }
}

TEST_F(TextIndex, FindsNothingElse)
{
    for (const char *text :
         {"polic", "policy-2", "policy-12345", "policy-1234567", "eight88", "eight888 ", "\x81", "b"})
        EXPECT_EQ(find_text(&index, text), nullptr) << text;
}

TEST_F(TextIndex, GivesEqualTextsOneAfterTheOther)
{
    EXPECT_EQ(take_next(&index, "policy-12"), &texts[0]);
    EXPECT_EQ(take_next(&index, "policy-12"), &texts[16]);
    EXPECT_EQ(take_next(&index, "policy-12"), nullptr);
    EXPECT_EQ(take_next(&index, "policy-1"), &texts[1]);
}
