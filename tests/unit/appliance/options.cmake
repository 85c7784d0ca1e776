# The stand-in appliance's own headers, and the image's signature database, which one test reads as it is built.
target_include_directories(${test} PRIVATE ${CMAKE_SOURCE_DIR}/appliance)
add_dependencies(${test} migr_image)
