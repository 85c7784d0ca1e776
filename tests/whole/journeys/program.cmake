# A result may depend neither on the clock nor on the order in which a folder gives its entries.
wrap_calls(${test} time opendir readdir closedir)
# run_log.cpp takes down what the driver calls; every call goes through to the mechanism.
wrap_calls(${test} migr_hardcode new_config_update sync_cli_with_sig_db update_to_vdom write_new_text store_new_text
        file_conversion migr_fix_all_files)
add_dependencies(${test} migr_image)
quick_encryption(${test})
