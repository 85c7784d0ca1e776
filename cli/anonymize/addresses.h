/*
 * Addresses of networks for addresses of networks. Two that shared a prefix share one of the same length afterwards, so
 * subnets, masks and ranges stay what they were. Where an address stands in a text is for the neighbours to find.
 */
#pragma once

#include "anonymize/permutation.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace command {

/* What stands for something by itself: loopback, unspecified, broadcast, multicast, link-local, masks. */
bool is_special(uint32_t address);

/*
 * Of the first `length` bits, behind which all are zero if there are less than 32. Addresses for private use stay such.
 * The last byte stays: hosts of a network keep their order.
 */
uint32_t other_address(uint32_t address, int length, const Permutation &permutation);

using WideAddress = std::array<uint16_t, 8>; /* of IPv6, by groups */

/* A group keeps its number of digits. What stands for something by itself stays. */
WideAddress other_address(const WideAddress &address, const Permutation &permutation);

} // namespace command
