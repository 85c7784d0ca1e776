/*
 * The step to 4.30 grafts the predefined configuration into the file. Works on the two tables of
 * predefined_tables.cpp, whose marks outlive a file; the nodes in them do not (forget_merged_nodes).
 */
#include "chain/predefined_merge.h"

#include "chain/blocks.h"
#include "tree/config_text.h"
#include "tree/operations.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr char predefined_file[] = "/data/etc/system.conf.predefine";

int32_t max_node_num; /* rows of the table that the list builder works on */

/* Result slots of the merge's own search. */
namespace merge {
int32_t      is_found;
config_node *found_node;
} // namespace merge

/* Files of old releases have no numbered names, so in the main tree the rows of numbered entries stay empty. */
config_node *find_row(run_context *record, const merge_row *row)
{
    merge::is_found = 0;
    merge::found_node = nullptr;
    migr_merge_find_node(&record->root, 1, row->path);
    return merge::found_node;
}

/* Rows that the tree has, chained in their order. */
void chain_canonical_rows(run_context *record)
{
    int32_t previous = -1;
    max_node_num = MIGR_CANONICAL_ROWS;
    for (int32_t i = 0; i < max_node_num; i++) {
        config_node *node = find_row(record, &pre_node_info[i]);
        if (!node)
            continue;
        pre_node_info[i].node = node;
        if (previous != -1) {
            pre_node_info[i].prev = previous;
            pre_node_info[previous].next = i;
        }
        previous = i;
    }
}

/* Takes back the marks of the file before, but for the first row's, which has no row ahead of it. */
void clear_predefined_marks(run_context *record)
{
    int32_t previous = -1;
    max_node_num = MIGR_PREDEFINED_ROWS;
    for (int32_t i = 0; i < max_node_num; i++) {
        config_node *node = find_row(record, &sub_node_info[i]);
        if (!node)
            continue;
        sub_node_info[i].node = node;
        if (previous != -1) {
            sub_node_info[i].prev = -1;
            sub_node_info[previous].next = -1;
        }
        previous = i;
    }
}

/* The canonical rows passed so far. */
struct chain_end {
    int32_t last;        /* the nearest one in the chain */
    int32_t pending;     /* a row was put in, and what follows it is not known yet */
    int32_t pending_row; /* that row */
};

void mark_if_missing(merge_row *predefined, int32_t row, chain_end *end)
{
    merge_row *canonical = &pre_node_info[row];
    if (!canonical->node && strcmp(predefined->path, canonical->path) == 0) {
        predefined->prev = row;
        canonical->prev = end->last;
        pre_node_info[end->last].next = row;
        *end = {row, 1, row};
        return;
    }
    if (!canonical->node)
        return;
    if (end->pending) {
        pre_node_info[end->pending_row].next = row;
        end->pending = 0;
        end->pending_row = 0;
    }
    end->last = row;
}

/* The nearest block at or ahead of the row that the tree has; null when the file has none so far up. */
config_node *anchor_of(const config_node *node, int32_t row)
{
    for (; row >= 0; row--) {
        config_node *anchor = pre_node_info[row].node;
        if (anchor && anchor->kind == MIGR_TOP && anchor->kind <= node->kind)
            return anchor;
    }
    return nullptr;
}

/* A grafted node leaves the tree that it was read into; an entry of it may be grafted by itself. */
void take_out_of_predefined(config_node *node)
{
    bool taken = unlink_node(&migr_sub.root.top_list, node);
    for (config_node *table = migr_sub.root.top_list; table && !taken; table = table->next)
        taken = unlink_node(&table->edit_list, node);
}

/* "High Level Security1" with its quotes becomes "High Level Security": the number stands ahead of the last one. */
void strip_number(config_node *node)
{
    char   name[MIGR_NAME_SIZE];
    size_t length = strlen(node->name);
    if (length < 2 || node->name[length - 2] < '0' || node->name[length - 2] > '9')
        return;
    snprintf(name, sizeof name, "%.*s%c", static_cast<int>(length - 2), node->name, node->name[length - 1]);
    set_node_name(node, name);
}

} // namespace

/* ---- 4.30 ---- */

/*
 * 4.20 to 4.30: the firmware's predefined entries became part of the configuration. A fixed file has them, and a file
 * that lacks some gets them at the places that they have in a full file.
 */
int32_t migr_preconfig(void)
{
    migr_init_node_list(&migr_main, 0);
    setup_tree(&migr_sub, predefined_file);
    migr_init_node_list(&migr_sub, 1);
    migr_find_insert_point();
    insert_sub_to_main();
    migr_dump_to_file();
    return 0;
}

void migr_merge_find_node(config_node *node, int32_t, const char *path)
{
    config_node *found = merge::is_found == 1 ? nullptr : find_node(node, path);
    if (!found)
        return;
    merge::found_node = found;
    merge::is_found = 1;
}

void migr_init_node_list(run_context *record, int32_t which)
{
    if (which == 0)
        chain_canonical_rows(record);
    else if (which == 1)
        clear_predefined_marks(record);
}

/* The end of the chain is carried over from each predefined row to the next. */
void migr_find_insert_point(void)
{
    chain_end end = {};
    for (merge_row &predefined : sub_node_info)
        for (int32_t row = 0; row < MIGR_CANONICAL_ROWS; row++)
            mark_if_missing(&predefined, row, &end);
}

/* A table that is grafted brings its entries along, so nothing below its own kind is grafted until a row comes that
 * the main tree has. */
void insert_sub_to_main(void)
{
    static constexpr uint32_t no_limit = 100;
    uint32_t                  limit = no_limit;
    for (const merge_row &predefined : sub_node_info) {
        if (!predefined.node)
            continue;
        if (predefined.prev == -1) {
            limit = no_limit;
            continue;
        }
        for (int32_t row = 0; row < MIGR_CANONICAL_ROWS; row++)
            if (strcmp(predefined.path, pre_node_info[row].path) == 0 && predefined.node->kind <= limit) {
                insert_node(predefined.node, row);
                limit = predefined.node->kind;
            }
    }
}

void insert_node(config_node *node, int32_t row)
{
    config_node *anchor = anchor_of(node, row);
    pre_node_info[row].node = node;
    if (!anchor || anchor == node)
        return;
    bool          sibling = node->kind == anchor->kind;
    config_node **list = sibling ? &anchor->next : child_list(anchor, node->kind);
    if (!list || migr_node_filter(*list, node))
        return;
    take_out_of_predefined(node);
    push_front(list, node);
}

int32_t migr_node_filter(const config_node *list, config_node *node)
{
    if (!list || !node)
        return 0;
    strip_number(node);
    for (; list; list = list->next)
        if (raw_name_is(list, node->name))
            return 1;
    return 0;
}

void migr_dump_to_file(void)
{
    max_node_num = MIGR_PREDEFINED_ROWS;
    for (int32_t i = 0; i < max_node_num; i++)
        if (sub_node_info[i].node)
            strip_number(sub_node_info[i].node);
}

void forget_merged_nodes(void)
{
    for (merge_row &row : pre_node_info)
        row.node = nullptr;
    for (merge_row &row : sub_node_info)
        row.node = nullptr;
    merge::found_node = nullptr;
    migr_sub.root = {};
}
