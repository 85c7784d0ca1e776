/*
 * The program's own forms of these calls: they make the C library's, or what is preloaded ahead of that, and look at
 * how it ends. No errno comes out otherwise for it.
 */
#include "system/refused_calls.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <ftw.h>
#include <iterator>
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace command {

static int  first_errno;
static bool is_watched;
static bool has_all_rights;

/* Whether permission bits bind this process: they do not bind whoever may override them, over files whose owner and
 * group its namespace knows. In a private copy all files are of the one owner whose the root folder is. */
static bool may_whatever_it_asks()
{
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct   rights[2] = {};
    struct stat              root = {};
    return syscall(SYS_capget, &header, rights) == 0 && (rights[0].effective & 1U << CAP_DAC_OVERRIDE) != 0 &&
           stat("/", &root) == 0 && root.st_uid == geteuid() && root.st_gid == getegid();
}

void watch_calls()
{
    is_watched = true;
    has_all_rights = may_whatever_it_asks();
    first_errno = 0;
}

int first_refused_call()
{
    return first_errno;
}

CallsWatched::CallsWatched()
{
    watch_calls();
}

CallsWatched::~CallsWatched()
{
    is_watched = false;
}

} // namespace command

#if defined(__SANITIZE_ADDRESS__)
#define IS_SANITIZED 1
#elif defined(__has_feature)
#define IS_SANITIZED __has_feature(address_sanitizer)
#endif

#if !IS_SANITIZED

namespace command {

static bool is_refusal(int error)
{
    static constexpr int wants[] = {EIO, ENOSPC, EDQUOT, ENOMEM, EMFILE, ENFILE, EINTR, EROFS, ESTALE};
    if (error == EACCES || error == EPERM)
        return has_all_rights;
    return std::find(std::begin(wants), std::end(wants), error) != std::end(wants);
}

static void note_refusal(int error)
{
    if (is_watched && first_errno == 0 && is_refusal(error))
        first_errno = error;
}

} // namespace command

namespace {

bool is_failed(ssize_t result)
{
    return result < 0;
}

bool is_failed(const void *result)
{
    return !result;
}

/* The command's own processes have their own ways with a signal. */
bool is_to_be_made_again()
{
    return errno == EINTR && command::is_watched;
}

template <typename Call> auto looked_at(const Call &call)
{
    int  before = errno;
    auto result = call();
    while (is_failed(result) && is_to_be_made_again()) {
        errno = before;
        result = call();
    }
    if (is_failed(result))
        command::note_refusal(errno);
    return result;
}

/* Closed is closed, also where a signal came. */
template <typename Call> int closed(const Call &call)
{
    int before = errno;
    int result = call();
    if (result < 0 && is_to_be_made_again()) {
        errno = before;
        return 0;
    }
    if (result < 0)
        command::note_refusal(errno);
    return result;
}

/* A disk moves all that there is, but for what comes between. */
template <typename Move> ssize_t looked_at_whole(size_t size, const Move &move)
{
    ssize_t moved = looked_at([&] { return move(0, size); });
    for (ssize_t more = moved; command::is_watched && more > 0 && static_cast<size_t>(moved) < size; moved += more) {
        auto at = static_cast<size_t>(moved);
        more = std::max<ssize_t>(0, looked_at([&] { return move(at, size - at); }));
    }
    return moved;
}

template <typename Function> Function *next_of(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

/* Of a file that may be made. */
mode_t mode_of(int flags, va_list rest)
{
    bool makes = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return makes ? va_arg(rest, mode_t) : 0;
}

size_t put_whole(size_t put, size_t count, FILE *stream)
{
    if (put < count && ferror(stream))
        command::note_refusal(errno);
    return put;
}

int put_well(int result)
{
    if (result < 0)
        command::note_refusal(errno);
    return result;
}

} // namespace

/* A call with fixed arguments: those as they are declared, and as they are given on. */
#define LOOKED_AT(result, name, declared, given)                                                                       \
    result name declared                                                                                               \
    {                                                                                                                  \
        static auto *const next = next_of<result declared>(#name);                                                     \
        return looked_at([&] { return next given; });                                                                  \
    }

/* A call that takes a mode if it may make a file. */
#define LOOKED_AT_OPENING(name, declared, given)                                                                       \
    int name declared                                                                                                  \
    {                                                                                                                  \
        static auto *const next = next_of<int declared>(#name);                                                        \
        va_list            rest;                                                                                       \
        va_start(rest, flags);                                                                                         \
        mode_t mode = mode_of(flags, rest);                                                                            \
        va_end(rest);                                                                                                  \
        return looked_at([&] { return next given; });                                                                  \
    }

namespace {

__nftw_func_t visit_of_walk;

/* What the walk met since it visited something last: of a folder that it cannot read, and of one that breaks off, it
 * tells nothing else. */
int visit_behind_a_look(const char *path, const struct stat *status, int kind, struct FTW *where)
{
    command::note_refusal(errno);
    return visit_of_walk(path, status, kind, where);
}

} // namespace

extern "C" {

LOOKED_AT(int, access, (const char *path, int mode), (path, mode))
LOOKED_AT(int, stat, (const char *path, struct stat *status), (path, status))
LOOKED_AT(int, lstat, (const char *path, struct stat *status), (path, status))
LOOKED_AT(int, fstat, (int fd, struct stat *status), (fd, status))
LOOKED_AT(int, fstatat, (int folder, const char *path, struct stat *status, int flags), (folder, path, status, flags))
LOOKED_AT(ssize_t, readlink, (const char *path, char *target, size_t room), (path, target, room))
LOOKED_AT(ssize_t, readlinkat, (int folder, const char *path, char *target, size_t room), (folder, path, target, room))
LOOKED_AT(int, unlink, (const char *path), (path))
LOOKED_AT(int, unlinkat, (int folder, const char *path, int flags), (folder, path, flags))
LOOKED_AT(int, rmdir, (const char *path), (path))
LOOKED_AT(int, rename, (const char *from, const char *to), (from, to))
LOOKED_AT(int, renameat, (int from, const char *path, int to, const char *target), (from, path, to, target))
LOOKED_AT(int, symlink, (const char *target, const char *path), (target, path))
LOOKED_AT(int, symlinkat, (const char *target, int folder, const char *path), (target, folder, path))
LOOKED_AT(int, mkdir, (const char *path, mode_t mode), (path, mode))
LOOKED_AT(int, mkdirat, (int folder, const char *path, mode_t mode), (folder, path, mode))
LOOKED_AT(int, truncate, (const char *path, off_t size), (path, size))
LOOKED_AT(int, fchmod, (int fd, mode_t mode), (fd, mode))
LOOKED_AT(int, fsync, (int fd), (fd))
LOOKED_AT(FILE *, fopen, (const char *path, const char *mode), (path, mode))
LOOKED_AT(DIR *, opendir, (const char *path), (path))
LOOKED_AT(DIR *, fdopendir, (int fd), (fd))
LOOKED_AT(int, scandir,
          (const char *path, struct dirent ***names, int (*chosen)(const struct dirent *),
           int (*order)(const struct dirent **, const struct dirent **)),
          (path, names, chosen, order))
LOOKED_AT_OPENING(open, (const char *path, int flags, ...), (path, flags, mode))
LOOKED_AT_OPENING(openat, (int folder, const char *path, int flags, ...), (folder, path, flags, mode))

/* The library of archives', as it was compiled. */
LOOKED_AT(int, dup, (int fd), (fd))
LOOKED_AT(int, fchdir, (int fd), (fd))
LOOKED_AT(int, fstatfs, (int fd, struct statfs *status), (fd, status))
LOOKED_AT(int, fstatvfs, (int fd, struct statvfs *status), (fd, status))
LOOKED_AT(ssize_t, listxattr, (const char *path, char *names, size_t room), (path, names, room))
LOOKED_AT(ssize_t, llistxattr, (const char *path, char *names, size_t room), (path, names, room))
LOOKED_AT(ssize_t, flistxattr, (int fd, char *names, size_t room), (fd, names, room))
LOOKED_AT(ssize_t, getxattr, (const char *path, const char *name, void *value, size_t room), (path, name, value, room))
LOOKED_AT(ssize_t, lgetxattr, (const char *path, const char *name, void *value, size_t room), (path, name, value, room))
LOOKED_AT(ssize_t, fgetxattr, (int fd, const char *name, void *value, size_t room), (fd, name, value, room))
LOOKED_AT(int, __open_2, (const char *path, int flags), (path, flags))
LOOKED_AT(int, __openat_2, (int folder, const char *path, int flags), (folder, path, flags))

/* SQLite's, which looks at its file by these. */
LOOKED_AT(int, stat64, (const char *path, struct stat64 *status), (path, status))
LOOKED_AT(int, lstat64, (const char *path, struct stat64 *status), (path, status))
LOOKED_AT(int, fstat64, (int fd, struct stat64 *status), (fd, status))
LOOKED_AT_OPENING(open64, (const char *path, int flags, ...), (path, flags, mode))

ssize_t pread64(int fd, void *bytes, size_t size, off64_t from)
{
    static auto *const next = next_of<ssize_t(int, void *, size_t, off64_t)>("pread64");
    return looked_at_whole(size, [&](size_t at, size_t rest) {
        return next(fd, static_cast<char *>(bytes) + at, rest, from + static_cast<off64_t>(at));
    });
}

ssize_t read(int fd, void *bytes, size_t size)
{
    static auto *const next = next_of<ssize_t(int, void *, size_t)>("read");
    return looked_at_whole(size,
                           [&](size_t at, size_t rest) { return next(fd, static_cast<char *>(bytes) + at, rest); });
}

ssize_t write(int fd, const void *bytes, size_t size)
{
    static auto *const next = next_of<ssize_t(int, const void *, size_t)>("write");
    return looked_at_whole(
        size, [&](size_t at, size_t rest) { return next(fd, static_cast<const char *>(bytes) + at, rest); });
}

int close(int fd)
{
    static auto *const next = next_of<int(int)>("close");
    return closed([&] { return next(fd); });
}

/* What it put out is looked at by itself, since that is lost where a signal comes. */
int fclose(FILE *stream)
{
    static auto *const next = next_of<int(FILE *)>("fclose");
    int                put = command::is_watched ? fflush(stream) : 0;
    int                result = closed([&] { return next(stream); });
    return put < 0 ? put : result;
}

int nftw(const char *path, __nftw_func_t visit, int open_folders, int flags)
{
    static auto *const next = next_of<int(const char *, __nftw_func_t, int, int)>("nftw");
    int                before = errno;
    visit_of_walk = visit;
    errno = 0;
    int result = next(path, visit_behind_a_look, open_folders, flags);
    command::note_refusal(errno);
    if (errno == 0)
        errno = before;
    return result;
}

/* Nothing is the end, too: only errno tells. */
struct dirent *readdir(DIR *folder)
{
    static auto *const next = next_of<struct dirent *(DIR *)>("readdir");
    int                before = errno;
    errno = 0;
    struct dirent *entry = next(folder);
    if (!entry)
        command::note_refusal(errno);
    if (errno == 0)
        errno = before;
    return entry;
}

/* By the byte, so that what a signal ended goes on behind the last one. */
size_t fread(void *bytes, size_t size, size_t count, FILE *stream)
{
    static auto *const next = next_of<size_t(void *, size_t, size_t, FILE *)>("fread");
    int                before = errno;
    size_t             wanted = size * count;
    size_t             got = next(bytes, 1, wanted, stream);
    while (got < wanted && ferror(stream) && is_to_be_made_again()) {
        clearerr(stream);
        errno = before;
        got += next(static_cast<char *>(bytes) + got, 1, wanted - got, stream);
    }
    if (got < wanted && ferror(stream))
        command::note_refusal(errno);
    return wanted > 0 ? got / size : 0;
}

/* What a stream could not put out it forgets, so these cannot be made again. */
size_t fwrite(const void *bytes, size_t size, size_t count, FILE *stream)
{
    static auto *const next = next_of<size_t(const void *, size_t, size_t, FILE *)>("fwrite");
    return put_whole(next(bytes, size, count, stream), count, stream);
}

size_t fwrite_unlocked(const void *bytes, size_t size, size_t count, FILE *stream)
{
    static auto *const next = next_of<size_t(const void *, size_t, size_t, FILE *)>("fwrite_unlocked");
    return put_whole(next(bytes, size, count, stream), count, stream);
}

int fputs(const char *text, FILE *stream)
{
    static auto *const next = next_of<int(const char *, FILE *)>("fputs");
    return put_well(next(text, stream));
}

int fprintf(FILE *stream, const char *format, ...)
{
    va_list values;
    va_start(values, format);
    int result = put_well(vfprintf(stream, format, values));
    va_end(values);
    return result;
}

int fflush(FILE *stream)
{
    static auto *const next = next_of<int(FILE *)>("fflush");
    return put_well(next(stream));
}

} // extern "C"

#endif
