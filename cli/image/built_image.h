/*
 * The image that was built with this command, to know it again. The build has looked through it
 * (tools/check_built_image), so runs need not, which take a twentieth less for it; any other image is looked through by
 * each run.
 */
#pragma once

#include <string_view>

namespace command {

/* The bytes of its files, in the order of image_file_table. */
extern const std::string_view built_image[4];

} // namespace command
