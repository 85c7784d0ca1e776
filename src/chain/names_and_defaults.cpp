/*
 * The step to 5.0 renames, and drops what the old release had written as its defaults. Deletes outright, without
 * marks: the rules of the release do not see what went.
 */
#include "chain/names_and_defaults.h"

#include "chain/blocks.h"
#include "driver/run_context.h"
#include "platform/platform.h"
#include "tree/config_text.h"
#include "tree/operations.h"

#include <cstdio>
#include <cstring>

namespace {

void rename_set(config_node *set, const char *name)
{
    char copy[MIGR_NAME_SIZE];
    v_strncpy(copy, sizeof copy, name, strlen(name));
    set_node_name(set, copy);
}

/* As much of the name as a node can have. */
void rename_by_kind(config_node *set, const char *kind)
{
    char name[MIGR_NAME_SIZE];
    snprintf(name, sizeof name, "%s-name", kind);
    set_node_name(set, name);
}

/* "name" of a member was the name on a server of the kind that "type" says, or, alone, what `lone_name` says. */
void rename_member_name(const config_node *member, const char *lone_name)
{
    config_node *first = member->set_list;
    if (!first)
        return;
    config_node *second = first->next;
    if (raw_name_is(first, "type") && first->value && second && raw_name_is(second, "name"))
        rename_by_kind(second, first->value);
    else if (raw_name_is(first, "name") && !second)
        set_node_name(first, lone_name);
}

/* Groups that begin with another nested config have no members in the old form. */
void rename_member_names(const config_node *groups, const char *lone_name)
{
    for (const config_node *group = groups->edit_list; group; group = group->next) {
        if (!group->config_list || !raw_name_is(group->config_list, "members"))
            continue;
        for (const config_node *members = group->config_list; members; members = members->next)
            for (const config_node *member = members->edit_list; member; member = member->next)
                rename_member_name(member, lone_name);
    }
}

config_node *default_mark(const config_node *edit)
{
    for (config_node *set = edit->set_list; set; set = set->next)
        if (raw_name_is(set, "is-default-config") && raw_value_is(set, "yes"))
            return set;
    return nullptr;
}

bool is_chief_admin(const config_node *edit)
{
    return raw_name_is(edit, "\"admin\"");
}

bool is_default(const config_node *edit)
{
    return default_mark(edit) != nullptr;
}

bool is_default_admin(const config_node *edit)
{
    return is_default(edit) && !is_chief_admin(edit);
}

void delete_default_admins(config_node *admins)
{
    for (config_node *admin = admins->edit_list; admin; admin = admin->next)
        if (is_chief_admin(admin))
            cfg_del_conf(default_mark(admin), admin);
    delete_where(&admins->edit_list, admins, is_default_admin);
}

bool has_priority(const config_node *entry)
{
    return first_set(entry, "priority") != nullptr;
}

bool is_farm_of_dropped_type(const config_node *farm)
{
    for (const config_node *set = farm->set_list; set; set = set->next)
        if (raw_name_is(set, "type") &&
            (raw_value_is(set, "wsdl-content-routing") || raw_value_is(set, "xml-content-routing")))
            return true;
    return false;
}

} // namespace

/* ---- 5.0 ---- */

/*
 * 4.46 to 5.0: the web group of access profiles was renamed after the product, and there is no right to write without
 * reading any more, in whatever group.
 */
void migr_change_webgrp_to_wafgrp(void)
{
    for (const config_node *profile = edits_of(walk_to("system,accprofile")); profile; profile = profile->next)
        for (config_node *set = profile->set_list; set; set = set->next) {
            if (raw_name_is(set, "webgrp"))
                rename_set(set, "wafgrp");
            if (raw_value_is(set, "w"))
                set_node_value(set, "rw");
        }
}

/*
 * 4.46 to 5.0: a member of a user group had a "name" that meant a user or a server, as its type says; each type now has
 * a word of its own for it. A member that says nothing but its name is a local user.
 */
void migr_add_prefix_name(void)
{
    for (const config_node *node = migr_main.root.top_list; node; node = node->next)
        if (raw_name_is(node, "user,user-group"))
            rename_member_names(node, "local-name");
}

/*
 * 4.46 to 5.0: the "name" of a member of an administrators' group has a word of its own for each type, too. There a
 * member that says nothing but its name stands on an LDAP server: local administrators are in no group.
 */
int32_t change_admin_usergrp_name(void)
{
    if (const config_node *groups = walk_to("user,admin-usergrp"))
        rename_member_names(groups, "ldap-name");
    return 0;
}

/*
 * 4.46 to 5.0: the old release wrote its defaults into the file and marked them; the new one brings its own. The admin
 * account is the one default that carries what the operator set, so it loses only the mark.
 */
void migr_del_is_default(void)
{
    for (config_node *node = migr_main.root.top_list; node; node = node->next) {
        if (raw_name_is(node, "system,admin"))
            delete_default_admins(node);
        else
            delete_where(&node->edit_list, node, is_default);
    }
}

/*
 * 4.46 to 5.0: entries are matched in the order of their table, so one with a priority goes, and goes as a whole. That
 * holds in every table, the servers that content routing had numbered included: old files depend on it.
 */
void migr_del_priority(void)
{
    for (const config_node *node = migr_main.root.top_list; node; node = node->next)
        for (const config_node *edit = node->edit_list; edit; edit = edit->next)
            for (config_node *table = edit->config_list; table; table = table->next)
                delete_where(&table->edit_list, table, has_priority);
}

/*
 * 4.46 to 5.0: farms that route by WSDL or XML content are no longer there.
 */
int32_t migr_del_server_farm(void)
{
    for (config_node *node = migr_main.root.top_list; node; node = node->next)
        if (raw_name_is(node, "server-policy,pservers"))
            delete_where(&node->edit_list, node, is_farm_of_dropped_type);
    return 0;
}

/*
 * 4.46 to 5.0: an administrator's access profile got its full name.
 */
int32_t migr_change_admin_accprofile_name(void)
{
    for (const config_node *node = migr_main.root.top_list; node; node = node->next) {
        if (!raw_name_is(node, "system,admin"))
            continue;
        for (const config_node *admin = node->edit_list; admin; admin = admin->next)
            if (config_node *set = first_set(admin, "accprofile"))
                rename_set(set, "access-profile");
    }
    return 0;
}
