#include "image/lint_rule.h"

#include "driver/run_context.h"
#include "image/lint_property.h"
#include "rules/modify_rules.h"
#include "tree/config_text.h"
#include "tree/version_text.h"

#include <cstdio>
#include <cstring>

namespace command {

namespace {

constexpr size_t longest_name = MIGR_NAME_SIZE - 1;
constexpr size_t longest_version = 15;

using Faults = std::vector<std::string>;

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
bool take_token(std::string_view *text, const std::string &what, std::string_view *token, Faults *faults)
{
    drop_white(text);
    size_t end = text->find('>');
    if (!text->starts_with('<')) {
        faults->push_back("will fail when reached: " + what + " is expected at " + quoted(*text) +
                          ". Write it in \"<\" and \">\".");
        return false;
    }
    if (end == text->npos) {
        faults->push_back("has a name that is not closed, at " + quoted(*text) + ". Write a \">\" behind it.");
        return false;
    }
    *token = text->substr(1, end - 1);
    text->remove_prefix(end + 1);
    drop_white(text);
    return true;
}

void check_length(std::string_view name, const std::string &what, size_t longest, Faults *faults)
{
    if (name.size() > longest)
        faults->push_back(what + " " + quoted(name) + " has " + std::to_string(name.size()) + " characters, and " +
                          std::to_string(longest) + " are kept. Make it shorter.");
}

std::string comma_form(std::string_view words)
{
    std::string joined(words.size() + 1, '\0');
    join_words(words.data(), words.data() + words.size(), joined.data(), joined.size());
    joined.resize(strlen(joined.c_str()));
    return joined;
}

void check_name(std::string_view name, bool is_top, Faults *faults)
{
    if (name.empty())
        faults->push_back("has an empty name in its path, and no block has one. Write the name.");
    if (is_top && !name.empty() && is_white(name.front()))
        faults->push_back("finds nothing: the blank behind \"<\" becomes a comma. Take it out.");
    check_length(is_top ? comma_form(name) : std::string(name), "the name", longest_name, faults);
}

/* False when the path cannot be read to its end. */
bool check_path(std::string_view path, Faults *faults)
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

void check_delete(const std::string &text, Faults *faults)
{
    if (text.starts_with('['))
        faults->push_back("will fail when reached: it is no header that the loader knows. Write [DELETE], [MODIFY] or "
                          "[READD], or a section's line like \"[5.10]\".");
    else
        check_path(text, faults);
}

void check_new_name(std::string_view name, Faults *faults)
{
    check_length(name, "the new name", longest_name, faults);
    if (name.find_first_not_of(" \t") == name.npos)
        faults->push_back("gives an empty name, which no configuration can hold. Write the new name.");
    if (name.find(',') != name.npos)
        faults->push_back("has a comma in its new name, and later rules below it could not be read. Write a blank.");
}

/* The version of a re-add rule, or -1 with a fault told. */
int32_t take_version(std::string_view *text, Faults *faults)
{
    std::string_view token;
    if (!text->starts_with(',')) {
        faults->push_back("will fail when reached: a version is expected at " + quoted(*text) +
                          ". Write a comma and a version like \"<5.10>\".");
        return -1;
    }
    text->remove_prefix(1);
    if (!take_token(text, "a version", &token, faults))
        return -1;
    check_length(token, "the version", longest_version, faults);
    std::string version(token.substr(0, longest_version));
    int         end = 0;
    sscanf(version.c_str(), "%*9[0-9].%*9[0-9]%n", &end);
    size_t point = version.find('.');
    if (point == version.npos)
        faults->push_back("will fail when reached: its version has no point. Write it like \"<5.10>\".");
    else if (end == 0 || static_cast<size_t>(end) != version.size())
        faults->push_back("has an odd version. Write it like \"<5.10>\".");
    if (point == version.npos)
        return -1;
    return version_code(number_of(version.c_str()), number_of(version.c_str() + point + 1));
}

/* Files from before 5.10 are split and stored when they get there, so no section behind 5.10 ever sees one. */
void check_reach(int32_t version, int32_t section_version, Faults *faults)
{
    if (version >= section_version)
        faults->push_back("never acts: its release is not below that of its section, " + section_name(section_version) +
                          ". Name the last release that still had the node.");
    else if (version < MIGR_RELEASE_5_10 && section_version > MIGR_RELEASE_5_10)
        faults->push_back("never acts: behind section 5.10 every file is at 5.10 or later. Put it into section 5.10 or "
                          "an earlier one, or name 5.10 or a later release.");
}

void check_property_part(std::string_view text, bool is_top, Faults *faults)
{
    if (text.empty())
        return;
    bool has_comma = text.starts_with(',');
    if (has_comma)
        text.remove_prefix(1);
    drop_white(&text);
    if (has_comma && text.empty()) {
        faults->push_back("ends with a comma. Write a property behind it, or take it out.");
        return;
    }
    size_t end = text.find(']');
    if (!has_comma || !text.starts_with('[') || end == text.npos) {
        faults->push_back("will fail when reached: " + quoted(text) +
                          " is no property. Write a comma and a property like \"[int:1,100]\".");
        return;
    }
    if (is_top)
        faults->push_back("has a property, which a top-level config cannot take. Take it out.");
    for (const std::string &fault : faults_of_property(text.substr(1, end - 1)))
        faults->push_back(fault);
    if (end + 1 < text.size())
        faults->push_back("goes on behind its property, and nobody looks at that. Take it out.");
}

void check_rename(const LintRule &rule, int32_t section_version, Faults *faults)
{
    std::string_view text = rule.text;
    size_t           comma = text.find(',');
    if (comma == text.npos) {
        faults->push_back("will fail when reached: it has no comma. Write a path, a comma and the new name.");
        return;
    }
    std::string_view path = text.substr(0, comma);
    std::string_view new_name;
    text.remove_prefix(comma + 1);
    if (!check_path(path, faults) || !take_token(&text, "a new name", &new_name, faults))
        return;
    check_new_name(new_name, faults);
    if (rule.kind == RuleKind::readds) {
        int32_t version = take_version(&text, faults);
        if (version < 0)
            return;
        check_reach(version, section_version, faults);
    }
    check_property_part(text, path_of(path).size() == 1, faults);
}

} // namespace

std::vector<std::string> faults_of_rule(const LintRule &rule, int32_t section_version)
{
    Faults faults;
    if (rule.kind == RuleKind::deletes || rule.text.starts_with('['))
        check_delete(rule.text, &faults);
    else
        check_rename(rule, section_version, &faults);
    return faults;
}

RulePath path_of(std::string_view text)
{
    RulePath         path;
    Faults           ignored;
    std::string_view name;
    for (drop_white(&text); !text.empty() && take_token(&text, "", &name, &ignored);)
        path.push_back(path.empty() ? comma_form(name) : std::string(name));
    return path;
}

} // namespace command
