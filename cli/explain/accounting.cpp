/* How an account is taken is told by ledger_run.h; how the copy is made by staged_input.h. */
#include "explain/accounting.h"

#include "appliance/staged_input.h"
#include "appliance/stored_text.h"
#include "explain/ledger_run.h"

namespace command {

Accounting account_for(const SingleRequest &single, const Image &image, Detail detail, Texts texts,
                       Interrupts &interrupts)
{
    StagedInput input = stage_input(single, image, interrupts);
    RunRequest  request;
    request.before = input.before;
    request.wanted = {account_path};
    request.partial = true; /* whatever can be accounted for */
    request.accept_damage = true;
    request.library = [detail] { run_and_account(detail); };
    Accounting accounting;
    accounting.run = run_staged(input.root(), image, request, interrupts);
    if (!input.only.empty())
        std::erase_if(accounting.run.files, [&](const FileOutcome &file) { return file.name != input.only; });
    if (accounting.run.ran)
        accounting.account = account_of_results(accounting.run.brought.front(), accounting.run.files);
    if (texts == Texts::wanted)
        accounting.results = results_in(input.root(), accounting.account);
    return accounting;
}

ResultTexts results_in(const Root &staging, const Account &account)
{
    ResultTexts results;
    for (const AccountFile &file : account.files)
        results[file.file] = staging.run([&] { return stored_text(file.file); });
    return results;
}

} // namespace command
