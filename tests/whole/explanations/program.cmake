# The command's explainer goes through whole appliances here.
add_dependencies(${test} migr_image)
target_link_libraries(${test} PRIVATE migr_command${variant})
# A remount reaches out of the root folder, and a file that never gets on would wait.
wrap_calls(${test} mount migr_never_returns)
quick_encryption(${test})
