/* A word is a fraction, with its letters as digits: words between two that stay get fractions between theirs, by chance
 * and in order. Capitals stand ahead of all small letters, so either kind is a row of its own. */
#include "anonymize/ordered_words.h"

#include "anonymize/word_scan.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace command {

namespace {

constexpr int letters = 26;

bool begins_with_capital(std::string_view word)
{
    return word[0] >= 'A' && word[0] <= 'Z';
}

double fraction_of(std::string_view word)
{
    double fraction = 0, place = 1;
    for (char c : small_letters(word)) {
        place /= letters;
        fraction += place * (c - 'a');
    }
    return fraction;
}

/* With the old word's capitals. What is behind a fraction's digits comes from `filling`. */
std::string word_of(double fraction, std::string_view old, std::string_view filling)
{
    static constexpr size_t digits = 8;
    std::string             word;
    for (size_t at = 0; at < old.size(); at++) {
        fraction *= letters;
        double digit = std::clamp(std::floor(fraction), 0.0, letters - 1.0);
        fraction -= digit;
        char letter = at < digits ? static_cast<char>('a' + static_cast<int>(digit)) : filling[at];
        word += old[at] >= 'A' && old[at] <= 'Z' ? static_cast<char>(letter - ('a' - 'A')) : letter;
    }
    return word;
}

/* Those that lie between two that stay. */
struct Row {
    double                        from = 0, to = 1;
    std::vector<std::string_view> words;
};

std::vector<std::string> one_try(const Row &row, const Permutation &permutation, const std::string &seed)
{
    static constexpr uint32_t steps = 1U << 30;
    std::vector<double>       fractions;
    for (std::string_view word : row.words)
        fractions.push_back(row.from +
                            (row.to - row.from) * permutation.number(seed + std::string(word), steps) / steps);
    std::sort(fractions.begin(), fractions.end());
    std::vector<std::string> found;
    for (size_t at = 0; at < row.words.size(); at++)
        found.push_back(word_of(fractions[at], row.words[at], permutation.of(small_letters(row.words[at]))));
    return found;
}

bool is_in_order(const Row &row, const std::vector<std::string> &found)
{
    for (size_t at = 0; at < found.size(); at++) {
        bool is_between = fraction_of(found[at]) > row.from && fraction_of(found[at]) < row.to;
        if (!is_between || (at > 0 && found[at - 1] >= found[at]))
            return false;
    }
    return true;
}

void settle_row(const Row &row, const Permutation &permutation, const std::function<bool(std::string_view)> &is_taken,
                std::map<std::string, std::string> &settled)
{
    static constexpr int most_tries = 1000;
    for (int tries = 0; tries < most_tries && !row.words.empty(); tries++) {
        std::vector<std::string> found = one_try(row, permutation, "order " + std::to_string(tries) + " ");
        if (!is_in_order(row, found) || std::any_of(found.begin(), found.end(), is_taken))
            continue;
        for (size_t at = 0; at < found.size(); at++)
            settled.emplace(row.words[at], found[at]);
        return;
    }
}

} // namespace

std::map<std::string, std::string> in_order(const std::set<std::string> &words, const Permutation &permutation,
                                            const std::function<bool(std::string_view)> &stays,
                                            const std::function<bool(std::string_view)> &is_taken)
{
    std::map<std::string, std::string> settled;
    Row                                row;
    bool                               is_capital = true;
    for (const std::string &word : words) {
        if (is_capital && !begins_with_capital(word)) {
            settle_row(row, permutation, is_taken, settled);
            row = {};
            is_capital = false;
        }
        if (!stays(word)) {
            row.words.push_back(word);
            continue;
        }
        row.to = fraction_of(word);
        settle_row(row, permutation, is_taken, settled);
        row = {fraction_of(word), 1, {}};
    }
    settle_row(row, permutation, is_taken, settled);
    return settled;
}

} // namespace command
