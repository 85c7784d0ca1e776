/* Which texts an account is made of. How it is made is told by account.cpp. */
#include "explain/ledger_run.h"

#include "appliance/inside.h"
#include "appliance/inspect.h"
#include "appliance/old_forms.h"
#include "appliance/stored_text.h"
#include "driver/migr.h"
#include "explain/remarks.h"
#include "image/image_files.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/new_file.h"

#include <algorithm>
#include <cerrno>
#include <optional>

namespace command {

static auto fields_of(Span &span)
{
    return std::tie(span.first, span.last, span.end);
}

static auto fields_of(FileEffect &effect)
{
    return std::tie(effect.what, effect.path, effect.before, effect.author);
}

static auto fields_of(AccountEntry &entry)
{
    return std::tie(entry.fate, entry.in, entry.out, entry.out_file, entry.path, entry.causes, entry.before,
                    entry.after, entry.copied_from, entry.from_file, entry.reason, entry.hand);
}

static auto fields_of(Loss &loss)
{
    return std::tie(loss.fate, loss.hand, loss.causes, loss.lines);
}

static auto fields_of(LineCounts &counts)
{
    return std::tie(counts.lines, counts.kept, counts.moved, counts.rewritten, counts.dropped, counts.added,
                    counts.layout, counts.unread);
}

static auto fields_of(AccountFile &file)
{
    return std::tie(file.file, file.before, file.after, file.in, file.out, file.unexplained, file.entries, file.losses);
}

static auto fields_of(Account &account)
{
    return std::tie(account.authors, account.files, account.effects, account.is_incomplete);
}

namespace {

int32_t release_of(std::string_view text)
{
    return inspect_text(text, Depth::headers).release;
}

/* Whether a pass has made the file, and none has found it there. */
bool is_made(const Journal &journal, const std::string &name)
{
    bool written = false;
    for (const JournalText &text : journal.texts) {
        if (text.file != name)
            continue;
        if (!text.is_written && text.continues == nowhere)
            return false;
        written = written || text.is_written;
    }
    return written;
}

AccountedText accounted(const std::string &name, std::string old_text, std::string new_text)
{
    AccountedText text;
    text.file = name;
    text.old_text = std::move(old_text);
    text.new_text = std::move(new_text);
    text.before = text.old_text.empty() ? -1 : release_of(text.old_text);
    text.after = release_of(text.new_text);
    return text;
}

/* Nothing when it is gone or no file that can be unpacked, which whoever looks at the results will say. */
std::optional<std::string> result_text(const std::string &name)
{
    try {
        return stored_text(name);
    } catch (const PathError &error) {
        bool is_none = error.error == ENOENT || error.error == EISDIR || error.error == EINVAL || error.error == EILSEQ;
        if (!is_none)
            throw;
        return std::nullopt;
    }
}

/* The global file first, and the others by name. */
std::vector<AccountedText> texts_of_run(const Journal &journal)
{
    std::vector<AccountedText> texts;
    std::vector<std::string>   names = old_forms();
    for (const std::string &name : names)
        if (std::optional<std::string> result = result_text(name))
            texts.push_back(accounted(name, text_of_file(old_form_of(name)), std::move(*result)));
    bool has_new = std::find(names.begin(), names.end(), first_domain_name) == names.end();
    if (has_new && is_made(journal, first_domain_name))
        if (std::optional<std::string> result = result_text(first_domain_name))
            texts.push_back(accounted(first_domain_name, "", std::move(*result)));
    std::stable_sort(texts.begin(), texts.end(), [](const AccountedText &one, const AccountedText &other) {
        return std::pair(one.file != global_name, one.file) < std::pair(other.file != global_name, other.file);
    });
    return texts;
}

} // namespace

Account account_of_run(Detail detail)
{
    Journal                    journal = take_down(migr_main_do_all);
    int                        error = errno; /* the last thing that the system refused the library */
    std::vector<AccountedText> texts = texts_of_run(journal);
    Account                    account = account_of(std::move(journal), texts, detail);
    errno = error;
    return account;
}

void run_and_account(Detail detail)
{
    Account account = account_of_run(detail);
    int     error = errno;
    auto    image_text = [](const char *name) { return read_file(place_of_image_file(name), Links::follow); };
    add_hands(account, image_text);
    for (AccountFile &file : account.files)
        file.losses = losses_of(file.entries);
    if (detail == Detail::losses)
        for (AccountFile &file : account.files)
            file.entries.clear();
    else
        add_signature_reasons(account, image_text);
    write_new(account_path, encoded(std::move(account)));
    errno = error;
}

Account account_of_results(const std::string &bytes, const std::vector<FileOutcome> &outcomes)
{
    Account account = bytes.empty() ? Account() : decoded<Account>(bytes);
    std::erase_if(account.files, [&](const AccountFile &file) {
        return std::none_of(outcomes.begin(), outcomes.end(), [&](const FileOutcome &outcome) {
            bool came_through = outcome.result == Result::upgraded || outcome.result == Result::added;
            return came_through && outcome.name == file.file;
        });
    });
    return account;
}

Account account_of_results(const Root &staging, const std::vector<FileOutcome> &outcomes)
{
    auto bytes = [] { return is_there(account_path) ? read_file(account_path, Links::refuse) : ""; };
    return account_of_results(staging.run(bytes), outcomes);
}

} // namespace command
