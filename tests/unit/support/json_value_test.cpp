/* JSON as tests read it: a test that compares such values relies on what is equal here, and on what throws. */
#include "support/json_value.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

using support::JsonValue;
using Strings = std::vector<std::string>;

namespace {

JsonValue read(const char *text)
{
    return JsonValue::parse(text);
}

const char whole[] = R"({"b": [1, -2, 2.5, true, null, "x\u0001\"y"], "a": {"c": {}, "d": []}})";

} // namespace

TEST(JsonValue, IsWrittenAsItWasReadButForBlanksAndOrder)
{
    EXPECT_EQ(read(whole).dump(), R"({"a":{"c":{},"d":[]},"b":[1,-2,2.5,true,null,"x\u0001\"y"]})");
    std::ostringstream shown;
    shown << read("[ 1 ]");
    EXPECT_EQ(shown.str(), "[1]") << "what a failure shows";
}

TEST(JsonValue, IsEqualToWhatIsMade)
{
    JsonValue made = {{"a", {{"d", JsonValue::array()}, {"c", read("{}")}}},
                      {"b", {1, -2, 2.5, true, nullptr, "x\1\"y"}}};
    EXPECT_EQ(read(whole), made);
    EXPECT_EQ(read("[[\"a\", 1]]"), JsonValue::array({JsonValue::array({"a", 1})}));
    EXPECT_EQ(read(R"({"a": 1})"), (JsonValue{{"a", 1}})) << "pairs that begin with a text are members";
    EXPECT_EQ(read(R"(["a", "b"])"), (JsonValue{"a", "b"}));
    EXPECT_EQ(read(R"(["a", "b"])"), JsonValue(Strings{"a", "b"}));
    EXPECT_EQ(read(R"([[1, 2]])"), (JsonValue{{1, 2}}));
    EXPECT_EQ(read("18446744073709551615"), JsonValue(UINT64_MAX));
    EXPECT_EQ(read("-9223372036854775808"), JsonValue(INT64_MIN));
    EXPECT_EQ(read("null"), JsonValue());
    EXPECT_EQ(read("{}"), read("{ }"));
}

TEST(JsonValue, DiffersInKindValueNamesAndOrder)
{
    const char *others[] = {
        "null",       "false",           "true", "0",   "1",     "1.0",   "-1", "18446744073709551615", "\"\"",
        "\"1\"",      "\"true\"",        "[]",   "[1]", "[1,2]", "[2,1]", "{}", R"({"a":1})",           R"({"b":1})",
        R"({"a":2})", R"({"a":1,"b":1})"};
    for (const char *one : others)
        for (const char *other : others)
            EXPECT_EQ(read(one) == read(other), one == other) << one << " and " << other;
}

TEST(JsonValue, ThrowsForWhatIsNotThere)
{
    JsonValue value = read(whole);
    for (auto odd :
         {+[](JsonValue &all) { return all["x"]; }, +[](JsonValue &all) { return all[0]; },
          +[](JsonValue &all) { return all["b"][6]; }, +[](JsonValue &all) { return all["b"]["a"]; },
          +[](JsonValue &all) { return all["b"][0][0]; }, +[](JsonValue &all) { return all["a"]["d"].back(); },
          +[](JsonValue &all) { return all.at_path("/b/6"); }, +[](JsonValue &all) { return all.at_path("/a/x"); }})
        EXPECT_THROW(odd(value), std::out_of_range);
    EXPECT_EQ(value, read(whole)) << "and makes nothing";
}

TEST(JsonValue, ThrowsForWhatIsOfAnotherKind)
{
    for (const char *text : {"null", "true", "1", "[\"x\"]", "{}"})
        EXPECT_THROW(read(text).text(), std::out_of_range) << text;
    for (const char *text : {"null", "true", "1.0", "-1", "18446744073709551616", "\"1\"", "[1]"})
        EXPECT_THROW(read(text).number(), std::out_of_range) << text;
    for (const char *text : {"null", "true", "1", "\"\""}) {
        EXPECT_THROW(read(text).size(), std::out_of_range) << text;
        EXPECT_THROW(read(text).empty(), std::out_of_range) << text;
        EXPECT_THROW(read(text).begin(), std::out_of_range) << text;
        EXPECT_THROW(read(text).texts(), std::out_of_range) << text;
        EXPECT_THROW(read(text).push_back(1), std::out_of_range) << text;
    }
    EXPECT_THROW(read("[1]").texts(), std::out_of_range);
    EXPECT_THROW(read("[]").names(), std::out_of_range);
    EXPECT_THROW(read("[]").contains("a"), std::out_of_range);
    EXPECT_THROW(read("[]").set("a", 1), std::out_of_range);
    EXPECT_THROW(read("{}").push_back(1), std::out_of_range);
}

TEST(JsonValue, ThrowsForTextThatIsNone)
{
    for (const char *text : {"", "{", "[1,]", "{\"a\"}", "1 2", "nul", "\"\xff\""})
        EXPECT_ANY_THROW(read(text)) << text;
}

TEST(JsonValue, IsLookedInto)
{
    JsonValue value = read(R"({"b": [7, 18446744073709551615], "a": "x", "c": ["y", "z"]})");
    EXPECT_EQ(value.names(), (Strings{"a", "b", "c"}));
    EXPECT_EQ(value.size(), 3u);
    EXPECT_FALSE(value.empty());
    EXPECT_TRUE(read("[]").empty());
    EXPECT_TRUE(value.contains("b"));
    EXPECT_FALSE(value.contains("bb"));
    EXPECT_EQ(value["a"].text(), "x");
    EXPECT_EQ(value["b"][0].number(), 7u);
    EXPECT_EQ(value["b"].back().number(), UINT64_MAX);
    EXPECT_EQ(value["c"].texts(), (Strings{"y", "z"}));
    EXPECT_TRUE(read("null").is_null());
    EXPECT_FALSE(read("0").is_null());
    EXPECT_TRUE(value["a"].is_text());
    EXPECT_FALSE(value["b"].is_text());

    std::string shown;
    for (const JsonValue &part : value)
        shown += part.dump() + ";";
    EXPECT_EQ(shown, R"("x";[7,18446744073709551615];["y","z"];)");
}

TEST(JsonValue, IsChanged)
{
    JsonValue value = read(R"({"b": [1, 2], "d": 4})"), before = value;
    value.set("c", 3);
    value.set("a", "x");
    value.set("d", nullptr);
    value["b"].push_back({{"e", 5}});
    EXPECT_EQ(value, read(R"({"a": "x", "b": [1, 2, {"e": 5}], "c": 3, "d": null})"));
    value.at_path("/b/2/e") = {6, 7};
    value.at_path("/b/0") = false;
    value["d"] = {before["d"]};
    EXPECT_EQ(value["d"], read("[4]"));
    value["d"] = nullptr;
    value.erase("a");
    value["b"].erase(1);
    EXPECT_EQ(value, read(R"({"b": [false, {"e": [6, 7]}], "c": 3, "d": null})"));
    EXPECT_THROW(value.erase("a"), std::out_of_range);
    EXPECT_THROW(value["b"].erase(2), std::out_of_range);
    EXPECT_EQ(before, read(R"({"b": [1, 2], "d": 4})")) << "a copy is another value";
}
