/* Stops at the calls that a filter in the traced processes picks out; all others run undisturbed. */
#include "unit/cli/traced_run.h"

#include "command.h"

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <fcntl.h>
#include <filesystem>
#include <string>

namespace support {

namespace {

#ifdef __x86_64__
constexpr int writing_calls[] = {SYS_openat,    SYS_write,     SYS_fsync,     SYS_fdatasync, SYS_rename,
                                 SYS_renameat,  SYS_renameat2, SYS_link,      SYS_linkat,    SYS_symlink,
                                 SYS_unlink,    SYS_unlinkat,  SYS_mkdir,     SYS_mkdirat,   SYS_rmdir,
                                 SYS_fchmod,    SYS_chmod,     SYS_utimensat, SYS_ftruncate, SYS_fsetxattr,
                                 SYS_symlinkat, SYS_fchown,    SYS_lchown,    SYS_sendfile,  SYS_copy_file_range};

/* Opening to read changes nothing: only an open that may make or write a file counts. */
bool is_reading_open(const user_regs_struct &registers)
{
    return registers.orig_rax == SYS_openat && (registers.rdx & (O_WRONLY | O_RDWR | O_CREAT)) == 0;
}

std::vector<long> calls_for(const Fault &fault)
{
    if (fault.only >= 0)
        return {fault.only};
    return {std::begin(writing_calls), std::end(writing_calls)};
}

void install_filter(const std::vector<long> &calls)
{
    std::vector<sock_filter> program = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (long call : calls) {
        program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1));
        program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE));
    }
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    sock_fprog all = {static_cast<unsigned short>(program.size()), program.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &all) != 0)
        _exit(77);
}

[[noreturn]] void be_command(const std::vector<std::string> &arguments, const std::vector<long> &calls, int said)
{
    dup2(said, STDOUT_FILENO);
    dup2(said, STDERR_FILENO);
    std::vector<const char *> all = {"migr"};
    for (const std::string &argument : arguments)
        all.push_back(argument.c_str());
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
        _exit(77);
    raise(SIGSTOP);
    install_filter(calls);
    _exit(command::run_command(static_cast<int>(all.size()), all.data()));
}

struct Tracer {
    pid_t        command;
    const Fault &fault;
    TracedRun   &run;
};

void strike(const Tracer &tracer, pid_t process, user_regs_struct registers)
{
    tracer.run.struck = true;
    if (tracer.fault.kind == Fault::Kind::fail) {
        registers.orig_rax = static_cast<unsigned long long>(-1);
        registers.rax = static_cast<unsigned long long>(-tracer.fault.error);
        ptrace(PTRACE_SETREGS, process, nullptr, &registers);
        return;
    }
    if (tracer.fault.kind == Fault::Kind::kill_all)
        kill(tracer.command, SIGKILL);
    kill(process, SIGKILL);
}

/* A pipe is on no disk that could be full; and it is into pipes that sanitizers write to learn what they may read. */
bool is_pipe(pid_t process, unsigned long long descriptor)
{
    std::error_code fault;
    auto            link = "/proc/" + std::to_string(process) + "/fd/" + std::to_string(descriptor);
    return std::filesystem::read_symlink(link, fault).string().starts_with("pipe:");
}

bool is_killing(const Fault &fault)
{
    return fault.kind == Fault::Kind::kill_all || fault.kind == Fault::Kind::kill_caller;
}

void look_at_call(const Tracer &tracer, pid_t process)
{
    user_regs_struct registers = {};
    if (ptrace(PTRACE_GETREGS, process, nullptr, &registers) != 0 || is_reading_open(registers))
        return;
    auto number = static_cast<long>(registers.orig_rax);
    if (tracer.fault.only >= 0 && number != tracer.fault.only)
        return;
    bool writes = number == SYS_write;
    if (writes && registers.rdi <= STDERR_FILENO)
        return;
    if (writes && !is_killing(tracer.fault) && is_pipe(process, registers.rdi))
        return;
    tracer.run.calls++;
    tracer.run.calls_by_number[number]++;
    if (tracer.fault.kind != Fault::Kind::none && tracer.run.calls == tracer.fault.point)
        strike(tracer, process, registers);
}

bool is_own_stop(int status)
{
    int signal = WSTOPSIG(status);
    return signal == SIGSTOP || signal == SIGTRAP;
}

void follow(const Tracer &tracer)
{
    int status = 0;
    for (pid_t process; (process = waitpid(-1, &status, __WALL)) > 0;) {
        if (WIFEXITED(status) && process == tracer.command)
            tracer.run.status = WEXITSTATUS(status);
        if (!WIFSTOPPED(status))
            continue;
        if (status >> 8 == (SIGTRAP | (PTRACE_EVENT_SECCOMP << 8)))
            look_at_call(tracer, process);
        ptrace(PTRACE_CONT, process, nullptr, is_own_stop(status) ? 0 : WSTOPSIG(status));
    }
}

std::string text_in(int fd)
{
    std::string text(65536, '\0');
    ssize_t     got = pread(fd, text.data(), text.size(), 0);
    close(fd);
    text.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return text;
}

TracedRun run_with(const std::vector<std::string> &arguments, const std::vector<long> &calls, const Fault &fault)
{
    TracedRun run;
    int       said = memfd_create("said", MFD_CLOEXEC);
    pid_t     command = fork();
    if (command == 0)
        be_command(arguments, calls, said);
    int status = 0;
    waitpid(command, &status, 0);
    if (WIFSTOPPED(status)) {
        ptrace(PTRACE_SETOPTIONS, command, nullptr,
               PTRACE_O_TRACESECCOMP | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE |
                   PTRACE_O_EXITKILL);
        ptrace(PTRACE_CONT, command, nullptr, 0);
        follow({command, fault, run});
    }
    run.said = text_in(said);
    return run;
}
#endif

} // namespace

#ifdef __x86_64__
TracedRun run_traced(const std::vector<std::string> &arguments, const Fault &fault)
{
    return run_with(arguments, calls_for(fault), fault);
}

std::map<long, long> count_calls(const std::vector<std::string> &arguments, const std::vector<long> &numbers)
{
    return run_with(arguments, numbers, {}).calls_by_number;
}

bool may_trace()
{
    return run_traced({"--help"}, {}).status == 0;
}
#else
TracedRun run_traced(const std::vector<std::string> &, const Fault &)
{
    return {};
}

std::map<long, long> count_calls(const std::vector<std::string> &, const std::vector<long> &)
{
    return {};
}

bool may_trace()
{
    return false;
}
#endif

} // namespace support
