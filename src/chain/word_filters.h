/* Lists of words, as events and packet logs are, without the words that a release no longer knows. */
#ifndef MIGR_CHAIN_WORD_FILTERS_H
#define MIGR_CHAIN_WORD_FILTERS_H

#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Word filters: write the words of `words`, a list separated by blanks that they cut up, to `output`, an empty text in
 * a buffer of `size` bytes, and leave out those that begin with certain texts. What does not fit ends the list. 0, or
 * -1 for a null.
 *   del_xml_prop_and_robot   "xml" and "waf-robot-attack"; the first word is always kept
 *   del_bad_robot_prop       "bad-robot"; the first word is always kept
 *   del_allow_robot_prop     "allow-robot", as the first word too; the list then begins with a blank
 */
int32_t del_xml_prop_and_robot(char *output, char *words, int32_t size);
int32_t del_bad_robot_prop(char *output, char *words, int32_t size);
int32_t del_allow_robot_prop(char *output, char *words, int32_t size);

typedef int32_t word_filter(char *output, char *words, int32_t size);

/* Filters the set's value, of which 1023 characters count, and installs what is left. A null set or value is passed
 * over. */
void filter_words(config_node *set, word_filter *filter);

/* Filters the packet log's list of the attack log. */
void filter_attack_packet_log(word_filter *filter);

#ifdef __cplusplus
}
#endif

#endif
