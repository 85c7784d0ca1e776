/* What a stored configuration file is, and why an upgrade leaves it alone. */
#pragma once

#include "appliance/root.h"
#include "system/config_path.h"

#include <cstdint>
#include <string>
#include <vector>

namespace command {

/* What one file holds. Lines count from 1. */
struct ConfigFacts {
    int                   error = 0;    /* errno of the attempt to read it */
    bool                  gzip = false; /* unpacks without an error */
    int32_t               release = -1; /* version code, or -1 without a version line */
    std::string           model;
    bool                  second_line = false;
    uint64_t              stored_size = 0;
    uint64_t              text_size = 0;
    std::vector<uint64_t> empty_sets; /* lines of `set` without a value, the first ones; only with Depth::whole */

    /* It can be read whole and has both header lines. */
    bool is_sound() const
    {
        return error == 0 && gzip && release >= 0 && second_line;
    }
};

enum class Depth { headers, whole };

/* One entry of /data/config that the library takes for a configuration file. */
struct StoredFile {
    std::string name;
    ConfigFacts facts;
    uint32_t    owner = 0;
    bool        special = false; /* neither a file nor a folder nor a link to such: it could block whoever opens it */

    bool is_global() const
    {
        return name == global_name;
    }
};

/* The folder as it stands. */
struct ConfigFolder {
    std::vector<std::string> names; /* all there is */
    std::vector<StoredFile>  files; /* the global file first, the others by name */

    const StoredFile *find(const std::string &name) const;
    const StoredFile *global() const
    {
        return find(global_name);
    }
};

/* Reads an appliance's configuration folder. Throws Failure. */
ConfigFolder inspect_folder(const Root &root, Depth depth);

/* Reads one file, of any place, packed or plain. In the calling process: see inspect_folder for hostile texts. */
ConfigFacts inspect_file(const std::string &path, Depth depth);
ConfigFacts inspect_text(std::string text, Depth depth);

/* "5.50"; "-" for none. */
std::string release_text(int32_t code);

/* Whether the library starts a run at all, by what it sees of the global file. */
bool starts_run(const ConfigFacts &global);

/* No older than the image: there is nothing to do about it. */
bool is_current(const ConfigFacts &facts);

/* What stands in an appliance around its configuration. */
struct Surroundings {
    bool     update_file = true;
    uint64_t room = UINT64_MAX; /* the largest file that can still be written */
};

/* Throws Failure. */
Surroundings inspect_surroundings(const Root &root);

/*
 * What keeps the library from carrying a file forward, found out by looking for what it looks for, in the same order:
 * what it is and what to do about it. Empty when nothing does. The facts are of Depth::whole.
 */
std::string why_not_upgraded(const ConfigFolder &folder, const ConfigFacts &facts, const Surroundings &around);

} // namespace command
