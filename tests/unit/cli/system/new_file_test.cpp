/* Files that take their place in one step. */
#include "system/new_file.h"

#include "support/appliance_root.h"
#include "system/failure.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace command;

namespace {

class NewFiles : public testing::Test {
  protected:
    std::string path(const std::string &name = "x") const
    {
        return box.path().string() + "/" + name;
    }
    support::Listing only_in_place() const
    {
        support::Listing listing = support::ApplianceRoot().listing();
        listing["x"] = {'f', 0600, "new"};
        return listing;
    }

    support::ApplianceRoot box;
};

} // namespace

TEST_F(NewFiles, NothingIsInPlaceBeforeItIsPublished)
{
    box.write("/x", "old", 0644);
    NewFile file(path());
    file.write("ne");
    file.write("w");
    file.sync();
    EXPECT_EQ(box.read("/x"), "old");
    file.publish();
    EXPECT_EQ(box.listing(), only_in_place());
}

TEST_F(NewFiles, OneThatIsNotPublishedLeavesNothing)
{
    support::Listing before = box.listing();
    {
        NewFile file(path());
        file.write("new");
        EXPECT_NE(box.listing(), before);
    }
    EXPECT_EQ(box.listing(), before);
}

/* Somebody else may be at work there by then. */
TEST_F(NewFiles, OneThatIsPublishedHasNothingBesideAnyMore)
{
    {
        NewFile file(path(), path("beside"));
        file.publish();
        box.write("/beside", "another's");
    }
    EXPECT_EQ(box.read("/beside"), "another's");
}

TEST_F(NewFiles, WhatAKilledRunLeftGoes)
{
    box.write("/" + beside("x").substr(2), "left by a killed run", 0666);
    NewFile file(path());
    file.write("new");
    file.publish();
    EXPECT_EQ(box.listing(), only_in_place());
}

TEST_F(NewFiles, ALinkThatStandsBesideIsNotWrittenThrough)
{
    box.write("/victim", "safe");
    box.link("/" + beside("x").substr(2), "victim");
    NewFile file(path());
    file.write("new");
    file.publish();
    EXPECT_EQ(box.read("/victim"), "safe");
    EXPECT_EQ(box.read("/x"), "new");
}

TEST_F(NewFiles, AnotherNameBesideIsTheMakersChoice)
{
    NewFile file(path(), path("mine"));
    EXPECT_TRUE(box.exists("/mine"));
    NewFile other(path(), path("other"));
    file.write("new");
    other.write("another");
    other.publish();
    file.publish();
    EXPECT_EQ(box.listing(), only_in_place());
}

TEST_F(NewFiles, AFailureNamesThePlaceAndLeavesTheOldFile)
{
    box.folder("/full");
    EXPECT_THROW(NewFile(path("none/x")), PathError);
    NewFile file(path("full")); /* a folder stands there */
    try {
        file.publish();
        FAIL();
    } catch (const PathError &error) {
        EXPECT_EQ(error.path, path("full"));
        EXPECT_EQ(error.doing, "write");
        EXPECT_EQ(error.error, EISDIR);
    }
}

TEST(Beside, IsTheSameForAPathAndAnotherForEachName)
{
    EXPECT_EQ(beside("/a/x"), beside("/a/x"));
    EXPECT_NE(beside("/a/x"), beside("/a/y"));
    EXPECT_EQ(beside("/a/x").rfind("/a/.migr-new-", 0), 0U);
    EXPECT_EQ(beside("/x").rfind("/.migr-new-", 0), 0U);
    EXPECT_EQ(beside("x").rfind("./.migr-new-", 0), 0U);
}

TEST_F(NewFiles, ALongNameHasAPlaceBeside)
{
    std::string name(255, 'n');
    NewFile     file(path(name));
    file.write("new");
    file.publish();
    EXPECT_EQ(box.read("/" + name), "new");
}
