# The command itself is run, on sample appliances.
add_dependencies(${test} migr${variant} migr_image)
set(parts 2)
