/* What tree a text becomes, also one that is damaged or has no memory to go to. What is lost of it is told by the
 * command, and tested there. */
#include "support/trees.h"
#include "tree/config_text.h"
#include "tree/node_store.h"

#include <cstdlib>
#include <cstring>

using namespace support;

namespace {

class Parse : public TreeTest {};

/* What get_set_value makes of a text; "(null)" for none. */
std::string value_of(std::string text)
{
    char       *value = nullptr;
    char       *position = get_set_value(text.data(), &value);
    std::string result = value ? value : "(null)";
    EXPECT_EQ(position == nullptr, value == nullptr);
    free(value);
    return result;
}

/* The value that the only set of the only config gets from lines of text. */
std::string parsed_value(const std::string &lines)
{
    EXPECT_EQ(parse("config a\n" + lines), 0);
    const config_node *set = migr_main.root.top_list->set_list;
    return set && set->value ? set->value : "(null)";
}

TEST_F(Parse, KeepsChildrenByKindInTheOrderOfTheText)
{
    ASSERT_EQ(parse("config waf signature\n"
                    "  edit 1\n"
                    "    set b 2\n"
                    "    config list\n"
                    "      edit \"x y\"\n"
                    "      next\n"
                    "      set last 1\n"
                    "    end\n"
                    "    set a 1\n"
                    "  next\n"
                    "  set status enable\n"
                    "  edit 0\n"
                    "  next\n"
                    "  config inner\n"
                    "  end\n"
                    "end\n"
                    "config system settings\n"
                    "end\n"),
              0);
    EXPECT_EQ(migr_main.root.kind, 1u);
    EXPECT_EQ(dump(migr_main.root), "top waf,signature\n"
                                    "  config inner\n"
                                    "  edit 1\n"
                                    "    config list\n"
                                    "      edit \"x y\"\n"
                                    "      set last=1\n"
                                    "    set b=2\n"
                                    "    set a=1\n"
                                    "  edit 0\n"
                                    "  set status=enable\n"
                                    "top system,settings\n");
}

/* One letter less or more, and what differs from a letter in the bit that tells the case and in another. */
TEST_F(Parse, PassesOverWhatIsNearlyAKeyword)
{
    std::string text = "config a\n";
    for (const char *word : {"se", "sett", "s\x05t",
                             "\x13"
                             "et",
                             "en", "endx", "edi", "edits", "nex", "nexts", "confi", "confix", "e", "s"})
        text += std::string(word) + " b c\n";
    ASSERT_EQ(parse((text + "set d e\n").c_str()), 0);
    EXPECT_EQ(dump(migr_main.root), "top a\n  set d=e\n");
}

TEST_F(Parse, ReadsOnlyKeywordsWithoutRegardToCase)
{
    ASSERT_EQ(parse("CONFIG System Settings\nSeT Opmode Offline\nEDIT One\nNEXT\nEnd\n"), 0);
    EXPECT_EQ(dump(migr_main.root), "top System,Settings\n"
                                    "  edit One\n"
                                    "  set Opmode=Offline\n");
}

TEST_F(Parse, PassesOverCommentsBlankLinesAndUnknownWords)
{
    ASSERT_EQ(parse("# config x\n"
                    "   # set y 1\n"
                    "\n"
                    " \t \n"
                    "unset a\n"
                    "configs a\n"
                    "sets a 1\n"
                    "config a\n"
                    "#set x 1\n"
                    "unset b\n"
                    "set c 1\n"
                    "end\n"),
              0);
    EXPECT_EQ(dump(migr_main.root), "top a\n  set c=1\n");
}

TEST_F(Parse, IndentationMeansNothing)
{
    ASSERT_EQ(parse("\v\f config a\r\n\t\tedit 1\r\nset x 1\n        next\nend\n"), 0);
    EXPECT_EQ(dump(migr_main.root), "top a\n  edit 1\n    set x=1\n");
}

TEST_F(Parse, EndAndNextAreOneWord)
{
    ASSERT_EQ(parse("config a\nedit 1\nset x 1\nend\nedit 2\nnext\nnext\nskipped\nconfig b\nend\n"), 0);
    EXPECT_EQ(dump(migr_main.root), "top a\n  edit 1\n    set x=1\n  edit 2\ntop b\n");
}

TEST_F(Parse, OpenBlocksAtTheEndOfTheFileAreFine)
{
    ASSERT_EQ(parse("config a\nedit 1\nconfig b\nset x 1"), 0);
    EXPECT_EQ(dump(migr_main.root), "top a\n  edit 1\n    config b\n      set x=1\n");
}

TEST_F(Parse, ThrowsTheFirstLineAwayUnseen)
{
    TextFile file("config lost\nconfig kept\nend\n");
    ASSERT_EQ(setup_tree(&migr_main, file.path()), 0);
    EXPECT_EQ(dump(migr_main.root), "top kept\n");
}

TEST_F(Parse, AnEmptyFileIsAnEmptyTree)
{
    TextFile empty;
    migr_main.root.kind = MIGR_EDIT;
    migr_main.root.deleted = 1;
    ASSERT_EQ(setup_tree(&migr_main, empty.path()), 0);
    EXPECT_EQ(migr_main.root.kind, 1u);
    EXPECT_EQ(migr_main.root.deleted, 0);
    EXPECT_EQ(migr_main.root.top_list, nullptr);
}

TEST_F(Parse, AFileThatIsNotThereFailsAndLeavesTheRootAlone)
{
    migr_main.root.kind = MIGR_EDIT;
    EXPECT_EQ(setup_tree(&migr_main, "/nowhere/at/all"), -1);
    EXPECT_EQ(migr_main.root.kind, static_cast<uint32_t>(MIGR_EDIT));
}

TEST_F(Parse, AStrayEndAtTopLevelSkipsTheNextLine)
{
    ASSERT_EQ(parse("end\n"
                    "config lost\n" /* skipped, so what follows stands at top level */
                    "set here 1\n"
                    "next\n"
                    "end\n" /* skipped as well, and ends nothing */
                    "config kept\n"
                    "set x 1\n"
                    "end\n"),
              0);
    EXPECT_EQ(dump(migr_main.root), "top kept\n  set x=1\nset here=1\n");
}

TEST_F(Parse, AStrayEndInTheMiddleShiftsNothingElse)
{
    ASSERT_EQ(parse("config a\nend\nend\nconfig b\nset gone 1\nend\nconfig c\nconfig d\nset x 1\nend\nend\n"), 0);
    /* "config b" is the skipped line; the end behind "set gone" is stray again and skips "config c". */
    EXPECT_EQ(dump(migr_main.root), "top a\ntop d\n  set x=1\nset gone=1\n");
}

TEST_F(Parse, ListsAtTopLevelGoOnBehindAStrayEnd)
{
    ASSERT_EQ(parse("config a\nend\nset s 1\nend\n-\nconfig b\nend\nset t 2\nend\n-\nconfig c\nend\n"), 0);
    EXPECT_EQ(dump(migr_main.root), "top a\ntop b\ntop c\nset s=1\nset t=2\n");
}

TEST_F(Parse, SetAndEditAtTopLevelLandInTheRoot)
{
    ASSERT_EQ(parse("set stray 1\nedit one\nset in 2\nconfig sub\nend\nnext\nconfig a\nend\n"), 0);
    EXPECT_EQ(dump(migr_main.root), "top a\nedit one\n  config sub\n  set in=2\nset stray=1\n");
    EXPECT_EQ(written(&migr_main.root), "config a\nend\n");
    free_node(&migr_main.root); /* leaves both alone; the store frees them with the pass */
    EXPECT_STREQ(migr_main.root.set_list->value, "1");
    EXPECT_STREQ(migr_main.root.edit_list->name, "one");
}

TEST_F(Parse, ConfigBelowAnythingButTheRootIsNested)
{
    ASSERT_EQ(parse("config a b\nconfig c d\nedit 1\nconfig e f\nend\nnext\nend\nend\nedit 2\nconfig g h\nend\n"), 0);
    EXPECT_EQ(dump(migr_main.root), "top a,b\n"
                                    "  config c\n"
                                    "    edit 1\n"
                                    "      config e\n"
                                    "edit 2\n"
                                    "  config g\n");
}

TEST_F(Parse, AnEditInAnEditIsKeptButNeverWritten)
{
    ASSERT_EQ(parse("config a\nedit 1\nedit 2\nset x 1\nnext\nset y 1\nnext\nend\n"), 0);
    EXPECT_EQ(dump(migr_main.root), "top a\n  edit 1\n    edit 2\n      set x=1\n    set y=1\n");
    EXPECT_EQ(written(&migr_main.root), "config a\n    edit 1\n        set y 1\n    next\nend\n");
}

TEST_F(Parse, ASetWithoutAValueFailsTheParseAndLeavesWhatWasRead)
{
    for (const char *bad : {"set name", "set name ", "set", "set \"open quote", "set name \t\v"}) {
        ASSERT_EQ(parse("config a\nedit 1\nset good 1\n" + std::string(bad) + "\nset late 1\nend\nend\n"), -1) << bad;
        EXPECT_EQ(dump(migr_main.root), "top a\n  edit 1\n    set good=1\n") << bad;
    }
    ASSERT_EQ(parse("config a\nset name"), -1);
    EXPECT_EQ(dump(migr_main.root), "top a\n");
}

TEST_F(Parse, ASetWithoutAValueAtTopLevelFailsTheWholeParseToo)
{
    EXPECT_EQ(parse("set name\nconfig a\nend\n"), -1);
    EXPECT_EQ(dump(migr_main.root), "");
}

TEST_F(Parse, EditAndConfigWithNothingBehindHaveAnEmptyName)
{
    ASSERT_EQ(parse("config\nedit\nset a 1\nconfig   \nnext\nnext\nend\n"), 0);
    EXPECT_EQ(dump(migr_main.root), "top \n  edit \n    config \n    set a=1\n");
}

TEST_F(Parse, FurtherWordsOfAnEditAreIgnored)
{
    ASSERT_EQ(parse("config a\nedit one two three\nnext\nconfig b c\nend\nend\n"), 0);
    EXPECT_EQ(dump(migr_main.root), "top a\n  config b\n  edit one\n");
}

TEST_F(Parse, LinesGoThroughTheLineBufferOfTheMainContext)
{
    TextFile file("first line\nconfig a\nset x 1\nend\nend\nskipped line\nset y 2\n# last\n");
    strcpy(migr_main.line_buf, "old");
    strcpy(migr_sub.line_buf, "old");
    ASSERT_EQ(setup_tree(&migr_sub, file.path()), 0);
    EXPECT_STREQ(migr_sub.line_buf, "skipped line\n");
    EXPECT_STREQ(migr_main.line_buf, "# last\n");
    EXPECT_EQ(dump(migr_sub.root), "top a\n  set x=1\nset y=2\n");
    migr_sub.root = {};
}

TEST_F(Parse, ParseConfigReadsOneBlockAndReturnsBehindIt)
{
    config_node *block = new_node(MIGR_CONFIG);
    TextFile     file("set x 1\nedit 1\nnext\nend\nset y 2\nend\n");
    FILE        *stream = fopen(file.path(), "r");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(parse_config(stream, block), 0);
    EXPECT_EQ(dump(*block), "edit 1\nset x=1\n");
    EXPECT_EQ(parse_config(stream, block), 0); /* goes on behind what is there */
    EXPECT_EQ(dump(*block), "edit 1\nset x=1\nset y=2\n");
    EXPECT_EQ(parse_config(stream, block), 0);
    EXPECT_EQ(dump(*block), "edit 1\nset x=1\nset y=2\n");
    fclose(stream);
}

TEST_F(Parse, ParseTextReadsOneBlockOfATextInMemory)
{
    config_node *block = new_node(MIGR_CONFIG);
    std::string  lines = "set x 1\nend\nset y 2\nend\nbehind\n";
    text_reader  text = {lines.data(), lines.size(), 0, 0, 0, 0};
    EXPECT_EQ(parse_text(&text, block), 0);
    EXPECT_EQ(dump(*block), "set x=1\n");
    EXPECT_EQ(parse_text(&text, block), 0);
    EXPECT_EQ(dump(*block), "set x=1\nset y=2\n");
    EXPECT_EQ(lines.substr(text.at), "behind\n");
}

TEST_F(Parse, TheCallerReadsOnWhereTheBlockEnded)
{
    config_node *block = new_node(MIGR_TOP);
    TextFile     file("ahead\nset x \"1\n2\"\nedit e\nset y 1\nnext\nend\nbehind\nset z 1\n");
    FILE        *stream = fopen(file.path(), "r");
    ASSERT_NE(stream, nullptr);
    char line[16];
    EXPECT_STREQ(fgets(line, sizeof line, stream), "ahead\n");
    EXPECT_EQ(parse_config(stream, block), 0);
    EXPECT_EQ(dump(*block), "edit e\n  set y=1\nset x=\"1\n2\"\n");
    EXPECT_STREQ(fgets(line, sizeof line, stream), "behind\n");
    EXPECT_EQ(parse_config(stream, block), 0);
    EXPECT_EQ(dump(*block), "edit e\n  set y=1\nset x=\"1\n2\"\nset z=1\n");
    EXPECT_NE(feof(stream), 0);
    fclose(stream);
}

/* Lines beyond the limit, a NUL, an open value, no newline at the end: where a line ends is the same for both. */
TEST_F(Parse, AStreamIsCutIntoLinesAsATextInMemoryIs)
{
    std::string lines = "edit " + std::string(MIGR_LINE_SIZE, 'x') + "\nset a 1" + std::string(1, '\0') +
                        "2\nset b \"one\n" + std::string(MIGR_LINE_SIZE - 1, '\\') + "\ntwo\nset c 3\n\"\nset d " +
                        std::string(MIGR_LINE_SIZE - 8, 'y') + "\nnext\nset e 5";
    TextFile     file(lines);
    FILE        *stream = fopen(file.path(), "r");
    text_reader  text = {lines.data(), lines.size(), 0, 0, 0, 0};
    config_node *from_stream = new_node(MIGR_TOP);
    config_node *from_memory = new_node(MIGR_TOP);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(parse_config(stream, from_stream), 0);
    EXPECT_EQ(parse_text(&text, from_memory), 0);
    EXPECT_EQ(dump(*from_stream), dump(*from_memory));
    EXPECT_EQ(length_of(from_stream->edit_list->set_list), 3u);
    fclose(stream);
}

TEST_F(Parse, AStreamThatCannotBeReadHasEnded)
{
    config_node *block = new_node(MIGR_TOP);
    FILE        *folder = fopen("/", "r");
    ASSERT_NE(folder, nullptr);
    EXPECT_EQ(parse_config(folder, block), 0);
    EXPECT_NE(ferror(folder), 0);
    EXPECT_EQ(dump(*block), "");
    fclose(folder);
}

TEST_F(Parse, TheRestOfAnOverlongNameStartsTheValue)
{
    std::string name(127, 'n');
    ASSERT_EQ(parse("config a\nset " + name + "tail value\nset " + name + "x\nend\n"), 0);
    EXPECT_EQ(dump(migr_main.root), "top a\n  set " + name + "=tail value\n  set " + name + "=x\n");
}

TEST_F(Parse, AnOverlongNameIsCutInConfigsAndEdits)
{
    std::string name(127, 'n');
    ASSERT_EQ(parse("config " + name + "x y\nedit " + name + "x\nnext\nconfig " + name + "x\nend\nend\n"), 0);
    EXPECT_EQ(dump(migr_main.root), "top " + name + "\n  config " + name + "\n  edit " + name + "\n");
}

TEST(SetValue, OfNothingIsNull)
{
    char *value = nullptr;
    EXPECT_EQ(get_set_value(nullptr, &value), nullptr);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(value_of(""), "(null)");
    EXPECT_EQ(value_of(" \t\n"), "(null)");
}

TEST(SetValue, UnquotedIsAllUpToTheLastNonBlank)
{
    EXPECT_EQ(value_of("  enable\n"), "enable");
    EXPECT_EQ(value_of(" 10.0.0.1  255.0.0.0 \t\r\n"), "10.0.0.1  255.0.0.0");
    EXPECT_EQ(value_of("a \"b c\" \n"), "a \"b c\"");
    EXPECT_EQ(value_of("x"), "x");
    EXPECT_EQ(value_of("a\"\n"), "a\"");
}

TEST(SetValue, QuotedLosesOneNewlineDirectlyBehindAQuote)
{
    EXPECT_EQ(value_of(" \"a b\"\n"), "\"a b\"");
    EXPECT_EQ(value_of("\"\"\n"), "\"\"");
    EXPECT_EQ(value_of("\"abc\"   \n"), "\"abc\"   \n");
    EXPECT_EQ(value_of("\"abc\" tail\n"), "\"abc\" tail\n");
    EXPECT_EQ(value_of("\"abc\"\r\n"), "\"abc\"\r\n");
    EXPECT_EQ(value_of("\"abc\"\n\n"), "\"abc\"\n\n");
    EXPECT_EQ(value_of("\"\n"), "\"");
    EXPECT_EQ(value_of("\""), "\"");
}

TEST(SetValue, TheNewlineGoesBehindAnEscapedQuoteAsWell)
{
    EXPECT_EQ(value_of("\"a\\\"\n"), "\"a\\\"");
}

TEST(ValueFinish, TextWithoutAnOpeningQuoteIsComplete)
{
    EXPECT_EQ(check_value_finish(""), 1);
    EXPECT_EQ(check_value_finish("a\""), 1);
    EXPECT_EQ(check_value_finish(" \"a"), 1);
}

TEST(ValueFinish, NeedsAClosingQuoteBehindTheOpeningOne)
{
    EXPECT_EQ(check_value_finish("\""), 0);
    EXPECT_EQ(check_value_finish("\"  \n"), 0);
    EXPECT_EQ(check_value_finish("\"a"), 0);
    EXPECT_EQ(check_value_finish("\"\""), 1);
    EXPECT_EQ(check_value_finish("\"a\" \t\n"), 1);
    EXPECT_EQ(check_value_finish("\"a\" b"), 0);
    EXPECT_EQ(check_value_finish("\"a\" b\""), 1);
}

TEST(ValueFinish, AnOddNumberOfBackslashesEscapesTheQuote)
{
    EXPECT_EQ(check_value_finish("\"a\\\""), 0);
    EXPECT_EQ(check_value_finish("\"a\\\\\""), 1);
    EXPECT_EQ(check_value_finish("\"a\\\\\\\""), 0);
    EXPECT_EQ(check_value_finish("\"\\\""), 0);
    EXPECT_EQ(check_value_finish("\"\\\\\""), 1);
    EXPECT_EQ(check_value_finish("\"a\\\"\n"), 0);
}

TEST_F(Parse, ValuesOfOneLine)
{
    EXPECT_EQ(parsed_value("set x \"a\\\\\"\nset y 1\nend\n"), "\"a\\\\\"");
    EXPECT_EQ(parsed_value("set x \"abc\"   \nset y 1\n"), "\"abc\"   \n");
    EXPECT_EQ(length_of(migr_main.root.top_list->set_list), 2u);
    EXPECT_EQ(parsed_value("set x one  two \n"), "one  two");
}

TEST_F(Parse, AnOpenValueTakesLinesInVerbatim)
{
    EXPECT_EQ(parsed_value("set x \"one\n  # two\nend\n\n \nset y 1\nthree\"\nset z 1\nend\n"),
              "\"one\n  # two\nend\n\n \nset y 1\nthree\"");
    EXPECT_EQ(dump(*migr_main.root.top_list), "set x=\"one\n  # two\nend\n\n \nset y 1\nthree\"\nset z=1\n");
}

TEST_F(Parse, AnOpenValueEndsWithALineThatEndsInAQuote)
{
    EXPECT_EQ(parsed_value("set x \"one\n\"\nend\n"), "\"one\n\"");
    EXPECT_EQ(parsed_value("set x \"one\ntwo\" \t\nend\n"), "\"one\ntwo\" \t"); /* one newline goes, blanks stay */
    EXPECT_EQ(parsed_value("set x \"one\n\"two\" three\nfour\"\nend\n"), "\"one\n\"two\" three\nfour\"");
}

TEST_F(Parse, AnEscapedQuoteLeavesTheValueOpen)
{
    EXPECT_EQ(parsed_value("set x \"a\\\"\nb\"\nend\n"), "\"a\\\"b\""); /* the newline behind the quote is gone */
    EXPECT_EQ(parsed_value("set x \"a\nb\\\"\nc\\\\\"\nend\n"), "\"a\nb\\\"\nc\\\\\"");
}

TEST_F(Parse, ALoneOpeningQuoteGoesOnDirectlyWithTheNextLine)
{
    EXPECT_EQ(parsed_value("set x \"\nline one\nline two\"\nend\n"), "\"line one\nline two\"");
    EXPECT_EQ(parsed_value("set x \"\n\"\nend\n"), "\"\"");
    EXPECT_EQ(parsed_value("set x \"\n\n\\\"\n\"\nend\n"), "\"\n\\\"\n\"");
    /* With a blank behind it, the quote keeps its newline. */
    EXPECT_EQ(parsed_value("set x \" \none\"\nend\n"), "\" \none\"");
}

TEST_F(Parse, BackslashesAreCountedAcrossTheSeamOfAJoinedLine)
{
    /* The value is a quote and a backslash; what follows begins with the quote that this backslash escapes. The newline
     * between them keeps the two apart unless the line was too long for the reader. */
    EXPECT_EQ(parsed_value("set x \"a\\\n\"\nend\n"), "\"a\\\n\"");
    std::string fill(MIGR_LINE_SIZE - 1 - strlen("set x \"\\"), 'f');
    EXPECT_EQ(parsed_value("set x \"" + fill + "\\\"\nend\n\"\n"), "\"" + fill + "\\\"\nend\n\"");
    EXPECT_EQ(parsed_value("set x \"" + fill.substr(1) + "\\\\\"\nend\n"), "\"" + fill.substr(1) + "\\\\\"");
}

TEST_F(Parse, AnOpenValueAtTheEndOfTheFileStaysAsItIs)
{
    EXPECT_EQ(parsed_value("set x \"one\ntwo\n"), "\"one\ntwo\n");
    EXPECT_EQ(parsed_value("set x \"one\ntwo"), "\"one\ntwo");
    EXPECT_EQ(parsed_value("set x \"one\n"), "\"one\n");
    EXPECT_EQ(parsed_value("set x \"\n"), "\"");
}

/* A value of `length` characters that never closes: set line, then lines of 64 characters and a rest. */
std::string open_value_text(size_t length)
{
    std::string text = "\"" + times((length - 1) / 64, std::string(63, 'v') + "\n");
    text += std::string(length - text.size(), 'v');
    return text;
}

TEST_F(Parse, AnOpenValueEndsAtItsLimit)
{
    /* The line that reaches the limit ends the value and loses its newline; what follows is configuration again. */
    std::string value = open_value_text(MIGR_VALUE_LIMIT - 1) + "\n";
    ASSERT_EQ(value.size(), 4194304u);
    EXPECT_EQ(parsed_value("set x " + value + "set y 1\nend\n"), value.substr(0, value.size() - 1));
    EXPECT_EQ(length_of(migr_main.root.top_list->set_list), 2u);
}

TEST_F(Parse, AnOpenValueOneShortOfItsLimitGoesOn)
{
    std::string value = open_value_text(MIGR_VALUE_LIMIT - 2) + "\n";
    ASSERT_EQ(value.size(), 4194303u);
    EXPECT_EQ(parsed_value("set x " + value + "end\nset y 1\nend\n"), value + "end");
    EXPECT_EQ(length_of(migr_main.root.top_list->set_list), 2u);
}

TEST_F(Parse, TheLineThatPassesTheLimitIsTakenWhole)
{
    std::string value = open_value_text(MIGR_VALUE_LIMIT - 2) + "\n";
    std::string line(1000, 'w');
    EXPECT_EQ(parsed_value("set x " + value + line + "\nset y 1\n"), value + line);
    EXPECT_EQ(length_of(migr_main.root.top_list->set_list), 2u);
}

TEST_F(Parse, AnUnclosedValueSwallowsTheRestUpToTheLimit)
{
    std::string ends = times(MIGR_VALUE_LIMIT / 4, "end\n");
    EXPECT_EQ(parsed_value("set x \"\n" + ends + "set y 1\nend\n").size(), MIGR_VALUE_LIMIT + 0u);
    EXPECT_EQ(length_of(migr_main.root.top_list->set_list), 2u);
}

TEST_F(Parse, ALineOf49151CharactersIsOneLine)
{
    /* With its newline a line has room for 49,150 others. */
    std::string value(MIGR_LINE_SIZE - 2 - strlen("set x "), 'v');
    ASSERT_EQ(parse("config a\nset x " + value + "\nset y 1\nend\n"), 0);
    EXPECT_EQ(dump(migr_main.root), "top a\n  set x=" + value + "\n  set y=1\n");
}

TEST_F(Parse, TheRemainderOfALongerLineIsALineOfItsOwn)
{
    std::string value(MIGR_LINE_SIZE - 1 - strlen("set x "), 'v');
    ASSERT_EQ(parse("config a\nset x " + value + "\nset y 1\nend\n"), 0); /* the remainder is just the newline */
    EXPECT_EQ(dump(migr_main.root), "top a\n  set x=" + value + "\n  set y=1\n");
    ASSERT_EQ(parse("config a\nset x " + value + "end of it\nset y 1\n"), 0);
    EXPECT_EQ(dump(migr_main.root), "top a\n  set x=" + value + "\nset y=1\n"); /* its first word was "end" */
    ASSERT_EQ(parse("config a\nset x " + value + "set z 2\nend\n"), 0);
    EXPECT_EQ(dump(migr_main.root), "top a\n  set x=" + value + "\n  set z=2\n");
}

TEST_F(Parse, ALongLineOfBlanksAheadOfAKeywordIsCutLikeAnyOther)
{
    std::string blanks(MIGR_LINE_SIZE - 1, ' ');
    ASSERT_EQ(parse("config a\n" + blanks + "set x 1\nset y 2" + blanks + "z\nend\n"), 0);
    EXPECT_EQ(dump(migr_main.root), "top a\n  set x=1\n  set y=2\n");
}

TEST_F(Parse, ANulEndsItsLinesText)
{
    using namespace std::string_view_literals;
    ASSERT_EQ(parse("config a\nset x one\0 two\nset y \"a\0b\"\nmore\"\n\0set z 1\nset w 1\nend\n"sv), 0);
    EXPECT_EQ(dump(migr_main.root), "top a\n  set x=one\n  set y=\"amore\"\n  set w=1\n");
}

TEST_F(Parse, ANulWhereTheValueBelongsFails)
{
    using namespace std::string_view_literals;
    EXPECT_EQ(parse("config a\nset x \0 one\nend\n"sv), -1);
}

TEST_F(Parse, BytesAboveAsciiAreNoWhiteSpace)
{
    ASSERT_EQ(parse("config a\xa0\x85 b\nset n\xc3\xa4me v\xa0\nend\n"), 0);
    EXPECT_EQ(dump(migr_main.root), "top a\xa0\x85,b\n  set n\xc3\xa4me=v\xa0\n");
}

} // namespace
