add_dependencies(${test} migr_image)
# A remount reaches out of the root folder.
wrap_calls(${test} mount)
