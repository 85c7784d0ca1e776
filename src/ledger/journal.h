/*
 * The journal: what has been told of a run, kept so that it can be asked by node. A node has its lines in the text that
 * it was read from and in the one that it was written to, and its changes in their order. It draws no conclusions: what
 * became of a line is for those who ask. It is for hosts, which may have nothing but what is told, so it keeps every
 * text, and for C. A host that has the files at hand, as the command does, needs no more than numbers.
 */
#ifndef MIGR_LEDGER_JOURNAL_H
#define MIGR_LEDGER_JOURNAL_H

#include "driver/change.h"

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Empties the journal. */
void migr_journal_open(void);

/* An observer that writes the change down. To be handed to migr_observe_changes, or called by a host's own. */
void migr_journal_note(const migr_change *change);

/* Whether something is missing, since memory ran out for the journal or for who told it. What is there is true. */
int32_t migr_journal_is_incomplete(void);

/* Frees the journal, and all that it has given. */
void migr_journal_close(void);

/* A text that was read, or that was written for a file. */
typedef struct migr_journal_text migr_journal_text;
struct migr_journal_text {
    const char *file;
    uint64_t    root;     /* of the tree into which it was read; 0 for one that was written */
    size_t      position; /* how many changes had been told by then */
};

/* Lines in a text: `first` to `last` open the node, and a block ends at `end`. Lines count from 1; 0 where there is
 * none. */
typedef struct migr_lines migr_lines;
struct migr_lines {
    uint32_t text; /* number of the text, from 1; 0: it does not stand in any */
    uint32_t first;
    uint32_t last;
    uint32_t end;
};

typedef struct migr_journal_node migr_journal_node;
struct migr_journal_node {
    uint64_t   parent;  /* below whom it has come to stand last, also when it does not any more */
    uint64_t   source;  /* what it was copied from when it was new, else 0 */
    migr_lines in;      /* where it was read */
    migr_lines out;     /* where it was written last: a node in a list that two blocks share is written twice */
    uint32_t   kind;    /* enum migr_kind; 0 for a number that nothing was told of */
    uint32_t   changes; /* the number of its first change, 0 for none */
    uint32_t   latest;  /* and of its last */
    uint8_t    deleted;
    uint8_t    hidden;
};

/* A change, but those of reading and writing, which are in the nodes' lines. Texts are those of migr_change. */
typedef struct migr_journal_change migr_journal_change;
struct migr_journal_change {
    uint64_t           node; /* 0 for a file's */
    uint64_t           parent;
    uint64_t           source;
    const migr_author *author;
    const char        *before; /* MIGR_MADE has the node's name here and its value in `after` */
    const char        *after;
    const char        *file;
    uint32_t           kind; /* enum migr_change_kind */
    uint32_t           next; /* the node's next change, 0 behind the last */
    uint8_t            deleted;
    uint8_t            hidden;
};

/* Texts and changes have numbers from 1 to these. What is given stays until the next change is told. */
size_t                     migr_journal_texts(void);
size_t                     migr_journal_changes(void);
const migr_journal_text   *migr_journal_text_at(size_t number);
const migr_journal_change *migr_journal_change_at(size_t number);

/* Nodes have numbers between these, both included; 0 and 0 when there are none. Null for a number that nothing was told
 * of. */
uint64_t                 migr_journal_first(void);
uint64_t                 migr_journal_last(void);
const migr_journal_node *migr_journal_node_at(uint64_t number);

#ifdef __cplusplus
}
#endif

#endif
