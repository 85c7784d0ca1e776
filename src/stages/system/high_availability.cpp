/*
 * The cluster and its neighbours from 5.83 to 6.20. A scope of "system,ha" takes in every name that begins so: a
 * row that means the cluster alone has to ask for it.
 */
#include "stages/system/high_availability.h"

#include "platform/platform.h"
#include "stages/shared/secret_decoding.h"
#include "walk/toolkit.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <openssl/crypto.h>

/* From 5.83 on a cluster always has its virtual address. */
void _remove_ha_no_virtual_mac(int32_t, void *, int32_t *)
{
    if (top_cfg_set_is("no-virtual-mac"))
        cnd_del(top[3]);
}

static void split_heartbeat_event(config_node *events)
{
    if (cnd_filter_value(events, "sys-ha-hbfail") > 0)
        cnd_append_value(events, "sys-ha-cluster-status-change", "sys-ha-member-join", "sys-ha-member-leave");
}

/* 6.02: the heartbeat's tunnel became one of several network types, and its failure an event became three. */
void _update_snmp_and_ha(int32_t, void *, int32_t *)
{
    if (top_suffix_is("ha") && top_cfg_set_is("tunnel"))
        cnd_fmt_value(cnd_rename(top[3], "network-type"), "udp-tunnel");
    if (top_suffix_is("snmp,community") && top_edt_set_is("events"))
        split_heartbeat_event(top[4]);
    if (top_suffix_is("snmp,user") && top_edt_set_is("trapevent"))
        split_heartbeat_event(top[4]);
}

static void keep_and_delete(char **kept, config_node *set)
{
    if (set->value) {
        free(*kept);
        *kept = strdup(set->value);
    }
    cnd_del(set);
}

static void collect_cluster(adjust_ha_interface_state *state)
{
    if (!top_cfg_is("system,ha"))
        return;
    state->ha_config = top[1];
    if (top_cfg_set_is("ha-mgmt-interface"))
        state->mgmt_interface = top[3]->value;
    if (top_cfg_set_is("ha-mgmt-interface-gateway"))
        keep_and_delete(&state->gateway, top[3]);
    if (top_cfg_set_is("ha-mgmt-interface-gateway6"))
        keep_and_delete(&state->gateway6, top[3]);
}

/* An address with its network becomes the address of one host; one without a network stays as it is, and one that
 * leaves no room for the whole length is none. */
static void take_host_route(char (&route)[128], const char *address, const char *whole_length)
{
    static constexpr size_t longest = 125;
    snprintf(route, longest + 1, "%s", address ? address : "");
    char *slash = strrchr(route, '/');
    if (!slash)
        return;
    if (slash + 1 + strlen(whole_length) < route + sizeof route)
        strcpy(slash + 1, whole_length);
    else
        route[0] = '\0';
}

/* The next priority downwards that no policy route has. */
static void take_priority(const cnd_arr *taken, int32_t *counter, char (&priority)[16])
{
    do
        snprintf(priority, sizeof priority, "%d", --*counter);
    while (cnd_arr_match_value(taken, priority));
}

static bool add_route(adjust_ha_interface_state *state, config_node *routes, const char *name, const char *source,
                      const char *gateway, int32_t *counter)
{
    config_node *route = cnd_add_edit(routes, "%s", name);
    if (!route)
        return false;
    char priority[16];
    cnd_add_prop(route, "oif", "%s", state->mgmt_interface);
    cnd_add_prop(route, "src", "%s", source);
    cnd_add_prop(route, "gateway", "%s", gateway);
    take_priority(&state->priorities, counter, priority);
    cnd_add_prop(route, "priority", "%s", priority);
    return true;
}

static void build_routes(adjust_ha_interface_state *state)
{
    bool    has_ip = state->src_ip[0] && state->gateway;
    bool    has_ip6 = state->src_ip6[0] && state->gateway6;
    int32_t counter = 200;
    if (has_ip || has_ip6) {
        config_node *routes = cnd_add_path(&state->ha_config->next, "system,ha-mgmt-router-policy");
        if (!routes)
            return;
        if (has_ip && !add_route(state, routes, "1", state->src_ip, state->gateway, &counter))
            return;
        if (has_ip6 && !add_route(state, routes, has_ip ? "2" : "1", state->src_ip6, state->gateway6, &counter))
            return;
    }
    state->done = 1;
}

static void visit_management_interface(adjust_ha_interface_state *state)
{
    if (state->done || !state->mgmt_interface)
        return;
    if (!top_cfg_is("system,interface") || !top_edt_is(state->mgmt_interface))
        return;
    if (top_edt_set_is("ip"))
        take_host_route(state->src_ip, top[4]->value, "32");
    if (top_edt_set_is("ip6"))
        take_host_route(state->src_ip6, top[4]->value, "128");
    if (top_edt_set_end())
        build_routes(state);
}

/*
 * Before 6.10 the management interface of a cluster had a gateway of its own; from then on it has policy routes. Three
 * rounds, since routes, cluster and interfaces stand in any order: the priorities in use, the gateways, the addresses.
 */
void _adjust_ha_interface(int32_t round, void *memory, int32_t *)
{
    auto *state = static_cast<adjust_ha_interface_state *>(memory);
    if (round == 1) {
        if (top_cfg_is("router,policy") && top_edt_set_is("priority"))
            cnd_arr_push(&state->priorities, top[4]);
        return;
    }
    if (round == 2) {
        collect_cluster(state);
        return;
    }
    visit_management_interface(state);
    if (!cnd_is_last(top[1]))
        return;
    free(state->gateway);
    free(state->gateway6);
    state->gateway = nullptr;
    state->gateway6 = nullptr;
}

/* The HSM's registration is no longer started by a setting. */
void _adjust_hsm_info(int32_t, void *, int32_t *)
{
    if (top_cfg_set_is("action"))
        cnd_del(top[3]);
}

/* Opens a password that an old release encoded: it lies in clear in the configuration from here on, without quotes. */
static void open_password(config_node *pass)
{
    static constexpr char marker[] = "ENC ";
    const char           *encoded = pass->value ? strstr(pass->value, marker) : nullptr;
    if (!encoded)
        return;
    encoded += strlen(marker);
    char decoded[4096] = {};
    char plain[4096] = {};
    copyof_crv_decode(encoded, decoded);
    int length = b64_decode(decoded, plain, sizeof plain - 1);
    if (length >= 1 && static_cast<size_t>(length) <= strlen(encoded))
        cnd_fmt_value(pass, "%s", plain);
    OPENSSL_cleanse(decoded, sizeof decoded);
    OPENSSL_cleanse(plain, sizeof plain);
}

/* 6.11: the one cloud resource became an entry among the connectors. */
void _reorg_azure_res(int32_t, void *, int32_t *)
{
    if (top_cfg_set_is("status"))
        cnd_del(top[3]);
    if (top_cfg_set_is("pass"))
        open_password(top[3]);
    if (!top_cfg_set_end())
        return;
    cnd_add_prop_front(top[1], "type", "azure");
    cnd_add_prop_front(top[1], "name", "azure-resource");
    cnd_rename(top[1], "system,mesh-connectors");
}

/* From 6.11 on only a cluster without a network type has management routes of its own. */
void _adjust_ha_mgmt_by_cond(int32_t round, void *memory, int32_t *)
{
    auto *state = static_cast<adjust_ha_mgmt_by_cond_state *>(memory);
    if (round == 1) {
        if (!top_suffix_is("ha"))
            return;
        if (top_cfg_set_is("mode") && cnd_value_in(top[3], "active-passive", "active-active"))
            state->clustered = 1;
        if (top_cfg_set_is("network-type"))
            state->has_network_type = 1;
        return;
    }
    if (!top_cfg_set_end() || !top_suffix_in("ha-mgmt-router-static", "ha-mgmt-router-policy"))
        return;
    if (!state->clustered || state->has_network_type)
        cnd_del(top[1]);
}

/* From 6.20 on a Kerberos user has a list of servers. An entry with neither server nor port gets an empty one. */
void _adjust_kerberos_user(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<adjust_kerberos_user_state *>(memory);
    if (top_edt_set_is("server"))
        state->server = cnd_detach(top[4]);
    else if (top_edt_set_is("port"))
        state->port = cnd_detach(top[4]);
    if (!top_edt_set_end())
        return;
    config_node *member = cnd_add_edit(cnd_add_config(top[2], "server-members"), "1");
    cnd_attach(state->port, member);
    cnd_attach(state->server, member);
    *state = {};
}

/* 6.20 sets a cluster up anew. It once was to depend on the model, hence the name; it goes from every appliance, with
 * every configuration whose name begins alike. */
void _optional_erase_ha(int32_t, void *, int32_t *)
{
    if (top_cfg_set_end())
        cnd_del(top[1]);
}
