/* Lines as they come from a file, cut where the buffer is full. */
#include "refused_calls.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/config_text.h"
#include "tree/setup_tree.h"
#include "tree/text_reader.h"

#include <cstring>
#include <string_view>
#include <unistd.h>
#include <vector>

using namespace support;
using namespace std::string_view_literals;

namespace {

/* All lines, with all their bytes. */
std::vector<std::string> lines_of(std::string_view content)
{
    TextFile                 file(content);
    text_reader              reader;
    std::vector<std::string> lines;
    static char              line[MIGR_LINE_SIZE];
    EXPECT_EQ(open_text(&reader, file.path()), 0);
    memset(line, 'n', sizeof line);
    while (read_line(&reader, line) == 1) {
        auto *end = static_cast<char *>(memrchr(line, '\0', sizeof line));
        lines.emplace_back(line, end);
        memset(line, 'n', lines.back().size() + 1);
    }
    close_text(&reader);
    return lines;
}

using Lines = std::vector<std::string>;

TEST(TextReader, LeavesNoDescriptorOpen)
{
    TextFile file("one\n");
    int      next = dup(0);
    close(next);
    text_reader reader;
    EXPECT_EQ(open_text(&reader, file.path()), 0);
    close_text(&reader);
    EXPECT_EQ(open_text(&reader, "/"), -1);
    int now = dup(0);
    close(now);
    EXPECT_EQ(now, next);
}

TEST(TextReader, GivesLinesWithTheirNewline)
{
    EXPECT_EQ(lines_of("one\n\n two \r\nlast"), (Lines{"one\n", "\n", " two \r\n", "last"}));
    EXPECT_EQ(lines_of("one\n"), (Lines{"one\n"}));
    EXPECT_EQ(lines_of(""), Lines{});
}

TEST(TextReader, CutsALineWhereTheBufferIsFull)
{
    std::string full(MIGR_LINE_SIZE - 1, 'x');
    EXPECT_EQ(lines_of(full + "\nnext\n"), (Lines{full, "\n", "next\n"}));
    EXPECT_EQ(lines_of(full.substr(1) + "\nnext\n"), (Lines{full.substr(1) + "\n", "next\n"}));
    EXPECT_EQ(lines_of(full + full + "tail"), (Lines{full, full, "tail"}));
}

TEST(TextReader, PassesNulBytesOn)
{
    EXPECT_EQ(lines_of("a\0b\n\0\nc"sv), (Lines{std::string("a\0b\n"sv), std::string("\0\n"sv), "c"}));
}

TEST(TextReader, TheEndLeavesTheLineAlone)
{
    TextFile    file("one\n");
    text_reader reader;
    static char line[MIGR_LINE_SIZE];
    ASSERT_EQ(open_text(&reader, file.path()), 0);
    EXPECT_EQ(read_line(&reader, line), 1);
    EXPECT_EQ(read_line(&reader, line), 0);
    EXPECT_EQ(read_line(&reader, line), 0);
    EXPECT_STREQ(line, "one\n");
    close_text(&reader);
}

TEST(TextReader, CountsLinesAndNotTheirPieces)
{
    TextFile    file("one\n" + std::string(MIGR_LINE_SIZE, 'x') + "\nthree");
    text_reader reader;
    static char line[MIGR_LINE_SIZE];
    ASSERT_EQ(open_text(&reader, file.path()), 0);
    for (uint32_t number : {1, 2, 2, 3}) {
        EXPECT_EQ(read_line(&reader, line), 1);
        EXPECT_EQ(line_number(&reader), number);
    }
    close_text(&reader);
}

TEST(TextReader, CutsLinesOfAFileThatComesInParts)
{
    std::string content;
    for (int number = 1; content.size() < 5'000'000; number++)
        content += number % 1000 == 0 ? std::string(2 * MIGR_LINE_SIZE + 7, 'x') + "\n"
                                      : "line " + std::to_string(number) + "\n";
    TextFile    file(content + "the last");
    text_reader reader, memory = {content.data(), content.size(), 0, nullptr, 0, 0};
    static char line[MIGR_LINE_SIZE], same[MIGR_LINE_SIZE];
    ASSERT_EQ(open_text(&reader, file.path()), 0);
    while (read_line(&memory, same)) {
        ASSERT_EQ(read_line(&reader, line), 1);
        ASSERT_STREQ(line, same);
        ASSERT_EQ(line_number(&reader), line_number(&memory));
        ASSERT_LT(reader.size, content.size() / 5) << "more than a part of it is in memory";
    }
    EXPECT_EQ(read_line(&reader, line), 1);
    EXPECT_STREQ(line, "the last");
    EXPECT_EQ(read_line(&reader, line), 0);
    EXPECT_EQ(text_is_cut(&reader), 0);
    close_text(&reader);
}

/* Twice as long as what is read at once. */
std::string two_parts()
{
    std::string content;
    while (content.size() < size_t{1} << 20)
        content += "config lab desk\nend\n";
    return content;
}

TEST(TextReader, TellsWhenAFileCannotBeReadToItsEnd)
{
    TextFile    file(two_parts());
    text_reader reader;
    static char line[MIGR_LINE_SIZE];
    ASSERT_EQ(open_text(&reader, file.path()), 0);
    refused::part = 1;
    while (read_line(&reader, line))
        ASSERT_EQ(refused::part == 0, text_is_cut(&reader) == 1);
    EXPECT_EQ(text_is_cut(&reader), 1);
    EXPECT_LT(line_number(&reader), 60'000u);
    close_text(&reader);
    refused::part = 1;
    EXPECT_EQ(open_text(&reader, file.path()), -1);
}

/* Whoever wants a header line has no use for half a megabyte. */
TEST(TextReader, BeginsWithASmallPart)
{
    TextFile    file(two_parts());
    text_reader reader;
    ASSERT_EQ(open_text(&reader, file.path()), 0);
    EXPECT_GE(reader.size, size_t{MIGR_LINE_SIZE});
    EXPECT_LT(reader.size, 2 * size_t{MIGR_LINE_SIZE});
    close_text(&reader);
}

TEST(TextReader, TellsWhenThereIsNoMemoryForALargerPart)
{
    TextFile    file(two_parts());
    text_reader reader;
    static char line[MIGR_LINE_SIZE];
    ASSERT_EQ(open_text(&reader, file.path()), 0);
    auto read_all = [&] {
        while (read_line(&reader, line))
            ;
    };
    EXPECT_EQ(with_failing_growth(1, read_all), 1u);
    EXPECT_EQ(text_is_cut(&reader), 1);
    EXPECT_GT(line_number(&reader), 0u);
    close_text(&reader);
    EXPECT_EQ(with_failing_growth(1, [&] { EXPECT_EQ(open_text(&reader, file.path()), -1); }), 1u);
}

TEST(TextReader, MakesNoTreeOfHalfAFile)
{
    TextFile file(two_parts());
    EXPECT_EQ(setup_tree(&migr_main, file.path()), 0);
    free_node(&migr_main.root);
    refused::part = 2;
    EXPECT_EQ(setup_tree(&migr_main, file.path()), -1);
    EXPECT_EQ(refused::part, 0);
    free_node(&migr_main.root);
}

TEST(TextReader, ReadsAFileThatIsLargerThanItsSizeSays)
{
    /* Files below /proc say that they are empty. */
    text_reader reader;
    static char line[MIGR_LINE_SIZE];
    ASSERT_EQ(open_text(&reader, "/proc/self/maps"), 0);
    EXPECT_EQ(read_line(&reader, line), 1);
    close_text(&reader);
}

TEST(TextReader, FailsWithoutAReadableFile)
{
    text_reader reader;
    EXPECT_EQ(open_text(&reader, "/nowhere/at/all"), -1);
    EXPECT_EQ(open_text(&reader, "/"), -1);
    EXPECT_EQ(reader.text, nullptr);
    close_text(&reader); /* harmless */
}

} // namespace
