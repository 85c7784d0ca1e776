/* migr version FILE...: what wrote each file, by its version line. Whether the rest of it is good is not asked. */
#include "appliance/inside.h"
#include "appliance/inspect.h"
#include "commands/subcommand.h"
#include "output/console.h"
#include "output/json.h"
#include "output/release_text.h"

#include <cstring>

namespace command {

namespace {

struct ReleaseAndModel {
    int32_t     release = -1;
    std::string model;
    std::string why_no_release;
};

auto fields_of(ReleaseAndModel &found)
{
    return std::tie(found.release, found.model, found.why_no_release);
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
        if (facts.release < 0)
            return ReleaseAndModel{-1, "", why_no_release(facts)};
        return ReleaseAndModel{facts.release, facts.model, ""};
    });
}

struct FileVersion {
    std::string     path;
    ReleaseAndModel found;
    std::string     error; /* why there is none; or empty */
};

FileVersion version_of(const std::string &path)
{
    FileVersion version = {path, {}, ""};
    try {
        version.found = look_into(path);
        if (version.found.release < 0)
            version.error = path + ": " + version.found.why_no_release;
    } catch (const Failure &failure) {
        version.error = failure.what();
    }
    return version;
}

void show(const FileVersion &version)
{
    if (version.error.empty())
        say(version.path + ": " + release_text(version.found.release) + " " + version.found.model);
    else
        complain(version.error);
}

Json to_json(const FileVersion &version)
{
    return Json::Members{{"file", version.path},
                         {"release", Json::release(version.found.release)},
                         {"model", Json::text_or_null(version.found.model)},
                         {"error", Json::text_or_null(version.error)}};
}

Status show_versions(const Arguments &arguments)
{
    Status     status = Status::done;
    Json::List all;
    for (const std::string &path : arguments.files) {
        FileVersion version = version_of(path);
        if (!version.error.empty())
            status = Status::left_alone;
        if (arguments.json)
            all.push_back(to_json(version));
        else
            show(version);
    }
    if (arguments.json)
        print_answer("version", status, {{"files", std::move(all)}});
    return status;
}

} // namespace

const Subcommand version_command = {
    "version",
    "Print the release and model of configuration files",
    {
        {"FILE", &Arguments::files, "A stored (gzip) or a plain configuration file", true},
        {"--json", &Arguments::json, "Print what was found as JSON"},
    },
    show_versions,
};

} // namespace command
