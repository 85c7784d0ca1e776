/*
 * Where the checkout and its build lie. Only places.cpp is compiled with these folders' names, so that every other
 * object is the same in each checkout and a compiler cache finds it again.
 */
#pragma once

#include <string>
#include <string_view>

namespace support {

/* A path of the checkout, "/image/update_config", or of the build folder, "/image/signature.db", as a whole path. */
std::string source_path(std::string_view path);
std::string build_path(std::string_view path);

/* A path of the folder that holds what this program was linked with, "/libmigr.a": the programs with sanitizers have
 * one of their own. Asks /proc, so not in a child with another root folder. */
std::string program_path(std::string_view path);

/* Whether the library in this program has sanitizers, which take their time. */
bool is_sanitized();

} // namespace support
