/* Whole files by their path: what is opened, what is refused, and what is never waited for. */
#include "system/config_path.h"
#include "system/failure.h"
#include "system/files.h"

#include "support/appliance_root.h"
#include "unit/cli/failing_calls.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fcntl.h>

using namespace command;

namespace {

class Files : public testing::Test {
  protected:
    std::string path(const std::string &name) const
    {
        return box.path().string() + "/" + name;
    }
    /* errno of the attempt, or 0. */
    int error_of(const std::string &name, Links links = Links::follow) const
    {
        try {
            read_file(path(name), links);
        } catch (const PathError &error) {
            EXPECT_EQ(error.path, path(name));
            EXPECT_EQ(error.doing, "read");
            return error.error;
        }
        return 0;
    }

    support::ApplianceRoot box;
};

} // namespace

TEST_F(Files, HoldTheBytesThatTheyHold)
{
    std::string long_text(100'000, 'x');
    write_new(path("text"), long_text);
    EXPECT_TRUE(file_holds(path("text"), Links::follow, long_text));
    EXPECT_FALSE(file_holds(path("text"), Links::follow, long_text + "y"));
    EXPECT_FALSE(file_holds(path("text"), Links::follow, long_text.substr(1)));
    EXPECT_FALSE(file_holds(path("text"), Links::follow, ""));
    std::string other = long_text;
    other[70'000] = 'y';
    EXPECT_FALSE(file_holds(path("text"), Links::follow, other));
}

TEST_F(Files, AFileIsReadWhole)
{
    std::string bytes(200'000, 'x');
    bytes[7] = '\0';
    box.write("/a", bytes);
    box.link("/link", "a");
    EXPECT_EQ(read_file(path("a"), Links::refuse), bytes);
    EXPECT_EQ(read_file(path("link"), Links::follow), bytes);
}

TEST_F(Files, WhatIsNoFileIsRefusedAndNotWaitedFor)
{
    box.write("/a", "text");
    box.link("/link", "a");
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(error_of("none"), ENOENT);
    EXPECT_EQ(error_of("a/b"), ENOTDIR);
    EXPECT_EQ(error_of("data"), EISDIR);
    EXPECT_EQ(error_of("pipe"), EINVAL);
    EXPECT_EQ(error_of("link"), 0);
    EXPECT_EQ(error_of("link", Links::refuse), ELOOP);
}

TEST_F(Files, ANewFileTakesNoPlaceOfAnother)
{
    write_new(path("new"), "text");
    EXPECT_EQ(box.listing()["new"], (support::Entry{'f', 0600, "text"}));
    box.link("/link", "data/other");
    for (const char *name : {"new", "link"})
        try {
            write_new(path(name), "other");
            ADD_FAILURE() << name;
        } catch (const PathError &error) {
            EXPECT_EQ(error.path, path(name));
            EXPECT_EQ(error.doing, "write");
            EXPECT_EQ(error.error, EEXIST);
        }
    EXPECT_EQ(box.read("/new"), "text");
}

TEST_F(Files, OnlyAFolderThatIsThereCanBeSynced)
{
    box.write("/file", "text");
    EXPECT_NO_THROW(sync_folder(path("data")));
    support::fail_call("fsync", EIO);
    EXPECT_THROW(sync_folder(path("data")), PathError);
    for (const char *name : {"none", "file"})
        try {
            sync_folder(path(name));
            ADD_FAILURE() << name;
        } catch (const PathError &error) {
            EXPECT_EQ(error.path, path(name));
            EXPECT_EQ(error.doing, "read");
        }
}

TEST_F(Files, SomethingIsThereOrNot)
{
    box.write("/a", "text");
    box.link("/dangling", "none");
    EXPECT_TRUE(is_there(path("a")));
    EXPECT_TRUE(is_there(path("data")));
    EXPECT_TRUE(is_there(path("dangling")));
    EXPECT_FALSE(is_there(path("none")));
    EXPECT_FALSE(is_there(path("a/b")));
    try {
        is_there(path(std::string(300, 'n')));
        FAIL();
    } catch (const PathError &error) {
        EXPECT_EQ(error.doing, "look for");
        EXPECT_EQ(error.error, ENAMETOOLONG);
    }
}

TEST_F(Files, FoldersAboveAreMade)
{
    box.write("/file", "text");
    make_folders_above(path("one/two/x"), 0700);
    make_folders_above(path("one/two/y"), 0700);
    EXPECT_EQ(box.listing()["one"], (support::Entry{'d', 0700, ""}));
    EXPECT_EQ(box.listing()["one/two"], (support::Entry{'d', 0700, ""}));
    EXPECT_FALSE(box.exists("/one/two/x"));
    make_folders_above("/x", 0700);
    support::fail_call("mkdir", EEXIST); /* somebody else was quicker */
    EXPECT_NO_THROW(make_folders_above(path("two/x"), 0700));
    try {
        make_folders_above(path("file/two/x"), 0700);
        FAIL();
    } catch (const PathError &error) {
        EXPECT_EQ(error.doing, "make");
        EXPECT_EQ(error.path, path("file/two"));
        EXPECT_EQ(error.error, ENOTDIR);
    }
}

TEST(Paths, TheFolderOfAPathAndBack)
{
    EXPECT_EQ(folder_of("/a/b"), "/a");
    EXPECT_EQ(folder_of("/a"), "/");
    EXPECT_EQ(folder_of("a"), ".");
    EXPECT_EQ(file_name_of("/a/b"), "b");
    EXPECT_EQ(file_name_of("b"), "b");
    EXPECT_EQ(joined("/a", "b"), "/a/b");
    EXPECT_EQ(joined("/", "b"), "/b");
    EXPECT_EQ(config_path(global_name), "/data/config/sys_global.conf.gz");
}
