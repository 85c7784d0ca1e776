# A copy of the library in which each call that may fail goes through faults.cpp, under the name fault_*. Only the
# library's own calls do: the platform, the tests and the C library keep theirs.
set(swept_calls
  malloc calloc realloc strdup strndup
  access close closedir dirfd fclose fdopen fflush fgets_unlocked fopen fprintf fputs fread fstat fsync fwrite fwrite_unlocked lseek lstat mkdir
  mount nftw open opendir read readdir readlink rename rmdir scandir stat symlink truncate unlink unlinkat write
  copy_dir copy_file crwinit_cert_dir cvgunzip cvgzip db_open global_white_list_read_db init_db_object)
set(renames "")
foreach(call ${swept_calls})
  string(APPEND renames "${call} fault_${call}\n")
endforeach()
file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/faults.syms CONTENT "${renames}" @ONLY)

set(faulty_library ${CMAKE_CURRENT_BINARY_DIR}/libmigr_faulty.a)
add_custom_command(OUTPUT ${faulty_library}
  COMMAND ${CMAKE_OBJCOPY} --redefine-syms=${CMAKE_CURRENT_BINARY_DIR}/faults.syms $<TARGET_FILE:migr_static>
          ${faulty_library}
  DEPENDS migr_static ${CMAKE_CURRENT_BINARY_DIR}/faults.syms VERBATIM)
add_custom_target(faulty_library DEPENDS ${faulty_library})
add_dependencies(${test} faulty_library migr_image)
set_target_properties(${test} PROPERTIES LINK_DEPENDS ${faulty_library})
wrap_calls(${test} new_node)
# Ahead of every other archive, and whole, so that nothing is left for the ordinary library to supply.
target_link_options(${test} PRIVATE -Wl,--whole-archive ${faulty_library} -Wl,--no-whole-archive)
string(REPLACE ";" " " swept_calls "${swept_calls}")
target_compile_definitions(${test} PRIVATE SWEPT_CALLS="${swept_calls}")
