/* Releases as people write them, and the one of this build. Version lines are read by the library. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace command {

/* The version code of the release that this command and its library carry files forward to. */
int32_t image_release();

/* The version code of a release like "5.50"; -1 for anything else. */
int32_t release_code(std::string_view text);

/* "5.50"; "-" for none. */
std::string release_text(int32_t code);

} // namespace command
