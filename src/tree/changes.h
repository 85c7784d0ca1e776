/*
 * The single changes to a tree. Whatever changes one does it by these, by add_to_tail and by the functions of
 * make_node.h, and by nothing else: they are where a change is told of. They look for nothing and decide nothing.
 */
#ifndef MIGR_TREE_CHANGES_H
#define MIGR_TREE_CHANGES_H

#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The parent's list for children of that kind (2 to 5), or null for another kind. */
config_node **child_list(config_node *parent, uint32_t kind);

/* Unlinks a node from a list. 1, or 0 when it is not in it. */
int32_t unlink_node(config_node **list, config_node *node);

/* Unlinks the node to which `link` leads, the list or a link of it, and gives it. Its `next` stays. */
config_node *unlink_at(config_node **list, config_node **link);

/* Unlinks all nodes of a list. Each one's `next` stays. */
void drop_list(config_node **list);

/* Puts a node at the head of a list, or directly behind the node of which this is the link. */
void push_front(config_node **list, config_node *node);

/* Makes a chain of nodes, or null, the content of an empty list. Where they stand already they stand as well. */
void adopt_list(config_node **list, config_node *first);

/* Puts each of two nodes that stand in lists into the place of the other: they exchange all but their links. */
void exchange_nodes(config_node *one, config_node *other);

/* Replaces a node's value by a copy of `value`. 0, or -1 without memory, which leaves the old one. */
int32_t set_node_value(config_node *node, const char *value);

/* Replaces a node's value by a heap text, which from then on is the node's, or by null. */
void give_node_value(config_node *node, char *text);

/* To be called around a change of a value in its place. What the first gives goes to the second. */
char *begin_value_edit(const config_node *node);
void  end_value_edit(config_node *node, char *before);

/* Copies a name into a node, cut at 127 characters. */
void set_node_name(config_node *node, const char *name);

/* The output flags. */
void mark_deleted(config_node *node);
void clear_delete_mark(config_node *node);
void mark_hidden(config_node *node);

#ifdef __cplusplus
}
#endif

#endif
