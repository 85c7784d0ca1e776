/*
 * The lines, names and values of a configuration's text, cut exactly as the library's parser cuts them, as views into
 * the text. Nothing is copied and no tree is built; what the lines mean is for the neighbours to say.
 */
#pragma once

#include "tree/config_node.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace command {

/* As much as the library reads as one line, and as it keeps of a name. */
inline constexpr size_t longest_line = MIGR_LINE_SIZE - 1;
inline constexpr size_t longest_name = MIGR_NAME_SIZE - 1;

/* What the library reads as one line. */
struct ConfigLine {
    size_t           number = 0; /* of the line in the text, from 1; the parts of an overlong line share it */
    std::string_view text;       /* with its newline; a NUL ends it */
    bool             has_nul = false;
    bool             is_cut = false; /* the reader's buffer is full: the next part is read as a line of its own */
};

/* Reads a text line by line. */
class ConfigLines {
  public:
    explicit ConfigLines(std::string_view text) : left_(text), next_nul_(nul_in(text)) {}

    /* False at the text's end, which leaves `line` alone. */
    bool next(ConfigLine &line);

    /* Number of the line read last; 0 ahead of the first. */
    size_t number() const
    {
        return number_;
    }

  private:
    static const char *nul_in(std::string_view text); /* its end without one */
    void               end_at_nul(ConfigLine &line);

    std::string_view left_;
    const char      *next_nul_; /* in what is left, or its end */
    size_t           number_ = 0;
    bool             is_inside_line_ = false;
};

constexpr bool is_config_white(char c)
{
    return c <= ' ' && (c == ' ' || (c >= '\t' && c <= '\r')); /* one look tells of letters */
}

/* Without white space at the start, at the end. Each line of a large text is asked for its indent several times, which
 * is mostly one of four to sixteen blanks: these are taken four at a time. */
constexpr std::string_view without_indent(std::string_view text)
{
    constexpr std::string_view level = "    ";
    size_t                     start = 0;
    while (text.size() - start >= level.size() && text.substr(start, level.size()) == level)
        start += level.size();
    while (start < text.size() && is_config_white(text[start]))
        start++;
    return text.substr(start);
}

constexpr std::string_view without_white_end(std::string_view text)
{
    while (!text.empty() && is_config_white(text.back()))
        text.remove_suffix(1);
    return text;
}

/* The word that tells what a line is, and what stands behind it. */
struct ConfigKeyword {
    std::string_view word;
    std::string_view rest;
};

constexpr ConfigKeyword keyword_of_line(std::string_view line)
{
    line = without_indent(line);
    size_t length = 0;
    while (length < line.size() && length < longest_name && !is_config_white(line[length]))
        length++;
    return {line.substr(0, length), line.substr(length)};
}

/* Whether they are the same in any case of letters. */
constexpr bool is_word(std::string_view word, std::string_view lower_case)
{
    if (word.size() != lower_case.size())
        return false;
    if (word == lower_case) /* as nearly all are written */
        return true;
    for (size_t at = 0; at < word.size(); at++)
        if ((word[at] >= 'A' && word[at] <= 'Z' ? word[at] + ('a' - 'A') : word[at]) != lower_case[at])
            return false;
    return true;
}

/* A name as far as it is kept, and what stands behind that. */
struct ConfigName {
    std::string_view kept;
    std::string_view rest;    /* begins with the remainder of a cut name */
    std::string_view whole;   /* what would be kept without the limit */
    bool             is_open; /* its quote never closes, so it takes all of the line, with the newline */

    bool is_cut() const
    {
        return kept.size() < whole.size();
    }
};

constexpr ConfigName cut_name(std::string_view text, size_t length, bool is_open)
{
    size_t kept = length < longest_name ? length : longest_name;
    return {text.substr(0, kept), text.substr(kept), text.substr(0, length), is_open};
}

/* The name of an `edit`, a `set` or a nested `config`: up to white space outside the first pair of double quotes. */
constexpr ConfigName config_name(std::string_view text)
{
    text = without_indent(text);
    size_t quotes = 0;
    size_t length = 0;
    for (; length < text.size(); length++) {
        char c = text[length];
        if (c > '"') /* neither a quote nor white, as nearly all are */
            continue;
        if (quotes != 1 && is_config_white(c))
            break;
        if (c == '"')
            quotes++;
    }
    return cut_name(text, length, quotes == 1);
}

/* The words of a top-level `config`, as they stand. */
ConfigName top_level_name(std::string_view text);

/* One `between` in place of each run of white space, and none at either end. */
std::string join_words(std::string_view words, char between);

/* Whether a value that begins with a quote is complete with its first line: a look at the line's end tells. */
constexpr bool ends_in_its_line(std::string_view quoted)
{
    quoted = without_white_end(quoted);
    if (quoted.size() < 2 || quoted.back() != '"')
        return false;
    size_t backslashes = 0;
    while (quoted[quoted.size() - 2 - backslashes] == '\\')
        backslashes++;
    return backslashes % 2 == 0;
}

/* A value, told line by line; its text is not kept. */
class ConfigValue {
  public:
    void append(std::string_view text);
    void drop_newline()
    {
        length_--;
    }

    /* The parser's rule: the line ends in a double quote, white space aside, that has no backslash. */
    bool is_complete() const
    {
        return is_complete_;
    }
    /* All quotes that were opened so far have been closed, which is no rule of the parser's. */
    bool is_outside_quotes() const
    {
        return quotes_ % 2 == 0;
    }
    uint64_t length() const
    {
        return length_;
    }
    /* How much of it is written in the line of its `set`, without the newline. */
    uint64_t first_line_length() const
    {
        return first_line_;
    }

  private:
    uint64_t length_ = 0;
    uint64_t first_line_ = 0;
    uint64_t quotes_ = 0;      /* without a backslash ahead */
    uint64_t backslashes_ = 0; /* in a row, at the end */
    bool     has_newline_ = false;
    bool     is_complete_ = false;
};

} // namespace command
