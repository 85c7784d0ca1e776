/* migr upgrade ROOT: how an upgrade is asked for and shown. What it does is told by appliance/upgrade.h. */
#include "appliance/upgrade.h"
#include "commands/subcommand.h"
#include "explain/accounting.h"
#include "explain/ledger_run.h"
#include "image/image_files.h"
#include "output/console.h"
#include "output/printable.h"
#include "report/account_report.h"
#include "report/page_file.h"
#include "report/report.h"
#include "report/stored_account.h"
#include "report/upgrade_ledger.h"

namespace command {

namespace {

UpgradeRequest request_of(const Arguments &arguments)
{
    UpgradeRequest request;
    request.root = arguments.root;
    request.image = arguments.image;
    request.work = arguments.work;
    request.dry_run = arguments.dry_run;
    request.strict = arguments.strict;
    request.run.partial = arguments.partial;
    request.run.accept_damage = arguments.accept_damage;
    request.run.timeout = std::chrono::seconds(arguments.timeout);
    request.run.tell = [](const std::string &line) { say(line); };
    request.run.progress = arguments.json ? nullptr : stdout;
    return request;
}

void show_account(const Outcome &outcome, const Account &account, const Arguments &arguments)
{
    if (account.files.empty())
        return;
    Image  image = open_image(arguments.image);
    Causes causes(image_text(image, "update_config"));
    show_counts(account);
    say(summary_of(account, causes) + ": migr account " + shell_word(outcome.root) +
        (outcome.changed ? " --last" : ""));
}

/* The upgrade is done by then. */
void write_report(const Outcome &outcome, const Account &account, const ResultTexts &results,
                  const Arguments &arguments, Interrupts &interrupts)
{
    LedgerRequest request = {outcome.root, outcome.files, account, results, outcome.changed, outcome.snapshot};
    do_or_complain("The report was not written", [&] {
        write_page(arguments.report, upgrade_ledger(request, open_image(arguments.image)), interrupts);
        say("Report:                " + shell_word(arguments.report));
    });
}

void tell_a_program(const Outcome &outcome, const Account &account, const ResultTexts &results,
                    const Arguments &arguments, Interrupts &interrupts)
{
    if (!arguments.report.empty())
        write_report(outcome, account, results, arguments, interrupts);
    print_answer("upgrade", outcome.status, answer_members(outcome, account));
}

Status upgrade_appliance(const Arguments &arguments)
{
    Interrupts     interrupts;
    Account        account;
    ResultTexts    results;
    bool           wants_report = !arguments.report.empty();
    UpgradeRequest request = request_of(arguments);
    if (wants_report)
        require_page_path(arguments.report);
    Detail detail = wants_report ? Detail::lines : Detail::changes;
    request.run.library = [detail] { run_and_account(detail); };
    request.account = [&](const Root &staging, const std::vector<FileOutcome> &files) {
        account = account_of_results(staging, files);
        if (wants_report)
            results = results_in(staging, account);
        return stored_account(account);
    };
    Outcome outcome = upgrade(request, interrupts);
    auto    show_all = [&] {
        if (arguments.json)
            return tell_a_program(outcome, account, results, arguments, interrupts);
        show(outcome, arguments.verbose);
        show_account(outcome, account, arguments);
        if (wants_report)
            write_report(outcome, account, results, arguments, interrupts);
    };
    if (outcome.changed)
        do_or_complain("The upgrade is done, and not all of it can be told", show_all);
    else
        show_all();
    return outcome.status;
}

} // namespace

const Subcommand upgrade_command = {
    "upgrade",
    "Upgrade the configuration files of an appliance",
    {
        {"ROOT", &Arguments::root, "The appliance's root folder (\"/\" on the appliance itself)", true},
        {"--image", &Arguments::image,
         "Folder with the image's files update_config, syntax_v510.txt, system.conf.predefine and signature.db, in "
         "place of the packaged ones"},
        {"--dry-run", &Arguments::dry_run, "Do everything but the last step; ROOT is left alone"},
        {"--partial", &Arguments::partial, "Upgrade what can be, when some file cannot; otherwise nothing is then"},
        {"--accept-damage", &Arguments::accept_damage,
         "Upgrade files of which text will be lost, too, and list that as warnings"},
        {"--strict", &Arguments::strict, "Change nothing when there is any warning"},
        {"--work", &Arguments::work, "Folder for the private copy that is worked on, in place of ROOT/var/lib/migr"},
        {"--report", &Arguments::report, "Write a page about it, as migr report does, to that file"},
        {"--verbose", &Arguments::verbose, "Show what the library printed"},
        {"--json", &Arguments::json, "Print the report as JSON"},
        {"--timeout", &Arguments::timeout, "Give up after so many seconds without progress"},
    },
    upgrade_appliance,
};

} // namespace command
