wrap_memory(${test})
wrap_calls(${test} init_db_object)
