/*
 * Forwarded addresses become rules (4.40), and routing policies lists of rules (4.42). Nothing here looks at
 * whether a profile or policy is used.
 */
#include "chain/forwarding_and_routing.h"

#include "chain/blocks.h"
#include "driver/run_context.h"
#include "tree/operations.h"

#include <cstdio>

/* ---- 4.40 ---- */

/*
 * 4.35 to 4.40: whether a profile trusts the X-Forwarded-For header became a rule of its own, which the profile names.
 * Each profile with the setting gets a rule of its name, whatever the setting was. Only the first table of each sort
 * is sure to be looked at: the walk is over when both sorts were met.
 */
int32_t migr_x_forward(void)
{
    bool inline_met = false;
    bool offline_met = false;
    for (config_node *node = migr_main.root.top_list; node && !(inline_met && offline_met); node = node->next) {
        bool is_inline = raw_name_is(node, "waf,web-protection-profile,inline-protection");
        bool is_offline = raw_name_is(node, "waf,web-protection-profile,offline-protection");
        if (is_inline || is_offline)
            op_profile_x_forward(node);
        inline_met |= is_inline;
        offline_met |= is_offline;
    }
    return 0;
}

void op_profile_x_forward(config_node *block)
{
    for (config_node *profile = block->edit_list; profile; profile = profile->next) {
        config_node *set = first_set(profile, "x-forwarded-for");
        if (!set || set_node_value(set, profile->name) != 0)
            continue;
        set_node_name(set, "x-forwarded-for-rule");
        add_new_x_forward(profile->name);
    }
}

/* Profiles of one name in both tables make two rules of that name. */
void add_new_x_forward(const char *name)
{
    config_node *rules = open_block_behind("waf,signature", "waf,x-forwarded-for", "add_new_x_forward");
    config_node *rule = rules ? make_node(MIGR_EDIT, name, nullptr) : nullptr;
    if (!rule)
        return;
    push_new_set(rule, "x-forwarded-for-support", "enable");
    push_front(&rules->edit_list, rule);
}

/* ---- 4.42 ---- */

/*
 * 4.40 to 4.42: a routing policy was one rule, and became a list of rules, of which the old one is the first. The
 * servers of a farm that routes by content got a priority each.
 */
int32_t migr_mod_content_routing_policy(void)
{
    for (const config_node *node = migr_main.root.top_list; node; node = node->next)
        if (raw_name_is(node, "server-policy,http-content-routing-policy"))
            modified_hcr_policy(node->edit_list);
    for (const config_node *node = migr_main.root.top_list; node; node = node->next)
        if (raw_name_is(node, "server-policy,pservers"))
            modified_hcr_pserver_list(node->edit_list);
    return 0;
}

/* Moves the sets one by one to the head of the entry's sets, so that they end up in reverse order. */
static void move_sets(config_node *policy, config_node *entry)
{
    for (config_node *set = policy->set_list; set; set = set->next) {
        config_node *copy = make_config_node(set->name, set->value, MIGR_SET);
        if (!copy)
            continue;
        push_front(&entry->set_list, copy);
        mark_deleted(set);
    }
}

void modified_hcr_policy(config_node *edits)
{
    for (config_node *policy = edits; policy; policy = policy->next) {
        if (!policy->set_list)
            continue;
        config_node *list = make_node(MIGR_CONFIG, "content-routing-list", nullptr);
        config_node *entry = list ? make_node(MIGR_EDIT, "1", nullptr) : nullptr;
        if (!entry)
            continue;
        push_front(&list->edit_list, entry);
        push_front(&policy->config_list, list);
        move_sets(policy, entry);
    }
}

static void number_servers(const config_node *list, int32_t *next_priority)
{
    for (config_node *entry = list->edit_list; entry; entry = entry->next) {
        char priority[12];
        snprintf(priority, sizeof priority, "%d", *next_priority);
        cfg_add_conf("priority", priority, MIGR_SET, entry);
        ++*next_priority;
    }
}

/* The numbers run on from farm to farm. */
void modified_hcr_pserver_list(config_node *edits)
{
    int32_t next_priority = 0;
    for (const config_node *farm = edits; farm; farm = farm->next) {
        const config_node *type = farm->set_list;
        if (!type || !raw_name_is(type, "type") || !raw_value_is(type, "http-content-routing"))
            continue;
        for (const config_node *list = farm->config_list; list; list = list->next)
            if (raw_name_is(list, "pserver-list"))
                number_servers(list, &next_priority);
    }
}
