/* Takes the place of all that the driver calls, takes down the calls, and does what a script says. Nothing is
 * converted here. */
#include "mechanisms.h"

#include "driver/upgrade_run.h"
#include "platform/platform.h"
#include "rules/rules.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>

namespace mechanisms {

Script script;

std::string calls()
{
    std::string lines;
    for (const std::string &call : script.calls)
        lines += call + "\n";
    return lines;
}

static std::string release(int32_t version)
{
    return std::to_string(version >> 16) + "." + std::to_string(version & 0xffff);
}

static int32_t note(const std::string &call)
{
    script.calls.push_back(call);
    auto effect = script.effects.find(call);
    if (effect != script.effects.end())
        effect->second();
    auto result = script.results.find(call);
    return result == script.results.end() ? 0 : result->second;
}

/* The section whose list of rules is `rules`, for a list at that place of a section. */
static update_section *section_of_list(migr_list *rules, size_t place)
{
    return reinterpret_cast<update_section *>(reinterpret_cast<char *>(rules) - place);
}

static void add_section(int32_t version)
{
    auto *section = static_cast<update_section *>(calloc(1, sizeof(update_section)));
    section->version = version;
    migr_list *head = &migr_main.update_list;
    section->link = {head, head->prev};
    head->prev->next = &section->link;
    head->prev = &section->link;
}

static void drop_sections()
{
    migr_list *head = &migr_main.update_list;
    for (migr_list *link = head->next; link != head;) {
        update_section *section = section_of_list(link, offsetof(update_section, link));
        link = link->next;
        free(section);
    }
    head->next = head->prev = head;
}

} // namespace mechanisms

using namespace mechanisms;

extern "C" {

void migr_on_file(const char *path, uint32_t mode)
{
    note("file " + std::string(path) + " mode " + std::to_string(mode));
}

int __real_cvgzip(const char *source, const char *target);
int __wrap_cvgzip(const char *source, const char *target)
{
    int result = script.compression ? script.compression(target) : 0;
    return result ? result : __real_cvgzip(source, target);
}

int __real_scandir(const char *path, dirent ***entries, int (*select)(const dirent *),
                   int (*compare)(const dirent **, const dirent **));
int __wrap_scandir(const char *path, dirent ***entries, int (*select)(const dirent *),
                   int (*compare)(const dirent **, const dirent **))
{
    return script.no_folder ? -1 : __real_scandir(path, entries, select, compare);
}

int __real_db_open(signature_database **handle);
int __wrap_db_open(signature_database **handle)
{
    return script.scripted ? note("open database") : __real_db_open(handle);
}

int __real_db_close(signature_database *handle);
int __wrap_db_close(signature_database *handle)
{
    return script.scripted ? note("close database") : __real_db_close(handle);
}

void __wrap_message(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vfprintf(stderr, format, arguments);
    va_end(arguments);
}

int32_t __real___build_updatefile_tree(void);
int32_t __wrap___build_updatefile_tree(void)
{
    if (!script.scripted)
        return __real___build_updatefile_tree();
    int32_t result = note("load");
    for (int32_t version : script.sections)
        add_section(version);
    return result;
}

void __real_free_migr_tree(void);
void __wrap_free_migr_tree(void)
{
    if (!script.scripted)
        return __real_free_migr_tree();
    if (!migr_main.update_list.next)
        return;
    note("unload");
    drop_sections();
}

void __real_find_notp_bridge_node(config_node *node, int32_t mode);
void __wrap_find_notp_bridge_node(config_node *node, int32_t mode)
{
    if (!script.scripted)
        return __real_find_notp_bridge_node(node, mode);
    bool clean = !notp_bridge_main.bridges && !notp_bridge_main.transparent;
    note(std::string("find bridges") + (node == &migr_main.root ? "" : " elsewhere") +
         (clean ? "" : " with old state"));
}

void __real_free_notp_bridges(void);
void __wrap_free_notp_bridges(void)
{
    if (!script.scripted)
        return __real_free_notp_bridges();
    note("free bridges");
}

int32_t __real_migr_hardcode(const update_section *section);
int32_t __wrap_migr_hardcode(const update_section *section)
{
    return script.scripted ? note("step " + release(section->version)) : __real_migr_hardcode(section);
}

int32_t __real_process_delete(migr_list *rules);
int32_t __wrap_process_delete(migr_list *rules)
{
    if (!script.scripted)
        return __real_process_delete(rules);
    return note("delete " + release(section_of_list(rules, offsetof(update_section, delete_list))->version));
}

int32_t __real_process_modify(migr_list *rules, int32_t readd, int32_t section_version);
int32_t __wrap_process_modify(migr_list *rules, int32_t readd, int32_t section_version)
{
    if (!script.scripted)
        return __real_process_modify(rules, readd, section_version);
    size_t place = readd ? offsetof(update_section, readd_list) : offsetof(update_section, modify_list);
    bool   fits = section_of_list(rules, place)->version == section_version;
    return note((readd ? "re-add " : "modify ") + release(section_version) + (fits ? "" : " of another list"));
}

int32_t __real_new_config_update(run_context *context);
int32_t __wrap_new_config_update(run_context *context)
{
    if (script.no_walk)
        return 0;
    if (!script.scripted)
        return __real_new_config_update(context);
    return note("walk " + release(context->cfg_version) + " to " + release(context->img_version) + " mode " +
                std::to_string(context->mode) + " \"" + context->adom_name + "\"");
}

int32_t __real_sync_cli_with_sig_db(void);
int32_t __wrap_sync_cli_with_sig_db(void)
{
    return script.scripted ? note("reconcile") : __real_sync_cli_with_sig_db();
}

int32_t __real_update_to_vdom(void);
int32_t __wrap_update_to_vdom(void)
{
    return script.scripted ? note("split, flag " + std::to_string(vdom_update_flag)) : __real_update_to_vdom();
}

int32_t __real_file_conversion(void);
int32_t __wrap_file_conversion(void)
{
    return script.scripted ? note("convert certificates") : __real_file_conversion();
}

int32_t __real_migr_fix_all_files(int32_t from_version);
int32_t __wrap_migr_fix_all_files(int32_t from_version)
{
    return script.scripted ? note("file jobs from " + release(from_version)) : __real_migr_fix_all_files(from_version);
}

void __real_free_sigid_list(void);
void __wrap_free_sigid_list(void)
{
    if (script.scripted)
        note("forget identifiers");
    __real_free_sigid_list();
}

} // extern "C"
