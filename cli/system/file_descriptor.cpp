/* Reads and writes that are whole or throw. What a descriptor is open on is its owner's business. */
#include "system/file_descriptor.h"

#include "system/failure.h"
#include "system/large_pages.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace command {

Pipe::Pipe()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw PathError{"open", "a pipe", errno};
    read_end = Fd(ends[0]);
    write_end = Fd(ends[1]);
}

/* What is likely to come; a file may grow while it is read, and of a pipe nobody knows. */
static size_t likely_size(int fd)
{
    static constexpr off_t most = 1 << 30;
    struct stat            st = {};
    bool                   is_known = fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
    return is_known ? static_cast<size_t>(std::clamp<off_t>(st.st_size, 0, most)) : 0;
}

void for_each_part(int fd, const std::string &path, const std::function<void(std::string_view)> &take)
{
    char part[65536];
    for (;;) {
        ssize_t got = read(fd, part, sizeof part);
        if (got == 0)
            return;
        if (got > 0)
            take({part, static_cast<size_t>(got)});
        else if (errno != EINTR)
            throw PathError{"read", path, errno};
    }
}

std::string read_all(int fd, const std::string &path)
{
    std::string bytes;
    bytes.reserve(likely_size(fd));
    ask_for_large_pages(bytes.data(), bytes.capacity());
    for_each_part(fd, path, [&](std::string_view part) { bytes += part; });
    return bytes;
}

void write_all(int fd, std::string_view bytes, const std::string &path)
{
    while (!bytes.empty()) {
        ssize_t put = write(fd, bytes.data(), bytes.size());
        if (put >= 0)
            bytes.remove_prefix(static_cast<size_t>(put));
        else if (errno != EINTR)
            throw PathError{"write", path, errno};
    }
}

static bool syncs_are_left_out;

SyncsLeftOut::SyncsLeftOut()
{
    syncs_are_left_out = true;
}

SyncsLeftOut::~SyncsLeftOut()
{
    syncs_are_left_out = false;
}

void begin_to_sync(int fd)
{
    if (syncs_are_left_out)
        return;
    int error = errno;
    sync_file_range(fd, 0, 0, SYNC_FILE_RANGE_WRITE);
    errno = error;
}

void sync_to_disk(int fd, const std::string &path)
{
    if (syncs_are_left_out)
        return;
    /* Some file systems cannot sync a folder, and say so by EINVAL. */
    if (fsync(fd) != 0 && errno != EINVAL)
        throw PathError{"write", path, errno};
}

} // namespace command
