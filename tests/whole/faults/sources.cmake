# The calls that fail, one after another; the test holds them against what the library calls.
set(swept_calls
  malloc calloc realloc strdup strndup
  access close closedir dirfd fclose fdopen fflush fgets_unlocked fopen fprintf fputs fread fstat fsync fwrite fwrite_unlocked lseek lstat mkdir
  mount nftw open opendir read readdir readlink rename rmdir scandir stat symlink truncate unlink unlinkat write
  copy_dir copy_file crwinit_cert_dir cvgunzip cvgzip db_open global_white_list_read_db init_db_object)
string(REPLACE ";" " " words "${swept_calls}")
set_source_files_properties(whole/faults/faults_test.cpp PROPERTIES COMPILE_DEFINITIONS "SWEPT_CALLS=\"${words}\"")
