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
#include "ledger/tell.h"

#include <iterator>
#include <span>

using migration = int32_t (*)(void);

/* Runs a migration under its name, and gives what it gives. */
#define RUN(migration) (ledger::set_author_name(#migration), migration())

struct named_migration {
    const char *name;
    migration   run;
};

#define NAMED(migration)                                                                                               \
    {                                                                                                                  \
#migration, migration                                                                                          \
    }

/* The first result that is not 0, and what stands behind that migration does not run; else 0. */
static int32_t run_until_one_fails(std::span<const named_migration> migrations)
{
    for (const named_migration &row : migrations) {
        ledger::set_author_name(row.name);
        if (int32_t result = row.run())
            return result;
    }
    return 0;
}

/* Each step is its migrations, in their order. */

int32_t migr_hardcode_v40tov41(void)
{
    RUN(waf_input_rule);
    RUN(url_writing_rule);
    RUN(fit_policies_to_opmode);
    return 0;
}

int32_t migr_hardcode_v410tov411(void)
{
    RUN(migr_predefine_change);
    RUN(migr_policy_process);
    RUN(migr_policy_offline);
    RUN(migr_log_server_protec_rule);
    RUN(migr_server_protec_exp);
    RUN(migr_log_process);
    return 0;
}

int32_t migr_hardcode_v411tov420(void)
{
    RUN(migr_user_process);
    RUN(migr_method_process);
    RUN(migr_ip_list);
    RUN(migr_check_server_farms);
    RUN(migr_health_check);
    RUN(migr_policy);
    RUN(migr_brute_force_login);
    RUN(migr_url_rewrite_rule);
    RUN(migr_xml_protection_rule_filter);
    RUN(migr_input_rule);
    return 0;
}

int32_t migr_hardcode_v420tov430(void)
{
    RUN(migr_malicious_robot_process);
    RUN(migr_serverpolicy_httpconversionpolicy);
    RUN(migr_serverpolicy_pservers);
    RUN(migr_wafwebprotectionprofile_inlineprotection);
    RUN(migr_system_hasyncd);
    RUN(migr_log_server_protec_rule);
    return 0;
}

int32_t migr_hardcode_v430tov432(void)
{
    return RUN(migr_server_protection_rule);
}

int32_t migr_hardcode_v433tov435(void)
{
    RUN(migr_server_protection_rule);
    static constexpr named_migration migrations[] = {
        NAMED(migr_server_protection_rule_add_lfi),
        NAMED(migr_http_pro_pa_res),
    };
    return run_until_one_fails(migrations);
}

int32_t migr_hardcode_v435tov440(void)
{
    static constexpr named_migration migrations[] = {
        NAMED(migr_sp_rule_to_signature_rule),
        NAMED(migr_custom_pro_rule),
        NAMED(migr_snmp_events),
        NAMED(migr_mod_packet_log),
        NAMED(migr_x_forward),
        NAMED(migr_advanced),
    };
    return run_until_one_fails(migrations);
}

int32_t migr_hardcode_v440tov442(void)
{
    return RUN(migr_mod_content_routing_policy);
}

int32_t migr_hardcode_v442tov443(void)
{
    RUN(migr_exchange_robot_group_default);
    return 0;
}

int32_t migr_hardcode_v446tov500(void)
{
    RUN(migr_change_webgrp_to_wafgrp);
    RUN(migr_add_prefix_name);
    RUN(change_admin_usergrp_name);
    RUN(migr_del_is_default);
    RUN(migr_del_priority);
    RUN(migr_add_bad_robot_to_signature);
    RUN(migr_del_server_farm);
    RUN(migr_change_admin_accprofile_name);
    RUN(migr_bypass_config_modify);
    RUN(migr_change_name_log_alertemail);
    RUN(migr_del_snmp_community_xml_prop_and_robot);
    RUN(migr_del_bad_robot_prop_in_attack_log);
    RUN(migr_adjust_cookie_poison);
    return 0;
}

int32_t migr_hardcode_v500tov510(void)
{
    RUN(migr_add_predefined_global_white_list_group);
    RUN(migr_add_site_publish_rexp);
    RUN(migr_modify_aggregate_interface_status);
    return 0;
}

int32_t migr_hardcode_v510tov520(void)
{
    RUN(migr_move_certi_config_to_adom);
    RUN(migr_del_certi_local_passwd);
    return 0;
}

int32_t migr_hardcode_v520tov530(void)
{
    RUN(migr_del_servicestatus_item);
    RUN(migr_del_threshold_prop);
    RUN(migr_del_ocsp_prop);
    RUN(migr_del_allow_robot_prop_in_attack_log);
    return 0;
}

int32_t migr_hardcode_v530tov532(void)
{
    RUN(migr_change_emailpl_interval_value);
    return 0;
}

int32_t migr_hardcode_v532tov533(void)
{
    RUN(migr_add_sni_enable_conf);
    RUN(migr_del_child_table_hashboard_prop);
    return 0;
}

int32_t migr_hardcode_v534tov535(void)
{
    RUN(migr_mv_health_check_child_table);
    RUN(migr_adjust_bind_info);
    return 0;
}

int32_t migr_hardcode_v535tov536(void)
{
    RUN(migr_del_vzone_ip);
    RUN(migr_change_sig_name);
    RUN(migr_change_half_open_threshold);
    return 0;
}

int32_t migr_hardcode_v536tov540(void)
{
    RUN(migr_add_router_policy_priority);
    RUN(migr_change_sys_log_policy);
    return 0;
}

/* The predefined configuration joins a file of 4.30 when the file's own blocks have their new shapes. */
static int32_t reach_430()
{
    migr_hardcode_v420tov430();
    RUN(migr_preconfig);
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
