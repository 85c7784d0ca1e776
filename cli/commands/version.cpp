/* migr version FILE... */
#include "appliance/inside.h"
#include "appliance/inspect.h"
#include "commands/subcommand.h"
#include "output/console.h"
#include "output/release_text.h"

#include <cstring>

namespace command {

namespace {

struct ReleaseAndModel {
    int32_t     release = -1;
    std::string model;
};

auto fields_of(ReleaseAndModel &found)
{
    return std::tie(found.release, found.model);
}

/* The text is hostile and the library's readers work on global records: a child of its own for each file. */
ReleaseAndModel look_into(const std::string &path)
{
    char *absolute = realpath(path.c_str(), nullptr);
    if (!absolute)
        throw failure_of({"read", path, errno}, path);
    std::string full = absolute;
    free(absolute);
    return inside(Root("/"), [&] {
        ConfigFacts facts = inspect_file(full, Depth::headers);
        if (facts.error != 0)
            throw failure_of({"read", path, facts.error}, path);
        return ReleaseAndModel{facts.release, facts.model};
    });
}

bool show_version(const std::string &path)
{
    try {
        ReleaseAndModel found = look_into(path);
        if (found.release >= 0) {
            say(path + ": " + release_text(found.release) + " " + found.model);
            return true;
        }
        complain(path + ": has no version line that can be read.");
    } catch (const Failure &failure) {
        complain(failure.what());
    }
    return false;
}

Status show_versions(const Arguments &arguments)
{
    bool all = true;
    for (const std::string &path : arguments.files)
        all = show_version(path) && all;
    return all ? Status::done : Status::left_alone;
}

} // namespace

const Subcommand version_command = {
    "version",
    "Print the release and model of configuration files",
    {{"FILE", &Arguments::files, "A stored (gzip) or a plain configuration file", true}},
    show_versions,
};

} // namespace command
