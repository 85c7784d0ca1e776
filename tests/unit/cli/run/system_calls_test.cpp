/* What a child that reads configurations tries in vain, and what it still may do. Each try is made in a child of its
 * own, and by the system call itself, so that no fallback of the C library hides what came of it. */
#include "run/system_calls.h"

#include "appliance/root.h"
#include "run/library_child.h"
#include "system/failure.h"
#include "unit/cli/command_support.h"
#include "unit/cli/failing_calls.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace support;

namespace {

/* The signal that ended a child that was held and then made the call; 0: it ended by itself. */
int signal_at(const std::function<void()> &call)
{
    pid_t child = fork();
    if (child == 0) {
        command::hold_to_listed_calls();
        call();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

/* errno of the call in a child that was held; 0: it was done. */
int error_of(const std::function<long()> &call)
{
    pid_t child = fork();
    if (child == 0) {
        command::hold_to_listed_calls();
        errno = 0;
        _exit(call() < 0 ? errno : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status)) << status;
    return WEXITSTATUS(status);
}

std::function<void()> raw(long number, long first = 0, long second = 0, long third = 0)
{
    return [=] { syscall(number, first, second, third); };
}

struct Named {
    const char           *name;
    std::function<void()> call;
};

char *no_arguments[] = {nullptr};

const std::vector<Named> deadly = {
    {"an internet connection", raw(SYS_socket, AF_INET, SOCK_STREAM)},
    {"a connection to a program of this machine", raw(SYS_socket, AF_UNIX, SOCK_STREAM)},
    {"two ends of one", raw(SYS_socketpair, AF_UNIX, SOCK_STREAM)},
    {"a program", [] { execve("/bin/true", no_arguments, no_arguments); }},
    {"a program by descriptor", [] { syscall(SYS_execveat, AT_FDCWD, "/bin/true", no_arguments, no_arguments, 0); }},
    {"a process", raw(SYS_clone, SIGCHLD)},
    {"a process, as of old", [] { (void)fork(); }},
    {"a process, as of late", raw(SYS_clone3)},
    {"a signal to the parent", [] { kill(getppid(), 0); }},
    {"a signal to a thread of the parent", raw(SYS_tkill, getpid())},
    {"a look into the parent", raw(SYS_process_vm_readv, getpid())},
    {"another one's trace", raw(SYS_ptrace, PTRACE_ATTACH, 1)},
};

} // namespace

TEST(SystemCalls, WhatReachesOutsideEndsTheChild)
{
    for (const Named &one : deadly)
        EXPECT_EQ(signal_at(one.call), SIGSYS) << one.name;
}

TEST(SystemCalls, WhatNobodyNeedsIsNotThere)
{
    EXPECT_EQ(error_of([] { return syscall(SYS_mount, "none", "/", "tmpfs", 0, nullptr); }), ENOSYS);
    EXPECT_EQ(error_of([] { return syscall(SYS_chroot, "/"); }), ENOSYS);
    EXPECT_EQ(error_of([] { return syscall(SYS_unshare, 0); }), ENOSYS);
    EXPECT_EQ(error_of([] { return syscall(SYS_io_uring_setup, 1, nullptr); }), ENOSYS);
    EXPECT_EQ(error_of([] { return syscall(SYS_bpf, 0, nullptr, 0); }), ENOSYS);
    EXPECT_EQ(error_of([] { return syscall(SYS_mknod, "/tmp/device", S_IFCHR, 0); }), ENOSYS);
    EXPECT_EQ(error_of([] { return syscall(SYS_setuid, getuid()); }), ENOSYS);
}

/* A child shares the terminal, into which it could type. */
TEST(SystemCalls, TerminalsAreOnlyLookedAt)
{
    char typed = 'x';
    EXPECT_EQ(error_of([&] { return ioctl(STDIN_FILENO, TIOCSTI, &typed); }), ENOSYS);
    EXPECT_EQ(error_of([] { return isatty(STDIN_FILENO) || errno == ENOTTY ? 0 : -1; }), 0);
}

TEST(SystemCalls, AnotherThreadOrProcessIsNotSignalled)
{
    EXPECT_EQ(error_of([] { return syscall(SYS_tgkill, getppid(), getppid(), 0); }), ENOSYS);
    EXPECT_EQ(signal_at([] { abort(); }), SIGABRT);
}

TEST(SystemCalls, WorkOnFilesAndMemoryGoesOn)
{
    TinyAppliance box;
    EXPECT_EQ(error_of([&] {
                  std::error_code error;
                  std::string     folder = box.root() + "/folder";
                  std::filesystem::create_directories(folder, error);
                  int fd = open((folder + "/file").c_str(), O_CREAT | O_RDWR, 0600);
                  if (error || fd < 0 || write(fd, "text", 4) != 4 || fsync(fd) != 0 || close(fd) != 0)
                      return -1;
                  std::filesystem::copy_file(folder + "/file", folder + "/copy", error);
                  if (error || rename((folder + "/copy").c_str(), (folder + "/other").c_str()) != 0)
                      return -1;
                  void *memory = malloc(1 << 24);
                  free(memory);
                  std::filesystem::remove_all(folder, error);
                  return error || !memory ? -1 : 0;
              }),
              0);
}

/* A kernel that knows no such lists does without; whatever else goes wrong is told. */
TEST(SystemCalls, AreNotLeftFreeForAnyOtherReason)
{
    for (unsigned call : {1, 2}) {
        auto told = [&](int error) {
            fail_call("prctl", error, call);
            return path_error_of(command::hold_to_listed_calls);
        };
        EXPECT_EQ(told(EINVAL), "") << call;
        EXPECT_EQ(told(ENOSYS), "") << call;
        EXPECT_EQ(told(EACCES), with_error("limit the system calls of a process", EACCES)) << call;
    }
}

TEST(SystemCalls, TheLibraryIsHeldToThem)
{
    TinyAppliance       box;
    command::Root       root(box.root());
    command::Interrupts interrupts;
    command::Progress   progress(nullptr, 1);
    auto                connects = [] { (void)socket(AF_INET, SOCK_STREAM, 0); };
    command::LibraryRun run =
        command::run_library(root.confinement(), connects, std::chrono::seconds(60), interrupts, progress);
    EXPECT_EQ(run.end, command::End::crashed);
    EXPECT_EQ(run.code, SIGSYS);
    EXPECT_NE(run.trouble().find("Bad system call"), std::string::npos) << run.trouble();
}

TEST(SystemCalls, SoIsWhoeverLooksIntoAnAppliance)
{
    TinyAppliance box;
    command::Root root(box.root());
    EXPECT_THROW(root.run([] {
        (void)fork();
        return std::string();
    }),
                 command::Failure);
}
