/*
 * Some of the library's state outlives a run: what is done once in a process, the counter of made-up names. An input
 * must not hang on those ahead of it, so that state is put back ahead of each (fresh_state.cpp).
 */
#pragma once

#include <functional>
#include <string>

namespace fuzzing {

/* Does the work as a process would that has just begun, and gives what it gives. */
std::string afresh(const std::function<std::string()> &work);

} // namespace fuzzing
