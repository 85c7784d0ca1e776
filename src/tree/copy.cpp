/*
 * Copying and freeing trees, without recursion, so that depth costs no stack. A copy shares nothing with what it was
 * made from.
 */
#include "ledger/tell.h"
#include "tree/config_text.h"
#include "tree/fetch_ahead.h"
#include "tree/list_walk.h"
#include "tree/node_stack.h"
#include "tree/node_store.h"
#include "tree/operations.h"

#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

using list_of = config_node *config_node::*;

/* The lists in which a node of that kind keeps children, in the order in which they are copied and freed. */
struct child_lists {
    list_of lists[3];
};

child_lists lists_of(uint32_t kind)
{
    switch (kind) {
    case MIGR_ROOT:
        return {{&config_node::top_list}};
    case MIGR_TOP:
    case MIGR_CONFIG:
        return {{&config_node::edit_list, &config_node::config_list, &config_node::set_list}};
    case MIGR_EDIT:
        return {{&config_node::config_list, &config_node::set_list}};
    default:
        return {};
    }
}

/* Copies one list of `source` to the same list of `target`; children with children of their own are left on `waiting`,
 * each followed by its copy. */
int32_t copy_list(const config_node *source, config_node *target, list_of list, node_stack *waiting)
{
    config_node **tail = &(target->*list);
    while (*tail)
        tail = &(*tail)->next;
    for (config_node *child = source->*list; child; child = child->next) {
        config_node *copy = new_node(child->kind);
        if (!copy)
            return -1;
        cp_node_content(child, copy);
        push_front(tail, copy);
        tail = &copy->next;
        if (lists_of(child->kind).lists[0] && (push_node(waiting, child) != 0 || push_node(waiting, copy) != 0))
            return -1;
    }
    return 0;
}

/* Takes the first list that a node has left away from it; null when it has none. */
config_node *take_list(config_node *node)
{
    for (list_of list : lists_of(node->kind).lists)
        if (list && node->*list)
            return std::exchange(node->*list, nullptr);
    return nullptr;
}

/* Releases all nodes of a list, each behind what hangs below it. The blocks around the node in hand hang on to each
 * other by `top_list`, which only a root has. */
void release_list(config_node *node)
{
    config_node *around = nullptr;
    while (node) {
        fetch_ahead(node);
        if (config_node *below = take_list(node)) {
            node->top_list = around;
            around = node;
            node = below;
            continue;
        }
        config_node *next = node->next;
        release_node(node);
        if (!next && around)
            next = std::exchange(around, around->top_list);
        node = next;
    }
}

int32_t push_children(node_stack *waiting, const config_node *node)
{
    for (list_of list : lists_of(node->kind).lists)
        if (list && push_node(waiting, node->*list) != 0)
            return -1;
    return 0;
}

/* Without memory the rest of them is lost to the heap, and nothing else. */
void leave_foreign_below(const config_node *node)
{
    node_stack waiting = {};
    int32_t    result = push_children(&waiting, node);
    while (config_node *child = result == 0 ? pop_node(&waiting) : nullptr) {
        leave_foreign_node(child);
        result = push_node(&waiting, child->next) == 0 ? push_children(&waiting, child) : -1;
    }
    free_stack(&waiting);
}

} // namespace

void add_to_tail(config_node **list, config_node *node)
{
    config_node **end = end_of(list);
    if (ledger::is_watched())
        ledger::tell_linking(end, node);
    note_linking(node);
    *end = node;
    node->next = nullptr;
    note_appended(list, end);
}

int32_t cp_node_content(const config_node *source, config_node *target)
{
    if (!source || !target) {
        printf("node ptr NULL.");
        return -1;
    }
    target->kind = source->kind;
    memcpy(target->name, source->name, sizeof target->name);
    target->deleted = source->deleted;
    target->hidden = source->hidden;
    if (source->value)
        target->value = strdup(source->value);
    if (ledger::is_watched())
        ledger::tell_copied(target, source);
    return !source->value || target->value ? 0 : -1;
}

int32_t copy_node(const config_node *source, config_node *target)
{
    if (!source || !target)
        return -1;
    cp_node_content(source, target);
    node_stack waiting = {};
    int32_t    result = 0;
    while (result == 0 && source) {
        for (list_of list : lists_of(source->kind).lists)
            if (list && result == 0)
                result = copy_list(source, target, list, &waiting);
        target = pop_node(&waiting);
        source = pop_node(&waiting);
    }
    free_stack(&waiting);
    return result;
}

void free_node(config_node *node)
{
    if (!node)
        return;
    if (deleted_nodes_are_held())
        return leave_foreign_below(node);
    for (list_of list : lists_of(node->kind).lists)
        if (list)
            release_list(node->*list);
}
