/* Runs data-driven cases: case_runner FOLDER|FILE... [GoogleTest options]. README.md beside this file has the format.
 */
#include "cases/case_file.h"

#include "chain/hardcode.h"
#include "driver/migr.h"
#include "driver/upgrade_run.h"
#include "rules/rules.h"
#include "signature/reconcile.h"
#include "support/appliance_root.h"
#include "support/second_book.h"
#include "tree/config_text.h"
#include "tree/node_store.h"
#include "tree/version_text.h"
#include "walk/walk.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;
using cases::Case;
using cases::DiskEntry;
using cases::Pass;
using support::ApplianceRoot;

/* ---- In the child process ---- */

static int report_fd = -1; /* what the child tells its parent */

static void report(char tag, const std::string &text)
{
    std::string record = tag + std::to_string(text.size()) + "\n" + text;
    if (write(report_fd, record.data(), record.size()) != static_cast<ssize_t>(record.size()))
        _exit(74);
}

void migr_on_stall(const char *where)
{
    report('S', where);
    fflush(nullptr);
    _exit(0);
}

static int32_t release_code(const std::string &release)
{
    size_t point = release.find('.');
    return version_code(std::stoi(release), point == std::string::npos ? 0 : std::stoi(release.substr(point + 1)));
}

static void begin_pass(const Pass &pass)
{
    memset(&migr_main, 0, sizeof migr_main);
    migr_list_init(&migr_main.update_list);
    migr_main.mode = pass.mode == "global" ? MIGR_GLOBAL : pass.mode == "domain" ? MIGR_DOMAIN : MIGR_MACHINE_LEARNING;
    migr_main.cfg_version = release_code(pass.release);
    migr_main.img_version = MIGR_RELEASE_IMAGE;
    std::string line = pass.version_line;
    if (line.empty())
        line = "#config-version=QA-A1X-" + pass.release + "-CV-build0600-170101:x";
    std::string model = pass.model.value_or(line.substr(std::min<size_t>(line.size(), 17)));
    snprintf(bak_line, sizeof bak_line, "%s\n", line.c_str());
    snprintf(migr_main.model_text, sizeof migr_main.model_text, "%s", model.c_str());
    snprintf(migr_main.adom_name, sizeof migr_main.adom_name, "%s", pass.domain.c_str());
}

static int32_t parse(const std::string &text)
{
    FILE *stream = fopen("/tmp/case-input", "w");
    fprintf(stream, "#config-version=thrown away\n");
    fwrite(text.data(), 1, text.size(), stream);
    fclose(stream);
    int32_t result = setup_tree(&migr_main, "/tmp/case-input");
    unlink("/tmp/case-input");
    return result;
}

static std::string written()
{
    char  *text = nullptr;
    size_t size = 0;
    FILE  *stream = open_memstream(&text, &size);
    write_node(&migr_main.root, 0, stream);
    fclose(stream);
    std::string result(text, size);
    free(text);
    return result;
}

static stage_table *find_stage(int32_t version)
{
    int32_t type = migr_main.mode == MIGR_MACHINE_LEARNING ? STAGE_ML : STAGE_ADOM;
    for (stage_table *const *stage = all_stages; *stage; stage++)
        if ((*stage)->version == version && (*stage)->type == type)
            return *stage;
    return nullptr;
}

static int32_t run_stage(const std::string &version)
{
    stage_table *stage = find_stage(static_cast<int32_t>(std::stol(version, nullptr, 0)));
    if (!stage) {
        report('E', "no such stage: " + version);
        return -1;
    }
    prepare_stage(stage);
    walk_stage(&migr_main, stage);
    return 0;
}

static int32_t run_row(const std::string &callback)
{
    for (stage_table *const *stage = all_stages; *stage; stage++)
        for (int32_t i = 0; i < (*stage)->row_count; i++) {
            if (callback != (*stage)->rows[i].name)
                continue;
            stage_table alone = **stage;
            alone.rows += i;
            alone.row_count = 1;
            prepare_stage(&alone);
            walk_stage(&migr_main, &alone);
            return 0;
        }
    report('E', "no such callback: " + callback);
    return -1;
}

static int32_t run_step(const std::string &version)
{
    update_section section = {};
    section.version = static_cast<int32_t>(std::stol(version, nullptr, 0));
    return migr_hardcode(&section);
}

static int32_t run_migration(const std::vector<std::string> &run)
{
    void *function = run.size() > 1 ? dlsym(RTLD_DEFAULT, run[1].c_str()) : nullptr;
    if (!function) {
        report('E', "no such migration");
        return -1;
    }
    if (run.size() > 2)
        return reinterpret_cast<int32_t (*)(const char *)>(function)(run[2].c_str());
    return reinterpret_cast<int32_t (*)()>(function)();
}

/* What adjust_tree does with the update file, without the version chain and the walk. */
static int32_t run_rules()
{
    if (__build_updatefile_tree() != 0)
        return -1;
    migr_list *sections = &migr_main.update_list;
    for (migr_list *link = sections->next; link != sections; link = link->next) {
        update_section *section = section_of(link);
        if (process_delete(&section->delete_list) != 0 ||
            process_modify(&section->modify_list, 0, section->version) != 0 ||
            process_modify(&section->readd_list, 1, section->version) != 0)
            return -1;
    }
    return 0;
}

static int32_t run_mechanism(const std::vector<std::string> &run)
{
    const std::string &what = run[0];
    if (what == "stage")
        return run_stage(run.at(1));
    if (what == "row")
        return run_row(run.at(1));
    if (what == "walk")
        return new_config_update(&migr_main);
    if (what == "step")
        return run_step(run.at(1));
    if (what == "migration")
        return run_migration(run);
    if (what == "adjust")
        return adjust_tree();
    if (what == "rules")
        return run_rules();
    if (what == "reconcile")
        return sync_cli_with_sig_db();
    if (what != "parse")
        report('E', "unknown: " + what);
    return 0;
}

static void run_pass(const Case &test, const Pass &pass)
{
    begin_pass(pass);
    if (pass.same) {
        parse(pass.before);
        report('U', written());
        migr_release_nodes();
    }
    int32_t result = parse(pass.before);
    if (result == 0)
        result = run_mechanism(test.run);
    else if (test.run[0] != "parse")
        report('E', "the text before does not parse");
    support::check_second_book();
    report('R', std::to_string(result));
    report('T', written());
    free_migr_tree();
    free_node(&migr_main.root);
    forget_pass_nodes();
    migr_release_nodes();
}

static int run_case(const Case &test)
{
    support::keep_second_book();
    tmp_tree_root = {};
    tmp_tree_root.kind = MIGR_ROOT;
    if (test.database)
        global_sig_db_open();
    for (const Pass &pass : test.passes)
        run_pass(test, pass);
    free_tmp_tree();
    global_sig_db_close();
    free_sigid_list();
    support::close_second_book();
    return 0;
}

/* ---- In the parent ---- */

struct PassReport {
    std::string                unchanged;
    std::string                result;
    std::string                text;
    std::optional<std::string> stalled;
};

/* Reads the child's records; a 'T' or 'S' ends a pass. */
static std::vector<PassReport> read_reports(int fd, std::string *errors)
{
    std::string all(static_cast<size_t>(lseek(fd, 0, SEEK_END)), '\0');
    if (pread(fd, all.data(), all.size(), 0) != static_cast<ssize_t>(all.size()))
        *errors += "no report\n";
    std::vector<PassReport> reports;
    PassReport              current;
    for (size_t at = 0; at < all.size();) {
        char        tag = all[at];
        size_t      newline = all.find('\n', at);
        size_t      length = std::stoul(all.substr(at + 1, newline - at - 1));
        std::string text = all.substr(newline + 1, length);
        at = newline + 1 + length;
        if (tag == 'E')
            *errors += text + "\n";
        if (tag == 'U')
            current.unchanged = text;
        if (tag == 'R')
            current.result = text;
        if (tag != 'T' && tag != 'S')
            continue;
        if (tag == 'S')
            current.stalled = text;
        else
            current.text = text;
        reports.push_back(current);
        current = {};
    }
    return reports;
}

static void lay_out(const ApplianceRoot &root, const Case &test)
{
    for (const DiskEntry &entry : test.before) {
        if (entry.verb == "folder")
            root.folder(entry.path, entry.mode.value_or(0700));
        else if (entry.verb == "link")
            root.link(entry.path, entry.content);
        else
            root.write(entry.path, entry.content, entry.mode.value_or(0600));
    }
    if (test.database)
        root.database(*test.database);
}

static void expect_gone(support::Listing *expected, const std::string &path)
{
    EXPECT_TRUE(expected->contains(path)) << path << " was not there to go";
    std::erase_if(*expected,
                  [&](const auto &entry) { return entry.first == path || entry.first.rfind(path + "/", 0) == 0; });
}

/* The disk as the case expects it: what was there, with the changes it names. Modes it does not name may be any. */
static support::Listing expected_listing(const Case &test, support::Listing expected, const support::Listing &actual)
{
    for (const DiskEntry &entry : test.after) {
        std::string path = fs::path(entry.path).relative_path().string();
        if (entry.verb == "gone") {
            expect_gone(&expected, path);
            continue;
        }
        auto     found = actual.find(path);
        unsigned mode = entry.mode.value_or(found == actual.end() ? 0 : found->second.mode);
        char     type = entry.verb == "made" ? 'd' : entry.verb == "becomes" ? 'f' : 'l';
        expected[path] = {type, mode, type == 'd' ? "" : entry.content};
    }
    return expected;
}

static void compare_disk(const support::Listing &expected, const support::Listing &actual)
{
    for (const auto &[path, entry] : expected) {
        auto found = actual.find(path);
        if (found == actual.end()) {
            ADD_FAILURE() << path << " is gone";
            continue;
        }
        EXPECT_EQ(entry.type, found->second.type) << path;
        EXPECT_EQ(entry.mode, found->second.mode) << path;
        EXPECT_EQ(entry.content, found->second.content) << path;
    }
    for (const auto &[path, entry] : actual)
        if (!expected.contains(path))
            ADD_FAILURE() << path << " appeared: " << entry.content.substr(0, 200);
}

static void compare_passes(const Case &test, const std::vector<PassReport> &reports)
{
    ASSERT_EQ(test.passes.size(), reports.size());
    for (size_t i = 0; i < reports.size(); i++) {
        const Pass &pass = test.passes[i];
        SCOPED_TRACE("pass " + std::to_string(i + 1));
        EXPECT_EQ(pass.stalls, reports[i].stalled);
        if (pass.fails) {
            EXPECT_EQ("-1", reports[i].result);
        } else if (test.run[0] == "rules" || test.run[0] == "adjust") {
            EXPECT_EQ("0", reports[i].result);
        }
        if (pass.same) {
            EXPECT_EQ(reports[i].unchanged, reports[i].text);
        }
        if (pass.after) {
            EXPECT_EQ(*pass.after, reports[i].text);
        }
    }
}

class CaseTest : public testing::Test {
  public:
    explicit CaseTest(std::string file) : file_(std::move(file)) {}

    void TestBody() override
    {
        Case          test = cases::read_case(file_);
        ApplianceRoot root;
        lay_out(root, test);
        support::Listing before = root.listing();
        report_fd = memfd_create("report", 0);
        support::ChildResult child = support::run_in_root(root.path(), [&] { return run_case(test); });
        std::string          errors;
        auto                 reports = read_reports(report_fd, &errors);
        close(report_fd);
        EXPECT_EQ(0, child.exit_code) << "signal " << child.signal << "\n" << child.err;
        EXPECT_EQ("", errors);
        compare_passes(test, reports);
        EXPECT_EQ(test.prints, child.out);
        if (test.logs) {
            EXPECT_EQ(*test.logs, child.err);
        }
        support::Listing after = root.listing();
        compare_disk(expected_listing(test, before, after), after);
    }

  private:
    std::string file_;
};

static std::vector<fs::path> case_files(const fs::path &given)
{
    if (!fs::is_directory(given))
        return {given};
    std::vector<fs::path> files;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(given))
        if (entry.path().extension() == ".case")
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

int main(int count, char **arguments)
{
    testing::InitGoogleTest(&count, arguments);
    size_t found = 0;
    for (int i = 1; i < count; i++)
        for (const fs::path &file : case_files(arguments[i])) {
            std::string suite = file.parent_path().filename().string();
            testing::RegisterTest(suite.c_str(), file.stem().c_str(), nullptr, nullptr, file.c_str(), 1,
                                  [file]() -> testing::Test * { return new CaseTest(file.string()); });
            found++;
        }
    if (found == 0) {
        fprintf(stderr, "case_runner: no *.case file below the given folders\n");
        return 2;
    }
    return RUN_ALL_TESTS();
}
