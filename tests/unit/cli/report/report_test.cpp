/* What is said when an upgrade is over, for each way in which it can end. */
#include "report/report.h"

#include "driver/run_context.h"
#include "output/console.h"
#include "support/image_line.h"
#include "support/json_value.h"

#include <gtest/gtest.h>

using namespace command;

namespace {

using support::JsonValue;

FileOutcome file_of(const char *name, Result result)
{
    FileOutcome file;
    file.name = name;
    file.before = MIGR_RELEASE(5, 50);
    file.after = MIGR_RELEASE(6, 21);
    file.result = result;
    file.size = 1234;
    file.time = std::chrono::milliseconds(2340);
    return file;
}

Outcome outcome_of(std::vector<Result> results, bool changed)
{
    static const char *const names[] = {"sys_global.conf.gz", "sys_domain.shop.conf.gz"};
    Outcome                  outcome;
    outcome.root = "/srv/box";
    outcome.image = "/srv/image";
    outcome.changed = changed;
    if (changed)
        outcome.snapshot = "/srv/box/var/lib/migr/snapshots/1";
    for (size_t at = 0; at < results.size(); at++)
        outcome.files.push_back(file_of(names[at], results[at]));
    return outcome;
}

std::string said_of(const Outcome &outcome, bool verbose = false)
{
    keep_lines(true);
    show(outcome, verbose);
    std::string text;
    for (const std::string &line : kept_lines())
        text += line + "\n";
    keep_lines(false);
    return text;
}

/* What is said behind the image's folder. */
std::string end_of(const Outcome &outcome)
{
    std::string text = said_of(outcome), image = "The image's files:     /srv/image\n";
    size_t      at = text.find(image);
    EXPECT_NE(at, text.npos) << text;
    return at == text.npos ? text : text.substr(at + image.size());
}

} // namespace

TEST(ReportOfUpgrade, HasARowForEachFileAndSaysHowToGoOn)
{
    EXPECT_EQ(said_of(outcome_of({Result::current, Result::upgraded}, true)),
              "FILE                     BEFORE  AFTER  RESULT        SIZE    TIME\n"
              "sys_global.conf.gz       5.50    6.21   up to date  1.2 kB  2.34 s\n"
              "sys_domain.shop.conf.gz  5.50    6.21   upgraded    1.2 kB  2.34 s\n"
              "The image's files:     /srv/image\n"
              "Snapshot from before:  /srv/box/var/lib/migr/snapshots/1\n"
              "To look at a file:     zcat /srv/box/data/config/sys_domain.shop.conf.gz | less\n"
              "To go back:            migr rollback /srv/box\n");
}

TEST(ReportOfUpgrade, TellsFindingsAndWhatTheLibrarySaid)
{
    Outcome outcome = outcome_of({Result::upgraded, Result::held}, false);
    outcome.files[0].warnings = {{"a key is gone"}};
    outcome.files[1].reasons = {{"it is odd"}, {"it is old"}};
    outcome.notes = {"first", "second"};
    std::string quiet = said_of(outcome), verbose = said_of(outcome, true);
    std::string findings = "warning: sys_global.conf.gz: a key is gone\n"
                           "sys_domain.shop.conf.gz: it is odd\n"
                           "sys_domain.shop.conf.gz: it is old\n"
                           "The image's files: ";
    EXPECT_NE(quiet.find("2.34 s\n" + findings), quiet.npos) << quiet;
    EXPECT_NE(verbose.find("2.34 s\nWhat the library said:\n  first\n  second\n" + findings), verbose.npos) << verbose;
    outcome.notes.clear();
    EXPECT_EQ(said_of(outcome, true), said_of(outcome));
}

TEST(ReportOfUpgrade, SaysWhyNothingWasChanged)
{
    EXPECT_EQ(end_of(outcome_of({Result::current, Result::newer}, false)), "Nothing to do.\n");
    EXPECT_EQ(
        end_of(outcome_of({Result::held, Result::refused}, false)),
        "Nothing was changed: one file that cannot be upgraded stops all. Mend what is named above, or upgrade the "
        "others alone with --partial.\n");
    EXPECT_EQ(end_of(outcome_of({Result::current, Result::upgraded}, false)),
              "Nothing was changed: there are warnings, and --strict was asked for.\n");
    Outcome dry = outcome_of({Result::refused, Result::upgraded}, false);
    dry.dry_run = true;
    EXPECT_EQ(end_of(dry), "Dry run: nothing in /srv/box was changed.\n");
}

TEST(ReportOfUpgrade, SaysThatReleasesAreMixed)
{
    Outcome outcome = outcome_of({Result::refused, Result::upgraded}, true);
    outcome.root = "/";
    EXPECT_EQ(end_of(outcome),
              "Upgraded in part: the appliance is on mixed releases now. Mend what is named above and run migr again.\n"
              "Snapshot from before:  /srv/box/var/lib/migr/snapshots/1\n"
              "To look at a file:     zcat /data/config/sys_domain.shop.conf.gz | less\n"
              "To go back:            migr rollback /\n");
}

TEST(ReportOfUpgrade, WritesFoldersAsAShellReadsThem)
{
    Outcome outcome = outcome_of({Result::added}, true);
    outcome.root = "/srv/my box";
    outcome.snapshot = "/srv/my box/1";
    EXPECT_EQ(end_of(outcome), "Snapshot from before:  '/srv/my box/1'\n"
                               "To go back:            migr rollback '/srv/my box'\n");
}

TEST(ReportOfUpgrade, HasAWordForEachResult)
{
    const std::pair<Result, const char *> words[] = {
        {Result::upgraded, "upgraded"}, {Result::added, "new"},      {Result::current, "up to date"},
        {Result::newer, "newer"},       {Result::held, "held back"}, {Result::refused, "not upgraded"}};
    for (auto [result, text] : words)
        EXPECT_STREQ(word(result), text);
}

TEST(ReportOfUpgrade, IsTheSameForPrograms)
{
    Outcome outcome = outcome_of({Result::upgraded}, true);
    outcome.files[0].reasons = {{"it is odd"}};
    outcome.files[0].warnings = {{"a key is gone"}};
    outcome.notes = {"first"};
    Account account;
    account.files.resize(1);
    account.files[0].file = "sys_global.conf.gz";
    JsonValue answer = JsonValue::parse(Json(answer_members(outcome, account)).text());
    EXPECT_EQ(answer["accounts"].size(), 1u);
    answer.erase("accounts");
    JsonValue file = {{"file", "sys_global.conf.gz"},
                      {"before", "5.50"},
                      {"after", "6.21"},
                      {"result", "upgraded"},
                      {"reasons", {"it is odd"}},
                      {"warnings", {"a key is gone"}},
                      {"size", 1234},
                      {"seconds", 2.34}};
    EXPECT_EQ(answer, JsonValue({{"root", "/srv/box"},
                                 {"image", "/srv/image"},
                                 {"image_release", MIGR_IMAGE_RELEASE},
                                 {"dry_run", false},
                                 {"changed", true},
                                 {"snapshot", "/srv/box/var/lib/migr/snapshots/1"},
                                 {"files", JsonValue::array({file})},
                                 {"notes", {"first"}}}));
    outcome.snapshot.clear();
    outcome.dry_run = true;
    outcome.changed = false;
    answer = JsonValue::parse(Json(answer_members(outcome, account)).text());
    EXPECT_EQ(answer["snapshot"], nullptr);
    EXPECT_EQ(answer["dry_run"], true);
    EXPECT_EQ(answer["changed"], false);
}
