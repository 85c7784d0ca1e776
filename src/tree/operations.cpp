/*
 * Lists are taken as they stand: nothing here looks at an output flag, copies what hangs below a node, or frees a
 * node's own record, since whoever walks a list may still have to go on from it.
 */
#include "tree/operations.h"

#include "driver/run_context.h"
#include "tree/config_text.h"
#include "tree/make_node.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

config_node *found_node;
int32_t      is_found;

config_node *first_named(config_node *list, const char *name)
{
    while (list && strcmp(list->name, name) != 0)
        list = list->next;
    return list;
}

static bool has_edits(const config_node *config)
{
    return config->kind == MIGR_TOP || config->kind == MIGR_CONFIG;
}

static config_node *first_edit(const config_node *config, const char *name)
{
    return has_edits(config) ? first_named(config->edit_list, name) : nullptr;
}

config_node *find_node(const config_node *node, const char *path)
{
    if (!node)
        return nullptr;
    if (node->kind != MIGR_ROOT)
        return first_edit(node, path);
    config_node *found = first_named(node->top_list, path);
    for (config_node *config = node->top_list; config && !found; config = config->next)
        found = first_edit(config, path);
    return found;
}

/* Of each name the first that comes. */
static void note_if_named(config_node *node, const char *const *names, config_node **found, int32_t count)
{
    for (int32_t i = 0; i < count; i++)
        if (!found[i] && strcmp(node->name, names[i]) == 0)
            found[i] = node;
}

void find_nodes(const config_node *root, const char *const *paths, config_node **found, int32_t count)
{
    for (int32_t i = 0; i < count; i++)
        found[i] = first_named(root->top_list, paths[i]);
    if (std::find(found, found + count, nullptr) == found + count)
        return;
    for (const config_node *config = root->top_list; config; config = config->next)
        for (config_node *edit = has_edits(config) ? config->edit_list : nullptr; edit; edit = edit->next)
            note_if_named(edit, paths, found, count);
}

void migr_find_node(config_node *node, int32_t, const char *path)
{
    config_node *found = is_found == 1 ? nullptr : find_node(node, path);
    if (!found)
        return;
    found_node = found;
    is_found = 1;
}

config_node *last_of(config_node *list)
{
    while (list && list->next)
        list = list->next;
    return list;
}

config_node *_migr_find_node(const char *path)
{
    is_found = 0;
    found_node = nullptr;
    migr_find_node(&migr_main.root, 1, path);
    return is_found == 1 ? found_node : nullptr;
}

config_node *migr_get_childnode(config_node *parent, const char *name, int32_t kind)
{
    if (!parent || !name)
        return nullptr;
    config_node **list = child_list(parent, static_cast<uint32_t>(kind));
    config_node **link = list;
    while (link && *link && strcmp((*link)->name, name) != 0)
        link = &(*link)->next;
    if (!link || !*link)
        return nullptr;
    config_node *child = unlink_at(list, link);
    child->next = nullptr;
    return child;
}

int32_t migr_move_node(config_node *node, config_node *parent, int32_t kind, const char *new_name)
{
    if (!node || !parent)
        return 0;
    if (new_name)
        set_node_name(node, new_name);
    config_node **list = child_list(parent, static_cast<uint32_t>(kind));
    if (!list)
        return 0;
    push_front(list, node);
    return 1;
}

/* A node with copies of both texts, in no list; null for texts that are too long and without memory. */
static config_node *node_of_fitting_texts(const char *name, const char *value, uint32_t kind)
{
    if (!fits_node(name, value))
        return nullptr;
    return make_node(kind, name, value);
}

void cfg_add_conf(const char *name, const char *value, int32_t kind, config_node *target)
{
    if (!name || !target)
        return;
    config_node **list = child_list(target, static_cast<uint32_t>(kind));
    if (!list)
        return;
    config_node *node = node_of_fitting_texts(name, value, static_cast<uint32_t>(kind));
    if (node)
        push_front(kind == MIGR_TOP ? &target->next : list, node);
}

void cfg_del_conf(config_node *child, config_node *parent)
{
    if (!child || !parent)
        return;
    config_node **list = child_list(parent, child->kind);
    if (list && unlink_node(list, child))
        free_node(child);
}

config_node **delete_at(config_node **link, config_node **list, config_node *parent)
{
    config_node *child = *link;
    if (child_list(parent, child->kind) != list) {
        cfg_del_conf(child, parent);
        return *link == child ? &child->next : link;
    }
    free_node(unlink_at(list, link));
    return link;
}

config_node *make_config_node(const char *name, const char *value, int32_t kind)
{
    if (!name || kind != MIGR_SET)
        return nullptr;
    return node_of_fitting_texts(name, value, MIGR_SET);
}

void move_prop_2_bottom(config_node *node, const char *name)
{
    if (!node || !node->set_list || !name || *name == '\0')
        return;
    config_node *last = node->set_list;
    config_node *found = nullptr;
    for (; last->next; last = last->next)
        if (strcmp(last->name, name) == 0)
            found = last;
    if (!found || !found->value || *found->value == '\0')
        return;
    config_node *copy = copy_record(found);
    if (!copy)
        return;
    push_front(&last->next, copy);
    mark_deleted(found);
}

int32_t get_cvw_opmode(char *buffer)
{
    static constexpr size_t room = 32;
    config_node            *settings = _migr_find_node("system,settings");
    config_node            *first = settings ? settings->set_list : nullptr;
    if (!first || strcmp(first->name, "opmode") != 0)
        return 0;
    snprintf(buffer, room, "%s", first->value ? first->value : "");
    return 1;
}
