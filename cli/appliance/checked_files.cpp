/* Facts and damage side by side. Texts are hostile, so they are read in child processes. */
#include "appliance/checked_files.h"

#include "appliance/inspect.h"
#include "run/waiting.h"
#include "system/failure.h"

namespace command {

namespace {

CheckedFile checked(const std::string &name, const ConfigFacts &facts)
{
    CheckedFile file = {name, facts.release, {}, facts.damage, facts.more_damage};
    FileFinding fault = is_current(facts) ? "" : fault_of(facts);
    if (!fault.text.empty())
        file.reasons.push_back(fault.text);
    return file;
}

} // namespace

std::vector<CheckedFile> check_appliance(const Root &root)
{
    ConfigFolder folder = inspect_folder(root, Depth::whole);
    if (folder.files.empty())
        throw Failure(Status::unusable, root.shows(config_folder) + ": holds no configuration files. Is " +
                                            root.shown() + " an appliance's root folder?");
    std::vector<CheckedFile> files;
    if (!folder.global())
        files.push_back({root.shows(config_path(global_name)),
                         -1,
                         {"It is not there, and no upgrade of the appliance starts without it."},
                         {}});
    for (const StoredFile &file : folder.files)
        files.push_back(checked(root.shows(config_path(file.name)), file.facts));
    return files;
}

CheckedFile check_file(const std::string &path, Interrupts &interrupts)
{
    return checked(shown_input(path), inspect_bytes(Root("/"), read_input(path, interrupts)));
}

} // namespace command
