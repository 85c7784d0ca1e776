/* The image's files that came with the command itself: the folder, not what lies in it. */
#pragma once

#include <filesystem>
#include <string>

namespace command {

/* The folder for the command at that path: where it is installed to, or where it is built. Throws Failure that names
 * both when neither is there. */
std::string packaged_image(const std::filesystem::path &command_path);

/* The folder that the operator has named, or the packaged one of this very command. Throws Failure. */
std::string image_folder(const std::string &named);

} // namespace command
