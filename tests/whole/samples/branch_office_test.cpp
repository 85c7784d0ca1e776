/* The branch office's appliance at release 5.50: its files are what the system reads, and its upgrade shows something.
 */
#include "driver/migr.h"
#include "driver/upgrade_run.h"
#include "platform/platform.h"
#include "support/appliance_root.h"
#include "support/files.h"
#include "support/image_line.h"
#include "support/places.h"
#include "support/second_book.h"
#include "tree/config_text.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <sstream>

namespace fs = std::filesystem;
using support::ApplianceRoot;

constexpr int32_t RELEASE_5_50 = 0x50032;

static const char *const CONFIGS[] = {"sys_global", "sys_domain.root", "sys_domain.shop"};

static fs::path in_sample(const std::string &path)
{
    return support::source_path("/samples/branch-office-5.50") + path;
}

static std::string config_text(const std::string &name)
{
    return support::file_text(in_sample("/data/config/" + name + ".conf"));
}

/* The sample as a root folder, with the image's signature database. */
static void lay_out(const ApplianceRoot &root)
{
    fs::remove_all(root.path());
    std::string command = support::source_path("/samples/lay_out branch-office-5.50 ") + root.path().string();
    ASSERT_EQ(system(command.c_str()), 0);
    root.write("/data/etc/signature.db", support::file_text(support::build_path("/image/signature.db")));
}

static std::string behind_headers(const std::string &text)
{
    size_t first = text.find('\n');
    return text.substr(text.find('\n', first + 1) + 1);
}

TEST(BranchOffice, EveryFileSaysItsRelease)
{
    for (const char *name : CONFIGS) {
        std::string text = config_text(name);
        EXPECT_EQ(text.rfind("#config-version=QA-A1X-5.50-CV-build0601-170328:", 0), 0u) << name;
        EXPECT_NE(text.find("\n#conf_file_ver="), std::string::npos) << name;
        EXPECT_GE(std::count(text.begin(), text.end(), '\n'), 400) << name;

        ApplianceRoot root;
        lay_out(root);
        std::string path = std::string("/data/config/") + name + ".conf.gz";
        auto        result = support::run_in_root(root.path(), [&path] {
            EXPECT_EQ(get_config_version(path.c_str()), RELEASE_5_50);
            return 0;
        });
        EXPECT_EQ(result.exit_code, 0) << result.out;
    }
}

/* Release 5.50 wrote these files, so what the writer gives for the unchanged tree is the file. */
TEST(BranchOffice, EveryFileComesBackAsItIs)
{
    for (const char *name : CONFIGS) {
        ApplianceRoot root;
        root.write("/tmp/config", config_text(name));
        auto result = support::run_in_root(root.path(), [] {
            EXPECT_EQ(setup_tree(&migr_main, "/tmp/config"), 0);
            FILE *stream = fopen("/tmp/again", "w");
            write_node(&migr_main.root, 0, stream);
            fclose(stream);
            free_node(&migr_main.root);
            return 0;
        });
        ASSERT_EQ(result.exit_code, 0) << name << result.out;
        EXPECT_EQ(root.read("/tmp/again"), behind_headers(config_text(name))) << name;
    }
}

/* Names of the edits of a top-level block, without quotes, in the text as the writer lays it out. */
static std::vector<std::string> edits_of(const std::string &text, const std::string &block)
{
    std::vector<std::string> names;
    size_t                   at = text.find("\nconfig " + block + "\n");
    std::istringstream       lines(at == std::string::npos ? "" : text.substr(at + 1));
    for (std::string line; std::getline(lines, line) && line != "end";) {
        if (line.rfind("    edit ", 0) != 0)
            continue;
        std::string name = line.substr(9);
        name.erase(std::remove(name.begin(), name.end(), '"'), name.end());
        names.push_back(name);
    }
    return names;
}

TEST(BranchOffice, CertificatesHaveTheirFiles)
{
    const struct {
        const char *block, *folder, *extension;
    } kinds[] = {
        {"system certificate ca", "ca", ".cer"},
        {"system certificate intermediate-certificate", "intmed", ".cer"},
        {"system certificate crl", "crl", ".crl"},
    };
    for (const char *domain : {"root", "shop"}) {
        std::string text = config_text(std::string("sys_domain.") + domain);
        for (const auto &kind : kinds) {
            std::vector<std::string> names = edits_of(text, kind.block);
            EXPECT_FALSE(names.empty()) << kind.block;
            for (const std::string &name : names) {
                fs::path file = in_sample("/data/etc/cert/" + std::string(kind.folder) + "/" + domain + "/" + name +
                                          kind.extension);
                EXPECT_TRUE(fs::exists(file)) << file;
            }
        }
    }
}

/* A file of 4094 bytes or more would stay out of the configuration. */
TEST(BranchOffice, CertificateFilesFitTheConfiguration)
{
    int files = 0;
    for (const char *folder : {"/data/etc/cert", "/data/etc/globalcert"}) {
        for (const fs::directory_entry &found : fs::recursive_directory_iterator(in_sample(folder))) {
            if (!found.is_regular_file())
                continue;
            files++;
            EXPECT_GE(found.file_size(), 1u) << found.path();
            EXPECT_LE(found.file_size(), 4092u) << found.path();
        }
    }
    EXPECT_GE(files, 25);
}

/* What the text names as nine digits in an edit or as a filter's signature. */
static std::set<std::string> identifiers_in(const std::string &text)
{
    std::set<std::string> found;
    std::istringstream    lines(text);
    for (std::string line; std::getline(lines, line);) {
        size_t quote = line.find('"');
        bool   names = line.find("edit \"") != std::string::npos || line.find("signature_id \"") != std::string::npos;
        if (names && line.size() == quote + 11 && line.find_first_not_of("0123456789", quote + 1) == quote + 10)
            found.insert(line.substr(quote + 1, 9));
    }
    return found;
}

static bool image_knows(sqlite3 *database, const std::string &id)
{
    std::string sql = "select exists(select 1 from signature_rule where signature_id='" + id +
                      "') or exists(select 1 from class_map where '" + id +
                      "' in (main_class_id, sub_class_id) and discard=0)";
    sqlite3_stmt *statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr), SQLITE_OK);
    bool known = sqlite3_step(statement) == SQLITE_ROW && sqlite3_column_int(statement, 0) == 1;
    sqlite3_finalize(statement);
    return known;
}

TEST(BranchOffice, NamesSignaturesThatAreKnownAndSomeThatAreGone)
{
    sqlite3 *database = nullptr;
    ASSERT_EQ(
        sqlite3_open_v2(support::build_path("/image/signature.db").c_str(), &database, SQLITE_OPEN_READONLY, nullptr),
        SQLITE_OK);
    for (const char *name : {"sys_domain.root", "sys_domain.shop"}) {
        std::set<std::string> ids = identifiers_in(config_text(name));
        auto known = std::count_if(ids.begin(), ids.end(), [&](const auto &id) { return image_knows(database, id); });
        EXPECT_GE(known, 20) << name;
        EXPECT_GE(static_cast<long>(ids.size()) - known, 10) << name;
    }
    sqlite3_close(database);
}

TEST(BranchOffice, UpgradeCarriesEveryFileToTheImage)
{
    ApplianceRoot root;
    lay_out(root);
    root.write("/data/etc/update_config", support::file_text(support::build_path("/image/update_config")));
    root.write("/data/etc/system.conf.predefine",
               support::file_text(support::build_path("/image/system.conf.predefine")));
    root.write("/etc/syntax_v510.txt", support::file_text(support::build_path("/image/syntax_v510.txt")));
    auto result = support::run_in_root(root.path(), [] {
        support::keep_second_book();
        migr_main_do_all();
        return 0;
    });
    ASSERT_EQ(result.exit_code, 0) << result.out << result.err;
    for (const char *name : CONFIGS) {
        std::string text = root.read_gzip("/data/config/" + std::string(name) + ".conf.gz");
        EXPECT_EQ(text.rfind("#config-version=QA-A1X-" IMAGE_VERSION ":", 0), 0u) << name;
        EXPECT_EQ(text, root.read("/var/log/" + std::string(name) + ".conf")) << name;
        EXPECT_NE(behind_headers(text), behind_headers(config_text(name))) << name;
    }
}
