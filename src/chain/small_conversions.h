/* Settings and small tables that changed shape in one release of the 4.x line, each on its own. */
#ifndef MIGR_CHAIN_SMALL_CONVERSIONS_H
#define MIGR_CHAIN_SMALL_CONVERSIONS_H

#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

/* 4.20. Nodes that the helpers take must not be null, unless it says so. */
void migr_brute_force_login(void);
/* Copies the set into every entry of the table and marks it deleted; not for an empty or missing value, a missing
 * table or one without entries. Without memory the entries done by then keep their copy, and the set is not marked. */
void set_force_login_param(config_node *table, config_node *set);
void migr_url_rewrite_rule(void);
void migr_xml_protection_rule_filter(void);
void migr_input_rule(void);

/* 4.30 */
void migr_malicious_robot_process(void);
void migr_check_one_malicious_robot_check(config_node *edit);
/* Gives the edit a namesake in the access limit rules, with these sets (null for none). */
void mr_add_freenode_to_tree(const config_node *edit, config_node *moved);
void migr_system_hasyncd(void);

/* 4.40; always 0. migr_snmp_events never returns from a community without sets, migr_x_forward and migr_advanced never
 * from a file without the block behind which theirs belongs. */
int32_t migr_snmp_events(void);
int32_t migr_mod_packet_log(void);
int32_t migr_x_forward(void);
void    op_profile_x_forward(config_node *block);
void    add_new_x_forward(const char *name);
int32_t migr_advanced(void);
void    moved_to_advanced(const char *name, const char *value);

/* 4.42; always 0. The helpers take the first edit of a block, or null. */
int32_t migr_mod_content_routing_policy(void);
void    modified_hcr_policy(config_node *edits);
void    modified_hcr_pserver_list(config_node *edits);

/* 4.43 */
void migr_exchange_robot_group_default(void);

#ifdef __cplusplus
}
#endif

#endif
