add_dependencies(${test} migr_image)
