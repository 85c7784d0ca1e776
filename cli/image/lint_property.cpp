#include "image/lint_property.h"

#include "rules/properties.h"
#include "rules/rules.h"
#include "tree/config_text.h"
#include "tree/version_text.h"

#include <cctype>
#include <set>

namespace command {

namespace {

constexpr size_t longest_word = MIGR_NAME_SIZE - 1;

using Faults = std::vector<std::string>;

bool is_number(const std::string &text)
{
    const char *digits = skip_white(text.c_str());
    if (*digits == '-' || *digits == '+')
        digits++;
    if (!isdigit(static_cast<unsigned char>(*digits)))
        return false;
    while (isdigit(static_cast<unsigned char>(*digits)))
        digits++;
    return *skip_white(digits) == '\0';
}

Faults faults_of_char(const std::string &limit)
{
    if (!is_number(limit) || number_of(limit.c_str()) < 0)
        return {"cuts at no number: \"" + limit + "\". Write a length, like \"[char:63]\"."};
    return {};
}

Faults faults_of_int(const std::string &limits)
{
    size_t comma = limits.find(',');
    if (comma == limits.npos)
        return {"will fail when reached: its range has no comma. Write both limits, like \"[int:1,100]\"."};
    std::string lowest = limits.substr(0, comma);
    std::string highest = limits.substr(comma + 1);
    if (!is_number(lowest) || !is_number(highest))
        return {"has a limit that is no number. Write both limits, like \"[int:1,100]\"."};
    if (number_of(lowest.c_str()) > number_of(highest.c_str()))
        return {"has its limits in the wrong order. Write the lower one first."};
    return {};
}

void check_word(const std::string &word, Faults *faults)
{
    if (word.size() > longest_word)
        faults->push_back("the word \"" + word.substr(0, 40) + "...\" has " + std::to_string(word.size()) +
                          " characters, and " + std::to_string(longest_word) + " are kept. Make it shorter.");
}

void check_old_word(const std::string &word, std::set<std::string> *seen, Faults *faults)
{
    for (char c : word)
        if (is_white(c)) {
            faults->push_back("the word \"" + word + "\" holds a blank, and no word of a value does. Take it out.");
            break;
        }
    if (word.size() == 1)
        faults->push_back("the word \"" + word +
                          "\" has one character, and is lost unseen at the end of a value. Use words of two or more.");
    if (!seen->insert(word).second)
        faults->push_back("the word \"" + word + "\" comes twice, and the first pair counts. Take one out.");
}

/* Goes through pairs that the library has found well formed; it cuts long words, so they are read here again. */
Faults faults_of_pairs(const std::string &text)
{
    Faults                faults;
    std::set<std::string> seen;
    for (size_t at = text.find_first_not_of(" \t\n\v\f\r"); at < text.size();) {
        size_t      comma = text.find(',', at);
        size_t      end = text.find('>', comma);
        std::string old_word = text.substr(at + 1, comma - at - 1);
        check_word(old_word, &faults);
        check_word(text.substr(comma + 1, end - comma - 1), &faults);
        check_old_word(old_word, &seen, &faults);
        at = text.find('<', end);
    }
    return faults;
}

Faults faults_of_enum(const std::string &text)
{
    migr_list pairs, words;
    migr_list_init(&pairs);
    migr_list_init(&words);
    bool well_formed = get_all_rule_list(text.c_str(), &pairs) == 0;
    bool empty = pairs.next == &pairs;
    free_rule_value_list(&pairs, &words);
    if (!well_formed)
        return {
            "will fail when reached: its word pairs cannot be read. Write \"<old,new>\" or \"<old,>\", with one comma "
            "between two pairs."};
    if (empty)
        return {"has no word pairs. Write them, like \"[enum:<old,new>,<gone,>]\"."};
    return faults_of_pairs(text);
}

struct Type {
    const char *word;
    Faults (*faults)(const std::string &arguments);
};

constexpr Type types[] = {
    {"char", faults_of_char},
    {"int", faults_of_int},
    {"enum", faults_of_enum},
};

} // namespace

std::vector<std::string> faults_of_property(std::string_view property)
{
    size_t colon = property.find(':');
    if (property.empty())
        return {"has an empty property. Write one like \"[int:1,100]\", or take it out."};
    if (colon == property.npos)
        return {"will fail when reached: its property has no colon. Write it like \"[int:1,100]\"."};
    std::string_view word = property.substr(0, colon);
    for (const Type &type : types)
        if (word == type.word)
            return type.faults(std::string(property.substr(colon + 1)));
    return {"has a property of the unknown type \"" + std::string(word) + "\". The types are char, int and enum."};
}

} // namespace command
