/*
 * The paths with which the rules of a list begin, as a tree of their tokens: carrying a rename into all later rules is
 * moving one branch, and a rule learns what became of its path when it comes up. Paths are compared as text; this knows
 * nothing of nodes, and of a rule no more than its number in the list.
 */
#ifndef MIGR_RULES_RULE_PATHS_H
#define MIGR_RULES_RULE_PATHS_H

#include "tree/stack.h"

#include <stddef.h>
#include <stdint.h>

/* A text in memory that somebody else owns. */
struct text_piece {
    const char *text;
    size_t      length;
};

/* A place in the tree, reached from its parent by a token: text up to and with a ">". Numbers are places in the stack
 * of branches; the root is number 0. */
struct path_branch {
    uint32_t parent;
    uint32_t merged; /* the branch that this one became part of; its own number while it stands for itself */
    uint32_t first_child;
    uint32_t next; /* siblings */
    uint32_t previous;
    uint32_t children;
    uint32_t next_alike; /* the next one in the same bucket of the index */
    uint32_t token_length;
    size_t   token; /* place in the stack of texts */
    uint64_t hash;  /* of the token alone */
};

struct ruled_path {
    uint32_t branch;
    size_t   length; /* in the rule's text as it was added */
};

/* Valid when zero-filled. */
struct rule_paths {
    stack<path_branch> branches;
    stack<char>        texts;
    stack<ruled_path>  rules;
    stack<uint32_t>    buckets; /* first branch of each; a power of two */
    bool               moved;   /* a path has changed */
    bool               torn;    /* memory ran out in the middle of a move: the paths are not to be asked for any more */
};

/* Adds the path of the next rule; what stands behind its last ">" is not part of it. 0, or -1 without memory. */
int32_t add_path(rule_paths *paths, text_piece path);

/* Puts `to` in place of `from` at the beginning of all paths; both end with a ">", and `to` does not lie below `from`.
 * 0, or -1 without memory. */
int32_t move_path(rule_paths *paths, text_piece from, text_piece to);

/* The text of that rule with the path that it has by now, in fresh memory; null without memory, and for torn paths. */
char *current_text(rule_paths *paths, size_t rule, const char *text);

void free_paths(rule_paths *paths);

#endif
