# The random configurations of the stages.
target_sources(${objects} PRIVATE ${CMAKE_SOURCE_DIR}/tests/whole/reach/random_trees.cpp)
