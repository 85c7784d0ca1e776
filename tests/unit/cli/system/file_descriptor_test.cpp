/* Whole reads and writes, and what becomes of them where the system refuses. */
#include "system/file_descriptor.h"

#include "support/appliance_root.h"
#include "system/failure.h"
#include "system/files.h"
#include "unit/cli/failing_calls.h"

#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <sys/resource.h>

using namespace command;
using support::path_error_of;
using support::with_error;

namespace {

bool is_open(int fd)
{
    return fcntl(fd, F_GETFD) >= 0;
}

} // namespace

TEST(Pipes, CarryBytesAndAreClosedOnExec)
{
    Pipe pipe;
    EXPECT_EQ(fcntl(pipe.read_end.get(), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(pipe.write_end.get(), F_GETFD), FD_CLOEXEC);
    write_all(pipe.write_end.get(), "text", "x");
    pipe.write_end.reset();
    EXPECT_EQ(read_all(pipe.read_end.get(), "x"), "text");
}

TEST(Pipes, ThatCannotBeMadeAreTold)
{
    rlimit before = {};
    getrlimit(RLIMIT_NOFILE, &before);
    rlimit none = {0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    std::string told = path_error_of([] { Pipe(); });
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(told, with_error("open a pipe", EMFILE));
}

TEST(Descriptors, AreClosedOnce)
{
    int number = open("/", O_RDONLY | O_CLOEXEC);
    {
        Fd fd(number);
        Fd moved(std::move(fd));
        Fd assigned;
        assigned = std::move(moved);
        EXPECT_EQ(assigned.get(), number);
        EXPECT_TRUE(assigned);
        EXPECT_FALSE(moved);
    }
    EXPECT_FALSE(is_open(number));
    Fd first(open("/", O_RDONLY | O_CLOEXEC));
    first.reset();
    EXPECT_EQ(first.get(), -1);
    Fd second(open("/", O_RDONLY | O_CLOEXEC)); /* has the same number */
    first.reset();
    EXPECT_TRUE(is_open(second.get()));
}

TEST(Descriptors, FailuresNameThePath)
{
    Pipe pipe;
    EXPECT_EQ(path_error_of([] { read_all(-1, "x"); }), with_error("read x", EBADF));
    EXPECT_EQ(path_error_of([] { write_all(-1, "text", "x"); }), with_error("write x", EBADF));
    EXPECT_EQ(path_error_of([] { write_all(-1, "", "x"); }), "");
    EXPECT_EQ(path_error_of([&] { write_all(pipe.read_end.get(), "text", "x"); }), with_error("write x", EBADF));
}

TEST(Descriptors, GoOnBehindASignal)
{
    Pipe pipe;
    support::fail_call("write", EINTR);
    write_all(pipe.write_end.get(), "text", "x");
    EXPECT_TRUE(support::has_failed());
    pipe.write_end.reset();
    for (unsigned number : {1, 2}) {
        support::fail_call("read", EINTR, number);
        EXPECT_EQ(read_all(pipe.read_end.get(), "x"), number == 1 ? "text" : "");
    }
}

/* What knows no sync, as a pipe or some file systems' folders, has nothing to be synced. */
TEST(Syncs, ThatFailAreToldUnlessThereIsNothingToSync)
{
    Pipe pipe;
    EXPECT_EQ(path_error_of([&] { sync_to_disk(pipe.read_end.get(), "x"); }), "");
    EXPECT_EQ(path_error_of([] { sync_to_disk(-1, "x"); }), with_error("write x", EBADF));
}

TEST(Syncs, AreLeftOutAsLongAsThatIsWanted)
{
    errno = 0;
    {
        SyncsLeftOut left_out;
        EXPECT_EQ(path_error_of([] { sync_to_disk(-1, "x"); }), "");
    }
    EXPECT_NE(path_error_of([] { sync_to_disk(-1, "x"); }), "");
}

TEST(Syncs, ThatOnlyBeginChangeNoError)
{
    errno = E2BIG;
    begin_to_sync(-1);
    EXPECT_EQ(errno, E2BIG);
}
