/*
 * A change to a configuration tree, or to a file beside the configuration, as a host is told of it. Readable by a C
 * compiler. A ground-floor header.
 */
#ifndef MIGR_DRIVER_CHANGE_H
#define MIGR_DRIVER_CHANGE_H

#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * What has happened. A node is told of from its MIGR_PARSED, MIGR_MADE or MIGR_COPIED on, and stands in a tree from its
 * MIGR_PARSED or MIGR_LINKED on. In each kind the fields that are not named for it are zero, but `author`, which is
 * always there, and, where there is a node, `record`, `deleted` and `hidden`.
 */
enum migr_change_kind {
    /* Reading a text. */
    MIGR_OPENED = 1, /* `node` is the root of a tree, and the text `file` is read into it: the unpacked configuration,
                        or a file of the image. Its first line has number 1. Without a file: what a pass leaves for
                        the passes behind it */
    MIGR_PARSED,     /* `node` was read from the lines `first_line` to `last_line`, and is the last one of its list
                        below `parent`. Lines are 0 where the text is a host's own stream */
    MIGR_PARSED_END, /* `node`, a block, ends at the line `last_line` */

    /* Changing the tree. */
    MIGR_MADE,     /* a new node, whose name, value and flags are in `record`; or one that a host made */
    MIGR_COPIED,   /* `node` has got name, value and flags of `source`; it may be new, and told of here first */
    MIGR_LINKED,   /* `node`, with all that hangs below it, stands below `parent` from now on; where it stood below
                      another and no MIGR_UNLINKED came between, below both */
    MIGR_UNLINKED, /* and from now on no longer. It may come back, its record stays readable */
    MIGR_RENAMED,  /* from `before` to `after` */
    MIGR_REVALUED, /* from `before` to `after`, of which either may be null: no value */
    MIGR_FILLED,   /* the value that the node has got last is, or is made from, the content of `file` */
    MIGR_MARKED,   /* the flags are now `deleted` and `hidden`: a node with either is not written, nor is what hangs
                      below it */
    MIGR_RELEASED, /* `node` is gone for good, and `record` must not be looked at. What is left at the end of a pass
                      goes without one */

    /* Writing a text. */
    MIGR_WRITTEN,     /* `node` stands in the lines `first_line` to `last_line` of the text for `file` */
    MIGR_WRITTEN_END, /* `node`, a block, ends at the line `last_line` of it */
    MIGR_LEFT_OUT,    /* `node` is not written, though it has no mark: a top-level block that belongs to neither of the
                         files into which the tree is split, or what stands where no block is written: an entry right
                         below another entry, an entry or a set outside of all blocks */

    /* Files beside the configuration, and folders. The tree has no part in it. */
    MIGR_FILE_REMOVED,   /* `file`, with all below it */
    MIGR_FILE_MOVED,     /* from `before` to `file` */
    MIGR_FILE_COPIED,    /* from `before` to `file`, over what stood there, a folder with all below it */
    MIGR_FILE_REWRITTEN, /* `file`, which stays and has another text now */
    MIGR_FOLDER_MADE,    /* `file` */

    MIGR_INCOMPLETE, /* memory ran out: not everything is told from here to the end of the pass. Told once */
};

/*
 * Who is at work.
 *
 * mechanism     release                       name
 * "read"        of the file as read           empty
 * "bridges"     4.0                           find_notp_bridge_node
 * "step"        of the step                   the migration, migr_... for most
 * "delete"      of the update section         the rule, as it stands when it is applied
 * "modify"      the same
 * "readd"       the same
 * "stage"       of the stage                  the callback
 * "signatures"  of the image                  the list's check, signature_...
 * "split"       5.10                          update_to_vdom
 * "write"       of the image, or 5.10         empty
 * "files"       of the image                  the job
 * "host"        0                             empty: what a host does on its own
 */
typedef struct migr_author migr_author;
struct migr_author {
    int32_t     release;
    const char *mechanism;
    const char *name;
    uint32_t    line; /* the rule's line in the update file, from 1; 0 for what is no rule */
};

/* Texts and authors are valid during the call alone, and so is the change. Values are told as they are, keys and
 * passwords among them. */
typedef struct migr_change migr_change;
struct migr_change {
    uint32_t           kind; /* enum migr_change_kind */
    const migr_author *author;
    const config_node *record; /* the node, for its kind, name and value; not to be kept, records are used again */
    uint64_t           node;   /* its identity: a number from 1 that no other node of this process ever has */
    uint64_t           parent; /* another node's, or a root's */
    uint64_t           source; /* 0 for a node that was never told of */
    const char        *before;
    const char        *after;
    const char        *file;       /* a path */
    uint32_t           first_line; /* lines count from 1 */
    uint32_t           last_line;
    uint8_t            deleted;
    uint8_t            hidden;
};

typedef void migr_change_observer(const migr_change *change);

/*
 * Hands all changes from now on to `observer`; for null, to migr_on_change again where the host has it (migr.h). To be
 * called between passes: of a node that was there before nothing is known but what is done to it.
 */
void migr_observe_changes(migr_change_observer *observer);

/* The identity of a node, or of a root, that has been told of in this pass, else 0. */
uint64_t migr_identity_of(const config_node *node);

#ifdef __cplusplus
}
#endif

#endif
