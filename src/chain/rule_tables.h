/* Tables of rules whose entries gained, lost or exchanged something in 4.20 to 4.43: log-in limits, URL rewriting, XML
 * filters, input rules, robots. */
#ifndef MIGR_CHAIN_RULE_TABLES_H
#define MIGR_CHAIN_RULE_TABLES_H

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

/* 4.43 */
void migr_exchange_robot_group_default(void);

#ifdef __cplusplus
}
#endif

#endif
