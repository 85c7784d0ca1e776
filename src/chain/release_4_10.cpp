/*
 * The step to 4.10: argument types, old redirections, and policies that fit the operation mode. The list of
 * removed rules lives for one call of url_writing_rule.
 */
#include "chain/release_4_10.h"

#include "chain/blocks.h"
#include "chain/text_index.h"
#include "tree/operations.h"

#include <cstdlib>
#include <cstring>

item_record item_list;

/* ---- 4.10 ---- */

/* Puts the type ahead of each expression, at the head of the list: what stood ahead of the expression drops out. The
 * loss is as old as the step, and 4.10 appliances have lived with what it left. */
static void type_arguments(config_node *entry)
{
    for (config_node *set = entry->set_list; set; set = set->next) {
        if (!raw_name_is(set, "argument-expression"))
            continue;
        config_node *type = make_node(MIGR_SET, "argument-type", "regular-expression");
        if (!type)
            continue;
        type->kind = set->kind;
        while (entry->set_list != set)
            unlink_at(&entry->set_list, &entry->set_list);
        push_front(&entry->set_list, type);
    }
}

/* From 4.10 on an input rule's argument may be of a predefined type; an old one is a regular expression. */
void waf_input_rule(void)
{
    for (config_node *rule = edits_of(_migr_find_node("waf,input-rule")); rule; rule = rule->next)
        for (config_node *entry = entries_of(rule); entry; entry = entry->next)
            type_arguments(entry);
}

int32_t search_item_name_from_list(const char *name)
{
    for (const item_record *item = item_list.next; item; item = item->next)
        if (strcmp(item->name, name) == 0)
            return 1;
    return 0;
}

void free_item_list(void)
{
    while (item_record *item = item_list.next) {
        item_list.next = item->next;
        free(item);
    }
}

/* False without memory. */
static bool push_item(const char *name)
{
    auto *item = static_cast<item_record *>(calloc(1, sizeof(item_record)));
    if (!item)
        return false;
    memcpy(item->name, name, sizeof item->name);
    item->next = item_list.next;
    item_list.next = item;
    return true;
}

static bool is_old_redirection(const config_node *rule)
{
    for (const config_node *set = rule->set_list; set; set = set->next)
        if (raw_name_is(set, "action") && (raw_value_is(set, "refer-rewrite") || raw_value_is(set, "redirect")))
            return true;
    return false;
}

/* The names in item_list, to be looked up fast; where there is no memory for that, the list itself is gone through. */
struct removed_names {
    text_index<const item_record> index;
    bool                          indexed;
};

static removed_names index_removed_names()
{
    removed_names names = {};
    names.indexed = true;
    for (const item_record *item = item_list.next; item && names.indexed; item = item->next)
        names.indexed = add_text(&names.index, item->name, item) == 0;
    sort_texts(&names.index);
    return names;
}

static bool is_removed(const removed_names *names, const char *name)
{
    return names->indexed ? find_text(&names->index, name) != nullptr : search_item_name_from_list(name) == 1;
}

static bool names_removed_rule(const config_node *entry, const removed_names *names)
{
    for (const config_node *set = entry->set_list; set; set = set->next)
        if (raw_name_is(set, "url-rewrite-rule-name") && set->value && is_removed(names, set->value))
            return true;
    return false;
}

static void drop_entries_of_removed_rules(config_node **entries, const removed_names *names)
{
    while (*entries) {
        if (names_removed_rule(*entries, names))
            unlink_at(entries, entries);
        else
            entries = &(*entries)->next;
    }
}

void delete_item_from_group(config_node *policies)
{
    removed_names names = index_removed_names();
    for (config_node *policy = edits_of(policies); policy; policy = policy->next)
        if (policy->config_list)
            drop_entries_of_removed_rules(&policy->config_list->edit_list, &names);
    free_index(&names.index);
}

/* A rule whose name cannot be kept stays, since the policies would go on naming it. */
static void remove_old_redirections(config_node **rules)
{
    while (*rules) {
        if (is_old_redirection(*rules) && push_item((*rules)->name))
            unlink_at(rules, rules);
        else
            rules = &(*rules)->next;
    }
}

/* 4.10 rewrites requests and no longer redirects them by these rules, so they leave, and whatever names them. */
void url_writing_rule(void)
{
    free_item_list();
    if (config_node *rules = _migr_find_node("waf,url-rewrite,url-rewrite-rule"))
        remove_old_redirections(&rules->edit_list);
    delete_item_from_group(_migr_find_node("waf,url-rewrite,url-rewrite-policy"));
    free_item_list();
}

static void set_offline_deployment(config_node *policy)
{
    for (config_node *set = policy->set_list; set; set = set->next)
        if (raw_name_begins(set, "deployment-mode"))
            set_node_value(set, "\"offline-protection\"");
}

/* A service is dropped by looking ahead, so one that stands first stays. */
static void drop_services(config_node *policy)
{
    for (config_node *set = policy->set_list; set; set = set->next)
        if (set->next && raw_name_begins(set->next, "service"))
            unlink_at(&policy->set_list, &set->next);
}

/* From 4.10 on an offline appliance's policies say that they are such, and a transparent one's have no service of their
 * own. */
void fit_policies_to_opmode(void)
{
    char mode[32] = "";
    if (get_cvw_opmode(mode) != 1 || strcmp(mode, "inline") == 0)
        return;
    bool offline = strncmp(mode, "offline", strlen("offline")) == 0;
    bool transparent = strncmp(mode, "trans", strlen("trans")) == 0;
    for (config_node *policy = edits_of(_migr_find_node("server-policy,policy")); policy; policy = policy->next) {
        if (offline)
            set_offline_deployment(policy);
        if (transparent)
            drop_services(policy);
    }
}
