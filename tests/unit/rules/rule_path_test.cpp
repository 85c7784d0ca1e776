/* The parts of a rule in brackets, apart from what any rule does with them. */
#include "rules/rule_path.h"

#include "support/trees.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace {

using reader = int32_t (*)(const char *, char *, const char **);

/* What a reader gives: "-1", or the name and the rest in the form "name|rest". A null rest has no bar. */
std::string read_with(reader read, const char *text)
{
    char        name[MIGR_NAME_SIZE] = "untouched";
    const char *rest = "unset";
    if (read(text, name, &rest) != 0)
        return rest ? "-1 with a rest" : "-1";
    return rest ? std::string(name) + "|" + rest : name;
}

std::string path_of(const char *text)
{
    return read_with(extract_path_name, text);
}

std::string first_of(const char *text)
{
    return read_with(extract_first_name, text);
}

} // namespace

TEST(PathName, JoinsWordsByCommas)
{
    EXPECT_EQ("a", path_of("<a>"));
    EXPECT_EQ("a,b", path_of("<a b>"));
    EXPECT_EQ("a,b", path_of("<a \t\r\n\v\f b>"));
    EXPECT_EQ("a,b", path_of("<a b  >"));
    EXPECT_EQ(",a,b", path_of("< a b>"));
    EXPECT_EQ("", path_of("<>"));
    EXPECT_EQ("", path_of("<   >"));
    EXPECT_EQ("a,<b", path_of("<a <b>"));
}

TEST(PathName, NeedsNoClosingBracket)
{
    EXPECT_EQ("a,b", path_of("<a b"));
    EXPECT_EQ("a,b", path_of("<a b  "));
    EXPECT_EQ("", path_of("<"));
}

TEST(PathName, GivesWhatFollows)
{
    EXPECT_EQ("a|<b>", path_of("  <a> \t <b>"));
    EXPECT_EQ("a|x", path_of("<a>x"));
    EXPECT_EQ("a", path_of("<a>   "));
}

TEST(PathName, NeedsAnOpeningBracket)
{
    EXPECT_EQ("-1", path_of("a>"));
    EXPECT_EQ("-1", path_of(""));
    EXPECT_EQ("-1", path_of("  "));
    EXPECT_EQ("-1", path_of(nullptr));
}

TEST(PathName, PassesNullOutputs)
{
    char        name[MIGR_NAME_SIZE];
    const char *rest = "unset";
    EXPECT_EQ(-1, extract_path_name("<a>", nullptr, &rest));
    EXPECT_EQ(nullptr, rest);
    EXPECT_EQ(-1, extract_path_name("<a>", name, nullptr));
    EXPECT_EQ(-1, extract_first_name("<a>", name, nullptr));
}

TEST(FirstName, CopiesTheTextAsItStands)
{
    EXPECT_EQ("a", first_of("<a>"));
    EXPECT_EQ(" a  b ", first_of(" < a  b >"));
    EXPECT_EQ("\"a b\"|<c>", first_of("<\"a b\"> <c>"));
    EXPECT_EQ("", first_of("<>"));
    EXPECT_EQ("<a", first_of("<<a>"));
}

TEST(FirstName, NeedsBothBrackets)
{
    EXPECT_EQ("-1", first_of("<a"));
    EXPECT_EQ("-1", first_of("a>"));
    EXPECT_EQ("-1", first_of(""));
    EXPECT_EQ("-1", first_of(nullptr));
}

TEST(RulePath, LongTokensAreCut)
{
    std::string longest(127, 'x');
    std::string longer = "<" + longest + "yz><b>";
    EXPECT_EQ(longest + "|<b>", path_of(longer.c_str()));
    EXPECT_EQ(longest + "|<b>", first_of(longer.c_str()));
    std::string words = "<" + support::times(100, "a ") + ">";
    EXPECT_EQ(support::times(63, "a,") + "a", path_of(words.c_str()));
    std::string comma_at_the_cut = "<" + std::string(126, 'x') + " y>";
    EXPECT_EQ(std::string(126, 'x') + ",", path_of(comma_at_the_cut.c_str()));
}
