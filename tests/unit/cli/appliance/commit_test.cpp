/* What a commit puts into an appliance, what it keeps of what was there, and the way back. */
#include "unit/cli/command_support.h"
#include "unit/cli/failing_calls.h"

#include "appliance/manifest.h"
#include "driver/migr.h"
#include "support/json_value.h"
#include "support/places.h"
#include "system/digest.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>

namespace fs = std::filesystem;
using namespace support;

namespace {

constexpr char global_path[] = "/data/config/sys_global.conf.gz";

/* Something in the places that an upgrade can change, and beside them. */
void fill_places(const TinyAppliance &box)
{
    box.write("/data/etc/cert/local/root/a b.key", "key", 0400);
    box.write("/data/etc/globalcert/local/x", "x", 0640);
    box.write("/data/etc/xmlproxy/certs/site/ca.pem", "ca");
    box.write("/data/etc/ws_security/w", "w");
    box.write("/data/etc/wvs/profile/p", "p");
    box.write("/etc/cert/mesh_connector/oci_private_key/k", "k");
    for (const char *name : {"sys_old.conf", "vir", "virext", "libav.so", "data_analysis/d", "geo_db/d", "wvs/db/d"})
        box.write(std::string("/var/log/") + name, name);
    box.link("/data/etc/cert/link", "local/root/a b.key");
    box.folder("/data/etc/cert/empty", 0710);
    for (const char *beside : {"/var/log/messages", "/data/other", "/data/etc/key.secret", "/etc/cert/other"})
        box.write(beside, "beside");
}

void put(const std::string &path, const char *text)
{
    fs::create_directories(fs::path(path).parent_path());
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0 || write(fd, text, strlen(text)) < 0)
        _exit(1);
    close(fd);
}

/* Changes, removes and adds all over those places, file for folder and folder for file among it. */
void work_over()
{
    put("/data/etc/cert/local/root/a b.key", "another key");
    for (const char *path : {"/data/etc/xmlproxy", "/data/etc/wvs", "/etc/cert/mesh_connector", "/data/etc/cert/empty",
                             "/data/etc/ws_security/w", "/var/log/vir", "/data/etc/cert/link"})
        fs::remove_all(path);
    put("/data/etc/wvs/new", "new");
    put("/data/etc/cert/local/root/new/er", "newer");
    put("/data/etc/ws_security/w/now a folder", "in it");
    put("/data/etc/xmlproxy", "now a file");
    chmod("/data/etc/globalcert/local/x", 0600);
    chmod("/data/etc/cert", 0755);
    fs::create_symlink("/elsewhere", "/data/etc/cert/link");
}

/* Runs an upgrade that does this as well. */
Outcome upgrade_and(const TinyAppliance &box, const std::function<void()> &more)
{
    command::UpgradeRequest request;
    request.root = box.root();
    request.run.library = [&] {
        migr_main_do_all();
        more();
    };
    return run_request(request);
}

struct stat status_of(const std::string &path)
{
    struct stat st = {};
    lstat(path.c_str(), &st);
    return st;
}

/* What has been synced, by inode, which a file keeps when it is renamed. Shared with the processes of a run. */
struct SyncLog {
    size_t count;
    size_t ahead_of_record; /* how many were when the record of the commit took its place */
    ino_t  synced[1000];
};

SyncLog *sync_log; /* null: nobody asks */

bool is_refused_ahead_of_record, is_refused_behind_record; /* memory */
bool is_refused_in_place;                                  /* memory, when all is in place and is synced */

/* In a process that commits. */
bool is_recorded;
int  syncs_behind_record;

std::string snapshot_folder(const TinyAppliance &box)
{
    return "/var/lib/migr/snapshots/" + box.snapshots().at(0);
}

} // namespace

extern "C" int __real_fsync(int fd);
extern "C" int __real_rename(const char *from, const char *to);

extern "C" int __wrap_fsync(int fd)
{
    if (support::is_to_fail("fsync"))
        return -1;
    struct stat st = {};
    if (is_refused_ahead_of_record)
        be_refused_memory();
    if (is_refused_in_place && is_recorded && ++syncs_behind_record == 2) /* the first one is the record's own */
        throw std::bad_alloc();
    if (sync_log && sync_log->count < std::size(sync_log->synced) && fstat(fd, &st) == 0)
        sync_log->synced[sync_log->count++] = st.st_ino;
    return __real_fsync(fd);
}

extern "C" int __wrap_rename(const char *from, const char *to)
{
    if (support::is_to_fail("rename"))
        return -1;
    bool is_record = strcmp(to, "/var/lib/migr/commit") == 0;
    if (sync_log && is_record)
        sync_log->ahead_of_record = sync_log->count;
    int result = __real_rename(from, to);
    is_recorded = is_recorded || is_record;
    if (is_record && is_refused_behind_record)
        be_refused_memory();
    return result;
}

/* Whoever finds the record goes on by it, after a loss of power too. */
TEST(Commit, HasItsNewFilesOnDiskAheadOfItsRecord)
{
    void *shared = mmap(nullptr, sizeof(SyncLog), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    sync_log = static_cast<SyncLog *>(shared);
    TinyAppliance box;
    fill_places(box);
    Outcome run = upgrade_and(box, work_over);
    EXPECT_EQ(run.status, 0) << run.all();
    ASSERT_GT(sync_log->ahead_of_record, 0u);
    const ino_t *begin = sync_log->synced, *end = begin + sync_log->ahead_of_record;
    for (const char *path : {global_path, "/data/etc/xmlproxy", "/data/etc/cert/local/root/new/er",
                             "/data/etc/cert/local/root/a b.key", "/var/log/sys_global.conf"})
        EXPECT_NE(std::find(begin, end, status_of(box.root() + path).st_ino), end) << path;
    std::string manifest = box.root() + snapshot_folder(box) + "/manifest.json";
    EXPECT_NE(std::find(begin, end, status_of(manifest).st_ino), end);
    sync_log = nullptr;
    munmap(shared, sizeof(SyncLog));
}

TEST(Commit, DoesNotBeginWhereMemoryWasRefusedAheadOfIt)
{
    if (is_sanitized())
        GTEST_SKIP() << "a sanitizer's allocator does not come back";
    TinyAppliance box;
    Listing       before = box.without_snapshots();
    is_refused_ahead_of_record = true;
    Outcome run = migr({"upgrade", box.root()});
    is_refused_ahead_of_record = false;
    EXPECT_NE(run.status, 0);
    EXPECT_NE(run.err.find("there is not enough memory"), std::string::npos) << run.err;
    EXPECT_EQ(box.without_snapshots(), before);
    EXPECT_TRUE(box.snapshots().empty());
}

TEST(Commit, IsTakenBackWhereMemoryRunsOutInTheMiddle)
{
    TinyAppliance box;
    Listing       before = box.without_snapshots();
    is_refused_in_place = true;
    Outcome run = migr({"upgrade", box.root()});
    is_refused_in_place = false;
    EXPECT_EQ(run.status, 3);
    EXPECT_TRUE(run.err.ends_with("migr: " + box.root() + ": there is not enough memory. Everything is as it was.\n"))
        << run.err;
    EXPECT_EQ(box.without_snapshots(), before);
    EXPECT_TRUE(box.snapshots().empty());
}

TEST(Commit, IsDoneWhereMemoryWasRefusedBehindItsRecord)
{
    if (is_sanitized())
        GTEST_SKIP() << "a sanitizer's allocator does not come back";
    TinyAppliance box;
    is_refused_behind_record = true;
    Outcome run = migr({"upgrade", box.root()});
    is_refused_behind_record = false;
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_EQ(box.snapshots().size(), 1U);
}

TEST(Commit, PutsEveryKindOfChangeAndBringsItBack)
{
    TinyAppliance box;
    fill_places(box);
    Listing before = box.without_snapshots();
    auto    time = status_of(box.root() + "/data/etc/cert/local/root/a b.key").st_mtim;
    Outcome run = upgrade_and(box, work_over);
    ASSERT_EQ(run.status, 0) << run.all();
    EXPECT_EQ(box.read("/data/etc/cert/local/root/a b.key"), "another key");
    EXPECT_EQ(box.read("/data/etc/ws_security/w/now a folder"), "in it");
    EXPECT_EQ(box.read("/data/etc/xmlproxy"), "now a file");
    EXPECT_EQ(box.read("/data/etc/cert/local/root/new/er"), "newer");
    Listing after = box.listing();
    EXPECT_EQ(after["data/etc/globalcert/local/x"].mode, 0600U);
    EXPECT_EQ(after["data/etc/cert"].mode, 0755U);
    EXPECT_EQ(after["data/etc/cert/link"].content, "/elsewhere");
    for (const char *gone :
         {"/data/etc/cert/empty", "/var/log/vir", "/data/etc/wvs/profile", "/etc/cert/mesh_connector"})
        EXPECT_FALSE(box.exists(gone)) << gone;
    EXPECT_EQ(box.read("/data/etc/key.secret"), "beside");

    run = migr({"rollback", box.root()});
    ASSERT_EQ(run.status, 0) << run.all();
    EXPECT_EQ(box.without_snapshots(), before);
    auto back = status_of(box.root() + "/data/etc/cert/local/root/a b.key").st_mtim;
    EXPECT_EQ(back.tv_sec, time.tv_sec);
    EXPECT_EQ(back.tv_nsec, time.tv_nsec);
}

TEST(Commit, LeavesNothingOfItsOwnBeside)
{
    TinyAppliance box;
    fill_places(box);
    ASSERT_EQ(upgrade_and(box, work_over).status, 0);
    for (const auto &[path, entry] : box.listing()) {
        EXPECT_EQ(path.find(".migr-"), std::string::npos) << path;
        if (path.starts_with("var/lib/migr")) {
            EXPECT_EQ(entry.type == 'd' ? entry.mode : 0700U, 0700U) << path;
        }
    }
    EXPECT_FALSE(box.exists("/var/lib/migr/commit"));
}

TEST(Commit, KeepsExtendedAttributesAndOwners)
{
    TinyAppliance box;
    std::string   path = box.root() + global_path;
    if (setxattr(path.c_str(), "user.note", "mine", 4, 0) != 0)
        GTEST_SKIP() << "no extended attributes on this disk";
    bool root = geteuid() == 0;
    if (root) {
        ASSERT_EQ(chown(path.c_str(), nobody, nobody), 0);
    }
    auto expect_kept = [&] {
        char value[8] = "";
        EXPECT_EQ(getxattr(path.c_str(), "user.note", value, sizeof value), 4);
        EXPECT_STREQ(value, "mine");
        EXPECT_EQ(status_of(path).st_uid, root ? nobody : geteuid());
    };
    ASSERT_EQ(migr({"upgrade", box.root()}).status, 0);
    expect_kept();
    ASSERT_EQ(migr({"rollback", box.root()}).status, 0);
    expect_kept();
}

TEST(Commit, GivesWhatIsNewToTheFoldersOwner)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give folders away";
    TinyAppliance box;
    ASSERT_EQ(chown((box.root() + "/var/log").c_str(), nobody, nobody), 0);
    ASSERT_EQ(migr({"upgrade", box.root()}).status, 0);
    EXPECT_EQ(status_of(box.root() + "/var/log/sys_global.conf").st_uid, nobody);
}

TEST(Snapshot, HoldsWhatTheCommitReplaced)
{
    TinyAppliance box;
    fill_places(box);
    std::string global = box.read(global_path);
    ASSERT_EQ(upgrade_and(box, work_over).status, 0);
    std::string folder = snapshot_folder(box);
    EXPECT_EQ(box.read(folder + "/files/data/etc/cert/local/root/a b.key"), "key");
    EXPECT_EQ(box.read(folder + "/files/etc/cert/mesh_connector/oci_private_key/k"), "k");
    EXPECT_EQ(box.read(folder + "/files" + global_path), global);
    EXPECT_FALSE(box.exists(folder + "/files/var/log/messages"));
    EXPECT_FALSE(box.exists(folder + "/files/data/etc/key.secret"));
    command::Manifest manifest = command::parse_manifest(box.read(folder + "/manifest.json"));
    EXPECT_EQ(manifest.command, "upgrade");
    EXPECT_EQ(manifest.from, "5.50");
    EXPECT_EQ(manifest.to, MIGR_IMAGE_RELEASE);
}

TEST(Rollback, CanBeUndoneAndNamesTheWay)
{
    TinyAppliance box;
    ASSERT_EQ(migr({"upgrade", box.root()}).status, 0);
    Listing upgraded = box.without_snapshots();
    Outcome back = migr({"rollback", box.root()});
    ASSERT_EQ(back.status, 0) << back.all();
    std::string kept = box.snapshots().at(1);
    EXPECT_NE(back.out.find("migr rollback " + box.root() + " " + kept), std::string::npos) << back.out;
    Outcome none = migr({"rollback", box.root()});
    EXPECT_EQ(none.status, 2);
    EXPECT_NE(none.err.find("every upgrade there has been taken back"), std::string::npos) << none.err;
    EXPECT_EQ(migr({"rollback", box.root(), kept}).status, 0);
    EXPECT_EQ(box.without_snapshots(), upgraded);
}

TEST(Rollback, GoesBackOverSeveralCommits)
{
    TinyAppliance box;
    Listing       first = box.without_snapshots();
    migr({"upgrade", box.root()});
    box.config("sys_global.conf.gz", "5.60", "config second\nend\n");
    std::string second = box.read(global_path);
    migr({"upgrade", box.root()});
    ASSERT_EQ(box.snapshots().size(), 2U);
    ASSERT_EQ(migr({"rollback", box.root()}).status, 0);
    EXPECT_EQ(box.read(global_path), second);
    std::string oldest = box.root() + snapshot_folder(box);
    ASSERT_EQ(migr({"rollback", box.root(), oldest, "--yes"}).status, 0); /* the path is a name */
    EXPECT_EQ(box.without_snapshots(), first);
    for (const char *wrong : {"20200101T000000.000000Z", "../../../../etc", "."}) {
        Outcome run = migr({"rollback", box.root(), wrong});
        EXPECT_EQ(run.status, 2);
        EXPECT_NE(run.err.find("has no snapshot"), std::string::npos) << run.err;
    }
    EXPECT_EQ(migr({"rollback", box.root(), ""}).status, 2);
}

TEST(Rollback, AsksWhenSomethingCameSince)
{
    TinyAppliance box;
    migr({"upgrade", box.root()});
    box.write("/data/etc/cert/local/new.key", "made since");
    box.config("sys_global.conf.gz", MIGR_IMAGE_RELEASE, "config edited\nend\n");
    Listing before = box.listing();
    Outcome run = migr({"rollback", box.root()});
    EXPECT_EQ(run.status, 2) << run.all();
    EXPECT_NE(run.out.find("new: " + box.root() + "/data/etc/cert/local/new.key, and stays"), std::string::npos);
    EXPECT_NE(run.out.find("changed: " + box.root() + global_path + ", and going back replaces it"), std::string::npos)
        << run.out;
    EXPECT_EQ(box.listing(), before);
    std::string edited = box.read(global_path);
    run = migr({"rollback", box.root(), "--yes"});
    ASSERT_EQ(run.status, 0) << run.all();
    EXPECT_EQ(box.read("/data/etc/cert/local/new.key"), "made since");
    ASSERT_EQ(migr({"rollback", box.root(), box.snapshots().at(1)}).status, 0);
    EXPECT_EQ(box.read(global_path), edited);
}

TEST(Rollback, RefusesADamagedSnapshotAndTouchesNothing)
{
    TinyAppliance box;
    migr({"upgrade", box.root()});
    std::string folder = snapshot_folder(box);
    std::string manifest = box.read(folder + "/manifest.json");
    std::string copy = box.read(folder + "/files" + global_path);
    Listing     before = box.without_snapshots();
    box.write(folder + "/files" + global_path, "other");
    Outcome run = migr({"rollback", box.root()});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("its copy of " + std::string(global_path) + " is damaged"), std::string::npos) << run.err;
    Outcome list = migr({"snapshots", box.root()});
    EXPECT_EQ(list.status, 1);
    EXPECT_EQ(list.out.find("sound"), std::string::npos) << list.out;
    box.write(folder + "/files" + global_path, copy);
    EXPECT_EQ(migr({"snapshots", box.root()}).status, 0);

    std::string altered = manifest;
    altered.replace(altered.find("\"0600\""), 6, "\"0666\"");
    for (const std::string &damaged :
         {altered, manifest.substr(0, manifest.size() / 2), std::string("{}"), std::string()}) {
        box.write(folder + "/manifest.json", damaged);
        EXPECT_EQ(migr({"rollback", box.root()}).status, 2);
        EXPECT_EQ(migr({"snapshots", box.root()}).status, 1);
    }
    EXPECT_EQ(box.without_snapshots(), before);
}

TEST(Snapshots, AreListedAndPruned)
{
    TinyAppliance box;
    EXPECT_EQ(migr({"snapshots", box.root()}).out, box.root() + " has no snapshots.\n");
    migr({"upgrade", box.root()});
    box.config("sys_global.conf.gz", "5.60", "config second\nend\n");
    migr({"upgrade", box.root()});
    std::vector<std::string> names = box.snapshots();
    Outcome                  run = migr({"snapshots", box.root()});
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_LT(run.out.find(names.at(0)), run.out.find(names.at(1))) << run.out;
    run = migr({"snapshots", box.root(), "--prune", "1"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("removed"), std::string::npos);
    EXPECT_EQ(box.snapshots(), std::vector<std::string>{names[1]});
    EXPECT_EQ(migr({"rollback", box.root()}).status, 0);
}

TEST(Snapshots, SortByTheirMakingAlsoWhenTheClockWasPutBack)
{
    TinyAppliance box;
    Listing       before = box.without_snapshots();
    std::string   future = "29991231T000000.000000Z";
    box.folder("/var/lib/migr/snapshots/" + future);
    EXPECT_EQ(migr({"upgrade", box.root()}).status, 0);
    EXPECT_EQ(box.snapshots(), (std::vector<std::string>{future, future + "+"}));
    EXPECT_EQ(migr({"rollback", box.root()}).status, 0);
    EXPECT_EQ(box.without_snapshots(), before);
}

TEST(Snapshots, OneThatWasNeverFinishedAndCannotBeReadStandsInNobodysWay)
{
    TinyAppliance box;
    box.write("/var/lib/migr/snapshots/.20260101T000000.000000Z/manifest.json", "damaged");
    EXPECT_EQ(migr({"upgrade", box.root()}).status, 0);
    EXPECT_FALSE(box.exists("/var/lib/migr/snapshots/.20260101T000000.000000Z"));
}

TEST(Snapshots, OfAnUpgradeThatWasTakenBackMayBePruned)
{
    TinyAppliance box;
    migr({"upgrade", box.root()});
    migr({"rollback", box.root()});
    ASSERT_EQ(migr({"snapshots", box.root(), "--prune", "1"}).status, 0);
    Outcome run = migr({"rollback", box.root()}, [] { alarm(60); });
    EXPECT_EQ(run.status, 2) << run.signal;
    EXPECT_NE(run.err.find("every upgrade there has been taken back"), std::string::npos) << run.err;
}

TEST(Commit, WorksThroughLinksInItsPlaces)
{
    TinyAppliance box;
    fs::rename(box.root() + "/data/config", box.root() + "/flash");
    box.link("/data/config", "../flash");
    box.write("/shared/log.conf", "log");
    box.link("/var/log/sys_global.conf", "/shared/log.conf");
    box.write("/certs/a", "a");
    box.link("/data/etc/cert/local", "/certs");
    box.link("/data/etc/cert/up", "..");
    box.link("/data/etc/cert/root", "/");
    box.link("/data/etc/cert/dangling", "/nowhere/at/all");
    box.link("/data/etc/cert/self", "self");
    Listing before = box.without_snapshots();
    Outcome run = upgrade_and(box, [] { fs::remove("/certs/a"); });
    ASSERT_EQ(run.status, 0) << run.all();
    EXPECT_FALSE(box.exists("/certs/a"));
    EXPECT_EQ(box.listing()["data/config"].type, 'l');
    EXPECT_NE(box.read("/flash/sys_global.conf.gz"), before["flash/sys_global.conf.gz"].content);
    EXPECT_EQ(migr({"rollback", box.root()}).status, 0);
    EXPECT_EQ(box.without_snapshots(), before);
}

TEST(Commit, TheFoldersAboveMayBeLinks)
{
    TinyAppliance box;
    fs::rename(box.root() + "/var", box.root() + "/data/var");
    box.link("/var", "data/var");
    Listing before = box.listing();
    EXPECT_EQ(migr({"upgrade", box.root()}).status, 0);
    EXPECT_EQ(migr({"rollback", box.root()}).status, 0);
    Listing after = box.listing();
    std::erase_if(after, [](const auto &one) { return one.first.starts_with("data/var/lib"); });
    EXPECT_EQ(after, before);
}

TEST(Commit, FollowsNoLinkOutOfTheRoot)
{
    TinyAppliance box;
    ApplianceRoot outside;
    outside.write("/secret", "secret");
    std::string target = outside.path().string() + "/secret";
    fs::path    up;
    for (int level = 0; level < 20; level++)
        up /= "..";
    box.link("/data/etc/cert/absolute", target);
    box.link("/data/etc/cert/folder", outside.path().string());
    box.link("/var/log/sys_global.conf", (up / target.substr(1)).string());
    Listing before = outside.listing();
    EXPECT_EQ(migr({"upgrade", box.root()}).status, 0);
    EXPECT_EQ(migr({"rollback", box.root()}).status, 0);
    EXPECT_EQ(outside.listing(), before);
    for (const auto &[path, entry] : box.listing())
        EXPECT_FALSE(entry.type == 'f' && entry.content == "secret") << path;
}

TEST(Commit, LeavesPipesAlone)
{
    TinyAppliance box;
    box.folder("/data/etc/cert");
    ASSERT_EQ(mkfifo((box.root() + "/data/etc/cert/pipe").c_str(), 0600), 0);
    EXPECT_EQ(migr({"upgrade", box.root()}).status, 0);
    EXPECT_EQ(migr({"rollback", box.root()}).status, 0);
    EXPECT_EQ(box.listing()["data/etc/cert/pipe"].type, 'o');
}

TEST(Manifest, KeepsAnyBytes)
{
    command::Entry odd = {'f', 04755, 1, 2, -5, 999'999'999, 1ULL << 40, "", "abc", {{"user.\xff", {"\0\n\xfe", 3}}}};
    command::Entry link = {'l', 0777, 0, 0, 1, 2, 0, "\xfe/..", "", {}};
    command::Manifest manifest;
    manifest.name = "now";
    manifest.places = {{"/a b", "*%", true, false}, {"/", "x", false, true}};
    manifest.changes = {{"/\xff\n%\"\\\x1b", odd, std::nullopt}, {"/link", std::nullopt, link}};
    manifest.state = {{"/link", link}, {"/\x80 ", odd}};
    command::Manifest again = command::parse_manifest(command::manifest_text(manifest));
    EXPECT_EQ(again.name, manifest.name);
    EXPECT_EQ(again.places, manifest.places);
    EXPECT_EQ(again.state, manifest.state);
    ASSERT_EQ(again.changes.size(), 2U);
    EXPECT_EQ(again.changes[0].path, manifest.changes[0].path);
    EXPECT_EQ(again.changes[0].before, odd);
    EXPECT_FALSE(again.changes[0].after);
    EXPECT_EQ(again.changes[1].after, link);
}

TEST(Manifest, RefusesPathsThatLeadElsewhere)
{
    for (const char *path : {"/a/../../etc", "relative", "/..", ""}) {
        command::Manifest manifest;
        manifest.changes = {{path, command::Entry(), std::nullopt}};
        EXPECT_THROW(command::parse_manifest(command::manifest_text(manifest)), std::runtime_error) << path;
    }
}

TEST(Manifest, SaysWhenAnotherVersionWroteIt)
{
    support::JsonValue body = {{"format", 99}};
    body.set("sum", command::sha256(body.dump()));
    try {
        command::parse_manifest(body.dump());
        FAIL();
    } catch (const std::runtime_error &error) {
        EXPECT_STREQ(error.what(), "another version of migr wrote it");
    }
}
