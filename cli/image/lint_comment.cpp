/* The words are the library's own; one slip is forgiven and no more, as sentences may begin with a colon's word, too.
 */
#include "image/lint_comment.h"

#include "driver/author_kinds.h"

#include <algorithm>
#include <string>

namespace command {

namespace {

std::string lower_case(std::string_view text)
{
    std::string lower(text);
    for (char &c : lower)
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
    return lower;
}

std::string_view without_first(std::string_view text)
{
    return text.substr(std::min<size_t>(1, text.size()));
}

bool is_slip_of(std::string_view word, std::string_view kind)
{
    size_t alike = static_cast<size_t>(std::ranges::mismatch(word, kind).in1 - word.begin());
    word.remove_prefix(alike);
    kind.remove_prefix(alike);
    bool is_swap = word.size() > 1 && kind.size() > 1 && word[0] == kind[1] && word[1] == kind[0] &&
                   word.substr(2) == kind.substr(2);
    return is_swap || without_first(word) == without_first(kind) || without_first(word) == kind ||
           word == without_first(kind);
}

} // namespace

const char *meant_kind(std::string_view word)
{
    const char *meant = nullptr;
    std::string lower = lower_case(word);
    for (const char *const *kind = migr_author_kind_words; *kind; kind++) {
        if (word == *kind)
            return nullptr;
        if (is_slip_of(lower, *kind))
            meant = *kind;
    }
    return meant;
}

} // namespace command
