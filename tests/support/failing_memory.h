/*
 * Memory that runs out. Only for programs that call wrap_memory in their program.cmake: the calls of the library and
 * the stand-in appliance are counted then, those of the C and C++ libraries are not.
 */
#pragma once

#include <cstddef>
#include <functional>

namespace support {

/* Starts counting anew. The number-th call from now on, from 1, gives null, and the ones behind it too when `lasting`;
 * 0 lets all succeed. */
void fail_allocation(size_t number, bool lasting = false);

/* How many calls there were since. */
size_t allocations();

/* Runs `work` while the allocation of that number fails, of those alone that make a node or a value or let a
 * table grow. How many of them were asked for. */
size_t with_failing_nodes(size_t number, const std::function<void()> &work, bool lasting = false);
size_t with_failing_values(size_t number, const std::function<void()> &work, bool lasting = false);
size_t with_failing_growth(size_t number, const std::function<void()> &work, bool lasting = false);

} // namespace support
