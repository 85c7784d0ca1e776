/* Conversions of the steps from 5.30 to 5.40, the last that the version chain has. None can stop the chain. */
#ifndef MIGR_CHAIN_RELEASES_5_30_TO_5_40_H
#define MIGR_CHAIN_RELEASES_5_30_TO_5_40_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* 5.30; the first gives -1 without "system,admin". */
int32_t migr_del_servicestatus_item(void);
int32_t migr_del_threshold_prop(void);
int32_t migr_del_ocsp_prop(void);
int32_t migr_del_allow_robot_prop_in_attack_log(void);

/* 5.32 */
int32_t migr_change_emailpl_interval_value(void);

/* 5.33; the first gives -1 without memory. */
int32_t migr_add_sni_enable_conf(void);
int32_t migr_del_child_table_hashboard_prop(void);

/* 5.35, with migr_adjust_bind_info of aggregate_binding.h behind it. */
int32_t migr_mv_health_check_child_table(void);

/* 5.36 */
int32_t migr_del_vzone_ip(void);
int32_t migr_change_sig_name(void);
int32_t migr_change_half_open_threshold(void);

/* 5.40 */
int32_t migr_add_router_policy_priority(void);
int32_t migr_change_sys_log_policy(void);

#ifdef __cplusplus
}
#endif

#endif
