/*
 * The cluster (4.30), events, packet logs and advanced settings (4.40). Two of these never return from a file
 * without what they look for; that is said where it happens.
 */
#include "chain/system_settings.h"

#include "chain/blocks.h"
#include "driver/hooks.h"
#include "driver/run_context.h"
#include "tree/operations.h"

#include <cstdio>
#include <cstring>
#include <span>

namespace {

bool contains_one_of(const char *text, std::span<const char *const> words)
{
    for (const char *word : words)
        if (strstr(text, word))
            return true;
    return false;
}

/* Only the modes of a cluster are carried over; the modes of a lone appliance end the conversion of the names. */
void convert_cluster_mode(config_node *cluster)
{
    for (config_node *set = cluster->set_list; set; set = set->next) {
        if (raw_name_begins(set, "mode")) {
            if (!raw_value_begins(set, "master") && !raw_value_begins(set, "slave"))
                return;
            set_node_value(set, "active-passive");
        }
        if (raw_name_begins(set, "device-backup"))
            set_node_name(set, "hbdev-backup");
        else if (raw_name_begins(set, "device"))
            set_node_name(set, "hbdev");
    }
}

/* A set that stands first stays. */
void drop_last_gid(config_node *cluster)
{
    for (config_node *set = cluster->set_list; set && set->next; set = set->next)
        if (raw_name_begins(set->next, "lastgid")) {
            unlink_at(&cluster->set_list, &set->next);
            return;
        }
}

bool names_signature_attack(const config_node *set)
{
    static constexpr const char *events[] = {"waf-disclosure-attack", "waf-exploit-attack", "waf-sql-attack",
                                             "waf-xss-attack"};
    return raw_name_is(set, "events") && contains_one_of(value_of(set), events);
}

void add_signature_event(config_node *community)
{
    for (config_node *set = community->set_list; set; set = set->next)
        if (names_signature_attack(set)) {
            char events[1024];
            snprintf(events, sizeof events, "%s waf-signature-detection", set->value);
            set_node_value(set, events);
            return;
        }
}

/* Attack types that became one; the misspelling is the old release's. */
bool is_signature_attack(const char *word)
{
    static constexpr const char *attacks[] = {"xss-attack",
                                              "sql-injection",
                                              "common-exploits",
                                              "file-inclusion-detection",
                                              "local-file-inclusion-detection",
                                              "infomation-disclosure"};
    return contains_one_of(word, attacks);
}

constexpr size_t packet_log_room = 512; /* what of a list of attack types is looked at, with a NUL */

/* Copies the words that stay to `kept`, each with a blank behind it. How many were dropped. */
int32_t filter_attacks(char *words, char *kept)
{
    int32_t dropped = 0;
    char   *rest = nullptr;
    for (char *word = strtok_r(words, " ", &rest); word; word = strtok_r(nullptr, " ", &rest)) {
        if (is_signature_attack(word)) {
            dropped++;
            continue;
        }
        kept = stpcpy(stpcpy(kept, word), " ");
    }
    return dropped;
}

/* The set of that name and value, or null. */
config_node *find_set(const config_node *edit, const char *name, const char *value)
{
    for (config_node *set = edit->set_list; set; set = set->next)
        if (raw_name_is(set, name) && raw_value_is(set, value))
            return set;
    return nullptr;
}

void copy_share_ip(const config_node *global)
{
    if (const config_node *share_ip = first_set(global, "share-ip"))
        moved_to_advanced(share_ip->name, share_ip->value);
}

/* Every enabled policy that decodes URLs repeatedly adds the setting once more: old files depend on the doubles. */
void copy_url_decode(const config_node *policies)
{
    for (const config_node *policy = policies->edit_list; policy; policy = policy->next) {
        const config_node *decode = find_set(policy, "circulate-url-decode", "enable");
        if (decode && find_set(policy, "status", "enable"))
            moved_to_advanced(decode->name, decode->value);
    }
}

} // namespace

/* ---- 4.30 ---- */

/*
 * 4.20 to 4.30: a cluster of master and slave became one of an active and a passive appliance that agree by
 * themselves, and its links are called heartbeat devices. The last group number is no setting any more.
 */
void migr_system_hasyncd(void)
{
    config_node *cluster = walk_to("system,ha");
    if (!cluster)
        return;
    convert_cluster_mode(cluster);
    drop_last_gid(cluster);
}

/* ---- 4.40 ---- */

/*
 * 4.35 to 4.40: the attack types that are found by signatures are one event now. The old words stay beside it. An
 * upgrade never gets past a community without sets: so it has always been.
 */
int32_t migr_snmp_events(void)
{
    for (config_node *community = edits_of(walk_to("system,snmp,community")); community; community = community->next) {
        if (!community->set_list)
            migr_never_returns("migr_snmp_events");
        add_signature_event(community);
    }
    return 0;
}

/*
 * 4.35 to 4.40: the attack types that are found by signatures are one word in the list of what packets are logged for,
 * and here the old words go. Only the first 511 characters of the list are carried over.
 */
int32_t migr_mod_packet_log(void)
{
    config_node *log = walk_to("log,attack-log");
    config_node *packet_log = log ? first_set(log, "packet-log") : nullptr;
    if (!packet_log || *value_of(packet_log) == '\0')
        return 0;
    char words[packet_log_room];
    char kept[packet_log_room + sizeof " signature-detection"] = "";
    snprintf(words, sizeof words, "%s", packet_log->value);
    if (filter_attacks(words, kept) > 0)
        set_node_value(packet_log, strcat(kept, "signature-detection"));
    return 0;
}

/*
 * 4.35 to 4.40: two settings for the whole appliance came together in one block. The old ones stay where they are.
 */
int32_t migr_advanced(void)
{
    for (config_node *node = migr_main.root.top_list; node; node = node->next) {
        if (raw_name_is(node, "system,global"))
            copy_share_ip(node);
        if (raw_name_is(node, "server-policy,policy"))
            copy_url_decode(node);
    }
    return 0;
}

void moved_to_advanced(const char *name, const char *value)
{
    if (config_node *advanced = open_block_behind("system,global", "system,advanced", "moved_to_advanced"))
        cfg_add_conf(name, value, MIGR_SET, advanced);
}
