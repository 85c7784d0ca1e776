wrap_memory(${test})
