/* Where a block begins and ends is all that is looked at; what is in it is read by key_blocks.h. */
#include "anonymize/word_scan.h"

namespace command {

std::string_view key_block_at(std::string_view text, size_t at)
{
    static constexpr std::string_view begin = "-----BEGIN ", end = "-----END ", dashes = "-----";
    static constexpr size_t           longest = 1 << 20;
    if (!text.substr(at).starts_with(begin))
        return {};
    std::string_view here = text.substr(at, longest);
    size_t           last_line = here.find(end);
    size_t close = last_line == std::string_view::npos ? last_line : here.find(dashes, last_line + end.size());
    return close == std::string_view::npos ? std::string_view() : here.substr(0, close + dashes.size());
}

} // namespace command
