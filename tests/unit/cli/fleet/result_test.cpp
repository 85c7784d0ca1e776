/* Whose fault it is that an appliance of a fleet was not upgraded, on which it hangs whether --resume tries it again.
 * The lines that results become are read by the tests of whole fleets. */
#include "fleet/result.h"

#include "appliance/root.h"
#include "unit/cli/command_support.h"

#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>

using namespace command;

namespace {

/* What an appliance comes to of which that work, done inside of it, fails. */
EntryEnd end_of_work(const std::function<std::string()> &work)
{
    support::TinyAppliance box;
    try {
        Root(box.root()).run(work);
    } catch (const Failure &failure) {
        return end_of(failure);
    }
    return EntryEnd::upgraded;
}

} // namespace

TEST(EndOfAnEntry, IsAFailureWhereTheSystemFailed)
{
    for (int error : {EIO, ENOSPC, EDQUOT, ENOMEM, EMFILE, EACCES, EINTR})
        EXPECT_EQ(end_of_work([=]() -> std::string {
                      throw PathError{"read", "/data", error};
                  }),
                  EntryEnd::failed)
            << error;
    EXPECT_EQ(end_of_work([]() -> std::string { throw std::bad_alloc(); }), EntryEnd::failed);
    EXPECT_EQ(end_of_work([]() -> std::string { _exit(raise(SIGKILL)); }), EntryEnd::failed);
    EXPECT_EQ(end_of({Status::failed, "The run failed."}), EntryEnd::failed);
}

TEST(EndOfAnEntry, IsARefusalWhereItsOwnFilesAreWrong)
{
    for (int error : {0, ENOENT, ENOTDIR, EISDIR, ELOOP})
        EXPECT_EQ(end_of_work([=]() -> std::string {
                      throw PathError{"read", "/data", error};
                  }),
                  EntryEnd::refused)
            << error;
    EXPECT_EQ(end_of_work([]() -> std::string { throw Failure(Status::unusable, "It is damaged."); }),
              EntryEnd::refused);
}
