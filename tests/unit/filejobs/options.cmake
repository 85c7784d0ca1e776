target_link_options(${test} PRIVATE -Wl,--wrap=crwinit_cert_dir -Wl,--wrap=copy_file -Wl,--wrap=copy_dir
  -Wl,--wrap=opendir)
