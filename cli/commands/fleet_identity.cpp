/* migr fleet identity: by what two machines are told to give the same results. */
#include "commands/fleet_options.h"
#include "fleet/remote.h"
#include "output/console.h"

namespace command {

static Status print_identity(const Arguments &arguments)
{
    say(identity_line(identity_of(entry_job(arguments, ""))));
    return Status::done;
}

const Subcommand fleet_identity_command = {
    "fleet identity",
    "Print the version of this command and the sum of its image, by which machines are compared",
    {{"--image", &Arguments::image, "Folder with the image's files, in place of the packaged ones"}},
    print_identity,
};

} // namespace command
