target_compile_definitions(${test} PRIVATE IMAGE_TEXT_FILES="${CMAKE_CURRENT_SOURCE_DIR}/unit/image_texts")
