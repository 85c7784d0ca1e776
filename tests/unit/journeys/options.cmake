# A journey's result may depend neither on the clock nor on the order in which a folder gives its entries.
target_link_options(${test} PRIVATE -Wl,--wrap=time -Wl,--wrap=opendir -Wl,--wrap=readdir -Wl,--wrap=closedir)
add_dependencies(${test} migr_image)
