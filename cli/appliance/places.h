/*
 * The places of an appliance that an upgrade can change, and what lies there.
 *
 * All functions run inside the appliance's root folder (root.h), and throw PathError.
 */
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace command {

/* Everything of that name, or of a name that matches, in one folder, with all below. */
struct Place {
    std::string folder;
    std::string name;
    bool        pattern = false;         /* the name is a shell pattern */
    bool        keeps_additions = false; /* reached only through a link: others may use it too, so what came there since
                                            is none of ours */
};

/* What an upgrade can change; with `image_files`, also where --image puts the image's files. Includes what symbolic
 * links in those places lead to. */
std::vector<Place> places_of_upgrade(bool image_files);

/* All that an upgrade reads or changes: what a dry run has to copy. */
std::vector<Place> places_of_dry_run();

/* One thing on disk. */
struct Entry {
    char        type = 'f'; /* 'f' file, 'd' folder, 'l' symbolic link, 'o' other: a device, a pipe or a socket */
    uint32_t    mode = 0;
    uint32_t    uid = 0;
    uint32_t    gid = 0;
    int64_t     seconds = 0; /* when it was last changed */
    int64_t     nanoseconds = 0;
    uint64_t    size = 0; /* of a file */
    std::string target;   /* of a link */
    std::string sha256;   /* of a file; empty while nobody has read it */

    bool operator==(const Entry &) const = default;
};

/* By path, so a folder stands ahead of what is in it. */
using Entries = std::map<std::string, Entry>;

/* What is there, without the files' sums. Links are not followed. */
Entries look_at(const std::vector<Place> &places);

/* One thing without its sum. Throws PathError, also when there is nothing. */
Entry entry_at(const std::string &path);

} // namespace command
