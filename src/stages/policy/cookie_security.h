/* Cookie security and site publishing: settings that get policies and pools of their own, and what each mode allows. */
#ifndef MIGR_STAGES_POLICY_COOKIE_SECURITY_H
#define MIGR_STAGES_POLICY_COOKIE_SECURITY_H

#include "walk/cursors.h"
#include "walk/stages.h"

struct migr_move_cookie_poison_state {
    config_node *target;  /* "waf,cookie-security", from the first visit on */
    cnd_arr      moved;   /* sets detached from the current profile, until its sets end */
    int32_t      hit;     /* a cookie poison set was met, until the profile's sets end */
    int32_t      counter; /* policies made in this file */
};
MIGR_STATE(migr_move_cookie_poison_state, 536);

struct migr_move_site_publish_rule_state {
    config_node *target;  /* "waf,site-publish-helper,authentication-server-pool", from the first visit on */
    cnd_arr      moved;   /* sets detached from the current rule, until its sets end */
    int32_t      counter; /* pools made in this file */
};
MIGR_STATE(migr_move_site_publish_rule_state, 536);

/* The following hold until the edit's sets end. */

struct change_cookie_security_mode_state {
    int32_t      encrypted; /* its "security-mode" is "encrypted" */
    config_node *replay;    /* its "cookie-replay-protection-type" */
};
MIGR_STATE(change_cookie_security_mode_state, 16);

struct change_cookie_security_mode2_state {
    int32_t encrypted; /* its "security-mode" is "encrypted" */
    cnd_arr doomed;    /* its sets that go unless it is */
};
MIGR_STATE(change_cookie_security_mode2_state, 528);

struct erase_allow_time_under_wrong_condition_state {
    int32_t      encrypted;  /* its last "security-mode" is "encrypted" */
    config_node *allow_time; /* its "allow-time" */
};
MIGR_STATE(erase_allow_time_under_wrong_condition_state, 16);

struct sync_cookie_security_mode_state {
    int32_t signed_mode; /* its "security-mode" is "signed" */
};
MIGR_STATE(sync_cookie_security_mode_state, 4);

#ifdef __cplusplus
extern "C" {
#endif

stage_callback _migr_move_cookie_poison;
stage_callback _migr_move_site_publish_rule;
stage_callback _change_cookie_security_mode;
stage_callback _migr_cookie_timeout_sitepublish;
stage_callback _change_cookie_security_mode2;
stage_callback _erase_allow_time_under_wrong_condition;
stage_callback _sync_cookie_security_mode;
stage_callback _rename_sph_rule_prop;

#ifdef __cplusplus
}
#endif

#endif
