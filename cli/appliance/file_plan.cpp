/*
 * Tells fates from facts. Looks at no file itself, and asks nobody: what an operator accepts comes with the question.
 */
#include "appliance/file_plan.h"

#include "driver/run_context.h"
#include "output/release_text.h"

#include <algorithm>

namespace command {

namespace {

Fate fate_of(const StoredFile &file, const std::vector<FileFinding> &reasons)
{
    int32_t release = file.facts.release;
    if (file.facts.error == 0 && file.facts.gzip && release == image_release())
        return Fate::current;
    if (file.facts.error == 0 && file.facts.gzip && release > image_release())
        return Fate::newer;
    return reasons.empty() ? Fate::upgrade : Fate::refuse;
}

} // namespace

std::vector<FilePlan> plan_files(const ConfigFolder &folder, bool accept_damage)
{
    std::vector<FilePlan> plans;
    for (const StoredFile &file : folder.files) {
        std::vector<FileFinding> reasons = reasons_against(file.facts, accept_damage);
        plans.push_back({file, fate_of(file, reasons), {}});
        if (plans.back().fate == Fate::refuse)
            plans.back().reasons = std::move(reasons);
    }
    return plans;
}

const FilePlan *global_plan(const std::vector<FilePlan> &plans)
{
    auto at = std::find_if(plans.begin(), plans.end(), [](const FilePlan &plan) { return plan.file.is_global(); });
    return at == plans.end() ? nullptr : &*at;
}

bool is_split(const std::vector<FilePlan> &plans)
{
    const FilePlan *global = global_plan(plans);
    return global && global->fate == Fate::upgrade && global->file.facts.release < MIGR_RELEASE(5, 10);
}

bool any_of_fate(const std::vector<FilePlan> &plans, Fate fate)
{
    return std::any_of(plans.begin(), plans.end(), [&](const FilePlan &plan) { return plan.fate == fate; });
}

} // namespace command
