target_link_libraries(${test} PRIVATE migr_command${variant})
add_dependencies(${test} migr${variant})
# Who can be the author of a change stands in the sources.
target_link_libraries(${test} PRIVATE source_index)
set(parts 4)
