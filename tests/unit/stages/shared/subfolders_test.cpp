/* That folders lose their files and nothing else, whatever lies there. */
#include "stages/shared/subfolders.h"

#include "unit/stages/passes.h"

using support::ApplianceRoot;
using support::Listing;

namespace {

class Subfolders : public testing::Test {
  protected:
    ApplianceRoot root;

    /* What is gone from below /data afterwards; nothing may have come. */
    std::vector<std::string> gone_after_clearing(const std::string &path)
    {
        Listing before = root.listing();
        support::expect_in_root(root, [&] { _clear_all_sub_dir(path.c_str()); });
        Listing                  after = root.listing();
        std::vector<std::string> gone;
        for (const auto &[name, entry] : before)
            if (!after.contains(name))
                gone.push_back(name);
        EXPECT_EQ(before.size(), after.size() + gone.size());
        return gone;
    }
};

} // namespace

TEST_F(Subfolders, LoseTheirFilesAndNothingElse)
{
    for (const char *file : {"/data/x/here", "/data/x/.hidden", "/data/x/a/one", "/data/x/a/.hidden",
                             "/data/x/a/deep/file", "/data/x/b c/two words", "/data/x/.a/file", "/data/y/a/file"})
        root.write(file, "x");
    root.folder("/data/x/empty");
    EXPECT_EQ((std::vector<std::string>{"data/x/a/one", "data/x/b c/two words"}), gone_after_clearing("/data/x"));
}

TEST_F(Subfolders, LinksToFoldersCountAsFolders)
{
    root.write("/data/elsewhere/file", "x");
    root.write("/data/kept", "x");
    root.link("/data/x/folder", "../elsewhere");
    root.link("/data/x/file", "../kept");
    root.link("/data/x/nowhere", "../missing");
    root.link("/data/x/a/link", "../../elsewhere");
    EXPECT_EQ((std::vector<std::string>{"data/elsewhere/file", "data/x/a/link"}), gone_after_clearing("/data/x"));
}

TEST_F(Subfolders, WithoutTheFolderNothingHappens)
{
    root.write("/data/file", "x");
    EXPECT_TRUE(gone_after_clearing("/data/missing").empty());
    EXPECT_TRUE(gone_after_clearing("/data/file").empty());
    EXPECT_TRUE(gone_after_clearing("").empty());
}

/* A subfolder's path is cut at 254 characters, and what then is no folder stays. */
TEST_F(Subfolders, LongPathsAreCut)
{
    std::string parent = "/data/" + std::string(100, 'p');
    size_t      room = 254 - parent.size() - 1;
    std::string fits(room, 'f');
    std::string cut(room + 1, 'g');
    root.write(parent + "/" + fits + "/file", "x");
    root.write(parent + "/" + cut + "/file", "x");
    EXPECT_EQ((std::vector<std::string>{(parent + "/" + fits + "/file").substr(1)}), gone_after_clearing(parent));
}

/* Names that a shell would take for more than names. */
TEST_F(Subfolders, NamesAreNames)
{
    root.write("/data/x/; rm -rf y;/file", "x");
    root.write("/data/x/$(touch z)/-rf", "x");
    root.write("/data/y/file", "x");
    EXPECT_EQ((std::vector<std::string>{"data/x/$(touch z)/-rf", "data/x/; rm -rf y;/file"}),
              gone_after_clearing("/data/x"));
}

/* A folder that cannot be opened keeps its files. */
TEST_F(Subfolders, ClosedFolders)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    root.write("/data/x/a/file", "x");
    for (const char *path : {"/", "/data", "/data/x"})
        root.folder(path, 0755);
    root.folder("/data/x/a", 0700);
    support::expect_in_root(root, [] {
        ASSERT_EQ(0, seteuid(1234));
        _clear_all_sub_dir("/data/x");
        ASSERT_EQ(0, seteuid(0));
    });
    EXPECT_TRUE(root.exists("/data/x/a/file"));
}
