/*
 * Settings that changed alone, from 5.50 to 6.10. Rows that share a scope do not know of each other; their order
 * in the stage is what they have in common.
 */
#include "stages/policy/small_settings.h"

#include "stages/shared/remove_folder.h"
#include "walk/toolkit.h"

/* ---- 5.50 ---- */

/* Restoring a defaced site by itself became one of several actions. The action's name is spelled so in every file. */
void _migr_change_wad_auto_restore(int32_t, void *, int32_t *)
{
    if (top_edt_set_is("auto-restore"))
        cnd_fmt_value(cnd_rename(top[4], "atuo"), "restore");
}

/* SSL by hardware was a switch, and is now what there is without the high compatibility mode. */
void _migr_change_sys_global(int32_t, void *, int32_t *)
{
    if (!top_cfg_set_is("hardware-ssl"))
        return;
    cnd_rename(top[3], "high-compatibility-mode");
    if (cnd_value_is(top[3], "disable"))
        cnd_fmt_value(top[3], "enable");
    else if (cnd_value_is(top[3], "enable"))
        cnd_fmt_value(top[3], "disable");
}

/* ---- 5.51 ---- */

/* The word for the password is written out. */
void _migr_change_wccp_passwd_name(int32_t, void *, int32_t *)
{
    if (top_cfg_set_is("passwd"))
        cnd_rename(top[3], "password");
}

/* ---- 5.83 ---- */

/* The time limit of offline sessions needs no change after all; the row stays in its place. */
void _change_offline_session_timeout(int32_t, void *, int32_t *) {}

/* ---- 5.85 ---- */

/* The console left the administrators' dashboards. */
void _del_sys_admin_jsconsole(int32_t, void *, int32_t *)
{
    if (sub_edt_set_end() && sub_cfg_is("dashboard") && sub_edt_is("jsconsole"))
        cnd_del(sub[2]);
}

/* ---- 5.90 ---- */

/* What was called the update server has always been a proxy for updates. */
void _change_global_uds_server(int32_t, void *, int32_t *)
{
    if (top_cfg_set_is("uds-server"))
        cnd_rename(top[3], "uds-proxy");
}

/* The server that overrides the one for updates is a proxy as well, and its port is fixed now. */
void _change_system_uds_server(int32_t, void *, int32_t *)
{
    if (top_cfg_set_is("port"))
        cnd_del(top[3]);
    if (top_cfg_set_end())
        cnd_rename(top[1], "system,uds,proxy,override");
}

/* Takes one of the old switches out of its config. */
static void take_switch(const char *name, int32_t *on)
{
    if (!top_cfg_set_is(name))
        return;
    *on = cnd_value_is(top[3], "enable");
    cnd_del(top[3]);
}

/* What a strong password had to have, as rules of their own. */
static void add_strong_password_rules(config_node *policy)
{
    static constexpr struct {
        const char *name;
        const char *value;
    } rules[] = {
        {"min-non-alphanumeric", "1"},        {"min-number", "1"},
        {"min-upper-case-letter", "1"},       {"min-lower-case-letter", "1"},
        {"character-requirements", "enable"}, {"min-length-option", "enable"},
    };
    for (const auto &rule : rules)
        cnd_add_prop(policy, rule.name, "%s", rule.value);
}

/*
 * Strong passwords and a single administrator were two switches of the machine; they are now part of a password policy.
 * It stands directly behind the config that had them, and only where one of them was on.
 */
void _add_system_passwd_policy(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<add_system_passwd_policy_state *>(memory);
    if (!top_cfg_set_end()) {
        take_switch("strong-password", &state->strong);
        take_switch("single-admin-mode", &state->single_admin);
        return;
    }
    if (!state->strong && !state->single_admin)
        return;
    config_node *policy = cnd_add_path(&top[1]->next, "system,password-policy");
    if (state->strong)
        add_strong_password_rules(policy);
    if (state->single_admin)
        cnd_add_prop(policy, "single-admin-mode", "enable");
    cnd_add_prop(policy, "status", "enable");
}

/* ---- 6.01 ---- */

/*
 * Four limits went, and decoding an address again and again, which had been off unless it was set, is on now unless it
 * is set. So the old "off" must be written, and an old "on" goes. The last of the five sets decides, so an "on" with
 * one of the limits behind it turns off. Files in the field depend on that order.
 */
void _update_system_advanced(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<update_system_advanced_state *>(memory);
    if (!top_cfg_set_end()) {
        if (!cnd_name_in(top[3], "max-http-header-length", "max-http-argbuf-length", "max-multipart-buffsize-per-arg",
                         "upfile-count", "circulate-url-decode"))
            return;
        state->enabled = cnd_nv_is(top[3], "circulate-url-decode", "enable");
        cnd_del(top[3]);
        return;
    }
    if (!state->enabled)
        cnd_add_prop(top[1], "circulate-url-decode", "disable");
}

/* ---- 6.02 ---- */

/* The folder has been looked for in this process. */
static bool _remove_geo_db_dironce_flag;

/* The database of places moved; what is left of the old one goes, at the first visit of the first file. */
void _remove_geo_db_dir(int32_t, void *, int32_t *)
{
    if (_remove_geo_db_dironce_flag)
        return;
    migr_rmdir("/var/log/geo_db/");
    _remove_geo_db_dironce_flag = true;
}

/* The list of allowed addresses always held the sources that are learned from, and is called so now. */
void _adjust_ml_policy(int32_t, void *, int32_t *)
{
    if (sub_cfg_is("allow-source-ip"))
        cnd_rename(sub[1], "source-ip-list");
}

/* ---- 6.10 ---- */

/* The sandbox is only ever asked over SSL. */
void _purge_corvo_box(int32_t, void *, int32_t *)
{
    if (top_cfg_set_is("ssl"))
        cnd_del_from(top[3], top[1]);
}

/* One predefined group left the global white list. */
void _purge_white_list(int32_t, void *, int32_t *)
{
    if (top_edt_set_end() && top_edt_is("100001"))
        cnd_del(top[2]);
}
