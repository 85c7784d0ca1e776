/* Compares the signature lists of the tree with the image's signature database. */
#ifndef MIGR_SIGNATURE_RECONCILE_H
#define MIGR_SIGNATURE_RECONCILE_H

#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

/* An identifier that a predefined profile names and the database no longer has. */
typedef struct stale_signature stale_signature;
struct stale_signature {
    char             id[16];
    stale_signature *next;
};

extern stale_signature *predefined_disable_sig_head; /* newest first; lives for the whole run */
extern int32_t          done_sigid_check;            /* the run's first file with profiles is done */

/* Marks entries that the database no longer has, and adds main classes that a profile lacks. Always 0. */
int32_t sync_cli_with_sig_db(void);

/* Each 0, or -1 when the tree has no such config. */
int32_t signature_disable_check_with_db(void);
int32_t signature_staged_check_with_db(void);
int32_t signature_check_with_db(void);

/* Whether the identifier is stale for a list of that type (1 to 8): 1 stale, 0 known, -1 on any error. */
int32_t check_sigdb_by_id(int32_t type, const char *id);

/* Looks for main classes that the current profile lacks. How many, or -1 without a database. */
int32_t check_reverse_main_id(void);

/* The list of stale identifiers. `id` may be null or empty; its quotes and all behind 15 characters are dropped. */
void    add_sigid_list(const char *id);
int32_t check_sigid_list(const char *id);
void    free_sigid_list(void);

#ifdef __cplusplus
}
#endif

#endif
