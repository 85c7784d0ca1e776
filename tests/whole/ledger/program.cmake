# A remount reaches out of the root folder.
wrap_calls(${test} mount)
add_dependencies(${test} migr_image)
