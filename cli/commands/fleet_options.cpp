/* What each appliance of a fleet is upgraded with, from the command line. */
#include "commands/fleet_options.h"

#include <algorithm>

namespace command {

std::vector<Option> fleet_upgrade_options()
{
    return {{"--image", &Arguments::image, "Folder with the image's files, in place of the packaged ones"},
            {"--partial", &Arguments::partial, "Upgrade what can be of an appliance of which some file cannot"},
            {"--accept-damage", &Arguments::accept_damage, "Upgrade files of which text will be lost, too"},
            {"--html", &Arguments::html, "Write a report's page for each appliance, too"}};
}

EntryJob entry_job(const Arguments &arguments, const std::string &path)
{
    return {path, arguments.out, arguments.image, arguments.partial, arguments.accept_damage, arguments.html};
}

FleetRequest fleet_request(const Arguments &arguments)
{
    FleetRequest request;
    request.in = arguments.in;
    request.job = entry_job(arguments, "");
    request.resume = arguments.resume;
    request.at_once = arguments.jobs;
    request.timeout = arguments.entry_timeout;
    request.halt = arguments.halt;
    request.hosts = arguments.hosts;
    request.progress = arguments.json ? nullptr : stderr;
    return request;
}

Status status_of(const EntryResult &result)
{
    if (result.end == EntryEnd::failed)
        return Status::failed;
    bool all = std::none_of(result.findings.begin(), result.findings.end(),
                            [](const CountedFinding &finding) { return finding.is_reason; });
    return all ? Status::done : Status::left_alone;
}

} // namespace command
