/* The system calls that a child which reads configurations may make, and those that end it. tools/list_limits makes the
 * filter of them while the command is built. */
#pragma once

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>

namespace command {

/* On files, then on the process itself and the time. To signal itself a child may call tgkill, too. */
inline constexpr const char *allowed_calls =
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
inline constexpr unsigned long allowed_controls[] = {FS_IOC_GETFLAGS, FICLONE, TCGETS, TIOCGWINSZ};

/* Others change what the process may do, or how it ends. */
inline constexpr int allowed_questions[] = {PR_GET_DUMPABLE, PR_GET_PDEATHSIG};

/* Nothing in a configuration can want these but harm. */
inline constexpr const char *deadly_calls =
    "clone clone3 execve execveat fork vfork kill tkill ptrace socket socketpair process_vm_readv "
    "process_vm_writev pidfd_send_signal";

} // namespace command
