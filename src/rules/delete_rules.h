/*
 * Delete rules: what `[DELETE]` lists is marked and not unlinked, so that a re-add rule can bring it back. For the rest
 * of the rules see rules.h.
 */
#ifndef MIGR_RULES_DELETE_RULES_H
#define MIGR_RULES_DELETE_RULES_H

#include "rules/rules.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Marks what the rest of a rule's path names below `node`, the root or a block, in all edits on the way. A path that
 * finds nothing is fine. 0, or -1 when a token that is reached is malformed. */
int32_t __mark_node_delete(config_node *node, const char *path);

#ifdef __cplusplus
}
#endif

#endif
