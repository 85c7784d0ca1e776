target_link_options(${test} PRIVATE -Wl,--wrap=cvgzip -Wl,--wrap=fdopen
  -Wl,--wrap=malloc -Wl,--wrap=calloc -Wl,--wrap=realloc -Wl,--wrap=strdup)
