/*
 * The configuration language: parser, writer, copy and free of trees.
 *
 * A configuration is lines of `config`, `edit`, `set`, `next` and `end`. The parser keeps names and values as raw text
 * with their quotes, so that what nobody touches comes out as it went in. None of these functions recurses: a hundred
 * thousand nested blocks are input like any other.
 */
#ifndef MIGR_TREE_CONFIG_TEXT_H
#define MIGR_TREE_CONFIG_TEXT_H

#include "driver/run_context.h"
#include "tree/line_words.h"
#include "tree/setup_tree.h"
#include "tree/text_reader.h"

#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Reads the content of one block into `parent`, through the line buffer of migr_main, up to the block's `end` or
 * `next` or the end of the text. The next read of the stream, or the next call, gives the line behind it. A stream that
 * cannot be read on has ended. 0, or -1 for a `set` without a value or no memory; what was read stays in the tree.
 * parse_text does the same with a text in memory (text_reader.h).
 */
int32_t parse_config(FILE *stream, config_node *parent);
int32_t parse_text(text_reader *text, config_node *parent);

/* Copies a value, quotes included, to a fresh heap text in *value; cuts `text` where the value ends. The position
 * reached, or null when there is no value or no memory, and *value is then null. */
char *get_set_value(char *text, char **value);

/* 1 when the value's opening quote is closed or there is none, 0 while further lines belong to it. */
int32_t check_value_finish(const char *value);

/* Appends `node` to the list and clears its `next`. A host's own record, from calloc and with its value on the heap, is
 * as good as any. */
void add_to_tail(config_node **list, config_node *node);

/* Copies kind, name, value and both output flags, not `next` and not the lists. 0, or -1 for a null argument (which
 * it prints) or no memory. */
int32_t cp_node_content(const config_node *source, config_node *target);

/* Copies content and all that hangs below. 0, or -1 for a null argument or no memory, with a partial copy in place. */
int32_t copy_node(const config_node *source, config_node *target);

/* Frees all that hangs below the node, records that a host made included, not the node; its list heads stay, and
 * dangle. Frees nothing while deleted nodes are held (node_store.h). */
void free_node(config_node *node);

/* Writes what hangs below the node, `depth` levels indented, leaving out deleted and hidden nodes. Commas of
 * top-level names become blanks, in the tree too. */
void write_node(config_node *node, int32_t depth, FILE *stream);

/* write_node for those who store the text: 0, or -1 when it was not written whole, for want of memory or by an error
 * of the stream. */
int32_t write_tree(config_node *node, int32_t depth, FILE *stream);

/* Turns a top-level node's name into the words of its `config` line, in place. */
void commas_to_blanks(char *name);

#ifdef __cplusplus
}
#endif

#endif
