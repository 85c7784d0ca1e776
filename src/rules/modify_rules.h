/*
 * Modify and re-add rules rename a node that a path leads to, and can fit a renamed set's value to what the new release
 * accepts:
 *
 *     <top level words><name><old name>,<new name>,[property]             a modify rule
 *     <top level words><name><old name>,<new name>,<5.10>,[property]      a re-add rule
 *
 * The property is optional. The last token ahead of the first comma is the old name, and what stands ahead of it is
 * the main directory. With one token alone the rule renames a top-level config: the token is then the main directory,
 * and the old name is empty.
 */
#ifndef MIGR_RULES_MODIFY_RULES_H
#define MIGR_RULES_MODIFY_RULES_H

#include "rules/rules.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Takes a rule line apart. `main_directory` and `property` are buffers of MIGR_LINE_SIZE bytes, `old_name` and
 * `new_name` of MIGR_NAME_SIZE; what is longer is cut. A property that is not there gives an empty text. With `readd`
 * non-zero the rule must hold a version, whose code *version gets. 0, or -1 for null and for a malformed rule.
 */
int32_t parse_modify_line(const char *text, char *main_directory, char *old_name, char *new_name, char *property,
                          int32_t readd, int32_t *version);

/* The main directory alone, into a buffer of MIGR_LINE_SIZE bytes. 0, or -1 as parse_modify_line. */
int32_t get_maindir(const char *text, char *main_directory);

/*
 * Renames what `path` and then `old_name` lead to below `node`, the root or a block, in all edits on the way, and
 * clears its delete mark; `path` is null when nothing is left of it. No argument else is null; the section's version
 * does not matter here. A node that is not found is fine. 0, or -1 when a token that is reached is malformed, the
 * property cannot be applied, or there is no memory.
 */
int32_t __modify_node_info(config_node *node, const char *path, const char *old_name, const char *new_name,
                           const char *property, int32_t section_version);

#ifdef __cplusplus
}
#endif

#endif
