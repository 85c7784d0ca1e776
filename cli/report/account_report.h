/* Accounts (explain/account.h) for people and for programs. */
#pragma once

#include "explain/account.h"
#include "explain/causes.h"
#include "explain/change_filter.h"
#include "output/console.h"
#include "output/json.h"

#include <string>
#include <vector>

namespace command {

/* What of an account is to be shown. */
struct AccountView {
    bool        dropped = true;
    bool        rewritten = true;
    bool        added = false;
    bool        moved = false;
    bool        kept = false;
    bool        new_classes = true; /* that the signature database has added, whatever of the rest is to be shown */
    std::string path;               /* a pattern (glob(7)) for the names, parted by " / "; empty: any */
    CauseFilter causes;             /* takes one of an entry's */
    bool        show_secrets = false;
};

/* What somebody has to answer for comes first, a kind that is none last. */
size_t rank_of_kind(const std::string &kind);

/* The table of lines, a row per file. `print` is say or complain. */
void show_counts(const Account &account, Print print = say);

/* What was dropped, rewritten and so on, by cause; protection and credentials first, and what the signature database
 * did last, as one list that can be approved. */
void show_entries(const Account &account, const Causes &causes, const AccountView &view);

/* Files beside the configuration. */
void show_effects(const Account &account, const Causes &causes);

/* "14 lines were dropped, 3 of them set by hand, and 5 rewritten"; and what touches protection or credentials. */
std::string summary_of(const Account &account, const Causes &causes);

/* An entry, with whatever stands for its causes. */
Json::Members entry_json(const AccountEntry &entry, Json causes, bool show_secrets);

/* The numbers of lines alone, of a file and by file. */
Json::Members file_counts_json(const AccountFile &file);
Json::List    counts_json(const Account &account);

/* The members "files" and "effects", and whether the account is whole. */
Json::Members to_json(const Account &account, const Causes &causes, const AccountView &view);

/* "6.10 stage _remove_all_autolearn". */
std::string shown(const Author &author);

/* "6.10 _remove_all_autolearn", "6.20 delete, line 279". */
std::string briefly(const Author &author);

/* The lines of an entry in which no secret shows. */
std::string without_secret(const AccountEntry &entry, const std::string &text);

} // namespace command
