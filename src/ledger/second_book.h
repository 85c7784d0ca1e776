/*
 * The second book: what a tree must look like if all that was told of it is true, compared with what it is. It learns
 * of a tree as a host does, from the changes alone, so what it finds is a change that nobody told, or one that was told
 * and not made. For tests, fuzzers and whoever does not believe the ledger; it keeps a copy of every text.
 */
#ifndef MIGR_LEDGER_SECOND_BOOK_H
#define MIGR_LEDGER_SECOND_BOOK_H

#include "driver/change.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Empties the book. */
void migr_book_open(void);

/* An observer that writes the change down. To be handed to migr_observe_changes, or called by a host's own. */
void migr_book_note(const migr_change *change);

/*
 * Compares the tree below a root that was told of: who stands below whom, names, values and flags; not the order in a
 * list, and not what no file can show (an entry's own list of entries). Gives the number of differences, those included
 * that the changes had among each other, and describes up to 20 of them, one at a time, to `report`, which may be null.
 */
int32_t migr_book_check(const config_node *root, void (*report)(const char *difference));

/* Whether memory ran out, for the book or for who told it. Then a check finds nothing. */
int32_t migr_book_is_incomplete(void);

/* Frees the book. */
void migr_book_close(void);

#ifdef __cplusplus
}
#endif

#endif
