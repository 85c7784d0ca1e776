/* Refuses one call of the library to the system, as tests say which. */
#include "refused_calls.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <sys/types.h>

namespace refused {

std::string compression_to;
int         stream;
int         part;
int         scan;

static bool is_the_one(int *number)
{
    return *number > 0 && --*number == 0;
}

extern "C" {

using Selector = int (*)(const dirent *);
using Order = int (*)(const dirent **, const dirent **);

int     __real_cvgzip(const char *source, const char *target);
FILE   *__real_fdopen(int fd, const char *mode);
ssize_t __real_read(int fd, void *bytes, size_t size);
int     __real_scandir(const char *path, dirent ***list, Selector selector, Order order);

int __wrap_cvgzip(const char *source, const char *target)
{
    return target == compression_to ? -1 : __real_cvgzip(source, target);
}

FILE *__wrap_fdopen(int fd, const char *mode)
{
    return is_the_one(&stream) ? nullptr : __real_fdopen(fd, mode);
}

ssize_t __wrap_read(int fd, void *bytes, size_t size)
{
    if (!is_the_one(&part))
        return __real_read(fd, bytes, size);
    errno = EIO;
    return -1;
}

/* The order of a folder's entries is the file system's; the tests have it by name. */
int __wrap_scandir(const char *path, dirent ***list, Selector selector, Order order)
{
    if (is_the_one(&scan)) {
        errno = ENOMEM;
        return -1;
    }
    int count = __real_scandir(path, list, selector, order);
    if (count > 1)
        qsort(*list, static_cast<size_t>(count), sizeof **list, [](const void *one, const void *other) {
            return strcmp((*static_cast<dirent *const *>(one))->d_name, (*static_cast<dirent *const *>(other))->d_name);
        });
    return count;
}

} // extern "C"

} // namespace refused
