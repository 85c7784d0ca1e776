/* Which migrations each step of the version chain runs, in which order, and what becomes of their results. */
#include "chain/hardcode.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace {

bool                           standing_in; /* for the migrations; otherwise they run themselves */
std::vector<std::string>       ran;         /* migrations, in the order of their calls */
std::map<std::string, int32_t> results;     /* what they give; 0 for those that are not there */

int32_t record(const char *name)
{
    ran.push_back(name);
    auto result = results.find(name);
    return result == results.end() ? 0 : result->second;
}

} // namespace

/* Those that have no result give one as well: the chain cannot see it. */
#define MIGRATION(name)                                                                                                \
    extern "C" int32_t __real_##name();                                                                                \
    extern "C" int32_t __wrap_##name()                                                                                 \
    {                                                                                                                  \
        return standing_in ? record(#name) : __real_##name();                                                          \
    }

MIGRATION(waf_input_rule)
MIGRATION(url_writing_rule)
MIGRATION(fit_policies_to_opmode)
MIGRATION(migr_predefine_change)
MIGRATION(migr_policy_process)
MIGRATION(migr_policy_offline)
MIGRATION(migr_log_server_protec_rule)
MIGRATION(migr_server_protec_exp)
MIGRATION(migr_log_process)
MIGRATION(migr_user_process)
MIGRATION(migr_method_process)
MIGRATION(migr_ip_list)
MIGRATION(migr_check_server_farms)
MIGRATION(migr_health_check)
MIGRATION(migr_policy)
MIGRATION(migr_brute_force_login)
MIGRATION(migr_url_rewrite_rule)
MIGRATION(migr_xml_protection_rule_filter)
MIGRATION(migr_input_rule)
MIGRATION(migr_malicious_robot_process)
MIGRATION(migr_serverpolicy_httpconversionpolicy)
MIGRATION(migr_serverpolicy_pservers)
MIGRATION(migr_wafwebprotectionprofile_inlineprotection)
MIGRATION(migr_system_hasyncd)
MIGRATION(migr_preconfig)
MIGRATION(migr_server_protection_rule)
MIGRATION(migr_server_protection_rule_add_lfi)
MIGRATION(migr_http_pro_pa_res)
MIGRATION(migr_sp_rule_to_signature_rule)
MIGRATION(migr_custom_pro_rule)
MIGRATION(migr_snmp_events)
MIGRATION(migr_mod_packet_log)
MIGRATION(migr_x_forward)
MIGRATION(migr_advanced)
MIGRATION(migr_mod_content_routing_policy)
MIGRATION(migr_exchange_robot_group_default)
MIGRATION(migr_change_webgrp_to_wafgrp)
MIGRATION(migr_add_prefix_name)
MIGRATION(change_admin_usergrp_name)
MIGRATION(migr_del_is_default)
MIGRATION(migr_del_priority)
MIGRATION(migr_add_bad_robot_to_signature)
MIGRATION(migr_del_server_farm)
MIGRATION(migr_change_admin_accprofile_name)
MIGRATION(migr_bypass_config_modify)
MIGRATION(migr_change_name_log_alertemail)
MIGRATION(migr_del_snmp_community_xml_prop_and_robot)
MIGRATION(migr_del_bad_robot_prop_in_attack_log)
MIGRATION(migr_adjust_cookie_poison)
MIGRATION(migr_add_predefined_global_white_list_group)
MIGRATION(migr_add_site_publish_rexp)
MIGRATION(migr_modify_aggregate_interface_status)
MIGRATION(migr_move_certi_config_to_adom)
MIGRATION(migr_del_certi_local_passwd)
MIGRATION(migr_del_servicestatus_item)
MIGRATION(migr_del_threshold_prop)
MIGRATION(migr_del_ocsp_prop)
MIGRATION(migr_del_allow_robot_prop_in_attack_log)
MIGRATION(migr_change_emailpl_interval_value)
MIGRATION(migr_add_sni_enable_conf)
MIGRATION(migr_del_child_table_hashboard_prop)
MIGRATION(migr_mv_health_check_child_table)
MIGRATION(migr_adjust_bind_info)
MIGRATION(migr_del_vzone_ip)
MIGRATION(migr_change_sig_name)
MIGRATION(migr_change_half_open_threshold)
MIGRATION(migr_add_router_policy_priority)
MIGRATION(migr_change_sys_log_policy)

namespace {

struct Step {
    int32_t                  version;
    std::vector<std::string> migrations;
};

const std::vector<Step> all_steps = {
    {0x4000a, {"waf_input_rule", "url_writing_rule", "fit_policies_to_opmode"}},
    {0x4000b,
     {"migr_predefine_change", "migr_policy_process", "migr_policy_offline", "migr_log_server_protec_rule",
      "migr_server_protec_exp", "migr_log_process"}},
    {0x40014,
     {"migr_user_process", "migr_method_process", "migr_ip_list", "migr_check_server_farms", "migr_health_check",
      "migr_policy", "migr_brute_force_login", "migr_url_rewrite_rule", "migr_xml_protection_rule_filter",
      "migr_input_rule"}},
    {0x4001e,
     {"migr_malicious_robot_process", "migr_serverpolicy_httpconversionpolicy", "migr_serverpolicy_pservers",
      "migr_wafwebprotectionprofile_inlineprotection", "migr_system_hasyncd", "migr_log_server_protec_rule",
      "migr_preconfig"}},
    {0x40020, {"migr_server_protection_rule"}},
    {0x40023, {"migr_server_protection_rule", "migr_server_protection_rule_add_lfi", "migr_http_pro_pa_res"}},
    {0x40028,
     {"migr_sp_rule_to_signature_rule", "migr_custom_pro_rule", "migr_snmp_events", "migr_mod_packet_log",
      "migr_x_forward", "migr_advanced"}},
    {0x4002a, {"migr_mod_content_routing_policy"}},
    {0x4002b, {"migr_exchange_robot_group_default"}},
    {0x50000,
     {"migr_change_webgrp_to_wafgrp", "migr_add_prefix_name", "change_admin_usergrp_name", "migr_del_is_default",
      "migr_del_priority", "migr_add_bad_robot_to_signature", "migr_del_server_farm",
      "migr_change_admin_accprofile_name", "migr_bypass_config_modify", "migr_change_name_log_alertemail",
      "migr_del_snmp_community_xml_prop_and_robot", "migr_del_bad_robot_prop_in_attack_log",
      "migr_adjust_cookie_poison"}},
    {0x5000a,
     {"migr_add_predefined_global_white_list_group", "migr_add_site_publish_rexp",
      "migr_modify_aggregate_interface_status"}},
    {0x50014, {"migr_move_certi_config_to_adom", "migr_del_certi_local_passwd"}},
    {0x5001e,
     {"migr_del_servicestatus_item", "migr_del_threshold_prop", "migr_del_ocsp_prop",
      "migr_del_allow_robot_prop_in_attack_log"}},
    {0x50020, {"migr_change_emailpl_interval_value"}},
    {0x50021, {"migr_add_sni_enable_conf", "migr_del_child_table_hashboard_prop"}},
    {0x50023, {"migr_mv_health_check_child_table", "migr_adjust_bind_info"}},
    {0x50024, {"migr_del_vzone_ip", "migr_change_sig_name", "migr_change_half_open_threshold"}},
    {0x50028, {"migr_add_router_policy_priority", "migr_change_sys_log_policy"}},
};

/* A step ends at the first of these that gives something else than 0. */
const std::map<int32_t, std::vector<std::string>> stoppers = {
    {0x40023, {"migr_server_protection_rule_add_lfi", "migr_http_pro_pa_res"}},
    {0x40028,
     {"migr_sp_rule_to_signature_rule", "migr_custom_pro_rule", "migr_snmp_events", "migr_mod_packet_log",
      "migr_x_forward", "migr_advanced"}},
    {0x4002a, {"migr_mod_content_routing_policy"}},
};

bool stops(int32_t version, const std::string &migration)
{
    auto of_step = stoppers.find(version);
    return of_step != stoppers.end() &&
           std::find(of_step->second.begin(), of_step->second.end(), migration) != of_step->second.end();
}

class Steps : public testing::Test {
  protected:
    void SetUp() override
    {
        standing_in = true;
    }
    void TearDown() override
    {
        standing_in = false;
        results.clear();
    }

    static int32_t run(int32_t version)
    {
        ran.clear();
        update_section section = {};
        section.version = version;
        return migr_hardcode(&section);
    }
};

TEST_F(Steps, RunTheirMigrationsInOrder)
{
    for (const Step &step : all_steps) {
        EXPECT_EQ(run(step.version), 0);
        EXPECT_EQ(ran, step.migrations) << std::hex << step.version;
    }
}

TEST_F(Steps, ExistForTheVersionsOfTheirReleasesAndNoOther)
{
    size_t next = 0;
    for (int32_t version : {-1, 0, 0x30028}) {
        EXPECT_EQ(run(version), 0);
        EXPECT_EQ(ran.size(), 0u) << version;
    }
    for (int32_t version = 0x3fff0; version <= 0x60020; version++) {
        if (next < all_steps.size() && version == all_steps[next].version) {
            next++;
            continue;
        }
        EXPECT_EQ(run(version), 0);
        EXPECT_EQ(ran.size(), 0u) << std::hex << version;
    }
    EXPECT_EQ(next, all_steps.size());
}

TEST_F(Steps, StopAtAFailureOfTheirsOrIgnoreIt)
{
    for (const Step &step : all_steps)
        for (size_t failing = 0; failing < step.migrations.size(); failing++)
            for (int32_t failure : {-1, 7}) {
                const std::string &migration = step.migrations[failing];
                SCOPED_TRACE(migration);
                results = {{migration, failure}};
                bool stopped = stops(step.version, migration);
                EXPECT_EQ(run(step.version), stopped ? failure : 0);
                EXPECT_EQ(ran.size(), stopped ? failing + 1 : step.migrations.size());
            }
}

TEST_F(Steps, GiveTheFirstOfTwoFailures)
{
    results = {{"migr_custom_pro_rule", 3}, {"migr_x_forward", -1}};
    EXPECT_EQ(run(0x40028), 3);
    results = {{"migr_server_protection_rule", -1}, {"migr_http_pro_pa_res", 5}};
    EXPECT_EQ(run(0x40023), 5);
}

} // namespace
