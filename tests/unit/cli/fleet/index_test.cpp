/* What is known of a fleet, from results that are made up: its questions, what is said of it, and its page. */
#include "fleet/index.h"

#include "fleet/index_page.h"
#include "fleet/summary.h"
#include "output/console.h"
#include "support/appliance_root.h"
#include "support/json_value.h"
#include "support/patterns.h"
#include "system/failure.h"

#include <gtest/gtest.h>

using namespace command;

namespace {

using support::JsonValue;
using Strings = std::vector<std::string>;

EntryResult result_of(const std::string &entry, EntryEnd end, uint64_t dropped = 0)
{
    EntryResult result;
    result.entry = entry;
    result.identity = {"input of " + entry, "image", "version", "options"};
    result.end = end;
    result.output = end == EntryEnd::upgraded ? "appliances/" + entry : "";
    result.lines = 100;
    result.dropped = dropped;
    return result;
}

/* Five appliances. */
class FleetIndexTest : public testing::Test {
  protected:
    FleetIndexTest()
    {
        for (const char *entry : {"desk", "attic", "cellar", "barn", "empty"})
            index.expect(entry);
        EntryResult desk = result_of("desk", EntryEnd::upgraded, 7);
        desk.causes = {{"6.00 stage _x", "network", 5}, {"6.10 stage _y", "logging", 2}};
        desk.findings = {{false, "A key is missing.", 3, "sys_global.conf.gz", "the key of desk"}};
        EntryResult attic = result_of("attic", EntryEnd::upgraded, 8);
        attic.causes = {{"6.10 stage _y", "logging", 8}};
        attic.findings = {{false, "A key is missing.", 1, "sys_global.conf.gz", "the key of attic"}};
        EntryResult cellar = result_of("cellar", EntryEnd::refused);
        cellar.findings = {{true, "It is damaged.", 1, "a", "damage in a"}, {true, "No file.", 1, "b", "b is none"}};
        EntryResult barn = result_of("barn", EntryEnd::failed);
        barn.findings = {{true, "No file.", 2, "c", "c is none"}};
        for (const EntryResult &one : {desk, attic, cellar, barn})
            index.add(one);
    }
    std::string said(bool all)
    {
        keep_lines(true);
        show_summary(index, all);
        std::string text;
        for (const std::string &line : kept_lines())
            text += line + "\n";
        keep_lines(false);
        return text;
    }

    FleetIndex index;
};

} // namespace

TEST_F(FleetIndexTest, KnowsWhoIsDone)
{
    Identity desk = result_of("desk", EntryEnd::upgraded).identity, barn = result_of("barn", EntryEnd::failed).identity,
             cellar = result_of("cellar", EntryEnd::refused).identity;
    EXPECT_TRUE(index.is_done("desk", desk));
    EXPECT_TRUE(index.is_done("cellar", cellar));
    EXPECT_FALSE(index.is_done("barn", barn)) << "another try may do";
    EXPECT_FALSE(index.is_done("empty", desk));
    for (std::string Identity::*part : {&Identity::input, &Identity::image, &Identity::version, &Identity::options}) {
        Identity other = desk;
        other.*part += "x";
        EXPECT_FALSE(index.is_done("desk", other));
    }
    EXPECT_TRUE(index.has_result("barn"));
    EXPECT_FALSE(index.has_result("empty"));
}

TEST_F(FleetIndexTest, NumbersWhoIsExpectedByName)
{
    Strings all;
    index.for_each_expected([&](const std::string &entry) { all.push_back(entry); });
    EXPECT_EQ(all, (Strings{"attic", "barn", "cellar", "desk", "empty"}));
    EXPECT_EQ(index.expected(), 5u);
    index.expect("desk");
    EXPECT_EQ(index.expected(), 5u);
}

TEST_F(FleetIndexTest, KnowsWhoHasNotAnswered)
{
    EXPECT_EQ(index.unanswered(5), "empty");
    EXPECT_EQ(index.unanswered(1), "");
    index.wait_for_answers();
    index.add(result_of("barn", EntryEnd::upgraded));
    Strings all;
    index.for_each_unanswered(
        [&](const std::string &entry, size_t number) { all.push_back(std::to_string(number) + entry); });
    EXPECT_EQ(all, (Strings{"1attic", "3cellar", "4desk", "5empty"}));
    EXPECT_EQ(index.unanswered(1), "attic");
    EXPECT_EQ(index.unanswered(2), "");
    EXPECT_EQ(index.unanswered(6), "");
    EXPECT_TRUE(index.has_result("desk")) << "an earlier run's";
}

TEST_F(FleetIndexTest, TakesALaterResultForAnEarlierOne)
{
    index.add(result_of("cellar", EntryEnd::upgraded));
    EXPECT_EQ(index.count(EntryEnd::refused), 0u);
    EXPECT_EQ(index.count(EntryEnd::upgraded), 3u);
    std::vector<Group> reasons = index.findings(true);
    ASSERT_EQ(reasons.size(), 1u);
    EXPECT_EQ(reasons[0].first, "barn");
    index.add(result_of("desk", EntryEnd::upgraded));
    ASSERT_EQ(index.causes().size(), 1u);
    EXPECT_EQ(index.causes()[0].count, 8u);
}

TEST_F(FleetIndexTest, GivesEachResultByName)
{
    std::string text;
    index.begin();
    index.commit();
    index.for_each_result([&](const ListedResult &one) {
        text += one.entry + " " + name_of(one.end) + " " + one.output + " " + std::to_string(one.lines) + " " +
                std::to_string(one.dropped) + " " + one.why + "\n";
    });
    EXPECT_EQ(text, "attic upgraded appliances/attic 100 8 \n"
                    "barn failed  100 0 c is none\n"
                    "cellar refused  100 0 damage in a\n"
                    "desk upgraded appliances/desk 100 7 \n");
}

TEST_F(FleetIndexTest, IsSummedUp)
{
    EXPECT_EQ(said(false), "\n"
                           "Why not\n"
                           "  No file: 2 appliances, 3 times, first barn\n"
                           "  It is damaged: 1 appliance, first cellar\n"
                           "\n"
                           "What needs a look\n"
                           "  A key is missing: 2 appliances, 4 times, first attic\n"
                           "\n"
                           "What dropped lines\n"
                           "  6.10 stage _y (logging): 10 lines of 2 appliances, first attic\n"
                           "  6.00 stage _x (network): 5 lines of 1 appliance, first desk\n"
                           "\n"
                           "Lost most\n"
                           "APPLIANCE  DROPPED  OF\n"
                           "attic            8  100 lines\n"
                           "desk             7  100 lines\n"
                           "\n"
                           "2 upgraded, 0 current, 1 refused, 1 failed.\n");
    EXPECT_EQ(status_of(index), Status::left_alone);
    FleetIndex good;
    good.add(result_of("x", EntryEnd::current));
    EXPECT_EQ(status_of(good), Status::done);
}

TEST_F(FleetIndexTest, SaysWhatItLeavesOut)
{
    EntryResult odd = result_of("odd", EntryEnd::refused);
    for (char cause = 'a'; cause <= 'g'; cause++)
        odd.findings.push_back({true, std::string(1, cause), 1, "", std::string(1, cause)});
    index.add(odd);
    EXPECT_NE(said(false).find("  f: 1 appliance, first odd\n  and 1 more (--all)\n"), std::string::npos)
        << said(false);
    EXPECT_NE(said(true).find("  f: 1 appliance, first odd\n  g: 1 appliance, first odd\n\n"), std::string::npos);
    for (char number = '0'; number <= '9'; number++)
        index.add(result_of(std::string("many") + number, EntryEnd::upgraded, 1000));
    EXPECT_EQ(said(true).find("attic            8"), std::string::npos) << "ten have lost more";
    EXPECT_EQ(JsonValue::parse(Json(summary_json(index)).text())["worst"].size(), 10u);
}

TEST_F(FleetIndexTest, IsSummedUpForPrograms)
{
    EXPECT_EQ(JsonValue::parse(Json(summary_json(index)).text()),
              JsonValue::parse(R"({"upgraded": 2, "current": 0, "refused": 1,
        "failed": 1,
        "reasons": [{"cause": "No file.", "kind": null, "appliances": 2, "count": 3, "first": "barn",
                     "example": "c is none"},
                    {"cause": "It is damaged.", "kind": null, "appliances": 1, "count": 1, "first": "cellar",
                     "example": "damage in a"}],
        "warnings": [{"cause": "A key is missing.", "kind": null, "appliances": 2, "count": 4, "first": "attic",
                      "example": "the key of attic"}],
        "causes": [{"cause": "6.10 stage _y", "kind": "logging", "appliances": 2, "lines": 10, "first": "attic",
                    "example": null},
                   {"cause": "6.00 stage _x", "kind": "network", "appliances": 1, "lines": 5, "first": "desk",
                    "example": null}],
        "worst": [{"entry": "attic", "dropped": 8, "lines": 100}, {"entry": "desk", "dropped": 7, "lines": 100}]})"));
}

TEST_F(FleetIndexTest, HasAPage)
{
    support::ApplianceRoot out;
    EntryResult            odd = result_of("odd & \xc3\xa9#?", EntryEnd::current);
    index.add(odd);
    out.write("/reports/desk.html", "page");
    out.write("/reports/" + odd.entry + ".html", "page");
    write_index_page(index, out.path().string());
    std::string page = out.read("/index.html");
    std::string text = page.substr(page.find("<body"));
    text = support::replaced(text, "<a href=\"(reports[^\"]*)\">", "[$1]");
    text = support::replaced(text, "</t[dh]>", " ");
    text = support::replaced(text, "<[^>]*>", "");
    text = support::replaced(text, " *\n[ \n]*", "\n");
    EXPECT_EQ(text, "\n"
                    "Upgrade of a fleet\n"
                    "2 upgraded, 1 current, 1 refused, 1 failed\n"
                    "Why not What needs a look What dropped lines Lost most Appliances\n"
                    "Why not\n"
                    "Cause Appliances Times First\n"
                    "No file. 2 3 barn: c is none\n"
                    "It is damaged. 1 1 cellar: damage in a\n"
                    "What needs a look\n"
                    "Cause Appliances Times First\n"
                    "A key is missing. 2 4 attic: the key of attic\n"
                    "What dropped lines\n"
                    "Cause Appliances Lines First\n"
                    "6.10 stage _y (logging) 2 10 attic\n"
                    "6.00 stage _x (network) 1 5 desk\n"
                    "Lost most\n"
                    "attic: 8 of 100 lines\n"
                    "desk: 7 of 100 lines\n"
                    "Appliances\n"
                    "Appliance Result Lines Dropped Why not\n"
                    "attic upgraded 100 8\n"
                    "barn failed 100 0 c is none\n"
                    "cellar refused 100 0 damage in a\n"
                    "[reports/desk.html]desk upgraded 100 7\n"
                    "[reports/odd%20%26%20%C3%A9%23%3F.html]odd &amp; é#? current 100 0\n");
}

TEST_F(FleetIndexTest, NeedsWholeLedgersForItsPage)
{
    support::ApplianceRoot out;
    out.write("/ledgers/desk.json.gz", "damaged");
    out.folder("/reports");
    EXPECT_THROW(write_index_page(index, out.path().string()), Failure);
    EXPECT_FALSE(out.exists("/index.html"));
}
