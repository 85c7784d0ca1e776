/*
 * A rule's cause is the comment directly above it, or above the rules that stand without a blank line around it; its
 * first word may be a kind, with a colon. Whether the rules are any good is lint's business, not this file's.
 */
#include "explain/causes.h"

#include "driver/author_kinds.h"
#include "explain/code_causes.h"

#include <algorithm>
#include <array>
#include <functional>

namespace command {

namespace {

constexpr char white[] = " \t\r\v\f";
constexpr char kind_of_rules[] = "rule";
constexpr char kind_of_the_rest[] = "housekeeping";

constexpr std::array<std::string_view, 3> rule_mechanisms = {"delete", "modify", "readd"};

/* Those that do one thing, and name nobody for it. */
struct NamelessMechanism {
    std::string_view mechanism;
    std::string_view sentence;
};

constexpr NamelessMechanism nameless_mechanisms[] = {
    {"read", "This is how the old file is read."},
    {"write", "This is how the new file is written."},
    {"host", "The program that runs the upgrade did it by itself."},
};

std::string_view without_white_ends(std::string_view text)
{
    size_t first = std::min(text.find_first_not_of(white), text.size());
    return text.substr(first, text.find_last_not_of(white) + 1 - first);
}

/* The words of a comment line. */
std::string_view words_of(std::string_view comment)
{
    return without_white_ends(comment.substr(std::min(comment.find_first_not_of('#'), comment.size())));
}

CauseText cause_of_rule(std::string_view comment)
{
    std::string_view word = comment.substr(0, comment.find(':'));
    for (const char *const *kind = migr_author_kind_words; word.size() < comment.size() && *kind; kind++)
        if (word == *kind)
            return {*kind, std::string(without_white_ends(comment.substr(word.size() + 1)))};
    return {kind_of_rules, std::string(comment)};
}

/* Goes through an update file line by line, with the comment that the next rule would have. */
class CommentReader {
  public:
    explicit CommentReader(std::map<uint32_t, CauseText> *causes) : causes_(causes) {}

    void take(uint32_t number, std::string_view line)
    {
        bool is_comment = line.starts_with('#');
        if (line.empty() || line.starts_with('[') || (is_comment && behind_rule_))
            comment_.clear();
        behind_rule_ = false;
        if (is_comment) {
            add(words_of(line));
        } else if (!line.empty() && !line.starts_with('[')) {
            (*causes_)[number] = cause_of_rule(comment_);
            behind_rule_ = true;
        }
    }

  private:
    void add(std::string_view words)
    {
        if (!comment_.empty() && !words.empty())
            comment_ += ' ';
        comment_ += words;
    }

    std::map<uint32_t, CauseText> *causes_;
    std::string                    comment_;
    bool                           behind_rule_ = false;
};

} // namespace

Causes::Causes(std::string_view update_file)
{
    CommentReader reader(&rules_);
    for (uint32_t number = 1; !update_file.empty(); number++) {
        size_t end = std::min(update_file.find('\n'), update_file.size());
        reader.take(number, without_white_ends(update_file.substr(0, end)));
        update_file.remove_prefix(std::min(end + 1, update_file.size()));
    }
    for (const CodeCause &cause : code_causes)
        code_.emplace(cause.name, CauseText{std::string(cause.kind), std::string(cause.sentence)});
}

CauseText Causes::of(std::string_view mechanism, std::string_view name, uint32_t line) const
{
    if (std::ranges::find(rule_mechanisms, mechanism) != rule_mechanisms.end()) {
        auto rule = rules_.find(line);
        return rule == rules_.end() ? CauseText{kind_of_rules, ""} : rule->second;
    }
    if (auto code = code_.find(name); code != code_.end())
        return code->second;
    for (const NamelessMechanism &nameless : nameless_mechanisms)
        if (name.empty() && nameless.mechanism == mechanism)
            return {kind_of_the_rest, std::string(nameless.sentence)};
    return {kind_of_the_rest, ""};
}

} // namespace command
