target_link_options(${test} PRIVATE -Wl,--wrap=scandir)
