/*
 * Cuts as the library's line and word readers do; the limits are theirs, and what they pass over unseen is kept here,
 * to be told.
 */
#include "language/lines.h"

#include <algorithm>
#include <cstring>

namespace command {

bool ConfigLines::next(ConfigLine &line)
{
    if (left_.empty())
        return false;
    std::string_view part = left_.substr(0, longest_line);
    if (const void *newline = memchr(part.data(), '\n', part.size()))
        part = part.substr(0, static_cast<size_t>(static_cast<const char *>(newline) - part.data()) + 1);
    left_.remove_prefix(part.size());
    if (!is_inside_line_)
        number_++;
    bool has_nul = next_nul_ < part.data() + part.size();
    is_inside_line_ = part.back() != '\n';
    bool is_cut = is_inside_line_ && !left_.empty() && left_[0] != '\n';
    line = {number_, part, has_nul, is_cut};
    if (has_nul)
        end_at_nul(line);
    return true;
}

void ConfigLines::end_at_nul(ConfigLine &line)
{
    line.text = line.text.substr(0, static_cast<size_t>(next_nul_ - line.text.data()));
    next_nul_ = nul_in(left_);
}

const char *ConfigLines::nul_in(std::string_view text)
{
    const void *nul = text.empty() ? nullptr : memchr(text.data(), '\0', text.size());
    return nul ? static_cast<const char *>(nul) : text.data() + text.size();
}

ConfigName top_level_name(std::string_view text)
{
    text = without_white_end(without_indent(text));
    return cut_name(text, text.size(), false);
}

std::string join_words(std::string_view words, char between)
{
    words = without_white_end(without_indent(words));
    std::string text;
    for (size_t at = 0; at < words.size(); at++) {
        if (!is_config_white(words[at]))
            text += words[at];
        else if (!is_config_white(words[at - 1]))
            text += between;
    }
    return text;
}

void ConfigValue::append(std::string_view text)
{
    size_t   end = without_white_end(text).size();
    uint64_t backslashes = backslashes_;
    is_complete_ = false;
    for (size_t at = 0; at < text.size(); at++) {
        if (text[at] == '\\') {
            backslashes++;
            continue;
        }
        if (text[at] == '"' && backslashes % 2 == 0) {
            quotes_++;
            is_complete_ = at + 1 == end && length_ + at > 0;
        }
        backslashes = 0;
    }
    backslashes_ = backslashes;
    if (!has_newline_)
        first_line_ = length_ + std::min(text.find('\n'), text.size());
    has_newline_ = has_newline_ || text.ends_with('\n');
    length_ += text.size();
}

} // namespace command
