/*
 * The walk spares rows the configs on which they do not act (all_reaches). Random configurations go through all stages
 * twice, as they are and with every row called at every visit in its scope: tree, state blocks and files must come out
 * alike. MIGR_RANDOM_CASES sets how many are tried.
 */
#include "random_trees.h"

#include "support/appliance_root.h"
#include "support/files.h"
#include "support/places.h"
#include "support/trees.h"
#include "tree/node_store.h"
#include "walk/walk.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <utility>

namespace fs = std::filesystem;

extern "C" {

int __wrap_mount(const char *, const char *, const char *, unsigned long, const void *)
{
    return 0;
}

time_t __wrap_time(time_t *result)
{
    constexpr time_t now = 1700000000;
    if (result)
        *result = now;
    return now;
}

} // extern "C"

namespace {

/* ---- Rows that the table does not know ---- */

constexpr size_t                        most_rows = 24;
std::array<stage_callback *, most_rows> originals;

template <size_t number> void unknown(int32_t round, void *state, int32_t *progress)
{
    originals[number](round, state, progress);
}

template <size_t... number>
constexpr std::array<stage_callback *, sizeof...(number)> unknown_rows(std::index_sequence<number...>)
{
    return {unknown<number>...};
}

constexpr auto unknowns = unknown_rows(std::make_index_sequence<most_rows>());

/* ---- What a walk leaves ---- */

void append_state(const stage_row &row, std::string *result)
{
    const auto *bytes = static_cast<const unsigned char *>(row.state);
    for (int32_t at = 0; at < row.state_size; at++)
        if (bytes[at])
            *result += std::to_string(at) + ":" + std::to_string(bytes[at]) + " ";
}

/* Walks the tree with every stage from one on and gives what each has left of tree and state. */
std::string walk_stages(size_t first, bool everywhere)
{
    std::string result;
    for (stage_table *const *stage = all_stages + first; *stage; stage++) {
        std::vector<stage_row> rows((*stage)->rows, (*stage)->rows + (*stage)->row_count);
        for (size_t number = 0; number < rows.size(); number++) {
            originals[number] = rows[number].func;
            rows[number].state = nullptr;
            if (everywhere)
                rows[number].func = unknowns[number];
        }
        stage_table table = {(*stage)->version, (*stage)->type, rows.data(), (*stage)->row_count};
        prepare_stage(&table);
        walk_stage(&migr_main, &table);
        result += "stage " + std::to_string(table.version) + "\n" + support::dump(migr_main.root);
        for (const stage_row &row : rows)
            append_state(row, &result);
        result += "\n";
    }
    return result;
}

std::string listing()
{
    std::map<std::string, std::string> files;
    for (const char *top : {"/data", "/etc", "/var"})
        for (const fs::directory_entry &found : fs::recursive_directory_iterator(top)) {
            files[found.path().string()] = found.is_regular_file() ? support::file_text(found.path()) : "";
        }
    std::string all;
    for (const auto &[path, text] : files)
        all += path + "=" + text + "\n";
    return all;
}

void lay_out_files(unsigned number)
{
    for (const char *top : {"/data", "/etc", "/var"})
        fs::remove_all(top);
    std::mt19937 random(number);
    auto         write = [&](const std::string &path, const char *text) {
        fs::create_directories(fs::path(path).parent_path());
        if (random() % 4 != 0)
            std::ofstream(path) << text;
    };
    for (const char *name : {"a", "b", "1"})
        for (const char *kind : {"cert/local/root/", "globalcert/local/root/", "cert/ca/root/", "cert/crl/root/"})
            for (const char *ending : {".key", ".cer", ".csr", ".crl", ".password"})
                write(std::string("/data/etc/") + kind + name + ending, "text of it");
    for (const char *path :
         {"/data/etc/vir.orig", "/data/etc/virext.orig", "/data/lib/libav.so.orig", "/var/log/vir", "/var/log/libav.so",
          "/var/log/wvs/db/x", "/data/etc/wvs/old", "/var/log/geo_db/x", "/var/log/autolearn_adom/x",
          "/var/log/data_analysis/x", "/var/log/da_pdfdir/x", "/etc/cert/mesh_connector/oci_private_key/k",
          "/data/etc/ws_security/sub/x", "/data/etc/cert/xml_client/sub/x", "/data/etc/cert/xml_server/sub/x"})
        write(path, "content");
    write("/data/etc/cert/cert.conf", "[req]\n[req_distinguished_name]\n");
}

/* What `work` gives in a process of its own, which begins as this one is. */
std::string in_child(const std::function<std::string()> &work)
{
    static constexpr char result_file[] = "/tmp/result";
    pid_t                 child = fork();
    if (child == 0) {
        std::ofstream(result_file, std::ios::binary) << work();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(0, status);
    std::string text = support::file_text(result_file);
    fs::remove(result_file);
    return text;
}

/* The first line that differs, and the last one ahead of it that names a stage. */
std::string first_difference(const std::string &one, const std::string &other)
{
    std::istringstream lines(one);
    std::istringstream other_lines(other);
    std::string        stage;
    std::string        line;
    std::string        other_line;
    while (std::getline(lines, line) && std::getline(other_lines, other_line) && line == other_line)
        if (line.compare(0, 6, "stage ") == 0)
            stage = line;
    return stage + "\n" + line + "\n" + other_line + "\n";
}

/* States hold pointers to nodes. Records that are there already lie alike in both children, whatever else the callbacks
 * ask of the heap; more of them than a case takes. */
void stock_records()
{
    constexpr size_t           records = 5000;
    std::vector<config_node *> nodes(records);
    for (config_node *&node : nodes)
        node = new_node(MIGR_SET);
    for (config_node *node : nodes)
        release_node(node);
}

void plant(const std::string &text)
{
    stock_records();
    memset(static_cast<void *>(&migr_main), 0, sizeof migr_main);
    ASSERT_EQ(0, support::parse(text));
    strcpy(migr_main.adom_name, "root");
    migr_main.cfg_version = 0x50028;
    migr_main.img_version = MIGR_RELEASE_IMAGE;
}

void try_all(reach_test::RandomTrees &trees, unsigned cases)
{
    size_t changed = 0;
    for (unsigned number = 1; number <= cases; number++) {
        std::string text = trees.text(number);
        plant(text);
        lay_out_files(number);
        std::string before = support::dump(migr_main.root);
        size_t      first = number % 16;
        strcpy(migr_main.model_text, number % 3 ? "Q1E" : "Q2E");
        std::string everywhere = in_child([=] { return walk_stages(first, true) + listing(); });
        lay_out_files(number);
        std::string spared = in_child([=] { return walk_stages(first, false) + listing(); });
        ASSERT_TRUE(everywhere == spared)
            << "number " << number << ", " << first_difference(everywhere, spared) << text;
        changed += everywhere.find(before, everywhere.rfind("\nstage ")) == std::string::npos;
        release_pass_nodes();
    }
    EXPECT_GT(changed, cases / 3); /* trees that no stage left as they were */
}

} // namespace

TEST(Reach, SparedVisitsChangeNothing)
{
    const char             *asked = getenv("MIGR_RANDOM_CASES");
    unsigned                usual = support::is_sanitized() ? 90 : 250; /* what is spared is seen without them, too */
    unsigned                cases = asked ? static_cast<unsigned>(atoi(asked)) : usual;
    reach_test::RandomTrees trees; /* reads the sources, which the child does not see */
    support::ApplianceRoot  root;
    support::ChildResult    child = support::run_in_root(
           root.path(),
           [&] {
            try_all(trees, cases);
            return 0;
        },
           36000);
    EXPECT_EQ(0, child.exit_code) << child.out.substr(0, 20000) << child.err;
}
