/* Files that are made, copied and removed: modes, links, and what a full disk leaves. */
#include "driver/migr.h"
#include "support/appliance_root.h"
#include "support/trees.h"
#include "tree/file_effects.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace support;
namespace fs = std::filesystem;

namespace {

class FileEffects : public testing::Test {
  protected:
    std::string at(const std::string &path) const
    {
        return root.path().string() + path;
    }

    ApplianceRoot root;
};

TEST_F(FileEffects, APrivateFileIsNewAndOnlyTheOwners)
{
    root.write("/tmp/file", "old", 0666);
    FILE *stream = create_private_file(at("/tmp/file").c_str());
    ASSERT_NE(stream, nullptr);
    fputs("new", stream);
    rewind(stream);
    EXPECT_EQ(fgetc(stream), 'n'); /* open for reading too */
    EXPECT_EQ(close_written(stream), 0);
    EXPECT_EQ(root.listing().at("tmp/file"), (Entry{'f', 0600, "new"}));
}

TEST_F(FileEffects, APrivateFileReplacesALink)
{
    root.write("/target", "kept");
    root.link("/tmp/file", "../target");
    FILE *stream = create_private_file(at("/tmp/file").c_str());
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(close_written(stream), 0);
    EXPECT_EQ(root.listing().at("tmp/file"), (Entry{'f', 0600, ""}));
    EXPECT_EQ(root.read("/target"), "kept");
}

TEST_F(FileEffects, APrivateFileNeedsItsFolder)
{
    EXPECT_EQ(create_private_file(at("/nowhere/file").c_str()), nullptr);
    EXPECT_EQ(create_private_file(at("/tmp").c_str()), nullptr);
}

/* Runs `work` in the root as a user who owns nothing there, and may read and search all of it. */
int32_t as_another_user(const ApplianceRoot &root, const std::function<int()> &work)
{
    chmod(root.path().c_str(), 0755);
    return run_in_root(root.path(),
                       [&] {
                           int result = seteuid(1234) == 0 ? work() : -1;
                           return seteuid(0) == 0 ? result : -1;
                       })
        .exit_code;
}

TEST_F(FileEffects, AnOutputIsNewAndOnlyTheOwners)
{
    root.write("/target", "kept");
    root.write("/file", "something longer than what comes", 0666);
    root.link("/link", "target");
    for (const char *path : {"/file", "/link", "/new"}) {
        FILE *stream = create_output(at(path).c_str());
        ASSERT_NE(stream, nullptr) << path;
        fputs("new", stream);
        rewind(stream);
        EXPECT_EQ(fgetc(stream), 'n'); /* open for reading too */
        EXPECT_EQ(close_written(stream), 0);
        EXPECT_EQ(root.listing().at(path + 1), (Entry{'f', 0600, "new"})) << path;
    }
    EXPECT_EQ(root.read("/target"), "kept");
    EXPECT_EQ(create_output(at("/nowhere/file").c_str()), nullptr);
    EXPECT_EQ(create_output(at("/tmp").c_str()), nullptr);
}

TEST_F(FileEffects, AnOutputThatCannotBeUnlinkedIsWrittenOver)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    root.write("/folder/out", "something longer than what comes", 0666);
    chmod(at("/folder").c_str(), 0755);
    auto write_new = [](int32_t written) {
        FILE *stream = create_output("/folder/out");
        return stream && fputs("new", stream) > 0 ? close_output(stream, "/folder/out", written) : 1;
    };
    EXPECT_EQ(as_another_user(root, [&] { return write_new(0); }), 0);
    EXPECT_EQ(root.listing().at("folder/out"), (Entry{'f', 0666, "new"}));
    EXPECT_EQ(as_another_user(root, [&] { return write_new(-1) == -1 ? 0 : 1; }), 0);
    EXPECT_EQ(root.listing().at("folder/out"), (Entry{'f', 0666, ""})) << "it cannot go, so it is emptied";
}

TEST_F(FileEffects, AnOutputThatWasNotWrittenWholeGoes)
{
    FILE *stream = create_output(at("/out").c_str());
    ASSERT_NE(stream, nullptr);
    fputs("half", stream);
    EXPECT_EQ(close_output(stream, at("/out").c_str(), -1), -1);
    EXPECT_FALSE(root.exists("/out"));
    stream = create_output(at("/out").c_str());
    ASSERT_NE(stream, nullptr);
    fputs("whole", stream);
    EXPECT_EQ(close_output(stream, at("/out").c_str(), 0), 0);
    EXPECT_EQ(root.read("/out"), "whole");
}

TEST_F(FileEffects, CloseTellsWhenTheDiskWasFull)
{
    FILE *full = fopen("/dev/full", "w");
    ASSERT_NE(full, nullptr);
    fputs("text", full);
    EXPECT_EQ(close_written(full), -1);
}

TEST_F(FileEffects, CopyMakesANewFileWithTheSourcesMode)
{
    root.write("/from", std::string(200000, 'x') + "end", 0640);
    EXPECT_EQ(copy_over(at("/from").c_str(), at("/to").c_str()), 0);
    EXPECT_EQ(root.listing().at("to"), root.listing().at("from"));
}

TEST_F(FileEffects, CopyWritesOverWhatIsThere)
{
    root.write("/from", "new", 0600);
    root.write("/to", "something longer", 0644);
    EXPECT_EQ(copy_over(at("/from").c_str(), at("/to").c_str()), 0);
    EXPECT_EQ(root.listing().at("to"), (Entry{'f', 0644, "new"}));
}

TEST_F(FileEffects, CopyFollowsALinkAtTheTarget)
{
    root.write("/from", "new");
    root.write("/real", "old");
    root.link("/to", "real");
    EXPECT_EQ(copy_over(at("/from").c_str(), at("/to").c_str()), 0);
    EXPECT_EQ(root.read("/real"), "new");
    EXPECT_EQ(root.listing().at("to").type, 'l');
}

TEST_F(FileEffects, CopyDoesNotWriteThroughALinkThatLeadsNowhere)
{
    root.write("/from", "new");
    root.link("/to", "nothing");
    Listing before = root.listing();
    EXPECT_EQ(copy_over(at("/from").c_str(), at("/to").c_str()), -1);
    EXPECT_EQ(root.listing(), before);
}

TEST_F(FileEffects, CopyReplacesALinkThatLeadsToItself)
{
    root.write("/from", "new");
    root.link("/to", "to");
    EXPECT_EQ(copy_over(at("/from").c_str(), at("/to").c_str()), 0);
    EXPECT_EQ(root.listing().at("to"), (Entry{'f', 0600, "new"}));
}

TEST_F(FileEffects, CopyIntoAFolderKeepsTheName)
{
    root.write("/from", "new");
    root.folder("/to");
    EXPECT_EQ(copy_over(at("/from").c_str(), at("/to").c_str()), 0);
    EXPECT_EQ(root.read("/to/from"), "new");
}

TEST_F(FileEffects, CopyReplacesATargetThatCannotBeWritten)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    root.write("/from", "new", 0600);
    root.write("/to", "old", 0400);
    chmod(root.path().c_str(), 0777);
    ChildResult child = run_in_root(root.path(), [] {
        chown("/from", 1234, 1234);
        chown("/to", 1234, 1234);
        return seteuid(1234) == 0 && copy_over("/from", "/to") == 0 && seteuid(0) == 0 ? 0 : 1;
    });
    ASSERT_EQ(child.exit_code, 0) << child.err;
    EXPECT_EQ(root.listing().at("to"), (Entry{'f', 0600, "new"}));
}

TEST_F(FileEffects, CopyFailsWithoutSourceOrFolder)
{
    root.write("/from", "new");
    Listing before = root.listing();
    EXPECT_EQ(copy_over(at("/nothing").c_str(), at("/to").c_str()), -1);
    EXPECT_EQ(copy_over(at("/from").c_str(), at("/nowhere/to").c_str()), -1);
    EXPECT_EQ(root.listing(), before);
    EXPECT_EQ(copy_over(at("/from").c_str(), "/dev/full"), -1);
}

/* Whoever accounts for files goes by what is told. */
TEST_F(FileEffects, OnlyWhatWasDoneIsTold)
{
    static std::string told;
    root.write("/from", "new");
    migr_observe_changes([](const migr_change *change) {
        told += std::to_string(change->kind) + " " + fs::path(change->file).filename().string() + "\n";
    });
    copy_over(at("/nothing").c_str(), at("/to").c_str());
    copy_over(at("/from").c_str(), "/dev/full");
    copy_over(at("/from").c_str(), at("/to").c_str());
    remove_tree(at("/nothing").c_str());
    remove_tree(at("/from").c_str());
    make_folder(at("/a/b").c_str(), 0700);
    make_folder(at("/new").c_str(), 0700);
    migr_observe_changes(nullptr);
    EXPECT_EQ(told, std::to_string(MIGR_FILE_COPIED) + " to\n" + std::to_string(MIGR_FILE_REMOVED) + " from\n" +
                        std::to_string(MIGR_FOLDER_MADE) + " new\n");
}

TEST_F(FileEffects, CopyTakesALinkAsALink)
{
    root.write("/real", "content");
    root.link("/from", "real");
    root.write("/to", "old");
    EXPECT_EQ(copy_over(at("/from").c_str(), at("/to").c_str()), 0);
    EXPECT_EQ(root.listing().at("to"), (Entry{'l', 0, "real"}));
    EXPECT_EQ(root.read("/real"), "content");
}

TEST_F(FileEffects, CopyTakesAFolderWithAllBelow)
{
    root.write("/from/below/file", "content", 0640);
    EXPECT_EQ(copy_over(at("/from").c_str(), at("/to").c_str()), 0);
    EXPECT_EQ(root.read("/to/below/file"), "content");
    EXPECT_EQ(copy_over(at("/from").c_str(), at("/to").c_str()), 0);
    EXPECT_EQ(root.read("/to/from/below/file"), "content");
    EXPECT_EQ(copy_over(at("/from").c_str(), at("/nowhere/to").c_str()), -1);
    EXPECT_FALSE(root.exists("/nowhere"));
}

TEST_F(FileEffects, RemoveTreeTakesAllBelowAndFollowsNoLink)
{
    root.write("/kept/file", "kept");
    root.write("/gone/a/b/c", "x", 0400);
    root.write("/gone/.hidden", "x");
    root.folder("/gone/empty", 0500);
    root.link("/gone/link", "../kept");
    root.link("/gone/dangling", "nothing");
    EXPECT_EQ(remove_tree(at("/gone").c_str()), 0);
    EXPECT_FALSE(root.exists("/gone"));
    EXPECT_EQ(root.read("/kept/file"), "kept");
}

TEST_F(FileEffects, RemoveTreeTakesAFileALinkAndNothing)
{
    root.write("/file", "x");
    root.folder("/folder");
    root.link("/link", "folder");
    EXPECT_EQ(remove_tree(at("/file").c_str()), 0);
    EXPECT_EQ(remove_tree(at("/link").c_str()), 0);
    EXPECT_EQ(remove_tree(at("/nothing").c_str()), 0);
    EXPECT_FALSE(root.exists("/file"));
    EXPECT_FALSE(root.exists("/link"));
    EXPECT_TRUE(root.exists("/folder"));
}

TEST_F(FileEffects, ASlashBehindTheNameAsksForAFolder)
{
    root.write("/file", "x");
    root.write("/folder/deep/file", "x");
    root.write("/behind/deep/file", "x");
    root.write("/kept/file", "kept");
    root.link("/behind/link", "../kept");
    root.link("/link", "behind");
    root.link("/dangling", "nothing");
    for (const char *path : {"/file/", "/folder/", "/link//", "/dangling/", "/nothing/"})
        EXPECT_EQ(remove_tree(at(path).c_str()), 0) << path;
    EXPECT_EQ(root.read("/file"), "x");
    EXPECT_FALSE(root.exists("/folder"));
    EXPECT_TRUE(std::filesystem::is_empty(root.path() / "behind"));
    EXPECT_TRUE(root.exists("/link"));
    EXPECT_TRUE(root.exists("/dangling"));
    EXPECT_EQ(root.read("/kept/file"), "kept");
}

TEST_F(FileEffects, RemoveTreeTellsWhatStayed)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    root.write("/gone/file", "x");
    chmod(at("/gone").c_str(), 0555);
    ChildResult child = run_in_root(root.path(), [] {
        chown("/gone", 1234, 1234);
        return seteuid(1234) == 0 && remove_tree("/gone") == -1 && remove_tree("/gone/") == -1 && seteuid(0) == 0 ? 0
                                                                                                                  : 1;
    });
    EXPECT_EQ(child.exit_code, 0) << child.err;
    EXPECT_TRUE(root.exists("/gone/file"));
}

TEST_F(FileEffects, MakeFolderMakesOne)
{
    mode_t old = umask(0);
    EXPECT_EQ(make_folder(at("/new").c_str(), 0750), 0);
    umask(old);
    EXPECT_EQ(root.listing().at("new"), (Entry{'d', 0750, ""}));
    EXPECT_EQ(make_folder(at("/new").c_str(), 0700), 0);
    EXPECT_EQ(make_folder(at("/a/b").c_str(), 0700), -1);
}

} // namespace
