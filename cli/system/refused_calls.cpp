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
#include <sys/stat.h>
#include <unistd.h>

namespace command {

static int first_errno;

int first_refused_call()
{
    return first_errno;
}

void forget_refused_calls()
{
    first_errno = 0;
}

} // namespace command

#if defined(__SANITIZE_ADDRESS__)
#define IS_SANITIZED 1
#elif defined(__has_feature)
#define IS_SANITIZED __has_feature(address_sanitizer)
#endif

#if !IS_SANITIZED

namespace command {

static void note_refusal(int error)
{
    static constexpr int wants[] = {EIO, ENOSPC, EDQUOT, ENOMEM, EMFILE, ENFILE};
    if (first_errno == 0 && std::find(std::begin(wants), std::end(wants), error) != std::end(wants))
        first_errno = error;
}

} // namespace command

namespace {

template <typename Result> Result noted(Result result)
{
    if (result < 0)
        command::note_refusal(errno);
    return result;
}

template <typename Pointed> Pointed *noted(Pointed *result)
{
    if (!result)
        command::note_refusal(errno);
    return result;
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

} // namespace

/* A call with fixed arguments: those as they are declared, and as they are given on. */
#define LOOKED_AT(result, name, declared, given)                                                                       \
    result name declared                                                                                               \
    {                                                                                                                  \
        static auto *const next = next_of<result declared>(#name);                                                     \
        return noted(next given);                                                                                      \
    }

extern "C" {

LOOKED_AT(ssize_t, read, (int fd, void *bytes, size_t size), (fd, bytes, size))
LOOKED_AT(ssize_t, write, (int fd, const void *bytes, size_t size), (fd, bytes, size))
LOOKED_AT(int, access, (const char *path, int mode), (path, mode))
LOOKED_AT(int, stat, (const char *path, struct stat *status), (path, status))
LOOKED_AT(int, lstat, (const char *path, struct stat *status), (path, status))
LOOKED_AT(int, fstat, (int fd, struct stat *status), (fd, status))
LOOKED_AT(int, unlink, (const char *path), (path))
LOOKED_AT(int, rmdir, (const char *path), (path))
LOOKED_AT(int, rename, (const char *from, const char *to), (from, to))
LOOKED_AT(int, renameat, (int from, const char *path, int to, const char *target), (from, path, to, target))
LOOKED_AT(int, close, (int fd), (fd))
LOOKED_AT(int, mkdir, (const char *path, mode_t mode), (path, mode))
LOOKED_AT(int, mkdirat, (int folder, const char *path, mode_t mode), (folder, path, mode))
LOOKED_AT(FILE *, fopen, (const char *path, const char *mode), (path, mode))
LOOKED_AT(DIR *, opendir, (const char *path), (path))
LOOKED_AT(int, nftw, (const char *path, __nftw_func_t visit, int open_folders, int flags),
          (path, visit, open_folders, flags))
LOOKED_AT(int, scandir,
          (const char *path, struct dirent ***names, int (*chosen)(const struct dirent *),
           int (*order)(const struct dirent **, const struct dirent **)),
          (path, names, chosen, order))

int open(const char *path, int flags, ...)
{
    static auto *const next = next_of<int(const char *, int, ...)>("open");
    va_list            rest;
    va_start(rest, flags);
    mode_t mode = mode_of(flags, rest);
    va_end(rest);
    return noted(next(path, flags, mode));
}

int openat(int folder, const char *path, int flags, ...)
{
    static auto *const next = next_of<int(int, const char *, int, ...)>("openat");
    va_list            rest;
    va_start(rest, flags);
    mode_t mode = mode_of(flags, rest);
    va_end(rest);
    return noted(next(folder, path, flags, mode));
}

/* Nothing is the end, too: only errno tells. */
struct dirent *readdir(DIR *folder)
{
    static auto *const next = next_of<struct dirent *(DIR *)>("readdir");
    int                before = errno;
    errno = 0;
    struct dirent *entry = noted(next(folder));
    if (errno == 0)
        errno = before;
    return entry;
}

size_t fread(void *bytes, size_t size, size_t count, FILE *stream)
{
    static auto *const next = next_of<size_t(void *, size_t, size_t, FILE *)>("fread");
    size_t             got = next(bytes, size, count, stream);
    if (got < count && ferror(stream))
        command::note_refusal(errno);
    return got;
}

} // extern "C"

#endif
