/* What an operator is told of a failure: what failed, why, and what to do. */
#include "system/failure.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <new>

using namespace command;

TEST(Failures, SayWhatToDo)
{
    constexpr char as_owner[] = "Run migr as root, or as the user to whom the appliance's folder belongs.";
    constexpr char room[] = "Make room on that disk and run migr again.";

    const std::pair<int, const char *> steps[] = {
        {EACCES, as_owner},
        {EPERM, as_owner},
        {ENOSPC, room},
        {EDQUOT, room},
        {EFBIG, room},
        {EROFS, "Mount that disk for writing and run migr again."},
        {ENAMETOOLONG, "Move that file out of the appliance's folder."},
        {EIO, "Look after the disk before anything else."},
        {ENOENT, "Put that right and run migr again."},
    };
    for (const auto &[error, step] : steps)
        EXPECT_EQ(next_step(error), step) << error;
}

TEST(Failures, NameThePathAsItIsShown)
{
    Failure failure = failure_of({"write", "/inside", EIO}, "outside");
    EXPECT_EQ(failure.status, Status::unusable);
    EXPECT_STREQ(failure.what(),
                 "outside: cannot write it: Input/output error. Look after the disk before anything else.");
}

TEST(Failures, MayHaveTheirOwnAdvice)
{
    EXPECT_STREQ(failure_of({"read", "", EIO, "Ask."}, "x").what(), "x: cannot read it: Input/output error. Ask.");
    EXPECT_STREQ(failure_of({"read", "", 0, "Ask."}, "x").what(), "x: cannot read it. Ask.");
}

TEST(Failures, OfMemoryAreToldInWords)
{
    EXPECT_EQ(text_of(std::bad_alloc()), "there is not enough memory");
    EXPECT_EQ(text_of(Failure(Status::failed, "a text")), "a text");
}
