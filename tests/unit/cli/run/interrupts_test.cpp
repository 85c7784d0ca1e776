/* Signals that are held back, and asked for. */
#include "run/interrupts.h"

#include "system/failure.h"
#include "unit/cli/failing_calls.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <poll.h>

using namespace command;

TEST(Interrupts, HoldEachOfTheirSignalsUntilTheyAreAskedFor)
{
    for (int signal : {SIGINT, SIGQUIT, SIGTERM, SIGHUP}) {
        Interrupts interrupts;
        EXPECT_FALSE(interrupts.came());
        EXPECT_NO_THROW(interrupts.stop_here("All is well."));
        raise(signal);
        pollfd wait = {interrupts.fd(), POLLIN, 0};
        EXPECT_EQ(poll(&wait, 1, 0), 1);
        EXPECT_TRUE(interrupts.came()) << signal;
        EXPECT_TRUE(interrupts.came()) << signal; /* it stays so */
        try {
            interrupts.stop_here("All is well.");
            ADD_FAILURE() << signal;
        } catch (const Failure &failure) {
            EXPECT_EQ(failure.status, Status::failed);
            EXPECT_STREQ(failure.what(), "Stopped by a signal. All is well.");
        }
    }
}

/* One that nobody asked for has done its work, too: the process goes on. */
TEST(Interrupts, LeaveNothingBehind)
{
    sigset_t before, held, behind;
    sigprocmask(SIG_SETMASK, nullptr, &before);
    {
        Interrupts interrupts;
        sigprocmask(SIG_SETMASK, nullptr, &held);
        EXPECT_EQ(sigismember(&held, SIGUSR1), 0);
        EXPECT_EQ(sigismember(&held, SIGTERM), 1);
        raise(SIGTERM);
    }
    sigprocmask(SIG_SETMASK, nullptr, &behind);
    for (int signal = 1; signal < 65; signal++)
        EXPECT_EQ(sigismember(&behind, signal), sigismember(&before, signal)) << signal;
}

TEST(Interrupts, ThatCannotBeHeardAreTold)
{
    support::fail_call("signalfd", EMFILE);
    try {
        Interrupts interrupts;
        FAIL();
    } catch (const PathError &error) {
        EXPECT_EQ(error.doing, "open");
        EXPECT_EQ(error.path, "a signal descriptor");
        EXPECT_EQ(error.error, EMFILE);
    }
}
