/* migr fleet one ENTRY OUT: what each job of a fleet runs. What is done is told by fleet/entry_upgrade.h. */
#include "commands/fleet_options.h"
#include "commands/subcommand.h"
#include "fleet/remote.h"
#include "output/console.h"

namespace command {

namespace {

/* As long as it lives. What goes wrong with the job itself is told by whoever catches it. */
struct LinesKept {
    LinesKept()
    {
        keep_lines(true);
    }
    ~LinesKept()
    {
        keep_lines(false);
    }
};

EntryResult upgraded(const Arguments &arguments)
{
    Interrupts interrupts;
    LinesKept  for_the_answer;
    EntryJob   job = entry_job(arguments, arguments.file);
    return arguments.sent ? upgrade_sent(job, arguments.file, arguments.out, interrupts)
                          : upgrade_entry(job, interrupts);
}

Status upgrade_one(const Arguments &arguments)
{
    EntryResult result = upgraded(arguments);
    say(std::string(name_of(result.end)) + " " + result.entry);
    return status_of(result);
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
