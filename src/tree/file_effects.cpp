/*
 * Each of these leaves the disk as the shell command would that it stands for, and no shell sees a path. What went
 * wrong is told in the result alone; most migrations go on either way.
 */
#include "tree/file_effects.h"

#include "ledger/tell.h"
#include "platform/platform.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

static FILE *create_file(const char *path, int flags)
{
    unlink(path);
    int fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC | flags, 0600);
    if (fd < 0)
        return nullptr;
    FILE *stream = fdopen(fd, "w+");
    if (stream)
        return stream;
    close(fd);
    unlink(path);
    return nullptr;
}

FILE *create_private_file(const char *path)
{
    return create_file(path, O_EXCL | O_NOFOLLOW);
}

FILE *create_output(const char *path)
{
    return create_file(path, O_TRUNC);
}

int32_t close_written(FILE *stream)
{
    bool written = fflush(stream) == 0 && !ferror(stream);
    return fclose(stream) == 0 && written ? 0 : -1;
}

static bool take_back(const char *path)
{
    return unlink(path) == 0 || truncate(path, 0) == 0;
}

int32_t close_output(FILE *stream, const char *path, int32_t written)
{
    if (close_written(stream) == 0 && written == 0)
        return 0;
    take_back(path);
    return -1;
}

static int32_t write_all(int fd, const char *bytes, size_t size)
{
    while (size > 0) {
        ssize_t put = write(fd, bytes, size);
        if (put < 0)
            return -1;
        bytes += put;
        size -= static_cast<size_t>(put);
    }
    return 0;
}

static int32_t copy_bytes(int from, int to)
{
    char part[65536];
    for (;;) {
        ssize_t got = read(from, part, sizeof part);
        if (got <= 0)
            return got == 0 ? 0 : -1;
        if (write_all(to, part, static_cast<size_t>(got)) != 0)
            return -1;
    }
}

/* A target that cannot be opened is replaced, as the "f" of `cp -rf` has it. A link that leads nowhere is none to
 * write through, and it stays. */
static int open_target(const char *target, mode_t mode)
{
    int fd = open(target, O_WRONLY | O_TRUNC | O_CLOEXEC);
    if (fd >= 0 || (errno != ENOENT && unlink(target) != 0))
        return fd;
    return open(target, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
}

static int32_t copy_link(const char *source, const char *target)
{
    char    leads_to[4096];
    ssize_t length = readlink(source, leads_to, sizeof leads_to - 1);
    if (length < 0)
        return -1;
    leads_to[length] = '\0';
    unlink(target);
    return symlink(leads_to, target);
}

static int32_t copy_regular(const char *source, const char *target, mode_t mode)
{
    int from = open(source, O_RDONLY | O_CLOEXEC);
    if (from < 0)
        return -1;
    int     to = open_target(target, mode);
    int32_t result = to < 0 ? -1 : copy_bytes(from, to);
    if (to >= 0 && close(to) != 0)
        result = -1;
    close(from);
    return result;
}

static int32_t copy_entry(const char *source, const char *target)
{
    struct stat st = {};
    if (lstat(source, &st) != 0)
        return -1;
    if (S_ISLNK(st.st_mode))
        return copy_link(source, target);
    if (S_ISDIR(st.st_mode))
        return make_folder(target, st.st_mode & 0777) == 0 ? copy_dir(source, target) : -1;
    return copy_regular(source, target, st.st_mode & 07777);
}

int32_t copy_over(const char *source, const char *target)
{
    char        inside[4096];
    struct stat st = {};
    if (stat(target, &st) == 0 && S_ISDIR(st.st_mode)) {
        const char *slash = strrchr(source, '/');
        snprintf(inside, sizeof inside, "%s/%s", target, slash ? slash + 1 : source);
        target = inside;
    }
    int32_t result = copy_entry(source, target);
    if (result == 0)
        ledger::tell_file(MIGR_FILE_COPIED, target, source);
    return result;
}

static int remove_entry(const char *path, const struct stat *, int kind, struct FTW *)
{
    if (kind == FTW_DP || kind == FTW_DNR)
        rmdir(path);
    else
        unlink(path);
    return 0;
}

static void remove_all(const char *path)
{
    static constexpr int open_folders = 16;
    nftw(path, remove_entry, open_folders, FTW_DEPTH | FTW_PHYS);
}

/* A slash behind the name asks for a folder: what is in it goes, and then the name, unless that is a link's. */
static int32_t remove_folder(const char *path)
{
    char content[4096];
    snprintf(content, sizeof content, "%s.", path);
    remove_all(content);
    return rmdir(path) == 0 || errno == ENOENT || errno == ENOTDIR ? 0 : -1;
}

static int32_t remove_path(const char *path)
{
    if (path[0] != '\0' && path[strlen(path) - 1] == '/')
        return remove_folder(path);
    remove_all(path);
    struct stat st = {};
    return lstat(path, &st) != 0 && errno == ENOENT ? 0 : -1;
}

int32_t remove_tree(const char *path)
{
    struct stat st = {};
    bool        was_there = ledger::is_watched() && lstat(path, &st) == 0;
    int32_t     result = remove_path(path);
    if (result == 0 && was_there)
        ledger::tell_file(MIGR_FILE_REMOVED, path, nullptr);
    return result;
}

int32_t make_folder(const char *path, mode_t mode)
{
    if (mkdir(path, mode) != 0)
        return errno == EEXIST ? 0 : -1;
    ledger::tell_file(MIGR_FOLDER_MADE, path, nullptr);
    return 0;
}
