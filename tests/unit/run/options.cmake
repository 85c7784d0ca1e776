# run_log.cpp takes down what the driver calls; every call goes through to the mechanism.
foreach(call migr_hardcode new_config_update sync_cli_with_sig_db update_to_vdom new_config_file file_conversion
        migr_fix_all_files)
  target_link_options(${test} PRIVATE -Wl,--wrap=${call})
endforeach()
# Neither the clock nor the order of a folder's entries may tell in a result.
target_sources(${test} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/unit/journeys/steady_world.cpp)
target_link_options(${test} PRIVATE -Wl,--wrap=time -Wl,--wrap=opendir -Wl,--wrap=readdir -Wl,--wrap=closedir)
