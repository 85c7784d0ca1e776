target_link_libraries(${test} PRIVATE migr_command${variant})
add_dependencies(${test} migr${variant})
# Who can be the author of a change stands in the sources.
target_link_libraries(${test} PRIVATE source_index)
# Which file is on disk by when: appliance/commit_test.cpp.
wrap_calls(${test} fsync rename)
set(parts 4)
