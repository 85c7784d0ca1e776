/*
 * The property of a rule fits the value of the set that the rule renames: "char:N" cuts a quoted text, "int:MIN,MAX"
 * clamps a number, "enum:<old,new>,<old,>" replaces and removes the words of a list.
 */
#ifndef MIGR_RULES_PROPERTIES_H
#define MIGR_RULES_PROPERTIES_H

#include "driver/run_context.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A word of an enum property and what takes its place, nothing when that is empty. Longer words are cut. */
typedef struct rule_pair rule_pair;
struct rule_pair {
    migr_list link; /* first */
    char      old_word[MIGR_NAME_SIZE];
    char      new_word[MIGR_NAME_SIZE];
};

/* A word of a value, cut at MIGR_LINE_SIZE - 1 characters. */
typedef struct value_word value_word;
struct value_word {
    migr_list link; /* first */
    char     *text; /* in the same block of memory */
};

/* Applies a property to a set. 0, also for a property that is empty or of an unknown type; or -1 for a null node,
 * value or property, a property without ":", a malformed one, and without memory. */
int32_t __check_property(config_node *set, const char *property);

/* Append the pairs of an enum property, from behind its colon, or the words of a value to an initialised list.
 * 0, or -1 for null, a malformed text, and without memory; what was read by then is in the list. */
int32_t get_all_rule_list(const char *text, migr_list *pairs);
int32_t get_all_node_value_list(const char *value, migr_list *words);

/* Frees the elements of both lists, which are empty then. */
void free_rule_value_list(migr_list *pairs, migr_list *words);

#ifdef __cplusplus
}
#endif

#endif
