target_link_libraries(${test} PRIVATE migr_command${variant})
