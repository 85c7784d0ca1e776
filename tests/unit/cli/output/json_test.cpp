/* Answers for programs: whatever goes in, valid JSON with safe texts comes out. */
#include "unit/cli/command_support.h"

#include "output/console.h"
#include "output/json.h"
#include "support/json_value.h"
#include "support/places.h"

#include <gtest/gtest.h>

using namespace support;
using command::Json;

TEST(Json, EveryKindOfValue)
{
    Json answer = Json::Members{{"nothing", Json()},
                                {"yes", true},
                                {"small", -3},
                                {"large", uint64_t{18446744073709551615U}},
                                {"part", 0.5},
                                {"text", "a\"b\\c"},
                                {"list", Json::list(std::vector<std::string>{"x", "y"})},
                                {"none", Json::List()},
                                {"empty", Json::Members()}};
    EXPECT_EQ(answer.text(), R"({
  "nothing": null,
  "yes": true,
  "small": -3,
  "large": 18446744073709551615,
  "part": 0.5,
  "text": "a\"b\\c",
  "list": [
    "x",
    "y"
  ],
  "none": [],
  "empty": {}
}
)");
}

TEST(Json, TextsAreMadePrintable)
{
    std::string hostile("\x1b[2J\xff\n\"\0end", 11);
    auto        read = [](const Json &json) { return support::JsonValue::parse(json.text()).text(); };
    EXPECT_EQ(read(hostile), "\\x1b[2J\\xff\\n\"\\x00end");
    EXPECT_EQ(read("\xc3\xa4"), "\xc3\xa4");
    EXPECT_EQ(Json("\xc3\xa4").text(), "\"\\u00e4\"\n");
    EXPECT_EQ(read(Json::lines("a\tb\n\nc")), "a\\tb\n\nc\n");
    EXPECT_EQ(read(Json::lines("")), "");
}

TEST(Json, TheAnswerOfACommand)
{
    testing::internal::CaptureStdout();
    command::keep_lines(true);
    command::say("first \x07");
    command::complain("second");
    command::print_answer("plan", command::Status::left_alone, {{"files", 3}});
    command::keep_lines(false);
    EXPECT_EQ(support::JsonValue::parse(testing::internal::GetCapturedStdout()),
              (support::JsonValue{{"format", 1},
                                  {"command", "plan"},
                                  {"status", 1},
                                  {"error", nullptr},
                                  {"messages", {"first \\x07", "second"}},
                                  {"files", 3}}));
}

TEST(Json, TheAnswerOfACommandThatFailed)
{
    testing::internal::CaptureStdout();
    command::print_failure(nullptr, {command::Status::unusable, "no \x1b folder", {"why"}});
    EXPECT_EQ(support::JsonValue::parse(testing::internal::GetCapturedStdout()),
              (support::JsonValue{{"format", 1},
                                  {"command", nullptr},
                                  {"status", 2},
                                  {"error", "no \\x1b folder"},
                                  {"messages", support::JsonValue::array()},
                                  {"details", {"why"}}}));
}

TEST(Json, AnEmptyTextMayMeanNothing)
{
    EXPECT_EQ(Json::text_or_null("").text(), "null\n");
    EXPECT_EQ(Json::text_or_null("why").text(), "\"why\"\n");
    EXPECT_EQ(Json::release(0).text(), "\"0.00\"\n");
    EXPECT_EQ(Json::release(-1).text(), "null\n");
}

TEST(Json, IsCopiedWithoutMemory)
{
    if (is_sanitized())
        GTEST_SKIP() << "a sanitizer's allocator does not come back";
    Outcome run = run_process([] {
        Json::List lists = {Json(std::string(100, 'x')), Json::List{1, 2},
                            Json::Members{{"name", std::string(100, 'y')}}};
        Json       all = std::move(lists);
        use_up_memory();
        Json copy = all;
        return 0;
    });
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.signal, 0);
}
