target_link_libraries(${test} PRIVATE migr_command${variant})
add_dependencies(${test} migr${variant})
# Who can be the author of a change stands in the sources.
target_link_libraries(${test} PRIVATE source_index)
# By which calls are refused (command_support.h), and archives made (fleet/archive_test.cpp).
target_link_libraries(${test} PRIVATE seccomp archive)
# Which file is on disk by when: appliance/commit_test.cpp.
wrap_calls(${test} fsync rename)
# Calls that may be made to fail, as those two may: failing_calls.h.
wrap_calls(${test} read pread write poll waitpid fork kill signalfd memfd_create dup2 unlink mkdir rmdir symlink link
  calloc lchown fchown fchmod futimens prctl stat EVP_MD_CTX_new EVP_DigestUpdate libdeflate_alloc_compressor
  libdeflate_alloc_decompressor)
set(parts 4)
quick_encryption(${test})
