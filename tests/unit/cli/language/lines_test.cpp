/* What a line is, and where a value ends: the quick ways against the plain ones. */
#include "language/lines.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using namespace command;
using namespace std::string_view_literals;

namespace {

std::vector<ConfigLine> lines_of(std::string_view text)
{
    std::vector<ConfigLine> all;
    ConfigLines             lines(text);
    for (ConfigLine line; lines.next(line);)
        all.push_back(line);
    return all;
}

} // namespace

TEST(Lines, EndAtANulThatIsTold)
{
    std::vector<ConfigLine> lines = lines_of("one\ntw\0o\0\nthree\n\0\nfive"sv);
    ASSERT_EQ(lines.size(), 5u);
    std::vector<std::string_view> texts = {"one\n", "tw", "three\n", "", "five"};
    for (size_t at = 0; at < lines.size(); at++) {
        EXPECT_EQ(lines[at].text, texts[at]);
        EXPECT_EQ(lines[at].number, at + 1);
        EXPECT_EQ(lines[at].has_nul, at == 1 || at == 3);
    }
    EXPECT_TRUE(lines_of("").empty());
    EXPECT_TRUE(lines_of("\0"sv)[0].has_nul);
}

TEST(Lines, AreReadInPartsWhenTheyAreTooLong)
{
    std::string             text = std::string(longest_line + 2, 'x') + "\nlast";
    std::vector<ConfigLine> lines = lines_of(text);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_TRUE(lines[0].is_cut);
    EXPECT_EQ(lines[1].text, "xx\n");
    EXPECT_EQ(lines[1].number, 1u);
    EXPECT_EQ(lines[2].number, 2u);
}

/* All values of up to six of the characters that count. */
TEST(Lines, ShowByTheirEndWhetherAValueIsComplete)
{
    static constexpr std::string_view letters = "\"\\a ";
    size_t                            complete = 0;
    std::vector<std::string>          values = {"\""};
    for (size_t at = 0; at < values.size(); at++) {
        ConfigValue value;
        value.append(values[at] + "\n");
        EXPECT_EQ(ends_in_its_line(values[at] + "\n"), value.is_complete()) << values[at];
        complete += value.is_complete() ? 1 : 0;
        if (values[at].size() < 6)
            for (char letter : letters)
                values.push_back(values[at] + letter);
    }
    EXPECT_GT(complete, 100u);
    EXPECT_LT(complete, values.size() - 100);
}

TEST(Lines, AreNumberedFromOne)
{
    ConfigLines lines("a\nb");
    ConfigLine  line;
    EXPECT_EQ(lines.number(), 0u);
    EXPECT_TRUE(lines.next(line));
    EXPECT_EQ(lines.number(), 1u);
    EXPECT_TRUE(lines.next(line));
    EXPECT_EQ(line.number, 2u);
    EXPECT_FALSE(lines.next(line));
    EXPECT_EQ(line.number, 2u); /* as it was */
}

/* A newline that no longer fits into the reader's buffer is a line of its own, and no loss. */
TEST(Lines, AreCutOnlyWhereSomethingIsLeftOfThem)
{
    std::string full(longest_line, 'x');
    EXPECT_FALSE(lines_of(full)[0].is_cut);
    EXPECT_FALSE(lines_of(full + "\n")[0].is_cut);
    EXPECT_TRUE(lines_of(full + "y")[0].is_cut);
    EXPECT_EQ(lines_of(full + "\n")[1].text, "\n");
    EXPECT_EQ(lines_of(full + "\n")[1].number, 1u);
    EXPECT_EQ(lines_of(full.substr(1) + "\nlast").size(), 2u);
}

TEST(Lines, AreIndentedByAnyWhiteSpace)
{
    for (int c = 0; c < 256; c++)
        EXPECT_EQ(is_config_white(static_cast<char>(c)), c != 0 && strchr(" \t\n\v\f\r", c) != nullptr) << c;
    for (size_t blanks = 0; blanks < 20; blanks++)
        for (std::string further : {"", "\t", "\r\n  ", "\f         \v"}) {
            std::string indent = std::string(blanks, ' ') + further;
            EXPECT_EQ(without_indent(indent + "x  y"), "x  y") << blanks;
            EXPECT_EQ(without_indent(indent), "");
        }
}

TEST(Names, OfTheTopLevelAreAllTheirWords)
{
    EXPECT_EQ(top_level_name(" waf  signature\t\n").kept, "waf  signature");
    std::string text(longest_name, 'n'), longer = text + "ab";
    ConfigName  whole = top_level_name(text), cut = top_level_name(longer);
    EXPECT_FALSE(whole.is_cut());
    EXPECT_TRUE(cut.is_cut());
    EXPECT_EQ(cut.kept, text);
    EXPECT_EQ(cut.rest, "ab");
    EXPECT_EQ(cut.whole, longer);
    EXPECT_FALSE(cut.is_open);
}

TEST(Names, EndAtWhiteSpaceOutsideTheirFirstQuotes)
{
    struct Cut {
        const char *text, *kept, *rest;
        bool        is_open;
    };
    const Cut cuts[] = {{" a b", "a", " b", false},
                        {"\"a b\" c", "\"a b\"", " c", false},
                        {"x\"a b\"y z", "x\"a b\"y", " z", false},
                        {"\"a b", "\"a b", "", true},
                        {"\"a\"\"b c", "\"a\"\"b", " c", false},
                        {"\xc3\xbc!\"\xa0 b\" c", "\xc3\xbc!\"\xa0 b\"", " c", false},
                        {"", "", "", false}};
    for (const Cut &cut : cuts) {
        ConfigName name = config_name(cut.text);
        EXPECT_EQ(name.kept, cut.kept);
        EXPECT_EQ(name.rest, cut.rest);
        EXPECT_EQ(name.is_open, cut.is_open) << cut.text;
    }
}

TEST(Words, AreJoinedByOneCharacter)
{
    EXPECT_EQ(join_words("  a \t b\nc  ", ','), "a,b,c");
    EXPECT_EQ(join_words("a", ','), "a");
    EXPECT_EQ(join_words("   ", ','), "");
}

TEST(Words, AreTheSameInAnyCase)
{
    EXPECT_TRUE(is_word("EdIt", "edit"));
    EXPECT_FALSE(is_word("edits", "edit"));
    EXPECT_FALSE(is_word("edi", "edit"));
    EXPECT_FALSE(is_word("[nd", "{nd")); /* no letters */
    EXPECT_FALSE(is_word("@nd", "`nd"));
    EXPECT_TRUE(is_word("AZ", "az"));
    EXPECT_EQ(keyword_of_line("  set\tx\n").word, "set");
    EXPECT_EQ(keyword_of_line("  set\tx\n").rest, "\tx\n");
    EXPECT_EQ(keyword_of_line(std::string(longest_name + 5, 'x')).word.size(), longest_name);
}

TEST(Values, KnowTheirLengthAndTheirFirstLine)
{
    ConfigValue value;
    value.append("\"ab\n");
    value.append("c\\\"\n");
    EXPECT_FALSE(value.is_complete());
    EXPECT_FALSE(value.is_outside_quotes());
    value.append("d\"  \n");
    EXPECT_TRUE(value.is_complete());
    EXPECT_TRUE(value.is_outside_quotes());
    EXPECT_EQ(value.length(), 4u + 4 + 5);
    EXPECT_EQ(value.first_line_length(), 3u);
    value.drop_newline();
    EXPECT_EQ(value.length(), 12u);
    ConfigValue in_parts; /* one line, of which the reader gives two */
    EXPECT_FALSE(in_parts.is_complete());
    in_parts.append("\"ab\\");
    in_parts.append("\"c\"");
    EXPECT_TRUE(in_parts.is_complete());
    EXPECT_EQ(in_parts.first_line_length(), 7u);
    in_parts.append("d");
    EXPECT_FALSE(in_parts.is_complete());
    ConfigValue escaped;
    escaped.append("\"ab\\");
    escaped.append("\"");
    EXPECT_FALSE(escaped.is_complete());
}
