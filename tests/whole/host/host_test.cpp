/* The library as its host sees it: loaded by hand into a C program, found by the names of functions and records, or
 * linked with one that has names of its own. */
#include "support/appliance_root.h"
#include "support/files.h"
#include "support/image_line.h"
#include "support/places.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

using namespace support;

namespace {

struct HostResult {
    int         exit_code;
    std::string out;
};

/* Runs a program of the build; the first word is its path. */
HostResult run_program(std::vector<std::string> words)
{
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    int pipe_ends[2];
    EXPECT_EQ(pipe2(pipe_ends, O_CLOEXEC), 0);
    pid_t child = fork();
    if (child == 0) {
        dup2(pipe_ends[1], STDOUT_FILENO);
        if (may_chroot())
            execv(arguments[0], arguments.data());
        _exit(127);
    }
    close(pipe_ends[1]);
    HostResult result = {};
    char       part[4096];
    for (ssize_t got; (got = read(pipe_ends[0], part, sizeof part)) > 0;)
        result.out.append(part, static_cast<size_t>(got));
    close(pipe_ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

HostResult run_host(const ApplianceRoot &appliance, std::vector<std::string> action)
{
    std::vector<std::string> words = {program_path("/tests/c_host"), program_path(""), appliance.path().string()};
    words.insert(words.end(), action.begin(), action.end());
    return run_program(words);
}

/* The names that the library does not export. */
std::string missing(std::vector<std::string> names)
{
    ApplianceRoot appliance;
    names.insert(names.begin(), "symbols");
    HostResult         host = run_host(appliance, names);
    std::istringstream lines(host.out);
    std::string        name, there, none;
    size_t             seen = 0;
    for (; lines >> name >> there; seen++)
        if (there == "no")
            none += name + " ";
    EXPECT_EQ(host.exit_code, 0) << host.out;
    EXPECT_EQ(seen, names.size() - 1) << host.out;
    return none;
}

constexpr char headers_540[] = "#config-version=QA-A1X-5.40-CV-build0100-140101:r\n#conf_file_ver=17\n";
constexpr char headers_image[] = "#config-version=QA-A1X-" IMAGE_VERSION ":r\n#conf_file_ver=17\n";

/* A block that no migration looks at, and one that a migration would add if it were not there. */
constexpr char block[] = "config server-policy setting\nend\nconfig router nowhere\n    set name x\nend\n";

TEST(Host, FindsWhatTheDriverHas)
{
    EXPECT_EQ(
        missing({"migr_main_do_all", "migr_machine_learning_upgrade", "new_config_file_GUI", "get_config_version",
                 "parse_version", "setup_tree", "adjust_tree", "migr_main_func", "migr_main_adom", "do_other_migr_jobs",
                 "global_sig_db_open", "global_sig_db_close", "free_tmp_tree", "free_migr_tree", "get_osimage_version",
                 "get_config_version_and_save_first_line", "save_second_line_of_config_file", "get_cvw_type"}),
        "");
}

TEST(Host, FindsTheMechanismsThatTheDriverCalls)
{
    EXPECT_EQ(missing({"migr_hardcode", "new_config_update", "sync_cli_with_sig_db", "migr_fix_all_files",
                       "process_delete", "process_modify", "__build_updatefile_tree", "find_notp_bridge_node",
                       "update_to_vdom", "file_conversion"}),
              "");
}

TEST(Host, FindsWhatTheTreeHas)
{
    EXPECT_EQ(
        missing({"parse_config",       "get_first_word",     "get_path_name",   "get_second_name", "get_set_value",
                 "get_raw_name",       "check_value_finish", "add_to_tail",     "cp_node_content", "copy_node",
                 "free_node",          "write_node",         "new_config_file", "migr_find_node",  "_migr_find_node",
                 "migr_get_childnode", "migr_move_node",     "cfg_add_conf",    "cfg_del_conf",    "make_config_node",
                 "move_prop_2_bottom", "get_cvw_opmode"}),
        "");
}

TEST(Host, FindsTheChainUpTo440)
{
    EXPECT_EQ(missing({"waf_input_rule",
                       "url_writing_rule",
                       "delete_item_from_group",
                       "search_item_name_from_list",
                       "free_item_list",
                       "item_list",
                       "migr_preconfig",
                       "migr_init_node_list",
                       "migr_find_insert_point",
                       "insert_sub_to_main",
                       "insert_node",
                       "migr_node_filter",
                       "migr_dump_to_file",
                       "migr_merge_find_node",
                       "pre_node_info",
                       "sub_node_info",
                       "migr_log_process",
                       "migr_log_server_protec_rule",
                       "migr_server_protec_exp",
                       "migr_server_protection_rule",
                       "migr_server_protection_rule_add_lfi",
                       "migr_http_pro_pa_res",
                       "migr_sp_rule_to_signature_rule",
                       "migr_custom_pro_rule",
                       "migr_add_bad_robot_to_signature",
                       "add_waf_signature",
                       "add_sig_alert_node",
                       "add_sig_medium_node",
                       "add_sig_high_node",
                       "add_meet_targets",
                       "migr_hardcode_v40tov41",
                       "migr_hardcode_v410tov411",
                       "migr_hardcode_v420tov430",
                       "migr_hardcode_v430tov432",
                       "migr_hardcode_v433tov435",
                       "migr_hardcode_v435tov440"}),
              "");
    EXPECT_EQ(missing({"max_node_num"}), "max_node_num ");
}

TEST(Host, FindsTheRecords)
{
    EXPECT_EQ(missing({"migr_main", "migr_sub", "tmp_tree_root", "bak_line", "vdom_update_flag", "sig_db",
                       "done_sigid_check", "predefined_disable_sig_head", "found_node", "is_found", "qb01a",
                       "notp_bridge_main", "top", "sub", "EMPTY_NODE", "EOB_NODE"}),
              "");
}

TEST(Host, FindsTheStagesAndTheirRows)
{
    for (std::string stage : {"ADOM0x50032", "ADOM0x50033", "ADOM0x50034", "ADOM0x5003c", "ADOM0x50046", "ADOM0x50050",
                              "ADOM0x50053", "ADOM0x50055", "ADOM0x5005a", "ADOM0x5005b", "ADOM0x60000", "ADOM0x60001",
                              "ADOM0x60002", "ADOM0x6000a", "ADOM0x6000b", "ADOM0x60014", "ML0x60014"})
        EXPECT_EQ(missing({"c3_arr_MIGR_" + stage, "cbc_arr_MIGR_" + stage}), "");
}

TEST(Host, FindsNoNameThatBelongsToOthers)
{
    /* Words of everyday use stay inside their files: a host or the C library may have its own. */
    EXPECT_EQ(missing({"init", "cbm", "fns", "ver_idx", "round_brk", "binfo", "pinfo"}),
              "init cbm fns ver_idx round_brk binfo pinfo ");
}

TEST(Host, NeedsItsPlatformLoadedFirst)
{
    ApplianceRoot appliance;
    HostResult    host = run_host(appliance, {"without-platform"});
    EXPECT_EQ(host.exit_code, 2);
    EXPECT_NE(host.out.find("undefined symbol"), std::string::npos) << host.out;
}

TEST(Host, ReadsAVersion)
{
    ApplianceRoot appliance;
    appliance.write_gzip("/data/config/sys_global.conf.gz", std::string(headers_540) + block);
    Listing    before = appliance.listing();
    HostResult host = run_host(appliance, {"version", "/data/config/sys_global.conf.gz"});
    EXPECT_EQ(host.exit_code, 0);
    EXPECT_EQ(host.out, "version 0x50028\n"
                        "EMPTY_NODE 6 EOB_NODE 7 tmp_tree_root 0\n"
                        "vdom_update_flag 0 is_found 0 qb01a 0\n"
                        "found_node null sig_db closed\n"
                        "cfg 0 img 0 build 0 to 0 mode 0 modified 0 domain \"\"\n"
                        "model  first second old root kind 0\n");
    EXPECT_EQ(appliance.listing(), before);
}

/* Of the image, as the host prints it. */
std::string image_numbers()
{
    char text[64];
    snprintf(text, sizeof text, "img %#x build 100 to %d", static_cast<unsigned>(MIGR_RELEASE_IMAGE),
             std::stoi(MIGR_IMAGE_BUILD));
    return text;
}

TEST(Host, UpgradesAnAppliance)
{
    ApplianceRoot appliance;
    appliance.write("/data/etc/update_config", "");
    appliance.write_gzip("/data/config/sys_global.conf.gz", std::string(headers_540) + block);
    appliance.write_gzip("/data/config/sys_domain.root.conf.gz", std::string(headers_540) + block);
    HostResult host = run_host(appliance, {"upgrade"});
    EXPECT_EQ(host.exit_code, 0);
    EXPECT_EQ(host.out, "global_sig_db_open: db is NULL \n"
                        "pass over /data/config/sys_global.conf.gz, mode 0\n"
                        "pass over /data/config/sys_domain.root.conf.gz, mode 1\n"
                        "upgraded\n"
                        "EMPTY_NODE 6 EOB_NODE 7 tmp_tree_root 1\n"
                        "vdom_update_flag 0 is_found 0 qb01a 0\n"
                        "found_node null sig_db closed\n"
                        "cfg 0x50028 " +
                            image_numbers() +
                            " mode 1 modified 1 domain \"root\"\n"
                            "model A-A1X- first #config-version=QA-A1X-" IMAGE_VERSION ":r\n"
                            "second #conf_file_ver=17\n"
                            "old #config-version=QA-A1X-5.40-CV-build0100-140101:r\n"
                            "root kind 1\n");
    EXPECT_EQ(appliance.read_gzip("/data/config/sys_global.conf.gz"), std::string(headers_image) + block);
    EXPECT_EQ(appliance.read_gzip("/data/config/sys_domain.root.conf.gz"), std::string(headers_image) + block);
}

TEST(Host, WritesAPlainFileFromAContextThatItFilledItself)
{
    ApplianceRoot appliance;
    appliance.write("/data/etc/update_config", "");
    appliance.write_gzip("/backup.gz", std::string(headers_540) + block);
    HostResult host = run_host(appliance, {"by-hand", "/backup.gz", "/out.conf"});
    EXPECT_EQ(host.exit_code, 0);
    EXPECT_EQ(host.out.substr(0, host.out.find("EMPTY_NODE")), "parse_version 0\n"
                                                               "setup_tree 0\n"
                                                               "top server-policy,setting\n"
                                                               "top router,nowhere\n"
                                                               "  set name=x\n"
                                                               "adjust_tree 0\n"
                                                               "new_config_file_GUI 0\n");
    EXPECT_EQ(appliance.read("/out.conf"), std::string(headers_image) + block);
    EXPECT_EQ(appliance.read_gzip("/backup.gz"), std::string(headers_540) + block);
}

/* Such a host has no database open, and the page's code, which alone is the appliance's own, is asked for first. */
TEST(Host, KeepsACustomizedPageOfATreeThatItTookThroughItself)
{
    ApplianceRoot appliance;
    appliance.database("create table replacement_page(name text, code integer, text text);"
                       "insert into replacement_page values ('login', 200, 'the page');");
    appliance.write("/data/etc/update_config", "");
    std::string page = "        set code 403\n        set buffer \"the page\"\n";
    appliance.write_gzip("/backup.gz",
                         std::string(headers_540) +
                             "config server-policy setting\nend\nconfig system replacemsg\n    edit \"login\"\n" +
                             page + "    next\nend\n");
    HostResult host = run_host(appliance, {"by-hand", "/backup.gz", "/out.conf"});
    EXPECT_EQ(host.exit_code, 0) << host.out;
    EXPECT_EQ(appliance.read("/out.conf"), std::string(headers_image) + "config server-policy setting\nend\n"
                                                                        "config system replacemsg\n"
                                                                        "    edit User-customized-message \n"
                                                                        "        config page-list \n"
                                                                        "            edit \"login\"\n"
                                                                        "                set code 403\n"
                                                                        "                set msg \"the page\"\n"
                                                                        "            next\n"
                                                                        "        end\n"
                                                                        "    next\n"
                                                                        "end\n");
}

TEST(Host, IsToldOfEachChange)
{
    ApplianceRoot appliance;
    appliance.write("/conf", "#config-version=QA-A1X-5.50-CV-build0601-170328:x\nconfig system global\nset s 1\nend\n");
    HostResult host = run_host(appliance, {"changes", "/conf"});
    EXPECT_EQ(host.exit_code, 0) << host.out;
    EXPECT_EQ(host.out, "change 1: node 1  below 0, lines 0 to 0, read\n"
                        "change 2: node 2 system,global below 1, lines 2 to 2, read\n"
                        "change 2: node 3 s below 2, lines 3 to 3, read\n"
                        "change 3: node 2 system,global below 0, lines 0 to 4, read\n"
                        "setup_tree 0\n");
}

TEST(Host, LinksRecordsOfItsOwnIntoTheTree)
{
    ApplianceRoot appliance;
    appliance.write("/lines", "set read 3\nedit read\nset x 4\nnext\nend\nedit e\nset y 5\nnext\nend\nthe block\n");
    HostResult  host = run_host(appliance, {"own-records", "/lines"});
    std::string kept = "config kept block\n    set own 1\n    set read 3\n    edit own\n        set inner 2\n    next\n"
                       "    edit read\n        set x 4\n    next\nend\n";
    EXPECT_EQ(host.exit_code, 0) << host.out;
    EXPECT_EQ(host.out, "parse_config 0\nparse_config 0\nbehind the block\ndeleted deleted,block\n" + kept + "copy\n" +
                            kept +
                            "config deleted block\n    set own 1\n    edit own\n        set inner 2\n    next\n"
                            "    edit e\n        set y 5\n    next\nend\n");
}

TEST(Host, KeepsNamesOfItsOwn)
{
    ApplianceRoot appliance;
    appliance.write("/data/etc/update_config", "");
    appliance.write_gzip("/data/config/sys_global.conf.gz", std::string(headers_540) + block);
    HostResult host = run_program({program_path("/tests/linked_host"), appliance.path().string()});
    EXPECT_EQ(host.exit_code, 0);
    EXPECT_EQ(host.out, "global_sig_db_open: db is NULL \ntop 1 sub 2 found_node 3\n");
    EXPECT_EQ(appliance.read_gzip("/data/config/sys_global.conf.gz"), std::string(headers_image) + block);
}

/* The records that libmigr.so shows, by what nm says of them: D, B, R and the like. The sanitizer adds its own. */
std::set<std::string> exported_records()
{
    std::set<std::string> records;
    FILE                 *symbols = popen(("nm -D --defined-only " + build_path("/libmigr.so")).c_str(), "r");
    char                  line[4096], name[4096], type;
    while (symbols && fgets(line, sizeof line, symbols))
        if (sscanf(line, "%*s %c %4095s", &type, name) == 2 && strchr("BDRGSVC", type) && strncmp(name, "__", 2) != 0)
            records.insert(name);
    EXPECT_TRUE(symbols && pclose(symbols) == 0);
    return records;
}

/* The words of migr.h between the sentence that forbids names and the comment's end. */
std::set<std::string> names_told_to_hosts()
{
    std::string text = support::file_text(source_path("/src/driver/migr.h"));
    size_t      start = text.find("globals of these names");
    EXPECT_NE(start, std::string::npos);
    text = text.substr(start, text.find("*/", start) - start);
    std::replace(text.begin(), text.end(), ',', ' ');
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

TEST(Host, IsToldOfEachGlobalThatTheLibraryHas)
{
    std::set<std::string> told = names_told_to_hosts();
    std::set<std::string> records = exported_records();
    EXPECT_TRUE(records.contains("top"));
    for (const std::string &name : records) {
        bool by_beginning = false;
        for (std::string beginning : {"c3_arr_MIGR_", "cbc_arr_MIGR_", "migr_"})
            by_beginning = by_beginning || (told.contains(beginning) && name.starts_with(beginning));
        EXPECT_TRUE(by_beginning || told.contains(name)) << name;
    }
}

TEST(Host, UpgradesAMachineLearningFile)
{
    ApplianceRoot appliance;
    appliance.write("/in", "#config-version=QA-A1X-5.40-CV-build0100-140101:r\nconfig router nowhere\nend\n");
    HostResult host = run_host(appliance, {"machine-learning", "/in", "/out"});
    EXPECT_EQ(host.exit_code, 0) << host.out;
    EXPECT_EQ(host.out.substr(0, host.out.find('\n')), "machine learning 0");
    EXPECT_EQ(appliance.read("/out"), "#config-version=QA-A1X-" IMAGE_VERSION ":r\nconfig router nowhere\nend\n");
}

} // namespace
