# Each fuzzer's one function, under a name of its own.
foreach(target config rules syntax)
  set(source ${CMAKE_SOURCE_DIR}/fuzz/fuzz_${target}.cpp)
  set_source_files_properties(${source} PROPERTIES COMPILE_DEFINITIONS LLVMFuzzerTestOneInput=fuzz_${target})
  target_sources(${objects} PRIVATE ${source})
endforeach()
