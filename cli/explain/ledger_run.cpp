/* Which texts an account is made of. How it is made is told by account.cpp. */
#include "explain/ledger_run.h"

#include "appliance/inside.h"
#include "appliance/inspect.h"
#include "appliance/old_forms.h"
#include "appliance/stored_text.h"
#include "driver/migr.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/new_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

namespace command {

static auto fields_of(Author &author)
{
    return std::tie(author.release, author.mechanism, author.name, author.line);
}

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
                    entry.after, entry.copied_from, entry.from_file);
}

static auto fields_of(LineCounts &counts)
{
    return std::tie(counts.lines, counts.kept, counts.moved, counts.rewritten, counts.dropped, counts.added,
                    counts.layout, counts.unread);
}

static auto fields_of(AccountFile &file)
{
    return std::tie(file.file, file.before, file.after, file.in, file.out, file.unexplained, file.entries);
}

static auto fields_of(Account &account)
{
    return std::tie(account.authors, account.files, account.effects, account.is_incomplete);
}

namespace {

constexpr char account_path[] = "/account";

int32_t release_of(const std::string &text)
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
        if (text.author == nowhere && text.continues == nowhere)
            return false;
        written = written || text.author != nowhere;
    }
    return written;
}

AccountedText accounted(const std::string &name, std::string old_text)
{
    AccountedText text;
    text.file = name;
    text.old_text = std::move(old_text);
    text.new_text = stored_text(name);
    text.before = text.old_text.empty() ? -1 : release_of(text.old_text);
    text.after = release_of(text.new_text);
    return text;
}

/* The global file first, and the others by name. */
std::vector<AccountedText> texts_of_run(const Journal &journal)
{
    std::vector<AccountedText> texts;
    std::vector<std::string>   names = old_forms();
    for (const std::string &name : names)
        if (access(config_path(name).c_str(), F_OK) == 0)
            texts.push_back(accounted(name, text_of_file(old_form_of(name))));
    bool has_new = std::find(names.begin(), names.end(), first_domain_name) == names.end();
    if (has_new && is_made(journal, first_domain_name) && access(config_path(first_domain_name).c_str(), F_OK) == 0)
        texts.push_back(accounted(first_domain_name, ""));
    std::stable_sort(texts.begin(), texts.end(), [](const AccountedText &one, const AccountedText &other) {
        return std::pair(one.file != global_name, one.file) < std::pair(other.file != global_name, other.file);
    });
    return texts;
}

[[noreturn]] void give_up(const char *why)
{
    fprintf(stderr, "the account could not be taken: %s\n", why);
    fflush(nullptr);
    _exit(1);
}

} // namespace

void run_and_account(bool all)
{
    Journal journal = take_down(migr_main_do_all);
    int     error = errno; /* the last thing that the system refused the library */
    try {
        std::vector<AccountedText> texts = texts_of_run(journal);
        write_new(account_path, encoded(account_of(std::move(journal), texts, all)));
    } catch (const PathError &failure) {
        give_up(failure_of(failure, failure.path).what());
    } catch (const std::exception &failure) {
        give_up(failure.what());
    }
    errno = error;
}

Account read_account(const Root &staging)
{
    std::string bytes = staging.run([] {
        struct stat st = {};
        return lstat(account_path, &st) == 0 ? read_file(account_path, Links::refuse) : "";
    });
    return bytes.empty() ? Account() : decoded<Account>(bytes);
}

void keep_files(Account &account, const std::vector<std::string> &names)
{
    std::erase_if(account.files, [&](const AccountFile &file) {
        return std::find(names.begin(), names.end(), file.file) == names.end();
    });
}

} // namespace command
