# The command itself is run, on sample appliances; its accountant also goes through random ones here.
add_dependencies(${test} migr${variant} migr_image)
target_link_libraries(${test} PRIVATE migr_command${variant})
# A remount reaches out of the root folder, and a file that never gets on would wait.
wrap_calls(${test} mount migr_never_returns)
set(parts 3)
