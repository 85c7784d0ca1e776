/* Configuration files as an appliance stores them, by their names in /data/config. Inside a root folder. */
#pragma once

#include <string>
#include <string_view>

namespace command {

/* The unpacked text; as it is when it is not packed. Throws PathError. */
std::string stored_text(const std::string &name);

/* The same of a file anywhere. */
std::string text_of_file(const std::string &path);

/* Packs a text and puts it there, in the place of what there is. Throws PathError. */
void store_text(const std::string &name, std::string_view text);

/* The same with bytes that are packed. */
void store_packed(const std::string &name, std::string_view bytes);

} // namespace command
