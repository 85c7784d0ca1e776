/*
 * A table made from the library's sources at each build says which names its conversions look for. A name that the
 * code puts together from parts is not in it, and is not warned of.
 */
#include "image/lint_old_names.h"

#include "image/expected_names.h"
#include "image/lint_rule.h"

#include <algorithm>

namespace command {

namespace {

bool names(const ExpectedNames &code, std::string_view name)
{
    return std::binary_search(code.names.begin(), code.names.end(), name);
}

/* What follows the scope and one character, as the walk cuts it. */
std::string_view suffix_of(std::string_view config, std::string_view scope)
{
    return config.substr(std::min(config.size(), scope.size() + 1));
}

/* Whether a callback is written for a top-level config of that name. A scope of one word holds too much to say so, and
 * one that ends within a word takes in by chance what goes on there. */
bool acts_on(const ExpectedNames &callback, const std::string &config)
{
    if (!config.starts_with(callback.scope))
        return false;
    if (config == callback.scope || names(callback, config) || names(callback, suffix_of(config, callback.scope)))
        return true;
    bool is_one_word = callback.scope.find(',') >= callback.scope.size() - 1;
    return !is_one_word && !callback.asks_for_config && config[callback.scope.size()] == ',';
}

bool looks_for(const ExpectedNames &code, const RulePath &path)
{
    if (!(code.in_chain ? names(code, path.front()) : acts_on(code, path.front())))
        return false;
    return path.size() == 1 || names(code, path.back());
}

/* The conversions that come behind a section of that release, and look for what the path names. */
std::vector<const ExpectedNames *> conversions_behind(int32_t release, const RulePath &path)
{
    std::vector<const ExpectedNames *> behind;
    for (const ExpectedNames &code : expected_names)
        if ((!code.in_chain || code.release > release) && looks_for(code, path))
            behind.push_back(&code);
    return behind;
}

std::string listed(const std::vector<const ExpectedNames *> &conversions)
{
    std::string text;
    for (const ExpectedNames *code : conversions) {
        if (code != conversions.front())
            text += code == conversions.back() ? " and " : ", ";
        text += std::string(code->code) + " (" + (code->in_chain ? "step" : "stage") + " of " +
                section_name(code->release) + ")";
    }
    return text;
}

/* What a rule renames or deletes, empty when it leaves its node under its name. */
RulePath path_taken_away(const LintRule &rule)
{
    if (rule.kind == RuleKind::deletes)
        return path_of(rule.text);
    Rename rename;
    if (!read_rename(rule, &rename))
        return {};
    RulePath path = path_of(rename.old_text());
    return path == path_of(rename.new_text()) ? RulePath() : path;
}

/* Texts that differ with the conversions' number and place. */
struct Words {
    const char *works, *looks, *writes_there_or_moves, *their_releases;
};
constexpr Words one_conversion = {"works", "looks", "it writes there or moves", "that release"};
constexpr Words several = {"work", "look", "they write there or move", "those releases"};

struct Order {
    const char *why, *instead;
};
constexpr Order chain_order = {"a section's rules run before the steps of all later sections",
                               "Put the rule into the last section of these, or a later one."};
constexpr Order stage_order = {"the rules of all sections run before the first stage",
                               "Do it in a callback of a later stage."};

std::string warning_text(const LintRule &rule, const std::vector<const ExpectedNames *> &conversions)
{
    bool all_in_chain =
        std::all_of(conversions.begin(), conversions.end(), [](const ExpectedNames *code) { return code->in_chain; });
    const Order &order = all_in_chain ? chain_order : stage_order;
    const Words &words = conversions.size() == 1 ? one_conversion : several;
    std::string  text;
    if (rule.kind == RuleKind::deletes)
        text = "deletes what " + listed(conversions) + " " + words.works + " on: " + order.why + ", so nothing that " +
               words.writes_there_or_moves + " from there will come out. ";
    else
        text = "hides its node from " + listed(conversions) + ", which " + words.looks +
               " for the old name: " + order.why + ", so files from before " + words.their_releases +
               " miss that conversion. ";
    return text + order.instead;
}

} // namespace

void check_old_names(const LintFile &file, std::vector<Finding> *findings)
{
    for (const LintSection &section : file.sections)
        for (const LintRule &rule : section.rules) {
            RulePath path = path_taken_away(rule);
            if (path.empty())
                continue;
            auto conversions = conversions_behind(section.version, path);
            if (!conversions.empty())
                findings->push_back({rule.line, rule.column, Severity::warning, warning_text(rule, conversions)});
        }
}

} // namespace command
