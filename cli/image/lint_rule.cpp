/*
 * A rule is taken apart from its beginning on, and the first thing that cannot be read ends it: what follows would be
 * guesses.
 */
#include "image/lint_rule.h"

#include "driver/run_context.h"
#include "image/lint_property.h"
#include "language/lines.h"
#include "rules/modify_rules.h"
#include "tree/config_text.h"
#include "tree/version_text.h"

#include <cstdio>
#include <cstring>

namespace command {

namespace {

constexpr size_t longest_version = 15;

void drop_white(std::string_view *text)
{
    while (!text->empty() && is_white(text->front()))
        text->remove_prefix(1);
}

std::string quoted(std::string_view text)
{
    constexpr size_t most = 40;
    if (text.empty())
        return "the line's end";
    return "\"" + std::string(text.substr(0, most)) + (text.size() > most ? "..." : "") + "\"";
}

/* "<name>" at the text's start, taken off it. False, with a fault told, when it is not there. */
bool take_token(std::string_view *text, const std::string &what, std::string_view *token, FaultList *faults)
{
    drop_white(text);
    size_t end = text->find('>');
    if (!text->starts_with('<')) {
        faults->add(*text, "will fail when reached: " + what + " is expected at " + quoted(*text) +
                               ". Write it in \"<\" and \">\".");
        return false;
    }
    if (end == text->npos) {
        faults->add(*text, "has a name that is not closed, at " + quoted(*text) + ". Write a \">\" behind it.");
        return false;
    }
    *token = text->substr(1, end - 1);
    text->remove_prefix(end + 1);
    drop_white(text);
    return true;
}

/* `where` is the name's place in the rule. */
void check_length(std::string_view name, std::string_view where, const std::string &what, size_t longest,
                  FaultList *faults)
{
    if (name.size() > longest)
        faults->add(where, what + " " + quoted(name) + " has " + std::to_string(name.size()) + " characters, and " +
                               std::to_string(longest) + " are kept. Make it shorter.");
}

std::string comma_form(std::string_view words)
{
    std::string joined(words.size() + 1, '\0');
    ::join_words(words.data(), words.data() + words.size(), joined.data(), joined.size());
    joined.resize(strlen(joined.c_str()));
    return joined;
}

void check_name(std::string_view name, bool is_top, FaultList *faults)
{
    if (name.empty())
        faults->add(name, "has an empty name in its path, and no block has one. Write the name.");
    if (is_top && !name.empty() && is_white(name.front()))
        faults->add(name, "finds nothing: the blank behind \"<\" becomes a comma. Take it out.");
    check_length(is_top ? comma_form(name) : std::string(name), name, "the name", longest_name, faults);
}

/* False when the path cannot be read to its end. */
bool check_path(std::string_view path, FaultList *faults)
{
    bool is_top = true;
    drop_white(&path);
    do {
        std::string_view name;
        if (!take_token(&path, is_top ? "a path" : "a further name", &name, faults))
            return false;
        check_name(name, is_top, faults);
        is_top = false;
    } while (!path.empty());
    return true;
}

void check_delete(std::string_view text, FaultList *faults)
{
    if (text.starts_with('['))
        faults->add(text, "will fail when reached: it is no header that the loader knows. Write [DELETE], [MODIFY] or "
                          "[READD], or a section's line like \"[5.10]\".");
    else
        check_path(text, faults);
}

void check_new_name(std::string_view name, FaultList *faults)
{
    check_length(name, name, "the new name", longest_name, faults);
    if (name.find_first_not_of(" \t") == name.npos)
        faults->add(name, "gives an empty name, which no configuration can hold. Write the new name.");
    if (name.find(',') != name.npos)
        faults->add(name, "has a comma in its new name, and later rules below it could not be read. Write a blank.");
}

/* The version of a re-add rule, or -1 with a fault told. */
int32_t take_version(std::string_view *text, FaultList *faults)
{
    std::string_view token;
    if (!text->starts_with(',')) {
        faults->add(*text, "will fail when reached: a version is expected at " + quoted(*text) +
                               ". Write a comma and a version like \"<5.10>\".");
        return -1;
    }
    text->remove_prefix(1);
    if (!take_token(text, "a version", &token, faults))
        return -1;
    check_length(token, token, "the version", longest_version, faults);
    std::string version(token.substr(0, longest_version));
    int         end = 0;
    sscanf(version.c_str(), "%*9[0-9].%*9[0-9]%n", &end);
    size_t point = version.find('.');
    if (point == version.npos)
        faults->add(token, "will fail when reached: its version has no point. Write it like \"<5.10>\".");
    else if (end == 0 || static_cast<size_t>(end) != version.size())
        faults->add(token, "has an odd version. Write it like \"<5.10>\".");
    if (point == version.npos)
        return -1;
    return version_code(number_of(version.c_str()), number_of(version.c_str() + point + 1));
}

/* Files from before 5.10 are split and stored when they get there, so no section behind 5.10 ever sees one. */
void check_reach(int32_t version, std::string_view where, int32_t section_version, FaultList *faults)
{
    if (version >= section_version)
        faults->add(where, "never acts: its release is not below that of its section, " +
                               section_name(section_version) + ". Name the last release that still had the node.");
    else if (version < MIGR_RELEASE(5, 10) && section_version > MIGR_RELEASE(5, 10))
        faults->add(where,
                    "never acts: behind section 5.10 every file is at 5.10 or later. Put it into section 5.10 or "
                    "an earlier one, or name 5.10 or a later release.");
}

void check_property_part(std::string_view text, bool is_top, FaultList *faults)
{
    if (text.empty())
        return;
    bool has_comma = text.starts_with(',');
    if (has_comma)
        text.remove_prefix(1);
    drop_white(&text);
    if (has_comma && text.empty()) {
        faults->add(text, "ends with a comma. Write a property behind it, or take it out.");
        return;
    }
    size_t end = text.find(']');
    if (!has_comma || !text.starts_with('[') || end == text.npos) {
        faults->add(text, "will fail when reached: " + quoted(text) +
                              " is no property. Write a comma and a property like \"[int:1,100]\".");
        return;
    }
    if (is_top)
        faults->add(text, "has a property, which a top-level config cannot take. Take it out.");
    check_property(text.substr(1, end - 1), faults);
    if (end + 1 < text.size())
        faults->add(text.substr(end + 1), "goes on behind its property, and nobody looks at that. Take it out.");
}

void check_rename(const LintRule &rule, int32_t section_version, FaultList *faults)
{
    std::string_view text = rule.text;
    size_t           comma = text.find(',');
    if (comma == text.npos) {
        faults->add(text, "will fail when reached: it has no comma. Write a path, a comma and the new name.");
        return;
    }
    std::string_view path = text.substr(0, comma);
    std::string_view new_name;
    text.remove_prefix(comma + 1);
    if (!check_path(path, faults) || !take_token(&text, "a new name", &new_name, faults))
        return;
    check_new_name(new_name, faults);
    if (rule.kind == RuleKind::readds) {
        std::string_view where = text;
        int32_t          version = take_version(&text, faults);
        if (version < 0)
            return;
        check_reach(version, where.substr(1), section_version, faults);
    }
    check_property_part(text, path_of(path).size() == 1, faults);
}

} // namespace

std::vector<Fault> faults_of_rule(const LintRule &rule, int32_t section_version)
{
    FaultList faults(rule.text);
    if (rule.kind == RuleKind::deletes || rule.text.starts_with('['))
        check_delete(rule.text, &faults);
    else
        check_rename(rule, section_version, &faults);
    return faults.all();
}

RulePath path_of(std::string_view text)
{
    RulePath         path;
    FaultList        ignored(text);
    std::string_view name;
    for (drop_white(&text); !text.empty() && take_token(&text, "", &name, &ignored);)
        path.push_back(path.empty() ? comma_form(name) : std::string(name));
    return path;
}

bool read_rename(const LintRule &rule, Rename *rename)
{
    char    directory[MIGR_LINE_SIZE];
    char    property[MIGR_LINE_SIZE];
    char    old_name[MIGR_NAME_SIZE];
    char    new_name[MIGR_NAME_SIZE];
    int32_t readd = rule.kind == RuleKind::readds;
    int32_t version = every_file;
    if (parse_modify_line(rule.text.c_str(), directory, old_name, new_name, property, readd, &version) != 0)
        return false;
    *rename = {directory, old_name, new_name, version};
    return true;
}

} // namespace command
