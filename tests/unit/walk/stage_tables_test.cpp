/* The stages and their rows as hosts and debuggers know them. */
#include "walk/stages.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct ExpectedRow {
    const char *name;
    const char *scope;
    int32_t     scope_len;
    int32_t     max_round;
    int32_t     state_size;
};

struct ExpectedStage {
    int32_t                  version;
    int32_t                  type;
    std::vector<ExpectedRow> rows;
};

const std::vector<ExpectedStage> expected_stages = {
    {0x50032,
     STAGE_ADOM,
     {
         {"_migr_change_replace_msg", "system,replacemsg", 17, 1, 0},
         {"_migr_change_protocol_constraints", "waf,http-protocol-parameter-restriction", 39, 1, 528},
         {"_migr_change_protocol_constraints_exception", "waf,http-constraints-exceptions", 31, 1, 0},
         {"_migr_change_wad_auto_restore", "wad,website", 11, 1, 0},
         {"_migr_change_custom_protection_rule", "waf,custom-protection-rule", 26, 1, 2072},
         {"_migr_change_persistence_policy", "server-policy,persistence-policy", 32, 1, 0},
         {"_migr_change_signature_filter_list", "waf,signature", 13, 1, 8},
         {"_migr_change_content_routing", "server-policy,http-content-routing-policy", 41, 1, 24},
         {"_migr_change_corvo_log_policy", "log,corvolog-policy", 19, 1, 8},
         {"_migr_change_sys_siem_policy", "log,siem-policy", 15, 1, 8},
         {"_migr_change_sys_global", "system,global", 13, 1, 0},
     }},
    {0x50033,
     STAGE_ADOM,
     {
         {"_migr_del_snmp_community_interface", "system,snmp,community", 21, 1, 0},
         {"_migr_del_snmp_user_interface", "system,snmp,user", 16, 1, 0},
         {"_migr_change_replace_msg2", "system,replacemsg", 17, 1, 0},
         {"_migr_change_wccp_passwd_name", "system,wccp", 11, 1, 0},
     }},
    {0x50034,
     STAGE_ADOM,
     {
         {"_change_server_pool_ssl_protocol", "server-policy,server-pool", 25, 1, 4},
     }},
    {0x5003c,
     STAGE_ADOM,
     {
         {"_migr_move_cookie_poison", "waf,web-protection-profile,inline-protection", 44, 1, 536},
         {"_migr_del_cookie_poison_log", "log,attack-log", 14, 1, 0},
         {"_migr_del_memory_log_config", "log", 3, 1, 0},
         {"_migr_move_site_publish_rule", "waf,site-publish-helper,rule", 28, 1, 536},
     }},
    {0x50046,
     STAGE_ADOM,
     {
         {"_change_value_for_hpc", "waf,http-protocol-parameter-restriction", 39, 1, 0},
         {"_change_cookie_security_mode", "waf,cookie-security", 19, 1, 16},
     }},
    {0x50050,
     STAGE_ADOM,
     {
         {"_change_local_certificate", "system,certificate,local", 24, 1, 4},
         {"_change_ca_certificate", "system,certificate,ca", 21, 1, 0},
         {"_change_intermediate_certificate", "system,certificate,intermediate-certificate", 43, 1, 0},
         {"_change_crl_certificate", "system,certificate,crl", 22, 1, 0},
         {"_remove_default_local_admin_certificate", "system,admin-certificate,local", 30, 1, 0},
         {"_change_local_admin_certificate", "system,admin-certificate,local", 30, 1, 8},
         {"_change_ca_admin_certificate", "system,admin-certificate,ca", 27, 1, 0},
         {"_migr_cookie_timeout_sitepublish", "waf,site-publish-helper,rule", 28, 1, 0},
         {"_av_vir_file_copy", "", 0, 1, 4},
         {"_remove_signature_scoring", "waf,signature", 13, 1, 0},
         {"_remove_show_all_log", "log,attack-log", 14, 1, 0},
         {"_encrypt_local_certificate_key", "system", 6, 1, 0},
     }},
    {0x50053,
     STAGE_ADOM,
     {
         {"_remove_ha_no_virtual_mac", "system,ha", 9, 1, 0},
         {"_remove_global_no_ssl3", "system,global", 13, 1, 0},
         {"_remove_policy_ssl3", "server-policy,policy", 20, 1, 0},
         {"_change_server_pool_ssl", "server-policy,server-pool", 25, 1, 0},
         {"_change_cert_login", "system,global", 13, 1, 0},
         {"_remove_ocsp_stapling", "server-policy,policy", 20, 1, 24},
         {"_add_crl_group", "system,certificate", 18, 2, 16},
         {"_change_offline_session_timeout", "system,settings", 15, 1, 0},
     }},
    {0x50055,
     STAGE_ADOM,
     {
         {"_add_server_policy_setting", "", 0, 3, 16},
         {"_del_sys_admin_jsconsole", "system,admin", 12, 1, 0},
         {"_change_server_pool_ssl_cipher", "server-policy,server-pool", 25, 1, 0},
         {"_change_policy_ssl_cipher", "server-policy,policy", 20, 1, 0},
         {"_remove_log_reports_config", "log,reports", 11, 1, 0},
         {"_change_real_browser_enforcement", "waf", 3, 1, 16},
         {"_change_cookie_security_mode2", "waf,cookie-security", 19, 1, 528},
     }},
    {0x5005a,
     STAGE_ADOM,
     {
         {"_change_global_uds_server", "system,global", 13, 1, 0},
         {"_change_system_uds_server", "system,uds,server", 17, 1, 0},
         {"_add_system_passwd_policy", "system,global", 13, 1, 8},
         {"_change_server_side_sni", "server-policy,", 14, 2, 544},
         {"_change_server_pool_https_health", "server-policy,server-pool", 25, 1, 0},
         {"_change_server_policy_https_health", "server-policy,health", 20, 1, 0},
         {"_change_aws_azure_opmode", "system,settings", 15, 1, 0},
         {"_migr_adjust_offline_brute_force_login", "waf,web-protection-profile,offline-protection", 45, 1, 0},
         {"_migr_adjust_inline_brute_force_login", "waf,web-protection-profile,inline-protection", 44, 1, 0},
         {"_adjust_server_policy_health", "server-policy", 13, 3, 16408},
     }},
    {0x5005b,
     STAGE_ADOM,
     {
         {"_change_waf_custom_access_rule_traced_by", "waf,custom-access,rule", 22, 1, 0},
     }},
    {0x60000,
     STAGE_ADOM,
     {
         {"_change_log_attack_log_packet_log", "log,attack-log", 14, 1, 4},
     }},
    {0x60001,
     STAGE_ADOM,
     {
         {"_erase_allow_time_under_wrong_condition", "waf,cookie-security", 19, 1, 16},
         {"_erase_data_analysis_from_web_protection_in_offline", "waf,web-protection-profile", 26, 1, 0},
         {"_update_system_advanced", "system,advanced", 15, 1, 4},
         {"_erase_fast_forward_from_server_policy_setting", "server-policy,setting", 21, 1, 0},
     }},
    {0x60002,
     STAGE_ADOM,
     {
         {"_remove_geo_db_dir", "", 0, 1, 0},
         {"_update_snmp_and_ha", "system", 6, 1, 0},
         {"_adjust_ml_policy", "waf,machine-learning-policy", 27, 1, 0},
         {"_check_xff_cond", "waf,x-forwarded-for", 19, 1, 24},
         {"_correct_wrong_server_pool_prop", "server-policy,server-pool", 25, 1, 0},
     }},
    {0x6000a,
     STAGE_ADOM,
     {
         {"_purge_corvo_box", "system,corvobox", 15, 1, 0},
         {"_sync_cookie_security_mode", "waf,cookie-security", 19, 1, 4},
         {"_trim_cl_prop", "log,corvolog-policy", 19, 1, 0},
         {"_rename_sph_rule_prop", "waf,site-publish-helper,rule", 28, 1, 0},
         {"_remove_all_autolearn", "", 0, 1, 4},
         {"_erase_file_compress", "waf", 3, 1, 0},
         {"_adjust_ml_policy2", "waf,machine-learning-policy", 27, 1, 0},
         {"_cleanup_old_wvs", "wvs", 3, 1, 4},
         {"_purge_white_list", "server-policy,pattern,predefined-global-white-list-group", 56, 1, 0},
         {"_adjust_ha_interface", "", 0, 3, 816},
         {"_adjust_cert_conf", "", 0, 1, 0},
         {"_purge_fur_rule", "waf,file-upload-restriction-rule", 32, 1, 4},
     }},
    {0x6000b,
     STAGE_ADOM,
     {
         {"_adjust_xml_json_profile", "", 0, 2, 5020},
         {"_adjust_xml_json_log", "log,attack-log", 14, 1, 0},
         {"_erase_xml_json_pattern", "server-policy,pattern,threat-weight", 35, 1, 0},
         {"_erase_xml_json_exception", "waf,device-reputation,reputation-exceptions", 43, 1, 0},
         {"_update_xml_rule", "waf,xml-validation,rule", 23, 1, 0},
         {"_adjust_hsm_info", "system,hsm,info", 15, 1, 4},
         {"_reorg_azure_res", "system,azure-resource", 21, 1, 0},
         {"_adjust_ha_mgmt_by_cond", "system", 6, 2, 8},
     }},
    {0x60014,
     STAGE_ADOM,
     {
         {"_adjust_server_policy_vserver", "server-policy,vserver", 21, 1, 40},
         {"_adjust_replacemsg", "system,replacemsg", 17, 2, 112},
         {"_adjust_hpc_620", "waf,http-protocol-parameter-restriction", 39, 1, 0},
         {"_adjust_kerberos_user", "user,kerberos-user", 18, 1, 16},
         {"_reorg_cert_remote", "", 0, 2, 1712},
         {"_erase_predefined_rules", "waf,custom-access,policy", 24, 1, 4},
         {"_adjust_ml_policy_620", "waf,machine-learning-policy", 27, 1, 0},
         {"_add_cus_rule_switch", "waf,custom-access,rule", 22, 1, 4},
         {"_add_access_limit_switch", "waf,http-request-flood-prevention-rule", 38, 1, 4},
         {"_add_dos_flood_switch", "waf,layer4-access-limit-rule", 28, 1, 4},
         {"_rename_msh_con_key_file", "system,mesh-connectors", 22, 1, 8},
         {"_optional_erase_ha", "system,ha", 9, 1, 0},
         {"_purge_hpc_excpt", "waf,http-constraints-exceptions", 31, 1, 0},
         {"_trim_xml_by_mode", "", 0, 3, 4},
         {"_adjust_cloud_proxy_protocol", "server-policy", 13, 1, 0},
         {"_cleanup_pre620_av_file", "", 0, 1, 0},
     }},
    {0x60014,
     STAGE_ML,
     {
         {"_ml_adjust_policy", "waf,machine-learning-policy", 27, 1, 0},
     }},
};

const std::vector<size_t> expected_row_counts = {11, 4, 1, 4, 2, 12, 8, 7, 10, 1, 1, 4, 5, 12, 8, 16, 1};

} // namespace

TEST(StageTables, SeventeenStagesInTheOrderOfTheirReleases)
{
    ASSERT_EQ(17u, expected_stages.size());
    size_t count = 0;
    for (; all_stages[count]; count++) {
        ASSERT_LT(count, expected_stages.size());
        const stage_table   *stage = all_stages[count];
        const ExpectedStage &expected = expected_stages[count];
        SCOPED_TRACE(count);
        EXPECT_EQ(expected.version, stage->version);
        EXPECT_EQ(expected.type, stage->type);
        EXPECT_EQ(expected_row_counts[count], expected.rows.size());
        EXPECT_EQ(static_cast<int32_t>(expected_row_counts[count]), stage->row_count);
    }
    EXPECT_EQ(17u, count);
}

TEST(StageTables, EachRow)
{
    size_t number = 0;
    for (const ExpectedStage &expected : expected_stages) {
        const stage_table *stage = all_stages[number++];
        ASSERT_NE(nullptr, stage);
        ASSERT_EQ(expected.rows.size(), static_cast<size_t>(stage->row_count));
        for (size_t i = 0; i < expected.rows.size(); i++) {
            const stage_row &row = stage->rows[i];
            SCOPED_TRACE(expected.rows[i].name);
            EXPECT_STREQ(expected.rows[i].name, row.name);
            EXPECT_STREQ(expected.rows[i].scope, row.scope);
            EXPECT_EQ(expected.rows[i].scope_len, row.scope_len);
            EXPECT_EQ(std::string(row.scope).size(), static_cast<size_t>(row.scope_len));
            EXPECT_EQ(expected.rows[i].max_round, row.max_round);
            EXPECT_EQ(expected.rows[i].state_size, row.state_size);
        }
    }
}

/* A row's callback is the function of its name, which a host can look up. */
TEST(StageTables, CallbacksHaveTheirNames)
{
    for (stage_table *const *stage = all_stages; *stage; stage++)
        for (int32_t i = 0; i < (*stage)->row_count; i++) {
            const stage_row &row = (*stage)->rows[i];
            EXPECT_EQ(dlsym(RTLD_DEFAULT, row.name), reinterpret_cast<void *>(row.func)) << row.name;
        }
}

/* The two flags lie side by side: a callback gets the address of the first. */
TEST(StageTables, FlagsOfARow)
{
    static_assert(offsetof(stage_row, finished) == offsetof(stage_row, skip_round) + sizeof(int32_t));
    stage_row row = {};
    int32_t  *progress = &row.skip_round;
    EXPECT_EQ(&row.finished, progress + 1);
}
