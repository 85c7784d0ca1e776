/*
 * The vocabulary of the version chain. Everything is compared as it is written and delete marks are not looked at,
 * so nothing here is of use to the stages, which compare without quotes (walk/toolkit.h).
 */
#include "chain/blocks.h"

#include "driver/hooks.h"
#include "driver/run_context.h"
#include "tree/operations.h"

#include <cstring>

config_node *walk_to(const char *name)
{
    return first_named(migr_main.root.top_list, name);
}

config_node *node_ahead_of(const char *name)
{
    for (config_node *node = migr_main.root.top_list; node; node = node->next)
        if (node->next && raw_name_is(node->next, name))
            return node;
    return nullptr;
}

config_node *edits_of(const config_node *block)
{
    return block ? block->edit_list : nullptr;
}

config_node *entries_of(const config_node *edit)
{
    return edits_of(edit->config_list);
}

bool raw_name_is(const config_node *node, const char *name)
{
    return strcmp(node->name, name) == 0;
}

bool raw_name_begins(const config_node *node, const char *text)
{
    return strncmp(node->name, text, strlen(text)) == 0;
}

const char *value_of(const config_node *node)
{
    return node->value ? node->value : "";
}

bool raw_value_is(const config_node *node, const char *text)
{
    return node->value && strcmp(node->value, text) == 0;
}

bool raw_value_begins(const config_node *node, const char *text)
{
    return node->value && strncmp(node->value, text, strlen(text)) == 0;
}

config_node *first_set(const config_node *owner, const char *name)
{
    return first_named(owner->set_list, name);
}

config_node *last_set(const config_node *owner)
{
    return last_of(owner->set_list);
}

bool push_new_set(config_node *owner, const char *name, const char *value)
{
    config_node *set = make_node(MIGR_SET, name, value);
    if (!set)
        return false;
    push_front(&owner->set_list, set);
    return true;
}

void del_first_set_in_edits(const char *block, const char *name)
{
    for (config_node *edit = edits_of(walk_to(block)); edit; edit = edit->next)
        cfg_del_conf(first_set(edit, name), edit);
}

void insert_behind(config_node *place, config_node *node)
{
    if (node)
        push_front(&place->next, node);
}

config_node *open_block_behind(const char *anchor, const char *name, const char *where)
{
    if (config_node *block = walk_to(name))
        return block;
    if (!walk_to(anchor))
        migr_never_returns(where);
    for (config_node *node = migr_main.root.top_list; node; node = node->next)
        if (raw_name_is(node, anchor))
            cfg_add_conf(name, nullptr, MIGR_TOP, node);
    return walk_to(name);
}
