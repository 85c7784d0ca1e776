/* migr convert FILE...: single configuration files, each carried forward in a throw-away appliance of its own. */
#include "appliance/single_file.h"
#include "appliance/staged_run.h"
#include "appliance/staging.h"
#include "commands/subcommand.h"
#include "explain/ledger_run.h"
#include "output/console.h"
#include "output/json.h"
#include "output/printable.h"
#include "output/release_text.h"
#include "report/account_report.h"
#include "report/report.h"
#include "run/output_file.h"
#include "run/waiting.h"
#include "system/config_path.h"
#include "system/files.h"
#include "system/gzip_text.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace command {

namespace {

constexpr char not_all_told[] = "It is done, and not all of it can be told";

/* ---- where the result goes ---- */

bool goes_to_standard_output(const Arguments &arguments)
{
    return arguments.output.empty() || arguments.output == "-";
}

bool is_folder(const std::string &path)
{
    std::error_code none;
    return fs::is_directory(path, none);
}

/* A terminal acts on what it is sent; a file or a pipe gets the text as it is. */
void print_text(const std::string &text, Interrupts &interrupts)
{
    if (!isatty(STDOUT_FILENO))
        return write_all(STDOUT_FILENO, text, "standard output", interrupts);
    std::string_view left = text;
    while (!left.empty()) {
        size_t length = std::min(left.find('\n'), left.size());
        say(left.substr(0, length));
        left.remove_prefix(std::min(length + 1, left.size()));
    }
}

/* False when the person at the terminal does not want it. */
bool may_replace(const std::string &path, const Arguments &arguments, Interrupts &interrupts)
{
    std::error_code none;
    bool            asks = !arguments.force && isatty(STDIN_FILENO) && fs::is_regular_file(path, none);
    if (!asks)
        return true;
    complain(path + " is there already.");
    return is_answered_yes(stderr, "Replace it? [y/N] ", interrupts);
}

/* A result: where it goes, and what it is. */
struct Converted {
    std::string path;  /* empty: standard output */
    std::string bytes; /* packed or plain */
};

std::string in_form(const std::string &bytes, bool packed)
{
    if (looks_like_gzip(bytes) == packed)
        return bytes;
    return packed ? gzip(bytes) : gunzip(bytes).value();
}

bool is_packed_there(const std::string &output)
{
    return output.ends_with(".gz");
}

/* What came of one file. */
struct Conversion {
    std::string              shown; /* how messages call it */
    int32_t                  before = -1;
    Result                   result = Result::refused;
    std::vector<std::string> outputs; /* paths */
    std::vector<std::string> reasons; /* why it was refused */
    std::vector<std::string> warnings;
    std::vector<std::string> notes; /* what the library printed */
    Account                  account;

    Status status() const
    {
        bool good = result == Result::upgraded || result == Result::current;
        return good ? Status::done : Status::left_alone;
    }
};

void put(const Converted &output, const Arguments &arguments, Interrupts &interrupts, Conversion &conversion)
{
    if (output.path.empty())
        return print_text(in_form(output.bytes, false), interrupts);
    if (!may_replace(output.path, arguments, interrupts))
        throw Failure(Status::left_alone, output.path + " was left as it is.");
    conversion.outputs.push_back(output.path); /* behind the writing nothing may fail */
    write_output(output.path, in_form(output.bytes, is_packed_there(output.path)), Readers::owner, interrupts);
}

/* ---- names ---- */

std::string plain_name(const std::string &name)
{
    return name.ends_with(".gz") ? name.substr(0, name.size() - 3) : name;
}

/* The result's place for an input of that path. Several files, or one that becomes two, want a folder. */
std::string output_path(const Arguments &arguments, const std::string &input)
{
    if (goes_to_standard_output(arguments))
        return "";
    if (!is_folder(arguments.output))
        return arguments.output;
    std::string name = input == "-" ? "stdin.conf" : fs::path(input).filename().string();
    return fs::path(arguments.output) / name;
}

void check_output(const Arguments &arguments, const SingleFile &file)
{
    if (!file.becomes_two())
        return;
    std::string what = file.shown + ": it is of release " + release_text(file.facts.release) +
                       ", from before 5.10, so two files come of it: a global one and one for the domain \"root\". ";
    std::error_code none;
    if (goes_to_standard_output(arguments))
        throw Failure(Status::unusable, what + "Name a folder for them with -o.");
    if (!is_folder(arguments.output) && fs::exists(arguments.output, none))
        throw Failure(Status::unusable, what + arguments.output + " is no folder. Name one with -o.");
    if (arguments.files.size() > 1)
        throw Failure(Status::unusable, what + "Convert it by itself.");
}

/* False when it is there already. */
bool make_output_folder(const Arguments &arguments)
{
    if (mkdir(arguments.output.c_str(), 0700) == 0)
        return true;
    if (errno != EEXIST)
        throw PathError{"make", arguments.output, errno};
    return false;
}

/* ---- the run ---- */

void take_findings(const StagedRun &run, Conversion &conversion)
{
    conversion.notes = run.notes;
    for (const FileOutcome &found : run.files) {
        for (const FileFinding &reason : found.reasons)
            conversion.reasons.push_back(reason.text);
        for (const FileFinding &warning : found.warnings)
            conversion.warnings.push_back(warning.text);
    }
}

void tell_findings(const Conversion &conversion, const Arguments &arguments)
{
    if (arguments.verbose)
        for (const std::string &note : conversion.notes)
            complain(conversion.shown + ": the library: " + note);
    for (const std::string &reason : conversion.reasons)
        complain(conversion.shown + ": " + reason);
    for (const std::string &warning : conversion.warnings)
        complain("warning: " + conversion.shown + ": " + warning);
}

/* The names of the files that come of it. */
std::vector<std::string> results_of(const SingleFile &file)
{
    return file.becomes_two() ? std::vector<std::string>{global_name, first_domain_name} : std::vector{file.stored};
}

std::string output_path(const Arguments &arguments, const SingleFile &file, const std::string &result)
{
    return file.becomes_two() ? std::string(fs::path(arguments.output) / plain_name(result))
                              : output_path(arguments, file.path);
}

bool become_plain(const Arguments &arguments, const SingleFile &file)
{
    std::vector<std::string> results = results_of(file);
    return std::none_of(results.begin(), results.end(), [&](const std::string &result) {
        return is_packed_there(output_path(arguments, file, result));
    });
}

/* One of two files is no result. What it has replaced is gone, so what was new alone goes. */
void take_back(const std::vector<std::string> &made, const std::string &made_folder)
{
    for (const std::string &path : made)
        unlink(path.c_str());
    if (!made_folder.empty())
        rmdir(made_folder.c_str());
}

void put_results(const Arguments &arguments, const SingleFile &file, StagedRun &run, Interrupts &interrupts,
                 Conversion &conversion)
{
    std::vector<std::string> results = results_of(file), made;
    made.reserve(results.size());
    bool made_folder = file.becomes_two() && make_output_folder(arguments); /* nothing may fail ahead of the try */
    try {
        for (size_t at = 0; at < results.size(); at++) {
            Converted output = {output_path(arguments, file, results[at]), std::move(run.brought.at(at))};
            bool      is_new = file.becomes_two() && !is_there(output.path);
            put(output, arguments, interrupts, conversion);
            if (is_new)
                made.push_back(std::move(output.path));
        }
    } catch (...) {
        take_back(made, made_folder ? arguments.output : "");
        throw;
    }
    do_or_complain(not_all_told, [&] {
        for (const std::string &path : conversion.outputs)
            if (file.becomes_two())
                complain("wrote " + path);
    });
}

/* Files are called what the person calls them, and not as they were in the throw-away appliance. */
void take_account(const Arguments &arguments, const StagedRun &run, const SingleFile &file, Conversion &conversion)
{
    conversion.account = account_of_results(run.brought.back(), run.files);
    for (AccountFile &accounted : conversion.account.files)
        accounted.file = accounted.before < 0 ? output_path(arguments, file, results_of(file).back()) : file.shown;
}

/* It is as new as the image, or newer: it goes through as it is. */
void pass_through(const Arguments &arguments, const SingleFile &file, Interrupts &interrupts, Conversion &conversion)
{
    bool newer = file.facts.release > image_release();
    complain(file.shown + ": it is at " + release_text(file.facts.release) +
             (newer ? ", and the image at " : " already, as the image is at ") + release_text(image_release()) +
             ". The result is the same text.");
    conversion.result = newer ? Result::newer : Result::current;
    put({output_path(arguments, file.path), file.bytes}, arguments, interrupts, conversion);
}

void upgrade_in(const StagingFolder &staging, const Arguments &arguments, const Image &image, const SingleFile &file,
                Interrupts &interrupts, Conversion &conversion)
{
    RunRequest request;
    request.before = folder_with(file);
    for (const std::string &name : results_of(file))
        request.wanted.push_back(config_path(name));
    request.wanted.push_back(account_path);
    request.accept_damage = arguments.accept_damage;
    request.unpacks_soon = become_plain(arguments, file);
    request.library = [] { run_and_account(Detail::losses); };
    if (std::string missing = what_is_missing(file); !missing.empty())
        conversion.warnings.push_back(missing);
    StagedRun run = run_staged(staging.root(), image, request, interrupts);
    take_findings(run, conversion);
    tell_findings(conversion, arguments);
    if (!run.ran)
        return complain(file.shown + " was not upgraded, and nothing was written.");
    take_account(arguments, run, file, conversion);
    put_results(arguments, file, run, interrupts, conversion);
    conversion.result = Result::upgraded;
}

Conversion convert_one(const Arguments &arguments, const Image &image, const std::string &path, Interrupts &interrupts)
{
    SingleRequest input = {path, arguments.as, arguments.domain};
    auto          staging = throw_away_appliance();
    SingleFile    file = lay_out_single_file(input, staging->root(), image_text(image, "syntax_v510.txt"), interrupts);
    check_output(arguments, file);
    Conversion conversion;
    conversion.shown = file.shown;
    conversion.before = file.facts.release;
    if (file.facts.release >= image_release())
        pass_through(arguments, file, interrupts, conversion);
    else
        upgrade_in(*staging, arguments, image, file, interrupts, conversion);
    return conversion;
}

/* What is wrong with one of several files is told, and the others go on. */
std::pair<Status, Conversion> tell_failure(const Arguments &arguments, const std::string &path, const Failure &failure,
                                           Interrupts &interrupts)
{
    if (arguments.files.size() == 1 || interrupts.came())
        throw failure;
    complain(failure.what());
    Conversion conversion;
    conversion.shown = shown_input(path);
    conversion.reasons = {failure.what()};
    return {failure.status, conversion};
}

std::pair<Status, Conversion> convert_or_tell(const Arguments &arguments, const Image &image, const std::string &path,
                                              Interrupts &interrupts)
{
    try {
        Conversion conversion = convert_one(arguments, image, path, interrupts);
        Status     status = conversion.status();
        return {status, std::move(conversion)};
    } catch (const Failure &failure) {
        return tell_failure(arguments, path, failure, interrupts);
    } catch (const PathError &error) {
        return tell_failure(arguments, path, failure_of(error, error.path), interrupts);
    }
}

Json to_json(const Conversion &conversion)
{
    bool upgraded = conversion.result == Result::upgraded;
    return Json::Members{{"file", conversion.shown},
                         {"before", Json::release(conversion.before)},
                         {"after", Json::release(upgraded ? image_release() : conversion.before)},
                         {"result", word(conversion.result)},
                         {"outputs", Json::list(conversion.outputs)},
                         {"reasons", Json::list(conversion.reasons)},
                         {"warnings", Json::list(conversion.warnings)},
                         {"notes", Json::list(conversion.notes)},
                         {"accounts", counts_json(conversion.account)}};
}

void tell_a_program(const std::vector<Conversion> &conversions, Status worst, const Image &image)
{
    Json::List all;
    for (const Conversion &conversion : conversions)
        all.push_back(to_json(conversion));
    print_answer(
        "convert", worst,
        {{"image", image.folder}, {"image_release", Json::release(image_release())}, {"files", std::move(all)}});
}

/* Of all files together, on standard error, where no result goes. */
void tell_account(std::vector<Conversion> conversions, const Arguments &arguments, const Image &image)
{
    Account all;
    for (Conversion &conversion : conversions)
        append(all, std::move(conversion.account));
    if (all.files.empty())
        return;
    Causes             causes(image_text(image, "update_config"));
    const std::string &first = arguments.files.front();
    std::string        file = arguments.files.size() > 1 ? "FILE" : shell_word(first);
    show_counts(all, complain);
    complain(summary_of(all, causes) + (first == "-" ? "." : ": migr account " + file));
}

void check_usage(const Arguments &arguments)
{
    if (arguments.files.size() > 1 && !is_folder(arguments.output))
        throw Failure(Status::unusable, "Several files need a folder for their results. Name one with -o.");
    if (arguments.json && goes_to_standard_output(arguments))
        throw Failure(Status::unusable, "With --json the answer goes to standard output. Name a place for the result "
                                        "with -o.");
}

Status convert_files(const Arguments &arguments)
{
    check_usage(arguments);
    Image      image = open_image(arguments.image);
    Interrupts interrupts;
    tell_image(image);
    Status                  worst = Status::done;
    std::vector<Conversion> conversions;
    conversions.reserve(arguments.files.size());
    for (const std::string &path : arguments.files) {
        auto [status, conversion] = convert_or_tell(arguments, image, path, interrupts);
        worst = std::max(worst, status);
        conversions.push_back(std::move(conversion));
    }
    if (arguments.json)
        do_or_complain(not_all_told, [&] { tell_a_program(conversions, worst, image); });
    else
        do_or_complain("What became of the lines cannot be summed up",
                       [&] { tell_account(std::move(conversions), arguments, image); });
    return worst;
}

} // namespace

const Subcommand convert_command = {
    "convert",
    "Upgrade configuration files, without an appliance",
    {
        {"FILE", &Arguments::files, "The files, plain or gzip; - for standard input", true},
        {"-o,--output", &Arguments::output,
         "Where the result goes, in place of standard output; packed if the name ends in .gz. A folder for several "
         "files, and for one from before 5.10"},
        {"--force", &Arguments::force, "Replace a result that is there already without asking"},
        {"--as", &Arguments::as, "What FILE is, if its name does not tell", false, {"global", "domain"}},
        {"--domain", &Arguments::domain, "The name of the domain that FILE belongs to"},
        {"--image", &Arguments::image, "Folder with the image's files, in place of the packaged ones"},
        {"--accept-damage", &Arguments::accept_damage, "Upgrade a file of which text will be lost, too"},
        {"--verbose", &Arguments::verbose, "Show what the library printed"},
        {"--json", &Arguments::json, "Print what was done as JSON; the result needs -o then"},
    },
    convert_files,
};

} // namespace command
