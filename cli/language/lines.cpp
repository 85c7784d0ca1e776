/*
 * Cuts as the library's line and word readers do; the limits are theirs, and what they pass over unseen is kept here,
 * to be told.
 */
#include "language/lines.h"

#include <algorithm>

namespace command {

namespace {

std::string_view up_to_newline(std::string_view text)
{
    size_t newline = text.find('\n');
    return newline == text.npos ? text : text.substr(0, newline + 1);
}

ConfigName name_in(std::string_view text, size_t length, bool is_open)
{
    size_t kept = std::min(length, longest_name);
    return {text.substr(0, kept), text.substr(kept), text.substr(0, length), is_open};
}

} // namespace

bool ConfigLines::next(ConfigLine &line)
{
    if (left_.empty())
        return false;
    std::string_view part = up_to_newline(left_.substr(0, longest_line));
    left_.remove_prefix(part.size());
    if (!is_inside_line_)
        number_++;
    size_t nul = part.find('\0');
    is_inside_line_ = part.back() != '\n';
    bool is_cut = is_inside_line_ && !left_.empty() && left_[0] != '\n';
    line = {number_, part.substr(0, nul), nul != part.npos, is_cut};
    return true;
}

ConfigKeyword keyword_of_line(std::string_view line)
{
    line = without_indent(line);
    auto   white = std::find_if(line.begin(), line.end(), is_config_white);
    size_t length = std::min(static_cast<size_t>(white - line.begin()), longest_name);
    return {line.substr(0, length), line.substr(length)};
}

ConfigName config_name(std::string_view text)
{
    text = without_indent(text);
    size_t quotes = 0;
    size_t length = 0;
    for (; length < text.size() && (quotes == 1 || !is_config_white(text[length])); length++)
        if (text[length] == '"')
            quotes++;
    return name_in(text, length, quotes == 1);
}

ConfigName top_level_name(std::string_view text)
{
    text = without_white_end(without_indent(text));
    return name_in(text, text.size(), false);
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
    size_t end = without_white_end(text).size();
    is_complete_ = false;
    for (size_t at = 0; at < text.size(); at++) {
        if (text[at] == '\\') {
            backslashes_++;
            continue;
        }
        if (text[at] == '"' && backslashes_ % 2 == 0) {
            quotes_++;
            is_complete_ = at + 1 == end && length_ + at > 0;
        }
        backslashes_ = 0;
    }
    if (!has_newline_)
        first_line_ = length_ + std::min(text.find('\n'), text.size());
    has_newline_ = has_newline_ || text.ends_with('\n');
    length_ += text.size();
}

} // namespace command
