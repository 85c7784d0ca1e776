/* A whole fleet's run, without its upgrades: what is handed out, what is left out since it is done, and what is said of
 * appliances that nobody answered for. Results are made up. */
#include "fleet/fleet.h"

#include "fleet/bundle.h"
#include "fleet/entries.h"
#include "fleet/results_folder.h"
#include "support/json_value.h"
#include "unit/cli/command_support.h"
#include "unit/cli/failing_calls.h"
#include "unit/cli/made_up_parallel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sstream>

using namespace command;

namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

class FleetRunTest : public testing::Test {
  protected:
    FleetRunTest()
    {
        for (const char *name : {"a", "b", "c d"})
            place.write(std::string("/in/") + name, name);
        request.migr = "/the/migr";
        request.in = path("in");
        request.job.out = path("out");
        request.job.image = image.path();
    }
    std::string path(const std::string &name) const
    {
        return place.path().string() + "/" + name;
    }
    EntryResult result_of(const std::string &name, EntryEnd end = EntryEnd::upgraded) const
    {
        EntryResult result;
        result.entry = name;
        result.end = end;
        result.identity = identity_of(request.job);
        result.identity.input = digest_of_entry(path("in/" + name), form_of(path("in/" + name)));
        return result;
    }
    /* Results that come of the jobs; then the made-up program does what is left to say. */
    void jobs_give(const std::vector<EntryResult> &results, const std::string &more = "") const
    {
        std::string lines;
        for (const EntryResult &one : results)
            lines += line_of(one);
        parallel.root().write("/lines", lines);
        parallel.does("cp $jobs $here/jobs; cat $here/lines >>'" + path("out/fleet.jsonl") + "'\n" + more);
    }
    FleetRun run()
    {
        Interrupts interrupts;
        index = std::make_unique<FleetIndex>();
        return upgrade_fleet(request, *index, interrupts);
    }
    /* What it ends for. */
    std::string fault(Status status)
    {
        return support::failure_of(status, [this] { run(); });
    }
    /* "a: upgraded" and so on, with the reason against it. */
    Strings results() const
    {
        Strings all;
        index->for_each_result([&](const ListedResult &one) {
            all.push_back(one.entry + ": " + name_of(one.end) + (one.why.empty() ? "" : ", " + one.why));
        });
        std::sort(all.begin(), all.end());
        return all;
    }
    std::string job(const std::string &name) const
    {
        return "/the/migr fleet one --image " + image.path() + " " + name + " " + path("out") + "\n";
    }

    support::TinyImage          image;
    support::ApplianceRoot      place;
    support::MadeUpParallel     parallel;
    FleetRequest                request;
    std::unique_ptr<FleetIndex> index;
};

} // namespace

TEST_F(FleetRunTest, HasAJobForEachAppliance)
{
    request.at_once = 3;
    request.timeout = 9;
    request.halt = "now,fail=1";
    jobs_give({result_of("a"), result_of("b", EntryEnd::current), result_of("c d")});
    place.write("/in/.hidden", "");
    FleetRun done = run();
    EXPECT_EQ(done.done_before, 0u);
    EXPECT_EQ(done.left, 0u);
    EXPECT_EQ(done.hidden, 1u);
    EXPECT_EQ(results(), (Strings{"a: upgraded", "b: current", "c d: upgraded"}));
    EXPECT_EQ(parallel.root().read("/jobs"), job(path("in/a")) + job(path("in/b")) + job("'" + path("in/c d") + "'"));
    std::string work = path("out/.fleet/");
    EXPECT_EQ(parallel.arguments(),
              (Strings{"--plain", "--termseq", "TERM,10000,KILL,25", "--joblog", work + "log", "--no-run-if-empty",
                       "--arg-file", work + "jobs", "--jobs", "3", "--timeout", "9", "--halt", "now,fail=1"}));
}

TEST_F(FleetRunTest, DoesNothingTwice)
{
    jobs_give({result_of("a"), result_of("b"), result_of("c d")});
    run();
    EXPECT_EQ(fault(Status::unusable), path("out") + " has results already. Go on with migr fleet upgrade " +
                                           path("in") + " " + path("out") + " --resume, or name another folder.");
    request.resume = true;
    FleetRun again = run();
    EXPECT_EQ(again.done_before, 3u);
    EXPECT_EQ(again.left, 0u);
    EXPECT_EQ(parallel.calls(), 1u);
    EXPECT_EQ(results().size(), 3u);
    place.write("/in/b", "changed");
    jobs_give({result_of("b")});
    again = run();
    EXPECT_EQ(again.done_before, 2u);
    EXPECT_EQ(parallel.root().read("/jobs"), job(path("in/b")));
    fs::remove(path("in/b"));
    fs::create_symlink("/nowhere", path("in/b"));
    jobs_give({});
    EXPECT_EQ(run().done_before, 2u);
    EXPECT_EQ(parallel.root().read("/jobs"), job(path("in/b"))) << "its own process tells what it is";
}

TEST_F(FleetRunTest, TriesWhatFailedAnew)
{
    jobs_give({result_of("a"), result_of("b", EntryEnd::failed), result_of("c d", EntryEnd::refused)});
    run();
    request.resume = true;
    EXPECT_EQ(run().done_before, 2u);
    EXPECT_EQ(parallel.root().read("/jobs"), job(path("in/b")));
}

TEST_F(FleetRunTest, AnswersForJobsThatGaveNone)
{
    request.timeout = 7;
    jobs_give({result_of("a")}, "printf '1\\t:\\t1\\t1\\t0\\t0\\t1\\t0\\tx\\n2\\t:\\t1\\t1\\t0\\t0\\t0\\t9\\tx\\n"
                                "3\\t:\\t1\\t1\\t0\\t0\\t-1\\t15\\tx\\n' >>$log");
    FleetRun done = run();
    EXPECT_EQ(results(),
              (Strings{"a: upgraded", "b: failed, Its process was ended by a signal (Killed). Try it again.",
                       "c d: failed, It took longer than the 7 s that an appliance may take. Try it with more "
                       "(--timeout)."}));
    EXPECT_EQ(done.left, 0u);
    request.resume = true;
    request.timeout.reset();
    jobs_give({}, "printf '1\\t:\\t1\\t1\\t0\\t0\\t3\\t0\\tx\\n2\\t:\\t1\\t1\\t0\\t0\\t-1\\t15\\tx\\n' >>$log");
    run();
    EXPECT_EQ(results()[1], "b: failed, Its process ended with the status 3 ahead of a result.");
    EXPECT_EQ(results()[2], "c d: failed, Its process was ended by a signal (Terminated). Try it again.");
    std::string last;
    for_each_line(path("out/fleet.jsonl"), [&](const std::string &line, size_t) { last = line; });
    support::JsonValue line = support::JsonValue::parse(last);
    EXPECT_EQ(line["form"], "file");
    EXPECT_EQ(line["image"], identity_of(request.job).image);
}

TEST_F(FleetRunTest, CountsWhatNobodyTried)
{
    jobs_give({result_of("b")});
    EXPECT_EQ(run().left, 2u);
    EXPECT_EQ(results(), Strings{"b: upgraded"});
}

TEST_F(FleetRunTest, RefusesNamesThatAreNone)
{
    place.write("/in/line\nbreak", "");
    jobs_give({result_of("a"), result_of("b"), result_of("c d")});
    run();
    EXPECT_EQ(results()[3], "line\\nbreak: refused, Its name has characters that a terminal or a shell might act on. "
                            "Give it another one.");
    EXPECT_EQ(parallel.root().read("/jobs"), job(path("in/a")) + job(path("in/b")) + job("'" + path("in/c d") + "'"));
}

TEST_F(FleetRunTest, NeedsNobodyForNothing)
{
    fs::remove_all(path("in"));
    fs::create_directory(path("in"));
    FleetRun done = run();
    EXPECT_EQ(done.left, 0u);
    EXPECT_EQ(parallel.calls(), 0u);
    EXPECT_TRUE(results().empty());
}

TEST_F(FleetRunTest, TellsHowFarItIs)
{
    for (int number = 0; number < 4; number++)
        place.write("/in/more" + std::to_string(number), "");
    jobs_give({}, "for i in 1 2 3 4 5 6 7; do echo done $i; done");
    support::Outcome outcome = support::run_process([&] {
        request.progress = stdout;
        run();
        return 0;
    });
    EXPECT_EQ(outcome.out, "[1/7] done 1\n[2/7] done 2\n[3/7] done 3\n[4/7] done 4\n"
                           "[5/7] done 5, about 1 s left\n[6/7] done 6, about 1 s left\n[7/7] done 7\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(FleetRunTest, TellsMinutesOfManyThatTakeThem)
{
    for (int number = 0; number < 1500; number++)
        place.write("/in/more" + std::to_string(number), "");
    jobs_give({}, "sleep 0.2; for i in 1 2 3 4 5; do echo done; done");
    support::Outcome outcome = support::run_process([&] {
        request.progress = stdout;
        run();
        return 0;
    });
    size_t           last = outcome.out.find("[5/1503] done, about ");
    ASSERT_NE(last, outcome.out.npos) << outcome.out;
    int minutes = 0;
    EXPECT_EQ(sscanf(outcome.out.c_str() + last, "[5/1503] done, about %d min left\n", &minutes), 1) << outcome.out;
    EXPECT_TRUE(outcome.out.ends_with(" min left\n")) << outcome.out;
    EXPECT_GE(minutes, 2) << "299 times what five took";
}

TEST_F(FleetRunTest, TellsWhatIsComplainedOf)
{
    jobs_give({}, "echo it is odd >&2");
    EXPECT_EQ(support::run_process([&] { return run(), 0; }).err, "migr: it is odd\n");
}

TEST_F(FleetRunTest, StopsAtASignal)
{
    jobs_give({result_of("a")}, "echo; exec sleep 20");
    auto stopped = [&](bool at_once) {
        return support::run_process([&] {
            Interrupts interrupts;
            if (at_once)
                raise(SIGTERM);
            else
                support::signal_soon(SIGTERM, [&] { return fs::exists(path("out/fleet.jsonl")); });
            FleetIndex here;
            try {
                upgrade_fleet(request, here, interrupts);
            } catch (const Failure &failure) {
                printf("%s", failure.what());
                return static_cast<int>(failure.status);
            }
            return 0;
        });
    };
    EXPECT_EQ(stopped(true).out, "Stopped by a signal. Nothing was begun.");
    EXPECT_EQ(parallel.calls(), 0u);
    support::Outcome late = stopped(false);
    EXPECT_EQ(late.status, 3);
    EXPECT_EQ(late.out, "Stopped by a signal. What was done stays. Go on with: migr fleet upgrade " + path("in") + " " +
                            path("out") + " --resume");
}

TEST_F(FleetRunTest, SweepsWhatAKilledJobLeft)
{
    jobs_give({});
    place.write("/out/.fleet/.migr-private-abcdef/copy/x", "of a job that was killed");
    EXPECT_EQ(run().left, 3u);
    EXPECT_FALSE(place.exists("/out/.fleet/.migr-private-abcdef"));
}

TEST_F(FleetRunTest, TakesInWhatCameBackToNobody)
{
    std::string            lines = line_of(result_of("a"));
    support::ApplianceRoot returned;
    returned.write("/fleet.jsonl", lines + line_of(result_of("b")));
    returned.write("/appliances/a", "of another machine");
    returned.write("/appliances/b", "of another machine");
    place.write("/out/fleet.jsonl", lines);
    place.write("/out/appliances/a", "of this one");
    place.folder("/out/.fleet/shipments");
    pack_bundle(returned.path().string(), path("out/.fleet/shipments/00000001.returned"));
    request.resume = true;
    jobs_give({});
    EXPECT_EQ(run().done_before, 2u);
    EXPECT_EQ(place.read("/out/appliances/a"), "of this one");
    EXPECT_EQ(place.read("/out/appliances/b"), "of another machine");
    EXPECT_FALSE(place.exists("/out/.fleet/shipments"));
    EXPECT_EQ(parallel.root().read("/jobs"), job("'" + path("in/c d") + "'"));
}

/* Machines that give an answer each time, and take or leave the jobs. */
class FleetThere : public FleetRunTest {
  protected:
    FleetThere()
    {
        parallel.root().write("/hosts", "north\nsouth\n");
        request.hosts = parallel.folder() + "/hosts";
    }
    void machines_do(const std::string &work) const
    {
        Identity identity = identity_of(request.job);
        parallel.does("case \"$(cat $here/arguments)\" in\n"
                      "*--nonall*) printf 'north\\t" +
                      identity.version + ", image " + identity.image + "\\n'; exit 1 ;;\nesac\n" + work);
    }
    /* What comes back for one of them. */
    void write_returned(const std::string &name) const
    {
        support::ApplianceRoot returned;
        returned.write("/fleet.jsonl", line_of(result_of(name)));
        returned.write("/appliances/" + name, "of another machine");
        pack_bundle(returned.path().string(), parallel.folder() + "/returned of " + name);
    }
};

TEST_F(FleetThere, SendsAndTakesWhatComesBack)
{
    request.job.partial = request.job.accept_damage = request.job.page = true;
    for (const char *name : {"a", "b", "c d"})
        write_returned(name);
    machines_do("cp $jobs $here/jobs; cp \"$here/returned of a\" 00000001.returned; echo upgraded a\n"
                "cp \"$here/returned of b\" 00000002.returned; cp \"$here/returned of c d\" 00000003.returned");
    FleetRun done = run();
    EXPECT_EQ(done.left, 0u);
    EXPECT_EQ(results(), (Strings{"a: upgraded", "b: upgraded", "c d: upgraded"}));
    EXPECT_EQ(place.read("/out/appliances/c d"), "of another machine");
    EXPECT_EQ(parallel.root().read("/jobs"), "00000001.sent\n00000002.sent\n00000003.sent\n");
    EXPECT_EQ(parallel.calls(), 3u) << "two questions, and one round";
    EXPECT_FALSE(place.exists("/out/.fleet/shipments"));
    EXPECT_EQ(place.read("/out/.fleet/hosts"), "north\n");
}

TEST_F(FleetThere, SaysHowItIsDone)
{
    request.job.partial = request.job.accept_damage = request.job.page = true;
    request.halt = "now,fail=1";
    machines_do("cp $here/arguments $here/last; pwd >$here/pwd");
    run();
    Strings            words;
    std::istringstream lines(parallel.root().read("/last"));
    for (std::string line; std::getline(lines, line);)
        words.push_back(line);
    std::string work = path("out/.fleet/");
    EXPECT_EQ(words, (Strings{"--plain",
                              "--termseq",
                              "TERM,10000,KILL,25",
                              "--joblog",
                              work + "log",
                              "--no-run-if-empty",
                              "--arg-file",
                              work + "jobs",
                              "--halt",
                              "now,fail=1",
                              "--sshloginfile",
                              work + "hosts",
                              "--workdir",
                              "...",
                              "--transferfile",
                              "{}",
                              "--return",
                              "{.}.returned",
                              "--cleanup",
                              "migr",
                              "fleet",
                              "one",
                              "--sent",
                              "{}",
                              "{.}.returned",
                              "--image",
                              image.path(),
                              "--partial",
                              "--accept-damage",
                              "--html"}));
    EXPECT_EQ(parallel.root().read("/pwd"), work + "shipments\n");
    EXPECT_TRUE(results().empty()) << "it was halted, so nobody need answer";
}

TEST_F(FleetThere, TriesThreeRounds)
{
    machines_do("cat $jobs >>$here/jobs");
    run();
    EXPECT_EQ(parallel.calls(), 6u);
    EXPECT_EQ(parallel.root().read("/jobs").size(), 3 * 3 * strlen("00000001.sent\n"));
    std::string why = "No machine gave an answer for it. See that they are there, and that they need no password.";
    EXPECT_EQ(results(), (Strings{"a: failed, " + why, "b: failed, " + why, "c d: failed, " + why}));
}

TEST_F(FleetThere, GoesOnWithWhatHasNoAnswer)
{
    write_returned("b");
    machines_do("cat $jobs >>$here/jobs; [ -e 00000002.sent ] && cp \"$here/returned of b\" 00000002.returned");
    run();
    std::string once = "00000001.sent\n00000003.sent\n";
    EXPECT_EQ(parallel.root().read("/jobs"), "00000001.sent\n00000002.sent\n00000003.sent\n" + once + once);
}

TEST_F(FleetThere, IsOverWhenNobodyAnswers)
{
    parallel.does("exit 1");
    run();
    EXPECT_EQ(parallel.calls(), 1u);
    EXPECT_EQ(results().size(), 3u);
}

TEST_F(FleetThere, StopsAtASignal)
{
    write_returned("a");
    machines_do("cp \"$here/returned of a\" 00000001.returned; echo x >$here/ready; exec sleep 20");
    support::Outcome outcome = support::run_process([&] {
        Interrupts interrupts;
        support::signal_soon(SIGTERM, [&] { return parallel.root().exists("/ready"); });
        FleetIndex here;
        try {
            upgrade_fleet(request, here, interrupts);
        } catch (const Failure &failure) {
            printf("%s", failure.what());
        }
        return 0;
    });
    EXPECT_TRUE(outcome.out.starts_with("Stopped by a signal. What was done stays. Go on with: ")) << outcome.out;
    EXPECT_EQ(place.read("/out/appliances/a"), "of another machine") << "what has come is taken in";
}
