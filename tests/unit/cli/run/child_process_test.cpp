/* Children, and what is left of them when nobody wants them any more: nothing. */
#include "run/child_process.h"

#include "system/failure.h"
#include "unit/cli/failing_calls.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

using command::ChildProcess;

namespace {

int wait_for_ever()
{
    for (;;)
        pause();
}

} // namespace

TEST(ChildProcesses, EndWithWhatTheirWorkGives)
{
    ChildProcess child([] { return 7; });
    int          status = child.wait();
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 7);
    EXPECT_EQ(child.wait(), status); /* it is kept */
    child.kill();                    /* nobody is there */
}

TEST(ChildProcesses, AreKilledWhenThatIsWanted)
{
    ChildProcess child(wait_for_ever);
    child.kill();
    int status = child.wait();
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

TEST(ChildProcesses, DoNotOutliveTheirRecord)
{
    {
        ChildProcess child(wait_for_ever);
    }
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

/* Its number may be another's by then. */
TEST(ChildProcesses, ThatAreGoneAreLeftInPeace)
{
    ChildProcess child([] { return 7; });
    int          status = child.wait();
    pid_t        other = fork();
    if (other == 0)
        _exit(0);
    EXPECT_EQ(child.wait(), status);
    EXPECT_EQ(waitpid(other, nullptr, 0), other);
    support::fail_call("kill", EPERM);
    child.kill();
    EXPECT_FALSE(support::has_failed());
}

TEST(ChildProcesses, AreWaitedForBehindASignal)
{
    ChildProcess child([] { return 7; });
    support::fail_call("waitpid", EINTR);
    EXPECT_EQ(WEXITSTATUS(child.wait()), 7);
    EXPECT_TRUE(support::has_failed());
}

TEST(ChildProcesses, ThatCannotBeMadeAreTold)
{
    support::fail_call("fork", EAGAIN);
    try {
        ChildProcess child([] { return 9; });
        FAIL();
    } catch (const command::PathError &error) {
        EXPECT_EQ(error.doing, "start");
        EXPECT_EQ(error.path, "a process");
        EXPECT_EQ(error.error, EAGAIN);
    }
}

/* What the parent has not put out yet is its own. */
TEST(ChildProcesses, PrintNothingTwice)
{
    char  *text = nullptr;
    size_t length = 0;
    FILE  *stream = tmpfile();
    fputs("once", stream);
    {
        ChildProcess child([&] {
            fflush(stream);
            return 0;
        });
        child.wait();
    }
    fflush(stream);
    rewind(stream);
    EXPECT_EQ(getdelim(&text, &length, EOF, stream), 4);
    fclose(stream);
    free(text);
}

/* The grandchild's record is gone with its parent, which a signal ended: the kernel looks after it. */
TEST(ChildProcesses, EndWithTheirParent)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ChildProcess parent([&] {
        ChildProcess child([&] {
            command::die_with_parent();
            char begun = 'x';
            return write(ends[1], &begun, 1) == 1 ? wait_for_ever() : 1;
        });
        return wait_for_ever();
    });
    close(ends[1]);
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 1);
    parent.kill();
    parent.wait();
    EXPECT_EQ(read(ends[0], &byte, 1), 0); /* nobody holds the other end */
    close(ends[0]);
}
