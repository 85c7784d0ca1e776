/* `migr explain` as its user sees it: who changed what, in which words, and what is hidden. */
#include "support/json_value.h"
#include "support/step_sections.h"
#include "unit/cli/applied_diff.h"
#include "unit/cli/command_support.h"
#include "unit/cli/failing_calls.h"
#include "unit/cli/small_image.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace {

using support::JsonValue;
using Strings = std::vector<std::string>;
using support::holds;

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

std::string without_headers(const std::string &text)
{
    size_t second = text.find('\n') + 1;
    return text.substr(text.find('\n', second) + 1);
}

class Explain : public support::SmallImageTest {
  protected:
    support::Outcome explain(Strings more = {}) const
    {
        return run("explain", std::move(more));
    }
    support::Outcome explain_file(const std::string &file, Strings more = {}) const
    {
        return run_on(file, "explain", std::move(more));
    }
    std::string converted(const std::string &file) const
    {
        return without_headers(run_on(file, "convert").out);
    }
};

/* "6.00 delete" for each change of a file. */
Strings causes(const JsonValue &changes, const std::string &file)
{
    Strings all;
    for (const JsonValue &change : changes)
        if (change["file"] == file)
            all.push_back(change["release"].text() + " " + change["mechanism"].text());
    return all;
}

JsonValue change_by(const JsonValue &changes, const std::string &mechanism)
{
    for (const JsonValue &change : changes)
        if (change["mechanism"] == mechanism)
            return change;
    return {{"diff", ""}};
}

std::string diff_of(const JsonValue &changes, const std::string &mechanism)
{
    return change_by(changes, mechanism)["diff"].text();
}

} // namespace

TEST_F(Explain, NamesWhatMadeEachChange)
{
    config(global_file, support::headers("5.30"));
    config(shop_file, support::headers("5.30") + shop_text);
    support::Outcome run = explain({"--json"});
    ASSERT_EQ(0, run.status) << run.err;
    JsonValue changes = JsonValue::parse(run.out)["changes"];
    EXPECT_EQ((Strings{"5.40 step", "6.00 delete", "6.00 modify", "5.85 stage", MIGR_IMAGE_RELEASE " signatures"}),
              causes(changes, shop_file));
    EXPECT_TRUE(causes(changes, global_file).empty()); /* it holds nothing */
    EXPECT_TRUE(holds(diff_of(changes, "delete"), "\n-    set old-flag 1\n"));
    EXPECT_TRUE(holds(diff_of(changes, "modify"), "\n-    set tint green\n+    set colour green\n"));
    EXPECT_TRUE(holds(diff_of(changes, "step"), "\n+        config syslog-server-list\n"));
    EXPECT_TRUE(holds(diff_of(changes, "stage"), "\n+config server-policy setting\n+end\n"));
    EXPECT_TRUE(holds(diff_of(changes, "signatures"), "\n-    edit 010000002\n-    next\n"));
    EXPECT_FALSE(holds(run.out, "-    edit 010000001"));
}

TEST_F(Explain, ShowsTheSameToPeople)
{
    config(global_file, support::headers("5.30"));
    config(shop_file, support::headers("5.30") + shop_text);
    JsonValue        changes = JsonValue::parse(explain({"--json"}).out)["changes"];
    support::Outcome run = explain();
    EXPECT_EQ(0, run.status) << run.err;
    EXPECT_TRUE(holds(run.out, "sys_domain.shop.conf.gz: from 5.30 to " MIGR_IMAGE_RELEASE ".\n"
                               "== sys_domain.shop.conf.gz, 5.40 step migr_change_sys_log_policy (logging): A syslog "
                               "policy had one server; from 5.40 on it has a list of them.\n"
                               "--- sys_domain.shop.conf.gz\n"
                               "+++ sys_domain.shop.conf.gz\n"
                               "@@ -7,7 +7,11 @@ log syslog-policy / audit\n"))
        << run.out;
    std::string line = std::to_string(change_by(changes, "delete")["line"].number());
    EXPECT_TRUE(holds(run.out, "\n== sys_domain.shop.conf.gz, 6.00 delete line " + line +
                                   " of the update file, <lab desk><old-flag> (rule)\n"))
        << run.out;
    EXPECT_EQ("migr: the image's files are those in " + image().folder() + "\n", run.err);
}

TEST_F(Explain, SaysWhoMadeAChangeAndWhy)
{
    box().write("/sys_domain.shop.conf", support::headers("5.30") + shop_text);
    JsonValue changes =
        JsonValue::parse(explain_file(box().path() / "sys_domain.shop.conf", {"--json"}).out)["changes"];
    JsonValue step = change_by(changes, "step");
    EXPECT_EQ("migr_change_sys_log_policy", step["name"]);
    EXPECT_EQ("logging", step["kind"]);
    EXPECT_EQ("A syslog policy had one server; from 5.40 on it has a list of them.", step["sentence"]);
    EXPECT_EQ(nullptr, step["line"]);
    JsonValue rule = change_by(changes, "delete");
    EXPECT_EQ("<lab desk><old-flag>", rule["name"]);
    EXPECT_EQ("rule", rule["kind"]);
    EXPECT_EQ(nullptr, rule["sentence"]);
    EXPECT_GT(rule["line"].number(), 0u);
}

TEST_F(Explain, ShowsWhatWasAskedFor)
{
    box().write("/sys_domain.shop.conf", support::headers("5.30") + shop_text);
    std::string file = box().path() / "sys_domain.shop.conf";
    auto        asked = [&](Strings more) {
        more.push_back("--json");
        return causes(JsonValue::parse(explain_file(file, more).out)["changes"], shop_file);
    };
    EXPECT_EQ((Strings{"6.00 delete", MIGR_IMAGE_RELEASE " signatures"}), asked({"--dropped"}));
    EXPECT_EQ(Strings{"6.00 modify"}, asked({"--rewritten"}));
    EXPECT_EQ((Strings{"5.40 step", "5.85 stage"}), asked({"--added"}));
    EXPECT_EQ((Strings{"6.00 delete", "6.00 modify"}), asked({"--release", "6.00"}));
    EXPECT_EQ((Strings{"6.00 delete", "6.00 modify"}), asked({"--kind", "rule"}));
    EXPECT_EQ(Strings{"5.40 step"}, asked({"--by", "migr_change_sys_log_policy"}));
    EXPECT_EQ((Strings{"6.00 delete", "6.00 modify"}), asked({"--path", "lab desk / *"}));
    EXPECT_EQ(Strings{"6.00 delete"}, asked({"--path", "lab desk / *", "--dropped"}));
    EXPECT_EQ(Strings{}, asked({"--path", "lab bench*"}));
    EXPECT_TRUE(holds(explain_file(file, {"--by", "nobody"}).out,
                      MIGR_IMAGE_RELEASE ", and nothing of what was asked for changed.\n"));
}

TEST_F(Explain, AccountsForEveryChange)
{
    box().write("/sys_domain.shop.conf", support::headers("5.30") + shop_text);
    std::string      file = box().path() / "sys_domain.shop.conf";
    support::Outcome run = explain_file(file, {"--json"});
    ASSERT_EQ(0, run.status) << run.err;
    JsonValue   changes = JsonValue::parse(run.out)["changes"];
    std::string text = support::headers("5.30") + shop_text;
    for (const JsonValue &change : changes)
        text = support::applied(text, change["diff"].text());
    EXPECT_EQ(converted(file), without_headers(text));
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
    JsonValue changes = JsonValue::parse(run.out)["changes"];
    /* The stages run ahead of the split, and again on what came of it. */
    Strings of_global = causes(changes, global_file);
    Strings of_domain = causes(changes, "sys_domain.root.conf.gz");
    EXPECT_EQ((Strings{"5.10 step", "5.85 stage", "5.10 split", "5.85 stage"}), of_global);
    EXPECT_EQ((Strings{"5.10 split", "6.00 delete", "5.85 stage"}), of_domain);
    std::string global_text = support::headers("5.00") + global_part + domain_part + lost_part;
    std::string domain_text = support::headers("5.10");
    for (const JsonValue &change : changes) {
        std::string &text = change["file"] == global_file ? global_text : domain_text;
        text = support::applied(text, change["diff"].text());
    }
    EXPECT_EQ(common_settings + global_part, without_headers(global_text));
    EXPECT_EQ(common_settings + std::string("config lab desk\n    set height 70\nend\n"), without_headers(domain_text));
}

TEST_F(Explain, ADomainRootThatIsNoneOfASplitIsNotNew)
{
    config(global_file, support::headers("5.10"));
    config("sys_domain.root.conf.gz", support::headers("5.10") + "config lab bench\n    set width 3\nend\n");
    JsonValue changes = JsonValue::parse(explain({"--json"}).out)["changes"];
    EXPECT_EQ(Strings{"5.85 stage"}, causes(changes, "sys_domain.root.conf.gz"));
}

/* It came through each step, and what it became is none of what stands there. */
TEST_F(Explain, ShowsNoChangesOfAFileThatCameToNothing)
{
    image().write("/image/update_config", support::step_sections() + "[6.00]\n[MODIFY]\n<lab desk><tint>,<\"colour>\n");
    config(global_file, support::headers("5.30"));
    config(shop_file, support::headers("5.30") + "config lab desk\n    set tint green\nend\n");
    config("sys_domain.yard.conf.gz", support::headers("5.30") + "config lab desk\nend\n");
    support::Outcome run = explain({"--json"});
    EXPECT_EQ(1, run.status);
    JsonValue answer = JsonValue::parse(run.out);
    EXPECT_EQ("not upgraded", answer["files"][1]["result"]);
    EXPECT_EQ(Strings{}, causes(answer["changes"], shop_file));
    EXPECT_EQ(Strings{"5.85 stage"}, causes(answer["changes"], "sys_domain.yard.conf.gz"));
    run = explain();
    EXPECT_TRUE(holds(run.out,
                      "\nsys_domain.shop.conf.gz: cannot be upgraded. lab desk / \"colour: it would be written, "
                      "and read back together with what stands behind it.\nsys_domain.yard"))
        << run.out;
}

TEST_F(Explain, SaysThatNothingOfWhatWasAskedForChanged)
{
    config(global_file, support::headers("6.11"));
    for (const Strings &asked : {Strings{"--dropped"}, Strings{"--path", "lab *"}, Strings{"--kind", "rule"}})
        EXPECT_TRUE(holds(explain(asked).out, MIGR_IMAGE_RELEASE ", and nothing of what was asked for changed.\n"))
            << asked[0];
    JsonValue answer = JsonValue::parse(explain({"--json"}).out);
    EXPECT_EQ(MIGR_IMAGE_RELEASE, answer["image_release"]);
    EXPECT_EQ("explain", answer["command"]);
}

TEST_F(Explain, SaysWhichFilesAreNew)
{
    config(global_file, support::headers("5.00") + "config system global\n    set hostname keeper\nend\n");
    support::Outcome run = explain();
    EXPECT_TRUE(holds(run.out, "\nsys_domain.root.conf.gz: new, at " MIGR_IMAGE_RELEASE ".\n")) << run.out;
}

/* Of the memory that names the nodes by which changes are told; the upgrade needs none of it. */
TEST_F(Explain, SaysThatMemoryRanOut)
{
    box().write("/sys_domain.shop.conf", support::headers("5.30") + shop_text);
    Strings          arguments = {"explain", "--image", image().folder(), box().path() / "sys_domain.shop.conf"};
    support::Outcome run;
    unsigned         number = 0; /* of the call for such memory */
    while (!holds(run.err, "migr: warning: memory ran out, so not all changes are shown.\n") && number < 99) {
        number++;
        run = support::migr(arguments, [=] { support::fail_call("calloc", ENOMEM, number); });
    }
    EXPECT_EQ(0, run.status) << run.err;
    EXPECT_TRUE(holds(run.out, "sys_domain.shop.conf.gz: from 5.30 to ")) << run.out;
    arguments.emplace_back("--json");
    run = support::migr(arguments, [=] { support::fail_call("calloc", ENOMEM, number); });
    EXPECT_TRUE(holds(run.out, "\"incomplete\": true")) << number << run.out;
}

TEST_F(Explain, SaysWhichImageItUses)
{
    config(global_file, support::headers("6.11"));
    EXPECT_EQ("migr: the image's files are those in " + image().folder() + "\n", explain().err);
    EXPECT_EQ(image().folder(), JsonValue::parse(explain({"--json"}).out)["image"]);
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
    JsonValue answer = JsonValue::parse(explain({"--json"}).out);
    EXPECT_EQ(JsonValue::array(), answer["changes"]);
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
    JsonValue answer = JsonValue::parse(run.out);
    EXPECT_EQ(1, answer["status"]);
    EXPECT_EQ(JsonValue::array(), answer["changes"]);
    EXPECT_EQ("not upgraded", answer["files"][1]["result"]);
    EXPECT_TRUE(holds(answer["files"][1]["reasons"][0].text(), "line 4: is a `set` without a value")) << run.out;
    EXPECT_EQ("", run.err);
}

TEST_F(Explain, SaysOfEachFileWhereItIs)
{
    config(global_file, support::headers("5.50"));
    config(shop_file, support::headers("6.30"));
    config("sys_domain.now.conf.gz", support::headers(MIGR_IMAGE_RELEASE));
    support::Outcome run = explain();
    EXPECT_TRUE(holds(
        run.out, "sys_domain.shop.conf.gz: nothing to do, it is at 6.30, and the image at " MIGR_IMAGE_RELEASE ".\n"))
        << run.out;
    EXPECT_TRUE(holds(run.out, "sys_domain.now.conf.gz: nothing to do, it is at " MIGR_IMAGE_RELEASE " already.\n"));
    JsonValue answer = JsonValue::parse(explain({"--json"}).out);
    EXPECT_EQ(answer["incomplete"], false);
    EXPECT_EQ(answer["secrets_hidden"], true);
    JsonValue global = {{"file", global_file},           {"before", "5.50"},
                        {"after", MIGR_IMAGE_RELEASE},   {"result", "upgraded"},
                        {"reasons", JsonValue::array()}, {"warnings", JsonValue::array()}};
    EXPECT_EQ(answer["files"][0], global);
}

TEST_F(Explain, TellsOfOneFileBehindTheOther)
{
    config(global_file, support::headers("5.30") + "config system global\nend\n");
    config(shop_file, support::headers("5.30") + shop_text);
    Strings   files;
    JsonValue changes = JsonValue::parse(explain({"--json"}).out)["changes"];
    for (const JsonValue &change : changes)
        if (files.empty() || files.back() != change["file"])
            files.push_back(change["file"].text());
    EXPECT_EQ(files, (Strings{global_file, shop_file}));
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
    EXPECT_TRUE(holds(diff_of(JsonValue::parse(explain({"--json"}).out)["changes"], "delete"),
                      "-    set old-flag \\x1b[2J\\xff\n"));
}

TEST_F(Explain, ExplainsOneFileWithoutAnAppliance)
{
    box().write("/mine.conf", support::headers("5.50") + "config lab desk\n    set old-flag 1\nend\n");
    support::Outcome run = explain_file(box().path() / "mine.conf", {"--domain", "shop", "--json"});
    EXPECT_EQ(0, run.status) << run.err;
    JsonValue answer = JsonValue::parse(run.out);
    EXPECT_EQ((Strings{"6.00 delete", "5.85 stage"}), causes(answer["changes"], shop_file));
    EXPECT_EQ(2u, answer["changes"].size());
    EXPECT_EQ(1u, answer["files"].size()); /* and none that only stood in for the rest of an appliance */
}

TEST_F(Explain, ShowsSecretsWhenAskedTo)
{
    config(global_file, support::headers("5.30"));
    config(shop_file, support::headers("5.30") + "config lab desk\n    set old-flag 1\n    set token abcdef\nend\n");
    EXPECT_TRUE(holds(explain().out, " set token (hidden "));
    EXPECT_FALSE(holds(explain().out, "abcdef"));
    EXPECT_TRUE(holds(explain({"--show-secrets"}).out, " set token abcdef\n"));
    EXPECT_FALSE(holds(explain({"--json"}).out, "abcdef"));
    EXPECT_EQ(true, JsonValue::parse(explain({"--json"}).out)["secrets_hidden"]);
    EXPECT_TRUE(holds(explain({"--json", "--show-secrets"}).out, "set token abcdef"));
    EXPECT_EQ(false, JsonValue::parse(explain({"--json", "--show-secrets"}).out)["secrets_hidden"]);
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
