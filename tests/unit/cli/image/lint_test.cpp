/*
 * Each file in files/ is an update file that says itself, in comments at its start, what is to be found in it:
 *
 *     # finds LINE:COLUMN: TEXT
 *     # warns LINE:COLUMN: TEXT
 *
 * Nothing else may be found. The image is one of 6.21.
 */
#include "driver/run_context.h"
#include "image/lint.h"
#include "support/files.h"
#include "support/json_value.h"
#include "support/places.h"
#include "support/step_sections.h"
#include "unit/cli/command_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;
using support::migr;
using support::Outcome;
using support::section_name;
using support::step_releases;
using support::step_sections;

namespace {

/* A path of the files, "/clean.update". */
std::string lint_file(std::string_view name)
{
    return support::source_path("/tests/unit/cli/image/files") += name;
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

/* All findings but those of missing sections: whoever adds a step to the chain need not go through the files. */
std::vector<std::string> findings_of(const std::string &text, int32_t release = release_6_21)
{
    std::vector<std::string> all;
    for (const command::Finding &finding : command::lint_update_file(text, release))
        if (finding.missing_step < 0)
            all.push_back((finding.severity == command::Severity::error ? "finds " : "warns ") +
                          std::to_string(finding.line) + ":" + std::to_string(finding.column) + ": " + finding.text);
    return all;
}

/* A file of the command line, for as long as the object lives. */
class UpdateFile {
  public:
    explicit UpdateFile(const std::string &text)
    {
        std::ofstream(path_) << text;
    }
    ~UpdateFile()
    {
        fs::remove(path_);
    }
    UpdateFile(const UpdateFile &) = delete;
    UpdateFile &operator=(const UpdateFile &) = delete;

    const std::string &path() const
    {
        return path_;
    }

  private:
    std::string path_ = testing::TempDir() + "migr-lint-" + std::to_string(getpid()) + ".update";
};

const std::string clean_rules = "[5.50]\n[DELETE]\n<lab bench>\n";
const std::string unordered_sections = "[5.52]\n[5.51]\n[5.52]\n[5.53]\n[6.22]\n";

std::vector<fs::path> update_files()
{
    std::vector<fs::path> files;
    for (const fs::directory_entry &entry : fs::directory_iterator(lint_file("")))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

Outcome run_lint(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "lint");
    return migr(arguments);
}

class LintFiles : public testing::TestWithParam<fs::path> {};

std::string file_name(const testing::TestParamInfo<fs::path> &info)
{
    return info.param.stem().string();
}

} // namespace

TEST_P(LintFiles, FindWhatTheySay)
{
    std::string text = support::file_text(GetParam());
    EXPECT_EQ(expected_findings(text), findings_of(text));
    EXPECT_EQ(GetParam().stem() == "clean", expected_findings(text).empty());
}

INSTANTIATE_TEST_SUITE_P(Command, LintFiles, testing::ValuesIn(update_files()), file_name);

TEST(Lint, LooksAtARuleToItsEnd)
{
    auto found = [](const std::string &rules) {
        std::vector<std::string> texts;
        for (const std::string &finding : findings_of("[6.20]\n" + rules + "\n"))
            texts.push_back(finding.substr(finding.find(": ") + 2));
        return texts;
    };
    using Texts = std::vector<std::string>;
    for (const char *clean :
         {"[MODIFY]\n<lab bench><slot>, <bay>", "[MODIFY]\n<lab bench><slot>,<bay> ,[int:1,2]",
          "[DELETE]\n<lab bench>< slot>", "[MODIFY]\n<lab bench><slot>,<bay>,[int:+1,+5]",
          "[MODIFY]\n<lab bench><slot>,<bay>,[int:5,5]", "[DELETE]\n# lgoxxxx: a word like any\n<lab bench>"})
        EXPECT_EQ(found(clean), Texts{}) << clean;
    for (const char *version : {"5.4x", "x.40", "5.", "5.40 "}) {
        Texts texts = found("[READD]\n<lab bench><slot>,<bay>,<" + std::string(version) + ">");
        EXPECT_EQ(std::ranges::count(texts, "has an odd version. Write it like \"<5.10>\"."), 1) << version;
    }
    EXPECT_EQ(found("[READD]\n<lab bench><slot>,<bay>,<0.0>"),
              Texts{"never acts: behind section 5.10 every file is at 5.10 or later. Put it into section 5.10 or an "
                    "earlier one, or name 5.10 or a later release."});
    EXPECT_EQ(found("[MODIFY]\n<lab bench><slot,< >"),
              Texts{"has a name that is not closed, at \"<slot\". Write a \">\" behind it."});
    EXPECT_EQ(found("[MODIFY]\n<lab bench><slot>,<bay>,[int:1,2]x"),
              Texts{"goes on behind its property, and nobody looks at that. Take it out."});
    for (const char *limits : {"1x,5", "1,x", "1,5 x", "+,5", ",5", "1,"})
        EXPECT_EQ(found("[MODIFY]\n<lab bench><slot>,<bay>,[int:" + std::string(limits) + "]"),
                  Texts{"has a limit that is no number. Write both limits, like \"[int:1,100]\"."})
            << limits;
}

TEST(Lint, KnowsWhatAWordWasMeantToBe)
{
    for (const auto &[slip, meant] : {std::pair{"NETWORK", "network"},
                                      {"Appearance", "appearance"},
                                      {"loggign", "logging"},
                                      {"lgoging", "logging"},
                                      {"olgging", "logging"}}) {
        std::vector<std::string> found =
            findings_of("[6.20]\n[DELETE]\n# " + std::string(slip) + ": of all\n<lab bench>\n");
        EXPECT_EQ(found, std::vector<std::string>{"warns 3:3: \"" + std::string(slip) +
                                                  ":\" is none of the words for what a rule is about, and stays in the "
                                                  "sentence. Was \"" +
                                                  meant + ":\" meant?"});
    }
}

TEST(Lint, TheImagesOwnFileIsClean)
{
    EXPECT_EQ((std::vector<std::string>{}),
              findings_of(support::file_text(support::source_path("/image/update_config")), MIGR_RELEASE_IMAGE));
}

TEST(Lint, ANulHidesTheRestOfItsLine)
{
    std::string text =
        support::file_text(lint_file("/clean.update")) + std::string("[DELETE]\n<lab bench>\0<slot>\n", 28);
    auto lines = std::count(text.begin(), text.end(), '\n');
    EXPECT_EQ((std::vector<std::string>{"finds " + std::to_string(lines) +
                                        ":12: holds a NUL, and what follows it is not seen. Take it out."}),
              findings_of(text));
}

TEST(Lint, AnEmptyFileMissesEverySection)
{
    std::vector<command::Finding> findings = command::lint_update_file("", release_6_21);
    ASSERT_EQ(step_releases().size(), findings.size());
    EXPECT_LE(18u, findings.size());
    for (size_t at = 0; at < findings.size(); at++) {
        EXPECT_EQ(1u, findings[at].line);
        EXPECT_EQ(1u, findings[at].column);
        EXPECT_EQ(step_releases()[at], findings[at].missing_step);
    }
}

/* What is missing belongs ahead of the next section, or at the end: there the comment ahead of all counts as a line. */
TEST(Lint, EachStepNeedsItsSection)
{
    EXPECT_TRUE(command::lint_update_file(step_sections(), release_6_21).empty());
    size_t line = 1;
    for (int32_t release : step_releases()) {
        std::string                   name = section_name(release);
        std::vector<command::Finding> findings =
            command::lint_update_file("# steps\n" + step_sections(release) + "[5.55]\n", release_6_21);
        line++;
        ASSERT_EQ(1u, findings.size()) << name;
        EXPECT_EQ(line, findings[0].line) << name;
        EXPECT_EQ(1u, findings[0].column) << name;
        EXPECT_EQ(release, findings[0].missing_step);
        EXPECT_EQ("section " + name +
                      " is missing here, and that release's own conversions would be left out. Add a line \"[" + name +
                      "]\", without rules if need be.",
                  findings[0].text);
    }
}

TEST(LintCommand, IsSilentOnACleanFile)
{
    UpdateFile clean(step_sections() + clean_rules);
    Outcome    run = run_lint({clean.path()});
    EXPECT_EQ(0, run.status);
    EXPECT_EQ("", run.out);
    EXPECT_EQ("", run.err);
}

TEST(LintCommand, PrintsFileLineAndColumn)
{
    UpdateFile  unordered(step_sections() + unordered_sections);
    std::string line = std::to_string(step_releases().size() + 2);
    Outcome     run = run_lint({"--release", "6.21", unordered.path()});
    EXPECT_EQ(1, run.status);
    EXPECT_TRUE(
        run.out.starts_with(unordered.path() + ":" + line + ":1: error: section 5.51 stands behind section 5.52"))
        << run.out;
    EXPECT_EQ(3, std::count(run.out.begin(), run.out.end(), '\n'));
    EXPECT_EQ("", run.err);
}

/* The image in the making is newer than the migr that looks at its file. */
TEST(LintCommand, TakesTheReleaseOfTheImageInTheMaking)
{
    UpdateFile  of_6_21(step_sections() + clean_rules + "[6.21]\n");
    std::string file = of_6_21.path();
    EXPECT_EQ(1, run_lint({"--release", "6.20", file}).status);
    EXPECT_EQ("", run_lint({"--release", "99.30", file}).out);
    for (const char *no_release : {"6", "6.", ".3", "6.3x", "6.30 ", "-6.30", "40000.1", "6.-1", "six"}) {
        Outcome run = run_lint({"--release", no_release, file});
        EXPECT_EQ(2, run.status) << no_release;
        EXPECT_NE(std::string::npos, run.err.find("this is no release")) << run.err;
    }
}

TEST(LintCommand, LetsWarningsPassUnlessStrict)
{
    UpdateFile  warned(step_sections() + "[6.21]\n[DELETE]\n<system wccp><passwd>\n");
    std::string file = warned.path();
    Outcome     run = run_lint({file});
    EXPECT_EQ(0, run.status);
    EXPECT_NE(std::string::npos, run.out.find(": warning: ")) << run.out;
    Outcome strict = run_lint({"--strict", file});
    EXPECT_EQ(1, strict.status);
    EXPECT_EQ(run.out, strict.out);
    UpdateFile clean(step_sections() + clean_rules);
    EXPECT_EQ(0, run_lint({"--strict", clean.path()}).status);
}

TEST(LintCommand, AnswersAsJson)
{
    UpdateFile  unordered(step_sections() + unordered_sections);
    std::string file = unordered.path();
    Outcome     run = run_lint({"--json", "--release", "6.21", file});
    EXPECT_EQ(1, run.status);
    auto answer = support::JsonValue::parse(run.out);
    EXPECT_EQ(1, answer["format"]);
    EXPECT_EQ("lint", answer["command"]);
    EXPECT_EQ(1, answer["status"]);
    EXPECT_EQ(nullptr, answer["error"]);
    EXPECT_EQ(file, answer["file"]);
    EXPECT_EQ("6.21", answer["release"]);
    EXPECT_EQ(3, answer["errors"]);
    EXPECT_EQ(0, answer["warnings"]);
    ASSERT_EQ(3u, answer["findings"].size());
    EXPECT_EQ(step_releases().size() + 2, answer["findings"][0]["line"]);
    EXPECT_EQ(1, answer["findings"][0]["column"]);
    EXPECT_EQ("error", answer["findings"][0]["severity"]);
    EXPECT_TRUE(answer["findings"][0]["text"].text().starts_with("section 5.51 stands behind"));

    run = run_lint({"--json", "/nonexistent/update_config"});
    EXPECT_EQ(2, run.status);
    answer = support::JsonValue::parse(run.out);
    EXPECT_EQ(2, answer["status"]);
    EXPECT_TRUE(answer["error"].text().starts_with("/nonexistent/update_config: cannot read it"));
    EXPECT_FALSE(answer.contains("findings"));
}

/* The page's example is a section for a release after the image's; on top of the image's file it is clean. */
TEST(Lint, TheExampleOfTheDocumentationIsClean)
{
    std::string        page = support::file_text(support::source_path("/docs/update-file.md"));
    std::istringstream lines(page.substr(page.find("\n    [") + 1));
    std::string        example, version;
    std::getline(lines, version);
    for (std::string line; std::getline(lines, line) && line.starts_with("    ");)
        example += line.substr(4) + "\n";
    EXPECT_EQ("    [6.30]", version);
    EXPECT_LT(10, std::count(example.begin(), example.end(), '\n')) << example;
    int32_t release = MIGR_RELEASE_IMAGE + 9; /* the page's own comes one day */
    EXPECT_EQ((std::vector<std::string>{}),
              findings_of(support::file_text(support::source_path("/image/update_config")) + "[" +
                              section_name(release) + "]\n" + example,
                          release));
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
