# Each fuzzer's one function, under a name of its own, and what the fuzzers share. In the place of what puts the
# library's state back stands a process for each piece of work.
foreach(target accounts archives config headers parts rules runs syntax)
  set(source ${CMAKE_SOURCE_DIR}/fuzz/fuzz_${target}.cpp)
  set_source_files_properties(${source} PROPERTIES COMPILE_DEFINITIONS LLVMFuzzerTestOneInput=fuzz_${target})
  target_sources(${objects} PRIVATE ${source})
endforeach()
include(${CMAKE_SOURCE_DIR}/fuzz/sources.cmake)
target_sources(${objects} PRIVATE ${FUZZ_SOURCES} ${CMAKE_SOURCE_DIR}/fuzz/fresh_process.cpp)
