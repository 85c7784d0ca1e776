wrap_memory(${test})
wrap_calls(${test} time)
# Callbacks are looked up by their names.
target_link_options(${test} PRIVATE -rdynamic)
