/*
 * The step to 4.20 gathers request methods and IP lists in tables of their own. What moved keeps its old set or
 * block, marked as deleted; a table is only looked for at the place where it belongs.
 */
#include "chain/method_and_ip_lists.h"

#include "chain/blocks.h"
#include "tree/node_store.h"
#include "tree/operations.h"

#include <cstdio>
#include <cstring>

int32_t migr_ip_list_id;

namespace {

/* The node behind `predecessor` when it has that name. Elsewhere the table is not looked for. */
config_node *table_behind(const config_node *predecessor, const char *name)
{
    config_node *table = predecessor->next;
    return table && raw_name_is(table, name) ? table : nullptr;
}

/* The profile's entry in the table of method policies; a new one makes the profile refer to it. Null without memory,
 * also when only the reference could not be made. */
config_node *method_policy_of(config_node *table, config_node *profile)
{
    config_node *policy = first_named(table->edit_list, profile->name);
    if (policy)
        return policy;
    policy = make_node(MIGR_EDIT, profile->name, nullptr);
    if (!policy)
        return nullptr;
    push_front(&table->edit_list, policy);
    return push_new_set(profile, "allow-method-policy", profile->name) ? policy : nullptr;
}

/* Makes the next entry of an IP list on the link at the list's end. Null without memory. */
config_node *append_ip_entry(config_node **end)
{
    char number[12];
    snprintf(number, sizeof number, "%d", migr_ip_list_id);
    config_node *entry = make_node(MIGR_EDIT, number, nullptr);
    if (!entry)
        return nullptr;
    push_front(end, entry);
    migr_ip_list_id++;
    return entry;
}

/* 0, or -1 without memory. */
int32_t add_ips(config_node *entry, const config_node *old_entry, int32_t black)
{
    for (const config_node *set = old_entry->set_list; set; set = set->next) {
        if (!raw_name_is(set, "ip"))
            continue;
        if (!push_new_set(entry, "ip", set->value) || (black && !push_new_set(entry, "type", "black-ip")))
            return -1;
    }
    return 0;
}

void release_made(config_node *node)
{
    if (node)
        release_node(node);
}

/* Makes the table with its one edit and the nested config for the members, behind `predecessor`, and gives the nested
 * config. Null without memory, and then nothing has changed. */
config_node *add_ip_table(config_node *predecessor)
{
    config_node *table = make_node(MIGR_TOP, "waf,ip-list", nullptr);
    config_node *compatible = make_node(MIGR_EDIT, "compatible", nullptr);
    config_node *member = make_node(MIGR_CONFIG, "member", nullptr);
    if (!table || !compatible || !member) {
        release_made(table);
        release_made(compatible);
        release_made(member);
        return nullptr;
    }
    push_front(&table->edit_list, compatible);
    push_front(&compatible->config_list, member);
    insert_behind(predecessor, table);
    return member;
}

/* The nested config for the members in a table that is there already, or null. */
config_node *member_of(const config_node *table)
{
    return table->edit_list ? table->edit_list->config_list : nullptr;
}

} // namespace

/* ---- 4.20 ---- */

/*
 * 4.11 to 4.20: the request methods that a protection profile allows moved to method policies, and a profile names its
 * policy. Every profile gets a policy of its own name. The table belongs in front of the protocol restrictions, and
 * profiles that stand ahead of these are older than the setting.
 */
void migr_method_process(void)
{
    config_node *predecessor = node_ahead_of("waf,http-protocol-parameter-restriction");
    for (config_node *node = predecessor ? predecessor->next : nullptr; node; node = node->next)
        if (raw_name_begins(node, "waf,web-protection-profile"))
            trans_exception_2_method_policy(predecessor, node);
}

int32_t trans_exception_2_method_policy(config_node *predecessor, config_node *profile_block)
{
    for (config_node *profile = profile_block->edit_list; profile; profile = profile->next)
        for (config_node *set = profile->set_list; set; set = set->next) {
            if (raw_name_is(set, "allow-request") && set->value)
                set_metd_policy(predecessor, profile, set, 0);
            else if (raw_name_is(set, "allow-method-exceptions") && set->value)
                set_metd_policy(predecessor, profile, set, 1);
        }
    return 0;
}

void set_metd_policy(config_node *predecessor, config_node *profile, config_node *set, int32_t which)
{
    config_node *table = table_behind(predecessor, "waf,allow-method-policy");
    if (!table) {
        table = make_node(MIGR_TOP, "waf,allow-method-policy", nullptr);
        if (!table)
            return;
        insert_behind(predecessor, table);
    }
    config_node *policy = method_policy_of(table, profile);
    config_node *moved = policy ? copy_record(set) : nullptr;
    if (!moved)
        return;
    set_node_name(moved, which == 0 ? "allow-method" : "allow-method-exception");
    push_front(&policy->set_list, moved);
    mark_deleted(set);
}

/*
 * 4.11 to 4.20: trusted and black-listed addresses, a list each, became members of one IP list that says of each
 * member whether it is black.
 */
void migr_ip_list(void)
{
    config_node *predecessor = node_ahead_of("server-policy,service,predefined");
    for (config_node *node = predecessor ? predecessor->next : nullptr; node; node = node->next) {
        if (raw_name_begins(node, "waf,black-ipaddress-list"))
            handle_ip_list(predecessor, node, 1);
        else if (raw_name_begins(node, "waf,trust-ipaddress-list"))
            handle_ip_list(predecessor, node, 0);
    }
}

void handle_ip_list(config_node *predecessor, config_node *list_block, int32_t black)
{
    const config_node *table = table_behind(predecessor, "waf,ip-list");
    config_node       *member = table ? member_of(table) : add_ip_table(predecessor);
    if (!member)
        return;
    set_ip_list(member, list_block, black);
    mark_deleted(list_block);
}

/* The first entry of a new list stays empty, it only takes a number: old files depend on it. */
void set_ip_list(config_node *member, const config_node *list_block, int32_t black)
{
    config_node *last = last_of(member->edit_list);
    if (!last)
        last = append_ip_entry(&member->edit_list);
    for (const config_node *old_entry = list_block->edit_list; last && old_entry; old_entry = old_entry->next) {
        last = append_ip_entry(&last->next);
        if (!last || add_ips(last, old_entry, black) != 0)
            return;
    }
}
