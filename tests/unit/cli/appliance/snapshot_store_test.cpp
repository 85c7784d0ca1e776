/* What lies in an appliance's own folder, step by step. Each test runs inside a made-up root folder. */
#include "appliance/snapshot_store.h"

#include "support/appliance_root.h"
#include "system/digest.h"
#include "system/failure.h"
#include "system/files.h"
#include "unit/cli/failing_calls.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace command;
using support::expect_in_root;
using support::path_error_of;
using support::with_error;

namespace {

constexpr char record_path[] = "/var/lib/migr/commit";

void write_text(const std::string &path, const std::string &text)
{
    std::ofstream(path) << text;
}

std::string read_text(const std::string &path)
{
    return read_file(path, Links::follow);
}

unsigned mode_of(const std::string &path)
{
    struct stat st = {};
    return lstat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

ino_t node_of(const std::string &path)
{
    struct stat st = {};
    return lstat(path.c_str(), &st) == 0 ? st.st_ino : 0;
}

Manifest named(const std::string &name)
{
    Manifest manifest;
    manifest.name = name;
    manifest.command = "upgrade";
    return manifest;
}

Entry known(const std::string &path)
{
    Entry entry = entry_at(path);
    entry.sha256 = sha256_of_path(path);
    return entry;
}

/* In the root folder of a new appliance, with its own folders. */
void in_own_folders(const std::function<void()> &work)
{
    support::ApplianceRoot box;
    expect_in_root(box, [&] {
        make_own_folders();
        work();
    });
}

} // namespace

TEST(OwnFolders, AreTheirOwnersAlone)
{
    in_own_folders([] {
        EXPECT_EQ(mode_of("/var/lib"), 0755u);
        EXPECT_EQ(mode_of("/var/lib/migr"), 0700u);
        EXPECT_EQ(mode_of("/var/lib/migr/snapshots"), 0700u);
        EXPECT_EQ(umask(0), 077u); /* as it was */
        umask(077);
        chmod("/var/lib/migr", 0755);
        make_own_folders();
        EXPECT_EQ(mode_of("/var/lib/migr"), 0700u);
    });
}

TEST(OwnFolders, AreNoLinks)
{
    support::ApplianceRoot box;
    box.folder("/var/lib");
    box.folder("/elsewhere");
    box.link("/var/lib/migr", "/elsewhere");
    expect_in_root(box, [] { EXPECT_EQ(path_error_of(make_own_folders), with_error("use /var/lib/migr", ENOTDIR)); });
}

TEST(OwnFolders, ThatCannotBeMadeAreTold)
{
    in_own_folders([] {
        chmod("/var/lib/migr", 0755);
        support::fail_call("fchmod", EPERM);
        EXPECT_EQ(path_error_of(make_own_folders), with_error("protect /var/lib/migr", EPERM));
        fs::remove_all("/var/lib/migr");
        support::fail_call("mkdir", EROFS);
        EXPECT_EQ(path_error_of(make_own_folders), with_error("make /var/lib/migr", EROFS));
    });
}

TEST(Records, AreReadAsTheyWereWritten)
{
    in_own_folders([] {
        EXPECT_FALSE(read_record());
        write_record({"now", Direction::forward});
        EXPECT_EQ(read_text(record_path), "migr commit 1\nnow\nforward\n"); /* as later versions find it */
        ASSERT_TRUE(read_record());
        EXPECT_EQ(read_record()->snapshot, "now");
        EXPECT_EQ(read_record()->direction, Direction::forward);
        EXPECT_EQ(mode_of(record_path), 0600u);
        write_record({"now", Direction::back});
        EXPECT_EQ(read_text(record_path), "migr commit 1\nnow\nback\n");
        EXPECT_EQ(read_record()->direction, Direction::back);
        remove_record();
        EXPECT_FALSE(read_record());
        remove_record(); /* twice is fine */
    });
}

TEST(Records, OfNothingAreRefused)
{
    in_own_folders([] {
        for (const char *text : {"", "migr commit 1\n", "migr commit 2\nnow\nback\n", "migr commit 1\nnow\nsideways\n",
                                 "migr commit 1\n\nback\n", "migr commit 1\na/b\nback\n",
                                 "migr commit 1\n.now\nforward\n", "migr commit 1\nnow\nforward", "now\nback\n"}) {
            write_text(record_path, text);
            try {
                read_record();
                ADD_FAILURE() << text;
            } catch (const std::runtime_error &error) {
                EXPECT_STREQ(error.what(), "/var/lib/migr/commit: it is no record of a commit");
            }
        }
    });
}

TEST(Records, ThatCannotBeRemovedAreTold)
{
    in_own_folders([] {
        write_record({"now", Direction::back});
        support::fail_call("unlink", EIO);
        EXPECT_EQ(path_error_of(remove_record), with_error("remove /var/lib/migr/commit", EIO));
        EXPECT_TRUE(read_record());
    });
}

TEST(Records, ThatCannotBeWrittenLeaveNothing)
{
    in_own_folders([] {
        for (const char *call : {"write", "fsync", "rename"}) {
            support::fail_call(call, ENOSPC);
            EXPECT_EQ(path_error_of([] {
                          write_record({"now", Direction::forward});
                      }),
                      with_error("write /var/lib/migr/commit", ENOSPC))
                << call;
            EXPECT_FALSE(fs::exists("/var/lib/migr/commit.new")) << call;
            EXPECT_FALSE(read_record()) << call;
        }
    });
}

TEST(Staging, OfKilledProcessesIsSwept)
{
    in_own_folders([] {
        fs::create_directories("/var/lib/migr/staging-abc/data");
        fs::create_directories("/var/lib/migr/other");
        write_record({"now", Direction::back});
        write_text("/var/lib/migr/commit.new", "half a record");
        sweep_staging();
        EXPECT_FALSE(fs::exists("/var/lib/migr/staging-abc"));
        EXPECT_FALSE(fs::exists("/var/lib/migr/commit.new"));
        EXPECT_TRUE(fs::exists("/var/lib/migr/other"));
        EXPECT_TRUE(read_record());
    });
    support::ApplianceRoot box;
    expect_in_root(box, [] { EXPECT_NO_THROW(sweep_staging()); }); /* nothing is there */
}

TEST(SnapshotNames, AreTimesThatSort)
{
    in_own_folders([] {
        std::string name = new_snapshot_name();
        ASSERT_EQ(name.size(), std::string("20261122T193000.123456Z").size());
        EXPECT_TRUE(name.starts_with("20"));
        EXPECT_EQ(name[8], 'T');
        EXPECT_EQ(name[15], '.');
        EXPECT_EQ(name[22], 'Z');
        EXPECT_EQ(name.find_first_not_of("0123456789TZ."), name.npos);
        timespec now = {};
        clock_gettime(CLOCK_REALTIME, &now);
        tm parts = {};
        gmtime_r(&now.tv_sec, &parts);
        EXPECT_EQ(name.substr(0, 4), std::to_string(parts.tm_year + 1900));
        fs::create_directory("/var/lib/migr/snapshots/99990101T000000.000000Z");
        fs::create_directory("/var/lib/migr/snapshots/.hidden");
        EXPECT_EQ(new_snapshot_name(), "99990101T000000.000000Z+");
        EXPECT_EQ(snapshot_names(), std::vector<std::string>{"99990101T000000.000000Z"});
    });
    support::ApplianceRoot box;
    expect_in_root(box, [] { EXPECT_TRUE(snapshot_names().empty()); });
}

TEST(SnapshotFolders, AreHiddenUntilTheyArePublished)
{
    in_own_folders([] {
        begin_snapshot(named("now"));
        EXPECT_TRUE(snapshot_names().empty());
        EXPECT_EQ(mode_of("/var/lib/migr/snapshots/.now"), 0700u);
        EXPECT_EQ(mode_of("/var/lib/migr/snapshots/.now/files"), 0700u);
        EXPECT_EQ(path_error_of([] { begin_snapshot(named("now")); }),
                  with_error("make /var/lib/migr/snapshots/.now", EEXIST));
        EXPECT_EQ(manifest_of({"now", Direction::forward}).name, "now");
        keep_account("now", "bytes");
        EXPECT_EQ(path_error_of([] { keep_account("now", "bytes"); }),
                  with_error("write /var/lib/migr/snapshots/.now/account.json.gz", EEXIST));
        publish_snapshot("now");
        publish_snapshot("now"); /* twice is fine */
        EXPECT_EQ(snapshot_names(), std::vector<std::string>{"now"});
        EXPECT_EQ(read_snapshot("now").command, "upgrade");
        EXPECT_EQ(manifest_of({"now", Direction::forward}).name, "now");
        EXPECT_EQ(account_in_snapshot("now"), "bytes");
        hide_snapshot("now");
        hide_snapshot("now");
        EXPECT_TRUE(snapshot_names().empty());
        EXPECT_EQ(path_error_of([] { publish_snapshot("other"); }),
                  with_error("write /var/lib/migr/snapshots/other", ENOENT));
        drop_snapshot("now");
        EXPECT_TRUE(fs::is_empty("/var/lib/migr/snapshots"));
        begin_snapshot(named("next"));
        publish_snapshot("next");
        EXPECT_FALSE(account_in_snapshot("next"));
        remove_snapshot("next");
        EXPECT_TRUE(fs::is_empty("/var/lib/migr/snapshots"));
    });
}

/* A file with one name gets a second one; of others somebody else may still write to the first. */
TEST(SnapshotFiles, AreLinkedWhereNobodyElseCanChangeThem)
{
    in_own_folders([] {
        write_text("/data/config/one", "one");
        write_text("/data/config/two", "two");
        chmod("/data/config/two", 0640);
        fs::create_hard_link("/data/config/two", "/data/config/another");
        Entry one = known("/data/config/one"), two = known("/data/config/two");
        EXPECT_EQ(bytes_to_store("/data/config/one", one), 0u);
        EXPECT_EQ(bytes_to_store("/data/config/two", two), 3u);
        EXPECT_EQ(bytes_to_store("/data/config", entry_at("/data/config")), 0u);
        begin_snapshot(named("now"));
        store_in_snapshot("now", "/data/config/one", one);
        store_in_snapshot("now", "/data/config/two", two);
        std::string files = "/var/lib/migr/snapshots/.now/files/data/config/";
        EXPECT_EQ(node_of(files + "one"), node_of("/data/config/one"));
        EXPECT_NE(node_of(files + "two"), node_of("/data/config/two"));
        EXPECT_EQ(known(files + "two"), two);
        EXPECT_EQ(mode_of("/var/lib/migr/snapshots/.now/files/data/config"), 0700u);
        sync_snapshot("now");
        take_from_snapshot("now", "/data/config/two", "/data/config/back", two);
        EXPECT_EQ(node_of("/data/config/back"), node_of(files + "two"));
        support::fail_call("link", EXDEV);
        take_from_snapshot("now", "/data/config/two", "/data/config/copy", two);
        EXPECT_EQ(known("/data/config/copy"), two);
        publish_snapshot("now");
        EXPECT_EQ(read_all(open_in_snapshot("now", "/data/config/one").get(), "x"), "one");
        EXPECT_EQ(path_error_of([&] { open_in_snapshot("now", "/data/config/none"); }),
                  with_error("read /var/lib/migr/snapshots/now/files/data/config/none", ENOENT));
    });
}

TEST(SnapshotFiles, AreWhatWasSeenOrNone)
{
    in_own_folders([] {
        write_text("/data/config/two", "two");
        Entry seen = known("/data/config/two");
        seen.sha256 = sha256("another");
        begin_snapshot(named("now"));
        support::fail_call("link", EXDEV);
        EXPECT_EQ(path_error_of([&] { store_in_snapshot("now", "/data/config/two", seen); }),
                  with_error("keep /data/config/two", ESTALE));
        EXPECT_EQ(path_error_of([&] { take_from_snapshot("now", "/data/config/two", "/data/config/two", seen); }),
                  with_error("write /data/config/two", EEXIST));
    });
}

TEST(UnfinishedSnapshots, AreDroppedAndCleanedUpBehind)
{
    in_own_folders([] {
        begin_snapshot(named("whole"));
        begin_snapshot(named("damaged"));
        begin_snapshot(named("empty"));
        begin_snapshot(named("finished"));
        publish_snapshot("finished");
        write_text("/var/lib/migr/snapshots/.damaged/manifest.json", "{");
        fs::remove("/var/lib/migr/snapshots/.empty/manifest.json");
        std::vector<std::string> cleaned;
        auto                     clean_up = [&](const Manifest &manifest) { cleaned.push_back(manifest.name); };
        EXPECT_TRUE(drop_unfinished_snapshots(clean_up));
        EXPECT_EQ(cleaned, std::vector<std::string>{"whole"});
        EXPECT_EQ(snapshot_names(), std::vector<std::string>{"finished"});
        EXPECT_FALSE(fs::exists("/var/lib/migr/snapshots/.whole"));
        EXPECT_FALSE(fs::exists("/var/lib/migr/snapshots/.damaged"));
        EXPECT_FALSE(fs::exists("/var/lib/migr/snapshots/.empty"));
        EXPECT_FALSE(drop_unfinished_snapshots(clean_up));
    });
}
