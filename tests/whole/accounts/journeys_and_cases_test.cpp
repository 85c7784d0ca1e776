/*
 * Accounts of the journeys' appliances, of the cases' configurations and of the fuzzers' seeds, which go through
 * everything from their release on. Held against their texts; what becomes of which line is told by the journeys and
 * cases themselves.
 */
#include "held_account.h"

#include "cases/case_file.h"
#include "support/appliance_root.h"
#include "support/files.h"
#include "support/places.h"
#include "whole/journeys/journey.h"
#include "whole/ledger/laid_out.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace fs = std::filesystem;
using namespace accounts_test;
using cases::Case;
using cases::Pass;
using journeys::Journey;

namespace {

std::vector<StoredText> files_of(const Journey &journey)
{
    std::vector<StoredText> files = files_of_sample(journey.sample);
    for (StoredText &file : files)
        file.text = journeys::with_release(file.text, journey.release);
    return files;
}

/* Whether the pass says what a stored file says; an account is one of stored files. */
bool is_stored_file(const Pass &pass)
{
    return pass.mode != "ml" && pass.version_line.empty();
}

std::string headers_of(const Pass &pass)
{
    return "#config-version=" + pass.model.value_or("QA-A1X") + "-" + pass.release +
           "-CV-build0600-170101:opmode=0:vdom=1\n#conf_file_ver=1\n";
}

/* A domain's file has a global one beside it, of its release. */
std::vector<StoredText> files_of(const Pass &pass)
{
    StoredText file = {"sys_global.conf.gz", headers_of(pass) + pass.before};
    if (pass.mode != "domain")
        return {file};
    std::string domain = pass.domain.empty() ? "root" : pass.domain;
    return {{file.name, headers_of(pass)}, {"sys_domain." + domain + ".conf.gz", file.text}};
}

void lay_out(const support::ApplianceRoot &root, const Case &test)
{
    ledger_test::lay_out_image(root);
    for (const cases::DiskEntry &entry : test.before)
        if (entry.verb == "folder")
            root.folder(entry.path, entry.mode.value_or(0700));
        else if (entry.verb == "file" && !root.exists(entry.path))
            root.write(entry.path, entry.content, entry.mode.value_or(0600));
}

std::vector<std::string> case_files(const fs::path &folder)
{
    std::vector<std::string> files;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(folder))
        if (entry.path().extension() == ".case")
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

/* Set ahead of each child of a case or a seed. */
bool looks_for_leaks = true;

/* LeakSanitizer asks this at the end of each child, of which its look at all memory is half the cost. Whether a case's
 * conversions leak is found where the cases themselves are run; the accountant is the same for all of them, so that a
 * look at each eighth will do. */
extern "C" int __lsan_is_turned_off()
{
    return !looks_for_leaks;
}

/* How many files of the try with that number were accounted for. */
size_t accounted_in(const support::ApplianceRoot &root, const std::vector<StoredText> &files, size_t number)
{
    size_t accounted = 0;
    looks_for_leaks = number % 8 == 0;
    expect_balance_in(root, files, &accounted);
    looks_for_leaks = true;
    return accounted;
}

/* The accountant goes one way through most texts, and it goes there without sanitizers, too: they see a part of the
 * tries, of all folders and all releases. */
bool is_left_out(size_t number, size_t one_of)
{
    return support::is_sanitized() && number % one_of != 0;
}

struct Tally {
    size_t seen = 0;
    size_t passes = 0;
    size_t accounted = 0; /* those that came through */
};

void try_passes(const Case &test, Tally &tally)
{
    for (const Pass &pass : test.passes) {
        if (!is_stored_file(pass) || is_left_out(tally.seen++, 3))
            continue;
        support::ApplianceRoot root;
        lay_out(root, test);
        tally.accounted += accounted_in(root, files_of(pass), tally.passes) > 0;
        tally.passes++;
    }
}

std::vector<std::string> case_folders()
{
    std::vector<std::string> folders;
    for (const fs::directory_entry &entry : fs::directory_iterator(support::source_path("/tests/cases")))
        if (entry.is_directory() && entry.path().filename() != "language") /* which is about what is read alone */
            folders.push_back(entry.path().filename());
    return folders;
}

class CasesAccounts : public testing::TestWithParam<std::string> {};

} // namespace

TEST(JourneysAccounts, Balance)
{
    for (const Journey &journey : journeys::all_journeys()) {
        SCOPED_TRACE(journey.folder.filename());
        support::ApplianceRoot root;
        ledger_test::lay_out_sample(journey.sample, root);
        size_t accounted = 0;
        expect_balance_in(root, files_of(journey), &accounted);
        EXPECT_GE(accounted, files_of(journey).size());
    }
}

/* Texts of any sort, which are damaged in every way that a reader knows. */
TEST(CorpusAccounts, Balance)
{
    size_t accounted = 0, seen = 0, tries = 0;
    for (const fs::directory_entry &seed : fs::directory_iterator(support::source_path("/fuzz/corpus/config")))
        for (const char *release : {"3.30", "5.20", "6.02"}) {
            SCOPED_TRACE(seed.path().filename().string() + " " + release);
            if (is_left_out(seen++, 4))
                continue;
            Pass pass;
            pass.release = release;
            pass.before = support::file_text(seed.path());
            support::ApplianceRoot root;
            ledger_test::lay_out_image(root);
            accounted += accounted_in(root, files_of(pass), tries++);
            if (HasFailure())
                return; /* a child would take this failure for its own */
        }
    EXPECT_GT(accounted, 20u);
}

TEST_P(CasesAccounts, Balance)
{
    Tally tally;
    for (const std::string &file : case_files(support::source_path("/tests/cases/" + GetParam()))) {
        SCOPED_TRACE(file);
        try_passes(cases::read_case(file), tally);
        if (HasFailure())
            return; /* a child would take this failure for its own */
    }
    EXPECT_GE(tally.accounted * 10, tally.passes * 9) << tally.passes;
}

INSTANTIATE_TEST_SUITE_P(Folders, CasesAccounts, testing::ValuesIn(case_folders()),
                         [](const auto &one) { return one.param; });
