/* The library's calls that fail, each in its own way. Which one fails, and for how long, a sweep says. */
#include "faults.h"

#include "platform/platform.h"
#include "tree/config_node.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace faults {

static bool        counting;
static Kind        counted_kind;
static Span        failing_span;
static size_t      calls;
static size_t      failing;
static const char *failed_call;

/* Opened while the real root is there. A stream whose descriptor becomes one of these fails as on a full disk or a bad
 * one, with all that this does to the stream. */
static int full_disk = open("/dev/full", O_WRONLY | O_CLOEXEC);
static int bad_disk = open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);

void start(Kind kind, Span span, size_t nth)
{
    counting = true;
    counted_kind = kind;
    failing_span = span;
    calls = 0;
    failing = nth;
    failed_call = nullptr;
}

size_t stop()
{
    counting = false;
    return calls;
}

std::string failed()
{
    return failed_call ? failed_call : "";
}

/* Whether this call is the one to fail; errno is then `error`. */
static bool fails(Kind kind, const char *call, int error)
{
    if (!counting || kind != counted_kind)
        return false;
    calls++;
    bool chosen = failing_span == Span::once ? calls == failing : failing && calls >= failing;
    if (!chosen)
        return false;
    if (!failed_call)
        failed_call = call;
    errno = error;
    return true;
}

static bool no_memory(const char *call)
{
    return fails(Kind::memory, call, ENOMEM);
}

static bool no_file(const char *call, int error = EIO)
{
    return fails(Kind::files, call, error);
}

static void replace_descriptor(FILE *stream, int descriptor)
{
    dup2(descriptor, fileno(stream));
}

} // namespace faults

using namespace faults;

extern "C" {

void *fault_malloc(size_t size)
{
    return no_memory("malloc") ? nullptr : malloc(size);
}

void *fault_calloc(size_t count, size_t size)
{
    return no_memory("calloc") ? nullptr : calloc(count, size);
}

void *fault_realloc(void *block, size_t size)
{
    return no_memory("realloc") ? nullptr : realloc(block, size);
}

char *fault_strdup(const char *text)
{
    return no_memory("strdup") ? nullptr : strdup(text);
}

char *fault_strndup(const char *text, size_t length)
{
    return no_memory("strndup") ? nullptr : strndup(text, length);
}

/* The store gets memory for many nodes at once: here each node may be the one for which there is none. */
config_node *__real_new_node(uint32_t kind);

config_node *__wrap_new_node(uint32_t kind)
{
    return no_memory("new_node") ? nullptr : __real_new_node(kind);
}

int fault_access(const char *path, int mode)
{
    return no_file("access", EACCES) ? -1 : access(path, mode);
}

/* What is closed is closed, even when close says that it lost something. */
int fault_close(int descriptor)
{
    bool failed = no_file("close");
    int  result = close(descriptor);
    return failed ? -1 : result;
}

int fault_closedir(DIR *folder)
{
    bool failed = no_file("closedir");
    int  result = closedir(folder);
    return failed ? -1 : result;
}

int fault_dirfd(DIR *folder)
{
    return no_file("dirfd") ? -1 : dirfd(folder);
}

int fault_fclose(FILE *stream)
{
    bool failed = no_file("fclose", ENOSPC);
    if (failed)
        replace_descriptor(stream, full_disk);
    int result = fclose(stream);
    return failed ? EOF : result;
}

FILE *fault_fdopen(int descriptor, const char *mode)
{
    return no_file("fdopen", EMFILE) ? nullptr : fdopen(descriptor, mode);
}

int fault_fflush(FILE *stream)
{
    if (no_file("fflush", ENOSPC))
        replace_descriptor(stream, full_disk);
    return fflush(stream);
}

char *fault_fgets_unlocked(char *line, int room, FILE *stream)
{
    return no_file("fgets_unlocked") ? nullptr : fgets_unlocked(line, room, stream);
}

FILE *fault_fopen(const char *path, const char *mode)
{
    return no_file("fopen", EACCES) ? nullptr : fopen(path, mode);
}

int fault_fprintf(FILE *stream, const char *format, ...)
{
    bool failed = no_file("fprintf", ENOSPC);
    if (failed)
        replace_descriptor(stream, full_disk);
    va_list arguments;
    va_start(arguments, format);
    int printed = vfprintf(stream, format, arguments);
    va_end(arguments);
    return failed && fflush(stream) != 0 ? -1 : printed;
}

int fault_fputs(const char *text, FILE *stream)
{
    if (!no_file("fputs", ENOSPC))
        return fputs(text, stream);
    replace_descriptor(stream, full_disk);
    fputs(text, stream);
    return fflush(stream);
}

size_t fault_fread(void *bytes, size_t size, size_t count, FILE *stream)
{
    if (no_file("fread"))
        replace_descriptor(stream, bad_disk);
    return fread(bytes, size, count, stream);
}

int fault_fstat(int descriptor, struct stat *st)
{
    return no_file("fstat") ? -1 : fstat(descriptor, st);
}

int fault_fsync(int descriptor)
{
    return no_file("fsync") ? -1 : fsync(descriptor);
}

size_t fault_fwrite(const void *bytes, size_t size, size_t count, FILE *stream)
{
    if (!no_file("fwrite", ENOSPC))
        return fwrite(bytes, size, count, stream);
    replace_descriptor(stream, full_disk);
    size_t written = fwrite(bytes, size, count, stream);
    return fflush(stream) == 0 ? written : 0;
}

size_t fault_fwrite_unlocked(const void *bytes, size_t size, size_t count, FILE *stream)
{
    if (!no_file("fwrite_unlocked", ENOSPC))
        return fwrite_unlocked(bytes, size, count, stream);
    replace_descriptor(stream, full_disk);
    size_t written = fwrite_unlocked(bytes, size, count, stream);
    return fflush_unlocked(stream) == 0 ? written : 0;
}

off_t fault_lseek(int descriptor, off_t offset, int whence)
{
    return no_file("lseek") ? -1 : lseek(descriptor, offset, whence);
}

int fault_lstat(const char *path, struct stat *st)
{
    return no_file("lstat", EACCES) ? -1 : lstat(path, st);
}

int fault_mkdir(const char *path, mode_t mode)
{
    return no_file("mkdir", ENOSPC) ? -1 : mkdir(path, mode);
}

int fault_mount(const char *source, const char *target, const char *type, unsigned long flags, const void *options)
{
    return no_file("mount", EPERM) ? -1 : mount(source, target, type, flags, options);
}

int fault_nftw(const char *path, __nftw_func_t visit, int descriptors, int flags)
{
    return no_file("nftw", ENOMEM) ? -1 : nftw(path, visit, descriptors, flags);
}

int fault_open(const char *path, int flags, ...)
{
    mode_t mode = 0;
    if (flags & O_CREAT) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    return no_file("open", EACCES) ? -1 : open(path, flags, mode);
}

DIR *fault_opendir(const char *path)
{
    return no_file("opendir", EACCES) ? nullptr : opendir(path);
}

ssize_t fault_read(int descriptor, void *bytes, size_t size)
{
    return no_file("read") ? -1 : read(descriptor, bytes, size);
}

struct dirent *fault_readdir(DIR *folder)
{
    return no_file("readdir") ? nullptr : readdir(folder);
}

ssize_t fault_readlink(const char *path, char *target, size_t room)
{
    return no_file("readlink") ? -1 : readlink(path, target, room);
}

int fault_rename(const char *from, const char *to)
{
    return no_file("rename", EACCES) ? -1 : rename(from, to);
}

int fault_rmdir(const char *path)
{
    return no_file("rmdir", EACCES) ? -1 : rmdir(path);
}

int fault_scandir(const char *path, struct dirent ***entries, int (*select)(const struct dirent *),
                  int (*compare)(const struct dirent **, const struct dirent **))
{
    return no_file("scandir", EACCES) ? -1 : scandir(path, entries, select, compare);
}

int fault_stat(const char *path, struct stat *st)
{
    return no_file("stat", EACCES) ? -1 : stat(path, st);
}

int fault_symlink(const char *target, const char *path)
{
    return no_file("symlink", ENOSPC) ? -1 : symlink(target, path);
}

int fault_truncate(const char *path, off_t size)
{
    return no_file("truncate") ? -1 : truncate(path, size);
}

int fault_unlink(const char *path)
{
    return no_file("unlink", EACCES) ? -1 : unlink(path);
}

int fault_unlinkat(int folder, const char *path, int flags)
{
    return no_file("unlinkat", EACCES) ? -1 : unlinkat(folder, path, flags);
}

ssize_t fault_write(int descriptor, const void *bytes, size_t size)
{
    return no_file("write", ENOSPC) ? -1 : write(descriptor, bytes, size);
}

int fault_copy_dir(const char *source, const char *target)
{
    return no_file("copy_dir") ? -1 : copy_dir(source, target);
}

int fault_copy_file(const char *source, const char *target)
{
    return no_file("copy_file") ? -1 : copy_file(source, target);
}

int fault_crwinit_cert_dir(const char *domain)
{
    return no_file("crwinit_cert_dir") ? -1 : crwinit_cert_dir(domain);
}

int fault_cvgunzip(const char *source, const char *target)
{
    return no_file("cvgunzip") ? -1 : cvgunzip(source, target);
}

int fault_cvgzip(const char *source, const char *target)
{
    return no_file("cvgzip") ? -1 : cvgzip(source, target);
}

int fault_db_open(signature_database **handle)
{
    if (!no_file("db_open"))
        return db_open(handle);
    *handle = nullptr;
    return -1;
}

int fault_global_white_list_read_db(global_white_list *list)
{
    return no_file("global_white_list_read_db") ? -1 : global_white_list_read_db(list);
}

int fault_init_db_object(db_object *object, signature_database *handle)
{
    return no_file("init_db_object") ? -1 : init_db_object(object, handle);
}

} // extern "C"
