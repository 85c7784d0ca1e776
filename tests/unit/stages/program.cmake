# Tests say which allocation fails and what time it is, look into memory that is given back, and stand between the
# library and the calls that reach out of the tree.
wrap_memory(${test})
wrap_calls(${test} free OPENSSL_cleanse key_encrypt mount time)
# Callbacks are looked up by their names.
target_link_options(${test} PRIVATE -rdynamic)
