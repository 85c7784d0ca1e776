/* The kept library of archives reads a folder as it reads an archive, and writes one likewise. */
#include "fleet/disk_archive.h"

#include "output/printable.h"
#include "system/failure.h"
#include "system/refused_calls.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <unistd.h>

namespace command {

/* For its own reasons the library has EILSEQ, of bytes that are no archive, and EINVAL, or a number below none. */
static bool is_the_systems(int error)
{
    return error > 0 && error != EILSEQ && error != EINVAL;
}

static std::string with_cause(archive *open, int error)
{
    const char *text = archive_error_string(open);
    std::string why = printable(text ? text : "it ends too early");
    bool        is_new = is_the_systems(error) && why.find(strerror(error)) == std::string::npos;
    return is_new ? why + " (" + strerror(error) + ")" : why;
}

std::string why_failed(archive *open)
{
    return with_cause(open, archive_errno(open));
}

/* Of a folder that it cannot go through the library keeps no error: it is the last there was. Where it has gone on with
 * a descriptor that it did not get, that is EBADF, and none where it has asked for something else since; what was
 * refused before tells then. */
static int error_on_disk(archive *open)
{
    int error = archive_errno(open) < 0 ? errno : archive_errno(open);
    return error == EBADF || error == 0 ? first_refused_call() : error;
}

void require_copied(archive *open, int result, const std::string &path)
{
    if (result < ARCHIVE_WARN)
        throw Failure(Status::failed, (path.empty() ? "" : printable(path) + ": ") + "cannot copy it: " +
                                          with_cause(open, error_on_disk(open)) + ". Mend that, or leave it out.");
}

static Archive checked(archive *made)
{
    Archive open(made);
    if (!open)
        throw std::bad_alloc();
    return open;
}

Archive open_folder(const std::string &path)
{
    Archive disk = checked(archive_read_disk_new());
    archive_read_disk_set_symlink_hybrid(disk.get()); /* follows the folder itself, if that is a link */
    require_copied(disk.get(), archive_read_disk_open(disk.get(), path.c_str()), path);
    return disk;
}

WorkingFolder::WorkingFolder() : fd_(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC))
{
    if (!fd_)
        throw Failure(Status::failed,
                      std::string("cannot copy it: the working folder cannot be held (") + strerror(errno) + "). " +
                          next_step(errno),
                      errno);
}

WorkingFolder::~WorkingFolder()
{
    (void)!fchdir(fd_.get());
}

/* The library goes on without attributes and lists of rights that it could not read, and in another folder where it
 * could not change back. What somebody may not read is another thing. */
void require_all_of(const std::string &folder)
{
    int refused = first_refused_call();
    if (refused != 0 && refused != EACCES && refused != EPERM)
        throw Failure(Status::failed,
                      folder + ": cannot copy all of it: " + strerror(refused) + ". " + next_step(refused), refused);
}

Archive open_disk()
{
    Archive disk = checked(archive_write_disk_new());
    int     flags = ARCHIVE_EXTRACT_TIME | ARCHIVE_EXTRACT_PERM | ARCHIVE_EXTRACT_ACL | ARCHIVE_EXTRACT_XATTR |
                ARCHIVE_EXTRACT_NO_OVERWRITE | ARCHIVE_EXTRACT_SECURE_NODOTDOT;
    archive_write_disk_set_options(disk.get(), geteuid() == 0 ? flags | ARCHIVE_EXTRACT_OWNER : flags);
    return disk;
}

/* Holes of a sparse file are filled. */
void copy_data(const Archive &from, const Archive &to, const std::string &path)
{
    std::array<char, 64 * 1024> buffer;
    for (;;) {
        la_ssize_t got = archive_read_data(from.get(), buffer.data(), buffer.size());
        if (got == 0)
            return;
        if (got < 0)
            require_copied(from.get(), ARCHIVE_FATAL, path);
        if (archive_write_data(to.get(), buffer.data(), static_cast<size_t>(got)) != got)
            require_copied(to.get(), ARCHIVE_FATAL, path);
    }
}

} // namespace command
