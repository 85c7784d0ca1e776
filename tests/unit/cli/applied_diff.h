/* Unified diffs in tests. */
#pragma once

#include <string>

namespace support {

/* What the diff makes of `before`. A line that the diff expects and that is not there fails the test. */
std::string applied(const std::string &before, const std::string &diff);

} // namespace support
