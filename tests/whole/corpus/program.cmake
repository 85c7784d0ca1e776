add_dependencies(${test} migr_image)
target_link_libraries(${test} PRIVATE migr_command${variant})
wrap_calls(${test} ${FUZZ_WRAPPED_CALLS})
