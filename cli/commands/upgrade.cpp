/* migr upgrade ROOT [--image DIR] [--dry-run] [--json] [--timeout SECONDS] */
#include "appliance/upgrade.h"
#include "commands/subcommand.h"

namespace command {

namespace {

Status upgrade_appliance(const Arguments &arguments)
{
    UpgradeRequest request;
    request.root = arguments.root;
    request.image = arguments.image;
    request.dry_run = arguments.dry_run;
    request.json = arguments.json;
    request.timeout = std::chrono::seconds(arguments.timeout);
    return upgrade(request);
}

} // namespace

const Subcommand upgrade_command = {
    "upgrade",
    "Upgrade the configuration files of an appliance",
    {
        {"ROOT", &Arguments::root, "The appliance's root folder (\"/\" on the appliance itself)", true},
        {"--image", &Arguments::image,
         "Folder with the image's files update_config, syntax_v510.txt, system.conf.predefine and signature.db, to be "
         "laid into ROOT first"},
        {"--dry-run", &Arguments::dry_run, "Work on a copy; ROOT is left alone"},
        {"--json", &Arguments::json, "Print the report as JSON"},
        {"--timeout", &Arguments::timeout, "Give up, and put everything back, after so many seconds without progress"},
    },
    upgrade_appliance,
};

} // namespace command
