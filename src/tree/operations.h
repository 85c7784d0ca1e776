/*
 * The plain operations on node lists: searching by path name, taking out, moving, adding and deleting. They see the
 * lists alone and no cursors; callbacks of the walk use its toolkit instead, which is built on these.
 */
#ifndef MIGR_TREE_OPERATIONS_H
#define MIGR_TREE_OPERATIONS_H

#include "tree/changes.h"
#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The result of the last search. Searches do not nest: read it before searching again. */
extern config_node *found_node;
extern int32_t      is_found;

/*
 * Searches the tree below the root `node`: the first top-level config of that path name, wherever it stands, else the
 * first edit of that raw name in any of them, and nothing deeper. Below a config its own edits alone are searched,
 * below anything else, and null, nothing. The result goes to the two slots, which the caller clears before: nothing is
 * searched after a hit. `depth` is carried along and never read.
 */
void migr_find_node(config_node *node, int32_t depth, const char *path);

/* The same search, which gives the node or null and leaves the slots alone. */
config_node *find_node(const config_node *node, const char *path);

/* What find_node would give for each of `count` paths, in one way through the tree below a root. */
void find_nodes(const config_node *root, const char *const *paths, config_node **found, int32_t count);

/* The first node of that name in a list, or null. */
config_node *first_named(config_node *list, const char *name);

/* The last node of a list, or null. */
config_node *last_of(config_node *list);

/* Clears the slots, searches the main tree, and gives the node or null. */
config_node *_migr_find_node(const char *path);

/* Takes the first child of exactly that name out of the parent's list for `kind` (2 to 5) and gives it, its `next`
 * cleared; null when there is none or an argument is null. */
config_node *migr_get_childnode(config_node *parent, const char *name, int32_t kind);

/* Renames the node when `new_name` is not null, then pushes it at the head of the parent's list for `kind`; the
 * node's own kind stays. 1, or 0 for a null node or parent or another kind, the rename done all the same. */
int32_t migr_move_node(config_node *node, config_node *parent, int32_t kind, const char *new_name);

/* Adds a node. Kinds 3 to 5 go to the head of the target's list, kind 2 directly behind the target, which is a
 * top-level config itself. Nothing happens for a name of 128 characters or more, a value of 4095 or more, another
 * kind, or without memory. A null value stays null. */
void cfg_add_conf(const char *name, const char *value, int32_t kind, config_node *target);

/* Takes the child out of the parent's list for the child's own kind and frees what hangs below it. Its record, name,
 * value and `next` stay readable until the pass ends; a record that a host made is the host's again, to free when it
 * likes. A child that is not in that list stays as it is. */
void cfg_del_conf(config_node *child, config_node *parent);

/* Does what cfg_del_conf does to the child to which `link` leads, the parent's list or a link of it, and needs no
 * search. Gives the link to go on with. */
config_node **delete_at(config_node **link, config_node **list, config_node *parent);

/* A set that stands in no list yet, or null: for a name over 127 characters, a value over 4094, a kind other than 5,
 * or without memory. */
config_node *make_config_node(const char *name, const char *value, int32_t kind);

/* Moves the last set of that name to the end of the node's sets, as a copy, and marks the old one deleted. Only for a
 * set with a value that is not last already. */
void move_prop_2_bottom(config_node *node, const char *name);

/* Copies the appliance's operation mode, as written, into `buffer`, 32 zeroed bytes; longer text is cut. 1, or 0 when
 * the first set of "system,settings" is not "opmode". */
int32_t get_cvw_opmode(char *buffer);

#ifdef __cplusplus
}
#endif

#endif
