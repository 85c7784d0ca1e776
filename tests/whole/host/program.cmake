# The hosts themselves are C programs: one knows the library only by dlopen, one is linked with it. They get the
# sanitizers, if there are any, as the libraries that they load have them.
set(program ${CMAKE_SOURCE_DIR}/tests/whole/host/program)
add_executable(c_host${variant} ${program}/host.c ${program}/only_migr_h.c)
add_executable(linked_host${variant} ${program}/linked.c)
target_link_libraries(c_host${variant} PRIVATE ${CMAKE_DL_LIBS})
target_link_libraries(linked_host${variant} PRIVATE migr_shared${variant} migr_platform_shared${variant})
add_dependencies(c_host${variant} migr_shared${variant} migr_platform_shared${variant})
foreach(host c_host linked_host)
  set_target_properties(${host}${variant} PROPERTIES OUTPUT_NAME ${host}
    C_STANDARD 11 C_STANDARD_REQUIRED ON C_EXTENSIONS OFF ENABLE_EXPORTS ON)
  target_compile_options(${host}${variant} PRIVATE -Wpedantic)
  target_include_directories(${host}${variant} PRIVATE ${MIGR_HEADERS})
  add_dependencies(${test} ${host}${variant})
endforeach()
