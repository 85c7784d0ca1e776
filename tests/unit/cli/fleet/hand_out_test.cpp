/* How jobs are handed out: what is asked of GNU parallel, and what is made of what it says. A made-up one answers. */
#include "fleet/hand_out.h"

#include "system/failure.h"
#include "unit/cli/failing_calls.h"
#include "unit/cli/made_up_parallel.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

using namespace command;

namespace {

using Strings = std::vector<std::string>;

class HandOutTest : public testing::Test {
  protected:
    HandOutTest()
    {
        request.log = parallel.folder() + "/log";
        request.jobs = "jobs";
        request.printed = [this](const std::string &line) { printed.push_back(line); };
        request.complained = [this](const std::string &line) { complained.push_back(line); };
    }
    bool goes_on()
    {
        Interrupts interrupts;
        return hand_out(request, interrupts);
    }
    std::string fault()
    {
        return support::failure_of(Status::unusable, [this] { goes_on(); });
    }

    support::MadeUpParallel parallel;
    HandOut                 request;
    Strings                 printed, complained;
};

/* With the folders that are looked through set to others, as long as it lives. */
class Folders {
  public:
    explicit Folders(const char *folders) : before_(getenv("PATH"))
    {
        if (folders)
            setenv("PATH", folders, 1);
        else
            unsetenv("PATH");
    }
    ~Folders()
    {
        setenv("PATH", before_.c_str(), 1);
    }

  private:
    std::string before_;
};

constexpr char missing[] =
    "GNU parallel is not there, which hands out a fleet's jobs. Install it (on Debian: apt install "
    "parallel).";

} // namespace

TEST_F(HandOutTest, AsksForNoMoreThanThatWithoutWishes)
{
    EXPECT_TRUE(goes_on());
    EXPECT_EQ(parallel.arguments(), (Strings{"--plain", "--termseq", "TERM,10000,KILL,25", "--joblog", request.log,
                                             "--no-run-if-empty", "--arg-file", "jobs"}));
    request.jobs.clear();
    EXPECT_TRUE(goes_on());
    EXPECT_EQ(parallel.arguments(), (Strings{"--plain", "--termseq", "TERM,10000,KILL,25", "--joblog", request.log}));
}

TEST_F(HandOutTest, AsksForEachWish)
{
    request.at_once = 0;
    request.timeout = 7;
    request.halt = "soon,fail=10%";
    request.further = {"--tag", "a b"};
    request.template_ = {"migr", "{}"};
    EXPECT_TRUE(goes_on());
    EXPECT_EQ(parallel.arguments(), (Strings{"--plain", "--termseq", "TERM,10000,KILL,25", "--joblog", request.log,
                                             "--no-run-if-empty", "--arg-file", "jobs", "--jobs", "0", "--timeout", "7",
                                             "--halt", "soon,fail=10%", "--tag", "a b", "migr", "{}"}));
}

TEST_F(HandOutTest, TellsEachLineWhole)
{
    parallel.does("printf 'one\\ntw'; sleep 0.05; printf 'o\\n\\nand the last'; printf 'a complaint\\nand one' >&2");
    EXPECT_TRUE(goes_on());
    EXPECT_EQ(printed, (Strings{"one", "two", "and the last"}));
    EXPECT_EQ(complained, (Strings{"a complaint", "and one"}));
    request.printed = request.complained = nullptr;
    EXPECT_TRUE(goes_on()) << "nobody need listen";
}

TEST_F(HandOutTest, TellsMoreThanAPipeTakesAtOnce)
{
    parallel.does(
        "i=0; while [ $i -lt 3000 ]; do echo 'a line that is long enough for many of them'; i=$((i+1)); done");
    EXPECT_TRUE(goes_on());
    ASSERT_EQ(printed.size(), 3000u);
    for (const std::string &line : printed)
        ASSERT_EQ(line, "a line that is long enough for many of them");
}

TEST_F(HandOutTest, ListensToTheEndOfBoth)
{
    parallel.does("echo first; exec >&-; sleep 0.05; echo 'a late complaint' >&2");
    EXPECT_TRUE(goes_on());
    EXPECT_EQ(printed, Strings{"first"});
    EXPECT_EQ(complained, Strings{"a late complaint"});
    parallel.does("echo complaint >&2; exec 2>&-; sleep 0.05; echo 'a late line'");
    EXPECT_TRUE(goes_on());
    EXPECT_EQ(printed, (Strings{"first", "a late line"}));
}

TEST_F(HandOutTest, IsAWorldOfItsOwn)
{
    parallel.root().folder("/elsewhere");
    request.folder = parallel.folder() + "/elsewhere";
    parallel.does("cat; pwd; echo $PARALLEL_SHELL; set -- $(cat /proc/$$/stat); [ $1 = $5 ] && echo its own group");
    EXPECT_TRUE(goes_on());
    EXPECT_EQ(printed, (Strings{request.folder, "/bin/sh", "its own group"}))
        << "the terminal's signals reach none of its jobs";
}

TEST_F(HandOutTest, HoldsNoSignalBack)
{
    parallel.does(
        "grep SigBlk /proc/self/status | tr -d '\\t'; trap '' PIPE; grep SigIgn /proc/$$/status | tr -d '\\t'\n"
        "trap - PIPE; grep SigIgn /proc/$$/status | tr -d '\\t'");
    sighandler_t before = signal(SIGPIPE, SIG_IGN);
    EXPECT_TRUE(goes_on());
    signal(SIGPIPE, before);
    ASSERT_EQ(printed.size(), 3u);
    EXPECT_EQ(printed[0], "SigBlk:0000000000000000");
    EXPECT_NE(printed[1], printed[2]) << "a signal that was ignored ahead of it could not be asked for again";
}

TEST_F(HandOutTest, CountsBadJobsAsDone)
{
    for (const char *status : {"exit 1", "exit 101", "exit 127", "kill -KILL $$"}) {
        parallel.does(status);
        EXPECT_TRUE(goes_on()) << status;
    }
}

TEST_F(HandOutTest, SaysWhenItDidNothing)
{
    parallel.does("exit 255");
    EXPECT_EQ(fault(), "GNU parallel did not take its options. What it said stands above.");
    request.jobs.clear();
    EXPECT_EQ(fault(), "none") << "it counts machines then";
    for (const char *other : {"rm $log", "rm $log; exit 127"}) {
        parallel.does(other);
        EXPECT_EQ(fault(), missing) << other;
    }
    parallel.does("rm $log; kill -KILL $$");
    EXPECT_EQ(fault(), "none");
}

TEST_F(HandOutTest, TakesNoOldLogForItsOwn)
{
    parallel.root().write("/log", "of an earlier run");
    parallel.does("");
    std::filesystem::remove(parallel.folder() + "/bin/parallel");
    parallel.root().write("/bin/parallel", "#!/bin/sh\n", 0700);
    EXPECT_EQ(fault(), missing);
}

/* The first signal says to begin no more, the second to end what runs. */
TEST_F(HandOutTest, IsStoppedByASignal)
{
    parallel.does("trap 'came=x$came' TERM; echo ready; for i in $(seq 400); do\n"
                  "[ \"$came\" = xx ] && break; sleep 0.02; done; echo \"$came\"; exit 255");
    request.printed = [this](const std::string &line) {
        printed.push_back(line);
        if (line == "ready")
            raise(SIGTERM);
    };
    EXPECT_FALSE(goes_on());
    EXPECT_EQ(printed, (Strings{"ready", "xx"})) << "what it still says is heard";
    parallel.does("rm -f $log; echo ready; exec sleep 20");
    EXPECT_FALSE(goes_on());
}

TEST_F(HandOutTest, IsStoppedByWhoeverCannotGoOn)
{
    parallel.does("trap 'echo >$here/ended; exit' TERM; echo ready; for i in $(seq 400); do sleep 0.02; done");
    request.printed = [](const std::string &) { throw Failure(Status::unusable, "no more"); };
    EXPECT_EQ(fault(), "no more");
    EXPECT_TRUE(parallel.root().exists("/ended"));
}

TEST_F(HandOutTest, ThatCannotBeginIsTold)
{
    support::fail_call("fork", EAGAIN);
    EXPECT_EQ(support::path_error_of([&] { goes_on(); }), support::with_error("start parallel", EAGAIN));
    request.folder = "/there/is/none";
    EXPECT_EQ(fault(), missing);
}

TEST_F(HandOutTest, GoesOnWhereASignalCutsACallShort)
{
    parallel.does("echo one; echo two");
    for (const char *call : {"read", "poll", "waitpid"}) {
        printed.clear();
        support::fail_call(call, EINTR);
        EXPECT_TRUE(goes_on()) << call;
        EXPECT_TRUE(support::has_failed()) << call;
        EXPECT_EQ(printed, (Strings{"one", "two"})) << call;
    }
}

TEST(RequiredParallel, IsFoundWhereProgramsAre)
{
    support::MadeUpParallel parallel;
    std::string             bin = parallel.folder() + "/bin";
    auto                    fault_with = [](const char *folders) {
        Folders here(folders);
        return support::failure_of(Status::unusable, require_parallel);
    };
    EXPECT_EQ(fault_with(bin.c_str()), "none");
    EXPECT_EQ(fault_with(("/none:" + bin + ":/none").c_str()), "none");
    EXPECT_EQ(fault_with("/none"), missing);
    EXPECT_EQ(fault_with(parallel.folder().c_str()), missing);
    std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(bin);
    EXPECT_EQ(fault_with("/none::/etc"), "none") << "an empty name is the folder one is in";
    EXPECT_EQ(fault_with("/none"), missing);
    std::filesystem::current_path(before);
    std::filesystem::permissions(bin + "/parallel", std::filesystem::perms::owner_read);
    EXPECT_EQ(fault_with(bin.c_str()), missing) << "nobody may run it";
    bool usual = access("/usr/bin/parallel", X_OK) == 0 || access("/bin/parallel", X_OK) == 0;
    EXPECT_EQ(fault_with(nullptr), usual ? "none" : missing);
}
