/*
 * Each wait looks for two things: what is waited for, and a signal. Nothing is read or written while neither has come.
 */
#include "run/waiting.h"

#include "system/failure.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

namespace command {

namespace {

constexpr int for_ever = -1;

/* Until the descriptor is ready for that, or the time is over. */
void wait_for(int fd, short events, int milliseconds, Interrupts &interrupts, const std::string &state)
{
    pollfd waits[] = {{fd, events, 0}, {interrupts.fd(), POLLIN, 0}};
    if (poll(waits, 2, milliseconds) < 0 && errno != EINTR)
        throw PathError{"wait for", "a file", errno};
    interrupts.stop_here(state);
}

std::string half_written(const std::string &path)
{
    return "Not all of it went to " + path + ".";
}

bool is_pipe(const std::string &path)
{
    struct stat st = {};
    return stat(path.c_str(), &st) == 0 && S_ISFIFO(st.st_mode);
}

Fd open_input(const std::string &path)
{
    bool standard = path == "-";
    return Fd(standard ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)
                       : open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
}

} // namespace

std::string shown_input(const std::string &path)
{
    return path == "-" ? "standard input" : path;
}

std::string read_input(const std::string &path, Interrupts &interrupts)
{
    Fd          fd = open_input(path);
    std::string bytes;
    char        part[65536];
    if (!fd)
        throw PathError{"read", shown_input(path), errno};
    for (;;) {
        wait_for(fd.get(), POLLIN, for_ever, interrupts, "Nothing was changed.");
        ssize_t got = read(fd.get(), part, sizeof part);
        if (got == 0)
            return bytes;
        if (got > 0)
            bytes.append(part, static_cast<size_t>(got));
        else if (errno != EINTR && errno != EAGAIN)
            throw PathError{"read", shown_input(path), errno};
    }
}

bool is_answered_yes(FILE *stream, const char *question, Interrupts &interrupts)
{
    fputs(question, stream);
    fflush(stream);
    std::string line;
    char        next = '\0';
    while (next != '\n') {
        wait_for(STDIN_FILENO, POLLIN, for_ever, interrupts, "Nothing was changed.");
        ssize_t got = read(STDIN_FILENO, &next, 1);
        if (got == 0)
            break;
        if (got > 0)
            line += next;
        else if (errno != EINTR && errno != EAGAIN)
            throw PathError{"read", shown_input("-"), errno};
    }
    return line.starts_with('y') || line.starts_with('Y');
}

/* A descriptor that is ready takes so much without a wait; it may be shared, so it is left as it blocks. */
void write_all(int fd, std::string_view bytes, const std::string &path, Interrupts &interrupts)
{
    while (!bytes.empty()) {
        wait_for(fd, POLLOUT, for_ever, interrupts, half_written(path));
        ssize_t put = write(fd, bytes.data(), std::min<size_t>(bytes.size(), PIPE_BUF));
        if (put >= 0)
            bytes.remove_prefix(static_cast<size_t>(put));
        else if (errno != EINTR && errno != EAGAIN)
            throw PathError{"write", path, errno};
    }
}

Fd open_for_writing(const std::string &path, Interrupts &interrupts)
{
    static constexpr int pause = 20; /* milliseconds; nothing tells when a reader comes */
    for (;;) {
        Fd fd(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
        if (fd)
            return fd;
        if (errno != ENXIO || !is_pipe(path))
            throw PathError{"write", path, errno};
        wait_for(-1, 0, pause, interrupts, half_written(path));
    }
}

} // namespace command
