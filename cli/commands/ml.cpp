/* migr ml INPUT OUTPUT: one machine-learning configuration, which belongs to no appliance's folder and needs no image.
 */
#include "appliance/inside.h"
#include "appliance/inspect.h"
#include "commands/subcommand.h"
#include "driver/migr.h"
#include "driver/version_lines.h"
#include "output/console.h"
#include "output/json.h"
#include "output/release_text.h"
#include "report/report.h"
#include "run/library_child.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/output_file.h"
#include "system/temporary_folder.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;

namespace command {

namespace {

constexpr std::chrono::minutes time_limit(10);

fs::path full_path(const std::string &path)
{
    std::error_code error;
    fs::path        full = fs::weakly_canonical(fs::absolute(path), error);
    if (error)
        throw failure_of({"read", path, error.value()}, path);
    return full;
}

struct MlFacts {
    int32_t                  release = -1;
    bool                     gzip = false;
    std::vector<std::string> damage;
};

auto fields_of(MlFacts &facts)
{
    return std::tie(facts.release, facts.gzip, facts.damage);
}

MlFacts check_input(const Root &machine, const fs::path &input, const std::string &shown)
{
    return inside(machine, [&] {
        ConfigFacts facts = inspect_file(input, Depth::headers);
        if (facts.error != 0)
            throw failure_of({"read", shown, facts.error}, shown);
        if (!facts.gzip)
            facts.damage = damage_of(read_file(input, Links::follow), HeaderLines::version_line).found;
        return MlFacts{facts.release, facts.gzip, damage_texts(facts)};
    });
}

[[noreturn]] void not_upgraded(const Arguments &arguments, const std::string &why,
                               const std::vector<std::string> &details = {})
{
    throw Failure(Status::left_alone, arguments.file + " was not upgraded. " + why, details);
}

void check_facts(const Arguments &arguments, const MlFacts &facts)
{
    if (facts.gzip)
        not_upgraded(arguments, "It is a gzip file, and a machine-learning configuration is plain text. Unpack it.");
    if (facts.release < 0)
        not_upgraded(arguments, "It has no version line (\"#config-version=\") that can be read.");
    if (facts.damage.empty())
        return;
    std::vector<std::string> details;
    for (const std::string &text : facts.damage)
        details.push_back(arguments.file + ": " + text);
    not_upgraded(arguments, "Mend that and run migr again.", details);
}

[[noreturn]] void not_written(const Arguments &arguments, const std::string &why)
{
    throw Failure(Status::failed, why + " " + arguments.output + " is as it was.");
}

void run_library_on(const Root &machine, const fs::path &input, const fs::path &result, Interrupts &interrupts,
                    const Arguments &arguments)
{
    Progress   silent(nullptr, 1);
    LibraryRun run = run_library(
        machine.confinement(),
        [&] {
            if (migr_machine_learning_upgrade(input.c_str(), result.c_str()) != 0)
                _exit(1);
        },
        time_limit, interrupts, silent);
    if (run.end == End::exited)
        not_written(arguments, "The result could not be written. " + next_step(ENOSPC));
    if (run.end != End::done)
        not_written(arguments, run.trouble());
}

void put(const fs::path &result, const fs::path &output, const Arguments &arguments)
{
    try {
        write_output(output, read_file(result, Links::refuse), Readers::as_before);
    } catch (const PathError &error) {
        not_written(arguments, failure_of(error, arguments.output).what());
    }
}

struct MlOutcome {
    int32_t before = -1;
    int32_t after = -1;
    Result  result = Result::upgraded;
};

MlOutcome upgrade_file(const Arguments &arguments)
{
    Root       machine("/");
    Interrupts interrupts;
    fs::path   input = full_path(arguments.file);
    MlFacts    facts = check_input(machine, input, arguments.file);
    check_facts(arguments, facts);
    if (facts.release >= image_release())
        return {facts.release, facts.release, facts.release > image_release() ? Result::newer : Result::current};
    TemporaryFolder folder("");
    fs::path        result = fs::path(folder.make("result")) / "ml";
    run_library_on(machine, input, result, interrupts, arguments);
    int32_t after = check_input(machine, result, arguments.output).release;
    put(result, fs::absolute(arguments.output), arguments);
    return {facts.release, after, Result::upgraded};
}

void show(const MlOutcome &outcome, const Arguments &arguments)
{
    std::string before = release_text(outcome.before);
    if (outcome.result == Result::upgraded)
        say(arguments.file + ": upgraded from " + before + " to " + release_text(outcome.after) + ", in " +
            arguments.output);
    else if (outcome.result == Result::current)
        say(arguments.file + " is at " + before + " already. Nothing to do.");
    else
        complain(arguments.file + " is at " + before + ", and the image at " + release_text(image_release()) +
                 ". Nothing was done.");
}

Json::Members to_json(const MlOutcome &outcome, const Arguments &arguments)
{
    return {{"input", arguments.file},
            {"output", arguments.output},
            {"before", Json::release(outcome.before)},
            {"after", Json::release(outcome.after)},
            {"result", word(outcome.result)}};
}

Status upgrade_ml(const Arguments &arguments)
{
    MlOutcome outcome = upgrade_file(arguments);
    Status    status = outcome.result == Result::newer ? Status::left_alone : Status::done;
    if (arguments.json)
        print_answer("ml", status, to_json(outcome, arguments));
    else
        show(outcome, arguments);
    return status;
}

} // namespace

const Subcommand ml_command = {
    "ml",
    "Upgrade one machine-learning configuration, a plain text file",
    {
        {"INPUT", &Arguments::file, "The file to upgrade", true},
        {"OUTPUT", &Arguments::output, "Where the upgraded file goes; may be INPUT itself", true},
        {"--json", &Arguments::json, "Print what was done as JSON"},
    },
    upgrade_ml,
};

} // namespace command
