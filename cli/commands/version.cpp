/* migr version FILE... */
#include "appliance/inspect.h"
#include "commands/subcommands.h"
#include "output/console.h"

#include <cstring>
#include <memory>

namespace command {

namespace {

/* The text is hostile and the library's readers work on global records: a child of its own for each file. */
json look_into(const std::string &path)
{
    char *absolute = realpath(path.c_str(), nullptr);
    if (!absolute)
        throw failure_of({"read", path, errno}, path);
    std::string full = absolute;
    free(absolute);
    return Root("/").run([&] {
        ConfigFacts facts = inspect_file(full, Depth::headers);
        if (facts.error != 0)
            throw failure_of({"read", path, facts.error}, path);
        return json{facts.release, facts.model};
    });
}

bool show_version(const std::string &path)
{
    try {
        json    found = look_into(path);
        int32_t release = found[0];
        if (release >= 0) {
            say(path + ": " + release_text(release) + " " + found[1].get<std::string>());
            return true;
        }
        complain(path + ": has no version line that can be read.");
    } catch (const Failure &failure) {
        complain(failure.what());
    }
    return false;
}

Status show_versions(const std::vector<std::string> &paths)
{
    bool all = true;
    for (const std::string &path : paths)
        all = show_version(path) && all;
    return all ? Status::done : Status::left_alone;
}

} // namespace

void add_version(CLI::App &app, Action &chosen)
{
    auto  paths = std::make_shared<std::vector<std::string>>();
    auto *version_app = app.add_subcommand("version", "Print the release and model of configuration files");
    version_app->add_option("FILE", *paths, "A stored (gzip) or a plain configuration file")->required();
    version_app->callback([paths, &chosen] { chosen = [paths] { return show_versions(*paths); }; });
}

} // namespace command
