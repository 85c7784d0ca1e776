# mechanisms.cpp stands between the driver and what it calls.
wrap_calls(${test} cvgzip scandir db_open db_close message __build_updatefile_tree free_migr_tree find_notp_bridge_node
        free_notp_bridges migr_hardcode process_delete process_modify new_config_update sync_cli_with_sig_db
        update_to_vdom file_conversion migr_fix_all_files free_sigid_list)
