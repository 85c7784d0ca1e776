/* What a child wrote into a file in memory. Whether the child is at its end is for its starter to know. */
#pragma once

#include <string>

namespace support {

/* All of the file, from its beginning; closes it. */
std::string drain(int fd);

} // namespace support
