/*
 * The order of things: which files, in which order, and which mechanism behind which. What a mechanism does to a tree
 * is its own business, and no failure of one file keeps the others back.
 */
#include "driver/upgrade_run.h"

#include "chain/hardcode.h"
#include "driver/migr.h"
#include "driver/version_lines.h"
#include "filejobs/file_jobs.h"
#include "ledger/tell.h"
#include "platform/platform.h"
#include "rules/rules.h"
#include "signature/reconcile.h"
#include "tree/config_text.h"
#include "tree/legacy_certificates.h"
#include "tree/node_store.h"
#include "tree/operations.h"
#include "tree/split.h"
#include "tree/stored_files.h"
#include "walk/walk.h"

#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <unistd.h>

run_context         migr_main;
run_context         migr_sub;
config_node         tmp_tree_root;
char                bak_line[MIGR_LINE_SIZE];
int32_t             vdom_update_flag;
int32_t             qb01a;
signature_database *sig_db;

namespace {

/* A domain's name stands in its path behind a fixed prefix and ahead of a fixed ending. A file of another form gets a
 * name that means nothing, and is upgraded all the same. */
void name_domain(const char *path)
{
    static constexpr size_t prefix = sizeof MIGR_CONFIG_FOLDER "/sys_domain." - 1;
    static constexpr size_t ending = sizeof ".conf.gz" - 1;
    size_t                  length = strlen(path);
    if (length < prefix + ending)
        return;
    snprintf(migr_main.adom_name, sizeof migr_main.adom_name, "%.*s", static_cast<int>(length - prefix - ending),
             path + prefix);
}

void begin_pass(const char *path, uint32_t mode)
{
    if (migr_on_file)
        migr_on_file(path, mode);
    memset(&migr_main, 0, sizeof migr_main);
    migr_list_init(&migr_main.update_list);
    migr_main.mode = mode;
    if (mode == MIGR_DOMAIN)
        name_domain(path);
}

/* May be done twice. */
void drop_tree()
{
    ledger::tell_pass_ends();
    free_node(&migr_main.root);
    migr_main.root.top_list = nullptr;
    forget_pass_nodes();
    release_pass_nodes();
}

/* The tree goes ahead of the packing, which needs a good deal of memory itself. */
int32_t store_tree(const char *path)
{
    if (write_new_text(path) != 0)
        return -1;
    drop_tree();
    return store_new_text(path);
}

/* From the parsed text to the stored file. */
int32_t upgrade_unpacked_file(const char *path)
{
    if (setup_tree(&migr_main, MIGR_OLD_TEXT) != 0 || adjust_tree() != 0)
        return -1;
    if (!vdom_update_flag)
        return store_tree(path);
    vdom_update_flag = 0;
    return update_to_vdom();
}

void end_pass()
{
    drop_tree();
    free_migr_tree();
    unlink(MIGR_OLD_TEXT);
}

bool crosses(int32_t release, int32_t from_version, int32_t to_version)
{
    return from_version < release && to_version >= release;
}

void tell_host(int32_t version, const char *phase)
{
    if (migr_on_section)
        migr_on_section(version, phase);
}

/* The bridges of the old release, and what stood on them, leave before the step of that very section runs. */
void drop_old_bridges()
{
    ledger::set_author(MIGR_RELEASE(4, 0), "bridges", "find_notp_bridge_node");
    notp_bridge_main = {};
    find_notp_bridge_node(&migr_main.root, 0);
    free_notp_bridges();
    tell_host(MIGR_RELEASE(4, 0), "bridges");
}

int32_t apply_section(update_section *section)
{
    if (section->version == MIGR_RELEASE(4, 0))
        drop_old_bridges();
    ledger::set_author(section->version, "step");
    if (migr_hardcode(section) == -1)
        return -1;
    tell_host(section->version, "step");
    ledger::set_author(section->version, "delete");
    if (process_delete(&section->delete_list) == -1)
        return -1;
    tell_host(section->version, "delete");
    ledger::set_author(section->version, "modify");
    if (process_modify(&section->modify_list, 0, section->version) == -1)
        return -1;
    tell_host(section->version, "modify");
    ledger::set_author(section->version, "readd");
    if (process_modify(&section->readd_list, 1, section->version) == -1)
        return -1;
    tell_host(section->version, "readd");
    return 0;
}

/* A pass starts with an empty list. A host that fills the context itself leaves it zeroed, or full from before. */
void empty_update_list()
{
    migr_list *head = &migr_main.update_list;
    if (head->next && head->next != head)
        free_migr_tree();
    migr_list_init(head);
}

int32_t apply_sections()
{
    empty_update_list();
    if (__build_updatefile_tree() != 0)
        return -1;
    migr_list *head = &migr_main.update_list;
    for (migr_list *link = head->next; link != head; link = link->next)
        if (apply_section(section_of(link)) == -1)
            return -1;
    return 0;
}

int is_domain_file(const dirent *entry)
{
    return entry->d_name[0] != '.' && strcmp(entry->d_name, MIGR_GLOBAL_FILE) != 0 && strstr(entry->d_name, "conf.gz");
}

/* By bytes, whatever the locale. */
int compare_names(const dirent **one, const dirent **other)
{
    return strcmp((*one)->d_name, (*other)->d_name);
}

void upgrade_domain(const char *name)
{
    char path[256];
    int  length = snprintf(path, sizeof path, MIGR_CONFIG_FOLDER "/%s", name);
    if (length < static_cast<int>(sizeof path))
        migr_main_func(path, MIGR_DOMAIN);
}

} // namespace

int32_t adjust_tree(void)
{
    tell_host(migr_main.cfg_version, "read");
    int32_t result = apply_sections();
    migr_main.modified = 1;
    if (result != 0)
        return -1;
    new_config_update(&migr_main);
    ledger::set_author(migr_main.img_version, "signatures");
    sync_cli_with_sig_db();
    tell_host(migr_main.img_version, "signatures");
    migr_main.modified = 1;
    ledger::set_author(0, "host");
    return 0;
}

void migr_main_func(const char *path, uint32_t mode)
{
    begin_pass(path, mode);
    if (parse_version(path, 0) != 0)
        return;
    int32_t result = upgrade_unpacked_file(path);
    bool    crosses_4_0 = crosses(MIGR_RELEASE(4, 0), migr_main.cfg_version, migr_main.img_version);
    end_pass();
    if (result == 0 && crosses_4_0) {
        ledger::set_author(migr_main.img_version, "files", "file_conversion");
        file_conversion();
    }
}

void migr_main_adom(const char *path)
{
    migr_main_func(path, MIGR_GLOBAL);
    /* All names are read ahead of the first pass and sorted, so that no result hangs on the order in which a disk lists
     * them. */
    dirent **domains = nullptr;
    int      count = scandir(MIGR_CONFIG_FOLDER, &domains, is_domain_file, compare_names);
    if (count < 0) {
        printf("opendir err!");
        return;
    }
    for (int i = 0; i < count; i++)
        upgrade_domain(domains[i]->d_name);
    free_namelist(domains, count);
}

int32_t do_other_migr_jobs(int32_t from_version, int32_t to_version)
{
    if (!crosses(MIGR_RELEASE(5, 20), from_version, to_version))
        return 0;
    ledger::set_author(to_version, "files", "migr_fix_all_files");
    return migr_fix_all_files(from_version);
}

int32_t global_sig_db_open(void)
{
    global_sig_db_close();
    int32_t result = db_open(&sig_db);
    if (sig_db)
        return result;
    printf("%s: db is NULL \n", __func__);
    return -1;
}

int32_t global_sig_db_close(void)
{
    if (sig_db)
        db_close(sig_db);
    sig_db = nullptr;
    return 0;
}

void free_tmp_tree(void)
{
    ledger::tell_run_ends();
    for (config_node *top_node = tmp_tree_root.top_list; top_node; top_node = top_node->next)
        cfg_del_conf(top_node, &tmp_tree_root);
    release_run_nodes();
}

void migr_release_nodes(void)
{
    free_migr_tree();
    forget_pass_nodes();
    release_pass_nodes();
}

void migr_main_do_all(void)
{
    done_sigid_check = 0;
    free_sigid_list();
    tmp_tree_root = {};
    tmp_tree_root.kind = MIGR_ROOT;
    if (ledger::is_watched())
        ledger::tell_kept_root(&tmp_tree_root);
    static constexpr char path[] = MIGR_CONFIG_FOLDER "/" MIGR_GLOBAL_FILE;
    int32_t               img_version = get_osimage_version();
    int32_t               cfg_version = get_config_version(path);
    if (cfg_version == -1 || img_version <= cfg_version)
        return;
    global_sig_db_open();
    if (cfg_version < MIGR_RELEASE(5, 10))
        migr_main_func(path, MIGR_GLOBAL);
    if (cfg_version >= MIGR_RELEASE(5, 10) || img_version > MIGR_RELEASE(5, 10))
        migr_main_adom(path);
    free_tmp_tree();
    global_sig_db_close();
    do_other_migr_jobs(cfg_version, img_version);
    free_sigid_list();
}
