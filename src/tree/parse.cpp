/*
 * The parser. It takes every text: what it does not know it passes over, and only a `set` without a value and a lack of
 * memory stop it. What that loses is not its business to tell.
 */
#include "driver/run_context.h"
#include "ledger/tell.h"
#include "tree/config_text.h"
#include "tree/node_store.h"
#include "tree/operations.h"
#include "tree/stack.h"

#include <cstdlib>
#include <cstring>

namespace {

/* A block whose `end` has not come yet, with the last node of each of its lists, so that appending takes no walk. */
struct open_block {
    config_node *node;
    config_node *last[MIGR_SET + 1]; /* by the kind that the list holds */
};

/* Innermost last. The first one is the caller's. */
using open_blocks = stack<open_block>;

open_block block_of(config_node *node)
{
    open_block block = {node, {}};
    for (uint32_t kind = MIGR_TOP; kind <= MIGR_SET; kind++)
        block.last[kind] = last_of(*child_list(node, kind));
    return block;
}

void append_child(open_block *block, config_node *child)
{
    config_node **last = &block->last[child->kind];
    *(*last ? &(*last)->next : child_list(block->node, child->kind)) = child;
    *last = child;
}

/* Where the lines come from: a text of our own, or a stream that its owner goes on reading behind the block. */
struct line_source {
    text_reader *text;
    FILE        *stream; /* when there is no such text */
};

/* The number of the line that was read last, as far as it is known. */
uint32_t line_of(const line_source &lines)
{
    return lines.text ? line_number(lines.text) : 0;
}

/* 1, or 0 at the end. A stream's lines are cut as those of a text are. */
int32_t next_line(const line_source &lines)
{
    if (lines.text)
        return read_line(lines.text, migr_main.line_buf);
    return fgets_unlocked(migr_main.line_buf, MIGR_LINE_SIZE, lines.stream) ? 1 : 0;
}

/* A value that goes on over several lines. */
struct open_value {
    char  *text;
    size_t length;
    size_t room;
};

int32_t append_line(open_value *value, const char *line, size_t length)
{
    if (value->length + length + 1 > value->room) {
        size_t room = (value->length + length + 1) * 2;
        char  *text = static_cast<char *>(realloc(value->text, room));
        if (!text)
            return -1;
        value->text = text;
        value->room = room;
    }
    memcpy(value->text + value->length, line, length + 1);
    value->length += length;
    return 0;
}

/* Whether the quote that opened at the first character is closed by the character at `last`. */
bool closes_value(const char *value, size_t last)
{
    if (last == 0 || value[last] != '"')
        return false;
    size_t backslashes = 0;
    while (last - 1 - backslashes > 0 && value[last - 1 - backslashes] == '\\')
        backslashes++;
    return backslashes % 2 == 0;
}

/*
 * Takes further lines into an open value until it is complete or has grown to the limit. Only the line just read is
 * looked at: a line of nothing but white space leaves the value as open as it was.
 */
int32_t read_open_value(const line_source &lines, char **text)
{
    open_value value = {*text, strlen(*text), strlen(*text) + 1};
    int32_t    result = 0;
    while (next_line(lines)) {
        size_t before = value.length;
        result = append_line(&value, migr_main.line_buf, strlen(migr_main.line_buf));
        if (result != 0)
            break;
        size_t last = value.length;
        while (last > before && is_white(value.text[last - 1]))
            last--;
        bool complete = last > before && closes_value(value.text, last - 1);
        if (!complete && value.length < MIGR_VALUE_LIMIT)
            continue;
        if (value.length > 0 && value.text[value.length - 1] == '\n')
            value.text[value.length - 1] = '\0';
        break;
    }
    *text = value.text;
    return result;
}

/* Name and value of a `set` line, from behind the keyword. */
int32_t read_set(const line_source &lines, char *text, config_node *set)
{
    text = get_second_name(text, set->name);
    if (!get_set_value(text, &set->value))
        return -1;
    if (check_value_finish(set->value))
        return 0;
    return read_open_value(lines, &set->value);
}

int32_t add_set(const line_source &lines, char *text, open_block *block)
{
    config_node *set = new_node(MIGR_SET);
    if (!set)
        return -1;
    uint32_t first_line = ledger::is_watched() ? line_of(lines) : 0;
    if (read_set(lines, text, set) != 0) {
        release_node(set);
        return -1;
    }
    if (ledger::is_watched())
        ledger::tell_parsed(set, block->node, first_line, line_of(lines));
    append_child(block, set);
    return 0;
}

int32_t open_child(const line_source &lines, open_blocks *blocks, uint32_t kind, char *text)
{
    config_node *child = new_node(kind);
    if (!child)
        return -1;
    if (kind == MIGR_TOP)
        get_path_name(text, child->name);
    else
        get_second_name(text, child->name);
    open_block *block = top_record(blocks);
    if (ledger::is_watched())
        ledger::tell_parsed(child, block->node, line_of(lines), line_of(lines));
    append_child(block, child);
    return push_record(blocks, {child, {}});
}

enum class keyword { config, edit, set, close, other };

/* Whatever the case. Keywords are all letters, of which one bit tells the case. */
template <size_t size> bool is_keyword(const char *word, const char (&lower)[size])
{
    static constexpr char lower_case = 'a' - 'A';
    for (size_t i = 0; i + 1 < size; i++)
        if ((word[i] | lower_case) != lower[i])
            return false;
    return word[size - 1] == '\0';
}

/* By the first letter: every line of a configuration comes through here. */
keyword keyword_of(const char *word)
{
    switch (word[0]) {
    case 's':
    case 'S':
        return is_keyword(word, "set") ? keyword::set : keyword::other;
    case 'e':
    case 'E':
        return is_keyword(word, "end") ? keyword::close : is_keyword(word, "edit") ? keyword::edit : keyword::other;
    case 'n':
    case 'N':
        return is_keyword(word, "next") ? keyword::close : keyword::other;
    case 'c':
    case 'C':
        return is_keyword(word, "config") ? keyword::config : keyword::other;
    default:
        return keyword::other;
    }
}

/* Reads lines into the innermost open block until the outermost has closed or the text ends. */
int32_t read_blocks(const line_source &lines, open_blocks *blocks)
{
    char word[MIGR_NAME_SIZE];
    while (next_line(lines)) {
        char       *rest = get_first_word(migr_main.line_buf, word);
        open_block *block = top_record(blocks);
        int32_t     result = 0;
        switch (keyword_of(word)) {
        case keyword::config:
            result = open_child(lines, blocks, block->node->kind == MIGR_ROOT ? MIGR_TOP : MIGR_CONFIG, rest);
            break;
        case keyword::edit:
            result = open_child(lines, blocks, MIGR_EDIT, rest);
            break;
        case keyword::set:
            result = add_set(lines, rest, block);
            break;
        case keyword::close:
            if (blocks->count == 1)
                return 0;
            if (ledger::is_watched())
                ledger::tell_parsed_end(block->node, line_of(lines));
            blocks->count--;
            break;
        case keyword::other:
            break;
        }
        if (result != 0)
            return -1;
    }
    return 0;
}

/* `outer` is carried on, so that a caller who comes back for the same block need not look for its list ends again. */
int32_t parse_into(const line_source &lines, open_block *outer)
{
    open_blocks blocks = {};
    int32_t     result = push_record(&blocks, *outer);
    if (result == 0) {
        result = read_blocks(lines, &blocks);
        *outer = blocks.records[0];
    }
    free_stack(&blocks);
    return result;
}

} // namespace

char *get_set_value(char *text, char **value)
{
    *value = nullptr;
    if (!text)
        return nullptr;
    text = skip_white(text);
    size_t length = strlen(text);
    if (length >= 2 && text[length - 2] == '"' && text[length - 1] == '\n')
        text[--length] = '\0';
    if (length == 0)
        return nullptr;
    if (text[0] != '"') {
        while (length > 0 && is_white(text[length - 1]))
            length--;
        text[length] = '\0';
    }
    *value = strdup(text);
    return *value ? text : nullptr;
}

int32_t check_value_finish(const char *value)
{
    if (value[0] != '"')
        return 1;
    size_t last = strlen(value) - 1;
    while (last > 0 && is_white(value[last]))
        last--;
    return closes_value(value, last) ? 1 : 0;
}

int32_t parse_config(FILE *stream, config_node *parent)
{
    open_block outer = block_of(parent);
    return parse_into({nullptr, stream}, &outer);
}

int32_t parse_text(text_reader *text, config_node *parent)
{
    open_block outer = block_of(parent);
    return parse_into({text, nullptr}, &outer);
}

/* The line that the loop reads is thrown away: the version line, and whatever follows a stray `end`. */
int32_t setup_tree(run_context *context, const char *path)
{
    text_reader text;
    if (open_text(&text, path) != 0)
        return -1;
    context->root = {};
    context->root.kind = MIGR_ROOT;
    if (context == &migr_main)
        ledger::set_author(migr_main.cfg_version, "read");
    if (ledger::is_watched())
        ledger::tell_opened(&context->root, path);
    open_block root = block_of(&context->root);
    int32_t    result = 0;
    while (result == 0 && read_line(&text, context->line_buf))
        result = parse_into({&text, nullptr}, &root);
    if (text_is_cut(&text))
        result = -1;
    close_text(&text);
    return result;
}
