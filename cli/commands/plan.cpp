/* migr plan ROOT [--image DIR] [--json] */
#include "explain/plan.h"
#include "appliance/inspect.h"
#include "commands/subcommand.h"
#include "output/console.h"
#include "output/printable.h"
#include "output/release_text.h"

#include <nlohmann/json.hpp>

namespace command {

namespace {

using Object = nlohmann::ordered_json;

/* ---- for people ---- */

std::string joined(const std::vector<std::string> &words)
{
    std::string text;
    for (const std::string &word : words)
        text += (text.empty() ? "" : ", ") + word;
    return text;
}

std::string counted(size_t count, const char *what)
{
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

void show_section(const PlannedSection &section)
{
    std::string line = "  " + release_text(section.release) + "  update section: " + counted(section.rules, "rule");
    if (section.rules > 0)
        line += ", " + std::to_string(section.concerning) + " of them about what the file has";
    say(section.step ? line + "; version step" : line);
}

void show_stage(const PlannedStage &stage)
{
    std::string callbacks = stage.callbacks.empty() ? "nothing in the file concerns it" : joined(stage.callbacks);
    say("  " + release_text(stage.release) + "  stage: " + callbacks);
}

void show_effects(const char *title, const std::vector<PlannedEffect> &effects)
{
    if (effects.empty())
        return;
    say(title);
    for (const PlannedEffect &effect : effects)
        say("    " + release_text(effect.release) + "  " + effect.text + " (" + effect.by + ")");
}

void show_pass(const PlannedPass &pass)
{
    say(pass.file + ": from " + release_text(pass.from) + " to " + release_text(pass.to) +
        (pass.splits ? ", where it becomes a global file and one for the domain \"root\"" : ""));
    for (const PlannedSection &section : pass.sections)
        show_section(section);
    for (const PlannedStage &stage : pass.stages)
        show_stage(stage);
    say("  " + release_text(image_release()) + "  signature lists: compared with the image's database");
    show_effects("  files beside the configuration:", pass.effects);
}

void show(const Plan &plan)
{
    for (const PlannedPass &pass : plan.passes)
        show_pass(pass);
    for (const UntouchedFile &file : plan.untouched)
        say(file.file + ": stays as it is. " +
            (file.reason.empty() ? "It is no older than " + release_text(image_release()) + "." : file.reason));
    show_effects("When all files are written:", plan.afterwards);
    say("This was told from the files as they are now. Nothing was run.");
}

/* ---- for programs ---- */

Object to_json(const std::vector<PlannedEffect> &effects)
{
    Object all = Object::array();
    for (const PlannedEffect &effect : effects)
        all.push_back({{"release", release_text(effect.release)}, {"by", effect.by}, {"effect", effect.text}});
    return all;
}

Object to_json(const PlannedPass &pass)
{
    Object sections = Object::array();
    for (const PlannedSection &section : pass.sections)
        sections.push_back({{"release", release_text(section.release)},
                            {"rules", section.rules},
                            {"concerning", section.concerning},
                            {"step", section.step}});
    Object stages = Object::array();
    for (const PlannedStage &stage : pass.stages)
        stages.push_back({{"release", release_text(stage.release)}, {"callbacks", stage.callbacks}});
    return {{"file", printable(pass.file)},    {"from", release_text(pass.from)}, {"to", release_text(pass.to)},
            {"splits", pass.splits},           {"sections", std::move(sections)}, {"stages", std::move(stages)},
            {"effects", to_json(pass.effects)}};
}

void print_json(const Plan &plan)
{
    Object passes = Object::array();
    for (const PlannedPass &pass : plan.passes)
        passes.push_back(to_json(pass));
    Object untouched = Object::array();
    for (const UntouchedFile &file : plan.untouched)
        untouched.push_back({{"file", printable(file.file)},
                             {"reason", file.reason.empty() ? Object() : Object(printable(file.reason))}});
    Object all = {{"image_release", release_text(image_release())},
                  {"passes", std::move(passes)},
                  {"untouched", std::move(untouched)},
                  {"afterwards", to_json(plan.afterwards)}};
    write_all(STDOUT_FILENO, all.dump(2, ' ', true) + "\n", "standard output");
}

/* As an upgrade would end: 1 when some file that is too old has no way forward. */
Status status_of(const Plan &plan)
{
    for (const UntouchedFile &file : plan.untouched)
        if (!file.reason.empty())
            return Status::left_alone;
    return Status::done;
}

Status show_plan(const Arguments &arguments)
{
    Plan plan = plan_upgrade(Root(arguments.root), arguments.image);
    if (arguments.json)
        print_json(plan);
    else
        show(plan);
    return status_of(plan);
}

} // namespace

const Subcommand plan_command = {
    "plan",
    "Tell what an upgrade is going to do, and do nothing",
    {
        {"ROOT", &Arguments::root, "The appliance's root folder", true},
        {"--image", &Arguments::image, "Folder with the image's files, in place of the packaged ones"},
        {"--json", &Arguments::json, "Print the plan as JSON"},
    },
    show_plan,
};

} // namespace command
