/*
 * A text is gone through once: blocks of keys, escapes, addresses and words are taken from it by turns, and what is
 * none of these stays. Names come out of the permutation, again and again if need be, until they mean nothing to an
 * upgrade.
 */
#include "anonymize/substitution.h"

#include "anonymize/address_text.h"
#include "anonymize/old_secret.h"
#include "anonymize/ordered_words.h"
#include "anonymize/word_scan.h"

#include <algorithm>

namespace command {

namespace {

/* Conversions look for these within words, or ahead of what else there is. */
constexpr std::string_view pieces[] = {"aggregate", "attack", "digest", "disable", "master", "ntlm", "offline",
                                       "ping",      "port",   "robot",  "slave",   "trans",  "xml"};

/* An upgrade leaves a key alone that has this in it. */
constexpr std::string_view encrypted_mark = "ENCRYPTED";

/* Pages are searched for what begins so. */
constexpr std::string_view tags[] = {"form", "h1", "h2"};

constexpr size_t small_number = 4; /* digits */
constexpr size_t number = 9;

struct FoundPiece {
    size_t           at = std::string_view::npos;
    std::string_view text;
};

FoundPiece piece_in(std::string_view word)
{
    FoundPiece found;
    for (std::string_view piece : pieces)
        if (size_t at = word.find(piece); at < found.at)
            found = {at, piece};
    return found;
}

/* What stands between blanks, quotes and commas around a word, as far as it is near. */
std::string_view token_around(std::string_view text, size_t at)
{
    static constexpr std::string_view between = " \t\r\n\",;";
    static constexpr size_t           near = 64;
    size_t                            first = at - std::min(at, near);
    std::string_view                  here = text.substr(first, at - first + near);
    size_t                            start = here.find_last_of(between, at - first);
    size_t                            end = here.find_first_of(between, at - first);
    start = start == std::string_view::npos ? 0 : start + 1;
    return here.substr(start, std::min(end, here.size()) - start);
}

bool has_letters(std::string_view text)
{
    return std::any_of(text.begin(), text.end(), [](char c) { return is_word_part(c) && !is_digit(c); });
}

/* Where letters and digits by turns begin anew. */
size_t count_runs(std::string_view word)
{
    size_t runs = word.empty() ? 0 : 1;
    for (size_t at = 1; at < word.size(); at++)
        runs += is_digit(word[at]) != is_digit(word[at - 1]) ? 1 : 0;
    return runs;
}

/* Of a word that only begins like a tag. */
size_t tag_length(std::string_view text, size_t at)
{
    if (at == 0 || (text[at - 1] != '<' && text[at - 1] != '/'))
        return 0;
    for (std::string_view tag : tags)
        if (small_letters(text.substr(at, tag.size())) == tag)
            return tag.size();
    return 0;
}

bool begins_word(std::string_view text, size_t at)
{
    return at == 0 || !is_word_part(text[at - 1]);
}

/* A colon or dot ahead of it would make it the end of something longer. */
bool can_begin_address(std::string_view text, size_t at)
{
    bool is_start = is_hex_digit(text[at]) || text.substr(at).starts_with("::");
    return is_start && begins_word(text, at) && (at == 0 || text[at - 1] != ':' || text[at] != ':') &&
           !(at > 1 && text[at - 1] == '.' && is_digit(text[at - 2]));
}

} // namespace

std::string Substitution::of(std::string_view text, TextUse use)
{
    static constexpr size_t shortest_page = 40; /* nothing shorter is worth the look */
    if (use == TextUse::setting && text.size() >= shortest_page && known_.has_page(text)) {
        counts.kept_words++;
        return std::string(text);
    }
    return use == TextUse::secret ? of_secret(text) : of_scanned(text, use);
}

bool Substitution::is_known(std::string_view text) const
{
    for (size_t at = 0; at < text.size();) {
        std::string_view word = word_at(text, at);
        at += std::max<size_t>(word.size(), 1);
        bool             is_number = !word.empty() && word.size() <= number && !has_letters(word);
        std::string_view letters = word.substr(0, word.find_first_of("0123456789"));
        bool is_numbered = count_runs(word) == 2 && known_.has(letters) && word.size() - letters.size() <= small_number;
        if (!word.empty() && !is_number && !is_numbered && !known_.has(word))
            return false;
    }
    return true;
}

std::string Substitution::of_secret(std::string_view text)
{
    static constexpr std::string_view marker = "ENC ";
    size_t                            encoded = text.find(marker);
    if (encoded == std::string_view::npos && text.find("-----BEGIN ") != std::string_view::npos)
        return of_scanned(text, TextUse::prose);
    counts.secrets++;
    if (size_t at = text.find(encrypted_mark); at != std::string_view::npos)
        return permutation_.of(text.substr(0, at)) + std::string(encrypted_mark) +
               permutation_.of(text.substr(at + encrypted_mark.size()));
    if (encoded == std::string_view::npos)
        return permutation_.of(text);
    encoded += marker.size();
    return std::string(text.substr(0, encoded)) + other_old_secret(text.substr(encoded), permutation_);
}

std::string Substitution::of_scanned(std::string_view text, TextUse use)
{
    std::string out;
    out.reserve(text.size());
    for (size_t at = 0; at < text.size();) {
        if (take_block(text, at, out) || take_address(text, at, out) || take_escape(text, at, out))
            continue;
        std::string_view word = word_at(text, at);
        if (word.empty()) {
            out += text[at++];
            continue;
        }
        if (size_t tag = use == TextUse::setting ? tag_length(text, at) : 0; tag > 0)
            word = word.substr(0, tag);
        out += of_word(word, token_around(text, at), use);
        at += word.size();
    }
    return out;
}

bool Substitution::take_block(std::string_view text, size_t &at, std::string &out)
{
    std::string_view block = of_block ? key_block_at(text, at) : "";
    if (block.empty())
        return false;
    out += of_block(block);
    at += block.size();
    return true;
}

bool Substitution::take_address(std::string_view text, size_t &at, std::string &out)
{
    if (!can_begin_address(text, at))
        return false;
    AddressText found = address_at(text, at, permutation_);
    if (found.kind == AddressKind::none)
        return false;
    counts.addresses += found.kind == AddressKind::network ? 1 : 0;
    counts.devices += found.kind == AddressKind::device ? 1 : 0;
    counts.kept_addresses += found.kind == AddressKind::special ? 1 : 0;
    out += found.other;
    at += found.length;
    return true;
}

/* "\d" of expressions and "%41" of addresses: what is behind such a sign is no word's beginning. */
bool Substitution::take_escape(std::string_view text, size_t &at, std::string &out)
{
    std::string_view here = text.substr(at, 3);
    if (here.starts_with('\\') && here.size() > 1 && static_cast<unsigned char>(here[1]) < 0x80) {
        out += here.substr(0, 2);
        at += 2;
        return true;
    }
    if (here.size() < 3 || here[0] != '%' || !is_hex_digit(here[1]) || !is_hex_digit(here[2]))
        return false;
    out += '%' + permutation_.of(here.substr(1), Letters::hexadecimal);
    at += 3;
    return true;
}

std::string Substitution::of_word(std::string_view word, std::string_view around, TextUse use)
{
    if (use == TextUse::setting)
        return of_setting_word(word, !has_letters(around));
    if (!has_letters(word)) {
        counts.numbers++;
        return permutation_.of(word);
    }
    return of_name(word);
}

std::string Substitution::of_setting_word(std::string_view word, bool is_numeric)
{
    if (!has_letters(word))
        return of_number(word, is_numeric);
    if (known_.has(word)) {
        counts.kept_words++;
        return std::string(word);
    }
    if (count_runs(word) == 2) {
        size_t middle = is_digit(word[0]) ? word.find_first_not_of("0123456789") : word.find_first_of("0123456789");
        std::string_view parts[] = {word.substr(0, middle), word.substr(middle)};
        return of_setting_word(parts[0], false) + of_setting_word(parts[1], false);
    }
    bool is_hex = count_runs(word) > 2 && std::all_of(word.begin(), word.end(), is_hex_digit);
    if (is_hex) {
        counts.words++;
        return permutation_.of(word, Letters::hexadecimal);
    }
    FoundPiece piece = piece_in(word);
    if (piece.at == std::string_view::npos)
        return of_name(word);
    std::string_view behind = word.substr(piece.at + piece.text.size());
    return (piece.at > 0 ? of_name(word.substr(0, piece.at)) : "") + std::string(piece.text) +
           (behind.empty() ? "" : of_setting_word(behind, false));
}

/* Small ones tell entries apart that have one name otherwise, and conversions make such names. */
std::string Substitution::of_number(std::string_view digits, bool is_numeric)
{
    bool stays = digits.size() <= (is_numeric ? number : small_number);
    (stays ? counts.kept_numbers : counts.numbers)++;
    return stays ? std::string(digits) : permutation_.of(digits);
}

bool Substitution::means_something(std::string_view word) const
{
    return known_.has(word) || piece_in(word).at != std::string_view::npos;
}

void Substitution::keep_order(const std::set<std::string> &words)
{
    auto means = [this](std::string_view word) { return means_something(word); };
    for (const auto &[word, other] : in_order(words, permutation_, means, means))
        names_[word] = other;
}

std::string Substitution::of_name(std::string_view letters)
{
    static constexpr int most_tries = 1000; /* of a short one all others may be known */
    counts.words++;
    auto [at, is_new] = names_.try_emplace(std::string(letters));
    if (!is_new)
        return at->second;
    std::string other = permutation_.of(letters);
    for (int tries = 0; tries < most_tries && means_something(other); tries++)
        other = permutation_.of(other);
    return at->second = other;
}

} // namespace command
