/* One look at each disk. Sizes are rounded up to its blocks; what compression or links may save is not counted. */
#include "appliance/space.h"

#include "output/size_text.h"
#include "system/failure.h"
#include "system/files.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace command {

namespace {

struct Disk {
    size_t   record; /* where it stands in the list */
    uint64_t block;  /* bytes: a file takes whole ones */
};

/* The folder or the nearest one above it that is there, and the disk that it is on. */
std::string nearest_folder(std::string folder, dev_t *disk)
{
    struct stat st = {};
    while (stat(folder.c_str(), &st) != 0) {
        if ((errno != ENOENT && errno != ENOTDIR) || folder == folder_of(folder))
            throw PathError{"read", folder, errno};
        folder = folder_of(folder);
    }
    *disk = st.st_dev;
    return folder;
}

/* The last blocks of a disk are root's alone. */
DiskSpace look_at_disk(const std::string &folder, uint64_t *block)
{
    struct statvfs disk = {};
    if (statvfs(folder.c_str(), &disk) != 0)
        throw PathError{"read", folder, errno};
    bool      is_root = geteuid() == 0;
    DiskSpace space;
    space.folder = folder;
    space.free = uint64_t{is_root ? disk.f_bfree : disk.f_bavail} * disk.f_frsize;
    if (disk.f_files > 0)
        space.files_free = is_root ? disk.f_ffree : disk.f_favail;
    *block = std::max<uint64_t>(disk.f_frsize, 1);
    return space;
}

void add_item(std::string &list, const std::string &item)
{
    list += (list.empty() ? "" : "; ") + item;
}

} // namespace

std::vector<DiskSpace> space_for(const std::vector<NewFileSize> &files)
{
    std::vector<DiskSpace> spaces;
    std::map<dev_t, Disk>  disks;
    for (const NewFileSize &file : files) {
        dev_t       device = 0;
        std::string folder = nearest_folder(folder_of(file.path), &device);
        auto [at, is_new] = disks.try_emplace(device, Disk{spaces.size(), 1});
        Disk &disk = at->second;
        if (is_new)
            spaces.push_back(look_at_disk(folder, &disk.block));
        DiskSpace &space = spaces[disk.record];
        space.needed += (file.size + disk.block - 1) / disk.block * disk.block;
        space.files_needed++;
    }
    return spaces;
}

std::string why_no_space(const std::vector<DiskSpace> &disks)
{
    std::string reasons;
    for (const DiskSpace &disk : disks) {
        if (disk.needed > disk.free)
            add_item(reasons,
                     "needs " + size_text(disk.needed) + " on " + disk.folder + ", has " + size_text(disk.free));
        else if (!disk.is_enough())
            add_item(reasons, "needs room for " + std::to_string(disk.files_needed) + " new files on " + disk.folder +
                                  ", has it for " + std::to_string(disk.files_free));
    }
    return reasons;
}

} // namespace command
