# Links every test with the library, the platform and the command whose targets end with ${variant}.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/tests)

# Calls between the objects of a program that go to the tests' own __wrap_CALL instead.
function(wrap_calls test)
  foreach(call ${ARGN})
    target_link_options(${test} PRIVATE -Wl,--wrap=${call})
  endforeach()
endfunction()

# Tests say which allocation fails: support/failing_memory.h.
function(wrap_memory test)
  wrap_calls(${test} new_node malloc calloc realloc strdup strndup)
endfunction()

# Keys are encrypted with few rounds: support/quick_encryption.cpp.
function(quick_encryption test)
  wrap_calls(${test} PKCS8_encrypt)
  target_link_options(${test} PRIVATE -Wl,-u,__wrap_PKCS8_encrypt)
endfunction()

# The program of the objects that compile_test made.
function(link_test name)
  set(test ${name}${variant})
  add_executable(${test} $<TARGET_OBJECTS:${name}_objects>)
  set_target_properties(${test} PROPERTIES OUTPUT_NAME ${name} LINKER_LANGUAGE CXX)
  target_link_libraries(${test} PRIVATE test_shared test_support)
endfunction()

# What is freed is remembered for a while, and who asked for it, and every process that is started carries it along: a
# little will do. Less than two callers would not: what nobody is known to have asked for is never told as a leak. A
# program that is run by hand shows whole stacks.
set(test_environment ASAN_OPTIONS=quarantine_size_mb=1:thread_local_quarantine_size_kb=64:malloc_context_size=2)

# A program whose tests take long says in its program.cmake in how many ${parts} they run, beside each other.
function(add_tests_of test name parts)
  if(parts EQUAL 1)
    add_test(NAME ${test} COMMAND ${test})
    set_tests_properties(${test} PROPERTIES ENVIRONMENT "${test_environment}")
    return()
  endif()
  foreach(part RANGE 1 ${parts})
    math(EXPR index "${part} - 1")
    add_test(NAME ${name}_part${part}${variant} COMMAND ${test})
    set_tests_properties(${name}_part${part}${variant} PROPERTIES
      ENVIRONMENT "${test_environment};GTEST_TOTAL_SHARDS=${parts};GTEST_SHARD_INDEX=${index}" COST 15)
  endforeach()
endfunction()

foreach(folder ${test_folders})
  string(REPLACE / _ name ${folder})
  set(test ${name}${variant})
  link_test(${name})
  set(parts 1)
  include(${CMAKE_SOURCE_DIR}/tests/${folder}/program.cmake OPTIONAL)
  add_tests_of(${test} ${name} ${parts})
  target_link_libraries(${test} PRIVATE migr_static${variant} migr_platform_static${variant})
endforeach()

# A case calls migrations by name, so every function of the library is linked in.
link_test(case_runner)
set(test case_runner${variant})
target_link_options(${test} PRIVATE -rdynamic)
target_link_libraries(${test} PRIVATE
  -Wl,--whole-archive migr_static${variant} -Wl,--no-whole-archive migr_platform_static${variant})
# tests/cases/NAME/**/*.case: each folder directly below cases/ is one CTest test.
file(GLOB folders CONFIGURE_DEPENDS LIST_DIRECTORIES true ${CMAKE_SOURCE_DIR}/tests/cases/*)
foreach(folder ${folders})
  if(IS_DIRECTORY ${folder})
    get_filename_component(name ${folder} NAME)
    add_test(NAME cases_${name}${variant} COMMAND ${test} ${folder})
  endif()
endforeach()
