/* Which way leads back, worked out from snapshots that commits have made. Each test runs inside a made-up root folder.
 */
#include "appliance/way_back.h"

#include "appliance/commit.h"
#include "appliance/snapshot_store.h"
#include "support/appliance_root.h"
#include "system/digest.h"
#include "system/failure.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/mman.h>

namespace fs = std::filesystem;
using namespace command;
using support::expect_in_root;

namespace {

using Names = std::vector<std::string>;

void write_text(const std::string &path, const std::string &text)
{
    fs::remove(path);
    std::ofstream(path) << text;
}

Manifest made_by(const std::string &command, const std::string &name, const std::string &previous = "",
                 const std::string &back_to = "")
{
    Manifest manifest;
    manifest.command = command;
    manifest.name = name;
    manifest.previous = previous;
    manifest.back_to = back_to;
    return manifest;
}

void publish(const Manifest &manifest)
{
    begin_snapshot(manifest);
    publish_snapshot(manifest.name);
}

/* A commit that makes the file of that path hold that text, or go for none. */
void change_file(Manifest manifest, const std::string &path, const std::string &text)
{
    Entries before = look_at({{"/data", "config"}}), after = before;
    for (auto &[file, entry] : before)
        if (entry.type == 'f')
            entry.sha256 = after[file].sha256 = sha256_of_path(file);
    after.erase(path);
    if (!text.empty()) {
        Entry entry;
        entry.mode = 0600;
        entry.size = text.size();
        entry.sha256 = sha256(text);
        after[path] = entry;
    }
    manifest.places = {{"/data", "config"}};
    manifest.changes = changes_between(before, after);
    manifest.state = before;
    commit(Root("/"), manifest, [&](const Change &) {
        Fd fd(memfd_create("content", MFD_CLOEXEC));
        write_all(fd.get(), text, path);
        lseek(fd.get(), 0, SEEK_SET);
        return fd;
    });
}

/* What cannot be gone back to says why. */
std::string fault_of_way(const std::string &snapshot)
{
    try {
        way_back(snapshot);
    } catch (const std::runtime_error &error) {
        return error.what();
    }
    return "";
}

/* "PATH what[, replaced]" */
Names told(const std::vector<Since> &since)
{
    Names all;
    for (const Since &one : since)
        all.push_back(one.path + " " + one.what + (one.replaced ? ", replaced" : ""));
    return all;
}

void in_root(const std::function<void()> &work)
{
    support::ApplianceRoot box;
    box.write("/data/config/a", "a of old");
    box.write("/data/config/gone", "gone");
    expect_in_root(box, work);
}

} // namespace

TEST(LastUpgrade, IsOneThatWasNotTakenBack)
{
    in_root([] {
        EXPECT_EQ(last_upgrade(), "");
        publish(made_by("upgrade", "1"));
        EXPECT_EQ(last_upgrade(), "1");
        publish(made_by("upgrade", "2", "1"));
        EXPECT_EQ(last_upgrade(), "2");
        publish(made_by("rollback", "3", "2", "2"));
        EXPECT_EQ(last_upgrade(), "1");
        publish(made_by("upgrade", "4", "3"));
        EXPECT_EQ(last_upgrade(), "4");
        publish(made_by("rollback", "5", "4", "4"));
        EXPECT_EQ(last_upgrade(), "1"); /* over the rollback ahead of it */
        publish(made_by("rollback", "6", "5", "1"));
        EXPECT_EQ(last_upgrade(), "");
    });
}

TEST(LastUpgrade, IsNoneBehindOneThatWasPruned)
{
    in_root([] {
        publish(made_by("upgrade", "2", "1"));
        publish(made_by("rollback", "3", "2", "1"));
        EXPECT_EQ(last_upgrade(), "");
    });
}

TEST(WayBack, LeadsOverEverySnapshotSince)
{
    in_root([] {
        publish(made_by("upgrade", "1"));
        publish(made_by("upgrade", "2", "1"));
        publish(made_by("upgrade", "4", "3"));
        EXPECT_EQ(fault_of_way("4"), "");
        EXPECT_EQ(fault_of_way("2"), "the snapshot 3 between is missing");
        EXPECT_EQ(fault_of_way("none"), "the snapshot 3 between is missing");
        remove_snapshot("4");
        EXPECT_EQ(fault_of_way("none"), "there is no snapshot none");
        EXPECT_EQ(way_back("1").undone, (Names{"2", "1"}));
        EXPECT_EQ(way_back("2").undone, Names{"2"});
    });
}

TEST(WayBack, IsThatOfTheOldestCommit)
{
    in_root([] {
        Manifest first = made_by("upgrade", "1"), second = made_by("upgrade", "2", "1");
        first.from = "5.50";
        first.to = "6.00";
        second.from = "6.00";
        second.to = "6.21";
        change_file(first, "/data/config/a", "a of 6.00");
        change_file(second, "/data/config/a", "a of 6.21");
        change_file(made_by("upgrade", "3", "2"), "/data/config/gone", "");
        change_file(made_by("upgrade", "4", "3"), "/data/config/came", "new");
        WayBack way = way_back("1");
        EXPECT_EQ(way.undone, (Names{"4", "3", "2", "1"}));
        EXPECT_EQ(way.manifest.command, "rollback");
        EXPECT_EQ(way.manifest.previous, "4");
        EXPECT_EQ(way.manifest.back_to, "1");
        EXPECT_EQ(way.manifest.from, "");
        EXPECT_EQ(way.manifest.to, "5.50");
        EXPECT_GT(way.manifest.name, "4");
        EXPECT_EQ(way.manifest.places, (std::vector<Place>{{"/data", "config"}})); /* once */
        EXPECT_EQ(told(way.since), Names());
        ASSERT_EQ(way.manifest.changes.size(), 3u);
        EXPECT_EQ(way.manifest.changes[0].path, "/data/config/a");
        EXPECT_EQ(way.manifest.changes[0].after->sha256, sha256("a of old"));
        EXPECT_EQ(way.kept_in.at("/data/config/a"), "1");
        EXPECT_EQ(way.manifest.changes[1].path, "/data/config/came");
        EXPECT_FALSE(way.manifest.changes[1].after);
        EXPECT_EQ(way.manifest.changes[2].path, "/data/config/gone");
        EXPECT_FALSE(way.manifest.changes[2].before);
        EXPECT_EQ(way.kept_in.at("/data/config/gone"), "3");
        WayBack half = way_back("2");
        ASSERT_EQ(half.manifest.changes.size(), 3u);
        EXPECT_EQ(half.manifest.changes[0].after->sha256, sha256("a of 6.00"));
        EXPECT_EQ(half.kept_in.at("/data/config/a"), "2");
        EXPECT_EQ(half.manifest.to, "6.00");
    });
}

TEST(WayBack, TellsWhatCameOrChangedSince)
{
    in_root([] {
        write_text("/data/config/beside", "beside");
        write_text("/data/config/left", "left");
        change_file(made_by("upgrade", "1"), "/data/config/a", "a of 6.00");
        EXPECT_EQ(told(way_back("1").since), Names());
        write_text("/data/config/a", "another a");
        write_text("/data/config/beside", "another");
        write_text("/data/config/new", "new");
        fs::remove("/data/config/left");
        EXPECT_EQ(told(way_back("1").since), (Names{"/data/config/a changed, replaced", "/data/config/beside changed",
                                                    "/data/config/left gone", "/data/config/new new"}));
    });
}

TEST(WayBack, IsNoneOverADamagedCopy)
{
    in_root([] {
        change_file(made_by("upgrade", "1"), "/data/config/a", "a of 6.00");
        EXPECT_EQ(fault_of_way("1"), "");
        write_text("/var/lib/migr/snapshots/1/files/data/config/a", "another");
        EXPECT_EQ(fault_of_way("1"), "its copy of /data/config/a is damaged");
    });
}
