/*
 * The table of what each author's work is about. It names them only, so it stands below all of them; a test demands
 * that it has them all. Where two kinds would do it has the more serious one.
 */
#include "driver/author_kinds.h"

namespace {

constexpr char protection[] = "protection";     /* what is blocked, detected and let through: profiles, signatures */
constexpr char credentials[] = "credentials";   /* keys, certificates, passwords, who may log in and how */
constexpr char network[] = "network";           /* how servers and the appliance are reached, clusters */
constexpr char logging[] = "logging";           /* logs, reports, alerts */
constexpr char appearance[] = "appearance";     /* pages, the GUI */
constexpr char housekeeping[] = "housekeeping"; /* the rest */

} // namespace

const char *const migr_author_kind_words[] = {
    protection, credentials, network, logging, appearance, housekeeping, nullptr,
};

const migr_author_kind migr_author_kinds[] = {
    /* 4.00 */
    {"find_notp_bridge_node", protection},
    /* 4.10 */
    {"waf_input_rule", protection},
    {"url_writing_rule", protection},
    {"fit_policies_to_opmode", protection},
    /* 4.11 */
    {"migr_predefine_change", protection},
    {"migr_policy_process", network},
    {"migr_policy_offline", network},
    {"migr_log_server_protec_rule", protection},
    {"migr_server_protec_exp", protection},
    {"migr_log_process", logging},
    /* 4.20 */
    {"migr_user_process", credentials},
    {"migr_method_process", protection},
    {"migr_ip_list", protection},
    {"migr_check_server_farms", network},
    {"migr_health_check", network},
    {"migr_policy", network},
    {"migr_brute_force_login", protection},
    {"migr_url_rewrite_rule", protection},
    {"migr_xml_protection_rule_filter", protection},
    {"migr_input_rule", protection},
    /* 4.30 */
    {"migr_malicious_robot_process", protection},
    {"migr_serverpolicy_httpconversionpolicy", network},
    {"migr_serverpolicy_pservers", network},
    {"migr_wafwebprotectionprofile_inlineprotection", protection},
    {"migr_system_hasyncd", network},
    {"migr_preconfig", protection},
    /* 4.32 */
    {"migr_server_protection_rule", protection},
    /* 4.35 */
    {"migr_server_protection_rule_add_lfi", protection},
    {"migr_http_pro_pa_res", protection},
    /* 4.40 */
    {"migr_sp_rule_to_signature_rule", protection},
    {"migr_custom_pro_rule", protection},
    {"migr_snmp_events", logging},
    {"migr_mod_packet_log", logging},
    {"migr_x_forward", protection},
    {"migr_advanced", protection},
    /* 4.42 */
    {"migr_mod_content_routing_policy", network},
    /* 4.43 */
    {"migr_exchange_robot_group_default", protection},
    /* 5.00 */
    {"migr_change_webgrp_to_wafgrp", credentials},
    {"migr_add_prefix_name", credentials},
    {"change_admin_usergrp_name", credentials},
    {"migr_del_is_default", protection},
    {"migr_del_priority", protection},
    {"migr_add_bad_robot_to_signature", protection},
    {"migr_del_server_farm", network},
    {"migr_change_admin_accprofile_name", credentials},
    {"migr_bypass_config_modify", network},
    {"migr_change_name_log_alertemail", logging},
    {"migr_del_snmp_community_xml_prop_and_robot", logging},
    {"migr_del_bad_robot_prop_in_attack_log", logging},
    {"migr_adjust_cookie_poison", protection},
    /* 5.10 */
    {"migr_add_predefined_global_white_list_group", protection},
    {"migr_add_site_publish_rexp", protection},
    {"migr_modify_aggregate_interface_status", network},
    {"update_to_vdom", protection},
    /* 5.20 */
    {"migr_move_certi_config_to_adom", credentials},
    {"migr_del_certi_local_passwd", credentials},
    /* 5.30 */
    {"migr_del_servicestatus_item", appearance},
    {"migr_del_threshold_prop", logging},
    {"migr_del_ocsp_prop", credentials},
    {"migr_del_allow_robot_prop_in_attack_log", logging},
    /* 5.32 */
    {"migr_change_emailpl_interval_value", logging},
    /* 5.33 */
    {"migr_add_sni_enable_conf", credentials},
    {"migr_del_child_table_hashboard_prop", appearance},
    /* 5.35 */
    {"migr_mv_health_check_child_table", network},
    {"migr_adjust_bind_info", network},
    /* 5.36 */
    {"migr_del_vzone_ip", network},
    {"migr_change_sig_name", protection},
    {"migr_change_half_open_threshold", protection},
    /* 5.40 */
    {"migr_add_router_policy_priority", network},
    {"migr_change_sys_log_policy", logging},
    /* 5.50 */
    {"_migr_change_replace_msg", appearance},
    {"_migr_change_protocol_constraints", protection},
    {"_migr_change_protocol_constraints_exception", protection},
    {"_migr_change_wad_auto_restore", protection},
    {"_migr_change_custom_protection_rule", protection},
    {"_migr_change_persistence_policy", network},
    {"_migr_change_signature_filter_list", protection},
    {"_migr_change_content_routing", network},
    {"_migr_change_corvo_log_policy", logging},
    {"_migr_change_sys_siem_policy", logging},
    {"_migr_change_sys_global", network},
    /* 5.51 */
    {"_migr_del_snmp_community_interface", network},
    {"_migr_del_snmp_user_interface", network},
    {"_migr_change_replace_msg2", appearance},
    {"_migr_change_wccp_passwd_name", credentials},
    /* 5.52 */
    {"_change_server_pool_ssl_protocol", protection},
    /* 5.60 */
    {"_migr_move_cookie_poison", protection},
    {"_migr_del_cookie_poison_log", logging},
    {"_migr_del_memory_log_config", logging},
    {"_migr_move_site_publish_rule", credentials},
    /* 5.70 */
    {"_change_value_for_hpc", protection},
    {"_change_cookie_security_mode", protection},
    /* 5.80 */
    {"_change_local_certificate", credentials},
    {"_change_ca_certificate", credentials},
    {"_change_intermediate_certificate", credentials},
    {"_change_crl_certificate", credentials},
    {"_remove_default_local_admin_certificate", credentials},
    {"_change_local_admin_certificate", credentials},
    {"_change_ca_admin_certificate", credentials},
    {"_migr_cookie_timeout_sitepublish", credentials},
    {"_av_vir_file_copy", protection},
    {"_remove_signature_scoring", protection},
    {"_remove_show_all_log", logging},
    {"_encrypt_local_certificate_key", credentials},
    /* 5.83 */
    {"_remove_ha_no_virtual_mac", network},
    {"_remove_global_no_ssl3", protection},
    {"_remove_policy_ssl3", protection},
    {"_change_server_pool_ssl", protection},
    {"_change_cert_login", credentials},
    {"_remove_ocsp_stapling", credentials},
    {"_add_crl_group", credentials},
    {"_change_offline_session_timeout", housekeeping},
    /* 5.85 */
    {"_add_server_policy_setting", network},
    {"_del_sys_admin_jsconsole", appearance},
    {"_change_server_pool_ssl_cipher", protection},
    {"_change_policy_ssl_cipher", protection},
    {"_remove_log_reports_config", logging},
    {"_change_real_browser_enforcement", protection},
    {"_change_cookie_security_mode2", protection},
    /* 5.90 */
    {"_change_global_uds_server", network},
    {"_change_system_uds_server", network},
    {"_add_system_passwd_policy", credentials},
    {"_change_server_side_sni", network},
    {"_change_server_pool_https_health", network},
    {"_change_server_policy_https_health", network},
    {"_change_aws_azure_opmode", network},
    {"_migr_adjust_offline_brute_force_login", protection},
    {"_migr_adjust_inline_brute_force_login", protection},
    {"_adjust_server_policy_health", network},
    /* 5.91 */
    {"_change_waf_custom_access_rule_traced_by", protection},
    /* 6.00 */
    {"_change_log_attack_log_packet_log", logging},
    /* 6.01 */
    {"_erase_allow_time_under_wrong_condition", protection},
    {"_erase_data_analysis_from_web_protection_in_offline", protection},
    {"_update_system_advanced", protection},
    {"_erase_fast_forward_from_server_policy_setting", network},
    /* 6.02 */
    {"_remove_geo_db_dir", housekeeping},
    {"_update_snmp_and_ha", network},
    {"_adjust_ml_policy", protection},
    {"_check_xff_cond", protection},
    {"_correct_wrong_server_pool_prop", network},
    /* 6.10 */
    {"_purge_corvo_box", protection},
    {"_sync_cookie_security_mode", protection},
    {"_trim_cl_prop", logging},
    {"_rename_sph_rule_prop", credentials},
    {"_remove_all_autolearn", protection},
    {"_erase_file_compress", protection},
    {"_adjust_ml_policy2", protection},
    {"_cleanup_old_wvs", housekeeping},
    {"_purge_white_list", protection},
    {"_adjust_ha_interface", network},
    {"_adjust_cert_conf", credentials},
    {"_purge_fur_rule", protection},
    /* 6.11 */
    {"_adjust_xml_json_profile", protection},
    {"_adjust_xml_json_log", logging},
    {"_erase_xml_json_pattern", protection},
    {"_erase_xml_json_exception", protection},
    {"_update_xml_rule", protection},
    {"_adjust_hsm_info", credentials},
    {"_reorg_azure_res", network},
    {"_adjust_ha_mgmt_by_cond", network},
    /* 6.20 */
    {"_adjust_server_policy_vserver", network},
    {"_adjust_replacemsg", appearance},
    {"_adjust_hpc_620", protection},
    {"_adjust_kerberos_user", credentials},
    {"_reorg_cert_remote", credentials},
    {"_erase_predefined_rules", protection},
    {"_adjust_ml_policy_620", protection},
    {"_add_cus_rule_switch", protection},
    {"_add_access_limit_switch", protection},
    {"_add_dos_flood_switch", protection},
    {"_rename_msh_con_key_file", credentials},
    {"_optional_erase_ha", network},
    {"_purge_hpc_excpt", protection},
    {"_trim_xml_by_mode", protection},
    {"_adjust_cloud_proxy_protocol", housekeeping},
    {"_cleanup_pre620_av_file", protection},
    {"_ml_adjust_policy", protection},
    /* once for the image, whatever the releases between */
    {"signature_disable_check_with_db", protection},
    {"signature_staged_check_with_db", protection},
    {"signature_check_with_db", protection},
    {"file_conversion", credentials},
    {"migr_fix_all_files", credentials},
    {nullptr, nullptr},
};
