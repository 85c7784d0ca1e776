/* migr fleet list IN OUT: the commands of a fleet, for whoever has machines and a way of their own to hand out work. */
#include "commands/fleet_options.h"
#include "fleet/entries.h"
#include "output/console.h"

namespace command {

namespace {

Status list_jobs(const Arguments &arguments)
{
    FleetIndex   index;
    FleetRequest request = fleet_request(arguments);
    Status       status = Status::done;
    require_folders(arguments.in, arguments.out);
    index.begin();
    for_each_entry(arguments.in, [&](const std::string &name) {
        std::string trouble = why_no_entry_name(name);
        if (trouble.empty())
            return index.expect(name);
        complain(name + ": " + trouble);
        status = Status::left_alone;
    });
    index.commit();
    index.for_each_expected([&](const std::string &name) { say(job_line(request, name)); });
    return status;
}

} // namespace

const Subcommand fleet_list_command = {
    "fleet list",
    "Print the command for each appliance of a folder, one a line",
    joined({{{"IN", &Arguments::in, "A folder of saved appliances", true},
             {"OUT", &Arguments::out, "The folder of results, for all of them", true}},
            fleet_upgrade_options()}),
    list_jobs,
};

} // namespace command
