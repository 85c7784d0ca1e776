/*
 * Where node records come from and go.
 *
 * Every record belongs to one of two stores: to the pass (what a file's tree and its migrations make) or to the run
 * (what the global file leaves in tmp_tree_root for the domain files). A store knows all its records, also those that
 * a migration has taken out of every list, and frees them together with their values in the end. So a deleted node's
 * record, name and value can stay readable until then, and nothing is ever lost.
 */
#ifndef MIGR_TREE_NODE_STORE_H
#define MIGR_TREE_NODE_STORE_H

#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A zeroed node of that kind in the pass's store, or null when there is no memory. */
config_node *new_node(uint32_t kind);

/* Frees one record and its value, and nothing below it. The node must come from new_node and be in no list. */
void release_node(config_node *node);

/* Gives `node` and all that hangs below it to the run's store, so that they outlive the pass. 0, or -1 without memory:
 * part of it then still belongs to the pass, and the caller must drop the whole. */
int32_t keep_for_run(config_node *node);

/* Frees all that is left of the pass, or of the run. */
void release_pass_nodes(void);
void release_run_nodes(void);

/*
 * Between hold(1) and hold(0) free_node frees nothing, and what hangs below a deleted node stays readable: the walk
 * may still have to go through it. The store frees it with the rest of the pass.
 */
void hold_deleted_nodes(int32_t hold);

/* Two nodes have come to hold the same children: from now until the pass ends free_node frees nothing, and the store
 * frees each node once. */
void share_nodes_of_pass(void);

/* Whether free_node has to leave everything to the store. */
int32_t deleted_nodes_are_held(void);

#ifdef __cplusplus
}
#endif

#endif
