/* Addresses as they stand in texts: found, and written as they were written. What an address becomes is told by
 * addresses.h. */
#pragma once

#include "anonymize/permutation.h"

#include <string>
#include <string_view>

namespace command {

enum class AddressKind { none, network, special, device };

/* What stands at a place of a text. */
struct AddressText {
    AddressKind kind = AddressKind::none;
    size_t      length = 0; /* in the text */
    std::string other;
};

/* `at` is no place within a word or a longer address. */
AddressText address_at(std::string_view text, size_t at, const Permutation &permutation);

} // namespace command
