/* One call to the system, or to a library, that fails: of the calls that program.cmake wraps, and only those that the
 * objects of this program make. A child has its parent's orders. */
#pragma once

#include <string_view>

namespace support {

/* The call of that name fails once, the `number`-th from now on, with that errno. Orders before this one are void, and
 * with the end of the test so is this. */
void fail_call(std::string_view name, int error, unsigned number = 1);

/* Whether it has come to that in this process. */
bool has_failed();

} // namespace support
