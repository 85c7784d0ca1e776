/* A reader that makes the best of every line: what it does not know, expectations among it, it passes over. */
#include "fuzz/document.h"

#include <cstdlib>
#include <sstream>

namespace fuzzing {

namespace {

using Words = std::vector<std::string>;

constexpr size_t most_passes = 4;
constexpr size_t most_entries = 64;

Words words_of(const std::string &line)
{
    std::istringstream stream(line);
    Words              words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

/* "marked=3" holds the value 3 for "marked". */
std::string value_of(const Words &words, std::string_view name, const std::string &otherwise)
{
    for (const std::string &word : words)
        if (word.size() > name.size() && word.starts_with(name) && word[name.size()] == '=')
            return word.substr(name.size() + 1);
    return otherwise;
}

unsigned number_in(const Words &words, std::string_view name)
{
    return static_cast<unsigned>(atoi(value_of(words, name, "0").c_str())) % 1000;
}

Pass pass_of(const Words &words)
{
    Pass pass;
    if (words.size() > 2)
        pass.mode = words[2] == "domain" ? MIGR_DOMAIN : words[2] == "ml" ? MIGR_MACHINE_LEARNING : MIGR_GLOBAL;
    if (words.size() > 3)
        pass.release = release_of(words[3]);
    pass.model = value_of(words, "model", pass.model);
    pass.domain = value_of(words, "domain", pass.domain);
    pass.deleted = number_in(words, "deleted");
    pass.hidden = number_in(words, "hidden");
    return pass;
}

/* Collects lines for whatever the last heading has opened. */
class Reader {
  public:
    Document read(std::string_view text)
    {
        for (size_t at = 0; at < text.size();) {
            size_t end = std::min(text.find('\n', at), text.size() - 1) + 1;
            take(text.substr(at, end - at));
            at = end;
        }
        if (document_.run.empty())
            document_.run = {"adjust"};
        return std::move(document_);
    }

  private:
    void take(std::string_view line)
    {
        if (line.starts_with("== "))
            return open(words_of(std::string(line)));
        if (line.starts_with("-- "))
            return open_part(words_of(std::string(line)));
        if (line.starts_with("\\==") || line.starts_with("\\--"))
            line.remove_prefix(1);
        if (target_)
            target_->append(line);
    }

    void open(const Words &words)
    {
        std::string what = words.size() > 1 ? words[1] : "";
        target_ = nullptr;
        if (what == "run" && document_.run.empty())
            document_.run.assign(words.begin() + 2, words.end());
        if (what == "pass" && document_.passes.size() < most_passes)
            document_.passes.push_back(pass_of(words));
        if (what == "memory" && words.size() > 2)
            document_.refused = strtoul(words[2].c_str(), nullptr, 10);
        if (what == "database")
            target_ = &document_.database;
        if (document_.disk.size() < most_entries && words.size() > 2)
            open_entry(what, words);
    }

    void open_entry(const std::string &what, const Words &words)
    {
        if (what == "file")
            document_.disk.push_back({DiskEntry::Kind::file, words[2], ""});
        else if (what == "folder")
            document_.disk.push_back({DiskEntry::Kind::folder, words[2], ""});
        else if (what == "link")
            document_.disk.push_back({DiskEntry::Kind::link, words[2], words.size() > 3 ? words[3] : "nowhere"});
        if (what == "file")
            target_ = &document_.disk.back().content;
    }

    void open_part(const Words &words)
    {
        bool is_input = words.size() > 1 && words[1] == "before" && !document_.passes.empty();
        target_ = is_input ? &document_.passes.back().text : nullptr;
    }

    Document     document_;
    std::string *target_ = nullptr;
};

} // namespace

/* The texts of a document stay where they are: nothing moves a vector's elements while one of them is being read. */
Document document_of(std::string_view text)
{
    return Reader().read(text);
}

int32_t release_of(const std::string &text)
{
    static constexpr int32_t otherwise = MIGR_RELEASE(5, 40);
    size_t                   dot = text.find('.');
    if (dot == std::string::npos) {
        long code = strtol(text.c_str(), nullptr, 0);
        return code > 0 && code < MIGR_RELEASE(100, 0) ? static_cast<int32_t>(code) : otherwise;
    }
    long major = strtol(text.c_str(), nullptr, 10), minor = strtol(text.c_str() + dot + 1, nullptr, 10);
    bool is_release = major >= 0 && major < 100 && minor >= 0 && minor < 0x10000;
    return is_release ? MIGR_RELEASE(static_cast<int32_t>(major), static_cast<int32_t>(minor)) : otherwise;
}

} // namespace fuzzing
