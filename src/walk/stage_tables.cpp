/*
 * What each release changes, from 5.50 on: its callbacks in the order in which they see a position, the configs on
 * which they look (by the beginning of the name), and in how many rounds.
 *
 * A scope's length and a state's size follow from the text and the type. One scope ends in a comma and is meant to.
 */
#include "walk/stage_tables.h"

#include "stages/policy/content_routing.h"
#include "stages/policy/cookie_security.h"
#include "stages/policy/log_policies.h"
#include "stages/policy/protection_rules.h"
#include "stages/policy/server_policies.h"
#include "stages/policy/small_settings.h"
#include "stages/system/certificate_files.h"
#include "stages/system/feature_cleanup.h"
#include "stages/system/high_availability.h"
#include "stages/system/remote_certificates.h"
#include "stages/system/replacement_messages.h"
#include "stages/system/tls_settings.h"
#include "stages/system/xml_json_protection.h"

#include <iterator>

/* The size of a row's state block, for a row without state that of no type at all. */
template <typename... state> constexpr int32_t state_size = static_cast<int32_t>((sizeof(state) + ... + 0));

/* A row is a line. */
/* clang-format off */
/* callback, scope, rounds, and the state's type for a callback that has one. */
#define ROW(callback, scope, rounds, ...)                                                                              \
    {#callback, callback, scope, sizeof(scope) - 1, rounds, nullptr, state_size<__VA_ARGS__>, 0, 0}
#define STAGE(version, type, rows) {version, type, rows, static_cast<int32_t>(std::size(rows))}

/* Release 5.50. */
stage_row cbc_arr_MIGR_ADOM0x50032[] = {
    ROW(_migr_change_replace_msg, "system,replacemsg", 1),
    ROW(_migr_change_protocol_constraints, "waf,http-protocol-parameter-restriction", 1, migr_change_protocol_constraints_state),
    ROW(_migr_change_protocol_constraints_exception, "waf,http-constraints-exceptions", 1),
    ROW(_migr_change_wad_auto_restore, "wad,website", 1),
    ROW(_migr_change_custom_protection_rule, "waf,custom-protection-rule", 1, migr_change_custom_protection_rule_state),
    ROW(_migr_change_persistence_policy, "server-policy,persistence-policy", 1),
    ROW(_migr_change_signature_filter_list, "waf,signature", 1, migr_change_signature_filter_list_state),
    ROW(_migr_change_content_routing, "server-policy,http-content-routing-policy", 1, migr_change_content_routing_state),
    ROW(_migr_change_corvo_log_policy, "log,corvolog-policy", 1, server_list_state),
    ROW(_migr_change_sys_siem_policy, "log,siem-policy", 1, server_list_state),
    ROW(_migr_change_sys_global, "system,global", 1),
};
stage_table c3_arr_MIGR_ADOM0x50032 = STAGE(MIGR_RELEASE(5, 50), STAGE_ADOM, cbc_arr_MIGR_ADOM0x50032);

/* Release 5.51. */
stage_row cbc_arr_MIGR_ADOM0x50033[] = {
    ROW(_migr_del_snmp_community_interface, "system,snmp,community", 1),
    ROW(_migr_del_snmp_user_interface, "system,snmp,user", 1),
    ROW(_migr_change_replace_msg2, "system,replacemsg", 1),
    ROW(_migr_change_wccp_passwd_name, "system,wccp", 1),
};
stage_table c3_arr_MIGR_ADOM0x50033 = STAGE(MIGR_RELEASE(5, 51), STAGE_ADOM, cbc_arr_MIGR_ADOM0x50033);

/* Release 5.52. */
stage_row cbc_arr_MIGR_ADOM0x50034[] = {
    ROW(_change_server_pool_ssl_protocol, "server-policy,server-pool", 1, change_server_pool_ssl_protocol_state),
};
stage_table c3_arr_MIGR_ADOM0x50034 = STAGE(MIGR_RELEASE(5, 52), STAGE_ADOM, cbc_arr_MIGR_ADOM0x50034);

/* Release 5.60. */
stage_row cbc_arr_MIGR_ADOM0x5003c[] = {
    ROW(_migr_move_cookie_poison, "waf,web-protection-profile,inline-protection", 1, migr_move_cookie_poison_state),
    ROW(_migr_del_cookie_poison_log, "log,attack-log", 1),
    ROW(_migr_del_memory_log_config, "log", 1),
    ROW(_migr_move_site_publish_rule, "waf,site-publish-helper,rule", 1, migr_move_site_publish_rule_state),
};
stage_table c3_arr_MIGR_ADOM0x5003c = STAGE(MIGR_RELEASE(5, 60), STAGE_ADOM, cbc_arr_MIGR_ADOM0x5003c);

/* Release 5.70. */
stage_row cbc_arr_MIGR_ADOM0x50046[] = {
    ROW(_change_value_for_hpc, "waf,http-protocol-parameter-restriction", 1),
    ROW(_change_cookie_security_mode, "waf,cookie-security", 1, change_cookie_security_mode_state),
};
stage_table c3_arr_MIGR_ADOM0x50046 = STAGE(MIGR_RELEASE(5, 70), STAGE_ADOM, cbc_arr_MIGR_ADOM0x50046);

/* Release 5.80. */
stage_row cbc_arr_MIGR_ADOM0x50050[] = {
    ROW(_change_local_certificate, "system,certificate,local", 1, change_local_certificate_state),
    ROW(_change_ca_certificate, "system,certificate,ca", 1),
    ROW(_change_intermediate_certificate, "system,certificate,intermediate-certificate", 1),
    ROW(_change_crl_certificate, "system,certificate,crl", 1),
    ROW(_remove_default_local_admin_certificate, "system,admin-certificate,local", 1),
    ROW(_change_local_admin_certificate, "system,admin-certificate,local", 1, change_local_admin_certificate_state),
    ROW(_change_ca_admin_certificate, "system,admin-certificate,ca", 1),
    ROW(_migr_cookie_timeout_sitepublish, "waf,site-publish-helper,rule", 1),
    ROW(_av_vir_file_copy, "", 1, av_vir_file_copy_state),
    ROW(_remove_signature_scoring, "waf,signature", 1),
    ROW(_remove_show_all_log, "log,attack-log", 1),
    ROW(_encrypt_local_certificate_key, "system", 1),
};
stage_table c3_arr_MIGR_ADOM0x50050 = STAGE(MIGR_RELEASE(5, 80), STAGE_ADOM, cbc_arr_MIGR_ADOM0x50050);

/* Release 5.83. */
stage_row cbc_arr_MIGR_ADOM0x50053[] = {
    ROW(_remove_ha_no_virtual_mac, "system,ha", 1),
    ROW(_remove_global_no_ssl3, "system,global", 1),
    ROW(_remove_policy_ssl3, "server-policy,policy", 1),
    ROW(_change_server_pool_ssl, "server-policy,server-pool", 1),
    ROW(_change_cert_login, "system,global", 1),
    ROW(_remove_ocsp_stapling, "server-policy,policy", 1, remove_ocsp_stapling_state),
    ROW(_add_crl_group, "system,certificate", 2, add_crl_group_state),
    ROW(_change_offline_session_timeout, "system,settings", 1),
};
stage_table c3_arr_MIGR_ADOM0x50053 = STAGE(MIGR_RELEASE(5, 83), STAGE_ADOM, cbc_arr_MIGR_ADOM0x50053);

/* Release 5.85. */
stage_row cbc_arr_MIGR_ADOM0x50055[] = {
    ROW(_add_server_policy_setting, "", 3, add_server_policy_setting_state),
    ROW(_del_sys_admin_jsconsole, "system,admin", 1),
    ROW(_change_server_pool_ssl_cipher, "server-policy,server-pool", 1),
    ROW(_change_policy_ssl_cipher, "server-policy,policy", 1),
    ROW(_remove_log_reports_config, "log,reports", 1),
    ROW(_change_real_browser_enforcement, "waf", 1, change_real_browser_enforcement_state),
    ROW(_change_cookie_security_mode2, "waf,cookie-security", 1, change_cookie_security_mode2_state),
};
stage_table c3_arr_MIGR_ADOM0x50055 = STAGE(MIGR_RELEASE(5, 85), STAGE_ADOM, cbc_arr_MIGR_ADOM0x50055);

/* Release 5.90. */
stage_row cbc_arr_MIGR_ADOM0x5005a[] = {
    ROW(_change_global_uds_server, "system,global", 1),
    ROW(_change_system_uds_server, "system,uds,server", 1),
    ROW(_add_system_passwd_policy, "system,global", 1, add_system_passwd_policy_state),
    ROW(_change_server_side_sni, "server-policy,", 2, change_server_side_sni_state),
    ROW(_change_server_pool_https_health, "server-policy,server-pool", 1),
    ROW(_change_server_policy_https_health, "server-policy,health", 1),
    ROW(_change_aws_azure_opmode, "system,settings", 1),
    ROW(_migr_adjust_offline_brute_force_login, "waf,web-protection-profile,offline-protection", 1),
    ROW(_migr_adjust_inline_brute_force_login, "waf,web-protection-profile,inline-protection", 1),
    ROW(_adjust_server_policy_health, "server-policy", 3, adjust_server_policy_health_state),
};
stage_table c3_arr_MIGR_ADOM0x5005a = STAGE(MIGR_RELEASE(5, 90), STAGE_ADOM, cbc_arr_MIGR_ADOM0x5005a);

/* Release 5.91. */
stage_row cbc_arr_MIGR_ADOM0x5005b[] = {
    ROW(_change_waf_custom_access_rule_traced_by, "waf,custom-access,rule", 1),
};
stage_table c3_arr_MIGR_ADOM0x5005b = STAGE(MIGR_RELEASE(5, 91), STAGE_ADOM, cbc_arr_MIGR_ADOM0x5005b);

/* Release 6.00. */
stage_row cbc_arr_MIGR_ADOM0x60000[] = {
    ROW(_change_log_attack_log_packet_log, "log,attack-log", 1, change_log_attack_log_packet_log_state),
};
stage_table c3_arr_MIGR_ADOM0x60000 = STAGE(MIGR_RELEASE(6, 0), STAGE_ADOM, cbc_arr_MIGR_ADOM0x60000);

/* Release 6.01. */
stage_row cbc_arr_MIGR_ADOM0x60001[] = {
    ROW(_erase_allow_time_under_wrong_condition, "waf,cookie-security", 1, erase_allow_time_under_wrong_condition_state),
    ROW(_erase_data_analysis_from_web_protection_in_offline, "waf,web-protection-profile", 1),
    ROW(_update_system_advanced, "system,advanced", 1, update_system_advanced_state),
    ROW(_erase_fast_forward_from_server_policy_setting, "server-policy,setting", 1),
};
stage_table c3_arr_MIGR_ADOM0x60001 = STAGE(MIGR_RELEASE(6, 1), STAGE_ADOM, cbc_arr_MIGR_ADOM0x60001);

/* Release 6.02. */
stage_row cbc_arr_MIGR_ADOM0x60002[] = {
    ROW(_remove_geo_db_dir, "", 1),
    ROW(_update_snmp_and_ha, "system", 1),
    ROW(_adjust_ml_policy, "waf,machine-learning-policy", 1),
    ROW(_check_xff_cond, "waf,x-forwarded-for", 1, check_xff_cond_state),
    ROW(_correct_wrong_server_pool_prop, "server-policy,server-pool", 1),
};
stage_table c3_arr_MIGR_ADOM0x60002 = STAGE(MIGR_RELEASE(6, 2), STAGE_ADOM, cbc_arr_MIGR_ADOM0x60002);

/* Release 6.10. */
stage_row cbc_arr_MIGR_ADOM0x6000a[] = {
    ROW(_purge_corvo_box, "system,corvobox", 1),
    ROW(_sync_cookie_security_mode, "waf,cookie-security", 1, sync_cookie_security_mode_state),
    ROW(_trim_cl_prop, "log,corvolog-policy", 1),
    ROW(_rename_sph_rule_prop, "waf,site-publish-helper,rule", 1),
    ROW(_remove_all_autolearn, "", 1, remove_all_autolearn_state),
    ROW(_erase_file_compress, "waf", 1),
    ROW(_adjust_ml_policy2, "waf,machine-learning-policy", 1),
    ROW(_cleanup_old_wvs, "wvs", 1, cleanup_old_wvs_state),
    ROW(_purge_white_list, "server-policy,pattern,predefined-global-white-list-group", 1),
    ROW(_adjust_ha_interface, "", 3, adjust_ha_interface_state),
    ROW(_adjust_cert_conf, "", 1),
    ROW(_purge_fur_rule, "waf,file-upload-restriction-rule", 1, nested_entry_state),
};
stage_table c3_arr_MIGR_ADOM0x6000a = STAGE(MIGR_RELEASE(6, 10), STAGE_ADOM, cbc_arr_MIGR_ADOM0x6000a);

/* Release 6.11. */
stage_row cbc_arr_MIGR_ADOM0x6000b[] = {
    ROW(_adjust_xml_json_profile, "", 2, adjust_xml_json_profile_state),
    ROW(_adjust_xml_json_log, "log,attack-log", 1),
    ROW(_erase_xml_json_pattern, "server-policy,pattern,threat-weight", 1),
    ROW(_erase_xml_json_exception, "waf,device-reputation,reputation-exceptions", 1),
    ROW(_update_xml_rule, "waf,xml-validation,rule", 1),
    ROW(_adjust_hsm_info, "system,hsm,info", 1, adjust_hsm_info_state),
    ROW(_reorg_azure_res, "system,azure-resource", 1),
    ROW(_adjust_ha_mgmt_by_cond, "system", 2, adjust_ha_mgmt_by_cond_state),
};
stage_table c3_arr_MIGR_ADOM0x6000b = STAGE(MIGR_RELEASE(6, 11), STAGE_ADOM, cbc_arr_MIGR_ADOM0x6000b);

/* Release 6.20. */
stage_row cbc_arr_MIGR_ADOM0x60014[] = {
    ROW(_adjust_server_policy_vserver, "server-policy,vserver", 1, adjust_server_policy_vserver_state),
    ROW(_adjust_replacemsg, "system,replacemsg", 2, adjust_replacemsg_state),
    ROW(_adjust_hpc_620, "waf,http-protocol-parameter-restriction", 1),
    ROW(_adjust_kerberos_user, "user,kerberos-user", 1, adjust_kerberos_user_state),
    ROW(_reorg_cert_remote, "", 2, reorg_cert_remote_state),
    ROW(_erase_predefined_rules, "waf,custom-access,policy", 1, nested_entry_state),
    ROW(_adjust_ml_policy_620, "waf,machine-learning-policy", 1),
    ROW(_add_cus_rule_switch, "waf,custom-access,rule", 1, bot_recognition_state),
    ROW(_add_access_limit_switch, "waf,http-request-flood-prevention-rule", 1, bot_recognition_state),
    ROW(_add_dos_flood_switch, "waf,layer4-access-limit-rule", 1, bot_recognition_state),
    ROW(_rename_msh_con_key_file, "system,mesh-connectors", 1, rename_msh_con_key_file_state),
    ROW(_optional_erase_ha, "system,ha", 1),
    ROW(_purge_hpc_excpt, "waf,http-constraints-exceptions", 1),
    ROW(_trim_xml_by_mode, "", 3, trim_xml_by_mode_state),
    ROW(_adjust_cloud_proxy_protocol, "server-policy", 1),
    ROW(_cleanup_pre620_av_file, "", 1),
};
stage_table c3_arr_MIGR_ADOM0x60014 = STAGE(MIGR_RELEASE(6, 20), STAGE_ADOM, cbc_arr_MIGR_ADOM0x60014);

/* Release 6.20, machine-learning files. */
stage_row cbc_arr_MIGR_ML0x60014[] = {
    ROW(_ml_adjust_policy, "waf,machine-learning-policy", 1),
};
stage_table c3_arr_MIGR_ML0x60014 = STAGE(MIGR_RELEASE(6, 20), STAGE_ML, cbc_arr_MIGR_ML0x60014);

constexpr int32_t first_visit = 1;

const row_reach all_reaches[] = {
    /* 5.60 */
    {_migr_del_memory_log_config, 1, 0, {"traffic-log", "disk", "memory"}},
    /* 5.80 */
    {_av_vir_file_copy, 1, first_visit, {}},
    {_encrypt_local_certificate_key, 1, 0, {"certificate,local", "admin-certificate,local"}},
    /* 5.83 */
    {_add_crl_group, 1, 0, {"crl-group", "crl"}},
    {_add_crl_group, 2, 0, {"crl"}},
    {_change_offline_session_timeout, 1, 0, {}},
    /* 5.85 */
    {_add_server_policy_setting, 1, 0, {"server-policy,setting"}},
    {_add_server_policy_setting, 2, first_visit, {"system,settings", "system,global"}},
    {_add_server_policy_setting, 3, 0, {"server-policy,policy", "server-policy,server-pool"}},
    {_change_real_browser_enforcement, 1, 0, {"http-request-flood-prevention-rule", "layer4-access-limit-rule", "custom-access,rule"}},
    /* 5.90 */
    {_change_server_side_sni, 1, 0, {"policy"}},
    {_change_server_side_sni, 2, 0, {"server-pool"}},
    {_adjust_server_policy_health, 1, 0, {"health"}},
    {_adjust_server_policy_health, 2, 0, {"server-pool"}},
    {_adjust_server_policy_health, 3, 0, {"server-pool"}},
    /* 6.01 */
    {_erase_data_analysis_from_web_protection_in_offline, 1, 0, {"inline-protection", "offline-protection"}},
    /* 6.02 */
    {_remove_geo_db_dir, 1, first_visit, {}},
    {_update_snmp_and_ha, 1, 0, {"ha", "snmp,community", "snmp,user"}},
    /* 6.10 */
    {_remove_all_autolearn, 1, first_visit,
     {"server-policy,pattern,custom-susp-url", "server-policy,pattern,custom-susp-url-rule", "server-policy,pattern,data-type-group",
      "server-policy,pattern,suspicious-url-rule", "server-policy,custom-application,url-replacer",
      "server-policy,custom-application,application-policy", "waf,web-protection-profile,autolearning-profile",
      "system,feature-visibility", "server-policy,policy", "system,accprofile"}},
    {_erase_file_compress, 1, 0,
     {"web-protection-profile,inline-protection", "web-protection-profile,offline-protection", "file-uncompress-rule"}},
    {_cleanup_old_wvs, 1, first_visit, {"schedule", "profile", "policy"}},
    {_adjust_ha_interface, 1, 0, {"router,policy"}},
    {_adjust_ha_interface, 2, 0, {"system,ha"}},
    {_adjust_ha_interface, 3, 0, {"system,interface", ""}},
    {_adjust_cert_conf, 1, first_visit, {""}},
    /* 6.11 */
    {_adjust_xml_json_profile, 1, 0,
     {"waf,web-protection-profile,inline-protection", "waf,web-protection-profile,offline-protection", "waf,xml-validation,policy"}},
    {_adjust_xml_json_profile, 2, 0, {"waf,xml-validation,policy", "waf,json-validation,policy"}},
    {_adjust_ha_mgmt_by_cond, 1, 0, {"ha"}},
    {_adjust_ha_mgmt_by_cond, 2, 0, {"ha-mgmt-router-static", "ha-mgmt-router-policy"}},
    /* 6.20 */
    {_adjust_replacemsg, 1, 0, {""}},
    {_adjust_replacemsg, 2, 0, {""}},
    {_reorg_cert_remote, 1, 0, {"server-policy,policy", "system,certificate,sni", "server-policy,server-pool"}},
    {_reorg_cert_remote, 2, 0, {"system,certificate,remote", ""}},
    {_trim_xml_by_mode, 1, 0, {"system,settings"}},
    {_trim_xml_by_mode, 2, 0,
     {"waf,xml-validation,rule", "waf,ws-security,rule", "system,certificate,xml-client-certificate-group",
      "system,certificate,xml-client-certificate", "system,certificate,xml-server-certificate"}},
    {_trim_xml_by_mode, 3, first_visit, {}},
    {_adjust_cloud_proxy_protocol, 1, 0, {}},
    {_cleanup_pre620_av_file, 1, first_visit, {}},
    {nullptr, 0, 0, {}},
};

/* clang-format on */

stage_table *const all_stages[] = {
    &c3_arr_MIGR_ADOM0x50032, &c3_arr_MIGR_ADOM0x50033, &c3_arr_MIGR_ADOM0x50034,
    &c3_arr_MIGR_ADOM0x5003c, &c3_arr_MIGR_ADOM0x50046, &c3_arr_MIGR_ADOM0x50050,
    &c3_arr_MIGR_ADOM0x50053, &c3_arr_MIGR_ADOM0x50055, &c3_arr_MIGR_ADOM0x5005a,
    &c3_arr_MIGR_ADOM0x5005b, &c3_arr_MIGR_ADOM0x60000, &c3_arr_MIGR_ADOM0x60001,
    &c3_arr_MIGR_ADOM0x60002, &c3_arr_MIGR_ADOM0x6000a, &c3_arr_MIGR_ADOM0x6000b,
    &c3_arr_MIGR_ADOM0x60014, &c3_arr_MIGR_ML0x60014,   nullptr,
};
