/* What a file that never gets on does where no host has said otherwise: a child waits, and is ended. */
#include "driver/hooks.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <string>
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

/* "S" of a process that sleeps. One that is woken runs for a moment, so it is looked at again. */
static bool comes_to_sleep(pid_t process)
{
    for (int looks = 0; looks < 500; looks++) {
        std::ifstream facts("/proc/" + std::to_string(process) + "/stat");
        std::string   number, name, state;
        facts >> number >> name >> state;
        if (state == "S")
            return true;
        usleep(10000);
    }
    return false;
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
    EXPECT_TRUE(comes_to_sleep(child)) << "it takes a processor for as long as it waits";
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, WNOHANG), 0);
    kill(child, SIGKILL);
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
}
