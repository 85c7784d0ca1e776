/*
 * The writer: a tree as configuration text. It writes what the output flags leave and asks nothing else of a tree;
 * where the text goes, and what becomes of it, is its callers' business.
 */
#include "ledger/tell.h"
#include "tree/config_text.h"
#include "tree/fetch_ahead.h"
#include "tree/stack.h"

#include <cstring>

namespace {

/* How the nodes of a list are written. It is the list that tells what a line is, not the node's own kind. */
struct written_list {
    config_node *config_node::*list;
    const char                *keyword;
    const char                *closing; /* the block's last line; null for a node that opens none */
    bool                       is_path; /* names are words joined by commas, and no value is written */
};

constexpr written_list set_lines = {&config_node::set_list, "set ", nullptr, false};
constexpr written_list edit_lines = {&config_node::edit_list, "edit ", "next\n", false};
constexpr written_list config_lines = {&config_node::config_list, "config ", "end\n", false};
constexpr written_list top_lines = {&config_node::top_list, "config ", "end\n", true};
constexpr written_list no_more = {};

/* The lists of each kind in the order in which they are written, which is that of the text: sets come first. */
constexpr written_list lists_of_root[] = {top_lines, no_more};
constexpr written_list lists_of_config[] = {set_lines, edit_lines, config_lines, no_more};
constexpr written_list lists_of_edit[] = {set_lines, config_lines, no_more};

const written_list *lists_of(uint32_t kind)
{
    switch (kind) {
    case MIGR_ROOT:
        return lists_of_root;
    case MIGR_TOP:
    case MIGR_CONFIG:
        return lists_of_config;
    case MIGR_EDIT:
        return lists_of_edit;
    default:
        return &no_more;
    }
}

/* A block being written, and where in its lists the writer stands. */
struct written_block {
    const config_node  *owner;
    const char         *closing; /* its last line; null for the block that write_node was given */
    const written_list *ahead;   /* the lists that have not been taken up */
    config_node        *next;    /* the child to write next, of the list ahead of those */
};

/* Text on its way to a stream. A line is many small pieces, and a call to the stream for each would cost more than all
 * else here. */
struct text_output {
    FILE  *stream;
    size_t used;
    char   text[65536];
};

void flush(text_output *output)
{
    fwrite_unlocked(output->text, 1, output->used, output->stream);
    output->used = 0;
}

void put(const char *text, size_t length, text_output *output)
{
    if (length > sizeof output->text - output->used) {
        flush(output);
        if (length > sizeof output->text) {
            fwrite_unlocked(text, 1, length, output->stream);
            return;
        }
    }
    memcpy(output->text + output->used, text, length);
    output->used += length;
}

void put(const char *text, text_output *output)
{
    put(text, strlen(text), output);
}

void indent(int32_t depth, text_output *output)
{
    static constexpr char    blanks[] = "                                ";
    static constexpr int32_t levels = (sizeof blanks - 1) / 4;
    for (; depth > levels; depth -= levels)
        put(blanks, sizeof blanks - 1, output);
    if (depth > 0)
        put(blanks, 4 * static_cast<size_t>(depth), output);
}

void put_line(const written_list *list, config_node *node, text_output *output)
{
    if (list->is_path)
        commas_to_blanks(node->name);
    put(list->keyword, output);
    put(node->name, output);
    if (node->value && !list->is_path) {
        put(" ", 1, output);
        put(node->value, output);
    }
    put("\n", 1, output);
}

/* The next child of a block that is to be written; null at the block's end. Its list is then the one ahead of
 * block->ahead. */
config_node *next_child(written_block *block)
{
    for (;;) {
        while (config_node *child = block->next) {
            block->next = child->next;
            fetch_ahead(child);
            if (!child->deleted && !child->hidden)
                return child;
        }
        if (!block->ahead->list)
            return nullptr;
        block->next = block->owner->*block->ahead->list;
        block->ahead++;
    }
}

/* What stands in a list that is not written for a block of that kind. */
void tell_unwritten(const config_node *block, const written_list *lists)
{
    static constexpr config_node *config_node::*all[] = {&config_node::set_list, &config_node::edit_list,
                                                         &config_node::config_list, &config_node::top_list};
    for (config_node *config_node::*list : all) {
        const written_list *of_kind = lists;
        while (of_kind->list && of_kind->list != list)
            of_kind++;
        if (!of_kind->list)
            ledger::tell_unwritten(block->*list);
    }
}

int32_t write_blocks(stack<written_block> *blocks, int32_t depth, text_output *output)
{
    while (blocks->count > 0) {
        if (ferror_unlocked(output->stream))
            return -1;
        written_block *block = top_record(blocks);
        auto           inner = depth + static_cast<int32_t>(blocks->count) - 1;
        config_node   *child = next_child(block);
        if (!child) {
            blocks->count--; /* what is popped stays readable until the next push */
            if (!block->closing)
                continue;
            indent(inner - 1, output);
            put(block->closing, output);
            if (ledger::is_watched())
                ledger::tell_written_end(block->owner);
            continue;
        }
        const written_list *list = block->ahead - 1;
        indent(inner, output);
        put_line(list, child, output);
        if (ledger::tells_writing()) {
            ledger::tell_written(child, !list->is_path);
            tell_unwritten(child, lists_of(child->kind));
        }
        if (list->closing && push_record(blocks, {child, list->closing, lists_of(child->kind), nullptr}) != 0)
            return -1;
    }
    return 0;
}

} // namespace

void commas_to_blanks(char *name)
{
    for (; *name; name++)
        if (*name == ',')
            *name = ' ';
}

int32_t write_tree(config_node *node, int32_t depth, FILE *stream)
{
    if (!node || node->kind >= MIGR_EMPTY)
        return 0;
    stack<written_block> blocks = {};
    text_output          output;
    output.stream = stream;
    output.used = 0;
    if (ledger::tells_writing() && node->kind == MIGR_ROOT)
        tell_unwritten(node, lists_of_root);
    int32_t result = push_record(&blocks, {node, nullptr, lists_of(node->kind), nullptr});
    if (result == 0)
        result = write_blocks(&blocks, depth, &output);
    flush(&output);
    free_stack(&blocks);
    return ferror_unlocked(stream) ? -1 : result;
}

void write_node(config_node *node, int32_t depth, FILE *stream)
{
    write_tree(node, depth, stream);
}
