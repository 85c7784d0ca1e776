/* What an update file needs for the version chain, whatever steps that has. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace support {

/* The releases of the steps, ascending. */
std::vector<int32_t> step_releases();

/* A section, a line each, for every step but the one of that release. */
std::string step_sections(int32_t left_out = 0);

/* "5.9", as a section's line has it. */
std::string section_name(int32_t release);

} // namespace support
