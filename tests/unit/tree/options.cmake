target_link_options(${test} PRIVATE -Wl,--wrap=cvgzip -Wl,--wrap=message)
