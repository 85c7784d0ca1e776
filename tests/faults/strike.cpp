/*
 * Runs a command and lets one system call of it, or of a process that comes of it, go wrong. Which calls there are,
 * what may go wrong with them and what must then hold is for those to say that run this.
 *
 * strike PROCESS CALL NTH WHAT COMMAND...
 *
 * A process is named by its descent: the NTH process that begins to run COMMAND's program is the one with the name NTH,
 * from 0 on, and the children that it forks are NTH.0, NTH.1 and so on. CALL is a number of the kernel's, NTH counts in
 * that process, from 1. WHAT is one of
 *
 *     fail=ERRNO  the call is not made    lost=ERRNO  it is made, and its result lost
 *     give=VALUE  the call is not made and gives that    short=LENGTH  it is asked for no more than so many bytes
 *     kill        all die ahead of it    kill-one    the process that makes it dies alone
 *
 * strike --watch SOCKET CALL,CALL... COMMAND...
 *
 * strikes nothing but stops at each of those calls of any process, tells on the socket which it is ("PROCESS PID CALL
 * FIRST-ARGUMENT"), and goes on when a letter has come: g to make the call, s to let it do nothing and give 0.
 *
 * Prints one line: whether it struck, and the command's wait status, or "late" when it took too long.
 */
#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <map>
#include <string>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int seconds_of_patience = 60;
constexpr int cannot_trace = 77;

struct Blow {
    std::string       process;
    std::vector<long> calls;
    long              nth;
    std::string       what;
    long              value;       /* of what stands behind a "=" */
    int               socket = -1; /* that is told of each call */
};

/* A process that is traced. */
struct Traced {
    std::string name;
    int         children = 0;
    long        calls = 0;            /* of the kind that counts */
    bool        loses_result = false; /* the call that it is in will fail when it has been made */
    bool        waits = false;        /* it is there ahead of the news of its birth, and has no name yet */
};

struct Run {
    const Blow             &blow;
    pid_t                   command;
    std::string             program; /* that the command's processes run */
    std::map<pid_t, Traced> processes = {};
    int                     begun = 0; /* processes that have begun to run it */
    bool                    struck = false;
    int                     status = 0;
};

volatile sig_atomic_t is_late;

#ifdef __x86_64__

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
        _exit(cannot_trace);
}

[[noreturn]] void be_command(const Blow &blow, char **arguments)
{
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
        _exit(cannot_trace);
    raise(SIGSTOP);
    install_filter(blow.calls);
    execv(arguments[0], arguments);
    _exit(cannot_trace);
}

/* The argument that says how many bytes a call is to move; null where there is none. */
unsigned long long *length_of(user_regs_struct &registers)
{
    switch (registers.orig_rax) {
    case SYS_read:
    case SYS_write:
    case SYS_pread64:
    case SYS_pwrite64:
        return &registers.rdx;
    case SYS_sendfile:
        return &registers.r10;
    case SYS_copy_file_range:
        return &registers.r8;
    default:
        return nullptr;
    }
}

/* The kernel makes no call of that number. */
void replace_call(user_regs_struct &registers, long result)
{
    registers.orig_rax = static_cast<unsigned long long>(-1);
    registers.rax = static_cast<unsigned long long>(result);
}

void kill_all(const Run &run)
{
    for (const auto &[process, traced] : run.processes)
        kill(process, SIGKILL);
}

void strike(Run &run, pid_t process)
{
    const Blow      &blow = run.blow;
    user_regs_struct registers = {};
    if (ptrace(PTRACE_GETREGS, process, nullptr, &registers) != 0)
        return;
    run.struck = true;
    if (blow.what == "kill")
        return kill_all(run);
    if (blow.what == "kill-one")
        kill(process, SIGKILL);
    if (blow.what == "lost")
        run.processes[process].loses_result = true;
    if (blow.what == "fail")
        replace_call(registers, -blow.value);
    if (blow.what == "give")
        replace_call(registers, blow.value);
    unsigned long long *length = length_of(registers);
    if (blow.what == "short" && length)
        *length = std::min(*length, static_cast<unsigned long long>(blow.value));
    ptrace(PTRACE_SETREGS, process, nullptr, &registers);
}

/* Somebody looks at the world as it is ahead of this call. */
void be_watched(Run &run, pid_t process)
{
    user_regs_struct registers = {};
    char             answer = 'g';
    if (ptrace(PTRACE_GETREGS, process, nullptr, &registers) != 0)
        return;
    dprintf(run.blow.socket, "%s %d %lld %lld\n", run.processes[process].name.c_str(), process,
            static_cast<long long>(registers.orig_rax), static_cast<long long>(registers.rdi));
    while (read(run.blow.socket, &answer, 1) < 0 && errno == EINTR)
        ;
    if (answer != 's')
        return;
    replace_call(registers, 0);
    ptrace(PTRACE_SETREGS, process, nullptr, &registers);
}

/* The call has been made. */
void lose_result(Run &run, pid_t process)
{
    user_regs_struct registers = {};
    run.processes[process].loses_result = false;
    if (ptrace(PTRACE_GETREGS, process, nullptr, &registers) != 0)
        return;
    registers.rax = static_cast<unsigned long long>(-run.blow.value);
    ptrace(PTRACE_SETREGS, process, nullptr, &registers);
}

void name_child(Run &run, pid_t parent)
{
    unsigned long child = 0;
    if (ptrace(PTRACE_GETEVENTMSG, parent, nullptr, &child) != 0)
        return;
    Traced &from = run.processes[parent];
    Traced &born = run.processes[static_cast<pid_t>(child)];
    born.name = from.name + "." + std::to_string(from.children++);
    if (born.waits)
        ptrace(PTRACE_CONT, child, nullptr, 0);
    born.waits = false;
}

void name_program(Run &run, pid_t process)
{
    char    path[PATH_MAX] = "";
    ssize_t length = readlink(("/proc/" + std::to_string(process) + "/exe").c_str(), path, sizeof path - 1);
    Traced &traced = run.processes[process];
    bool    ours = length > 0 && run.program == path;
    traced = {ours ? std::to_string(run.begun++) : "other"};
}

void look_at_call(Run &run, pid_t process)
{
    Traced &traced = run.processes[process];
    if (run.blow.socket >= 0)
        return be_watched(run, process);
    if (++traced.calls == run.blow.nth && traced.name == run.blow.process && !run.struck)
        strike(run, process);
}

/* Gives the signal that the process is to get on with. */
int look_at_stop(Run &run, pid_t process, int status)
{
    int event = status >> 16;
    if (event == PTRACE_EVENT_SECCOMP)
        look_at_call(run, process);
    else if (event == PTRACE_EVENT_EXEC)
        name_program(run, process);
    else if (event != 0)
        name_child(run, process);
    else if (WSTOPSIG(status) == (SIGTRAP | 0x80))
        lose_result(run, process);
    else if (WSTOPSIG(status) != SIGSTOP && WSTOPSIG(status) != SIGTRAP)
        return WSTOPSIG(status);
    return 0;
}

void follow(Run &run)
{
    int   status = 0;
    pid_t process = 0;
    while ((process = waitpid(-1, &status, __WALL)) > 0 || errno == EINTR) {
        if (is_late)
            kill_all(run);
        if (process < 0)
            continue;
        if (!WIFSTOPPED(status)) {
            run.status = process == run.command ? status : run.status;
            run.processes.erase(process);
            continue;
        }
        if (run.processes[process].name.empty()) {
            run.processes[process].waits = true;
            continue;
        }
        int  signal = look_at_stop(run, process, status);
        bool to_its_end = run.processes[process].loses_result;
        ptrace(to_its_end ? PTRACE_SYSCALL : PTRACE_CONT, process, nullptr, signal);
    }
}

int trace(Run &run)
{
    constexpr auto options = PTRACE_O_TRACESECCOMP | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE |
                             PTRACE_O_TRACEEXEC | PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL;
    int status = 0;
    waitpid(run.command, &status, 0);
    if (!WIFSTOPPED(status) || ptrace(PTRACE_SETOPTIONS, run.command, nullptr, options) != 0)
        return cannot_trace;
    run.processes[run.command].name = "other";
    ptrace(PTRACE_CONT, run.command, nullptr, 0);
    follow(run);
    return 0;
}

void be_late(int)
{
    is_late = 1;
}

void begin_to_wait()
{
    struct sigaction action = {};
    action.sa_handler = be_late; /* without SA_RESTART, so that it ends a wait */
    sigaction(SIGALRM, &action, nullptr);
    itimerval often = {{1, 0}, {seconds_of_patience, 0}};
    setitimer(ITIMER_REAL, &often, nullptr);
}

int run_command(const Blow &blow, char **arguments)
{
    char  program[PATH_MAX] = "";
    pid_t command = realpath(arguments[0], program) ? fork() : -1;
    if (command == 0)
        be_command(blow, arguments);
    if (command < 0)
        return cannot_trace;
    begin_to_wait();
    Run run = {blow, command, program};
    int result = trace(run);
    if (result == 0)
        dprintf(STDOUT_FILENO, "%s %s%d\n", run.struck ? "struck" : "passed", is_late ? "late " : "", run.status);
    return result;
}

#else

int run_command(const Blow &, char **)
{
    return cannot_trace;
}

#endif

} // namespace

namespace {

std::vector<long> numbers_in(const char *text)
{
    std::vector<long> numbers;
    for (char *behind = nullptr; *text; text = *behind ? behind + 1 : behind)
        numbers.push_back(strtol(text, &behind, 10));
    return numbers;
}

int watch(char **arguments)
{
    Blow blow = {"", numbers_in(arguments[3]), 0, "", 0, atoi(arguments[2])};
    fcntl(blow.socket, F_SETFD, FD_CLOEXEC);
    return run_command(blow, arguments + 4);
}

} // namespace

int main(int count, char **arguments)
{
    if (count > 4 && strcmp(arguments[1], "--watch") == 0)
        return watch(arguments);
    if (count < 6) {
        fprintf(stderr, "usage: %s PROCESS CALL NTH WHAT COMMAND...\n", arguments[0]);
        return 2;
    }
    std::string what = arguments[4];
    size_t      equals = what.find('=');
    long        value = equals == std::string::npos ? 0 : atol(what.c_str() + equals + 1);
    Blow        blow = {arguments[1], numbers_in(arguments[2]), atol(arguments[3]), what.substr(0, equals), value};
    return run_command(blow, arguments + 5);
}
