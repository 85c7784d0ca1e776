/* Files as tests read them. */
#pragma once

#include <string>

namespace support {

/* All bytes of a file; throws when it cannot be read. */
std::string file_text(const std::string &path);

} // namespace support
