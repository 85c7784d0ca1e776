/* Runs of whole appliances in which one call after another fails. What each call's failure means in its place is
 * tested beside its source. */
#include "sweep.h"

#include "driver/migr.h"
#include "support/files.h"
#include "support/image_line.h"
#include "support/places.h"
#include "support/trees.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <set>
#include <sstream>
#include <string_view>

using namespace support;
namespace fs = std::filesystem;

namespace {

/* A database with its tables and nothing in them. Made once: its making waits for the disk. */
const std::string &empty_database()
{
    static const std::string bytes = [] {
        ApplianceRoot root;
        root.database("create table class_map(main_class_id, sub_class_id, discard);"
                      "create table signature_rule(signature_id, FP_mitigation, score);");
        return root.read("/data/etc/signature.db");
    }();
    return bytes;
}

std::string header_lines(const std::string &version)
{
    bool        as_written = version == "5.10" || version == MIGR_IMAGE_RELEASE;
    std::string stamp = as_written ? IMAGE_STAMP : "-CV-build0100-120101";
    return "#config-version=QA-A1X-" + version + stamp + ":r\n#conf_file_ver=17\n";
}

constexpr char nowhere[] = "config router nowhere\n    set name \"two\nlines\"\n    edit 1\n        set x 1\n"
                           "        config list\n            edit 1\n            next\n        end\n    next\nend\n";
constexpr char settings[] = "config server-policy setting\nend\n";

constexpr char global_file[] = "/data/config/sys_global.conf.gz";
constexpr char domain_file[] = "/data/config/sys_domain.root.conf.gz";

/* A global file and one domain, of a few lines each, that no migration changes: every mechanism runs, and what comes
 * out is known whatever fails. */
const sweep::Appliance smallest = {
    .lay_out =
        [](const ApplianceRoot &root) {
            root.write("/data/etc/update_config", "");
            root.write("/data/etc/signature.db", empty_database());
            root.write_gzip(global_file, header_lines("5.40") + settings + nowhere);
            root.write_gzip(domain_file, header_lines("5.40") + settings + nowhere);
        },
    .stored = {global_file, domain_file},
    .may_stop_at = {},
    .touched = {},
};

/* One file of the time before domains, of such lines too: the split, and then a pass for each of the two files. */
const sweep::Appliance before_domains = {
    .lay_out =
        [](const ApplianceRoot &root) {
            root.write("/data/etc/update_config", "[5.1]\n[DELETE]\n<router nowhere><no such set>\n[5.10]\n");
            root.write("/etc/syntax_v510.txt", "GLOBAL TABLE \"router nowhere\"\n"
                                               "DOMAIN COMPLEX \"server-policy setting\"\n");
            root.write("/data/etc/signature.db", empty_database());
            root.write_gzip(global_file, header_lines("5.0") + settings + nowhere);
        },
    .stored = {global_file, domain_file},
    .may_stop_at =
        [](const std::string &path, const std::string &text) {
            if (path == domain_file)
                return text == header_lines("5.10") + settings;
            /* Without memory the walk does not give the global file the settings that the domain took along. */
            return text == header_lines("5.10") + nowhere || text == header_lines(MIGR_IMAGE_RELEASE) + nowhere;
        },
    /* The split leaves a text behind that it could not store, and runs from before 5.20 end in file jobs. */
    .touched = {"tmp/system_global.conf", "tmp/system_domain.root.conf", "data/etc/cert", "data/etc/globalcert"},
};

constexpr size_t every_call = SIZE_MAX;

/* How many calls of a large sweep fail in a usual test; MIGR_FAULT_POINTS=1000 is for an afternoon after larger
 * changes. */
size_t points(size_t usual)
{
    const char *wanted = getenv("MIGR_FAULT_POINTS");
    return wanted ? strtoul(wanted, nullptr, 10) : usual;
}

/* All calls of a small sweep, but only that many where each child looks for leaks and takes its time. */
size_t all_or(size_t with_sanitizers)
{
    return is_sanitized() ? points(with_sanitizers) : every_call;
}

TEST(Faults, EachAllocationOfTheSmallestAppliance)
{
    EXPECT_GT(sweep::run(smallest, faults::Kind::memory, faults::Span::once, every_call), 30u);
}

TEST(Faults, MemoryRunsOutForGoodInTheSmallestAppliance)
{
    EXPECT_GT(sweep::run(smallest, faults::Kind::memory, faults::Span::for_good, all_or(30)), 30u);
}

TEST(Faults, EachFileCallOfTheSmallestAppliance)
{
    EXPECT_GT(sweep::run(smallest, faults::Kind::files, faults::Span::once, every_call), 50u);
}

TEST(Faults, EachAllocationOfASplit)
{
    EXPECT_GT(sweep::run(before_domains, faults::Kind::memory, faults::Span::once, all_or(60)), 50u);
}

TEST(Faults, EachFileCallOfASplit)
{
    EXPECT_GT(sweep::run(before_domains, faults::Kind::files, faults::Span::once, all_or(60)), 100u);
}

/* The branch office's appliance, with the image's own files, so that migrations have something to do. Nearly all of
 * them go on without what they could not have, so a stored file may come out otherwise; but it stays a whole
 * configuration of the release that its first line names. */

std::string with_release(std::string text, const std::string &release)
{
    size_t number = text.find("5.50-");
    return text.replace(number, strlen("5.50"), release);
}

void lay_out_branch_office(const ApplianceRoot &root, const std::string &release)
{
    fs::path sample = source_path("/samples/branch-office-5.50");
    fs::path image = build_path("/image");
    for (const char *part : {"data/etc", "var"})
        fs::copy(sample / part, root.path() / part, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    for (const fs::directory_entry &file : fs::directory_iterator(sample / "data/config"))
        root.write_gzip("/data/config/" + file.path().filename().string() + ".gz",
                        with_release(support::file_text(file.path()), release));
    for (const char *name : {"update_config", "system.conf.predefine", "signature.db"})
        root.write("/data/etc/" + std::string(name), support::file_text(image / name));
    root.write("/etc/syntax_v510.txt", support::file_text(image / "syntax_v510.txt"));
}

/* What migrations add may have a blank too many ahead of its name or behind it, which does not read back. */
std::string without_blanks(std::string text)
{
    std::erase(text, ' ');
    return text;
}

/* A few migrations leave a set without a value when there is no memory for one. Such a line does not read back. */
bool is_bare_set(std::string_view line)
{
    static constexpr std::string_view word = "set ";
    size_t                            at = line.find_first_not_of(' ');
    return at != line.npos && at > 0 && line.substr(at).starts_with(word) && line.size() > at + word.size() &&
           line.find(' ', at + word.size()) == line.npos;
}

std::string without_bare_sets(const std::string &text)
{
    std::string left;
    for (size_t start = 0, end = 0; end < text.size(); start = end + 1) {
        end = std::min(text.find('\n', start), text.size());
        if (end == text.size() || !is_bare_set(std::string_view(text).substr(start, end - start)))
            left.append(text, start, end + 1 - start);
    }
    return left;
}

/* Two header lines as the image writes them, and a configuration that reads back as it is written. */
bool is_whole_configuration(const std::string &, const std::string &text)
{
    size_t second = text.find('\n') + 1;
    size_t body = text.find('\n', second) + 1;
    if (text.find(IMAGE_STAMP ":") > second || text.compare(second, 15, "#conf_file_ver=") != 0)
        return false;
    std::string configuration = without_bare_sets(text.substr(body));
    bool        parsed = parse(configuration) == 0;
    bool        same = without_blanks(written(&migr_main.root)) == without_blanks(configuration);
    migr_release_nodes();
    return parsed && same;
}

sweep::Appliance branch_office(const std::string &release)
{
    return {
        .lay_out = [release](const ApplianceRoot &root) { lay_out_branch_office(root, release); },
        .stored = {global_file, domain_file, "/data/config/sys_domain.shop.conf.gz"},
        .may_stop_at = is_whole_configuration,
        .touched = {"data/etc/", "var/log", "tmp/system_"},
    };
}

class BranchOffice : public testing::TestWithParam<std::string> {};

TEST_P(BranchOffice, Allocations)
{
    EXPECT_GT(sweep::run(branch_office(GetParam()), faults::Kind::memory, faults::Span::once, points(20)), 1000u);
}

TEST_P(BranchOffice, MemoryRunsOutForGood)
{
    EXPECT_GT(sweep::run(branch_office(GetParam()), faults::Kind::memory, faults::Span::for_good, points(10)), 1000u);
}

TEST_P(BranchOffice, FileCalls)
{
    EXPECT_GT(sweep::run(branch_office(GetParam()), faults::Kind::files, faults::Span::once, points(20)), 200u);
}

INSTANTIATE_TEST_SUITE_P(Releases, BranchOffice, testing::Values("5.50", "4.10"));

/* Calls that may fail. When the library begins to use one of them that is not swept yet, faults.cpp has to learn how
 * it fails, and sources.cmake its name. */
constexpr char fallible[] =
    "aligned_alloc asprintf calloc getdelim getline malloc memalign mmap open_memstream posix_memalign "
    "realloc reallocarray realpath strdup strndup tsearch vasprintf access chdir chmod chown close "
    "closedir copy_file_range creat dirfd dup dup2 execv fchmod fchown fclose fdopen fdopendir fflush "
    "fgetc fgets fgets_unlocked fileno flock fopen fopen64 fork fprintf fputc fputs fread freopen fseek fseeko fstat "
    "fstatat fsync ftell ftruncate fts_open ftw fwrite fwrite_unlocked getc glob lchown link lseek lstat "
    "mkdir mkdirat mkdtemp mkstemp mount nftw open open64 openat opendir popen pread putc pwrite read "
    "readdir readlink readv rename renameat rewinddir rmdir scandir sendfile stat statfs symlink system "
    "tmpfile truncate unlink unlinkat utime utimensat vfprintf write writev copy_dir copy_file "
    "crwinit_cert_dir cvgunzip cvgzip db_open global_white_list_read_db init_db_object ";

/* On an open stream it cannot fail. */
constexpr char safe[] = "fileno";

std::set<std::string> words_of(const std::string &text)
{
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

/* What the library leaves to others. */
std::set<std::string> calls_of_the_library()
{
    std::set<std::string> calls;
    FILE                 *undefined = popen(("nm -u " + program_path("/libmigr.a")).c_str(), "r");
    char                  line[4096];
    char                  name[4096];
    while (undefined && fgets(line, sizeof line, undefined))
        if (sscanf(line, " U %4095s", name) == 1)
            calls.insert(name);
    EXPECT_TRUE(undefined && pclose(undefined) == 0);
    return calls;
}

TEST(Faults, EveryCallThatMayFailIsSwept)
{
    std::set<std::string> swept = words_of(SWEPT_CALLS);
    std::set<std::string> used = calls_of_the_library();
    swept.merge(words_of(safe));
    EXPECT_TRUE(used.contains("malloc"));
    for (const std::string &call : words_of(fallible))
        EXPECT_TRUE(!used.contains(call) || swept.contains(call)) << call;
}

} // namespace
