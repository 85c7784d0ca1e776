/* What people and programs are told of each damage, in its words. What is damage is tried beside. */
#include "language/damage.h"

#include "support/trees.h"

#include <gtest/gtest.h>

using namespace command;
using support::times;
using namespace std::string_literals;

namespace {

constexpr char headers[] = "#config-version=QA-A1X-5.50-CV-build0601-170328:opmode=0:vdom=1\n#conf_file_ver=1\n";
constexpr char dropped[] = ", and is dropped with all that is in it.";

/* "NAME line: text", a line for each that is found; the text's own first line is line 3. */
std::string told_of(const std::string &body)
{
    std::string all;
    for (const Damage &damage : damage_of(headers + body).found)
        all += name_of(damage.kind) + " "s + std::to_string(damage.line) + ": " + damage.text + "\n";
    return all;
}

std::string inside(const std::string &body)
{
    return "config a\n" + body + "end\n";
}

const std::string long_name(127, 'n');

} // namespace

TEST(DamageWords, NameEachKind)
{
    const std::pair<const char *, const char *> words[] = {
        {"header-missing", "no version line"},
        {"header-cut", "a header line that is cut"},
        {"second-header", "a second header line"},
        {"thrown-away", "a line that is never looked at"},
        {"unknown-word", "a line that begins with no word of the language"},
        {"misplaced", "a `set` or `edit` where none can be"},
        {"stray-end", "an `end` or `next` that closes nothing"},
        {"other-end", "an `end` that closes an `edit`, or a `next` that closes a `config`"},
        {"open-block", "a block that is never closed"},
        {"dropped-words", "words that are dropped"},
        {"no-name", "no name"},
        {"open-name", "a name whose quote is never closed"},
        {"cut-name", "a name that is cut"},
        {"comma-in-name", "a comma in a name"},
        {"same-name", "a name that equals another one when both are cut"},
        {"no-value", "`set` without a value"},
        {"open-value", "a value whose quote does not close"},
        {"cut-value", "a value that is cut"},
        {"words-behind-value", "words behind a value"},
        {"lost-line-break", "a line break that is dropped"},
        {"nul", "a NUL"},
        {"long-line", "a line that is too long"},
    };
    for (size_t kind = 0; kind < std::size(words); kind++) {
        EXPECT_STREQ(name_of(static_cast<DamageKind>(kind)), words[kind].first);
        EXPECT_STREQ(phrase_of(static_cast<DamageKind>(kind)), words[kind].second);
    }
    EXPECT_EQ(std::size(words), static_cast<size_t>(DamageKind::long_line) + 1);
}

TEST(DamageWords, OfHeaderLines)
{
    auto first_of = [](const std::string &text) {
        std::vector<Damage> found = damage_of(text).found;
        return found.empty() ? "" : std::to_string(found[0].line) + ": " + found[0].text;
    };
    EXPECT_EQ(first_of("\n#conf_file_ver=1\n"), "1: should be the version line, \"#config-version=\".");
    EXPECT_EQ(first_of("#config-version=x\nconfig a\nend\n"),
              "2: should be the second header line, \"#conf_file_ver=\".");
    EXPECT_EQ(first_of("#config-version=x\n#conf_file_ver=1"), "2: is a header line that is cut: it has no end.");
    EXPECT_EQ(first_of("config a\n" + std::string(headers)),
              "1: stands in the first line, which is kept for the version line and never looked at.");
    EXPECT_EQ(
        told_of("#conf_file_ver=1\n"),
        "second-header 3: is a header line like line 2, and is passed over: these seem to be two files in one.\n");
}

TEST(DamageWords, OfBlocks)
{
    EXPECT_EQ(told_of("odd\n"),
              "unknown-word 3: begins with none of config, edit, set, next and end, and is passed over.\n");
    EXPECT_EQ(told_of("set x y\n"), "misplaced 3: is a `set` outside any `config`, and is dropped.\n");
    EXPECT_EQ(told_of("edit x\nnext\n"), "misplaced 3: is an `edit` outside any `config`"s + dropped + "\n");
    EXPECT_EQ(told_of(inside("edit x\nedit y\nnext\nnext\n")),
              "misplaced 5: is an `edit` inside the `edit` of line 4"s + dropped + "\n");
    EXPECT_EQ(told_of("end\nodd\n"), "stray-end 3: is an `end` or `next` that closes nothing.\n"
                                     "thrown-away 4: stands behind an `end` or `next` that closes nothing, and is not "
                                     "looked at.\n");
    EXPECT_EQ(told_of(inside("edit x\nend\n")), "other-end 5: is an `end` that closes the `edit` of line 4.\n");
    EXPECT_EQ(told_of("config a\nnext\n"), "other-end 4: is a `next` that closes the `config` of line 3.\n");
    EXPECT_EQ(told_of("config a\nedit x\n"),
              "open-block 4: is the last line, and blocks are still open here: 2, the innermost since line 4.\n");
    EXPECT_EQ(told_of("config a\nend of it\n"),
              "dropped-words 4: has words behind its `end` or `next`, which are dropped.\n");
}

TEST(DamageWords, OfNames)
{
    EXPECT_EQ(told_of(inside("edit x y\nnext\n")), "dropped-words 4: has words behind the name, which are dropped.\n");
    EXPECT_EQ(told_of("config\nend\n"), "no-name 3: has no name.\n");
    EXPECT_EQ(told_of(inside("edit \"x\nnext\n")), "open-name 4: has a name whose quote is never closed.\n");
    EXPECT_EQ(told_of("config a,b\nend\n"), "comma-in-name 3: has a comma in its name, which is written as a blank.\n");
    std::string cut = "has a name of 128 characters, which is cut to 127.\n";
    EXPECT_EQ(told_of(inside("edit " + long_name + "1\nnext\nedit " + long_name + "2\nnext\n")),
              "cut-name 4: " + cut + "cut-name 6: " + cut +
                  "same-name 6: has the name of line 4 as far as it is kept, and had another one.\n");
}

TEST(DamageWords, OfValues)
{
    EXPECT_EQ(told_of(inside("set x\n")), "no-value 4: is a `set` without a value, with which no upgrade starts.\n");
    EXPECT_EQ(told_of("config a\nset x \"y\n"),
              "open-value 4: has a value whose quote is never closed: it takes in all that follows.\n"
              "open-block 4: is the last line, and blocks are still open here: 1, the innermost since line 3.\n");
    EXPECT_EQ(told_of(inside("set x \"y\nset z \"w\"\n")),
              "open-value 4: has a value that goes on to line 5 and ends there with an opening quote: its own one was "
              "not closed.\n");
    EXPECT_EQ(told_of(inside("set x \"y\" z\nset w \"v\"\n")),
              "words-behind-value 4: has words behind a closing quote, so the value takes in what follows.\n");
    EXPECT_EQ(told_of(inside("set x \"one\" two\nthree\nfour\"\n")),
              "words-behind-value 4: has words behind a closing quote, so the value takes in what follows.\n");
    EXPECT_EQ(told_of(inside("set x \"y\\\"\nz\"\n")), "lost-line-break 4: ends in a quote that does not close the "
                                                       "value, and the line break behind it is dropped.\n");
}

TEST(DamageWords, OfLines)
{
    EXPECT_EQ(told_of(inside("set x y\0\n"s)), "nul 4: holds a NUL, and what follows it is not read.\n");
    EXPECT_EQ(told_of(inside("set x " + std::string(49145, 'y') + "\n")),
              "long-line 4: will have 49156 characters, 1 levels deep as it is; a line with more than 49151 is not "
              "read whole.\n");
    EXPECT_EQ(told_of(inside("set x " + std::string(49146, 'y') + "\n")),
              "long-line 4: has more than 49151 characters, and what follows these is read as a line of its own.\n"
              "unknown-word 4: begins with none of config, edit, set, next and end, and is passed over.\n");
}

/* Names that nobody can tell apart any more are looked for in the list where they stand. */
TEST(SimilarNames, AreThoseOfOneList)
{
    std::string edit = "edit " + long_name, config = "config " + long_name, set = "set " + long_name;
    auto        same_names = [](const std::string &body) {
        size_t count = 0;
        for (const Damage &damage : damage_of(headers + body).found)
            count += damage.kind == DamageKind::same_name ? 1 : 0;
        return count;
    };
    EXPECT_EQ(same_names(inside(edit + "1\nnext\n" + edit + "2\nnext\n")), 1u);
    EXPECT_EQ(same_names(inside(config + "1\nend\n" + config + "2\nend\n")), 1u);
    EXPECT_EQ(same_names(inside(set + "1 x\n" + set + "2 x\n")), 1u);
    EXPECT_EQ(same_names(inside(edit + "1\nnext\n" + config + "2\nend\n" + set + "3 x\n")), 0u);
    EXPECT_EQ(same_names(inside("edit x\n" + set + "1 x\nnext\nedit y\n" + set + "2 x\nnext\n")), 0u);
    EXPECT_EQ(same_names(inside("") + inside("")), 0u);
    EXPECT_EQ(same_names(config + "1\n" + config + "2\nend\nend\n"), 0u) << "one is in the other";
    EXPECT_EQ(same_names(config + "1\nend\n" + config + "2\n" + config + "3\nend\nend\n"), 1u);
    EXPECT_EQ(same_names(config + "a b\nend\n" + config + "a!b\nend\n"), 1u);
    EXPECT_EQ(same_names("config a b\nend\nconfig a  b\nend\nconfig a,b\nend\n"), 1u);
    EXPECT_EQ(same_names(inside(edit.substr(0, edit.size() - 1) + "\nnext\n" + edit + "2\nnext\n")), 0u);
}

/* Beyond so many none is remembered. */
TEST(SimilarNames, AreFoundAmongTenThousand)
{
    std::string text = headers;
    for (unsigned number = 1; number < 10'000; number++)
        text += "config n" + std::to_string(number) + "\nend\n";
    for (const std::string &name :
         {long_name + "1", std::string(127, 'm') + "1", long_name + "2", std::string(127, 'm') + "2"})
        text += "config " + name + "\nend\n";
    DamageReport        report = damage_of(text);
    std::vector<size_t> lines;
    for (const Damage &damage : report.found)
        if (damage.kind == DamageKind::same_name)
            lines.push_back(damage.line);
    EXPECT_EQ(lines, std::vector<size_t>{2 + 2 * 10'001 + 1});
}

TEST(WrittenSize, IsThatOfTheTextAsItIsWritten)
{
    auto size = [](const std::string &body) { return damage_of(headers + body).written_size; };
    EXPECT_EQ(size(""), 0u);
    EXPECT_EQ(size("config a b\nend\n"), std::string("config a b\nend\n").size());
    EXPECT_EQ(size("config a\nset x y\nend\n"), std::string("config a\n    set x y\nend\n").size());
    EXPECT_EQ(size("config a\nedit x\nset y \"z\nw\"\nnext\nend\n"),
              std::string("config a\n    edit x\n        set y \"z\nw\"\n    next\nend\n").size());
    EXPECT_EQ(size("config a\nconfig b\nend\nend\n"), std::string("config a\n    config b\n    end\nend\n").size());
    EXPECT_EQ(size("config a\nedit x\nedit lost\nset y z\nnext\nnext\nend\n"),
              std::string("config a\n    edit x\n    next\nend\n").size());
    EXPECT_EQ(size("set x y\nedit x\nset y z\nnext\n"), 0u);
}

TEST(Depth, IsThatOfTheDeepestBlock)
{
    DamageReport report = damage_of(headers + inside("edit x\nconfig b\nend\nnext\nedit y\nconfig c\nend\nnext\n"));
    EXPECT_EQ(report.depth, 3u);
    EXPECT_EQ(report.deepest_line, 5u);
    EXPECT_EQ(damage_of(headers).depth, 0u);
}

TEST(WhyTooLarge, NamesTheRoomOrTheLimit)
{
    DamageReport report;
    report.written_size = 3'000'000;
    report.depth = 4;
    report.deepest_line = 7;
    EXPECT_EQ(why_too_large(report, 3'000'000), "");
    EXPECT_EQ(why_too_large(report, 2'999'999), "It would have 3.0 MB when written, and there is room for 3.0 MB.");
    EXPECT_EQ(why_too_large(report, 700'000), "It would have 3.0 MB when written, and there is room for 700 kB.");
    report.depth = 5;
    EXPECT_EQ(why_too_large(report, 700'000),
              "It would have 3.0 MB when written, as its blocks are nested up to 5 deep "
              "(line 7), and there is room for 700 kB.");
    report.depth = 1;
    report.written_size = largest_configuration;
    EXPECT_EQ(why_too_large(report, UINT64_MAX), "");
    report.written_size++;
    EXPECT_EQ(why_too_large(report, UINT64_MAX),
              "It would have 1.1 GB when written, and a configuration has at most 1.1 GB.");
    EXPECT_EQ(why_too_large(report, largest_configuration),
              "It would have 1.1 GB when written, and a configuration has at most 1.1 GB.");
}

TEST(TopLevelConfigs, AreThoseOfTheOutermostBlocks)
{
    std::string body = "config a  b\nconfig c\nend\nedit d\nnext\nend\n# note\nCONFIG e\nset x \"y\nconfig f\n\"\n"
                       "set z \"w\"\nset v u\nend\nend\nnext\nconfig g\n";

    std::vector<TopLevelConfig> quick = top_level_configs(headers + body), exact;
    damage_of(headers + inside("") + "config g\nend\n", HeaderLines::both, &exact);
    ASSERT_EQ(quick.size(), 3u);
    EXPECT_EQ(quick[0].name, "a,b");
    EXPECT_EQ(quick[0].line, 3u);
    EXPECT_EQ(quick[1].name, "e");
    EXPECT_EQ(quick[1].line, 10u);
    EXPECT_EQ(quick[2].name, "g");
    ASSERT_EQ(exact.size(), 2u);
    EXPECT_EQ(exact[0].name, "a");
    EXPECT_EQ(exact[0].line, 3u);
    EXPECT_EQ(exact[1].name, "g");
    std::string odd =
        "set x \"y\nmore\nconfig f\n\"\nset y z\nconfig h\nend\nset z \"w\" \nconfig i\nedit 1\nnext\nconfig in\n"
        "end\nend\nnot b \"a\nconfig j\nend\nset v \"\nmore\nconfig k\n";
    std::vector<std::string> names;
    for (const TopLevelConfig &config : top_level_configs(headers + odd))
        names.push_back(config.name);
    EXPECT_EQ(names, (std::vector<std::string>{"h", "i", "j"}));
    EXPECT_TRUE(top_level_configs("config a\nend\n").empty()); /* the first line is the version's */
    EXPECT_TRUE(top_level_configs("").empty());
}
