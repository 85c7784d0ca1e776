/* What the image's files say about what an account tells: whose values were lost, and why signature lists changed. */
#pragma once

#include "explain/account.h"

#include <functional>
#include <string>

namespace command {

/* Gives the content of the image's file of that name. It is asked for what is needed alone, and what it throws is
 * thrown. */
using ImageText = std::function<std::string(const char *name)>;

/* Of what was dropped or rewritten. */
void add_hands(Account &account, const ImageText &image_text);

/* Of what the signature database has taken or brought. */
void add_signature_reasons(Account &account, const ImageText &image_text);

/* Whether the signature database is why the entry is as it is. */
bool is_by_signatures(const Account &account, const AccountEntry &entry);

} // namespace command
