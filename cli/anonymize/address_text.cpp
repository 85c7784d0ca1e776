/* Dots of an address may have a backslash ahead, as in expressions; groups of one may be of any case. */
#include "anonymize/address_text.h"

#include "anonymize/addresses.h"
#include "anonymize/word_scan.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <bit>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

namespace command {

namespace {

/* ---- four numbers with dots ---- */

struct DottedAddress {
    uint32_t                   value = 0;
    size_t                     length = 0;
    std::array<std::string, 3> dots; /* as they are written */
};

/* A number up to 255, written without a zero ahead; its length, or 0. */
size_t take_octet(std::string_view text, uint32_t &value)
{
    size_t length = 0;
    value = 0;
    while (length < text.size() && length < 4 && is_digit(text[length]))
        value = value * 10 + static_cast<uint32_t>(text[length++] - '0');
    bool is_octet = length > 0 && value <= 255 && (length == 1 || text[0] != '0');
    return is_octet ? length : 0;
}

size_t dot_length(std::string_view text)
{
    return text.starts_with('.') ? 1 : text.starts_with("\\.") ? 2 : 0;
}

std::optional<DottedAddress> dotted_at(std::string_view text)
{
    DottedAddress address;
    for (size_t part = 0; part < 4; part++) {
        uint32_t octet = 0;
        size_t   digits = take_octet(text.substr(address.length), octet);
        if (digits == 0)
            return std::nullopt;
        address.length += digits;
        address.value = address.value << 8 | octet;
        size_t dot = part < 3 ? dot_length(text.substr(address.length)) : 0;
        if (part < 3 && dot == 0)
            return std::nullopt;
        if (part < 3)
            address.dots[part] = text.substr(address.length, dot);
        address.length += dot;
    }
    std::string_view rest = text.substr(address.length);
    bool             goes_on = !rest.empty() && is_word_part(rest[0]);
    bool             is_longer = rest.size() > 1 && rest[0] == '.' && is_digit(rest[1]);
    return goes_on || is_longer ? std::nullopt : std::optional(address);
}

constexpr int most_bits = 32;

/* How long the network's part is, by what follows: "/24", or a mask behind a blank. */
int network_length(std::string_view rest)
{
    int length = most_bits;
    if (rest.starts_with('/')) {
        auto [end, error] = std::from_chars(rest.data() + 1, rest.data() + rest.size(), length);
        return error == std::errc() && length >= 0 && length <= most_bits ? length : most_bits;
    }
    std::optional<DottedAddress> mask = rest.starts_with(' ') ? dotted_at(rest.substr(1)) : std::nullopt;
    if (!mask)
        return most_bits;
    length = std::countl_one(mask->value);
    return length == most_bits || mask->value << length == 0 ? length : most_bits;
}

std::string written(uint32_t value, const DottedAddress &as)
{
    std::string text;
    for (size_t part = 0; part < 4; part++)
        text += std::to_string(value >> (24 - 8 * part) & 0xff) + (part < 3 ? as.dots[part] : "");
    return text;
}

AddressText of_dotted(const DottedAddress &address, std::string_view rest, const Permutation &permutation)
{
    int  length = network_length(rest);
    bool is_network = length < most_bits && (address.value & (~uint32_t{0} >> length)) == 0;
    if (is_special(address.value))
        return {AddressKind::special, address.length, written(address.value, address)};
    uint32_t other = other_address(address.value, is_network ? length : most_bits, permutation);
    return {AddressKind::network, address.length, written(other, address)};
}

/* ---- pairs of digits: of a network card ---- */

size_t device_length(std::string_view text)
{
    static constexpr size_t whole = 17;
    if (text.size() < whole || (text[2] != ':' && text[2] != '-'))
        return 0;
    for (size_t at = 0; at < whole; at++)
        if (at % 3 == 2 ? text[at] != text[2] : !is_hex_digit(text[at]))
            return 0;
    bool goes_on = text.size() > whole && (is_word_part(text[whole]) || text[whole] == text[2]);
    return goes_on ? 0 : whole;
}

/* The first pair says whether it is one card's or a group's, and stays. */
AddressText of_device(std::string_view text, const Permutation &permutation)
{
    bool is_special = text.find_first_not_of("0:-") == std::string_view::npos ||
                      text.find_first_not_of("fF:-") == std::string_view::npos;
    if (is_special)
        return {AddressKind::special, text.size(), std::string(text)};
    std::string digits, other(text);
    for (size_t at = 3; at < text.size(); at++)
        if (at % 3 != 2)
            digits += text[at];
    digits = permutation.of(digits, Letters::hexadecimal);
    for (size_t at = 3, digit = 0; at < text.size(); at++)
        if (at % 3 != 2)
            other[at] = digits[digit++];
    return {AddressKind::device, text.size(), other};
}

/* ---- groups with colons ---- */

/* The longest run that can be one, without dots or colons that end a sentence. */
std::string_view run_of_groups(std::string_view text)
{
    size_t end = 0;
    while (end < text.size() && end < INET6_ADDRSTRLEN &&
           (is_hex_digit(text[end]) || text[end] == ':' || text[end] == '.'))
        end++;
    if (end < text.size() && is_word_part(text[end]))
        return {};
    while (end > 0 && (text[end - 1] == '.' || (text[end - 1] == ':' && (end < 2 || text[end - 2] != ':'))))
        end--;
    return text.substr(0, end);
}

std::optional<WideAddress> wide_of(std::string_view run)
{
    std::string                   text(run);
    std::array<unsigned char, 16> bytes;
    if (std::count(text.begin(), text.end(), ':') < 2 || inet_pton(AF_INET6, text.c_str(), bytes.data()) != 1)
        return std::nullopt;
    WideAddress address;
    for (size_t at = 0; at < address.size(); at++)
        address[at] = static_cast<uint16_t>(bytes[2 * at] << 8 | bytes[2 * at + 1]);
    return address;
}

/* As many digits as the old group was written with, and capitals if it had any. */
std::string group_text(uint16_t value, std::string_view old)
{
    char text[8];
    bool is_capital = std::any_of(old.begin(), old.end(), [](char c) { return c >= 'A' && c <= 'F'; });
    snprintf(text, sizeof text, is_capital ? "%0*X" : "%0*x", static_cast<int>(old.size()), value);
    return text;
}

/* The groups stand where they stood; those that "::" leaves out are zero and stay so. */
std::string written(const WideAddress &value, std::string_view as)
{
    std::string text;
    size_t      dotted = as.find('.') == std::string_view::npos ? as.size() : as.rfind(':', as.find('.')) + 1;
    size_t      gap = as.find("::");
    size_t      behind = 0; /* groups to the right of the gap */
    if (gap != std::string_view::npos) {
        std::string_view right = as.substr(gap + 2, dotted - std::min(dotted, gap + 2));
        for (size_t at = 0; at < right.size(); at++)
            behind += right[at] != ':' && (at == 0 || right[at - 1] == ':') ? 1 : 0;
        behind += dotted < as.size() ? 2 : 0;
    }
    size_t group = 0;
    for (size_t at = 0; at < dotted;) {
        if (gap != std::string_view::npos && (at == gap || at == gap + 1))
            group = value.size() - behind;
        size_t end = std::min(dotted, as.find(':', at));
        if (end > at)
            text += group_text(value[group++], as.substr(at, end - at));
        if (end < dotted)
            text += ':';
        at = end + 1;
    }
    if (dotted < as.size())
        text += written(static_cast<uint32_t>(value[6]) << 16 | value[7], DottedAddress{0, 0, {".", ".", "."}});
    return text;
}

} // namespace

AddressText address_at(std::string_view text, size_t at, const Permutation &permutation)
{
    std::string_view here = text.substr(at);
    if (size_t length = device_length(here); length > 0)
        return of_device(here.substr(0, length), permutation);
    std::string_view run = run_of_groups(here);
    if (std::optional<WideAddress> wide = wide_of(run)) {
        WideAddress other = other_address(*wide, permutation);
        return {other == *wide ? AddressKind::special : AddressKind::network, run.size(), written(other, run)};
    }
    if (std::optional<DottedAddress> dotted = dotted_at(here))
        return of_dotted(*dotted, here.substr(dotted->length), permutation);
    return {};
}

} // namespace command
