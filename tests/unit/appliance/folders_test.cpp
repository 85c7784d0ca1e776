/* Whether something is a folder, and making one with those above it. */
#include "platform/platform.h"
#include "support/appliance_root.h"

#include <gtest/gtest.h>

#include "folders.h"

using support::ApplianceRoot;

TEST(IsDir, FollowsLinks)
{
    ApplianceRoot root;
    root.write("/file", "a");
    root.link("/to_folder", "data");
    root.link("/to_file", "file");
    root.link("/dangling", "absent");
    std::string top = root.path().string();
    EXPECT_EQ(is_dir((top + "/data").c_str()), 1);
    EXPECT_EQ(is_dir((top + "/to_folder").c_str()), 1);
    EXPECT_EQ(is_dir((top + "/file").c_str()), 0);
    EXPECT_EQ(is_dir((top + "/to_file").c_str()), 0);
    EXPECT_EQ(is_dir((top + "/dangling").c_str()), 0);
    EXPECT_EQ(is_dir((top + "/absent").c_str()), 0);
    EXPECT_EQ(is_dir(""), 0);
    EXPECT_EQ(is_dir(nullptr), 0);
}

TEST(MakeFolders, MakesWhatIsMissing)
{
    ApplianceRoot root;
    std::string   top = root.path().string();
    EXPECT_TRUE(appliance::make_folders((top + "/one/two").c_str()));
    EXPECT_TRUE(appliance::make_folders((top + "/one/two/").c_str()));
    EXPECT_TRUE(appliance::make_folders((top + "//one//two//three").c_str()));
    EXPECT_EQ(root.listing()["one/two/three"], (support::Entry{'d', 0700, ""}));
}

TEST(MakeFolders, RelativeToTheWorkingFolder)
{
    ApplianceRoot root;
    support::expect_in_root(root, [] {
        EXPECT_TRUE(appliance::make_folders("one/two"));
        EXPECT_TRUE(appliance::make_folders("three"));
    });
    EXPECT_TRUE(root.exists("/one/two"));
    EXPECT_TRUE(root.exists("/three"));
}

TEST(MakeFolders, FailsOnAFileInTheWay)
{
    ApplianceRoot root;
    root.write("/file", "a");
    std::string top = root.path().string();
    EXPECT_FALSE(appliance::make_folders((top + "/file").c_str()));
    EXPECT_FALSE(appliance::make_folders((top + "/file/below").c_str()));
    EXPECT_FALSE(appliance::make_folders(""));
    EXPECT_FALSE(appliance::make_folders(nullptr));
    EXPECT_FALSE(appliance::make_folders((top + std::string(5000, 'x')).c_str()));
}
