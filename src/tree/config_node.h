/*
 * The node of a configuration tree. A ground-floor header: includes nothing of the library, included from anywhere,
 * and readable by a C compiler.
 */
#ifndef MIGR_TREE_CONFIG_NODE_H
#define MIGR_TREE_CONFIG_NODE_H

#include <stdint.h>

#define MIGR_NAME_SIZE 128        /* a node's name with its NUL */
#define MIGR_LINE_SIZE 49152      /* a text line with its NUL */
#define MIGR_VALUE_LIMIT 0x400000 /* a multi-line value ends when it has grown to this many characters */

/* A value that a migration makes, with its NUL: longer ones are cut. Whoever adds a node wants one byte more to stay
 * free, so a value that has been cut is refused there. */
#define MIGR_VALUE_SIZE 4096

/* What a node is. The last two are the sentinels of the walk and never stand in a tree. */
enum migr_kind {
    MIGR_ROOT = 1,   /* root of a tree, one per file */
    MIGR_TOP = 2,    /* a `config` at top level; its name is the words of the line joined by commas */
    MIGR_CONFIG = 3, /* a `config` inside a config or an edit */
    MIGR_EDIT = 4,   /* an `edit` entry */
    MIGR_SET = 5,    /* a `set` property */
    MIGR_EMPTY = 6,  /* EMPTY_NODE: no node at this depth */
    MIGR_END = 7,    /* EOB_NODE: the list at this depth has ended */
};

/*
 * One element of a configuration.
 *
 * A node is allocated zeroed and belongs to one tree. `value` is null or a heap block that this node alone owns: two
 * nodes never share one. Names and values are raw text with their quotes, but for the comma form of a top-level name.
 * A node keeps its children by kind, each kind in a null-terminated list of its own, in the order of the text.
 *
 * Old files depend on some nodes of which that is not all true:
 *   - the firmware's own sets in a signature (chain/protection_rules) have kind 0: they are written, which goes by the
 *     list, and passed over by what goes by kind, cfg_del_conf among it;
 *   - the entry of a log policy (chain/log_model) has an empty name, and its name as value;
 *   - the entry of a mail policy (there too) may hold sets in its edit_list, which an entry does not write;
 *   - two blocks that one has become (there too) share lists until the pass ends, so that free_node must not free
 *     either (node_store.h);
 *   - what cnd_add has made without a value has an empty text for one, not null, and is written with a blank behind
 *     its name.
 */
typedef struct config_node config_node;
struct config_node {
    config_node *next; /* next sibling in whichever of the parent's lists holds this node */
    uint32_t     kind; /* enum migr_kind */
    char         name[MIGR_NAME_SIZE];
    char        *value;       /* sets: the text as it stood, quotes included; null where there is none */
    uint8_t      deleted;     /* delete mark: stays in its list, is not written; a rule's rename clears it */
    uint8_t      hidden;      /* second output flag with the same effect; no rename clears it */
    config_node *top_list;    /* kind 2, only on the root */
    config_node *config_list; /* kind 3 */
    config_node *edit_list;   /* kind 4 */
    config_node *set_list;    /* kind 5 */
};

#endif
