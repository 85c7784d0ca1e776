# Appliances of other tests: samples, also disturbed, and the forms of journeys.
target_sources(${objects} PRIVATE ${CMAKE_SOURCE_DIR}/tests/whole/accounts/held_account.cpp
  ${CMAKE_SOURCE_DIR}/tests/whole/ledger/laid_out.cpp ${CMAKE_SOURCE_DIR}/tests/whole/ledger/disturbed.cpp
  ${CMAKE_SOURCE_DIR}/tests/whole/reach/random_trees.cpp ${CMAKE_SOURCE_DIR}/tests/whole/journeys/journey.cpp
  ${CMAKE_SOURCE_DIR}/tests/unit/cli/applied_diff.cpp)
