/* The certificate folders of old releases, as they become flat files, with strange things lying in them. */
#include "tree/legacy_certificates.h"

#include "driver/migr.h"
#include "refused_calls.h"
#include "support/appliance_root.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <vector>

using support::ApplianceRoot;
using support::ChildResult;
using support::Entry;
using support::Listing;

namespace {

constexpr char source_path[] = "/data/etc/xmlproxy/certs";

/* In the child: all there is of the old folders. */
std::set<std::string> paths_of_source()
{
    std::set<std::string> paths;
    std::error_code       error;
    if (!std::filesystem::is_directory(source_path, error))
        return paths;
    paths.insert(std::string(source_path) + "/");
    for (const auto &entry : std::filesystem::recursive_directory_iterator(source_path))
        paths.insert(entry.path().string());
    return paths;
}

std::set<std::string> told; /* to have been removed, or moved away */

void note_told(const migr_change *change)
{
    EXPECT_TRUE(change->kind == MIGR_FILE_MOVED || change->kind == MIGR_FILE_REMOVED);
    told.insert(change->kind == MIGR_FILE_MOVED ? change->before : change->file);
}

class LegacyCertificates : public testing::Test {
  protected:
    ApplianceRoot root;
    Listing       before;

    void SetUp() override
    {
        root.folder("/data/etc/cert/local");
        root.write("/data/etc/cert/local/old.cer", "was there");
    }

    void source(const std::string &path, const std::string &content = "content")
    {
        root.write("/data/etc/xmlproxy/certs/" + path, content);
    }

    void source_folder(const std::string &path)
    {
        root.folder("/data/etc/xmlproxy/certs/" + path);
    }

    /* Converts, and gives the messages. Nothing goes to standard output, and whatever is gone is told of. */
    std::string convert(int32_t expected = 0)
    {
        before = root.listing();
        ChildResult child = support::run_in_root(root.path(), [expected] {
            std::set<std::string> gone = paths_of_source();
            migr_observe_changes(note_told);
            EXPECT_EQ(expected, file_conversion());
            migr_observe_changes(nullptr);
            for (const std::string &path : paths_of_source())
                gone.erase(path);
            EXPECT_EQ(gone, told);
            return 0;
        });
        EXPECT_EQ(0, child.exit_code) << child.out << child.err;
        EXPECT_EQ("", child.out);
        return child.err;
    }

    /* What the folder must hold now: what it held before, changed by the steps below. */
    Listing expected() const
    {
        return before;
    }

    static std::string in_source(const std::string &path)
    {
        return "data/etc/xmlproxy/certs" + path;
    }
    static std::string in_target(const std::string &path)
    {
        return "data/etc/cert/local/" + path;
    }

    static void moves(Listing *listing, const std::string &from, const std::string &to)
    {
        (*listing)[in_target(to)] = listing->at(in_source("/" + from));
        listing->erase(in_source("/" + from));
    }

    static void goes(Listing *listing, const std::string &path)
    {
        ASSERT_EQ(1u, listing->erase(in_source(path))) << path;
    }
};

} // namespace

TEST_F(LegacyCertificates, NeedTheirFolder)
{
    EXPECT_EQ("Can not stat the source dir!\n", convert(-1));
    EXPECT_EQ(before, root.listing());
}

TEST_F(LegacyCertificates, CannotBeScannedInAFile)
{
    root.folder("/data/etc/xmlproxy");
    root.write("/data/etc/xmlproxy/certs", "no folder");
    EXPECT_EQ("Can not stat the source dir!\n", convert(-1)) << "the path ends with a slash";
    EXPECT_EQ(before, root.listing());
}

TEST_F(LegacyCertificates, StayWhenTheFolderCannotBeScanned)
{
    source("site1/ca.pem");
    refused::scan = 1;
    EXPECT_EQ("Scandir failed!\n", convert(-2));
    refused::scan = 0;
    EXPECT_EQ(before, root.listing());
}

TEST_F(LegacyCertificates, BecomeFlatFiles)
{
    source("site1/ca.pem", "certificate");
    source("site1/key.pem", "key");
    source("site1/password", "secret");
    source("old/ca.pem", "newer");
    EXPECT_EQ("", convert());
    Listing after = expected();
    moves(&after, "site1/ca.pem", "site1.cer");
    moves(&after, "site1/key.pem", "site1.key");
    moves(&after, "site1/password", "site1.password");
    moves(&after, "old/ca.pem", "old.cer");
    goes(&after, "/site1");
    goes(&after, "/old");
    goes(&after, "");
    EXPECT_EQ(after, root.listing());
    EXPECT_EQ("newer", root.read("/data/etc/cert/local/old.cer"));
}

TEST_F(LegacyCertificates, NamedDefaultAreDropped)
{
    source("default/ca.pem");
    source("default/key.pem");
    source("default/readme");
    source("default2/ca.pem");
    source("Default/ca.pem");
    EXPECT_EQ("", convert());
    Listing after = expected();
    goes(&after, "/default/ca.pem");
    goes(&after, "/default/key.pem");
    goes(&after, "/default/readme");
    goes(&after, "/default");
    moves(&after, "default2/ca.pem", "default2.cer");
    moves(&after, "Default/ca.pem", "Default.cer");
    goes(&after, "/default2");
    goes(&after, "/Default");
    goes(&after, "");
    EXPECT_EQ(after, root.listing());
}

TEST_F(LegacyCertificates, KeepTheirFolderWithAnUnknownFile)
{
    source("site1/ca.pem");
    source("site1/key.pem");
    source("site1/readme");
    source("site1/ca.pem.bak");
    source("site1/CA.pem");
    source("site1/%s%n");
    EXPECT_EQ("Unknown file [%s%n]\nUnknown file [CA.pem]\nUnknown file [ca.pem.bak]\nUnknown file [readme]\n",
              convert());
    Listing after = expected();
    moves(&after, "site1/ca.pem", "site1.cer");
    moves(&after, "site1/key.pem", "site1.key");
    EXPECT_EQ(after, root.listing());
}

TEST_F(LegacyCertificates, StayInEmptyFolders)
{
    source_folder("empty");
    source_folder("default");
    source_folder("only-folders/inner");
    source("site1/ca.pem");
    EXPECT_EQ("No files!\nNo files!\nNo files!\n", convert());
    Listing after = expected();
    moves(&after, "site1/ca.pem", "site1.cer");
    goes(&after, "/site1");
    EXPECT_EQ(after, root.listing());
}

TEST_F(LegacyCertificates, StayInAFolderThatCannotBeScanned)
{
    source("site1/ca.pem");
    source("site2/ca.pem");
    refused::scan = 2;
    EXPECT_EQ("No files!\n", convert());
    refused::scan = 0;
    Listing after = expected();
    moves(&after, "site2/ca.pem", "site2.cer");
    goes(&after, "/site2");
    EXPECT_EQ(after, root.listing());
}

TEST_F(LegacyCertificates, AreFoldersWhoseNamesBeginWithoutADot)
{
    source(".hidden/ca.pem");
    source("..more/ca.pem");
    source("readme", "a plain file");
    source("elsewhere/real/ca.pem");
    root.link("/data/etc/xmlproxy/certs/linked", "elsewhere/real");
    source("site1/inner/ca.pem");
    source("site1/ca.pem");
    EXPECT_EQ("No files!\n", convert());
    Listing after = expected();
    moves(&after, "site1/ca.pem", "site1.cer");
    EXPECT_EQ(after, root.listing());
}

TEST_F(LegacyCertificates, AreFilesAndNoLinks)
{
    source("site1/key.pem");
    root.write("/secret", "secret");
    root.link("/data/etc/xmlproxy/certs/site1/ca.pem", "/secret");
    root.link("/data/etc/xmlproxy/certs/default/ca.pem", "/secret");
    EXPECT_EQ("No files!\n", convert());
    Listing after = expected();
    moves(&after, "site1/key.pem", "site1.key");
    EXPECT_EQ(after, root.listing());
}

TEST_F(LegacyCertificates, StayWithoutATargetFolder)
{
    std::filesystem::remove_all(root.path() / "data/etc/cert");
    source("site1/ca.pem");
    source("default/ca.pem");
    EXPECT_EQ("", convert());
    Listing after = expected();
    goes(&after, "/default/ca.pem");
    goes(&after, "/default");
    EXPECT_EQ(after, root.listing());
}

TEST_F(LegacyCertificates, HaveNamesOfLimitedLength)
{
    std::string longest(230, 'c');
    std::string too_long(231, 'd');
    source(longest + "/ca.pem");
    source(longest + "/" + std::string(255, 'f'));
    source(too_long + "/ca.pem");
    EXPECT_EQ("Unknown file [" + std::string(255, 'f') + "]\nThe dir path is too long!\n", convert());
    Listing after = expected();
    moves(&after, longest + "/ca.pem", longest + ".cer");
    EXPECT_EQ(after, root.listing());
}

TEST_F(LegacyCertificates, GoFromAnEmptySource)
{
    source_folder("");
    EXPECT_EQ("", convert());
    Listing after = expected();
    goes(&after, "");
    EXPECT_EQ(after, root.listing());
    EXPECT_EQ("Can not stat the source dir!\n", convert(-1));
}

TEST(LegacyCertificateSelectors, GoByTheEntrysOwnType)
{
    auto entry = [](unsigned char type, const char *name) {
        dirent made = {};
        made.d_type = type;
        snprintf(made.d_name, sizeof made.d_name, "%s", name);
        return made;
    };
    for (const char *name : {"a", "a.b", "-"}) {
        dirent folder = entry(DT_DIR, name);
        EXPECT_TRUE(dir_select(&folder)) << name;
        EXPECT_FALSE(file_select(&folder)) << name;
    }
    for (const char *name : {".", "..", ".a"}) {
        dirent folder = entry(DT_DIR, name);
        EXPECT_FALSE(dir_select(&folder)) << name;
    }
    for (unsigned char type : {DT_REG, DT_LNK, DT_FIFO, DT_SOCK, DT_CHR, DT_BLK}) {
        dirent other = entry(type, "a");
        EXPECT_FALSE(dir_select(&other)) << int{type};
        EXPECT_EQ(type == DT_REG, file_select(&other) != 0) << int{type};
    }
    dirent hidden = entry(DT_REG, ".a");
    EXPECT_TRUE(file_select(&hidden));
}

TEST(LegacyCertificateSelectors, ListsCanBeFreed)
{
    free_namelist(nullptr, 0);
    free_namelist(nullptr, -1);
    auto **list = static_cast<dirent **>(malloc(2 * sizeof(dirent *)));
    list[0] = static_cast<dirent *>(malloc(sizeof(dirent)));
    list[1] = static_cast<dirent *>(malloc(sizeof(dirent)));
    free_namelist(list, 2);
}
