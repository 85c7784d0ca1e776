/*
 * Where node records come from and go.
 *
 * Every record that the library makes belongs to one of two stores: to the pass (what a file's tree and its migrations
 * make) or to the run (what the global file leaves in tmp_tree_root for the domain files). A store knows all its
 * records, also those that a migration has taken out of every list, and frees them together with their values in the
 * end. So a deleted node's record, name and value can stay readable until then, and nothing is ever lost.
 *
 * A host may link records of its own, made with calloc, into a tree. No store knows those, and nothing is looked for
 * around them: they and their values are given to free where a record of a store would go back to it.
 */
#ifndef MIGR_TREE_NODE_STORE_H
#define MIGR_TREE_NODE_STORE_H

#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A zeroed node of that kind, or null when there is no memory. */
config_node *new_node(uint32_t kind);

/* Frees one record and its value, and nothing below it. The node must be in no list. */
void release_node(config_node *node);

/* Between make_nodes_for_run(1) and make_nodes_for_run(0) new nodes belong to the run, otherwise to the pass. */
void make_nodes_for_run(int32_t for_run);

/* Frees all that is left of the pass, or of the run. */
void release_pass_nodes(void);
void release_run_nodes(void);

/*
 * Between hold_deleted_nodes(1) and hold_deleted_nodes(0) free_node frees nothing, and what hangs below a deleted node
 * stays readable: the walk may still have to go through it. It goes with the rest of the pass.
 */
void hold_deleted_nodes(int32_t hold);

/* From now until the pass ends free_node frees nothing: two nodes have come to hold the same children, and the end of
 * the pass frees each node once. */
void leave_nodes_to_pass(void);

/* Whether free_node has to leave everything to the end of the pass. */
int32_t deleted_nodes_are_held(void);

/* Remembers a record that it may not free yet, if a host made it, for the end of the pass. */
void leave_foreign_node(config_node *node);

#ifdef __cplusplus
}
#endif

#endif
