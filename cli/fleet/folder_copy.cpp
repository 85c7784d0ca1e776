/* From disk to disk. */
#include "fleet/folder_copy.h"

#include "fleet/disk_archive.h"

namespace command {

void copy_folder(const std::string &from, const std::string &to)
{
    copy_all_members(open_folder(from), open_disk(), true,
                     [&](const std::string &path) { return to + path.substr(from.size()); });
}

} // namespace command
