/* What a file that never gets on does where no host has said otherwise: a child waits, and is ended. */
#include "driver/hooks.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

static int ends[2]; /* the child tells its parent how far it is */

static void tell(int)
{
    if (write(ends[1], "x", 1) != 1)
        _exit(1);
}

static void wait_for_child()
{
    char byte;
    ASSERT_EQ(read(ends[0], &byte, 1), 1);
}

/* This program defines no hook: the library just waits, also after a signal that its host has handled. */
TEST(Stall, WaitsForEverWithoutAHook)
{
    ASSERT_EQ(pipe(ends), 0);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        signal(SIGUSR1, tell);
        tell(0);
        migr_never_returns("here");
    }
    wait_for_child();
    kill(child, SIGUSR1);
    wait_for_child();
    usleep(20000);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, WNOHANG), 0);
    kill(child, SIGKILL);
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
}
