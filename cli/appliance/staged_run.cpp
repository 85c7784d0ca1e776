/* The upgrade as it happens in a private copy. Takes nothing from the appliance and gives nothing back to it. */
#include "appliance/staged_run.h"

#include "appliance/inside.h"
#include "appliance/old_forms.h"
#include "appliance/outline.h"
#include "appliance/places.h"
#include "appliance/result_warnings.h"
#include "appliance/stored_text.h"
#include "driver/migr.h"
#include "output/release_text.h"
#include "output/size_text.h"
#include "run/library_child.h"
#include "system/digest.h"
#include "system/failure.h"
#include "system/files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace command {

namespace {

/* What one staged run knows from its preparation on. */
struct Scene {
    const Root           &staging;
    const RunRequest     &request;
    ConfigFolder          before;
    std::vector<FilePlan> plans;
    bool                  stand_in = false; /* the global file there is a made-up one without content */
};

void tell(const Scene &scene, const std::string &line)
{
    if (scene.request.tell)
        scene.request.tell(line);
}

/* ---- the image's files ---- */

void make_folder(const char *path, mode_t mode)
{
    std::error_code error;
    fs::create_directories(path, error);
    if (error)
        throw PathError{"make", path, error.value()};
    chmod(path, mode);
}

void lay_in_file(const Fd &from, const ImageFile &file)
{
    make_folder(folder_of(file.place).c_str(), 0755);
    if (unlink(file.place) != 0 && errno != ENOENT)
        throw PathError{"replace the private copy of", file.place, errno};
    Fd to(open(file.place, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (!to || lseek(from.get(), 0, SEEK_SET) != 0)
        throw PathError{"write", file.place, errno};
    copy_and_sum(from.get(), file.name, to.get(), file.place);
}

void prepare(const Root &staging, const Image &image)
{
    inside(staging, [&] {
        umask(022);
        make_folder("/tmp", 01777);
        make_folder("/var/log", 0755);
        for (size_t at = 0; at < image.files.size(); at++)
            lay_in_file(image.files[at], image_file_table[at]);
    });
}

/* ---- ahead of the run ---- */

/* Sections up to the oldest file's release are not needed. */
void require_good_image(const Scene &scene, const Image &image)
{
    int32_t lowest = image_release();
    for (const FilePlan &plan : scene.plans)
        if (plan.fate == Fate::upgrade)
            lowest = std::min(lowest, plan.file.facts.release);
    std::vector<std::string> faults;
    for (const ImageFault &fault : faults_of(image, lowest))
        faults.push_back(image.folder + "/" + shown(fault));
    if (!faults.empty())
        throw Failure(Status::unusable, "The image's files cannot be used. Nothing was changed.", faults);
}

/* Which files will be upgraded, if any are, and which stay. */
void announce(const Scene &scene, bool runs)
{
    for (const FilePlan &plan : scene.plans) {
        std::string release = release_text(plan.file.facts.release);
        std::string image = release_text(image_release());
        if (plan.fate == Fate::upgrade && runs)
            tell(scene, plan.file.name + ": will be upgraded from " + release + " to " + image);
        if (plan.fate == Fate::current)
            tell(scene, plan.file.name + ": stays as it is, it is at " + release + " already");
        if (plan.fate == Fate::newer)
            tell(scene, plan.file.name + ": stays as it is, it is at " + release + ", and this image at " + image);
    }
}

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
    outcome.result = result_without_run(plan.fate);
    outcome.reasons = plan.reasons;
    return outcome;
}

const FilePlan *global_plan(const std::vector<FilePlan> &plans)
{
    auto at = std::find_if(plans.begin(), plans.end(), [](const FilePlan &plan) { return plan.file.is_global(); });
    return at == plans.end() ? nullptr : &*at;
}

/* Whether the library will make two files of the global one. */
bool is_split(const std::vector<FilePlan> &plans)
{
    const FilePlan *global = global_plan(plans);
    return global && global->fate == Fate::upgrade && global->file.facts.release < MIGR_RELEASE(5, 10);
}

/* A split writes the global file and that of the first domain, whatever is there, and the library splits every file
 * from before 5.10. */
void refuse_what_a_split_would_replace(std::vector<FilePlan> &plans)
{
    for (FilePlan &plan : plans) {
        if (plan.file.is_global() || plan.fate == Fate::refuse)
            continue;
        if (is_split(plans) && plan.file.name == first_domain_name) {
            plan.fate = Fate::refuse;
            plan.reasons = {"The split of " + std::string(global_name) +
                            ", which is from before 5.10, makes a file of this name in its place. Move this one out of "
                            "the folder."};
        } else if (plan.fate == Fate::upgrade && plan.file.facts.release < MIGR_RELEASE(5, 10)) {
            plan.fate = Fate::refuse;
            plan.reasons = {"It is from before 5.10, when one file held everything, so it is no domain's: its split "
                            "would replace " +
                            std::string(global_name) +
                            ". Move it out of the folder, and see migr convert --as global."};
        }
    }
}

/* ---- setting the scene: what the library is shown ---- */

/* The library runs for a global file that is older than the image. When the appliance's own is not to be upgraded, an
 * empty one of the domain files' oldest release takes its place for the run. */
void put_stand_in(const Scene &scene)
{
    const FilePlan *oldest = nullptr;
    for (const FilePlan &plan : scene.plans)
        if (plan.fate == Fate::upgrade && (!oldest || plan.file.facts.release < oldest->file.facts.release))
            oldest = &plan;
    store_text(global_name, outline_of(stored_text(oldest->file.name)).headers);
}

void set_scene(const Scene &scene)
{
    inside(scene.staging, [&] {
        make_old_forms();
        for (const FilePlan &plan : scene.plans)
            if (plan.fate == Fate::upgrade)
                keep_old_form(plan.file.name);
        for (const FilePlan &plan : scene.plans)
            if (plan.fate == Fate::refuse)
                fs::remove_all(config_path(plan.file.name));
        if (scene.stand_in)
            put_stand_in(scene);
    });
}

/* ---- the run ---- */

/* One small model keeps more policies than its successors allow, and the host has to say so. The version line's reader
 * knows its code without the first letter. */
bool is_small_model(const std::string &model)
{
    return model.ends_with("QB01A") && model.size() <= sizeof "QB01A";
}

/* A file from before 5.10 takes two passes and gets a domain file. */
size_t expected_passes(const Scene &scene)
{
    const FilePlan *global = global_plan(scene.plans);
    bool splits = global && global->fate == Fate::upgrade && global->file.facts.release < MIGR_RELEASE(5, 10);
    return scene.plans.size() + (!splits ? 0 : scene.before.find(first_domain_name) ? 1 : 2);
}

LibraryRun run_library_there(const Scene &scene, Interrupts &interrupts)
{
    const StoredFile     *global = scene.before.global();
    int32_t               small_model = global && is_small_model(global->facts.model) ? 1 : 0;
    std::function<void()> library = scene.request.library ? scene.request.library : migr_main_do_all;
    Progress              progress(scene.request.progress, expected_passes(scene));
    return run_library(
        scene.staging.confinement(),
        [&] {
            qb01a = small_model;
            library();
        },
        scene.request.timeout, interrupts, progress);
}

/* A hostile configuration can make the library talk without end. */
std::vector<std::string> notes_of(const std::string &output)
{
    static constexpr size_t  most = 200;
    std::vector<std::string> lines;
    std::istringstream       stream(output);
    for (std::string line; std::getline(stream, line);)
        if (!line.empty())
            lines.push_back(line);
    if (lines.size() <= most)
        return lines;
    std::string rest = "(and " + std::to_string(lines.size() - most) + " lines more)";
    lines.resize(most);
    lines.push_back(rest);
    return lines;
}

/* ---- behind the run ---- */

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

std::string text_of(const Misreading &misreading)
{
    std::string place;
    for (const std::string &name : misreading.path)
        place += (place.empty() ? "" : " / ") + name;
    return place + (misreading.kind == Misreading::Kind::cut
                        ? ": it would be written, and read back cut."
                        : ": it would be written, and read back together with what stands behind it.");
}

/* What the tree that was written would be read back as. */
void take_misreadings(const Scene &scene, const LibraryRun &run, FileOutcome &outcome)
{
    for (const FileMisreading &one : run.misreadings) {
        if (fs::path(one.path).filename() != outcome.name)
            continue;
        if (one.misreading.kind == Misreading::Kind::no_value || scene.request.accept_damage)
            outcome.warnings.push_back(text_of(one.misreading));
        else
            outcome.reasons.push_back(text_of(one.misreading));
    }
}

bool is_cause(int error)
{
    static constexpr int causes[] = {EACCES, EPERM, ENOSPC, EDQUOT, EFBIG, EIO, EROFS, ENOMEM, EMFILE, ENFILE};
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

/* A sound file that the library gave up, through no fault of the file or of the update file. What goes wrong between
 * reading and writing is a matter of rules and migrations, unless there was no memory. */
void fail_for_the_system(const LibraryRun &run, const std::string &name)
{
    PassEnd end = end_of_pass(run, name);
    if (!is_cause(end.error))
        return;
    if (end.phase.empty())
        fail_for(end.error, name + " could not be read");
    if (end.phase == "signatures")
        fail_for(end.error, name + " could not be written anew");
    if (end.error == ENOMEM)
        fail_for(end.error, name + " could not be carried forward");
}

enum class PlainCopy {
    same,
    missing,  /* though nothing stands in its way */
    hindered, /* by a folder in its place, or a link that leads nowhere */
};

PlainCopy look_at_copy(const std::string &copy, const std::string &name)
{
    struct stat st = {};
    if (lstat(copy.c_str(), &st) != 0)
        return PlainCopy::missing;
    if (stat(copy.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
        return PlainCopy::hindered;
    return read_file(copy, Links::follow) == stored_text(name) ? PlainCopy::same : PlainCopy::missing;
}

/* The library goes on without the plain copy in /var/log. A path that it would cut has another copy, or none. */
void require_plain_copy(const Scene &scene, const LibraryRun &run, FileOutcome &outcome)
{
    static constexpr size_t longest = 71;
    if (config_path(outcome.name).size() > longest || !outcome.name.starts_with("sys_"))
        return;
    std::string copy = "/var/log/" + outcome.name.substr(0, outcome.name.size() - 3);
    auto        found = inside(scene.staging, [&] { return look_at_copy(copy, outcome.name); });
    std::string what = "the plain copy of the result, " + copy + ", could not be written";
    if (found == PlainCopy::hindered)
        outcome.warnings.push_back(what + ".");
    if (found != PlainCopy::missing)
        return;
    int error = end_of_pass(run, outcome.name).error;
    if (is_cause(error))
        fail_for(error, what);
    throw Failure(Status::failed, what + " in the private copy. Nothing was changed. Run migr again, with --verbose.");
}

std::string no_result_text(const StoredFile *after)
{
    if (!after)
        return "It was gone after the upgrade.";
    if (!after->facts.is_sound())
        return "It could not be read after the upgrade.";
    return "A rule of the update file or a migration could not be applied to it. What the library said (--verbose) may "
           "tell more; the update file may have to be mended.";
}

FileOutcome outcome_of_run(const Scene &scene, const LibraryRun &run, const FilePlan &plan, const ConfigFolder &after)
{
    if (plan.fate != Fate::upgrade)
        return outcome_of_plan(plan);
    FileOutcome outcome = outcome_of_plan(plan);
    for (const std::string &text : damage_texts(plan.file.facts))
        outcome.warnings.push_back("lost: " + text);
    const StoredFile *result = after.find(plan.file.name);
    outcome.result = Result::refused;
    outcome.time = time_of(run, plan.file.name);
    take_misreadings(scene, run, outcome);
    if (!is_good(result)) {
        fail_for_the_system(run, plan.file.name);
        outcome.reasons.push_back(no_result_text(result));
    }
    if (!outcome.reasons.empty())
        return outcome;
    outcome.result = Result::upgraded;
    require_plain_copy(scene, run, outcome);
    for (const std::string &text : damage_texts(result->facts))
        outcome.warnings.push_back("in the result, " + text);
    outcome.after = result->facts.release;
    outcome.size = result->facts.stored_size;
    return outcome;
}

FileOutcome outcome_of_new_file(const LibraryRun &run, const StoredFile &file)
{
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
void require_both_halves(const Scene &scene, std::vector<FileOutcome> &files)
{
    if (!is_split(scene.plans))
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
        first->reasons = {"It is from before 5.10, and no good " + std::string(first_domain_name) +
                          " came out of its split. See that the update file has a section for 5.10 and that the syntax "
                          "file is in order."};
}

std::vector<FileOutcome> outcomes_of(const Scene &scene, const LibraryRun &run, const ConfigFolder &after)
{
    std::vector<FileOutcome> files;
    for (const FilePlan &plan : scene.plans)
        files.push_back(outcome_of_run(scene, run, plan, after));
    for (const StoredFile &file : after.files)
        if (!scene.before.find(file.name))
            files.push_back(outcome_of_new_file(run, file));
    require_both_halves(scene, files);
    return files;
}

void add_warnings(const Scene &scene, std::vector<FileOutcome> &files)
{
    std::vector<UpgradedText>  texts;
    std::vector<FileOutcome *> owners;
    bool                       splits = is_split(scene.plans);
    int32_t                    release_of_split = splits ? global_plan(scene.plans)->file.facts.release : 0;
    for (FileOutcome &file : files) {
        bool is_new = splits && file.result == Result::added; /* and no stand-in */
        if (!is_new && file.result != Result::upgraded)
            continue;
        texts.push_back({file.name, is_new ? release_of_split : file.before,
                         old_form_of(is_new ? global_name : file.name), is_new});
        owners.push_back(&file);
    }
    std::vector<std::vector<std::string>> warnings = inside(scene.staging, [&] { return result_warnings(texts); });
    for (size_t at = 0; at < owners.size(); at++)
        for (const std::string &warning : warnings[at])
            owners[at]->warnings.push_back(warning);
}

bool any_refused(const std::vector<FileOutcome> &files)
{
    return std::any_of(files.begin(), files.end(),
                       [](const FileOutcome &file) { return file.result == Result::refused; });
}

void withhold(const Scene &scene, StagedRun &result)
{
    for (const FileOutcome &file : result.files)
        if (file.result == Result::refused)
            result.withheld.push_back(file.name);
    if (scene.stand_in)
        result.withheld.push_back(global_name);
}

} // namespace

StagedRun run_staged(const Root &staging, const Image &image, const RunRequest &request, Interrupts &interrupts)
{
    prepare(staging, image);
    Scene scene = {staging, request, inspect_folder(staging, Depth::whole), {}, false};
    scene.plans = plan_files(scene.before, request.accept_damage);
    refuse_what_a_split_would_replace(scene.plans);
    require_good_image(scene, image);
    StagedRun result;
    bool      refused = any_of_fate(scene.plans, Fate::refuse);
    if (!any_of_fate(scene.plans, Fate::upgrade) || (refused && !request.partial)) {
        for (const FilePlan &plan : scene.plans)
            result.files.push_back(outcome_of_plan(plan));
        result.status = refused ? Status::left_alone : Status::done;
        announce(scene, false);
        return result;
    }
    announce(scene, true);
    const FilePlan *global = global_plan(scene.plans);
    scene.stand_in = !global || global->fate != Fate::upgrade;
    set_scene(scene);
    LibraryRun run = run_library_there(scene, interrupts);
    result.notes = notes_of(run.output);
    if (!run.trouble().empty())
        throw Failure(Status::failed, run.trouble());
    result.files = outcomes_of(scene, run, inspect_folder(staging, Depth::whole));
    add_warnings(scene, result.files);
    result.status = any_refused(result.files) ? Status::left_alone : Status::done;
    result.ran = result.status == Status::done || request.partial;
    withhold(scene, result);
    return result;
}

} // namespace command
