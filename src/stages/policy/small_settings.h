/* Small changes to single settings: renamed sets, inverted switches, entries and folders that went. */
#ifndef MIGR_STAGES_POLICY_SMALL_SETTINGS_H
#define MIGR_STAGES_POLICY_SMALL_SETTINGS_H

#include "walk/cursors.h"
#include "walk/stages.h"

/* Both for the rest of the file, from the set on: a later config of the scope inherits them. */
struct add_system_passwd_policy_state {
    int32_t strong;       /* the last "strong-password" was "enable" */
    int32_t single_admin; /* the last "single-admin-mode" was "enable" */
};
MIGR_STATE(add_system_passwd_policy_state, 8);

struct update_system_advanced_state {
    int32_t enabled; /* for the rest of the file: the last of the five sets was "circulate-url-decode" at "enable" */
};
MIGR_STATE(update_system_advanced_state, 4);

#ifdef __cplusplus
extern "C" {
#endif

stage_callback _migr_change_wad_auto_restore;
stage_callback _migr_change_sys_global;
stage_callback _migr_change_wccp_passwd_name;
stage_callback _change_offline_session_timeout;
stage_callback _del_sys_admin_jsconsole;
stage_callback _change_global_uds_server;
stage_callback _change_system_uds_server;
stage_callback _add_system_passwd_policy;
stage_callback _update_system_advanced;
stage_callback _remove_geo_db_dir;
stage_callback _adjust_ml_policy;
stage_callback _purge_corvo_box;
stage_callback _purge_white_list;

#ifdef __cplusplus
}
#endif

#endif
