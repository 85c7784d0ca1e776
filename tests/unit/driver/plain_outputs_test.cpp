/* The roads that end in a plain text: header lines, versions, and outputs that cannot be written. */
#include "driver/migr.h"
#include "mechanisms.h"
#include "support/appliance_root.h"
#include "support/image_line.h"
#include "support/trees.h"

#include <csignal>
#include <cstring>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace support;
using mechanisms::script;

namespace {

constexpr char line_540[] = "#config-version=QA-A1X-5.40-CV-build0100-140101:opmode=0\n";
constexpr char line_image[] = "#config-version=QA-A1X-" IMAGE_VERSION ":opmode=0\n";

class MachineLearning : public testing::Test {
  protected:
    void TearDown() override
    {
        script = {};
    }

    /* What the upgrade of /in to /out gives, and in `calls` the mechanisms that ran. */
    int32_t upgrade(const std::string &input)
    {
        appliance.write("/in", input);
        script.scripted = true;
        int32_t     result = 0;
        ChildResult child = run_in_root(appliance.path(), [] {
            memset(static_cast<void *>(&migr_main), 0x5a, sizeof migr_main);
            printf("%d", migr_machine_learning_upgrade("/in", "/out"));
            EXPECT_STREQ(migr_main.second_line, "");
            EXPECT_EQ(migr_main.update_list.next, nullptr);
            fputs(mechanisms::calls().c_str(), stderr);
            return 0;
        });
        EXPECT_EQ(child.exit_code, 0) << child.out << child.err;
        EXPECT_EQ(sscanf(child.out.c_str(), "%d", &result), 1);
        calls = child.err;
        EXPECT_EQ(appliance.read("/in"), input);
        EXPECT_FALSE(appliance.exists("/tmp/system1.conf"));
        return result;
    }

    ApplianceRoot appliance;
    std::string   calls;
};

TEST_F(MachineLearning, WritesOneHeaderLineAndTheTree)
{
    appliance.write("/out", "old text that is longer than what replaces it, by more than a line or two, or even three");
    EXPECT_EQ(upgrade(std::string(line_540) + "#conf_file_ver=17\nconfig waf ml\nedit 1\nset x 1\nnext\nend\n"), 0);
    EXPECT_EQ(appliance.read("/out"),
              std::string(line_image) + "config waf ml\n    edit 1\n        set x 1\n    next\nend\n");
    EXPECT_EQ(calls, "walk 5.40 to " MIGR_IMAGE_RELEASE " mode 2 \"\"\n")
        << "no update file, step, rule or reconciliation";
}

TEST_F(MachineLearning, NeedsNoSecondLine)
{
    EXPECT_EQ(upgrade(line_540), 0);
    EXPECT_EQ(appliance.read("/out"), line_image);
}

TEST_F(MachineLearning, FromBefore510TheLineSays510)
{
    EXPECT_EQ(upgrade("#config-version=QA-A1X-5.9-CV-build0100-140101:r\nconfig a\nend\n"), 0);
    EXPECT_EQ(appliance.read("/out"), "#config-version=QA-A1X-5.10" IMAGE_STAMP ":r\nconfig a\nend\n");
}

TEST_F(MachineLearning, WithoutAVersionTheOutputStays)
{
    appliance.write("/out", "kept");
    EXPECT_EQ(upgrade("config a\nend\n"), -1);
    EXPECT_EQ(upgrade(""), -1);
    EXPECT_EQ(appliance.read("/out"), "kept");
    EXPECT_EQ(calls, "");
}

TEST_F(MachineLearning, AtTheImagesVersionOrNewerTheOutputStays)
{
    appliance.write("/out", "kept");
    EXPECT_EQ(upgrade(std::string(line_image) + "config a\nend\n"), -2);
    EXPECT_EQ(upgrade("#config-version=QA-A1X-7.0-CV-build0100-140101:r\nconfig a\nend\n"), -2);
    EXPECT_EQ(appliance.read("/out"), "kept");
    EXPECT_EQ(calls, "");
}

TEST_F(MachineLearning, AnInputThatIsNotThereHasNoVersion)
{
    ChildResult child =
        run_in_root(appliance.path(), [] { return migr_machine_learning_upgrade("/nothing", "/out") == -1 ? 0 : 1; });
    EXPECT_EQ(child.exit_code, 0);
    EXPECT_FALSE(appliance.exists("/out"));
}

TEST_F(MachineLearning, AnOutputThatCannotBeOpened)
{
    appliance.folder("/out");
    EXPECT_EQ(upgrade(line_540), -3);
    EXPECT_EQ(calls, "");
}

TEST_F(MachineLearning, ALinkAtTheOutputIsReplaced)
{
    appliance.write("/target", "kept");
    appliance.link("/out", "target");
    EXPECT_EQ(upgrade(line_540), 0);
    EXPECT_EQ(appliance.read("/target"), "kept");
    EXPECT_EQ(appliance.listing().at("out"), (Entry{'f', 0600, line_image}));
}

TEST_F(MachineLearning, AFailedParseLeavesAPartAndThatIsWritten)
{
    EXPECT_EQ(upgrade(std::string(line_540) + "config a\nset x 1\nset name\nset y 1\nend\nconfig b\nend\n"), 0);
    EXPECT_EQ(appliance.read("/out"), std::string(line_image) + "config a\n    set x 1\nend\n");
}

TEST_F(MachineLearning, AnOutputThatWasNotWrittenWholeGoes)
{
    appliance.write("/in", std::string(line_540) + "config a\n" + times(10000, "set x 1\n") + "end\n");
    script.scripted = true;
    ChildResult child = run_in_root(appliance.path(), [] {
        signal(SIGXFSZ, SIG_IGN);
        rlimit full = {50000, RLIM_INFINITY};
        setrlimit(RLIMIT_FSIZE, &full);
        return migr_machine_learning_upgrade("/in", "/out") == -3 ? 0 : 1;
    });
    EXPECT_EQ(child.exit_code, 0) << child.err;
    EXPECT_FALSE(appliance.exists("/out"));
}

/* In the machine's own root folder, for its /dev; as a user who may not unlink anything there. */
int upgrade_to_standard_output(const char *input, const std::string &expected)
{
    int pipe_ends[2];
    if ((geteuid() == 0 && (setgid(1234) != 0 || setuid(1234) != 0)) || pipe(pipe_ends) != 0)
        return 2;
    if (dup2(pipe_ends[1], STDOUT_FILENO) < 0)
        return 2;
    int32_t     result = migr_machine_learning_upgrade(input, "/dev/stdout");
    std::string text(expected.size() + 1, '\0');
    ssize_t     got = result == 0 ? read(pipe_ends[0], text.data(), text.size()) : 0;
    text.resize(got < 0 ? 0 : static_cast<size_t>(got));
    return result == 0 && text == expected ? 0 : 1;
}

TEST_F(MachineLearning, TheOutputMayBeStandardOutput)
{
    TextFile input(std::string(line_540) + "config a\nset x 1\nend\n");
    ASSERT_EQ(chmod(input.path(), 0644), 0);
    script.scripted = true;
    pid_t child = fork();
    if (child == 0)
        _exit(upgrade_to_standard_output(input.path(), std::string(line_image) + "config a\n    set x 1\nend\n"));
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(MachineLearning, AnOldOutputInAFolderOfSomebodyElseIsWrittenOver)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    appliance.write("/in", std::string(line_540) + "config a\nend\n");
    appliance.write("/folder/out",
                    "old text that is longer than what replaces it, by more than a line or two, or three");
    for (const char *path : {"", "folder"})
        chmod((appliance.path() / path).c_str(), 0755);
    for (const char *path : {"in", "folder/out"})
        chmod((appliance.path() / path).c_str(), 0666);
    script.scripted = true;
    ChildResult child = run_in_root(appliance.path(), [] {
        int32_t result = seteuid(1234) == 0 ? migr_machine_learning_upgrade("/in", "/folder/out") : 1;
        return seteuid(0) == 0 ? result : 1;
    });
    EXPECT_EQ(child.exit_code, 0) << child.err;
    EXPECT_EQ(appliance.read("/folder/out"), std::string(line_image) + "config a\nend\n");
}

TEST_F(MachineLearning, InputAndOutputMayBeOneFile)
{
    appliance.write("/in", std::string(line_540) + "config a\nend\n");
    script.scripted = true;
    ChildResult child = run_in_root(appliance.path(), [] { return migr_machine_learning_upgrade("/in", "/in"); });
    EXPECT_EQ(child.exit_code, 0);
    /* The input goes before it is parsed, so only the line is left. */
    EXPECT_EQ(appliance.read("/in"), line_image);
}

/* What a host writes by itself. */

const size_t bare_folders = ApplianceRoot().listing().size();

constexpr char headers[] = "#config-version=first line\n#conf_file_ver=123\n";

void fill_context(const char *text)
{
    ASSERT_EQ(parse(text), 0);
    strcpy(migr_main.first_line, "#config-version=first line\n");
    strcpy(migr_main.second_line, "#conf_file_ver=123\n");
}

int32_t write_gui(const std::string &path, const char *text)
{
    fill_context(text);
    return new_config_file_GUI(path.c_str());
}

TEST(NewConfigFileGui, WritesAPlainFileAndKeepsTheTree)
{
    ApplianceRoot appliance;
    std::string   path = (appliance.path() / "out.conf").string();
    appliance.write("/out.conf", "something longer than what comes, by a good deal, so that a cut would show"
                                 "something longer than what comes, by a good deal, so that a cut would show");
    ASSERT_EQ(write_gui(path, "config a b\nset x 1\nend\n"), 0);
    std::string text = std::string(headers) + "config a b\n    set x 1\nend\n";
    EXPECT_EQ(appliance.read("/out.conf"), text);
    EXPECT_EQ(appliance.listing().size(), bare_folders + 1);
    EXPECT_EQ(dump(migr_main.root), "top a b\n  set x=1\n");
    ASSERT_EQ(new_config_file_GUI(path.c_str()), 0); /* the same again */
    EXPECT_EQ(appliance.read("/out.conf"), text);
    migr_release_nodes();
    migr_main.root = {};
}

TEST(NewConfigFileGui, ReplacesALinkAndNotItsTarget)
{
    ApplianceRoot appliance;
    appliance.write("/target", "kept");
    appliance.link("/out.conf", "target");
    ASSERT_EQ(write_gui((appliance.path() / "out.conf").string(), ""), 0);
    EXPECT_EQ(appliance.read("/target"), "kept");
    EXPECT_EQ(appliance.listing().at("out.conf"), (Entry{'f', 0600, headers}));
}

TEST(NewConfigFileGui, WritesOverAFileThatItMayNotUnlink)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    ApplianceRoot appliance;
    appliance.write("/folder/out.conf", "old text", 0666);
    for (const char *folder : {"", "folder"})
        chmod((appliance.path() / folder).c_str(), 0755);
    ChildResult child = run_in_root(appliance.path(), [] {
        fill_context("config a b\nset x 1\nend\n");
        int32_t result = seteuid(1234) == 0 ? new_config_file_GUI("/folder/out.conf") : 1;
        migr_release_nodes();
        return seteuid(0) == 0 ? result : 1;
    });
    EXPECT_EQ(child.exit_code, 0) << child.err;
    EXPECT_EQ(appliance.read("/folder/out.conf"), std::string(headers) + "config a b\n    set x 1\nend\n");
}

TEST(NewConfigFileGui, FailsWhenTheFileCannotBeMade)
{
    ApplianceRoot appliance;
    Listing       before = appliance.listing();
    EXPECT_EQ(write_gui((appliance.path() / "nowhere" / "out.conf").string(), ""), -1);
    EXPECT_EQ(write_gui((appliance.path() / "data").string(), ""), -1);
    EXPECT_EQ(appliance.listing(), before);
}

TEST(NewConfigFileGui, LeavesNoHalfFile)
{
    ApplianceRoot appliance;
    Listing       before = appliance.listing();
    ChildResult   child = run_in_root(appliance.path(), [] {
        signal(SIGXFSZ, SIG_IGN);
        rlimit full = {100, RLIM_INFINITY};
        setrlimit(RLIMIT_FSIZE, &full);
        strcpy(migr_main.first_line, std::string(200, '#').c_str());
        return new_config_file_GUI("/out.conf") == -1 ? 0 : 1;
    });
    EXPECT_EQ(child.exit_code, 0) << child.err;
    EXPECT_EQ(appliance.listing(), before);
}

} // namespace
