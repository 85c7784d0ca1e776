# The host itself is a C program that knows the library only by dlopen. It gets the sanitizers of the build, as the
# libraries that it loads have them.
add_executable(c_host ${folder}/program/host.c ${folder}/program/only_migr_h.c)
set_target_properties(c_host PROPERTIES C_STANDARD 11 C_STANDARD_REQUIRED ON C_EXTENSIONS OFF ENABLE_EXPORTS ON)
target_compile_options(c_host PRIVATE -Wpedantic)
target_include_directories(c_host PRIVATE ${CMAKE_SOURCE_DIR}/src ${CMAKE_BINARY_DIR}/generated)
target_link_libraries(c_host PRIVATE ${CMAKE_DL_LIBS})
add_dependencies(c_host migr_shared migr_platform_shared)
add_dependencies(${test} c_host)
