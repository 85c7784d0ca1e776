/* migr ml INPUT OUTPUT: one machine-learning configuration, which belongs to no appliance's folder and needs no image.
 */
#include "appliance/inside.h"
#include "appliance/inspect.h"
#include "commands/subcommand.h"
#include "driver/migr.h"
#include "output/console.h"
#include "output/json.h"
#include "output/release_text.h"
#include "report/report.h"
#include "run/library_child.h"
#include "run/output_file.h"
#include "run/waiting.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/gzip_text.h"
#include "system/temporary_folder.h"

#include <cerrno>
#include <filesystem>

namespace fs = std::filesystem;

namespace command {

namespace {

constexpr std::chrono::minutes time_limit(10);

struct MlFacts {
    int32_t                  release = -1;
    bool                     gzip = false;
    std::string              why_no_release;
    bool                     second_line = false; /* that of an appliance's configuration */
    std::vector<std::string> damage;
};

auto fields_of(MlFacts &facts)
{
    return std::tie(facts.release, facts.gzip, facts.why_no_release, facts.second_line, facts.damage);
}

MlFacts facts_of(const Root &machine, const std::string &text)
{
    return inside(machine, [&] {
        if (looks_like_gzip(text))
            return MlFacts{-1, true, "", false, {}};
        ConfigFacts facts = inspect_text(text, Depth::headers);
        facts.damage = damage_of(text, HeaderLines::version_line).found;
        return MlFacts{facts.release, false, facts.release < 0 ? why_no_release(facts) : "", facts.second_line,
                       texts_of(damage_findings(facts))};
    });
}

[[noreturn]] void not_upgraded(const Arguments &arguments, const std::string &why,
                               const std::vector<std::string> &details = {})
{
    throw Failure(Status::left_alone, shown_input(arguments.file) + " was not upgraded. " + why, details);
}

void check_facts(const Arguments &arguments, const MlFacts &facts)
{
    if (facts.gzip)
        not_upgraded(arguments, "It is a gzip file, and a machine-learning configuration is plain text. Unpack it.");
    if (!facts.why_no_release.empty())
        not_upgraded(arguments, facts.why_no_release);
    if (facts.second_line)
        not_upgraded(arguments, "It is an appliance's configuration, as its second header line (\"#conf_file_ver=\") "
                                "tells, and no machine-learning one. Upgrade it with migr convert.");
    if (facts.damage.empty())
        return;
    std::vector<std::string> details;
    for (const std::string &text : facts.damage)
        details.push_back(shown_input(arguments.file) + ": " + text);
    not_upgraded(arguments, "Mend that and run migr again.", details);
}

[[noreturn]] void not_written(const Arguments &arguments, const std::string &why)
{
    throw Failure(Status::failed, why + " " + arguments.output + " is as it was.");
}

void run_library_on(const Root &machine, const std::string &input, const std::string &result, Interrupts &interrupts,
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
    if (!run.lack().empty())
        not_written(arguments, run.lack());
}

void put(const std::string &text, const Arguments &arguments, Interrupts &interrupts)
{
    try {
        write_output(fs::absolute(arguments.output), text, Readers::as_before, interrupts);
    } catch (const PathError &error) {
        not_written(arguments, failure_of(error, arguments.output).what());
    }
}

struct MlOutcome {
    int32_t before = -1;
    int32_t after = -1;
    Result  result = Result::upgraded;
};

/* In a folder of its own: the input may be a pipe, or the output's own place. */
std::string upgraded_text(const Root &machine, const std::string &text, const Arguments &arguments,
                          Interrupts &interrupts)
{
    TemporaryFolder folder("");
    std::string     place = folder.make("ml");
    std::string     input = place + "/input", result = place + "/result";
    try {
        write_new(input, text);
        run_library_on(machine, input, result, interrupts, arguments);
        return read_file(result, Links::refuse);
    } catch (const PathError &error) {
        not_written(arguments, failure_of(error, error.path).what());
    }
}

MlOutcome upgrade_file(const Arguments &arguments)
{
    Root        machine("/");
    Interrupts  interrupts;
    std::string text = read_input(arguments.file, interrupts);
    MlFacts     facts = facts_of(machine, text);
    check_facts(arguments, facts);
    if (facts.release >= image_release())
        return {facts.release, facts.release, facts.release > image_release() ? Result::newer : Result::current};
    std::string upgraded = upgraded_text(machine, text, arguments, interrupts);
    int32_t     after = facts_of(machine, upgraded).release;
    put(upgraded, arguments, interrupts);
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
