# The stand-in appliance's own headers.
target_include_directories(${test} PRIVATE ${CMAKE_SOURCE_DIR}/appliance)
