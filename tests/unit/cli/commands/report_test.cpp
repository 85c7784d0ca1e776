/* `migr report` and the page of an upgrade: when one is written and what it replaces. How its rows come about is
 * tested in tests/unit/cli/report. */
#include "support/json_value.h"
#include "unit/cli/command_support.h"
#include "unit/cli/small_image.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace {

using support::JsonValue;
using Strings = std::vector<std::string>;

constexpr char shop_file[] = "/data/config/sys_domain.shop.conf.gz";
constexpr char shop_text[] = "config lab desk\n"
                             "    set old-flag 1\n"
                             "    set tint green\n"
                             "    set password sesame\n"
                             "end\n";

bool holds(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

class Report : public testing::Test {
  protected:
    Report()
    {
        box_.write_gzip("/data/config/sys_global.conf.gz", support::headers("5.50") + "config system global\nend\n");
        box_.write_gzip(shop_file, support::headers("5.50") + shop_text);
    }
    support::Outcome migr(Strings arguments) const
    {
        arguments.insert(arguments.end(), {"--image", image_.folder()});
        return support::migr(arguments);
    }
    std::string root() const
    {
        return box_.path().string();
    }
    std::string page_path() const
    {
        return pages_.path().string() + "/report.html";
    }
    std::string page() const
    {
        return pages_.read("/report.html");
    }

    support::ApplianceRoot box_;
    support::ApplianceRoot pages_; /* any folder */
    support::SmallImage    image_;
};

} // namespace

TEST_F(Report, IsAPageOfWhatAnUpgradeWouldDo)
{
    support::Listing before = box_.listing();
    support::Outcome outcome = migr({"report", root(), "-o", page_path()});
    ASSERT_EQ(outcome.status, 0) << outcome.all();
    EXPECT_TRUE(holds(outcome.out, "Report: " + page_path()));
    EXPECT_TRUE(holds(page(), "would go through; nothing was changed yet."));
    EXPECT_TRUE(holds(page(), "    set old-flag 1\n"));
    EXPECT_TRUE(holds(page(), "    set colour green\n"));
    support::Listing behind = box_.listing();
    std::erase_if(behind, [&](const auto &entry) { return before.count(entry.first) == 0; }); /* its lock */
    EXPECT_EQ(behind, before);
}

TEST_F(Report, HidesSecrets)
{
    ASSERT_EQ(migr({"report", root(), "-o", page_path()}).status, 0);
    EXPECT_FALSE(holds(page(), "sesame"));
    EXPECT_TRUE(holds(page(), "set password (hidden)"));
    EXPECT_FALSE(holds(migr({"report", root(), "--json"}).out, "sesame"));
    ASSERT_EQ(migr({"report", root(), "-o", page_path(), "--show-secrets"}).status, 0);
    EXPECT_TRUE(holds(page(), "set password sesame"));
}

TEST_F(Report, TakesSeveralFiles)
{
    std::string other = pages_.path().string() + "/sys_domain.other.conf";
    std::ofstream(other) << support::headers("5.50") << shop_text;
    ASSERT_EQ(migr({"report", root() + shop_file, other, "-o", page_path()}).status, 0);
    EXPECT_TRUE(holds(page(), "<h3 id=\"text-shop\">") && holds(page(), "<h3 id=\"text-other\">"));
    support::Outcome twice = migr({"report", other, other, "-o", page_path()});
    EXPECT_EQ(twice.status, 2);
    EXPECT_TRUE(holds(twice.err, "Two files are called sys_domain.other.conf.gz."));
}

TEST_F(Report, AnswersWithWhatThePageIsMadeOf)
{
    JsonValue answer = JsonValue::parse(migr({"report", root(), "--json"}).out);
    EXPECT_EQ(answer["image"]["folder"], image_.folder());
    EXPECT_EQ(answer["image"]["files"].size(), 4U);
    EXPECT_EQ(answer["done"], false);
    const JsonValue &shop = answer["files"][1];
    EXPECT_EQ(shop["file"], "sys_domain.shop.conf.gz");
    const JsonValue &account = shop["account"];
    EXPECT_EQ(account["unchanged"], JsonValue::parse("[[3, 5, 1], [6, 7, 2]]")) << account;
    size_t dropped = 0;
    for (const JsonValue &entry : account["entries"])
        for (const JsonValue &cause : entry["causes"]) {
            EXPECT_LT(cause.number(), answer["causes"].size());
            dropped += entry["fate"] == "dropped" ? 1 : 0;
        }
    EXPECT_EQ(dropped, 1U);
    EXPECT_EQ(migr({"report", root()}).status, 2); /* neither a page nor JSON */
}

TEST_F(Report, ReplacesNothingButPages)
{
    pages_.write("/report.html", "a person's notes");
    for (const Strings &command :
         {Strings{"report", root(), "-o", page_path()}, Strings{"upgrade", root(), "--report", page_path()}}) {
        support::Outcome outcome = migr(command);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_TRUE(holds(outcome.err, "is there and is no page"));
        EXPECT_EQ(page(), "a person's notes");
    }
    EXPECT_TRUE(holds(box_.read_gzip(shop_file), "5.50")); /* the upgrade has not begun */
    pages_.write("/report.html", "<!DOCTYPE html>\nan earlier one");
    EXPECT_EQ(migr({"report", root(), "-o", page_path()}).status, 0);
    EXPECT_TRUE(holds(page(), "colour green"));
    EXPECT_EQ(migr({"report", root(), "-o", page_path() + "/none/a.html"}).status, 2);
}

TEST_F(Report, EndsAnUpgradeThatAsksForIt)
{
    support::Outcome outcome = migr({"upgrade", root(), "--report", page_path()});
    ASSERT_EQ(outcome.status, 0) << outcome.all();
    EXPECT_TRUE(holds(outcome.out, "Report:                " + page_path()));
    EXPECT_TRUE(holds(page(), "2 files were upgraded from 5.50 to "));
    EXPECT_TRUE(holds(page(), root() + "/var/lib/migr/snapshots/"));
    EXPECT_FALSE(holds(page(), "sesame"));
    EXPECT_TRUE(holds(box_.read_gzip(shop_file), "colour green"));
}
