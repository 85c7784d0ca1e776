/* The folder of a fleet's results: what is put there, taken in from another, and written down of it. */
#include "fleet/results_folder.h"

#include "support/appliance_root.h"
#include "system/failure.h"
#include "unit/cli/command_support.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <sys/file.h>
#include <sys/syscall.h>

using namespace command;

namespace {

using Strings = std::vector<std::string>;

class FleetResults : public testing::Test {
  protected:
    static std::string below(const support::ApplianceRoot &root, const std::string &name)
    {
        return root.path().string() + "/" + name;
    }
    static EntryResult result_of(const std::string &entry)
    {
        EntryResult result;
        result.entry = entry;
        return result;
    }
    Strings entries() const
    {
        Strings all;
        for_each_line(out.lines(), [&](const std::string &line, size_t number) {
            all.push_back(std::to_string(number) + result_in_line(out.lines(), line, number).entry);
        });
        return all;
    }

    support::ApplianceRoot root;
    ResultsFolder          out{below(root, "out")};
};

} // namespace

TEST_F(FleetResults, HaveTheirRooms)
{
    for (const char *room : {"appliances", "ledgers", "answers", "reports", ".fleet"})
        EXPECT_TRUE(std::filesystem::is_directory(below(root, "out/") + room)) << room;
    for (const char *room : {"", "appliances", "ledgers", "answers", "reports", ".fleet"})
        EXPECT_EQ(std::filesystem::status(below(root, "out/") + room).permissions(), std::filesystem::perms::owner_all)
            << room << ": what is in there is nobody else's";
    EXPECT_EQ(out.path(), below(root, "out"));
    EXPECT_EQ(out.work(), below(root, "out/.fleet"));
    EXPECT_EQ(out.lines(), below(root, "out/fleet.jsonl"));
    ResultsFolder again(out.path());
    root.write("/odd/ledgers", "a file");
    EXPECT_THROW(ResultsFolder{below(root, "odd")}, Failure);
    EXPECT_THROW(ResultsFolder{below(root, "none/out")}, Failure);
}

/* Whatever the system has against it. */
TEST_F(FleetResults, SayWhyTheyCannotBeMade)
{
    std::string path = below(root, "new");
    auto        said_without = [&](const std::vector<int> &calls, int error) {
        auto make = [&] {
            try {
                ResultsFolder made(path);
            } catch (const Failure &failure) {
                printf("%s", failure.what());
            }
            return 0;
        };
        return support::run_process(make, [=] { support::refuse_calls(calls, error); }).out;
    };
    EXPECT_TRUE(said_without({SYS_newfstatat, SYS_stat, SYS_statx}, EACCES)
                    .starts_with(path + ": cannot make it: Permission denied. "));
    EXPECT_TRUE(
        said_without({SYS_mkdir, SYS_mkdirat}, EIO).starts_with(path + ": cannot make it: Input/output error. "));
    EXPECT_EQ(said_without({}, 0), "");
}

TEST_F(FleetResults, TakeThePlaceOfWhatStoodThere)
{
    root.write("/out/.fleet/made/file", "new");
    root.write("/out/appliances/box/old", "old");
    out.put(below(root, "out/.fleet/made"), "appliances/box");
    EXPECT_EQ(root.read("/out/appliances/box/file"), "new");
    EXPECT_FALSE(root.exists("/out/appliances/box/old"));
    out.remove("appliances/box");
    EXPECT_FALSE(root.exists("/out/appliances/box"));
    out.remove("appliances/box");
    EXPECT_THROW(out.put(below(root, "none"), "appliances/box"), PathError);
}

TEST_F(FleetResults, AreLinesOneBehindTheOther)
{
    EXPECT_EQ(entries(), Strings());
    out.add_line(result_of("one"));
    out.add_line(result_of("two"));
    EXPECT_EQ(entries(), (Strings{"1one", "2two"}));
}

/* What a killed process left is no line, and the next one takes its place. */
TEST_F(FleetResults, AreWholeLines)
{
    out.add_line(result_of("one"));
    root.write("/out/fleet.jsonl", root.read("/out/fleet.jsonl") + "{\"entry\": \"tw");
    EXPECT_EQ(entries(), Strings{"1one"});
    out.add_line(result_of("three"));
    EXPECT_EQ(entries(), (Strings{"1one", "2three"}));
    root.write("/out/fleet.jsonl", "half a line");
    out.add_line(result_of("four"));
    EXPECT_EQ(entries(), Strings{"1four"});
}

TEST_F(FleetResults, SayWhichLineIsNone)
{
    out.add_line(result_of("one"));
    root.write("/out/fleet.jsonl", root.read("/out/fleet.jsonl") + "odd\n");
    try {
        entries();
        ADD_FAILURE() << "it is taken for a line";
    } catch (const Failure &failure) {
        std::string said = failure.what();
        EXPECT_TRUE(said.starts_with(out.lines() + ":2: This is no line of results: ")) << said;
        EXPECT_TRUE(said.ends_with(". Take the line out, and the appliance is done again with --resume.")) << said;
        EXPECT_EQ(failure.status, Status::unusable);
    }
}

TEST_F(FleetResults, AreTakenInFromAnother)
{
    ResultsFolder other(below(root, "other"));
    for (const char *name : {"here", "new"}) {
        other.add_line(result_of(name));
        root.write(std::string("/other/appliances/") + name, "of the other");
        root.write(std::string("/other/ledgers/") + name + ".json.gz", "of the other");
    }
    root.write("/out/appliances/here", "mine");
    root.write("/out/ledgers/new.json.gz", "old");
    root.write("/out/answers/new.json", "old");
    root.write("/out/reports/new.html", "old");
    size_t taken = out.take_in(other.path(), [](const EntryResult &result) { return result.entry == "here"; });
    EXPECT_EQ(taken, 1u);
    EXPECT_EQ(entries(), Strings{"1new"});
    EXPECT_EQ(root.read("/out/appliances/here"), "mine");
    EXPECT_EQ(root.read("/out/appliances/new"), "of the other");
    EXPECT_EQ(root.read("/out/ledgers/new.json.gz"), "of the other");
    EXPECT_FALSE(root.exists("/out/answers/new.json")) << "the other has none";
    EXPECT_FALSE(root.exists("/out/reports/new.html"));
    EXPECT_TRUE(root.exists("/other/appliances/here"));
}

TEST_F(FleetResults, AreOneFleetsAtATime)
{
    Fd held = out.lock();
    try {
        out.lock();
        ADD_FAILURE() << "two have it";
    } catch (const Failure &failure) {
        EXPECT_EQ(failure.what(), out.path() +
                                      ": another migr fleet, or an appliance of one that was stopped, is still at "
                                      "work there. Wait until it has ended.");
    }
    held = Fd();
    EXPECT_TRUE(out.lock());
}
