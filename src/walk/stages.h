/* Stages and their rows: which callbacks a release runs, on which top-level configs, in how many rounds. */
#ifndef MIGR_WALK_STAGES_H
#define MIGR_WALK_STAGES_H

#include "driver/run_context.h"

#include <assert.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * A stage callback. It looks at the cursors (cursors.h), changes the tree through the toolkit (toolkit.h), and returns.
 *   round      the current round, from 1
 *   state      the row's private block, zero-filled at the start of the run
 *   progress   [0] non-zero: leave the rest of this round; [1] non-zero: leave the rest of the stage
 */
typedef void stage_callback(int32_t round, void *state, int32_t *progress);

/* Behind the record of a state block: names its type for C too, and holds it to the size that hosts and debuggers
 * know. */
#define MIGR_STATE(record, size)                                                                                       \
    typedef struct record record;                                                                                      \
    static_assert(sizeof(record) == (size), "a row's state block has a size of its own")

typedef struct stage_row stage_row;
struct stage_row {
    const char     *name;
    stage_callback *func;
    const char     *scope;     /* prefix of the top-level config's name, without a boundary */
    int32_t         scope_len; /* 0: every top-level config, and the visit behind the last one */
    int32_t         max_round; /* 1 to 3 */
    void           *state;
    int32_t         state_size; /* bytes; 0 for a callback without state */
    int32_t         skip_round; /* a callback's third argument points here */
    int32_t         finished;   /* and this is the word behind it */
};
static_assert(offsetof(stage_row, finished) == offsetof(stage_row, skip_round) + sizeof(int32_t),
              "a callback takes the two flags for an array");

enum stage_type {
    STAGE_ADOM = 1, /* global and domain files */
    STAGE_ML = 2,   /* machine-learning files */
};

typedef struct stage_table stage_table;
struct stage_table {
    int32_t    version; /* the release that this stage migrates to */
    int32_t    type;
    stage_row *rows;
    int32_t    row_count;
};

/* All stages, in the order in which they run; a null behind the last. */
extern stage_table *const all_stages[];

/*
 * What a callback with a wide scope acts on in a round: configs whose name has one of these suffixes, and where it says
 * so the first visit of the round, wherever that is. Elsewhere it would look and return, so the walk does not call it
 * there. A callback without an entry is called at every visit in its scope, one with entries only as they say.
 */
typedef struct row_reach row_reach;
struct row_reach {
    stage_callback *func;
    int32_t         round;
    int32_t         first_visit;
    const char     *suffixes[12]; /* an empty one is also that of the visit behind the last config; null: no more */
};

/* A null callback behind the last. */
extern const row_reach all_reaches[];

#ifdef __cplusplus
}
#endif

#endif
