/*
 * Explanations of whole appliances: the diffs of a file, one behind the other, lead from the text as it was read to the
 * text that is stored. MIGR_RANDOM_CASES sets how many random appliances are tried.
 */
#include "explain/explanation.h"

#include "appliance/inspect.h"
#include "appliance/stored_text.h"
#include "driver/migr.h"
#include "support/appliance_root.h"
#include "support/places.h"
#include "support/trees.h"
#include "unit/cli/applied_diff.h"
#include "whole/accounts/held_account.h"
#include "whole/journeys/journey.h"
#include "whole/ledger/disturbed.h"
#include "whole/ledger/laid_out.h"
#include "whole/reach/random_trees.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>

namespace fs = std::filesystem;
using accounts_test::StoredText;
using namespace command;

extern "C" int __wrap_mount(const char *, const char *, const char *, unsigned long, const void *)
{
    return 0;
}

/* A file that never gets on has no explanation. */
extern "C" void __wrap_migr_never_returns(const char *)
{
    _exit(0);
}

namespace {

using Appliance = std::vector<StoredText>;

unsigned random_cases()
{
    const char *asked = getenv("MIGR_RANDOM_CASES");
    return asked ? static_cast<unsigned>(atoi(asked)) : support::is_sanitized() ? 5 : 50;
}

/* Where the lines of the tree begin. */
size_t end_of_headers(const std::string &text)
{
    size_t end = 0;
    while (end < text.size() && text[end] == '#')
        end = std::min(text.find('\n', end), text.size() - 1) + 1;
    return end;
}

/* The text as the library reads it, below as many header lines as the result has. */
std::string as_read(const std::string &text, const std::string &result)
{
    std::string headers = result.substr(0, end_of_headers(result));
    if (text.empty())
        return headers;
    migr_main = {};
    EXPECT_EQ(0, support::parse(text));
    std::string tree = support::written(&migr_main.root);
    migr_release_nodes();
    return headers + tree;
}

void lay_out(const Appliance &files)
{
    fs::remove_all("/data/config");
    fs::create_directories("/data/config");
    for (const StoredText &file : files)
        store_text(file.name, file.text);
}

/* How many changes were held against the texts. */
size_t expect_whole(const Appliance &files)
{
    lay_out(files);
    std::map<std::string, std::string> before;
    for (const StoredText &file : files)
        before[file.name] = file.text;
    ExplanationRequest request;
    request.view.show_secrets = true;
    request.takes = [](const Author &) { return true; };
    Explanation explanation = explanation_of_run(request);
    EXPECT_FALSE(explanation.is_incomplete);
    size_t held = 0;
    for (const fs::directory_entry &entry : fs::directory_iterator("/data/config")) {
        std::string name = entry.path().filename();
        std::string result = stored_text(name);
        if (inspect_text(result, Depth::headers).release != MIGR_RELEASE_IMAGE)
            continue; /* its pass failed */
        SCOPED_TRACE(name);
        std::string text = as_read(before[name], result);
        for (const ExplainedChange &change : explanation.changes)
            if (change.file == name) {
                SCOPED_TRACE(change.author.name);
                text = support::applied(text, change.diff);
                held++;
            }
        EXPECT_EQ(result, text);
    }
    return held;
}

void expect_whole_in(const support::ApplianceRoot &root, const Appliance &files, size_t least)
{
    auto work = [&] {
        EXPECT_GE(expect_whole(files), least);
        return testing::Test::HasFailure() ? 1 : 0;
    };
    support::ChildResult child = support::run_in_root(root.path(), work);
    EXPECT_EQ(0, child.exit_code) << child.out.substr(0, 20000) << child.err.substr(0, 2000);
}

/* In a process of its own: much of the library's state outlives a run. */
void expect_whole_in_child(const Appliance &files, unsigned number)
{
    fflush(nullptr);
    pid_t child = fork();
    if (child == 0) {
        alarm(60);
        SCOPED_TRACE(number);
        expect_whole(files);
        fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "number " << number;
}

void try_random(const std::function<Appliance(unsigned)> &appliance)
{
    support::ApplianceRoot root;
    ledger_test::lay_out_image(root);
    auto work = [&] {
        for (unsigned number = 1; number <= random_cases() && !testing::Test::HasFailure(); number++)
            expect_whole_in_child(appliance(number), number);
        return testing::Test::HasFailure() ? 1 : 0;
    };
    support::ChildResult child = support::run_in_root(root.path(), work, 36000);
    EXPECT_EQ(child.exit_code, 0) << child.out.substr(0, 20000) << child.err.substr(0, 2000);
}

class Samples : public testing::TestWithParam<std::string> {};

} // namespace

TEST_P(Samples, DiffsLeadFromTheOldTextToTheNew)
{
    support::ApplianceRoot root;
    ledger_test::lay_out_sample(GetParam(), root);
    expect_whole_in(root, accounts_test::files_of_sample(GetParam()), 10);
}

INSTANTIATE_TEST_SUITE_P(All, Samples, testing::ValuesIn(ledger_test::all_samples()), [](const auto &one) {
    std::string name = one.param;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return !isalnum(c); }, '_');
    return name;
});

TEST(Journeys, DiffsLeadFromTheOldTextToTheNew)
{
    for (const journeys::Journey &journey : journeys::all_journeys()) {
        SCOPED_TRACE(journey.folder.filename());
        support::ApplianceRoot root;
        ledger_test::lay_out_sample(journey.sample, root);
        Appliance files = accounts_test::files_of_sample(journey.sample);
        for (StoredText &file : files)
            file.text = journeys::with_release(file.text, journey.release);
        expect_whole_in(root, files, 1);
    }
}

TEST(RandomAppliances, DiffsLeadFromDisturbedSamplesToTheNewText)
{
    std::vector<Appliance> all;
    for (const std::string &sample : ledger_test::all_samples())
        all.push_back(accounts_test::files_of_sample(sample));
    try_random([&](unsigned number) {
        Appliance files = all[number % all.size()];
        for (StoredText &file : files)
            file.text = ledger_test::disturbed(file.text, number);
        return files;
    });
}

TEST(RandomAppliances, DiffsLeadFromStagesWordsToTheNewText)
{
    static constexpr char headers[] =
        "#config-version=QA-A1X-5.40-CV-build0100-140101:opmode=0:vdom=1\n#conf_file_ver=1\n";
    reach_test::RandomTrees trees; /* reads the sources, which the child does not see */
    try_random([&](unsigned number) {
        return Appliance{{"sys_global.conf.gz", headers}, {"sys_domain.root.conf.gz", headers + trees.text(number)}};
    });
}
