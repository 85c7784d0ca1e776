/*
 * Writes, as C++ for the command, why each callback, migration, check and job of the library changes a configuration:
 * its kind from the library's table, and the first sentence of the comment at it. Who has no comment gets an empty
 * sentence; a test finds him, not this tool.
 */
#include "driver/author_kinds.h"
#include "source_index.h"

#include <cctype>
#include <cstdio>
#include <regex>
#include <string>

namespace {

/* Up to the full stop that a new sentence or nothing follows. */
std::string first_sentence(const std::string &prose)
{
    static const std::regex end(R"(\.( +[^a-z ]|$))");
    std::smatch             found;
    return std::regex_search(prose, found, end) ? prose.substr(0, static_cast<size_t>(found.position()) + 1) : prose;
}

/* Whoever is told of a change is told of its release, too. */
std::string without_releases(const std::string &prose)
{
    static const std::regex releases(R"(^[0-9]+\.[0-9]+( to [0-9]+\.[0-9]+)?: )");
    std::string             text = std::regex_replace(prose, releases, "");
    if (!text.empty())
        text[0] = static_cast<char>(toupper(static_cast<unsigned char>(text[0])));
    return text;
}

std::string literal_of(const std::string &text)
{
    std::string literal = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\')
            literal += '\\';
        literal += c;
    }
    return literal + "\"";
}

} // namespace

int main(int count, char **arguments)
{
    std::filesystem::path source = count > 1 ? arguments[1] : ".";
    tools::SourceIndex    sources({source / "src"});
    printf("/* Made by tools/list_causes from the sources of the library. */\n"
           "#include \"explain/code_causes.h\"\n\nnamespace command {\n\nnamespace {\n\n"
           "constexpr CodeCause all[] = {\n");
    for (const migr_author_kind *row = migr_author_kinds; row->name; row++) {
        const tools::Definition *code = sources.find(row->name);
        std::string              sentence = code ? first_sentence(without_releases(code->comment)) : "";
        printf("    {\"%s\", \"%s\", %s},\n", row->name, row->kind, literal_of(sentence).c_str());
    }
    printf("};\n\n} // namespace\n\nconst std::span<const CodeCause> code_causes = all;\n\n} // namespace command\n");
    return 0;
}
