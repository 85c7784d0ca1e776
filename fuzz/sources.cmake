# What the fuzzers share, for their own programs and for the test that replays their corpora.
set(FUZZ_SOURCES "")
foreach(name document held_world in_process_root parts root_folder tree_text)
  list(APPEND FUZZ_SOURCES ${CMAKE_SOURCE_DIR}/fuzz/${name}.cpp)
endforeach()
# The one file that knows where this build lies.
set_source_files_properties(${CMAKE_SOURCE_DIR}/fuzz/root_folder.cpp PROPERTIES SKIP_PRECOMPILE_HEADERS ON
  COMPILE_DEFINITIONS "MIGR_IMAGE_FOLDER=\"${CMAKE_BINARY_DIR}/image\"")
# A remount reaches out of the root folder, names are made of the time, and a file may never get on. The last is
# command::Root::run, of whose child nothing would be seen. Of the allocations one may fail, if an input says so.
set(FUZZ_WRAPPED_CALLS mount time migr_never_returns new_node malloc calloc realloc strdup strndup
  _ZNK7command4Root3runERKSt8functionIFNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEvEEPNS_10InterruptsE)
