/*
 * The words in which the version chain's migrations speak of blocks, edits and sets. Nothing here looks at delete
 * marks: to the chain a marked node is there. Names and values are compared raw, quotes included, where the stages'
 * toolkit compares them without their quotes.
 */
#ifndef MIGR_CHAIN_BLOCKS_H
#define MIGR_CHAIN_BLOCKS_H

#include "tree/make_node.h"
#include "tree/operations.h"

/* The first top-level config of that name, or null: unlike _migr_find_node it sees no edits. */
config_node *walk_to(const char *name);

/* The first top-level node whose successor has that name, or null; so the first node's own name does not count. */
config_node *node_ahead_of(const char *name);

/* A block's first edit; null for none and for a null block. */
config_node *edits_of(const config_node *block);

/* An edit's first table entry: the first edit of its first nested config. Null for none. */
config_node *entries_of(const config_node *edit);

bool raw_name_is(const config_node *node, const char *name);
bool raw_name_begins(const config_node *node, const char *text);

/* The value, or an empty text for null. A null value is and begins with nothing. */
const char *value_of(const config_node *node);
bool        raw_value_is(const config_node *node, const char *text);
bool        raw_value_begins(const config_node *node, const char *text);

/* The first set of that name, the last set; null for none. */
config_node *first_set(const config_node *owner, const char *name);
config_node *last_set(const config_node *owner);

/* Adds a set at the head of the owner's sets. False without memory, and then nothing has changed. */
bool push_new_set(config_node *owner, const char *name, const char *value);

/* Deletes the first set of that name in each edit of the first block of that name. */
void del_first_set_in_edits(const char *block, const char *name);

/* Does what cfg_del_conf does to each child in one of the parent's lists that the test picks. */
template <typename test> void delete_where(config_node **list, config_node *parent, test goes)
{
    for (config_node **link = list; *link;)
        link = goes(*link) ? delete_at(link, list, parent) : &(*link)->next;
}

/* Puts a node directly behind another. A null node is passed over. */
void insert_behind(config_node *place, config_node *node);

/* Adds the block behind every top-level block named `anchor`, unless it is there. Gives the first block of that name,
 * or null without memory. A file without the anchor never gets on: old releases looked for their new block for ever,
 * and so does this one, at the place that `where` names. */
config_node *open_block_behind(const char *anchor, const char *name, const char *where);

#endif
