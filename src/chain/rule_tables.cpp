/*
 * Tables of protection rules whose entries changed in 4.20 to 4.43. Sets are moved and copied as they are; no
 * value is checked, but for priorities that are out of range.
 */
#include "chain/rule_tables.h"

#include "chain/blocks.h"
#include "driver/run_context.h"
#include "tree/operations.h"
#include "tree/version_text.h"

#include <cstdio>
#include <cstring>

namespace {

/* The limits on a client's requests that moved from one block to another, twice. */
constexpr const char *access_limits[] = {"access-limit-share-ip", "access-limit-standalone-ip", "block-period"};

bool is_access_limit(const config_node *set)
{
    for (const char *limit : access_limits)
        if (raw_name_is(set, limit))
            return true;
    return false;
}

/* Takes the limits out of an edit, and gives them in reverse order. A period now says what it is for. */
config_node *take_access_limits(config_node *edit)
{
    config_node *moved = nullptr;
    for (config_node **link = &edit->set_list; *link;) {
        config_node *set = *link;
        if (!set->value || !is_access_limit(set)) {
            link = &set->next;
            continue;
        }
        push_front(&moved, unlink_at(&edit->set_list, link));
        if (!raw_name_is(set, "block-period"))
            continue;
        if (config_node *action = make_node(MIGR_SET, "action", "block-period"))
            push_front(&moved, action);
    }
    return moved;
}

/* The access limit rules, made behind the robot control when missing; null without memory. */
config_node *access_limit_rules()
{
    if (config_node *rules = walk_to("waf,layer4-access-limit-rule"))
        return rules;
    config_node *robots = walk_to("waf,robot-control");
    config_node *rules = robots ? copy_record(robots) : nullptr;
    if (!rules)
        return nullptr;
    set_node_name(rules, "waf,layer4-access-limit-rule");
    insert_behind(robots, rules);
    return rules;
}

} // namespace

/* ---- 4.20 ---- */

/*
 * 4.11 to 4.20: the limits on log-in attempts belonged to a whole rule, and now each of its entries has them.
 */
void migr_brute_force_login(void)
{
    for (config_node *edit = edits_of(walk_to("waf,brute-force-login")); edit; edit = edit->next)
        for (const char *limit : access_limits)
            if (config_node *set = first_set(edit, limit))
                set_force_login_param(edit->config_list, set);
}

void set_force_login_param(config_node *table, config_node *set)
{
    if (!table || !table->edit_list || *value_of(set) == '\0')
        return;
    for (config_node *entry = table->edit_list; entry; entry = entry->next) {
        config_node *copy = copy_record(set);
        if (!copy)
            return;
        push_front(&entry->set_list, copy);
    }
    mark_deleted(set);
}

/*
 * 4.11 to 4.20: the new release takes in a rewrite condition from its first set on, and accepts "is-essential" only
 * when it knows the rest.
 */
void migr_url_rewrite_rule(void)
{
    for (config_node *edit = edits_of(walk_to("waf,url-rewrite,url-rewrite-rule")); edit; edit = edit->next)
        for (config_node *entry = entries_of(edit); entry; entry = entry->next)
            move_prop_2_bottom(entry, "is-essential");
}

/* The limit itself is a valid priority and stays. */
static void fold_priorities(config_node *entry)
{
    static constexpr int32_t limit = 32768;
    for (config_node *set = entry->set_list; set; set = set->next)
        if (raw_name_is(set, "priority") && number_of(set->value) > limit) {
            char *before = begin_value_edit(set);
            snprintf(set->value, strlen(set->value) + 1, "%d", number_of(set->value) % limit);
            end_value_edit(set, before);
        }
}

/*
 * 4.11 to 4.20: priorities of XML filters got an upper limit. Those beyond it are folded into the range.
 */
void migr_xml_protection_rule_filter(void)
{
    for (config_node *edit = edits_of(walk_to("xml-protection,filter-rule")); edit; edit = edit->next)
        for (config_node *entry = entries_of(edit); entry; entry = entry->next)
            fold_priorities(entry);
}

/*
 * 4.11 to 4.20: checking an input's type became optional. Until then it was always done.
 */
void migr_input_rule(void)
{
    for (config_node *edit = edits_of(walk_to("waf,input-rule")); edit; edit = edit->next)
        for (config_node *entry = entries_of(edit); entry; entry = entry->next)
            if (!push_new_set(entry, "type-checked", "enable"))
                return;
}

/* ---- 4.30 ---- */

/*
 * 4.20 to 4.30: limiting how often a client comes back was part of the robot control, and became a rule of its own.
 * Each robot policy gets its namesake there, even when it limited nothing.
 */
void migr_malicious_robot_process(void)
{
    for (config_node *edit = edits_of(walk_to("waf,robot-control")); edit; edit = edit->next)
        migr_check_one_malicious_robot_check(edit);
}

void migr_check_one_malicious_robot_check(config_node *edit)
{
    mr_add_freenode_to_tree(edit, take_access_limits(edit));
}

void mr_add_freenode_to_tree(const config_node *edit, config_node *moved)
{
    config_node *rules = access_limit_rules();
    config_node *rule = rules ? copy_record(edit) : nullptr;
    if (!rule)
        return;
    adopt_list(&rule->set_list, moved);
    push_front(&rules->edit_list, rule);
}

/* ---- 4.43 ---- */

/*
 * 4.42 to 4.43: the two predefined robot groups had each other's content, and exchanged their names.
 */
void migr_exchange_robot_group_default(void)
{
    for (const config_node *node = migr_main.root.top_list; node; node = node->next) {
        if (!raw_name_is(node, "waf,web-robot"))
            continue;
        for (config_node *group = node->edit_list; group; group = group->next) {
            if (raw_name_is(group, "\"High Level Security\""))
                set_node_name(group, "\"Alert Only\"");
            else if (raw_name_is(group, "\"Alert Only\""))
                set_node_name(group, "\"High Level Security\"");
        }
    }
}
