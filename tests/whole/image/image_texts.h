/* Texts of the image, and the configurations that this folder holds. */
#pragma once

#include "support/files.h"
#include "support/places.h"

#include <string>

inline std::string image_text(const std::string &name)
{
    return support::file_text(support::source_path("/image/") + name);
}

inline std::string own_file(const std::string &name)
{
    return support::file_text(support::source_path("/tests/whole/image/") + name);
}
