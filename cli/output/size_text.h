/* Sizes of files for people. */
#pragma once

#include <cstdint>
#include <string>

namespace command {

/* "1.2 kB" */
std::string size_text(uint64_t bytes);

} // namespace command
