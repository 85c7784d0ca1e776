/*
 * The loader sorts lines into sections and lists and understands no rule. It keeps to the order of the file, which the
 * sections are applied in, and stops behind the split for a file that is on its way there.
 */
#include "rules/update_file.h"

#include "tree/line_words.h"
#include "tree/split.h"
#include "tree/version_text.h"

#include <cstdlib>
#include <cstring>

namespace {

/* Where in the file the loader is. */
struct load_state {
    update_section *section; /* null while lines belong to no section that is wanted */
    migr_list      *rules;   /* the list of its current subsection; null ahead of the first header */
};

bool is_in_range(int32_t version)
{
    return version > migr_main.cfg_version && version <= migr_main.img_version;
}

int32_t open_section(load_state *state, int32_t version)
{
    *state = {};
    if (version == MIGR_RELEASE(5, 10) && stops_at_split(migr_main.cfg_version, migr_main.img_version))
        vdom_update_flag = 1; /* what follows waits for the two files that the split writes */
    if (!is_in_range(version))
        return 0;
    auto *section = static_cast<update_section *>(calloc(1, sizeof(update_section)));
    if (!section)
        return -1;
    section->version = version;
    migr_list_init(&section->delete_list);
    migr_list_init(&section->modify_list);
    migr_list_init(&section->readd_list);
    migr_list_add_tail(&section->link, &migr_main.update_list);
    state->section = section;
    return 0;
}

bool is_header(const char *line, const char *keyword)
{
    return line_is_delmodreadd(line, keyword, strlen(keyword)) == 0;
}

/* The rule list that a header line selects, or null for any other line. */
migr_list *selected_list(update_section *section, const char *line)
{
    if (is_header(line, MIGR_DELETE_RULES))
        return &section->delete_list;
    if (is_header(line, MIGR_MODIFY_RULES))
        return &section->modify_list;
    if (is_header(line, MIGR_READD_RULES))
        return &section->readd_list;
    return nullptr;
}

int32_t add_rule(const char *text, size_t length, uint32_t line, migr_list *rules)
{
    auto *rule = static_cast<update_rule *>(malloc(sizeof(update_rule)));
    char *copy = strndup(text, length);
    if (!rule || !copy) {
        free(rule);
        free(copy);
        return -1;
    }
    rule->text = copy;
    rule->line = line;
    migr_list_add_tail(&rule->link, rules);
    return 0;
}

/* A line that is neither a comment nor a version line. */
int32_t read_section_line(load_state *state, const char *line, uint32_t number)
{
    if (!state->section)
        return 0;
    const char *text = skip_white(line);
    if (*text == '\0')
        return 0;
    if (migr_list *selected = selected_list(state->section, line)) {
        state->rules = selected;
        return 0;
    }
    if (!state->rules)
        return 0;
    size_t length = strlen(text);
    while (is_white(text[length - 1]))
        length--;
    return add_rule(text, length, number, state->rules);
}

void free_rules(migr_list *rules)
{
    while (rules->next != rules) {
        update_rule *rule = rule_of(rules->next);
        migr_list_del(&rule->link);
        free(rule->text);
        free(rule);
    }
}

} // namespace

update_section *section_of(migr_list *link)
{
    return reinterpret_cast<update_section *>(link);
}

update_rule *rule_of(migr_list *link)
{
    return reinterpret_cast<update_rule *>(link);
}

int32_t is_comment(const char *line)
{
    return *skip_white(line) == '#';
}

int32_t line_is_version(const char *line)
{
    const char *bracket = strchr(line, '[');
    const char *point = bracket ? strchr(bracket, '.') : nullptr;
    if (!point || point[1] == '\0')
        return -1;
    return version_code(number_of(bracket + 1), number_of(point + 1));
}

int32_t line_is_delmodreadd(const char *line, const char *keyword, size_t length)
{
    const char *bracket = strchr(line, '[');
    return bracket && strncmp(bracket + 1, keyword, length) == 0 ? 0 : -1;
}

int32_t load_update_sections(text_reader *lines)
{
    load_state state = {};
    while (read_line(lines, migr_main.line_buf)) {
        const char *line = migr_main.line_buf;
        if (is_comment(line))
            continue;
        int32_t version = line_is_version(line);
        if (version >= 0 && vdom_update_flag == 1)
            return 0;
        int32_t result =
            version >= 0 ? open_section(&state, version) : read_section_line(&state, line, line_number(lines));
        if (result != 0)
            return -1;
    }
    return 0;
}

int32_t __build_updatefile_tree(void)
{
    text_reader lines;
    if (open_text(&lines, MIGR_UPDATE_FILE) != 0)
        return -1;
    int32_t result = load_update_sections(&lines);
    if (text_is_cut(&lines))
        result = -1;
    close_text(&lines);
    return result;
}

void free_migr_tree(void)
{
    migr_list *sections = &migr_main.update_list;
    while (sections->next && sections->next != sections) {
        update_section *section = section_of(sections->next);
        free_rules(&section->delete_list);
        free_rules(&section->modify_list);
        free_rules(&section->readd_list);
        migr_list_del(&section->link);
        free(section);
    }
}
