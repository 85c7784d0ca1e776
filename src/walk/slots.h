/*
 * Where the walk stands: a slot for each depth, which the walk alone writes. Callbacks ask through the predicates of
 * cursors.h, and name a slot where they mean the node itself.
 *
 * Slots are never null: at a depth where the walk holds no node the slot holds EMPTY_NODE, and at the end of a list
 * EOB_NODE, whose names are empty. So any slot may be tested at any time.
 *
 *   slot       in top                          in sub
 *   0 suffix   what follows the row's scope    an empty text
 *   1 cfg      the top-level config            the nested config under top[2]
 *   2 edt      the edit under top[1]           the edit under sub[1]
 *   3 cfg_set  a set directly under top[1]     a set directly under sub[1]
 *   4 edt_set  a set under top[2]              a set under sub[2]
 */
#ifndef MIGR_WALK_SLOTS_H
#define MIGR_WALK_SLOTS_H

#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The sentinels: empty name, null value, no lists. What a callback adds to one is never walked or written. */
extern config_node EMPTY_NODE; /* no node at this depth */
extern config_node EOB_NODE;   /* the list at this depth has ended */

extern config_node *top[5]; /* slot 0 is a text: read it through the suffix predicates */
extern config_node *sub[5];
extern char         sbuf_suffix[MIGR_NAME_SIZE];

#ifdef __cplusplus
}
#endif

#endif
