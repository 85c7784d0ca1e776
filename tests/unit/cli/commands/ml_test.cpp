/* migr ml */
#include "unit/cli/command_support.h"

#include "command.h"
#include "support/json_value.h"
#include "support/places.h"

#include <algorithm>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace support;
using support::JsonValue;

namespace {

constexpr char old_line[] = "#config-version=QA-A1X-6.19-CV-build0601-170328:x\n";
constexpr char new_line[] = "#config-version=QA-A1X-" IMAGE_VERSION ":x\n";
constexpr char tree[] = "config waf machine-learning-policy\n    edit \"1\"\n        set a 1\n    next\nend\n";

class Ml : public testing::Test {
  protected:
    Outcome run(const std::string &input, const std::string &output, const Ahead &ahead = {}) const
    {
        return migr({"ml", path(input), path(output)}, ahead);
    }
    std::string path(const std::string &name) const
    {
        return box.path().string() + "/" + name;
    }
    void expect_untouched(const Outcome &outcome, int status, const Listing &before, const std::string &reason) const
    {
        EXPECT_EQ(outcome.status, status) << outcome.all();
        EXPECT_NE(outcome.all().find(reason), std::string::npos) << outcome.all();
        EXPECT_EQ(box.listing(), before);
    }

    ApplianceRoot box;
};

} // namespace

TEST_F(Ml, WritesTheUpgradedFile)
{
    box.write("/in", std::string(old_line) + tree, 0644);
    Outcome outcome = run("in", "out");
    EXPECT_EQ(outcome.status, 0) << outcome.all();
    EXPECT_EQ(outcome.out, path("in") + ": upgraded from 6.19 to " MIGR_IMAGE_RELEASE ", in " + path("out") + "\n");
    EXPECT_EQ(box.read("/out"), std::string(new_line) + tree);
    EXPECT_EQ(box.read("/in"), std::string(old_line) + tree);
    EXPECT_EQ(box.listing()["out"].mode, 0600U);
    EXPECT_EQ(box.listing().size(), ApplianceRoot().listing().size() + 2); /* nothing beside it stays */
}

/* The library removes what may lie in the result's place, and does not ask whether it could. */
TEST_F(Ml, LacksNothing)
{
    if (is_sanitized())
        GTEST_SKIP() << "its own forms of these calls stand there";
    box.write("/in", std::string(old_line) + tree);
    Listing before = box.listing();
    Outcome outcome = run("in", "out", [] { refuse_calls({SYS_unlink}, EIO); });
    expect_untouched(outcome, 3, before, "The upgrade did not get all that it asked the system for");
    expect_untouched(outcome, 3, before, "Input/output error. Nothing was changed. Look after the disk");
}

TEST_F(Ml, InputMayBeOutput)
{
    box.write("/in", std::string(old_line) + tree, 0640);
    EXPECT_EQ(run("in", "in").status, 0);
    EXPECT_EQ(box.listing()["in"], (Entry{'f', 0640, std::string(new_line) + tree}));
}

TEST_F(Ml, ALinkAsOutputStaysALink)
{
    box.write("/in", std::string(old_line) + tree);
    box.write("/real", "old");
    box.link("/out", "real");
    EXPECT_EQ(run("in", "out").status, 0);
    EXPECT_EQ(box.read("/real"), std::string(new_line) + tree);
    EXPECT_EQ(box.listing()["out"].type, 'l');
}

TEST_F(Ml, APipeAsOutputStaysAPipe)
{
    box.write("/in", std::string(old_line) + tree);
    ASSERT_EQ(mkfifo(path("out").c_str(), 0600), 0);
    int         reader = open(path("out").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    Outcome     outcome = run("in", "out");
    std::string got(4096, '\0');
    ssize_t     length = read(reader, got.data(), got.size());
    close(reader);
    EXPECT_EQ(outcome.status, 0) << outcome.all();
    EXPECT_EQ(got.substr(0, static_cast<size_t>(std::max<ssize_t>(length, 0))), std::string(new_line) + tree);
    EXPECT_EQ(box.listing()["out"].type, 'o');
}

TEST_F(Ml, RelativePaths)
{
    box.write("/in", std::string(old_line) + tree);
    Outcome outcome = run_process([&] {
        if (chdir(box.path().c_str()) != 0)
            return 1;
        const char *arguments[] = {"migr", "ml", "in", "out"};
        return command::run_command(4, arguments);
    });
    EXPECT_EQ(outcome.status, 0) << outcome.all();
    EXPECT_EQ(box.read("/out"), std::string(new_line) + tree);
}

TEST_F(Ml, ABadInputLosesNothing)
{
    box.write("/out", "old");
    box.write("/in", std::string(old_line) + "config a\n    set b\nend\n");
    Listing before = box.listing();
    expect_untouched(run("in", "out"), 1, before, "line 3: is a `set` without a value");
    expect_untouched(run("in", "in"), 1, before, "line 3: is a `set` without a value");
}

TEST_F(Ml, NoVersion)
{
    box.write("/out", "old");
    box.write("/in", tree);
    expect_untouched(run("in", "out"), 1, box.listing(), "It has no version line");
}

TEST_F(Ml, NotOlderThanTheImage)
{
    box.write("/out", "old");
    box.write("/in", std::string(new_line) + tree);
    expect_untouched(run("in", "out"), 0, box.listing(), "is at " MIGR_IMAGE_RELEASE " already. Nothing to do.");
}

TEST_F(Ml, NewerThanTheImage)
{
    box.write("/out", "old");
    box.write("/in", "#config-version=QA-A1X-99.30-CV-build0601-170328:x\n" + std::string(tree));
    expect_untouched(run("in", "out"), 1, box.listing(),
                     "is at 99.30, and the image at " MIGR_IMAGE_RELEASE ". Nothing was done.");
}

TEST_F(Ml, AnAppliancesConfigurationIsNone)
{
    box.write("/out", "old");
    box.write("/in", headers("5.50") + "config system global\n    set hostname box\nend\n");
    expect_untouched(run("in", "out"), 1, box.listing(), "It is an appliance's configuration");
}

TEST_F(Ml, FromAPipe)
{
    box.write("/in", std::string(old_line) + tree);
    Outcome outcome = migr({"ml", "-", path("out")}, [&] { dup2(open(path("in").c_str(), O_RDONLY), STDIN_FILENO); });
    EXPECT_EQ(outcome.status, 0) << outcome.all();
    EXPECT_EQ(box.read("/out"), std::string(new_line) + tree);
}

TEST_F(Ml, TellsAProgram)
{
    box.write("/in", std::string(old_line) + tree);
    Outcome outcome = migr({"ml", path("in"), path("out"), "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.all();
    JsonValue answer = JsonValue::parse(outcome.out);
    EXPECT_EQ(answer["before"], "6.19");
    EXPECT_EQ(answer["after"], MIGR_IMAGE_RELEASE);
    EXPECT_EQ(answer["result"], "upgraded");
    EXPECT_EQ(answer["output"], path("out"));
    box.write("/bad", std::string(old_line) + "config a\n    set b\nend\n");
    JsonValue failure = JsonValue::parse(migr({"ml", path("bad"), path("out"), "--json"}).out);
    EXPECT_EQ(failure["status"], 1);
    EXPECT_EQ(failure["details"], JsonValue::array({path("bad") + ": line 3: is a `set` without a value, with which no "
                                                                  "upgrade starts."}));
}

TEST_F(Ml, APackedInput)
{
    box.write_gzip("/in", std::string(old_line) + tree);
    expect_untouched(run("in", "out"), 1, box.listing(), "is a gzip file");
}

TEST_F(Ml, NoInput)
{
    expect_untouched(run("none", "out"), 2, box.listing(), "/none: cannot read it: No such file or directory");
}

TEST_F(Ml, NoFolderForTheOutput)
{
    box.write("/in", std::string(old_line) + tree);
    expect_untouched(run("in", "none/out"), 3, box.listing(), "/none/out is as it was.");
}

TEST_F(Ml, AFullDisk)
{
    box.write("/out", "old");
    auto with_little_room = [] {
        rlimit limit = {20'000, 20'000};
        setrlimit(RLIMIT_FSIZE, &limit);
    };
    std::string grows; /* its lines are indented in the result */
    while (grows.size() < 19'000)
        grows += "set a" + std::to_string(grows.size()) + " 1\n";
    box.write("/in", std::string(old_line) + "config a\n" + grows + "end\n");
    expect_untouched(run("in", "out", with_little_room), 3, box.listing(), "The result could not be written.");
    box.write("/in", std::string(old_line) + "config a\n    set b " + std::string(40'000, 'x') + "\nend\n");
    expect_untouched(run("in", "out", with_little_room), 3, box.listing(), "cannot write it: File too large.");
    EXPECT_EQ(box.read("/out"), "old");
}
