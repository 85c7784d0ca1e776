/*
 * Random configurations: in the words of the stages, and the samples' with lines dropped, doubled and so on, which
 * go through everything from their release on. Whatever is done to them must have been told. MIGR_RANDOM_CASES sets how
 * many of each are tried.
 */
#include "disturbed.h"
#include "laid_out.h"

#include "driver/hooks.h"
#include "driver/migr.h"
#include "driver/upgrade_run.h"
#include "driver/version_lines.h"
#include "support/second_book.h"
#include "tree/node_store.h"
#include "whole/reach/random_trees.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>

namespace {

bool may_stall; /* a file that never gets on has been taken as far as it gets */

unsigned cases()
{
    const char *asked = getenv("MIGR_RANDOM_CASES");
    return asked ? static_cast<unsigned>(atoi(asked)) : 250;
}

struct Configuration {
    std::string sample;
    std::string text;
    int32_t     release;
};

std::vector<Configuration> all_configurations()
{
    std::vector<Configuration> all;
    for (const std::string &sample : ledger_test::all_samples())
        for (std::string &text : ledger_test::configurations_of(sample)) {
            size_t number = sample.rfind('-') + 1;
            int    major = atoi(sample.c_str() + number);
            int    minor = atoi(sample.c_str() + sample.find('.', number) + 1);
            bool   one_digit = sample.size() - sample.find('.', number) == 2;
            all.push_back({sample, std::move(text), MIGR_RELEASE(major, one_digit ? minor * 10 : minor)});
        }
    return all;
}

void adjust(const Configuration &configuration, const std::string &text)
{
    std::ofstream("/tmp/disturbed") << text;
    memset(static_cast<void *>(&migr_main), 0, sizeof migr_main);
    migr_main.cfg_version = configuration.release;
    migr_main.img_version = MIGR_RELEASE_IMAGE;
    strcpy(migr_main.adom_name, "root");
    support::keep_second_book();
    if (setup_tree(&migr_main, "/tmp/disturbed") == 0)
        adjust_tree();
    migr_release_nodes();
    support::close_second_book();
}

/* In a process of its own, since a file may never get on. What it printed of differences. */
bool holds_in_child(const std::function<void()> &work)
{
    fflush(nullptr);
    pid_t child = fork();
    if (child == 0) {
        may_stall = true;
        alarm(60);
        work();
        fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace

void migr_on_stall(const char *)
{
    fflush(nullptr);
    _exit(may_stall && !testing::Test::HasFailure() ? 0 : 1);
}

TEST(SecondBook, AgreesOnDisturbedSamples)
{
    std::vector<Configuration> all = all_configurations();
    support::ApplianceRoot     root;
    ledger_test::lay_out_image(root);
    auto work = [&] {
        global_sig_db_open();
        for (unsigned number = 1; number <= cases(); number++) {
            const Configuration &configuration = all[number % all.size()];
            std::string          text = ledger_test::disturbed(configuration.text, number);
            EXPECT_TRUE(holds_in_child([&] { adjust(configuration, text); }))
                << configuration.sample << ", number " << number;
            if (testing::Test::HasFailure())
                break;
        }
        global_sig_db_close();
        return 0;
    };
    support::ChildResult child = support::run_in_root(root.path(), work, 36000);
    EXPECT_EQ(child.exit_code, 0) << child.out.substr(0, 4000);
}

TEST(SecondBook, AgreesOnRandomTreesOfTheStages)
{
    reach_test::RandomTrees trees; /* reads the sources, which the child does not see */
    support::ApplianceRoot  root;
    ledger_test::lay_out_image(root);
    auto work = [&] {
        for (unsigned number = 1; number <= cases(); number++) {
            Configuration configuration = {"", "", MIGR_RELEASE(5, 40)};
            adjust(configuration, "#\n" + trees.text(number));
            EXPECT_FALSE(testing::Test::HasFailure()) << "number " << number;
            if (testing::Test::HasFailure())
                break;
        }
        return 0;
    };
    support::ChildResult child = support::run_in_root(root.path(), work, 36000);
    EXPECT_EQ(child.exit_code, 0) << child.out.substr(0, 4000);
}
