/* Sizes of files for people, rounded: nothing may be computed from them. */
#pragma once

#include <cstdint>
#include <string>

namespace command {

/* "1.2 kB" */
std::string size_text(uint64_t bytes);

} // namespace command
