#include "chain/hardcode.h"

#include "chain/aggregate_binding.h"
#include "chain/method_and_ip_lists.h"
#include "chain/names_and_defaults.h"
#include "chain/release_41.h"
#include "chain/releases_53_to_54.h"
#include "chain/releases_to_52.h"
#include "chain/server_policies.h"
#include "chain/small_conversions.h"
#include "chain/users.h"

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
    return 0;
}

int32_t migr_hardcode_v430tov432(void)
{
    return 0;
}

int32_t migr_hardcode_v433tov435(void)
{
    return 0;
}

int32_t migr_hardcode_v435tov440(void)
{
    migr_snmp_events();
    migr_mod_packet_log();
    migr_x_forward();
    migr_advanced();
    return 0;
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

/* A step runs for a section of exactly its release; a release that the update file does not name has its step skipped.
 * Only an allocation that fails in the steps to 4.35 and 4.40 stops the chain. */
static constexpr struct {
    int32_t version;
    int32_t (*step)(void);
} steps[] = {
    {0x4000a, migr_hardcode_v40tov41},   {0x4000b, migr_hardcode_v410tov411}, {0x40014, migr_hardcode_v411tov420},
    {0x4001e, migr_hardcode_v420tov430}, {0x40020, migr_hardcode_v430tov432}, {0x40023, migr_hardcode_v433tov435},
    {0x40028, migr_hardcode_v435tov440}, {0x4002a, migr_hardcode_v440tov442}, {0x4002b, migr_hardcode_v442tov443},
    {0x50000, migr_hardcode_v446tov500}, {0x5000a, migr_hardcode_v500tov510}, {0x50014, migr_hardcode_v510tov520},
    {0x5001e, migr_hardcode_v520tov530}, {0x50020, migr_hardcode_v530tov532}, {0x50021, migr_hardcode_v532tov533},
    {0x50023, migr_hardcode_v534tov535}, {0x50024, migr_hardcode_v535tov536}, {0x50028, migr_hardcode_v536tov540},
};

int32_t migr_hardcode(const update_section *section)
{
    for (const auto &row : steps)
        if (row.version == section->version)
            return row.step();
    return 0;
}

void forget_pass_nodes(void)
{
}
