/*
 * The path of a rule: names in angle brackets. The first one is the words of a top-level config, each further one a
 * nested config or a set. Edits never appear in a path: where a block has edits, the path goes on in each of them.
 */
#ifndef MIGR_RULES_RULE_PATH_H
#define MIGR_RULES_RULE_PATH_H

#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Readers of one token. `output` is a buffer of MIGR_NAME_SIZE bytes, and a longer token is cut. 0, with *rest at what
 * follows the token and white space, null at the end of the text; or -1, with *rest null, when the text does not
 * begin with "<" behind white space, or an argument is null.
 *   extract_path_name    words joined by commas, so blanks behind the "<" give a leading comma; the ">" may be missing
 *   extract_first_name   the text as it stands; -1 without the ">"
 */
int32_t extract_path_name(const char *text, char *output, const char **rest);
int32_t extract_first_name(const char *text, char *output, const char **rest);

#ifdef __cplusplus
}

/* How far a rule has come: a node, and what is left of the path, null for nothing. */
struct rule_place {
    config_node *node;
    const char  *path;
};

enum class rule_step {
    failed,
    done,
    deeper, /* the rule goes on at the place that the step has stored */
};

/* What a rule does in a block that holds no edits, or in an edit. */
using rule_action = rule_step (*)(rule_place *place, const void *rule);

/* Takes a rule from a place below the root through all edits on its way, and calls `action` for each block that it
 * comes to. Walks no deeper than the path is long, without recursion. 0, or -1 when a step has failed or there is no
 * memory, which ends the walk. */
int32_t walk_rule(rule_place start, rule_action action, const void *rule);
#endif

#endif
