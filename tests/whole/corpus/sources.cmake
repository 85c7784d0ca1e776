# Each fuzzer's one function, under a name of its own, and what the fuzzers share.
foreach(target accounts archives config headers parts rules runs syntax)
  set(source ${CMAKE_SOURCE_DIR}/fuzz/fuzz_${target}.cpp)
  set_source_files_properties(${source} PROPERTIES COMPILE_DEFINITIONS LLVMFuzzerTestOneInput=fuzz_${target})
  target_sources(${objects} PRIVATE ${source})
endforeach()
include(${CMAKE_SOURCE_DIR}/fuzz/sources.cmake)
target_sources(${objects} PRIVATE ${FUZZ_SOURCES} ${CMAKE_SOURCE_DIR}/fuzz/fresh_state.cpp)
# One of its attributes is for clang.
set_source_files_properties(${CMAKE_SOURCE_DIR}/fuzz/fresh_state.cpp PROPERTIES COMPILE_OPTIONS -Wno-attributes)
