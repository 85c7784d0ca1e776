/* Accounts as they are kept with snapshots: JSON, gzip-compressed, with secrets as they are. */
#pragma once

#include "explain/account.h"

#include <string>

namespace command {

/* Its lines that are kept are left out. Bytes that are no UTF-8 are replaced. Throws std::bad_alloc. */
std::string stored_account(const Account &account);

/* Throws Failure for bytes that are none. */
Account account_from(const std::string &bytes);

} // namespace command
