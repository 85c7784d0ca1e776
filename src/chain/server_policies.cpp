#include "chain/server_policies.h"

#include "chain/blocks.h"
#include "driver/migr.h"
#include "platform/platform.h"
#include "tree/config_text.h"
#include "tree/operations.h"
#include "tree/version_text.h"

#include <cstdio>
#include <cstring>

policy_pair _pinfo[MIGR_POLICY_ROWS];
int32_t     policy_change_count;
farm_server migr_pfarms_array[MIGR_FARM_ROWS];
int32_t     migr_pfarms_cnt;
char        migr_pfarms_name[64];
char        migr_pfarms_type[64];
int32_t     qb01a;

namespace {

/* Fills a table's field with as much of the text as it holds. */
void keep(char (&field)[64], const char *text)
{
    size_t length = strnlen(text, sizeof field - 1);
    memcpy(field, text, length);
    field[length] = '\0';
}

bool push_set(config_node *edit, const char *name, const char *value)
{
    config_node *set = make_set(name, value);
    if (set)
        push_front(&edit->set_list, set);
    return set != nullptr;
}

/* The edit has sets already. */
void append_set(config_node *edit, const char *name, const char *value)
{
    insert_behind(last_set(edit), make_set(name, value));
}

/* 4.11 wants the cookie settings in the place of the third set, which only said what they say now. */
void add_session_and_cookie_sets(config_node *profile)
{
    config_node *first = profile->set_list;
    config_node *second = first ? first->next : nullptr;
    config_node *third = second ? second->next : nullptr;
    if (!third)
        return;
    second->next = third->next;
    insert_behind(second, make_set("cookie-poison-action", "alert"));
    insert_behind(second, make_set("cookie-poison", "enable"));
    push_set(profile, "http-session-management", "enable");
}

void clear_rows()
{
    memset(_pinfo, 0, sizeof _pinfo);
    policy_change_count = 0;
}

void add_row(const char *first, const char *second)
{
    if (*first == '\0' || *second == '\0' || policy_change_count == MIGR_POLICY_ROWS)
        return;
    policy_pair *row = &_pinfo[policy_change_count++];
    keep(row->first, first);
    keep(row->second, second);
}

/* The value of the last set of that name; empty without one. */
const char *last_value(const config_node *edit, const char *name)
{
    const char *value = "";
    for (const config_node *set = edit->set_list; set; set = set->next)
        if (named(set, name))
            value = value_of(set);
    return value;
}

config_node *find_edit(config_node *edit, const char *name)
{
    while (edit && strcmp(edit->name, name) != 0)
        edit = edit->next;
    return edit;
}

/* The interface of a vserver, or null. */
const char *interface_of(const char *vserver)
{
    for (int32_t i = 0; i < policy_change_count; i++)
        if (strcmp(_pinfo[i].first, vserver) == 0)
            return _pinfo[i].second;
    return nullptr;
}

/* Takes every "vserver" behind the first set out, and gives the last one's value, or `vserver` when there is none. */
const char *take_vserver(config_node *policy, const char *vserver)
{
    config_node *set = policy->set_list;
    while (config_node *next = set->next) {
        if (named(next, "vserver")) {
            vserver = value_of(next);
            set->next = next->next;
        } else {
            set = next;
        }
    }
    return vserver;
}

void unlink_sets_with_value(config_node *edit, const char *name)
{
    for (config_node **link = &edit->set_list; *link;) {
        if (named(*link, name) && (*link)->value)
            *link = (*link)->next;
        else
            link = &(*link)->next;
    }
}

void set_number(config_node *set, int32_t number)
{
    char text[12];
    snprintf(text, sizeof text, "%d", number);
    set_node_value(set, text);
}

} // namespace

/*
 * 4.10 to 4.11: sessions and poisoned cookies became settings of the protection profiles, and the predefined ones got
 * them switched on. Of the inline profiles only the two stricter ones are predefined; the offline table gets the
 * session setting in every entry, whatever its name.
 */
void migr_predefine_change(void)
{
    for (config_node *profile = edits_of(_migr_find_node("waf,web-protection-profile,inline-protection")); profile;
         profile = profile->next)
        if (named(profile, "\"Inline High Level Security\"") || named(profile, "\"Inline Medium Level Security\""))
            add_session_and_cookie_sets(profile);
    for (config_node *profile = edits_of(_migr_find_node("waf,web-protection-profile,offline-protection")); profile;
         profile = profile->next)
        push_set(profile, "http-session-management", "enable");
}

/*
 * 4.10 to 4.11: a policy said how its servers are reached; now their farm says it, as its "type".
 */
void migr_policy_process(void)
{
    clear_rows();
    for (const config_node *policy = edits_of(_migr_find_node("server-policy,policy")); policy; policy = policy->next)
        add_row(last_value(policy, "deployment-mode"), last_value(policy, "pservers"));
    migr_change_pservers();
}

/* A farm that no policy names has no mode, so it cannot be kept. Those that stay end up in the reverse order of the
 * policies, and the first policy of a farm decides. */
void migr_change_pservers(void)
{
    config_node *farms = policy_change_count > 0 ? _migr_find_node("server-policy,pservers") : nullptr;
    if (!farms)
        return;
    config_node *waiting = farms->edit_list;
    farms->edit_list = nullptr;
    for (int32_t i = 0; i < policy_change_count; i++) {
        const char  *mode = _pinfo[i].first;
        config_node *farm = find_edit(waiting, _pinfo[i].second);
        if (!farm || !push_set(farm, "type", strcmp(mode, "content-routing") == 0 ? "xml-content-routing" : mode))
            continue;
        unlink_node(&waiting, farm);
        push_front(&farms->edit_list, farm);
    }
}

/*
 * 4.10 to 4.11: an offline appliance has no use for a vserver; its policies name the port that they listen on.
 */
void migr_policy_offline(void)
{
    char mode[32] = "";
    if (!get_cvw_opmode(mode) || strncmp(mode, "offline", strlen("offline")) != 0)
        return;
    migr_get_vsport_list();
    migr_change_policy_port();
}

void migr_get_vsport_list(void)
{
    clear_rows();
    for (const config_node *vserver = edits_of(_migr_find_node("server-policy,vserver")); vserver;
         vserver = vserver->next)
        add_row(vserver->name, last_value(vserver, "interface"));
}

/* A policy without a vserver, or with one that has no interface, listens where the policy ahead of it does: old files
 * depend on it. A policy that ends in its vserver has no place for the port and stays as it is. */
void migr_change_policy_port(void)
{
    if (policy_change_count == 0)
        return;
    const char *vserver = "";
    char        port[32] = "";
    for (config_node *policy = edits_of(_migr_find_node("server-policy,policy")); policy; policy = policy->next) {
        const config_node *last = last_set(policy);
        if (!last || (last != policy->set_list && named(last, "vserver")))
            continue;
        vserver = take_vserver(policy, vserver);
        if (const char *interface = interface_of(vserver))
            snprintf(port, sizeof port, "%s", interface);
        append_set(policy, "data-capture-port", port);
    }
}

/*
 * 4.11 to 4.20: looked through the farms for servers that stand in two of them. The release was shipped without
 * anything to be done about such a server, so the rows are gathered, no row is compared, and the tree stays.
 */
void migr_check_server_farms(void)
{
    memset(migr_pfarms_array, 0, sizeof migr_pfarms_array);
    for (const config_node *farm = edits_of(walk_to("server-policy,pservers")); farm; farm = farm->next) {
        const config_node *entry = entries_of(farm);
        if (!entry)
            continue;
        if (farm->set_list && name_begins(farm->set_list, "type"))
            keep(migr_pfarms_type, value_of(farm->set_list));
        keep(migr_pfarms_name, farm->name);
        for (; entry; entry = entry->next)
            migr_pservers_farm_check(entry);
    }
}

void migr_pservers_farm_check(const config_node *entry)
{
    if (migr_pfarms_cnt == MIGR_FARM_ROWS)
        return;
    farm_server *row = &migr_pfarms_array[migr_pfarms_cnt++];
    memcpy(row->farm, migr_pfarms_name, sizeof row->farm);
    memcpy(row->type, migr_pfarms_type, sizeof row->type);
    for (const config_node *set = entry->set_list; set; set = set->next) {
        if (name_begins(set, "pserver"))
            keep(row->server, value_of(set));
        if (name_begins(set, "port"))
            keep(row->port, value_of(set));
    }
}

/*
 * 4.11 to 4.20: a health check says of which type it is. Until then only a ping could do without the sets that
 * describe a request, so a short one is a ping.
 */
void migr_health_check(void)
{
    for (config_node *check = edits_of(walk_to("server-policy,health")); check; check = check->next)
        migr_check_one_health_check(check);
}

void migr_check_one_health_check(config_node *check)
{
    static constexpr int32_t sets_of_a_request = 4;
    int32_t                  sets = 0;
    for (const config_node *set = check->set_list; set; set = set->next)
        sets++;
    if (sets > 0 && sets < sets_of_a_request)
        append_set(check, "type", "ping");
}

/*
 * 4.11 to 4.20: HTTPS became a service of its own beside the plain one, and persistent sessions became a setting that
 * each policy must have, within what the machine can hold.
 */
void migr_policy(void)
{
    for (config_node *policy = edits_of(walk_to("server-policy,policy")); policy; policy = policy->next) {
        migr_check_one_policy(policy, qb01a);
        migr_check_one_policy_session(policy);
    }
}

/* A policy with "ssl-client" served its one service over TLS: it becomes the "https-service". Service names of that
 * release have at most 7 characters. */
static void make_https_service(config_node *ssl_client, config_node *service)
{
    char name[8];
    snprintf(name, sizeof name, "%s", value_of(service));
    if (set_node_value(ssl_client, name) != 0)
        return;
    set_node_name(ssl_client, "https-service");
    service->deleted = 1;
}

void migr_check_one_policy(config_node *policy, int32_t limited)
{
    static constexpr int32_t limit = 8000;
    config_node             *service = nullptr;
    for (config_node *set = policy->set_list; set; set = set->next)
        if (named(set, "service"))
            service = set;
    for (config_node *set = policy->set_list; set; set = set->next) {
        if (service && named(set, "ssl-client")) {
            if (value_is(set, "enable"))
                make_https_service(set, service);
            else
                set->deleted = 1;
        } else if (limited && named(set, "persistent-server-sessions") && number_of(set->value) > limit) {
            set_number(set, limit);
        }
    }
}

void migr_check_one_policy_session(config_node *policy)
{
    bool found = false;
    for (config_node *set = policy->set_list; set; set = set->next) {
        if (!name_begins(set, "persistent-server-sessions"))
            continue;
        found = true;
        int32_t most = __vm_get_max_policy_session();
        if (set->value && number_of(set->value) > most)
            set_number(set, most);
    }
    if (!found && policy->set_list)
        append_set(policy, "persistent-server-sessions", "1000");
}

/*
 * 4.20 to 4.30: the HTTP conversion is gone, and with it its policies and what referred to them. A block that stands
 * first in the file stays: old files have the system's settings there.
 */
void migr_serverpolicy_httpconversionpolicy(void)
{
    config_node *node = migr_main.root.top_list;
    while (node && node->next) {
        if (named(node->next, "server-policy,http-conversion-policy"))
            node->next = node->next->next;
        else
            node = node->next;
    }
}

void migr_serverpolicy_pservers(void)
{
    for (config_node *farm = edits_of(walk_to("server-policy,pservers")); farm; farm = farm->next)
        migr_one_peservers_check(farm);
}

void migr_one_peservers_check(config_node *farm)
{
    unlink_sets_with_value(farm, "http-conversion-policy");
}

void migr_wafwebprotectionprofile_inlineprotection(void)
{
    for (config_node *profile = edits_of(walk_to("waf,web-protection-profile,inline-protection")); profile;
         profile = profile->next)
        migr_one_wafwebprotectionprofile_inlineprotection_check(profile);
}

void migr_one_wafwebprotectionprofile_inlineprotection_check(config_node *profile)
{
    unlink_sets_with_value(profile, "http-conversion");
}
