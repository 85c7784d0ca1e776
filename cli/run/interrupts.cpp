/*
 * Signals are blocked and read from a descriptor, so that nothing runs in the middle of something else. Whoever waits
 * for anything has to look there.
 */
#include "run/interrupts.h"

#include "system/failure.h"

#include <cerrno>
#include <sys/signalfd.h>

namespace command {

Interrupts::Interrupts()
{
    sigset_t held = {};
    sigemptyset(&held);
    for (int signal : {SIGINT, SIGQUIT, SIGTERM, SIGHUP})
        sigaddset(&held, signal);
    fd_ = Fd(signalfd(-1, &held, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!fd_)
        throw PathError{"open", "a signal descriptor", errno};
    sigprocmask(SIG_BLOCK, &held, &before_);
}

Interrupts::~Interrupts()
{
    came(); /* what has been answered must not kill the process now */
    sigprocmask(SIG_SETMASK, &before_, nullptr);
}

bool Interrupts::came()
{
    signalfd_siginfo info;
    while (read(fd_.get(), &info, sizeof info) == sizeof info)
        came_ = true;
    return came_;
}

void Interrupts::stop_here(const std::string &state)
{
    if (came())
        throw Failure(Status::failed, "Stopped by a signal. " + state);
}

} // namespace command
