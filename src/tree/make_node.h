/*
 * Making nodes. What is made stands in no list yet, and is null when there is no memory. A name is cut at 127
 * characters; those who refuse longer texts (cfg_add_conf, make_config_node, cnd_add) look at them first.
 */
#ifndef MIGR_TREE_MAKE_NODE_H
#define MIGR_TREE_MAKE_NODE_H

#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Whether a name and a value, which may be null, are short enough for those who refuse longer ones: 1 or 0. */
int32_t fits_node(const char *name, const char *value);

/* A node with copies of both texts. A null value stays null. */
config_node *make_node(uint32_t kind, const char *name, const char *value);

/* A set that stands without its value when there is no memory for that alone. */
config_node *make_set_leniently(const char *name, const char *value);

/* A node that is the given one byte for byte, but that the value is now its own: the other has none left. */
config_node *take_content(config_node *node);

/* A copy of the node's content, output flags included, without its lists, or with all that hangs below. */
config_node *copy_record(const config_node *node);
config_node *copy_tree(const config_node *node);

#ifdef __cplusplus
}
#endif

#endif
