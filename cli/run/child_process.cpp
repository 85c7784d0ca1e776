/* Forked children and their end. What a child may do, and whose root folder it has, is its work's business. */
#include "run/child_process.h"

#include "system/failure.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace command {

static pid_t parent_of_this_child;

ChildProcess::ChildProcess(const std::function<int()> &work)
{
    fflush(nullptr);
    pid_t parent = getpid();
    pid_ = fork();
    if (pid_ < 0)
        throw PathError{"start", "a process", errno};
    if (pid_ > 0)
        return;
    parent_of_this_child = parent;
    _exit(work());
}

ChildProcess::~ChildProcess()
{
    kill();
    wait();
}

void ChildProcess::kill()
{
    if (pid_ > 0)
        ::kill(pid_, SIGKILL);
}

int ChildProcess::wait()
{
    if (pid_ <= 0)
        return status_;
    while (waitpid(pid_, &status_, 0) < 0 && errno == EINTR)
        ;
    pid_ = -1;
    return status_;
}

void die_with_parent()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent_of_this_child)
        _exit(0); /* it ended before the kernel knew */
}

} // namespace command
