/*
 * Web protection from 5.50 to 6.20: limits, custom rules, signatures, bots, brute force, uploads. Nearly all of it
 * works within one edit; where a row carries something on to the next one, it says so.
 */
#include "stages/policy/protection_rules.h"

#include "tree/file_effects.h"
#include "tree/version_text.h"
#include "walk/toolkit.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

/* ---- 5.50 ---- */

/* The limits that every entry has from now on, with what an entry without them gets. */
static constexpr struct {
    const char *name;
    const char *missing;
} entry_limits[] = {
    {"max-http-content-length", "65535"}, {"max-http-body-length", "65535"}, {"max-http-request-length", "65535"},
    {"max-cookie-in-request", "16"},      {"max-url-parameter", "16"},
};
static constexpr int32_t last_in_kilobytes = 3; /* the first three count kilobytes now, the others are plain numbers */

static int32_t entry_limit_position(config_node *set)
{
    int32_t position = 0;
    for (const auto &limit : entry_limits) {
        position++;
        if (cnd_name_is(set, limit.name))
            return position;
    }
    return 0;
}

static void keep_limit(migr_change_protocol_constraints_state *state)
{
    state->position = entry_limit_position(top[4]);
    if (!state->position)
        return;
    cnd_arr_push(&state->kept, top[4]);
    if (state->position <= last_in_kilobytes)
        cnd_fmt_value(top[4], "%d", number_of(top[4]->value) / 1024);
}

/*
 * Header lines and parameters had a length limit each, with an action of its own; both went. Three other lengths were
 * counted in bytes and are counted in kilobytes: those that stand in the file are converted, also down to 0. A limit
 * that the entry does not have gets its default, which is in kilobytes already.
 */
void _migr_change_protocol_constraints(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<migr_change_protocol_constraints_state *>(memory);
    if (!top_edt_set_end()) {
        if (top_edt_set_in("max-http-header-line-length-action", "max-http-header-line-length-block-period",
                           "max-http-header-line-length-severity", "max-http-header-line-length-trigger",
                           "max-http-header-line-length", "max-http-parameter-length-trigger",
                           "max-http-parameter-length-action", "max-http-parameter-length-block-period",
                           "max-http-parameter-length-severity", "max-http-parameter-length"))
            cnd_del(top[4]);
        else
            keep_limit(state);
        return;
    }
    for (const auto &limit : entry_limits)
        if (!cnd_arr_find(&state->kept, limit.name))
            cnd_add_prop(top[2], limit.name, "%s", limit.missing);
    cnd_arr_clear(&state->kept);
}

/* The exceptions from the two limits that went go with them. */
void _migr_change_protocol_constraints_exception(int32_t, void *, int32_t *)
{
    if (sub_cfg_is("http_constraints-exception-list") &&
        cnd_name_in(sub[4], "max-http-parameter-length", "max-http-header-line-length"))
        cnd_del(sub[4]);
}

/* The flat sets of a rule that its condition takes over; "type" stays, and only tells what the targets are of. */
static void take_rule_set(migr_change_custom_protection_rule_state *state)
{
    if (top_edt_set_is("case-sensitive")) {
        state->case_seen = 1;
        cnd_del(top[4]);
    } else if (top_edt_set_is("type")) {
        state->type_seen = 1;
    } else if (top_edt_set_is("expression")) {
        snprintf(state->expression, sizeof state->expression, "%s", top[4]->value ? top[4]->value : "");
        cnd_del(top[4]);
    }
}

/* What does not fit any more is cut, in the middle of a name if need be. */
static void append_target(migr_change_custom_protection_rule_state *state, const char *target)
{
    auto used = static_cast<size_t>(state->targets_len);
    snprintf(state->targets + used, sizeof state->targets - used, "%s ", target);
    state->targets_len = static_cast<int32_t>(strlen(state->targets));
}

/* A set of an entry of a nested config. A response's status can be no target any more. */
static void take_target(migr_change_custom_protection_rule_state *state)
{
    state->targets_cfg = sub[1];
    if (!sub_cfg_is("meet-targets") || cnd_value_is(sub[4], "RESPONSE_STATUS"))
        return;
    bool arguments = cnd_value_is(sub[4], "ARGS");
    append_target(state, arguments ? "ARGS_VALUE" : sub[4]->value ? sub[4]->value : "");
}

/* Expression and targets go through a format: a doubled percent sign becomes one. Files in the field depend on it. */
static void add_condition(migr_change_custom_protection_rule_state *state)
{
    char         printed[sizeof state->targets];
    config_node *condition = cnd_add_edit(cnd_add_config(top[2], "meet-condition"), "1");
    /* The sense is inverted: only a rule without the set now says that case matters. */
    if (!state->case_seen)
        cnd_add_prop(condition, "case-sensitive", "enable");
    if (state->expression[0] != '\0')
        cnd_add_prop(condition, "expression", "%s", cnd_format_pass(state->expression, printed, sizeof printed));
    if (state->targets_len != 0)
        cnd_add_prop(condition, state->type_seen ? "response-target" : "request-target", "%s",
                     cnd_format_pass(state->targets, printed, sizeof printed));
}

/*
 * A custom protection rule was one expression over a list of targets; it is now a list of conditions, "meet-condition",
 * whose one entry takes over what the rule had. The old list goes when its first entry ends, and its other entries are
 * still read after that; so goes, unread, any other nested config whose entries hold sets.
 */
void _migr_change_custom_protection_rule(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<migr_change_custom_protection_rule_state *>(memory);
    if (top_edt_set_end()) {
        add_condition(state);
        *state = {};
        return;
    }
    take_rule_set(state);
    if (!sub_cfg_set_end() && cnd_is_normal(sub[4])) {
        take_target(state);
        return;
    }
    cnd_del_from(state->targets_cfg, top[2]);
    state->targets_cfg = nullptr;
}

/*
 * An entry of a signature's filter list had a host, its status, and a type; it is now an operator over a value. Which
 * of the three stood last decides whether it needs the operator. The visits that end a list count as seen too, so the
 * first entry of the next list is completed even without sets; the first one of the file is not.
 */
void _migr_change_signature_filter_list(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<migr_change_signature_filter_list_state *>(memory);
    if (!sub_cfg_is("filter_list"))
        return;
    if (!sub_edt_set_end()) {
        state->seen = 1;
        if (cnd_name_in(sub[4], "host-status", "host", "type")) {
            state->typed = cnd_name_is(sub[4], "type");
            cnd_del(sub[4]);
        } else if (sub_edt_set_is("request-file")) {
            cnd_rename(sub[4], "value");
        }
        return;
    }
    if (state->seen) {
        if (!state->typed)
            cnd_add_prop(sub[2], "operator", "STRING_MATCH");
        cnd_add_prop(sub[2], "concatenate-type", "OR");
    }
    *state = {};
}

/* ---- 5.70 ---- */

/* Two counts of a request's parts end one below 1024 now, and the length of a file name at 12288. */
void _change_value_for_hpc(int32_t, void *, int32_t *)
{
    static constexpr int32_t longest_filename = 12288;
    if (cnd_nv_is(top[4], "max-url-parameter", "1024") || cnd_nv_is(top[4], "max-cookie-in-request", "1024"))
        cnd_fmt_value(top[4], "1023");
    else if (top_edt_set_is("max-http-request-filename-length") && number_of(top[4]->value) > longest_filename)
        cnd_fmt_value(top[4], "%d", longest_filename);
}

/* ---- 5.80 ---- */

/* The scoring of threats left the signature policies: its settings go, and a grade is written as a short word. */
void _remove_signature_scoring(int32_t, void *, int32_t *)
{
    static constexpr const char *grades[] = {"low", "low", "med", "high", "crit"};
    if (cnd_name_in(top[4], "threat-scoring_mode", "scoring-threshold", "scoring-scope", "scoring-action",
                    "scoring-block-period", "scoring-severity", "scoring-trigger"))
        cnd_del(top[4]);
    if (sub_edt_set_is("scoring-status"))
        cnd_del(sub[4]);
    if (!sub_edt_set_is("scoring-grade"))
        return;
    int32_t grade = cnd_value_in(sub[4], "Information", "Low", "Medium", "High", "Critical");
    if (grade)
        cnd_fmt_value(sub[4], "%s", grades[grade - 1]);
}

/* ---- 5.85 ---- */

/*
 * The check for a real browser was a switch and is now one of several ways of recognising a bot: a rule that has the
 * switch gets the way, also one that has it off. The time limit of the check goes from a rule that does not have it.
 */
void _change_real_browser_enforcement(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<change_real_browser_enforcement_state *>(memory);
    if (!top_suffix_in("http-request-flood-prevention-rule", "layer4-access-limit-rule", "custom-access,rule"))
        return;
    if (top_edt_set_end()) {
        if (!state->found)
            cnd_del_from(state->timeout, top[2]);
        *state = {};
    } else if (top_edt_set_is("real-browser-enforcement")) {
        cnd_fmt_value(cnd_rename(top[4], "bot-recognition"), "real-browser-enforcement");
        state->found = 1;
    } else if (top_edt_set_is("validation-timeout")) {
        state->timeout = top[4];
    }
}

/* ---- 5.90 ---- */

/* The login form of one release of the mail server became that of all its releases. */
void _change_bf_exchange(void)
{
    if (cnd_nv_is(top[4], "brute-force-login", "Exchange 2013"))
        cnd_fmt_value(top[4], "Exchange");
}

/* An offline profile names the log-in form of the mail server for all its releases, no longer for one. */
void _migr_adjust_offline_brute_force_login(int32_t, void *, int32_t *)
{
    _change_bf_exchange();
}

/* An inline profile names the log-in form of the mail server for all its releases, no longer for one. */
void _migr_adjust_inline_brute_force_login(int32_t, void *, int32_t *)
{
    _change_bf_exchange();
}

/* ---- 5.91 ---- */

/* Occurrences are no longer counted for each user, but for each session. */
void _change_waf_custom_access_rule_traced_by(int32_t, void *, int32_t *)
{
    if (sub_cfg_is("occurrence") && cnd_nv_is(sub[4], "traced-by", "User"))
        cnd_fmt_value(sub[4], "Http-Session");
}

/* ---- 6.01 ---- */

static void remove_data_analysis_folders()
{
    static constexpr struct {
        const char *tested; /* only a folder is there under this name */
        const char *removed;
    } folders[] = {
        {"/var/log/data_analysis/", "/var/log/data_analysis"},
        {"/var/log/data_analysis_adom/", "/var/log/data_analysis_adom"},
        {"/var/log/da_pdfdir/", "/var/log/da_pdfdir"},
    };
    for (const auto &folder : folders)
        if (access(folder.tested, F_OK) == 0)
            remove_tree(folder.removed);
}

/* Data analysis went away: the switch of the profiles, of both kinds in spite of the name, and what it left on disk. */
void _erase_data_analysis_from_web_protection_in_offline(int32_t, void *, int32_t *)
{
    if (!top_suffix_in("inline-protection", "offline-protection"))
        return;
    if (top_edt_set_is("data-analysis"))
        cnd_del(top[4]);
    if (top_cfg_set_end())
        remove_data_analysis_folders();
}

/* ---- 6.10 ---- */

/* Rules for unpacking uploads went away, and what refers to them. */
void _erase_file_compress(int32_t, void *, int32_t *)
{
    bool profile =
        top_suffix_in("web-protection-profile,inline-protection", "web-protection-profile,offline-protection");
    if (profile && top_edt_set_is("file-uncompress-rule"))
        cnd_del(top[4]);
    if (top_suffix_is("file-uncompress-rule") && top_cfg_set_end())
        cnd_del(top[1]);
}

/* At the end of a nested edit's sets: drops the edit if a set before has hit. */
static void drop_hit_entry(nested_entry_state *state)
{
    if (!sub_edt_set_end())
        return;
    if (state->hit)
        cnd_del(sub[2]);
    state->hit = 0;
}

/* Two types of files are no longer told apart, and go from the lists of upload rules. */
void _purge_fur_rule(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<nested_entry_state *>(memory);
    if (sub_edt_set_is("file-type-id") && cnd_value_in(sub[4], "00016", "00014"))
        state->hit = 1;
    drop_hit_entry(state);
}

/* ---- 6.20 ---- */

/* The checks of single frames and of the protocol's first bytes went away with everything that belongs to them. */
void _adjust_hpc_620(int32_t, void *, int32_t *)
{
    if (strstr(top[4]->name, "Illegal-frame-") || strstr(top[4]->name, "Illegal-magic-"))
        cnd_del(top[4]);
}

/* The predefined access rules became rules of their own features; policies let go of them. */
void _erase_predefined_rules(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<nested_entry_state *>(memory);
    if (sub_edt_set_is("rule-name") &&
        cnd_value_in(sub[4], "Predefined-Crawler", "Predefined-Vulnerability Scanning", "Predefined-Slow-Attack",
                     "Predefined-Content-Scraping", "Predefined-Credential-Based-Brute-Force"))
        state->hit = 1;
    drop_hit_entry(state);
}

/* Recognising a bot always included its confirmation, which now has a switch. */
static void add_bot_confirmation(void *memory)
{
    auto *state = static_cast<bot_recognition_state *>(memory);
    if (top_edt_set_is("bot-recognition"))
        state->seen = 1;
    if (!top_edt_set_end())
        return;
    if (state->seen)
        cnd_add_prop(top[2], "bot-confirmation", "enable");
    state->seen = 0;
}

/* A custom access rule that recognises bots always confirmed them, for which there is a switch now. */
void _add_cus_rule_switch(int32_t, void *memory, int32_t *)
{
    add_bot_confirmation(memory);
}

/* A rule against floods of requests that recognises bots always confirmed them, for which there is a switch now. */
void _add_access_limit_switch(int32_t, void *memory, int32_t *)
{
    add_bot_confirmation(memory);
}

/* A limit of accesses that recognises bots always confirmed them, for which there is a switch now. */
void _add_dos_flood_switch(int32_t, void *memory, int32_t *)
{
    add_bot_confirmation(memory);
}

/* An exception from a check that went away; the product has always spelled it so. */
void _purge_hpc_excpt(int32_t, void *, int32_t *)
{
    if (sub_edt_set_is("Illegal-responese-code-check"))
        cnd_del(sub[4]);
}
