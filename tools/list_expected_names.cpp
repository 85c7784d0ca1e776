/*
 * Writes, as C++ for the command's lint, which names each conversion of the library looks for: the callbacks of the
 * walk with their scopes, and the migrations of the version chain. The names are the texts in their sources, and in
 * what these call. Behind them all the texts that there are, whatever they are, for what is anonymized.
 */
#include "chain/steps.h"
#include "source_index.h"
#include "walk/stages.h"

#include <cstdio>
#include <regex>

namespace {

/* A text that can be the name of a config or a set. */
bool is_name(const std::string &text)
{
    static const std::regex name("[A-Za-z0-9_][A-Za-z0-9_,.-]*[A-Za-z_][A-Za-z0-9_,.-]*");
    return std::regex_match(text, name);
}

/* Predicates that tell one config of a scope from another. */
bool asks_for_config(const tools::SourceIndex &sources, const tools::Definition &callback)
{
    std::set<std::string> words = sources.all_words(callback);
    for (const char *predicate : {"top_cfg_is", "top_cfg_in", "top_suffix_is", "top_suffix_in", "top_suffix_is_empty"})
        if (words.contains(predicate))
            return true;
    return false;
}

/* All of them once, whether they are names or not. */
void print_texts(const std::set<std::string> &texts)
{
    printf("constexpr std::string_view all_texts[] = {\n");
    for (const std::string &text : texts)
        printf("    \"%s\",\n", text.c_str());
    printf("};\n\n");
}

void print_names(const tools::SourceIndex &sources, const tools::Definition &code, size_t number)
{
    printf("constexpr std::array<std::string_view, ");
    std::string names;
    size_t      count = 0;
    for (const std::string &text : sources.all_texts(code))
        if (is_name(text)) {
            names += "    \"" + text + "\",\n";
            count++;
        }
    printf("%zu> names_%zu = {\n%s};\n", count, number, names.c_str());
}

std::string hex(int32_t version)
{
    char text[16];
    snprintf(text, sizeof text, "%#x", static_cast<unsigned>(version));
    return text;
}

std::string row_of(const stage_row &row, int32_t version, bool asks)
{
    return std::string("    {\"") + row.name + "\", " + hex(version) + ", false, \"" + row.scope + "\", " +
           (asks ? "true" : "false");
}

} // namespace

int main(int count, char **arguments)
{
    std::filesystem::path source = count > 1 ? arguments[1] : ".";
    tools::SourceIndex    sources({source / "src/chain", source / "src/stages"});
    std::string           rows;
    size_t                number = 0;
    auto                  add = [&](const tools::Definition &code, const std::string &row) {
        print_names(sources, code, number);
        rows += row + ", names_" + std::to_string(number++) + "},\n";
    };

    printf("/* Made by tools/list_expected_names from the sources of the library. */\n"
           "#include \"image/expected_names.h\"\n\n#include <array>\n\nnamespace command {\n\nnamespace {\n\n");
    int32_t index = 0;
    for (const tools::Definition *step : sources.steps()) {
        std::string release = hex(chain_step_version(index++));
        for (const tools::Definition *migration : sources.migrations(*step))
            add(*migration, "    {\"" + migration->name + "\", " + release + ", true, \"\", false");
    }
    /* Rules have no part in machine-learning files. */
    for (stage_table *const *stage = all_stages; *stage; stage++)
        for (int32_t i = 0; (*stage)->type == STAGE_ADOM && i < (*stage)->row_count; i++) {
            const stage_row &row = (*stage)->rows[i];
            if (const tools::Definition *callback = sources.find(row.name))
                add(*callback, row_of(row, (*stage)->version, asks_for_config(sources, *callback)));
        }
    print_texts(
        tools::SourceIndex({source / "src/chain", source / "src/stages", source / "src/signature"}).all_texts());
    printf("constexpr ExpectedNames all[] = {\n%s};\n\n} // namespace\n\n"
           "const std::span<const ExpectedNames> expected_names = all;\n\n"
           "const std::span<const std::string_view> expected_texts = all_texts;\n\n} // namespace command\n",
           rows.c_str());
    return 0;
}
