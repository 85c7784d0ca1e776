/*
 * XML and JSON protection in 6.11, and its trimming by operation mode in 6.20. Generated names are new in this
 * process, not in the file.
 */
#include "stages/system/xml_json_protection.h"

#include "driver/run_context.h"
#include "stages/shared/subfolders.h"
#include "walk/cursors.h"
#include "walk/toolkit.h"

#include <cstdio>
#include <cstring>
#include <type_traits>

static constexpr char xml_policies[] = "waf,xml-validation,policy";
static constexpr char json_policies[] = "waf,json-validation,policy";

/* One set of a profile. The switches count by being there, whatever their value, and all of the two families go, also
 * those that no release is known to have had. */
static void take_switch(xml_json_entry *profile, config_node *set)
{
    static constexpr size_t longest_name = 70;
    if (cnd_name_is(set, "xml-protocol-detection"))
        profile->xml_detection = 1;
    if (cnd_name_is(set, "xml-validation-policy"))
        snprintf(profile->xml_policy, longest_name + 1, "%s", cnd_std_value(set));
    if (cnd_name_is(set, "json-protocol-detection"))
        ncu_gen_unique_edt(profile->json_policy, sizeof profile->json_policy);
    if (!strstr(set->name, "xml-") && !strstr(set->name, "json-"))
        return;
    if (!strstr(set->name, "-validation-"))
        cnd_del(set);
}

static void name_policies(adjust_xml_json_profile_state *state, xml_json_entry *profile)
{
    static constexpr int32_t most = std::extent_v<decltype(adjust_xml_json_profile_state::entries)>;
    if (profile->xml_detection && profile->xml_policy[0] == '\0') {
        profile->xml_generated = 1;
        ncu_gen_unique_edt(profile->xml_policy, sizeof profile->xml_policy);
        cnd_add_prop(top[2], "xml-validation-policy", "%s", profile->xml_policy);
    }
    if (!profile->xml_detection && profile->json_policy[0] == '\0')
        return;
    if (profile->json_policy[0])
        cnd_add_prop(top[2], "json-validation-policy", "%s", profile->json_policy);
    if (state->count < most)
        state->entries[state->count++] = *profile;
}

static void visit_profile(adjust_xml_json_profile_state *state)
{
    if (cnd_is_normal(top[4]))
        take_switch(&state->current, top[4]);
    if (!top_edt_set_end())
        return;
    name_policies(state, &state->current);
    state->current = {};
}

/* The table of the JSON policies, directly behind that of the XML policies. Only the first file of a process that has
 * the one ever got the other. */
static void add_json_table()
{
    static int32_t _json_policy_added;
    if (!_json_policy_added && top_cfg_is(xml_policies) && cnd_add_path(&top[1]->next, json_policies))
        _json_policy_added = 1;
}

static void add_policy(const char *name, const char *detection)
{
    config_node *policy = cnd_add_edit(top[1], "%s", name);
    cnd_add_prop(policy, detection, "enable");
    /* The blank has always been there, and the appliance reads over it. */
    cnd_add_config(policy, " input-rule-list");
}

static void visit_xml_policies(const xml_json_entry *entry)
{
    if (top_cfg_set_end() && entry->xml_generated)
        add_policy(entry->xml_policy, "enable-signature-detection");
    if (top_edt_set_end() && !entry->xml_generated && top_edt_is(entry->xml_policy))
        cnd_add_prop(top[2], "enable-signature-detection", "enable");
}

static void visit_json_policies(const xml_json_entry *entry)
{
    if (top_cfg_set_end() && entry->json_policy[0])
        add_policy(entry->json_policy, "enable-attack-signatures");
}

/*
 * Up to 6.10 a protection profile switched XML and JSON checks on by itself; from 6.11 on it names policies for them.
 * Round 1 takes the switches out of the profiles and names the policies, round 2 makes these. Of more than 32 profiles
 * the rest name policies that are never made.
 */
void _adjust_xml_json_profile(int32_t round, void *memory, int32_t *)
{
    auto *state = static_cast<adjust_xml_json_profile_state *>(memory);
    if (round == 1) {
        if (top_cfg_in("waf,web-protection-profile,inline-protection", "waf,web-protection-profile,offline-protection"))
            visit_profile(state);
        else
            add_json_table();
        return;
    }
    const xml_json_entry *end = state->entries + state->count;
    if (top_cfg_is(xml_policies))
        for (const xml_json_entry *entry = state->entries; entry < end; entry++)
            visit_xml_policies(entry);
    if (top_cfg_is(json_policies))
        for (const xml_json_entry *entry = state->entries; entry < end; entry++)
            visit_json_policies(entry);
}

/* 6.11 logs what the policies find under one name. Malformed XML is not logged by packet any more. */
void _adjust_xml_json_log(int32_t, void *, int32_t *)
{
    if (!top_cfg_set_is("packet-log"))
        return;
    if (cnd_filter_value(top[3], "illegal-json-format") > 0)
        cnd_append_value(top[3], "json-protection");
    cnd_filter_value(top[3], "illegal-xml-format");
}

/* Malformed documents have no weight of their own any more. */
void _erase_xml_json_pattern(int32_t, void *, int32_t *)
{
    if (top_cfg_set_in("illegal-xml-format", "illegal-json-format"))
        cnd_del(top[3]);
}

/* A device cannot be excepted from the checks for malformed documents any more. An exception that is left with nothing
 * goes, also one that never had any. */
void _erase_xml_json_exception(int32_t, void *, int32_t *)
{
    const char *feature = sub_edt_set_is("feature-name") ? sub[4]->value : nullptr;
    if (feature && (strcmp(feature, "illegal_xml_format") == 0 || strcmp(feature, "illegal_json_format") == 0))
        cnd_del(sub[4]);
    if (sub_edt_set_end() && !sub[2]->set_list)
        cnd_del(sub[2]);
}

/* A check of XML documents had the wrong name. */
void _update_xml_rule(int32_t, void *, int32_t *)
{
    if (top_edt_set_is("xml-entity-check"))
        cnd_rename(top[4], "xml-attributes-check");
}

/* What xml_trim_mode of the run context holds. */
static constexpr uint32_t offline_protection = 4;
static constexpr uint32_t transparent_inspection = 8;

static void note_operation_mode()
{
    if (!top_cfg_is("system,settings"))
        return;
    if (cnd_nv_is(top[3], "opmode", "offline-protection"))
        migr_main.xml_trim_mode |= offline_protection;
    if (cnd_nv_is(top[3], "opmode", "transparent-inspection"))
        migr_main.xml_trim_mode |= transparent_inspection;
}

static void trim_configuration()
{
    if (top_cfg_is("waf,xml-validation,rule") && top_edt_set_is("ws-security"))
        cnd_del(top[4]);
    if (top_edt_set_end() &&
        top_cfg_in("waf,ws-security,rule", "system,certificate,xml-client-certificate-group",
                   "system,certificate,xml-client-certificate", "system,certificate,xml-server-certificate"))
        cnd_del(top[2]);
}

/*
 * An appliance that only looks on cannot sign or decrypt, so from 6.20 on it has no web-service security: rules and
 * certificates go in round 2, their files in round 3, once per file that says so itself.
 */
void _trim_xml_by_mode(int32_t round, void *memory, int32_t *)
{
    auto *state = static_cast<trim_xml_by_mode_state *>(memory);
    if (round == 1) {
        note_operation_mode();
        return;
    }
    if (!(migr_main.xml_trim_mode & (offline_protection | transparent_inspection)))
        return;
    if (round == 2) {
        trim_configuration();
        return;
    }
    if (state->folders_cleared)
        return;
    _clear_all_sub_dir("/data/etc/ws_security");
    _clear_all_sub_dir("/data/etc/cert/xml_client");
    _clear_all_sub_dir("/data/etc/cert/xml_server");
    state->folders_cleared = 1;
}
