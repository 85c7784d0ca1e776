/*
 * What the work of each author of changes (change.h) is about, for those who tell people of it: one table for all
 * callbacks, migrations, checks and jobs. Nothing in an upgrade depends on it. A ground-floor header.
 */
#ifndef MIGR_DRIVER_AUTHOR_KINDS_H
#define MIGR_DRIVER_AUTHOR_KINDS_H

#ifdef __cplusplus
extern "C" {
#endif

/* The words for kinds, what an operator has to answer for first; a null behind the last. */
extern const char *const migr_author_kind_words[];

typedef struct migr_author_kind migr_author_kind;
struct migr_author_kind {
    const char *name; /* as an author has it */
    const char *kind; /* one of the words */
};

/* Every name that an author can have but those of rules, whose kind stands in the update file. In the order in which
 * they first have their turn; a null name behind the last. */
extern const migr_author_kind migr_author_kinds[];

#ifdef __cplusplus
}
#endif

#endif
