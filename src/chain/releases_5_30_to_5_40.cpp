/*
 * The last steps of the chain, from 5.30 to 5.40. Each migration looks at the first block of a name only, and none
 * says why a file was left as it is.
 */
#include "chain/releases_5_30_to_5_40.h"

#include "chain/blocks.h"
#include "chain/word_filters.h"
#include "driver/run_context.h"
#include "tree/operations.h"
#include "tree/version_text.h"

#include <cstdio>
#include <cstring>

/* ---- 5.30 ---- */

/* The dashboard lost the entry for the service's status. */
int32_t migr_del_servicestatus_item(void)
{
    config_node *admins = walk_to("system,admin");
    if (!admins)
        return -1;
    for (config_node *edit = admins->edit_list; edit; edit = edit->next) {
        config_node *item = entries_of(edit);
        while (item && !raw_name_is(item, "servicestatus") && !raw_name_is(item, "\"servicestatus\""))
            item = item->next;
        cfg_del_conf(item, edit->config_list);
    }
    return 0;
}

/* Events are logged from the first one on, so there is no threshold. */
int32_t migr_del_threshold_prop(void)
{
    config_node *block = walk_to("log,event-log");
    if (block)
        delete_where(&block->set_list, block, [](const config_node *set) { return raw_name_is(set, "threshold"); });
    return 0;
}

/* A domain verifies without OCSP from 5.30 on. The global file keeps its setting: its certificates have left it. */
int32_t migr_del_ocsp_prop(void)
{
    if (migr_main.mode != MIGR_GLOBAL)
        del_first_set_in_edits("system,certificate,verify", "ocsp");
    return 0;
}

/* Known robots are not logged by packet any more. */
int32_t migr_del_allow_robot_prop_in_attack_log(void)
{
    filter_attack_packet_log(del_allow_robot_prop);
    return 0;
}

/* ---- 5.32 ---- */

/*
 * An e-mail policy had an interval for each severity; from 5.32 on it has one, that of its severity. The severity's
 * name is carried from entry to entry, so one without a severity goes by the one ahead of it, and a severity behind its
 * interval comes too late: the interval is then lost, as it always was.
 */
int32_t migr_change_emailpl_interval_value(void)
{
    char interval[64] = "";
    for (config_node *edit = edits_of(walk_to("log,email-policy")); edit; edit = edit->next)
        for (config_node **link = &edit->set_list; *link;) {
            config_node *set = *link;
            if (raw_name_is(set, "severity"))
                snprintf(interval, sizeof interval, "%s-interval", value_of(set));
            if (raw_name_is(set, interval))
                cfg_add_conf("interval", set->value, MIGR_SET, edit);
            if (*link != set) /* the new one stands ahead of the first */
                link = &(*link)->next;
            link = strstr(set->name, "-interval") ? delete_at(link, &edit->set_list, edit) : &set->next;
        }
    return 0;
}

/* ---- 5.33 ---- */

/* Puts a node directly ahead of one that stands in the list. */
static void insert_ahead(config_node **list, const config_node *place, config_node *node)
{
    while (*list != place)
        list = &(*list)->next;
    push_front(list, node);
}

/* From 5.33 on server names need a switch, and a policy that has a certificate for them has it on. */
int32_t migr_add_sni_enable_conf(void)
{
    for (config_node *edit = edits_of(walk_to("server-policy,policy")); edit; edit = edit->next) {
        const config_node *certificate = first_set(edit, "sni-certificate");
        if (!certificate)
            continue;
        config_node *enable = make_config_node("sni", "enable", MIGR_SET);
        if (!enable) {
            printf("make config node err!");
            return -1;
        }
        insert_ahead(&edit->set_list, certificate, enable);
    }
    return 0;
}

/* A dashboard's entry is its column and its status; the rest was the old dashboard's. */
int32_t migr_del_child_table_hashboard_prop(void)
{
    for (config_node *admin = edits_of(walk_to("system,admin")); admin; admin = admin->next)
        for (config_node *entry = edits_of(first_named(admin->config_list, "dashboard")); entry; entry = entry->next)
            delete_where(&entry->set_list, entry, [](const config_node *set) {
                return !raw_name_is(set, "column") && !raw_name_is(set, "status");
            });
    return 0;
}

/* ---- 5.35 ---- */

/* Moves a health check's sets to the entry, which reverses them; only its trigger stays. */
static void move_health_sets(config_node *check, config_node *entry)
{
    for (config_node **link = &check->set_list; *link;) {
        config_node *set = *link;
        if (raw_name_is(set, "trigger-policy")) {
            link = &set->next;
            continue;
        }
        if (raw_name_is(set, "regular"))
            set_node_name(set, "match-content");
        /* By the value's own length: an empty one is a "ping" too. */
        if (raw_name_is(set, "type") && set->value && strncmp(set->value, "ping", strlen(set->value)) == 0)
            set_node_value(set, "icmp");
        push_front(&entry->set_list, unlink_at(&check->set_list, link));
    }
}

/* A new entry "1" in a new nested config of that name, which it gives; null without memory. */
static config_node *add_table(config_node *edit, const char *name)
{
    config_node *before = edit->config_list;
    cfg_add_conf(name, nullptr, MIGR_CONFIG, edit);
    return edit->config_list != before ? edit->config_list : nullptr;
}

static config_node *add_first_entry(config_node *table)
{
    cfg_add_conf("1", nullptr, MIGR_EDIT, table);
    return table->edit_list;
}

/* A health check became a list of checks, and a list's entry names its type first. */
int32_t migr_mv_health_check_child_table(void)
{
    for (config_node *check = edits_of(walk_to("server-policy,health")); check; check = check->next) {
        config_node *table = add_table(check, "health-list");
        config_node *entry = table ? add_first_entry(table) : nullptr;
        if (!entry)
            continue;
        move_health_sets(check, entry);
        config_node *type = first_set(entry, "type");
        config_node *copy = type ? copy_record(type) : nullptr;
        if (!copy)
            continue;
        push_front(&entry->set_list, copy);
        cfg_del_conf(type, entry);
    }
    return 0;
}

/* ---- 5.36 ---- */

/* A zone's own address went to its interface. */
int32_t migr_del_vzone_ip(void)
{
    del_first_set_in_edits("system,v-zone", "ip");
    return 0;
}

/* A custom rule names main classes of signatures, and each is taken whole or not. */
int32_t migr_change_sig_name(void)
{
    for (config_node *rule = edits_of(walk_to("waf,custom-access,rule")); rule; rule = rule->next) {
        config_node *classes = first_named(rule->config_list, "signature-class");
        if (!classes)
            continue;
        set_node_name(classes, "main-class");
        for (config_node *entry = classes->edit_list; entry; entry = entry->next)
            for (config_node *set = entry->set_list; set; set = set->next)
                if (raw_name_is(set, "status"))
                    set_node_name(set, "select-all");
    }
    return 0;
}

/* Half-open connections are counted by larger steps from 5.36 on. */
int32_t migr_change_half_open_threshold(void)
{
    static constexpr int32_t least = 8192;
    for (config_node *edit = edits_of(walk_to("server-policy,policy")); edit; edit = edit->next) {
        config_node *threshold = first_set(edit, "half-open-threshold");
        if (threshold && number_of(threshold->value) < least)
            set_node_value(threshold, "8192");
    }
    return 0;
}

/* ---- 5.40 ---- */

/* Policy routes were tried in the order of the file; from 5.40 on they have priorities, counted by family. A route
 * without a gateway goes on with the family ahead of it, and the first one counts as IPv6. */
int32_t migr_add_router_policy_priority(void)
{
    static constexpr int32_t highest = 200;
    int32_t                  ipv4 = 0;
    int32_t                  ipv6 = 0;
    int32_t                  family = 0;
    for (config_node *route = edits_of(walk_to("router,policy")); route; route = route->next) {
        if (const config_node *gateway = first_set(route, "gateway"))
            family = strchr(value_of(gateway), ':') ? 6 : 4;
        int32_t *counter = family == 4 ? &ipv4 : &ipv6;
        if (*counter < highest)
            ++*counter;
        char priority[16];
        snprintf(priority, sizeof priority, "%d", *counter);
        cfg_add_conf("priority", priority, MIGR_SET, route);
    }
    return 0;
}

/* A syslog policy had one server; from 5.40 on it has a list of them. */
int32_t migr_change_sys_log_policy(void)
{
    for (config_node *policy = edits_of(walk_to("log,syslog-policy")); policy; policy = policy->next) {
        config_node *table = add_table(policy, "syslog-server-list");
        config_node *entry = table && policy->set_list ? add_first_entry(table) : nullptr;
        while (entry && policy->set_list) {
            config_node *set = policy->set_list;
            unlink_node(&policy->set_list, set);
            push_front(&entry->set_list, set);
        }
    }
    return 0;
}
