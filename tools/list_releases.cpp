/*
 * Writes docs/releases.md to standard output: release by release, what changes in a configuration and which mechanism
 * does it. Stages come from the library's own tables, steps and their migrations from the dispatcher's source, rules
 * from the image's update file; what each does comes from the comment ahead of it.
 */
#include "driver/run_context.h"
#include "walk/stages.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
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
using Comments = std::map<std::string, std::string>; /* of each function in the library */

std::string text_of(const fs::path &path)
{
    std::ifstream      in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::string> lines_of(const fs::path &path)
{
    std::istringstream       in(text_of(path));
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

/* Comment lines as one line of prose. */
std::string prose(const std::vector<std::string> &lines)
{
    static const std::regex ornament(R"(^\s*(/\*+|\*/|\*|#)?\s*|\s*\*/\s*$)");
    std::string             text;
    for (const std::string &line : lines) {
        std::string words = std::regex_replace(line, ornament, "");
        if (!words.empty())
            text += (text.empty() ? "" : " ") + words;
    }
    return text;
}

/* The comment that ends on the line ahead of `at`, or nothing. */
std::string comment_ahead(const std::vector<std::string> &lines, size_t at)
{
    if (at == 0 || lines[at - 1].find("*/") == std::string::npos)
        return "";
    size_t first = at - 1;
    while (first > 0 && lines[first].find("/*") == std::string::npos)
        first--;
    return prose({lines.begin() + static_cast<long>(first), lines.begin() + static_cast<long>(at)});
}

Comments read_comments(const fs::path &sources)
{
    static const std::regex definition(R"(^(?:void|int32_t) (\w+)\([^;]*$)");
    Comments                comments;
    for (const fs::directory_entry &file : fs::recursive_directory_iterator(sources)) {
        if (file.path().extension() != ".cpp")
            continue;
        std::vector<std::string> lines = lines_of(file.path());
        std::smatch              found;
        for (size_t i = 0; i < lines.size(); i++)
            if (std::regex_search(lines[i], found, definition))
                comments[found[1]] = comment_ahead(lines, i);
    }
    return comments;
}

std::string item(const std::string &what, const std::string &comment)
{
    return "- " + what + (comment.empty() ? "" : ": " + comment);
}

/* The migrations of each step function, in their order. */
std::map<std::string, std::vector<std::string>> read_steps(const std::vector<std::string> &lines)
{
    static const std::regex                         opening(R"(^int32_t (migr_hardcode_v\w+)\(void\)$)");
    static const std::regex                         call(R"(\b([a-z]\w+)\(\))");
    std::map<std::string, std::vector<std::string>> steps;
    std::string                                     current;
    std::smatch                                     found;
    for (const std::string &line : lines) {
        if (std::regex_match(line, found, opening))
            current = found[1];
        else if (line == "}")
            current.clear();
        else if (!current.empty() && std::regex_search(line, found, call))
            steps[current].push_back(found[1]);
    }
    return steps;
}

void add_steps(const fs::path &dispatcher, const Comments &comments, Releases *releases)
{
    static const std::regex  row(R"(\{(0x[0-9a-f]+), (migr_hardcode_v\w+))");
    std::vector<std::string> lines = lines_of(dispatcher);
    auto                     steps = read_steps(lines);
    for (const std::string &line : lines)
        for (std::sregex_iterator found(line.begin(), line.end(), row), end; found != end; ++found) {
            Release &release = (*releases)[static_cast<int32_t>(std::stol((*found)[1], nullptr, 16))];
            for (const std::string &migration : steps[(*found)[2]]) {
                auto comment = comments.find(migration);
                release.step.push_back(item("`" + migration + "`", comment == comments.end() ? "" : comment->second));
            }
        }
}

void add_stages(const Comments &comments, Releases *releases)
{
    for (stage_table *const *stage = all_stages; *stage; stage++)
        for (int32_t i = 0; i < (*stage)->row_count; i++) {
            const stage_row &row = (*stage)->rows[i];
            std::string      what = std::string("`") + row.name + "`, ";
            what += row.scope_len ? std::string("on `") + row.scope + "`" : "everywhere";
            auto     comment = comments.find(row.name);
            Release &release = (*releases)[(*stage)->version];
            auto    &lines = (*stage)->type == STAGE_ML ? release.machine_learning : release.stage;
            lines.push_back(item(what, comment == comments.end() ? "" : comment->second));
        }
}

void add_rules(const fs::path &update_file, Releases *releases)
{
    static const std::regex  section(R"(^\[(\d+)\.(\d+)\])");
    static const std::regex  part(R"(^\[(DELETE|MODIFY|READD)\])");
    std::string              verb;
    std::vector<std::string> comment;
    Release                 *release = nullptr;
    std::smatch              found;
    for (const std::string &line : lines_of(update_file)) {
        if (std::regex_search(line, found, section)) {
            release = &(*releases)[(std::stoi(found[1]) << 16) + std::stoi(found[2])];
        } else if (std::regex_search(line, found, part)) {
            verb = found[1] == "DELETE" ? "deletes" : found[1] == "MODIFY" ? "renames" : "brings back";
        } else if (!line.empty() && line[0] == '#') {
            comment.push_back(line);
            continue;
        } else if (!line.empty() && release) {
            release->rules.push_back(item(verb + " `" + line + "`", prose(comment)));
        }
        comment.clear();
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
    fs::path source = count > 1 ? arguments[1] : ".";
    Comments comments = read_comments(source / "src");
    Releases releases;
    add_steps(source / "src/chain/hardcode.cpp", comments, &releases);
    add_rules(source / "image/update_config", &releases);
    add_stages(comments, &releases);

    printf("# What each release changes\n\nWritten by `tools/list_releases` from the tables of the library and the "
           "image; do not edit.\n\n"
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
