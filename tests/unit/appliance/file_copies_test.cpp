/* Copies of files and of folders on a real disk: content, modes, links, and what a copy that fails leaves behind. */
#include "platform/platform.h"
#include "support/appliance_root.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

using support::ApplianceRoot;
using support::Listing;

static int copy_there(const ApplianceRoot &root, const char *source, const char *target)
{
    return copy_file((root.path().string() + source).c_str(), (root.path().string() + target).c_str());
}

static int copy_folder_there(const ApplianceRoot &root, const char *source, const char *target)
{
    return copy_dir((root.path().string() + source).c_str(), (root.path().string() + target).c_str());
}

TEST(CopyFile, KeepsContentAndMode)
{
    ApplianceRoot root;
    std::string   content = std::string("key\0\xff", 5) + std::string(200000, 'k');
    root.write("/data/etc/a.key", content, 0640);
    ASSERT_EQ(copy_there(root, "/data/etc/a.key", "/data/etc/b.key"), 0);
    Listing listing = root.listing();
    EXPECT_EQ(listing["data/etc/b.key"].content, content);
    EXPECT_EQ(listing["data/etc/b.key"].mode, 0640u);
    EXPECT_EQ(listing["data/etc/a.key"], listing["data/etc/b.key"]);
}

TEST(CopyFile, ReplacesTheTarget)
{
    ApplianceRoot root;
    root.write("/data/etc/a.cer", "new");
    root.write("/data/etc/b.cer", "a longer old text", 0644);
    ASSERT_EQ(copy_there(root, "/data/etc/a.cer", "/data/etc/b.cer"), 0);
    EXPECT_EQ(root.read("/data/etc/b.cer"), "new");
    EXPECT_EQ(root.listing()["data/etc/b.cer"].mode, 0600u);
}

TEST(CopyFile, FollowsALinkAtTheSourceOnly)
{
    ApplianceRoot root;
    root.write("/data/etc/real.cer", "certificate");
    root.link("/data/etc/a.cer", "real.cer");
    root.write("/etc/victim", "as before");
    root.link("/data/etc/b.cer", "../../etc/victim");
    ASSERT_EQ(copy_there(root, "/data/etc/a.cer", "/data/etc/b.cer"), 0);
    Listing listing = root.listing();
    EXPECT_EQ(listing["data/etc/b.cer"].type, 'f');
    EXPECT_EQ(listing["data/etc/b.cer"].content, "certificate");
    EXPECT_EQ(listing["etc/victim"].content, "as before");
}

TEST(CopyFile, OntoItselfChangesNothing)
{
    ApplianceRoot root;
    root.write("/data/etc/a.cer", "certificate");
    root.link("/data/etc/b.cer", "a.cer");
    Listing before = root.listing();
    EXPECT_EQ(copy_there(root, "/data/etc/a.cer", "/data/etc/a.cer"), 0);
    EXPECT_EQ(copy_there(root, "/data/etc/a.cer", "/data/etc/b.cer"), 0);
    EXPECT_EQ(root.listing(), before);
}

TEST(CopyFile, FailsWithoutATrace)
{
    ApplianceRoot root;
    root.write("/data/etc/a.cer", "certificate");
    root.folder("/data/etc/folder");
    ASSERT_EQ(mkfifo((root.path() / "tmp/pipe").c_str(), 0600), 0);
    Listing before = root.listing();
    EXPECT_NE(copy_there(root, "/data/etc/absent", "/data/etc/b.cer"), 0);
    EXPECT_NE(copy_there(root, "/data/etc/folder", "/data/etc/b.cer"), 0);
    EXPECT_NE(copy_there(root, "/tmp/pipe", "/data/etc/b.cer"), 0);
    EXPECT_NE(copy_there(root, "/data/etc/a.cer", "/data/etc/folder"), 0);
    EXPECT_NE(copy_there(root, "/data/etc/a.cer", "/absent/b.cer"), 0);
    EXPECT_NE(copy_file(nullptr, "/tmp/x"), 0);
    EXPECT_NE(copy_file("", "/tmp/x"), 0);
    EXPECT_NE(copy_file((root.path() / "data/etc/a.cer").c_str(), nullptr), 0);
    EXPECT_NE(copy_file((root.path() / "data/etc/a.cer").c_str(), ""), 0);
    EXPECT_EQ(root.listing(), before);
}

TEST(CopyDir, TakesTheWholeContent)
{
    ApplianceRoot root;
    root.write("/data/etc/cert/local/root/a.key", "key", 0600);
    root.write("/data/etc/cert/local/root/a.cer", "cer", 0644);
    root.write("/data/etc/cert/local/root/sub/deeper/b.cer", "b");
    root.folder("/data/etc/cert/local/root/empty", 0750);
    ASSERT_EQ(copy_folder_there(root, "/data/etc/cert/local/root", "/data/etc/cert/local/shop"), 0);
    Listing listing = root.listing();
    for (const char *name : {"/a.key", "/a.cer", "/sub/deeper/b.cer", "/empty"}) {
        std::string below = name;
        EXPECT_EQ(listing["data/etc/cert/local/root" + below], listing["data/etc/cert/local/shop" + below]) << name;
    }
    EXPECT_EQ(listing["data/etc/cert/local/shop"].mode, 0700u);
}

TEST(CopyDir, LinksStayLinks)
{
    ApplianceRoot root;
    root.write("/from/a.cer", "cer");
    root.link("/from/current", "a.cer");
    root.link("/from/nowhere", "../absent");
    root.link("/from/up", "..");
    root.write("/to/current", "a file of that name");
    ASSERT_EQ(copy_folder_there(root, "/from", "/to"), 0);
    Listing listing = root.listing();
    EXPECT_EQ(listing["to/current"], (support::Entry{'l', 0, "a.cer"}));
    EXPECT_EQ(listing["to/nowhere"], (support::Entry{'l', 0, "../absent"}));
    EXPECT_EQ(listing["to/up"], (support::Entry{'l', 0, ".."}));
}

TEST(CopyDir, MergesIntoWhatIsThere)
{
    ApplianceRoot root;
    root.write("/from/a", "new");
    root.write("/from/sub/b", "new");
    root.write("/to/a", "old");
    root.write("/to/c", "kept");
    root.write("/to/sub/d", "kept");
    root.link("/to/sub/b", "d");
    ASSERT_EQ(copy_folder_there(root, "/from", "/to"), 0);
    EXPECT_EQ(root.read("/to/a"), "new");
    EXPECT_EQ(root.read("/to/c"), "kept");
    EXPECT_EQ(root.read("/to/sub/d"), "kept");
    EXPECT_EQ(root.read("/to/sub/b"), "new");
    EXPECT_EQ(root.listing()["to/sub/b"].type, 'f');
}

TEST(CopyDir, MakesParents)
{
    ApplianceRoot root;
    root.write("/from/a", "a");
    ASSERT_EQ(copy_folder_there(root, "/from", "/one/two/three"), 0);
    EXPECT_EQ(root.read("/one/two/three/a"), "a");
    EXPECT_EQ(root.listing()["one/two"].mode, 0700u);
}

TEST(CopyDir, OntoItselfChangesNothing)
{
    ApplianceRoot root;
    root.write("/from/a", "a");
    root.write("/from/sub/b", "b");
    root.link("/again", "from");
    Listing before = root.listing();
    EXPECT_EQ(copy_folder_there(root, "/from", "/from"), 0);
    EXPECT_EQ(copy_folder_there(root, "/from", "/again"), 0);
    EXPECT_EQ(copy_folder_there(root, "/again", "/from/"), 0);
    EXPECT_EQ(root.listing(), before);
}

TEST(CopyDir, TargetBelowTheSourceIsNotCopiedIntoItself)
{
    ApplianceRoot root;
    root.write("/from/a", "a");
    root.write("/from/sub/b", "b");
    ASSERT_EQ(copy_folder_there(root, "/from", "/from/sub/kept"), 0);
    EXPECT_EQ(root.read("/from/sub/kept/a"), "a");
    EXPECT_EQ(root.read("/from/sub/kept/sub/b"), "b");
    EXPECT_FALSE(root.exists("/from/sub/kept/sub/kept"));
}

TEST(CopyDir, PassesOverPipes)
{
    ApplianceRoot root;
    root.write("/from/a", "a");
    ASSERT_EQ(mkfifo((root.path() / "from/pipe").c_str(), 0600), 0);
    ASSERT_EQ(copy_folder_there(root, "/from", "/to"), 0);
    EXPECT_TRUE(root.exists("/to/a"));
    EXPECT_FALSE(root.exists("/to/pipe"));
}

TEST(CopyDir, ContentThatCannotTakeItsPlace)
{
    ApplianceRoot root;
    root.folder("/outside");
    root.write("/from/sub/a", "a");
    root.write("/over_file/sub", "a file");
    root.link("/over_link/sub", "../outside");
    EXPECT_NE(copy_folder_there(root, "/from", "/over_file"), 0);
    EXPECT_NE(copy_folder_there(root, "/from", "/over_link"), 0);
    EXPECT_EQ(root.read("/over_file/sub"), "a file");
    EXPECT_FALSE(root.exists("/outside/a"));
}

TEST(CopyDir, FoldersInFoldersWithoutEnd)
{
    ApplianceRoot root;
    std::string   path = "/from";
    for (int level = 0; level < 100; level++)
        path += "/d";
    root.folder(path);
    EXPECT_NE(copy_folder_there(root, "/from", "/to"), 0);
}

TEST(CopyDir, SourceThatIsNoFolder)
{
    ApplianceRoot root;
    root.write("/file", "a");
    Listing before = root.listing();
    EXPECT_NE(copy_folder_there(root, "/absent", "/to"), 0);
    EXPECT_NE(copy_folder_there(root, "/file", "/to"), 0);
    EXPECT_NE(copy_folder_there(root, "/data", "/file/to"), 0);
    EXPECT_NE(copy_folder_there(root, "/data", "/file"), 0);
    EXPECT_NE(copy_dir(nullptr, "/tmp"), 0);
    EXPECT_NE(copy_dir("/tmp", nullptr), 0);
    EXPECT_NE(copy_dir("", ""), 0);
    EXPECT_EQ(root.listing(), before);
}

TEST(CopyFolder, DownToSixtyFourLevels)
{
    ApplianceRoot root;
    std::string   path = "/data/etc/deep";
    for (int i = 0; i < 64; i++)
        path += "/d";
    root.write(path + "/file", "at the bottom");
    EXPECT_EQ(copy_folder_there(root, "/data/etc/deep", "/data/etc/copy"), 0);
    EXPECT_EQ(root.read("/data/etc/copy" + path.substr(strlen("/data/etc/deep")) + "/file"), "at the bottom");
    root.folder(path + "/d");
    EXPECT_EQ(copy_folder_there(root, "/data/etc/deep", "/data/etc/other"), -1);
}
