/*
 * Server protection rules from 4.11 on, their end in 4.40, and the signature rules that took their place. Some
 * sets made here have no kind: they are written like any other, and nothing that goes by kind finds them.
 */
#include "chain/protection_rules.h"

#include "chain/blocks.h"
#include "driver/hooks.h"
#include "driver/run_context.h"
#include "tree/config_text.h"
#include "tree/operations.h"

#include <iterator>
#include <span>

namespace {

/* An attack family of a protection rule, and its signatures, which a rule of 4.11 lists in a set of their own. */
struct attack_family {
    const char *name;
    const char *subtype_name;
    const char *subtypes;
};

constexpr char remote_inclusion_subtypes[] = "rfi-signature-1 rfi-signature-2 rfi-signature-3";

constexpr attack_family families[] = {
    {"common-exploits", "common-exploits-subtype",
     "file-injection command-access command-injection coldfusion-injection ldap-injection ssi-injection php-injection "
     "email-injection response-splitting injection-flaw src-disclosure trojans"},
    {"cross-site-scripting", "cross-site-scripting-subtype",
     "xss-signature-1 xss-signature-2 xss-signature-3 xss-signature-4 xss-signature-5 xss-signature-6 xss-signature-7 "
     "xss-signature-8 xss-signature-9"},
    {"information-disclosure", "information-disclosure-subtype",
     "statistics-pages-revealed sql-errors-leakage iis-errors-leakage zope-information-leakage cf-information-leakage "
     "php-information-leakage isa-server-existence-revealed ms-doc-properties-leakage directory-listing "
     "asp-jsp-source-code-leakage php-source-code-leakage cf-source-code-leakage iis-default-location "
     "application-not-available weblogic-info-disclosure file-or-dir-names-leakage http-retcode-4xx http-retcode-5xx"},
    {"sql-injection", "sql-injection-subtype",
     "sql-injection-1 sql-injection-2 sql-injection-3 sql-injection-4 sql-injection-5 sql-injection-6 sql-injection-7 "
     "sql-injection-8 sql-injection-9 sql-injection-10"},
    {"remote-file-inclusion", "remote-file-inclusion-subtype", remote_inclusion_subtypes},
};

constexpr size_t families_of_rules = std::size(families);
constexpr size_t families_of_exceptions = 4; /* an exception never knew remote file inclusion */

/* A switch that stands twice counts where it stands last. */
void fill_subtypes(config_node *owner, size_t known_families)
{
    config_node *switches[families_of_rules] = {};
    config_node *subtypes[families_of_rules] = {};
    for (config_node *set = owner->set_list; set; set = set->next)
        for (size_t i = 0; i < known_families; i++) {
            if (raw_name_is(set, families[i].name))
                switches[i] = set;
            if (raw_name_is(set, families[i].subtype_name))
                subtypes[i] = set;
        }
    for (size_t i = 0; i < known_families; i++)
        if (switches[i] && raw_value_is(switches[i], "enable") && !subtypes[i])
            insert_behind(switches[i], make_set_leniently(families[i].subtype_name, families[i].subtypes));
}

/* An entry that the firmware had brought along, and what a family does there when it finds an attack. */
struct predefined_entry {
    const char *name;
    const char *action;
};

constexpr predefined_entry predefined_rules[] = {
    {"\"High Level Security\"", "alert_deny"},
    {"\"Medium Level Security\"", "alert"},
    {"\"Alert Only\"", "alert"},
};

/* The mildest entry does not check for malformed requests. */
constexpr predefined_entry predefined_restrictions[] = {
    {"\"High Level Security\"", "alert_deny"},
    {"\"Medium Level Security\"", "alert"},
};

/* A set that predefined entries gained. */
struct gained_set {
    const char *name;
    const char *value; /* null: the entry's action */
};

constexpr gained_set remote_inclusion_sets[] = {
    {"remote-file-inclusion-subtype", remote_inclusion_subtypes},
    {"remote-file-inclusion-action", nullptr},
    {"remote-file-inclusion", "enable"},
};

constexpr gained_set local_inclusion_sets[] = {
    {"local-file-inclusion-subtype", "lfi-signature-1 lfi-signature-2 lfi-signature-3"},
    {"local-file-inclusion-action", nullptr},
    {"local-file-inclusion", "enable"},
};

constexpr gained_set malformed_request_sets[] = {
    {"block-malformed-request-action", nullptr},
    {"block-malformed-request-check", "enable"},
};

enum class no_memory { skips_the_set, stops };

/* The firmware's own sets have no kind: they are written like any other, and what goes by kind passes over them. */
config_node *without_kind(config_node *set)
{
    if (set)
        set->kind = 0;
    return set;
}

/* Puts the sets behind `place` one after another, so that the last comes first. 0, or -1 when it stopped. */
int32_t gain_sets(config_node *place, std::span<const gained_set> sets, const char *action, no_memory then)
{
    for (const gained_set &gained : sets) {
        config_node *set = without_kind(make_set_leniently(gained.name, gained.value ? gained.value : action));
        if (!set && then == no_memory::stops)
            return -1;
        insert_behind(place, set);
    }
    return 0;
}

/* Only what is marked as a default is the firmware's: a user's entry of that name has no such mark. */
int32_t gain_behind_marks(config_node *entry, std::span<const gained_set> sets, const char *action, no_memory then)
{
    for (config_node *set = entry->set_list; set; set = set->next)
        if (raw_name_is(set, "is-default-config") && gain_sets(set, sets, action, then) != 0)
            return -1;
    return 0;
}

int32_t extend_predefined(const char *block, std::span<const predefined_entry> entries,
                          std::span<const gained_set> sets, no_memory then)
{
    for (config_node *edit = edits_of(walk_to(block)); edit; edit = edit->next)
        for (const predefined_entry &entry : entries)
            if (raw_name_is(edit, entry.name) && gain_behind_marks(edit, sets, entry.action, then) != 0)
                return -1;
    return 0;
}

/* A main class of signatures in an entry of the signature block: the sets that differ from the database. */
struct main_class {
    const char *name;
    const char *severity; /* null: as in the database */
    const char *other;    /* the set that is written ahead of the severity; null: none */
    const char *other_value;
};

constexpr main_class alert_classes[] = {
    {"\"010000000\"", "High", nullptr, nullptr},  {"\"020000000\"", nullptr, "status", "disable"},
    {"\"030000000\"", "High", nullptr, nullptr},  {"\"040000000\"", nullptr, "status", "disable"},
    {"\"050000000\"", "High", nullptr, nullptr},  {"\"060000000\"", nullptr, "status", "disable"},
    {"\"070000000\"", nullptr, nullptr, nullptr}, {"\"080000000\"", "Low", nullptr, nullptr},
    {"\"090000000\"", "High", nullptr, nullptr},  {"\"100000000\"", "High", "status", "disable"},
};

constexpr main_class medium_classes[] = {
    {"\"010000000\"", "High", "action", "alert_deny"}, {"\"020000000\"", nullptr, "status", "disable"},
    {"\"030000000\"", "High", "action", "alert_deny"}, {"\"040000000\"", nullptr, "status", "disable"},
    {"\"050000000\"", "High", "action", "alert_deny"}, {"\"060000000\"", nullptr, "status", "disable"},
    {"\"070000000\"", nullptr, nullptr, nullptr},      {"\"080000000\"", "Low", nullptr, nullptr},
    {"\"090000000\"", "High", "action", "alert_deny"}, {"\"100000000\"", "High", "status", "disable"},
};

constexpr main_class high_classes[] = {
    {"\"010000000\"", "High", "action", "alert_deny"}, {"\"020000000\"", nullptr, nullptr, nullptr},
    {"\"030000000\"", "High", "action", "alert_deny"}, {"\"040000000\"", nullptr, nullptr, nullptr},
    {"\"050000000\"", "High", "action", "alert_deny"}, {"\"060000000\"", nullptr, nullptr, nullptr},
    {"\"070000000\"", "High", "action", "alert_deny"}, {"\"080000000\"", "High", "action", "alert_erase"},
    {"\"090000000\"", "High", "action", "alert_deny"}, {"\"100000000\"", "High", "status", "disable"},
};

/* Signatures that are off from the start, as they are written. */
constexpr const char *mild_disabled[] = {"\"080080005\""};
constexpr const char *high_disabled[] = {"\"060030001\"", "\"060120001\"", "\"080080005\"", "\"080200001\""};

/* What is added last is written first, so tables that say how it is written are added from their end. */
template <typename row, typename function> void from_the_end(std::span<const row> rows, function add)
{
    for (size_t i = rows.size(); i > 0; i--)
        add(rows[i - 1]);
}

void add_main_class(const main_class &added, config_node *list)
{
    cfg_add_conf(added.name, nullptr, MIGR_EDIT, list);
    if (added.severity)
        cfg_add_conf("severity", added.severity, MIGR_SET, edits_of(list));
    if (added.other)
        cfg_add_conf(added.other, added.other_value, MIGR_SET, edits_of(list));
}

int32_t fill_signature_entry(config_node *entry, std::span<const main_class> classes,
                             std::span<const char *const> disabled)
{
    if (!entry)
        return 0;
    cfg_add_conf("is-default-config", "yes", MIGR_SET, entry);
    cfg_add_conf("signature_disable_list", nullptr, MIGR_CONFIG, entry);
    from_the_end(disabled, [=](const char *id) { cfg_add_conf(id, nullptr, MIGR_EDIT, entry->config_list); });
    cfg_add_conf("main_class_list", nullptr, MIGR_CONFIG, entry);
    from_the_end(classes, [=](const main_class &added) { add_main_class(added, entry->config_list); });
    return 0;
}

/* A predefined protection profile and the signature entry of its level. */
struct profile_level {
    const char *profile;
    const char *signature_rule;
};

constexpr profile_level inline_levels[] = {
    {"\"Inline High Level Security\"", "\"High Level Security\""},
    {"\"Inline Medium Level Security\"", "\"Medium Level Security\""},
    {"\"Inline Alert Only\"", "\"Alert Only\""},
};

constexpr profile_level offline_levels[] = {
    {"\"Offline High Level Security\"", "\"High Level Security\""},
    {"\"Offline Medium Level Security\"", "\"Medium Level Security\""},
    {"\"Offline Alert Only\"", "\"Alert Only\""},
};

enum class outcome { go_on, done, no_memory };

outcome refer_by_level(config_node *profile, const char *signature_rule)
{
    if (!profile->set_list)
        return outcome::done;
    config_node *set = without_kind(make_node(MIGR_SET, "signature-rule", signature_rule));
    insert_behind(profile->set_list, set);
    return set ? outcome::go_on : outcome::no_memory;
}

/* A user's rule has no counterpart in the new table, so its profile falls back to the mildest entry. */
outcome refer_to_mildest(config_node *profile)
{
    for (const config_node *set = profile->set_list; set; set = set->next)
        if (raw_name_is(set, "server-protection-rule"))
            cfg_add_conf("signature-rule", "\"Alert Only\"", MIGR_SET, profile);
    return outcome::go_on;
}

outcome refer_to_signatures(config_node *profile, std::span<const profile_level> levels)
{
    for (const profile_level &level : levels)
        if (raw_name_is(profile, level.profile))
            return refer_by_level(profile, level.signature_rule);
    return refer_to_mildest(profile);
}

/* The predefined profiles of a block; none for a block of something else. */
std::span<const profile_level> levels_of(const config_node *block)
{
    if (raw_name_is(block, "waf,web-protection-profile,inline-protection"))
        return inline_levels;
    if (raw_name_is(block, "waf,web-protection-profile,offline-protection"))
        return offline_levels;
    return {};
}

int32_t point_profiles_at_signatures()
{
    for (const config_node *block = migr_main.root.top_list; block; block = block->next) {
        std::span<const profile_level> levels = levels_of(block);
        if (levels.empty())
            continue;
        for (config_node *profile = block->edit_list; profile; profile = profile->next) {
            outcome result = refer_to_signatures(profile, levels);
            if (result != outcome::go_on)
                return result == outcome::done ? 0 : -1;
        }
    }
    return 0;
}

struct meet_target {
    const char *number;
    const char *target;
};

constexpr meet_target request_targets[] = {
    {"1", "REQUEST_FILENAME"},
    {"2", "REQUEST_URI"},
    {"3", "REQUEST_HEADERS_NAMES"},
    {"4", "REQUEST_HEADERS"},
    {"5", "REQUEST_COOKIES_NAMES"},
    {"6", "REQUEST_COOKIES"},
    {"7", "ARGS_NAMES"},
    {"8", "ARGS"},
    {"9", "REQUEST_RAW_URI"},
    {"10", "REQUEST_BODY"},
};

constexpr meet_target response_targets[] = {
    {"1", "RESPONSE_STATUS"},
    {"2", "RESPONSE_BODY"},
    {"3", "RESPONSE_HEADER"},
};

std::span<const meet_target> targets_of(int32_t kind_of_rule)
{
    if (kind_of_rule == 0)
        return request_targets;
    if (kind_of_rule == 1)
        return response_targets;
    return {};
}

bool looks_for_data_leakage(const config_node *rule)
{
    for (const config_node *set = rule->set_list; set; set = set->next)
        if (raw_name_is(set, "type") && raw_value_is(set, "data-leakage"))
            return true;
    return false;
}

void add_bad_robot_class(config_node *list)
{
    config_node *entry = make_node(MIGR_EDIT, "\"110000000\"", nullptr);
    if (!entry)
        return;
    push_front(&list->edit_list, entry);
    push_new_set(entry, "action", "alert");
    push_new_set(entry, "status", "enable");
}

} // namespace

/* ---- 4.11 ---- */

/*
 * 4.10 to 4.11: an attack family could only be switched on or off; now a rule lists the family's signatures, and one
 * that is on had all of them. A later release runs this again, for rules that were made in between.
 */
void migr_log_server_protec_rule(void)
{
    for (config_node *rule = edits_of(_migr_find_node("waf,server-protection-rule")); rule; rule = rule->next)
        fill_subtypes(rule, families_of_rules);
}

/*
 * 4.10 to 4.11: an exception, too, lists the signatures of an attack family that is on in it. Its families stand in the
 * entries of a table.
 */
void migr_server_protec_exp(void)
{
    for (const config_node *edit = edits_of(_migr_find_node("waf,server-protection-exception")); edit;
         edit = edit->next)
        for (config_node *entry = entries_of(edit); entry; entry = entry->next)
            fill_subtypes(entry, families_of_exceptions);
}

/* ---- 4.32 ---- */

/*
 * 4.30 to 4.32: protection rules gained remote file inclusion, switched on in the predefined ones. 4.35 runs this
 * again, for appliances that passed 4.32 by; the others get the sets twice, and old files depend on it.
 */
int32_t migr_server_protection_rule(void)
{
    return extend_predefined("waf,server-protection-rule", predefined_rules, remote_inclusion_sets,
                             no_memory::skips_the_set);
}

/* ---- 4.35 ---- */

/*
 * 4.33 to 4.35: protection rules gained local file inclusion, switched on in the predefined ones.
 */
int32_t migr_server_protection_rule_add_lfi(void)
{
    return extend_predefined("waf,server-protection-rule", predefined_rules, local_inclusion_sets, no_memory::stops);
}

/*
 * 4.33 to 4.35: the restrictions of protocol parameters gained a check for requests that are no HTTP at all.
 */
int32_t migr_http_pro_pa_res(void)
{
    return extend_predefined("waf,http-protocol-parameter-restriction", predefined_restrictions, malformed_request_sets,
                             no_memory::stops);
}

/* ---- 4.40 ---- */

/*
 * 4.35 to 4.40: the table of protection rules, attack families and all, gave way to one of signatures by main class,
 * with entries for the three predefined levels and none for what users had made. The new block takes the old one's
 * place; a table that stands first in its file has no place to take, and stays.
 */
int32_t migr_sp_rule_to_signature_rule(void)
{
    config_node *rules = walk_to("waf,server-protection-rule");
    if (!rules || rules == migr_main.root.top_list)
        return 0;
    config_node *predecessor = node_ahead_of("waf,server-protection-rule");
    unlink_at(&migr_main.root.top_list, &predecessor->next);
    free_node(rules);
    if (add_waf_signature(predecessor) != 0)
        return -1;
    return point_profiles_at_signatures();
}

/* Each entry is pushed ahead of the one before it, and filled where it stands: at the head. */
int32_t add_waf_signature(config_node *predecessor)
{
    config_node *signature = make_node(MIGR_TOP, "waf,signature", nullptr);
    if (!signature)
        return -1;
    insert_behind(predecessor, signature);
    cfg_add_conf("\"Alert Only\"", nullptr, MIGR_EDIT, signature);
    add_sig_alert_node(signature->edit_list);
    cfg_add_conf("\"Medium Level Security\"", nullptr, MIGR_EDIT, signature);
    add_sig_medium_node(signature->edit_list);
    cfg_add_conf("\"High Level Security\"", nullptr, MIGR_EDIT, signature);
    add_sig_high_node(signature->edit_list);
    return 0;
}

int32_t add_sig_alert_node(config_node *entry)
{
    return fill_signature_entry(entry, alert_classes, mild_disabled);
}

int32_t add_sig_medium_node(config_node *entry)
{
    return fill_signature_entry(entry, medium_classes, mild_disabled);
}

int32_t add_sig_high_node(config_node *entry)
{
    return fill_signature_entry(entry, high_classes, high_disabled);
}

/*
 * 4.35 to 4.40: a custom protection rule looked at whole requests, or at whole responses when it was to find leaking
 * data; now it lists what it looks at. The releases that ran this never came past a rule without sets, and this one
 * does not either.
 */
int32_t migr_custom_pro_rule(void)
{
    for (config_node *rule = edits_of(walk_to("waf,custom-protection-rule")); rule; rule = rule->next) {
        if (!rule->set_list)
            migr_never_returns("migr_custom_pro_rule");
        add_meet_targets(rule, looks_for_data_leakage(rule) ? 1 : 0);
    }
    return 0;
}

void add_meet_targets(config_node *entry, int32_t kind_of_rule)
{
    cfg_add_conf("meet-targets", nullptr, MIGR_CONFIG, entry);
    from_the_end(targets_of(kind_of_rule), [=](const meet_target &added) {
        config_node *list = entry->config_list;
        cfg_add_conf(added.number, nullptr, MIGR_EDIT, list);
        cfg_add_conf("target", added.target, MIGR_SET, edits_of(list));
    });
}

/* ---- 5.0 ---- */

/*
 * 4.46 to 5.0: bad robots became a main class of signatures, which every signature entry now has.
 */
void migr_add_bad_robot_to_signature(void)
{
    for (const config_node *block = migr_main.root.top_list; block; block = block->next) {
        if (!raw_name_is(block, "waf,signature"))
            continue;
        for (const config_node *entry = block->edit_list; entry; entry = entry->next)
            for (config_node *list = entry->config_list; list; list = list->next)
                if (raw_name_is(list, "main_class_list"))
                    add_bad_robot_class(list);
    }
}
