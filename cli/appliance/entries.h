/*
 * Things on a disk, as far as a commit has to know them. What is looked at and why is told by places.h.
 */
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace command {

/* One thing on disk. */
struct Entry {
    char        type = 'f'; /* 'f' file, 'd' folder, 'l' symbolic link, 'o' other: a device, a pipe or a socket */
    uint32_t    mode = 0;
    uint32_t    uid = 0;
    uint32_t    gid = 0;
    int64_t     seconds = 0; /* when it was last changed */
    int64_t     nanoseconds = 0;
    uint64_t    size = 0;                          /* of a file */
    std::string target;                            /* of a link */
    std::string sha256;                            /* of a file; empty while nobody has read it */
    std::map<std::string, std::string> attributes; /* extended ones, access lists among them; none of a link */

    bool operator==(const Entry &) const = default;
};

/* By path, so a folder stands ahead of what is in it. */
using Entries = std::map<std::string, Entry>;

/* One thing without its sum, links not followed. Throws PathError, also when there is nothing. */
Entry entry_at(const std::string &path);

/* Nothing when there is nothing. Throws PathError. */
std::optional<Entry> entry_if_there(const std::string &path);

/* Whether what is there now is, by all that shows without reading it, still what `known` tells. A folder's own time
 * and a device's do not count. */
bool is_untouched(const Entry &now, const Entry &known);

/* Makes the file or folder open at `fd` what `wanted` tells, content apart. An attribute in the care of the system
 * ("security.") may stay as it is. Throws PathError that names `path`. */
void set_attributes(int fd, const std::string &path, const Entry &wanted);

} // namespace command
