/*
 * Writes docs/releases.md to standard output: release by release, what changes in a configuration and which mechanism
 * does it. Stages come from the library's own tables, steps and their migrations from the dispatcher's source, rules
 * from the image's update file; what each does comes from the comment ahead of it.
 */
#include "chain/steps.h"
#include "driver/author_kinds.h"
#include "source_index.h"
#include "walk/stages.h"

#include <cstdio>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

/* What one release does, mechanism by mechanism, each as finished lines. */
struct Release {
    std::vector<std::string> step;
    std::vector<std::string> rules;
    std::vector<std::string> stage;
    std::vector<std::string> machine_learning;
};

using Releases = std::map<int32_t, Release>;

std::string item(const std::string &what, const std::string &comment)
{
    return "- " + what + (comment.empty() ? "" : ": " + comment);
}

void add_steps(const tools::SourceIndex &sources, Releases *releases)
{
    int32_t number = 0;
    for (const tools::Definition *step : sources.steps())
        for (Release                 &release = (*releases)[chain_step_version(number++)];
             const tools::Definition *migration : sources.migrations(*step))
            release.step.push_back(item("`" + migration->name + "`", migration->comment));
}

std::string description(const stage_row &row)
{
    std::string text = std::string("`") + row.name + "`, ";
    text += row.scope_len ? std::string("on `") + row.scope + "`" : "everywhere";
    if (row.max_round > 1)
        text += ", in " + std::to_string(row.max_round) + " rounds";
    return text;
}

void add_stages(const tools::SourceIndex &sources, Releases *releases)
{
    for (stage_table *const *stage = all_stages; *stage; stage++)
        for (int32_t i = 0; i < (*stage)->row_count; i++) {
            const stage_row         &row = (*stage)->rows[i];
            const tools::Definition *callback = sources.find(row.name);
            Release                 &release = (*releases)[(*stage)->version];
            auto                    &lines = (*stage)->type == STAGE_ML ? release.machine_learning : release.stage;
            lines.push_back(item(description(row), callback ? callback->comment : ""));
        }
}

/* A rule's comment as prose, without the kind that may stand ahead of it: the list is sorted otherwise. */
std::string reason_in(const std::string &comment)
{
    std::string text = tools::prose(comment);
    for (const char *const *kind = migr_author_kind_words; *kind; kind++)
        if (std::string ahead = std::string(*kind) + ": "; text.starts_with(ahead))
            return text.substr(ahead.size());
    return text;
}

void add_rules(const fs::path &update_file, Releases *releases)
{
    static const std::regex section(R"(^\[(\d+)\.(\d+)\])");
    static const std::regex part(R"(^\[(DELETE|MODIFY|READD)\])");
    std::istringstream      lines(tools::text_of(update_file));
    std::string             verb, comment;
    bool                    behind_rule = false;
    Release                *release = nullptr;
    std::smatch             found;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_search(line, found, section)) {
            release = &(*releases)[(std::stoi(found[1]) << 16) + std::stoi(found[2])];
        } else if (std::regex_search(line, found, part)) {
            verb = found[1] == "DELETE" ? "deletes" : found[1] == "MODIFY" ? "renames" : "brings back";
        } else if (!line.empty() && line[0] == '#') {
            comment = (behind_rule ? "" : comment) + line + "\n";
            behind_rule = false;
            continue;
        } else if (!line.empty() && release) {
            release->rules.push_back(item(verb + " `" + line + "`", reason_in(comment)));
            behind_rule = true;
            continue;
        }
        comment.clear();
        behind_rule = false;
    }
}

void print_list(const char *title, const std::vector<std::string> &lines)
{
    if (lines.empty())
        return;
    printf("\n%s:\n\n", title);
    for (const std::string &line : lines)
        printf("%s\n", line.c_str());
}

} // namespace

int main(int count, char **arguments)
{
    fs::path           source = count > 1 ? arguments[1] : ".";
    Releases           releases;
    tools::SourceIndex sources({source / "src/chain", source / "src/stages"});
    add_steps(sources, &releases);
    add_rules(source / "image/update_config", &releases);
    add_stages(sources, &releases);

    printf("# What each release changes\n\nWritten by `./dev releases` from the tables of the library and the image; "
           "do not edit.\n\n"
           "A file is carried through every release above its own. In each, the version chain's step comes first, then "
           "the update file's\n"
           "rules; when all of these are done, the stages of the walk follow in their order.\n");
    for (const auto &[version, release] : releases) {
        printf("\n## %d.%02d\n", version >> 16, version & 0xffff);
        print_list("The version chain", release.step);
        print_list("The update file", release.rules);
        print_list("The staged walk", release.stage);
        print_list("The staged walk, machine-learning files", release.machine_learning);
        if (release.step.empty() && release.rules.empty() && release.stage.empty() && release.machine_learning.empty())
            printf("\nNothing.\n");
    }
    return 0;
}
