/* The staged walk: offers every position of the tree to the callbacks of every release in the file's span. */
#ifndef MIGR_WALK_WALK_H
#define MIGR_WALK_WALK_H

#include "walk/stages.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Walks context->root with every stage above context->cfg_version and up to context->img_version that fits its mode.
 * Always 0. */
int32_t new_config_update(run_context *context);

/* Gives each row of a stage a fresh state block and clears its flags, as the start of a run does for all stages. */
void prepare_stage(stage_table *stage);

/* Walks context->root with one stage, in as many rounds as its rows ask for. */
void walk_stage(run_context *context, stage_table *stage);

/* The walk's inner steps follow, valid only while it runs. Offers the current position to all rows of the stage. */
void cb_loop(void);

/* Moves a level on: gives the node in *next, and moves *next to its successor. At the end of the list it offers the end
 * visit, in `slot`, and gives null. */
config_node *do_next(config_node **next, config_node **slot);

/* Closes a round: a row that has had all its rounds is done with the stage. */
void cb_reset_stg_st(stage_table *stage);

#ifdef __cplusplus
}
#endif

#endif
