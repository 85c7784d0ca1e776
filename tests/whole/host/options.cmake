# The hosts themselves are C programs: one knows the library only by dlopen, one is linked with it. They get the
# sanitizers of the build, as the libraries that they load have them.
add_executable(c_host ${folder}/program/host.c ${folder}/program/only_migr_h.c)
add_executable(linked_host ${folder}/program/linked.c)
target_link_libraries(c_host PRIVATE ${CMAKE_DL_LIBS})
target_link_libraries(linked_host PRIVATE migr_shared migr_platform_shared)
add_dependencies(c_host migr_shared migr_platform_shared)
foreach(host c_host linked_host)
  set_target_properties(${host} PROPERTIES C_STANDARD 11 C_STANDARD_REQUIRED ON C_EXTENSIONS OFF ENABLE_EXPORTS ON)
  target_compile_options(${host} PRIVATE -Wpedantic)
  target_include_directories(${host} PRIVATE ${CMAKE_SOURCE_DIR}/src ${CMAKE_BINARY_DIR}/generated)
  add_dependencies(${test} ${host})
endforeach()
