/* Server policies and what hangs on them: settings, pools, virtual servers, health checks, forwarded addresses. */
#ifndef MIGR_STAGES_POLICY_SERVER_POLICIES_H
#define MIGR_STAGES_POLICY_SERVER_POLICIES_H

#include "walk/cursors.h"
#include "walk/stages.h"

struct add_server_policy_setting_state {
    config_node *setting; /* the "server-policy,setting" config: from round 1 where the file has one, else made at
                             the first visit of round 2 */
    int32_t quiet_moved;  /* "ssl-quiet-shutdown" was moved in round 2: round 3 has work */
    int32_t ssl_seen;     /* round 3, until the policy's or member's sets end: it uses SSL */
};
MIGR_STATE(add_server_policy_setting_state, 16);

struct change_server_side_sni_state {
    config_node *pool;     /* round 1, until the policy's sets end: its "server-pool" */
    config_node *sni;      /* round 1, until the policy's sets end: its "server-side-sni" */
    cnd_arr      policies; /* from round 1 on: "server-pool" of each policy that has "server-side-sni" */
    int32_t      ssl_seen; /* round 2, until the member's sets end: it has a set "ssl" */
};
MIGR_STATE(change_server_side_sni_state, 544);

struct adjust_server_policy_health_state {
    str_map     hosts;         /* from round 1 on: bare health name to host value with its quotes */
    str_map     pool_health;   /* from round 2 on: raw pool name to bare health name */
    int32_t     inherit_off;   /* round 3, until the member's sets end: its "health-check-inherit" is "disable" */
    const char *member_health; /* round 3, until the member's sets end: its own health name, in the static buffer of
                                  cnd_std_value */
};
MIGR_STATE(adjust_server_policy_health_state, 16408);

struct check_xff_cond_state {
    config_node *tracing;  /* all until the edit's sets end: its "tracing-original-ip" */
    config_node *block;    /* its "block-based-on-original-ip" */
    config_node *location; /* its "ip-location" */
};
MIGR_STATE(check_xff_cond_state, 24);

/* All sets detached from the current edit, until its sets end. */
struct adjust_server_policy_vserver_state {
    config_node *use_interface_ip;
    config_node *vip;
    config_node *vip6;
    config_node *interface;
    config_node *status;
};
MIGR_STATE(adjust_server_policy_vserver_state, 40);

#ifdef __cplusplus
extern "C" {
#endif

stage_callback _add_server_policy_setting;
stage_callback _change_server_side_sni;
stage_callback _change_server_pool_https_health;
stage_callback _change_server_policy_https_health;
stage_callback _change_aws_azure_opmode;
stage_callback _adjust_server_policy_health;
stage_callback _erase_fast_forward_from_server_policy_setting;
stage_callback _check_xff_cond;
stage_callback _correct_wrong_server_pool_prop;
stage_callback _adjust_server_policy_vserver;
stage_callback _adjust_cloud_proxy_protocol;

#ifdef __cplusplus
}
#endif

#endif
