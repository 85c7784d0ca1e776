/*
 * The update file: sections of rules, by release, that delete, rename and bring back nodes by path.
 */
#ifndef MIGR_RULES_RULES_H
#define MIGR_RULES_RULES_H

#include "driver/run_context.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The rules of one release. A section without rules still makes the version chain take that release's step. */
typedef struct update_section update_section;
struct update_section {
    migr_list link; /* place in migr_main's update_list; first, so that a link's address is its section's */
    int32_t   version;
    migr_list delete_list;
    migr_list modify_list;
    migr_list readd_list;
};

/* One rule line, not understood until it is applied. */
typedef struct update_rule update_rule;
struct update_rule {
    migr_list link; /* first */
    char     *text; /* heap text without white space at either end; rewritten when an earlier rule renames its path */
    uint32_t  line; /* its number in the update file, from 1 */
};

/* Bridges found ahead of the step of 4.0. */
typedef struct notp_bridge notp_bridge;
struct notp_bridge {
    notp_bridge *next;
    config_node *node;
};

typedef struct notp_bridge_state notp_bridge_state;
struct notp_bridge_state {
    notp_bridge *bridges;
    int32_t      transparent; /* the appliance runs in transparent mode */
};

extern notp_bridge_state notp_bridge_main;

/* Circular lists. Unlinking poisons the element's links with 0x100100 (next) and 0x200200 (prev). */
void migr_list_init(migr_list *head);
void migr_list_add_tail(migr_list *element, migr_list *head);
void migr_list_del(migr_list *element);
void __migr_list_add(migr_list *element, migr_list *prev, migr_list *next);
void __migr_list_del(migr_list *prev, migr_list *next);

/* The section and the rule that hold a link. */
update_section *section_of(migr_list *link);
update_rule    *rule_of(migr_list *link);

/* Loads the sections between migr_main's two versions from /data/etc/update_config into its update_list.
 * 0, or -1 without the file or without memory. */
int32_t __build_updatefile_tree(void);

/* Frees update_list and all that is in it; an update_list that was never made is left alone. */
void free_migr_tree(void);

/* Marks the nodes that the rules name. 0, or -1 at the first malformed rule. */
int32_t process_delete(migr_list *rules);

/* Renames nodes and adjusts values; a rename is carried into the paths of the later rules of the list. `readd`
 * non-zero: each rule has a version, and acts only when the file is not newer than it and it lies below
 * `section_version`. 0, or -1 at the first rule that fails. */
int32_t process_modify(migr_list *rules, int32_t readd, int32_t section_version);

/* Lists the bridges below the root `node` and hides them, the virtual servers on them and, in transparent mode, the
 * policies, in one pass in the order of the file. `mode` is not used. A bridge for which there is no memory is hidden
 * but not listed. */
void find_notp_bridge_node(config_node *node, int32_t mode);

/* Frees the list in notp_bridge_main, not the nodes. */
void free_notp_bridges(void);

#ifdef __cplusplus
}
#endif

#endif
