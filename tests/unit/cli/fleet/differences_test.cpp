/* Two folders of results that are made up, and what is said of what differs in them. */
#include "fleet/differences.h"

#include "fleet/result.h"
#include "support/appliance_root.h"
#include "support/json_value.h"
#include "system/failure.h"
#include "system/gzip_text.h"

#include <gtest/gtest.h>

using namespace command;

namespace {

using support::JsonValue;

JsonValue entry_of(const char *fate, std::vector<std::string> path, const char *before, const char *after,
                   JsonValue causes = {0})
{
    return {{"fate", fate},
            {"in", {3, 3}},
            {"path", std::move(path)},
            {"before", before ? JsonValue(before) : JsonValue()},
            {"out_file", nullptr},
            {"after", after ? JsonValue(after) : JsonValue()},
            {"causes", std::move(causes)}};
}

JsonValue ledger_of(JsonValue entries, JsonValue effects = JsonValue::array())
{
    JsonValue cause = {{"release", "6.00"}, {"mechanism", "stage"}, {"name", "_x"}};
    JsonValue other = {{"release", "6.10"}, {"mechanism", "delete"}, {"name", "<a>"}};
    JsonValue file = {
        {"file", "sys_global.conf.gz"}, {"result", "upgraded"}, {"account", {{"entries", std::move(entries)}}}};
    JsonValue none = {{"file", "sys_domain.shop.conf.gz"}, {"result", "up to date"}, {"account", nullptr}};
    return {{"files", {file, none}}, {"causes", {cause, other}}, {"effects", std::move(effects)}};
}

/* A folder of results with one appliance after the other. */
class Results {
  public:
    void add(const std::string &entry, const JsonValue &ledger, EntryEnd end = EntryEnd::upgraded,
             std::vector<CountedFinding> findings = {})
    {
        EntryResult result;
        result.entry = entry;
        result.end = end;
        result.findings = std::move(findings);
        lines_ += line_of(result);
        folder_.write("/fleet.jsonl", lines_);
        if (!ledger.is_null())
            folder_.write_gzip("/ledgers/" + entry + ".json.gz", ledger.dump());
    }
    const support::ApplianceRoot &folder() const
    {
        return folder_;
    }
    std::string path() const
    {
        return folder_.path().string();
    }

  private:
    support::ApplianceRoot folder_;
    std::string            lines_;
};

class Differences : public testing::Test {
  protected:
    std::vector<Difference> found()
    {
        return differences_of(before.path(), after.path(), interrupts);
    }
    std::string text()
    {
        std::string all;
        for (const Difference &one : found())
            all += std::string(one.is_new ? "+ " : "- ") + one.what + " | " + one.cause + " | " + one.path + " | " +
                   std::to_string(one.appliances) + " " + std::to_string(one.count) + " " + one.first + " | " +
                   one.example + "\n";
        return all;
    }

    Results    before, after;
    Interrupts interrupts;
};

const JsonValue set_x = entry_of("dropped", {"lab desk", "a", "x"}, "set x 1\n", nullptr);

} // namespace

TEST_F(Differences, AreNoneBetweenTheSame)
{
    for (Results *results : {&before, &after})
        results->add("desk", ledger_of({set_x, set_x}), EntryEnd::upgraded, {{false, "A key.", 1, "a", "key"}});
    EXPECT_EQ(text(), "");
}

TEST_F(Differences, SayWhatIsDoneNoMoreAndWhatIsNew)
{
    before.add("desk", ledger_of({set_x, set_x}));
    after.add("desk",
              ledger_of({set_x, entry_of("rewritten", {"lab desk", "b", "y"}, "set y 1\n", "set y 2\nz\n", {0, 1}),
                         entry_of("added", {"lab desk", "new"}, nullptr, "edit new\n", JsonValue::array())}));
    EXPECT_EQ(text(),
              "- dropped | 6.00 stage _x | lab desk / * / x | 1 1 desk | sys_global.conf.gz: lab desk / a / x: set "
              "x 1\n"
              "+ added |  | lab desk / * | 1 1 desk | sys_global.conf.gz: lab desk / new: edit new\n"
              "+ rewritten | 6.10 delete <a> | lab desk / * / y | 1 1 desk | sys_global.conf.gz: lab desk / b / "
              "y: set y 2\n");
}

TEST_F(Differences, AreFoundInAllThatIsToldOfALine)
{
    before.add("desk", ledger_of({set_x}));
    for (auto [name, value] : {std::pair<const char *, JsonValue>("in", {4, 4}),
                               {"fate", "moved"},
                               {"path", {"lab desk", "a", "z"}},
                               {"after", "set x 2\n"},
                               {"out_file", "other"}}) {
        JsonValue other = set_x;
        other[name] = value;
        after.add("desk", ledger_of({other}));
        EXPECT_EQ(found().size(), 2u) << name;
    }
    JsonValue other = set_x;
    other["causes"] = {1};
    after.add("desk", ledger_of({other}));
    EXPECT_EQ(text(), "") << "who did it is no part of what was done";
}

TEST_F(Differences, CountAppliancesAndNameTheFirst)
{
    for (const char *entry : {"b", "a", "c"}) {
        before.add(entry, ledger_of(JsonValue::array()));
        after.add(entry, ledger_of(entry == std::string("c") ? JsonValue::array() : JsonValue({set_x, set_x})));
    }
    EXPECT_EQ(text(),
              "+ dropped | 6.00 stage _x | lab desk / * / x | 2 4 a | sys_global.conf.gz: lab desk / a / x: set x "
              "1\n");
}

TEST_F(Differences, AreThoseOfResultsFindingsAndFilesToo)
{
    JsonValue gone = ledger_of(JsonValue::array(), {{{"what", "removed"}, {"path", "/a"}, {"before", nullptr}},
                                                    {{"what", "moved"}, {"path", "/b"}, {"before", "/c"}}});
    JsonValue stays = ledger_of(JsonValue::array(), {{{"what", "moved"}, {"path", "/b"}, {"before", "/d"}}});
    stays["files"][1]["result"] = "upgraded";
    before.add("desk", gone, EntryEnd::upgraded, {{false, "A key.", 1, "a", "key 1"}});
    after.add("desk", stays, EntryEnd::refused, {{true, "A key.", 1, "a", "key 2"}});
    EXPECT_EQ(text(), "- effect |  | moved /b | 1 1 desk | moved /b\n"
                      "- effect |  | removed /a | 1 1 desk | removed /a\n"
                      "- result |  | up to date | 1 1 desk | sys_domain.shop.conf.gz is up to date\n"
                      "- result |  | upgraded | 1 1 desk | upgraded\n"
                      "- warning | A key. |  | 1 1 desk | key 1\n"
                      "+ effect |  | moved /b | 1 1 desk | moved /b\n"
                      "+ reason | A key. |  | 1 1 desk | key 2\n"
                      "+ result |  | refused | 1 1 desk | refused\n"
                      "+ result |  | upgraded | 1 1 desk | sys_domain.shop.conf.gz is upgraded\n");
}

TEST_F(Differences, AreOfAppliancesInBothFoldersAndOfTheirLastResults)
{
    before.add("old", ledger_of({set_x}));
    after.add("new", ledger_of({set_x}));
    before.add("both", nullptr, EntryEnd::failed);
    before.add("both", nullptr, EntryEnd::refused);
    after.add("both", nullptr, EntryEnd::refused);
    EXPECT_EQ(text(), "");
}

TEST_F(Differences, NeedWholeLedgers)
{
    before.add("desk", ledger_of(JsonValue::array()));
    after.add("desk", ledger_of(JsonValue::array()));
    for (const std::string &bytes : {std::string("damaged"), gzip("{"), gzip("{}"), gzip("1.5")}) {
        after.folder().write("/ledgers/desk.json.gz", bytes);
        try {
            found();
            ADD_FAILURE() << "it is taken for a ledger";
        } catch (const Failure &failure) {
            EXPECT_EQ(failure.status, Status::unusable);
            EXPECT_EQ(failure.what(), after.path() +
                                          "/ledgers/desk.json.gz is damaged. Compare again with another folder for "
                                          "the results.");
        }
    }
}

TEST_F(Differences, NeedWholeLines)
{
    before.add("desk", nullptr);
    after.add("desk", nullptr);
    std::string lines = after.folder().read("/fleet.jsonl");
    after.folder().write("/fleet.jsonl", lines + "{}\n");
    try {
        found();
        ADD_FAILURE() << "it is taken for a line";
    } catch (const Failure &failure) {
        EXPECT_TRUE(
            std::string(failure.what()).starts_with(after.path() + "/fleet.jsonl:2: This is no line of results: "))
            << failure.what();
    }
}

TEST_F(Differences, ComeBackFromTheirFile)
{
    std::vector<Difference> all = {{false, "dropped", "6.00 stage _x", "lab desk / x", 3, 4, "desk", "an example"},
                                   {true, "result", "", "refused", 1, 1, "barn", ""}};
    std::string             path = before.path() + "/accepted";
    write_differences(path, all, interrupts);
    EXPECT_EQ(
        before.folder().read("/accepted"),
        R"({"side":"old","what":"dropped","cause":"6.00 stage _x","path":"lab desk / x","appliances":3,"count":4,)"
        R"("first":"desk","example":"an example"})"
        "\n"
        R"({"side":"new","what":"result","cause":"","path":"refused","appliances":1,"count":1,"first":"barn",)"
        R"("example":""})"
        "\n");
    std::vector<Difference> again = read_differences(path);
    ASSERT_EQ(again.size(), 2u);
    for (size_t at = 0; at < 2; at++) {
        EXPECT_TRUE(again[at].is_like(all[at]));
        EXPECT_EQ(again[at].appliances, all[at].appliances);
        EXPECT_EQ(again[at].count, all[at].count);
        EXPECT_EQ(again[at].first, all[at].first);
        EXPECT_EQ(again[at].example, all[at].example);
    }
    for (std::string Difference::*part : {&Difference::what, &Difference::cause, &Difference::path}) {
        Difference other = all[0];
        other.*part += "x";
        EXPECT_FALSE(other.is_like(all[0]));
    }
    Difference other = all[0];
    other.is_new = true;
    EXPECT_FALSE(other.is_like(all[0]));
    other = all[0];
    other.count = 99;
    EXPECT_TRUE(other.is_like(all[0]));
}

TEST_F(Differences, ThatAPersonWroteNeedNoNumbers)
{
    before.folder().write("/accepted", "{\"side\": \"new\", \"what\": \"a\", \"cause\": null, \"path\": \"b\"}\n");
    std::vector<Difference> all = read_differences(before.path() + "/accepted");
    ASSERT_EQ(all.size(), 1u);
    EXPECT_TRUE(all[0].is_new);
    EXPECT_EQ(all[0].cause, "");
    EXPECT_EQ(all[0].appliances, 0u);
    before.folder().write("/accepted", "{\"side\": \"new\", \"what\": \"a\", \"cause\": null, \"path\": \"b\"}\n{}\n");
    try {
        read_differences(before.path() + "/accepted");
        ADD_FAILURE() << "it is taken for a difference";
    } catch (const Failure &failure) {
        EXPECT_TRUE(std::string(failure.what()).starts_with(before.path() + "/accepted:2: this is no difference: "));
        EXPECT_TRUE(std::string(failure.what()).ends_with(". Write the file anew with --accept."));
    }
    EXPECT_TRUE(read_differences(before.path() + "/none").empty());
}
