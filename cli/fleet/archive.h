/*
 * Archives of appliances (tar, plain or packed by gzip or Zstandard, and zip): taken apart in an empty folder, and put
 * together again with what has changed there. Archives are hostile: whatever is in one that an appliance's folder has
 * no need of is refused by name, and all work is done inside that folder. What an appliance is, is not known here.
 */
#pragma once

#include "appliance/root.h"

#include <cstdint>
#include <string>
#include <vector>

namespace command {

/* The most that an archive may hold. Beyond that it is taken for one that is made to fill disks. */
inline constexpr uint64_t most_unpacked = uint64_t{4} << 30; /* bytes */
inline constexpr size_t   most_members = 200'000;

/* A file or folder of an archive, and what its copy on disk was like when nobody had touched it. */
struct Member {
    std::string path; /* below the folder that it was unpacked to, without a slash at either end */
    bool        folder = false;
    uint64_t    inode = 0;
    int64_t     changed = 0; /* time of its last change, in nanoseconds */
};

struct Unpacked {
    int                 format = 0; /* these two as libarchive numbers them */
    int                 filter = 0;
    std::vector<Member> members; /* in the archive's order */
};

/* Whether a file of that name is taken for an archive. */
bool is_archive_name(const std::string &name);

/* What ends such a name: ".tar.gz". Empty for any other. */
std::string archive_ending(const std::string &name);

/*
 * Takes the archive that is open at `fd`, for reading by position, apart in `into`, an empty folder. Owners are kept as
 * far as this process may; nothing is executable by set-id. Throws Failure that names the member at fault: a path that
 * leads out, a link, a device, a member that stands there twice, an encrypted one, too much of all, or an archive that
 * is damaged.
 */
Unpacked unpack_archive(int fd, const Root &into);

/*
 * Writes to `to` what the archive at `from` held, in its order and its form, with what `folder` holds now: members that
 * were not touched go over as they are, changed ones with their new bytes, those that are gone are left out, and new
 * ones follow at the end, by path. Throws Failure.
 */
void pack_again(int from, const Unpacked &unpacked, const Root &folder, int to);

} // namespace command
