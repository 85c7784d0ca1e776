/* Whether the disks have room for what is going to be written. Reserves nothing: a disk may be full all the same later.
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace command {

/* A file that is going to be there beside all that is there now. */
struct NewFileSize {
    std::string path;
    uint64_t    size;
};

/* What one disk is going to take. */
struct DiskSpace {
    std::string folder;     /* on it, of the first file that goes there */
    uint64_t    needed = 0; /* bytes, in whole blocks */
    uint64_t    free = 0;
    uint64_t    files_needed = 0;
    uint64_t    files_free = UINT64_MAX; /* of disks that have a limit on their number */

    bool is_enough() const
    {
        return needed <= free && files_needed <= files_free;
    }
};

/* A record per disk, in the order of the files. The folders of the files need not be there yet: the nearest one above
 * that is there counts. Throws PathError. To be run inside the appliance's root folder. */
std::vector<DiskSpace> space_for(const std::vector<NewFileSize> &files);

/* "needs 3.1 MB on /data, has 0.7 MB", for all disks that lack room; empty when none does. */
std::string why_no_space(const std::vector<DiskSpace> &disks);

} // namespace command
