/*
 * The step to 4.20 gives user groups the authentication type of the rule that names them. Groups that no rule
 * names go, with all their members.
 */
#include "chain/users.h"

#include "chain/blocks.h"
#include "tree/node_store.h"
#include "tree/operations.h"

#include <cstring>

namespace {

/* What the walk over the rules knows. Both fields live on from entry to entry. */
struct binding {
    int32_t type;  /* 0 plain, 1 digest, 2 NTLM: the last type seen, cleared by the name of another group */
    bool    bound; /* the group's name was met */
};

void read_binding(binding *state, const config_node *set, const char *group_name)
{
    if (raw_name_begins(set, "authen-type")) {
        if (raw_value_begins(set, "digest"))
            state->type = 1;
        if (raw_value_begins(set, "ntlm"))
            state->type = 2;
    }
    if (raw_name_begins(set, "user-group")) {
        if (raw_value_is(set, group_name))
            state->bound = true;
        else
            state->type = 0;
    }
}

/* Gives -1 when out of memory. */
int32_t move_type_to_top(config_node *member)
{
    config_node *type = first_set(member, "type");
    if (!type || type == member->set_list)
        return 0;
    config_node *copy = new_node(type->kind);
    if (!copy)
        return -1;
    *copy = *type;
    type->value = nullptr;
    type->deleted = 1;
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
    for (config_node *group = edits_of(groups); group; group = group->next) {
        int32_t type = find_binded_usr_group(group->name);
        if (type == -1) {
            cfg_del_conf(group, groups);
            continue;
        }
        if (type == 1)
            cfg_add_conf("auth-type", "digest", MIGR_SET, group);
        if (type == 2)
            cfg_add_conf("auth-type", "NTLM", MIGR_SET, group);
        cfg_auth_type2top(group);
    }
}

/* The first entry with the group decides. An entry whose type stands behind the name of another group hands that type
 * on to the next entry: old files depend on it. */
int32_t find_binded_usr_group(const char *group_name)
{
    config_node *rules = _migr_find_node("waf,http-authen,http-authen-rule");
    binding      state = {};
    for (const config_node *rule = edits_of(rules); rule; rule = rule->next)
        for (const config_node *entry = entries_of(rule); entry; entry = entry->next) {
            for (const config_node *set = entry->set_list; set; set = set->next)
                read_binding(&state, set, group_name);
            if (state.bound)
                return state.type;
        }
    return -1;
}

void cfg_auth_type2top(config_node *group)
{
    for (config_node *member = group ? entries_of(group) : nullptr; member; member = member->next)
        if (move_type_to_top(member) != 0)
            return;
}
