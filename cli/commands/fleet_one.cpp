/* migr fleet one ENTRY OUT: what each job of a fleet runs. What is done is told by fleet/entry_upgrade.h. */
#include "commands/fleet_options.h"
#include "commands/subcommand.h"
#include "fleet/remote.h"
#include "output/console.h"

namespace command {

namespace {

Status upgrade_one(const Arguments &arguments)
{
    Interrupts interrupts;
    keep_lines(true); /* they go into the appliance's answer */
    EntryJob    job = entry_job(arguments, arguments.file);
    EntryResult result =
        arguments.sent ? upgrade_sent(job, arguments.file, arguments.out, interrupts) : upgrade_entry(job, interrupts);
    keep_lines(false);
    say(std::string(name_of(result.end)) + " " + result.entry);
    return status_of(result.end);
}

} // namespace

const Subcommand fleet_one_command = {
    "fleet one",
    "Upgrade one appliance of a fleet; what `migr fleet upgrade` has each of its jobs do",
    joined({{{"ENTRY", &Arguments::file,
              "A root folder, an archive of one (.tar, .tar.gz, .tar.zst, .zip), or a configuration file", true},
             {"OUT", &Arguments::out, "The folder of results", true}},
            fleet_upgrade_options(),
            {{"--sent", &Arguments::sent,
              "ENTRY is what another machine has sent, and OUT the file that goes back to it"}}}),
    upgrade_one,
};

} // namespace command
