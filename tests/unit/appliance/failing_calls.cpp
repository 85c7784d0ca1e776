/* Lets one call of the stand-in to the system or to a kept library fail, or transfer less than it was asked to. The
 * program's wrapped calls all end here; the library has sweeps of its own. */
#include "failing_calls.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <libdeflate.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>

namespace {

bool       counting;
size_t     failing;
bool       are_short;
int        given_error;
FailedCall seen;

/* Whether the call of that name is the one. */
bool fails(const char *name)
{
    if (!counting || ++seen.calls != failing)
        return false;
    seen.name = name;
    errno = given_error;
    return true;
}

bool is_written(int fd)
{
    return (fcntl(fd, F_GETFL) & O_ACCMODE) != O_RDONLY;
}

} // namespace

FailedCall with_failing_call(size_t number, int error, const std::function<void()> &work)
{
    seen = {};
    failing = number;
    given_error = error;
    counting = true;
    work();
    counting = false;
    return seen;
}

void with_each_call_failing(int error, const std::function<void()> &work,
                            const std::function<void(const FailedCall &)> &judge)
{
    FailedCall none = with_failing_call(0, error, work);
    size_t     calls = none.calls;
    EXPECT_GT(calls, 0u);
    judge(none);
    for (size_t number = 1; number <= calls; number++)
        judge(with_failing_call(number, error, work));
}

void with_short_transfers(const std::function<void()> &work)
{
    are_short = true;
    work();
    are_short = false;
}

/* NOLINTBEGIN(bugprone-reserved-identifier): the linker's names. */
extern "C" {

ssize_t                  __real_read(int fd, void *bytes, size_t room);
ssize_t                  __real_write(int fd, const void *bytes, size_t length);
int                      __real_openat(int folder, const char *path, int flags, ...);
int                      __real_open(const char *path, int flags, ...);
int                      __real_close(int fd);
int                      __real_mkdir(const char *path, mode_t mode);
int                      __real_mkdirat(int folder, const char *path, mode_t mode);
int                      __real_fstat(int fd, struct stat *status);
int                      __real_fstatat(int folder, const char *path, struct stat *status, int flags);
int                      __real_fchmod(int fd, mode_t mode);
int                      __real_fsync(int fd);
int                      __real_renameat(int from, const char *source, int to, const char *target);
int                      __real_symlinkat(const char *leads_to, int folder, const char *path);
ssize_t                  __real_readlinkat(int folder, const char *path, char *text, size_t room);
DIR                     *__real_fdopendir(int fd);
struct dirent           *__real_readdir(DIR *folder);
void                    *__real_malloc(size_t size);
void                    *__real_calloc(size_t count, size_t size);
void                    *__real_realloc(void *block, size_t size);
char                    *__real_strdup(const char *text);
libdeflate_compressor   *__real_libdeflate_alloc_compressor(int level);
libdeflate_decompressor *__real_libdeflate_alloc_decompressor();
size_t __real_libdeflate_gzip_compress(libdeflate_compressor *tool, const void *text, size_t length, void *packed,
                                       size_t room);
int    __real_sqlite3_step(sqlite3_stmt *statement);
int    __real_sqlite3_open_v2(const char *path, sqlite3 **opened, int flags, const char *system);
const unsigned char *__real_sqlite3_column_text(sqlite3_stmt *row, int column);
BIO                 *__real_BIO_new(const BIO_METHOD *method);
BIO                 *__real_BIO_new_mem_buf(const void *text, int length);
PKCS8_PRIV_KEY_INFO *__real_EVP_PKEY2PKCS8(const EVP_PKEY *key);
int                  __real_PEM_write_bio_PKCS8(BIO *out, const X509_SIG *key);
X509_SIG            *__real_PKCS8_encrypt(int scheme, const EVP_CIPHER *cipher, const char *passphrase, int length,
                                          unsigned char *salt, int salt_length, int rounds, PKCS8_PRIV_KEY_INFO *key);

ssize_t __wrap_read(int fd, void *bytes, size_t room)
{
    return fails("read") ? -1 : __real_read(fd, bytes, are_short ? std::min<size_t>(room, 3) : room);
}

ssize_t __wrap_write(int fd, const void *bytes, size_t length)
{
    return fails("write") ? -1 : __real_write(fd, bytes, are_short ? std::min<size_t>(length, 3) : length);
}

int __wrap_openat(int folder, const char *path, int flags, ...)
{
    va_list more;
    va_start(more, flags);
    mode_t mode = flags & O_CREAT ? va_arg(more, mode_t) : 0;
    va_end(more);
    return fails("openat") ? -1 : __real_openat(folder, path, flags, mode);
}

int __wrap_open(const char *path, int flags, ...)
{
    va_list more;
    va_start(more, flags);
    mode_t mode = flags & O_CREAT ? va_arg(more, mode_t) : 0;
    va_end(more);
    return fails("open") ? -1 : __real_open(path, flags, mode);
}

/* The descriptor is closed all the same, as a kernel does. */
int __wrap_close(int fd)
{
    bool failed = fails(counting && is_written(fd) ? "close of what was written" : "close");
    int  error = errno;
    int  result = __real_close(fd);
    errno = failed ? error : errno;
    return failed ? -1 : result;
}

int __wrap_mkdir(const char *path, mode_t mode)
{
    return fails("mkdir") ? -1 : __real_mkdir(path, mode);
}

int __wrap_mkdirat(int folder, const char *path, mode_t mode)
{
    return fails("mkdirat") ? -1 : __real_mkdirat(folder, path, mode);
}

int __wrap_fstat(int fd, struct stat *status)
{
    return fails("fstat") ? -1 : __real_fstat(fd, status);
}

int __wrap_fstatat(int folder, const char *path, struct stat *status, int flags)
{
    return fails(flags == 0 ? "look at the target" : "fstatat") ? -1 : __real_fstatat(folder, path, status, flags);
}

int __wrap_fchmod(int fd, mode_t mode)
{
    return fails("fchmod") ? -1 : __real_fchmod(fd, mode);
}

int __wrap_fsync(int fd)
{
    return fails("fsync") ? -1 : __real_fsync(fd);
}

int __wrap_renameat(int from, const char *source, int to, const char *target)
{
    if (fails("renameat"))
        return -1;
    seen.was_renaming = seen.was_renaming || (counting && seen.name.empty());
    return __real_renameat(from, source, to, target);
}

int __wrap_symlinkat(const char *leads_to, int folder, const char *path)
{
    return fails("symlinkat") ? -1 : __real_symlinkat(leads_to, folder, path);
}

ssize_t __wrap_readlinkat(int folder, const char *path, char *text, size_t room)
{
    return fails("readlinkat") ? -1 : __real_readlinkat(folder, path, text, room);
}

DIR *__wrap_fdopendir(int fd)
{
    return fails("fdopendir") ? nullptr : __real_fdopendir(fd);
}

struct dirent *__wrap_readdir(DIR *folder)
{
    return fails("readdir") ? nullptr : __real_readdir(folder);
}

void *__wrap_malloc(size_t size)
{
    return fails("malloc") ? nullptr : __real_malloc(size);
}

void *__wrap_calloc(size_t count, size_t size)
{
    return fails("calloc") ? nullptr : __real_calloc(count, size);
}

void *__wrap_realloc(void *block, size_t size)
{
    return fails("realloc") ? nullptr : __real_realloc(block, size);
}

char *__wrap_strdup(const char *text)
{
    return fails("strdup") ? nullptr : __real_strdup(text);
}

libdeflate_compressor *__wrap_libdeflate_alloc_compressor(int level)
{
    return fails("libdeflate_alloc_compressor") ? nullptr : __real_libdeflate_alloc_compressor(level);
}

libdeflate_decompressor *__wrap_libdeflate_alloc_decompressor()
{
    return fails("libdeflate_alloc_decompressor") ? nullptr : __real_libdeflate_alloc_decompressor();
}

size_t __wrap_libdeflate_gzip_compress(libdeflate_compressor *tool, const void *text, size_t length, void *packed,
                                       size_t room)
{
    return fails("libdeflate_gzip_compress") ? 0 : __real_libdeflate_gzip_compress(tool, text, length, packed, room);
}

int __wrap_sqlite3_step(sqlite3_stmt *statement)
{
    return fails("sqlite3_step") ? SQLITE_IOERR : __real_sqlite3_step(statement);
}

int __wrap_sqlite3_open_v2(const char *path, sqlite3 **opened, int flags, const char *system)
{
    return fails("sqlite3_open_v2") ? SQLITE_CANTOPEN : __real_sqlite3_open_v2(path, opened, flags, system);
}

const unsigned char *__wrap_sqlite3_column_text(sqlite3_stmt *row, int column)
{
    return fails("sqlite3_column_text") ? nullptr : __real_sqlite3_column_text(row, column);
}

BIO *__wrap_BIO_new(const BIO_METHOD *method)
{
    return fails("BIO_new") ? nullptr : __real_BIO_new(method);
}

BIO *__wrap_BIO_new_mem_buf(const void *text, int length)
{
    return fails("BIO_new_mem_buf") ? nullptr : __real_BIO_new_mem_buf(text, length);
}

PKCS8_PRIV_KEY_INFO *__wrap_EVP_PKEY2PKCS8(const EVP_PKEY *key)
{
    return fails("EVP_PKEY2PKCS8") ? nullptr : __real_EVP_PKEY2PKCS8(key);
}

int __wrap_PEM_write_bio_PKCS8(BIO *out, const X509_SIG *key)
{
    return fails("PEM_write_bio_PKCS8") ? 0 : __real_PEM_write_bio_PKCS8(out, key);
}

X509_SIG *__wrap_PKCS8_encrypt(int scheme, const EVP_CIPHER *cipher, const char *passphrase, int length,
                               unsigned char *salt, int salt_length, int rounds, PKCS8_PRIV_KEY_INFO *key)
{
    if (fails("PKCS8_encrypt"))
        return nullptr;
    return __real_PKCS8_encrypt(scheme, cipher, passphrase, length, salt, salt_length, rounds, key);
}
}
/* NOLINTEND(bugprone-reserved-identifier) */
