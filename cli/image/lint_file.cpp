/*
 * Lines are told apart by the loader's own functions, so that what lint takes for a section or a rule the library
 * takes for one, too.
 */
#include "image/lint_file.h"

#include "driver/run_context.h"
#include "image/lint_comment.h"
#include "language/lines.h"
#include "rules/update_file.h"
#include "tree/config_text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

namespace command {

namespace {

struct Header {
    const char *keyword;
    RuleKind    kind;
};

constexpr Header headers[] = {
    {MIGR_DELETE_RULES, RuleKind::deletes},
    {MIGR_MODIFY_RULES, RuleKind::modifies},
    {MIGR_READD_RULES, RuleKind::readds},
};

const Header *header_of(const std::string &line)
{
    for (const Header &header : headers)
        if (line_is_delmodreadd(line.c_str(), header.keyword, strlen(header.keyword)) == 0)
            return &header;
    return nullptr;
}

/* "[5.10]" at the line's start; what follows may be a note. */
bool is_plain_version(const std::string &line)
{
    int end = 0;
    sscanf(line.c_str(), " [%*9[0-9].%*9[0-9]]%n", &end);
    return end > 0;
}

bool is_plain_header(const std::string &line, const Header &header)
{
    std::string plain = std::string("[") + header.keyword + "]";
    return std::string_view(skip_white(line.c_str())).starts_with(plain);
}

std::string without_white_ends(const std::string &line)
{
    std::string text = skip_white(line.c_str());
    while (!text.empty() && is_white(text.back()))
        text.pop_back();
    return text;
}

class Reader {
  public:
    Reader(LintFile *file, std::vector<Finding> *findings) : file_(file), findings_(findings) {}

    void take(const std::string &line)
    {
        file_->lines++;
        column_ = static_cast<size_t>(skip_white(line.c_str()) - line.c_str()) + 1;
        if (is_comment(line.c_str()))
            return take_comment(line);
        in_comment_ = false;
        if (int32_t version = line_is_version(line.c_str()); version >= 0)
            take_version(line, version);
        else if (*skip_white(line.c_str()) != '\0')
            take_other(line);
    }

    void tell(const std::string &text)
    {
        tell_at(column_, text);
    }

    void tell_at(size_t column, const std::string &text)
    {
        findings_->push_back({file_->lines, column, Severity::error, text});
    }

  private:
    /* The first line of a comment may begin with a kind. */
    void take_comment(const std::string &line)
    {
        size_t first = std::min(line.find_first_not_of("# \t", column_ - 1), line.size());
        size_t colon = line.find(':', first);
        bool   begins = !std::exchange(in_comment_, true);
        if (!begins || colon == line.npos)
            return;
        std::string word = line.substr(first, colon - first);
        if (const char *kind = meant_kind(word))
            findings_->push_back({file_->lines, first + 1, Severity::warning,
                                  "\"" + word +
                                      ":\" is none of the words for what a rule is about, and stays in the "
                                      "sentence. Was \"" +
                                      kind + ":\" meant?"});
    }

    void take_version(const std::string &line, int32_t version)
    {
        if (!is_plain_version(line)) {
            tell_at(line.find('[') + 1, "is taken for the line of section " + section_name(version) +
                                            ", since it holds a \"[\" with a \".\" behind it. Keep points out of "
                                            "rules; a section's line is \"[" +
                                            section_name(version) + "]\".");
            return;
        }
        file_->sections.push_back({file_->lines, version, {}});
        header_ = nullptr;
    }

    void take_other(const std::string &line)
    {
        const Header *header = header_of(line);
        if (header && !is_plain_header(line, *header)) {
            tell_at(line.find('[') + 1, std::string("is taken for the header [") + header->keyword +
                                            "]. Write the header alone, with its \"]\"; "
                                            "keep such words out of rules.");
            return;
        }
        if (file_->sections.empty()) {
            tell("stands ahead of the first section, and is dropped. Put it behind a line like \"[5.10]\".");
            return;
        }
        if (header)
            header_ = header;
        else
            take_rule(without_white_ends(line));
    }

    void take_rule(const std::string &text)
    {
        if (header_)
            file_->sections.back().rules.push_back({file_->lines, column_, header_->kind, text});
        else
            tell("stands ahead of the first subsection of section " + section_name(file_->sections.back().version) +
                 ", and is dropped. Put it behind [DELETE], [MODIFY] or [READD].");
    }

    LintFile             *file_;
    size_t                column_ = 1; /* of the line's first character that is not white */
    bool                  in_comment_ = false;
    std::vector<Finding> *findings_;
    const Header         *header_ = nullptr; /* the section's last one */
};

} // namespace

LintFile read_update_file(std::string_view text, std::vector<Finding> *findings)
{
    LintFile file = {};
    Reader   reader(&file, findings);
    while (!text.empty()) {
        size_t      end = std::min(text.find('\n'), text.size());
        std::string line(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        reader.take(line);
        if (line.size() + 1 > longest_line)
            reader.tell_at(longest_line + 1,
                           "has " + std::to_string(line.size()) + " characters, and what follows the first " +
                               std::to_string(longest_line) + " is taken for a line of its own. Make it shorter.");
        if (line.find('\0') != std::string::npos)
            reader.tell_at(line.find('\0') + 1, "holds a NUL, and what follows it is not seen. Take it out.");
    }
    return file;
}

Finding error_at(const LintRule &rule, const std::string &text)
{
    return {rule.line, rule.column, Severity::error, text};
}

std::string section_name(int32_t version)
{
    return std::to_string(version >> 16) + "." + std::to_string(version & 0xffff);
}

} // namespace command
