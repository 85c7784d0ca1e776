# The random configurations of other tests, and the forms of journeys and cases.
target_sources(${objects} PRIVATE ${CMAKE_SOURCE_DIR}/tests/whole/reach/random_trees.cpp
  ${CMAKE_SOURCE_DIR}/tests/whole/ledger/laid_out.cpp ${CMAKE_SOURCE_DIR}/tests/whole/ledger/disturbed.cpp
  ${CMAKE_SOURCE_DIR}/tests/whole/journeys/journey.cpp ${CMAKE_SOURCE_DIR}/tests/cases/case_file.cpp)
