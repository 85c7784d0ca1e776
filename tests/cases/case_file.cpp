/* Takes a case file apart, as tests/cases/README.md tells, and refuses what is none, with the line. It runs nothing. */
#include "cases/case_file.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace cases {
namespace {

/* A section's head line in words, and the lines below it. */
struct Section {
    size_t                   line;
    bool                     of_pass; /* "--" */
    std::vector<std::string> words;
    std::string              text;
};

[[noreturn]] void fail(const std::string &file, size_t line, const std::string &why)
{
    throw std::runtime_error(file + ":" + std::to_string(line) + ": " + why);
}

/* A blank behind a backslash belongs to its word. */
std::vector<std::string> words_of(const std::string &line)
{
    std::istringstream       in(line);
    std::vector<std::string> words;
    bool                     goes_on = false;
    for (std::string word; in >> word;) {
        bool unfinished = word.ends_with('\\');
        if (unfinished)
            word.back() = ' ';
        if (goes_on)
            words.back() += word;
        else
            words.push_back(word);
        goes_on = unfinished;
    }
    return words;
}

bool is_head(const std::string &line)
{
    return line.rfind("== ", 0) == 0 || line.rfind("-- ", 0) == 0;
}

std::vector<Section> sections_of(const std::string &file)
{
    std::ifstream in(file);
    if (!in)
        fail(file, 0, "cannot be read");
    std::vector<Section> sections;
    size_t               number = 0;
    for (std::string line; std::getline(in, line);) {
        number++;
        if (is_head(line)) {
            sections.push_back({number, line[0] == '-', words_of(line.substr(3)), ""});
            continue;
        }
        if (sections.empty())
            continue;
        bool escaped = line.size() > 1 && line[0] == '\\' && is_head(line.substr(1));
        sections.back().text += (escaped ? line.substr(1) : line) + "\n";
    }
    return sections;
}

/* The word KEY=VALUE among a head line's words. */
std::optional<std::string> option(const Section &section, const std::string &key)
{
    for (const std::string &word : section.words)
        if (word.rfind(key + "=", 0) == 0)
            return word.substr(key.size() + 1);
    return std::nullopt;
}

bool has_word(const Section &section, const std::string &wanted)
{
    for (const std::string &word : section.words)
        if (word == wanted)
            return true;
    return false;
}

std::string exact_text(const Section &section)
{
    std::string text = section.text;
    if (has_word(section, "no-newline") && !text.empty())
        text.pop_back();
    return text;
}

/* Configuration text: blank lines between it and the next section do not belong to it. */
std::string config_text(const Section &section)
{
    std::string text = section.text;
    while (text.size() > 1 && text.ends_with("\n\n"))
        text.pop_back();
    return text == "\n" ? "" : text;
}

DiskEntry disk_entry(const std::string &file, const Section &section)
{
    if (section.words.size() < 2)
        fail(file, section.line, "a path is missing");
    DiskEntry entry = {section.words[0], section.words[1], exact_text(section), std::nullopt};
    if (entry.verb == "link" || entry.verb == "becomes-link") {
        if (section.words.size() < 3)
            fail(file, section.line, "a link's target is missing");
        entry.content = section.words[2];
    }
    if (auto mode = option(section, "mode"))
        entry.mode = static_cast<unsigned>(std::stoul(*mode, nullptr, 8));
    return entry;
}

Pass pass_of(const std::string &file, const Section &section)
{
    if (section.words.size() < 3)
        fail(file, section.line, "a pass needs a mode and a release");
    Pass pass;
    pass.mode = section.words[1];
    pass.release = section.words[2];
    pass.model = option(section, "model");
    pass.domain = option(section, "domain").value_or(pass.mode == "domain" ? "root" : "");
    pass.version_line = option(section, "version").value_or("");
    if (pass.mode != "global" && pass.mode != "domain" && pass.mode != "ml")
        fail(file, section.line, "a pass is global, domain or ml");
    return pass;
}

void add_to_pass(Case *result, const Section &section)
{
    if (result->passes.empty())
        fail(result->file, section.line, "there is no pass yet");
    Pass              &pass = result->passes.back();
    const std::string &verb = section.words.at(0);
    if (verb == "before")
        pass.before = config_text(section);
    else if (verb == "after" && has_word(section, "same"))
        pass.same = true;
    else if (verb == "after")
        pass.after = config_text(section);
    else if (verb == "fails")
        pass.fails = true;
    else if (verb == "stalls")
        pass.stalls = section.words.at(1);
    else
        fail(result->file, section.line, "unknown section -- " + verb);
}

void add_section(Case *result, const Section &section)
{
    const std::string &verb = section.words.at(0);
    if (verb == "run")
        result->run.assign(section.words.begin() + 1, section.words.end());
    else if (verb == "pass")
        result->passes.push_back(pass_of(result->file, section));
    else if (verb == "prints")
        result->prints = exact_text(section);
    else if (verb == "logs")
        result->logs = exact_text(section);
    else if (verb == "database")
        result->database = section.text;
    else if (verb == "file" || verb == "folder" || verb == "link")
        result->before.push_back(disk_entry(result->file, section));
    else if (verb == "becomes" || verb == "gone" || verb == "made" || verb == "becomes-link")
        result->after.push_back(disk_entry(result->file, section));
    else
        fail(result->file, section.line, "unknown section == " + verb);
}

} // namespace

Case read_case(const std::string &file)
{
    Case result;
    result.file = file;
    for (const Section &section : sections_of(file)) {
        if (section.words.empty())
            fail(file, section.line, "a section without a name");
        if (section.of_pass)
            add_to_pass(&result, section);
        else
            add_section(&result, section);
    }
    if (result.run.empty() || result.passes.empty())
        fail(file, 1, "a case says what runs (== run) and has a pass (== pass)");
    for (const Pass &pass : result.passes)
        if (!pass.after && !pass.same && !pass.fails && !pass.stalls)
            fail(file, 1, "a pass expects nothing");
    return result;
}

} // namespace cases
