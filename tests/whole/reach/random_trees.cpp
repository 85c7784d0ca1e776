/* Random configurations of the words that stand in the stages' sources, so that callbacks find something to do. */
#include "random_trees.h"

#include "support/patterns.h"
#include "support/places.h"
#include "walk/stages.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

namespace fs = std::filesystem;

namespace reach_test {
namespace {

using Places = std::map<std::string, size_t>;

/* Adds the quoted words of a source that may stand in a configuration, and where among them callbacks are defined. */
void add_words(const fs::path &source, std::vector<std::string> *words, Places *callbacks)
{
    const std::string quoted = R"re("([A-Za-z0-9_.,:-]{1,60})")re";
    const std::string callback = R"re(^void (_\w+)\(int32_t.*)re";
    std::ifstream     in(source);
    for (std::string line; std::getline(in, line);) {
        support::Groups definition = support::groups_of(line, callback);
        if (!definition.empty())
            (*callbacks)[definition[1]] = words->size();
        if (line.compare(0, 1, "#") != 0)
            for (const support::Groups &word : support::all_groups(line, quoted))
                words->push_back(word[1]);
    }
}

Places read_sources(std::vector<std::string> *words)
{
    std::set<fs::path> sources;
    for (const fs::directory_entry &found : fs::recursive_directory_iterator(support::source_path("/src/stages")))
        if (found.path().extension() == ".cpp")
            sources.insert(found.path());
    Places callbacks;
    for (const fs::path &source : sources)
        add_words(source, words, &callbacks);
    return callbacks;
}

/* The scope of the row, and what the row acts on behind it. */
std::vector<std::string> configs_of(const stage_row *row)
{
    std::vector<std::string> configs;
    for (const row_reach *reach = all_reaches; reach->func; reach++)
        for (const char *const *suffix = reach->suffixes; reach->func == row->func && *suffix; suffix++)
            if (**suffix)
                configs.push_back(*row->scope ? std::string(row->scope) + "," + *suffix : *suffix);
    if (*row->scope)
        configs.emplace_back(row->scope);
    return configs;
}

} // namespace

RandomTrees::RandomTrees()
{
    Places callbacks = read_sources(&words_);
    for (stage_table *const *stage = all_stages; *stage; stage++)
        for (const stage_row *row = (*stage)->rows; row < (*stage)->rows + (*stage)->row_count; row++)
            subjects_.push_back({configs_of(row), callbacks.at(row->name)});
}

unsigned RandomTrees::draw(unsigned below)
{
    return static_cast<unsigned>(random_() % below);
}

bool RandomTrees::one_in(unsigned chance)
{
    return draw(chance) == 0;
}

/* Mostly one from around the callback, whose helpers stand ahead of it. */
std::string RandomTrees::word()
{
    constexpr size_t ahead = 16;
    size_t           place = subject_->place + words_.size() - ahead + draw(28);
    return words_[(one_in(8) ? draw(static_cast<unsigned>(words_.size())) : place) % words_.size()];
}

std::string RandomTrees::edit_name()
{
    static constexpr const char *names[] = {"1", "2", "a", "\"b\"", "100001", "port1"};
    std::string                  name = one_in(2) ? word() : names[draw(std::size(names))];
    return one_in(4) && name[0] != '"' ? "\"" + name + "\"" : name;
}

std::string RandomTrees::value()
{
    static constexpr const char *values[] = {"enable", "disable",   "1",           "70000",
                                             "\"\"",   "encrypted", "10.0.0.1/24", "fe80::1/64",
                                             "port1",  "\"a b\"",   "signed",      "offline-protection"};
    if (one_in(3))
        return values[draw(std::size(values))];
    std::string text = word();
    for (unsigned more = draw(3); more > 0; more--)
        text += " " + word();
    return one_in(3) ? "\"" + text + "\"" : text;
}

std::string RandomTrees::config_name()
{
    std::string name = word();
    if (!subject_->configs.empty() && !one_in(5))
        name = subject_->configs[draw(static_cast<unsigned>(subject_->configs.size()))];
    if (one_in(15))
        name += one_in(2) ? "x" : ",x";
    if (one_in(30))
        name[draw(static_cast<unsigned>(name.size()))] = 'y';
    std::replace(name.begin(), name.end(), ',', ' ');
    return name;
}

std::string RandomTrees::sets(unsigned most)
{
    std::string text;
    for (unsigned left = draw(most + 1); left > 0; left--)
        text += "set " + word() + " " + value() + "\n";
    return text;
}

std::string RandomTrees::nested()
{
    std::string text = "config " + word() + "\n";
    for (unsigned left = draw(4); left > 0; left--)
        text += "edit " + edit_name() + "\n" + sets(6) + "next\n";
    return text + sets(3) + "end\n";
}

std::string RandomTrees::edit()
{
    std::string text = "edit " + edit_name() + "\n" + sets(9);
    for (unsigned left = draw(3); left > 0; left--)
        text += nested();
    return text + "next\n";
}

/* A configuration is about two callbacks or so, and each block about one of them. */
std::string RandomTrees::text(unsigned number)
{
    random_.seed(number);
    const Subject *subjects[2];
    for (const Subject *&subject : subjects)
        subject = &subjects_[draw(static_cast<unsigned>(subjects_.size()))];
    std::string text;
    for (unsigned left = 1 + draw(7); left > 0; left--) {
        subject_ = one_in(6) ? &subjects_[draw(static_cast<unsigned>(subjects_.size()))] : subjects[draw(2)];
        text += "config " + config_name() + "\n" + sets(8);
        for (unsigned edits = draw(4); edits > 0; edits--)
            text += edit();
        text += "end\n";
    }
    return text;
}

} // namespace reach_test
