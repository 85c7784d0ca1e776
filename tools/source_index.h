/*
 * The library's sources as the project's tools read them: what is defined at file level, the comment ahead of it, and
 * the names and texts in it. No compiler: it knows this project's layout and no more C++ than that needs.
 */
#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace tools {

/* A function or a table. */
struct Definition {
    std::string              name;
    std::filesystem::path    file;
    bool                     is_function;
    std::string              comment; /* as prose; empty without one */
    std::vector<std::string> words;   /* the identifiers in it, in their order */
    std::vector<std::string> texts;   /* its string literals, without their quotes */
};

class SourceIndex {
  public:
    /* Reads every source file below the folders. */
    explicit SourceIndex(const std::vector<std::filesystem::path> &folders);

    /* The definition that a name means in a file: its own, else that of another file; null for none. */
    const Definition *find(const std::string &name, const std::filesystem::path &file = {}) const;

    /* The texts in a definition and in all that it names, directly or not. */
    std::set<std::string> all_texts(const Definition &definition) const;

    /* The same for the identifiers. */
    std::set<std::string> all_words(const Definition &definition) const;

    /* The texts in everything. */
    std::set<std::string> all_texts() const;

    /* The functions of the version chain's steps, in the order of their table. */
    std::vector<const Definition *> steps() const;

    /* The migrations that a step runs, in their order. */
    std::vector<const Definition *> migrations(const Definition &step) const;

  private:
    void                            read(const std::filesystem::path &file);
    std::vector<const Definition *> reach(const Definition &definition) const;

    std::multimap<std::string, Definition> definitions_;
};

/* A file's text. */
std::string text_of(const std::filesystem::path &path);

/* Comment lines, of sources or of the update file, as one line of prose. */
std::string prose(const std::string &comment);

} // namespace tools
