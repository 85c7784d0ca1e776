/*
 * A small reader of this project's C++: it skips directives, keeps comments, and takes what stands at file level for
 * definitions. Code of another form is passed over, not refused.
 */
#include "source_index.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <regex>
#include <sstream>
#include <utility>

namespace fs = std::filesystem;

namespace tools {

namespace {

enum class Kind { word, text, mark, end };

struct Token {
    Kind        kind;
    std::string text;
};

bool is_word(char c)
{
    return isalnum(static_cast<unsigned char>(c)) || c == '_';
}

/* Cuts a source into tokens; directives and comments are none, but the last comment is kept. */
class Lexer {
  public:
    explicit Lexer(std::string text) : text_(std::move(text)) {}

    Token next()
    {
        skip_layout();
        if (at_ >= text_.size())
            return {Kind::end, ""};
        char c = text_[at_];
        if (is_word(c))
            return word();
        if (c == '"' || c == '\'')
            return quoted(c);
        at_++;
        return {Kind::mark, std::string(1, c)};
    }

    /* The comment directly ahead of the last token, taken away. */
    std::string take_comment()
    {
        return std::exchange(comment_, "");
    }

  private:
    void skip_layout()
    {
        for (; at_ < text_.size(); at_++) {
            if (text_.compare(at_, 2, "/*") == 0)
                take_note("*/", 2);
            else if (text_.compare(at_, 2, "//") == 0)
                take_note("\n", 0);
            else if (text_[at_] == '#' && (at_ == 0 || text_[at_ - 1] == '\n'))
                skip_directive();
            else if (text_.compare(at_, 2, "\n\n") == 0)
                comment_.clear();
            else if (!isspace(static_cast<unsigned char>(text_[at_])))
                return;
        }
    }

    void take_note(const char *close, size_t length)
    {
        size_t end = std::min(text_.find(close, at_ + 2), text_.size() - length) + length;
        comment_ = text_.substr(at_, end - at_);
        at_ = end - 1;
    }

    void skip_directive()
    {
        while (at_ < text_.size() && (text_[at_] != '\n' || text_[at_ - 1] == '\\'))
            at_++;
        at_--;
    }

    Token word()
    {
        size_t start = at_;
        while (at_ < text_.size() && is_word(text_[at_]))
            at_++;
        return {Kind::word, text_.substr(start, at_ - start)};
    }

    Token quoted(char quote)
    {
        size_t start = ++at_;
        while (at_ < text_.size() && text_[at_] != quote)
            at_ += text_[at_] == '\\' ? 2 : 1;
        Token token = {quote == '"' ? Kind::text : Kind::mark, text_.substr(start, at_ - start)};
        at_++;
        return token;
    }

    std::string text_;
    size_t      at_ = 0;
    std::string comment_;
};

/* A definition as its tokens come in. */
class Builder {
  public:
    explicit Builder(const fs::path &file)
    {
        definition_.file = file;
    }

    /* True with the definition's last token. */
    bool take(const Token &token)
    {
        if (token.kind == Kind::word)
            definition_.words.push_back(token.text);
        if (token.kind == Kind::text)
            definition_.texts.push_back(token.text);
        if (token.kind == Kind::mark && !named_ && depth_ == 0)
            find_name(token.text);
        if (token.text == "{" || token.text == "(")
            depth_++;
        if (token.text == "}" || token.text == ")")
            depth_--;
        if (token.kind == Kind::word && depth_ == 0)
            last_word_ = token.text;
        return depth_ == 0 && (token.text == ";" || (token.text == "}" && definition_.is_function));
    }

    bool is_empty() const
    {
        return definition_.words.empty() && definition_.texts.empty() && depth_ == 0;
    }

    bool opens_transparent_block() const
    {
        return !definition_.words.empty() && depth_ == 0 &&
               (definition_.words.front() == "namespace" || definition_.words.front() == "extern") && !named_;
    }

    Definition definition_ = {};

  private:
    void find_name(const std::string &mark)
    {
        if (mark != "(" && mark != "[" && mark != "=")
            return;
        named_ = true;
        definition_.name = last_word_;
        definition_.is_function = mark == "(";
    }

    int         depth_ = 0;
    bool        named_ = false;
    std::string last_word_;
};

bool is_source(const fs::path &path)
{
    return path.extension() == ".cpp";
}

std::vector<fs::path> sources_below(const std::vector<fs::path> &folders)
{
    std::vector<fs::path> files;
    for (const fs::path &folder : folders)
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(folder))
            if (is_source(entry.path()))
                files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace

SourceIndex::SourceIndex(const std::vector<fs::path> &folders)
{
    for (const fs::path &file : sources_below(folders))
        read(file);
}

void SourceIndex::read(const fs::path &file)
{
    Lexer   lexer(text_of(file));
    Builder builder(file);
    for (Token token = lexer.next(); token.kind != Kind::end; token = lexer.next()) {
        if (builder.is_empty()) {
            builder.definition_.comment = prose(lexer.take_comment());
            if (token.text == "}")
                continue; /* of a namespace */
        }
        if (token.text == "{" && builder.opens_transparent_block()) {
            builder = Builder(file);
            continue;
        }
        if (!builder.take(token))
            continue;
        if (!builder.definition_.name.empty())
            definitions_.emplace(builder.definition_.name, builder.definition_);
        builder = Builder(file);
        lexer.take_comment();
    }
}

const Definition *SourceIndex::find(const std::string &name, const fs::path &file) const
{
    auto [first, last] = definitions_.equal_range(name);
    if (first == last)
        return nullptr;
    auto own = std::find_if(first, last, [&](const auto &entry) { return entry.second.file == file; });
    return own == last ? &first->second : &own->second;
}

std::vector<const Definition *> SourceIndex::reach(const Definition &definition) const
{
    std::vector<const Definition *> reached = {&definition};
    std::set<const Definition *>    seen = {&definition};
    for (size_t i = 0; i < reached.size(); i++)
        for (const std::string &word : reached[i]->words)
            if (const Definition *named = find(word, reached[i]->file); named && seen.insert(named).second)
                reached.push_back(named);
    return reached;
}

std::set<std::string> SourceIndex::all_texts(const Definition &definition) const
{
    std::set<std::string> texts;
    for (const Definition *reached : reach(definition))
        texts.insert(reached->texts.begin(), reached->texts.end());
    return texts;
}

std::set<std::string> SourceIndex::all_texts() const
{
    std::set<std::string> texts;
    for (const auto &[name, definition] : definitions_)
        texts.insert(definition.texts.begin(), definition.texts.end());
    return texts;
}

std::set<std::string> SourceIndex::all_words(const Definition &definition) const
{
    std::set<std::string> words;
    for (const Definition *reached : reach(definition))
        words.insert(reached->words.begin(), reached->words.end());
    return words;
}

std::vector<const Definition *> SourceIndex::steps() const
{
    std::vector<const Definition *> steps;
    const Definition               *table = find("steps");
    for (const std::string &word : table ? table->words : std::vector<std::string>())
        if (const Definition *named = find(word, table->file); named && named->is_function)
            steps.push_back(named);
    return steps;
}

std::vector<const Definition *> SourceIndex::migrations(const Definition &step) const
{
    std::vector<const Definition *> all;
    for (const std::string &word : step.words) {
        const Definition *named = find(word, step.file);
        if (!named || !named->is_function || named == &step)
            continue;
        if (named->file != step.file) {
            all.push_back(named);
            continue;
        }
        for (const Definition *deeper : migrations(*named))
            all.push_back(deeper);
    }
    return all;
}

std::string text_of(const fs::path &path)
{
    std::ifstream      in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string prose(const std::string &comment)
{
    static const std::regex ornament(R"(^\s*(/\*+|\*/|\*|#|//)?\s*|\s*\*/\s*$)");
    std::istringstream      lines(comment);
    std::string             text;
    for (std::string line; std::getline(lines, line);) {
        std::string words = std::regex_replace(line, ornament, "");
        if (!words.empty())
            text += (text.empty() ? "" : " ") + words;
    }
    return text;
}

} // namespace tools
