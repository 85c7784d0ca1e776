/* migr upgrade ROOT [--image DIR] [--dry-run] [--json] [--timeout SECONDS] */
#include "appliance/upgrade.h"
#include "commands/subcommands.h"

#include <memory>

namespace command {

void add_upgrade(CLI::App &app, Action &chosen)
{
    auto  request = std::make_shared<UpgradeRequest>();
    auto  timeout = std::make_shared<unsigned>(600);
    auto *upgrade_app = app.add_subcommand("upgrade", "Upgrade the configuration files of an appliance");
    upgrade_app->add_option("ROOT", request->root, "The appliance's root folder (\"/\" on the appliance itself)")
        ->required();
    upgrade_app->add_option("--image", request->image,
                            "Folder with the image's files update_config, syntax_v510.txt, system.conf.predefine and "
                            "signature.db, to be laid into ROOT first");
    upgrade_app->add_flag("--dry-run", request->dry_run, "Work on a copy; ROOT is left alone");
    upgrade_app->add_flag("--json", request->json, "Print the report as JSON");
    upgrade_app
        ->add_option("--timeout", *timeout, "Give up, and put everything back, after so many seconds without progress")
        ->capture_default_str()
        ->check(CLI::Range(1U, 1'000'000U));
    upgrade_app->callback([request, timeout, &chosen] {
        request->timeout = std::chrono::seconds(*timeout);
        chosen = [request] { return upgrade(*request); };
    });
}

} // namespace command
