# Any call by which the stand-in reaches files, memory or a library may be made to fail: failing_calls.h.
wrap_calls(${test} read write openat open close mkdir mkdirat fstat fstatat fchmod fsync renameat symlinkat readlinkat
  fdopendir readdir malloc calloc realloc strdup libdeflate_alloc_compressor libdeflate_alloc_decompressor
  libdeflate_gzip_compress sqlite3_step sqlite3_open_v2 sqlite3_column_text BIO_new BIO_new_mem_buf EVP_PKEY2PKCS8
  PEM_write_bio_PKCS8 PKCS8_encrypt)
# appliance::text_limit, which a gigabyte of text would reach: gzip_files_test.cpp.
wrap_calls(${test} _ZN9appliance10text_limitE)
