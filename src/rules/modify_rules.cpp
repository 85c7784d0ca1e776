#include "rules/modify_rules.h"

#include "rules/properties.h"
#include "rules/rule_path.h"
#include "rules/text_filter.h"
#include "tree/config_text.h"
#include "tree/operations.h"
#include "tree/version_text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

/* A rule line taken apart. */
struct modify_rule {
    char    main_directory[MIGR_LINE_SIZE];
    char    old_name[MIGR_NAME_SIZE];
    char    new_name[MIGR_NAME_SIZE];
    char    property[MIGR_LINE_SIZE];
    int32_t version;
};

/* ---- The rule line ---- */

/* The part of a rule line ahead of its first comma. */
struct left_side {
    const char *comma;
    const char *token;            /* the "<" of the last token */
    size_t      name_length;      /* of the text in its brackets */
    bool        is_top;           /* the token opens the line: the rule renames a top-level config */
    size_t      directory_length; /* of the main directory, which stands at the line's start */
};

/* The last `c` in [text, end), or null. */
const char *last_in(const char *text, const char *end, char c)
{
    return static_cast<const char *>(memrchr(text, c, static_cast<size_t>(end - text)));
}

int32_t find_left_side(const char *text, left_side *left)
{
    left->comma = strchr(text, ',');
    if (!left->comma)
        return -1;
    const char *close = last_in(text, left->comma, '>');
    left->token = close ? last_in(text, close, '<') : nullptr;
    if (!left->token || close == left->token + 1)
        return -1;
    left->name_length = static_cast<size_t>(close - left->token - 1);
    left->is_top = left->token == text;
    left->directory_length = static_cast<size_t>((left->is_top ? close + 1 : left->token) - text);
    return 0;
}

void copy_cut(char *output, size_t room, const char *text, size_t length)
{
    if (length > room - 1)
        length = room - 1;
    memcpy(output, text, length);
    output[length] = '\0';
}

void copy_directory(const char *text, const left_side *left, char *output)
{
    copy_cut(output, MIGR_LINE_SIZE, text, left->directory_length);
}

/* "<5.10>" behind a separator that nobody looks at. */
int32_t read_version(const char **text, int32_t *version)
{
    static constexpr size_t most = 15;
    char                    token[MIGR_NAME_SIZE];
    if (!*text || extract_first_name(*text + 1, token, text) != 0)
        return -1;
    token[most] = '\0';
    const char *point = strchr(token, '.');
    if (!point)
        return -1;
    *version = version_code(number_of(token), number_of(point + 1));
    return 0;
}

/* ",[property]" to the end of the line; `text` is null when the line has already ended. */
int32_t read_property(const char *text, char *property)
{
    if (!text)
        return 0;
    text = skip_white(text);
    if (*text != ',')
        return -1;
    text = skip_white(text + 1);
    if (*text == '\0')
        return 0;
    const char *end = *text == '[' ? strchr(text, ']') : nullptr;
    if (!end)
        return -1;
    copy_cut(property, MIGR_LINE_SIZE, text + 1, static_cast<size_t>(end - text - 1));
    return 0;
}

int32_t parse_rule(const char *text, int32_t readd, modify_rule *rule)
{
    return parse_modify_line(text, rule->main_directory, rule->old_name, rule->new_name, rule->property, readd,
                             &rule->version);
}

/* ---- Renaming ---- */

struct renaming {
    const char *old_name;
    const char *new_name;
    const char *property;
};

void rename_node(config_node *node, const char *name)
{
    set_node_name(node, name);
    node->deleted = 0;
    migr_main.modified = 1;
}

void rename_top_config(config_node *config, const char *new_name)
{
    char words[MIGR_NAME_SIZE];
    char name[MIGR_NAME_SIZE];
    copy_cut(words, sizeof words, new_name, strlen(new_name));
    get_path_name_2(words, name);
    rename_node(config, name);
    printf("tplain: %s\n", name);
}

/* A set of the old name is taken in any block on the way, in preference to going deeper, and ends the search. Rules
 * were written with that in mind. */
rule_step rename_in_block(rule_place *place, const void *rule)
{
    const auto *names = static_cast<const renaming *>(rule);
    migr_main.modified = 1;
    if (config_node *set = first_named(place->node->set_list, names->old_name)) {
        rename_node(set, names->new_name);
        return __check_property(set, names->property) == 0 ? rule_step::done : rule_step::failed;
    }
    config_node *configs = place->node->config_list;
    if (!configs)
        return rule_step::done;
    if (!place->path) {
        if (config_node *config = first_named(configs, names->old_name))
            rename_node(config, names->new_name);
        return rule_step::done;
    }
    char        name[MIGR_NAME_SIZE];
    const char *rest;
    if (extract_first_name(place->path, name, &rest) != 0)
        return rule_step::failed;
    config_node *config = first_named(configs, name);
    *place = {config, rest};
    return config ? rule_step::deeper : rule_step::done;
}

int32_t rename_below_root(config_node *root, const char *path, const renaming *names)
{
    char        name[MIGR_NAME_SIZE];
    const char *rest;
    if (!root->top_list)
        return 0;
    if (extract_path_name(path, name, &rest) != 0)
        return -1;
    config_node *config = first_named(root->top_list, name);
    if (!config)
        return 0;
    if (names->old_name[0] != '\0')
        return walk_rule({config, rest}, rename_in_block, names);
    rename_top_config(config, names->new_name);
    return 0;
}

/* ---- Later rules of the list ---- */

/*
 * What process_modify knows of the rules that still come: whether one of them has no main directory, and the texts
 * with which their main directories begin, up to each ">". A rename can only concern a rule whose main directory
 * begins with its own path, which ends with a ">", so most rules need not go through all the others.
 */
struct later_rules {
    bool        malformed;
    text_filter directories;
};

void note_rule(later_rules *later, const char *text)
{
    left_side left;
    if (find_left_side(text, &left) != 0) {
        later->malformed = true;
        return;
    }
    uint64_t    hash = NO_TEXT_HASH;
    const char *end = text + left.directory_length;
    for (const char *close; (close = static_cast<const char *>(memchr(text, '>', static_cast<size_t>(end - text))));
         text = close + 1) {
        hash = hash_text(hash, text, static_cast<size_t>(close + 1 - text));
        add_to_filter(&later->directories, hash);
    }
}

/* A text in a piece of the memory that the caller owns. */
struct text_piece {
    const char *text;
    size_t      length;
};

bool directory_begins_with(const char *text, const left_side *left, const text_piece *path)
{
    return left->directory_length >= path->length && strncmp(text, path->text, path->length) == 0;
}

/* Puts the renamed path in place of the old one at the start of a later rule. */
int32_t replace_path(update_rule *later, size_t old_length, const text_piece *new_path)
{
    size_t rest = strlen(later->text) - old_length;
    auto  *text = static_cast<char *>(malloc(new_path->length + rest + 1));
    if (!text)
        return -1;
    memcpy(text, new_path->text, new_path->length);
    memcpy(text + new_path->length, later->text + old_length, rest + 1);
    free(later->text);
    later->text = text;
    return 0;
}

int32_t replace_paths(migr_list *link, const migr_list *rules, const text_piece *old_path, const text_piece *new_path,
                      later_rules *later)
{
    for (link = link->next; link != rules; link = link->next) {
        left_side    left;
        update_rule *rule = rule_of(link);
        if (find_left_side(rule->text, &left) != 0)
            return -1;
        if (!directory_begins_with(rule->text, &left, old_path))
            continue;
        if (replace_path(rule, old_path->length, new_path) != 0)
            return -1;
        note_rule(later, rule->text);
    }
    return 0;
}

/* The path of what the rule renames, as later rules may hold it: the main directory and "<name>", or for a top-level
 * config `top` alone. `buffer` has room for a line and a token. */
text_piece compose_path(char *buffer, size_t room, const modify_rule *rule, const char *name)
{
    bool is_top = rule->old_name[0] == '\0';
    int  length = snprintf(buffer, room, "%s<%s>", is_top ? "" : rule->main_directory, name);
    return {buffer, static_cast<size_t>(length)};
}

/* Carries a rename into the paths of the later rules. It goes by their exact text, and also when the rule finds
 * nothing: later rules are written as if it had. */
int32_t rewrite_later_rules(migr_list *link, const migr_list *rules, const modify_rule *rule, later_rules *later)
{
    static char old_text[MIGR_LINE_SIZE + MIGR_NAME_SIZE + 2];
    static char new_text[MIGR_LINE_SIZE + MIGR_NAME_SIZE + 2];
    if (later->malformed)
        return -1;
    text_piece old_path = {rule->main_directory, strlen(rule->main_directory)};
    if (rule->old_name[0] != '\0')
        old_path = compose_path(old_text, sizeof old_text, rule, rule->old_name);
    if (!may_hold(&later->directories, hash_text(NO_TEXT_HASH, old_path.text, old_path.length)))
        return 0;
    text_piece new_path = compose_path(new_text, sizeof new_text, rule, rule->new_name);
    return replace_paths(link, rules, &old_path, &new_path, later);
}

/* A node that was deleted between the file's release and this one may come back: the file must still have had it in
 * the rule's release, and the rule's release must lie behind us. */
bool acts(const modify_rule *rule, int32_t readd, int32_t section_version)
{
    return !readd || (migr_main.cfg_version <= rule->version && rule->version < section_version);
}

} // namespace

char *get_path_name_2(char *text, char *output)
{
    output[0] = '\0';
    if (!text)
        return nullptr;
    text = skip_white(text);
    if (*text == '\0')
        return nullptr;
    size_t length = strlen(text);
    join_words(text, text + length, output, length + 1);
    return text + length;
}

int32_t parse_modify_line(const char *text, char *main_directory, char *old_name, char *new_name, char *property,
                          int32_t readd, int32_t *version)
{
    left_side   left;
    const char *rest;
    if (!text || find_left_side(text, &left) != 0)
        return -1;
    copy_directory(text, &left, main_directory);
    copy_cut(old_name, MIGR_NAME_SIZE, left.token + 1, left.is_top ? 0 : left.name_length);
    property[0] = '\0';
    if (extract_first_name(left.comma + 1, new_name, &rest) != 0)
        return -1;
    if (readd && read_version(&rest, version) != 0)
        return -1;
    return read_property(rest, property);
}

int32_t get_maindir(const char *text, char *main_directory)
{
    left_side left;
    if (!text || find_left_side(text, &left) != 0)
        return -1;
    copy_directory(text, &left, main_directory);
    return 0;
}

int32_t __modify_node_info(config_node *node, const char *path, const char *old_name, const char *new_name,
                           const char *property, int32_t)
{
    if (!node)
        return 0;
    migr_main.modified = 1;
    renaming names = {old_name, new_name, property};
    if (node->kind == MIGR_ROOT)
        return rename_below_root(node, path, &names);
    return walk_rule({node, path}, rename_in_block, &names);
}

int32_t process_modify(migr_list *rules, int32_t readd, int32_t section_version)
{
    static modify_rule rule;
    static later_rules later;
    if (rules->next == rules)
        return 0;
    later.malformed = false;
    clear_filter(&later.directories);
    for (migr_list *link = rules->next; link != rules; link = link->next)
        note_rule(&later, rule_of(link)->text);
    for (migr_list *link = rules->next; link != rules; link = link->next) {
        if (parse_rule(rule_of(link)->text, readd, &rule) != 0)
            return -1;
        if (!acts(&rule, readd, section_version))
            continue;
        if (rewrite_later_rules(link, rules, &rule, &later) != 0)
            return -1;
        if (__modify_node_info(&migr_main.root, rule.main_directory, rule.old_name, rule.new_name, rule.property,
                               section_version) != 0)
            return -1;
    }
    return 0;
}
