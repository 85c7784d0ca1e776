/* Folders of our own in a place that others use, too. */
#include "system/temporary_folder.h"

#include "support/appliance_root.h"
#include "system/failure.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using command::TemporaryFolder;

TEST(TemporaryFolders, SweepWhatKilledProcessesLeftAndNothingElse)
{
    support::ApplianceRoot box;
    std::string            place = box.path().string() + "/place";
    fs::create_directory(place);
    fs::create_directories(place + "/.migr-private-abcdef/root"); /* nobody holds its lock */
    for (const char *other :
         {"/migr-backup", "/a-name-of-this-width", "/migr-test-abcdef", "/.migr-private-of-mine", "/.migr-private-"})
        fs::create_directories(place + other);
    TemporaryFolder living(place);
    std::string     root = living.make("root");
    EXPECT_FALSE(fs::exists(place + "/.migr-private-abcdef"));
    for (const char *other :
         {"/migr-backup", "/a-name-of-this-width", "/migr-test-abcdef", "/.migr-private-of-mine", "/.migr-private-"})
        EXPECT_TRUE(fs::exists(place + other)) << other;
    fs::create_directories(place + "/.migr-private-abcdef");
    command::sweep_temporary_folders(place); /* of who needs none now */
    EXPECT_FALSE(fs::exists(place + "/.migr-private-abcdef"));
    TemporaryFolder second(place);
    EXPECT_TRUE(fs::exists(root)); /* somebody is at work there */
}

TEST(TemporaryFolders, GoWithAllThatIsInThem)
{
    support::ApplianceRoot box;
    support::Listing       before = box.listing();
    {
        TemporaryFolder folder(box.path().string());
        std::string     root = folder.make("root");
        struct stat     st = {};
        ASSERT_EQ(stat(root.c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 07777, 0700u);
        EXPECT_EQ(fs::path(root).filename(), "root");
        std::ofstream(root + "/file") << "text";
        try {
            folder.make("root");
            ADD_FAILURE();
        } catch (const command::PathError &error) {
            EXPECT_EQ(error.doing, "make");
            EXPECT_EQ(error.path, root);
        }
    }
    EXPECT_EQ(box.listing(), before);
}

TEST(TemporaryFolders, AreMadeWhereTheEnvironmentSays)
{
    support::ApplianceRoot box;
    std::string            before = getenv("TMPDIR") ? getenv("TMPDIR") : "";
    setenv("TMPDIR", box.path().c_str(), 1);
    {
        TemporaryFolder folder("");
        EXPECT_EQ(fs::path(folder.make("root")).parent_path().parent_path(), box.path());
    }
    std::string told;
    setenv("TMPDIR", (box.path() / "none").c_str(), 1);
    try {
        TemporaryFolder folder("");
    } catch (const command::Failure &failure) {
        told = failure.what();
    }
    before.empty() ? unsetenv("TMPDIR") : setenv("TMPDIR", before.c_str(), 1);
    EXPECT_TRUE(told.starts_with("The folder for temporary files (TMPDIR, otherwise /tmp) cannot be used: ")) << told;
    EXPECT_TRUE(told.ends_with(". Put that right and run migr again.")) << told;
}

TEST(TemporaryFolders, CannotBeMadeWhereThereIsNoFolder)
{
    support::ApplianceRoot box;
    std::string            none = box.path().string() + "/none";
    try {
        TemporaryFolder folder(none);
        FAIL();
    } catch (const command::Failure &failure) {
        EXPECT_EQ(failure.what(), none + ": cannot make a folder in it: No such file or directory. "
                                         "Put that right and run migr again.");
    }
}

/* Nor a file, a link to a folder, or another user's folder. */
TEST(TemporaryFolders, OfOthersAreNotSwept)
{
    support::ApplianceRoot box;
    box.write("/.migr-private-aaaaaa", "a file");
    box.folder("/kept");
    box.write("/kept/file", "text");
    box.link("/.migr-private-bbbbbb", "kept");
    box.folder("/.migr-private-cccccc");
    if (geteuid() == 0) {
        ASSERT_EQ(chown((box.path() / ".migr-private-cccccc").c_str(), 12345, 12345), 0);
    } else {
        fs::remove(box.path() / ".migr-private-cccccc");
    }
    support::Listing before = box.listing();
    {
        TemporaryFolder folder(box.path().string());
    }
    EXPECT_EQ(box.listing(), before);
}
