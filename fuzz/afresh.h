/*
 * Some of the library's state outlives a run: what is done once in a process, the counter of made-up names. An input
 * must not hang on those ahead of it. In the fuzzers that state is put back (fresh_state.cpp); in the tests, which have
 * no such way, the work is done in a process of its own (fresh_process.cpp).
 */
#pragma once

#include <functional>
#include <string>

namespace fuzzing {

/* Does the work as a process would that has just begun, and gives what it gives. */
std::string afresh(const std::function<std::string()> &work);

} // namespace fuzzing
