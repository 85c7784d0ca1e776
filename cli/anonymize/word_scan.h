/* What a word is here: letters, digits and the bytes of other characters, in a row; and what a block of a key is. */
#pragma once

#include <string>
#include <string_view>

namespace command {

constexpr bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

constexpr bool is_letter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

constexpr bool is_hex_digit(char c)
{
    return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

constexpr bool is_word_part(char c)
{
    return is_digit(c) || is_letter(c) || static_cast<unsigned char>(c) >= 0x80;
}

/* The word that begins there; empty for none. */
constexpr std::string_view word_at(std::string_view text, size_t at)
{
    size_t end = at;
    while (end < text.size() && is_word_part(text[end]))
        end++;
    return text.substr(at, end - at);
}

/* A key or certificate that begins there, up to the dashes at its end; empty for none. However many begin and never
 * end, a text is gone through in time that goes with its length. */
std::string_view key_block_at(std::string_view text, size_t at);

inline std::string small_letters(std::string_view text)
{
    std::string small(text);
    for (char &c : small)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c + ('a' - 'A'));
    return small;
}

} // namespace command
