/* Random configurations of samples: their texts with lines dropped, doubled, exchanged and spaced otherwise, so that
 * nothing in them is where it was and much of it is damaged. */
#pragma once

#include <string>

namespace ledger_test {

/* The header lines stay. The same number always gives the same. */
std::string disturbed(const std::string &text, unsigned number);

} // namespace ledger_test
