/*
 * Log policies and log settings, and the hosts that may ask for SNMP. What is seen in one file is not forgotten at the
 * end of a block: a second one of that name inherits it.
 */
#ifndef MIGR_STAGES_POLICY_LOG_POLICIES_H
#define MIGR_STAGES_POLICY_LOG_POLICIES_H

#include "walk/cursors.h"
#include "walk/stages.h"

/* Of both rows that make a server list. */
struct server_list_state {
    config_node *list_edit; /* the entry of the server list being filled, until the policy's sets end. Behind the last
                               policy it is one in a sentinel, and stays for the rest of the file */
};
MIGR_STATE(server_list_state, 8);

struct change_log_attack_log_packet_log_state {
    int32_t seen; /* a set "packet-log" was met in this file */
};
MIGR_STATE(change_log_attack_log_packet_log_state, 4);

#ifdef __cplusplus
extern "C" {
#endif

stage_callback _migr_change_corvo_log_policy;
stage_callback _migr_change_sys_siem_policy;
void           _del_interface_under_host(void); /* the body of the next two */
stage_callback _migr_del_snmp_community_interface;
stage_callback _migr_del_snmp_user_interface;
stage_callback _migr_del_cookie_poison_log;
stage_callback _migr_del_memory_log_config;
stage_callback _remove_show_all_log;
stage_callback _remove_log_reports_config;
stage_callback _change_log_attack_log_packet_log;
stage_callback _trim_cl_prop;

#ifdef __cplusplus
}
#endif

#endif
