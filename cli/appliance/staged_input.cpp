/* Whether it is a folder or a file decides how it is laid out, and nothing behind that. */
#include "appliance/staged_input.h"

#include "appliance/upgrade.h"
#include "output/console.h"

#include <filesystem>

namespace command {

bool is_root_folder(const std::string &path)
{
    std::error_code none;
    return std::filesystem::is_directory(path, none);
}

SingleFile lay_out_input(const SingleRequest &request, const Root &root, const Image &image, Interrupts &interrupts)
{
    SingleFile file = lay_out_single_file(request, root, image_text(image, "syntax_v510.txt"), interrupts);
    if (std::string missing = what_is_missing(file); !missing.empty())
        complain("warning: " + file.shown + ": " + missing);
    return file;
}

StagedInput stage_input(const SingleRequest &request, const Image &image, Interrupts &interrupts)
{
    StagedInput input;
    if (is_root_folder(request.file)) {
        input.appliance = std::make_unique<Root>(request.file);
        input.staging = stage_to_look(*input.appliance, interrupts);
    } else {
        input.staging = throw_away_appliance();
        SingleFile file = lay_out_input(request, input.root(), image, interrupts);
        input.before = folder_with(file);
        input.only = file.becomes_two() ? "" : file.stored;
    }
    return input;
}

} // namespace command
