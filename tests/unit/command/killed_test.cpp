/*
 * SIGKILL at any moment. The command runs under a tracer that counts the system calls of it and its children, and
 * kills one of them at a chosen call: 50 points spread over a run for the command itself, and 50 for its children.
 */
#include "command_support.h"

#include "command.h"

#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fcntl.h>
#include <set>

using namespace support;

namespace {

enum class Victim { command, child };

struct Traced {
    long calls = 0; /* of all processes */
    bool killed = false;
    int  status = -1; /* the command's exit status, -1 when killed */
};

[[noreturn]] void be_command(const std::vector<std::string> &arguments)
{
    int nothing = open("/dev/null", O_RDWR);
    dup2(nothing, STDOUT_FILENO);
    dup2(nothing, STDERR_FILENO);
    std::vector<const char *> all = {"migr"};
    for (const std::string &argument : arguments)
        all.push_back(argument.c_str());
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    _exit(command::run_command(static_cast<int>(all.size()), all.data()));
}

/* Lets a stopped process go on, handing it the signal that stopped it unless that was the tracer's own. */
void go_on(pid_t process, int status)
{
    int  signal = WSTOPSIG(status);
    bool of_tracer = signal == SIGSTOP || signal == SIGTRAP || signal == (SIGTRAP | 0x80);
    ptrace(PTRACE_SYSCALL, process, nullptr, of_tracer ? 0 : signal);
}

/* Runs the command; at its `point`th system call kills the victim: the command, or whichever child made that call. */
Traced run_traced(const std::vector<std::string> &arguments, Victim victim, long point)
{
    Traced traced;
    pid_t  command_process = fork();
    if (command_process == 0)
        be_command(arguments);
    int status = 0;
    waitpid(command_process, &status, 0);
    ptrace(PTRACE_SETOPTIONS, command_process, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEFORK | PTRACE_O_EXITKILL);
    go_on(command_process, status);
    for (pid_t process; (process = waitpid(-1, &status, __WALL)) > 0;) {
        if (WIFEXITED(status) && process == command_process)
            traced.status = WEXITSTATUS(status);
        if (!WIFSTOPPED(status))
            continue;
        bool counts = WSTOPSIG(status) == (SIGTRAP | 0x80) && (victim == Victim::command || process != command_process);
        traced.calls += counts;
        if (counts && traced.calls == point) {
            kill(victim == Victim::command ? command_process : process, SIGKILL);
            traced.killed = true;
        }
        go_on(process, status);
    }
    return traced;
}

struct Box {
    TinyAppliance            box;
    TinyImage                image;
    Listing                  before;
    std::vector<std::string> upgrade;

    Box()
    {
        box.write("/data/etc/cert/local/root/k.key", "key", 0400);
        box.write("/data/etc/wvs/profile/p", "p");
        box.write("/var/log/autolearn_adom/a", "a");
        box.write("/var/log/sys_global.conf", "of the last upgrade");
        box.link("/data/etc/cert/link", "local");
        box.write("/data/etc/update_config", "# of an older image\n");
        box.drop("/etc/syntax_v510.txt");
        upgrade = {"upgrade", box.root(), "--image", image.path()};
        before = box.without_snapshots();
    }
};

/* A sanitized process takes long to fork, and what dies by a kill is not what sanitizers look at. */
#ifdef __SANITIZE_ADDRESS__
constexpr int points = 10;
#else
constexpr int points = 50;
#endif

long calls_of_a_run(Victim victim)
{
    Box one;
    return run_traced(one.upgrade, victim, -1).calls;
}

/* Kills at that point, rolls back if there is something to roll back, and expects that all is as before, and that a
 * second upgrade goes through. False if the run had ended by then: no two take quite the same number of calls. */
bool expect_way_back(Victim victim, long point)
{
    Box    one;
    Traced traced = run_traced(one.upgrade, victim, point);
    if (!traced.killed)
        return false;
    Outcome back = migr({"rollback", one.box.root()});
    bool    nothing_yet = back.status == 2 && back.err.find("has no snapshots") != std::string::npos;
    EXPECT_TRUE(back.status == 0 || nothing_yet) << point << back.err;
    EXPECT_EQ(one.box.without_snapshots(), one.before) << point;
    Outcome again = migr(one.upgrade);
    EXPECT_EQ(again.status, 0) << point << again.all();
    EXPECT_EQ(one.box.read_gzip("/data/config/sys_global.conf.gz").substr(0, 27),
              "#config-version=QA-A1X-" MIGR_IMAGE_RELEASE)
        << point;
    return true;
}

void expect_way_back_from_everywhere(Victim victim)
{
    long calls = calls_of_a_run(victim);
    int  kills = 0;
    for (int at = 0; at < points && !testing::Test::HasFailure(); at++)
        kills += expect_way_back(victim, 1 + calls * at / points);
    EXPECT_GE(kills, points * 9 / 10);
}

/* The same without a rollback in between: the second upgrade takes care of the first. */
void expect_second_run(long point)
{
    Box one;
    run_traced(one.upgrade, Victim::command, point);
    Outcome again = migr(one.upgrade);
    EXPECT_EQ(again.status, 0) << point << again.all();
    EXPECT_EQ(migr({"rollback", one.box.root()}).status, 0);
    std::string global = one.box.read_gzip("/data/config/sys_global.conf.gz");
    EXPECT_TRUE(one.box.without_snapshots() == one.before ||
                global.find("-" MIGR_IMAGE_RELEASE "-") != std::string::npos)
        << point;
}

bool may_trace()
{
    Box one;
    return run_traced(one.upgrade, Victim::command, -1).status == 0;
}

} // namespace

TEST(Killed, TheCommandAtFiftyPoints)
{
    if (!may_trace())
        GTEST_SKIP() << "no right to trace";
    expect_way_back_from_everywhere(Victim::command);
}

TEST(Killed, AChildAtFiftyPoints)
{
    if (!may_trace())
        GTEST_SKIP() << "no right to trace";
    expect_way_back_from_everywhere(Victim::child);
}

TEST(Killed, TheSecondUpgradeNeedsNoRollback)
{
    if (!may_trace())
        GTEST_SKIP() << "no right to trace";
    long calls = calls_of_a_run(Victim::command);
    for (int at = 0; at < points / 4 && !HasFailure(); at++)
        expect_second_run(1 + calls * at / (points / 4));
}

TEST(Killed, ARollbackCanBeRunAgain)
{
    if (!may_trace())
        GTEST_SKIP() << "no right to trace";
    Box                      whole;
    std::vector<std::string> rollback = {"rollback", whole.box.root()};
    migr(whole.upgrade);
    long calls = run_traced(rollback, Victim::child, -1).calls;
    for (int at = 0; at < points / 4 && !HasFailure(); at++) {
        Box one;
        migr(one.upgrade);
        run_traced({"rollback", one.box.root()}, Victim::child, 1 + calls * at / (points / 4));
        EXPECT_EQ(migr({"rollback", one.box.root()}).status, 0) << at;
        EXPECT_EQ(one.box.without_snapshots(), one.before) << at;
    }
}
