/*
 * Reading tokens, and going where they lead. A rule with tables on its way goes into each of their edits, so the walk
 * keeps the tables that it is in; blocks may nest as deep as a path is long, and nothing recurses.
 */
#include "rules/rule_path.h"

#include "tree/line_words.h"
#include "tree/stack.h"

#include <cstring>

namespace {

/* The text behind a token's "<", or null when there is no token. */
const char *open_token(const char *text, char *output, const char **rest)
{
    if (rest)
        *rest = nullptr;
    if (!text || !output || !rest)
        return nullptr;
    output[0] = '\0';
    text = skip_white(text);
    return *text == '<' ? text + 1 : nullptr;
}

void store_rest(const char *text, const char **rest)
{
    text = skip_white(text);
    *rest = *text ? text : nullptr;
}

/* Tables on the way of a rule, innermost last: the edit that comes next, and the path that each edit gets. */
using table_stack = stack<rule_place>;

/* The next edit of the innermost table that has one. */
bool next_edit(table_stack *tables, rule_place *place)
{
    for (; tables->count > 0; tables->count--) {
        rule_place *table = top_record(tables);
        if (!table->node)
            continue;
        *place = *table;
        table->node = table->node->next;
        return true;
    }
    return false;
}

bool is_block(const config_node *node)
{
    return node->kind == MIGR_TOP || node->kind == MIGR_CONFIG;
}

/* From one place down to the next table, or to where the rule is done. */
rule_step walk_down(table_stack *tables, rule_place place, rule_action action, const void *rule)
{
    for (;;) {
        if (is_block(place.node) && place.node->edit_list)
            return push_record(tables, {place.node->edit_list, place.path}) == 0 ? rule_step::done : rule_step::failed;
        if (!is_block(place.node) && place.node->kind != MIGR_EDIT)
            return rule_step::done;
        rule_step step = action(&place, rule);
        if (step != rule_step::deeper)
            return step;
    }
}

} // namespace

int32_t extract_path_name(const char *text, char *output, const char **rest)
{
    const char *name = open_token(text, output, rest);
    if (!name)
        return -1;
    const char *end = strchrnul(name, '>');
    join_words(name, end, output, MIGR_NAME_SIZE);
    store_rest(*end ? end + 1 : end, rest);
    return 0;
}

int32_t extract_first_name(const char *text, char *output, const char **rest)
{
    const char *name = open_token(text, output, rest);
    const char *end = name ? strchr(name, '>') : nullptr;
    if (!end)
        return -1;
    copy_cut(output, MIGR_NAME_SIZE, name, static_cast<size_t>(end - name));
    store_rest(end + 1, rest);
    return 0;
}

int32_t walk_rule(rule_place start, rule_action action, const void *rule)
{
    table_stack tables = {};
    rule_place  place = start;
    rule_step   step;
    do
        step = walk_down(&tables, place, action, rule);
    while (step == rule_step::done && next_edit(&tables, &place));
    free_stack(&tables);
    return step == rule_step::failed ? -1 : 0;
}
