wrap_calls(${test} crwinit_cert_dir copy_file copy_dir opendir)
