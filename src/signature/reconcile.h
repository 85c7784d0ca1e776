/*
 * Compares the signature lists of the tree with the image's signature database. The database is only asked, and the
 * tree alone changes.
 */
#ifndef MIGR_SIGNATURE_RECONCILE_H
#define MIGR_SIGNATURE_RECONCILE_H

#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

#define SIGNATURE_ID_SIZE 16       /* an identifier with its NUL; longer ones are cut */
#define SIGNATURE_MAIN_CLASSES 100 /* main classes of one profile that are kept in mind */

/* An identifier that a predefined profile names and the database no longer has. */
typedef struct stale_signature stale_signature;
struct stale_signature {
    char             id[SIGNATURE_ID_SIZE];
    stale_signature *next;
};

extern stale_signature *predefined_disable_sig_head; /* newest first; lives for the whole run */
extern int32_t          done_sigid_check;            /* the run's first file with profiles is done */

/* For one profile: the main classes that its list names, as written, and those that the last reverse check missed. */
extern char    id_array[SIGNATURE_MAIN_CLASSES][SIGNATURE_ID_SIZE];
extern char    new_id_array[SIGNATURE_MAIN_CLASSES][SIGNATURE_ID_SIZE];
extern int32_t id_count;
extern int32_t new_id_count;

/* Marks entries that the database no longer has, and adds main classes that a profile lacks. Always 0. */
int32_t sync_cli_with_sig_db(void);

/* Each 0, or -1 when the tree has no such config. */
int32_t signature_disable_check_with_db(void);
int32_t signature_staged_check_with_db(void);
int32_t signature_check_with_db(void);

/* Whether the identifier is stale for a list of that type (1 to 8): 1 stale, 0 known, -1 on any error. */
int32_t check_sigdb_by_id(int32_t type, const char *id);

/* Looks for main classes that id_array does not hold, and puts them into new_id_array. How many, 0 when the database
 * gives none, -1 without a database. */
int32_t check_reverse_main_id(void);

/* The list of stale identifiers. `id` may be null or empty; its quotes and all behind 15 characters are dropped. */
void    add_sigid_list(const char *id);
int32_t check_sigid_list(const char *id);
void    free_sigid_list(void);

#ifdef __cplusplus
}
#endif

#endif
