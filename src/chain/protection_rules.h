/* The server protection rules of the 4.x releases, and the signature rules that took their place. */
#ifndef MIGR_CHAIN_PROTECTION_RULES_H
#define MIGR_CHAIN_PROTECTION_RULES_H

#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

/* 4.11, and once more 4.30. */
void migr_log_server_protec_rule(void);

/* 4.11 */
void migr_server_protec_exp(void);

/* 4.32, and once more 4.35. Always 0. */
int32_t migr_server_protection_rule(void);

/* 4.35. 0, or -1 when there is no memory for a set. */
int32_t migr_server_protection_rule_add_lfi(void);
int32_t migr_http_pro_pa_res(void);

/* 4.40. 0, or -1 without memory for the new block or for a profile's reference to it. */
int32_t migr_sp_rule_to_signature_rule(void);

/* Puts the signature block directly behind `predecessor`, a top-level node. 0, or -1 when there is no memory for the
 * block; entries that cannot be had are missing. */
int32_t add_waf_signature(config_node *predecessor);

/* Fill an entry of the signature block; a null one is passed over. Always 0. */
int32_t add_sig_alert_node(config_node *entry);
int32_t add_sig_medium_node(config_node *entry);
int32_t add_sig_high_node(config_node *entry);

/* 4.40. Always 0; never returns from a custom rule without sets. */
int32_t migr_custom_pro_rule(void);

/* Gives a custom rule, not null, its targets. kind_of_rule: 0 requests, 1 data leakage; another has none. */
void add_meet_targets(config_node *entry, int32_t kind_of_rule);

/* 5.0 */
void migr_add_bad_robot_to_signature(void);

#ifdef __cplusplus
}
#endif

#endif
