/* Releases as people write them. */
#pragma once

#include <cstdint>
#include <string>

namespace command {

/* The version code of the release that this command and its library carry files forward to. */
int32_t image_release();

/* "5.50"; "-" for none. */
std::string release_text(int32_t code);

} // namespace command
