/* Accounts as pages of text, which tests compare; the command prints others. */
#include "page.h"

#include "output/release_text.h"
#include "support/patterns.h"

#include <algorithm>
#include <map>
#include <sstream>
#include <stdexcept>

using namespace command;

namespace accounts_test {

namespace {

/* What is said of a line: of one of an old file, or of a new one that was added. */
struct Key {
    std::string file;
    bool        is_new;
    uint32_t    line;

    auto operator<=>(const Key &) const = default;
};

using Sayings = std::map<Key, std::string>;

/* One line of a page. */
struct Statement {
    std::string file, fate, out_file, causes;
    Span        in, out;
};

std::string range_text(uint32_t first, uint32_t last)
{
    return std::to_string(first) + (last > first ? "-" + std::to_string(last) : "");
}

std::string range_text(const Span &span)
{
    return range_text(span.first, span.last);
}

/* ---- accounts ---- */

std::string cause_text(const Author &author)
{
    return release_text(author.release) + " " + author.mechanism + (author.name.empty() ? "" : " " + author.name);
}

std::string causes_text(const Account &account, const AccountEntry &entry)
{
    std::string text;
    for (uint32_t cause : entry.causes)
        text += (text.empty() ? "" : ", ") + cause_text(account.authors[cause]);
    return text;
}

std::vector<Statement> statements_of(const Account &account)
{
    std::vector<Statement> statements;
    for (const AccountFile &file : account.files)
        for (const AccountEntry &entry : file.entries) {
            Statement one = {file.file, word(entry.fate), entry.out_file, causes_text(account, entry),
                             entry.in,  entry.out};
            if (entry.fate == LineFate::added)
                one.in = entry.copied_from;
            statements.push_back(one);
        }
    return statements;
}

/* ---- pages ---- */

Span span_of(const std::string &text)
{
    if (text.empty())
        return {};
    size_t dash = text.find('-');
    auto   first = static_cast<uint32_t>(std::stoul(text));
    return {first, dash == std::string::npos ? first : static_cast<uint32_t>(std::stoul(text.substr(dash + 1))), 0};
}

Statement statement_of(const std::string &line, const std::string &file)
{
    static const std::string old_line =
        R"((\d+(?:-\d+)?) (kept|moved|rewritten|dropped)(?: (\S+\.gz))?(?: (\d+(?:-\d+)?))?(?:: (.*))?)";
    static const std::string new_line = R"((added) (\d+(?:-\d+)?)(?: from (\d+(?:-\d+)?))?: (.*))";
    support::Groups          part = support::groups_of(line, old_line);
    if (!part.empty())
        return {file, part[2], part[3], part[5], span_of(part[1]), span_of(part[4])};
    part = support::groups_of(line, new_line);
    if (!part.empty())
        return {file, part[1], "", part[4], span_of(part[3]), span_of(part[2])};
    throw std::runtime_error("a page has the line: " + line);
}

std::vector<Statement> statements_in(const std::string &page)
{
    std::vector<Statement> statements;
    std::istringstream     lines(page);
    std::string            file;
    for (std::string line; std::getline(lines, line);) {
        line.resize(std::min(line.find('#'), line.size()));
        line.resize(line.find_last_not_of(' ') + 1);
        if (line.starts_with("== "))
            file = line.substr(3);
        else if (!line.empty())
            statements.push_back(statement_of(line, file));
    }
    return statements;
}

/* ---- line by line ---- */

/* The line of `other` that belongs to that line of `own`, or all of them. */
std::string opposite(const Span &own, const Span &other, uint32_t line)
{
    if (other.first == 0)
        return "";
    if (other.last - other.first != own.last - own.first)
        return " " + range_text(other);
    return " " + std::to_string(other.first + (line - own.first));
}

void say(const Statement &one, Sayings &sayings)
{
    bool        is_new = one.fate == "added";
    const Span &own = is_new ? one.out : one.in;
    for (uint32_t line = own.first; line <= own.last; line++) {
        std::string other = opposite(own, is_new ? one.in : one.out, line);
        std::string file = one.out_file.empty() ? "" : " " + one.out_file;
        sayings[{one.file, is_new, line}] = one.fate + (is_new && !other.empty() ? " from" : "") + file + other +
                                            (one.causes.empty() ? "" : ": " + one.causes);
    }
}

std::string text_of(const Key &key)
{
    return key.file + (key.is_new ? " (new) " : " ") + std::to_string(key.line);
}

/* Whether one statement goes on where the other ends, over lines of which nobody says anything. */
bool goes_on(const Statement &one, const Statement &next, const Sayings &all)
{
    bool        is_new = one.fate == "added";
    const Span &own = is_new ? one.out : one.in, &own_next = is_new ? next.out : next.in;
    const Span &other = is_new ? one.in : one.out, &other_next = is_new ? next.in : next.out;
    if (one.file != next.file || one.fate != next.fate || one.out_file != next.out_file || one.causes != next.causes ||
        own_next.first <= own.last || (other.first == 0) != (other_next.first == 0))
        return false;
    bool is_even = other.first == 0 || (own.last - own.first == other.last - other.first &&
                                        own_next.last - own_next.first == other_next.last - other_next.first &&
                                        other_next.first - other.last == own_next.first - own.last);
    for (uint32_t line = own.last + 1; line < own_next.first; line++)
        if (all.contains({one.file, is_new, line}))
            return false;
    return is_even;
}

} // namespace

std::vector<std::string> differences(const HeldRun &run, const std::string &page, Extent extent)
{
    Sayings said, expected;
    for (const Statement &one : statements_of(run.account))
        say(one, said);
    std::vector<Statement> statements = statements_in(page);
    for (const Statement &one : statements)
        say(one, expected);
    std::vector<std::string> all;
    for (const auto &[key, saying] : said)
        if (expected.contains(key) && expected[key] != saying)
            all.push_back(text_of(key) + " is told as " + saying + ", and not as " + expected[key]);
        else if (!expected.contains(key) && extent == Extent::whole)
            all.push_back(text_of(key) + " is told as " + saying + ", and stands on no page");
    for (const Statement &one : statements)
        for (uint32_t end :
             {one.fate == "added" ? one.out.first : one.in.first, one.fate == "added" ? one.out.last : one.in.last})
            if (Key key = {one.file, one.fate == "added", end}; !said.contains(key))
                all.push_back(text_of(key) + " is not told of, and stands on the page as " + expected[key]);
    return all;
}

std::string page_of(const HeldRun &run)
{
    std::vector<Statement> statements = statements_of(run.account), joined;
    Sayings                all;
    for (const Statement &one : statements)
        say(one, all);
    for (const Statement &one : statements) {
        if (joined.empty() || !goes_on(joined.back(), one, all)) {
            joined.push_back(one);
            continue;
        }
        joined.back().in.last = one.in.last;
        joined.back().out.last = one.out.last;
    }
    std::string page, file;
    for (const Statement &one : joined) {
        if (one.file != file)
            page += "== " + (file = one.file) + "\n";
        bool is_new = one.fate == "added";
        page += (is_new ? "added " + range_text(one.out) + (one.in.first ? " from " + range_text(one.in) : "")
                        : range_text(one.in) + " " + one.fate + (one.out_file.empty() ? "" : " " + one.out_file) +
                              (one.out.first ? " " + range_text(one.out) : "")) +
                (one.causes.empty() ? "" : ": " + one.causes) + "\n";
    }
    return page;
}

} // namespace accounts_test
