/* What a line is, and where a value ends: the quick ways against the plain ones. */
#include "language/lines.h"

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
