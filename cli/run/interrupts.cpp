#include "run/interrupts.h"

#include "system/failure.h"

#include <cerrno>
#include <poll.h>
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

std::string read_all(int fd, const std::string &path, Interrupts &interrupts)
{
    std::string bytes;
    char        part[65536];
    for (;;) {
        pollfd waits[] = {{fd, POLLIN, 0}, {interrupts.fd(), POLLIN, 0}};
        if (poll(waits, 2, -1) < 0 && errno != EINTR)
            throw PathError{"read", path, errno};
        interrupts.stop_here("Nothing was changed.");
        ssize_t got = read(fd, part, sizeof part);
        if (got == 0)
            return bytes;
        if (got > 0)
            bytes.append(part, static_cast<size_t>(got));
        else if (errno != EINTR && errno != EAGAIN)
            throw PathError{"read", path, errno};
    }
}

} // namespace command
