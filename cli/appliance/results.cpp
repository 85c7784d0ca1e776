/* Each file is unpacked once and looked at by all that judge it. What is wrong ahead of a run is told by inspect.h. */
#include "appliance/results.h"

#include "appliance/old_forms.h"
#include "appliance/result_warnings.h"
#include "appliance/stored_text.h"
#include "driver/migr.h"
#include "system/files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace command {

namespace {

/* What there is to judge by. */
struct Evidence {
    const std::vector<FilePlan> &plans;
    const LibraryRun            &run;
    bool                         accept_damage;
    ConfigFolder                 after;
    StoredTexts                  texts; /* of that folder */
};

std::chrono::microseconds time_of(const LibraryRun &run, const std::string &name)
{
    std::chrono::microseconds time{0};
    for (const Pass &pass : run.passes)
        if (fs::path(pass.path).filename() == name)
            time += pass.time;
    return time;
}

bool is_good(const StoredFile *file)
{
    return file && is_current(file->facts) && file->facts.is_sound();
}

FileFinding finding_of(const Misreading &misreading)
{
    std::string config = misreading.path.empty() ? "" : misreading.path.front();
    std::replace(config.begin(), config.end(), ',', ' '); /* as the file has it */
    std::string place = config;
    for (size_t at = 1; at < misreading.path.size(); at++)
        place += " / " + misreading.path[at];
    std::string what = misreading.kind == Misreading::Kind::cut
                           ? "it would be written, and read back cut."
                           : "it would be written, and read back together with what stands behind it.";
    return {place + ": " + what, config + ": " + what};
}

/* What the tree that was written would be read back as. */
void take_misreadings(const Evidence &evidence, FileOutcome &outcome)
{
    for (const FileMisreading &one : evidence.run.misreadings) {
        if (fs::path(one.path).filename() != outcome.name)
            continue;
        if (one.misreading.kind == Misreading::Kind::no_value || evidence.accept_damage)
            outcome.warnings.push_back(finding_of(one.misreading));
        else
            outcome.reasons.push_back(finding_of(one.misreading));
    }
}

bool is_cause(int error)
{
    static constexpr int causes[] = {EACCES, EPERM, ENOSPC, EDQUOT, EFBIG, EIO, EROFS, ENOMEM, EMFILE, ENFILE, EINTR};
    return std::find(std::begin(causes), std::end(causes), error) != std::end(causes);
}

struct PassEnd {
    std::string phase;
    int         error = 0;
};

/* A look at the global file's release comes ahead of all passes. */
PassEnd end_of_pass(const LibraryRun &run, const std::string &name)
{
    auto of_file = [&](const Pass &pass) { return fs::path(pass.path).filename() == name; };
    auto pass = std::find_if(run.passes.rbegin(), run.passes.rend(), of_file);
    return pass == run.passes.rend() ? PassEnd{"", run.error} : PassEnd{pass->phase, pass->error};
}

[[noreturn]] void fail_for(int error, const std::string &what)
{
    throw Failure(Status::failed,
                  what + " in the private copy: " + strerror(error) + ". Nothing was changed. " + next_step(error));
}

void fail_if_unread(const StoredFile &result)
{
    if (is_cause(result.facts.error))
        fail_for(result.facts.error, result.name + " could not be read after the upgrade");
}

/* A sound file that the library gave up, through no fault of the file or of the update file. Between reading and
 * writing it may be a matter of rules and migrations all the same; but EPERM alone is what the system refuses in any
 * run, where the library asks for a mount. */
void fail_for_the_system(const LibraryRun &run, const std::string &name)
{
    PassEnd end = end_of_pass(run, name);
    if (!is_cause(end.error))
        return;
    if (end.phase.empty())
        fail_for(end.error, name + " could not be read");
    if (end.phase == "signatures")
        fail_for(end.error, name + " could not be written anew");
    if (end.error != EPERM)
        fail_for(end.error, name + " could not be carried forward");
}

enum class PlainCopy {
    same,
    missing,  /* though nothing stands in its way */
    hindered, /* by a folder in its place, or a link that leads nowhere */
};

PlainCopy look_at_copy(const std::string &copy, const std::string &text)
{
    struct stat st = {};
    if (!is_there(copy))
        return PlainCopy::missing;
    if (stat(copy.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
        return PlainCopy::hindered;
    return file_holds(copy, Links::follow, text) ? PlainCopy::same : PlainCopy::missing;
}

/* The library goes on without the plain copy in /var/log. A path that it would cut has another copy, or none. */
void require_plain_copy(const Evidence &evidence, FileOutcome &outcome)
{
    static constexpr size_t longest = 71;
    if (config_path(outcome.name).size() > longest || !outcome.name.starts_with("sys_"))
        return;
    std::string copy = "/var/log/" + outcome.name.substr(0, outcome.name.size() - 3);
    PlainCopy   found = look_at_copy(copy, evidence.texts.at(outcome.name));
    std::string what = "the plain copy of the result, " + copy + ", could not be written";
    if (found == PlainCopy::hindered)
        outcome.warnings.push_back({what + ".", "The plain copy of the result could not be written."});
    if (found != PlainCopy::missing)
        return;
    int error = end_of_pass(evidence.run, outcome.name).error;
    if (is_cause(error))
        fail_for(error, what);
    throw Failure(Status::failed, what + " in the private copy. Nothing was changed. Run migr again, with --verbose.");
}

FileFinding no_result(const StoredFile *after)
{
    if (!after)
        return "It was gone after the upgrade.";
    if (!after->facts.is_sound())
        return "It could not be read after the upgrade.";
    return {"A rule of the update file or a migration could not be applied to it. What the library said (--verbose) "
            "may tell more; the update file may have to be mended.",
            "A rule of the update file or a migration could not be applied to it."};
}

FileOutcome outcome_of_run(const Evidence &evidence, const FilePlan &plan)
{
    if (plan.fate != Fate::upgrade)
        return outcome_of_plan(plan);
    FileOutcome outcome = outcome_of_plan(plan);
    for (const FileFinding &damage : damage_findings(plan.file.facts))
        outcome.warnings.push_back({"lost: " + damage.text, "lost: " + damage.cause});
    const StoredFile *result = evidence.after.find(plan.file.name);
    outcome.result = Result::refused;
    outcome.time = time_of(evidence.run, plan.file.name);
    take_misreadings(evidence, outcome);
    if (!is_good(result)) {
        if (result)
            fail_if_unread(*result);
        fail_for_the_system(evidence.run, plan.file.name);
        outcome.reasons.push_back(no_result(result));
    }
    if (!outcome.reasons.empty())
        return outcome;
    outcome.result = Result::upgraded;
    require_plain_copy(evidence, outcome);
    for (const FileFinding &damage : damage_findings(result->facts))
        outcome.warnings.push_back({"in the result, " + damage.text, "in the result, " + damage.cause});
    outcome.after = result->facts.release;
    outcome.size = result->facts.stored_size;
    return outcome;
}

FileOutcome outcome_of_new_file(const LibraryRun &run, const StoredFile &file)
{
    fail_if_unread(file);
    FileOutcome outcome;
    outcome.name = file.name;
    outcome.after = file.facts.release;
    outcome.size = file.facts.stored_size;
    outcome.time = time_of(run, file.name);
    outcome.result = is_good(&file) ? Result::added : Result::refused;
    if (outcome.result == Result::refused)
        outcome.reasons = {"It came out of the split of " + std::string(global_name) + ", and did not get further."};
    return outcome;
}

/* A file from before 5.10 is whole only as two. */
void require_both_halves(const Evidence &evidence, std::vector<FileOutcome> &files)
{
    if (!is_split(evidence.plans))
        return;
    auto find = [&](const char *name) {
        return std::find_if(files.begin(), files.end(), [&](const FileOutcome &file) { return file.name == name; });
    };
    auto first = find(global_name);
    auto second = find(first_domain_name);
    bool both = first->result == Result::upgraded && second != files.end() && second->result != Result::refused;
    if (both)
        return;
    first->result = Result::refused;
    if (second != files.end())
        second->result = Result::refused;
    if (first->reasons.empty())
        first->reasons = {
            {"It is from before 5.10, and no good " + std::string(first_domain_name) +
                 " came out of its split. See that the update file has a section for 5.10 and that the "
                 "syntax file is in order.",
             "It is from before 5.10, and no good " + std::string(first_domain_name) + " came out of its split."}};
}

void add_warnings(const Evidence &evidence, std::vector<FileOutcome> &files)
{
    std::vector<UpgradedText>  texts;
    std::vector<FileOutcome *> owners;
    bool                       splits = is_split(evidence.plans);
    int32_t                    release_of_split = splits ? global_plan(evidence.plans)->file.facts.release : 0;
    for (FileOutcome &file : files) {
        bool is_new = splits && file.result == Result::added; /* and no stand-in */
        if (!is_new && file.result != Result::upgraded)
            continue;
        texts.push_back({file.name, is_new ? release_of_split : file.before,
                         text_of_file(old_form_of(is_new ? global_name : file.name)), evidence.texts.at(file.name),
                         is_new});
        owners.push_back(&file);
    }
    std::vector<std::vector<FileFinding>> warnings = result_warnings(texts);
    for (size_t at = 0; at < owners.size(); at++)
        for (FileFinding &warning : warnings[at])
            owners[at]->warnings.push_back(std::move(warning));
}

} // namespace

Result result_without_run(Fate fate)
{
    switch (fate) {
    case Fate::upgrade:
        return Result::held;
    case Fate::current:
        return Result::current;
    case Fate::newer:
        return Result::newer;
    default:
        return Result::refused;
    }
}

FileOutcome outcome_of_plan(const FilePlan &plan)
{
    FileOutcome outcome;
    outcome.name = plan.file.name;
    outcome.before = outcome.after = plan.file.facts.release;
    outcome.size = plan.file.facts.stored_size;
    outcome.error = plan.file.facts.error;
    outcome.result = result_without_run(plan.fate);
    outcome.reasons = plan.reasons;
    return outcome;
}

static bool is_planned(const std::vector<FilePlan> &plans, const std::string &name)
{
    return std::any_of(plans.begin(), plans.end(), [&](const FilePlan &plan) { return plan.file.name == name; });
}

std::vector<FileOutcome> outcomes_of_run(const std::vector<FilePlan> &plans, const LibraryRun &run, bool accept_damage)
{
    Evidence evidence = {plans, run, accept_damage, {}, {}};
    evidence.after = inspect_folder_here(Depth::whole, &evidence.texts);
    std::vector<FileOutcome> files;
    for (const FilePlan &plan : plans)
        files.push_back(outcome_of_run(evidence, plan));
    for (const StoredFile &file : evidence.after.files)
        if (!is_planned(plans, file.name))
            files.push_back(outcome_of_new_file(run, file));
    require_both_halves(evidence, files);
    add_warnings(evidence, files);
    return files;
}

} // namespace command
