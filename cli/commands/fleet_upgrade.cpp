/* migr fleet upgrade IN OUT: how a fleet's upgrade is asked for and shown. What it does is told by fleet/fleet.h. */
#include "commands/fleet_options.h"
#include "fleet/index_page.h"
#include "fleet/summary.h"
#include "output/console.h"
#include "output/printable.h"
#include "system/files.h"

namespace command {

namespace {

Json::Members run_json(const FleetRun &run)
{
    return {{"done_before", run.done_before}, {"left", run.left}, {"hidden", uint64_t{run.hidden}}};
}

void show_run(const FleetRun &run, const Arguments &arguments)
{
    if (run.hidden > 0)
        say("Left out, as their names begin with a dot: " + std::to_string(run.hidden) + ".");
    if (run.done_before > 0)
        say("Done before, and left as they are: " + std::to_string(run.done_before) + ".");
    if (run.left > 0)
        say("Not tried: " + std::to_string(run.left) + ". Go on with: migr fleet upgrade " + shell_word(arguments.in) +
            " " + shell_word(arguments.out) + " --resume");
}

Status upgrade_all(const Arguments &arguments)
{
    Interrupts   interrupts;
    FleetIndex   index;
    FleetRequest request = fleet_request(arguments);
    FleetRun     run = upgrade_fleet(request, index, interrupts);
    Status       status = run.left > 0 ? Status::left_alone : status_of(index);
    if (arguments.html)
        write_index_page(index, arguments.out);
    if (arguments.json) {
        Json::Members answer = {{"in", arguments.in}, {"out", arguments.out}};
        for (auto part : {run_json(run), summary_json(index)})
            std::move(part.begin(), part.end(), std::back_inserter(answer));
        print_answer("fleet upgrade", status, std::move(answer));
        return status;
    }
    show_run(run, arguments);
    show_summary(index, arguments.all);
    if (arguments.html)
        say("Index of the reports: " + shell_word(joined(arguments.out, "index.html")));
    return status;
}

} // namespace

const Subcommand fleet_upgrade_command = {
    "fleet upgrade",
    "Upgrade each appliance of a folder; IN is left alone",
    joined({{{"IN", &Arguments::in,
              "A folder with an appliance an entry: a root folder, an archive of one (.tar, .tar.gz, .tar.zst, .zip), "
              "or a "
              "configuration file",
              true},
             {"OUT", &Arguments::out, "The folder of results", true},
             {"--resume", &Arguments::resume, "Go on with what is not done yet, and try anew what failed"},
             {"--jobs", &Arguments::jobs,
              "How many are upgraded side by side; without it as many as there are processors"}},
            {{"--hosts", &Arguments::hosts,
              "Upgrade them on the machines that this file names, one a line, by ssh; as GNU parallel's "
              "--sshloginfile"}},
            fleet_upgrade_options(),
            {{"--timeout", &Arguments::entry_timeout, "Give an appliance up after so many seconds"},
             {"--halt", &Arguments::halt, "When to stop as a whole, as GNU parallel's --halt: \"soon,fail=10%\""},
             {"--all", &Arguments::all, "Cut no list of the summary"},
             {"--json", &Arguments::json, "Print the summary as JSON"}}}),
    upgrade_all,
};

} // namespace command
