# Tests say which allocation fails.
target_link_options(${test} PRIVATE -Wl,--wrap=calloc -Wl,--wrap=strdup -Wl,--wrap=realloc)
