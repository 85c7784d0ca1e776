/* migr convert FILE [-o OUT] [--as global|domain] [--domain NAME] [--image DIR] */
#include "appliance/places.h"
#include "appliance/single_file.h"
#include "appliance/upgrade.h"
#include "commands/subcommand.h"
#include "driver/version_lines.h"
#include "image/image_files.h"
#include "image/packaged_image.h"
#include "output/console.h"
#include "system/files.h"
#include "system/gzip_text.h"
#include "system/new_file.h"
#include "system/temporary_folder.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace command {

namespace {

struct ConvertRequest {
    SingleRequest input;
    std::string   output; /* path; empty or "-": standard output. A folder for a file from before 5.10 */
    std::string   image;  /* folder of the image's files; empty: the packaged one */
};

/* ---- where the result goes ---- */

bool goes_to_standard_output(const ConvertRequest &request)
{
    return request.output.empty() || request.output == "-";
}

/* A terminal acts on what it is sent; a file or a pipe gets the text as it is. */
void print_text(const std::string &text)
{
    if (!isatty(STDOUT_FILENO)) {
        write_all(STDOUT_FILENO, text, "standard output");
        return;
    }
    std::string_view left = text;
    while (!left.empty()) {
        size_t length = std::min(left.find('\n'), left.size());
        say(left.substr(0, length));
        left.remove_prefix(std::min(length + 1, left.size()));
    }
}

/* For its owner alone: configurations hold secrets. Others may be writing to the same place. */
void write_in_place(const std::string &path, std::string_view bytes)
{
    NewFile file(path, beside(path) + "-" + std::to_string(getpid()));
    file.write(bytes);
    file.publish();
}

/* The stored files of the throw-away root are gzip files; a name that says so gets those bytes. */
std::string stored_bytes(const Root &root, const std::string &name)
{
    return root.run([&] { return json(read_file(config_path(name), Links::follow)); });
}

std::string stored_text(const Root &root, const std::string &name)
{
    std::optional<std::string> text = gunzip(stored_bytes(root, name));
    if (!text)
        throw Failure(Status::failed, name + ": the result cannot be read back.");
    return std::move(*text);
}

void write_result(const ConvertRequest &request, const Root &root, const SingleFile &file)
{
    if (goes_to_standard_output(request))
        return print_text(stored_text(root, file.stored));
    bool packed = request.output.ends_with(".gz");
    write_in_place(request.output, packed ? stored_bytes(root, file.stored) : stored_text(root, file.stored));
}

void write_both(const ConvertRequest &request, const Root &root)
{
    if (mkdir(request.output.c_str(), 0700) != 0 && errno != EEXIST)
        throw PathError{"make", request.output, errno};
    for (std::string name : {global_name, first_domain_name}) {
        std::string path = fs::path(request.output) / name.substr(0, name.size() - 3); /* plain: without ".gz" */
        write_in_place(path, stored_text(root, name));
        complain("wrote " + path);
    }
}

/* ---- checks ---- */

bool becomes_two(const SingleFile &file)
{
    return file.facts.release < MIGR_RELEASE_5_10;
}

void check_output(const ConvertRequest &request, const SingleFile &file)
{
    if (goes_to_standard_output(request)) {
        if (becomes_two(file))
            throw Failure(Status::unusable, file.shown + ": it is of release " + release_text(file.facts.release) +
                                                ", from before 5.10, so two files come of it: a global one and one "
                                                "for the domain \"root\". Name a folder for them with -o.");
        return;
    }
    std::error_code none;
    bool            folder = fs::is_directory(request.output, none);
    if (becomes_two(file) && !folder && fs::exists(request.output, none))
        throw Failure(Status::unusable, request.output + " is no folder, and two files come of " + file.shown +
                                            ", which is from before 5.10. Name a folder with -o.");
    if (!becomes_two(file) && folder)
        throw Failure(Status::unusable, request.output + " is a folder. Name a file with -o.");
}

/* ---- the run ---- */

void require_upgraded(const Report &report, const SingleFile &file)
{
    for (const std::string &note : report.notes)
        complain(file.shown + ": " + note);
    if (!report.trouble.empty())
        throw Failure(Status::failed, file.shown + ": " + report.trouble + " Nothing was written.");
    for (const FileReport &found : report.files) {
        if (found.name != file.stored)
            continue;
        if (found.result == Result::left_alone)
            throw Failure(Status::left_alone, file.shown + " was not upgraded. " + found.reason);
        for (uint64_t line : found.empty_sets)
            complain("warning: line " + std::to_string(line) +
                     " of the result is a `set` without a value. The next upgrade would refuse it; give it a value.");
    }
}

void run_in(const Root &root, const std::string &image, const SingleFile &file, Interrupts &interrupts)
{
    UpgradeRequest run;
    run.root = root.path();
    run.image = image;
    run.json = true; /* nothing but the result goes to standard output */
    Report report;
    upgrade_root(root, run, interrupts, report);
    require_upgraded(report, file);
}

/* It is as new as the image, or newer: it goes through as it is. */
Status pass_through(const ConvertRequest &request, const SingleFile &file)
{
    complain(file.shown + ": it is at " + release_text(file.facts.release) + " already, and the image at " +
             release_text(get_osimage_version()) + ". The result is the same text.");
    if (goes_to_standard_output(request))
        print_text(file.text);
    else
        write_in_place(request.output, file.text);
    return Status::done;
}

Status convert(const Arguments &arguments)
{
    ConvertRequest  request = {{arguments.file, arguments.as, arguments.domain}, arguments.output, arguments.image};
    std::string     image = image_folder(request.image);
    std::string     syntax = syntax_of_image(image);
    Interrupts      interrupts;
    TemporaryFolder temporary("convert");
    Root            root(temporary.make("root"), "the throw-away root folder");
    SingleFile      file = lay_out_single_file(request.input, root, syntax);
    if (is_current(file.facts))
        return pass_through(request, file);
    check_output(request, file);
    warn_of_what_is_missing(file);
    run_in(root, image, file, interrupts);
    if (becomes_two(file))
        write_both(request, root);
    else
        write_result(request, root, file);
    return Status::done;
}

} // namespace

const Subcommand convert_command = {
    "convert",
    "Upgrade one configuration file, without an appliance",
    {
        {"FILE", &Arguments::file, "The file, plain or gzip; - for standard input", true},
        {"-o,--output", &Arguments::output,
         "Where the result goes, in place of standard output; packed if the name ends in .gz. A folder, for a file "
         "from before 5.10"},
        {"--as", &Arguments::as, "What FILE is, if its name does not tell", false, {"global", "domain"}},
        {"--domain", &Arguments::domain, "The name of the domain that FILE belongs to"},
        {"--image", &Arguments::image, "Folder with the image's files, in place of the packaged ones"},
    },
    convert,
};

} // namespace command
