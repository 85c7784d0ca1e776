/* What is said of wrong usage, of answers that cannot be written, and of failures when a program asks. */
#include "unit/cli/command_support.h"

#include "command.h"

#include "support/image_line.h"

#include "support/json_value.h"
#include "support/places.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <fcntl.h>
#include <unistd.h>

using namespace support;
using support::JsonValue;

TEST(Usage, TellsItsVersion)
{
    Outcome run = migr({"--version"});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.out.starts_with("migr ")) << run.out;
    EXPECT_TRUE(run.out.ends_with(", for images of " MIGR_IMAGE_RELEASE "\n")) << run.out;
}

TEST(Usage, SuggestsTheNearestCommand)
{
    constexpr std::pair<const char *, const char *> words[] = {
        {"upgrad", "upgrade"}, {"rolback", "rollback"}, {"snapshot", "snapshots"}, {"LINT", nullptr}};
    for (const auto &[wrong, meant] : words) {
        Outcome run = migr({wrong, "/"});
        EXPECT_EQ(run.status, 2);
        EXPECT_NE(run.err.find("no command \"" + std::string(wrong) + "\""), std::string::npos) << run.err;
        EXPECT_EQ(run.err.find("Did you mean: migr ") != std::string::npos, meant != nullptr) << run.err;
        if (meant) {
            EXPECT_NE(run.err.find("Did you mean: migr " + std::string(meant) + "."), std::string::npos) << run.err;
        }
    }
}

TEST(Json, AFailureIsTheSameObject)
{
    ApplianceRoot empty;
    for (const char *command : {"upgrade", "rollback", "snapshots"}) {
        Outcome run = migr({command, empty.path().string() + "/none", "--json"});
        EXPECT_EQ(run.status, 2);
        JsonValue answer = JsonValue::parse(run.out);
        EXPECT_EQ(answer["format"], 1);
        EXPECT_EQ(answer["command"], command);
        EXPECT_EQ(answer["status"], 2);
        EXPECT_NE(answer["error"].text().find("/none"), std::string::npos) << run.out;
        EXPECT_EQ(run.err, "");
    }
}

TEST(Json, WrongUsageIsTheSameObject)
{
    const std::pair<std::vector<std::string>, JsonValue> wrong[] = {
        {{"version", "--json"}, "version"},
        {{"plan", "--json", "--no-such-option", "/"}, "plan"},
        {{"ml", "one", "--json"}, "ml"},
        {{"upgrad", "/", "--json"}, nullptr},
        {{"--json"}, nullptr},
    };
    for (const auto &[arguments, command] : wrong) {
        Outcome run = migr(arguments);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.err, "");
        JsonValue answer = JsonValue::parse(run.out);
        EXPECT_EQ(answer["command"], command);
        EXPECT_NE(answer["error"].text().find("See: migr --help"), std::string::npos) << run.out;
    }
    Outcome behind_dashes = migr({"version", "--", "--json"});
    EXPECT_EQ(behind_dashes.out, "");
    EXPECT_NE(behind_dashes.err.find("--json: cannot read it"), std::string::npos) << behind_dashes.err;
}

TEST(Json, TellsWhatAPersonWouldHaveBeenTold)
{
    TinyAppliance box;
    JsonValue     messages = JsonValue::parse(migr({"upgrade", box.root(), "--dry-run", "--json"}).out)["messages"];
    ASSERT_EQ(messages.size(), 2U) << messages;
    EXPECT_EQ(messages[0], "sys_global.conf.gz: will be upgraded from 5.50 to " MIGR_IMAGE_RELEASE);
    migr({"upgrade", box.root()});
    JsonValue pruned = JsonValue::parse(migr({"snapshots", box.root(), "--prune", "0", "--json"}).out);
    EXPECT_EQ(pruned["snapshots"], JsonValue::array());
    ASSERT_EQ(pruned["messages"].size(), 1U) << pruned;
    EXPECT_TRUE(pruned["messages"][0].text().starts_with("removed ")) << pruned;
}

TEST(Json, OfAnUpgradeASnapshotAndTheWayBack)
{
    TinyAppliance box;
    JsonValue     upgraded = JsonValue::parse(migr({"upgrade", box.root(), "--json"}).out);
    EXPECT_EQ(upgraded["status"], 0);
    EXPECT_EQ(upgraded["error"], nullptr);
    EXPECT_EQ(upgraded["changed"], true);
    EXPECT_EQ(upgraded["files"][0]["result"], "upgraded");
    JsonValue listed = JsonValue::parse(migr({"snapshots", box.root(), "--json"}).out);
    ASSERT_EQ(listed["snapshots"].size(), 1U);
    EXPECT_EQ(listed["snapshots"][0]["path"], upgraded["snapshot"]);
    EXPECT_EQ(listed["snapshots"][0]["from"], "5.50");
    EXPECT_EQ(listed["snapshots"][0]["trouble"], nullptr);
    box.write("/data/etc/cert/later.key", "of a person");
    Outcome asked = migr({"rollback", box.root(), "--json"});
    EXPECT_EQ(asked.status, 2);
    EXPECT_EQ(JsonValue::parse(asked.out)["details"].size(), 2U) << asked.out;
    JsonValue back = JsonValue::parse(migr({"rollback", box.root(), "--json", "--yes"}).out);
    EXPECT_EQ(back["status"], 0);
    EXPECT_EQ(back["release"], "5.50");
    EXPECT_EQ(back["undone"], JsonValue::array({listed["snapshots"][0]["name"]}));
    EXPECT_EQ(box.read("/data/etc/cert/later.key"), "of a person");
}

namespace {

void to_full_disk()
{
    dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO);
}

constexpr char not_complete[] = "migr: standard output: cannot write all of it, so the answer is not complete.\n";

} // namespace

TEST(Output, ThatCannotBeWrittenIsAFailure)
{
    TinyAppliance box;
    for (const std::vector<std::string> &arguments : {std::vector<std::string>{"snapshots", box.root()},
                                                      {"snapshots", box.root(), "--json"},
                                                      {"--version"},
                                                      {"--help"},
                                                      {"upgrade", "--help"},
                                                      {"fleet", "--help"},
                                                      {"odd", "--json"},
                                                      {"upgrade", "--odd", "--json"}}) {
        Outcome run = migr(arguments, to_full_disk);
        EXPECT_EQ(run.status, 3) << arguments.back();
        EXPECT_EQ(run.err, not_complete) << arguments.back();
    }
    EXPECT_EQ(migr({"--version"}).status, 0);
}

/* The status is that of what was done. */
TEST(Output, ThatCannotBeWrittenUndoesNothing)
{
    TinyAppliance box;
    ApplianceRoot out;
    box.write_gzip("/old.conf.gz", headers("5.50") + "config system global\nend\n");
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{"upgrade", box.root(), "--json"},
          {"rollback", box.root(), "--json", "--yes"},
          {"convert", "--image", build_path("/image"), box.root() + "/old.conf.gz", "--as", "global", "-o",
           out.path() / "new.conf", "--json"}}) {
        Outcome run = migr(arguments, to_full_disk);
        EXPECT_EQ(run.status, 0) << arguments[0];
        EXPECT_EQ(run.err, not_complete) << arguments[0];
    }
    EXPECT_EQ(box.snapshots().size(), 2U);
    EXPECT_EQ(out.read("/new.conf").substr(0, 27), "#config-version=QA-A1X-" MIGR_IMAGE_RELEASE);
}

TEST(Process, SaysThatItHasNoMemoryToBegin)
{
    if (is_sanitized())
        GTEST_SKIP() << "a sanitizer's allocator does not come back";
    Outcome run = run_process(
        [] {
            const char *arguments[] = {"migr", "version", "/none"};
            return command::run_command(3, arguments);
        },
        use_up_memory);
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.err, "migr: There is not enough memory to begin, or to tell what was done.\n");
}

/* What cannot be read for want of memory may be called by other names. */
TEST(Process, NamesMemoryThatWasRefusedAheadOfAFailure)
{
    if (is_sanitized())
        GTEST_SKIP() << "a sanitizer's allocator does not come back";
    for (const char *command : {"snapshots", "lint"}) {
        Outcome run = migr({command, "/none"}, be_refused_memory);
        EXPECT_EQ(run.status, 2) << command;
        EXPECT_TRUE(run.err.starts_with("migr: /none: cannot ")) << run.err;
        EXPECT_TRUE(run.err.ends_with(" Memory was refused (Cannot allocate memory), which is the likely cause.\n"))
            << run.err;
    }
}

TEST(Process, LeavesNoCore)
{
    Outcome run = run_process([] {
        command::prepare_process();
        rlimit core = {1, 1};
        getrlimit(RLIMIT_CORE, &core);
        return static_cast<int>(core.rlim_cur + core.rlim_max);
    });
    EXPECT_EQ(run.status, 0);
}
