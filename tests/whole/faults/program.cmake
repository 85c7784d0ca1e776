# A copy of the library in which each of ${swept_calls} goes through faults.cpp, under the name fault_*. Only the
# library's own calls do: the platform, the tests and the C library keep theirs.
set(renames "")
foreach(call ${swept_calls})
  string(APPEND renames "${call} fault_${call}\n")
endforeach()
file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/faults.syms CONTENT "${renames}" @ONLY)

set(faulty_library ${CMAKE_CURRENT_BINARY_DIR}/libmigr_faulty.a)
add_custom_command(OUTPUT ${faulty_library}
  COMMAND ${CMAKE_OBJCOPY} --redefine-syms=${CMAKE_CURRENT_BINARY_DIR}/faults.syms $<TARGET_FILE:migr_static${variant}>
          ${faulty_library}
  DEPENDS migr_static${variant} ${CMAKE_CURRENT_BINARY_DIR}/faults.syms VERBATIM)
add_custom_target(faulty_library${variant} DEPENDS ${faulty_library})
add_dependencies(${test} faulty_library${variant} migr_image)
set_target_properties(${test} PROPERTIES LINK_DEPENDS ${faulty_library})
wrap_calls(${test} new_node)
# Ahead of every other archive, and whole, so that nothing is left for the ordinary library to supply.
target_link_options(${test} PRIVATE -Wl,--whole-archive ${faulty_library} -Wl,--no-whole-archive)
quick_encryption(${test})
