/* migr check ROOT|FILE... [--image DIR] [--json]: what stands in the way of an upgrade, and nothing done about it. */
#include "appliance/checked_files.h"
#include "appliance/inspect.h"
#include "commands/subcommand.h"
#include "driver/run_context.h"
#include "image/check_image.h"
#include "image/image_files.h"
#include "output/console.h"
#include "output/json.h"
#include "output/release_text.h"

#include <algorithm>
#include <filesystem>
#include <iterator>

namespace command {

namespace {

struct Checked {
    std::string              image; /* its folder */
    std::vector<ImageFault>  faults;
    std::vector<CheckedFile> files;

    Status status() const
    {
        if (!faults.empty())
            return Status::unusable;
        bool all_sound =
            std::all_of(files.begin(), files.end(), [](const CheckedFile &file) { return file.is_sound(); });
        return all_sound ? Status::done : Status::left_alone;
    }
};

std::vector<CheckedFile> check_paths(const std::vector<std::string> &paths, Interrupts &interrupts)
{
    std::vector<CheckedFile> files;
    for (const std::string &path : paths) {
        std::error_code none;
        if (!std::filesystem::is_directory(path, none)) {
            files.push_back(check_file(path, interrupts));
            continue;
        }
        std::vector<CheckedFile> of_appliance = check_appliance(Root(path));
        std::move(of_appliance.begin(), of_appliance.end(), std::back_inserter(files));
    }
    return files;
}

int32_t lowest_release(const std::vector<CheckedFile> &files)
{
    int32_t lowest = MIGR_RELEASE_IMAGE;
    for (const CheckedFile &file : files)
        if (file.release >= 0)
            lowest = std::min(lowest, file.release);
    return lowest;
}

Checked check_all(const Arguments &arguments)
{
    Checked    checked;
    Interrupts interrupts;
    Image      image = open_image(arguments.image);
    checked.image = image.folder;
    checked.files = check_paths(arguments.files, interrupts);
    checked.faults = faults_of(image, lowest_release(checked.files));
    return checked;
}

/* ---- for people ---- */

std::string sound_text(const CheckedFile &file)
{
    if (file.release <= image_release())
        return "sound.";
    return "sound. It is at " + release_text(file.release) + ", and the image at " + release_text(image_release()) +
           ", so an upgrade leaves it as it is.";
}

void show(const CheckedFile &file)
{
    for (const std::string &reason : file.reasons)
        say(file.name + ": " + reason);
    for (const Damage &damage : file.damage)
        say(file.name + ":" + std::to_string(damage.line) + ": " + damage.text);
    if (file.more_damage > 0)
        say(file.name + ": " + std::to_string(file.more_damage) + " more findings are not listed.");
    if (file.is_sound())
        say(file.name + ": " + sound_text(file));
}

void show(const Checked &checked)
{
    for (const CheckedFile &file : checked.files)
        show(file);
    for (const ImageFault &fault : checked.faults)
        say(checked.image + "/" + shown(fault));
    if (checked.faults.empty())
        say("The image in " + checked.image + ": sound.");
}

/* ---- for programs ---- */

Json to_json(const CheckedFile &file)
{
    Json::List damage;
    for (const Damage &one : file.damage)
        damage.push_back(Json::Members{
            {"line", one.line}, {"kind", name_of(one.kind)}, {"text", one.text}, {"acceptable", one.acceptable}});
    return Json::Members{{"file", file.name},           {"release", Json::release(file.release)},
                         {"sound", file.is_sound()},    {"reasons", Json::list(file.reasons)},
                         {"damage", std::move(damage)}, {"more", file.more_damage}};
}

Json::Members to_json(const Checked &checked)
{
    Json::List faults;
    for (const ImageFault &fault : checked.faults)
        faults.push_back(Json::Members{{"file", fault.file}, {"line", fault.line}, {"text", fault.text}});
    Json::List files;
    for (const CheckedFile &file : checked.files)
        files.push_back(to_json(file));
    return {{"image", Json::Members{{"folder", checked.image}, {"faults", std::move(faults)}}},
            {"files", std::move(files)}};
}

Status check(const Arguments &arguments)
{
    Checked checked = check_all(arguments);
    if (arguments.json)
        print_answer("check", checked.status(), to_json(checked));
    else
        show(checked);
    return checked.status();
}

} // namespace

const Subcommand check_command = {
    "check",
    "Find what stands in the way of an upgrade, and change nothing",
    {
        {"ROOT|FILE", &Arguments::files, "An appliance's root folder, or a configuration file", true},
        {"--image", &Arguments::image, "Folder with the image's files, in place of the packaged ones"},
        {"--json", &Arguments::json, "Print what was found as JSON"},
    },
    check,
    "Exit status: 0 all is sound; 1 there are findings in some file; 2 the image cannot be used, or ROOT or FILE "
    "cannot be read.",
};

} // namespace command
