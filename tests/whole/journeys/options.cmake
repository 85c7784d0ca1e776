# A journey's result may depend neither on the clock nor on the order in which a folder gives its entries.
wrap_calls(${test} time opendir readdir closedir)
add_dependencies(${test} migr_image)
