/* Texts of the image, and the configurations that this folder holds. */
#pragma once

#include "support/places.h"

#include <fstream>
#include <sstream>
#include <string>

inline std::string read_text(const std::string &path)
{
    std::ifstream      in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline std::string image_text(const std::string &name)
{
    return read_text(support::source_path("/image/") + name);
}

inline std::string own_file(const std::string &name)
{
    return read_text(support::source_path("/tests/whole/image/") + name);
}
