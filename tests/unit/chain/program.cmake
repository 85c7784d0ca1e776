wrap_memory(${test})
# hardcode_test.cpp stands in for the migrations, so that it sees which ones a step runs.
wrap_calls(${test}
        waf_input_rule url_writing_rule fit_policies_to_opmode migr_predefine_change migr_policy_process
        migr_policy_offline migr_log_server_protec_rule migr_server_protec_exp migr_log_process migr_user_process
        migr_method_process migr_ip_list migr_check_server_farms migr_health_check migr_policy migr_brute_force_login
        migr_url_rewrite_rule migr_xml_protection_rule_filter migr_input_rule migr_malicious_robot_process
        migr_serverpolicy_httpconversionpolicy migr_serverpolicy_pservers
        migr_wafwebprotectionprofile_inlineprotection migr_system_hasyncd migr_preconfig migr_server_protection_rule
        migr_server_protection_rule_add_lfi migr_http_pro_pa_res migr_sp_rule_to_signature_rule migr_custom_pro_rule
        migr_snmp_events migr_mod_packet_log migr_x_forward migr_advanced migr_mod_content_routing_policy
        migr_exchange_robot_group_default migr_change_webgrp_to_wafgrp migr_add_prefix_name change_admin_usergrp_name
        migr_del_is_default migr_del_priority migr_add_bad_robot_to_signature migr_del_server_farm
        migr_change_admin_accprofile_name migr_bypass_config_modify migr_change_name_log_alertemail
        migr_del_snmp_community_xml_prop_and_robot migr_del_bad_robot_prop_in_attack_log migr_adjust_cookie_poison
        migr_add_predefined_global_white_list_group migr_add_site_publish_rexp migr_modify_aggregate_interface_status
        migr_move_certi_config_to_adom migr_del_certi_local_passwd migr_del_servicestatus_item migr_del_threshold_prop
        migr_del_ocsp_prop migr_del_allow_robot_prop_in_attack_log migr_change_emailpl_interval_value
        migr_add_sni_enable_conf migr_del_child_table_hashboard_prop migr_mv_health_check_child_table
        migr_adjust_bind_info migr_del_vzone_ip migr_change_sig_name migr_change_half_open_threshold
        migr_add_router_policy_priority migr_change_sys_log_policy)
