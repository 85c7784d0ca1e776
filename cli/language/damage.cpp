/* Walks a text as the parser would and notes what the parser passes over. Builds no tree and knows no migration. */
#include "language/damage.h"

#include "language/lines.h"
#include "output/size_text.h"
#include "tree/config_node.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <unordered_map>

namespace command {

namespace {

/* In the order of the enumeration. */
constexpr const char *kind_names[] = {
    "header-missing",     "header-cut",      "second-header", "thrown-away",   "unknown-word", "misplaced",
    "stray-end",          "other-end",       "open-block",    "dropped-words", "no-name",      "open-name",
    "cut-name",           "comma-in-name",   "same-name",     "no-value",      "open-value",   "cut-value",
    "words-behind-value", "lost-line-break", "nul",           "long-line",
};
static_assert(std::size(kind_names) == static_cast<size_t>(DamageKind::long_line) + 1);

constexpr const char *kind_phrases[] = {
    "no version line",
    "a header line that is cut",
    "a second header line",
    "a line that is never looked at",
    "a line that begins with no word of the language",
    "a `set` or `edit` where none can be",
    "an `end` or `next` that closes nothing",
    "an `end` that closes an `edit`, or a `next` that closes a `config`",
    "a block that is never closed",
    "words that are dropped",
    "no name",
    "a name whose quote is never closed",
    "a name that is cut",
    "a comma in a name",
    "a name that equals another one when both are cut",
    "`set` without a value",
    "a value whose quote does not close",
    "a value that is cut",
    "words behind a value",
    "a line break that is dropped",
    "a NUL",
    "a line that is too long",
};
static_assert(std::size(kind_phrases) == std::size(kind_names));

/* Whoever went on in spite of these would get no configuration that can be read. */
bool can_be_accepted(DamageKind kind)
{
    return kind != DamageKind::header_missing && kind != DamageKind::header_cut && kind != DamageKind::no_value;
}

/* The report's list. The text of a finding that it has no room for is never composed. */
class Findings {
  public:
    explicit Findings(DamageReport *report) : report_(report) {}

    template <typename... Part> void tell(size_t line, DamageKind kind, const Part &...parts)
    {
        report_->is_acceptable = report_->is_acceptable && can_be_accepted(kind);
        if (report_->found.size() == most_damage) {
            report_->more++;
            return;
        }
        std::string text;
        (append(text, parts), ...);
        report_->found.push_back({line, kind, std::move(text), can_be_accepted(kind), ""});
    }

  private:
    static void append(std::string &text, const char *words)
    {
        text += words;
    }
    static void append(std::string &text, uint64_t number)
    {
        text += std::to_string(number);
    }

    DamageReport *report_;
};

/*
 * Names that could become each other's: those of top-level configs, and those that are as long as what is left of a cut
 * one. Of a hostile text only the first ones are kept, since every cut name is told anyway.
 */
class SimilarNames {
  public:
    /* The line of an earlier name of the same list that was another one and is the same as far as it is kept; else 0.
     */
    size_t earlier(const std::string &list, std::string_view kept, std::string_view whole, size_t line)
    {
        std::string key = list + std::string(kept);
        size_t      hash = std::hash<std::string_view>{}(whole);
        auto        other = names_.find(key);
        if (other != names_.end())
            return other->second.whole != hash ? other->second.line : 0;
        if (names_.size() < most_names)
            names_.emplace(std::move(key), Name{hash, line});
        return 0;
    }

  private:
    static constexpr size_t most_names = 10000;

    struct Name {
        size_t whole; /* hash of what it would be without the limit */
        size_t line;
    };
    std::unordered_map<std::string, Name> names_;
};

enum class Keyword { config, edit, set, end, next, other };

Keyword keyword_of(std::string_view word)
{
    static constexpr struct {
        std::string_view word;
        Keyword          keyword;
    } keywords[] = {
        {"set", Keyword::set}, {"next", Keyword::next},     {"edit", Keyword::edit},
        {"end", Keyword::end}, {"config", Keyword::config},
    };
    for (const auto &row : keywords)
        if (is_word(word, row.word))
            return row.keyword;
    return Keyword::other;
}

struct Block {
    bool   is_edit;
    bool   is_lost; /* never written, with all that is in it */
    size_t line;
    size_t number; /* each block has one of its own */
};

/* A header line; the first one found counts. */
struct Header {
    const char *mark;
    size_t      line = 0; /* 0: not found */
};

class Scanner {
  public:
    Scanner(std::string_view text, HeaderLines headers, DamageReport *report, std::vector<TopLevelConfig> *configs)
        : lines_(text), headers_(headers), report_(report), findings_(report), configs_(configs)
    {
    }

    void scan();

  private:
    bool next(ConfigLine &line);
    void take(const ConfigLine &line);
    void take_comment(const ConfigLine &line);
    void take_header(const ConfigLine &line, Header &header);
    void throw_away(const char *why);
    void take_top_level(std::string_view text);
    void take_block(std::string_view text, bool is_edit);
    void take_set(std::string_view text);
    void take_close(std::string_view text, bool is_next);
    void read_further_lines(ConfigValue &value);
    void check_place_of_edit();
    void check_name(const ConfigName &name);
    void check_similar(const char *list, std::string_view kept, std::string_view whole);
    void check_end();
    void check_headers();
    void open_block(bool is_edit, bool is_lost, uint64_t name_length);
    void count_written(size_t at, uint64_t first_line, uint64_t size);

    /* The line that is being taken. */
    size_t line() const
    {
        return lines_.number();
    }
    uint64_t indent() const
    {
        return 4 * uint64_t{blocks_.size()};
    }
    bool is_lost() const
    {
        return !blocks_.empty() && blocks_.back().is_lost;
    }

    ConfigLines                  lines_;
    HeaderLines                  headers_;
    DamageReport                *report_;
    Findings                     findings_;
    std::vector<TopLevelConfig> *configs_; /* null when nobody wants them */
    SimilarNames                 names_;
    std::vector<Block>           blocks_;
    size_t                       opened_ = 0;    /* how many blocks there have been */
    size_t                       nul_line_ = 0;  /* told last */
    size_t                       long_line_ = 0; /* told last */
    Header                       version_ = {"#config-version="};
    Header                       second_ = {"#conf_file_ver="};
};

void Scanner::scan()
{
    throw_away("stands in the first line, which is kept for the version line and never looked at.");
    ConfigLine line;
    while (next(line))
        take(line);
    check_end();
    check_headers();
    std::stable_sort(report_->found.begin(), report_->found.end(),
                     [](const Damage &one, const Damage &other) { return one.line < other.line; });
}

bool Scanner::next(ConfigLine &line)
{
    if (!lines_.next(line))
        return false;
    if (line.has_nul && nul_line_ != line.number) {
        nul_line_ = line.number;
        findings_.tell(line.number, DamageKind::nul, "holds a NUL, and what follows it is not read.");
    }
    if (line.is_cut && long_line_ != line.number) {
        long_line_ = line.number;
        findings_.tell(line.number, DamageKind::long_line, "has more than ", longest_line,
                       " characters, and what follows these is read as a line of its own.");
    }
    return true;
}

void Scanner::take(const ConfigLine &line)
{
    ConfigKeyword first = keyword_of_line(line.text);
    if (first.word.empty())
        return;
    if (first.word[0] == '#')
        return take_comment(line);
    switch (keyword_of(first.word)) {
    case Keyword::config:
        return blocks_.empty() ? take_top_level(first.rest) : take_block(first.rest, false);
    case Keyword::edit:
        return take_block(first.rest, true);
    case Keyword::set:
        return take_set(first.rest);
    case Keyword::end:
        return take_close(first.rest, false);
    case Keyword::next:
        return take_close(first.rest, true);
    case Keyword::other:
        findings_.tell(line.number, DamageKind::unknown_word,
                       "begins with none of config, edit, set, next and end, and is passed over.");
    }
}

void Scanner::take_comment(const ConfigLine &line)
{
    for (Header *header : {&version_, &second_})
        if (without_indent(line.text).starts_with(header->mark))
            take_header(line, *header);
}

/* A header line without its newline would run into the line that is written behind it. */
void Scanner::take_header(const ConfigLine &line, Header &header)
{
    if (headers_ == HeaderLines::none)
        return;
    if (header.line != 0) {
        findings_.tell(line.number, DamageKind::second_header, "is a header line like line ", header.line,
                       ", and is passed over: these seem to be two files in one.");
        return;
    }
    header.line = line.number;
    if (!line.text.ends_with('\n'))
        findings_.tell(line.number, DamageKind::header_cut, "is a header line that is cut: it has no end.");
}

/* Takes the next line as the parser does where it takes none for what it is. */
void Scanner::throw_away(const char *why)
{
    ConfigLine line;
    if (!next(line))
        return;
    ConfigKeyword first = keyword_of_line(line.text);
    if (first.word.starts_with('#'))
        take_comment(line);
    else if (!first.word.empty())
        findings_.tell(line.number, DamageKind::thrown_away, why);
}

void Scanner::take_top_level(std::string_view text)
{
    ConfigName  name = top_level_name(text);
    std::string kept = join_words(name.kept, ',');
    check_name(name);
    if (name.kept.find(',') != name.kept.npos)
        findings_.tell(line(), DamageKind::comma_in_name, "has a comma in its name, which is written as a blank.");
    check_similar("config", kept, join_words(name.whole, ' '));
    open_block(false, false, kept.size());
    if (configs_)
        configs_->push_back({line(), std::move(kept)});
}

void Scanner::take_block(std::string_view text, bool is_edit)
{
    ConfigName name = config_name(text);
    check_name(name);
    if (!name.is_cut() && !without_indent(name.rest).empty())
        findings_.tell(line(), DamageKind::dropped_words, "has words behind the name, which are dropped.");
    if (name.kept.size() == longest_name)
        check_similar(is_edit ? "edit" : "config", name.kept, name.whole);
    bool is_misplaced = is_edit && (blocks_.empty() || blocks_.back().is_edit);
    if (is_misplaced)
        check_place_of_edit();
    open_block(is_edit, is_misplaced, name.kept.size());
}

void Scanner::check_place_of_edit()
{
    if (blocks_.empty())
        findings_.tell(line(), DamageKind::misplaced,
                       "is an `edit` outside any `config`, and is dropped with all that is in it.");
    else
        findings_.tell(line(), DamageKind::misplaced, "is an `edit` inside the `edit` of line ", blocks_.back().line,
                       ", and is dropped with all that is in it.");
}

void Scanner::take_set(std::string_view text)
{
    size_t at = line();
    if (blocks_.empty())
        findings_.tell(at, DamageKind::misplaced, "is a `set` outside any `config`, and is dropped.");
    ConfigName name = config_name(text);
    if (name.is_cut())
        check_name(name);
    if (name.kept.size() == longest_name)
        check_similar("set", name.kept, name.whole);
    text = without_indent(name.rest);
    bool drops_newline = text.ends_with("\"\n");
    if (drops_newline)
        text.remove_suffix(1);
    if (text.empty()) {
        findings_.tell(at, DamageKind::no_value, "is a `set` without a value, with which no upgrade starts.");
        return;
    }
    ConfigValue value;
    value.append(text[0] == '"' ? text : without_white_end(text));
    if (text[0] == '"' && !value.is_complete()) {
        if (drops_newline)
            findings_.tell(at, DamageKind::lost_line_break,
                           "ends in a quote that does not close the value, and the "
                           "line break behind it is dropped.");
        read_further_lines(value);
    }
    uint64_t ahead = indent() + sizeof "set " - 1 + name.kept.size() + 1;
    if (!blocks_.empty())
        count_written(at, ahead + value.first_line_length() + 1, ahead + value.length() + 1);
}

/* From the line of the `set` to that with which the parser takes the value for complete. */
void Scanner::read_further_lines(ConfigValue &value)
{
    size_t     at = line();
    bool       is_told = false;
    ConfigLine more;
    while (!value.is_complete() && value.length() < MIGR_VALUE_LIMIT) {
        if (value.is_outside_quotes() && !is_told) {
            is_told = true;
            findings_.tell(line(), DamageKind::words_behind_value,
                           "has words behind a closing quote, so the value takes in what follows.");
        }
        if (!next(more)) {
            findings_.tell(at, DamageKind::open_value,
                           "has a value whose quote is never closed: it takes in all that follows.");
            return;
        }
        value.append(more.text);
    }
    if (more.text.ends_with('\n'))
        value.drop_newline();
    if (!value.is_complete())
        findings_.tell(at, DamageKind::cut_value, "has a value that is cut in line ", line(), ", at ", value.length(),
                       " characters.");
    else if (!value.is_outside_quotes() && !is_told)
        findings_.tell(at, DamageKind::open_value, "has a value that goes on to line ", line(),
                       " and ends there with an opening quote: its own one was not closed.");
}

void Scanner::take_close(std::string_view text, bool is_next)
{
    if (!without_indent(text).empty())
        findings_.tell(line(), DamageKind::dropped_words, "has words behind its `end` or `next`, which are dropped.");
    if (blocks_.empty()) {
        findings_.tell(line(), DamageKind::stray_end, "is an `end` or `next` that closes nothing.");
        throw_away("stands behind an `end` or `next` that closes nothing, and is not looked at.");
        return;
    }
    const Block &block = blocks_.back();
    if (block.is_edit != is_next)
        findings_.tell(line(), DamageKind::other_end,
                       is_next ? "is a `next` that closes the `config` of line "
                               : "is an `end` that closes the `edit` of line ",
                       block.line, ".");
    blocks_.pop_back();
}

void Scanner::check_name(const ConfigName &name)
{
    if (name.whole.empty())
        findings_.tell(line(), DamageKind::no_name, "has no name.");
    else if (name.is_cut())
        findings_.tell(line(), DamageKind::cut_name, "has a name of ", name.whole.size(),
                       " characters, which is cut to ", longest_name, ".");
    else if (name.is_open)
        findings_.tell(line(), DamageKind::open_name, "has a name whose quote is never closed.");
}

void Scanner::check_similar(const char *list, std::string_view kept, std::string_view whole)
{
    size_t      block = blocks_.empty() ? 0 : blocks_.back().number;
    std::string key = std::to_string(block) + list + " ";
    if (size_t other = names_.earlier(key, kept, whole, line()))
        findings_.tell(line(), DamageKind::same_name, "has the name of line ", other,
                       " as far as it is kept, and had another one.");
}

/* Both its own line and the one that will close it. */
void Scanner::open_block(bool is_edit, bool is_lost_here, uint64_t name_length)
{
    uint64_t opening = indent() + (is_edit ? sizeof "edit " : sizeof "config ") - 1 + name_length + 1;
    uint64_t closing = indent() + (is_edit ? sizeof "next\n" : sizeof "end\n") - 1;
    if (!is_lost_here)
        count_written(line(), opening, opening + closing);
    blocks_.push_back({is_edit, is_lost_here || is_lost(), line(), ++opened_});
    if (blocks_.size() > report_->depth) {
        report_->depth = blocks_.size();
        report_->deepest_line = line();
    }
}

/* What is written is read again: by the second pass over an old file, and by the next upgrade. */
void Scanner::count_written(size_t at, uint64_t first_line, uint64_t size)
{
    if (is_lost())
        return;
    report_->written_size += size;
    if (first_line > longest_line && long_line_ != at)
        findings_.tell(at, DamageKind::long_line, "will have ", first_line, " characters, ", uint64_t{blocks_.size()},
                       " levels deep as it is; a line with more than ", longest_line, " is not read whole.");
}

void Scanner::check_end()
{
    if (blocks_.empty())
        return;
    const Block &innermost = blocks_.back();
    findings_.tell(line(), DamageKind::open_block,
                   "is the last line, and blocks are still open here: ", uint64_t{blocks_.size()},
                   ", the innermost since line ", innermost.line, ".");
}

void Scanner::check_headers()
{
    if (headers_ != HeaderLines::none && version_.line == 0)
        findings_.tell(1, DamageKind::header_missing, "should be the version line, \"#config-version=\".");
    if (headers_ == HeaderLines::both && second_.line == 0)
        findings_.tell(version_.line + 1, DamageKind::header_missing,
                       "should be the second header line, \"#conf_file_ver=\".");
}

/* Of a sound `set` line: the lines behind it that belong to its value. */
void skip_value(std::string_view set, ConfigLines &lines)
{
    std::string_view text = without_indent(config_name(set).rest);
    ConfigLine       line;
    ConfigValue      value;
    if (!text.starts_with('"') || ends_in_its_line(text))
        return;
    value.append(text);
    while (!value.is_complete() && lines.next(line))
        value.append(line.text);
}

} // namespace

const char *name_of(DamageKind kind)
{
    return kind_names[static_cast<size_t>(kind)];
}

const char *phrase_of(DamageKind kind)
{
    return kind_phrases[static_cast<size_t>(kind)];
}

DamageReport damage_of(std::string_view text, HeaderLines headers, std::vector<TopLevelConfig> *configs)
{
    DamageReport report;
    Scanner(text, headers, &report, configs).scan();
    return report;
}

std::vector<TopLevelConfig> top_level_configs(std::string_view text)
{
    std::vector<TopLevelConfig> configs;
    ConfigLines                 lines(text);
    ConfigLine                  line;
    size_t                      depth = 0;
    lines.next(line);
    while (lines.next(line)) {
        ConfigKeyword first = keyword_of_line(line.text);
        Keyword       keyword = keyword_of(first.word);
        if (keyword == Keyword::config && depth == 0)
            configs.push_back({line.number, join_words(top_level_name(first.rest).kept, ',')});
        if (keyword == Keyword::config || keyword == Keyword::edit)
            depth++;
        if ((keyword == Keyword::end || keyword == Keyword::next) && depth > 0)
            depth--;
        if (keyword == Keyword::set)
            skip_value(first.rest, lines);
    }
    return configs;
}

std::string why_too_large(const DamageReport &report, uint64_t room)
{
    uint64_t limit = std::min(room, largest_configuration);
    if (report.written_size <= limit)
        return "";
    static constexpr size_t ordinary_depth = 4; /* a nested block's entry */
    std::string             why = report.depth <= ordinary_depth
                                      ? ""
                                      : ", as its blocks are nested up to " + std::to_string(report.depth) + " deep (line " +
                                std::to_string(report.deepest_line) + ")";
    return "It would have " + size_text(report.written_size) + " when written" + why + ", and " +
           (room < largest_configuration ? "there is room for " : "a configuration has at most ") + size_text(limit) +
           ".";
}

} // namespace command
