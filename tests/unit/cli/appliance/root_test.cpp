/* What a child inside an appliance's root folder can see and do. */
#include "unit/cli/command_support.h"
#include "unit/cli/failing_calls.h"

#include "appliance/inside.h"
#include "command.h"
#include "driver/migr.h"
#include "support/json_value.h"
#include "support/places.h"
#include "system/refused_memory.h"

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>

using namespace support;
using command::inside;
using command::Root;
using support::JsonValue;

namespace {

bool has_right(int capability)
{
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct   rights[2] = {};
    syscall(SYS_capget, &header, rights);
    return (rights[capability / 32].permitted >> capability % 32 & 1) != 0;
}

/* What an upgrade prints with this in the library's place. */
std::string seen_by_library(const std::function<void()> &library, const Ahead &ahead = {})
{
    TinyAppliance box;
    if (ahead)
        give_to_nobody(box.root());
    command::UpgradeRequest request;
    request.root = box.root();
    request.run.library = library;
    Outcome            run = run_request(request, ahead);
    std::istringstream said(run.out);
    JsonValue          notes = JsonValue::array();
    for (std::string line; std::getline(said, line);)
        if (line.starts_with("  "))
            notes.push_back(line.substr(2));
    return notes.dump();
}

void show_confinement()
{
    char folder[100] = "";
    printf("cwd %s\n", getcwd(folder, sizeof folder));
    mode_t mask = umask(0);
    umask(mask);
    rlimit core = {};
    getrlimit(RLIMIT_CORE, &core);
    int signal = 0;
    prctl(PR_GET_PDEATHSIG, &signal);
    printf("umask %03o core %lu dumpable %d death %d\n", mask, static_cast<unsigned long>(core.rlim_cur),
           prctl(PR_GET_DUMPABLE), signal);
    printf("admin %d chroot %d file %d\n", has_right(CAP_SYS_ADMIN), has_right(CAP_SYS_CHROOT), has_right(CAP_FOWNER));
    printf("mount %d\n", mount(nullptr, "/data", nullptr, MS_REMOUNT, nullptr));
    printf("descriptors");
    for (int fd = 0; fd < 1000; fd++)
        if (fcntl(fd, F_GETFD) >= 0)
            printf(" %d", fd);
    printf("\nroot has config %d\n", access("/data/config/sys_global.conf.gz", R_OK));
}

constexpr char confined[] =
    R"(["cwd /","umask 077 core 0 dumpable 0 death 9","admin 0 chroot 0 file 1","mount -1","descriptors 0 1 2 3 4","root has config 0"])";

} // namespace

TEST(Rooted, TheLibrarysChildIsConfined)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "root has more to give up";
    EXPECT_EQ(seen_by_library(show_confinement,
                              [] {
                                  for (int extra = 0; extra < 50; extra++)
                                      (void)!dup(0);
                              }),
              confined);
}

TEST(Rooted, TheLibrarysChildOfAnOrdinaryUserIsConfined)
{
    if (!users_may_chroot())
        GTEST_SKIP() << "no user namespaces here";
    EXPECT_EQ(seen_by_library(show_confinement, become_nobody), confined);
}

TEST(Rooted, NoWayLeadsUpFromTheLock)
{
    auto look_up = [] {
        struct stat here = {}, up = {};
        fstatat(4, ".", &here, 0);
        fstatat(4, "..", &up, 0);
        printf("same %d\n", here.st_ino == up.st_ino && here.st_dev == up.st_dev);
    };
    EXPECT_EQ(seen_by_library(look_up), R"(["same 1"])");
    if (users_may_chroot()) {
        EXPECT_EQ(seen_by_library(look_up, become_nobody), R"(["same 1"])");
    }
}

TEST(Rooted, TheLockIsInherited)
{
    TinyAppliance box;
    int           held[2];
    ASSERT_EQ(pipe2(held, O_CLOEXEC), 0);
    Outcome parent = run_process([&] {
        Root root(box.root());
        root.lock();
        if (fork() == 0) { /* outlives the one who took the lock, until the pipe is closed */
            close(held[1]);
            char byte = 0;
            _exit(static_cast<int>(read(held[0], &byte, 1)));
        }
        return 0;
    });
    EXPECT_EQ(parent.status, 0);
    Outcome run = migr({"upgrade", box.root()});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("another migr is at work there"), std::string::npos) << run.err;
    try {
        Root(box.root()).lock();
        ADD_FAILURE() << "two have it";
    } catch (const command::Failure &failure) {
        EXPECT_EQ(failure.error, EWOULDBLOCK) << "another try may do";
    }
    close(held[0]);
    close(held[1]);
}

TEST(Rooted, RunGivesWhatTheWorkGives)
{
    TinyAppliance box;
    Root          root(box.root());
    EXPECT_EQ(root.run([] { return std::string("\xff\0bytes", 7); }), std::string("\xff\0bytes", 7));
    EXPECT_EQ(root.run([] { return std::string(3'000'000, 'x'); }).size(), 3'000'000U);
    EXPECT_EQ(inside(root, [] { return access("/data/config/sys_global.conf.gz", R_OK); }), 0);
}

TEST(Rooted, FailuresComeOut)
{
    TinyAppliance box;
    Root          root(box.root());
    try {
        root.run([]() -> std::string { throw command::PathError{"read", "/data/x", ENOENT}; });
        FAIL();
    } catch (const command::Failure &failure) {
        EXPECT_EQ(failure.what(), box.root() + "/data/x: cannot read it: No such file or directory. Put that right and "
                                               "run migr again.");
        EXPECT_EQ(failure.status, command::Status::unusable);
    }
    try {
        root.run([]() -> std::string { throw command::Failure(command::Status::failed, "so"); });
        FAIL();
    } catch (const command::Failure &failure) {
        EXPECT_STREQ(failure.what(), "so");
        EXPECT_EQ(failure.status, command::Status::failed);
    }
    EXPECT_THROW(root.run([]() -> std::string { throw std::runtime_error("odd"); }), command::Failure);
}

TEST(Rooted, AChildThatGivesNoAnswerIsToldOf)
{
    TinyAppliance box;
    Root          root(box.root());
    auto          end_of_child = [&](const std::function<void()> &work) -> std::string {
        try {
            inside(root, work);
        } catch (const command::ChildEnded &ended) {
            EXPECT_EQ(ended.status, command::Status::unusable);
            EXPECT_EQ(ended.error, ECHILD);
            return ended.what();
        }
        return "";
    };
    std::string begin = box.root() + ": the process that looked into it ", end = ". Run migr again.";
    EXPECT_EQ(end_of_child([] { raise(SIGKILL); }), begin + "was killed" + end);
    EXPECT_EQ(end_of_child([] { fail_call("write", ENOSPC); }),
              begin + "could not give its answer: No space left on device" + end);
}

/* What was read without it may be no more than half of what is there. */
TEST(Rooted, MemoryThatTheWorkDidWithoutFailsIt)
{
    if (is_sanitized())
        GTEST_SKIP() << "a sanitizer's allocator does not come back";
    TinyAppliance box;
    Root          root(box.root());
    int           error = 0;
    auto          failure_of_work = [&](const std::function<void()> &work) -> std::string {
        try {
            inside(root, work);
        } catch (const command::Failure &failure) {
            error = failure.error;
            return failure.what();
        }
        return "";
    };
    EXPECT_EQ(failure_of_work(be_refused_memory), box.root() + ": there is not enough memory");
    EXPECT_EQ(error, ENOMEM);
    std::string said = failure_of_work([] {
        be_refused_memory();
        throw command::Failure(command::Status::unusable, "It is damaged.");
    });
    EXPECT_EQ(said, "It is damaged. Memory was refused (Cannot allocate memory), which is the likely cause.");
    EXPECT_EQ(error, ENOMEM) << "and no fault of the appliance's";
    said = failure_of_work([] {
        be_refused_memory();
        throw command::PathError{"limit", "the calls", EFAULT};
    });
    EXPECT_NE(said.find("Memory was refused (Cannot allocate memory)"), std::string::npos) << said;
    said = failure_of_work([] {
        be_refused_memory();
        throw command::PathError{"read", "/data", ENOMEM};
    });
    EXPECT_EQ(said.find("likely"), std::string::npos) << said;
    be_refused_memory(); /* which is none of a child's that comes later */
    EXPECT_EQ(failure_of_work([] {}), "");
    command::forget_refused_memory();
}

/* Root without that right, in a folder that is its root folder, where there are no user namespaces either. */
TEST(Rooted, WhatKeepsItFromChangingTheRootFolderIsTold)
{
    TinyAppliance box;
    auto          look = [&] {
        try {
            command::Root root(box.root());
            inside(root, [] { return std::string(); });
        } catch (const command::Failure &failure) {
            puts(failure.what());
        }
        return 0;
    };
    auto refuse = [] {
        refuse_calls({SYS_chroot}, EACCES);
        refuse_calls({SYS_unshare}, EPERM);
    };
    EXPECT_EQ(
        run_process(look, refuse).out,
        "migr may not change its root folder (Permission denied), nor in a user namespace of its own (Operation not "
        "permitted). Run it as root, with the right CAP_SYS_CHROOT.\n");
}

TEST(Rooted, TheMachinesOwnRootNeedsNoChange)
{
    Root machine("/");
    EXPECT_TRUE(machine.is_machine_root());
    EXPECT_EQ(machine.shows("/data/config"), "/data/config");
    std::string own = source_path("");
    EXPECT_EQ(inside(machine, [&] { return access(own.c_str(), F_OK); }), 0);
    TinyAppliance box;
    EXPECT_FALSE(Root(box.root()).is_machine_root());
    EXPECT_EQ(Root(box.root() + "/").shows("/data"), box.root() + "/data");
}

TEST(Process, StartsWithoutStandardStreams)
{
    TinyAppliance box;
    Outcome       run = migr({"upgrade", box.root()}, [] {
        for (int fd = 0; fd <= 2; fd++)
            close(fd);
    });
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(box.read_gzip("/data/config/sys_global.conf.gz").substr(0, 27),
              "#config-version=QA-A1X-" MIGR_IMAGE_RELEASE);
}

TEST(Process, AClosedPipeIsNoReasonToStop)
{
    TinyAppliance box;
    Outcome       run = migr({"upgrade", box.root()}, [] {
        int ends[2];
        if (pipe(ends) != 0)
            _exit(1);
        close(ends[0]);
        dup2(ends[1], STDOUT_FILENO);
    });
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.signal, 0);
}
