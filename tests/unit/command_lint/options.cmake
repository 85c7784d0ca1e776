target_link_libraries(${test} PRIVATE migr_command)
target_compile_definitions(${test} PRIVATE LINT_FILES="${CMAKE_CURRENT_SOURCE_DIR}/unit/command_lint/files")
