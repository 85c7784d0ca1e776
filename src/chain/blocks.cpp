#include "chain/blocks.h"

#include "driver/run_context.h"
#include "tree/operations.h"

#include <cstring>

config_node *walk_to(const char *name)
{
    config_node *node = migr_main.root.top_list;
    while (node && !raw_name_is(node, name))
        node = node->next;
    return node;
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
    config_node *set = owner->set_list;
    while (set && !raw_name_is(set, name))
        set = set->next;
    return set;
}

config_node *last_of(config_node *list)
{
    while (list && list->next)
        list = list->next;
    return list;
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

void insert_behind(config_node *place, config_node *node)
{
    if (node)
        push_front(&place->next, node);
}
