target_sources(${objects} PRIVATE ${CMAKE_SOURCE_DIR}/tests/whole/ledger/laid_out.cpp)
