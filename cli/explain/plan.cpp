/*
 * Sections, steps and stages come from the tables and functions by which the library itself goes, so a plan and a run
 * cannot differ in them. Which nodes will change is not foretold.
 */
#include "explain/plan.h"

#include "appliance/file_plan.h"
#include "appliance/inside.h"
#include "chain/steps.h"
#include "driver/version_lines.h"
#include "explain/plan_effects.h"
#include "language/damage.h"
#include "rules/update_file.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/gzip_text.h"
#include "tree/config_text.h"
#include "tree/split.h"
#include "walk/stages.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>
#include <sys/mman.h>

namespace command {

namespace {

using Names = std::vector<std::string>;

/* What the planning goes by. */
struct Sources {
    const Root &root;
    std::string update_file;
    std::string syntax;
};

Sources read_sources(const Root &root, const Image &image)
{
    return {root, image_text(image, "update_config"), image_text(image, "syntax_v510.txt")};
}

Names names_in_file(const Root &root, const std::string &file)
{
    return inside(root, [&] {
        std::string                bytes = read_file(config_path(file), Links::follow);
        std::optional<std::string> text = gunzip(bytes);
        Names                      names;
        for (TopLevelConfig &config : top_level_configs(text ? *text : ""))
            names.push_back(std::move(config.name));
        return names;
    });
}

/* ---- sections ---- */

/* The top-level config that a rule begins at, in comma form. */
std::string config_of_rule(const char *text)
{
    const char *begin = strchr(text, '<');
    const char *end = begin ? strchr(begin, '>') : nullptr;
    if (!end)
        return "";
    char name[MIGR_NAME_SIZE];
    ::join_words(skip_white(begin + 1), end, name, sizeof name);
    return name;
}

/* A section of the update file: for each of its rules the config that it begins at. */
struct FoundSection {
    int32_t release = 0;
    Names   configs;
};

auto fields_of(FoundSection &section)
{
    return std::tie(section.release, section.configs);
}

struct FoundSections {
    std::vector<FoundSection> sections;
    bool                      splits = false;
};

auto fields_of(FoundSections &found)
{
    return std::tie(found.sections, found.splits);
}

/* In a child. */
void add_configs(migr_list *head, Names &configs)
{
    for (migr_list *link = head->next; link != head; link = link->next)
        configs.push_back(config_of_rule(rule_of(link)->text));
}

/* In a child: the sections as the library loads them for a file of that release. */
FoundSections load_sections(std::string update_file, int32_t from)
{
    text_reader reader = {update_file.data(), update_file.size(), 0, 0, 0, 0};
    migr_main.cfg_version = from;
    migr_main.img_version = get_osimage_version();
    migr_list_init(&migr_main.update_list);
    if (load_update_sections(&reader) != 0)
        throw Failure(Status::unusable, "There is not enough memory to read the update file.");
    FoundSections found = {{}, vdom_update_flag != 0};
    migr_list    *head = &migr_main.update_list;
    for (migr_list *link = head->next; link != head; link = link->next) {
        update_section *section = section_of(link);
        found.sections.push_back({section->version, {}});
        for (migr_list *rules : {&section->delete_list, &section->modify_list, &section->readd_list})
            add_configs(rules, found.sections.back().configs);
    }
    free_migr_tree();
    return found;
}

bool has_step(int32_t release)
{
    for (int32_t index = 0; chain_step_version(index) >= 0; index++)
        if (chain_step_version(index) == release)
            return true;
    return false;
}

PlannedSection section_from(const FoundSection &found, const Names &names)
{
    auto is_there = [&](const std::string &config) {
        return std::find(names.begin(), names.end(), config) != names.end();
    };
    PlannedSection section;
    section.release = found.release;
    section.step = has_step(section.release);
    section.rules = found.configs.size();
    section.concerning = static_cast<size_t>(std::count_if(found.configs.begin(), found.configs.end(), is_there));
    return section;
}

/* ---- stages ---- */

bool takes_in(const stage_row &row, const std::string &name)
{
    return strncmp(name.c_str(), row.scope, static_cast<size_t>(row.scope_len)) == 0;
}

bool takes_in_any(const stage_row &row, const Names &names)
{
    return std::any_of(names.begin(), names.end(), [&](const std::string &name) { return takes_in(row, name); });
}

bool is_due(const PossibleEffect &effect, const Names &names)
{
    bool anywhere = !effect.configs[0];
    for (const char *config : effect.configs)
        anywhere = anywhere || (config && std::find(names.begin(), names.end(), config) != names.end());
    return anywhere;
}

struct Planner {
    const Sources        &sources;
    const Root           &machine; /* for work on the image's files, which need not lie in the appliance's folder */
    std::set<std::string> done;    /* callbacks that act once in a run */
    Plan                  plan;
};

void plan_effect(Planner &planner, PlannedPass &pass, int32_t release, const char *callback, const Names &names)
{
    const PossibleEffect *effect = effect_of(callback);
    if (!effect || !is_due(*effect, names))
        return;
    if (effect->once && !planner.done.insert(callback).second)
        return;
    pass.effects.push_back({release, callback, effect->text});
}

void plan_stages(Planner &planner, PlannedPass &pass, const Names &names)
{
    for (const stage_table *const *stage = all_stages; *stage; stage++) {
        bool due =
            (*stage)->type == STAGE_ADOM && (*stage)->version > pass.from && (*stage)->version <= get_osimage_version();
        if (!due)
            continue;
        PlannedStage planned = {(*stage)->version, {}};
        for (const stage_row *row = (*stage)->rows; row < (*stage)->rows + (*stage)->row_count; row++) {
            if (!takes_in_any(*row, names))
                continue;
            planned.callbacks.push_back(row->name);
            plan_effect(planner, pass, planned.release, row->name, names);
        }
        pass.stages.push_back(std::move(planned));
    }
}

/* ---- passes ---- */

PlannedPass plan_pass(Planner &planner, const std::string &file, int32_t from, const Names &names)
{
    PlannedPass pass;
    pass.file = file;
    pass.from = from;
    auto found = inside(planner.machine, [&] { return load_sections(planner.sources.update_file, from); });
    pass.splits = found.splits;
    pass.to = from < MIGR_RELEASE(5, 10) ? MIGR_RELEASE(5, 10) : get_osimage_version();
    for (const FoundSection &section : found.sections)
        pass.sections.push_back(section_from(section, names));
    plan_stages(planner, pass, names);
    if (from < MIGR_RELEASE(4, 0))
        pass.effects.push_back({MIGR_RELEASE(4, 0), "conversion of certificate folders",
                                "moves the files below /data/etc/xmlproxy/certs to /data/etc/cert/local"});
    return pass;
}

/* Which of the names the split puts into which file. */
struct Halves {
    Names global;
    Names domain;
};

auto fields_of(Halves &halves)
{
    return std::tie(halves.global, halves.domain);
}

/* In a child: by the library's own reader, which wants a path. */
Halves split_here(const std::string &syntax, const Names &names)
{
    Fd memory(memfd_create("syntax", MFD_CLOEXEC));
    if (!memory)
        throw PathError{"make", "a file in memory", errno};
    write_all(memory.get(), syntax, "a file in memory");
    init_path_node(&global_node);
    init_path_node(&domain_node);
    load_syntax_to_path_node_array(("/proc/self/fd/" + std::to_string(memory.get())).c_str());
    Halves halves;
    for (const std::string &name : names)
        if (is_path_node(name.c_str(), &global_node))
            halves.global.push_back(name);
        else if (is_path_node(name.c_str(), &domain_node))
            halves.domain.push_back(name);
    release_path_node(&global_node);
    release_path_node(&domain_node);
    return halves;
}

Halves split_names(const Planner &planner, const Names &names)
{
    return inside(planner.machine, [&] { return split_here(planner.sources.syntax, names); });
}

/* The global file. One from before 5.10 has a second pass, and so has what it loses to the domain "root". */
void plan_global(Planner &planner, int32_t release, const Names &names)
{
    Plan &plan = planner.plan;
    plan.passes.push_back(plan_pass(planner, global_name, release, names));
    if (release >= MIGR_RELEASE(5, 10))
        return;
    bool   splits = plan.passes.back().splits;
    Halves halves = splits ? split_names(planner, names) : Halves{names, {}};
    plan.passes.push_back(plan_pass(planner, global_name, MIGR_RELEASE(5, 10), halves.global));
    if (splits)
        plan.passes.push_back(plan_pass(planner, first_domain_name, MIGR_RELEASE(5, 10), halves.domain));
}

void plan_afterwards(Plan &plan, int32_t release)
{
    if (release >= MIGR_RELEASE(5, 20))
        return;
    std::string text = "moves certificate files from /data/etc/cert/KIND into the folder of the domain \"root\" there";
    if (release >= MIGR_RELEASE(5, 10))
        text += ", and copies them for each other domain";
    plan.afterwards.push_back({MIGR_RELEASE(5, 20), "domain certificate folders", text});
}

std::string text_of(const std::vector<std::string> &reasons)
{
    std::string text;
    for (const std::string &reason : reasons)
        text += (text.empty() ? "" : " ") + reason;
    return text;
}

void plan_file(Planner &planner, const FilePlan &file_plan)
{
    const StoredFile &file = file_plan.file;
    Plan             &plan = planner.plan;
    bool              split_over = std::any_of(plan.passes.begin(), plan.passes.end(),
                                               [&](const PlannedPass &pass) { return pass.file == file.name; });
    if (split_over)
        return;
    if (file_plan.fate != Fate::upgrade) {
        plan.untouched.push_back({file.name, file.facts.release, text_of(texts_of(file_plan.reasons))});
        return;
    }
    Names names = names_in_file(planner.sources.root, file.name);
    if (!file.is_global()) {
        plan.passes.push_back(plan_pass(planner, file.name, file.facts.release, names));
        return;
    }
    plan_global(planner, file.facts.release, names);
    plan_afterwards(plan, file.facts.release);
}

} // namespace

Plan plan_upgrade(const Root &root, const Image &image)
{
    ConfigFolder folder = inspect_folder(root, Depth::whole);
    if (!folder.global())
        throw Failure(Status::unusable, root.shows(config_path(global_name)) +
                                            " is not there. Name the folder that holds data, etc and var of the "
                                            "appliance.");
    Sources sources = read_sources(root, image);
    Root    machine("/");
    Planner planner = {sources, machine, {}, {}};
    for (const FilePlan &file : plan_files(folder, false))
        plan_file(planner, file);
    return planner.plan;
}

} // namespace command
