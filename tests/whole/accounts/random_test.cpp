/*
 * Accounts of random appliances: the samples' files with lines dropped, doubled, exchanged and spaced otherwise, and
 * configurations in the words of the stages. Whatever comes in, the books balance and every change has its cause.
 * MIGR_RANDOM_CASES sets how many of each are tried, MIGR_RANDOM_CASE takes a single one and shows its texts.
 */
#include "held_account.h"

#include "driver/hooks.h"
#include "driver/migr.h"
#include "support/appliance_root.h"
#include "support/places.h"
#include "whole/ledger/disturbed.h"
#include "whole/ledger/laid_out.h"
#include "whole/reach/random_trees.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <functional>

using namespace accounts_test;

extern "C" int __wrap_mount(const char *, const char *, const char *, unsigned long, const void *)
{
    return 0;
}

/* A file that never gets on has no account. */
extern "C" void __wrap_migr_never_returns(const char *)
{
    _exit(0);
}

namespace {

constexpr unsigned most_failures = 20;

constexpr char stage_headers[] = "#config-version=QA-A1X-5.40-CV-build0100-140101:opmode=0:vdom=1\n#conf_file_ver=1\n";

unsigned asked(const char *variable, unsigned otherwise)
{
    const char *value = getenv(variable);
    return value ? static_cast<unsigned>(atoi(value)) : otherwise;
}

using Appliance = std::vector<StoredText>;

std::vector<Appliance> all_appliances()
{
    std::vector<Appliance> all;
    for (const std::string &sample : ledger_test::all_samples())
        all.push_back(files_of_sample(sample));
    return all;
}

Appliance disturbed(Appliance files, unsigned number)
{
    for (StoredText &file : files)
        file.text = ledger_test::disturbed(file.text, number);
    return files;
}

/* Every other one is a domain's. */
Appliance in_stage_words(reach_test::RandomTrees &trees, unsigned number)
{
    std::string text = stage_headers + trees.text(number);
    if (number % 2 == 0)
        return {{"sys_global.conf.gz", text}};
    return {{"sys_global.conf.gz", stage_headers}, {"sys_domain.root.conf.gz", text}};
}

void show(const HeldRun &run)
{
    for (size_t at = 0; at < run.before.size(); at++)
        printf("==== %s before\n%s==== after\n%s", run.before[at].name.c_str(), run.before[at].text.c_str(),
               run.after[at].text.c_str());
}

/* In a process of its own: much of the library's state outlives a run. What is wrong goes to standard output. */
bool balances_in_child(const Appliance &files)
{
    fflush(nullptr);
    pid_t child = fork();
    if (child == 0) {
        alarm(60);
        HeldRun                  run = upgrade_and_account(files);
        std::vector<std::string> faults = faults_of(run);
        for (size_t at = 0; at < std::min<size_t>(faults.size(), 5); at++)
            printf("%s\n", faults[at].c_str());
        if (!faults.empty() && getenv("MIGR_RANDOM_CASE"))
            show(run);
        fflush(nullptr);
        _exit(faults.empty() ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void try_all(const std::function<Appliance(unsigned)> &appliance)
{
    support::ApplianceRoot root;
    ledger_test::lay_out_image(root);
    auto work = [&] {
        unsigned first = asked("MIGR_RANDOM_CASE", 1), failures = 0;
        unsigned last =
            getenv("MIGR_RANDOM_CASE") ? first : asked("MIGR_RANDOM_CASES", support::is_sanitized() ? 15 : 150);
        for (unsigned number = first; number <= last && failures < most_failures; number++)
            if (!balances_in_child(appliance(number))) {
                ADD_FAILURE() << "number " << number;
                failures++;
            }
        return 0;
    };
    support::ChildResult child = support::run_in_root(root.path(), work, 36000);
    EXPECT_EQ(child.exit_code, 0) << child.out.substr(0, 200000);
}

} // namespace

TEST(RandomAccounts, OfDisturbedSamplesBalance)
{
    std::vector<Appliance> all = all_appliances();
    try_all([&](unsigned number) { return disturbed(all[number % all.size()], number); });
}

TEST(RandomAccounts, OfStagesWordsBalance)
{
    reach_test::RandomTrees trees; /* reads the sources, which the child does not see */
    try_all([&](unsigned number) { return in_stage_words(trees, number); });
}
