/*
 * What a stored configuration file is, and why an upgrade leaves it alone. A look at the files as they are: what an
 * upgrade makes of them is told by nobody here.
 */
#pragma once

#include "appliance/root.h"
#include "language/damage.h"
#include "output/file_finding.h"
#include "system/config_path.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace command {

/* What one file holds. Lines count from 1. */
struct ConfigFacts {
    int         error = 0;            /* errno of the attempt to read it */
    bool        gzip = false;         /* unpacks without an error */
    std::string no_gzip;              /* why it does not: "is empty" */
    int32_t     release = -1;         /* version code, or -1 without a version line that names a release */
    bool        version_line = false; /* the text begins as one does, whatever it names */
    std::string no_release;           /* what such a line names in its place */
    std::string model;
    bool        second_line = false;
    uint64_t    stored_size = 0;
    uint64_t    text_size = 0;
    std::string header_lines; /* both, from their marks on; empty unless both are there */
    /* Only with Depth::whole: */
    std::string         too_large; /* why the text cannot be written again, or empty */
    std::vector<Damage> damage;    /* what would be lost or misread, the first of it */
    size_t              more_damage = 0;
    bool                can_accept_damage = true;

    /* It can be read whole and has both header lines. */
    bool is_sound() const
    {
        return error == 0 && gzip && release >= 0 && second_line;
    }
};

/* For the way from process to process (system/codec.h). */
inline auto fields_of(ConfigFacts &facts)
{
    return std::tie(facts.error, facts.gzip, facts.no_gzip, facts.version_line, facts.release, facts.no_release,
                    facts.model, facts.second_line, facts.stored_size, facts.text_size, facts.header_lines,
                    facts.too_large, facts.damage, facts.more_damage, facts.can_accept_damage);
}

enum class Depth { headers, whole };

/* One entry of /data/config that the library takes for a configuration file. */
struct StoredFile {
    std::string name;
    ConfigFacts facts;

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

inline auto fields_of(StoredFile &file)
{
    return std::tie(file.name, file.facts);
}

inline auto fields_of(ConfigFolder &folder)
{
    return std::tie(folder.names, folder.files);
}

/* Reads an appliance's configuration folder. Throws Failure. */
ConfigFolder inspect_folder(const Root &root, Depth depth);

/* The unpacked texts of a folder's files, by name; of one that cannot be unpacked nothing. */
using StoredTexts = std::map<std::string, std::string>;

/* The same inside the root folder, in the calling process. `texts` may be null. */
ConfigFolder inspect_folder_here(Depth depth, StoredTexts *texts);

/* Reads one file, of any place, packed or plain. In the calling process: see inspect_folder for hostile texts. */
ConfigFacts inspect_file(const std::string &path, Depth depth);

/* The same of a text. With Depth::whole, `configs` gets its top-level configs, if there is one. */
ConfigFacts inspect_text(std::string_view text, Depth depth, std::vector<TopLevelConfig> *configs = nullptr);

/* No older than the image: there is nothing to do about it. */
bool is_current(const ConfigFacts &facts);

/* Why a file has no release. */
std::string why_no_release(const ConfigFacts &facts);

/* What of the file as a whole keeps the library from carrying it forward, and what to do about it; without a text for
 * nothing. */
FileFinding fault_of(const ConfigFacts &facts);

/* The facts of a file of those bytes, packed or plain, of Depth::whole, found out in a process of its own. */
ConfigFacts inspect_bytes(const Root &machine, const std::string &bytes);

/* What keeps the library from carrying a file forward, each with what to do about it. Empty when nothing does. The
 * facts are of Depth::whole. With `accept_damage`, text that will be lost is no reason. */
std::vector<FileFinding> reasons_against(const ConfigFacts &facts, bool accept_damage);

/* "line 12: ..." for each damage. */
std::vector<FileFinding> damage_findings(const ConfigFacts &facts);

} // namespace command
