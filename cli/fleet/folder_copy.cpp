/* From disk to disk. */
#include "fleet/folder_copy.h"

#include "fleet/disk_archive.h"
#include "system/failure.h"

#include <filesystem>

namespace command {

void copy_folder(const std::string &from, const std::string &to)
{
    std::error_code error;
    std::string     target = std::filesystem::absolute(to, error);
    if (error)
        throw PathError{"write", to, error.value()};
    copy_all_of_folder(from, open_disk(), [&](const std::string &path) { return target + path.substr(from.size()); });
}

} // namespace command
