/* migr fleet summary OUT: what came of a fleet, from its results alone. */
#include "commands/fleet_options.h"
#include "fleet/summary.h"

namespace command {

namespace {

Status show_results(const Arguments &arguments)
{
    FleetIndex index;
    read_results(arguments.out, index);
    if (arguments.json)
        print_answer("fleet summary", status_of(index), summary_json(index));
    else
        show_summary(index, arguments.all);
    return status_of(index);
}

} // namespace

const Subcommand fleet_summary_command = {
    "fleet summary",
    "Say what came of a fleet",
    {{"OUT", &Arguments::out, "The folder of results", true},
     {"--all", &Arguments::all, "Cut no list"},
     {"--json", &Arguments::json, "Print it as JSON"}},
    show_results,
};

} // namespace command
