/* The script that lays a sample appliance out as a root folder. */
#include "support/appliance_root.h"
#include "support/files.h"
#include "support/places.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>

namespace fs = std::filesystem;
using support::ApplianceRoot;
using support::Entry;
using support::Listing;

static int run(const std::string &command)
{
    int status = system((command + " 2>/dev/null").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

static const std::string SCRIPT = support::source_path("/samples/lay_out");

TEST(LayOut, MakesAPrivateRootFolder)
{
    ApplianceRoot root;
    fs::remove_all(root.path());
    ASSERT_EQ(run(SCRIPT + " branch-office-5.50 " + root.path().string()), 0);
    Listing listing = root.listing();
    for (const auto &[path, entry] : listing)
        EXPECT_EQ(entry.mode, entry.type == 'd' ? 0700u : 0600u) << path;
    for (const char *folder : {"tmp", "etc", "var/log", "data/etc"})
        EXPECT_EQ(listing[folder].type, 'd') << folder;
    EXPECT_EQ(listing.count("README.md"), 0u);
}

TEST(LayOut, CompressesConfigurationsAndNothingElse)
{
    ApplianceRoot root;
    fs::remove_all(root.path());
    ASSERT_EQ(run(SCRIPT + " branch-office-5.50 " + root.path().string()), 0);
    fs::path sample = support::source_path("/samples/branch-office-5.50");
    for (const fs::directory_entry &found : fs::recursive_directory_iterator(sample)) {
        std::string path = "/" + found.path().lexically_relative(sample).string();
        if (!found.is_regular_file() || path == "/README.md")
            continue;
        std::string text = support::file_text(found.path());
        if (path.rfind("/data/config/", 0) == 0) {
            EXPECT_FALSE(root.exists(path));
            EXPECT_EQ(root.read_gzip(path + ".gz"), text) << path;
        } else {
            EXPECT_EQ(root.read(path), text) << path;
        }
    }
}

TEST(LayOut, MakesFoldersThatHoldNothing)
{
    ApplianceRoot root;
    fs::remove_all(root.path());
    ASSERT_EQ(run(SCRIPT + " parts-dealer-3.30 " + root.path().string()), 0);
    Listing listing = root.listing();
    Entry   folder = {'d', 0700, ""};
    EXPECT_EQ(listing["data/etc/xmlproxy/certs/2008_old"], folder);
    EXPECT_EQ(listing.count("empty-folders"), 0u);
}

TEST(LayOut, TakesAPathAndGivesTheSameBytesAgain)
{
    ApplianceRoot one;
    ApplianceRoot other;
    std::string   sample = support::source_path("/samples/branch-office-5.50");
    ASSERT_EQ(run(SCRIPT + " " + sample + " " + (one.path() / "new").string()), 0);
    ASSERT_EQ(run(SCRIPT + " " + sample + "/ " + (other.path() / "new").string()), 0);
    EXPECT_EQ(one.listing(), other.listing());
}

TEST(LayOut, RefusesAFolderThatHoldsAnAppliance)
{
    ApplianceRoot root;
    Listing       before = root.listing();
    EXPECT_EQ(run(SCRIPT + " branch-office-5.50 " + root.path().string()), 1);
    EXPECT_EQ(root.listing(), before);
}

TEST(LayOut, RefusesWhatIsNoSample)
{
    ApplianceRoot root;
    Listing       before = root.listing();
    EXPECT_EQ(run(SCRIPT + " no-such-office " + (root.path() / "new").string()), 2);
    EXPECT_EQ(run(SCRIPT + " " + root.path().string()), 2);
    EXPECT_EQ(run(SCRIPT), 2);
    EXPECT_EQ(root.listing(), before);
}
