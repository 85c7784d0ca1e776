/* The order of checks, and those of the sections themselves. Findings come out by line, whatever check made them. */
#include "image/lint.h"

#include "chain/steps.h"
#include "image/lint_file.h"
#include "image/lint_old_names.h"
#include "image/lint_renames.h"
#include "image/lint_rule.h"

#include <algorithm>
#include <tuple>

namespace command {

namespace {

Finding error_at(const LintSection &section, const std::string &text)
{
    return {section.line, 1, Severity::error, text};
}

void check_reach(const LintSection &section, int32_t image_release, std::vector<Finding> *findings)
{
    if (section.version > image_release)
        findings->push_back(error_at(section, "section " + section_name(section.version) +
                                                  " is above the image's release, " + section_name(image_release) +
                                                  ", and never loaded. Take it out, or name the release in the "
                                                  "making with --release."));
}

/* `before` is the highest section ahead of this one, or null. */
void check_place(const LintSection &section, const LintSection *before, std::vector<Finding> *findings)
{
    std::string name = "section " + section_name(section.version);
    if (!before || section.version > before->version)
        return;
    std::string line = std::to_string(before->line);
    if (section.version == before->version)
        findings->push_back(error_at(section, name +
                                                  " comes twice, and its release's own conversions would run twice. "
                                                  "Put its rules to those of line " +
                                                  line + "."));
    else
        findings->push_back(error_at(section, name + " stands behind section " + section_name(before->version) +
                                                  " of line " + line +
                                                  ", and would run behind it. Put the sections in ascending order."));
}

void check_order(const LintFile &file, int32_t image_release, std::vector<Finding> *findings)
{
    const LintSection *highest = nullptr;
    for (const LintSection &section : file.sections) {
        check_reach(section, image_release, findings);
        check_place(section, highest, findings);
        if (!highest || section.version > highest->version)
            highest = &section;
    }
}

/* Where a section of that version belongs: the first line of the next section, or the last line. */
size_t place_of(const LintFile &file, int32_t version)
{
    for (const LintSection &section : file.sections)
        if (section.version > version)
            return section.line;
    return std::max<size_t>(file.lines, 1);
}

void check_steps(const LintFile &file, std::vector<Finding> *findings)
{
    int32_t version;
    for (int32_t i = 0; (version = chain_step_version(i)) >= 0; i++) {
        bool is_there = std::any_of(file.sections.begin(), file.sections.end(),
                                    [&](const LintSection &section) { return section.version == version; });
        if (!is_there)
            findings->push_back(
                {place_of(file, version), 1, Severity::error,
                 "section " + section_name(version) +
                     " is missing here, and that release's own conversions would be left out. Add a line \"[" +
                     section_name(version) + "]\", without rules if need be.",
                 version});
    }
}

void check_rules(const LintFile &file, std::vector<Finding> *findings)
{
    for (const LintSection &section : file.sections)
        for (const LintRule &rule : section.rules)
            for (const Fault &fault : faults_of_rule(rule, section.version))
                findings->push_back({rule.line, rule.column + fault.at, Severity::error, fault.text});
}

} // namespace

std::vector<Finding> lint_update_file(std::string_view text, int32_t image_release)
{
    std::vector<Finding> findings;
    LintFile             file = read_update_file(text, &findings);
    check_order(file, image_release, &findings);
    check_steps(file, &findings);
    check_rules(file, &findings);
    check_renames(file, &findings);
    check_old_names(file, &findings);
    std::stable_sort(findings.begin(), findings.end(), [](const Finding &one, const Finding &other) {
        return std::tie(one.line, one.column) < std::tie(other.line, other.column);
    });
    return findings;
}

} // namespace command
