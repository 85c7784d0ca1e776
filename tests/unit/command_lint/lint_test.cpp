/*
 * Each file in files/ is an update file that says itself, in comments at its start, what is to be found in it:
 *
 *     # finds LINE: TEXT
 *
 * Nothing else may be found.
 */
#include "command.h"
#include "image/lint.h"
#include "support/places.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace {

/* A path of the files, "/clean.update". */
std::string lint_file(std::string_view name)
{
    return support::source_path("/tests/unit/command_lint/files") += name;
}

std::string read(const fs::path &path)
{
    std::ifstream      in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::string> expected_findings(const std::string &text)
{
    static constexpr std::string_view mark = "# finds ";
    std::vector<std::string>          expected;
    std::istringstream                lines(text);
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with(mark))
            expected.push_back(line.substr(mark.size()));
    return expected;
}

std::vector<std::string> findings_of(const std::string &text)
{
    std::vector<std::string> all;
    for (const command::Finding &finding : command::lint_update_file(text))
        all.push_back(std::to_string(finding.line) + ": " + finding.text);
    return all;
}

std::vector<fs::path> update_files()
{
    std::vector<fs::path> files;
    for (const fs::directory_entry &entry : fs::directory_iterator(lint_file("")))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

struct Outcome {
    int         status;
    std::string out;
    std::string err;
};

Outcome run_lint(const std::vector<const char *> &arguments)
{
    std::vector<const char *> all = {"migr", "lint"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    int status = command::run_command(static_cast<int>(all.size()), all.data());
    return {status, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
}

class LintFiles : public testing::TestWithParam<fs::path> {};

std::string file_name(const testing::TestParamInfo<fs::path> &info)
{
    return info.param.stem().string();
}

} // namespace

TEST_P(LintFiles, FindWhatTheySay)
{
    std::string text = read(GetParam());
    EXPECT_EQ(expected_findings(text), findings_of(text));
    EXPECT_EQ(GetParam().stem() == "clean", expected_findings(text).empty());
}

INSTANTIATE_TEST_SUITE_P(Command, LintFiles, testing::ValuesIn(update_files()), file_name);

TEST(Lint, TheImagesOwnFileIsClean)
{
    EXPECT_EQ((std::vector<std::string>{}), findings_of(read(support::source_path("/image/update_config"))));
}

TEST(Lint, ANulHidesTheRestOfItsLine)
{
    std::string text = read(lint_file("/clean.update")) + std::string("[DELETE]\n<lab bench>\0<slot>\n", 28);
    auto        lines = std::count(text.begin(), text.end(), '\n');
    EXPECT_EQ((std::vector<std::string>{std::to_string(lines) +
                                        ": holds a NUL, and what follows it is not seen. Take it out."}),
              findings_of(text));
}

TEST(Lint, AnEmptyFileMissesEverySection)
{
    EXPECT_EQ(18u, command::lint_update_file("").size());
    EXPECT_EQ(1u, command::lint_update_file("")[0].line);
}

TEST(LintCommand, IsSilentOnACleanFile)
{
    Outcome run = run_lint({lint_file("/clean.update").c_str()});
    EXPECT_EQ(0, run.status);
    EXPECT_EQ("", run.out);
    EXPECT_EQ("", run.err);
}

TEST(LintCommand, PrintsFileAndLine)
{
    Outcome run = run_lint({lint_file("/order.update").c_str()});
    EXPECT_EQ(1, run.status);
    EXPECT_TRUE(run.out.starts_with(lint_file("/order.update:24: section 5.51 stands behind section 5.52"))) << run.out;
    EXPECT_EQ(3, std::count(run.out.begin(), run.out.end(), '\n'));
    EXPECT_EQ("", run.err);
}

TEST(LintCommand, SaysWhyAFileCannotBeRead)
{
    Outcome run = run_lint({"/nonexistent/update_config"});
    EXPECT_EQ(2, run.status);
    EXPECT_EQ("", run.out);
    EXPECT_EQ(
        "migr: /nonexistent/update_config: cannot read it: No such file or directory. Put that right and run migr "
        "again.\n",
        run.err);
    EXPECT_EQ(2, run_lint({"/"}).status);
    EXPECT_EQ(2, run_lint({}).status);
}
