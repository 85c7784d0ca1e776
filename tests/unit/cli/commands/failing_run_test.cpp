/* Runs that go wrong, in the library, in the image or on the disk: everything is as it was, and the operator learns
 * why.
 */
#include "unit/cli/command_support.h"
#include "unit/cli/failing_calls.h"

#include "command.h"
#include "driver/migr.h"
#include "driver/run_context.h"
#include "explain/ledger_run.h"
#include "support/json_value.h"
#include "support/places.h"
#include "system/failure.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <new>

namespace fs = std::filesystem;
using namespace support;
using namespace std::chrono_literals;

namespace {

constexpr char global_path[] = "/data/config/sys_global.conf.gz";
constexpr char domain_path[] = "/data/config/sys_domain.root.conf.gz";

/* As the library would: tells of the file, and does some harm to it. */
void begin_and_harm(const char *path)
{
    migr_on_file(path, MIGR_DOMAIN);
    unlink(path);
    close(open("/var/log/sys_added.conf", O_WRONLY | O_CREAT, 0600));
}

void write_file(const char *path, const std::string &bytes)
{
    int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0 || write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        _exit(1);
    close(fd);
}

void write_release(const char *path, const char *release)
{
    std::string text = headers(release) + "config a\nend\n";
    std::string copy = "/var/log" + std::string(path).substr(strlen("/data/config"));
    write_file(path, gzip(text));
    write_file(copy.substr(0, copy.size() - strlen(".gz")).c_str(), text);
}

command::UpgradeRequest request_for(const TinyAppliance &box, const std::function<void()> &library)
{
    command::UpgradeRequest request;
    request.root = box.root();
    request.run.library = library;
    return request;
}

/* Runs this in the library's place, and expects that it fails, with that status and reason, without harm. */
void expect_failure(const std::function<void()> &library, int status, const std::string &reason,
                    std::chrono::milliseconds timeout = 60s)
{
    TinyAppliance           box;
    Listing                 before = box.without_snapshots();
    command::UpgradeRequest request = request_for(box, library);
    request.run.timeout = timeout;
    Outcome run = run_request(request);
    EXPECT_EQ(run.status, status) << run.all();
    EXPECT_NE(run.all().find(reason), std::string::npos) << run.all();
    EXPECT_EQ(box.without_snapshots(), before);
    EXPECT_TRUE(box.snapshots().empty());
    EXPECT_EQ(migr({"upgrade", box.root()}).status, 0); /* and nothing stands in the way of another try */
}

} // namespace

TEST(FailingRun, Crash)
{
    expect_failure(
        [] {
            begin_and_harm(domain_path);
            signal(SIGSEGV, SIG_DFL);
            raise(SIGSEGV);
        },
        3, "The upgrade was killed (Segmentation fault), at sys_domain.root.conf.gz.");
}

TEST(FailingRun, Killed)
{
    expect_failure(
        [] {
            begin_and_harm(global_path);
            raise(SIGKILL);
        },
        3, "The upgrade was killed (Killed), at sys_global.conf.gz.");
}

TEST(FailingRun, EndsEarly)
{
    expect_failure(
        [] {
            unlink(global_path);
            _exit(0);
        },
        3, "The upgrade ended early, with exit code 0, ahead of the first file.");
}

TEST(FailingRun, Stall)
{
    expect_failure(
        [] {
            begin_and_harm(domain_path);
            migr_on_stall("migr_some_step");
        },
        3,
        "The upgrade cannot get on with this configuration: it is stuck in migr_some_step, at "
        "sys_domain.root.conf.gz.");
}

TEST(FailingRun, TooLongWithoutProgress)
{
    expect_failure(
        [] {
            begin_and_harm(global_path);
            pause();
        },
        3, "The upgrade went too long without progress (--timeout), at sys_global.conf.gz.", 300ms);
}

TEST(FailingRun, OutputIsNoProgress)
{
    expect_failure(
        [] {
            begin_and_harm(global_path);
            for (;;)
                puts("and on and on");
        },
        3, "without progress", 300ms);
}

TEST(FailingRun, EachFileStartsTheTimeAnew)
{
    TinyAppliance           box;
    command::UpgradeRequest request = request_for(box, [] {
        for (int file = 0; file < 8; file++) {
            migr_on_file(domain_path, MIGR_DOMAIN);
            usleep(150'000);
        }
        migr_main_do_all();
    });
    request.run.timeout = 600ms;
    EXPECT_EQ(run_request(request).status, 0);
}

TEST(FailingRun, NoMemory)
{
    expect_failure(
        [] {
            begin_and_harm(global_path);
            std::get_new_handler()(); /* as operator new does, but not that of a sanitizer */
        },
        3, "There is not enough memory");
}

/* The library does without, and no errno is left to tell of it. */
TEST(FailingRun, MemoryThatTheLibraryDoesWithout)
{
    if (is_sanitized())
        GTEST_SKIP() << "a sanitizer's allocator does not come back";
    expect_failure(
        [] {
            be_refused_memory();
            migr_main_do_all();
        },
        3, "There is not enough memory for the upgrade (Cannot allocate memory).");
    expect_failure(
        [] {
            volatile size_t half = size_t{1} << 62;
            void *volatile block = calloc(half, 2);
            free(block);
            migr_main_do_all();
        },
        3, "Cannot allocate memory");
    expect_failure(
        [] {
            volatile size_t too_much = PTRDIFF_MAX;
            void *volatile block = malloc(1);
            void *volatile larger = realloc(block, too_much);
            free(larger ? larger : block);
            migr_main_do_all();
        },
        3, "Cannot allocate memory");
}

/* It is not the library that asks, but the C library, and it is the kernel that refuses. */
TEST(FailingRun, MemoryThatALimitRefusesASharedLibrary)
{
    if (is_sanitized())
        GTEST_SKIP() << "a sanitizer's allocator does not come back";
    expect_failure(
        [] {
            const std::string large(64 << 20, 'x');
            rlimit            before = {};
            getrlimit(RLIMIT_AS, &before);
            rlimit none = {1, before.rlim_max};
            setrlimit(RLIMIT_AS, &none);
            char *volatile copy = strdup(large.c_str());
            free(copy);
            setrlimit(RLIMIT_AS, &before);
            errno = 0;
            migr_main_do_all();
        },
        3, "Cannot allocate memory");
}

TEST(FailingRun, MemoryThatTheCommandItselfDidWithout)
{
    if (is_sanitized())
        GTEST_SKIP() << "a sanitizer's allocator does not come back";
    TinyAppliance box;
    Listing       before = box.without_snapshots();
    Outcome       run = migr({"upgrade", box.root()}, be_refused_memory);
    EXPECT_EQ(run.status, 3);
    EXPECT_NE(run.err.find("There is not enough memory"), std::string::npos) << run.err;
    EXPECT_EQ(box.without_snapshots(), before);
    EXPECT_TRUE(box.snapshots().empty());
}

/* Nothing is missing of the result but what would have come of that call. */
TEST(FailingRun, ACallThatTheLibraryDoesWithout)
{
    if (is_sanitized())
        GTEST_SKIP() << "its own forms of these calls stand there";
    auto with_no_descriptor_left = [](const std::function<void()> &call) {
        return [call] {
            rlimit before = {};
            getrlimit(RLIMIT_NOFILE, &before);
            rlimit none = {0, before.rlim_max};
            setrlimit(RLIMIT_NOFILE, &none);
            call();
            setrlimit(RLIMIT_NOFILE, &before);
            errno = 0;
            migr_main_do_all();
        };
    };
    auto without = [](const std::function<void()> &call, const std::function<void()> &more) {
        return [call, more] { call(), more(); };
    };
    auto                        remove_result = [] { unlink(domain_path); }; /* whose file is not at fault */
    const std::function<void()> calls[] = {
        [] { (void)!open("/data/config", O_RDONLY); },
        [] { (void)!openat(AT_FDCWD, "/data/config", O_RDONLY); },
        [] { (void)!fopen("/data/config/sys_global.conf.gz", "re"); },
        [] { (void)!opendir("/data/config"); },
    };
    for (const auto &call : calls)
        expect_failure(with_no_descriptor_left(call), 3,
                       "The upgrade did not get all that it asked the system for, in the private copy: Too many open "
                       "files. Nothing was changed.");
    expect_failure(without(with_no_descriptor_left(calls[0]), remove_result), 3, "Too many open files");
}

/* In a private copy permission bits keep nobody out, so what is denied there is no statement about a file. */
TEST(FailingRun, ARightThatIsNotMissing)
{
    if (is_sanitized())
        GTEST_SKIP() << "its own forms of these calls stand there";
    auto be_denied = [] {
        (void)!access("/data/config/sys_global.conf.gz", X_OK); /* which nobody may run */
        migr_main_do_all();
    };
    expect_failure(be_denied, 3,
                   "The upgrade did not get all that it asked the system for, in the private copy: Permission denied. "
                   "Nothing was changed. No permission bits keep it from migr there");
}

/* Modes and times of the private copy, without which its files would come back as others. */
TEST(FailingRun, ACopyThatIsNotMadeWhole)
{
    for (int call : {SYS_chmod, SYS_fchmod, SYS_fchmodat, SYS_utimensat, SYS_llistxattr, SYS_getdents64, SYS_mkdirat}) {
        TinyAppliance box;
        box.write("/data/etc/cert/folder/file", "text");
        Listing before = box.without_snapshots();
        Outcome run = migr({"upgrade", box.root()}, [&] { refuse_calls({call}, EIO); });
        EXPECT_GE(run.status, 2) << call;
        EXPECT_NE(run.err.find("Input/output error"), std::string::npos) << call << run.err;
        EXPECT_EQ(box.without_snapshots(), before) << call;
    }
}

TEST(FailingRun, AModeOrATimeThatTheCopyDoesNotTake)
{
    for (const char *call : {"fchmod", "futimens"}) {
        TinyAppliance box;
        Outcome       run = migr({"upgrade", box.root()}, [=] { fail_call(call, EIO); });
        EXPECT_EQ(run.status, 2) << call;
        EXPECT_NE(run.err.find("cannot make a copy of it: Input/output error"), std::string::npos) << call << run.err;
    }
}

/* What a disk does not tell is not for that reason no appliance. */
TEST(FailingRun, AGlobalFileThatCannotBeLookedFor)
{
    TinyAppliance      box;
    constexpr unsigned behind_the_root_folder = 2;
    Outcome            run = migr({"upgrade", box.root()}, [] { fail_call("stat", EIO, behind_the_root_folder); });
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "migr: " + box.root() + global_path + ": cannot look for it: Input/output error. " +
                           command::next_step(EIO) + "\n");
}

namespace {

void at_each_call(const char *name, const std::function<void()> &work)
{
    at_call(name, [=] {
        work();
        at_each_call(name, work);
    });
}

/* Upgrades and accounts for it. From that call on, of those by which the library takes its texts away, a read fails;
 * gives how many calls there were. */
unsigned fail_behind_removal(unsigned number)
{
    unsigned removals = 0;
    at_each_call("unlink", [&] {
        if (++removals == number)
            fail_call("read", EIO);
    });
    command::run_and_account(command::Detail::losses);
    return removals;
}

} // namespace

/* Nobody takes an account for whole that lacks a file for the disk's sake. */
TEST(FailingRun, AResultThatCannotBeReadForTheAccount)
{
    unsigned      removals = 0;
    TinyAppliance box;
    Outcome       run = run_request(request_for(box, [] { printf("removals %u\n", fail_behind_removal(0)); }));
    size_t        at = run.out.find("removals ");
    ASSERT_NE(at, std::string::npos) << run.all();
    removals = static_cast<unsigned>(atoi(run.out.c_str() + at + strlen("removals ")));
    ASSERT_GT(removals, 1U);
    expect_failure([=] { fail_behind_removal(removals); }, 3,
                   std::string(domain_path) + ": cannot read it: Input/output error.");
}

/* What is done is done. */
TEST(FailingRun, AReportThatCannotBeWrittenIsNoFailure)
{
    for (const char *json : {"", "--json"}) {
        TinyAppliance            box;
        std::vector<std::string> arguments = {"upgrade", box.root(), "--report", "/dev/full"};
        if (*json)
            arguments.emplace_back(json);
        Outcome run = migr(arguments);
        EXPECT_EQ(run.status, 0) << run.all();
        EXPECT_NE(run.all().find("The report was not written: /dev/full: cannot write it: No space left on device."),
                  std::string::npos)
            << run.all();
        EXPECT_EQ(box.snapshots().size(), 1U);
    }
}

TEST(FailingRun, WhatTheCommandCouldNotDoBehindTheRunIsNamed)
{
    expect_failure(
        [] {
            migr_main_do_all();
            throw command::PathError{"write", "/account", ENOSPC};
        },
        3, "/account: cannot write it: No space left on device.");
    expect_failure([] { throw std::runtime_error("something odd"); }, 3, "something odd");
}

TEST(FailingRun, AFileIsGone)
{
    expect_failure(
        [] {
            migr_main_do_all();
            unlink(domain_path);
        },
        1, "sys_domain.root.conf.gz: It was gone after the upgrade.");
}

TEST(FailingRun, AFileIsUnreadable)
{
    expect_failure(
        [] {
            migr_main_do_all();
            write_file(domain_path, "no gzip");
        },
        1, "sys_domain.root.conf.gz: It could not be read after the upgrade.");
}

TEST(FailingRun, AFileIsCutShort)
{
    expect_failure(
        [] {
            migr_main_do_all();
            fs::resize_file(global_path, fs::file_size(global_path) - 5);
        },
        1, "sys_global.conf.gz: It could not be read after the upgrade.");
}

TEST(FailingRun, AFileStaysBehind)
{
    expect_failure([] {}, 1, "A rule of the update file or a migration could not be applied to it.");
}

/* ---- The split ---- */

namespace {

/* An appliance from before the split, upgraded by this. */
void expect_split(const std::function<void()> &library, int status, const std::string &reason)
{
    TinyAppliance box;
    box.drop(domain_path);
    box.config("sys_global.conf.gz", "5.00", "config a\nend\n");
    Listing before = box.without_snapshots();
    Outcome run = run_request(request_for(box, library));
    EXPECT_EQ(run.status, status) << run.all();
    EXPECT_NE(run.all().find(reason), std::string::npos) << run.all();
    if (status != 0) {
        EXPECT_EQ(box.without_snapshots(), before);
        return;
    }
    EXPECT_TRUE(box.exists(domain_path));
    EXPECT_EQ(migr({"rollback", box.root(), "--yes"}).status, 0);
    EXPECT_EQ(box.without_snapshots(), before);
}

} // namespace

TEST(FailingSplit, ThatWentWell)
{
    expect_split(
        [] {
            for (const char *path : {global_path, global_path, domain_path})
                migr_on_file(path, MIGR_GLOBAL);
            write_release(global_path, MIGR_IMAGE_RELEASE);
            write_release(domain_path, MIGR_IMAGE_RELEASE);
        },
        0, "sys_domain.root.conf.gz  -       " MIGR_IMAGE_RELEASE "   new");
}

TEST(FailingSplit, WithoutItsDomainFile)
{
    expect_split([] { write_release(global_path, MIGR_IMAGE_RELEASE); }, 1,
                 "no good sys_domain.root.conf.gz came out of its split");
}

TEST(FailingSplit, ThatStoppedAt5_10)
{
    expect_split(
        [] {
            write_release(global_path, MIGR_IMAGE_RELEASE);
            write_release(domain_path, "5.10");
        },
        1, "It came out of the split of sys_global.conf.gz, and did not get further.");
}

/* ---- Signals ---- */

namespace {

constexpr char waiting[] = "/waiting-for-a-signal";

/* What the library is held to leaves it nobody to signal. */
void harm_and_wait()
{
    begin_and_harm(global_path);
    write_file(waiting, "");
    pause();
}

/* The signal comes while the library works, to the command or its whole group. */
void expect_stopped(int signal, bool whole_group)
{
    TinyAppliance box;
    Listing       before = box.without_snapshots();
    Outcome       run = run_request(request_for(box, harm_and_wait), [&] {
        if (whole_group)
            setpgid(0, 0);
        auto is_waiting = [&] { return has_file_below(box.root(), waiting + 1); };
        signal_soon(signal, is_waiting, whole_group ? 0 : getpid());
    });
    EXPECT_EQ(run.status, 3) << run.all();
    EXPECT_NE(run.all().find("The upgrade was stopped by a signal to migr, at sys_global.conf.gz."), std::string::npos)
        << run.all();
    EXPECT_EQ(box.without_snapshots(), before);
    EXPECT_TRUE(box.snapshots().empty());
    EXPECT_EQ(migr({"upgrade", box.root()}).status, 0);
}

} // namespace

TEST(FailingRun, ASignalToTheCommand)
{
    for (int deadly : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
        expect_stopped(deadly, false);
}

TEST(FailingRun, ASignalToTheWholeGroupAsATerminalSendsIt)
{
    expect_stopped(SIGINT, true);
}

TEST(FailingRun, ASignalAheadOfTheRun)
{
    TinyAppliance box;
    Listing       before = box.without_snapshots();
    Outcome       run = run_request(request_for(box, {}), [] {
        sigset_t held;
        sigemptyset(&held);
        sigaddset(&held, SIGTERM);
        sigprocmask(SIG_BLOCK, &held, nullptr);
        raise(SIGTERM);
    });
    EXPECT_EQ(run.status, 3) << run.all();
    EXPECT_NE(run.err.find("Nothing was changed."), std::string::npos) << run.err;
    EXPECT_EQ(box.without_snapshots(), before);
}

/* ---- The image ---- */

namespace {

struct DamagedImage {
    const char                                    *name;
    std::function<void(const std::string &folder)> damage;
    std::string                                    said; /* behind the folder of the image */
};

void append(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary | std::ios::app) << text;
}

void cut(const std::string &path, uintmax_t size)
{
    fs::resize_file(path, size);
}

const DamagedImage damaged_images[] = {
    {"NoUpdateFile", [](auto &folder) { unlink((folder + "/update_config").c_str()); }, "/update_config"},
    {"AnEmptyUpdateFile", [](auto &folder) { cut(folder + "/update_config", 0); }, "/update_config"},
    {"AnUpdateFileThatLintRefuses",
     [](auto &folder) { append(folder + "/update_config", "[6.21]\n[MODIFY]\n<a> -> \n"); }, "/update_config:"},
    {"AnUpdateFileOfALaterRelease", [](auto &folder) { append(folder + "/update_config", "[6.30]\n[DELETE]\n<a>\n"); },
     "knows up to " MIGR_IMAGE_RELEASE},
    {"NoSyntaxFile", [](auto &folder) { unlink((folder + "/syntax_v510.txt").c_str()); }, "/syntax_v510.txt"},
    {"AnEmptySyntaxFile", [](auto &folder) { cut(folder + "/syntax_v510.txt", 0); }, "/syntax_v510.txt"},
    {"NoDatabase", [](auto &folder) { cut(folder + "/signature.db", 0); }, "/signature.db"},
    {"ADatabaseThatIsCut", [](auto &folder) { cut(folder + "/signature.db", 10'000); }, "/signature.db"},
    {"AnotherFileForTheDatabase",
     [](auto &folder) {
         fs::copy_file(folder + "/update_config", folder + "/signature.db", fs::copy_options::overwrite_existing);
     },
     "/signature.db"},
    {"AnEmptyPredefinedFile", [](auto &folder) { cut(folder + "/system.conf.predefine", 0); },
     "/system.conf.predefine"},
    {"APredefinedFileThatIsCut",
     [](auto &folder) { cut(folder + "/system.conf.predefine", fs::file_size(folder + "/system.conf.predefine") / 2); },
     "/system.conf.predefine"},
};

void PrintTo(const DamagedImage &damaged, std::ostream *out)
{
    *out << damaged.name;
}

class OfADamagedImage : public testing::TestWithParam<DamagedImage> {};

} // namespace

TEST_P(OfADamagedImage, TouchesNothing)
{
    TinyAppliance box;
    box.drop(domain_path);
    box.config("sys_global.conf.gz", "3.30", "config system global\nend\n");
    ApplianceRoot elsewhere;
    std::string   folder = elsewhere.path().string() + "/image";
    fs::copy(build_path("/image"), folder);
    GetParam().damage(folder);
    Listing before = box.listing();
    Outcome run = migr({"upgrade", box.root(), "--image", folder});
    EXPECT_EQ(run.status, 2) << run.all();
    EXPECT_NE(run.err.find(folder), std::string::npos) << run.err;
    EXPECT_NE(run.err.find(GetParam().said), std::string::npos) << run.err;
    EXPECT_EQ(box.without_snapshots(), before);
    EXPECT_TRUE(box.snapshots().empty());
}

INSTANTIATE_TEST_SUITE_P(Refused, OfADamagedImage, testing::ValuesIn(damaged_images),
                         [](const auto &one) { return std::string(one.param.name); });

/* ---- Disks ---- */

namespace {

/* A small disk of its own, in a mount namespace of its own; false where that is not allowed. */
bool mount_small_disk(const std::string &path, const char *size)
{
    return unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("disk", path.c_str(), "tmpfs", 0, size) == 0;
}

void fill_disk(const std::string &folder, off_t left)
{
    int         fd = open((folder + "/fill").c_str(), O_WRONLY | O_CREAT, 0600);
    std::string page(4096, 'x');
    while (write(fd, page.data(), page.size()) > 0)
        ;
    if (ftruncate(fd, lseek(fd, 0, SEEK_CUR) - left) != 0)
        _exit(1);
    close(fd);
}

constexpr int may_not_mount = 77;

/* Upgrades a box of which a part lies on a disk of its own that has so many pages left. */
Outcome upgrade_on_full_disk(const TinyAppliance &box, const std::string &part, int pages,
                             const std::vector<std::string> &options = {})
{
    return run_process([&] {
        std::string folder = box.root() + part;
        std::string aside = box.root() + "-aside";
        fs::copy(folder, aside, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
        if (!mount_small_disk(folder, "size=600k,mode=700"))
            return fs::remove_all(aside), may_not_mount;
        fs::copy(aside, folder, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
        fs::remove_all(aside);
        fill_disk(folder, pages * 4096);
        Listing                  before = box.without_snapshots();
        std::vector<std::string> arguments = {"upgrade", box.root()};
        arguments.insert(arguments.end(), options.begin(), options.end());
        Outcome run = migr(arguments);
        fputs(run.out.c_str(), stdout);
        fputs(run.err.c_str(), stderr);
        if (run.status != 0) {
            EXPECT_EQ(box.without_snapshots(), before);
        }
        return run.status;
    });
}

} // namespace

TEST(FullDisk, IsToldAheadOfTheCommitWithWhatItLacks)
{
    TinyAppliance box;
    ApplianceRoot work;
    Outcome       run = upgrade_on_full_disk(box, "/data", 1, {"--work", work.path()});
    if (run.status == may_not_mount)
        GTEST_SKIP() << "no right to mount";
    EXPECT_EQ(run.status, 2) << run.all();
    EXPECT_NE(run.err.find("needs 8.2 kB on " + box.root() + "/data/config"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("has 4.1 kB"), std::string::npos) << run.err;
}

TEST(FullDisk, AtAnyMomentLeavesAllAsItWasAndIsNamed)
{
    for (const char *part : {"/data", "/var"}) {
        for (int pages = 0; pages < 24; pages += is_sanitized() ? 7 : 1) {
            TinyAppliance box;
            Outcome       run = upgrade_on_full_disk(box, part, pages);
            if (run.status == may_not_mount)
                GTEST_SKIP() << "no right to mount";
            EXPECT_TRUE(run.status == 0 || run.status == 2 || run.status == 3) << part << " " << pages << run.all();
            bool named = run.err.find("No space left on device") != std::string::npos ||
                         run.err.find("has no room for the result") != std::string::npos;
            EXPECT_EQ(named, run.status != 0) << part << " " << pages << run.all();
        }
    }
}

TEST(FullDisk, ALimitOnTheSizeOfFilesIsNamed)
{
    TinyAppliance box;
    box.write("/data/etc/cert/large", std::string(100'000, 'x'));
    Listing before = box.without_snapshots();
    Outcome run = migr({"upgrade", box.root()}, [] {
        rlimit limit = {50'000, 50'000};
        setrlimit(RLIMIT_FSIZE, &limit);
    });
    EXPECT_EQ(run.status, 2) << run.all();
    EXPECT_NE(run.err.find("File too large"), std::string::npos) << run.err;
    EXPECT_EQ(box.without_snapshots(), before);
}

TEST(FullDisk, ALimitThatAResultAloneWouldReachIsNamed)
{
    TinyAppliance box;
    std::string   large;
    for (int line = 0; line < 50; line++)
        large += "config a\n    set b \"" + std::string(40'000, 'x') + "\"\nend\n";
    box.config("sys_domain.large.conf.gz", "5.50", large);
    Listing before = box.without_snapshots();
    Outcome run = migr({"upgrade", box.root()}, [] {
        rlimit limit = {1'000'000, 1'000'000};
        setrlimit(RLIMIT_FSIZE, &limit);
    });
    EXPECT_EQ(run.status, 1) << run.all();
    EXPECT_NE(run.out.find("It would have 2.0 MB when written, and there is room for 1.0 MB."), std::string::npos)
        << run.all();
    EXPECT_EQ(box.without_snapshots(), before);
}

TEST(FailingRun, JsonTellsIt)
{
    TinyAppliance box;
    box.write("/data/etc/cert/large", std::string(100'000, 'x'));
    Outcome            run = migr({"upgrade", box.root(), "--json"}, [] {
        rlimit limit = {50'000, 50'000};
        setrlimit(RLIMIT_FSIZE, &limit);
    });
    support::JsonValue answer = support::JsonValue::parse(run.out);
    EXPECT_EQ(answer["status"], run.status);
    EXPECT_NE(run.status, 0);
    EXPECT_NE(answer["error"].text().find("File too large"), std::string::npos) << run.out;
}

TEST(FailingRun, InADryRunTouchesNothing)
{
    TinyAppliance           box;
    Listing                 before = box.listing();
    command::UpgradeRequest request = request_for(box, [] {
        begin_and_harm(global_path);
        abort();
    });
    request.dry_run = true;
    Outcome run = run_request(request);
    EXPECT_EQ(run.status, 3) << run.all();
    EXPECT_EQ(box.listing(), before);
}
