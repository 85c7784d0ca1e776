#include "chain/blocks.h"

#include "driver/run_context.h"
#include "tree/config_text.h"
#include "tree/node_store.h"
#include "tree/operations.h"

#include <cstring>

config_node *walk_to(const char *name)
{
    config_node *node = migr_main.root.top_list;
    while (node && !named(node, name))
        node = node->next;
    return node;
}

config_node *node_ahead_of(const char *name)
{
    for (config_node *node = migr_main.root.top_list; node; node = node->next)
        if (node->next && named(node->next, name))
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

bool named(const config_node *node, const char *name)
{
    return strcmp(node->name, name) == 0;
}

bool name_begins(const config_node *node, const char *text)
{
    return strncmp(node->name, text, strlen(text)) == 0;
}

const char *value_of(const config_node *node)
{
    return node->value ? node->value : "";
}

bool value_is(const config_node *node, const char *text)
{
    return node->value && strcmp(node->value, text) == 0;
}

bool value_begins(const config_node *node, const char *text)
{
    return node->value && strncmp(node->value, text, strlen(text)) == 0;
}

config_node *first_set(const config_node *owner, const char *name)
{
    config_node *set = owner->set_list;
    while (set && !named(set, name))
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

config_node *named_node(const char *name, uint32_t kind)
{
    config_node *node = new_node(kind);
    if (node)
        set_node_name(node, name);
    return node;
}

config_node *new_set(const char *name, const char *value)
{
    config_node *set = named_node(name, MIGR_SET);
    if (!set || !value || set_node_value(set, value) == 0)
        return set;
    release_node(set);
    return nullptr;
}

config_node *make_set(const char *name, const char *value)
{
    config_node *set = new_set(name, nullptr);
    if (set && value)
        set_node_value(set, value);
    return set;
}

config_node *copy_of(const config_node *node)
{
    config_node *copy = new_node(node->kind);
    if (!copy || cp_node_content(node, copy) == 0)
        return copy;
    release_node(copy);
    return nullptr;
}

config_node *copy_of_block(const config_node *block)
{
    config_node *copy = new_node(block->kind);
    if (!copy || copy_node(block, copy) == 0)
        return copy;
    free_node(copy);
    release_node(copy);
    return nullptr;
}

bool add_set(config_node *owner, const char *name, const char *value)
{
    config_node *set = new_set(name, value);
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
