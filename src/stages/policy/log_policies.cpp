/*
 * Log policies, attack logs, reports and SNMP hosts from 5.50 to 6.10. Word lists are changed word by word; the
 * rest of a value stays as it is.
 */
#include "stages/policy/log_policies.h"

#include "driver/run_context.h"
#include "walk/toolkit.h"

#include <cstring>

/* ---- 5.50 ---- */

/*
 * A log policy named one server by flat sets. It now has a list of servers, whose one entry takes the sets, in reverse
 * order. The list is made at the first visit within the policy, so a policy without sets and nested configs gets none.
 *
 * The visits behind the last policy make one more list, in a sentinel, where nobody sees it. It is not forgotten: in a
 * file with a second config of the scope, that config's first policy loses its sets to it.
 */
static void fill_server_list(void *memory, const char *list_name)
{
    auto *state = static_cast<server_list_state *>(memory);
    if (top_edt_set_end()) {
        state->list_edit = nullptr;
        return;
    }
    if (!state->list_edit)
        state->list_edit = cnd_add_edit(cnd_add_config(top[2], "%s", list_name), "1");
    cnd_mv(top[4], state->list_edit);
}

/* A Corvolog policy had the settings of one server; they are now those of the one entry of a list of servers. */
void _migr_change_corvo_log_policy(int32_t, void *memory, int32_t *)
{
    fill_server_list(memory, "corvolog-server-list");
}

/* A SIEM policy had the settings of one server; they are now those of the one entry of a list of servers. */
void _migr_change_sys_siem_policy(int32_t, void *memory, int32_t *)
{
    fill_server_list(memory, "siem-server-list");
}

/* ---- 5.51 ---- */

/* A host that may ask for SNMP is no longer bound to an interface. */
void _del_interface_under_host(void)
{
    if (sub_cfg_is("hosts") && sub_edt_set_is("interface"))
        cnd_del(sub[4]);
}

/* The hosts of an SNMP community are no longer bound to an interface. */
void _migr_del_snmp_community_interface(int32_t, void *, int32_t *)
{
    _del_interface_under_host();
}

/* The hosts of an SNMP user are no longer bound to an interface. */
void _migr_del_snmp_user_interface(int32_t, void *, int32_t *)
{
    _del_interface_under_host();
}

/* ---- 5.60 ---- */

/* Cookie poisoning became cookie security, also in the list of what packets are logged for. A list that had the old
 * word twice loses both and gets no new one. */
void _migr_del_cookie_poison_log(int32_t, void *, int32_t *)
{
    if (top_cfg_set_is("packet-log") && cnd_filter_value(top[3], "cookie-poison") == 1)
        cnd_append_value(top[3], "cookie-security");
}

/* Logging to memory went away, the choice of the disk for traffic with it, and the limit of a log file's size. */
void _migr_del_memory_log_config(int32_t, void *, int32_t *)
{
    if (top_suffix_is("traffic-log") && top_cfg_set_is("disk-log"))
        cnd_del(top[3]);
    if (top_suffix_is("disk") && top_cfg_set_is("max-log-file-size"))
        cnd_del(top[3]);
    if (top_suffix_is("memory") && top_cfg_set_end())
        cnd_del_from(top[1], &migr_main.root);
}

/* ---- 5.80 ---- */

/* All attack logs are shown, so there is no switch for it. */
void _remove_show_all_log(int32_t, void *, int32_t *)
{
    if (top_cfg_set_is("show-all-log"))
        cnd_del(top[3]);
}

/* ---- 5.85 ---- */

/* Reports lost their queries and their mail addresses. */
void _remove_log_reports_config(int32_t, void *, int32_t *)
{
    if (sub_cfg_set_end() && cnd_name_in(sub[1], "queryset_option", "query_option", "output_addresses"))
        cnd_del(sub[1]);
}

/* ---- 6.00 ---- */

/*
 * Packets are logged for machine learning too, in every file: its word joins the list, or makes one. A word that only
 * begins with it counts as well, and a set of an earlier config of the scope counts for the later ones.
 */
void _change_log_attack_log_packet_log(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<change_log_attack_log_packet_log_state *>(memory);
    if (top_cfg_set_end() && !state->seen)
        cnd_add_prop(top[1], "packet-log", "machine-learning");
    if (!top_cfg_set_is("packet-log"))
        return;
    if (!top[3]->value || !strstr(top[3]->value, "machine-learning"))
        cnd_append_value(top[3], "machine-learning");
    state->seen = 1;
}

/* ---- 6.10 ---- */

/* The servers of a log policy agree on the algorithm by themselves. */
void _trim_cl_prop(int32_t, void *, int32_t *)
{
    if (sub_edt_set_is("enc-algorithm"))
        cnd_del(sub[4]);
}
