# A remount reaches out of the root folder, and names are made from the time.
wrap_calls(${test} mount time)
