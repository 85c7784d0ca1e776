# run_log.cpp takes down what the driver calls; every call goes through to the mechanism.
wrap_calls(${test} migr_hardcode new_config_update sync_cli_with_sig_db update_to_vdom new_config_file file_conversion
        migr_fix_all_files)
# Neither the clock nor the order of a folder's entries may tell in a result.
target_sources(${test} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/whole/journeys/steady_world.cpp)
wrap_calls(${test} time opendir readdir closedir)
