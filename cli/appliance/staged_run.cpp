/* The upgrade as it happens in a private copy. Takes nothing from the appliance and gives nothing back to it. */
#include "appliance/staged_run.h"

#include "appliance/inside.h"
#include "appliance/old_forms.h"
#include "appliance/places.h"
#include "appliance/results.h"
#include "appliance/stored_text.h"
#include "driver/migr.h"
#include "output/release_text.h"
#include "output/size_text.h"
#include "run/library_child.h"
#include "system/failure.h"
#include "system/files.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace command {

static auto fields_of(FileOutcome &file)
{
    return std::tie(file.name, file.before, file.after, file.result, file.size, file.error, file.time, file.reasons,
                    file.warnings);
}

namespace {

/* What one staged run knows from its preparation on. */
struct Scene {
    const Root           &staging;
    const RunRequest     &request;
    ConfigFolder          before;
    std::vector<FilePlan> plans;
    bool                  stand_in = false; /* the global file there is a made-up one without content */
    bool                  runs = false;     /* there is something to upgrade, and nothing that stops all */
};

void tell(const Scene &scene, const std::string &line)
{
    if (scene.request.tell)
        scene.request.tell(line);
}

/* ---- the image's files ---- */

void make_folder(const char *path, mode_t mode)
{
    make_folders_above(joined(path, "file"), 0777);
    if (chmod(path, mode) != 0)
        throw PathError{"make", path, errno};
}

void lay_in_file(const Fd &from, const ImageFile &file)
{
    make_folder(folder_of(file.place).c_str(), 0755);
    if (unlink(file.place) != 0 && errno != ENOENT)
        throw PathError{"replace the private copy of", file.place, errno};
    Fd to(open(file.place, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (!to || lseek(from.get(), 0, SEEK_SET) != 0)
        throw PathError{"write", file.place, errno};
    for_each_part(from.get(), file.name, [&](std::string_view part) { write_all(to.get(), part, file.place); });
}

void lay_in_image(const Image &image)
{
    mode_t before = umask(022);
    make_folder("/tmp", 01777);
    make_folder("/var/log", 0755);
    for (size_t at = 0; at < image.files.size(); at++)
        lay_in_file(image.files[at], image_file_table[at]);
    umask(before);
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
    store_text(global_name, oldest->file.facts.header_lines);
}

void set_scene(const Scene &scene, const Image &image)
{
    lay_in_image(image);
    if (!scene.runs)
        return;
    make_old_forms();
    for (const FilePlan &plan : scene.plans)
        if (plan.fate == Fate::upgrade)
            keep_old_form(plan.file.name);
    for (const FilePlan &plan : scene.plans)
        if (plan.fate == Fate::refuse)
            fs::remove_all(config_path(plan.file.name));
    if (scene.stand_in)
        put_stand_in(scene);
}

/* Follows from what is there alone, so parent and child need not tell each other. */
Scene scene_of(const Root &staging, const RunRequest &request, ConfigFolder before)
{
    Scene scene = {staging, request, std::move(before), {}, false, false};
    scene.plans = plan_files(scene.before, request.accept_damage);
    refuse_what_a_split_would_replace(scene.plans);
    const FilePlan *global = global_plan(scene.plans);
    scene.stand_in = !global || global->fate != Fate::upgrade;
    bool refused = any_of_fate(scene.plans, Fate::refuse);
    scene.runs = any_of_fate(scene.plans, Fate::upgrade) && (!refused || request.partial);
    return scene;
}

/* In one child: the image's files, what there is to upgrade, and what the library is to find. Where that is known
 * already, the library's own child sets the scene: a process is much of what a small file takes. */
Scene prepare(const Root &staging, const Image &image, const RunRequest &request)
{
    if (request.before)
        return scene_of(staging, request, *request.before);
    ConfigFolder before = inside(staging, [&] {
        Scene scene = scene_of(staging, request, inspect_folder_here(Depth::whole, nullptr));
        set_scene(scene, image);
        return scene.before;
    });
    return scene_of(staging, request, std::move(before));
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

/* Where the library is to work. */
Confinement confinement_of(const Scene &scene, const Image &image)
{
    Confinement confinement = scene.staging.confinement();
    if (scene.request.before)
        confinement.enter = [&scene, &image, enter = std::move(confinement.enter)] {
            enter();
            set_scene(scene, image);
        };
    return confinement;
}

LibraryRun run_library_there(const Scene &scene, const Image &image, Interrupts &interrupts)
{
    const StoredFile     *global = scene.before.global();
    int32_t               small_model = global && is_small_model(global->facts.model) ? 1 : 0;
    std::function<void()> library = scene.request.library ? scene.request.library : migr_main_do_all;
    Progress              progress(scene.request.progress, expected_passes(scene));
    return run_library(
        confinement_of(scene, image),
        [&] {
            qb01a = small_model;
            if (scene.request.unpacks_soon)
                let_results_be_large();
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

struct Verified {
    std::vector<FileOutcome> files;
    std::vector<std::string> brought;
};

auto fields_of(Verified &verified)
{
    return std::tie(verified.files, verified.brought);
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

/* What is hostile is looked at for the last time here, and what is wanted of it comes along. */
void take_results(const Scene &scene, const LibraryRun &run, StagedRun &result)
{
    Verified seen = inside(scene.staging, [&] {
        Verified verified = {outcomes_of_run(scene.plans, run, scene.request.accept_damage), {}};
        for (const std::string &path : scene.request.wanted)
            verified.brought.push_back(is_there(path) ? read_file(path, Links::refuse) : "");
        return verified;
    });
    result.files = std::move(seen.files);
    result.brought = std::move(seen.brought);
    result.status = any_refused(result.files) ? Status::left_alone : Status::done;
    result.ran = result.status == Status::done || scene.request.partial;
}

/* Everything may look as if it were done, or as if a file were at fault. */
void fail_if_refused_a_call(const LibraryRun &run)
{
    if (!run.lack().empty())
        throw Failure(Status::failed, run.lack());
}

} // namespace

StagedRun run_staged(const Root &staging, const Image &image, const RunRequest &request, Interrupts &interrupts)
{
    Scene scene = prepare(staging, image, request);
    require_good_image(scene, image);
    announce(scene, scene.runs);
    StagedRun result;
    if (!scene.runs) {
        for (const FilePlan &plan : scene.plans)
            result.files.push_back(outcome_of_plan(plan));
        result.status = any_of_fate(scene.plans, Fate::refuse) ? Status::left_alone : Status::done;
        return result;
    }
    LibraryRun run = run_library_there(scene, image, interrupts);
    result.notes = notes_of(run.output);
    if (!run.trouble().empty())
        throw Failure(Status::failed, run.trouble());
    take_results(scene, run, result);
    fail_if_refused_a_call(run);
    withhold(scene, result);
    return result;
}

} // namespace command
