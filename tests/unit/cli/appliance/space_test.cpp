/* Room on disks. The machine's temporary folder stands for one disk, /proc for another, which never has any. */
#include "appliance/space.h"
#include "support/appliance_root.h"
#include "system/failure.h"

#include <gtest/gtest.h>

using namespace command;

namespace {

constexpr uint64_t more_than_any_disk = uint64_t{1} << 60;

TEST(Space, IsEnoughForASmallFile)
{
    support::ApplianceRoot root;
    std::vector<DiskSpace> disks = space_for({{root.path() / "data/config/x", 1}});
    ASSERT_EQ(disks.size(), 1u);
    EXPECT_EQ(disks[0].folder, root.path() / "data/config");
    EXPECT_GE(disks[0].needed, 512u); /* a whole block */
    EXPECT_GT(disks[0].free, disks[0].needed);
    EXPECT_EQ(disks[0].files_needed, 1u);
    EXPECT_TRUE(disks[0].is_enough());
    EXPECT_EQ(why_no_space(disks), "");
}

TEST(Space, IsAddedUpPerDisk)
{
    support::ApplianceRoot root;
    std::vector<DiskSpace> disks = space_for({{root.path() / "data/config/x", more_than_any_disk},
                                              {"/proc/x", 1},
                                              {root.path() / "etc/y", more_than_any_disk},
                                              {"/proc/z", 0}});
    ASSERT_EQ(disks.size(), 2u);
    EXPECT_EQ(disks[0].needed, 2 * more_than_any_disk);
    EXPECT_EQ(disks[0].files_needed, 2u);
    EXPECT_FALSE(disks[0].is_enough());
    EXPECT_EQ(disks[1].folder, "/proc");
    EXPECT_FALSE(disks[1].is_enough());
}

TEST(Space, IsThatOfTheNearestFolderThatIsThere)
{
    support::ApplianceRoot root;
    std::vector<DiskSpace> disks = space_for({{root.path() / "var/log/new/folder/x", 1}});
    ASSERT_EQ(disks.size(), 1u);
    EXPECT_EQ(disks[0].folder, root.path() / "var/log");
}

TEST(Space, CannotBeToldOfAFolderThatCannotBeReached)
{
    support::ApplianceRoot root;
    root.link("/data/loop", "loop");
    EXPECT_THROW(space_for({{root.path() / "data/loop/x", 1}}), PathError);
}

TEST(Space, ReasonsNameEachDisk)
{
    EXPECT_EQ(
        why_no_space(
            {{"/data", 3100000, 700000, 1, UINT64_MAX}, {"/etc", 10, 20, 1, 1}, {"/var/log", 4096, 1000000, 3, 2}}),
        "needs 3.1 MB on /data, has 700 kB; needs room for 3 new files on /var/log, has it for 2");
    EXPECT_EQ(why_no_space({}), "");
}

} // namespace
