/* Calls that the system refuses, or that a signal ends, in processes of their own. A filter of the kernel's gives the
 * errors: what it refuses is refused to the C library, too, so wrapped calls would show less. */
#include "system/refused_calls.h"

#include "support/appliance_root.h"
#include "support/places.h"
#include "unit/cli/command_support.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <functional>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sqlite3.h>
#include <string>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

using command::first_refused_call;
using command::watch_calls;

namespace {

class RefusedCalls : public testing::Test {
  protected:
    void SetUp() override
    {
        if (support::is_sanitized())
            GTEST_SKIP() << "its own forms of these calls stand there";
    }
};

/* What is noted of work while those calls give that error. */
int noted_of(const std::vector<int> &calls, int error, const std::function<void()> &work)
{
    support::Outcome outcome = support::run_process([&] {
        watch_calls();
        support::refuse_calls(calls, error);
        work();
        return first_refused_call();
    });
    return outcome.status;
}

int visit_nothing(const char *, const struct stat *, int, struct FTW *)
{
    return 0;
}

extern "C" {
int __open_2(const char *path, int flags);
int __openat_2(int folder, const char *path, int flags);
}

struct Call {
    const char           *name;
    std::function<void()> make;
};

constexpr char here[] = ".";
char           room[16];

void walk()
{
    nftw(here, visit_nothing, 4, FTW_DEPTH | FTW_PHYS);
}

void list()
{
    dirent **names = nullptr;
    scandir(here, &names, nullptr, nullptr);
}

void read_stream(FILE *stream)
{
    (void)!fread(room, 1, sizeof room, stream);
}

void put_into(FILE *stream)
{
    setvbuf(stream, nullptr, _IONBF, 0);
    (void)!fwrite(room, 1, sizeof room, stream);
}

void put_unlocked(FILE *stream)
{
    setvbuf(stream, nullptr, _IONBF, 0);
    (void)!fwrite_unlocked(room, 1, sizeof room, stream);
}

/* The names of those of which nothing is noted. */
std::string missed(const std::vector<Call> &calls)
{
    std::string names;
    for (const Call &call : calls) {
        watch_calls();
        call.make();
        names += first_refused_call() == EIO ? "" : std::string(" ") + call.name;
    }
    return names;
}

/* Signals, each of which does this, until one is no longer wanted. A call that waits is ended by them. */
class Signals {
  public:
    explicit Signals(void (*work)(int))
    {
        struct sigaction action = {};
        action.sa_handler = work;
        sigaction(SIGALRM, &action, nullptr);
        itimerval often = {{0, 5'000}, {0, 5'000}};
        setitimer(ITIMER_REAL, &often, nullptr);
    }
    ~Signals()
    {
        itimerval never = {};
        setitimer(ITIMER_REAL, &never, nullptr);
    }
};

int ends[2];

void give_a_byte(int)
{
    (void)!write(ends[1], "x", 1);
}

void take_bytes(int)
{
    static char bytes[65536];
    (void)!read(ends[0], bytes, sizeof bytes);
}

constexpr char fifo[] = "/fifo";

void open_other_end(int)
{
    (void)!open(fifo, O_RDWR | O_NONBLOCK);
}

void heed_permission_bits()
{
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct   rights[2] = {};
    ASSERT_EQ(syscall(SYS_capget, &header, rights), 0);
    rights[0].effective &= ~(1U << CAP_DAC_OVERRIDE);
    ASSERT_EQ(syscall(SYS_capset, &header, rights), 0);
}

/* Nobody may run a file that nobody may run, whatever rights there are. */
void be_denied()
{
    EXPECT_EQ(access("/file", X_OK), -1);
    EXPECT_EQ(errno, EACCES);
}

} // namespace

TEST_F(RefusedCalls, AreSeenWhoeverMakesThem)
{
    FILE            *stream = tmpfile();
    DIR             *folder = opendir(here);
    int              fd = open(here, O_RDONLY | O_DIRECTORY);
    struct stat      status = {};
    struct stat64    large = {};
    struct statfs    disk = {};
    struct statvfs   disk_of_posix = {};
    std::vector<int> refused = {
        SYS_access,     SYS_newfstatat, SYS_stat,       SYS_lstat,     SYS_fstat,   SYS_readlink,  SYS_unlink,
        SYS_unlinkat,   SYS_rmdir,      SYS_rename,     SYS_renameat,  SYS_symlink, SYS_mkdir,     SYS_mkdirat,
        SYS_fchmod,     SYS_truncate,   SYS_readlinkat, SYS_symlinkat, SYS_openat,  SYS_open,      SYS_pread64,
        SYS_read,       SYS_getdents64, SYS_fcntl,      SYS_faccessat, SYS_dup,     SYS_listxattr, SYS_llistxattr,
        SYS_flistxattr, SYS_getxattr,   SYS_lgetxattr,  SYS_fgetxattr, SYS_fchdir,  SYS_fstatfs};
    std::vector<Call> calls = {
        {"access", [] { (void)!access(here, F_OK); }},
        {"stat", [&] { stat(here, &status); }},
        {"lstat", [&] { lstat(here, &status); }},
        {"fstat", [&] { fstat(fd, &status); }},
        {"fstatat", [&] { fstatat(fd, here, &status, 0); }},
        {"stat64", [&] { stat64(here, &large); }},
        {"lstat64", [&] { lstat64(here, &large); }},
        {"fstat64", [&] { fstat64(fd, &large); }},
        {"readlink", [] { (void)!readlink(here, room, sizeof room); }},
        {"readlinkat", [&] { (void)!readlinkat(fd, here, room, sizeof room); }},
        {"unlink", [] { unlink(here); }},
        {"unlinkat", [&] { unlinkat(fd, here, 0); }},
        {"rmdir", [] { rmdir(here); }},
        {"rename", [] { rename(here, here); }},
        {"renameat", [&] { renameat(fd, here, fd, here); }},
        {"symlink", [] { (void)!symlink(here, here); }},
        {"symlinkat", [&] { (void)!symlinkat(here, fd, here); }},
        {"mkdir", [] { mkdir(here, 0700); }},
        {"mkdirat", [&] { mkdirat(fd, here, 0700); }},
        {"truncate", [] { (void)!truncate(here, 0); }},
        {"fchmod", [&] { fchmod(fd, 0700); }},
        {"dup", [&] { (void)!dup(fd); }},
        {"fchdir", [&] { (void)!fchdir(fd); }},
        {"fstatfs", [&] { fstatfs(fd, &disk); }},
        {"fstatvfs", [&] { fstatvfs(fd, &disk_of_posix); }},
        {"listxattr", [] { listxattr(here, room, sizeof room); }},
        {"llistxattr", [] { llistxattr(here, room, sizeof room); }},
        {"flistxattr", [&] { flistxattr(fd, room, sizeof room); }},
        {"getxattr", [] { getxattr(here, here, room, sizeof room); }},
        {"lgetxattr", [] { lgetxattr(here, here, room, sizeof room); }},
        {"fgetxattr", [&] { fgetxattr(fd, here, room, sizeof room); }},
        {"open", [] { (void)!open(here, O_RDONLY); }},
        {"openat", [&] { (void)!openat(fd, here, O_RDONLY); }},
        {"open64", [] { (void)!open64(here, O_RDONLY); }},
        {"__open_2", [] { (void)!__open_2(here, O_RDONLY); }},
        {"__openat_2", [&] { (void)!__openat_2(fd, here, O_RDONLY); }},
        {"fopen", [] { (void)!fopen(here, "re"); }},
        {"opendir", [] { (void)!opendir(here); }},
        {"fdopendir", [&] { (void)!fdopendir(fd); }},
        {"scandir", list},
        {"nftw", walk},
        {"readdir", [&] { (void)!readdir(folder); }},
        {"read", [&] { (void)!read(fd, room, sizeof room); }},
        {"pread64", [&] { (void)!pread64(fd, room, sizeof room, 0); }},
        {"fread", [&] { read_stream(stream); }},
    };
    support::Outcome outcome = support::run_process([&] {
        support::refuse_calls(refused, EIO);
        std::string names = missed(calls);
        dprintf(STDOUT_FILENO, "%s", names.c_str());
        return 0;
    });
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.status, 0);
    close(fd);
    closedir(folder);
    fclose(stream);
}

TEST_F(RefusedCalls, AreSeenWhereSomethingIsPut)
{
    FILE *full = fopen("/dev/full", "we");
    FILE *stream = tmpfile();
    const char *volatile text = "text"; /* or a compiler would make another call of it */
    auto put = [&] { (void)!write(fileno(full), "x", 1); };
    EXPECT_EQ(noted_of({}, 0, put), ENOSPC);
    EXPECT_EQ(noted_of({}, 0, [&] { put_into(full); }), ENOSPC);
    EXPECT_EQ(noted_of({}, 0, [&] { put_unlocked(full); }), ENOSPC);
    EXPECT_EQ(noted_of({}, 0, [&] { setvbuf(full, nullptr, _IONBF, 0), fputs(text, full); }), ENOSPC);
    EXPECT_EQ(noted_of({}, 0, [&] { setvbuf(full, nullptr, _IONBF, 0), fprintf(full, "%d\n", 1); }), ENOSPC);
    EXPECT_EQ(noted_of({}, 0, [&] { fputc('x', full), fflush(full); }), ENOSPC);
    EXPECT_EQ(noted_of({}, 0, [&] { fputc('x', full), fclose(full); }), ENOSPC);
    EXPECT_EQ(noted_of({SYS_write}, EINTR, [&] { put_into(stream); }), EINTR); /* the rest of it is lost */
    EXPECT_EQ(noted_of({SYS_fsync}, EIO, [&] { fsync(fileno(stream)); }), EIO);
    EXPECT_EQ(noted_of({}, 0, [&] { put_into(stream); }), 0);
    EXPECT_EQ(noted_of({}, 0, [&] { read_stream(stream); }), 0);
    fclose(full);
    fclose(stream);
}

/* What a file is, or that there is none, is no refusal. */
TEST_F(RefusedCalls, AreThoseOfADiskOrForWantOfSomething)
{
    auto sync = [] { fsync(STDOUT_FILENO); };
    for (int error : {EIO, ENOSPC, EDQUOT, ENOMEM, EMFILE, ENFILE, EROFS, ESTALE})
        EXPECT_EQ(noted_of({SYS_fsync}, error, sync), error);
    for (int error : {ENOENT, EEXIST, ENOTDIR, EISDIR, ENOTEMPTY, ELOOP, EXDEV, ENOSYS, EINVAL, EBADF})
        EXPECT_EQ(noted_of({SYS_fsync}, error, sync), 0);
    EXPECT_EQ(noted_of({SYS_fsync}, EIO, [&] { sync(), unlink("/there/is/none"); }), EIO); /* it is kept */
    EXPECT_EQ(noted_of({SYS_fsync}, EIO, [&] { sync(), watch_calls(); }), 0);              /* until it begins anew */
}

/* Neither the walk nor its end tells of a folder that breaks off. */
TEST_F(RefusedCalls, ThatEndAWalkEarly)
{
    support::ApplianceRoot box;
    for (int error : {EIO, ENOMEM, EINTR})
        EXPECT_EQ(noted_of({SYS_getdents64}, error, walk), error);
    support::expect_in_root(box, [] {
        watch_calls();
        errno = E2BIG;
        EXPECT_EQ(nftw("/", visit_nothing, 4, FTW_DEPTH | FTW_PHYS), 0);
        EXPECT_EQ(errno, E2BIG);
        EXPECT_EQ(nftw("/none", visit_nothing, 4, FTW_DEPTH | FTW_PHYS), -1);
        EXPECT_EQ(errno, ENOENT);
        EXPECT_EQ(first_refused_call(), 0);
    });
}

TEST_F(RefusedCalls, ClosedIsClosed)
{
    auto close_one = [] { close(STDIN_FILENO); };
    auto close_stream = [] { fclose(stdin); };
    EXPECT_EQ(noted_of({SYS_close}, EIO, close_one), EIO);
    EXPECT_EQ(noted_of({SYS_close}, EINTR, close_one), 0);
    EXPECT_EQ(noted_of({SYS_close}, EIO, close_stream), EIO);
    EXPECT_EQ(noted_of({SYS_close}, EINTR, close_stream), 0);
    auto close_both = [](bool is_watched) {
        return support::run_process(
                   [=] {
                       if (is_watched)
                           watch_calls();
                       errno = ENOENT;
                       int closed = close(STDERR_FILENO), stream_closed = fclose(stdin);
                       printf("%d %d %d", closed, stream_closed, errno);
                       return 0;
                   },
                   [] { support::refuse_calls({SYS_close}, EINTR); })
            .out;
    };
    EXPECT_EQ(close_both(true), "0 0 " + std::to_string(ENOENT));
    EXPECT_EQ(close_both(false), "-1 -1 " + std::to_string(EINTR));
}

TEST_F(RefusedCalls, OfSQLite)
{
    auto look = [] {
        sqlite3 *database = nullptr;
        sqlite3_open_v2(support::build_path("/image/signature.db").c_str(), &database, SQLITE_OPEN_READONLY, nullptr);
        sqlite3_exec(database, "select count(*) from sqlite_master", nullptr, nullptr, nullptr);
        sqlite3_close(database);
    };
    EXPECT_EQ(noted_of({}, 0, look), 0);
    EXPECT_EQ(noted_of({SYS_openat, SYS_open}, EMFILE, look), EMFILE);
    EXPECT_EQ(noted_of({SYS_pread64}, EIO, look), EIO);
    EXPECT_EQ(noted_of({SYS_newfstatat, SYS_fstat, SYS_stat}, EIO, look), EIO);
}

TEST_F(RefusedCalls, DeniedWhereNoRightIsMissing)
{
    support::ApplianceRoot box;
    box.write("/file", "");
    support::expect_in_root(box, [] {
        be_denied();
        EXPECT_EQ(first_refused_call(), 0); /* nobody watches */
        watch_calls();
        be_denied();
        EXPECT_EQ(first_refused_call(), EACCES);
        heed_permission_bits();
        watch_calls();
        be_denied();
        EXPECT_EQ(first_refused_call(), 0);
    });
}

TEST_F(RefusedCalls, DeniedAmongFilesOfOthers)
{
    support::ApplianceRoot box;
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give files away";
    box.write("/file", "");
    auto expect_noted = [&](unsigned owner, unsigned group, int error) {
        ASSERT_EQ(chown(box.path().c_str(), owner, group), 0);
        support::expect_in_root(box, [=] {
            watch_calls();
            be_denied();
            EXPECT_EQ(first_refused_call(), error);
        });
    };
    expect_noted(0, support::nobody, 0);
    expect_noted(support::nobody, 0, 0);
    expect_noted(0, 0, EACCES);
}

TEST_F(RefusedCalls, ASignalEndsNoRead)
{
    support::ApplianceRoot box;
    ASSERT_EQ(pipe(ends), 0);
    support::expect_in_root(box, [] {
        FILE *stream = fdopen(dup(ends[0]), "r");
        {
            Signals that_give_nothing([](int) {});
            EXPECT_EQ(read(ends[0], room, 1), -1); /* nobody watches */
            EXPECT_EQ(errno, EINTR);
        }
        Signals signals(give_a_byte);
        watch_calls();
        errno = E2BIG;
        EXPECT_EQ(read(ends[0], room, 5), 5);
        EXPECT_EQ(fread(room, 2, 2, stream), 2U);
        EXPECT_EQ(errno, E2BIG);
        EXPECT_EQ(first_refused_call(), 0);
    });
    close(ends[0]);
    close(ends[1]);
}

TEST_F(RefusedCalls, ASignalCutsNoWrite)
{
    support::ApplianceRoot box;
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(fcntl(ends[0], F_SETFL, O_NONBLOCK), 0); /* a signal may come ahead of the first byte */
    support::expect_in_root(box, [] {
        Signals     signals(take_bytes);
        std::string more_than_a_pipe_holds(300'000, 'x');
        watch_calls();
        EXPECT_EQ(write(ends[1], more_than_a_pipe_holds.data(), more_than_a_pipe_holds.size()), 300'000);
        EXPECT_EQ(first_refused_call(), 0);
    });
    close(ends[0]);
    close(ends[1]);
}

TEST_F(RefusedCalls, ASignalEndsNoOpening)
{
    support::ApplianceRoot      box;
    const std::function<void()> openings[] = {
        [] { EXPECT_GE(open(fifo, O_RDONLY), 0); },
        [] { EXPECT_GE(open64(fifo, O_RDONLY), 0); },
        [] { EXPECT_GE(openat(AT_FDCWD, fifo, O_RDONLY), 0); },
        [] { EXPECT_NE(fopen(fifo, "re"), nullptr); },
    };
    ASSERT_EQ(mkfifo((box.path().string() + fifo).c_str(), 0600), 0);
    for (const auto &opens : openings)
        support::expect_in_root(box, [&] {
            Signals signals(open_other_end);
            watch_calls();
            opens();
            EXPECT_EQ(first_refused_call(), 0);
        });
}

/* Such as a template's, which would be cut in half otherwise. */
TEST_F(RefusedCalls, PartsBecomeWholes)
{
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_EQ(write(ends[1], "ab", 2), 2);
    support::Outcome unwatched = support::run_process([] { return static_cast<int>(read(ends[0], room, 3)); });
    EXPECT_EQ(unwatched.status, 2);
    EXPECT_EQ(write(ends[1], "ab", 2), 2);
    support::Outcome watched = support::run_process([] {
        Signals signals(give_a_byte);
        watch_calls();
        int got = static_cast<int>(read(ends[0], room, 3));
        dprintf(STDOUT_FILENO, "%.3s", room);
        return got;
    });
    EXPECT_EQ(watched.status, 3);
    EXPECT_EQ(watched.out, "abx") << "each part goes behind the one ahead of it";
    close(ends[0]);
    close(ends[1]);
    FILE *stream = tmpfile();
    fputs("abc", stream);
    fflush(stream);
    support::Outcome elsewhere = support::run_process([&] {
        watch_calls();
        return pread64(fileno(stream), room, sizeof room, 1) == 2 && room[0] == 'b' && room[1] == 'c' ? 0 : 1;
    });
    EXPECT_EQ(elsewhere.status, 0);
    fclose(stream);
}

/* An errno from before is of no call that goes well. */
TEST_F(RefusedCalls, AreNoneThatGoWell)
{
    support::ApplianceRoot box;
    box.write("/file", "text");
    std::string file = box.path().string() + "/file", folder = box.path().string() + "/data";
    FILE       *stream = fopen(file.c_str(), "r+e");
    DIR        *open_folder = opendir(folder.c_str());
    int         fd = fileno(stream);
    struct stat status = {};
    fputs("buffered", stream);
    const Call calls[] = {
        {"access", [&] { (void)!access(file.c_str(), R_OK); }},
        {"stat", [&] { stat(file.c_str(), &status); }},
        {"mkdir", [&] { mkdir((folder + "/made").c_str(), 0700); }},
        {"open", [&] { close(open(file.c_str(), O_RDONLY | O_CLOEXEC)); }},
        {"openat", [&] { close(openat(AT_FDCWD, file.c_str(), O_RDONLY | O_CLOEXEC)); }},
        {"opendir", [&] { closedir(opendir(folder.c_str())); }},
        {"fopen", [&] { fclose(fopen(file.c_str(), "re")); }},
        {"read", [&] { (void)!read(fd, room, sizeof room); }},
        {"pread64", [&] { (void)!pread64(fd, room, sizeof room, 0); }},
        {"write", [&] { (void)!write(fd, "x", 1); }},
        {"readdir", [&] { EXPECT_TRUE(readdir(open_folder)); }},
        {"nftw", [&] { nftw(folder.c_str(), visit_nothing, 4, FTW_DEPTH | FTW_PHYS); }},
        {"fwrite", [&] { (void)!fwrite(room, 1, sizeof room, stream); }},
        {"fwrite_unlocked", [&] { (void)!fwrite_unlocked(room, 1, sizeof room, stream); }},
        {"fputs", [&] { EXPECT_GE(fputs("text", stream), 0); }},
        {"fprintf", [&] { EXPECT_EQ(fprintf(stream, "%d", 123), 3); }},
        {"fflush", [&] { EXPECT_EQ(fflush(stream), 0); }},
        {"fread", [&] { rewind(stream), read_stream(stream); }},
    };
    support::Outcome outcome = support::run_process([&] {
        for (const Call &call : calls) {
            watch_calls();
            errno = EIO;
            call.make();
            EXPECT_EQ(first_refused_call(), 0) << call.name;
        }
        return 0;
    });
    EXPECT_EQ(outcome.status, 0) << outcome.all();
    closedir(open_folder);
    fclose(stream);
}

TEST_F(RefusedCalls, AreNoneAtAnEnd)
{
    FILE            *empty = fopen("/dev/null", "re");
    support::Outcome outcome = support::run_process([&] {
        watch_calls();
        errno = EIO;
        EXPECT_EQ(fread(room, 1, sizeof room, empty), 0u);
        EXPECT_EQ(fread(room, 0, 5, empty), 0u);
        EXPECT_EQ(fread(room, 5, 0, empty), 0u);
        EXPECT_EQ(read(fileno(empty), room, sizeof room), 0);
        return first_refused_call();
    });
    EXPECT_EQ(outcome.status, 0);
    fclose(empty);
}

TEST_F(RefusedCalls, AreWatchedAsLongAsSomebodyDoes)
{
    support::Outcome outcome = support::run_process([] {
        watch_calls();
        {
            command::CallsWatched that_end;
        }
        auto fail = [] { (void)!write(open("/dev/full", O_WRONLY | O_CLOEXEC), "x", 1); };
        fail();
        EXPECT_EQ(first_refused_call(), 0) << "nobody does yet";
        {
            command::CallsWatched watched;
            fail();
            EXPECT_EQ(first_refused_call(), ENOSPC);
        }
        command::CallsWatched *again = new command::CallsWatched;
        EXPECT_EQ(first_refused_call(), 0) << "it begins anew";
        delete again;
        fail();
        EXPECT_EQ(first_refused_call(), 0) << "nobody does any more";
        return 0;
    });
    EXPECT_EQ(outcome.status, 0) << outcome.all();
}

/* Whoever cannot ask what rights there are takes it that some are missing. */
TEST_F(RefusedCalls, DeniedWhereNobodyKnowsTheRights)
{
    support::ApplianceRoot box;
    box.write("/file", "");
    for (int unknown : {SYS_capget, SYS_newfstatat})
        support::expect_in_root(box, [=] {
            support::refuse_calls({unknown, SYS_stat, unknown == SYS_capget ? SYS_capget : SYS_statx}, EPERM);
            watch_calls();
            be_denied();
            EXPECT_EQ(first_refused_call(), 0) << unknown;
        });
}

TEST_F(RefusedCalls, AFileIsMadeWithItsMode)
{
    support::ApplianceRoot box;
    std::string            folder = box.path().string();
    mode_t                 before = umask(0);
    auto                   mode_of = [](int fd) {
        struct stat status = {};
        fstat(fd, &status);
        close(fd);
        return status.st_mode & 07777;
    };
    static constexpr int makes = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, unnamed = O_WRONLY | O_TMPFILE | O_CLOEXEC;
    EXPECT_EQ(mode_of(open((folder + "/a").c_str(), makes, 0642)), 0642u);
    EXPECT_EQ(mode_of(open64((folder + "/b").c_str(), makes, 0624)), 0624u);
    EXPECT_EQ(mode_of(openat(AT_FDCWD, (folder + "/c").c_str(), makes, 0604)), 0604u);
    EXPECT_EQ(mode_of(open(folder.c_str(), unnamed, 0640)), 0640u);
    umask(before);
}

TEST_F(RefusedCalls, WhatIsCutShortGoesOnBehindIt)
{
    support::ApplianceRoot box;
    ASSERT_EQ(pipe(ends), 0);
    std::string text;
    for (int number = 0; text.size() < 200'000; number++)
        text += std::to_string(number) + " ";
    support::Outcome outcome = support::run_process([&] {
        pid_t reader = fork();
        if (reader == 0) {
            std::string got;
            char        part[5000];
            for (ssize_t size; got.size() < text.size() && (size = read(ends[0], part, sizeof part)) > 0;)
                got.append(part, static_cast<size_t>(size));
            _exit(got == text ? 0 : 1);
        }
        {
            Signals signals([](int) {});
            watch_calls();
            EXPECT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
        }
        int status = 1;
        waitpid(reader, &status, 0);
        return WEXITSTATUS(status);
    });
    EXPECT_EQ(outcome.status, 0);
    close(ends[0]);
    close(ends[1]);
}
