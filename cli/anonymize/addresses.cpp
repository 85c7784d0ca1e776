/* Bits are turned, or left, by a number that only depends on the bits ahead of them: that keeps prefixes together. */
#include "anonymize/addresses.h"

#include <algorithm>

namespace command {

namespace {

struct Network {
    uint32_t first;
    int      length;
};

constexpr uint32_t mask_of(int length)
{
    return length == 0 ? 0 : ~uint32_t{0} << (32 - length);
}

bool lies_in(uint32_t address, const Network &network)
{
    return (address & mask_of(network.length)) == network.first;
}

/* Unspecified, loopback, link-local, and all from multicast on: broadcasts and most masks are among these. */
constexpr Network special_networks[] = {{0x00000000, 8}, {0x7f000000, 8}, {0xa9fe0000, 16}, {0xe0000000, 3}};

/* For private use: they stay in there. */
constexpr Network private_networks[] = {{0x0a000000, 8}, {0xac100000, 12}, {0xc0a80000, 16}, {0x64400000, 10}};

constexpr int turned_bits = 24;

const Network *private_network_of(uint32_t address)
{
    const Network *found = std::find_if(std::begin(private_networks), std::end(private_networks),
                                        [&](const Network &network) { return lies_in(address, network); });
    return found == std::end(private_networks) ? nullptr : found;
}

/* A mask has ones ahead of zeros. 128.0.0.0 and 192.0.0.0 are such too. */
bool is_mask(uint32_t address)
{
    return (~address & (~address + 1)) == 0;
}

uint32_t turned(uint32_t address, int from, int to, const Permutation &permutation)
{
    uint32_t result = address & mask_of(from);
    for (int bit = from; bit < to; bit++) {
        std::string ahead = "4/" + std::to_string(bit) + "/" + std::to_string(address & mask_of(bit));
        /* The first bit of a private address that may turn does so always: few are behind it in some networks. */
        bool turns = (bit == from && from > 0) || permutation.number(ahead, 2) == 1;
        result |= (address ^ (turns ? ~uint32_t{0} : 0)) & (uint32_t{1} << (31 - bit));
    }
    return result | (address & ~mask_of(to));
}

/* ---- IPv6 ---- */

int digits_of(uint16_t group)
{
    return group >= 0x1000 ? 4 : group >= 0x100 ? 3 : group >= 0x10 ? 2 : group > 0 ? 1 : 0;
}

/* All digits behind the first `kept` become others, each by what is ahead of it. The first digit of a group is no zero,
 * or the group would be a shorter one. */
uint16_t other_group(uint16_t group, int kept, std::string ahead, const Permutation &permutation)
{
    int      count = digits_of(group);
    uint16_t result = 0;
    ahead += "#" + std::to_string(count);
    for (int digit = 0; digit < count; digit++) {
        uint32_t old = (group >> (4 * (count - 1 - digit))) & 0xfU;
        uint32_t now = old;
        if (digit >= kept)
            now =
                digit == 0 ? 1 + (old + permutation.number(ahead, 14)) % 15 : old ^ (1 + permutation.number(ahead, 15));
        result = static_cast<uint16_t>(result << 4 | now);
        ahead += "/" + std::to_string(old);
    }
    return result;
}

bool is_special(const WideAddress &address)
{
    bool is_low = std::all_of(address.begin(), address.end() - 1, [](uint16_t group) { return group == 0; });
    return (is_low && address[7] <= 1) || address[0] >= 0xff00;
}

/* The last two groups of an address that is one of IPv4. */
bool is_mapped(const WideAddress &address)
{
    return std::all_of(address.begin(), address.begin() + 5, [](uint16_t group) { return group == 0; }) &&
           (address[5] == 0xffff || (address[5] == 0 && address[6] != 0));
}

WideAddress other_mapped(WideAddress address, const Permutation &permutation)
{
    uint32_t narrow = other_address(static_cast<uint32_t>(address[6]) << 16 | address[7], 32, permutation);
    address[6] = static_cast<uint16_t>(narrow >> 16);
    address[7] = static_cast<uint16_t>(narrow);
    return address;
}

} // namespace

bool is_special(uint32_t address)
{
    return is_mask(address) || std::any_of(std::begin(special_networks), std::end(special_networks),
                                           [&](const Network &network) { return lies_in(address, network); });
}

uint32_t other_address(uint32_t address, int length, const Permutation &permutation)
{
    if (is_special(address))
        return address;
    int to = std::min(length, turned_bits);
    if (const Network *own = private_network_of(address))
        return to > own->length ? turned(address, own->length, to, permutation) : address;
    /* Again, if it has come to stand for something: that ends at the address itself at the latest, and keeps different
     * ones different. */
    uint32_t other = address;
    do {
        other = turned(other, 0, to, permutation);
    } while (is_special(other) || private_network_of(other));
    return other;
}

WideAddress other_address(const WideAddress &address, const Permutation &permutation)
{
    if (is_special(address))
        return address;
    if (is_mapped(address))
        return other_mapped(address, permutation);
    bool        is_local = (address[0] & 0xffc0) == 0xfe80;
    bool        is_numbered = address[4] == 0 && address[5] == 0 && address[6] == 0;
    WideAddress other = address;
    std::string ahead = "6";
    for (size_t at = 0; at < address.size(); at++) {
        bool stays = (at == 0 && is_local) || (at == 7 && is_numbered);
        int  kept = at > 0 ? 0 : address[0] >= 0xfc00 ? 2 : 1;
        if (!stays)
            other[at] = other_group(address[at], kept, ahead, permutation);
        ahead += ":" + std::to_string(address[at]);
    }
    return other;
}

} // namespace command
