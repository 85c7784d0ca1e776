/* What `migr fleet ...` is asked and what it tells, with results that are made up: what a run does is tested in
 * fleet/. */
#include "fleet/fleet.h"

#include "fleet/entries.h"
#include "fleet/remote.h"
#include "support/json_value.h"
#include "system/gzip_text.h"
#include "unit/cli/made_up_parallel.h"
#include "unit/cli/small_image.h"

#include <gtest/gtest.h>

#include <filesystem>

using command::EntryEnd;
using command::EntryJob;
using command::EntryResult;
using command::identity_line;
using command::identity_of;
using command::line_of;

namespace {

namespace fs = std::filesystem;
using support::holds;
using support::JsonValue;
using support::migr;
using support::Outcome;
using Strings = std::vector<std::string>;

class FleetCommand : public support::SmallImageTest {
  protected:
    FleetCommand()
    {
        for (const char *name : {"a", "b", "c d"})
            place.write(std::string("/in/") + name, name);
    }
    std::string path(const std::string &name) const
    {
        return place.path().string() + "/" + name;
    }
    EntryResult result_of(const std::string &name, EntryEnd end = EntryEnd::upgraded) const
    {
        EntryJob    job = {"", "", image().folder()};
        EntryResult result;
        result.entry = name;
        result.end = end;
        result.output = end == EntryEnd::upgraded ? "appliances/" + name : "";
        result.identity = identity_of(job);
        result.identity.input = command::digest_of_entry(path("in/" + name), command::form_of(path("in/" + name)));
        if (end == EntryEnd::refused || end == EntryEnd::failed)
            command::take_reason({"It is damaged.", "It is damaged."}, result);
        return result;
    }
    void write_results(const std::vector<EntryResult> &results, const std::string &folder = "out") const
    {
        std::string lines;
        for (const EntryResult &one : results)
            lines += line_of(one);
        place.write("/" + folder + "/fleet.jsonl", lines);
    }
    Outcome fleet(Strings words) const
    {
        words.insert(words.begin(), "fleet");
        return migr(words);
    }
    Outcome upgrade(Strings more = {}) const
    {
        more.insert(more.begin(), {"upgrade", path("in"), path("out"), "--image", image().folder()});
        return fleet(more);
    }

    /* A job's line, and its result. */
    void job_gives(const EntryResult &result) const
    {
        parallel.root().write("/line", line_of(result));
        parallel.does("echo " + std::string(name_of(result.end)) + " " + result.entry + "; cat $here/line >>'" +
                      path("out/fleet.jsonl") + "'");
    }

    support::ApplianceRoot  place;
    support::MadeUpParallel parallel;
};

/* Two sides, whose results are there already. */
class FleetComparison : public FleetCommand {
  protected:
    FleetComparison()
    {
        write_sides({result_of("a"), result_of("b"), result_of("c d")});
        write_ledger("old", "x");
        write_ledger("new", "x");
    }
    void write_sides(const std::vector<EntryResult> &results) const
    {
        write_results(results, "both/old");
        write_results(results, "both/new");
    }
    void write_ledger(const std::string &side, const std::string &dropped) const
    {
        JsonValue entry = {{"fate", "dropped"},    {"in", {3, 3}},        {"path", {"lab desk", "a", dropped}},
                           {"before", "set it\n"}, {"out_file", nullptr}, {"after", nullptr},
                           {"causes", {0}}};
        JsonValue file = {
            {"file", "sys_global.conf.gz"},
            {"result", "upgraded"},
            {"account", {{"entries", dropped.empty() ? JsonValue::array() : JsonValue::array({entry, entry})}}}};
        JsonValue ledger = {{"files", {file}},
                            {"causes", {{{"release", "6.00"}, {"mechanism", "stage"}, {"name", "_x"}}}},
                            {"effects", JsonValue::array()}};
        for (const char *name : {"a", "b", "c d"})
            place.write("/both/" + side + "/ledgers/" + name + ".json.gz", command::gzip(ledger.dump()));
    }
    Outcome compare(Strings more = {}) const
    {
        Strings words = {"compare", path("in"), "-o", path("both")};
        if (std::find(more.begin(), more.end(), "--image") == more.end())
            words.insert(words.end(), {"--image", image().folder(), "--image", image().folder()});
        words.insert(words.end(), more.begin(), more.end());
        return fleet(words);
    }
    std::string sides() const
    {
        return "migr: the old side, with " + image().folder() + "\nmigr: the new side, with " + image().folder() + "\n";
    }
};

} // namespace

TEST_F(FleetCommand, ListsACommandForEachAppliance)
{
    place.write("/in/.hidden", "");
    place.write("/in/odd\x1b", "");
    Outcome run =
        fleet({"list", path("in"), path("out"), "--image", image().folder(), "--partial", "--accept-damage", "--html"});
    std::string begin = fs::read_symlink("/proc/self/exe").string() + " fleet one --image " + image().folder() +
                        " --partial --accept-damage --html ";
    EXPECT_EQ(run.status, 1) << "of one of them nobody can have a job";
    EXPECT_EQ(run.out, begin + path("in/a") + " " + path("out") + "\n" + begin + path("in/b") + " " + path("out") +
                           "\n" + begin + "'" + path("in/c d") + "' " + path("out") + "\n");
    EXPECT_EQ(run.err, "migr: odd\\x1b: Its name has characters that a terminal or a shell might act on. Give it "
                       "another one.\n");
    fs::remove(path("in/odd\x1b"));
    run = fleet({"list", path("in"), path("out")});
    EXPECT_EQ(run.status, 0);
    EXPECT_FALSE(holds(run.out, " --"));
    run = fleet({"list", path("in"), path("in/out")});
    EXPECT_EQ(run.status, 2);
    EXPECT_TRUE(holds(run.err, "which is not written to"));
    EXPECT_FALSE(fs::exists(path("out"))) << "it only lists";
}

TEST_F(FleetCommand, TellsWhatAMachineIs)
{
    EntryJob job = {"", "", image().folder()};
    Outcome  run = fleet({"identity", "--image", image().folder()});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, identity_line(identity_of(job)) + "\n");
    EXPECT_TRUE(run.out.starts_with("migr ")) << run.out;
    EXPECT_TRUE(holds(run.out, " for " MIGR_IMAGE_RELEASE ", image " + identity_of(job).image)) << run.out;
}

TEST_F(FleetCommand, DoesOne)
{
    place.write("/in/desk.conf", support::headers("5.50") + "config lab desk\n    set tint green\nend\n");
    place.write("/in/bad.conf", support::headers("5.50") + "config lab desk\n    sett tint green\nend\n");
    auto one = [&](const std::string &name, Strings more) {
        more.insert(more.begin(), {"one", path("in/" + name), path("out"), "--image", image().folder()});
        return fleet(more);
    };
    Outcome run = one("desk.conf", {});
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_EQ(run.out, "upgraded desk.conf\n") << "what is said of it is in its answer";
    EXPECT_EQ(run.err, "");
    EXPECT_FALSE(place.exists("/out/reports/desk.conf.html"));
    run = one("desk.conf", {"--html"});
    EXPECT_TRUE(place.exists("/out/reports/desk.conf.html"));
    run = one("bad.conf", {});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "refused bad.conf\n");
    run = one("bad.conf", {"--accept-damage"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "upgraded bad.conf\n");
    run = fleet({"one", path("in/desk.conf"), "/none/out", "--image", image().folder()});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_TRUE(run.err.starts_with("migr: /none/out: cannot make it")) << run.err;
}

TEST_F(FleetCommand, SaysOnceWhatCameOfAll)
{
    write_results({result_of("a"), result_of("b", EntryEnd::refused)});
    Outcome run = fleet({"summary", path("out")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out,
              "\nWhy not\n  It is damaged: 1 appliance, first b\n\n1 upgraded, 0 current, 1 refused, 0 failed.\n");
    JsonValue answer = JsonValue::parse(fleet({"summary", path("out"), "--json"}).out);
    EXPECT_EQ(answer["command"], "fleet summary");
    EXPECT_EQ(answer["status"], 1);
    EXPECT_EQ(answer["upgraded"], 1);
    EXPECT_EQ(answer["reasons"].size(), 1u);
    write_results({result_of("a")});
    EXPECT_EQ(fleet({"summary", path("out")}).status, 0);
    EXPECT_EQ(fleet({"summary", path("in")}).status, 2);
}

TEST_F(FleetCommand, CutsNoListIfAllIsWanted)
{
    EntryResult result = result_of("a");
    for (int number = 0; number < 9; number++)
        result.findings.push_back({false, "Finding " + std::to_string(number) + ".", 1, "f", "text"});
    write_results({result});
    EXPECT_TRUE(holds(fleet({"summary", path("out")}).out, "  and 1 more (--all)\n"));
    EXPECT_FALSE(holds(fleet({"summary", path("out"), "--all"}).out, "more (--all)"));
    write_results({result, result_of("b"), result_of("c d")});
    EXPECT_TRUE(holds(upgrade({"--resume"}).out, "  and 1 more (--all)\n"));
    EXPECT_FALSE(holds(upgrade({"--resume", "--all"}).out, "more (--all)"));
}

TEST_F(FleetCommand, UpgradesAllAndSaysHowItWent)
{
    write_results({result_of("a")});
    place.write("/in/.hidden", "");
    job_gives(result_of("b"));
    Outcome run = upgrade({"--resume"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "Left out, as their names begin with a dot: 1.\n"
                       "Done before, and left as they are: 1.\n"
                       "Not tried: 1. Go on with: migr fleet upgrade " +
                           path("in") + " " + path("out") +
                           " --resume\n\n2 upgraded, 0 current, 0 refused, 0 failed.\n");
    EXPECT_EQ(run.err, "[1/2] upgraded b\n") << "how far it is goes elsewhere";
    write_results({result_of("a"), result_of("b"), result_of("c d", EntryEnd::refused)});
    fs::remove(path("in/.hidden"));
    run = upgrade({"--resume"});
    EXPECT_EQ(run.status, 1) << "one was refused";
    EXPECT_EQ(run.out, "Done before, and left as they are: 3.\n\nWhy not\n  It is damaged: 1 appliance, first c d\n\n2 "
                       "upgraded, 0 current, 1 refused, 0 failed.\n");
    write_results({result_of("a"), result_of("b"), result_of("c d")});
    EXPECT_EQ(upgrade({"--resume"}).status, 0);
    EXPECT_EQ(upgrade().status, 2);
}

TEST_F(FleetCommand, TellsAProgramHowItWent)
{
    write_results({result_of("a")});
    place.write("/in/.hidden", "");
    job_gives(result_of("b", EntryEnd::current));
    Outcome run = upgrade({"--resume", "--json"});
    EXPECT_EQ(run.err, "");
    JsonValue answer = JsonValue::parse(run.out);
    EXPECT_EQ(answer["command"], "fleet upgrade");
    EXPECT_EQ(answer["status"], 1);
    EXPECT_EQ(answer["in"], path("in"));
    EXPECT_EQ(answer["out"], path("out"));
    EXPECT_EQ(answer["done_before"], 1);
    EXPECT_EQ(answer["left"], 1);
    EXPECT_EQ(answer["hidden"], 1);
    EXPECT_EQ(answer["upgraded"], 1);
    EXPECT_EQ(answer["current"], 1);
    EXPECT_EQ(run.status, 1);
}

TEST_F(FleetCommand, AsksForJobsAsItIsAsked)
{
    upgrade({"--jobs", "2", "--timeout", "30", "--halt", "soon,fail=1", "--partial", "--html"});
    Strings     words = parallel.arguments();
    std::string all;
    for (const std::string &word : words)
        all += word + " ";
    EXPECT_TRUE(holds(all, " --jobs 2 --timeout 30 --halt soon,fail=1 ")) << all;
    EXPECT_TRUE(holds(place.read("/out/.fleet/jobs"), " --partial --html " + path("in/a") + " "));
    Outcome run =
        fleet({"upgrade", path("in"), path("out"), "--resume", "--hosts", "/none", "--image", image().folder()});
    EXPECT_EQ(run.status, 2);
    EXPECT_TRUE(run.err.starts_with("migr: /none: cannot read it")) << run.err;
}

TEST_F(FleetCommand, WritesAnIndexOfThePages)
{
    write_results({result_of("a"), result_of("b"), result_of("c d")});
    EXPECT_FALSE(holds(upgrade({"--resume"}).out, "Index"));
    EXPECT_FALSE(place.exists("/out/index.html"));
    Outcome run = upgrade({"--resume", "--html"});
    EXPECT_TRUE(run.out.ends_with("Index of the reports: " + path("out/index.html") + "\n")) << run.all();
    EXPECT_TRUE(holds(place.read("/out/index.html"), "c d"));
}

TEST_F(FleetComparison, FindsNothingBetweenTheSame)
{
    Outcome run = compare();
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_EQ(run.out, "Nothing comes out otherwise.\n");
    EXPECT_EQ(run.err, sides());
    EXPECT_EQ(parallel.calls(), 0u) << "it goes on with what is there";
}

TEST_F(FleetComparison, ShowsEachDifference)
{
    write_ledger("new", "y");
    Outcome run = compare();
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "- dropped lab desk / * / x, 6.00 stage _x: 3 appliances, 6 times\n"
                       "    a: sys_global.conf.gz: lab desk / a / x: set it\n"
                       "+ dropped lab desk / * / y, 6.00 stage _x: 3 appliances, 6 times\n"
                       "    a: sys_global.conf.gz: lab desk / a / y: set it\n"
                       "2 differences: - only with the old, + only with the new.\n");
    write_ledger("new", "");
    EXPECT_TRUE(compare().out.ends_with("\n1 difference: - only with the old, + only with the new.\n"));
    JsonValue answer = JsonValue::parse(compare({"--json"}).out);
    EXPECT_EQ(answer["command"], "fleet compare");
    EXPECT_EQ(answer["status"], 1);
    ASSERT_EQ(answer["differences"].size(), 1u);
    EXPECT_EQ(answer["differences"][0]["side"], "old");
    EXPECT_EQ(answer["accepted"], 0);
    EXPECT_EQ(answer["gone"], JsonValue::array());
}

TEST_F(FleetComparison, NamesAnApplianceOnce)
{
    write_sides({result_of("a"), result_of("b"), result_of("c d")});
    write_results({result_of("a"), result_of("b"), result_of("c d", EntryEnd::current)}, "both/new");
    Outcome run = compare();
    EXPECT_TRUE(holds(run.out, "+ result current: 1 appliance\n    c d: current\n")) << run.out;
}

TEST_F(FleetComparison, LeavesOutWhatIsAccepted)
{
    std::string expect = path("expect");
    write_ledger("new", "");
    Outcome run = compare({"--expect", expect, "--accept"});
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_EQ(run.out, "Nothing comes out otherwise than is accepted.\n");
    JsonValue answer = JsonValue::parse(compare({"--expect", expect, "--json"}).out);
    EXPECT_EQ(answer["accepted"], 1);
    EXPECT_EQ(answer["differences"], JsonValue::array());
    write_ledger("new", "x");
    run = compare({"--expect", expect});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "Nothing comes out otherwise than is accepted.\n");
    EXPECT_EQ(run.err, sides() + "migr: no longer found: - dropped lab desk / * / x 6.00 stage _x\n");
    answer = JsonValue::parse(compare({"--expect", expect, "--json"}).out);
    EXPECT_EQ(answer["accepted"], 0);
    EXPECT_EQ(answer["gone"].size(), 1u);
}

TEST_F(FleetComparison, SaysNothingOfAllWithoutAll)
{
    write_sides({result_of("a"), result_of("b"), result_of("c d", EntryEnd::failed)});
    parallel.does("printf '1\\t:\\t1\\t1\\t0\\t0\\t1\\t0\\tx\\n' >>$log");
    Outcome run = compare();
    EXPECT_EQ(run.status, 3);
    EXPECT_TRUE(run.err.ends_with("migr: 1 appliance could not be tried, so nothing can be said of all. See migr fleet "
                                  "upgrade for what is wrong.\n"))
        << run.err;
    fs::remove(path("both/old/fleet.jsonl"));
    parallel.does("");
    EXPECT_TRUE(holds(compare().err, "3 appliances could not be tried")) << "none has a result";
    fs::remove_all(path("in"));
    fs::create_directory(path("in"));
    run = compare();
    EXPECT_EQ(run.status, 2);
    EXPECT_TRUE(run.err.ends_with("migr: " + path("in") + " holds no appliance.\n")) << run.err;
    for (EntryEnd end : {EntryEnd::upgraded, EntryEnd::current, EntryEnd::refused}) {
        place.write("/in/a", "");
        write_sides({result_of("a", end)});
        EXPECT_EQ(compare().status, 0) << "one is enough";
    }
}

TEST_F(FleetComparison, NeedsTwoSides)
{
    std::string nothing = "migr: There is nothing to compare. Name two images, the old one first (--image OLD --image "
                          "NEW), or an older command (--migr OLD).\n";
    EXPECT_EQ(fleet({"compare", path("in")}).err, nothing);
    EXPECT_EQ(fleet({"compare", path("in"), "--image", "/a"}).err, nothing);
    EXPECT_EQ(fleet({"compare", path("in"), "--image", "/a", "--image", "/b", "--image", "/c", "--migr", "/d"}).err,
              nothing);
    Outcome run = fleet({"compare", path("in"), "--migr", "/d", "--accept"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "migr: Name the file that differences are accepted in (--expect FILE).\n");
    run = fleet({"compare", path("in"), "--migr", "/d", "--expect", path("misspelt")});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "migr: " + path("misspelt") + ": there is no such file. Have it written with --accept.\n");
}

/* Only the old side is another command's. */
TEST_F(FleetComparison, TakesAnOlderCommandForTheOldSide)
{
    fs::remove_all(path("both"));
    parallel.does("cat $jobs >>$here/jobs");
    Outcome run = compare({"--migr", "/the old/migr", "--image", image().folder(), "--jobs", "5", "--accept-damage"});
    EXPECT_EQ(run.status, 3) << "no job has a result";
    EXPECT_EQ(run.err.substr(0, run.err.find('\n') + 1), "migr: the old side, with " + image().folder() + "\n");
    EXPECT_TRUE(parallel.root().read("/jobs").starts_with("'/the old/migr' fleet one --image " + image().folder() +
                                                          " --accept-damage " + path("in/a") + " " +
                                                          path("both/old\n")));
    Strings words = parallel.arguments();
    EXPECT_EQ(words[words.size() - 1], "5");
    place.write("/file", "");
    run = compare({"--migr", "/m", "-o", path("file/below")});
    EXPECT_NE(run.status, 0);
}

TEST_F(FleetComparison, LeavesNothingThatWasNotAskedFor)
{
    parallel.does("ls -d $(dirname $(dirname $log))/../../* >$here/seen");
    Outcome run = fleet({"compare", path("in"), "--image", image().folder(), "--image", image().folder()});
    EXPECT_EQ(run.status, 3);
    std::string log;
    Strings     words = parallel.arguments();
    for (size_t at = 0; at + 1 < words.size(); at++)
        if (words[at] == "--joblog")
            log = words[at + 1];
    EXPECT_TRUE(holds(log, "/old/.fleet/log")) << log;
    EXPECT_FALSE(fs::exists(log));
    EXPECT_FALSE(fs::exists(fs::path(log).parent_path().parent_path().parent_path()));
}
