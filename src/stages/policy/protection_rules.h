/* Web protection: limits of the protocol and their exceptions, signatures, and rules for custom protection, bots, brute
 * force and uploads. */
#ifndef MIGR_STAGES_POLICY_PROTECTION_RULES_H
#define MIGR_STAGES_POLICY_PROTECTION_RULES_H

#include "walk/cursors.h"
#include "walk/stages.h"

struct migr_change_protocol_constraints_state {
    int32_t position; /* during a visit: which of the limits that every entry has the set is, from 1; 0 for none */
    cnd_arr kept;     /* until the edit's sets end: its sets that are such limits */
};
MIGR_STATE(migr_change_protocol_constraints_state, 528);

/* All but targets_cfg hold until the rule's sets end. */
struct migr_change_custom_protection_rule_state {
    int32_t      case_seen;        /* a set "case-sensitive" was met */
    int32_t      type_seen;        /* a set "type" was met */
    char         expression[1024]; /* value of the set "expression", else empty */
    config_node *targets_cfg;      /* the nested config being read, until the first of its edits ends; else null */
    char         targets[1024];    /* the target names met, a blank behind each */
    int32_t      targets_len;      /* characters in `targets` */
};
MIGR_STATE(migr_change_custom_protection_rule_state, 2072);

struct migr_change_signature_filter_list_state {
    int32_t seen;  /* a visit under a "filter_list" that was no end of an entry; until an entry's sets end */
    int32_t typed; /* of "host-status", "host" and "type" the last one removed was "type"; until an entry's sets end */
};
MIGR_STATE(migr_change_signature_filter_list_state, 8);

/* Both until the edit's sets end. */
struct change_real_browser_enforcement_state {
    int32_t      found;   /* a set "real-browser-enforcement" was met */
    config_node *timeout; /* the set "validation-timeout" */
};
MIGR_STATE(change_real_browser_enforcement_state, 16);

/* Of the rows that drop nested edits by one of their sets. */
struct nested_entry_state {
    int32_t hit; /* until the nested edit's sets end: it is to go */
};
MIGR_STATE(nested_entry_state, 4);

/* Of the rows that add the switch for confirming a bot. */
struct bot_recognition_state {
    int32_t seen; /* until the edit's sets end: a set "bot-recognition" was met */
};
MIGR_STATE(bot_recognition_state, 4);

#ifdef __cplusplus
extern "C" {
#endif

stage_callback _migr_change_protocol_constraints;
stage_callback _migr_change_protocol_constraints_exception;
stage_callback _migr_change_custom_protection_rule;
stage_callback _migr_change_signature_filter_list;
stage_callback _change_value_for_hpc;
stage_callback _remove_signature_scoring;
stage_callback _change_real_browser_enforcement;
void           _change_bf_exchange(void); /* the body of the next two */
stage_callback _migr_adjust_offline_brute_force_login;
stage_callback _migr_adjust_inline_brute_force_login;
stage_callback _change_waf_custom_access_rule_traced_by;
stage_callback _erase_data_analysis_from_web_protection_in_offline;
stage_callback _erase_file_compress;
stage_callback _purge_fur_rule;
stage_callback _adjust_hpc_620;
stage_callback _erase_predefined_rules;
stage_callback _add_cus_rule_switch;
stage_callback _add_access_limit_switch;
stage_callback _add_dos_flood_switch;
stage_callback _purge_hpc_excpt;

#ifdef __cplusplus
}
#endif

#endif
