/* The accounts of whole samples against what people have read out of them: pages/SAMPLE.page. */
#include "page.h"

#include "support/files.h"
#include "support/places.h"
#include "whole/ledger/laid_out.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace fs = std::filesystem;
using namespace accounts_test;

namespace {

std::vector<std::string> samples_with_pages()
{
    std::vector<std::string> samples;
    for (const fs::directory_entry &entry : fs::directory_iterator(support::source_path("/tests/whole/accounts/pages")))
        samples.push_back(entry.path().stem());
    std::sort(samples.begin(), samples.end());
    return samples;
}

class Pages : public testing::TestWithParam<std::string> {};

} // namespace

TEST_P(Pages, SayTheSameAsTheAccount)
{
    std::string page = support::file_text(support::source_path("/tests/whole/accounts/pages/" + GetParam() + ".page"));
    std::vector<StoredText> files = files_of_sample(GetParam());
    support::ApplianceRoot  root;
    ledger_test::lay_out_sample(GetParam(), root);
    auto compare = [&] {
        for (const std::string &difference : differences(expect_balance(files), page, Extent::whole))
            ADD_FAILURE() << difference;
        return 0;
    };
    support::ChildResult child = support::run_in_root(root.path(), compare);
    EXPECT_EQ(child.exit_code, 0) << child.out;
}

INSTANTIATE_TEST_SUITE_P(Samples, Pages, testing::ValuesIn(samples_with_pages()), [](const auto &one) {
    std::string name = one.param;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '-' || c == '.'; }, '_');
    return name;
});
