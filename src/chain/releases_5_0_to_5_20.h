/* Conversions of the steps to 5.0, 5.10 and 5.20: port pairs, event lists, white lists, certificates into domains. */
#ifndef MIGR_CHAIN_RELEASES_5_0_TO_5_20_H
#define MIGR_CHAIN_RELEASES_5_0_TO_5_20_H

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

#ifdef __cplusplus
}
#endif

#endif
