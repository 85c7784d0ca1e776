/* Results where an operator wants them. */
#include "run/output_file.h"

#include "support/appliance_root.h"
#include "system/failure.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
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
    for (const char *name : {"none/x", "data"}) {
        try {
            write_output(path(name), "new", Readers::owner, interrupts);
            ADD_FAILURE() << name;
        } catch (const PathError &error) {
            EXPECT_EQ(error.path, path(name));
            EXPECT_EQ(error.doing, "write");
        }
    }
    EXPECT_EQ(count(), 0u);
}
