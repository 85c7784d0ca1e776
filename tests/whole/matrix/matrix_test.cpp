/*
 * No release is without a road: the files of every release that the update file, the version chain or the stages name,
 * from 3.30 on, come out at the image's release, parse, and are left alone by a second run.
 */
#include "driver/migr.h"
#include "driver/version_lines.h"
#include "support/appliance_root.h"
#include "support/files.h"
#include "support/patterns.h"
#include "support/places.h"
#include "support/second_book.h"
#include "support/trees.h"
#include "walk/stages.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <set>

namespace fs = std::filesystem;
using support::ApplianceRoot;

namespace {

std::string release_text(int32_t version)
{
    return std::to_string(version >> 16) + "." + std::to_string(version & 0xffff);
}

/* A block that no rule, step or stage knows: several lines in a value, quotes, escapes, unusual names. */
constexpr char unknown_block[] = R"(config nobody knows this-block
    set plain a  b   c
    set quoted "say \"hello\" \\"
    set "two words" "first line
   config not a block
	end of the "quote" is still open \"
last line"
    set percent 100%%d%s%n
    edit "an \ entry"
        set $HOME `reboot`
        config Deep
            set x '"'
        end
    next
    config inner
        edit 1
        next
    end
end
)";

/* The tree from which all files are made: what the sample appliance has in its global file and in one domain. */
struct RichTree {
    std::string global;
    std::string domain;
};

/* A file's text without its two header lines. */
std::string body_of(const std::string &text)
{
    return text.substr(text.find('\n', text.find('\n') + 1) + 1);
}

const RichTree &rich_tree()
{
    static const RichTree tree = [] {
        fs::path config = support::source_path("/samples/branch-office-5.50/data/config");
        return RichTree{body_of(support::file_text(config / "sys_global.conf")),
                        unknown_block + body_of(support::file_text(config / "sys_domain.root.conf")) +
                            "config system default_rptlang\n    set language english\nend\n"};
    }();
    return tree;
}

std::string file_of(const std::string &release, const std::string &body)
{
    return "#config-version=QA-A1X-" + release + "-CV-build0100-120101:opmode=0:vdom=0\n#conf_file_ver=4711\n" + body;
}

std::set<int32_t> all_releases()
{
    std::set<int32_t> releases = {(3 << 16) + 30, (3 << 16) + 99};
    std::string       update_file = support::file_text(support::build_path("/image/update_config"));
    for (const support::Groups &section : support::all_groups(update_file, R"((?:^|\n)\[(\d+)\.(\d+)\])"))
        releases.insert((std::stoi(section[1]) << 16) + std::stoi(section[2]));
    for (stage_table *const *stage = all_stages; *stage; stage++)
        releases.insert((*stage)->version);
    /* One release ahead of each as well: it gets all that the release brings. */
    for (int32_t release : std::set<int32_t>(releases))
        if ((release & 0xffff) > 0)
            releases.insert(release - 1);
    releases.erase(MIGR_RELEASE_IMAGE);
    return releases;
}

constexpr char global_file[] = "/data/config/sys_global.conf.gz";
constexpr char domain_file[] = "/data/config/sys_domain.root.conf.gz";

void lay_out(const ApplianceRoot &root, int32_t version)
{
    fs::path image = support::build_path("/image");
    root.write("/data/etc/update_config", support::file_text(image / "update_config"));
    root.write("/data/etc/system.conf.predefine", support::file_text(image / "system.conf.predefine"));
    root.write("/data/etc/signature.db", support::file_text(image / "signature.db"));
    root.write("/etc/syntax_v510.txt", support::file_text(image / "syntax_v510.txt"));
    std::string release = release_text(version);
    if (version < MIGR_RELEASE(5, 10)) {
        root.write_gzip(global_file, file_of(release, rich_tree().global + rich_tree().domain));
        return;
    }
    root.write_gzip(global_file, file_of(release, rich_tree().global));
    root.write_gzip(domain_file, file_of(release, rich_tree().domain));
}

void expect_done(const ApplianceRoot &root, const std::function<void()> &work)
{
    support::ChildResult child = support::run_in_root(root.path(), [&] {
        work();
        return 0;
    });
    EXPECT_EQ(0, child.exit_code) << "signal " << child.signal << "\n" << child.out << child.err;
}

void upgrade()
{
    support::keep_second_book();
    migr_main_do_all();
}

/* Only for files that are there; inside the root folder. */
void expect_image_release()
{
    for (const char *path : {global_file, domain_file})
        EXPECT_EQ(get_config_version(path), MIGR_RELEASE_IMAGE) << path;
}

void expect_whole(const ApplianceRoot &root, const std::string &path)
{
    ASSERT_TRUE(root.exists(path)) << path;
    support::TextFile plain(root.read_gzip(path));
    EXPECT_EQ(0, setup_tree(&migr_main, plain.path())) << path << " does not parse";
    EXPECT_NE(nullptr, migr_main.root.top_list) << path << " is empty";
    migr_release_nodes();
}

} // namespace

TEST(Matrix, EveryReleaseHasARoad)
{
    for (int32_t version : all_releases()) {
        SCOPED_TRACE("release " + release_text(version));
        ApplianceRoot root;
        lay_out(root, version);
        expect_done(root, upgrade);
        expect_whole(root, global_file);
        expect_whole(root, domain_file);
        if (testing::Test::HasFailure())
            return;

        support::Listing once = root.listing();
        expect_done(root, [] {
            expect_image_release();
            upgrade();
        });
        EXPECT_TRUE(once == root.listing()) << "a second upgrade changed something";

        /* Before 5.10 a block that the syntax file does not name is lost in the split. */
        bool kept = root.read_gzip(domain_file).find(unknown_block) != std::string::npos;
        EXPECT_EQ(version >= MIGR_RELEASE(5, 10), kept) << "the block that nothing knows";
    }
}

TEST(Matrix, AReleaseNewerThanTheImageIsLeftAlone)
{
    ApplianceRoot root;
    lay_out(root, MIGR_RELEASE_IMAGE + 1);
    support::Listing before = root.listing();
    expect_done(root, upgrade);
    EXPECT_TRUE(before == root.listing());
}
