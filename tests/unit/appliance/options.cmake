#The tests of the image's own signature database read the built one.
add_dependencies(${test} migr_image)
