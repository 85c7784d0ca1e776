/* Snapshots and the way back. */
#include "command_support.h"

#include "appliance/manifest.h"
#include "appliance/places.h"
#include "driver/migr.h"
#include "system/digest.h"
#include "system/new_file.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include <fcntl.h>

namespace fs = std::filesystem;
using namespace support;
using nlohmann::json;

namespace {

/* Something in each of the places that an upgrade can change, and beside them. */
void fill_places(const TinyAppliance &box)
{
    box.write("/data/etc/cert/local/root/a b.key", "key", 0400);
    box.write("/data/etc/globalcert/local/x", "x", 0640);
    box.write("/data/etc/xmlproxy/certs/site/ca.pem", "ca");
    box.write("/data/etc/ws_security/w", "w");
    box.write("/data/etc/wvs/profile/p", "p");
    box.write("/etc/cert/mesh_connector/oci_private_key/k", "k");
    for (const char *name :
         {"sys_old.conf", "vir", "virext", "vir.lastgood", "libav.so", "aven.fc.lastgood", "data_analysis/d",
          "data_analysis_adom/d", "da_pdfdir/d", "geo_db/d", "wvs/db/d", "autolearn_adom/d"})
        box.write(std::string("/var/log/") + name, name);
    box.link("/data/etc/cert/link", "local/root/a b.key");
    box.folder("/data/etc/cert/empty", 0710);
    for (const char *beside : {"/var/log/messages", "/data/other", "/data/etc/key.secret", "/etc/cert/other"})
        box.write(beside, "beside");
}

/* Changes, removes and adds all over those places. */
void wreck()
{
    for (const char *path : {"/data/etc/cert/local/root/a b.key", "/var/log/vir", "/data/config/sys_global.conf.gz"}) {
        int fd = open(path, O_WRONLY | O_TRUNC);
        if (fd < 0 || write(fd, "wrecked", 7) != 7)
            _exit(1);
        close(fd);
    }
    for (const char *path : {"/data/etc/xmlproxy", "/data/etc/wvs", "/etc/cert/mesh_connector", "/var/log/da_pdfdir",
                             "/data/etc/cert/empty", "/data/etc/ws_security/w"})
        fs::remove_all(path);
    std::vector<std::string> added = {"/data/etc/wvs/new",
                                      "/data/etc/cert/local/root/new/er",
                                      "/data/config/.left",
                                      "/var/log/sys_new.conf",
                                      "/var/log/virus",
                                      "/data/etc/ws_security/w/now a folder",
                                      "/tmp/system1.conf",
                                      "/tmp/system2.conf",
                                      "/tmp/.new-12-0",
                                      "/qx_migr_unzip_tmp",
                                      command::beside("/data/etc/cert/local/root/a b.key"),
                                      command::beside("/var/log/vir")};
    for (const std::string &path : added) {
        fs::create_directories(fs::path(path).parent_path());
        close(open(path.c_str(), O_WRONLY | O_CREAT, 0600));
    }
    chmod("/data/etc/globalcert/local/x", 0600);
    chmod("/data/etc/cert", 0755);
    fs::remove("/data/etc/cert/link");
    fs::create_symlink("/elsewhere", "/data/etc/cert/link");
    fs::create_symlink("/data", "/var/log/vir.link");
}

/* Runs an upgrade that does this in the library's place and ends well by its own account. */
Outcome upgrade_by(const TinyAppliance &box, const std::function<void()> &library)
{
    command::UpgradeRequest request;
    request.root = box.root();
    request.library = library;
    return run_request(request);
}

struct timespec changed(const std::string &path)
{
    struct stat st = {};
    lstat(path.c_str(), &st);
    return st.st_mtim;
}

} // namespace

TEST(Snapshot, HoldsEveryPlaceWithItsManifest)
{
    TinyAppliance box;
    fill_places(box);
    migr({"upgrade", box.root()});
    ASSERT_EQ(box.snapshots().size(), 1U);
    std::string folder = "/var/lib/migr/snapshots/" + box.snapshots()[0];
    EXPECT_EQ(box.read(folder + "/files/data/etc/cert/local/root/a b.key"), "key");
    EXPECT_EQ(box.read(folder + "/files/var/log/data_analysis_adom/d"), "data_analysis_adom/d");
    EXPECT_FALSE(box.exists(folder + "/files/var/log/messages"));
    EXPECT_FALSE(box.exists(folder + "/files/data/etc/key.secret"));
    EXPECT_FALSE(box.exists(folder + "/files/data/etc/update_config"));

    command::Manifest manifest = command::parse_manifest(box.read(folder + "/manifest.json"));
    EXPECT_EQ(manifest.release, "5.50");
    command::Entry key = manifest.entries.at("/data/etc/cert/local/root/a b.key");
    EXPECT_EQ(key.type, 'f');
    EXPECT_EQ(key.mode, 0400U);
    EXPECT_EQ(key.uid, geteuid());
    EXPECT_EQ(key.size, 3U);
    EXPECT_EQ(key.sha256, command::sha256("key"));
    EXPECT_EQ(manifest.entries.at("/data/etc/cert/link").target, "local/root/a b.key");
    EXPECT_EQ(manifest.entries.at("/data/etc/cert/empty").mode, 0710U);
    for (const char *path : {"/data/config/sys_global.conf.gz", "/var/log/libav.so", "/var/log/vir.lastgood",
                             "/var/log/aven.fc.lastgood", "/var/log/geo_db/d", "/var/log/wvs/db/d",
                             "/etc/cert/mesh_connector/oci_private_key/k", "/data/etc/xmlproxy/certs/site/ca.pem"})
        EXPECT_EQ(manifest.entries.count(path), 1U) << path;
}

TEST(Snapshot, IsForItsOwnerOnly)
{
    TinyAppliance box;
    fill_places(box);
    migr({"upgrade", box.root()});
    for (const auto &[path, entry] : box.listing()) {
        if (path.starts_with("var/lib/migr")) {
            EXPECT_EQ(entry.mode, entry.type == 'd' ? 0700U : 0600U) << path;
        }
    }
}

TEST(Snapshot, RemovesHalfOnesOfEarlierRuns)
{
    TinyAppliance box;
    box.write("/var/lib/migr/snapshots/20200101T000000.000000Z/files/data/config/x", "half");
    migr({"upgrade", box.root()});
    EXPECT_EQ(box.snapshots().size(), 1U);
    EXPECT_NE(box.snapshots()[0], "20200101T000000.000000Z");
}

TEST(Snapshot, AHalfOneDoesNotCount)
{
    TinyAppliance box;
    box.write("/var/lib/migr/snapshots/20200101T000000.000000Z/manifest.json.new", "half");
    Outcome run = migr({"rollback", box.root()});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("has no snapshots"), std::string::npos) << run.err;
}

TEST(Rollback, BringsEverythingBack)
{
    TinyAppliance box;
    fill_places(box);
    chmod((box.root() + "/data/config/sys_global.conf.gz").c_str(), 0644);
    Listing  before = box.without_snapshots();
    timespec time = changed(box.root() + "/data/config/sys_global.conf.gz");
    timespec folder_time = changed(box.root() + "/data/etc/wvs");
    timespec link_time = changed(box.root() + "/data/etc/cert/link");
    Outcome  run = upgrade_by(box, [] {
        wreck();
        migr_main_do_all();
    });
    EXPECT_EQ(run.status, 3) << run.all(); /* the global file cannot be read */
    EXPECT_EQ(box.without_snapshots(), before);
    EXPECT_EQ(changed(box.root() + "/data/config/sys_global.conf.gz").tv_nsec, time.tv_nsec);
    EXPECT_EQ(changed(box.root() + "/data/etc/wvs").tv_nsec, folder_time.tv_nsec);
    EXPECT_EQ(changed(box.root() + "/data/etc/cert/link").tv_nsec, link_time.tv_nsec);
}

TEST(Rollback, BringsBackAnUpgradeThatWentWell)
{
    TinyAppliance box;
    fill_places(box);
    Listing before = box.without_snapshots();
    ASSERT_EQ(migr({"upgrade", box.root()}).status, 0);
    ASSERT_NE(box.without_snapshots(), before);
    Outcome run = migr({"rollback", box.root()});
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_NE(run.out.find(box.snapshots().at(0)), std::string::npos) << run.out;
    EXPECT_EQ(box.without_snapshots(), before);
    EXPECT_EQ(migr({"rollback", box.root()}).status, 0); /* once more changes nothing */
    EXPECT_EQ(box.without_snapshots(), before);
    EXPECT_EQ(migr({"upgrade", box.root()}).status, 0);
}

TEST(Rollback, TakesTheNewestOrTheNamedSnapshot)
{
    TinyAppliance box;
    std::string   first = box.read("/data/config/sys_global.conf.gz");
    migr({"upgrade", box.root()});
    box.config("sys_global.conf.gz", "5.60", "config second\nend\n");
    std::string second = box.read("/data/config/sys_global.conf.gz");
    migr({"upgrade", box.root()});
    ASSERT_EQ(box.snapshots().size(), 2U);
    migr({"rollback", box.root()});
    EXPECT_EQ(box.read("/data/config/sys_global.conf.gz"), second);
    migr({"rollback", box.root(), box.snapshots()[0]});
    EXPECT_EQ(box.read("/data/config/sys_global.conf.gz"), first);
    for (const char *wrong : {"20200101T000000.000000Z", "../../../../etc", "."}) {
        Outcome run = migr({"rollback", box.root(), wrong});
        EXPECT_EQ(run.status, 2);
        EXPECT_NE(run.err.find("has no snapshot"), std::string::npos) << run.err;
    }
}

TEST(Rollback, ListsSnapshots)
{
    TinyAppliance box;
    EXPECT_EQ(migr({"rollback", box.root(), "--list"}).out, box.root() + " has no snapshots.\n");
    migr({"upgrade", box.root()});
    Outcome run = migr({"rollback", "--list", box.root()});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("SNAPSHOT                 RELEASE  FILES"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find(box.snapshots().at(0) + "  5.50         2"), std::string::npos) << run.out;
}

TEST(Rollback, RefusesADamagedSnapshotAndTouchesNothing)
{
    TinyAppliance box;
    migr({"upgrade", box.root()});
    std::string folder = "/var/lib/migr/snapshots/" + box.snapshots().at(0);
    std::string manifest = box.read(folder + "/manifest.json");
    Listing     before = box.without_snapshots();

    box.write(folder + "/files/data/config/sys_global.conf.gz", "other");
    Outcome run = migr({"rollback", box.root()});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("its copy of /data/config/sys_global.conf.gz is damaged"), std::string::npos) << run.err;

    std::string changed_manifest = manifest;
    changed_manifest.replace(changed_manifest.find("\"0600\""), 6, "\"0666\"");
    for (const std::string &damaged :
         {changed_manifest, manifest.substr(0, manifest.size() / 2), std::string("{}"), std::string("")}) {
        box.write(folder + "/manifest.json", damaged);
        run = migr({"rollback", box.root()});
        EXPECT_EQ(run.status, 2);
        EXPECT_NE(run.err.find("manifest.json: it is damaged"), std::string::npos) << run.err;
        EXPECT_NE(migr({"rollback", box.root(), "--list"}).out.find("unusable"), std::string::npos);
    }
    EXPECT_EQ(box.without_snapshots(), before);
}

TEST(Rollback, BringsBackWhatALinkInThosePlacesLeadsTo)
{
    TinyAppliance box;
    fs::rename(box.root() + "/data/config", box.root() + "/flash");
    box.link("/data/config", "../flash");
    box.write("/shared/log.conf", "log");
    box.write("/shared/other", "other");
    box.link("/var/log/sys_global.conf", "/shared/log.conf");
    box.write("/certs/a", "a");
    box.link("/data/etc/cert/local", "/certs");
    box.link("/data/etc/cert/up", "..");
    box.link("/data/etc/cert/root", "/");
    box.link("/data/etc/cert/dangling", "/nowhere/at/all");
    box.link("/data/etc/cert/self", "self");
    Listing before = box.without_snapshots();
    Outcome run = upgrade_by(box, [] {
        migr_main_do_all();
        fs::remove("/certs/a");
        if (fs::file_size("/shared/log.conf") < 10)
            _exit(1); /* the library was meant to write through the link */
    });
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_EQ(migr({"rollback", box.root()}).status, 0);
    EXPECT_EQ(box.without_snapshots(), before);
}

TEST(Rollback, LeavesWhatOthersAddedBehindALink)
{
    TinyAppliance box;
    box.write("/certs/a", "a");
    box.link("/data/etc/cert/local", "/certs");
    migr({"upgrade", box.root()});
    box.write("/certs/later", "of another program");
    EXPECT_EQ(migr({"rollback", box.root()}).status, 0);
    EXPECT_EQ(box.read("/certs/later"), "of another program");
}

TEST(Rollback, FollowsNoLinkOutOfTheRoot)
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
    box.link("/var/lib", outside.path().string());
    Listing before = outside.listing();
    migr({"upgrade", box.root()});
    migr({"rollback", box.root()});
    EXPECT_EQ(outside.listing(), before);
    for (const auto &[path, entry] : box.listing())
        EXPECT_EQ(entry.content.find("secret") != std::string::npos && entry.type == 'f' &&
                      !path.ends_with("manifest.json"),
                  false)
            << path;
}

TEST(Rollback, ReplacesAFolderThatBecameALink)
{
    TinyAppliance box;
    fill_places(box);
    Listing before = box.without_snapshots();
    Outcome run = upgrade_by(box, [] {
        fs::remove_all("/data/etc/cert/local");
        fs::create_symlink("/data/etc", "/data/etc/cert/local");
        abort();
    });
    EXPECT_EQ(run.status, 3) << run.all();
    EXPECT_EQ(box.without_snapshots(), before);
}

TEST(Rollback, LeavesDevicesAndPipesAlone)
{
    TinyAppliance box;
    box.folder("/data/etc/cert");
    ASSERT_EQ(mkfifo((box.root() + "/data/etc/cert/pipe").c_str(), 0600), 0);
    EXPECT_EQ(migr({"upgrade", box.root()}).status, 0);
    EXPECT_EQ(migr({"rollback", box.root()}).status, 0);
    EXPECT_EQ(box.listing()["data/etc/cert/pipe"].type, 'o');
}

TEST(Rollback, TellsWhatItCouldNotPutBack)
{
    TinyAppliance box;
    box.folder("/data/etc/cert");
    ASSERT_EQ(mkfifo((box.root() + "/data/etc/cert/pipe").c_str(), 0600), 0);
    migr({"upgrade", box.root()});
    unlink((box.root() + "/data/etc/cert/pipe").c_str());
    Outcome run = migr({"rollback", box.root()});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("not put back: " + box.root() + "/data/etc/cert/pipe is missing"), std::string::npos)
        << run.err;
}

TEST(Manifest, KeepsAnyBytes)
{
    command::Manifest manifest;
    manifest.made = "now";
    manifest.places = {{"/a b", "*%", true, false}, {"/", "x", false, true}};
    manifest.entries["/\xff\n%\"\\\x1b"] = {'f', 04755, 1, 2, -5, 999'999'999, 1ULL << 40, "", "abc"};
    manifest.entries["/link"] = {'l', 0777, 0, 0, 1, 2, 0, "\xfe/..", ""};
    command::Manifest again = command::parse_manifest(command::manifest_text(manifest));
    EXPECT_EQ(again.entries, manifest.entries);
    EXPECT_EQ(again.made, "now");
    ASSERT_EQ(again.places.size(), 2U);
    EXPECT_EQ(again.places[0].folder, "/a b");
    EXPECT_TRUE(again.places[0].pattern);
    EXPECT_TRUE(again.places[1].keeps_additions);
}

TEST(Manifest, RefusesPathsThatLeadElsewhere)
{
    for (const char *path : {"/a/../../etc", "relative", "/.."}) {
        command::Manifest manifest;
        manifest.entries[path] = {};
        EXPECT_THROW(command::parse_manifest(command::manifest_text(manifest)), std::runtime_error) << path;
    }
}

TEST(Manifest, SaysWhenAnotherVersionWroteIt)
{
    json body = {{"format", 99}};
    body["sum"] = command::sha256(body.dump());
    try {
        command::parse_manifest(body.dump());
        FAIL();
    } catch (const std::runtime_error &error) {
        EXPECT_STREQ(error.what(), "another version of migr wrote it");
    }
}

TEST(Digest, IsSha256)
{
    EXPECT_EQ(command::sha256(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(command::sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Snapshot, TheFoldersAboveMayBeLinks)
{
    TinyAppliance box;
    fs::rename(box.root() + "/var", box.root() + "/data/var");
    box.link("/var", "data/var");
    fs::rename(box.root() + "/etc", box.root() + "/data/root_etc");
    box.link("/etc", "/data/root_etc");
    Listing before = box.listing();
    EXPECT_EQ(migr({"upgrade", box.root()}).status, 0);
    EXPECT_EQ(migr({"rollback", box.root()}).status, 0);
    Listing after = box.listing();
    std::erase_if(after, [](const auto &one) { return one.first.starts_with("data/var/lib"); });
    EXPECT_EQ(after, before);
}
