/*
 * The engine of the staged walk. Knows no callback by name, and nothing of what they do to the tree but that they
 * may unlink, delete and add anywhere; all stages come from all_stages.
 */
#include "walk/walk.h"

#include "driver/hooks.h"
#include "ledger/tell.h"
#include "tree/fetch_ahead.h"
#include "tree/list_walk.h"
#include "tree/node_store.h"
#include "walk/cursors.h"

#include <algorithm>
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

/* ---- Which rows look at a config ---- */

/* Bit N is row N. Rows behind the 64th are called whenever they have the config in their scope. */
using row_set = uint64_t;

constexpr int32_t numbered_rows = 64;

row_set row_bit(int32_t index)
{
    return row_set{1} << index;
}

/* Rows from `index` on. */
row_set rows_from(int32_t index)
{
    return index < numbered_rows ? ~row_set{0} << index : 0;
}

/* What the rows of the stage see of configs of one name. Nearly every position of the walk has the config that the one
 * before it had, and a config mostly has the name of the one before it. */
struct scope_memory {
    const config_node *config; /* in top[1] when it was looked at last; null at the start of a round */
    size_t             size;   /* of its name with the NUL */
    size_t             suffix; /* where in the name the text of sbuf_suffix begins; its size: nowhere */
    row_set            in_scope;
    row_set            looking; /* those that act on such a config in this round */
    row_set            patient; /* those in scope that do not, but would like a further round */
    char               name[MIGR_NAME_SIZE];
};

scope_memory remembered;
row_set      awaiting; /* rows that act on the first visit of the round, and have not had it */

/* What all_reaches says of the rows for this round. */
struct round_reach {
    bool             limited; /* the callback has an entry, if not for this round */
    const row_reach *entry;   /* null: none for this round */
};

round_reach reach[numbered_rows];

round_reach reach_of(const stage_row *row)
{
    round_reach found = {};
    for (const row_reach *entry = all_reaches; entry->func; entry++) {
        if (entry->func != row->func)
            continue;
        found.limited = true;
        if (entry->round == round)
            found.entry = entry;
    }
    return found;
}

/* Where the remembered name goes on behind the row's scope and one character, whatever that is; its end where there is
 * no more. With an empty scope it is the whole name. */
size_t suffix_start(const stage_row *row)
{
    return row->scope_len == 0 ? 0 : std::min(static_cast<size_t>(row->scope_len) + 1, remembered.size - 1);
}

bool reaches(int32_t index)
{
    const row_reach *entry = reach[index].entry;
    if (!entry)
        return !reach[index].limited;
    const char *found = remembered.name + suffix_start(&fns->rows[index]);
    for (const char *const *suffix = entry->suffixes; *suffix; suffix++)
        if (strcmp(found, *suffix) == 0)
            return true;
    return false;
}

void begin_round()
{
    round_brk = 1;
    remembered.config = nullptr;
    awaiting = 0;
    for (int32_t index = 0; index < fns->row_count && index < numbered_rows; index++) {
        reach[index] = reach_of(&fns->rows[index]);
        if (reach[index].entry && reach[index].entry->first_visit)
            awaiting |= row_bit(index);
    }
}

void sort_rows()
{
    remembered.in_scope = remembered.looking = remembered.patient = 0;
    for (int32_t index = 0; index < fns->row_count && index < numbered_rows; index++) {
        const stage_row *row = &fns->rows[index];
        if (!is_active(row) || !in_scope(row, remembered.name))
            continue;
        remembered.in_scope |= row_bit(index);
        if (reaches(index))
            remembered.looking |= row_bit(index);
        else if (row->max_round > round)
            remembered.patient |= row_bit(index);
    }
}

bool has_remembered_name(const config_node *config)
{
    return memcmp(remembered.name, config->name, remembered.size) == 0;
}

void remember_name(const config_node *config)
{
    bool is_first = !remembered.config;
    remembered.config = config;
    if (!is_first && has_remembered_name(config))
        return;
    remembered.size = strlen(config->name) + 1;
    memcpy(remembered.name, config->name, remembered.size);
    remembered.suffix = remembered.size;
    sort_rows();
}

/* A row that is not called keeps a further round alive all the same. */
void heed_patient_rows(int32_t index)
{
    if (remembered.patient & rows_from(index))
        round_brk = 0;
}

/* The first row from `index` on that is to be called for the remembered name, or row_count. */
int32_t next_looking(int32_t index)
{
    row_set rows = (remembered.looking | (remembered.in_scope & awaiting)) & rows_from(index);
    if (rows != 0)
        return __builtin_ctzll(rows);
    if (index < numbered_rows)
        index = numbered_rows;
    while (index < fns->row_count && !in_scope(&fns->rows[index], remembered.name))
        index++;
    return index < fns->row_count ? index : fns->row_count;
}

/* Looks at the config in top[1] when it has come there; nothing but a row changes its name as long as it stays. */
void look_at_config()
{
    if (remembered.config == top[1])
        return;
    remember_name(top[1]);
    heed_patient_rows(0);
}

/* Whether any row is to be called for the config in top[1]. */
bool is_looked_at()
{
    look_at_config();
    return next_looking(0) < fns->row_count;
}

/* The suffix goes with the name and the row: it is there already where one row alone looks at a config. */
void give_suffix(const stage_row *row)
{
    size_t start = suffix_start(row);
    if (remembered.suffix == start)
        return;
    memcpy(sbuf_suffix, remembered.name + start, remembered.size - start);
    remembered.suffix = start;
}

void call_row(int32_t index)
{
    stage_row *row = &fns->rows[index];
    awaiting &= ~(rows_from(index) & ~rows_from(index + 1));
    if (!is_active(row))
        return;
    give_suffix(row);
    if (ledger::is_watched())
        ledger::set_author_name(row->name);
    row->func(round, row->state, &row->skip_round);
    if (!row->finished && row->max_round > round)
        round_brk = 0;
}

} // namespace

/* A row in front may have renamed the config in top[1]: then the rows behind it go by the new name. */
void cb_loop(void)
{
    look_at_config();
    for (int32_t index = next_looking(0); index < fns->row_count; index = next_looking(index + 1)) {
        call_row(index);
        if (has_remembered_name(top[1]))
            continue;
        remember_name(top[1]);
        heed_patient_rows(index + 1);
    }
}

/* The successor is read at once, so that a callback may unlink the node. */
config_node *do_next(config_node **next, config_node **slot)
{
    config_node *node = *next;
    if (node) {
        *next = node->next;
        fetch_ahead(node);
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

/* The same inside a config, which is left as soon as no row looks at it any more. */
config_node *next_inside(walked_list *walked, config_node **next, config_node **slot)
{
    if (next_looking(0) < fns->row_count)
        return next_in(walked, next, slot);
    leave_list(walked);
    *slot = &EMPTY_NODE;
    return nullptr;
}

/* A set list has its end visit even when it is empty. */
void walk_sets(config_node **list, config_node **slot)
{
    walked_list  walked;
    config_node *next = *list;
    enter_list(&walked, list);
    while (config_node *set = next_inside(&walked, &next, slot)) {
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
    while (config_node *edit = next_inside(&walked, &next, &sub[2])) {
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
    while (config_node *config = next_inside(&walked, &next, &sub[1])) {
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
    while (config_node *edit = next_inside(&walked, &next, &top[2])) {
        top[2] = edit;
        walk_nested_configs(&edit->config_list);
        walk_sets(&edit->set_list, &top[4]);
    }
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
        if (!is_looked_at())
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
    forget_walks();
    hold_deleted_nodes(1);
    ledger::set_author(stage->version, "stage");
    for (round = 1; round <= last_round; round++) {
        begin_round();
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
