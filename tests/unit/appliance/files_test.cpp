/* Reading a file whole, and writing one beside its place until it is good. What the stand-in keeps in such files is
 * tested with what it is. */
#include "files.h"

#include "support/appliance_root.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

using appliance::Block;
using appliance::read_whole;
using appliance::ReplacedFile;
using support::ApplianceRoot;
using support::Listing;

TEST(ReadWhole, HoldsTheLimit)
{
    ApplianceRoot root;
    root.write("/tmp/file", "12345");
    std::string path = root.path().string() + "/tmp/file";
    Block       bytes;
    size_t      size = 0;
    ASSERT_TRUE(read_whole(path.c_str(), 5, &bytes, &size));
    EXPECT_EQ(std::string(reinterpret_cast<char *>(bytes.get()), size), "12345");
    EXPECT_FALSE(read_whole(path.c_str(), 4, &bytes, &size));
    EXPECT_EQ(size, 5u);
}

/* Such files say that they are empty and then give text: they are refused rather than cut. */
TEST(ReadWhole, FileThatIsLongerThanItSays)
{
    Block  bytes;
    size_t size = 0;
    EXPECT_FALSE(read_whole("/proc/self/status", 1 << 20, &bytes, &size));
}

TEST(ReplacedFileTest, IsNothingUntilItIsInPlace)
{
    ApplianceRoot root;
    root.write("/data/etc/file", "old");
    Listing     before = root.listing();
    std::string target = root.path().string() + "/data/etc/file";
    {
        ReplacedFile file(AT_FDCWD, target.c_str());
        ASSERT_TRUE(file.make());
        ASSERT_TRUE(file.write("new", 3));
        EXPECT_EQ(root.read("/data/etc/file"), "old");
        EXPECT_EQ(root.listing().size(), before.size() + 1);
    }
    EXPECT_EQ(root.listing(), before);
}

TEST(ReplacedFileTest, RelativeToAFolder)
{
    ApplianceRoot root;
    int           folder = open((root.path() / "data").c_str(), O_RDONLY | O_DIRECTORY);
    {
        ReplacedFile file(folder, "etc/file");
        ASSERT_TRUE(file.make());
        ASSERT_TRUE(file.write("new", 3));
        ASSERT_TRUE(file.put_in_place(0640));
    }
    close(folder);
    EXPECT_EQ(root.listing()["data/etc/file"], (support::Entry{'f', 0640, "new"}));
}

/* A name is taken by what a process of the same number left when it was killed. */
TEST(ReplacedFileTest, AThousandNamesAreTried)
{
    ApplianceRoot root;
    std::string   target = root.path().string() + "/data/etc/file";
    std::string   taken = "/data/etc/.new-" + std::to_string(getpid()) + "-";
    for (int i = 0; i < 999; i++)
        root.write(taken + std::to_string(i), "");
    {
        ReplacedFile file(AT_FDCWD, target.c_str());
        EXPECT_TRUE(file.make());
    }
    root.write(taken + "999", "");
    ReplacedFile file(AT_FDCWD, target.c_str());
    EXPECT_FALSE(file.make());
}
