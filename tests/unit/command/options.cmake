target_link_libraries(${test} PRIVATE migr_command)
add_dependencies(${test} migr)
