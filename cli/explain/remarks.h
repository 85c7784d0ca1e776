/* What the image's files say about what an account tells: whose values were lost, and why signature lists changed. */
#pragma once

#include "explain/account.h"

#include <functional>
#include <string>

namespace command {

/* `image_text` gives the content of the image's file of that name, and is asked for what is needed alone. Throws what
 * it throws. */
void add_remarks(Account &account, const std::function<std::string(const char *name)> &image_text);

/* Whether the signature database is why the entry is as it is. */
bool is_by_signatures(const Account &account, const AccountEntry &entry);

} // namespace command
