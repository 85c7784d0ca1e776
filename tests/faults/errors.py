"""What can go wrong with which system call, and in which nothing is promised. Both tables go to the page."""
import errno
import re

IO, SPACE, QUOTA, ACCESS, FILES, MEMORY, BREAK = (errno.EIO, errno.ENOSPC, errno.EDQUOT, errno.EACCES, errno.EMFILE, errno.ENOMEM, errno.EINTR)

# How a blow is dealt: strike's words.
FAIL, LOST, GIVE, SHORT, KILL, KILL_ONE = "fail", "lost", "give", "short", "kill", "kill-one"

# Calls, which of the seven errors they can give, and why those. An open gives what making a file gives if it makes one.
GROUPS = (
    (("openat", "openat2", "open"), (IO, ACCESS, FILES, MEMORY, BREAK), "a new descriptor for something on a disk; EINTR from a network's"),
    (("openat (making)",), (IO, SPACE, QUOTA, ACCESS, FILES, MEMORY, BREAK), "as above, and a name and a node more on the disk"),
    (("read", "pread64", "readv"), (IO, MEMORY, BREAK), "rights and numbers were looked at when it was opened"),
    (("write", "pwrite64", "writev"), (IO, SPACE, QUOTA, MEMORY, BREAK), "the disk grows; rights were looked at when it was opened"),
    (("sendfile", "copy_file_range"), (IO, SPACE, QUOTA, MEMORY, BREAK), "a read and a write"),
    (("fsync", "fdatasync", "sync_file_range", "syncfs"), (IO, SPACE, QUOTA, BREAK), "a disk that holds back its room tells only now that there is none"),
    (("ftruncate", "truncate", "fallocate"), (IO, SPACE, QUOTA, MEMORY, BREAK), "as a write"),
    (("getdents64",), (IO, MEMORY), "reads a folder"),
    (("newfstatat", "fstat", "stat", "lstat", "statx", "access", "faccessat", "faccessat2", "readlink", "readlinkat", "statfs", "fstatfs", "getcwd"),
     (IO, ACCESS, MEMORY), "look a path up"),
    (("mkdir", "mkdirat", "link", "linkat", "symlink", "symlinkat", "rename", "renameat", "renameat2"), (IO, SPACE, QUOTA, ACCESS, MEMORY),
     "a name more on the disk"),
    (("unlink", "unlinkat", "rmdir"), (IO, ACCESS, MEMORY), "a name less"),
    (("chmod", "fchmod", "fchmodat", "fchmodat2", "chown", "fchown", "lchown", "fchownat", "utimensat"), (IO, SPACE, QUOTA, ACCESS, MEMORY),
     "a node written anew, and with another owner under another quota"),
    (("llistxattr", "listxattr", "flistxattr", "lgetxattr", "getxattr", "fgetxattr"), (IO, ACCESS, MEMORY), "look a path up"),
    (("fsetxattr", "setxattr", "lsetxattr", "fremovexattr", "removexattr"), (IO, SPACE, QUOTA, ACCESS, MEMORY), "a node written anew"),
    (("mmap", "mremap"), (MEMORY,), "memory, as all of this program's are"),
    (("clone", "clone3", "fork", "vfork"), (MEMORY,), "a process more"),
    (("execve",), (IO, ACCESS, MEMORY, FILES), "reads a program"),
    (("pipe2", "memfd_create", "signalfd4", "eventfd2", "socket", "landlock_create_ruleset"), (FILES, MEMORY), "new descriptors"),
    (("dup", "dup2", "dup3"), (FILES, BREAK), "new descriptors"),
    (("fcntl (dup)",), (FILES,), "a new descriptor"),
    (("poll", "ppoll", "select"), (MEMORY, BREAK), "wait"),
    (("wait4", "waitid", "flock"), (BREAK,), "wait"),
    (("chroot", "chdir", "fchdir"), (IO, ACCESS, MEMORY), "look a path up"),
    (("mount", "unshare", "setns"), (ACCESS, MEMORY), "mounts and namespaces"),
    (("ioctl",), (IO, ACCESS, MEMORY), "asks a disk or a terminal"),
    (("capset", "capget", "prctl", "seccomp", "landlock_add_rule", "landlock_restrict_self"), (ACCESS, MEMORY), "rights; EACCES stands for EPERM, too"),
)
GIVEN = {name: errors for names, errors, _ in GROUPS for name in names}

# Closed is closed, whatever is said of it: the call is made, and its result lost.
CLOSE = ("close", (IO, SPACE, QUOTA, BREAK), "the call is made and its result lost, since Linux closes whatever it says")

# No disk is behind a pipe.
PIPES = {"read": (BREAK,), "write": (MEMORY, BREAK), "newfstatat": (MEMORY,), "fstat": (MEMORY,), "close": ()}

# brk gives no error: a limit that stays where it was tells that there is no memory.
BRK = ("brk", "gives another limit than was asked for in place of ENOMEM")

# They give none of the seven errors. A process can die at them all the same.
NO_ERROR = {
    "cannot fail": ("getpid", "getppid", "gettid", "geteuid", "getuid", "getegid", "getgid", "umask", "exit_group", "exit", "getrandom", "rt_sigreturn", "close_range",
                    "set_robust_list", "set_tid_address", "rseq", "arch_prctl", "sched_getaffinity", "restart_syscall", "uname", "time", "clock_gettime",
                    "gettimeofday", "kill", "tgkill", "sysinfo", "fcntl", "alarm", "setpgid", "getpgrp", "setsid", "clock_nanosleep", "nanosleep", "rt_sigtimedwait"),
    "fail only if called wrongly": ("lseek", "rt_sigaction", "rt_sigprocmask", "prlimit64", "sigaltstack", "fadvise64", "mincore", "getrlimit", "setrlimit", "poll_schedule"),
    "their failure is not looked at, and cannot matter": ("munmap", "mprotect", "madvise", "futex"),
}
WITHOUT_ERROR = {name: reason for reason, names in NO_ERROR.items() for name in names}

# Calls that are not tried, and why.
NOT_TRIED = (
    (lambda call: not call.behind_start, "the dynamic linker's calls ahead of the program's own: no program has begun that could promise anything"),
)


def is_about_plain_copy(call):
    return any(re.search(r"/var/log/sys_[^/]*\.conf$|/tmp/system2\.conf$", path) for path in call.paths)


def is_of_a_shared_library(call):
    """As the dynamic linker maps it, behind its file's pages with some of no file at a place of its own choice."""
    is_of_no_file = "MAP_FIXED" in call.arguments and "MAP_ANONYMOUS" in call.arguments
    return call.name == "mmap" and (is_of_no_file or re.search(r"<[^>]*\.so[.0-9]*>", call.arguments) is not None)


# What does not hold and is not promised: of which call, what is found, and why.
NOT_PROMISED = (
    (lambda call: call.streams, "does not name",
     "the way to the operator is what fails: a message that cannot be written is not read; the status tells"),
    (is_of_a_shared_library, "does not name the cause",
     "the dynamic linker says which library it could not map, and not why"),
    (is_about_plain_copy, "does not name the cause",
     "the plain copy in /var/log: the library goes on without it and keeps no cause; that it is missing is found, and stops the run"),
    (is_about_plain_copy, r"not all is new: \['[-~+][^']*(account\.json\.gz|fleet/)|behind the next command: \['[-~+][^']*account\.json\.gz",
     "the plain copy in /var/log is whole, and the library takes it for lost: the account does not list it among the files made"),
    (lambda call: call.pipe and call.name == "write", "does not name the cause",
     "a pipe of a child's that finds no page: how it failed cannot be told on it; the run ends as one that was cut off"),
)


class Unknown(Exception):
    """A call that the tables have nothing of."""


def kind_of(call):
    if call.name.startswith("openat") and "O_CREAT" in call.arguments:
        return "openat (making)"
    if call.name == "fcntl" and "F_DUPFD" in call.arguments:
        return "fcntl (dup)"
    return call.name


def blows_of(call):
    """What can go wrong with that call, as strike takes it, with the errno or None."""
    kind = kind_of(call)
    if call.pipe and kind in PIPES:
        return [(f"{FAIL}={error}", error) for error in PIPES[kind]]
    if kind == CLOSE[0]:
        return [(f"{LOST}={error}", error) for error in CLOSE[1]]
    if kind == BRK[0]:
        return [(f"{GIVE}=0", MEMORY)]
    if kind not in GIVEN:
        if kind not in WITHOUT_ERROR:
            raise Unknown(f"{kind}: errors.py has nothing of this call")
        return []
    blows = [(f"{FAIL}={error}", error) for error in GIVEN[kind]]
    moves = kind in ("read", "write", "pread64", "pwrite64", "sendfile", "copy_file_range")
    if moves and call.result is not None and call.result > 1:
        blows.append((f"{SHORT}={call.result // 2}", None))
    return blows


def why_not_tried(call):
    return next((reason for applies, reason in NOT_TRIED if applies(call)), None)


def why_not_promised(call, fault):
    return next((reason for applies, found, reason in NOT_PROMISED if applies(call) and re.search(found, fault)), None)
