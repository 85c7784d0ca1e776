/* migr plan ROOT|FILE: the plan of an upgrade, for people and for programs. How it is made is told by explain/plan.h.
 */
#include "explain/plan.h"
#include "appliance/inside.h"
#include "appliance/inspect.h"
#include "appliance/staged_input.h"
#include "appliance/stored_text.h"
#include "commands/options.h"
#include "output/console.h"
#include "output/json.h"
#include "output/release_text.h"
#include "run/interrupts.h"

namespace command {

namespace {

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

std::string why_current(const UntouchedFile &file)
{
    bool newer = file.release > image_release();
    return "It is at " + release_text(file.release) +
           (newer ? ", and the image at " + release_text(image_release()) + "." : " already.");
}

void show(const Plan &plan, const Image &image)
{
    for (const PlannedPass &pass : plan.passes)
        show_pass(pass);
    for (const UntouchedFile &file : plan.untouched)
        say(file.file + ": stays as it is. " + (file.reason.empty() ? why_current(file) : file.reason));
    show_effects("When all files are written:", plan.afterwards);
    say("This was told from the files as they are now, and those of the image in " + image.folder +
        ". Nothing was run.");
}

/* ---- for programs ---- */

Json to_json(const std::vector<PlannedEffect> &effects)
{
    Json::List all;
    for (const PlannedEffect &effect : effects)
        all.push_back(
            Json::Members{{"release", Json::release(effect.release)}, {"by", effect.by}, {"effect", effect.text}});
    return all;
}

Json to_json(const PlannedPass &pass)
{
    Json::List sections;
    for (const PlannedSection &section : pass.sections)
        sections.push_back(Json::Members{{"release", Json::release(section.release)},
                                         {"rules", section.rules},
                                         {"concerning", section.concerning},
                                         {"step", section.step}});
    Json::List stages;
    for (const PlannedStage &stage : pass.stages)
        stages.push_back(
            Json::Members{{"release", Json::release(stage.release)}, {"callbacks", Json::list(stage.callbacks)}});
    return Json::Members{{"file", pass.file},
                         {"from", Json::release(pass.from)},
                         {"to", Json::release(pass.to)},
                         {"splits", pass.splits},
                         {"sections", std::move(sections)},
                         {"stages", std::move(stages)},
                         {"effects", to_json(pass.effects)}};
}

Json::Members to_json(const Plan &plan, const Image &image)
{
    Json::List passes;
    for (const PlannedPass &pass : plan.passes)
        passes.push_back(to_json(pass));
    Json::List untouched;
    for (const UntouchedFile &file : plan.untouched)
        untouched.push_back(Json::Members{{"file", file.file},
                                          {"release", Json::release(file.release)},
                                          {"reason", Json::text_or_null(file.reason)}});
    return {{"image", image.folder},
            {"image_release", Json::release(image_release())},
            {"passes", std::move(passes)},
            {"untouched", std::move(untouched)},
            {"afterwards", to_json(plan.afterwards)}};
}

/* As an upgrade would end: 1 when some file that is too old has no way forward. */
Status status_of(const Plan &plan)
{
    for (const UntouchedFile &file : plan.untouched)
        if (!file.reason.empty())
            return Status::left_alone;
    return Status::done;
}

Plan plan_of_file(const Arguments &arguments, const Image &image)
{
    Interrupts interrupts;
    auto       staging = throw_away_appliance();
    SingleFile file = lay_out_input(single_request(arguments), staging->root(), image, interrupts);
    if (!file.is_domain())
        return plan_upgrade(staging->root(), image);
    /* As in a run, an empty global file of its release stands in for the appliance's own. */
    inside(staging->root(), [&] { store_text(global_name, file.facts.header_lines); });
    Plan plan = plan_upgrade(staging->root(), image);
    std::erase_if(plan.passes, [](const PlannedPass &pass) { return pass.file == global_name; });
    return plan;
}

Status show_plan(const Arguments &arguments)
{
    Image image = open_image(arguments.image);
    Plan  plan =
        is_root_folder(arguments.file) ? plan_upgrade(Root(arguments.file), image) : plan_of_file(arguments, image);
    if (arguments.json)
        print_answer("plan", status_of(plan), to_json(plan, image));
    else
        show(plan, image);
    return status_of(plan);
}

} // namespace

const Subcommand plan_command = {
    "plan",
    "Tell what an upgrade is going to do, and do nothing",
    joined({root_or_file(), image_and_file_kind(), {{"--json", &Arguments::json, "Print the plan as JSON"}}}),
    show_plan,
};

} // namespace command
