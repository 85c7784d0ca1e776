/* migr report: how a page is asked for. What it is made of is told by report/upgrade_ledger.h. */
#include "report/report.h"
#include "commands/options.h"
#include "image/image_files.h"
#include "output/console.h"
#include "output/printable.h"
#include "report/page_file.h"
#include "report/upgrade_ledger.h"

#include <algorithm>

namespace command {

namespace {

void append(Accounting &all, Accounting further)
{
    for (const FileOutcome &file : further.run.files) {
        if (std::any_of(all.run.files.begin(), all.run.files.end(),
                        [&](const FileOutcome &other) { return other.name == file.name; }))
            throw Failure(Status::unusable, "Two files are called " + file.name + ". Make a page for each.");
        all.run.files.push_back(file);
    }
    all.run.status = std::max(all.run.status, further.run.status);
    append(all.account, std::move(further.account));
    all.results.merge(further.results);
}

Accounting account_for_all(const Arguments &arguments, const Image &image, Interrupts &interrupts)
{
    Accounting all;
    for (const std::string &file : arguments.files)
        append(all,
               account_for({file, arguments.as, arguments.domain}, image, Detail::lines, Texts::wanted, interrupts));
    return all;
}

std::string subject_of(const std::vector<std::string> &files)
{
    std::string text;
    for (const std::string &file : files)
        text += (text.empty() ? "" : ", ") + file;
    return text;
}

void require_output(const Arguments &arguments)
{
    if (!arguments.output.empty())
        require_page_path(arguments.output);
    else if (!arguments.json)
        throw Failure(Status::unusable, "Name the page's file with -o.");
}

Status report(const Arguments &arguments)
{
    require_output(arguments);
    Image image = open_image(arguments.image);
    tell_image(image);
    Interrupts    interrupts;
    Accounting    accounting = account_for_all(arguments, image, interrupts);
    LedgerRequest request = {subject_of(arguments.files), accounting.run.files, accounting.account, accounting.results};
    request.show_secrets = arguments.show_secrets;
    Json::Members ledger = upgrade_ledger(request, image);
    if (!arguments.output.empty())
        write_page(arguments.output, ledger, interrupts);
    if (arguments.json)
        print_answer("report", accounting.run.status, std::move(ledger));
    else
        say("Report: " + shell_word(arguments.output));
    return accounting.run.status;
}

} // namespace

const Subcommand report_command = {
    "report",
    "Make a page that shows an upgrade to whoever has to answer for it",
    joined({{{"ROOT|FILE", &Arguments::files,
              "An appliance's root folder, which is left alone, or configuration files, plain or gzip", true},
             {"-o,--output", &Arguments::output, "The page's file, one HTML file that needs nothing else"}},
            image_and_file_kind(),
            secrets_and_json("Print what the page is made of as JSON")}),
    report,
};

} // namespace command
