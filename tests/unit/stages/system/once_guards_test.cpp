/* Jobs on files outside the tree: once per file or once per process, and on the paths named alone. */
#include "support/files.h"
#include "unit/stages/passes.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>

namespace fs = std::filesystem;
using support::ApplianceRoot;

namespace {

/* Everything below the child's root: content of files, "folder" or the target of a link. */
using Snapshot = std::map<std::string, std::string>;

Snapshot snapshot()
{
    Snapshot all;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator("/")) {
        if (entry.is_symlink()) {
            all[entry.path()] = "link to " + fs::read_symlink(entry.path()).string();
        } else if (entry.is_directory()) {
            all[entry.path()] = "folder";
        } else {
            all[entry.path()] = support::file_text(entry.path());
        }
    }
    return all;
}

using Paths = std::set<std::string>;

/* The paths at which two snapshots differ. */
Paths differences(const Snapshot &before, const Snapshot &after)
{
    Paths paths;
    for (const auto &[path, content] : before) {
        auto found = after.find(path);
        if (found == after.end() || found->second != content)
            paths.insert(path);
    }
    for (const auto &[path, content] : after)
        if (!before.contains(path))
            paths.insert(path);
    return paths;
}

void put(const std::string &path, const std::string &content)
{
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

constexpr char image_files[][32] = {"/data/etc/vir.orig", "/data/etc/virext.orig", "/data/lib/libav.so.orig"};

/* An appliance on which every job finds its work. */
void put_everything()
{
    for (const char *path : image_files)
        put(path, std::string("the image's ") + path);
    for (const char *path :
         {"/var/log/vir", "/var/log/vir.lastgood", "/var/log/virext", "/var/log/virext.lastgood", "/var/log/libav.so",
          "/var/log/aven.fc.lastgood", "/var/log/other", "/var/log/autolearn_adom/a/b", "/var/log/wvs/db/a",
          "/var/log/wvs/report/a", "/var/log/wvs/other", "/data/etc/wvs/profile/a", "/data/etc/wvs/other/a",
          "/data/etc/ws_security/root/a", "/data/etc/ws_security/a", "/data/etc/cert/xml_client/root/a",
          "/data/etc/cert/xml_server/root/a", "/data/etc/cert/local/root/a.cer", "/data/etc/other"})
        put(path, std::string("old ") + path);
    put("/data/etc/cert/cert.conf", "[req_distinguished_name]\n");
    put("/etc/cert/mesh_connector/oci_private_key/key.pem", "KEY");
}

/* What a pass over `before` changes on an appliance where everything is as put_everything leaves it. */
Paths changed_by(const std::string &before, int32_t release)
{
    put_everything();
    Snapshot then = snapshot();
    after_walk(before, {1, release, "root"});
    return differences(then, snapshot());
}

const Paths scanner = {"/var/log/wvs/db",        "/var/log/wvs/db/a",   "/var/log/wvs/report",
                       "/var/log/wvs/report/a",  "/data/etc/wvs/other", "/data/etc/wvs/other/a",
                       "/data/etc/wvs/profile/a"};
const Paths auto_learning = {"/var/log/autolearn_adom", "/var/log/autolearn_adom/a", "/var/log/autolearn_adom/a/b"};
const Paths request_template = {"/data/etc/cert/cert.conf"};
const Paths antivirus_5_80 = {"/var/log/vir",      "/var/log/vir.lastgood",
                              "/var/log/virext",   "/var/log/virext.lastgood",
                              "/var/log/libav.so", "/var/log/aven.fc.lastgood"};
const Paths antivirus_6_20 = {"/var/log/vir", "/var/log/vir.lastgood", "/var/log/virext", "/var/log/virext.lastgood",
                              "/var/log/libav.so"};
const Paths web_services = {"/data/etc/ws_security/root/a", "/data/etc/cert/xml_client/root/a",
                            "/data/etc/cert/xml_server/root/a"};
const Paths connector = {"/etc/cert/mesh_connector/oci_private_key/key.pem",
                         "/etc/cert/mesh_connector/oci_private_key/one.key"};

Paths together(std::initializer_list<Paths> parts)
{
    Paths all;
    for (const Paths &part : parts)
        all.insert(part.begin(), part.end());
    return all;
}

constexpr int32_t release_5_70 = 0x50046;
constexpr int32_t release_6_02 = 0x60002;
constexpr int32_t release_6_11 = 0x6000b;

const std::string plain = "config router static\nend\n";
const std::string with_scanner = "config wvs policy\nend\n";
const std::string offline = "config system settings\nset opmode offline-protection\nend\n";

class OnceGuards : public testing::Test {
  protected:
    ApplianceRoot root;
};

} // namespace

/* From 5.70 every job has its turn. In the end the antivirus folder has 6.20's files, which are the same. */
TEST_F(OnceGuards, JobsOfAWholeWalk)
{
    support::expect_in_root(root, [] {
        EXPECT_EQ(together({auto_learning, request_template, antivirus_5_80}), changed_by(plain, release_5_70));
        EXPECT_FALSE(fs::exists("/var/log/vir.lastgood"));
        EXPECT_EQ("the image's /data/lib/libav.so.orig", support::file_text("/var/log/aven.fc.lastgood"));
    });
}

/* In a second file of the process only the jobs of each file are done again. */
TEST_F(OnceGuards, SecondFileOfAProcess)
{
    support::expect_in_root(root, [] {
        EXPECT_EQ(together({scanner, auto_learning, request_template, antivirus_6_20}),
                  changed_by(with_scanner, release_6_02));
        EXPECT_EQ(auto_learning, changed_by(with_scanner, release_6_02));
        EXPECT_EQ(together({auto_learning, antivirus_5_80}), changed_by(plain, release_5_70));
        EXPECT_EQ(Paths{}, changed_by(with_scanner, release_6_11));
    });
}

/* Without the scanner's configuration its folders wait for a later file that has one. */
TEST_F(OnceGuards, ScannerWaitsForItsConfiguration)
{
    support::expect_in_root(root, [] {
        EXPECT_EQ(together({auto_learning, request_template, antivirus_6_20}), changed_by(plain, release_6_02));
        EXPECT_EQ(together({scanner, auto_learning}), changed_by(with_scanner, release_6_02));
        EXPECT_EQ(auto_learning, changed_by(with_scanner, release_6_02));
    });
}

/* Each file says for itself whether web-service security goes. */
TEST_F(OnceGuards, WebServicesPerFile)
{
    support::expect_in_root(root, [] {
        EXPECT_EQ(together({web_services, antivirus_6_20}), changed_by(offline, release_6_11));
        EXPECT_EQ(Paths{}, changed_by(plain, release_6_11));
        EXPECT_EQ(web_services, changed_by(offline, release_6_11));
    });
}

/* The connector's key has no guard: it is renamed whenever it is the only file. */
TEST_F(OnceGuards, ConnectorsKey)
{
    const std::string mesh = "config system mesh-connectors\nset name one\nend\n";
    support::expect_in_root(root, [&] {
        EXPECT_EQ(together({connector, antivirus_6_20}), changed_by(mesh, release_6_11));
        EXPECT_EQ(Paths{}, changed_by(mesh, release_6_11)); /* the old key is back, beside the renamed one */
        fs::remove("/etc/cert/mesh_connector/oci_private_key/one.key");
        EXPECT_EQ(connector, changed_by(mesh, release_6_11));
    });
}

/* The image's own files are never touched, and a job whose release is behind the file is not done. */
TEST_F(OnceGuards, FilesOfTheImagesRelease)
{
    support::expect_in_root(root, [] {
        EXPECT_EQ(Paths{}, changed_by(with_scanner + offline, 0x60014));
        EXPECT_EQ(Paths{}, changed_by(with_scanner + offline, 0x60015));
    });
}

/* New files and folders are nobody else's business: with the umask of the command they are the owner's alone. */
TEST_F(OnceGuards, NewFilesAreTheOwners)
{
    for (const char *path : image_files)
        root.write(path, "x", 0644);
    support::expect_in_root(root, [] { after_walk(with_scanner, {1, release_5_70, "root"}); });
    support::Listing after = root.listing();
    for (const char *path : {"var/log/vir", "var/log/virext", "var/log/libav.so", "var/log/aven.fc.lastgood"})
        EXPECT_EQ(0600u, after.at(path).mode) << path;
    for (const char *path : {"data/etc/wvs", "data/etc/wvs/profile"})
        EXPECT_EQ(0700u, after.at(path).mode) << path;
}
