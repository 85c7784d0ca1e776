/* One pass over the lines finds the blocks. Names are read from their lines, as often as they are asked for. */
#include "explain/lined_text.h"

#include "language/items.h"
#include "language/lines.h"

#include <algorithm>

namespace command {

namespace {

bool is_block(std::string_view word)
{
    return is_word(word, "config") || is_word(word, "edit");
}

bool is_end(std::string_view word)
{
    return is_word(word, "end") || is_word(word, "next");
}

/* A set's value up to the line with which its quote closes. */
class OpenValue {
  public:
    bool is_open() const
    {
        return is_open_;
    }
    void begin(std::string_view text)
    {
        value_ = {};
        is_open_ = text.starts_with('"') && !ends_in_its_line(text);
        if (is_open_)
            take(text);
    }
    void take(std::string_view text)
    {
        value_.append(text);
        is_open_ = !value_.is_complete();
    }

  private:
    ConfigValue value_;
    bool        is_open_ = false;
};

} // namespace

/* Of an overlong line, which is read in several parts, the first part counts that begins something. */
LinedText::LinedText(std::string_view text) : text_(text)
{
    static constexpr size_t usual_line = 24;
    lines_.reserve(text.size() / usual_line);
    std::vector<uint32_t> blocks; /* lines of those around, innermost last */
    OpenValue             value;
    ConfigLines           lines(text);
    for (ConfigLine line; lines.next(line);) {
        if (line.number > lines_.size())
            lines_.push_back({static_cast<uint32_t>(line.text.data() - text.data()), nowhere});
        if (value.is_open()) {
            value.take(line.text);
            continue;
        }
        ConfigKeyword first = keyword_of_line(line.text);
        bool          is_set = is_word(first.word, "set");
        if ((is_set || is_block(first.word)) && lines_.back().block == nowhere)
            lines_.back().block = blocks.empty() ? 0 : blocks.back();
        if (is_set)
            value.begin(without_indent(config_name(first.rest).rest));
        else if (is_block(first.word))
            blocks.push_back(static_cast<uint32_t>(line.number));
        else if (!blocks.empty() && is_end(first.word))
            blocks.pop_back();
    }
    is_taken_.resize(count() + 1);
}

std::string_view LinedText::lines(const Span &span) const
{
    if (span.first == 0 || span.last > count() || span.last < span.first)
        return {};
    size_t start = lines_[span.first - 1].start;
    size_t end = span.last < count() ? lines_[span.last].start : text_.size();
    return text_.substr(start, end - start);
}

bool LinedText::begins_something(uint32_t line) const
{
    return line > 0 && line <= count() && block_of(line) != nowhere;
}

uint32_t LinedText::block_of(uint32_t line) const
{
    return lines_[line - 1].block;
}

std::string LinedText::name_of(uint32_t line) const
{
    ConfigKeyword first;
    ConfigLines   parts(lines({line, line, 0}));
    for (ConfigLine part; !is_block(first.word) && !is_word(first.word, "set") && parts.next(part);)
        first = keyword_of_line(part.text);
    bool is_top = block_of(line) == 0;
    if (is_top && is_word(first.word, "config"))
        return join_words(top_level_name(first.rest).kept, ' ');
    std::string_view name = config_name(first.rest).kept;
    if (is_block(first.word))
        name = without_white_end(name);
    return is_top ? join_words(name, ' ') : std::string(unquoted(name));
}

std::vector<std::string> LinedText::path(uint32_t line) const
{
    std::vector<std::string> names;
    if (!begins_something(line))
        return names;
    for (uint32_t at = line; at != 0; at = block_of(at))
        if (names.size() < most_names || block_of(at) == 0)
            names.push_back(name_of(at));
    std::reverse(names.begin(), names.end());
    return names;
}

uint64_t LinedText::take(const Span &span)
{
    uint64_t taken = 0;
    for (uint32_t line = span.first; line > 0 && line <= span.last && line <= count(); line++) {
        taken += !is_taken_[line];
        is_taken_[line] = true;
    }
    return taken;
}

void LinedText::count_others(LineCounts &counts) const
{
    counts.lines = count();
    for (uint32_t line = 1; line <= count(); line++) {
        if (is_taken_[line])
            continue;
        std::string_view word = keyword_of_line(lines({line, line, 0})).word;
        bool             says_nothing = word.empty() || word[0] == '#' || is_end(word);
        (says_nothing ? counts.layout : counts.unread)++;
    }
}

} // namespace command
