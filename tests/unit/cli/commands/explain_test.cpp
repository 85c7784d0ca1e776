#include "unit/cli/applied_diff.h"
#include "unit/cli/command_support.h"
#include "unit/cli/small_image.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <set>

namespace {

using nlohmann::json;
using Strings = std::vector<std::string>;

constexpr char shop_file[] = "sys_domain.shop.conf.gz";
constexpr char global_file[] = "sys_global.conf.gz";
constexpr char common_settings[] = "config server-policy setting\nend\n"; /* what 5.85 gave every file */

/* Written as the library writes it, with something for each mechanism to do. */
constexpr char shop_text[] = "config lab desk\n"
                             "    set old-flag 1\n"
                             "    set tint green\n"
                             "    set height 70\n"
                             "end\n"
                             "config log syslog-policy\n"
                             "    edit audit\n"
                             "        set server 192.0.2.9\n"
                             "    next\n"
                             "end\n"
                             "config waf base-signature-disable\n"
                             "    edit 010000001\n"
                             "    next\n"
                             "    edit 010000002\n"
                             "    next\n"
                             "end\n";

bool holds(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

/* An appliance and an image. */
class Explain : public testing::Test {
  protected:
    void config(const std::string &name, const std::string &text) const
    {
        box_.write_gzip("/data/config/" + name, text);
    }
    support::Outcome explain(Strings more = {}) const
    {
        return explain_file(box_.path().string(), std::move(more));
    }
    support::Outcome explain_file(const std::string &file, Strings more = {}) const
    {
        more.insert(more.begin(), {"explain", "--image", image_.folder(), file});
        return support::migr(more);
    }
    std::string converted(const std::string &file) const
    {
        std::string text = support::migr({"convert", "--image", image_.folder(), file}).out;
        size_t      second = text.find('\n') + 1;
        return text.substr(text.find('\n', second) + 1);
    }
    const support::SmallImage &image() const
    {
        return image_;
    }
    const support::ApplianceRoot &box() const
    {
        return box_;
    }

  private:
    support::ApplianceRoot box_;
    support::SmallImage    image_;
};

/* "6.00 delete rules" for each change of a file. */
Strings causes(const json &changes, const std::string &file)
{
    Strings all;
    for (const json &change : changes)
        if (change["file"] == file)
            all.push_back(change["release"].get<std::string>() + " " + change["by"].get<std::string>());
    return all;
}

std::string diff_of(const json &changes, const std::string &by)
{
    for (const json &change : changes)
        if (change["by"] == by)
            return change["diff"];
    return "";
}

} // namespace

TEST_F(Explain, NamesWhatMadeEachChange)
{
    config(global_file, support::headers("5.30"));
    config(shop_file, support::headers("5.30") + shop_text);
    support::Outcome run = explain({"--json"});
    ASSERT_EQ(0, run.status) << run.err;
    json changes = json::parse(run.out)["changes"];
    EXPECT_EQ((Strings{"5.40 version step", "5.85 stage", "6.00 delete rules", "6.00 modify rules",
                       MIGR_IMAGE_RELEASE " signature database"}),
              ([&] {
                  Strings found = causes(changes, shop_file);
                  std::sort(found.begin(), found.end());
                  return found;
              })());
    EXPECT_TRUE(causes(changes, global_file).empty()); /* it holds nothing */
    EXPECT_TRUE(holds(diff_of(changes, "delete rules"), "\n-    set old-flag 1\n"));
    EXPECT_TRUE(holds(diff_of(changes, "modify rules"), "\n-    set tint green\n+    set colour green\n"));
    EXPECT_TRUE(holds(diff_of(changes, "version step"), "\n+        config syslog-server-list\n"));
    EXPECT_TRUE(holds(diff_of(changes, "stage"), "\n+config server-policy setting\n+end\n"));
    EXPECT_TRUE(holds(diff_of(changes, "signature database"), "\n-    edit 010000002\n-    next\n"));
    EXPECT_FALSE(holds(run.out, "-    edit 010000001"));
}

TEST_F(Explain, ShowsTheSameToPeople)
{
    config(global_file, support::headers("5.30"));
    config(shop_file, support::headers("5.30") + shop_text);
    support::Outcome run = explain();
    EXPECT_EQ(0, run.status) << run.err;
    EXPECT_TRUE(holds(run.out, "sys_domain.shop.conf.gz: from 5.30 to " MIGR_IMAGE_RELEASE ".\n"
                               "== sys_domain.shop.conf.gz, 5.40, version step\n"
                               "--- sys_domain.shop.conf.gz\n"
                               "+++ sys_domain.shop.conf.gz\n"
                               "@@ -5,7 +5,11 @@"))
        << run.out;
    EXPECT_TRUE(holds(run.out, "\n== sys_domain.shop.conf.gz, 6.00, delete rules\n")) << run.out;
    EXPECT_EQ("migr: the image's files are those in " + image().folder() + "\n", run.err);
}

TEST_F(Explain, AccountsForEveryChange)
{
    box().write("/sys_domain.shop.conf", support::headers("5.30") + shop_text);
    std::string      file = box().path() / "sys_domain.shop.conf";
    support::Outcome run = explain_file(file, {"--json"});
    ASSERT_EQ(0, run.status) << run.err;
    json        changes = json::parse(run.out)["changes"];
    std::string text = shop_text;
    for (const json &change : changes)
        text = support::applied(text, change["diff"]);
    EXPECT_EQ(converted(file), text);
    EXPECT_EQ(5u, changes.size());
}

TEST_F(Explain, ShowsTheSplitOfAFileFromBefore510)
{
    std::string global_part = "config system global\n    set hostname keeper\nend\n";
    std::string domain_part = "config lab desk\n    set old-flag 1\n    set height 70\nend\n";
    std::string lost_part = "config lab cellar\n    set lamp 1\nend\n";
    config(global_file, support::headers("5.00") + global_part + domain_part + lost_part);
    support::Outcome run = explain({"--json"});
    ASSERT_EQ(0, run.status) << run.err;
    json changes = json::parse(run.out)["changes"];
    /* The stages run ahead of the split, and again on what came of it. */
    Strings of_global = causes(changes, global_file);
    Strings of_domain = causes(changes, "sys_domain.root.conf.gz");
    EXPECT_EQ((Strings{"5.10 version step", "5.85 stage", "5.10 split into a global and a domain file", "5.85 stage"}),
              of_global);
    EXPECT_EQ((Strings{"5.10 split into a global and a domain file", "6.00 delete rules", "5.85 stage"}), of_domain);
    std::string global_text = global_part + domain_part + lost_part;
    std::string domain_text;
    for (const json &change : changes) {
        std::string &text = change["file"] == global_file ? global_text : domain_text;
        text = support::applied(text, change["diff"]);
    }
    EXPECT_EQ(common_settings + global_part, global_text);
    EXPECT_EQ(common_settings + std::string("config lab desk\n    set height 70\nend\n"), domain_text);
}

TEST_F(Explain, ADomainRootThatIsNoneOfASplitIsNotNew)
{
    config(global_file, support::headers("5.10"));
    config("sys_domain.root.conf.gz", support::headers("5.10") + "config lab bench\n    set width 3\nend\n");
    json changes = json::parse(explain({"--json"}).out)["changes"];
    EXPECT_EQ(Strings{"5.85 stage"}, causes(changes, "sys_domain.root.conf.gz"));
}

TEST_F(Explain, SaysWhichImageItUses)
{
    config(global_file, support::headers("6.11"));
    EXPECT_EQ("migr: the image's files are those in " + image().folder() + "\n", explain().err);
    EXPECT_EQ(image().folder(), json::parse(explain({"--json"}).out)["image"]);
}

TEST_F(Explain, SaysThatNothingChanged)
{
    config(global_file, support::headers("6.11"));
    config(shop_file, support::headers(MIGR_IMAGE_RELEASE));
    support::Outcome run = explain();
    EXPECT_EQ(0, run.status);
    EXPECT_EQ("sys_global.conf.gz: from 6.11 to " MIGR_IMAGE_RELEASE ", and nothing changed but the version line.\n"
              "sys_domain.shop.conf.gz: nothing to do, it is at " MIGR_IMAGE_RELEASE " already.\n",
              run.out);
    json answer = json::parse(explain({"--json"}).out);
    EXPECT_EQ(json::array(), answer["changes"]);
    EXPECT_EQ("upgraded", answer["files"][0]["result"]);
    EXPECT_EQ("up to date", answer["files"][1]["result"]);
}

TEST_F(Explain, LeavesTheApplianceAlone)
{
    config(global_file, support::headers("5.30"));
    config(shop_file, support::headers("5.30") + shop_text);
    box().folder("/data/etc/wvs");
    box().write("/data/etc/wvs/kept", "kept");
    support::Listing before = box().listing();
    EXPECT_EQ(0, explain().status);
    EXPECT_EQ(0, explain({"--json"}).status);
    EXPECT_EQ(before, box().listing());
}

TEST_F(Explain, TellsWhyAFileWouldBeLeftAlone)
{
    config(global_file, support::headers("5.50"));
    config(shop_file, support::headers("5.50") + "config lab desk\n    set height\nend\n");
    support::Outcome run = explain();
    EXPECT_EQ(1, run.status);
    EXPECT_TRUE(holds(run.out, "sys_domain.shop.conf.gz: cannot be upgraded. line 4: is a `set` without a value"))
        << run.out;
    run = explain({"--json"});
    EXPECT_EQ(1, run.status);
    json answer = json::parse(run.out);
    EXPECT_EQ(1, answer["status"]);
    EXPECT_EQ(json::array(), answer["changes"]);
    EXPECT_EQ("not upgraded", answer["files"][1]["result"]);
    EXPECT_TRUE(holds(answer["files"][1]["reasons"][0], "line 4: is a `set` without a value")) << run.out;
    EXPECT_EQ("", run.err);
}

TEST_F(Explain, ShowsNothingThatATerminalActsOn)
{
    config(global_file, support::headers("5.50"));
    config(shop_file, support::headers("5.50") +
                          "config lab desk\n    set old-flag \x1b[2J\xff\n    set b \"1\x07\n\x9b\"\nend\n");
    for (const Strings &more : {Strings{}, Strings{"--json"}}) {
        support::Outcome run = explain(more);
        EXPECT_EQ(0, run.status);
        EXPECT_TRUE(
            std::all_of(run.out.begin(), run.out.end(), [](char c) { return c == '\n' || (c >= ' ' && c < 127); }));
        EXPECT_TRUE(holds(run.out, "-    set old-flag ")) << run.out;
    }
    EXPECT_TRUE(holds(diff_of(json::parse(explain({"--json"}).out)["changes"], "delete rules"),
                      "-    set old-flag \\x1b[2J\\xff\n"));
}

TEST_F(Explain, ExplainsOneFileWithoutAnAppliance)
{
    box().write("/mine.conf", support::headers("5.50") + "config lab desk\n    set old-flag 1\nend\n");
    support::Outcome run = explain_file(box().path() / "mine.conf", {"--domain", "shop", "--json"});
    EXPECT_EQ(0, run.status) << run.err;
    json changes = json::parse(run.out)["changes"];
    EXPECT_EQ((Strings{"6.00 delete rules", "5.85 stage"}), causes(changes, shop_file));
    EXPECT_TRUE(causes(changes, global_file).empty());
}

TEST_F(Explain, ShowsSecretsWhenAskedTo)
{
    config(global_file, support::headers("5.30"));
    config(shop_file, support::headers("5.30") + "config lab desk\n    set old-flag 1\n    set token abcdef\nend\n");
    EXPECT_TRUE(holds(explain().out, " set token (hidden "));
    EXPECT_FALSE(holds(explain().out, "abcdef"));
    EXPECT_TRUE(holds(explain({"--show-secrets"}).out, " set token abcdef\n"));
    EXPECT_FALSE(holds(explain({"--json"}).out, "abcdef"));
    EXPECT_EQ(true, json::parse(explain({"--json"}).out)["secrets_hidden"]);
    EXPECT_TRUE(holds(explain({"--json", "--show-secrets"}).out, "set token abcdef"));
    EXPECT_EQ(false, json::parse(explain({"--json", "--show-secrets"}).out)["secrets_hidden"]);
}

TEST_F(Explain, RefusesWhatItCannotRead)
{
    EXPECT_EQ(2, explain_file(box().path() / "none").status);
    EXPECT_EQ(2, explain().status); /* a folder without a global file */
    box().write("/bad.conf", "config lab desk\nend\n");
    support::Outcome run = explain_file(box().path() / "bad.conf");
    EXPECT_EQ(1, run.status);
    EXPECT_TRUE(holds(run.out, "has no version line")) << run.out;
}
