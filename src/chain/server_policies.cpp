/*
 * Server policies, farms and health checks in the steps to 4.11, 4.20 and 4.30. Policies and farms are matched by
 * texts cut at 63 characters, as the tables of these steps hold them.
 */
#include "chain/server_policies.h"

#include "chain/blocks.h"
#include "chain/text_index.h"
#include "driver/run_context.h"
#include "platform/platform.h"
#include "tree/operations.h"
#include "tree/stack.h"
#include "tree/version_text.h"

#include <cstdio>
#include <cstring>

policy_pair _pinfo[MIGR_POLICY_ROWS];
int32_t     policy_change_count;
farm_server migr_pfarms_array[MIGR_FARM_ROWS];
int32_t     migr_pfarms_cnt;
char        migr_pfarms_name[64];
char        migr_pfarms_type[64];

namespace {

/* Rows that the two tables have no more room for, until the pass ends. */
stack<policy_pair> further_pairs;
stack<farm_server> further_servers;

/* Fills a field with as much of the text as it holds. */
template <size_t size> void keep(char (&field)[size], const char *text)
{
    size_t length = strnlen(text, sizeof field - 1);
    memcpy(field, text, length);
    field[length] = '\0';
}

/* A set that its value could not be had for stands without one. False when there is no set at all. */
bool push_new_set_leniently(config_node *edit, const char *name, const char *value)
{
    config_node *set = make_set_leniently(name, value);
    if (set)
        push_front(&edit->set_list, set);
    return set != nullptr;
}

/* The edit has sets already. */
void append_new_set(config_node *edit, const char *name, const char *value)
{
    insert_behind(last_set(edit), make_set_leniently(name, value));
}

/* 4.11 wants the cookie settings in the place of the third set, which only said what they say now. */
void add_session_and_cookie_sets(config_node *profile)
{
    config_node *first = profile->set_list;
    config_node *second = first ? first->next : nullptr;
    config_node *third = second ? second->next : nullptr;
    if (!third)
        return;
    unlink_at(&profile->set_list, &second->next);
    insert_behind(second, make_set_leniently("cookie-poison-action", "alert"));
    insert_behind(second, make_set_leniently("cookie-poison", "enable"));
    push_new_set_leniently(profile, "http-session-management", "enable");
}

void clear_rows()
{
    memset(_pinfo, 0, sizeof _pinfo);
    further_pairs.count = 0;
    policy_change_count = 0;
}

/* The row behind the last one, empty; null without memory. */
policy_pair *empty_row()
{
    if (policy_change_count < MIGR_POLICY_ROWS)
        return &_pinfo[policy_change_count];
    return push_record(&further_pairs, policy_pair{}) == 0 ? top_record(&further_pairs) : nullptr;
}

/* A row that there is no memory for is left out. */
void add_row(const char *first, const char *second)
{
    policy_pair *row = *first != '\0' && *second != '\0' ? empty_row() : nullptr;
    if (!row)
        return;
    keep(row->first, first);
    keep(row->second, second);
    policy_change_count++;
}

const policy_pair *row_at(int32_t number)
{
    return number < MIGR_POLICY_ROWS ? &_pinfo[number] : &further_pairs.records[number - MIGR_POLICY_ROWS];
}

/* The value of the last set of that name; empty without one. */
const char *last_value(const config_node *edit, const char *name)
{
    const char *value = "";
    for (const config_node *set = edit->set_list; set; set = set->next)
        if (raw_name_is(set, name))
            value = value_of(set);
    return value;
}

/* The edits by their names. 0, or -1 without memory. */
int32_t index_edits(text_index<config_node> *index, config_node *edit)
{
    for (; edit; edit = edit->next)
        if (add_text(index, edit->name, edit) != 0)
            return -1;
    sort_texts(index);
    return 0;
}

/* The table's rows by their first texts. 0, or -1 without memory. */
int32_t index_rows(text_index<const policy_pair> *index)
{
    for (int32_t i = 0; i < policy_change_count; i++)
        if (add_text(index, row_at(i)->first, row_at(i)) != 0)
            return -1;
    sort_texts(index);
    return 0;
}

/* Takes every "vserver" behind the first set out, and gives the last one's value, or `vserver` when there is none. */
const char *take_vserver(config_node *policy, const char *vserver)
{
    config_node *set = policy->set_list;
    while (config_node *next = set->next) {
        if (raw_name_is(next, "vserver")) {
            vserver = value_of(next);
            unlink_at(&policy->set_list, &set->next);
        } else {
            set = next;
        }
    }
    return vserver;
}

void unlink_sets_with_value(config_node *edit, const char *name)
{
    for (config_node **link = &edit->set_list; *link;) {
        if (raw_name_is(*link, name) && (*link)->value)
            unlink_at(&edit->set_list, link);
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

void release_further_rows(void)
{
    free_stack(&further_pairs);
    free_stack(&further_servers);
    if (policy_change_count > MIGR_POLICY_ROWS)
        policy_change_count = MIGR_POLICY_ROWS;
}

/* ---- 4.11 ---- */

/*
 * 4.10 to 4.11: sessions and poisoned cookies became settings of the protection profiles, and the predefined ones got
 * them switched on. Of the inline profiles only the two stricter ones are predefined; the offline table gets the
 * session setting in every entry, whatever its name.
 */
void migr_predefine_change(void)
{
    for (config_node *profile = edits_of(_migr_find_node("waf,web-protection-profile,inline-protection")); profile;
         profile = profile->next)
        if (raw_name_is(profile, "\"Inline High Level Security\"") ||
            raw_name_is(profile, "\"Inline Medium Level Security\""))
            add_session_and_cookie_sets(profile);
    for (config_node *profile = edits_of(_migr_find_node("waf,web-protection-profile,offline-protection")); profile;
         profile = profile->next)
        push_new_set_leniently(profile, "http-session-management", "enable");
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

/* A farm without its mode is lost, like those that no policy names. */
static void give_mode(config_node *farm, const char *mode, config_node *farms)
{
    if (push_new_set_leniently(farm, "type", strcmp(mode, "content-routing") == 0 ? "xml-content-routing" : mode))
        push_front(&farms->edit_list, farm);
}

/* A farm that no policy names has no mode, so it cannot be kept. Those that stay end up in the reverse order of the
 * policies, and the first policy of a farm decides. */
void migr_change_pservers(void)
{
    config_node            *farms = policy_change_count > 0 ? _migr_find_node("server-policy,pservers") : nullptr;
    text_index<config_node> waiting = {};
    if (farms && index_edits(&waiting, farms->edit_list) == 0) {
        drop_list(&farms->edit_list);
        for (int32_t i = 0; i < policy_change_count; i++)
            if (config_node *farm = take_next(&waiting, row_at(i)->second))
                give_mode(farm, row_at(i)->first, farms);
    }
    free_index(&waiting);
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
static void replace_vservers(config_node *policy, const text_index<const policy_pair> *vservers)
{
    const char *vserver = "";
    char        port[32] = "";
    for (; policy; policy = policy->next) {
        const config_node *last = last_set(policy);
        if (!last || (last != policy->set_list && raw_name_is(last, "vserver")))
            continue;
        vserver = take_vserver(policy, vserver);
        if (const auto *found = find_text(vservers, vserver))
            keep(port, found->value->second);
        append_new_set(policy, "data-capture-port", port);
    }
}

void migr_change_policy_port(void)
{
    text_index<const policy_pair> vservers = {};
    if (policy_change_count > 0 && index_rows(&vservers) == 0)
        replace_vservers(edits_of(_migr_find_node("server-policy,policy")), &vservers);
    free_index(&vservers);
}

/* ---- 4.20 ---- */

/*
 * 4.11 to 4.20: a server that stands in two farms was to be found, but the release was shipped without anything to be
 * done about it: the rows are gathered, no row is compared, and the tree stays.
 */
void migr_check_server_farms(void)
{
    memset(migr_pfarms_array, 0, sizeof migr_pfarms_array);
    further_servers.count = 0;
    for (const config_node *farm = edits_of(walk_to("server-policy,pservers")); farm; farm = farm->next) {
        const config_node *entry = entries_of(farm);
        if (!entry)
            continue;
        if (farm->set_list && raw_name_begins(farm->set_list, "type"))
            keep(migr_pfarms_type, value_of(farm->set_list));
        keep(migr_pfarms_name, farm->name);
        for (; entry; entry = entry->next)
            migr_pservers_farm_check(entry);
    }
}

void migr_pservers_farm_check(const config_node *entry)
{
    farm_server row = {};
    memcpy(row.farm, migr_pfarms_name, sizeof row.farm);
    memcpy(row.type, migr_pfarms_type, sizeof row.type);
    for (const config_node *set = entry->set_list; set; set = set->next) {
        if (raw_name_begins(set, "pserver"))
            keep(row.server, value_of(set));
        if (raw_name_begins(set, "port"))
            keep(row.port, value_of(set));
    }
    if (migr_pfarms_cnt < MIGR_FARM_ROWS)
        migr_pfarms_array[migr_pfarms_cnt] = row;
    else if (push_record(&further_servers, row) != 0)
        return;
    migr_pfarms_cnt++;
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
        append_new_set(check, "type", "ping");
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

/* A policy with "ssl-client" served its one service over TLS: it becomes the "https-service". */
static void make_https_service(config_node *ssl_client, config_node *service)
{
    if (set_node_value(ssl_client, value_of(service)) != 0)
        return;
    set_node_name(ssl_client, "https-service");
    mark_deleted(service);
}

void migr_check_one_policy(config_node *policy, int32_t limited)
{
    static constexpr int32_t limit = 8000;
    config_node             *service = nullptr;
    for (config_node *set = policy->set_list; set; set = set->next)
        if (raw_name_is(set, "service"))
            service = set;
    for (config_node *set = policy->set_list; set; set = set->next) {
        if (service && raw_name_is(set, "ssl-client")) {
            if (raw_value_is(set, "enable"))
                make_https_service(set, service);
            else
                mark_deleted(set);
        } else if (limited && raw_name_is(set, "persistent-server-sessions") && number_of(set->value) > limit) {
            set_number(set, limit);
        }
    }
}

void migr_check_one_policy_session(config_node *policy)
{
    bool found = false;
    for (config_node *set = policy->set_list; set; set = set->next) {
        if (!raw_name_begins(set, "persistent-server-sessions"))
            continue;
        found = true;
        int32_t most = __vm_get_max_policy_session();
        if (set->value && number_of(set->value) > most)
            set_number(set, most);
    }
    if (!found && policy->set_list)
        append_new_set(policy, "persistent-server-sessions", "1000");
}

/* ---- 4.30 ---- */

/*
 * 4.20 to 4.30: the HTTP conversion is gone, and with it its policies and what referred to them. A block that stands
 * first in the file stays: old files have the system's settings there.
 */
void migr_serverpolicy_httpconversionpolicy(void)
{
    config_node *node = migr_main.root.top_list;
    while (node && node->next) {
        if (raw_name_is(node->next, "server-policy,http-conversion-policy"))
            unlink_at(&migr_main.root.top_list, &node->next);
        else
            node = node->next;
    }
}

/* 4.20 to 4.30: the HTTP conversion is gone, so farms name no policy for it. */
void migr_serverpolicy_pservers(void)
{
    for (config_node *farm = edits_of(walk_to("server-policy,pservers")); farm; farm = farm->next)
        migr_one_peservers_check(farm);
}

void migr_one_peservers_check(config_node *farm)
{
    unlink_sets_with_value(farm, "http-conversion-policy");
}

/* 4.20 to 4.30: the HTTP conversion is gone, so profiles have no setting for it. */
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
