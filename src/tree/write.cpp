/* The writer: a tree as configuration text, and the compressed file that holds it. */
#include "driver/run_context.h"
#include "platform/platform.h"
#include "tree/config_text.h"
#include "tree/file_effects.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

/* A block being written, and where in its lists the writer stands. */
struct written_block {
    const config_node *owner;
    const char        *closing; /* its last line; null for the block that write_node was given */
    config_node       *next;    /* the child to write next */
    uint32_t           list;    /* how many of the block's lists have been taken up */
};

struct written_stack {
    written_block *blocks;
    size_t         depth;
    size_t         room;
};

int32_t push_block(written_stack *stack, const written_block &block)
{
    if (stack->depth == stack->room) {
        size_t room = stack->room ? stack->room * 2 : 32;
        auto  *blocks = static_cast<written_block *>(realloc(stack->blocks, room * sizeof(written_block)));
        if (!blocks)
            return -1;
        stack->blocks = blocks;
        stack->room = room;
    }
    stack->blocks[stack->depth++] = block;
    return 0;
}

/* The list that the writer takes up as number `index` of a block, in *list. False when the kind has no such list. */
bool list_to_write(const config_node *node, uint32_t index, config_node **list)
{
    if (node->kind == MIGR_ROOT) {
        *list = node->top_list;
        return index == 0;
    }
    if (node->kind == MIGR_EDIT) {
        *list = index == 0 ? node->set_list : node->config_list;
        return index < 2;
    }
    if (node->kind != MIGR_TOP && node->kind != MIGR_CONFIG)
        return false;
    *list = index == 0 ? node->set_list : index == 1 ? node->edit_list : node->config_list;
    return index < 3;
}

/* What a child is written as is told by the list it stands in, not by its own kind: the sets of a block come first. */
enum class line { top, set, edit, config };

line line_of(const config_node *owner, uint32_t list)
{
    if (owner->kind == MIGR_ROOT)
        return line::top;
    if (list == 1)
        return line::set;
    return owner->kind != MIGR_EDIT && list == 2 ? line::edit : line::config;
}

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

void put_line(const char *keyword, const config_node *node, bool with_value, text_output *output)
{
    put(keyword, output);
    put(node->name, output);
    if (with_value && node->value) {
        put(" ", 1, output);
        put(node->value, output);
    }
    put("\n", 1, output);
}

/* Writes a child's own line. Gives the line that closes its block, or null when it opens none. */
const char *write_child(config_node *child, line kind, text_output *output)
{
    switch (kind) {
    case line::set:
        put_line("set ", child, true, output);
        return nullptr;
    case line::top:
        commas_to_blanks(child->name);
        put_line("config ", child, false, output);
        return "end\n";
    case line::edit:
        put_line("edit ", child, true, output);
        return "next\n";
    default:
        put_line("config ", child, true, output);
        return "end\n";
    }
}

/* The next child of a block that is to be written, and by which of its lists; null at the block's end. */
config_node *next_child(written_block *block)
{
    for (;;) {
        while (config_node *child = block->next) {
            block->next = child->next;
            if (!child->deleted && !child->hidden)
                return child;
        }
        if (!list_to_write(block->owner, block->list, &block->next))
            return nullptr;
        block->list++;
    }
}

int32_t write_blocks(written_stack *stack, int32_t depth, text_output *output)
{
    while (stack->depth > 0) {
        if (ferror_unlocked(output->stream))
            return -1;
        written_block *block = &stack->blocks[stack->depth - 1];
        auto           inner = depth + static_cast<int32_t>(stack->depth) - 1;
        config_node   *child = next_child(block);
        if (!child) {
            stack->depth--;
            if (!block->closing)
                continue;
            indent(inner - 1, output);
            put(block->closing, output);
            continue;
        }
        indent(inner, output);
        const char *closing = write_child(child, line_of(block->owner, block->list), output);
        if (closing && push_block(stack, {child, closing, nullptr, 0}) != 0)
            return -1;
    }
    return 0;
}

/* Header lines and tree. The stream is closed whatever happens; 0 when all of it has reached the file. */
int32_t write_whole_file(FILE *stream)
{
    fputs(migr_main.first_line, stream);
    fputs(migr_main.second_line, stream);
    int32_t result = write_tree(&migr_main.root, 0, stream);
    return close_written(stream) == 0 ? result : -1;
}

/* The plain text of "sys_*" files is kept in /var/log, where it is the one recovery point if the compression fails. */
void keep_plain_copy(const char *path)
{
    char plain[72];
    snprintf(plain, sizeof plain, "%s", path);
    size_t length = strlen(plain);
    plain[length < 3 ? 0 : length - 3] = '\0';
    const char *name = strstr(plain, "/sys_");
    if (!name)
        return;
    char copy[128];
    snprintf(copy, sizeof copy, "/var/log/%s", name + 1);
    copy_over("/tmp/system2.conf", copy);
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
    written_stack stack = {};
    text_output   output;
    output.stream = stream;
    output.used = 0;
    int32_t result = push_block(&stack, {node, nullptr, nullptr, 0});
    if (result == 0)
        result = write_blocks(&stack, depth, &output);
    flush(&output);
    free(stack.blocks);
    return ferror_unlocked(stream) ? -1 : result;
}

void write_node(config_node *node, int32_t depth, FILE *stream)
{
    write_tree(node, depth, stream);
}

int32_t new_config_file(const char *path)
{
    FILE *stream = create_private_file("/tmp/system2.conf");
    if (!stream)
        return -1;
    if (write_whole_file(stream) != 0) {
        unlink("/tmp/system2.conf");
        return -1;
    }
    keep_plain_copy(path);
    unlink(path);
    int compressed = cvgzip("/tmp/system2.conf", path);
    if (compressed < 0)
        message("[update_signature]: [cvgzip] compress failed\n");
    unlink("/tmp/system2.conf");
    return compressed < 0 ? -1 : 0;
}

int32_t new_config_file_GUI(const char *path)
{
    FILE *stream = create_output(path);
    if (!stream)
        return -1;
    if (write_whole_file(stream) == 0)
        return 0;
    drop_output(path);
    return -1;
}
