/* Folders of our own in a place that others use, too. */
#include "system/temporary_folder.h"

#include "support/appliance_root.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;
using command::TemporaryFolder;

TEST(TemporaryFolders, SweepWhatKilledProcessesLeftAndNothingElse)
{
    support::ApplianceRoot box;
    std::string            place = box.path().string() + "/place";
    fs::create_directory(place);
    fs::create_directories(place + "/.migr-private-abcdef/root"); /* nobody holds its lock */
    for (const char *other : {"/migr-backup", "/migr-test-abcdef", "/.migr-private-of-mine", "/.migr-private-"})
        fs::create_directories(place + other);
    TemporaryFolder living(place);
    std::string     root = living.make("root");
    EXPECT_FALSE(fs::exists(place + "/.migr-private-abcdef"));
    for (const char *other : {"/migr-backup", "/migr-test-abcdef", "/.migr-private-of-mine", "/.migr-private-"})
        EXPECT_TRUE(fs::exists(place + other)) << other;
    TemporaryFolder second(place);
    EXPECT_TRUE(fs::exists(root)); /* somebody is at work there */
}
