/*
 * Ends and failures at system calls that write, spread over a run. Whatever happens, each stored file is whole, old or
 * new; the next command finishes or drops what was begun; and a run that says that it failed has changed nothing.
 */
#include "unit/cli/command_support.h"
#include "unit/cli/traced_run.h"

#include "support/files.h"
#include "support/places.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>

namespace fs = std::filesystem;
using namespace support;

namespace {

/* Every call takes minutes, so a test takes one of so many; MIGR_KILL_STEP=1 takes them all. A sanitized process takes
 * long to fork, and what dies by a kill is not what sanitizers look at. */
long one_of(long plain, long sanitized)
{
    const char *asked = getenv("MIGR_KILL_STEP");
    return asked ? atol(asked) : is_sanitized() ? sanitized : plain;
}

const long step = one_of(13, 197);

/* ---- Appliances ---- */

enum class Kind {
    small,
    on_three_disks, /* /data, /etc and /var, in a mount namespace of the process */
    of_3_30,
};

void copy_sample(const TinyAppliance &box, const fs::path &sample)
{
    box.drop("/data/config/sys_domain.root.conf.gz");
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(sample / "data")) {
        if (!entry.is_regular_file())
            continue;
        std::string bytes = support::file_text(entry.path());
        std::string inside = "/" + entry.path().lexically_relative(sample).string();
        if (entry.path().extension() == ".conf")
            box.write_gzip(inside + ".gz", bytes);
        else
            box.write(inside, bytes);
    }
}

constexpr const char *mounted_folders[] = {"/data", "/etc", "/var"};

bool mount_disks(const TinyAppliance &box)
{
    if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return false;
    for (const char *folder : mounted_folders) {
        std::string path = box.root() + folder;
        std::string aside = box.root() + "/aside";
        fs::copy(path, aside, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
        if (mount("disk", path.c_str(), "tmpfs", 0, "size=4m,mode=700") != 0)
            return false;
        fs::copy(aside, path,
                 fs::copy_options::recursive | fs::copy_options::copy_symlinks | fs::copy_options::overwrite_existing);
        fs::remove_all(aside);
    }
    return true;
}

/* New names of the oldest file are made from the time, and its keys are encrypted with salt: of configurations only the
 * first line is compared then, and that they unpack. */
Listing compared(Kind kind, Listing listing)
{
    if (kind != Kind::of_3_30)
        return listing;
    for (auto &[path, entry] : listing) {
        if (path.ends_with(".conf.gz"))
            entry.content = gunzip(entry.content);
        if (path.ends_with(".conf.gz") || path.ends_with(".conf"))
            entry.content.resize(std::min(entry.content.find('\n'), entry.content.size()));
    }
    return listing;
}

struct Box {
    Kind                     kind;
    TinyAppliance            box;
    Listing                  before;
    std::vector<std::string> upgrade;
    std::vector<std::string> rollback;

    explicit Box(Kind of_kind = Kind::small) : kind(of_kind)
    {
        if (kind == Kind::of_3_30)
            copy_sample(box, source_path("/samples/parts-dealer-3.30"));
        box.write("/data/etc/cert/local/root/k.key", "key", 0400);
        box.write("/var/log/sys_global.conf", "of the last upgrade");
        box.link("/data/etc/cert/link", "local");
        if (kind == Kind::on_three_disks && !mount_disks(box))
            _exit(may_not_mount);
        upgrade = {"upgrade", box.root(), "--image", build_path("/image")};
        rollback = {"rollback", box.root(), "--yes"};
        before = now();
    }
    ~Box() /* a folder with a disk in it cannot be removed */
    {
        for (const char *folder : mounted_folders)
            if (kind == Kind::on_three_disks)
                umount2((box.root() + folder).c_str(), MNT_DETACH);
    }
    Box(const Box &) = delete;
    Box                 &operator=(const Box &) = delete;
    static constexpr int may_not_mount = 77;

    Listing now() const
    {
        return compared(kind, box.without_snapshots());
    }
};

/* What an undisturbed upgrade makes of such a box. */
const Listing &upgraded(Kind kind = Kind::small)
{
    static std::map<Kind, Listing> listings;
    auto [at, is_new] = listings.try_emplace(kind);
    if (is_new) {
        Box     one(kind);
        Outcome run = migr(one.upgrade);
        EXPECT_EQ(run.status, 0) << run.all();
        at->second = one.now();
    }
    return at->second;
}

bool is_left_over(const std::string &path)
{
    return path.find(".migr-") != std::string::npos || path.find("staging-") != std::string::npos ||
           path.find("snapshots/.") != std::string::npos || path == "var/lib/migr/commit";
}

bool is_as_in(const Listing &listing, const std::string &path, const Entry &entry)
{
    auto at = listing.find(path);
    return at != listing.end() && (at->second == entry || (at->second.type == 'd' && entry.type == 'd'));
}

/* Whatever is there is as it was or as it will be, and what was there and will be there is there. */
void expect_whole(const Box &one)
{
    const Listing &after = upgraded(one.kind);
    Listing        now = one.now();
    for (const auto &[path, entry] : now)
        EXPECT_TRUE(is_left_over(path) || is_as_in(one.before, path, entry) || is_as_in(after, path, entry)) << path;
    for (const auto &[path, entry] : one.before)
        EXPECT_TRUE(now.count(path) != 0 || after.count(path) == 0) << path;
}

void expect_no_leftovers(const Box &one)
{
    for (const auto &[path, entry] : one.box.listing())
        EXPECT_FALSE(is_left_over(path)) << path;
}

/* When a child died, its parent still says what came of all. */
void expect_agreement(const Box &one, const TracedRun &run)
{
    Listing now = one.now();
    std::erase_if(now, [](const auto &entry) { return is_left_over(entry.first); });
    EXPECT_EQ(now, run.status == 0 ? upgraded(one.kind) : one.before) << run.said;
}

/* Kills an upgrade at that call. False when it made fewer. */
bool expect_second_run(Kind box, Fault::Kind kind, long point)
{
    Box       one(box);
    TracedRun run = run_traced(one.upgrade, {kind, point, 0, -1});
    if (!run.struck)
        return false;
    expect_whole(one);
    if (kind == Fault::Kind::kill_caller && run.status >= 0)
        expect_agreement(one, run);
    Outcome again = migr(one.upgrade);
    EXPECT_EQ(again.status, 0) << again.all();
    EXPECT_EQ(one.now(), upgraded(box));
    expect_no_leftovers(one);
    Outcome back = migr(one.rollback);
    EXPECT_EQ(back.status, 0) << back.all();
    EXPECT_EQ(one.now(), one.before);
    return true;
}

void expect_second_run_from_all_over(Kind box, Fault::Kind kind, long every)
{
    upgraded(box);
    long point = 1;
    while (!testing::Test::HasFailure() && expect_second_run(box, kind, point))
        point += every;
    EXPECT_GT(point, 30);
    if (testing::Test::HasFailure())
        std::cerr << "at call " << point << "\n";
}

/* The same in a process that has disks of its own. */
void expect_the_same_on_three_disks(Fault::Kind kind)
{
    Outcome run = run_process([&] {
        expect_second_run_from_all_over(Kind::on_three_disks, kind, 3 * step);
        return 0;
    });
    if (run.status == Box::may_not_mount)
        GTEST_SKIP() << "no right to mount";
    EXPECT_EQ(run.status, 0) << run.all();
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

/* Lets that call of a command fail, and expects all or nothing. */
void expect_all_or_nothing(const Box &one, const std::vector<std::string> &arguments, const Fault &fault,
                           const Listing &old, const Listing &made)
{
    TracedRun run = run_traced(arguments, fault);
    Listing   now = one.box.without_snapshots();
    EXPECT_TRUE(run.struck);
    EXPECT_GE(run.status, 0);
    EXPECT_EQ(now, run.status == 0 ? made : old) << run.said;
    if (run.status != 0) {
        bool of_copy = run.said.find("the plain copy of the result") != std::string::npos; /* its cause is not kept */
        EXPECT_TRUE(of_copy || run.said.find(strerror(fault.error)) != std::string::npos) << run.said;
    }
}

struct FailingCall {
    const char *name;
    long        number;
    int         error;
};

constexpr FailingCall failing_calls[] = {
    {"open", SYS_openat, EACCES},  {"write", SYS_write, ENOSPC},      {"fsync", SYS_fsync, EIO},
    {"rename", SYS_rename, EIO},   {"link", SYS_link, ENOSPC},        {"mkdir", SYS_mkdir, ENOSPC},
    {"unlink", SYS_unlink, EIO},   {"fchmod", SYS_fchmod, EPERM},     {"rename", SYS_rename, EACCES},
    {"stat", SYS_newfstatat, EIO}, {"fchmodat", SYS_fchmodat, EPERM},
};

/* For one of so many calls of each kind, of those that an undisturbed run makes: this one. */
void for_each_point(const std::vector<std::string>                                 &arguments,
                    const std::function<void(const FailingCall &call, long point)> &work)
{
    std::vector<long> numbers;
    for (const FailingCall &call : failing_calls)
        numbers.push_back(call.number);
    std::map<long, long> calls = count_calls(arguments, numbers);
    EXPECT_GT(calls.size(), 4u);
    for (const FailingCall &call : failing_calls)
        for (long point = 1; point <= calls[call.number]; point += step) {
            SCOPED_TRACE(call.name + (" " + std::to_string(point)));
            work(call, point);
            if (testing::Test::HasFailure())
                return;
        }
}

} // namespace

TEST_F(Killed, WithAllItsProcesses)
{
    expect_second_run_from_all_over(Kind::small, Fault::Kind::kill_all, step);
}

TEST_F(Killed, Alone)
{
    expect_second_run_from_all_over(Kind::small, Fault::Kind::kill_caller, step);
}

TEST_F(Killed, OnThreeDisks)
{
    expect_the_same_on_three_disks(Fault::Kind::kill_all);
}

TEST_F(Killed, AloneOnThreeDisks)
{
    expect_the_same_on_three_disks(Fault::Kind::kill_caller);
}

TEST_F(Killed, OnAnApplianceOf3_30)
{
    expect_second_run_from_all_over(Kind::of_3_30, Fault::Kind::kill_all, 5 * step);
}

TEST_F(Killed, ARollbackIsFinishedByTheNextCommand)
{
    for (long point = 1; !HasFailure(); point += step) {
        Box one;
        migr(one.upgrade);
        if (!run_traced(one.rollback, {Fault::Kind::kill_all, point, 0, -1}).struck)
            break;
        expect_whole(one);
        Outcome next = migr({"snapshots", one.box.root(), "--prune", "9"});
        EXPECT_EQ(next.status, 0) << next.all();
        Listing now = one.box.without_snapshots();
        EXPECT_TRUE(now == one.before || now == upgraded()) << point;
        expect_no_leftovers(one);
    }
}

TEST_F(Failing, AnUpgradeIsMadeWholeOrNotAtAll)
{
    Box undisturbed;
    for_each_point(undisturbed.upgrade, [](const FailingCall &call, long point) {
        Box one;
        expect_all_or_nothing(one, one.upgrade, {Fault::Kind::fail, point, call.error, call.number}, one.before,
                              upgraded());
        EXPECT_EQ(migr(one.upgrade).status, 0);
        EXPECT_EQ(one.box.without_snapshots(), upgraded());
    });
}

TEST_F(Failing, ARollbackIsMadeWholeOrNotAtAll)
{
    Box undisturbed;
    migr(undisturbed.upgrade);
    for_each_point(undisturbed.rollback, [](const FailingCall &call, long point) {
        Box one;
        migr(one.upgrade);
        expect_all_or_nothing(one, one.rollback, {Fault::Kind::fail, point, call.error, call.number}, upgraded(),
                              one.before);
    });
}

/* A private copy goes with the run: to wait until it is on disk would be most of what a small file takes. */
TEST(Synced, IsOnlyWhatStays)
{
    if (!may_trace())
        GTEST_SKIP() << "this machine does not let a test trace";
    TinyAppliance box;
    std::string   image = build_path("/image"), file = box.root() + "/data/config/sys_global.conf.gz";
    Fault         count_syncs = {Fault::Kind::none, 0, 0, SYS_fsync};
    auto          syncs = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"--image", image});
        TracedRun run = run_traced(arguments, count_syncs);
        EXPECT_EQ(run.status, 0) << run.said;
        return run.calls;
    };
    EXPECT_EQ(syncs({"convert", file}), 0);
    EXPECT_EQ(syncs({"convert", file, "-o", box.root() + "/new"}), 1);
    EXPECT_EQ(syncs({"explain", box.root()}), 0);
    EXPECT_EQ(syncs({"upgrade", box.root(), "--dry-run"}), 0);
    EXPECT_GT(syncs({"upgrade", box.root()}), 4);
}
