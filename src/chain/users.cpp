/*
 * The step to 4.20 gives user groups the authentication type of the rule that names them. Groups that no rule
 * names go, with all their members.
 */
#include "chain/users.h"

#include "chain/blocks.h"
#include "chain/text_index.h"
#include "tree/operations.h"
#include "tree/stack.h"

#include <cstring>

namespace {

constexpr int32_t plain = 0;
constexpr int32_t digest = 1;
constexpr int32_t ntlm = 2;
constexpr int32_t unbound = -1;

/* A group that a rule's entry names, and the type that the entry gives it. */
struct bound_group {
    const char *name;
    int32_t     type;
};

/* The groups that the rules name, in the order of the rules, and an index over them. */
struct bound_groups {
    stack<bound_group>      groups;
    text_index<bound_group> index;
};

/* What an entry says of its groups: the type that it has in the end, and whose name stands behind that type. The name
 * of another group takes the type away. */
struct entry_type {
    int32_t     type;
    const char *group; /* the one group named since, or null */
    bool        several;
};

void read_entry_type(entry_type *entry, const config_node *set)
{
    bool is_digest = raw_name_begins(set, "authen-type") && raw_value_begins(set, "digest");
    bool is_ntlm = raw_name_begins(set, "authen-type") && raw_value_begins(set, "ntlm");
    if (is_digest || is_ntlm)
        *entry = {is_digest ? digest : ntlm, nullptr, false};
    if (!raw_name_begins(set, "user-group"))
        return;
    /* A name without a value is that of no group. */
    if (!set->value || (entry->group && strcmp(entry->group, set->value) != 0))
        entry->several = true;
    else
        entry->group = set->value;
}

int32_t type_of_group(const entry_type &entry, const char *name)
{
    bool others = entry.several || (entry.group && strcmp(entry.group, name) != 0);
    return others ? plain : entry.type;
}

/* Adds the groups of an entry. `type` is what the entry ahead handed on, and then what this one does: old files depend
 * on a type that stands behind the name of another group being the next entry's. 0, or -1 without memory. */
int32_t read_entry(bound_groups *bound, const config_node *rule_entry, int32_t *type)
{
    entry_type entry = {*type, nullptr, false};
    for (const config_node *set = rule_entry->set_list; set; set = set->next)
        read_entry_type(&entry, set);
    for (const config_node *set = rule_entry->set_list; set; set = set->next)
        if (raw_name_begins(set, "user-group") && set->value &&
            push_record(&bound->groups, {set->value, type_of_group(entry, set->value)}) != 0)
            return -1;
    *type = entry.several || entry.group ? plain : entry.type;
    return 0;
}

/* 0, or -1 without memory. */
int32_t read_rules(bound_groups *bound)
{
    int32_t type = plain;
    for (const config_node *rule = edits_of(_migr_find_node("waf,http-authen,http-authen-rule")); rule;
         rule = rule->next)
        for (const config_node *entry = entries_of(rule); entry; entry = entry->next)
            if (read_entry(bound, entry, &type) != 0)
                return -1;
    for (size_t i = 0; i < bound->groups.count; i++)
        if (add_text(&bound->index, bound->groups.records[i].name, &bound->groups.records[i]) != 0)
            return -1;
    sort_texts(&bound->index);
    return 0;
}

/* The first entry with the group decides. */
int32_t type_in_rules(const bound_groups *bound, const char *group_name)
{
    const auto *found = find_text(&bound->index, group_name);
    return found ? found->value->type : unbound;
}

void free_bound(bound_groups *bound)
{
    free_index(&bound->index);
    free_stack(&bound->groups);
}

void give_auth_type(config_node *group, int32_t type)
{
    if (type == digest)
        cfg_add_conf("auth-type", "digest", MIGR_SET, group);
    if (type == ntlm)
        cfg_add_conf("auth-type", "NTLM", MIGR_SET, group);
    cfg_auth_type2top(group);
}

/* Gives -1 when out of memory. */
int32_t move_type_to_top(config_node *member)
{
    config_node *type = first_set(member, "type");
    if (!type || type == member->set_list)
        return 0;
    config_node *copy = take_content(type);
    if (!copy)
        return -1;
    mark_deleted(type);
    push_front(&member->set_list, copy);
    return 0;
}

} // namespace

/* ---- 4.20 ---- */

/*
 * 4.11 to 4.20: how users authenticate was a matter of each HTTP authentication rule, and became one of the group that
 * the rule names. A group that no rule names has no type to take over, and goes. Members now open with their type.
 */
void migr_user_process(void)
{
    config_node *groups = _migr_find_node("user,user-group");
    bound_groups bound = {};
    auto         is_unbound = [&](const config_node *group) { return type_in_rules(&bound, group->name) == unbound; };
    if (groups && read_rules(&bound) == 0) {
        for (config_node *group = groups->edit_list; group; group = group->next)
            if (!is_unbound(group))
                give_auth_type(group, type_in_rules(&bound, group->name));
        delete_where(&groups->edit_list, groups, is_unbound);
    }
    free_bound(&bound);
}

int32_t find_binded_usr_group(const char *group_name)
{
    bound_groups bound = {};
    int32_t      type = read_rules(&bound) == 0 ? type_in_rules(&bound, group_name) : unbound;
    free_bound(&bound);
    return type;
}

void cfg_auth_type2top(config_node *group)
{
    for (config_node *member = group ? entries_of(group) : nullptr; member; member = member->next)
        if (move_type_to_top(member) != 0)
            return;
}
