/* The merge of the predefined configuration, which brings old files the entries that 4.30 expects to find. */
#ifndef MIGR_CHAIN_PREDEFINED_MERGE_H
#define MIGR_CHAIN_PREDEFINED_MERGE_H

#include "driver/run_context.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A block or a predefined entry that the merge knows. */
typedef struct merge_row merge_row;
struct merge_row {
    char         path[MIGR_NAME_SIZE]; /* a top-level path name, or an edit's raw name */
    int32_t      prev;                 /* the row ahead of it; of a predefined row where it is to go, -1 for nowhere */
    int32_t      next;                 /* the row behind it */
    config_node *node;                 /* what this file has for it, or null; cleared when the pass ends */
};

#define MIGR_CANONICAL_ROWS 127
#define MIGR_PREDEFINED_ROWS 30

/* `prev` and `next` are never reset: a second file starts with those of the first. */
extern merge_row pre_node_info[MIGR_CANONICAL_ROWS];
extern merge_row sub_node_info[MIGR_PREDEFINED_ROWS];

/* 4.30. Grafts what the main tree lacks, if the predefined file can be read at all. Always 0. */
int32_t migr_preconfig(void);

/* Finds the rows' nodes in the record's tree. which: 0 the canonical table, 1 the predefined one; else nothing. */
void migr_init_node_list(run_context *record, int32_t which);

/* Marks the predefined rows that the main tree lacks. */
void migr_find_insert_point(void);

/* Grafts the nodes of marked rows. */
void insert_sub_to_main(void);

/* Grafts one node, not null, for a canonical row. */
void insert_node(config_node *node, int32_t row);

/* Takes the number off the node's name, then gives 1 when the list holds that name, else 0. With a null list or node
 * 0, and the name stays. */
int32_t migr_node_filter(const config_node *list, config_node *node);

/* Takes the numbers off all names that still have one. Writes no file, whatever its name says. */
void migr_dump_to_file(void);

/* migr_find_node with result slots of its own. */
void migr_merge_find_node(config_node *node, int32_t depth, const char *path);

/* Called when a pass ends: forgets all nodes, and the predefined tree. */
void forget_merged_nodes(void);

#ifdef __cplusplus
}
#endif

#endif
