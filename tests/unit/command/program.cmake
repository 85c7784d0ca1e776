target_link_libraries(${test} PRIVATE migr_command${variant})
add_dependencies(${test} migr${variant})
