wrap_memory(${test})
# refused_calls.cpp and stored_files_test.cpp stand between the library and these.
wrap_calls(${test} cvgzip fdopen read scandir message)
