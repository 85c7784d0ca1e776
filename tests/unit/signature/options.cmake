target_link_options(${test} PRIVATE -Wl,--wrap=init_db_object
  -Wl,--wrap=malloc -Wl,--wrap=calloc -Wl,--wrap=realloc -Wl,--wrap=strdup)
