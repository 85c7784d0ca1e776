/* The lines of a result beside the entries of its account: where each came from, and how it may be shown. */
#pragma once

#include "explain/account.h"

#include <string>
#include <vector>

namespace command {

/* Where a line of a result came from. */
struct LineSource {
    const AccountFile  *file = nullptr; /* of the entry; null: the line only opens a file or closes a block */
    const AccountEntry *entry = nullptr;
};

/* By line of the result, from 1. The account must outlive them, and have the entries that are kept, too. */
std::vector<LineSource> sources_of(const Account &account, const AccountFile &result);

/* The text's lines, without their ends; no secret shows in them unless it is asked for. */
std::vector<std::string> shown_lines(const std::vector<LineSource> &sources, const std::string &text,
                                     bool show_secrets);

} // namespace command
