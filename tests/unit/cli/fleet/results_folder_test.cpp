/* The folder of a fleet's results, where it cannot be had. */
#include "fleet/results_folder.h"

#include "support/appliance_root.h"
#include "system/failure.h"
#include "unit/cli/command_support.h"

#include <cerrno>
#include <cstdio>
#include <gtest/gtest.h>
#include <sys/syscall.h>

using namespace support;

namespace {

std::string said_of(const std::string &path, const Ahead &ahead)
{
    auto make = [&] {
        try {
            command::ResultsFolder results(path);
        } catch (const command::Failure &failure) {
            printf("%s", failure.what());
        }
        return 0;
    };
    return run_process(make, ahead).out;
}

} // namespace

TEST(ResultsFolders, SayWhyTheyCannotBeMade)
{
    ApplianceRoot box;
    std::string   path = box.path().string() + "/results";
    auto          nobody_looks = [] { refuse_calls({SYS_newfstatat, SYS_stat, SYS_statx}, EACCES); };
    auto          nobody_makes = [] { refuse_calls({SYS_mkdir, SYS_mkdirat}, EIO); };
    EXPECT_TRUE(said_of(path, nobody_looks).starts_with(path + ": cannot make it: Permission denied. "));
    EXPECT_TRUE(said_of(path, nobody_makes).starts_with(path + ": cannot make it: Input/output error. "));
    box.write("/file", "");
    EXPECT_TRUE(said_of(box.path().string() + "/file", {}).find(": cannot make it: Not a directory") !=
                std::string::npos);
    EXPECT_EQ(said_of(path, {}), "");
}
