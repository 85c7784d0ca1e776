/*
 * Files are read with one look at their size and written beside their place. What a name may be and what a file means
 * is not looked at.
 */
#include "files.h"

#include "driver/hooks.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace appliance {

const size_t text_limit = size_t{1} << 30;

/* Names beside a target that are tried. A taken one is what a process of the same number left when it was killed. */
constexpr unsigned NAMES_TRIED = 1000;

Descriptor::~Descriptor()
{
    if (fd_ >= 0)
        close(fd_);
}

bool no_path(const char *path)
{
    return !path || !*path;
}

void ask_for_large_pages(void *start, size_t size)
{
    constexpr uintptr_t LARGE_PAGE = uintptr_t{2} << 20;
    auto                address = reinterpret_cast<uintptr_t>(start);
    uintptr_t           first = (address + LARGE_PAGE - 1) / LARGE_PAGE * LARGE_PAGE;
    uintptr_t           end = (address + size) / LARGE_PAGE * LARGE_PAGE;
    if (first < end)
        madvise(reinterpret_cast<void *>(first), end - first, MADV_HUGEPAGE);
}

Block new_block(size_t size)
{
    void *block = malloc(size);
    if (block)
        ask_for_large_pages(block, size);
    return Block(static_cast<unsigned char *>(block));
}

int open_regular(int folder, const char *name, int flags, struct stat *status)
{
    if (no_path(name))
        return -1;
    int fd = openat(folder, name, O_RDONLY | O_NONBLOCK | O_CLOEXEC | flags);
    if (fd < 0)
        return -1;
    if (fstat(fd, status) == 0 && S_ISREG(status->st_mode))
        return fd;
    close(fd);
    return -1;
}

/* Reads until `room` bytes or the file's end; the number of bytes, or -1. */
static ssize_t read_up_to(int fd, unsigned char *bytes, size_t room)
{
    size_t used = 0;
    while (used < room) {
        ssize_t got = read(fd, bytes + used, room - used);
        if (got == 0)
            break;
        if (got < 0 && errno != EINTR)
            return -1;
        if (got > 0)
            used += static_cast<size_t>(got);
    }
    return static_cast<ssize_t>(used);
}

bool read_whole(const char *path, size_t limit, Block *bytes, size_t *size)
{
    struct stat status = {};
    Descriptor  file(open_regular(AT_FDCWD, path, 0, &status));
    if (!file.good() || status.st_size < 0 || static_cast<size_t>(status.st_size) > limit)
        return false;

    /* One byte more than the file has: a file that grows while it is read is refused rather than cut. */
    size_t room = static_cast<size_t>(status.st_size) + 1;
    Block  block = new_block(room);
    if (!block)
        return false;
    ssize_t got = read_up_to(file.get(), block.get(), room);
    if (got < 0 || static_cast<size_t>(got) == room)
        return false;
    *bytes = std::move(block);
    *size = static_cast<size_t>(got);
    return true;
}

ReplacedFile::ReplacedFile(int folder, const char *target) : folder_(folder), target_(target) {}

ReplacedFile::~ReplacedFile()
{
    if (fd_ >= 0)
        close(fd_);
    if (beside_)
        unlinkat(folder_, beside_, 0);
    free(beside_);
}

static int folder_part_length(const char *path)
{
    const char *slash = strrchr(path, '/');
    return slash ? static_cast<int>(slash + 1 - path) : 0;
}

template <typename Maker> bool ReplacedFile::make_beside(const Maker &maker)
{
    for (unsigned number = 0; number < NAMES_TRIED; number++) {
        char *name = nullptr;
        if (asprintf(&name, "%.*s.new-%d-%u", folder_part_length(target_), target_, static_cast<int>(getpid()),
                     number) < 0)
            return false;
        if (maker(name)) {
            beside_ = name;
            return true;
        }
        bool taken = errno == EEXIST;
        free(name);
        if (!taken)
            return false;
    }
    return false;
}

bool ReplacedFile::make()
{
    if (no_path(target_))
        return false;
    return make_beside([this](const char *name) {
        fd_ = openat(folder_, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        return fd_ >= 0;
    });
}

bool ReplacedFile::make_link(const char *leads_to)
{
    return make_beside([this, leads_to](const char *name) { return symlinkat(leads_to, folder_, name) == 0; });
}

bool ReplacedFile::write(const void *bytes, size_t length)
{
    const char *next = static_cast<const char *>(bytes);
    while (length > 0) {
        ssize_t wrote = ::write(fd_, next, length);
        if (wrote < 0 && errno == EINTR)
            continue;
        if (wrote <= 0)
            return false;
        next += wrote;
        length -= static_cast<size_t>(wrote);
    }
    return true;
}

static bool must_reach_disk()
{
    return !migr_works_on_a_copy || migr_works_on_a_copy() == 0;
}

/* The new name is kept on disk where the file system can do that; the target is whole either way. */
void ReplacedFile::sync_folder() const
{
    char *name = nullptr;
    if (!must_reach_disk() || asprintf(&name, "%.*s.", folder_part_length(target_), target_) < 0)
        return;
    Descriptor folder(openat(folder_, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.good())
        fsync(folder.get());
    free(name);
}

bool ReplacedFile::rename_over()
{
    if (renameat(folder_, beside_, folder_, target_) != 0)
        return false;
    free(beside_);
    beside_ = nullptr;
    sync_folder();
    return true;
}

bool ReplacedFile::put_in_place(mode_t mode)
{
    if (fchmod(fd_, mode) != 0 || (must_reach_disk() && fsync(fd_) != 0))
        return false;
    int result = close(fd_);
    fd_ = -1;
    return result == 0 && rename_over();
}

bool ReplacedFile::put_link_in_place()
{
    return rename_over();
}

} // namespace appliance
