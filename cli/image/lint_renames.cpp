/* Renames are carried out list by list as the library rewrites paths, on texts instead of trees. */
#include "image/lint_renames.h"

#include "driver/run_context.h"
#include "image/lint_rule.h"
#include "rules/modify_rules.h"

#include <algorithm>
#include <map>
#include <span>

namespace command {

namespace {

/* What became of a path that a rename has emptied. */
struct Renamed {
    std::string new_name;
    size_t      line;
    size_t      list;  /* which rule list the rename stands in */
    int32_t     up_to; /* files up to this release have been renamed; every_file for a modify rule */
};

bool begins_with(const RulePath &path, const RulePath &beginning)
{
    return path.size() >= beginning.size() && std::equal(beginning.begin(), beginning.end(), path.begin());
}

class Renames {
  public:
    explicit Renames(std::vector<Finding> *findings) : findings_(findings) {}

    void take(const LintSection &section)
    {
        list_++;
        for (const LintRule &rule : section.rules)
            if (rule.kind == RuleKind::deletes)
                check(rule, path_of(rule.text), every_file);
        take_list(section, RuleKind::modifies);
        take_list(section, RuleKind::readds);
        /* What a re-add rule has renamed in some files is as it was in others. */
        std::erase_if(renamed_, [](const auto &entry) { return entry.second.up_to != every_file; });
    }

  private:
    void take_list(const LintSection &section, RuleKind kind)
    {
        list_++;
        std::vector<LintRule> rules;
        std::copy_if(section.rules.begin(), section.rules.end(), std::back_inserter(rules),
                     [&](const LintRule &rule) { return rule.kind == kind; });
        for (size_t i = 0; i < rules.size(); i++) {
            Rename rename;
            if (!read_rename(rules[i], &rename) || (kind == RuleKind::readds && rename.up_to >= section.version))
                continue;
            if (check(rules[i], path_of(rename.old_text()), rename.up_to))
                carry_out(rename, rules[i].line);
            rewrite(rename, &rules, i + 1);
        }
    }

    /* False when the rule finds nothing in any file that it acts on. */
    bool check(const LintRule &rule, const RulePath &path, int32_t up_to)
    {
        for (size_t length = 1; length <= std::min(path.size(), deepest_); length++) {
            auto found = renamed_.find(RulePath(path.begin(), path.begin() + static_cast<long>(length)));
            if (found == renamed_.end() || found->second.up_to < up_to)
                continue;
            tell(rule, found->second, length < path.size());
            return false;
        }
        return true;
    }

    void tell(const LintRule &rule, const Renamed &renamed, bool goes_on)
    {
        std::string line = "line " + std::to_string(renamed.line);
        std::string text = "finds nothing: " + line + " has renamed its path, to \"" + renamed.new_name + "\". ";
        if (goes_on && renamed.list == list_)
            text += "Begin the path with the very text that " + line + " has, or use the new name.";
        else
            text += "Use the new name.";
        findings_->push_back(error_at(rule, text));
    }

    void carry_out(const Rename &rename, size_t line)
    {
        RulePath old_path = path_of(rename.old_text());
        RulePath new_path = path_of(rename.new_text());
        if (old_path == new_path)
            return;
        take_out_below(new_path);
        for (auto &entry : take_out_below(old_path)) {
            RulePath path = new_path;
            path.insert(path.end(), entry.first.begin() + static_cast<long>(old_path.size()), entry.first.end());
            note(path, entry.second);
        }
        note(old_path, {rename.new_name, line, list_, rename.up_to});
    }

    void note(const RulePath &path, const Renamed &renamed)
    {
        renamed_[path] = renamed;
        deepest_ = std::max(deepest_, path.size());
    }

    /* A path's own entry and those below it: they stand side by side. */
    std::vector<std::pair<RulePath, Renamed>> take_out_below(const RulePath &path)
    {
        auto first = renamed_.lower_bound(path);
        auto last =
            std::find_if(first, renamed_.end(), [&](const auto &entry) { return !begins_with(entry.first, path); });
        std::vector<std::pair<RulePath, Renamed>> taken(first, last);
        renamed_.erase(first, last);
        return taken;
    }

    /* The library's own way with later rules of a list: by exact text. */
    static void rewrite(const Rename &rename, std::vector<LintRule> *rules, size_t from)
    {
        char        directory[MIGR_LINE_SIZE];
        std::string old_text = rename.old_text();
        for (LintRule &later : std::span(*rules).subspan(from))
            if (later.text.starts_with(old_text) && get_maindir(later.text.c_str(), directory) == 0 &&
                std::string_view(directory).starts_with(old_text))
                later.text.replace(0, old_text.size(), rename.new_text());
    }

    std::vector<Finding>       *findings_;
    std::map<RulePath, Renamed> renamed_;
    size_t                      deepest_ = 0; /* no path in renamed_ has more names */
    size_t                      list_ = 0;    /* the rule list being gone through */
};

} // namespace

void check_renames(const LintFile &file, std::vector<Finding> *findings)
{
    Renames renames(findings);
    for (const LintSection &section : file.sections)
        renames.take(section);
}

} // namespace command
