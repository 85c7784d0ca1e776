/* The cloud sample's machine-learning file on its own short road: no update file, no compression, one header line. */
#include "driver/migr.h"
#include "support/appliance_root.h"
#include "support/files.h"
#include "support/places.h"
#include "support/second_book.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

const std::string stored_path = support::source_path("/tests/journeys/ferry-cloud-6.02/ml.conf");

/* What the upgrade of one file to another returns. */
std::string upgrade(const support::ApplianceRoot &root, const char *input, const char *output)
{
    support::ChildResult child = support::run_in_root(root.path(), [input, output] {
        support::keep_second_book();
        printf("%d", migr_machine_learning_upgrade(input, output));
        return 0;
    });
    EXPECT_EQ(0, child.exit_code) << child.err;
    return child.out;
}

TEST(MachineLearningJourney, TakesTheCloudSamplesFileToTheImage)
{
    support::ApplianceRoot root;
    std::string before = support::file_text(support::source_path("/samples/ferry-cloud-6.02/var/log/ml/ml.conf"));
    ASSERT_FALSE(before.empty());
    root.write("/ml.conf", before);
    ASSERT_EQ("0", upgrade(root, "/ml.conf", "/ml.new"));
    if (getenv("MIGR_STORE_EXPECTED"))
        std::ofstream(stored_path, std::ios::binary) << root.read("/ml.new");
    EXPECT_EQ(support::file_text(stored_path), root.read("/ml.new"));
    EXPECT_EQ(before, root.read("/ml.conf"));

    root.write("/ml.again", "kept");
    EXPECT_EQ("-2", upgrade(root, "/ml.new", "/ml.again"));
    EXPECT_EQ("kept", root.read("/ml.again"));
}

} // namespace
