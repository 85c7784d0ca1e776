/*
 * Taking rule lines apart, and renaming what they lead to. The lines are the firmware's own, but a malformed one must
 * cost no more than the pass: each is read anew when it comes up, and the first that cannot be read ends the list.
 */
#include "rules/modify_rules.h"

#include "ledger/tell.h"
#include "rules/properties.h"
#include "rules/rule_path.h"
#include "rules/rule_paths.h"
#include "tree/line_words.h"
#include "tree/operations.h"
#include "tree/version_text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

/* A rule line taken apart. It is too large for the stack of a host's thread: the one that is being applied, and the two
 * paths that are made of it, are static. They say nothing between two rules. */
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
    clear_delete_mark(node);
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

/* What process_modify knows of the rules of the list. */
struct rule_list {
    migr_list *head;
    rule_paths paths;     /* of all rules, in their order */
    bool       malformed; /* a rule has no main directory */
};

int32_t note_rules(rule_list *list)
{
    free_paths(&list->paths);
    for (migr_list *link = list->head->next; link != list->head; link = link->next) {
        left_side   left;
        const char *text = rule_of(link)->text;
        bool        well_formed = find_left_side(text, &left) == 0;
        if (add_path(&list->paths, {text, well_formed ? left.directory_length : 0}) != 0)
            return -1;
        list->malformed |= !well_formed;
    }
    return 0;
}

/* Gives a rule the text that the renames ahead of it have left it. */
int32_t settle_rule(rule_list *list, update_rule *rule, size_t number)
{
    if (!list->paths.moved)
        return 0;
    char *text = current_text(&list->paths, number, rule->text);
    if (!text)
        return -1;
    free(rule->text);
    rule->text = text;
    return 0;
}

int32_t settle_rules(rule_list *list, migr_list *link, size_t number)
{
    int32_t result = 0;
    for (; result == 0 && link != list->head; link = link->next)
        result = settle_rule(list, rule_of(link), number++);
    return result;
}

bool begins_with(const char *text, size_t length, const text_piece *path)
{
    return length >= path->length && strncmp(text, path->text, path->length) == 0;
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

int32_t replace_paths(rule_list *list, migr_list *link, const text_piece *old_path, const text_piece *new_path)
{
    for (link = link->next; link != list->head; link = link->next) {
        left_side    left;
        update_rule *rule = rule_of(link);
        if (find_left_side(rule->text, &left) != 0)
            return -1;
        if (begins_with(rule->text, left.directory_length, old_path) &&
            replace_path(rule, old_path->length, new_path) != 0)
            return -1;
    }
    return 0;
}

/* A name that gives later rules another shape: a comma in it ends their left side, a "<" begins a token, and without
 * a letter there is no token. */
bool is_odd(const char *name)
{
    return *name == '\0' || strpbrk(name, ",<");
}

/* For such a name each later rule is written anew, and all are read again. */
int32_t rewrite_one_by_one(rule_list *list, migr_list *link, size_t number, const text_piece *old_path,
                           const text_piece *new_path)
{
    int32_t result = -1;
    if (settle_rules(list, link->next, number + 1) == 0 && replace_paths(list, link, old_path, new_path) == 0)
        result = note_rules(list);
    list->paths.torn = result != 0;
    return result;
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
int32_t rewrite_later_rules(rule_list *list, migr_list *link, size_t number, const modify_rule *rule)
{
    static char old_text[MIGR_LINE_SIZE + MIGR_NAME_SIZE + 2];
    static char new_text[MIGR_LINE_SIZE + MIGR_NAME_SIZE + 2];
    if (list->malformed)
        return -1;
    text_piece old_path = {rule->main_directory, strlen(rule->main_directory)};
    if (rule->old_name[0] != '\0')
        old_path = compose_path(old_text, sizeof old_text, rule, rule->old_name);
    text_piece new_path = compose_path(new_text, sizeof new_text, rule, rule->new_name);
    if (is_odd(rule->new_name))
        return rewrite_one_by_one(list, link, number, &old_path, &new_path);
    return move_path(&list->paths, old_path, new_path);
}

/* A node that was deleted between the file's release and this one may come back: the file must still have had it in
 * the rule's release, and the rule's release must lie behind us. */
bool acts(const modify_rule *rule, int32_t readd, int32_t section_version)
{
    return !readd || (migr_main.cfg_version <= rule->version && rule->version < section_version);
}

int32_t apply_rule(rule_list *list, migr_list *link, size_t number, int32_t readd, int32_t section_version)
{
    static modify_rule rule;
    if (settle_rule(list, rule_of(link), number) != 0 || parse_rule(rule_of(link)->text, readd, &rule) != 0)
        return -1;
    if (!acts(&rule, readd, section_version))
        return 0;
    if (rewrite_later_rules(list, link, number, &rule) != 0)
        return -1;
    ledger::set_author_name(rule_of(link)->text, rule_of(link)->line);
    return __modify_node_info(&migr_main.root, rule.main_directory, rule.old_name, rule.new_name, rule.property,
                              section_version);
}

} // namespace

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
    rule_list  list = {rules, {}, false};
    migr_list *link = rules->next;
    size_t     number = 0;
    int32_t    result = note_rules(&list);
    for (; result == 0 && link != rules; link = link->next)
        result = apply_rule(&list, link, number++, readd, section_version);
    settle_rules(&list, link, number);
    free_paths(&list.paths);
    return result;
}
