/*
 * Copies of files and folders, one by one: a copy that fails half-way leaves what is there by then, and nobody takes
 * it back. Links are copied as links, sockets and devices not at all.
 */
#include "platform/platform.h"

#include "files.h"
#include "folders.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

using appliance::Descriptor;
using appliance::ReplacedFile;

constexpr size_t COPY_BUFFER = 64 * 1024;

/* Folders below one another that are copied. Certificate folders have two levels. */
constexpr int DEEPEST_COPY = 64;

namespace {

using Folder = appliance::Owned<DIR, closedir>;

} // namespace

static bool same_file(const struct stat &one, const struct stat &other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

static bool copy_bytes(int from, ReplacedFile *to)
{
    char buffer[COPY_BUFFER];
    for (;;) {
        ssize_t got = read(from, buffer, sizeof buffer);
        if (got == 0)
            return true;
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0 || !to->write(buffer, static_cast<size_t>(got)))
            return false;
    }
}

/* `target` is relative to `folder`. */
static bool copy_open_file(int from, const struct stat &status, int folder, const char *target)
{
    struct stat there = {};
    if (fstatat(folder, target, &there, 0) == 0 && same_file(status, there))
        return true;
    ReplacedFile file(folder, target);
    return file.make() && copy_bytes(from, &file) && file.put_in_place(status.st_mode & 0777);
}

int copy_file(const char *source, const char *target)
{
    struct stat status = {};
    Descriptor  from(appliance::open_regular(AT_FDCWD, source, 0, &status));
    if (!from.good() || appliance::no_path(target))
        return -1;
    return copy_open_file(from.get(), status, AT_FDCWD, target) ? 0 : -1;
}

namespace {

/* Two open folders, content goes from one to the other. */
struct FolderCopy {
    int         source;
    int         target;
    struct stat top; /* the topmost target: it is not copied into itself when it lies below the source */
    int         depth;
};

} // namespace

static bool copy_content(const FolderCopy &copy);

static bool copy_one_file(const FolderCopy &copy, const char *name)
{
    struct stat status = {};
    Descriptor  from(appliance::open_regular(copy.source, name, O_NOFOLLOW, &status));
    return from.good() && copy_open_file(from.get(), status, copy.target, name);
}

static bool copy_link(const FolderCopy &copy, const char *name)
{
    char    leads_to[PATH_MAX];
    ssize_t length = readlinkat(copy.source, name, leads_to, sizeof leads_to);
    if (length < 0 || static_cast<size_t>(length) == sizeof leads_to)
        return false;
    leads_to[length] = '\0';
    ReplacedFile link(copy.target, name);
    return link.make_link(leads_to) && link.put_link_in_place();
}

static bool copy_subfolder(const FolderCopy &copy, const char *name, const struct stat &status)
{
    if (same_file(status, copy.top))
        return true;
    if (copy.depth == DEEPEST_COPY)
        return false;
    bool made = mkdirat(copy.target, name, 0700) == 0;
    if (!made && errno != EEXIST)
        return false;
    Descriptor source(openat(copy.source, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    Descriptor target(openat(copy.target, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!source.good() || !target.good())
        return false;
    if (!copy_content({source.get(), target.get(), copy.top, copy.depth + 1}))
        return false;
    return !made || fchmod(target.get(), status.st_mode & 0777) == 0;
}

/* Pipes, sockets and devices are no content. */
static bool copy_entry(const FolderCopy &copy, const char *name)
{
    struct stat status = {};
    if (fstatat(copy.source, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
        return false;
    if (S_ISREG(status.st_mode))
        return copy_one_file(copy, name);
    if (S_ISLNK(status.st_mode))
        return copy_link(copy, name);
    if (S_ISDIR(status.st_mode))
        return copy_subfolder(copy, name, status);
    return true;
}

static bool copy_content(const FolderCopy &copy)
{
    int    listed = fcntl(copy.source, F_DUPFD_CLOEXEC, 0);
    Folder folder(listed < 0 ? nullptr : fdopendir(listed));
    if (!folder) {
        if (listed >= 0)
            close(listed);
        return false;
    }
    for (;;) {
        errno = 0;
        const dirent *entry = readdir(folder.get());
        if (!entry)
            return errno == 0;
        if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0)
            continue;
        if (!copy_entry(copy, entry->d_name))
            return false;
    }
}

int copy_dir(const char *source, const char *target)
{
    if (appliance::no_path(source) || appliance::no_path(target))
        return -1;
    struct stat status = {};
    Descriptor  from(open(source, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!from.good() || fstat(from.get(), &status) != 0 || !appliance::make_folders(target))
        return -1;
    Descriptor to(open(target, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    FolderCopy copy = {from.get(), to.get(), {}, 0};
    if (!to.good() || fstat(to.get(), &copy.top) != 0)
        return -1;
    if (same_file(status, copy.top))
        return 0;
    return copy_content(copy) ? 0 : -1;
}
