/* Results where an operator wants them. */
#include "run/output_file.h"

#include "run/child_process.h"
#include "support/appliance_root.h"
#include "system/failure.h"
#include "unit/cli/failing_calls.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace command;
using support::Entry;

namespace {

class OutputFile : public testing::Test {
  protected:
    std::string path(const std::string &name) const
    {
        return box.path().string() + "/" + name;
    }
    size_t count() const /* beside what every root folder has */
    {
        return box.listing().size() - support::ApplianceRoot().listing().size();
    }

    support::ApplianceRoot box;
    Interrupts             interrupts;
};

} // namespace

TEST_F(OutputFile, ANewOneIsItsOwnersAlone)
{
    for (Readers readers : {Readers::owner, Readers::as_before}) {
        write_output(path("x"), "new", readers, interrupts);
        EXPECT_EQ(box.listing()["x"], (Entry{'f', 0600, "new"}));
        EXPECT_EQ(count(), 1u);
        unlink(path("x").c_str());
    }
}

TEST_F(OutputFile, OneThatIsReplacedKeepsItsReadersIfThatIsWanted)
{
    box.write("/x", "old", 0644);
    write_output(path("x"), "new", Readers::as_before, interrupts);
    EXPECT_EQ(box.listing()["x"], (Entry{'f', 0644, "new"}));
    write_output(path("x"), "newer", Readers::owner, interrupts);
    EXPECT_EQ(box.listing()["x"], (Entry{'f', 0600, "newer"}));
    EXPECT_EQ(count(), 1u);
}

TEST_F(OutputFile, OneThatIsReplacedKeepsItsOwnerAndAllRights)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root gives files away";
    box.write("/x", "old");
    ASSERT_EQ(chown(path("x").c_str(), 12345, 54321), 0);
    ASSERT_EQ(chmod(path("x").c_str(), 06751), 0);
    write_output(path("x"), "new", Readers::as_before, interrupts);
    struct stat st = {};
    ASSERT_EQ(stat(path("x").c_str(), &st), 0);
    EXPECT_EQ(st.st_uid, 12345u);
    EXPECT_EQ(st.st_gid, 54321u);
    EXPECT_EQ(st.st_mode & 07777, 06751u);
}

/* Rights that were one user's are not another's. */
TEST_F(OutputFile, OneThatCannotKeepItsOwnerIsItsNewOwnersAlone)
{
    box.write("/x", "old", 0644);
    support::fail_call("fchown", EPERM);
    write_output(path("x"), "new", Readers::as_before, interrupts);
    EXPECT_EQ(box.listing()["x"], (Entry{'f', 0600, "new"}));
}

/* They are known by their names, and nobody holds their lock. */
TEST_F(OutputFile, WhatKilledProcessesLeftGoes)
{
    box.write("/.migr-new-1", "left");
    box.write("/.migr-new-1234567890", "left");
    box.write("/.migr-new-2", "of a living process");
    int living = open(path(".migr-new-2").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(living, LOCK_EX), 0);
    box.write("/.migr-new-3x", "of somebody else");
    box.write("/.migr-new-abc", "of somebody else");
    box.write("/.migr-new-x7", "of somebody else");
    ASSERT_EQ(mkfifo(path(".migr-new-8").c_str(), 0600), 0);
    box.write("/migr-new-4", "of somebody else");
    box.folder("/.migr-new-5");
    box.link("/.migr-new-6", "data");
    support::Listing expected = box.listing();
    expected.erase(".migr-new-1");
    expected.erase(".migr-new-1234567890");
    expected["x"] = {'f', 0600, "new"};
    write_output(path("x"), "new", Readers::owner, interrupts);
    EXPECT_EQ(box.listing(), expected);
    close(living);
}

/* Another process, at work beside, has begun and is not done. */
TEST_F(OutputFile, WhatALivingProcessWritesStays)
{
    support::at_call("fsync", [&] {
        ChildProcess other([&] {
            write_output(path("y"), "another's", Readers::owner, interrupts);
            return 0;
        });
        EXPECT_EQ(other.wait(), 0);
    });
    write_output(path("x"), "new", Readers::owner, interrupts);
    EXPECT_EQ(box.read("/x"), "new");
    EXPECT_EQ(box.read("/y"), "another's");
    EXPECT_EQ(count(), 2u);
}

TEST_F(OutputFile, WhatOthersLeftIsTheirs)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root gives files away";
    box.write("/.migr-new-1", "left");
    ASSERT_EQ(chown(path(".migr-new-1").c_str(), 12345, 12345), 0);
    write_output(path("x"), "new", Readers::owner, interrupts);
    EXPECT_TRUE(box.exists("/.migr-new-1"));
}

TEST_F(OutputFile, ALinkStaysALink)
{
    box.write("/far/x", "old");
    box.link("/x", "far/x");
    box.link("/y", "far/new");
    write_output(path("x"), "new", Readers::owner, interrupts);
    write_output(path("y"), "new", Readers::owner, interrupts);
    EXPECT_EQ(box.listing()["x"].type, 'l');
    EXPECT_EQ(box.read("/far/x"), "new");
    EXPECT_EQ(box.listing()["y"], (Entry{'f', 0600, "new"})); /* it led nowhere */
    EXPECT_FALSE(box.exists("/far/new"));
}

TEST_F(OutputFile, APipeIsWrittenTo)
{
    ASSERT_EQ(mkfifo(path("x").c_str(), 0600), 0);
    int  reader = open(path("x").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    char got[16] = "";
    write_output(path("x"), "new", Readers::as_before, interrupts);
    EXPECT_EQ(read(reader, got, sizeof got - 1), 3);
    close(reader);
    EXPECT_STREQ(got, "new");
    EXPECT_EQ(box.listing()["x"].type, 'o');
    EXPECT_EQ(count(), 1u);
}

TEST_F(OutputFile, AFailureNamesThePathAndLeavesNothing)
{
    box.link("/circle", "circle");
    for (const char *name : {"none/x", "data", "circle"}) {
        try {
            write_output(path(name), "new", Readers::owner, interrupts);
            ADD_FAILURE() << name;
        } catch (const PathError &error) {
            EXPECT_EQ(error.path, path(name));
            EXPECT_EQ(error.doing, "write");
        }
    }
    EXPECT_EQ(count(), 1u); /* the circle */
}
