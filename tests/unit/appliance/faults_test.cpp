/* Whatever call fails: what the stand-in says is true, a stored file is whole, and nothing is left behind. */
#include "failing_calls.h"
#include "files.h"
#include "platform/platform.h"
#include "support/appliance_root.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <cerrno>
#include <cstring>
#include <vector>

using support::ApplianceRoot;
using support::Listing;

namespace {

constexpr char text[] = "config system global\nend\n";

size_t open_descriptors()
{
    size_t count = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator("/proc/self/fd"))
        count++;
    return count;
}

/* What may fail without harm: to close what was read, to look for the target ahead of the copy, and all that follows
 * the renaming. */
bool may_be_passed_over(const FailedCall &failed)
{
    return failed.name.empty() || failed.name == "close" || failed.name == "look at the target" || failed.was_renaming;
}

/* A call that replaces /data/config/new by `wanted`. */
void expect_old_or_new(const ApplianceRoot &root, const std::function<int()> &replace, const std::string &wanted)
{
    std::string target = "/data/config/new";
    root.write(target, "as before");
    Listing before = root.listing();
    size_t  descriptors = open_descriptors();
    int     result = 0;
    auto    work = [&] { result = replace(); };
    with_each_call_failing(EIO, work, [&](const FailedCall &failed) {
        EXPECT_EQ(result == 0, may_be_passed_over(failed)) << failed.name << " " << result;
        EXPECT_EQ(root.read(target), result == 0 ? wanted : "as before") << failed.name;
        EXPECT_EQ(open_descriptors(), descriptors) << failed.name;
        root.write(target, "as before");
        EXPECT_EQ(root.listing(), before) << failed.name;
    });
    with_each_call_failing(EINTR, work, [&](const FailedCall &failed) {
        bool goes_on = failed.name == "read" || failed.name == "write";
        EXPECT_EQ(result == 0, goes_on || may_be_passed_over(failed)) << failed.name;
        EXPECT_EQ(root.read(target), result == 0 ? wanted : "as before") << failed.name;
        root.write(target, "as before");
    });
}

std::string at(const ApplianceRoot &root, const char *path)
{
    return root.path().string() + path;
}

} // namespace

TEST(ApplianceFaults, Packing)
{
    ApplianceRoot root;
    root.write("/data/config/plain", text);
    std::string plain = at(root, "/data/config/plain"), target = at(root, "/data/config/new");
    ASSERT_EQ(cvgzip(plain.c_str(), target.c_str()), 0);
    std::string packed = root.read("/data/config/new");
    expect_old_or_new(
        root, [&] { return cvgzip(plain.c_str(), target.c_str()); }, packed);
}

TEST(ApplianceFaults, Unpacking)
{
    ApplianceRoot root;
    root.write("/data/config/packed", support::gzip(text));
    std::string packed = at(root, "/data/config/packed"), target = at(root, "/data/config/new");
    with_short_transfers([&] { EXPECT_EQ(cvgunzip(packed.c_str(), target.c_str()), 0); });
    EXPECT_EQ(root.read("/data/config/new"), text);
    expect_old_or_new(
        root, [&] { return cvgunzip(packed.c_str(), target.c_str()); }, text);
}

TEST(ApplianceFaults, CopyingAFile)
{
    ApplianceRoot root;
    root.write("/data/config/plain", text);
    std::string plain = at(root, "/data/config/plain"), target = at(root, "/data/config/new");
    expect_old_or_new(
        root, [&] { return copy_file(plain.c_str(), target.c_str()); }, text);
}

/* A copy that fails leaves what it has made by then, each file of it whole. */
TEST(ApplianceFaults, CopyingAFolder)
{
    ApplianceRoot root;
    root.write("/data/etc/cert/a.key", "a key", 0640);
    root.write("/data/etc/cert/below/b.key", "another", 0600);
    root.folder("/data/etc/cert/open", 0755);
    root.link("/data/etc/cert/link", "a.key");
    std::string source = at(root, "/data/etc/cert"), target = at(root, "/data/etc/deep/copy");
    ASSERT_EQ(copy_dir(source.c_str(), target.c_str()), 0);
    Listing whole = root.listing();
    EXPECT_EQ(whole["data/etc/deep/copy/open"].mode, 0755u);
    size_t descriptors = open_descriptors();
    int    result = 0;
    auto   work = [&] { result = copy_dir(source.c_str(), target.c_str()); };
    auto   judge = [&](const FailedCall &failed) {
        Listing found = root.listing();
        EXPECT_EQ(open_descriptors(), descriptors) << failed.name;
        if (result == 0) {
            EXPECT_EQ(found, whole) << failed.name;
        }
        for (const auto &[path, entry] : found) {
            ASSERT_TRUE(whole.contains(path)) << failed.name << " leaves " << path;
            if (entry.type != 'd') {
                EXPECT_EQ(entry, whole[path]) << failed.name << " " << path;
            }
        }
        std::filesystem::remove_all(root.path() / "data/etc/deep");
    };
    std::filesystem::remove_all(root.path() / "data/etc/deep");
    with_each_call_failing(EIO, work, judge);
}

/* What a folder with a new mode gets below a target that was there keeps the mode of that. */
TEST(ApplianceFaults, AFolderWithoutRightsIsAFailure)
{
    ApplianceRoot root;
    root.folder("/data/etc/cert/open", 0755);
    std::string source = at(root, "/data/etc/cert"), target = at(root, "/data/etc/copy");
    int         result = 0;
    auto        work = [&] {
        std::filesystem::remove_all(target);
        result = copy_dir(source.c_str(), target.c_str());
    };
    with_each_call_failing(EACCES, work, [&](const FailedCall &failed) {
        EXPECT_EQ(result == 0, failed.name.empty() || failed.name == "close") << failed.name;
    });
}

/* All pages or none. */
TEST(ApplianceFaults, ReplacementPages)
{
    ApplianceRoot root;
    std::string   sql = "create table replacement_page(name text, code integer, text text);";
    for (int i = 0; i < 40; i++)
        sql += "insert into replacement_page values('page" + std::to_string(i) + "',200,'text');";
    root.database(sql);
    support::expect_in_root(root, [] {
        signature_database *handle = nullptr;
        int                 result = 0;
        auto                work = [&] { result = db_open(&handle); };
        with_each_call_failing(EIO, work, [&](const FailedCall &failed) {
            EXPECT_EQ(result == 0, handle != nullptr) << failed.name;
            EXPECT_TRUE(rmsg_def_page_size == 0 || rmsg_def_page_size == 40) << failed.name << rmsg_def_page_size;
            EXPECT_EQ(rmsg_def_page_size == 0, rmsg_def_pages == nullptr) << failed.name;
            if (handle)
                db_close(handle);
        });
    });
}

TEST(ApplianceFaults, AQuestionToTheDatabase)
{
    ApplianceRoot root;
    root.database("create table t(name text);insert into t values('a'),('b'),('c');");
    support::expect_in_root(root, [] {
        signature_database *handle = nullptr;
        ASSERT_EQ(db_open(&handle), 0);
        with_each_call_failing(
            EIO,
            [&] {
                db_object object = {};
                int       made = init_db_object(&object, handle);
                if (made != 0)
                    return;
                object.add_field(&object, DB_FIELD_TEXT, 8);
                int32_t status = 0;
                int     result = object.run(&object, "select name from t order by name", &status);
                EXPECT_EQ(object.row_count, result == 0 ? 3 : 0) << status;
                EXPECT_EQ(result == 0, status == 0);
                object.release(&object);
            },
            [](const FailedCall &) {});
        db_close(handle);
    });
}

/* A key that cannot be encrypted stays, and that is said. */
TEST(ApplianceFaults, EncryptingAKey)
{
    ApplianceRoot root;
    root.write("/data/etc/key.secret", "passphrase\n");
    EVP_PKEY *key = EVP_EC_gen("P-256");
    BIO      *out = BIO_new(BIO_s_mem());
    char     *bytes = nullptr;
    ASSERT_EQ(PEM_write_bio_PKCS8PrivateKey(out, key, nullptr, nullptr, 0, nullptr, nullptr), 1);
    std::string plain(BIO_get_mem_data(out, &bytes), '\0');
    plain.assign(bytes, plain.size());
    BIO_free_all(out);
    EVP_PKEY_free(key);
    std::vector<char> room(2 * plain.size() + 2);
    size_t            calls = 0;
    auto              encrypt = [&](size_t number) {
        std::copy(plain.begin(), plain.end(), room.begin());
        room[plain.size()] = '"';
        room[plain.size() + 1] = '\0';
        return with_failing_call(number, EIO, [&] { key_encrypt(room.data()); });
    };
    support::expect_in_root(root, [&] {
        FailedCall none = encrypt(0);
        EXPECT_NE(std::string(room.data()).find("ENCRYPTED"), std::string::npos);
        EXPECT_GT(none.calls, 6u);
    });
    calls = 12;
    for (size_t number = 1; number <= calls; number++) {
        bool        is_plain = false, failed = false;
        std::string log = support::expect_in_root(root, [&] {
            FailedCall call = encrypt(number);
            if (call.name.empty() || call.name == "close" || call.name == "malloc")
                return;
            EXPECT_EQ(std::string(room.data()), plain) << call.name;
            fprintf(stderr, "%s failed\n", call.name.c_str());
        });
        failed = log.find(" failed\n") != std::string::npos;
        is_plain = log.find("key_encrypt: ") != std::string::npos;
        EXPECT_EQ(failed, is_plain) << number << ": " << log;
    }
}

/* All names or none, whatever was in the record. */
TEST(ApplianceFaults, GlobalWhiteList)
{
    ApplianceRoot root;
    root.database("create table global_white_list(name text);insert into global_white_list values('a'),('b'),('c');");
    support::expect_in_root(root, [] {
        global_white_list list;
        int               result = 0;
        auto              work = [&] {
            memset(&list, 'x', sizeof list);
            result = global_white_list_read_db(&list);
        };
        with_each_call_failing(EIO, work, [&](const FailedCall &failed) {
            EXPECT_EQ(list.count, result == 0 ? 3 : 0) << failed.name;
            EXPECT_STREQ(list.names[0], result == 0 ? "a" : "") << failed.name;
            EXPECT_STREQ(list.names[3], "");
        });
    });
}

/* The text is on disk before the name is, and then the name. */
TEST(ApplianceFaults, AStoredFileReachesTheDisk)
{
    ApplianceRoot root;
    root.write("/data/config/plain", text);
    std::string plain = at(root, "/data/config/plain"), target = at(root, "/data/config/new");
    size_t      ahead = 0, behind = 0;
    with_each_call_failing(
        EIO, [&] { cvgzip(plain.c_str(), target.c_str()); },
        [&](const FailedCall &failed) {
            ahead += failed.name == "fsync" && !failed.was_renaming ? 1 : 0;
            behind += failed.name == "fsync" && failed.was_renaming ? 1 : 0;
        });
    EXPECT_EQ(ahead, 1u);
    EXPECT_EQ(behind, 1u);
}

TEST(ApplianceFaults, AQuestionOfNothing)
{
    ApplianceRoot root;
    root.database("create table t(name text);");
    support::expect_in_root(root, [] {
        signature_database *handle = nullptr;
        ASSERT_EQ(db_open(&handle), 0);
        EXPECT_EQ(init_db_object(nullptr, handle), -1);
        db_object object = {};
        EXPECT_EQ(init_db_object(&object, nullptr), -1);
        object.row_count = 7;
        ASSERT_EQ(init_db_object(&object, handle), 0);
        EXPECT_EQ(object.row_count, 0);
        int32_t status = 0;
        EXPECT_EQ(object.run(nullptr, "select name from t", &status), -1);
        EXPECT_NE(status, 0);
        object.release(nullptr);
        object.release(&object);
        db_close(handle);
    });
}
