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

void _migr_change_wad_auto_restore(int32_t round, void *state, int32_t *progress);
void _migr_change_sys_global(int32_t round, void *state, int32_t *progress);
void _migr_change_wccp_passwd_name(int32_t round, void *state, int32_t *progress);
void _change_offline_session_timeout(int32_t round, void *state, int32_t *progress);
void _del_sys_admin_jsconsole(int32_t round, void *state, int32_t *progress);
void _change_global_uds_server(int32_t round, void *state, int32_t *progress);
void _change_system_uds_server(int32_t round, void *state, int32_t *progress);
void _add_system_passwd_policy(int32_t round, void *state, int32_t *progress);
void _update_system_advanced(int32_t round, void *state, int32_t *progress);
void _remove_geo_db_dir(int32_t round, void *state, int32_t *progress);
void _adjust_ml_policy(int32_t round, void *state, int32_t *progress);
void _purge_corvo_box(int32_t round, void *state, int32_t *progress);
void _purge_white_list(int32_t round, void *state, int32_t *progress);

#ifdef __cplusplus
}
#endif

#endif
