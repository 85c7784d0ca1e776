/*
 * Ends and failures at system calls that write, spread over a run. Whatever happens, each stored file is whole, old or
 * new; the next command finishes or drops what was begun; and a run that says that it failed has changed nothing.
 */
#include "command_support.h"
#include "traced_run.h"

#include "support/places.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <cerrno>

using namespace support;

namespace {

/* A sanitized process takes long to fork, and what dies by a kill is not what sanitizers look at. */
const long step = is_sanitized() ? 61 : 13; /* every call would take minutes */

constexpr const char *stored[] = {"data/config/sys_global.conf.gz", "data/config/sys_domain.root.conf.gz",
                                  "data/etc/cert/local/root/k.key"};

struct Box {
    TinyAppliance            box;
    Listing                  before;
    std::vector<std::string> upgrade;
    std::vector<std::string> rollback;

    Box()
    {
        box.write("/data/etc/cert/local/root/k.key", "key", 0400);
        box.write("/var/log/sys_global.conf", "of the last upgrade");
        box.link("/data/etc/cert/link", "local");
        upgrade = {"upgrade", box.root(), "--image", build_path("/image")};
        rollback = {"rollback", box.root(), "--yes"};
        before = box.without_snapshots();
    }
};

/* What an undisturbed upgrade makes of the box. */
const Listing &upgraded()
{
    static const Listing listing = [] {
        Box one;
        migr(one.upgrade);
        return one.box.without_snapshots();
    }();
    return listing;
}

void expect_whole(const Listing &now, const Listing &before)
{
    for (const char *path : stored) {
        auto at = now.find(path);
        ASSERT_NE(at, now.end()) << path;
        EXPECT_TRUE(at->second == before.at(path) || at->second == upgraded().at(path)) << path;
    }
}

bool is_left_over(const std::string &path)
{
    return path.find(".migr-") != std::string::npos || path.find("staging-") != std::string::npos ||
           path.find("snapshots/.") != std::string::npos || path == "var/lib/migr/commit";
}

void expect_no_leftovers(const Box &one)
{
    for (const auto &[path, entry] : one.box.listing())
        EXPECT_FALSE(is_left_over(path)) << path;
}

/* Kills an upgrade at that call. False when it made fewer. */
bool expect_second_run(Fault::Kind kind, long point)
{
    Box       one;
    TracedRun run = run_traced(one.upgrade, {kind, point, 0, -1});
    if (!run.struck)
        return false;
    expect_whole(one.box.without_snapshots(), one.before);
    Outcome again = migr(one.upgrade);
    EXPECT_EQ(again.status, 0) << again.all();
    EXPECT_EQ(one.box.without_snapshots(), upgraded());
    expect_no_leftovers(one);
    Outcome back = migr(one.rollback);
    EXPECT_EQ(back.status, 0) << back.all();
    EXPECT_EQ(one.box.without_snapshots(), one.before);
    return true;
}

void expect_second_run_from_all_over(Fault::Kind kind, long from)
{
    long point = from;
    while (!testing::Test::HasFailure() && expect_second_run(kind, point))
        point += step;
    EXPECT_GT(point, 30);
    if (testing::Test::HasFailure())
        std::cerr << "at call " << point << "\n";
}

class Killed : public testing::Test {
  protected:
    void SetUp() override
    {
        if (!may_trace())
            GTEST_SKIP() << "no right to trace";
    }
};

using Failing = Killed;

/* Lets that call of a command fail, and expects all or nothing. False when it made fewer such calls. */
bool expect_all_or_nothing(const Box &one, const std::vector<std::string> &arguments, const Fault &fault,
                           const Listing &old, const Listing &made)
{
    TracedRun run = run_traced(arguments, fault);
    Listing   now = one.box.without_snapshots();
    if (!run.struck)
        return false;
    EXPECT_GE(run.status, 0);
    EXPECT_EQ(now, run.status == 0 ? made : old) << run.said;
    return true;
}

struct FailingCall {
    const char *name;
    long        number;
    int         error;
};

constexpr FailingCall failing_calls[] = {
    {"open", SYS_openat, EACCES}, {"write", SYS_write, ENOSPC},  {"fsync", SYS_fsync, EIO},
    {"rename", SYS_rename, EIO},  {"link", SYS_link, ENOSPC},    {"mkdir", SYS_mkdir, ENOSPC},
    {"unlink", SYS_unlink, EIO},  {"fchmod", SYS_fchmod, EPERM}, {"rename", SYS_rename, EACCES},
};

} // namespace

TEST_F(Killed, WithAllItsProcesses)
{
    expect_second_run_from_all_over(Fault::Kind::kill_all, 1);
}

TEST_F(Killed, Alone)
{
    expect_second_run_from_all_over(Fault::Kind::kill_caller, 1);
}

TEST_F(Killed, ARollbackIsFinishedByTheNextCommand)
{
    for (long point = 1; !HasFailure(); point += step) {
        Box one;
        migr(one.upgrade);
        if (!run_traced(one.rollback, {Fault::Kind::kill_all, point, 0, -1}).struck)
            break;
        expect_whole(one.box.without_snapshots(), one.before);
        Outcome next = migr({"snapshots", one.box.root(), "--prune", "9"});
        EXPECT_EQ(next.status, 0) << next.all();
        Listing now = one.box.without_snapshots();
        EXPECT_TRUE(now == one.before || now == upgraded()) << point;
        expect_no_leftovers(one);
    }
}

TEST_F(Failing, AnUpgradeIsMadeWholeOrNotAtAll)
{
    for (const FailingCall &call : failing_calls) {
        long point = 1;
        for (; !HasFailure(); point += step) {
            Box one;
            if (!expect_all_or_nothing(one, one.upgrade, {Fault::Kind::fail, point, call.error, call.number},
                                       one.before, upgraded()))
                break;
            EXPECT_EQ(migr(one.upgrade).status, 0);
            EXPECT_EQ(one.box.without_snapshots(), upgraded());
        }
        ASSERT_FALSE(HasFailure()) << call.name << " " << point;
    }
}

TEST_F(Failing, ARollbackIsMadeWholeOrNotAtAll)
{
    for (const FailingCall &call : failing_calls) {
        long point = 1;
        for (; !HasFailure(); point += step) {
            Box one;
            migr(one.upgrade);
            if (!expect_all_or_nothing(one, one.rollback, {Fault::Kind::fail, point, call.error, call.number},
                                       upgraded(), one.before))
                break;
        }
        ASSERT_FALSE(HasFailure()) << call.name << " " << point;
    }
}
