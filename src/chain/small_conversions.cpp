#include "chain/small_conversions.h"

#include "chain/blocks.h"
#include "driver/run_context.h"
#include "driver/stall.h"
#include "tree/operations.h"
#include "tree/version_text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

/* The limits on a client's requests that moved from one block to another, twice. */
constexpr const char *access_limits[] = {"access-limit-share-ip", "access-limit-standalone-ip", "block-period"};

bool is_access_limit(const config_node *set)
{
    for (const char *limit : access_limits)
        if (raw_name_is(set, limit))
            return true;
    return false;
}

bool contains_one_of(const char *text, const char *const *words, size_t count)
{
    for (size_t i = 0; i < count; i++)
        if (strstr(text, words[i]))
            return true;
    return false;
}

/* Takes the limits out of an edit, and gives them in reverse order. A period now says what it is for. */
config_node *take_access_limits(config_node *edit)
{
    config_node *moved = nullptr;
    for (config_node **link = &edit->set_list; *link;) {
        config_node *set = *link;
        if (!set->value || !is_access_limit(set)) {
            link = &set->next;
            continue;
        }
        *link = set->next;
        push_front(&moved, set);
        if (!raw_name_is(set, "block-period"))
            continue;
        if (config_node *action = make_node(MIGR_SET, "action", "block-period"))
            push_front(&moved, action);
    }
    return moved;
}

/* The access limit rules, made behind the robot control when missing; null without memory. */
config_node *access_limit_rules()
{
    if (config_node *rules = walk_to("waf,layer4-access-limit-rule"))
        return rules;
    config_node *robots = walk_to("waf,robot-control");
    config_node *rules = robots ? copy_record(robots) : nullptr;
    if (!rules)
        return nullptr;
    set_node_name(rules, "waf,layer4-access-limit-rule");
    insert_behind(robots, rules);
    return rules;
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
            set->next = set->next->next;
            return;
        }
}

bool names_signature_attack(const config_node *set)
{
    static constexpr const char *events[] = {"waf-disclosure-attack", "waf-exploit-attack", "waf-sql-attack",
                                             "waf-xss-attack"};
    return raw_name_is(set, "events") && contains_one_of(value_of(set), events, 4);
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
    return contains_one_of(word, attacks, 6);
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

/* Adds the block behind every block named `anchor`. Gives the first block of that name, or null without memory. A file
 * without the anchor never gets on: old releases looked for their new block for ever, and so does this one. */
config_node *open_block_behind(const char *anchor, const char *name, const char *where)
{
    if (config_node *block = walk_to(name))
        return block;
    if (!walk_to(anchor))
        migr_never_returns(where);
    for (config_node *node = migr_main.root.top_list; node; node = node->next)
        if (raw_name_is(node, anchor))
            cfg_add_conf(name, nullptr, MIGR_TOP, node);
    return walk_to(name);
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

/*
 * 4.11 to 4.20: the limits on log-in attempts belonged to a whole rule, and now each of its entries has them.
 */
void migr_brute_force_login(void)
{
    for (config_node *edit = edits_of(walk_to("waf,brute-force-login")); edit; edit = edit->next)
        for (const char *limit : access_limits)
            if (config_node *set = first_set(edit, limit))
                set_force_login_param(edit->config_list, set);
}

void set_force_login_param(config_node *table, config_node *set)
{
    if (!table || !table->edit_list || *value_of(set) == '\0')
        return;
    for (config_node *entry = table->edit_list; entry; entry = entry->next) {
        config_node *copy = copy_record(set);
        if (!copy)
            return;
        push_front(&entry->set_list, copy);
    }
    set->deleted = 1;
}

/*
 * 4.11 to 4.20: the new release takes in a rewrite condition from its first set on, and accepts "is-essential" only
 * when it knows the rest.
 */
void migr_url_rewrite_rule(void)
{
    for (config_node *edit = edits_of(walk_to("waf,url-rewrite,url-rewrite-rule")); edit; edit = edit->next)
        for (config_node *entry = entries_of(edit); entry; entry = entry->next)
            move_prop_2_bottom(entry, "is-essential");
}

/* The limit itself is a valid priority and stays. */
static void fold_priorities(config_node *entry)
{
    static constexpr int32_t limit = 32768;
    for (config_node *set = entry->set_list; set; set = set->next)
        if (raw_name_is(set, "priority") && number_of(set->value) > limit)
            snprintf(set->value, strlen(set->value) + 1, "%d", number_of(set->value) % limit);
}

/*
 * 4.11 to 4.20: priorities of XML filters got an upper limit. Those beyond it are folded into the range.
 */
void migr_xml_protection_rule_filter(void)
{
    for (config_node *edit = edits_of(walk_to("xml-protection,filter-rule")); edit; edit = edit->next)
        for (config_node *entry = entries_of(edit); entry; entry = entry->next)
            fold_priorities(entry);
}

/*
 * 4.11 to 4.20: checking an input's type became optional. Until then it was always done.
 */
void migr_input_rule(void)
{
    for (config_node *edit = edits_of(walk_to("waf,input-rule")); edit; edit = edit->next)
        for (config_node *entry = entries_of(edit); entry; entry = entry->next)
            if (!push_new_set(entry, "type-checked", "enable"))
                return;
}

/*
 * 4.20 to 4.30: limiting how often a client comes back was part of the robot control, and became a rule of its own.
 * Each robot policy gets its namesake there, even when it limited nothing.
 */
void migr_malicious_robot_process(void)
{
    for (config_node *edit = edits_of(walk_to("waf,robot-control")); edit; edit = edit->next)
        migr_check_one_malicious_robot_check(edit);
}

void migr_check_one_malicious_robot_check(config_node *edit)
{
    mr_add_freenode_to_tree(edit, take_access_limits(edit));
}

void mr_add_freenode_to_tree(const config_node *edit, config_node *moved)
{
    config_node *rules = access_limit_rules();
    config_node *rule = rules ? copy_record(edit) : nullptr;
    if (!rule)
        return;
    rule->set_list = moved;
    push_front(&rules->edit_list, rule);
}

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
 * 4.35 to 4.40: the same for the attacks of which packets are logged, but here the old words go. Only the first 511
 * characters of the list are carried over.
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
 * 4.35 to 4.40: whether a profile trusts the X-Forwarded-For header became a rule of its own, which the profile names.
 * Each profile with the setting gets a rule of its name, whatever the setting was. Only the first table of each sort
 * is sure to be looked at: the walk is over when both sorts were met.
 */
int32_t migr_x_forward(void)
{
    bool inline_met = false;
    bool offline_met = false;
    for (config_node *node = migr_main.root.top_list; node && !(inline_met && offline_met); node = node->next) {
        bool is_inline = raw_name_is(node, "waf,web-protection-profile,inline-protection");
        bool is_offline = raw_name_is(node, "waf,web-protection-profile,offline-protection");
        if (is_inline || is_offline)
            op_profile_x_forward(node);
        inline_met |= is_inline;
        offline_met |= is_offline;
    }
    return 0;
}

void op_profile_x_forward(config_node *block)
{
    for (config_node *profile = block->edit_list; profile; profile = profile->next) {
        config_node *set = first_set(profile, "x-forwarded-for");
        if (!set || set_node_value(set, profile->name) != 0)
            continue;
        set_node_name(set, "x-forwarded-for-rule");
        add_new_x_forward(profile->name);
    }
}

/* Profiles of one name in both tables make two rules of that name. */
void add_new_x_forward(const char *name)
{
    config_node *rules = open_block_behind("waf,signature", "waf,x-forwarded-for", "add_new_x_forward");
    config_node *rule = rules ? make_node(MIGR_EDIT, name, nullptr) : nullptr;
    if (!rule)
        return;
    push_new_set(rule, "x-forwarded-for-support", "enable");
    push_front(&rules->edit_list, rule);
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

/*
 * 4.40 to 4.42: a routing policy was one rule, and became a list of rules, of which the old one is the first. The
 * servers of a farm that routes by content got a priority each.
 */
int32_t migr_mod_content_routing_policy(void)
{
    for (const config_node *node = migr_main.root.top_list; node; node = node->next)
        if (raw_name_is(node, "server-policy,http-content-routing-policy"))
            modified_hcr_policy(node->edit_list);
    for (const config_node *node = migr_main.root.top_list; node; node = node->next)
        if (raw_name_is(node, "server-policy,pservers"))
            modified_hcr_pserver_list(node->edit_list);
    return 0;
}

/* Moves the sets one by one to the head of the entry's sets, so that they end up in reverse order. */
static void move_sets(config_node *policy, config_node *entry)
{
    for (config_node *set = policy->set_list; set; set = set->next) {
        config_node *copy = make_config_node(set->name, set->value, MIGR_SET);
        if (!copy)
            continue;
        push_front(&entry->set_list, copy);
        set->deleted = 1;
    }
}

void modified_hcr_policy(config_node *edits)
{
    for (config_node *policy = edits; policy; policy = policy->next) {
        if (!policy->set_list)
            continue;
        config_node *list = make_node(MIGR_CONFIG, "content-routing-list", nullptr);
        config_node *entry = list ? make_node(MIGR_EDIT, "1", nullptr) : nullptr;
        if (!entry)
            continue;
        list->edit_list = entry;
        push_front(&policy->config_list, list);
        move_sets(policy, entry);
    }
}

static void number_servers(const config_node *list, int32_t *next_priority)
{
    for (config_node *entry = list->edit_list; entry; entry = entry->next) {
        char priority[12];
        snprintf(priority, sizeof priority, "%d", *next_priority);
        cfg_add_conf("priority", priority, MIGR_SET, entry);
        ++*next_priority;
    }
}

/* The numbers run on from farm to farm. */
void modified_hcr_pserver_list(config_node *edits)
{
    int32_t next_priority = 0;
    for (const config_node *farm = edits; farm; farm = farm->next) {
        const config_node *type = farm->set_list;
        if (!type || !raw_name_is(type, "type") || !raw_value_is(type, "http-content-routing"))
            continue;
        for (const config_node *list = farm->config_list; list; list = list->next)
            if (raw_name_is(list, "pserver-list"))
                number_servers(list, &next_priority);
    }
}

/*
 * 4.42 to 4.43: the two predefined robot groups had each other's content, and exchanged their names.
 */
void migr_exchange_robot_group_default(void)
{
    for (const config_node *node = migr_main.root.top_list; node; node = node->next) {
        if (!raw_name_is(node, "waf,web-robot"))
            continue;
        for (config_node *group = node->edit_list; group; group = group->next) {
            if (raw_name_is(group, "\"High Level Security\""))
                set_node_name(group, "\"Alert Only\"");
            else if (raw_name_is(group, "\"Alert Only\""))
                set_node_name(group, "\"High Level Security\"");
        }
    }
}
