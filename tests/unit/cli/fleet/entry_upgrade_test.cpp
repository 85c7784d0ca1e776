/* One appliance of a fleet on its way into the folder of results, in each of its forms, and what is left of it when
 * something is in the way. Forms of archives are for archive_test.cpp. */
#include "fleet/entry_upgrade.h"

#include "fleet/results_folder.h"
#include "output/console.h"
#include "support/json_value.h"
#include "support/patterns.h"
#include "system/failure.h"
#include "unit/cli/small_image.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

using namespace command;

namespace {

namespace fs = std::filesystem;
using support::headers;
using support::holds;
using support::JsonValue;
using Strings = std::vector<std::string>;

const std::string current_text = headers(MIGR_IMAGE_RELEASE) + "config lab desk\n    set height 1\nend\n";

class UpgradedEntry : public support::SmallImageTest {
  protected:
    UpgradedEntry()
    {
        write_appliance("box");
        job.out = path("out");
        job.image = image().folder();
        keep_lines(true);
    }
    ~UpgradedEntry() override
    {
        keep_lines(false);
    }
    std::string path(const std::string &name) const
    {
        return place.path().string() + "/" + name;
    }
    void write_appliance(const std::string &name) const
    {
        std::string configs = "/saved/" + name + "/data/config/";
        place.write_gzip(configs + "sys_global.conf.gz", headers("5.50") + "config system global\nend\n");
        place.write_gzip(configs + "sys_domain.shop.conf.gz",
                         headers("5.50") + "config lab desk\n    set old-flag 1\n    set tint green\n    set height "
                                           "70\nend\n");
        place.write("/saved/" + name + "/etc/kept", "nobody's business", 0604);
    }
    /* The line of it that stands in the folder of results, which is what is given. */
    EntryResult upgraded(const std::string &name)
    {
        Interrupts interrupts;
        job.path = path("saved/" + name);
        EntryResult result = upgrade_entry(job, interrupts);
        std::string last;
        for_each_line(path("out/fleet.jsonl"), [&](const std::string &line, size_t) { last = line + "\n"; });
        EXPECT_EQ(last, line_of(result));
        EXPECT_TRUE(fs::is_empty(path("out/.fleet"))) << "work is done";
        return result;
    }
    JsonValue answer_of(const std::string &name) const
    {
        return JsonValue::parse(place.read("/out/answers/" + name + ".json"));
    }
    JsonValue ledger_of(const std::string &name) const
    {
        return JsonValue::parse(place.read_gzip("/out/ledgers/" + name + ".json.gz"));
    }
    Strings names_in(const std::string &folder) const
    {
        Strings names;
        for (const auto &entry : fs::directory_iterator(path(folder)))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

    support::ApplianceRoot place;
    EntryJob               job;
};

bool is_of_image(const std::string &text)
{
    return text.starts_with("#config-version=QA-A1X-" MIGR_IMAGE_RELEASE "-");
}

} // namespace

TEST_F(UpgradedEntry, IsAFolder)
{
    EntryResult result = upgraded("box");
    EXPECT_EQ(result.end, EntryEnd::upgraded);
    EXPECT_EQ(result.entry, "box");
    EXPECT_EQ(result.form, "folder");
    EXPECT_EQ(result.output, "appliances/box");
    EXPECT_EQ(result.lines, 11u);
    EXPECT_EQ(result.dropped, 1u);
    EXPECT_EQ(result.rewritten, 1u);
    EXPECT_GT(result.seconds, 0);
    EXPECT_LT(result.seconds, 60);
    char host[256] = "";
    gethostname(host, sizeof host);
    EXPECT_EQ(result.host, host);
    EXPECT_TRUE(support::matches(result.identity.version, "migr [0-9.]+ for " MIGR_IMAGE_RELEASE))
        << result.identity.version;
    EXPECT_EQ(result.identity.input.size(), 64u);
    ASSERT_EQ(result.causes.size(), 1u);
    EXPECT_TRUE(result.causes[0].cause.starts_with("6.00 delete ")) << result.causes[0].cause;
    EXPECT_TRUE(result.causes[0].cause.ends_with(", <lab desk><old-flag>")) << result.causes[0].cause;
    EXPECT_EQ(result.causes[0].lines, 1u);
    std::string shop = place.read_gzip("/out/appliances/box/data/config/sys_domain.shop.conf.gz");
    EXPECT_TRUE(is_of_image(shop)) << shop;
    EXPECT_TRUE(holds(shop, "set colour green\n")) << shop;
    EXPECT_FALSE(holds(shop, "old-flag")) << shop;
    EXPECT_EQ(place.read("/out/appliances/box/etc/kept"), "nobody's business");
    EXPECT_FALSE(place.exists("/out/appliances/box/var/lib")) << "the input is what there is to go back to";
    EXPECT_TRUE(holds(place.read_gzip("/saved/box/data/config/sys_domain.shop.conf.gz"), "old-flag"));
    EXPECT_EQ(names_in("out"), (Strings{".fleet", "answers", "appliances", "fleet.jsonl", "ledgers", "reports"}));
    EXPECT_TRUE(names_in("out/reports").empty());
}

TEST_F(UpgradedEntry, HasAnAnswerAndALedger)
{
    upgraded("box");
    JsonValue answer = answer_of("box");
    EXPECT_EQ(answer["format"], 1);
    EXPECT_EQ(answer["entry"], "box");
    EXPECT_EQ(answer["result"], "upgraded");
    EXPECT_EQ(answer["error"], nullptr);
    EXPECT_EQ(answer["details"], JsonValue::array());
    EXPECT_EQ(answer["changed"], true);
    EXPECT_EQ(answer["snapshot"], nullptr);
    EXPECT_EQ(answer["files"].size(), 2u);
    EXPECT_EQ(answer["messages"][0], "sys_global.conf.gz: will be upgraded from 5.50 to " MIGR_IMAGE_RELEASE);
    JsonValue ledger = ledger_of("box");
    EXPECT_EQ(ledger["files"].size(), 2u);
    EXPECT_TRUE(holds(ledger.dump(), "set old-flag 1")) << ledger;
}

TEST_F(UpgradedEntry, MayHaveAPage)
{
    job.page = true;
    upgraded("box");
    std::string page = place.read("/out/reports/box.html");
    EXPECT_TRUE(page.starts_with("<!DOCTYPE html>")) << page.substr(0, 100);
    EXPECT_TRUE(holds(page, "old-flag"));
}

TEST_F(UpgradedEntry, KeepsItsOwnSnapshots)
{
    place.write("/saved/box/var/lib/migr/snapshots/20200101T000000.000000Z/of-a-person", "kept");
    upgraded("box");
    EXPECT_EQ(names_in("out/appliances/box/var/lib/migr/snapshots"), Strings{"20200101T000000.000000Z"});
}

TEST_F(UpgradedEntry, KeepsFoldersThatOthersHaveFilled)
{
    place.write("/saved/box/var/lib/other", "kept");
    upgraded("box");
    EXPECT_EQ(names_in("out/appliances/box/var/lib"), Strings{"other"});
}

TEST_F(UpgradedEntry, ThatIsCurrentGoesOverAsItIs)
{
    place.write_gzip("/saved/now/data/config/sys_global.conf.gz", current_text);
    EntryResult result = upgraded("now");
    EXPECT_EQ(result.end, EntryEnd::current);
    EXPECT_EQ(result.output, "appliances/now");
    EXPECT_EQ(place.read_gzip("/out/appliances/now/data/config/sys_global.conf.gz"), current_text);
    EXPECT_EQ(answer_of("now")["changed"], false);
    EXPECT_EQ(names_in("out/appliances/now"), Strings{"data"});
}

TEST_F(UpgradedEntry, IsAFileThatStaysPackedOrPlain)
{
    std::string text = headers("5.50") + "config lab desk\n    set tint green\nend\n";
    place.write("/saved/plain.conf", text);
    place.write_gzip("/saved/packed.conf.gz", text);
    EntryResult plain = upgraded("plain.conf"), packed = upgraded("packed.conf.gz");
    for (const EntryResult &one : {plain, packed}) {
        EXPECT_EQ(one.end, EntryEnd::upgraded);
        EXPECT_EQ(one.form, "file");
        EXPECT_EQ(one.lines, 5u);
        EXPECT_EQ(one.rewritten, 1u);
    }
    std::string made = place.read("/out/appliances/plain.conf");
    EXPECT_TRUE(is_of_image(made)) << made;
    EXPECT_TRUE(holds(made, "set colour green\n")) << made;
    EXPECT_EQ(place.read_gzip("/out/appliances/packed.conf.gz"), made);
    EXPECT_EQ(answer_of("plain.conf")["files"].size(), 1u) << "of the other one nobody has asked";
    EXPECT_EQ(answer_of("plain.conf")["root"], path("saved/plain.conf"));
    EXPECT_EQ(answer_of("plain.conf")["image"], image().folder());
    EXPECT_EQ(answer_of("plain.conf")["changed"], true);
}

TEST_F(UpgradedEntry, OfAFileFromBefore510IsAFolderWithTwo)
{
    std::string text = headers("5.00") + "config system global\nend\nconfig lab desk\n    set tint green\nend\n";
    place.write("/saved/plain.conf", text);
    place.write_gzip("/saved/packed.conf.gz", text);
    EXPECT_EQ(upgraded("plain.conf").end, EntryEnd::upgraded);
    EXPECT_EQ(upgraded("packed.conf.gz").end, EntryEnd::upgraded);
    EXPECT_EQ(names_in("out/appliances/plain.conf"), (Strings{"sys_domain.root.conf", "sys_global.conf"}));
    EXPECT_EQ(names_in("out/appliances/packed.conf.gz"), (Strings{"sys_domain.root.conf.gz", "sys_global.conf.gz"}));
    EXPECT_TRUE(holds(place.read("/out/appliances/plain.conf/sys_domain.root.conf"), "set colour green\n"));
    EXPECT_EQ(place.read_gzip("/out/appliances/packed.conf.gz/sys_domain.root.conf.gz"),
              place.read("/out/appliances/plain.conf/sys_domain.root.conf"));
    EXPECT_EQ(answer_of("plain.conf")["files"].size(), 2u);
}

TEST_F(UpgradedEntry, OfAFileThatIsCurrentIsThatFile)
{
    place.write("/saved/now.conf", current_text);
    place.write_gzip("/saved/now.conf.gz", current_text);
    EXPECT_EQ(upgraded("now.conf").end, EntryEnd::current);
    EXPECT_EQ(upgraded("now.conf.gz").end, EntryEnd::current);
    EXPECT_EQ(place.read("/out/appliances/now.conf"), current_text);
    EXPECT_EQ(place.read("/out/appliances/now.conf.gz"), place.read("/saved/now.conf.gz"));
}

TEST_F(UpgradedEntry, LiesInAnArchiveOrInAFolderOfOne)
{
    auto pack = [&](const std::string &name, const std::string &from, const std::string &what) {
        std::string line = "tar -cf '" + path("saved/" + name) + "' -C '" + path(from) + "' " + what;
        ASSERT_EQ(system(line.c_str()), 0);
    };
    pack("flat.tar", "saved/box", "data etc");
    pack("deep.tar", "saved", "box");
    place.write("/saved/beside", "");
    pack("two.tar", "saved", "box beside");
    pack("file.tar", "saved", "beside");
    for (const char *name : {"flat.tar", "deep.tar"}) {
        EntryResult result = upgraded(name);
        EXPECT_EQ(result.end, EntryEnd::upgraded) << name;
        EXPECT_EQ(result.form, "archive");
        EXPECT_EQ(result.dropped, 1u);
    }
    std::string list = "tar -tf '" + path("out/appliances/flat.tar") + "' | grep -q '^etc/kept$'";
    EXPECT_EQ(system(list.c_str()), 0);
    for (const char *name : {"two.tar", "file.tar"}) {
        EntryResult result = upgraded(name);
        EXPECT_EQ(result.end, EntryEnd::refused) << name;
        EXPECT_EQ(result.output, "");
        ASSERT_EQ(result.findings.size(), 1u);
        EXPECT_TRUE(result.findings[0].is_reason);
        EXPECT_EQ(result.findings[0].cause,
                  "/data/config/sys_global.conf.gz is not there, so it is no appliance's root folder")
            << name;
    }
}

TEST_F(UpgradedEntry, ThatIsRefusedLeavesNoOldResult)
{
    upgraded("box");
    place.write("/saved/box/data/config/sys_domain.shop.conf.gz", "no gzip file");
    EntryResult result = upgraded("box");
    EXPECT_EQ(result.end, EntryEnd::refused);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(names_in("out/appliances").empty());
    EXPECT_EQ(answer_of("box")["result"], "refused");
    EXPECT_EQ(answer_of("box")["changed"], false);
    EXPECT_EQ(ledger_of("box")["files"].size(), 2u);
    job.partial = true;
    EXPECT_EQ(upgraded("box").end, EntryEnd::upgraded);
    EXPECT_EQ(place.read("/out/appliances/box/data/config/sys_domain.shop.conf.gz"), "no gzip file");
}

TEST_F(UpgradedEntry, LosesTextOnlyWhereThatIsAccepted)
{
    std::string text = headers("5.50") + "config lab desk\n    sett tint green\nend\n";
    place.write("/saved/bad.conf", text);
    place.write_gzip("/saved/box/data/config/sys_domain.shop.conf.gz", text);
    for (const char *name : {"bad.conf", "box"}) {
        EXPECT_EQ(upgraded(name).end, EntryEnd::refused) << name;
        EXPECT_FALSE(place.exists(std::string("/out/appliances/") + name));
    }
    job.accept_damage = true;
    for (const char *name : {"bad.conf", "box"})
        EXPECT_EQ(upgraded(name).end, EntryEnd::upgraded) << name;
    EXPECT_FALSE(holds(place.read("/out/appliances/bad.conf"), "sett tint"));
}

TEST_F(UpgradedEntry, ThatIsNoneIsToldAlikeWhatItsNameIs)
{
    place.folder("/saved/empty one");
    place.folder("/saved/other");
    EntryResult first = upgraded("empty one"), second = upgraded("other");
    ASSERT_EQ(first.findings.size(), 1u);
    ASSERT_EQ(second.findings.size(), 1u);
    EXPECT_EQ(first.end, EntryEnd::refused);
    EXPECT_EQ(first.findings[0].cause, second.findings[0].cause);
    EXPECT_TRUE(holds(first.findings[0].text, path("saved/empty one") + "/data/config/sys_global.conf.gz"))
        << first.findings[0].text;
    EXPECT_EQ(answer_of("empty one")["error"], first.findings[0].text);
    EXPECT_TRUE(names_in("out/ledgers").empty()) << "nothing was looked at";
    place.write("/saved/odd", "nothing that can be upgraded");
    EntryResult odd = upgraded("odd");
    EXPECT_EQ(odd.end, EntryEnd::refused);
    EXPECT_FALSE(holds(odd.findings[0].cause, "saved")) << odd.findings[0].cause;
    ASSERT_EQ(mkfifo(path("saved/pipe").c_str(), 0600), 0);
    EntryResult pipe = upgraded("pipe");
    EXPECT_EQ(pipe.form, "other");
    EXPECT_EQ(pipe.end, EntryEnd::refused);
    EXPECT_EQ(pipe.findings[0].text, "It is no folder, no archive and no file.");
    EXPECT_EQ(pipe.findings[0].cause, "It is no folder, no archive and no file.");
}

/* Whatever it is called, even what stands in the place of its name. */
TEST_F(UpgradedEntry, MayHaveANameThatIsInEachSentence)
{
    fs::path before = fs::current_path();
    fs::current_path(path("saved"));
    Interrupts interrupts;
    for (const char *name : {"it", "t", "is"}) {
        place.folder(std::string("/saved/") + name);
        job.path = name;
        support::Outcome outcome = support::run_process([&] {
            alarm(support::patience);
            return static_cast<int>(upgrade_entry(job, interrupts).end);
        });
        EXPECT_EQ(outcome.signal, 0) << name;
        EXPECT_EQ(outcome.status, static_cast<int>(EntryEnd::refused)) << name;
    }
    fs::current_path(before);
}

TEST_F(UpgradedEntry, IsCalledByItsOwnName)
{
    place.write("/out/appliances/other/data/x", "of another one");
    write_appliance("second");
    fs::path before = fs::current_path();
    fs::current_path(path("saved/second"));
    Interrupts interrupts;
    for (const std::string &name : {path("saved/box/"), path("saved/box//"), path("saved/./box")}) {
        job.path = name;
        EntryResult result = upgrade_entry(job, interrupts);
        EXPECT_EQ(result.entry, "box") << name;
        EXPECT_EQ(result.end, EntryEnd::upgraded);
    }
    for (const char *name : {"", ".", "./", "..", "../..", "/", "//", "../box/.."}) {
        job.path = name;
        try {
            upgrade_entry(job, interrupts);
            ADD_FAILURE() << name;
        } catch (const Failure &failure) {
            EXPECT_EQ(failure.status, Status::unusable);
            EXPECT_EQ(failure.what(), "\"" + std::string(name) +
                                          "\" has no name that results could be called by. Name the appliance by its "
                                          "folder's or its file's own name.");
        }
    }
    fs::current_path(before);
    EXPECT_EQ(names_in("out/appliances"), (Strings{"box", "other"}));
    EXPECT_EQ(place.read("/out/appliances/other/data/x"), "of another one");
}

/* So that those of many can be counted together. */
TEST_F(UpgradedEntry, IsRefusedForACauseWithoutItsName)
{
    place.write("/saved/none", "nothing that can be upgraded");
    place.write("/saved/cut.conf.gz", place.read("/saved/box/data/config/sys_global.conf.gz").substr(0, 30));
    auto cause_of = [&](const std::string &name) {
        EntryResult result = upgraded(name);
        EXPECT_EQ(result.findings.size(), 1u);
        return result.findings.empty() ? "" : result.findings[0].cause;
    };
    EXPECT_EQ(cause_of("none"), "It has no version line.");
    EXPECT_EQ(cause_of("cut.conf.gz"), "it is a gzip file that breaks off or is damaged");
}

TEST_F(UpgradedEntry, IsNotDoneWhenASignalComes)
{
    support::Outcome outcome = support::run_process([&] {
        Interrupts interrupts;
        job.path = path("saved/box");
        raise(SIGTERM);
        try {
            upgrade_entry(job, interrupts);
        } catch (const Failure &failure) {
            printf("%s", failure.what());
            return static_cast<int>(failure.status);
        }
        return 0;
    });
    EXPECT_EQ(outcome.status, 3);
    EXPECT_TRUE(holds(outcome.out, "Stopped by a signal. box is not done.")) << outcome.out;
    EXPECT_FALSE(place.exists("/out/fleet.jsonl"));
    EXPECT_TRUE(fs::is_empty(path("out/.fleet")));
}

TEST_F(UpgradedEntry, GoesByTheImageAndTheOptionsItWasGiven)
{
    Identity plain = identity_of(job);
    EXPECT_EQ(plain.input, "");
    EXPECT_EQ(plain.options, "");
    EXPECT_EQ(plain.image.size(), 64u);
    job.partial = true;
    EXPECT_EQ(identity_of(job).options, "partial ");
    job.accept_damage = true;
    EXPECT_EQ(identity_of(job).options, "partial accept-damage ");
    job.partial = false;
    EXPECT_EQ(identity_of(job).options, "accept-damage ");
    EXPECT_EQ(identity_of(job).image, plain.image);
    job.page = true;
    EXPECT_EQ(identity_of(job).options, "accept-damage ") << "the result is the same";
    for (const char *file : {"/update_config", "/syntax_v510.txt", "/system.conf.predefine"}) {
        std::string before = image().read(std::string("/image") + file);
        image().write(std::string("/image") + file, before + "#\n");
        EXPECT_NE(identity_of(job).image, plain.image) << file;
        image().write(std::string("/image") + file, before);
    }
    EXPECT_EQ(identity_of(job).image, plain.image);
}
