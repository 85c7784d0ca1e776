/* One call to the system, or to a library, that fails: of the calls that program.cmake wraps, and only those that the
 * objects of this program make. A child has its parent's orders. */
#pragma once

#include "system/failure.h"

#include <functional>
#include <string>
#include <string_view>

namespace support {

/* The call of that name fails, the `number`-th from now on, with that errno; once, or so many times in turn. Orders
 * before this one are void, and with the end of the test so is this. */
void fail_call(std::string_view name, int error, unsigned number = 1, unsigned times = 1);

/* Whether it has come to that in this process, or in one that it comes from. */
bool has_failed();

/* Ahead of the next call of that name `work` is done, once. */
void at_call(std::string_view name, std::function<void()> work);

/* For a wrapper that has more to do than this: whether the call that is being made is to fail. Sets errno then. */
bool is_to_fail(std::string_view name);

/* "read x: 5" of a PathError that the work throws, "" without one. */
std::string path_error_of(const std::function<void()> &work);
/* What a Failure with that status says, "none" without one. */
std::string failure_of(command::Status status, const std::function<void()> &work);
std::string with_error(const std::string &what, int error); /* "read x" and 5 as that text */

} // namespace support
