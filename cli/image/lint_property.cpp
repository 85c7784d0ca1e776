/*
 * Properties are read by the library's functions where it has some, and judged here by what they would do to a value.
 * No value is looked at.
 */
#include "image/lint_property.h"

#include "rules/properties.h"
#include "rules/rules.h"
#include "tree/config_text.h"
#include "tree/version_text.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <set>

namespace command {

namespace {

constexpr size_t longest_word = MIGR_NAME_SIZE - 1;

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

void check_char(std::string_view limit, FaultList *faults)
{
    std::string number(limit);
    if (!is_number(number) || number_of(number.c_str()) < 0)
        faults->add(limit, "cuts at no number: \"" + number + "\". Write a length, like \"[char:63]\".");
}

void check_int(std::string_view limits, FaultList *faults)
{
    size_t comma = limits.find(',');
    if (comma == limits.npos) {
        faults->add(limits, "will fail when reached: its range has no comma. Write both limits, like \"[int:1,100]\".");
        return;
    }
    std::string lowest(limits.substr(0, comma));
    std::string highest(limits.substr(comma + 1));
    if (!is_number(lowest) || !is_number(highest))
        faults->add(limits, "has a limit that is no number. Write both limits, like \"[int:1,100]\".");
    else if (number_of(lowest.c_str()) > number_of(highest.c_str()))
        faults->add(limits, "has its limits in the wrong order. Write the lower one first.");
}

void check_word(std::string_view word, FaultList *faults)
{
    if (word.size() > longest_word)
        faults->add(word, "the word \"" + std::string(word.substr(0, 40)) + "...\" has " + std::to_string(word.size()) +
                              " characters, and " + std::to_string(longest_word) + " are kept. Make it shorter.");
}

void check_old_word(std::string_view word, std::set<std::string_view> *seen, FaultList *faults)
{
    std::string text(word);
    if (std::any_of(word.begin(), word.end(), is_white))
        faults->add(word, "the word \"" + text + "\" holds a blank, and no word of a value does. Take it out.");
    if (word.size() == 1)
        faults->add(word, "the word \"" + text +
                              "\" has one character, and is lost unseen at the end of a value. Use words of two or "
                              "more.");
    if (!seen->insert(word).second)
        faults->add(word, "the word \"" + text + "\" comes twice, and the first pair counts. Take one out.");
}

/* Goes through pairs that the library has found well formed; it cuts long words, so they are read here again. */
void check_pairs(std::string_view text, FaultList *faults)
{
    std::set<std::string_view> seen;
    static constexpr char      white[] = " \t\n\v\f\r";
    for (size_t at = text.find_first_not_of(white); at < text.size();) {
        size_t           comma = text.find(',', at);
        size_t           end = text.find('>', comma);
        std::string_view old_word = text.substr(at + 1, comma - at - 1);
        check_word(old_word, faults);
        check_word(text.substr(comma + 1, end - comma - 1), faults);
        check_old_word(old_word, &seen, faults);
        at = text.find_first_not_of(white, end + 2); /* one character parts two pairs, be it a "<" */
    }
}

void check_enum(std::string_view text, FaultList *faults)
{
    migr_list pairs, words;
    migr_list_init(&pairs);
    migr_list_init(&words);
    bool well_formed = get_all_rule_list(std::string(text).c_str(), &pairs) == 0;
    bool empty = pairs.next == &pairs;
    free_rule_value_list(&pairs, &words);
    if (!well_formed)
        faults->add(text, "will fail when reached: its word pairs cannot be read. Write \"<old,new>\" or \"<old,>\", "
                          "with one comma between two pairs.");
    else if (empty)
        faults->add(text, "has no word pairs. Write them, like \"[enum:<old,new>,<gone,>]\".");
    else
        check_pairs(text, faults);
}

struct Type {
    std::string_view word;
    void (*check)(std::string_view arguments, FaultList *faults);
};

constexpr Type types[] = {
    {"char", check_char},
    {"int", check_int},
    {"enum", check_enum},
};

} // namespace

void check_property(std::string_view property, FaultList *faults)
{
    size_t colon = property.find(':');
    if (property.empty()) {
        faults->add(property, "has an empty property. Write one like \"[int:1,100]\", or take it out.");
        return;
    }
    if (colon == property.npos) {
        faults->add(property, "will fail when reached: its property has no colon. Write it like \"[int:1,100]\".");
        return;
    }
    std::string_view word = property.substr(0, colon);
    auto type = std::find_if(std::begin(types), std::end(types), [&](const Type &one) { return one.word == word; });
    if (type != std::end(types))
        type->check(property.substr(colon + 1), faults);
    else
        faults->add(word, "has a property of the unknown type \"" + std::string(word) +
                              "\". The types are char, int and enum.");
}

} // namespace command
