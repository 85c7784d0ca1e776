/* Nodes come from the store and from nowhere else, so that the end of a pass finds them all, linked or not. */
#include "tree/make_node.h"

#include "ledger/tell.h"
#include "tree/changes.h"
#include "tree/config_text.h"
#include "tree/node_store.h"

#include <cstring>

int32_t fits_node(const char *name, const char *value)
{
    return strlen(name) < MIGR_NAME_SIZE && (!value || strlen(value) + 1 < MIGR_VALUE_SIZE);
}

config_node *make_node(uint32_t kind, const char *name, const char *value)
{
    config_node *node = new_node(kind);
    if (!node)
        return nullptr;
    set_node_name(node, name);
    if (value && set_node_value(node, value) != 0) {
        release_node(node);
        return nullptr;
    }
    if (ledger::is_watched())
        ledger::tell_made(node);
    return node;
}

config_node *make_set_leniently(const char *name, const char *value)
{
    config_node *set = make_node(MIGR_SET, name, nullptr);
    if (set && value)
        set_node_value(set, value);
    return set;
}

config_node *take_content(config_node *node)
{
    config_node *copy = new_node(node->kind);
    if (!copy)
        return nullptr;
    *copy = *node;
    node->value = nullptr;
    if (ledger::is_watched()) {
        ledger::tell_copied(copy, node);
        ledger::tell_revalued(node, copy->value, nullptr);
    }
    return copy;
}

config_node *copy_record(const config_node *node)
{
    config_node *copy = new_node(node->kind);
    if (!copy || cp_node_content(node, copy) == 0)
        return copy;
    release_node(copy);
    return nullptr;
}

config_node *copy_tree(const config_node *node)
{
    config_node *copy = new_node(node->kind);
    if (!copy || copy_node(node, copy) == 0)
        return copy;
    free_node(copy);
    release_node(copy);
    return nullptr;
}
