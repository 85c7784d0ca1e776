/* Result lines keep their order; a line that is gone stands behind the line that it stood behind in the old file. */
#include "report/page_rows.h"

#include "language/items.h"
#include "language/lines.h"
#include "output/printable.h"

#include <algorithm>
#include <set>

namespace command {

namespace {

constexpr char same_value[] = "\"";

std::vector<std::string_view> lines_of(std::string_view text)
{
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        size_t length = std::min(text.find('\n'), text.size());
        lines.push_back(text.substr(0, length));
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    return lines;
}

std::string list_text(const std::vector<uint32_t> &numbers)
{
    std::string text;
    for (uint32_t number : numbers)
        text += (text.empty() ? "" : ",") + std::to_string(number);
    return text;
}

/* What a row of a result's line has ahead of its text. */
struct Margin {
    char              mark = ' ';
    std::string       was;
    const PageChange *change = nullptr; /* that begins here */
    bool              is_continued = false;
};

/* A line that is gone: the opening lines of a change, or the closing line of its block. */
struct GoneLine {
    uint32_t          behind; /* the line of the result, 0 for the top */
    uint32_t          in;
    const PageChange *change;
    bool              closes;
};

/* The old file by its lines, from 1. */
struct OldLines {
    explicit OldLines(const PageText &text);

    std::vector<uint32_t>           place; /* in the result, of lines that are kept in their place */
    std::vector<const PageChange *> opened_by, closed_by;
};

bool is_of_old_file(const PageChange &change)
{
    return change.in != 0 && change.from.empty() && change.mark != '+';
}

uint32_t last_old_line(const PageText &text)
{
    uint32_t last = 0;
    for (const std::vector<uint32_t> &run : text.unchanged)
        last = std::max(last, run[0] + run[2]);
    for (const PageChange &change : text.changes)
        if (is_of_old_file(change))
            last = std::max({last, change.in_last, change.in_end});
    return last;
}

OldLines::OldLines(const PageText &text)
{
    size_t size = size_t{last_old_line(text)} + 1;
    place.resize(size), opened_by.resize(size), closed_by.resize(size);
    for (const std::vector<uint32_t> &run : text.unchanged)
        for (uint32_t at = 0; at < run[2]; at++)
            place[run[0] + at] = run[1] + at;
    for (const PageChange &change : text.changes)
        if (is_of_old_file(change)) {
            opened_by[change.in] = &change;
            if (change.in_end != 0)
                closed_by[change.in_end] = &change;
        }
}

/* As the writer indents it, when the old file or its account did not. */
std::string indent_of(const PageChange &change)
{
    bool has_own = !change.before.empty() && is_config_white(change.before.front());
    return has_own || change.path.empty() ? "" : std::string(4 * (change.path.size() - 1), ' ');
}

class Rows {
  public:
    Rows(const PageText &text, const std::vector<std::string> &anchors)
        : text_(text), lines_(lines_of(text.text)), margins_(lines_.size() + 1),
          anchors_(anchors.begin(), anchors.end())
    {
    }

    std::vector<RowPiece> take()
    {
        fill_margins();
        place_gone();
        add_gone(0);
        for (uint32_t line = 1; line <= lines_.size(); line++) {
            add_line(line);
            add_gone(line);
        }
        return std::move(pieces_);
    }

  private:
    void        fill_margins();
    void        fill_change(const PageChange &change);
    void        place_gone();
    void        add_gone(uint32_t behind);
    void        add_line(uint32_t line);
    void        add_old(const PageChange &change);
    void        add_row(char mark, const std::string &was, uint32_t now, std::string_view causes, std::string_view text,
                        const std::string &note);
    std::string note_of(const PageChange &change) const;
    bool        is_path_told(const PageChange &change) const;
    void        follow(std::string_view row_text);
    void        begin_at(const std::string &anchor);
    void        begin_part();

    const PageText               &text_;
    std::vector<std::string_view> lines_;
    std::vector<Margin>           margins_; /* by line of the result, from 1 */
    std::vector<GoneLine>         gone_;    /* in the order of their rows */
    size_t                        next_gone_ = 0;
    std::set<std::string>         anchors_; /* that have no row yet */
    std::vector<std::string>      path_;    /* names of the blocks that are open behind the last row */
    std::vector<RowPiece>         pieces_;
    size_t                        row_ = 0; /* the next one */
};

void Rows::fill_change(const PageChange &change)
{
    for (uint32_t line = change.out; line <= change.out_last && line < margins_.size(); line++) {
        Margin  &margin = margins_[line];
        uint32_t old_line = change.in == 0 ? 0 : std::min(change.in + (line - change.out), change.in_last);
        margin.mark = change.mark;
        margin.was = old_line == 0 ? "" : (change.from.empty() ? "" : change.from + ":") + std::to_string(old_line);
        margin.change = line == change.out ? &change : nullptr;
    }
    if (change.out_end == 0 || change.out_end >= margins_.size())
        return;
    Margin &end = margins_[change.out_end];
    if (change.mark == '+')
        end.mark = '+';
    else if (change.in_end != 0 && change.from.empty())
        end.was = std::to_string(change.in_end);
}

void Rows::fill_margins()
{
    for (const std::vector<uint32_t> &run : text_.unchanged)
        for (uint32_t at = 0; at < run[2] && run[1] + at < margins_.size(); at++)
            margins_[run[1] + at].was = std::to_string(run[0] + at);
    for (const PageChange &change : text_.changes)
        if (change.out != 0 && !change.is_away)
            fill_change(change);
    for (auto [first, last] : text_.continued)
        for (uint32_t line = first; line <= last && line < margins_.size(); line++)
            margins_[line].is_continued = true;
}

/* Each line of the old file stands behind some line of the result: that of the last one ahead of it that is there and
 * has not been moved. Within a block that was moved, that is a line of the block. */
void Rows::place_gone()
{
    OldLines                     old(text_);
    uint32_t                     behind = 0;
    std::map<uint32_t, uint32_t> behind_block; /* where the line ahead of a block is, by the block's closing line */
    for (uint32_t line = 1; line < old.place.size(); line++) {
        if (old.place[line] != 0)
            behind = old.place[line];
        if (const PageChange *change = old.opened_by[line]) {
            if (change->in_end != 0)
                behind_block[change->in_end] = behind;
            if (change->mark == '-')
                gone_.push_back({behind, line, change, false});
            else if (!change->is_away && (change->in_end != 0 || change->mark == '~'))
                behind = change->out_last;
        }
        if (const PageChange *change = old.closed_by[line]) {
            if (change->mark == '-')
                gone_.push_back({behind_block[line], line, change, true});
            bool stays = change->mark == '~' && change->out_end != 0 && !change->is_away;
            behind = stays ? change->out_end : behind_block[line];
        }
    }
    std::stable_sort(gone_.begin(), gone_.end(),
                     [](const GoneLine &one, const GoneLine &other) { return one.behind < other.behind; });
}

/* Which blocks are open goes by the rows alone, as it does for whoever reads them. */
void Rows::follow(std::string_view row_text)
{
    ConfigKeyword keyword = keyword_of_line(row_text);
    if (is_word(keyword.word, "config") || is_word(keyword.word, "edit"))
        path_.emplace_back(unquoted(without_white_end(without_indent(keyword.rest))));
    else if ((is_word(keyword.word, "end") || is_word(keyword.word, "next")) && !path_.empty())
        path_.pop_back();
}

void Rows::begin_at(const std::string &anchor)
{
    if (!anchor.empty() && anchors_.erase(anchor) != 0)
        pieces_.push_back({anchor, ""});
}

void Rows::begin_part()
{
    if (row_++ % rows_of_a_part != 0)
        return;
    bool is_new = !pieces_.empty() && pieces_.back().rows.empty(); /* a link leads to this very row */
    if (!is_new)
        pieces_.emplace_back();
    pieces_.back().opens_part = true;
}

void Rows::add_row(char mark, const std::string &was, uint32_t now, std::string_view causes, std::string_view text,
                   const std::string &note)
{
    begin_part();
    std::string &rows = pieces_.back().rows;
    rows += mark;
    if (mark != ' ' && !was.empty())
        rows += ' ';
    rows += was;
    rows += '\t';
    if (now != 0)
        rows += std::to_string(now);
    rows += '\t';
    rows += causes;
    rows += '\t';
    rows += printable(text);
    if (!note.empty())
        rows += "\t" + printable(note);
    rows += '\n';
    if (causes != same_value)
        follow(text);
}

bool Rows::is_path_told(const PageChange &change) const
{
    return change.path.size() == path_.size() + 1 && std::equal(path_.begin(), path_.end(), change.path.begin());
}

/* A path is said where the rows around do not say it. */
std::string Rows::note_of(const PageChange &change) const
{
    std::string note = change.note;
    if (is_path_told(change))
        return note;
    note += note.empty() ? "" : ", ";
    note += change.mark == '+' ? "at " : "was at ";
    for (size_t at = 0; at < change.path.size(); at++)
        note += (at == 0 ? "" : " / ") + change.path[at];
    return note;
}

void Rows::add_old(const PageChange &change)
{
    std::string from = change.from.empty() ? "" : change.from + ":";
    std::string causes = list_text(change.causes);
    uint32_t    line = change.in;
    for (std::string_view text : lines_of(change.before)) {
        bool is_first = line == change.in;
        if (is_first && change.from.empty())
            begin_at("was-" + std::to_string(line));
        std::string note = is_first && change.mark == '-' ? note_of(change) : "";
        add_row(change.mark, from + std::to_string(line++), 0, is_first ? causes : same_value,
                is_first ? indent_of(change) + std::string(text) : std::string(text), note);
    }
}

void Rows::add_gone(uint32_t behind)
{
    for (; next_gone_ < gone_.size() && gone_[next_gone_].behind == behind; next_gone_++) {
        const GoneLine &gone = gone_[next_gone_];
        if (!gone.closes) {
            add_old(*gone.change);
            continue;
        }
        std::string_view before = gone.change->before;
        std::string      indent =
            indent_of(*gone.change) + std::string(before.substr(0, before.size() - without_indent(before).size()));
        bool is_config = is_word(keyword_of_line(before).word, "config");
        add_row('-', std::to_string(gone.in), 0, list_text(gone.change->causes), indent + (is_config ? "end" : "next"),
                "");
    }
}

void Rows::add_line(uint32_t line)
{
    const Margin     &margin = margins_[line];
    const PageChange *change = margin.change;
    if (change && change->mark == '~') {
        std::vector<std::string> open = path_; /* the old line and the new one open the same block */
        add_old(*change);
        path_ = std::move(open);
    }
    begin_at(std::to_string(line));
    std::string note = change ? note_of(*change) : "";
    add_row(margin.mark, margin.was, line,
            margin.is_continued ? same_value
            : change            ? list_text(change->causes)
                                : "",
            lines_[line - 1], note);
}

} // namespace

std::vector<RowPiece> page_rows(const PageText &text, const std::vector<std::string> &anchors)
{
    return Rows(text, anchors).take();
}

} // namespace command
