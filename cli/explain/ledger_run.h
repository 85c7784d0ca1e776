/* The library's run with its account taken, and the account's way out of the staging folder. */
#pragma once

#include "appliance/outcome.h"
#include "appliance/root.h"
#include "explain/account.h"

namespace command {

/* In a staging folder with old forms, in the place of the upgrade run: runs it, and gives the account of all files that
 * it was shown. Throws PathError. */
Account account_of_run(Detail detail);

/* Where the library's child leaves an account in the staging folder. */
inline constexpr char account_path[] = "/account";

/* The same in the library's child, which leaves the account, with remarks and losses, in the staging folder. Of
 * Detail::losses only these are left, and no entries. */
void run_and_account(Detail detail);

/* What such a run has left about the files that have come through; empty when it did not come to its end. Of the bytes
 * of its file, or from the staging folder. Throw Failure. */
Account account_of_results(const std::string &bytes, const std::vector<FileOutcome> &outcomes);
Account account_of_results(const Root &staging, const std::vector<FileOutcome> &outcomes);

} // namespace command
