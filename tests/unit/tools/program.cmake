# Tools are no part of the library that a program is linked with.
target_link_libraries(${test} PRIVATE floors)
