/*
 * The step to 4.11 makes the new log configuration out of the old blocks' own records, in place. Whoever comes
 * behind must not expect the old names, nor a set that none of the new blocks has a place for.
 */
#include "chain/log_model.h"

#include "chain/blocks.h"
#include "driver/run_context.h"
#include "tree/node_store.h"
#include "tree/operations.h"

#include <cstddef>

namespace {

/* Old blocks as they become new ones; null until then. */
struct log_blocks {
    config_node *disk;         /* "log,disk" */
    config_node *traffic;      /* "log,traffic-log" */
    config_node *attack;       /* "log,attack-log" */
    config_node *event;        /* "log,event-log", once it has a status */
    config_node *syslogd;      /* "log,syslogd" */
    config_node *syslog_entry; /* the entry of "log,syslog-policy" */
    config_node *mail_system;  /* "system,alertemail", in the end "log,alertemail" */
    config_node *mail_setting; /* "alertemail,setting", in the end "log,email-policy" */
};

/* Sets on their way to the entry of the mail policy, in the order in which they get there. */
struct mail_sets {
    config_node *sets[17];
    size_t       count;
};

config_node *take(config_node *block, const char *name)
{
    return migr_get_childnode(block, name, MIGR_SET);
}

void rename_to(config_node *node, const char *name)
{
    if (node)
        set_node_name(node, name);
}

/* A set that is not there, or has no block to go to, is passed over; the latter is lost. */
void push(config_node *set, config_node *block)
{
    if (set && block)
        push_front(&block->set_list, set);
}

/* The block goes on under a new name, with this one set (null: none). What else it had is dropped. */
config_node *reuse(config_node *block, const char *name, config_node *set)
{
    set_node_name(block, name);
    drop_list(&block->set_list);
    adopt_list(&block->set_list, set);
    return block;
}

/* Where one old block becomes two: a second one behind it, with these sets. What else the old one holds hangs below
 * both from then on, so that a rule of the release which changes it in one changes it in the other: old update files
 * rely on it. Null without memory. */
config_node *split_off(config_node *block, const char *name, config_node *sets)
{
    config_node *copy = copy_record(block);
    if (!copy)
        return nullptr;
    adopt_list(&copy->edit_list, block->edit_list);
    adopt_list(&copy->config_list, block->config_list);
    leave_nodes_to_pass();
    insert_behind(block, copy);
    return reuse(copy, name, sets);
}

/* A policy's one entry says its name in its value and none in front of it: old files depend on the second blank. */
config_node *add_policy_entry(config_node *policy, const char *quoted_name)
{
    config_node *entry = make_node(MIGR_EDIT, "", nullptr);
    if (!entry)
        return nullptr;
    set_node_value(entry, quoted_name);
    drop_list(&policy->edit_list);
    push_front(&policy->edit_list, entry);
    return entry;
}

void convert_memory_setting()
{
    config_node *setting = _migr_find_node("log,memory,setting");
    if (!setting)
        return;
    set_node_name(setting, "log,memory");
    take(setting, "diskfull");
}

void move_memory_severity()
{
    config_node *severity = take(_migr_find_node("log,memory,filter"), "severity");
    if (severity)
        migr_move_node(severity, _migr_find_node("log,memory"), MIGR_SET, nullptr);
}

/* Whatever a memory filter names first is taken for its events. A filter with nothing left keeps the new name, but
 * counts for no event log: the disk's events then get a block of their own beside it. */
void convert_memory_filter(log_blocks *blocks)
{
    config_node *filter = _migr_find_node("log,memory,filter");
    if (!filter)
        return;
    set_node_name(filter, "log,event-log");
    if (!filter->set_list)
        return;
    set_node_name(filter->set_list, "status");
    blocks->event = filter;
}

void convert_disk_setting(log_blocks *blocks)
{
    config_node *setting = _migr_find_node("log,disk,setting");
    if (!setting)
        return;
    config_node *status = take(setting, "status");
    config_node *size = take(setting, "max-log-file-size");
    config_node *diskfull = take(setting, "diskfull");
    blocks->disk = reuse(setting, "log,disk", nullptr);
    push(status, setting);
    push(size, setting);
    push(diskfull, setting);
}

void place_disk_severity(log_blocks *blocks, config_node *filter, config_node *severity)
{
    if (!severity)
        return;
    if (blocks->disk)
        push(severity, blocks->disk);
    else
        blocks->disk = split_off(filter, "log,disk", severity);
}

void place_traffic(log_blocks *blocks, config_node *filter, config_node *traffic)
{
    if (!traffic)
        return;
    set_node_name(traffic, "status");
    blocks->traffic = reuse(filter, "log,traffic-log", traffic);
}

void place_attack(log_blocks *blocks, config_node *filter, config_node *attack)
{
    if (!attack)
        return;
    set_node_name(attack, "status");
    blocks->attack =
        blocks->traffic ? split_off(filter, "log,attack-log", attack) : reuse(filter, "log,attack-log", attack);
}

/* The memory's word on events goes ahead of the disk's. */
void place_disk_events(log_blocks *blocks, config_node *filter, config_node *event)
{
    if (!event || blocks->event)
        return;
    set_node_name(event, "status");
    blocks->event = split_off(filter, "log,event-log", event);
}

/* Traffic and attack alike want to become the filter's heir; the first of them does, and the others are split off. */
void convert_disk_filter(log_blocks *blocks)
{
    config_node *filter = _migr_find_node("log,disk,filter");
    if (!filter)
        return;
    config_node *severity = take(filter, "severity");
    config_node *traffic = take(filter, "traffic");
    config_node *attack = take(filter, "attack");
    config_node *event = take(filter, "event");
    place_disk_severity(blocks, filter, severity);
    place_traffic(blocks, filter, traffic);
    place_attack(blocks, filter, attack);
    place_disk_events(blocks, filter, event);
}

void place_attack_packets(log_blocks *blocks, config_node *sensitivity, config_node *packets)
{
    if (!packets)
        return;
    if (!blocks->attack) {
        set_node_name(sensitivity, "log,attack-log");
        blocks->attack = sensitivity;
    }
    push(packets, blocks->attack);
}

void place_traffic_packets(log_blocks *blocks, config_node *sensitivity, config_node *packets)
{
    if (!packets)
        return;
    if (!blocks->traffic && blocks->attack == sensitivity) {
        blocks->traffic = split_off(sensitivity, "log,traffic-log", packets);
        return;
    }
    if (!blocks->traffic) {
        set_node_name(sensitivity, "log,traffic-log");
        blocks->traffic = sensitivity;
    }
    push(packets, blocks->traffic);
}

/* Whether packets are logged became a matter of each log. */
void convert_sensitivity(log_blocks *blocks)
{
    config_node *sensitivity = _migr_find_node("log,sensitivity");
    config_node *attack_packets = take(sensitivity, "type");
    config_node *traffic_packets = take(sensitivity, "enable-traffic-packet-log");
    rename_to(attack_packets, "packet-log");
    rename_to(traffic_packets, "packet-log");
    place_attack_packets(blocks, sensitivity, attack_packets);
    place_traffic_packets(blocks, sensitivity, traffic_packets);
}

void convert_syslog_filter(log_blocks *blocks)
{
    if (config_node *filter = _migr_find_node("log,syslogd,filter"))
        blocks->syslogd = reuse(filter, "log,syslogd", take(filter, "severity"));
}

void place_facility(log_blocks *blocks, config_node *setting, config_node *facility)
{
    if (!facility)
        return;
    if (blocks->syslogd)
        push(facility, blocks->syslogd);
    else
        blocks->syslogd = split_off(setting, "log,syslogd", facility);
}

/* Sending to a server became a matter of policies, and a server that is in use gets one. */
void enable_syslog(log_blocks *blocks, config_node *setting, config_node *status)
{
    if (config_node *policy = split_off(setting, "log,syslog-policy", nullptr)) {
        drop_list(&policy->edit_list);
        blocks->syslog_entry = add_policy_entry(policy, "\"syslog-policy-1\"");
    }
    if (!blocks->syslogd)
        blocks->syslogd = split_off(setting, "log,syslogd", setting->set_list);
    push(status, blocks->syslogd);
}

/* A daemon that was off loses its server, and one that says neither loses it as well. */
void convert_syslog_setting(log_blocks *blocks)
{
    config_node *setting = _migr_find_node("log,syslogd,setting");
    if (!setting)
        return;
    config_node *facility = take(setting, "facility");
    config_node *status = take(setting, "status");
    config_node *server = take(setting, "server");
    config_node *port = take(setting, "port");
    config_node *csv = take(setting, "csv");
    place_facility(blocks, setting, facility);
    if (!status || !raw_value_is(status, "enable"))
        return;
    enable_syslog(blocks, setting, status);
    push(server, blocks->syslog_entry);
    push(port, blocks->syslog_entry);
    push(csv, blocks->syslog_entry);
    if (blocks->syslog_entry && blocks->syslogd)
        push(make_set_leniently("policy", blocks->syslog_entry->value), blocks->syslogd);
}

void carry(mail_sets *mail, config_node *set)
{
    if (set)
        mail->sets[mail->count++] = set;
}

/* False when the conversion ends here: without a server to send it to there is no mail. */
bool take_mail_server(log_blocks *blocks, mail_sets *mail)
{
    static constexpr struct {
        const char *name;
        const char *new_name;
    } renamed[] = {
        {"authenticate", "smtp-auth"},
        {"username", "smtp-username"},
        {"password", "smtp-password"},
    };
    config_node *system = blocks->mail_system = _migr_find_node("system,alertemail");
    if (!system)
        return true;
    config_node *server = take(system, "server");
    if (!server || *value_of(server) == '\0')
        return false;
    set_node_name(server, "smtp-server");
    carry(mail, server);
    for (const auto &row : renamed) {
        config_node *set = take(system, row.name);
        rename_to(set, row.new_name);
        carry(mail, set);
    }
    return true;
}

/* False when the conversion ends here. What has been taken by then stays out. */
bool take_mail_setting(log_blocks *blocks, mail_sets *mail)
{
    static constexpr struct {
        const char *name;
        bool        required;
    } kept[] = {
        {"mailto1", false},
        {"mailto2", false},
        {"mailto3", false},
        {"emergency-interval", true},
        {"alert-interval", false},
        {"critical-interval", false},
        {"error-interval", false},
        {"warning-interval", false},
        {"notification-interval", true},
        {"information-interval", false},
        {"debug-interval", false},
    };
    config_node *setting = blocks->mail_setting = _migr_find_node("alertemail,setting");
    if (!setting)
        return true;
    config_node *sender = take(setting, "username");
    if (!sender)
        return false;
    set_node_name(sender, "mailfrom");
    carry(mail, sender);
    for (const auto &row : kept) {
        config_node *set = take(setting, row.name);
        if (!set && row.required)
            return false;
        carry(mail, set);
    }
    return true;
}

/* The policy is named whether or not there is a setting to make it from: old files depend on it. */
void convert_mail_system(const log_blocks *blocks)
{
    if (!blocks->mail_system)
        return;
    config_node *policy = make_set_leniently("email-policy", "\"email-policy-1\"");
    config_node *status = make_set_leniently("status", "enable");
    reuse(blocks->mail_system, "log,alertemail", nullptr);
    push(policy, blocks->mail_system);
    push(status, blocks->mail_system);
}

/* The interval of warnings never came through: it lands in a list of the entry that is not written, and files of 4.11
 * have no such interval. To whoever is told of changes it is gone. */
void place_mail_set(config_node *entry, config_node *set)
{
    if (!raw_name_is(set, "warning-interval")) {
        push(set, entry);
        return;
    }
    set->next = entry->set_list;
    entry->edit_list = set;
}

void convert_mail_setting(const log_blocks *blocks, const mail_sets *mail)
{
    if (!blocks->mail_setting)
        return;
    set_node_name(blocks->mail_setting, "log,email-policy");
    config_node *entry = add_policy_entry(blocks->mail_setting, "\"email-policy-1\"");
    for (size_t i = 0; entry && i < mail->count; i++)
        place_mail_set(entry, mail->sets[i]);
}

bool stands_behind(const config_node *node, const config_node *other)
{
    while (other && other != node)
        other = other->next;
    return other == node;
}

/* A policy must stand ahead of what names it. The old blocks were neighbours; what a file has between them drops out,
 * and blocks that stand the other way round already are where they belong. */
void put_policy_first(const log_blocks *blocks)
{
    config_node *first = blocks->mail_system;
    config_node *second = blocks->mail_setting;
    if (!first || !second || !stands_behind(second, first))
        return;
    while (first->next != second)
        unlink_at(&migr_main.root.top_list, &first->next);
    exchange_nodes(first, second);
}

void convert_alert_mail(log_blocks *blocks)
{
    mail_sets mail = {};
    if (!take_mail_server(blocks, &mail) || !take_mail_setting(blocks, &mail))
        return;
    carry(&mail, take(_migr_find_node("alertemail,filter"), "severity"));
    convert_mail_system(blocks);
    convert_mail_setting(blocks, &mail);
    put_policy_first(blocks);
}

} // namespace

/* ---- 4.11 ---- */

/*
 * 4.10 to 4.11: a destination (memory, disk, syslog daemon) had a setting and a filter, and alert mail had a pair of
 * blocks of its own; now each destination is one block, what is logged is a block per kind of log, and servers are
 * named in policies. Old blocks become the new ones where they can, so the new ones stand where the old ones stood;
 * what they have left stays under the old name for the update rules of the release.
 */
void migr_log_process(void)
{
    log_blocks blocks = {};
    convert_memory_setting();
    move_memory_severity();
    convert_memory_filter(&blocks);
    convert_disk_setting(&blocks);
    convert_disk_filter(&blocks);
    convert_sensitivity(&blocks);
    convert_syslog_filter(&blocks);
    convert_syslog_setting(&blocks);
    convert_alert_mail(&blocks);
}
