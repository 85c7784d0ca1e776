/* The cluster's settings and their neighbours: the connector of a cloud, the HSM, Kerberos users (5.83 to 6.20). */
#ifndef MIGR_STAGES_SYSTEM_HIGH_AVAILABILITY_H
#define MIGR_STAGES_SYSTEM_HIGH_AVAILABILITY_H

#include "walk/cursors.h"
#include "walk/stages.h"

struct adjust_ha_interface_state {
    cnd_arr      priorities;     /* the "priority" sets of the policy routes, from round 1 on */
    config_node *ha_config;      /* the cluster's configuration, from round 2 on */
    int32_t      done;           /* the routes are built, or there are none to build */
    const char  *mgmt_interface; /* the management interface as written, from round 2 on; not owned */
    char         src_ip[128];    /* its addresses as host routes, in round 3 */
    char         src_ip6[128];
    char        *gateway; /* owned, from round 2 until the last visit */
    char        *gateway6;
};
MIGR_STATE(adjust_ha_interface_state, 816);

struct adjust_hsm_info_state {
    uint32_t unused;
};
MIGR_STATE(adjust_hsm_info_state, 4);

struct adjust_ha_mgmt_by_cond_state {
    int32_t clustered;        /* the mode is one of a cluster; both for the file, from round 1 on */
    int32_t has_network_type; /* the cluster's heartbeat has a network type */
};
MIGR_STATE(adjust_ha_mgmt_by_cond_state, 8);

struct adjust_kerberos_user_state {
    config_node *server; /* taken out of this edit, until its end */
    config_node *port;
};
MIGR_STATE(adjust_kerberos_user_state, 16);

#ifdef __cplusplus
extern "C" {
#endif

stage_callback _remove_ha_no_virtual_mac;
stage_callback _update_snmp_and_ha;
stage_callback _adjust_ha_interface;
stage_callback _adjust_hsm_info;
stage_callback _reorg_azure_res;
stage_callback _adjust_ha_mgmt_by_cond;
stage_callback _adjust_kerberos_user;
stage_callback _optional_erase_ha;

#ifdef __cplusplus
}
#endif

#endif
