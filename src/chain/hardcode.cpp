/*
 * The steps of the version chain and their table. This file says what runs in which order and nothing else; what a
 * migration does stands with it. Releases above 5.40 have no step: they are stages (walk/stage_tables.cpp).
 */
#include "chain/hardcode.h"
#include "chain/steps.h"

#include "chain/aggregate_binding.h"
#include "chain/forwarding_and_routing.h"
#include "chain/log_model.h"
#include "chain/method_and_ip_lists.h"
#include "chain/names_and_defaults.h"
#include "chain/predefined_merge.h"
#include "chain/protection_rules.h"
#include "chain/release_4_10.h"
#include "chain/releases_5_0_to_5_20.h"
#include "chain/releases_5_30_to_5_40.h"
#include "chain/rule_tables.h"
#include "chain/server_policies.h"
#include "chain/system_settings.h"
#include "chain/users.h"

#include <iterator>
#include <span>

using migration = int32_t (*)(void);

/* The first result that is not 0, and what stands behind that migration does not run; else 0. */
static int32_t run_until_one_fails(std::span<const migration> migrations)
{
    for (migration run : migrations)
        if (int32_t result = run())
            return result;
    return 0;
}

/* Each step is its migrations, in their order. */

int32_t migr_hardcode_v40tov41(void)
{
    waf_input_rule();
    url_writing_rule();
    fit_policies_to_opmode();
    return 0;
}

int32_t migr_hardcode_v410tov411(void)
{
    migr_predefine_change();
    migr_policy_process();
    migr_policy_offline();
    migr_log_server_protec_rule();
    migr_server_protec_exp();
    migr_log_process();
    return 0;
}

int32_t migr_hardcode_v411tov420(void)
{
    migr_user_process();
    migr_method_process();
    migr_ip_list();
    migr_check_server_farms();
    migr_health_check();
    migr_policy();
    migr_brute_force_login();
    migr_url_rewrite_rule();
    migr_xml_protection_rule_filter();
    migr_input_rule();
    return 0;
}

int32_t migr_hardcode_v420tov430(void)
{
    migr_malicious_robot_process();
    migr_serverpolicy_httpconversionpolicy();
    migr_serverpolicy_pservers();
    migr_wafwebprotectionprofile_inlineprotection();
    migr_system_hasyncd();
    migr_log_server_protec_rule();
    return 0;
}

int32_t migr_hardcode_v430tov432(void)
{
    return migr_server_protection_rule();
}

int32_t migr_hardcode_v433tov435(void)
{
    migr_server_protection_rule();
    static constexpr migration migrations[] = {
        migr_server_protection_rule_add_lfi,
        migr_http_pro_pa_res,
    };
    return run_until_one_fails(migrations);
}

int32_t migr_hardcode_v435tov440(void)
{
    static constexpr migration migrations[] = {
        migr_sp_rule_to_signature_rule,
        migr_custom_pro_rule,
        migr_snmp_events,
        migr_mod_packet_log,
        migr_x_forward,
        migr_advanced,
    };
    return run_until_one_fails(migrations);
}

int32_t migr_hardcode_v440tov442(void)
{
    return migr_mod_content_routing_policy();
}

int32_t migr_hardcode_v442tov443(void)
{
    migr_exchange_robot_group_default();
    return 0;
}

int32_t migr_hardcode_v446tov500(void)
{
    migr_change_webgrp_to_wafgrp();
    migr_add_prefix_name();
    change_admin_usergrp_name();
    migr_del_is_default();
    migr_del_priority();
    migr_add_bad_robot_to_signature();
    migr_del_server_farm();
    migr_change_admin_accprofile_name();
    migr_bypass_config_modify();
    migr_change_name_log_alertemail();
    migr_del_snmp_community_xml_prop_and_robot();
    migr_del_bad_robot_prop_in_attack_log();
    migr_adjust_cookie_poison();
    return 0;
}

int32_t migr_hardcode_v500tov510(void)
{
    migr_add_predefined_global_white_list_group();
    migr_add_site_publish_rexp();
    migr_modify_aggregate_interface_status();
    return 0;
}

int32_t migr_hardcode_v510tov520(void)
{
    migr_move_certi_config_to_adom();
    migr_del_certi_local_passwd();
    return 0;
}

int32_t migr_hardcode_v520tov530(void)
{
    migr_del_servicestatus_item();
    migr_del_threshold_prop();
    migr_del_ocsp_prop();
    migr_del_allow_robot_prop_in_attack_log();
    return 0;
}

int32_t migr_hardcode_v530tov532(void)
{
    migr_change_emailpl_interval_value();
    return 0;
}

int32_t migr_hardcode_v532tov533(void)
{
    migr_add_sni_enable_conf();
    migr_del_child_table_hashboard_prop();
    return 0;
}

int32_t migr_hardcode_v534tov535(void)
{
    migr_mv_health_check_child_table();
    migr_adjust_bind_info();
    return 0;
}

int32_t migr_hardcode_v535tov536(void)
{
    migr_del_vzone_ip();
    migr_change_sig_name();
    migr_change_half_open_threshold();
    return 0;
}

int32_t migr_hardcode_v536tov540(void)
{
    migr_add_router_policy_priority();
    migr_change_sys_log_policy();
    return 0;
}

/* The predefined configuration joins a file of 4.30 when the file's own blocks have their new shapes. */
static int32_t reach_430()
{
    migr_hardcode_v420tov430();
    migr_preconfig();
    return 0;
}

/* A predefined rule that lacks a set is better than no upgrade. */
static int32_t reach_432()
{
    migr_hardcode_v430tov432();
    return 0;
}

/* Only an allocation that fails in the steps to 4.35 and 4.40 stops the chain; all others give 0. */
static constexpr struct {
    int32_t   version;
    migration step;
} steps[] = {
    {MIGR_RELEASE(4, 10), migr_hardcode_v40tov41},
    {MIGR_RELEASE(4, 11), migr_hardcode_v410tov411},
    {MIGR_RELEASE(4, 20), migr_hardcode_v411tov420},
    {MIGR_RELEASE(4, 30), reach_430},
    {MIGR_RELEASE(4, 32), reach_432},
    {MIGR_RELEASE(4, 35), migr_hardcode_v433tov435},
    {MIGR_RELEASE(4, 40), migr_hardcode_v435tov440},
    {MIGR_RELEASE(4, 42), migr_hardcode_v440tov442},
    {MIGR_RELEASE(4, 43), migr_hardcode_v442tov443},
    {MIGR_RELEASE(5, 0), migr_hardcode_v446tov500},
    {MIGR_RELEASE(5, 10), migr_hardcode_v500tov510},
    {MIGR_RELEASE(5, 20), migr_hardcode_v510tov520},
    {MIGR_RELEASE(5, 30), migr_hardcode_v520tov530},
    {MIGR_RELEASE(5, 32), migr_hardcode_v530tov532},
    {MIGR_RELEASE(5, 33), migr_hardcode_v532tov533},
    {MIGR_RELEASE(5, 35), migr_hardcode_v534tov535},
    {MIGR_RELEASE(5, 36), migr_hardcode_v535tov536},
    {MIGR_RELEASE(5, 40), migr_hardcode_v536tov540},
};

int32_t chain_step_version(int32_t index)
{
    return index >= 0 && index < static_cast<int32_t>(std::size(steps)) ? steps[index].version : -1;
}

/* A step runs for a section of exactly its release: one that the update file does not name has its step skipped. */
int32_t migr_hardcode(const update_section *section)
{
    for (const auto &row : steps)
        if (row.version == section->version)
            return row.step();
    return 0;
}

void forget_pass_nodes(void)
{
    forget_merged_nodes();
    release_further_rows();
}
