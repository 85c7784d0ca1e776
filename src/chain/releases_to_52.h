/* Conversions of the steps to 5.0, 5.10 and 5.20: port pairs, event lists, white lists, certificates into domains. */
#ifndef MIGR_CHAIN_RELEASES_TO_52_H
#define MIGR_CHAIN_RELEASES_TO_52_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* 5.0; all 0. */
int32_t migr_bypass_config_modify(void);
int32_t migr_change_name_log_alertemail(void);
int32_t migr_del_snmp_community_xml_prop_and_robot(void);
int32_t migr_del_bad_robot_prop_in_attack_log(void);
int32_t migr_adjust_cookie_poison(void);

/* 5.10; 0, or -1 for an empty tree. */
int32_t migr_add_predefined_global_white_list_group(void);
int32_t migr_add_site_publish_rexp(void);
int32_t migr_modify_aggregate_interface_status(void);

/* 5.20. The first works by the file's mode and gives -1 without memory; the second gives -1 for a global file. */
int32_t migr_move_certi_config_to_adom(void);
int32_t build_certi_config_tree(void);
int32_t fill_certi_config_to_adom(void);
int32_t migr_del_certi_local_passwd(void);

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

#ifdef __cplusplus
}

struct config_node;

/* Filters the set's value, of which 1023 characters count, and installs what is left. A null set or value is passed
 * over. */
void filter_words(config_node *set, word_filter *filter);

/* Filters the packet log's list of the attack log. */
void filter_attack_packet_log(word_filter *filter);

#endif

#endif
