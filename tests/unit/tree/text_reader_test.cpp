#include "support/trees.h"
#include "tree/text_reader.h"

#include <cstring>
#include <string_view>
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
    for (size_t before = 0; read_line(&reader, line) == 1; before = reader.at) {
        EXPECT_EQ(line[reader.at - before], '\0');
        lines.emplace_back(line, reader.at - before);
    }
    close_text(&reader);
    return lines;
}

using Lines = std::vector<std::string>;

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

TEST(TextReader, GivesTheMemoryOfWhatWasReadBackAndNothingElse)
{
    std::string content;
    for (int number = 1; content.size() < 5'000'000; number++)
        content += "line " + std::to_string(number) + "\n";
    TextFile    file(content);
    text_reader reader;
    static char line[MIGR_LINE_SIZE];
    ASSERT_EQ(open_text(&reader, file.path()), 0);
    std::string read;
    for (; read_line(&reader, line); forget_read_text(&reader))
        read += line;
    EXPECT_TRUE(read == content);
    EXPECT_EQ(reader.text[content.size() / 2], '\0') << "its page is a new one";
    close_text(&reader);
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
