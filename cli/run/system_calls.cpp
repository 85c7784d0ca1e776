/* The lists, and their way into the kernel. Landlock would do as much for files, which the change of root does already,
 * and in the kernels of today nothing about processes. */
#include "run/system_calls.h"

#include "system/failure.h"

#include <cerrno>
#include <linux/fs.h>
#include <memory>
#include <seccomp.h>
#include <sstream>
#include <string>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace command {

namespace {

/* On files, then on the process itself and the time. */
constexpr const char *allowed_calls =
    "access chdir chmod chown close close_range copy_file_range creat dup dup2 dup3 faccessat faccessat2 "
    "fadvise64 fallocate fchdir fchmod fchmodat fchown fchownat fcntl fdatasync fgetxattr flistxattr flock "
    "fremovexattr fsetxattr fstat fstatfs fsync ftruncate getcwd getdents getdents64 getxattr lchown "
    "lgetxattr link linkat listxattr llistxattr lremovexattr lseek lsetxattr lstat mkdir mkdirat newfstatat "
    "open openat openat2 pipe pipe2 poll ppoll pread64 preadv pwrite64 pwritev read readlink readlinkat readv "
    "rename renameat renameat2 rmdir sendfile setxattr stat statfs statx symlink symlinkat sync "
    "sync_file_range syncfs truncate umask unlink unlinkat utimensat write writev "
    "brk capget clock_getres clock_gettime clock_nanosleep exit exit_group futex getegid geteuid getgid "
    "getpid getppid getrandom getrlimit getrusage gettid gettimeofday getuid madvise memfd_create mmap "
    "mprotect mremap munmap nanosleep pause prlimit64 restart_syscall rt_sigaction rt_sigprocmask rt_sigreturn "
    "sched_yield sigaltstack time uname";

/* Others act on terminals and devices. */
constexpr unsigned long allowed_controls[] = {FS_IOC_GETFLAGS, FICLONE, TCGETS, TIOCGWINSZ};

/* Others change what the process may do, or how it ends. */
constexpr int allowed_questions[] = {PR_GET_DUMPABLE, PR_GET_PDEATHSIG};

/* Nothing in a configuration can want these but harm. */
constexpr const char *deadly_calls =
    "clone clone3 execve execveat fork vfork kill tkill ptrace socket socketpair process_vm_readv "
    "process_vm_writev pidfd_send_signal";

using Filter = std::unique_ptr<void, void (*)(scmp_filter_ctx)>;

/* libseccomp gives errors as negative numbers. */
void check(int result)
{
    if (result < 0)
        throw PathError{"limit", "the system calls of a process", -result};
}

/* A call that an older libseccomp has no name for has no rule: the others hold all the same. */
void add_rules(const Filter &filter, uint32_t action, const char *calls)
{
    std::istringstream words(calls);
    for (std::string call; words >> call;)
        if (int number = seccomp_syscall_resolve_name(call.c_str()); number != __NR_SCMP_ERROR)
            check(seccomp_rule_add(filter.get(), action, number, 0));
}

/* Only with that value as an argument. */
void allow_with(const Filter &filter, int call, const scmp_arg_cmp &argument)
{
    check(seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, call, 1, argument));
}

Filter make_filter()
{
    Filter filter(seccomp_init(SCMP_ACT_ERRNO(ENOSYS)), seccomp_release);
    check(filter ? 0 : -ENOMEM);
    add_rules(filter, SCMP_ACT_ALLOW, allowed_calls);
    add_rules(filter, SCMP_ACT_KILL_PROCESS, deadly_calls);
    for (unsigned long control : allowed_controls)
        allow_with(filter, SCMP_SYS(ioctl), SCMP_A1(SCMP_CMP_EQ, control));
    for (int question : allowed_questions)
        allow_with(filter, SCMP_SYS(prctl), SCMP_A0(SCMP_CMP_EQ, static_cast<scmp_datum_t>(question)));
    allow_with(filter, SCMP_SYS(tgkill), SCMP_A0(SCMP_CMP_EQ, static_cast<scmp_datum_t>(getpid()))); /* abort() */
    return filter;
}

void load(const Filter &filter)
{
    static constexpr uint32_t searched_by_halves = 2, as_the_kernel_gave_it = 1;
    check(seccomp_attr_set(filter.get(), SCMP_FLTATR_CTL_OPTIMIZE, searched_by_halves));
    check(seccomp_attr_set(filter.get(), SCMP_FLTATR_API_SYSRAWRC, as_the_kernel_gave_it));
    check(seccomp_load(filter.get()));
}

} // namespace

void hold_to_listed_calls()
{
    try {
        load(make_filter());
    } catch (const PathError &error) {
        bool is_unknown = error.error == EINVAL || error.error == ENOSYS;
        if (!is_unknown)
            throw;
    }
}

} // namespace command
