/*
 * The engine of the staged walk. Knows no callback by name, and nothing of what they do to the tree but that they
 * may unlink, delete and add anywhere; all stages come from all_stages.
 */
#include "walk/walk.h"

#include "driver/migr.h"
#include "tree/list_walk.h"
#include "tree/node_store.h"
#include "walk/cursors.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr int32_t last_round = 3;

/* The stage registry; its count is 0 while no run is active. */
struct stage_registry {
    stage_table *stages[4096];
    int32_t      count;
};

stage_registry cbm;
stage_table   *fns;       /* the stage being run */
int32_t        ver_idx;   /* its index in cbm */
int32_t        round;     /* the current round */
int32_t        round_brk; /* no row has asked for a further round */

bool in_scope(const stage_row *row, const char *name)
{
    return strncmp(name, row->scope, static_cast<size_t>(row->scope_len)) == 0;
}

bool is_active(const stage_row *row)
{
    /* Without its state block a callback cannot be called. */
    return !row->finished && !row->skip_round && (row->state_size == 0 || row->state);
}

/* What is left of the config's name behind the scope and one character, whatever that is. With an empty scope it is
 * the whole name. */
void set_suffix(const stage_row *row, const char *name)
{
    size_t skipped = row->scope_len == 0 ? 0 : static_cast<size_t>(row->scope_len) + 1;
    size_t length = strlen(name);
    if (skipped >= length)
        sbuf_suffix[0] = '\0';
    else
        memcpy(sbuf_suffix, name + skipped, length - skipped + 1);
}

/* Which rows of a stage have a name in their scope. Every position of the walk asks that for the config in top[1], and
 * nearly always it is the name asked for last. */
struct scope_memory {
    const stage_table *stage;
    char               name[MIGR_NAME_SIZE];
    uint64_t           rows; /* bit N for row N */
};

constexpr int32_t remembered_rows = 64;

scope_memory remembered;

void remember_scopes(const char *name)
{
    if (remembered.stage == fns && strcmp(remembered.name, name) == 0)
        return;
    remembered.stage = fns;
    strcpy(remembered.name, name);
    remembered.rows = 0;
    for (int32_t index = 0; index < fns->row_count && index < remembered_rows; index++)
        if (in_scope(&fns->rows[index], name))
            remembered.rows |= uint64_t{1} << index;
}

/* The first row from `index` on that has the remembered name in its scope, or row_count. */
int32_t next_in_scope(int32_t index)
{
    if (index < remembered_rows && remembered.rows >> index != 0)
        return index + __builtin_ctzll(remembered.rows >> index);
    if (index < remembered_rows)
        index = remembered_rows;
    while (index < fns->row_count && !in_scope(&fns->rows[index], remembered.name))
        index++;
    return index;
}

} // namespace

/* A row in front may have renamed the config in top[1]. */
void cb_loop(void)
{
    remember_scopes(top[1]->name);
    for (int32_t index = next_in_scope(0); index < fns->row_count; index = next_in_scope(index + 1)) {
        stage_row *row = &fns->rows[index];
        if (!is_active(row))
            continue;
        set_suffix(row, top[1]->name);
        row->func(round, row->state, &row->skip_round);
        if (!row->finished && row->max_round > round)
            round_brk = 0;
        remember_scopes(top[1]->name);
    }
}

/* The successor is read at once, so that a callback may unlink the node. */
config_node *do_next(config_node **next, config_node **slot)
{
    config_node *node = *next;
    if (node) {
        *next = node->next;
        __builtin_prefetch(*next); /* a tree is far larger than the cache: fetch while the rows see this node */
        return node;
    }
    *slot = &EOB_NODE;
    cb_loop();
    *slot = &EMPTY_NODE;
    return nullptr;
}

namespace {

/* Moves a level on. */
config_node *next_in(walked_list *walked, config_node **next, config_node **slot)
{
    config_node *node = do_next(next, slot);
    if (node)
        step_to(walked, node);
    else
        leave_list(walked);
    return node;
}

/* A set list has its end visit even when it is empty. */
void walk_sets(config_node **list, config_node **slot)
{
    walked_list  walked;
    config_node *next = *list;
    enter_list(&walked, list);
    while (config_node *set = next_in(&walked, &next, slot)) {
        *slot = set;
        cb_loop();
    }
}

/* The lists of edits and configs have an end visit only when they hold a node. A container's set list is read after
 * its deeper lists have ended. */
void walk_nested_edits(config_node **list)
{
    walked_list  walked;
    config_node *next = *list;
    if (!next)
        return;
    enter_list(&walked, list);
    while (config_node *edit = next_in(&walked, &next, &sub[2])) {
        sub[2] = edit;
        walk_sets(&edit->set_list, &sub[4]);
    }
}

void walk_nested_configs(config_node **list)
{
    walked_list  walked;
    config_node *next = *list;
    if (!next)
        return;
    enter_list(&walked, list);
    while (config_node *config = next_in(&walked, &next, &sub[1])) {
        sub[1] = config;
        walk_nested_edits(&config->edit_list);
        walk_sets(&config->set_list, &sub[3]);
    }
}

void walk_edits(config_node **list)
{
    walked_list  walked;
    config_node *next = *list;
    if (!next)
        return;
    enter_list(&walked, list);
    while (config_node *edit = next_in(&walked, &next, &top[2])) {
        top[2] = edit;
        walk_nested_configs(&edit->config_list);
        walk_sets(&edit->set_list, &top[4]);
    }
}

/* While no row can see a config nobody can change it or its name, so such a config need not be walked. */
bool concerns_any_row(const config_node *config)
{
    for (const stage_row *row = fns->rows; row < fns->rows + fns->row_count; row++)
        if (is_active(row) && in_scope(row, config->name))
            return true;
    return false;
}

void walk_tree(config_node **list)
{
    walked_list  walked;
    config_node *next = *list;
    if (!next)
        return;
    enter_list(&walked, list);
    while (config_node *config = next_in(&walked, &next, &top[1])) {
        top[1] = config;
        if (!concerns_any_row(config))
            continue;
        walk_edits(&config->edit_list);
        walk_sets(&config->set_list, &top[3]);
    }
}

} // namespace

void cb_reset_stg_st(stage_table *stage)
{
    for (stage_row *row = stage->rows; row < stage->rows + stage->row_count; row++) {
        if (row->max_round == round)
            row->finished = 1;
        if (!row->finished)
            row->skip_round = 0;
    }
}

namespace {

void init()
{
    for (stage_table *const *stage = all_stages; *stage; stage++) {
        cbm.stages[cbm.count++] = *stage;
        prepare_stage(*stage);
    }
}

bool is_due(const stage_table *stage, const run_context *context)
{
    if (stage->version <= context->cfg_version || stage->version > context->img_version)
        return false;
    return (stage->type == STAGE_ML) == (context->mode == MIGR_MACHINE_LEARNING);
}

/* What a callback has added to a sentinel was never to be seen; the nodes themselves go with the pass. */
void empty_sentinels()
{
    EMPTY_NODE = {};
    EMPTY_NODE.kind = MIGR_EMPTY;
    EOB_NODE = {};
    EOB_NODE.kind = MIGR_END;
}

} // namespace

void prepare_stage(stage_table *stage)
{
    for (stage_row *row = stage->rows; row < stage->rows + stage->row_count; row++) {
        free(row->state);
        row->state = row->state_size ? calloc(1, static_cast<size_t>(row->state_size)) : nullptr;
        row->skip_round = 0;
        row->finished = 0;
    }
}

void walk_stage(run_context *context, stage_table *stage)
{
    fns = stage;
    remembered.stage = nullptr;
    forget_walks();
    hold_deleted_nodes(1);
    for (round = 1; round <= last_round; round++) {
        round_brk = 1;
        walk_tree(&context->root.top_list);
        if (round_brk)
            break;
        cb_reset_stg_st(stage);
    }
    hold_deleted_nodes(0);
    empty_sentinels();
    if (migr_on_section)
        migr_on_section(stage->version, "stage");
}

int32_t new_config_update(run_context *context)
{
    if (cbm.count == 0)
        init();
    for (ver_idx = 0; ver_idx < cbm.count; ver_idx++)
        if (is_due(cbm.stages[ver_idx], context))
            walk_stage(context, cbm.stages[ver_idx]);
    cbm.count = 0;
    return 0;
}
