/*
 * Each file in files/ is an update file that says itself, in comments at its start, what is to be found in it:
 *
 *     # finds LINE:COLUMN: TEXT
 *     # warns LINE:COLUMN: TEXT
 *
 * Nothing else may be found. The image is one of 6.21.
 */
#include "command.h"
#include "image/lint.h"
#include "rules/update_file.h"
#include "support/places.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

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
    std::vector<std::string> expected;
    std::istringstream       lines(text);
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with("# finds ") || line.starts_with("# warns "))
            expected.push_back(line.substr(2));
    return expected;
}

constexpr int32_t release_6_21 = 0x60015;

std::vector<std::string> findings_of(const std::string &text, int32_t release = release_6_21)
{
    std::vector<std::string> all;
    for (const command::Finding &finding : command::lint_update_file(text, release))
        all.push_back((finding.severity == command::Severity::error ? "finds " : "warns ") +
                      std::to_string(finding.line) + ":" + std::to_string(finding.column) + ": " + finding.text);
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
    EXPECT_EQ((std::vector<std::string>{}),
              findings_of(read(support::source_path("/image/update_config")), MIGR_RELEASE_IMAGE));
}

TEST(Lint, ANulHidesTheRestOfItsLine)
{
    std::string text = read(lint_file("/clean.update")) + std::string("[DELETE]\n<lab bench>\0<slot>\n", 28);
    auto        lines = std::count(text.begin(), text.end(), '\n');
    EXPECT_EQ((std::vector<std::string>{"finds " + std::to_string(lines) +
                                        ":12: holds a NUL, and what follows it is not seen. Take it out."}),
              findings_of(text));
}

TEST(Lint, AnEmptyFileMissesEverySection)
{
    std::vector<command::Finding> findings = command::lint_update_file("", release_6_21);
    ASSERT_EQ(18u, findings.size());
    EXPECT_EQ(1u, findings[0].line);
    EXPECT_EQ(1u, findings[0].column);
}

TEST(LintCommand, IsSilentOnACleanFile)
{
    Outcome run = run_lint({lint_file("/clean.update").c_str()});
    EXPECT_EQ(0, run.status);
    EXPECT_EQ("", run.out);
    EXPECT_EQ("", run.err);
}

TEST(LintCommand, PrintsFileLineAndColumn)
{
    Outcome run = run_lint({"--release", "6.21", lint_file("/order.update").c_str()});
    EXPECT_EQ(1, run.status);
    EXPECT_TRUE(run.out.starts_with(lint_file("/order.update:24:1: error: section 5.51 stands behind section 5.52")))
        << run.out;
    EXPECT_EQ(3, std::count(run.out.begin(), run.out.end(), '\n'));
    EXPECT_EQ("", run.err);
}

/* The image in the making is newer than the migr that looks at its file. */
TEST(LintCommand, TakesTheReleaseOfTheImageInTheMaking)
{
    std::string file = lint_file("/clean.update");
    EXPECT_EQ(1, run_lint({"--release", "6.20", file.c_str()}).status);
    EXPECT_EQ("", run_lint({"--release", "99.30", file.c_str()}).out);
    for (const char *no_release : {"6", "6.", ".3", "6.3x", "6.30 ", "-6.30", "40000.1", "6.-1", "six"}) {
        Outcome run = run_lint({"--release", no_release, file.c_str()});
        EXPECT_EQ(2, run.status) << no_release;
        EXPECT_NE(std::string::npos, run.err.find("this is no release")) << run.err;
    }
}

TEST(LintCommand, LetsWarningsPassUnlessStrict)
{
    std::string file = lint_file("/old_names.update");
    Outcome     run = run_lint({file.c_str()});
    EXPECT_EQ(0, run.status);
    EXPECT_NE(std::string::npos, run.out.find(": warning: ")) << run.out;
    Outcome strict = run_lint({"--strict", file.c_str()});
    EXPECT_EQ(1, strict.status);
    EXPECT_EQ(run.out, strict.out);
    EXPECT_EQ(0, run_lint({"--strict", lint_file("/clean.update").c_str()}).status);
}

TEST(LintCommand, AnswersAsJson)
{
    std::string file = lint_file("/order.update");
    Outcome     run = run_lint({"--json", "--release", "6.21", file.c_str()});
    EXPECT_EQ(1, run.status);
    auto answer = nlohmann::json::parse(run.out);
    EXPECT_EQ(1, answer["format"]);
    EXPECT_EQ("lint", answer["command"]);
    EXPECT_EQ(1, answer["status"]);
    EXPECT_EQ(nullptr, answer["error"]);
    EXPECT_EQ(file, answer["file"]);
    EXPECT_EQ("6.21", answer["release"]);
    EXPECT_EQ(3, answer["errors"]);
    EXPECT_EQ(0, answer["warnings"]);
    ASSERT_EQ(3u, answer["findings"].size());
    EXPECT_EQ(24, answer["findings"][0]["line"]);
    EXPECT_EQ(1, answer["findings"][0]["column"]);
    EXPECT_EQ("error", answer["findings"][0]["severity"]);
    EXPECT_TRUE(answer["findings"][0]["text"].get<std::string>().starts_with("section 5.51 stands behind"));

    run = run_lint({"--json", "/nonexistent/update_config"});
    EXPECT_EQ(2, run.status);
    answer = nlohmann::json::parse(run.out);
    EXPECT_EQ(2, answer["status"]);
    EXPECT_TRUE(answer["error"].get<std::string>().starts_with("/nonexistent/update_config: cannot read it"));
    EXPECT_FALSE(answer.contains("findings"));
}

/* The page's example is a section for the release after this image's; on top of the image's file it is clean. */
TEST(Lint, TheExampleOfTheDocumentationIsClean)
{
    std::string        page = read(support::source_path("/docs/update-file.md"));
    std::istringstream lines(page.substr(page.find("\n    [") + 1));
    std::string        example;
    for (std::string line; std::getline(lines, line) && line.starts_with("    ");)
        example += line.substr(4) + "\n";
    EXPECT_LT(10, std::count(example.begin(), example.end(), '\n')) << example;
    int32_t release = line_is_version(example.c_str());
    EXPECT_EQ((std::vector<std::string>{}),
              findings_of(read(support::source_path("/image/update_config")) + example, release));
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
