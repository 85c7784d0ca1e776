/* A host that lives long: run after run in one process, over one appliance after another. No memory stays behind, and
 * each comes out as it did the second time: what is done once in a process, such as the table of JSON policies, is done
 * in the first turn. ./dev endure has a thousand runs, also with sanitizers, which look for leaks when the process
 * ends. */
#include "driver/migr.h"
#include "support/appliance_root.h"
#include "support/files.h"
#include "support/patterns.h"
#include "support/places.h"
#include "whole/ledger/laid_out.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;
using support::ApplianceRoot;
using support::Entry;
using support::Listing;

extern "C" int __wrap_mount(const char *, const char *, const char *, unsigned long, const void *)
{
    return 0;
}

namespace {

int wanted_runs()
{
    const char *asked = getenv("MIGR_RUNS");
    return asked ? atoi(asked) : support::is_sanitized() ? 20 : 40;
}

/* Without a passphrase: with one, keys are encrypted with another salt each time. */
Listing laid_out(const std::string &sample)
{
    ApplianceRoot root;
    ledger_test::lay_out_sample(sample, root);
    Listing listing = root.listing();
    listing.erase("data/etc/key.secret");
    return listing;
}

void clear_root()
{
    for (const fs::directory_entry &entry : fs::directory_iterator("/"))
        fs::remove_all(entry.path());
}

void lay_down(const Listing &listing)
{
    clear_root();
    for (const auto &[path, entry] : listing) {
        fs::path place = "/" + path;
        if (entry.type == 'd')
            fs::create_directory(place);
        else if (entry.type == 'l')
            fs::create_symlink(entry.content, place);
        else
            std::ofstream(place, std::ios::binary) << entry.content;
        if (entry.type != 'l')
            fs::permissions(place, static_cast<fs::perms>(entry.mode));
    }
}

/* The texts of the configurations, but for numbers of entries and names that are made up: both count on from run to
 * run. */
std::map<std::string, std::string> configurations()
{
    const std::string                  counted = "(edit |gen_edt_)[0-9]+";
    std::map<std::string, std::string> texts;
    for (const fs::directory_entry &entry : fs::directory_iterator("/data/config")) {
        std::string text = support::gunzip(support::file_text(entry.path()));
        texts[entry.path()] = support::replaced(text, counted, "$1");
    }
    return texts;
}

} // namespace

TEST(LongLife, RunsInOneProcess)
{
    std::vector<Listing> appliances;
    for (const std::string &sample : ledger_test::all_samples())
        appliances.push_back(laid_out(sample));
    ApplianceRoot        root;
    support::ChildResult child = support::run_in_root(
        root.path(),
        [&] {
            std::vector<std::map<std::string, std::string>> settled_at(appliances.size());
            size_t settled = 0; /* what is in use when each appliance has had its first turn */
            int    runs = wanted_runs();
            for (int run = 0; run < runs; run++) {
                size_t at = static_cast<size_t>(run) % appliances.size();
                lay_down(appliances[at]);
                auto before = configurations();
                migr_main_do_all();
                auto after = configurations();
                EXPECT_TRUE(after != before) << "run " << run << " changed nothing";
                if (run < static_cast<int>(2 * appliances.size()))
                    settled_at[at] = after;
                EXPECT_TRUE(after == settled_at[at]) << "run " << run << " came out otherwise";
                if (at + 1 == appliances.size() && settled == 0)
                    settled = mallinfo2().uordblks; /* 0 with sanitizers, which have a heap of their own */
            }
            EXPECT_LE(mallinfo2().uordblks, settled) << "after " << runs << " runs";
            return testing::Test::HasFailure() ? 1 : 0;
        },
        3600);
    EXPECT_EQ(child.exit_code, 0) << child.out << child.err;
}
