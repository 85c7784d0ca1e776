/* What `migr rollback` and `migr snapshots` ask, tell and answer, line by line. How the way back is worked out is
 * tested in appliance/way_back_test.cpp. */
#include "support/json_value.h"
#include "support/patterns.h"
#include "unit/cli/command_support.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

using support::JsonValue;
using support::migr;
using support::Outcome;

namespace {

/* An appliance that was upgraded. */
class RollbackCommand : public testing::Test {
  protected:
    RollbackCommand()
    {
        Outcome run = migr({"upgrade", box.root()});
        EXPECT_EQ(run.status, 0) << run.all();
        first = box.snapshots().at(0);
    }
    std::string path_of(const std::string &snapshot) const
    {
        return box.root() + "/var/lib/migr/snapshots/" + snapshot;
    }
    std::string since() const
    {
        return "Since then, these have changed or come:\n"
               "  changed: " +
               box.root() +
               "/data/config/sys_global.conf.gz, and going back replaces it\n"
               "  new: " +
               box.root() + "/data/etc/cert, and stays as it is now\n" + "  new: " + box.root() +
               "/data/etc/cert/later.key, and stays as it is now\n";
    }
    void change() const
    {
        box.config("sys_global.conf.gz", MIGR_IMAGE_RELEASE, "config of a person\nend\n");
        box.write("/data/etc/cert/later.key", "of a person");
    }

    support::TinyAppliance box;
    std::string            first;
};

} // namespace

TEST_F(RollbackCommand, SayWhereTheyAreAndHowToUndoIt)
{
    Outcome run = migr({"rollback", box.root()});
    EXPECT_EQ(run.status, 0);
    ASSERT_EQ(box.snapshots().size(), 2u);
    EXPECT_EQ(run.out, box.root() + ": back at 5.50, as it was before the snapshot " + path_of(first) +
                           ".\nTo undo this:  migr rollback " + box.root() + " " + box.snapshots()[1] + "\n");
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(migr({"rollback", box.root(), path_of(box.snapshots()[1])}).status, 0);
    EXPECT_TRUE(box.read_gzip("/data/config/sys_global.conf.gz").find("-" MIGR_IMAGE_RELEASE "-") != std::string::npos);
}

TEST_F(RollbackCommand, DoNothingUnaskedWhereSomethingChanged)
{
    change();
    Outcome run = migr({"rollback", box.root()}, support::with_input("yes\n"));
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, since());
    EXPECT_EQ(
        run.err,
        "migr: Nothing was changed. Say --yes to go back all the same; what is replaced is kept in a snapshot.\n");
    EXPECT_EQ(box.snapshots().size(), 1u);
    run = migr({"rollback", box.root(), "--yes"});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.out.starts_with(since() + box.root() + ": back at 5.50, as it was before ")) << run.out;
}

TEST_F(RollbackCommand, AskWhoeverSitsThere)
{
    change();
    std::string question = "Go back all the same? What is replaced is kept in a snapshot. [y/N] ";
    for (const char *no : {"\n", "n\n", "nay\n"}) {
        Outcome run = migr({"rollback", box.root()}, support::person_who_says(no));
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.out, since() + question + "Nothing was changed.\n");
        EXPECT_EQ(box.snapshots().size(), 1u);
    }
    Outcome run = migr({"rollback", box.root()}, support::person_who_says("y\n"));
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.out.starts_with(since() + question + box.root() + ": back at 5.50")) << run.out;
}

TEST_F(RollbackCommand, TellAProgramTheSame)
{
    change();
    Outcome asked = migr({"rollback", box.root(), "--json"});
    EXPECT_EQ(asked.status, 2);
    JsonValue answer = JsonValue::parse(asked.out);
    EXPECT_EQ(answer["error"],
              "Nothing was changed. Something changed or came since; say --yes to go back all the same.");
    JsonValue told = {"changed: " + box.root() + "/data/config/sys_global.conf.gz, and going back replaces it",
                      "new: " + box.root() + "/data/etc/cert, and stays as it is now",
                      "new: " + box.root() + "/data/etc/cert/later.key, and stays as it is now"};
    EXPECT_EQ(answer["details"], told);
    answer = JsonValue::parse(migr({"rollback", box.root(), "--json", "--yes"}).out);
    EXPECT_EQ(answer["command"], "rollback");
    EXPECT_EQ(answer["root"], box.root());
    EXPECT_EQ(answer["release"], "5.50");
    EXPECT_EQ(answer["undone"], JsonValue::array({first}));
    EXPECT_EQ(answer["snapshot"], path_of(box.snapshots().at(1)));
    EXPECT_EQ(answer["since"], told);
}

TEST_F(RollbackCommand, NeedASnapshotThatThereIs)
{
    Outcome run = migr({"rollback", box.root(), ""});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err,
              "migr: The name of the snapshot is empty. See which there are: migr snapshots " + box.root() + "\n");
    EXPECT_EQ(migr({"rollback", box.root(), "none"}).status, 2);
    EXPECT_EQ(box.snapshots().size(), 1u);
}

/* It is done by then, so its exit status is that of what was done. */
TEST_F(RollbackCommand, AreDoneWhenNobodyCanBeTold)
{
    Outcome run = migr({"rollback", box.root(), "--json"}, [] { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); });
    EXPECT_EQ(box.snapshots().size(), 2u);
    EXPECT_TRUE(box.read_gzip("/data/config/sys_global.conf.gz").find("-5.50-") != std::string::npos) << run.err;
}

TEST_F(RollbackCommand, ListWhatThereIs)
{
    migr({"rollback", box.root()});
    std::string second = box.snapshots().at(1);
    Outcome     run = migr({"snapshots", box.root()});
    EXPECT_EQ(run.status, 0);
    std::string rows = "SNAPSHOT                 BEFORE    FROM  TO    FILES +SIZE  STATE\n" + first +
                       "  upgrade   5.50  " MIGR_IMAGE_RELEASE " +\\d+ +[0-9.]+ \\w+  sound\n" + second +
                       "  rollback  " MIGR_IMAGE_RELEASE "  5.50 +\\d+ +[0-9.]+ \\w+  sound\n";
    EXPECT_TRUE(support::matches(run.out, rows)) << run.out;
    JsonValue list = JsonValue::parse(migr({"snapshots", box.root(), "--json"}).out);
    EXPECT_EQ(list["root"], box.root());
    ASSERT_EQ(list["snapshots"].size(), 2u);
    const JsonValue &one = list["snapshots"][1];
    EXPECT_EQ(one["name"], second);
    EXPECT_EQ(one["path"], path_of(second));
    EXPECT_EQ(one["before"], "rollback");
    EXPECT_EQ(one["from"], MIGR_IMAGE_RELEASE);
    EXPECT_EQ(one["to"], "5.50");
    EXPECT_GT(one["files"].number(), 0u);
    EXPECT_GT(one["bytes"].number(), one["files"].number());
    EXPECT_EQ(one["trouble"], nullptr);
}

TEST_F(RollbackCommand, SayWhichCannotBeUsed)
{
    for (const auto &file : std::filesystem::recursive_directory_iterator(path_of(first)))
        if (file.is_regular_file() && file.path().extension() == ".gz")
            std::filesystem::resize_file(file.path(), 3);
    Outcome run = migr({"snapshots", box.root()});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out.find("sound"), std::string::npos) << run.out;
    JsonValue list = JsonValue::parse(migr({"snapshots", box.root(), "--json"}).out);
    EXPECT_EQ(list["status"], 1);
    EXPECT_TRUE(list["snapshots"][0]["trouble"].is_text()) << list;
    EXPECT_NE(run.out.find(list["snapshots"][0]["trouble"].text()), std::string::npos) << run.out;
}

TEST_F(RollbackCommand, RemoveTheOldest)
{
    migr({"rollback", box.root()});
    std::string second = box.snapshots().at(1);
    EXPECT_EQ(migr({"snapshots", box.root(), "--prune", "2"}).out.find("removed"), std::string::npos);
    Outcome run = migr({"snapshots", box.root(), "--prune", "1"});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.out.starts_with("removed " + path_of(first) + "\nSNAPSHOT ")) << run.out;
    EXPECT_EQ(box.snapshots(), std::vector<std::string>{second});
    run = migr({"snapshots", box.root(), "--prune", "0"});
    EXPECT_EQ(run.out, "removed " + path_of(second) + "\n" + box.root() + " has no snapshots.\n");
}
