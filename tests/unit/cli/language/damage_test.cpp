/* Damaged texts, each with all that must be found in it. What is found is held against the library in round_trip_test.
 */
#include "language/damage.h"
#include "support/files.h"
#include "support/places.h"
#include "support/trees.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace command;
using support::source_path;
using support::times;
using namespace std::string_literals;
namespace fs = std::filesystem;

namespace {

constexpr char version_line[] = "#config-version=QA-A1X-5.50-CV-build0601-170328:opmode=0:vdom=1\n";
constexpr char second_line[] = "#conf_file_ver=1\n";

/* Behind both header lines, so that the first line of `body` is line 3. */
std::string with_headers(const std::string &body)
{
    return std::string(version_line) + second_line + body;
}

/* "3 cut-name, 4 nul" */
std::string found_in(const std::string &text, HeaderLines headers = HeaderLines::both)
{
    std::string all;
    for (const Damage &damage : damage_of(text, headers).found)
        all += (all.empty() ? "" : ", ") + std::to_string(damage.line) + " " + name_of(damage.kind);
    return all;
}

struct Case {
    const char *name;
    std::string text;
    std::string found;
};

std::ostream &operator<<(std::ostream &out, const Case &damaged)
{
    return out << damaged.name;
}

const std::string long_name(127, 'n');

const Case cases[] = {
    /* Blocks */
    {"end_too_many", with_headers("config a b\nend\nend\nconfig c d\nend\n"),
     "5 stray-end, 6 thrown-away, 7 stray-end"},
    {"next_too_many", with_headers("config a b\nedit 1\nnext\nnext\nend\n"), "6 other-end, 7 stray-end"},
    {"next_missing", with_headers("config a b\nedit 1\nset x y\nedit 2\nset x y\nnext\nend\n"),
     "6 misplaced, 9 other-end, 9 open-block"},
    {"end_missing", with_headers("config a b\nset x y\nconfig c d\nset x y\nend\n"), "5 dropped-words, 7 open-block"},
    {"cut_inside_blocks", with_headers("config a b\nedit 1\nset x y\nconfig c\n"), "6 open-block"},
    {"end_for_next", with_headers("config a b\nedit 1\nend\nend\n"), "5 other-end"},
    {"next_for_end", with_headers("config a b\nnext\n"), "4 other-end"},
    {"words_behind_end", with_headers("config a b\nedit 1\nnext 2\nend all\n"), "5 dropped-words, 6 dropped-words"},
    {"stray_end_ahead_of_a_comment", with_headers("end\n# nothing is lost\n"), "3 stray-end"},
    {"stray_end_is_last", with_headers("config a b\nend\nnext\n"), "5 stray-end"},
    {"set_behind_a_stray_end", with_headers("end\nset x \"y\nz\"\n"), "3 stray-end, 4 thrown-away, 5 unknown-word"},

    /* Places */
    {"set_at_top_level", with_headers("set x y\n"), "3 misplaced"},
    {"edit_at_top_level", with_headers("edit 1\nset x y\nnext\n"), "3 misplaced"},
    {"edit_in_an_edit", with_headers("config a\nedit 1\nedit 2\nnext\nnext\nend\n"), "5 misplaced"},
    {"unknown_words", with_headers("config a\nunset x\n  sett y z\nset\"x\" y\nend\n"),
     "4 unknown-word, 5 unknown-word, 6 unknown-word"},

    /* Names */
    {"words_behind_an_edit", with_headers("config a\nedit 1 2\nnext\nend\n"), "4 dropped-words"},
    {"words_behind_a_nested_config", with_headers("config a\nconfig b c\nend\nend\n"), "4 dropped-words"},
    {"config_without_a_name", with_headers("config\nend\n"), "3 no-name"},
    {"edit_without_a_name", with_headers("config a\nedit \nnext\nconfig\nend\nend\n"), "4 no-name, 6 no-name"},
    {"edit_name_cut", with_headers("config a\nedit " + long_name + "x\nnext\nend\n"), "4 cut-name"},
    {"long_quoted_edit_name", with_headers("config a\nedit \"" + times(30, "n n ") + "\"\nnext\nend\n"), ""},
    {"quoted_edit_name_cut", with_headers("config a\nedit \"" + times(40, "n n ") + "\"\nnext\nend\n"), "4 cut-name"},
    {"long_top_level_name", with_headers("config " + times(32, "abc ") + "\nend\n"), ""},
    {"top_level_name_cut", with_headers("config " + times(32, "abc ") + "d\nend\n"), "3 cut-name"},
    {"set_name_cut", with_headers("config a\nset " + long_name + "x y\nend\n"), "4 cut-name"},
    {"set_name_cut_into_a_value", with_headers("config a\nset " + long_name + "x\nend\n"), "4 cut-name"},
    {"longest_names",
     with_headers("config " + long_name + "\nedit " + long_name + "\nset " + long_name + " y\nnext\nend\n"), ""},
    {"two_names_become_one",
     with_headers("config a\nedit " + long_name + "1\nnext\nedit " + long_name + "2\nnext\nend\n"),
     "4 cut-name, 6 cut-name, 6 same-name"},
    {"cut_name_meets_a_whole_one", with_headers("config a\nset " + long_name + " x\nset " + long_name + "2 y\nend\n"),
     "5 cut-name, 5 same-name"},
    {"one_long_name_twice",
     with_headers("config a\nedit " + long_name + "1\nnext\nedit " + long_name + "1\nnext\nend\n"),
     "4 cut-name, 6 cut-name"},
    {"like_names_in_two_blocks",
     with_headers("config a\nedit " + long_name + "1\nnext\nend\nconfig b\nedit " + long_name + "2\nnext\nend\n"),
     "4 cut-name, 8 cut-name"},
    {"top_level_names_become_one",
     with_headers("config " + times(32, "abc ") + "d\nend\nconfig " + times(32, "abc ") + "e\nend\n"),
     "3 cut-name, 5 cut-name, 5 same-name"},
    {"comma_in_a_top_level_name", with_headers("config a b\nend\nconfig a,b\nend\n"), "5 comma-in-name, 5 same-name"},
    {"open_name", with_headers("config a\nedit \"1\nnext\nend\n"), "4 open-name"},

    /* Values */
    {"set_without_a_value", with_headers("config a\nset x\nset\nset \"x y\nend\n"),
     "4 no-value, 5 no-value, 6 no-value"},
    {"value_never_closed", with_headers("config a\nset x \"y\nend\n"), "4 open-value, 5 open-block"},
    {"value_closed_by_the_next", with_headers("config a\nset x \"y\nset z \"w\"\nend\n"), "4 open-value"},
    {"value_of_an_escaped_quote", with_headers("config a\nset x \"y\\\"\nz\"\nend\n"), "4 lost-line-break"},
    {"quote_alone", with_headers("config a\nset x \"\ny\"\nend\n"), "4 lost-line-break"},
    {"words_behind_a_closing_quote", with_headers("config a\nset x \"y\" z\nset w \"v\"\nend\n"),
     "4 words-behind-value"},
    {"words_behind_a_later_closing_quote", with_headers("config a\nset x \"y\nz\" w\nset v \"u\"\nend\n"),
     "5 words-behind-value"},
    {"value_closed_too_early", with_headers("config a\nset x \"y \"z\"\nw\"\nend\n"), "5 unknown-word"},

    /* Lines */
    {"nul", with_headers("config a\nset x y\0z\nend\n"s), "4 nul"},
    {"nul_in_a_value", with_headers("config a\nset x \"y\0\nz\"\nend\n"s), "4 nul"},
    {"nuls_at_the_end", with_headers("config a\nend\n" + std::string(100000, '\0')), "5 nul, 5 long-line"},
    {"long_line", with_headers("config a\nset x " + std::string(49145, 'y') + "\nend\n"), "4 long-line"},
    {"long_line_with_a_rest", with_headers("config a\nset x " + std::string(49150, 'y') + "\nend\n"),
     "4 long-line, 4 unknown-word"},
    {"long_line_in_a_value", with_headers("config a\nset x \"y\n" + std::string(60000, 'z') + "\"\nend\n"),
     "5 long-line"},
    {"line_too_long_when_written", with_headers("config a\nset x " + std::string(49141, 'y') + "\nend\n"),
     "4 long-line"},
    {"longest_line", with_headers("config a\nset x " + std::string(49140, 'y') + "\nend\n"), ""},

    /* Header lines */
    {"no_text", "", "1 header-missing, 1 header-missing"},
    {"no_header_lines", "config a\nend\n", "1 thrown-away, 1 header-missing, 1 header-missing, 2 stray-end"},
    {"no_version_line", std::string(second_line) + "config a\nend\n", "1 header-missing"},
    {"no_second_line", std::string(version_line) + "config a\nend\n", "2 header-missing"},
    {"version_line_cut", "#config-version=QA-A1X-5.50", "1 header-cut, 2 header-missing"},
    {"version_line_cut_in_its_name", "#config-ver\n#conf_file_ver=1\n", "1 header-missing"},
    {"second_line_cut", std::string(version_line) + "#conf_file_ver=1", "2 header-cut"},
    {"nul_in_a_header_line", "#config-version=QA-A1X-5.50\0-CV\n"s + second_line, "1 nul, 1 header-cut"},
    {"mark_ahead_of_the_version_line", "\xef\xbb\xbf" + with_headers("config a\nend\n"),
     "1 thrown-away, 1 header-missing"},
    {"block_ahead_of_the_version_line", "config a\n" + with_headers("end\n"), "1 thrown-away, 4 stray-end"},
    {"two_files_in_one", with_headers("config a\nend\n") + with_headers("config b\nend\n"),
     "5 second-header, 6 second-header"},
};

class DamagedText : public testing::TestWithParam<Case> {};

TEST_P(DamagedText, IsFoundOut)
{
    EXPECT_EQ(found_in(GetParam().text), GetParam().found);
}

INSTANTIATE_TEST_SUITE_P(All, DamagedText, testing::ValuesIn(cases),
                         [](const testing::TestParamInfo<Case> &info) { return info.param.name; });

/* No case of those above, which each process that a test of this program starts would carry along. */
TEST(Damage, OfAValueThatIsCut)
{
    std::string value = "y\n" + times(0x400000 / 64, std::string(63, 'z') + "\n") + "z";
    std::string text = with_headers("config a\nset x \"" + value + "\"\nend\n");
    EXPECT_EQ(found_in(text), "4 cut-value, 65541 unknown-word");
    EXPECT_EQ(damage_of(text).found[0].text, "has a value that is cut in line 65540, at 4194306 characters.");
}

TEST(Damage, IsNoMatterOfLayout)
{
    EXPECT_EQ(found_in(with_headers("\n# note\n   # note\nCONFIG  a\tb \r\n  Edit \"x y\"  \n\tSET v  1  2 \n\n"
                                    "set w \"1\" \"2\"   \nset p \"<a href=\\\"b\\\">\n# no comment\n\n  end\n\"\n"
                                    "NEXT\nend\n")),
              "");
}

TEST(Damage, TellsWhatCannotBeAccepted)
{
    EXPECT_TRUE(damage_of(with_headers("end\nx\n")).is_acceptable);
    EXPECT_FALSE(damage_of(with_headers("config a\nset x\nend\n")).is_acceptable);
    EXPECT_FALSE(damage_of(version_line).is_acceptable);
    EXPECT_FALSE(damage_of("#config-version=x\n#conf_file_ver=1").is_acceptable);
    EXPECT_FALSE(damage_of(with_headers("config a\nset x\nend\nx\n")).is_acceptable);
    DamageReport mixed = damage_of(with_headers("config a\nset x\nx\nend\n"));
    ASSERT_EQ(mixed.found.size(), 2u);
    EXPECT_FALSE(mixed.found[0].acceptable);
    EXPECT_TRUE(mixed.found[1].acceptable);
}

TEST(Damage, CountsWhatItDoesNotList)
{
    DamageReport report = damage_of(with_headers(times(5000, "x\n") + "config a\nset y\nend\n"));
    EXPECT_EQ(report.found.size(), most_damage);
    EXPECT_EQ(report.more, 5001 - most_damage);
    EXPECT_FALSE(report.is_acceptable);
}

TEST(Damage, NamesPlacesInItsTexts)
{
    DamageReport report =
        damage_of(with_headers("config a\nedit 1\nedit 2\nset x \"y\nset z \"w\"\nnext\nnext\nend\n"));
    ASSERT_EQ(report.found.size(), 2u);
    EXPECT_EQ(report.found[0].text, "is an `edit` inside the `edit` of line 4, and is dropped with all that is in it.");
    EXPECT_EQ(report.found[1].text, "has a value that goes on to line 7 and ends there with an opening quote: its own "
                                    "one was not closed.");
}

TEST(Damage, AsksForTheHeaderLinesThatATextMustHave)
{
    EXPECT_EQ(found_in("# note\nconfig a\nend\n", HeaderLines::none), "");
    EXPECT_EQ(found_in("#config-version=x\n#config-version=y\nconfig a\nend\n", HeaderLines::none), "");
    EXPECT_EQ(found_in(std::string(version_line) + "config a\nend\n", HeaderLines::version_line), "");
    EXPECT_EQ(found_in("# note\nconfig a\nend\n", HeaderLines::version_line), "1 header-missing");
}

TEST(Damage, IsInNoSample)
{
    size_t files = 0;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(source_path("/samples"))) {
        if (entry.path().extension() != ".conf" || entry.path().parent_path().filename() != "config")
            continue;
        EXPECT_EQ(found_in(support::file_text(entry.path())), "") << entry.path();
        files++;
    }
    EXPECT_GT(files, 10u);
}

TEST(Damage, IsNotInThePredefinedConfiguration)
{
    EXPECT_EQ(found_in(support::file_text(source_path("/image/system.conf.predefine")), HeaderLines::none), "");
}

TEST(Depth, MakesAHugeTextOfASmallOne)
{
    DamageReport report = damage_of(with_headers(times(20000, "config a\n") + times(20000, "end\n")));
    EXPECT_EQ(report.depth, 20000u);
    EXPECT_EQ(report.deepest_line, 20002u);
    EXPECT_GT(report.written_size, uint64_t{1600} * 1000 * 1000);
    EXPECT_EQ(why_too_large(report, UINT64_MAX),
              "It would have 1.6 GB when written, as its blocks are nested up to 20000 deep (line 20002), and a "
              "configuration has at most 1.1 GB.");
    EXPECT_EQ(why_too_large(report, 5000000),
              "It would have 1.6 GB when written, as its blocks are nested up to 20000 deep (line 20002), and there is "
              "room for 5.0 MB.");
}

TEST(Depth, OfSamplesNeedsLittleRoom)
{
    DamageReport report =
        damage_of(support::file_text(source_path("/samples/branch-office-5.50/data/config/sys_domain.shop.conf")));
    EXPECT_EQ(why_too_large(report, 1000000), "");
    EXPECT_NE(why_too_large(report, 50000), "");
}

} // namespace
