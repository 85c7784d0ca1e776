/* Texts of the image, and the configurations that this folder holds. */
#pragma once

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
    return read_text(std::string(MIGR_SOURCE_DIR "/image/") + name);
}

inline std::string own_file(const std::string &name)
{
    return read_text(std::string(IMAGE_TEXT_FILES "/") + name);
}
