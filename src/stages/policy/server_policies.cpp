/*
 * Server policies, pools, health checks and virtual servers from 5.85 to 6.20. Several rows need rounds of the
 * whole tree, since what refers to something may stand ahead of it.
 */
#include "stages/policy/server_policies.h"

#include "driver/run_context.h"
#include "walk/toolkit.h"

#include <cstdio>
#include <cstring>

/* ---- 5.85 ---- */

/* Round 2, "system settings". */
static void take_system_setting(add_server_policy_setting_state *state)
{
    if (!top_cfg_set_in("core-file-count", "enable-core-file", "offline-session-timeout", "fast-forward",
                        "ssl-quiet-shutdown"))
        return;
    if (top_cfg_set_is("ssl-quiet-shutdown"))
        state->quiet_moved = 1;
    cnd_mv(top[3], state->setting);
}

/* Round 2, "system global". On the small model compatibility has always meant the quiet shutdown, whatever the switch
 * said, and its policies are left as they are. */
static void take_global_setting(const add_server_policy_setting_state *state)
{
    if (!top_cfg_set_in("hsm", "dpdk", "high-compatibility-mode"))
        return;
    if (top_cfg_set_is("high-compatibility-mode") && strstr(migr_main.model_text, "Q2E")) {
        cnd_add_prop(state->setting, "ssl-quiet-shutdown", "enable");
        cnd_del(top[3]);
        return;
    }
    cnd_mv(top[3], state->setting);
}

static void move_server_policy_settings(add_server_policy_setting_state *state)
{
    if (!state->setting)
        state->setting = cnd_add_path(nullptr, "server-policy,setting");
    if (!state->setting)
        return;
    if (top_cfg_is("system,settings"))
        take_system_setting(state);
    if (top_cfg_is("system,global"))
        take_global_setting(state);
}

/* Notes at a set of that name that the entry uses SSL; at the end of its sets gives such an entry the switch. The names
 * alone decide: an entry with SSL at "disable" gets it too. */
static void copy_quiet_shutdown(int32_t *ssl_seen, int32_t set_end, const config_node *ssl_set, config_node *entry)
{
    if (!set_end) {
        if (ssl_set)
            *ssl_seen = 1;
        return;
    }
    if (*ssl_seen)
        cnd_add_prop(entry, "ssl-quiet-shutdown", "enable");
    *ssl_seen = 0;
}

/*
 * The settings of server policies stood among those of the machine, in "system settings" and "system global"; they move
 * to "server-policy setting". It is made at the front of the file where there is none; each is attached in front, so
 * they end up in reverse order. The quiet shutdown was one switch for all and becomes one for each policy and pool
 * member.
 *
 * Round 1 looks for the config, round 2 moves the settings there, round 3 copies the switch down.
 */
void _add_server_policy_setting(int32_t round, void *memory, int32_t *)
{
    auto *state = static_cast<add_server_policy_setting_state *>(memory);
    if (round == 1) {
        if (!state->setting)
            state->setting = top_cfg_is("server-policy,setting");
        return;
    }
    if (round == 2) {
        move_server_policy_settings(state);
        return;
    }
    if (!state->quiet_moved)
        return;
    if (top_cfg_is("server-policy,policy"))
        copy_quiet_shutdown(&state->ssl_seen, top_edt_set_end(), top_edt_set_is("https-service"), top[2]);
    if (top_cfg_is("server-policy,server-pool"))
        copy_quiet_shutdown(&state->ssl_seen, sub_edt_set_end(), sub_edt_set_is("ssl"), sub[2]);
}

/* ---- 5.90 ---- */

/* Round 1: the pools of policies that present a name to the server. */
static void note_sni_policies(change_server_side_sni_state *state)
{
    if (!top_edt_set_end()) {
        if (top_edt_set_is("server-pool"))
            state->pool = top[4];
        if (top_edt_set_is("server-side-sni"))
            state->sni = top[4];
        return;
    }
    if (state->pool && state->sni)
        cnd_arr_push(&state->policies, state->pool);
    state->pool = nullptr;
    state->sni = nullptr;
}

/* Round 2: the SSL members of those pools. */
static void add_member_sni(change_server_side_sni_state *state)
{
    if (!sub_edt_set_end()) {
        if (sub_edt_set_is("ssl"))
            state->ssl_seen = 1;
        return;
    }
    if (state->ssl_seen)
        cnd_add_prop(sub[2], "server-side-sni", "enable");
    state->ssl_seen = 0;
}

/*
 * Presenting a name to the server was meant to go from the policy to the members of its pool. The scope of this row
 * ends in a comma, so the suffix of "server-policy policy" is "olicy", and of the pools "erver-pool": no configuration
 * has ever been changed, its policies keep the set, and files in the field depend on that. The row stays as it is.
 */
void _change_server_side_sni(int32_t round, void *memory, int32_t *)
{
    auto *state = static_cast<change_server_side_sni_state *>(memory);
    if (round == 1 && top_suffix_is("policy"))
        note_sni_policies(state);
    if (round == 2 && top_suffix_is("server-pool") && cnd_arr_match_value(&state->policies, cnd_std_name(top[2])))
        add_member_sni(state);
}

/* The predefined HTTPS health check went: a check over HTTP finds out by itself whether the server speaks SSL. */
void _change_server_pool_https_health(int32_t, void *, int32_t *)
{
    if (cnd_nv_is(top[4], "health", "HLTHCK_HTTPS"))
        cnd_fmt_value(top[4], "HLTHCK_HTTP");
    if (sub_cfg_is("pserver-list") && cnd_nv_is(sub[4], "health", "HLTHCK_HTTPS"))
        cnd_fmt_value(sub[4], "HLTHCK_HTTP");
}

/* The operator's own health checks over HTTPS became checks over HTTP, which find out by themselves whether the server
 * speaks SSL. */
void _change_server_policy_https_health(int32_t, void *, int32_t *)
{
    if (sub_cfg_is("health-list") && cnd_nv_is(sub[4], "type", "https"))
        cnd_fmt_value(sub[4], "http");
}

/* The two cloud models only ever worked as a reverse proxy, and take their gateway from the cloud; old files may say
 * otherwise. */
void _change_aws_azure_opmode(int32_t, void *, int32_t *)
{
    if (!strstr(migr_main.model_text, "QZE") && !strstr(migr_main.model_text, "QWS"))
        return;
    if (top_cfg_set_is("opmode"))
        cnd_fmt_value(top[3], "reverse-proxy");
    if (top_cfg_set_is("gateway"))
        cnd_del(top[3]);
}

/* Round 1: the host of each health check. One that the map has no room for goes from its check all the same. */
static void take_health_hosts(adjust_server_policy_health_state *state)
{
    if (!sub_edt_set_is("host"))
        return;
    str_map_insert(&state->hosts, cnd_std_name(top[2]), sub[4]->value);
    cnd_del(sub[4]);
}

/* Round 3: a member's own check counts first, then that of its pool, unless the member does not inherit it. */
static void give_member_host(adjust_server_policy_health_state *state)
{
    if (!sub_edt_set_end()) {
        if (cnd_nv_is(sub[4], "health-check-inherit", "disable"))
            state->inherit_off = 1;
        if (sub_edt_set_is("health"))
            state->member_health = cnd_std_value(sub[4]);
        return;
    }
    if (!state->inherit_off && !state->member_health)
        state->member_health = str_map_find(&state->pool_health, top[2]->name);
    if (const char *host = str_map_find(&state->hosts, state->member_health))
        cnd_add_prop(sub[2], "hlck-domain", "%s", host);
    state->inherit_off = 0;
    state->member_health = nullptr;
}

/*
 * The host that a health check asks for stood in the check, one for all servers; it now stands at each pool member that
 * the check is used on. The maps hold 32 checks and 32 pools; members of those beyond get no host, as ever.
 *
 * Round 1 takes the hosts out of the checks, round 2 notes the check of each pool, round 3 gives each member its host.
 */
void _adjust_server_policy_health(int32_t round, void *memory, int32_t *)
{
    auto *state = static_cast<adjust_server_policy_health_state *>(memory);
    if (round == 1 && top_suffix_is("health"))
        take_health_hosts(state);
    if (round == 2 && top_suffix_is("server-pool") && top_edt_set_is("health"))
        str_map_insert(&state->pool_health, top[2]->name, cnd_std_value(top[4]));
    if (round == 3 && top_suffix_is("server-pool"))
        give_member_host(state);
}

/* ---- 6.01 ---- */

/* Fast forwarding went away soon after it had become a setting of server policies. */
void _erase_fast_forward_from_server_policy_setting(int32_t, void *, int32_t *)
{
    if (top_cfg_set_is("fast-forward"))
        cnd_del(top[3]);
}

/* ---- 6.02 ---- */

/*
 * Blocking by, and locating, the original address needs that address to be traced. Old releases took the two settings
 * without it; they go then. That the tracing is set at all decides, not its value.
 */
void _check_xff_cond(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<check_xff_cond_state *>(memory);
    if (top_edt_set_is("tracing-original-ip"))
        state->tracing = top[4];
    if (top_edt_set_is("block-based-on-original-ip"))
        state->block = top[4];
    if (top_edt_set_is("ip-location"))
        state->location = top[4];
    if (!top_edt_set_end())
        return;
    if (!state->tracing) {
        cnd_del_from(state->block, top[2]);
        cnd_del_from(state->location, top[2]);
    }
    *state = {};
}

/* One release misspelled a name of the server pools, which is put right. */
void _correct_wrong_server_pool_prop(int32_t, void *, int32_t *)
{
    if (top_edt_set_is("reuse-conn-max-requset"))
        cnd_rename(top[4], "reuse-conn-max-request");
}

/* ---- 6.20 ---- */

/* The "system,vip" config of this file, until the virtual servers end. */
static config_node *sys_vip;

/* Takes an address setting out of its edit. A second set of one name takes the place of the first, which is lost. */
static void detach_address_setting(adjust_server_policy_vserver_state *state)
{
    config_node **taken[] = {&state->use_interface_ip, &state->vip, &state->vip6, &state->interface, &state->status};
    int32_t       position = top_edt_set_in("use-interface-ip", "vip", "vip6", "interface", "status");
    if (position)
        *taken[position - 1] = cnd_detach(top[4]);
}

/* The name of a virtual server's address in "system vip". A name too long for the prefix stays as it is written. */
static void form_vip_name(char *name, size_t size)
{
    static constexpr size_t longest_prefixed = 58;
    const char             *bare = cnd_std_name(top[2]);
    if (strlen(bare) > longest_prefixed)
        snprintf(name, size, "%.*s", static_cast<int>(size) - 1,
                 top[2]->name); /* cut where the name is too long for it */
    else
        snprintf(name, size, "\"vip-%s\"", bare);
}

/* Moves the addresses to an entry of their own in "system vip" and refers to it. 0, or -1 without memory. */
static int32_t move_to_system_vip(adjust_server_policy_vserver_state *state, config_node *list_edit)
{
    char name[72];
    char printed[sizeof name];
    cnd_attach(state->status, list_edit);
    state->status = nullptr; /* has its place, whatever becomes of the rest */
    if (!sys_vip)
        sys_vip = cnd_add_path(nullptr, "system,vip");
    form_vip_name(name, sizeof name);
    config_node *vip_edit = cnd_add_edit(sys_vip, "%s", cnd_format_pass(name, printed, sizeof printed));
    if (!vip_edit)
        return -1;
    cnd_attach(state->vip, vip_edit);
    cnd_attach(state->vip6, vip_edit);
    cnd_attach(state->interface, vip_edit);
    cnd_add_prop(list_edit, "vip", "%s", name);
    return 0;
}

/*
 * A virtual server had one address of its own; it now has a list of addresses. The list has one entry here: either the
 * address of an interface, where its own addresses and status are dropped, or an address that "system vip" holds.
 */
void _adjust_server_policy_vserver(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<adjust_server_policy_vserver_state *>(memory);
    if (top_cfg_set_end())
        sys_vip = nullptr;
    if (!top_edt_set_end()) {
        detach_address_setting(state);
        return;
    }
    config_node *list_edit = cnd_add_edit(cnd_add_config(top[2], "vip-list"), "1");
    if (!list_edit)
        return;
    if (state->use_interface_ip) {
        cnd_attach(state->interface, list_edit);
        cnd_attach(state->use_interface_ip, list_edit);
    } else if (move_to_system_vip(state, list_edit) != 0) {
        return;
    }
    *state = {};
}

/* The proxy protocol of cloud models needs no change after all; the row stays in its place. */
void _adjust_cloud_proxy_protocol(int32_t, void *, int32_t *) {}
