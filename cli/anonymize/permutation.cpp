/*
 * A permutation of texts in several passes over the letters, forwards and backwards by turns: each moves a letter,
 * within its kind, by as much as a cipher makes of the letters that the pass has been over, so a pass can be undone,
 * and after the last one every letter depends on all. The cipher is a block cipher under a key that HMAC-SHA-256 makes
 * of the secret.
 */
#include "anonymize/permutation.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <openssl/hmac.h>
#include <vector>

namespace command {

namespace {

using LetterPlace = Permutation::LetterPlace;

constexpr int passes = 4;

std::string keyed_sum(std::string_view key, std::string_view text)
{
    std::string  sum(EVP_MAX_MD_SIZE, '\0');
    unsigned int length = 0;
    if (!HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
              reinterpret_cast<const unsigned char *>(text.data()), text.size(),
              reinterpret_cast<unsigned char *>(sum.data()), &length))
        throw std::bad_alloc();
    sum.resize(length);
    return sum;
}

constexpr bool is_between(unsigned char c, unsigned char first, unsigned char last)
{
    return c >= first && c <= last;
}

/* How many bytes the character at the text's start has, of UTF-8; 1 for what is none. */
size_t character_length(std::string_view text)
{
    auto   lead = static_cast<unsigned char>(text[0]);
    size_t length = is_between(lead, 0xc2, 0xdf)   ? 2
                    : is_between(lead, 0xe0, 0xef) ? 3
                    : is_between(lead, 0xf0, 0xf4) ? 4
                                                   : 1;
    if (length > text.size())
        return 1;
    for (size_t at = 1; at < length; at++)
        if (!is_between(static_cast<unsigned char>(text[at]), 0x80, 0xbf))
            return 1;
    return length;
}

LetterPlace place_of_ascii(unsigned char c, Letters letters)
{
    auto count = static_cast<uint8_t>(letters == Letters::hexadecimal ? 6 : 26);
    if (is_between(c, '0', '9'))
        return {'0', 10, static_cast<uint8_t>(c - '0'), false};
    bool is_capital = is_between(c, 'A', 'Z');
    auto small = static_cast<unsigned char>(is_capital ? c + ('a' - 'A') : c);
    if (is_between(small, 'a', static_cast<unsigned char>('a' + count - 1)))
        return {'a', count, static_cast<uint8_t>(small - 'a'), is_capital};
    return {c, 1, 0, false};
}

/* Of a character of several bytes the last one moves, so that it stays one; those of the first block behind ASCII keep
 * to its letters and signs. A byte of no character moves among its like. */
void add_places_of_wide(std::string_view character, std::vector<LetterPlace> &places)
{
    for (size_t at = 0; at + 1 < character.size(); at++)
        places.push_back({static_cast<uint8_t>(character[at]), 1, 0, false});
    auto    last = static_cast<uint8_t>(character.back());
    uint8_t first = character.size() == 1 && last >= 0xc0        ? 0xc0
                    : static_cast<uint8_t>(character[0]) == 0xc2 ? 0xa0
                                                                 : 0x80;
    uint8_t count = first == 0xa0 ? 32 : 64;
    bool    moves = last >= first;
    places.push_back(
        {moves ? first : last, moves ? count : uint8_t{1}, static_cast<uint8_t>(moves ? last - first : 0), false});
}

std::vector<LetterPlace> places_of(std::string_view text, Letters letters)
{
    std::vector<LetterPlace> places;
    places.reserve(text.size());
    for (size_t at = 0; at < text.size();) {
        auto c = static_cast<unsigned char>(text[at]);
        if (c < 0x80) {
            places.push_back(place_of_ascii(c, letters));
            at++;
        } else {
            size_t length = character_length(text.substr(at));
            add_places_of_wide(text.substr(at, length), places);
            at += length;
        }
    }
    return places;
}

char letter_at(const LetterPlace &place)
{
    auto letter = static_cast<unsigned char>(place.first + place.at);
    return static_cast<char>(place.is_capital ? letter - ('a' - 'A') : letter);
}

} // namespace

Permutation::Permutation(std::string_view secret)
    : key_(keyed_sum(secret, "numbers")), cipher_(EVP_CIPHER_CTX_new())
{
    std::string key = keyed_sum(secret, "texts");
    if (!cipher_ || EVP_EncryptInit_ex(cipher_.get(), EVP_aes_256_ecb(), nullptr,
                                       reinterpret_cast<const unsigned char *>(key.data()), nullptr) != 1)
        throw std::bad_alloc();
}

/* Moves one letter, by what the letters say that the pass has been over, and takes it into account. */
void Permutation::move_letter(LetterPlace &place, CipherBlock &state) const
{
    CipherBlock made;
    int         size = 0;
    if (EVP_EncryptUpdate(cipher_.get(), made.data(), &size, state.data(), static_cast<int>(state.size())) != 1)
        throw std::bad_alloc();
    uint64_t move = 0;
    memcpy(&move, made.data(), sizeof move);
    place.at = static_cast<uint8_t>((place.at + move % place.count) % place.count);
    state = made;
    state[14] ^= place.first;
    state[15] ^= place.at;
}

std::string Permutation::of(std::string_view text, Letters letters) const
{
    std::vector<LetterPlace> places = places_of(text, letters);
    size_t                   mixed = std::min(places.size(), mixed_letters);
    CipherBlock              state;
    for (int pass = 0; pass < passes; pass++) {
        state = {static_cast<unsigned char>(pass), static_cast<unsigned char>(letters),
                 static_cast<unsigned char>(mixed)};
        for (size_t step = 0; step < mixed; step++)
            move_letter(places[pass % 2 == 0 ? step : mixed - 1 - step], state);
    }
    for (size_t at = mixed; at < places.size(); at++)
        move_letter(places[at], state);
    std::string permuted;
    permuted.reserve(text.size());
    for (const LetterPlace &place : places)
        permuted += letter_at(place);
    return permuted;
}

std::string Permutation::bytes(std::string_view text, size_t count) const
{
    std::string made;
    for (uint64_t part = 0; made.size() < count; part++)
        made += keyed_sum(key_, std::to_string(part) + ":" + std::string(text));
    made.resize(count);
    return made;
}

uint32_t Permutation::number(std::string_view text, uint32_t limit) const
{
    uint64_t    number = 0;
    std::string made = keyed_sum(key_, text);
    memcpy(&number, made.data(), sizeof number);
    return static_cast<uint32_t>(number % limit);
}

} // namespace command
