/* Which characters a terminal or a shell might act on, and how they are written out. It changes nothing else in a text,
 * and shortens none. */
#include "output/printable.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace command {

namespace {

constexpr char32_t not_utf8 = 0xffffffff;

struct Character {
    char32_t code; /* not_utf8 for a byte that begins no character */
    size_t   length;
};

bool continues(std::string_view text, size_t at)
{
    return at < text.size() && (static_cast<uint8_t>(text[at]) & 0xc0) == 0x80;
}

size_t length_of(uint8_t lead)
{
    if (lead < 0x80)
        return 1;
    if (lead >= 0xc2 && lead < 0xe0)
        return 2;
    if (lead >= 0xe0 && lead < 0xf0)
        return 3;
    return lead >= 0xf0 && lead < 0xf5 ? 4 : 0;
}

Character character_at(std::string_view text, size_t at)
{
    static constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    auto                      lead = static_cast<uint8_t>(text[at]);
    size_t                    length = length_of(lead);
    if (length == 1)
        return {lead, 1};
    char32_t code = length == 0 ? not_utf8 : lead & (0x7f >> length);
    for (size_t next = 1; next < length; next++) {
        if (!continues(text, at + next))
            return {not_utf8, 1};
        code = code << 6 | (static_cast<uint8_t>(text[at + next]) & 0x3f);
    }
    bool surrogate = code >= 0xd800 && code < 0xe000;
    if (length == 0 || code < smallest[length] || code > 0x10ffff || surrogate)
        return {not_utf8, 1};
    return {code, length};
}

/* Controls of either set, line and paragraph separators, and the marks that turn or isolate the writing direction. */
bool acts_on_terminal(char32_t code)
{
    return code < 0x20 || (code >= 0x7f && code < 0xa0) || code == 0x61c || (code >= 0x200e && code <= 0x200f) ||
           (code >= 0x2028 && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069) || code == not_utf8;
}

void append_escaped(std::string &out, std::string_view bytes)
{
    for (char byte : bytes) {
        char escaped[8];
        if (byte == '\n')
            snprintf(escaped, sizeof escaped, "\\n");
        else if (byte == '\t')
            snprintf(escaped, sizeof escaped, "\\t");
        else
            snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned>(static_cast<uint8_t>(byte)));
        out += escaped;
    }
}

bool plain_in_shell(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("_-./,:@%+=").find(c) != std::string_view::npos;
}

/* Each `c` with something else in its place. */
std::string with_each(std::string_view text, char c, std::string_view replacement)
{
    std::string out;
    for (char one : text)
        out += one == c ? std::string(replacement) : std::string(1, one);
    return out;
}

} // namespace

std::string printable(std::string_view text)
{
    std::string out;
    for (size_t at = 0; at < text.size();) {
        Character        found = character_at(text, at);
        std::string_view bytes = text.substr(at, found.length);
        if (acts_on_terminal(found.code))
            append_escaped(out, bytes);
        else
            out += bytes;
        at += found.length;
    }
    return out;
}

/* Every shell has the plain form; only what must be written out is left to those that know of $'...'. */
std::string shell_word(std::string_view path)
{
    std::string word = (path.starts_with('-') ? "./" : "") + std::string(path);
    if (!word.empty() && std::all_of(word.begin(), word.end(), plain_in_shell))
        return word;
    if (printable(word) == word)
        return "'" + with_each(word, '\'', "'\\''") + "'";
    return "$'" + printable(with_each(with_each(word, '\\', "\\\\"), '\'', "\\'")) + "'";
}

size_t columns(std::string_view printable_text)
{
    return static_cast<size_t>(std::count_if(printable_text.begin(), printable_text.end(),
                                             [](char byte) { return (static_cast<uint8_t>(byte) & 0xc0) != 0x80; }));
}

} // namespace command
