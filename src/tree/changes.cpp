/*
 * Nodes are taken as they are: nothing here frees a record or what hangs below it, and nothing looks at an output flag.
 * Lists that a walk is in are told of what happens to them.
 */
#include "tree/changes.h"

#include "ledger/tell.h"
#include "tree/list_walk.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

config_node **child_list(config_node *parent, uint32_t kind)
{
    switch (kind) {
    case MIGR_TOP:
        return &parent->top_list;
    case MIGR_CONFIG:
        return &parent->config_list;
    case MIGR_EDIT:
        return &parent->edit_list;
    case MIGR_SET:
        return &parent->set_list;
    default:
        return nullptr;
    }
}

config_node *unlink_at(config_node **list, config_node **link)
{
    config_node *node = *link;
    if (ledger::is_watched())
        ledger::tell_unlinking(link, node);
    *link = node->next;
    note_unlinked(list, link, node);
    return node;
}

int32_t unlink_node(config_node **list, config_node *node)
{
    config_node **link = link_to(list, node);
    if (!link)
        return 0;
    unlink_at(list, link);
    return 1;
}

void drop_list(config_node **list)
{
    while (*list)
        unlink_at(list, list);
}

void push_front(config_node **list, config_node *node)
{
    if (ledger::is_watched())
        ledger::tell_linking(list, node);
    note_linking(node);
    node->next = *list;
    *list = node;
}

void adopt_list(config_node **list, config_node *first)
{
    if (ledger::is_watched())
        ledger::tell_adopting(list, first);
    *list = first;
}

void exchange_nodes(config_node *one, config_node *other)
{
    if (ledger::is_watched())
        ledger::tell_exchanging(one, other);
    std::swap(*one, *other);
    std::swap(one->next, other->next);
}

int32_t set_node_value(config_node *node, const char *value)
{
    char *copy = strdup(value);
    if (!copy)
        return -1;
    give_node_value(node, copy);
    return 0;
}

void give_node_value(config_node *node, char *text)
{
    char *before = node->value;
    node->value = text;
    if (ledger::is_watched())
        ledger::tell_revalued(node, before, text);
    free(before);
}

/* The old text is needed only to tell of it. Without memory for it the new one is told alone. */
char *begin_value_edit(const config_node *node)
{
    return ledger::is_watched() && node->value ? strdup(node->value) : nullptr;
}

void end_value_edit(config_node *node, char *before)
{
    if (!ledger::is_watched())
        return;
    ledger::tell_revalued(node, before, node->value);
    if (before)
        explicit_bzero(before, strlen(before)); /* it may be a key */
    free(before);
}

void set_node_name(config_node *node, const char *name)
{
    /* `name` may be the node's own. */
    char copy[MIGR_NAME_SIZE];
    snprintf(copy, sizeof copy, "%s", name);
    if (ledger::is_watched())
        ledger::tell_renaming(node, copy);
    memcpy(node->name, copy, sizeof copy);
}

static void set_flag(config_node *node, uint8_t *flag, uint8_t raised)
{
    if (*flag == raised)
        return;
    *flag = raised;
    if (ledger::is_watched())
        ledger::tell_marked(node);
}

void mark_deleted(config_node *node)
{
    set_flag(node, &node->deleted, 1);
}

void clear_delete_mark(config_node *node)
{
    set_flag(node, &node->deleted, 0);
}

void mark_hidden(config_node *node)
{
    set_flag(node, &node->hidden, 1);
}
