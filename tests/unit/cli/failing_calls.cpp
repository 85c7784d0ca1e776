/* Stands between the command and the calls that program.cmake wraps, and lets all of them through but one. */
#include "unit/cli/failing_calls.h"

#include "system/failure.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <libdeflate.h>
#include <openssl/evp.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>
#include <utility>

namespace {

std::string_view failing;
int              error_of_call;
unsigned         ahead; /* calls of that name that are made ahead of those that fail */
unsigned         left;  /* that are to fail yet */
bool             struck;

std::string_view      awaited;
std::function<void()> work_at_call;

class EndOfOrders : public testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo &) override
    {
        left = 0;
        work_at_call = nullptr;
    }
};

[[maybe_unused]] const bool is_listening = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new EndOfOrders);
    return true;
}();

} // namespace

namespace support {

void fail_call(std::string_view name, int error, unsigned number, unsigned times)
{
    failing = name;
    error_of_call = error;
    ahead = number - 1;
    left = times;
    struck = false;
}

bool has_failed()
{
    return struck;
}

void at_call(std::string_view name, std::function<void()> work)
{
    awaited = name;
    work_at_call = std::move(work);
}

bool is_to_fail(std::string_view name)
{
    if (work_at_call && name == awaited)
        std::exchange(work_at_call, nullptr)();
    if (left == 0 || name != failing)
        return false;
    if (ahead > 0) {
        ahead--;
        return false;
    }
    left--;
    struck = true;
    errno = error_of_call;
    return true;
}

std::string path_error_of(const std::function<void()> &work)
{
    try {
        work();
    } catch (const command::PathError &error) {
        return with_error(error.doing + " " + error.path, error.error);
    }
    return "";
}

std::string failure_of(command::Status status, const std::function<void()> &work)
{
    try {
        work();
    } catch (const command::Failure &failure) {
        EXPECT_EQ(failure.status, status);
        return failure.what();
    }
    return "none";
}

std::string with_error(const std::string &what, int error)
{
    return what + ": " + std::to_string(error);
}

} // namespace support

extern "C" {

#define WRAPPED(result, name, parameters, arguments, failed)                                                           \
    result __real_##name parameters;                                                                                   \
    result __wrap_##name parameters                                                                                    \
    {                                                                                                                  \
        return support::is_to_fail(#name) ? failed : __real_##name arguments;                                          \
    }

WRAPPED(ssize_t, read, (int fd, void *bytes, size_t size), (fd, bytes, size), -1)
WRAPPED(ssize_t, write, (int fd, const void *bytes, size_t size), (fd, bytes, size), -1)
WRAPPED(ssize_t, pread, (int fd, void *bytes, size_t size, off_t at), (fd, bytes, size, at), -1)
WRAPPED(int, poll, (pollfd * waits, nfds_t count, int milliseconds), (waits, count, milliseconds), -1)
WRAPPED(pid_t, waitpid, (pid_t pid, int *status, int options), (pid, status, options), -1)
WRAPPED(pid_t, fork, (), (), -1)
WRAPPED(int, signalfd, (int fd, const sigset_t *held, int flags), (fd, held, flags), -1)
WRAPPED(int, memfd_create, (const char *name, unsigned flags), (name, flags), -1)
WRAPPED(void *, calloc, (size_t count, size_t size), (count, size), nullptr)
WRAPPED(int, dup2, (int from, int to), (from, to), -1)
WRAPPED(int, kill, (pid_t pid, int signal), (pid, signal), -1)
WRAPPED(int, stat, (const char *path, struct stat *status), (path, status), -1)
WRAPPED(int, unlink, (const char *path), (path), -1)
WRAPPED(int, mkdir, (const char *path, mode_t mode), (path, mode), -1)
WRAPPED(int, rmdir, (const char *path), (path), -1)
WRAPPED(int, symlink, (const char *target, const char *path), (target, path), -1)
WRAPPED(int, link, (const char *path, const char *other), (path, other), -1)
WRAPPED(int, lchown, (const char *path, uid_t owner, gid_t group), (path, owner, group), -1)
WRAPPED(int, fchown, (int fd, uid_t owner, gid_t group), (fd, owner, group), -1)
WRAPPED(int, fchmod, (int fd, mode_t mode), (fd, mode), -1)
WRAPPED(int, futimens, (int fd, const timespec *times), (fd, times), -1)
WRAPPED(EVP_MD_CTX *, EVP_MD_CTX_new, (), (), nullptr)
WRAPPED(int, EVP_DigestUpdate, (EVP_MD_CTX * sum, const void *bytes, size_t size), (sum, bytes, size), 0)
WRAPPED(libdeflate_compressor *, libdeflate_alloc_compressor, (int level), (level), nullptr)
WRAPPED(libdeflate_decompressor *, libdeflate_alloc_decompressor, (), (), nullptr)

#undef WRAPPED

int __real_prctl(int question, unsigned long, unsigned long, unsigned long, unsigned long);
int __wrap_prctl(int question, unsigned long a, unsigned long b, unsigned long c, unsigned long d)
{
    return support::is_to_fail("prctl") ? -1 : __real_prctl(question, a, b, c, d);
}
}
