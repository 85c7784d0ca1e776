/* Words, names and values of one line, at their limits. The parser that asks for them has tests of its own. */
#include "tree/line_words.h"

#include "support/trees.h"

#include <cstring>

using namespace support;

namespace {

/* Results of the word readers: what they put out, and what they leave of the text. */
struct Word {
    std::string word;
    std::string rest; /* "(null)" for a null result */

    bool operator==(const Word &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Word &word)
{
    return out << "{" << word.word << "|" << word.rest << "}";
}

Word read_word(char *(*reader)(char *, char *), std::string text)
{
    char output[MIGR_NAME_SIZE];
    memset(output, 'x', sizeof output);
    const char *rest = reader(text.data(), output);
    return {output, rest ? rest : "(null)"};
}

TEST(FirstWord, EndsAtWhiteSpace)
{
    EXPECT_EQ(read_word(get_first_word, "  set name value\n"), (Word{"set", " name value\n"}));
    EXPECT_EQ(read_word(get_first_word, "\"set name\"\n"), (Word{"\"set", " name\"\n"}));
    EXPECT_EQ(read_word(get_first_word, "end"), (Word{"end", ""}));
    EXPECT_EQ(read_word(get_first_word, "end\vx"), (Word{"end", "\vx"}));
}

TEST(FirstWord, OfABlankLineIsNull)
{
    EXPECT_EQ(read_word(get_first_word, " \t\v\f\r\n"), (Word{"", "(null)"}));
    EXPECT_EQ(read_word(get_first_word, ""), (Word{"", "(null)"}));
}

TEST(FirstWord, HoldsAtMost127Characters)
{
    std::string word(127, 'a');
    EXPECT_EQ(read_word(get_first_word, word + " b"), (Word{word, " b"}));
    EXPECT_EQ(read_word(get_first_word, word + "a b"), (Word{word, "a b"}));
}

TEST(PathName, JoinsWordsByCommas)
{
    EXPECT_EQ(read_word(get_path_name, " system settings\n"), (Word{"system,settings", ""}));
    EXPECT_EQ(read_word(get_path_name, "\twaf \t  signature\r\n"), (Word{"waf,signature", ""}));
    EXPECT_EQ(read_word(get_path_name, "one"), (Word{"one", ""}));
    EXPECT_EQ(read_word(get_path_name, "a,b \"c d\""), (Word{"a,b,\"c,d\"", ""}));
}

TEST(PathName, OfNothingIsNull)
{
    char output[MIGR_NAME_SIZE] = "x";
    EXPECT_EQ(get_path_name(nullptr, output), nullptr);
    EXPECT_STREQ(output, "");
    EXPECT_EQ(read_word(get_path_name, "  \n"), (Word{"", "(null)"}));
}

TEST(PathName, LooksAt127CharactersBehindLeadingBlanks)
{
    std::string a(63, 'a');
    std::string b(63, 'b');
    EXPECT_EQ(read_word(get_path_name, "    " + a + " " + b + "\n"), (Word{a + "," + b, "\n"}));
    EXPECT_EQ(read_word(get_path_name, "    " + a + " " + b + "b\n"), (Word{a + "," + b, "b\n"}));
    /* A run of blanks counts with all its characters. */
    EXPECT_EQ(read_word(get_path_name, a + "   " + b), (Word{a + "," + b.substr(2), "bb"}));
    /* Blanks that end the part looked at leave no comma. */
    EXPECT_EQ(read_word(get_path_name, std::string(126, 'a') + " b"), (Word{std::string(126, 'a'), "b"}));
}

TEST(SecondName, EndsAtWhiteSpaceOutsideOneOpenQuote)
{
    EXPECT_EQ(read_word(get_second_name, "  name value\n"), (Word{"name", " value\n"}));
    EXPECT_EQ(read_word(get_second_name, " \"several words\" rest\n"), (Word{"\"several words\"", " rest\n"}));
    EXPECT_EQ(read_word(get_second_name, "a\"b c\"d e"), (Word{"a\"b c\"d", " e"}));
    EXPECT_EQ(read_word(get_second_name, "\"\" x"), (Word{"\"\"", " x"}));
}

TEST(SecondName, AThirdQuoteOpensNothing)
{
    EXPECT_EQ(read_word(get_second_name, "\"a b\"\"c d\""), (Word{"\"a b\"\"c", " d\""}));
}

TEST(SecondName, AnOpenQuoteTakesTheNewlineIn)
{
    EXPECT_EQ(read_word(get_second_name, "\"a b\n"), (Word{"\"a b\n", ""}));
}

TEST(SecondName, OfNothingIsNull)
{
    char output[MIGR_NAME_SIZE] = "x";
    EXPECT_EQ(get_second_name(nullptr, output), nullptr);
    EXPECT_STREQ(output, "");
    EXPECT_EQ(read_word(get_second_name, "\n"), (Word{"", "(null)"}));
}

TEST(SecondName, LeavesTheRestOfAnOverlongWordInTheLine)
{
    std::string name(127, 'n');
    EXPECT_EQ(read_word(get_second_name, name + " v\n"), (Word{name, " v\n"}));
    EXPECT_EQ(read_word(get_second_name, name + "tail v\n"), (Word{name, "tail v\n"}));
}

TEST(PathName2, HasNoLimit)
{
    char        output[1024];
    std::string text = "  " + times(200, "a  ");
    EXPECT_EQ(text.data() + text.size(), get_path_name_2(text.data(), output));
    EXPECT_EQ(times(199, "a,") + "a", output);
}

TEST(PathName2, BlankTextGivesNothing)
{
    char output[16] = "x";
    char blank[] = "  ";
    EXPECT_EQ(nullptr, get_path_name_2(nullptr, output));
    EXPECT_STREQ("", output);
    EXPECT_EQ(nullptr, get_path_name_2(blank, output));
    EXPECT_STREQ("", output);
}

TEST(RawName, StripsOnePairOfQuotes)
{
    auto raw = [](std::string text) {
        get_raw_name(text.data());
        return std::string(text.c_str());
    };
    EXPECT_EQ(raw("\"a b\""), "a b");
    EXPECT_EQ(raw("\"\"a\"\""), "\"a\"");
    EXPECT_EQ(raw("\"\""), "");
    EXPECT_EQ(raw("\""), "\"");
    EXPECT_EQ(raw("\"a"), "\"a");
    EXPECT_EQ(raw("a\""), "a\"");
    EXPECT_EQ(raw("a"), "a");
    EXPECT_EQ(raw(""), "");
}

TEST(CopyCut, KeepsWhatFitsWithItsNul)
{
    char output[4];
    copy_cut(output, sizeof output, "abcdef", 2);
    EXPECT_STREQ(output, "ab");
    copy_cut(output, sizeof output, "abcdef", 3);
    EXPECT_STREQ(output, "abc");
    copy_cut(output, sizeof output, "abcdef", 6);
    EXPECT_STREQ(output, "abc");
    copy_cut(output, sizeof output, "abcdef", 0);
    EXPECT_STREQ(output, "");
}

} // namespace
