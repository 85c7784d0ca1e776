/*
 * The JSON that migr reads: accounts as they are kept, the ledgers of which pages are made, and lines of a fleet's
 * results. Any text may be one. What is held: an account that was read is kept as it was, and shown; nothing of a
 * ledger becomes a part of the page; a line comes out as it did.
 */
#include "explain/causes.h"
#include "fleet/result.h"
#include "fuzz/fuzzing.h"
#include "report/account_report.h"
#include "report/page.h"
#include "report/stored_account.h"
#include "system/gzip_text.h"

#include <optional>

namespace {

using namespace fuzzing;

/* What would act in a page, and stands in no page by itself. */
constexpr char dangerous[] = "<zz";

void try_account(std::string_view text)
{
    command::Account account;
    try {
        account = command::account_from(command::gzip(text, command::Packing::none));
    } catch (const command::Failure &) {
        return;
    }
    std::string kept = command::stored_account(account);
    if (command::stored_account(command::account_from(kept)) != kept) {
        tell("An account that was kept is read as another one.");
        abort();
    }
    static const command::Causes causes("");
    command::AccountView         view;
    view.added = view.moved = view.kept = true;
    command::Json(command::to_json(account, causes, view)).text();
    command::summary_of(account, causes);
}

void try_ledger(const std::string &text)
{
    std::string page;
    try {
        page = command::report_page(text);
    } catch (const command::Failure &) {
        return;
    }
    if (page.find(dangerous) == std::string::npos)
        return;
    tell("A text of the ledger has become a part of the page.");
    abort();
}

void try_line(const std::string &text)
{
    std::string line;
    try {
        line = command::line_of(command::result_from(text));
    } catch (const command::Failure &) {
        return;
    }
    if (command::line_of(command::result_from(line)) == line)
        return;
    tell("A line of results is read as another one.");
    abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string text(reinterpret_cast<const char *>(data), size);
    try_account(text);
    try_ledger(text);
    try_line(text);
    return 0;
}
