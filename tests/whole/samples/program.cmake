# The samples are upgraded with the built image.
add_dependencies(${test} migr_image)
