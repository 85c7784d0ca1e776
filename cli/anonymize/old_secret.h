/* Passwords in the encoding of old releases, which an upgrade opens: for each another one that can be opened. */
#pragma once

#include "anonymize/permutation.h"

#include <string>
#include <string_view>

namespace command {

/* Of the text behind "ENC ", with the same length. What is in no known encoding becomes other letters. */
std::string other_old_secret(std::string_view encoded, const Permutation &permutation);

} // namespace command
